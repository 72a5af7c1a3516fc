#include <vetrel/stockselectormodel.h>

#include "selectordata_p.h"

static const SelectorData::FieldConstantSet fieldConstants;

StockSelectorModel::StockSelectorModel(QObject *parent)
    : QAbstractItemModel(parent)
    , m_table(SelectorData::coreTable(QStringLiteral("stocks")))
{
    SelectorData::registerKeyTypes();
    m_timer.setSingleShot(true);
    connect(&m_timer, &QTimer::timeout, this, &StockSelectorModel::sendStocksChanged);
    if (m_table) {
        m_stockIdColumn = m_table->columnIndex(QStringLiteral("stock_id"));
        m_nameColumn = m_table->columnIndex(QStringLiteral("name"));
        m_stockCodeColumn = m_table->columnIndex(QStringLiteral("stock_code"));
    }
}

void StockSelectorModel::populate()
{
    beginResetModel();
    if (!m_table) {
        m_rows.clear();
        endResetModel();
        return;
    }
    const TableLocker locker(m_table);
    const Table &table = *m_table;
    SelectorData::fill(
        table, m_rows, [this](const Record &record) { return filter(record); },
        [&](const Record &record) {
            Data row;
            row.stockId = SelectorData::readInt(table, record, m_stockIdColumn);
            row.name = SelectorData::readText(table, record, m_nameColumn);
            row.stockCode = SelectorData::readText(table, record, m_stockCodeColumn);
            return row;
        },
        [](const Data &a, const Data &b) { return a.stockCode < b.stockCode; });
    endResetModel();
}

bool StockSelectorModel::filter(const Record &) const
{
    return true;
}

void StockSelectorModel::setCheckMarks(bool on)
{
    if (m_checkMarks == on)
        return;
    m_checkMarks = on;
    if (!m_rows.isEmpty())
        emit dataChanged(index(0, 0), index(m_rows.size() - 1, 0), { Qt::CheckStateRole });
}

QModelIndex StockSelectorModel::index(int row, int column, const QModelIndex &parent) const
{
    return parent.isValid() ? QModelIndex() : createIndex(row, column);
}

QModelIndex StockSelectorModel::parent(const QModelIndex &) const
{
    return QModelIndex();
}

int StockSelectorModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : m_rows.size();
}

int StockSelectorModel::columnCount(const QModelIndex &) const
{
    return 1;
}

Qt::ItemFlags StockSelectorModel::flags(const QModelIndex &index) const
{
    return SelectorData::itemFlags(index, m_checkMarks);
}

QVariant StockSelectorModel::data(const QModelIndex &index, int role) const
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
    case StockIdRole:
        return row.stockId;
    case StockCodeRole:
        return row.stockCode;
    default:
        return QVariant();
    }
}

bool StockSelectorModel::setData(const QModelIndex &index, const QVariant &value, int role)
{
    const auto change
        = SelectorData::setCheckMark(*this, m_rows, m_checkMarks, index, value, role, [this](auto mark) {
              beginResetModel();
              mark();
              endResetModel();
          });
    return change != SelectorData::CheckChange::None;
}

void StockSelectorModel::sendStocksChanged()
{
    const auto chosen = SelectorData::checkedKeys<int>(m_rows, [](const Data &row) { return row.stockId; });
    emit stocksChanged(chosen.first, chosen.second);
}
