#ifndef VETREL_SECURITYSELECTORFILTEREDMODEL_H
#define VETREL_SECURITYSELECTORFILTEREDMODEL_H

#include <QSortFilterProxyModel>

#include <vetrel/vetrel_export.h>

/**
 * The securities of one stock and board. While either code is empty every
 * security passes. The stock of id 5 lists the securities filed under the
 * stock of id 1 (on the same board code).
 */
class VETREL_EXPORT SecuritySelectorFilteredModel : public QSortFilterProxyModel
{
    Q_OBJECT

public:
    explicit SecuritySelectorFilteredModel(QObject *parent = nullptr);

public slots:
    void setStockBoard(const QString &stockCode, const QString &boardCode);

protected:
    bool filterAcceptsRow(int sourceRow, const QModelIndex &sourceParent) const override;

private:
    QString m_stockCode;
    QString m_boardCode;
};

#endif
