#include <vetrel/boardselectorbox.h>

#include <vetrel/boardselectorfilteredmodel.h>
#include <vetrel/boardselectormodel.h>
#include <vetrel/comboboxvalidator.h>
#include "selectordata_p.h"

#include <host/stockdirectory.h>

#include <QLineEdit>

static const SelectorData::FieldConstantSet fieldConstants;

BoardSelectorBox::BoardSelectorBox(QWidget *parent)
    : ComboBox(parent)
    , m_filtered(nullptr)
    , m_lookup(nullptr)
{
    lineEdit()->setPlaceholderText(tr("Режим торгов"));
    setCurrentIndex(-1);
    setInsertPolicy(NoInsert);
    SelectorData::useUniformRows(*this);

    m_filtered = new BoardSelectorFilteredModel(this);
    m_filtered->setStockCode(m_stockCode);
    ComboBox::setModel(m_filtered);
    m_lookup = new SelectorData::TextLookup(m_filtered, this);
    lineEdit()->setValidator(comboBoxValidator());
    // A reset of the model (a refill or another model) leaves no choice behind.
    connect(m_filtered, &QAbstractItemModel::modelAboutToBeReset, this, [this] { m_quiet = true; });
    connect(m_filtered, &QAbstractItemModel::modelReset, this, [this] {
        m_quiet = false;
        changeRows(SelectorData::Choice::Clear, [] {});
    });
    setSourceModel(new BoardSelectorModel(this));

    m_quiet = false;
    setEditText(QString());
    connect(this, &QComboBox::editTextChanged, this, &BoardSelectorBox::edit_changed);
    connect(this, QOverload<int>::of(&QComboBox::activated), this, &BoardSelectorBox::item_activated);
}

int BoardSelectorBox::getStockId() const
{
    return StockDirectory::idByCode(m_stockCode);
}

QString BoardSelectorBox::getStockCode() const
{
    return m_stockCode;
}

int BoardSelectorBox::getBoardId() const
{
    return itemData(rowOf(currentText()), BoardSelectorModel::BoardIdRole).toInt();
}

QString BoardSelectorBox::getBoard() const
{
    return currentText();
}

QString BoardSelectorBox::getBoardCode() const
{
    return itemData(rowOf(currentText()), BoardSelectorModel::BoardCodeRole).toString();
}

void BoardSelectorBox::setStockId(int stockId)
{
    setStockCode(StockDirectory::codeById(stockId));
}

void BoardSelectorBox::setStockCode(const QString &stockCode)
{
    if (stockCode == m_stockCode)
        return;
    m_stockCode = stockCode;
    changeRows(SelectorData::Choice::Clear, [&] { m_filtered->setStockCode(stockCode); });
}

void BoardSelectorBox::setBoardId(int boardId)
{
    SelectorData::selectItem(*this, boardId, BoardSelectorModel::BoardIdRole);
}

void BoardSelectorBox::setBoardCode(const QString &boardCode)
{
    SelectorData::selectItem(*this, boardCode, BoardSelectorModel::BoardCodeRole);
}

void BoardSelectorBox::setSourceModel(BoardSelectorModel *model)
{
    SelectorData::replaceSource(*m_filtered, model, this);
}

BoardSelectorModel *BoardSelectorBox::sourceModel() const
{
    return qobject_cast<BoardSelectorModel *>(m_filtered->sourceModel());
}

void BoardSelectorBox::setBoardFlagsOnFilter(qlonglong mask)
{
    changeRows(SelectorData::Choice::Keep, [&] { m_filtered->setBoardFlagsOnFilter(mask); });
}

void BoardSelectorBox::setBoardFlagsOffFilter(qlonglong mask)
{
    changeRows(SelectorData::Choice::Keep, [&] { m_filtered->setBoardFlagsOffFilter(mask); });
}

void BoardSelectorBox::item_activated(int index)
{
    emit boardIdChanged(itemData(index, BoardSelectorModel::BoardIdRole).toInt());
    emit boardCodeChanged(itemData(index, BoardSelectorModel::BoardCodeRole).toString());
}

void BoardSelectorBox::edit_changed(const QString &text)
{
    if (m_quiet)
        return;
    const int found = rowOf(text);
    if (found >= 0) {
        item_activated(found);
    } else {
        emit boardIdChanged(0);
        emit boardCodeChanged(QString());
        if (text.isEmpty())
            setCurrentIndex(-1);
    }
    emit boardChanged(text);
}

template<typename Change>
void BoardSelectorBox::changeRows(SelectorData::Choice choice, Change change)
{
    SelectorData::changeRows(
        *this, m_quiet, choice, change, [this](const QString &text) { edit_changed(text); });
}

int BoardSelectorBox::rowOf(const QString &text) const
{
    return m_lookup->row(text);
}
