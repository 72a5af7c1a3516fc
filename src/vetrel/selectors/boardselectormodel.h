#ifndef VETREL_BOARDSELECTORMODEL_H
#define VETREL_BOARDSELECTORMODEL_H

#include <QAbstractItemModel>

#include <vetrel/selectortypes.h>
#include <vetrel/vetrel_export.h>

#include <memory>

class BoardSelectorModelPrivate;
class Record;

/**
 * The boards of the host's "boards" table, ordered by stock id and then board
 * code. Shows the names; roles from 257 carry the ids and codes. It can be
 * restricted to given (stock, board) pairs and to boards that keep positions
 * (both take effect at the next populate()). Every fill and every single
 * check-mark change is announced once by boardsChanged() from the event loop.
 */
class VETREL_EXPORT BoardSelectorModel : public QAbstractItemModel
{
    Q_OBJECT

public:
    enum ItemDataRole
    {
        BoardStockIdsRole = Qt::UserRole + 1, // "board id,stock id"
        StockIdRole,
        BoardIdRole,
        StockCodeRole,
        BoardCodeRole,
    };

    struct Data
    {
        bool checked = true;
        QString name;
        QString boardCode;
        QString stockCode;
        int stockId = 0;
        int boardId = 0;
    };

    explicit BoardSelectorModel(QObject *parent = nullptr);
    ~BoardSelectorModel() override;

    /// Refills from the table. An id column of a wrong type throws Exception
    /// after the rows read before it are shown.
    virtual void populate();
    virtual bool filter(const Record &record) const;

    void setFilterBoards(const boardlist &boards);
    void setForPositions(bool on);

    bool checkMarks() const;
    void setCheckMarks(bool on);

    /// A copy of the table's record of the row, taken under the table's lock
    /// (a feed thread may replace the row right after); an empty record when
    /// there is none.
    Record at(int row) const;

    QModelIndex index(int row, int column, const QModelIndex &parent = QModelIndex()) const override;
    QModelIndex parent(const QModelIndex &child) const override;
    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    int columnCount(const QModelIndex &parent = QModelIndex()) const override;
    Qt::ItemFlags flags(const QModelIndex &index) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    bool setData(const QModelIndex &index, const QVariant &value, int role = Qt::EditRole) override;

signals:
    void boardsChanged(bool enable, Boards keys);

protected slots:
    void sendBoardsChanged();

private:
    std::unique_ptr<BoardSelectorModelPrivate> const d;
};

#endif
