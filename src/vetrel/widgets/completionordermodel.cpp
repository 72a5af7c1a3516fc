#include <vetrel/completionordermodel_p.h>

#include <vetrel/caseinsensitiveindex_p.h>

CompletionOrderModel::CompletionOrderModel(QObject *parent)
    : QAbstractProxyModel(parent)
{ }

void CompletionOrderModel::setSourceModel(QAbstractItemModel *model)
{
    if (model == sourceModel())
        return;
    beginResetModel();
    if (m_order)
        disconnect(m_order, nullptr, this, nullptr);
    if (sourceModel())
        disconnect(sourceModel(), nullptr, this, nullptr);
    QAbstractProxyModel::setSourceModel(model);
    m_order = CaseInsensitiveIndex::of(model);
    if (m_order) {
        connect(m_order, &CaseInsensitiveIndex::aboutToChange, this, &CompletionOrderModel::beginResetModel);
        connect(m_order, &CaseInsensitiveIndex::changed, this, &CompletionOrderModel::endReset);
        connect(model, &QAbstractItemModel::columnsAboutToBeInserted, this,
            &CompletionOrderModel::beginResetModel);
        connect(model, &QAbstractItemModel::columnsInserted, this, &CompletionOrderModel::endReset);
        connect(model, &QAbstractItemModel::columnsAboutToBeRemoved, this,
            &CompletionOrderModel::beginResetModel);
        connect(model, &QAbstractItemModel::columnsRemoved, this, &CompletionOrderModel::endReset);
    }
    endReset();
}

void CompletionOrderModel::endReset()
{
    // A list view lays out a pop-up by asking index() for every row: the
    // source's column count is read here once instead of once per row.
    m_columns = sourceModel() ? sourceModel()->columnCount() : 0;
    endResetModel();
}

QModelIndex CompletionOrderModel::index(int row, int column, const QModelIndex &parent) const
{
    if (parent.isValid() || row < 0 || column < 0 || row >= rowCount() || column >= m_columns)
        return QModelIndex();
    return createIndex(row, column);
}

QModelIndex CompletionOrderModel::parent(const QModelIndex &) const
{
    return QModelIndex();
}

int CompletionOrderModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() || !m_order ? 0 : m_order->size();
}

int CompletionOrderModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : m_columns;
}

QModelIndex CompletionOrderModel::mapToSource(const QModelIndex &proxyIndex) const
{
    if (!proxyIndex.isValid() || !m_order)
        return QModelIndex();
    return sourceModel()->index(m_order->rowAt(proxyIndex.row()), proxyIndex.column());
}

QModelIndex CompletionOrderModel::mapFromSource(const QModelIndex &sourceIndex) const
{
    if (!sourceIndex.isValid() || !m_order)
        return QModelIndex();
    return index(m_order->positionOf(sourceIndex.row()), sourceIndex.column());
}
