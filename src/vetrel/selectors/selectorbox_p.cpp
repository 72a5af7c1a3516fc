#include "selectorbox_p.h"

#include <vetrel/combobox.h>

#include <QCompleter>
#include <QLineEdit>
#include <QListView>
#include <QSortFilterProxyModel>

namespace SelectorData
{

TextLookup::TextLookup() = default;

TextLookup::~TextLookup()
{
    follow(nullptr);
}

void TextLookup::setModel(QAbstractItemModel *model, int column)
{
    m_column = column;
    follow(model);
}

void TextLookup::follow(QAbstractItemModel *model)
{
    for (const QMetaObject::Connection &connection : m_connections)
        QObject::disconnect(connection);
    m_connections.clear();
    m_model = model;
    m_proxy = qobject_cast<QSortFilterProxyModel *>(model);
    m_stale = true;
    if (!model)
        return;
    // Any change of the rows or of their texts makes the own index stale.
    const auto stale = [this] { m_stale = true; };
    using M = QAbstractItemModel;
    m_connections = { QObject::connect(model, &M::modelAboutToBeReset, stale),
        QObject::connect(model, &M::modelReset, stale), QObject::connect(model, &M::layoutChanged, stale),
        QObject::connect(model, &M::rowsInserted, stale), QObject::connect(model, &M::rowsRemoved, stale),
        QObject::connect(model, &M::rowsMoved, stale), QObject::connect(model, &M::dataChanged, stale),
        QObject::connect(model, &QObject::destroyed, [this] { follow(nullptr); }) };
}

int TextLookup::row(const QString &text) const
{
    const std::vector<int> found = rows(text);
    return found.empty() ? -1 : found.front();
}

std::vector<int> TextLookup::rows(const QString &text) const
{
    if (!m_model)
        return {};
    QAbstractItemModel *source = m_proxy ? m_proxy->sourceModel() : nullptr;
    if (const PresortedTexts *presorted = PresortedTexts::of(source)) {
        std::vector<int> found;
        for (int sourceRow : presorted->rowsShowing(text)) {
            const int row = m_proxy->mapFromSource(source->index(sourceRow, m_column)).row();
            if (row >= 0)
                found.push_back(row);
        }
        std::sort(found.begin(), found.end());
        return found;
    }
    const auto textOf = [this](int row) -> const QString & { return m_texts[size_t(row)]; };
    if (m_stale) {
        const int rows = m_model->rowCount();
        m_texts.assign(size_t(rows), QString());
        for (int row = 0; row < rows; ++row)
            m_texts[size_t(row)] = m_model->index(row, m_column).data().toString();
        m_order = RowOrder::caseInsensitiveOrder(rows, textOf);
        m_stale = false;
    }
    return RowOrder::positionsShowing(m_order, text, textOf);
}

int findItem(const QComboBox &box, const QVariant &value, int role)
{
    return box.findData(value, role, Qt::MatchExactly | Qt::MatchCaseSensitive);
}

void selectItem(QComboBox &box, const QVariant &value, int role)
{
    const int row = findItem(box, value, role);
    box.setCurrentIndex(row);
    if (row < 0)
        box.setEditText(QString());
}

void useUniformRows(QComboBox &box)
{
    for (QAbstractItemView *view : { box.view(), box.completer() ? box.completer()->popup() : nullptr }) {
        if (auto *list = qobject_cast<QListView *>(view)) {
            list->setUniformItemSizes(true);
            // A pop-up of a million matches is laid out from the event loop,
            // a batch at a time, not inside the keystroke that opens it.
            list->setLayoutMode(QListView::Batched);
            list->setBatchSize(4096);
        }
    }
}

SelectorBoxPrivate::SelectorBoxPrivate(ComboBox *box)
    : m_box(box)
{
    // Return must not add the typed text to the list.
    box->setInsertPolicy(QComboBox::NoInsert);
    useUniformRows(*box);
}

SelectorBoxPrivate::~SelectorBoxPrivate()
{
    for (const QMetaObject::Connection &connection : m_resetConnections)
        QObject::disconnect(connection);
}

int SelectorBoxPrivate::shownRow() const
{
    return rowOfText(currentText());
}

void SelectorBoxPrivate::install(QAbstractItemModel *model, int column)
{
    for (const QMetaObject::Connection &connection : m_resetConnections)
        QObject::disconnect(connection);
    m_box->ComboBox::setModel(model);
    m_box->setModelColumn(column);
    lookup.setModel(model, column);
    // Connected after the combo box's own handlers: the choice is put back
    // once the box has taken in the new rows.
    m_resetConnections = { QObject::connect(model, &QAbstractItemModel::modelAboutToBeReset, m_box,
                               [this] { aboutToReset(); }),
        QObject::connect(model, &QAbstractItemModel::modelReset, m_box, [this] { wasReset(); }) };
}

void SelectorBoxPrivate::aboutToReset()
{
    m_duringReset = save();
    m_resetBlocker.emplace(m_box);
}

void SelectorBoxPrivate::wasReset()
{
    const Outcome outcome = restore(m_duringReset);
    m_resetBlocker.reset();
    announce(outcome);
}

QVariant SelectorBoxPrivate::keyOfRow(int row) const
{
    return m_box->itemText(row);
}

void SelectorBoxPrivate::showUnnamed(const QString &text)
{
    m_box->setCurrentIndex(-1);
    m_box->setEditText(text);
}

SelectorBoxPrivate::Saved SelectorBoxPrivate::save() const
{
    const QString text = currentText();
    // Of rows that read alike, the current one is the choice.
    const int current = m_box->currentIndex();
    const int row = current >= 0 && m_box->itemText(current) == text ? current : rowOfText(text);
    return { text, row < 0 ? QVariant() : keyOfRow(row) };
}

SelectorBoxPrivate::Outcome SelectorBoxPrivate::restore(const Saved &saved)
{
    if (saved.key.isNull()) {
        const int row = rowOfText(saved.text);
        if (row < 0) {
            showUnnamed(saved.text);
            return Outcome::Unchanged;
        }
        m_box->setCurrentIndex(row);
        m_box->setEditText(saved.text);
        return Outcome::Named;
    }
    // The chosen row reads as before if it is still there.
    for (int row : lookup.rows(saved.text)) {
        if (keyOfRow(row) == saved.key) {
            m_box->setCurrentIndex(row);
            return Outcome::Kept;
        }
    }
    showUnnamed(QString());
    return Outcome::Lost;
}

void SelectorBoxPrivate::announce(Outcome outcome)
{
    switch (outcome) {
    case Outcome::Kept:
        choiceKept();
        break;
    case Outcome::Lost:
        editChanged(QString());
        break;
    case Outcome::Named:
        editChanged(currentText());
        break;
    case Outcome::Unchanged:
        break;
    }
}

QString SelectorBoxPrivate::currentText() const
{
    return m_box->currentText();
}

IdCodeBoxPrivate::IdCodeBoxPrivate(ComboBox *box, int keyRole, int idRole, int codeRole, Notices notices)
    : SelectorBoxPrivate(box)
    , m_box(box)
    , m_keyRole(keyRole)
    , m_idRole(idRole)
    , m_codeRole(codeRole)
    , m_notices(std::move(notices))
{ }

QVariant IdCodeBoxPrivate::keyOfRow(int row) const
{
    return m_box->itemData(row, m_keyRole);
}

int IdCodeBoxPrivate::id() const
{
    return m_box->itemData(shownRow(), m_idRole).toInt();
}

QString IdCodeBoxPrivate::code() const
{
    return m_box->itemData(shownRow(), m_codeRole).toString();
}

void IdCodeBoxPrivate::selectId(int id)
{
    selectItem(*m_box, id, m_idRole);
}

void IdCodeBoxPrivate::selectCode(const QString &code)
{
    selectItem(*m_box, code, m_codeRole);
}

void IdCodeBoxPrivate::activated(int row)
{
    m_notices.id(m_box->itemData(row, m_idRole).toInt());
    m_notices.code(m_box->itemData(row, m_codeRole).toString());
}

void IdCodeBoxPrivate::editChanged(const QString &text)
{
    const int found = rowOfText(text);
    if (found >= 0) {
        activated(found);
    } else {
        m_notices.id(0);
        m_notices.code(QString());
        if (text.isEmpty())
            m_box->setCurrentIndex(-1);
    }
    m_notices.text(text);
}

}
