#ifndef VETREL_BOARDSELECTORFILTEREDMODEL_H
#define VETREL_BOARDSELECTORFILTEREDMODEL_H

#include <QSortFilterProxyModel>

#include <vetrel/vetrel_export.h>

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

    QString stockCode() const { return m_stockCode; }
    qlonglong boardFlagsOnFilter() const { return m_flagsOn; }
    qlonglong boardFlagsOffFilter() const { return m_flagsOff; }

public slots:
    void setStockCode(const QString &stockCode);
    void setStockId(int stockId);
    void setBoardFlagsOnFilter(qlonglong mask);
    void setBoardFlagsOffFilter(qlonglong mask);

protected:
    bool filterAcceptsRow(int sourceRow, const QModelIndex &sourceParent) const override;

private:
    bool acceptsStock(const QString &rowStockCode, int stockId, int boardId) const;

    QString m_stockCode;
    qlonglong m_flagsOn = 0;
    qlonglong m_flagsOff = 0;
};

#endif
