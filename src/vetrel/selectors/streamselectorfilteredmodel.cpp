#include <vetrel/streamselectorfilteredmodel.h>

#include "selectordata_p.h"
#include <vetrel/streamselectormodel.h>

static const SelectorData::FieldConstantSet fieldConstants;

StreamSelectorFilteredModel::StreamSelectorFilteredModel(QObject *parent)
    : QSortFilterProxyModel(parent)
{
    setSortRole(StreamSelectorModel::StreamIdRole);
    sort(0, Qt::AscendingOrder);
}

void StreamSelectorFilteredModel::setSecurityId(qlonglong securityId)
{
    m_securityId = securityId;
    invalidateFilter();
}

bool StreamSelectorFilteredModel::filterAcceptsRow(int sourceRow, const QModelIndex &sourceParent) const
{
    if (m_securityId == 0)
        return true;
    const QModelIndex item = sourceModel()->index(sourceRow, 0, sourceParent);
    return item.data(StreamSelectorModel::SecurityIdRole).toLongLong() == m_securityId;
}
