#include <vetrel/boardselectorfilteredmodel.h>

#include "selectordata_p.h"
#include <vetrel/boardselectormodel.h>

#include <host/boarddirectory.h>
#include <host/stockdirectory.h>

static const SelectorData::FieldConstantSet fieldConstants;

class BoardSelectorFilteredModelPrivate
{
public:
    bool acceptsStock(const QString &rowStockCode, int stockId, int boardId) const
    {
        if (stockCode.isEmpty() || rowStockCode == stockCode)
            return true;
        // The RFS desk trades on the RFS boards of ARVENTA.
        return rowStockCode == QLatin1String("ARVENTA") && stockCode == QLatin1String("RFS")
            && BoardDirectory::isRFSBoardById(stockId, boardId);
    }

    QString stockCode;
    qlonglong flagsOn = 0;
    qlonglong flagsOff = 0;
};

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
    , d(new BoardSelectorFilteredModelPrivate)
{ }

BoardSelectorFilteredModel::~BoardSelectorFilteredModel() = default;

QString BoardSelectorFilteredModel::stockCode() const
{
    return d->stockCode;
}

qlonglong BoardSelectorFilteredModel::boardFlagsOnFilter() const
{
    return d->flagsOn;
}

qlonglong BoardSelectorFilteredModel::boardFlagsOffFilter() const
{
    return d->flagsOff;
}

void BoardSelectorFilteredModel::setStockCode(const QString &stockCode)
{
    if (store(d->stockCode, stockCode))
        invalidateFilter();
}

void BoardSelectorFilteredModel::setStockId(int stockId)
{
    setStockCode(StockDirectory::codeById(stockId));
}

void BoardSelectorFilteredModel::setBoardFlagsOnFilter(qlonglong mask)
{
    if (store(d->flagsOn, mask))
        invalidateFilter();
}

void BoardSelectorFilteredModel::setBoardFlagsOffFilter(qlonglong mask)
{
    if (store(d->flagsOff, mask))
        invalidateFilter();
}

bool BoardSelectorFilteredModel::filterAcceptsRow(int sourceRow, const QModelIndex &sourceParent) const
{
    // Without any filter no row is read: a fill of a million boards asks
    // this of every row.
    const bool unfiltered = d->stockCode.isEmpty() && d->flagsOn == 0 && d->flagsOff == 0;
    if (sourceParent.isValid() || unfiltered)
        return true;
    const QModelIndex row = sourceModel()->index(sourceRow, 0);
    const int stockId = row.data(BoardSelectorModel::StockIdRole).toInt();
    const int boardId = row.data(BoardSelectorModel::BoardIdRole).toInt();
    if (!d->acceptsStock(row.data(BoardSelectorModel::StockCodeRole).toString(), stockId, boardId))
        return false;
    if (d->flagsOff != 0 && BoardDirectory::checkFlagsById(stockId, boardId, d->flagsOff))
        return false;
    return d->flagsOn == 0 || BoardDirectory::checkFlagsById(stockId, boardId, d->flagsOn);
}
