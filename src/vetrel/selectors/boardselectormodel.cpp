#include <vetrel/boardselectormodel.h>

#include "selectordata_p.h"

#include <host/boarddirectory.h>
#include <host/stockdirectory.h>

#include <QScopeGuard>

static const SelectorData::FieldConstantSet fieldConstants;

BoardSelectorModel::BoardSelectorModel(QObject *parent)
    : QAbstractItemModel(parent)
    , m_table(SelectorData::coreTable(QStringLiteral("boards")))
{
    SelectorData::registerKeyTypes();
    m_timer.setSingleShot(true);
    connect(&m_timer, &QTimer::timeout, this, &BoardSelectorModel::sendBoardsChanged);
    if (m_table) {
        m_stockIdColumn = m_table->columnIndex(QStringLiteral("stock_id"));
        m_boardIdColumn = m_table->columnIndex(QStringLiteral("board_id"));
        m_nameColumn = m_table->columnIndex(QStringLiteral("name"));
        m_boardCodeColumn = m_table->columnIndex(QStringLiteral("board_code"));
        m_secTypeColumn = m_table->columnIndex(QStringLiteral("sectype"));
    }
}

void BoardSelectorModel::populate()
{
    beginResetModel();
    if (!m_table) {
        m_rows.clear();
        endResetModel();
        m_timer.start(0);
        return;
    }
    const TableLocker locker(m_table);
    const Table &table = *m_table;
    SelectorData::fill(
        table, m_rows, [this](const Record &record) { return filter(record); },
        [&](const Record &record) {
            Data row;
            row.name = SelectorData::readText(table, record, m_nameColumn);
            row.boardCode = SelectorData::readText(table, record, m_boardCodeColumn);
            row.stockId = SelectorData::readInt(table, record, m_stockIdColumn);
            row.boardId = SelectorData::readInt(table, record, m_boardIdColumn);
            row.stockCode = StockDirectory::codeById(row.stockId);
            return row;
        },
        [](const Data &a, const Data &b) {
            return a.stockId != b.stockId ? a.stockId < b.stockId : a.boardCode < b.boardCode;
        });
    endResetModel();
    m_timer.start(0);
}

bool BoardSelectorModel::filter(const Record &record) const
{
    const int boardId = SelectorData::readInt(*m_table, record, m_boardIdColumn);
    const int stockId = SelectorData::readInt(*m_table, record, m_stockIdColumn);
    if (m_forPositions && !BoardDirectory::isPositionById(stockId, boardId))
        return false;
    return m_filterBoards.isEmpty() || m_filterBoards.contains(boardid(stockId, boardId));
}

void BoardSelectorModel::setFilterBoards(const boardlist &boards)
{
    m_filterBoards = boards;
}

void BoardSelectorModel::setForPositions(bool on)
{
    m_forPositions = on;
}

void BoardSelectorModel::setCheckMarks(bool on)
{
    if (m_checkMarks == on)
        return;
    m_checkMarks = on;
    if (!m_rows.isEmpty())
        emit dataChanged(index(0, 0), index(m_rows.size() - 1, 0), { Qt::CheckStateRole });
}

const Record &BoardSelectorModel::at(int row) const
{
    static const Record none;
    if (!m_table || m_stockIdColumn < 0 || m_boardIdColumn < 0 || row < 0 || row >= m_rows.size())
        return none;
    const Data &data = m_rows.at(row);
    Record *key = m_table->allocRow();
    const auto release = qScopeGuard([&] { m_table->freeRow(key); });
    *m_table->dataPtr(key, m_stockIdColumn) = qint32(data.stockId);
    *m_table->dataPtr(key, m_boardIdColumn) = qint32(data.boardId);
    const TableLocker locker(m_table);
    const Record *found = m_table->find(*key);
    return found ? *found : none;
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
    return parent.isValid() ? 0 : m_rows.size();
}

int BoardSelectorModel::columnCount(const QModelIndex &) const
{
    return 1;
}

Qt::ItemFlags BoardSelectorModel::flags(const QModelIndex &index) const
{
    return SelectorData::itemFlags(index, m_checkMarks);
}

QVariant BoardSelectorModel::data(const QModelIndex &index, int role) const
{
    if (!SelectorData::answers(index, this, m_rows.size()))
        return QVariant();
    const Data &row = m_rows.at(index.row());
    switch (role) {
    case Qt::DisplayRole:
    case Qt::EditRole:
        return row.name;
    case Qt::CheckStateRole:
        return SelectorData::checkState(m_checkMarks, row.checked);
    case BoardStockIdsRole:
        return QString(QString::number(row.boardId) + QLatin1Char(',') + QString::number(row.stockId));
    case StockIdRole:
        return row.stockId;
    case BoardIdRole:
        return row.boardId;
    case StockCodeRole:
        return row.stockCode;
    case BoardCodeRole:
        return row.boardCode;
    default:
        return QVariant();
    }
}

bool BoardSelectorModel::setData(const QModelIndex &index, const QVariant &value, int role)
{
    const auto change
        = SelectorData::setCheckMark(*this, m_rows, m_checkMarks, index, value, role, [this](auto mark) {
              beginResetModel();
              mark();
              endResetModel();
          });
    if (change == SelectorData::CheckChange::Row)
        m_timer.start(0);
    return change != SelectorData::CheckChange::None;
}

void BoardSelectorModel::sendBoardsChanged()
{
    const auto chosen = SelectorData::checkedKeys<Board>(
        m_rows, [](const Data &row) { return Board(row.stockId, row.boardId); });
    emit boardsChanged(chosen.first, chosen.second);
}
