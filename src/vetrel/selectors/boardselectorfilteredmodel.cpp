#include <vetrel/boardselectorfilteredmodel.h>

#include <vetrel/boardselectormodel.h>
#include "selectordata_p.h"

#include <host/boarddirectory.h>
#include <host/stockdirectory.h>

static const SelectorData::FieldConstantSet fieldConstants;

namespace
{

template<typename T>
bool store(T &member, const T &value)
{
    if (member == value)
        return false;
    member = value;
    return true;
}

}

BoardSelectorFilteredModel::BoardSelectorFilteredModel(QObject *parent)
    : QSortFilterProxyModel(parent)
{ }

void BoardSelectorFilteredModel::setStockCode(const QString &stockCode)
{
    if (store(m_stockCode, stockCode))
        invalidateFilter();
}

void BoardSelectorFilteredModel::setStockId(int stockId)
{
    setStockCode(StockDirectory::codeById(stockId));
}

void BoardSelectorFilteredModel::setBoardFlagsOnFilter(qlonglong mask)
{
    if (store(m_flagsOn, mask))
        invalidateFilter();
}

void BoardSelectorFilteredModel::setBoardFlagsOffFilter(qlonglong mask)
{
    if (store(m_flagsOff, mask))
        invalidateFilter();
}

bool BoardSelectorFilteredModel::acceptsStock(const QString &rowStockCode, int stockId, int boardId) const
{
    if (m_stockCode.isEmpty() || rowStockCode == m_stockCode)
        return true;
    // The RFS desk trades on the RFS boards of ARVENTA.
    return rowStockCode == QLatin1String("ARVENTA") && m_stockCode == QLatin1String("RFS")
        && BoardDirectory::isRFSBoardById(stockId, boardId);
}

bool BoardSelectorFilteredModel::filterAcceptsRow(int sourceRow, const QModelIndex &sourceParent) const
{
    if (sourceParent.isValid())
        return true;
    const auto *boards = qobject_cast<const BoardSelectorModel *>(sourceModel());
    if (!boards || sourceRow < 0 || sourceRow >= boards->rowCount())
        return false;
    const BoardSelectorModel::Data &row = boards->rowData(sourceRow);
    if (!acceptsStock(row.stockCode, row.stockId, row.boardId))
        return false;
    if (m_flagsOff != 0 && BoardDirectory::checkFlagsById(row.stockId, row.boardId, m_flagsOff))
        return false;
    return m_flagsOn == 0 || BoardDirectory::checkFlagsById(row.stockId, row.boardId, m_flagsOn);
}
