#ifndef VETREL_BOARDSELECTORFILTEREDMODEL_H
#define VETREL_BOARDSELECTORFILTEREDMODEL_H

#include <QSortFilterProxyModel>

#include <vetrel/vetrel_export.h>

#include <memory>

class BoardSelectorFilteredModelPrivate;

/**
 * Keeps the boards of a BoardSelectorModel that belong to one stock (all when
 * no stock code is set; the RFS boards of "ARVENTA" also pass the stock code
 * "RFS") and that carry, or lack, given board flags.
 */
class VETREL_EXPORT BoardSelectorFilteredModel : public QSortFilterProxyModel
{
    Q_OBJECT

public:
    explicit BoardSelectorFilteredModel(QObject *parent = nullptr);
    ~BoardSelectorFilteredModel() override;

    QString stockCode() const;
    qlonglong boardFlagsOnFilter() const;
    qlonglong boardFlagsOffFilter() const;

public slots:
    void setStockCode(const QString &stockCode);
    void setStockId(int stockId);
    void setBoardFlagsOnFilter(qlonglong mask);
    void setBoardFlagsOffFilter(qlonglong mask);

protected:
    bool filterAcceptsRow(int sourceRow, const QModelIndex &sourceParent) const override;

private:
    std::unique_ptr<BoardSelectorFilteredModelPrivate> const d;
};

#endif
