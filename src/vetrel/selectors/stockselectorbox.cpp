#include <vetrel/stockselectorbox.h>

#include <vetrel/comboboxvalidator.h>
#include "selectordata_p.h"
#include <vetrel/stockselectormodel.h>

#include <QLineEdit>
#include <QRegularExpression>
#include <QSortFilterProxyModel>

static const SelectorData::FieldConstantSet fieldConstants;

StockSelectorBox::StockSelectorBox(QWidget *parent)
    : ComboBox(parent)
    , m_proxy(nullptr)
    , m_lookup(nullptr)
{
    lineEdit()->setPlaceholderText(tr("Площадка"));
    setCurrentIndex(-1);
    setInsertPolicy(NoInsert);
    SelectorData::useUniformRows(*this);

    m_proxy = new QSortFilterProxyModel(this);
    ComboBox::setModel(m_proxy);
    m_lookup = new SelectorData::TextLookup(m_proxy, this);
    lineEdit()->setValidator(comboBoxValidator());
    // A reset of the model (a refill or another model) leaves no choice behind.
    connect(m_proxy, &QAbstractItemModel::modelAboutToBeReset, this, [this] { m_quiet = true; });
    connect(m_proxy, &QAbstractItemModel::modelReset, this, [this] {
        m_quiet = false;
        changeRows(SelectorData::Choice::Clear, [] {});
    });
    setSourceModel(new StockSelectorModel(this));

    m_quiet = false;
    setEditText(QString());
    connect(this, &QComboBox::editTextChanged, this, &StockSelectorBox::edit_changed);
    connect(this, QOverload<int>::of(&QComboBox::activated), this, &StockSelectorBox::item_activated);
}

int StockSelectorBox::getStockId() const
{
    return itemData(rowOf(currentText()), StockSelectorModel::StockIdRole).toInt();
}

QString StockSelectorBox::getStock() const
{
    return currentText();
}

QString StockSelectorBox::getStockCode() const
{
    return itemData(rowOf(currentText()), StockSelectorModel::StockCodeRole).toString();
}

void StockSelectorBox::setSourceModel(StockSelectorModel *model)
{
    SelectorData::replaceSource(*m_proxy, model, this);
    m_proxy->sort(0, Qt::AscendingOrder);
}

StockSelectorModel *StockSelectorBox::sourceModel() const
{
    return qobject_cast<StockSelectorModel *>(m_proxy->sourceModel());
}

void StockSelectorBox::setStockIdFilter(const QStringList &ids)
{
    m_proxy->setFilterRole(StockSelectorModel::StockIdRole);
    m_proxy->setSortRole(StockSelectorModel::StockIdRole);
    QStringList alternatives;
    alternatives.reserve(ids.size());
    for (const QString &id : ids)
        alternatives.append(QLatin1Char('(') + id + QLatin1Char(')'));
    const QRegularExpression pattern(alternatives.join(QLatin1Char('|')));
    changeRows(SelectorData::Choice::Keep, [&] { m_proxy->setFilterRegularExpression(pattern); });
}

void StockSelectorBox::setStockId(int stockId)
{
    SelectorData::selectItem(*this, stockId, StockSelectorModel::StockIdRole);
}

void StockSelectorBox::setStockCode(const QString &stockCode)
{
    SelectorData::selectItem(*this, stockCode, StockSelectorModel::StockCodeRole);
}

void StockSelectorBox::item_activated(int index)
{
    emit stockIdChanged(itemData(index, StockSelectorModel::StockIdRole).toInt());
    emit stockCodeChanged(itemData(index, StockSelectorModel::StockCodeRole).toString());
}

void StockSelectorBox::edit_changed(const QString &text)
{
    if (m_quiet)
        return;
    const int found = rowOf(text);
    if (found >= 0) {
        item_activated(found);
    } else {
        emit stockIdChanged(0);
        emit stockCodeChanged(QString());
        if (text.isEmpty())
            setCurrentIndex(-1);
    }
    emit stockChanged(text);
}

template<typename Change>
void StockSelectorBox::changeRows(SelectorData::Choice choice, Change change)
{
    SelectorData::changeRows(
        *this, m_quiet, choice, change, [this](const QString &text) { edit_changed(text); });
}

int StockSelectorBox::rowOf(const QString &text) const
{
    return m_lookup->row(text);
}
