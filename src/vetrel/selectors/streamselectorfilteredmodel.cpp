#include <vetrel/streamselectorfilteredmodel.h>

#include "selectordata_p.h"
#include <vetrel/streamselectormodel.h>

static const SelectorData::FieldConstantSet fieldConstants;

class StreamSelectorFilteredModelPrivate
{
public:
    qlonglong securityId = 0;
};

StreamSelectorFilteredModel::StreamSelectorFilteredModel(QObject *parent)
    : QSortFilterProxyModel(parent)
    , d(new StreamSelectorFilteredModelPrivate)
{
    setSortRole(StreamSelectorModel::StreamIdRole);
    sort(0, Qt::AscendingOrder);
}

StreamSelectorFilteredModel::~StreamSelectorFilteredModel() = default;

qlonglong StreamSelectorFilteredModel::securityId() const
{
    return d->securityId;
}

void StreamSelectorFilteredModel::setSecurityId(qlonglong securityId)
{
    d->securityId = securityId;
    invalidateFilter();
}

bool StreamSelectorFilteredModel::filterAcceptsRow(int sourceRow, const QModelIndex &sourceParent) const
{
    if (d->securityId == 0)
        return true;
    const QModelIndex item = sourceModel()->index(sourceRow, 0, sourceParent);
    return item.data(StreamSelectorModel::SecurityIdRole).toLongLong() == d->securityId;
}
