#ifndef VETREL_STREAMSELECTORFILTEREDMODEL_H
#define VETREL_STREAMSELECTORFILTEREDMODEL_H

#include <QSortFilterProxyModel>

#include <vetrel/vetrel_export.h>

#include <memory>

class StreamSelectorFilteredModelPrivate;

/**
 * The streams of one security (all streams while the security id is 0),
 * ordered by stream id.
 */
class VETREL_EXPORT StreamSelectorFilteredModel : public QSortFilterProxyModel
{
    Q_OBJECT

public:
    explicit StreamSelectorFilteredModel(QObject *parent = nullptr);
    ~StreamSelectorFilteredModel() override;

    qlonglong securityId() const;

public slots:
    void setSecurityId(qlonglong securityId);

protected:
    bool filterAcceptsRow(int sourceRow, const QModelIndex &sourceParent) const override;

private:
    std::unique_ptr<StreamSelectorFilteredModelPrivate> const d;
};

#endif
