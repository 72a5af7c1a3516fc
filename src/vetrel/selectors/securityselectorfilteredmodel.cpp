#include <vetrel/securityselectorfilteredmodel.h>

#include "selectordata_p.h"
#include <vetrel/securityselectormodel.h>

#include <host/stockdirectory.h>

static const SelectorData::FieldConstantSet fieldConstants;

namespace
{

// The stock whose securities are filed under another stock's id.
constexpr int mirrorStockId = 5;
constexpr int mirroredStockId = 1;

}

class SecuritySelectorFilteredModelPrivate
{
public:
    QString stockCode;
    QString boardCode;
};

SecuritySelectorFilteredModel::SecuritySelectorFilteredModel(QObject *parent)
    : QSortFilterProxyModel(parent)
    , d(new SecuritySelectorFilteredModelPrivate)
{ }

SecuritySelectorFilteredModel::~SecuritySelectorFilteredModel() = default;

void SecuritySelectorFilteredModel::setStockBoard(const QString &stockCode, const QString &boardCode)
{
    if (stockCode == d->stockCode && boardCode == d->boardCode)
        return;
    d->stockCode = stockCode;
    d->boardCode = boardCode;
    invalidateFilter();
}

bool SecuritySelectorFilteredModel::filterAcceptsRow(int sourceRow, const QModelIndex &sourceParent) const
{
    if (sourceParent.isValid() || d->stockCode.isEmpty() || d->boardCode.isEmpty())
        return true;
    const QModelIndex item = sourceModel()->index(sourceRow, 0, sourceParent);
    const QString stockCode = StockDirectory::idByCode(d->stockCode) == mirrorStockId
        ? StockDirectory::codeById(mirroredStockId)
        : d->stockCode;
    return item.data(SecuritySelectorModel::StockCodeRole).toString() == stockCode
        && item.data(SecuritySelectorModel::BoardCodeRole).toString() == d->boardCode;
}
