#ifndef VETREL_STOCKSELECTORMODEL_H
#define VETREL_STOCKSELECTORMODEL_H

#include <QAbstractItemModel>

#include <vetrel/selectortypes.h>
#include <vetrel/vetrel_export.h>

#include <memory>

class Record;
class StockSelectorModelPrivate;

/**
 * The stocks of the host's "stocks" table, ordered by stock code. Shows the
 * names; role 257 is the stock id, 258 the code. Optional check marks; the
 * ids of the checked stocks are announced by stocksChanged() when
 * sendStocksChanged() runs (this model never starts its own timer).
 */
class VETREL_EXPORT StockSelectorModel : public QAbstractItemModel
{
    Q_OBJECT

public:
    enum ItemDataRole
    {
        StockIdRole = Qt::UserRole + 1,
        StockCodeRole
    };

    struct Data
    {
        bool checked = true;
        int stockId = 0;
        QString name;
        QString stockCode;
    };

    explicit StockSelectorModel(QObject *parent = nullptr);
    ~StockSelectorModel() override;

    /// Refills from the table. An id column of a wrong type throws Exception
    /// after the rows read before it are shown.
    virtual void populate();
    virtual bool filter(const Record &record) const;

    bool checkMarks() const;
    void setCheckMarks(bool on);

    QModelIndex index(int row, int column, const QModelIndex &parent = QModelIndex()) const override;
    QModelIndex parent(const QModelIndex &child) const override;
    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    int columnCount(const QModelIndex &parent = QModelIndex()) const override;
    Qt::ItemFlags flags(const QModelIndex &index) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    bool setData(const QModelIndex &index, const QVariant &value, int role = Qt::EditRole) override;

signals:
    void stocksChanged(bool enable, Stocks keys);

protected slots:
    void sendStocksChanged();

private:
    std::unique_ptr<StockSelectorModelPrivate> const d;
};

#endif
