#ifndef VETREL_BOARDSELECTORMODEL_H
#define VETREL_BOARDSELECTORMODEL_H

#include <QAbstractItemModel>
#include <QList>
#include <QTimer>

#include <vetrel/selectortypes.h>
#include <vetrel/vetrel_export.h>

class Record;
class Table;

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

    /// Refills from the table; throws Exception on an id column of a wrong type.
    virtual void populate();
    virtual bool filter(const Record &record) const;

    void setFilterBoards(const boardlist &boards);
    void setForPositions(bool on);

    bool checkMarks() const { return m_checkMarks; }
    void setCheckMarks(bool on);

    /// The table's record of the row; an empty record when there is none.
    /// The record is the table's own: read it under the table's lock.
    const Record &at(int row) const;
    /// The row's data (the filtered model reads it); `row` must be valid.
    const Data &rowData(int row) const { return m_rows.at(row); }

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
    QTimer m_timer;
    QList<Data> m_rows;
    Table *m_table = nullptr;
    int m_stockIdColumn = -1;
    int m_boardIdColumn = -1;
    int m_nameColumn = -1;
    int m_boardCodeColumn = -1;
    int m_secTypeColumn = -1;
    bool m_checkMarks = false;
    QList<boardid> m_filterBoards;
    bool m_forPositions = false;
};

#endif
