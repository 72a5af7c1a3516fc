#ifndef VETREL_COMPLETIONORDERMODEL_P_H
#define VETREL_COMPLETIONORDERMODEL_P_H

#include <QAbstractProxyModel>
#include <QPointer>

class CaseInsensitiveIndex;

/**
 * A flat model's rows in the order of their text ignoring case. Given to a
 * QCompleter that is told its model is sorted that way, it lets the completer
 * find a typed prefix by binary search rather than by reading all rows.
 */
class CompletionOrderModel : public QAbstractProxyModel
{
    Q_OBJECT

public:
    explicit CompletionOrderModel(QObject *parent = nullptr);

    void setSourceModel(QAbstractItemModel *model) override;

    QModelIndex index(int row, int column, const QModelIndex &parent = QModelIndex()) const override;
    QModelIndex parent(const QModelIndex &child) const override;
    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    int columnCount(const QModelIndex &parent = QModelIndex()) const override;
    QModelIndex mapToSource(const QModelIndex &proxyIndex) const override;
    QModelIndex mapFromSource(const QModelIndex &sourceIndex) const override;

private:
    void endReset();

    QPointer<CaseInsensitiveIndex> m_order;
    int m_columns = 0;
};

#endif
