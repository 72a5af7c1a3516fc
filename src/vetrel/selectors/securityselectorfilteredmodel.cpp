#include <vetrel/securityselectorfilteredmodel.h>

#include <vetrel/securityselectormodel.h>
#include "selectordata_p.h"

#include <host/stockdirectory.h>

static const SelectorData::FieldConstantSet fieldConstants;

namespace
{

// The stock whose securities are filed under another stock's id.
constexpr int mirrorStockId = 5;
constexpr int mirroredStockId = 1;

}

SecuritySelectorFilteredModel::SecuritySelectorFilteredModel(QObject *parent)
    : QSortFilterProxyModel(parent)
{ }

void SecuritySelectorFilteredModel::setStockBoard(const QString &stockCode, const QString &boardCode)
{
    if (stockCode == m_stockCode && boardCode == m_boardCode)
        return;
    m_stockCode = stockCode;
    m_boardCode = boardCode;
    invalidateFilter();
}

bool SecuritySelectorFilteredModel::filterAcceptsRow(int sourceRow, const QModelIndex &sourceParent) const
{
    if (sourceParent.isValid() || m_stockCode.isEmpty() || m_boardCode.isEmpty())
        return true;
    const QModelIndex item = sourceModel()->index(sourceRow, 0, sourceParent);
    const QString stockCode = StockDirectory::idByCode(m_stockCode) == mirrorStockId
        ? StockDirectory::codeById(mirroredStockId)
        : m_stockCode;
    return item.data(SecuritySelectorModel::StockCodeRole).toString() == stockCode
        && item.data(SecuritySelectorModel::BoardCodeRole).toString() == m_boardCode;
}
