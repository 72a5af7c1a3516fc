#include <vetrel/securityselectorbox.h>

#include <vetrel/securityselectorfilteredmodel.h>
#include <vetrel/securityselectormodel.h>
#include "selectordata_p.h"

#include <host/boarddirectory.h>
#include <host/stockdirectory.h>

#include <QLineEdit>

static const SelectorData::FieldConstantSet fieldConstants;

SecuritySelectorBox::SecuritySelectorBox(QWidget *parent)
    : ComboBox(parent)
    , m_filteredModel(new SecuritySelectorFilteredModel(this))
    , m_lookup(nullptr)
{
    lineEdit()->setPlaceholderText(tr("Инструмент"));
    // Return must not add the typed text to the list.
    setInsertPolicy(NoInsert);
    SelectorData::useUniformRows(*this);
    m_filteredModel->setStockBoard(m_stockCode, m_boardCode);
    setModel(m_filteredModel);
    m_lookup = new SelectorData::TextLookup(m_filteredModel, this);
    setSourceModel(new SecuritySelectorModel(this));
    setEditText(QString());
    connect(this, &QComboBox::editTextChanged, this, &SecuritySelectorBox::edit_changed);
    connect(this, QOverload<int>::of(&QComboBox::activated), this, &SecuritySelectorBox::item_activated);
}

int SecuritySelectorBox::getStockId() const
{
    return m_stockId;
}

QString SecuritySelectorBox::getStockCode() const
{
    return m_stockCode;
}

int SecuritySelectorBox::getBoardId() const
{
    return BoardDirectory::idByCode(m_stockCode, m_boardCode);
}

QString SecuritySelectorBox::getBoardCode() const
{
    return m_boardCode;
}

qlonglong SecuritySelectorBox::getSecurityId() const
{
    const int row = shownRow();
    return row < 0 ? 0 : itemData(row, SecuritySelectorModel::SecurityIdRole).toLongLong();
}

QString SecuritySelectorBox::getSecurityCode() const
{
    return m_securityCode;
}

QString SecuritySelectorBox::getSecurityName() const
{
    const int row = shownRow();
    return row < 0 ? QString() : itemData(row, SecuritySelectorModel::SecurityNameRole).toString();
}

void SecuritySelectorBox::setSourceModel(SecuritySelectorModel *model)
{
    SelectorData::replaceSource(*m_filteredModel, model, this);
    // After the proxy's own handlers, so that the combo box has taken in the
    // new rows when the choice is put back.
    connect(
        model, &QAbstractItemModel::modelAboutToBeReset, this, &SecuritySelectorBox::sourceAboutToBeReset);
    connect(model, &QAbstractItemModel::modelReset, this, &SecuritySelectorBox::sourceReset);
}

void SecuritySelectorBox::setStockId(int stockId)
{
    setStockCode(StockDirectory::codeById(stockId));
}

void SecuritySelectorBox::setStockCode(const QString &stockCode)
{
    if (stockCode == m_stockCode)
        return;
    m_stockCode = stockCode;
    m_stockId = StockDirectory::idByCode(stockCode);
    narrow();
}

void SecuritySelectorBox::setBoardId(int boardId)
{
    setBoardCode(BoardDirectory::codeById(m_stockId, boardId));
}

void SecuritySelectorBox::setBoardCode(const QString &boardCode)
{
    if (boardCode == m_boardCode)
        return;
    m_boardCode = boardCode;
    narrow();
}

void SecuritySelectorBox::setSecurityId(qlonglong securityId)
{
    setCurrentIndex(SelectorData::findItem(*this, securityId, SecuritySelectorModel::SecurityIdRole));
}

void SecuritySelectorBox::setSecurityCode(const QString &securityCode)
{
    if (securityCode == m_securityCode)
        return;
    setCurrentIndex(SelectorData::findItem(*this, securityCode, SecuritySelectorModel::SecurityCodeRole));
}

void SecuritySelectorBox::setSecurityName(const QString &securityName)
{
    setEditText(securityName);
}

void SecuritySelectorBox::edit_changed(const QString &text)
{
    const int row = rowOfText(text);
    if (row >= 0) {
        item_activated(row);
        emit securityNameChanged(text);
        return;
    }
    emit securityIdChanged(0);
    m_securityCode.clear();
    emit securityChanged(QString());
    if (text.isEmpty())
        setCurrentIndex(-1);
    emit securityNameChanged(text);
}

void SecuritySelectorBox::item_activated(int row)
{
    const qlonglong securityId = itemData(row, SecuritySelectorModel::SecurityIdRole).toLongLong();
    m_securityCode = itemData(row, SecuritySelectorModel::SecurityCodeRole).toString();
    emit securityIdChanged(securityId);
    emit securityChanged(m_securityCode);
    emit securityNameChanged(itemText(row));
}

void SecuritySelectorBox::sourceAboutToBeReset()
{
    m_textBeforeReset = currentText();
    m_namedBeforeReset = shownRow() >= 0;
    m_blockedBeforeReset = blockSignals(true);
}

void SecuritySelectorBox::sourceReset()
{
    const int row = rowOfText(m_textBeforeReset);
    setCurrentIndex(row);
    setEditText(m_textBeforeReset);
    blockSignals(m_blockedBeforeReset);
    // A security that left the list is no longer chosen, and the form hears it.
    if (m_namedBeforeReset && row < 0)
        edit_changed(m_textBeforeReset);
}

int SecuritySelectorBox::rowOfText(const QString &text) const
{
    return m_lookup->row(text);
}

int SecuritySelectorBox::shownRow() const
{
    return rowOfText(currentText());
}

void SecuritySelectorBox::narrow()
{
    m_filteredModel->setStockBoard(m_stockCode, m_boardCode);
    setCurrentIndex(-1);
}
