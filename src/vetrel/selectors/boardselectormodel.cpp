#include <vetrel/boardselectormodel.h>

#include "selectordata_p.h"

#include <host/boarddirectory.h>
#include <host/stockdirectory.h>

static const SelectorData::FieldConstantSet fieldConstants;

class BoardSelectorModelPrivate
{
public:
    using Data = BoardSelectorModel::Data;

    explicit BoardSelectorModelPrivate(BoardSelectorModel *q)
        : rows(q)
        , table(SelectorData::coreTable(QStringLiteral("boards")))
        , stockIdColumn(SelectorData::columnOf(table, "stock_id"))
        , boardIdColumn(SelectorData::columnOf(table, "board_id"))
        , nameColumn(SelectorData::columnOf(table, "name"))
        , boardCodeColumn(SelectorData::columnOf(table, "board_code"))
        , secTypeColumn(SelectorData::columnOf(table, "sectype"))
    {
        rows.offerTexts(q, [](const Data &row) -> const QString & { return row.name; });
    }

    SelectorData::CheckableRows<Data> rows;
    Table *const table;
    const int stockIdColumn;
    const int boardIdColumn;
    const int nameColumn;
    const int boardCodeColumn;
    const int secTypeColumn; // resolved for hosts that look for it; no row reads it
    boardlist filterBoards;
    bool forPositions = false;
};

BoardSelectorModel::BoardSelectorModel(QObject *parent)
    : QAbstractItemModel(parent)
    , d(new BoardSelectorModelPrivate(this))
{
    connect(&d->rows.timer, &QTimer::timeout, this, &BoardSelectorModel::sendBoardsChanged);
}

BoardSelectorModel::~BoardSelectorModel() = default;

void BoardSelectorModel::populate()
{
    // Whatever happens, the fill is announced once the event loop runs.
    struct Announce
    {
        QTimer &timer;
        ~Announce() { timer.start(0); }
    } announce { d->rows.timer };
    const Table *table = d->table;
    // A stock's boards come one after another: one directory look-up each.
    int codeOf = 0;
    QString stockCode;
    auto snapshot = SelectorData::readSnapshot<Data>(
        table, [this](const Record &record) { return filter(record); },
        [&](const Record &record) {
            Data row;
            row.name = SelectorData::readText(*table, record, d->nameColumn);
            row.boardCode = SelectorData::readText(*table, record, d->boardCodeColumn);
            row.stockId = SelectorData::readInt(*table, record, d->stockIdColumn);
            row.boardId = SelectorData::readInt(*table, record, d->boardIdColumn);
            if (row.stockId != codeOf || stockCode.isNull()) {
                codeOf = row.stockId;
                stockCode = StockDirectory::codeById(codeOf);
            }
            row.stockCode = stockCode;
            return row;
        },
        [](const Data &row) -> const QString & { return row.boardCode; },
        [](const Data &row) { return RowOrder::PrefixKey().add(row.stockId); },
        [](const Data &a, const Data &b) {
            return a.stockId != b.stockId ? a.stockId < b.stockId : a.boardCode < b.boardCode;
        },
        [](const Data &row) -> const QString & { return row.name; });
    d->rows.swapIn(*this, snapshot);
}

bool BoardSelectorModel::filter(const Record &record) const
{
    const int boardId = SelectorData::readInt(*d->table, record, d->boardIdColumn);
    const int stockId = SelectorData::readInt(*d->table, record, d->stockIdColumn);
    if (d->forPositions && !BoardDirectory::isPositionById(stockId, boardId))
        return false;
    return d->filterBoards.isEmpty() || d->filterBoards.contains(boardid(stockId, boardId));
}

void BoardSelectorModel::setFilterBoards(const boardlist &boards)
{
    d->filterBoards = boards;
}

void BoardSelectorModel::setForPositions(bool on)
{
    d->forPositions = on;
}

bool BoardSelectorModel::checkMarks() const
{
    return d->rows.checkMarks;
}

void BoardSelectorModel::setCheckMarks(bool on)
{
    d->rows.setCheckMarks(on);
}

Record BoardSelectorModel::at(int row) const
{
    const Table *table = d->table;
    if (!table || d->stockIdColumn < 0 || d->boardIdColumn < 0 || row < 0 || row >= rowCount())
        return Record();
    const Data &data = d->rows.rows[size_t(row)];
    const std::unique_ptr<Record> key(table->allocRow());
    *table->dataPtr(key.get(), d->stockIdColumn) = qint32(data.stockId);
    *table->dataPtr(key.get(), d->boardIdColumn) = qint32(data.boardId);
    const TableLocker locker(table);
    const Record *found = table->find(*key);
    return found ? *found : Record();
}

QModelIndex BoardSelectorModel::index(int row, int column, const QModelIndex &parent) const
{
    return parent.isValid() ? QModelIndex() : createIndex(row, column);
}

QModelIndex BoardSelectorModel::parent(const QModelIndex &) const
{
    return QModelIndex();
}

int BoardSelectorModel::rowCount(const QModelIndex &parent) const
{
    return d->rows.rowCount(parent);
}

int BoardSelectorModel::columnCount(const QModelIndex &) const
{
    return 1;
}

Qt::ItemFlags BoardSelectorModel::flags(const QModelIndex &index) const
{
    return d->rows.flags(index);
}

QVariant BoardSelectorModel::data(const QModelIndex &index, int role) const
{
    const Data *row = d->rows.answering(index);
    if (!row)
        return QVariant();
    switch (role) {
    case Qt::DisplayRole:
    case Qt::EditRole:
        return row->name;
    case Qt::CheckStateRole:
        return d->rows.checkState(*row);
    case BoardStockIdsRole:
        return QString(QString::number(row->boardId) + QLatin1Char(',') + QString::number(row->stockId));
    case StockIdRole:
        return row->stockId;
    case BoardIdRole:
        return row->boardId;
    case StockCodeRole:
        return row->stockCode;
    case BoardCodeRole:
        return row->boardCode;
    default:
        return QVariant();
    }
}

bool BoardSelectorModel::setData(const QModelIndex &index, const QVariant &value, int role)
{
    const auto change = d->rows.setData(index, value, role);
    if (change == SelectorData::CheckChange::Row)
        d->rows.timer.start(0);
    return change != SelectorData::CheckChange::None;
}

void BoardSelectorModel::sendBoardsChanged()
{
    const auto chosen = SelectorData::checkedKeys<Board>(
        d->rows.rows, [](const Data &row) { return Board(row.stockId, row.boardId); });
    emit boardsChanged(chosen.first, chosen.second);
}
