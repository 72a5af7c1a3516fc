#ifndef VETREL_SECURITYSELECTORFILTEREDMODEL_H
#define VETREL_SECURITYSELECTORFILTEREDMODEL_H

#include <QSortFilterProxyModel>

#include <vetrel/vetrel_export.h>

#include <memory>

class SecuritySelectorFilteredModelPrivate;

/**
 * Narrows a security list to one stock and board; with either code unset it
 * lets every security through. Stock 5 has no securities of its own: it
 * shows those of stock 1 on the same board code.
 */
class VETREL_EXPORT SecuritySelectorFilteredModel : public QSortFilterProxyModel
{
    Q_OBJECT

public:
    explicit SecuritySelectorFilteredModel(QObject *parent = nullptr);
    ~SecuritySelectorFilteredModel() override;

public slots:
    void setStockBoard(const QString &stockCode, const QString &boardCode);

protected:
    bool filterAcceptsRow(int sourceRow, const QModelIndex &sourceParent) const override;

private:
    std::unique_ptr<SecuritySelectorFilteredModelPrivate> const d;
};

#endif
