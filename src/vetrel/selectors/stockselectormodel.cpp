#include <vetrel/stockselectormodel.h>

#include "selectordata_p.h"

static const SelectorData::FieldConstantSet fieldConstants;

class StockSelectorModelPrivate
{
public:
    using Data = StockSelectorModel::Data;

    explicit StockSelectorModelPrivate(StockSelectorModel *q)
        : rows(q)
        , table(SelectorData::coreTable(QStringLiteral("stocks")))
        , stockIdColumn(SelectorData::columnOf(table, "stock_id"))
        , nameColumn(SelectorData::columnOf(table, "name"))
        , stockCodeColumn(SelectorData::columnOf(table, "stock_code"))
    {
        rows.offerTexts(q, [](const Data &row) -> const QString & { return row.name; });
    }

    SelectorData::CheckableRows<Data> rows;
    Table *const table;
    const int stockIdColumn;
    const int nameColumn;
    const int stockCodeColumn;
};

StockSelectorModel::StockSelectorModel(QObject *parent)
    : QAbstractItemModel(parent)
    , d(new StockSelectorModelPrivate(this))
{
    connect(&d->rows.timer, &QTimer::timeout, this, &StockSelectorModel::sendStocksChanged);
}

StockSelectorModel::~StockSelectorModel() = default;

void StockSelectorModel::populate()
{
    const Table *table = d->table;
    auto snapshot = SelectorData::readSnapshot<Data>(
        table, [this](const Record &record) { return filter(record); },
        [&](const Record &record) {
            Data row;
            row.stockId = SelectorData::readInt(*table, record, d->stockIdColumn);
            row.name = SelectorData::readText(*table, record, d->nameColumn);
            row.stockCode = SelectorData::readText(*table, record, d->stockCodeColumn);
            return row;
        },
        [](const Data &row) -> const QString & { return row.stockCode; },
        [](const Data &) { return RowOrder::PrefixKey(); },
        [](const Data &a, const Data &b) { return a.stockCode < b.stockCode; },
        [](const Data &row) -> const QString & { return row.name; });
    d->rows.swapIn(*this, snapshot);
}

bool StockSelectorModel::filter(const Record &) const
{
    return true;
}

bool StockSelectorModel::checkMarks() const
{
    return d->rows.checkMarks;
}

void StockSelectorModel::setCheckMarks(bool on)
{
    d->rows.setCheckMarks(on);
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
    return d->rows.rowCount(parent);
}

int StockSelectorModel::columnCount(const QModelIndex &) const
{
    return 1;
}

Qt::ItemFlags StockSelectorModel::flags(const QModelIndex &index) const
{
    return d->rows.flags(index);
}

QVariant StockSelectorModel::data(const QModelIndex &index, int role) const
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
    case StockIdRole:
        return row->stockId;
    case StockCodeRole:
        return row->stockCode;
    default:
        return QVariant();
    }
}

bool StockSelectorModel::setData(const QModelIndex &index, const QVariant &value, int role)
{
    return d->rows.setData(index, value, role) != SelectorData::CheckChange::None;
}

void StockSelectorModel::sendStocksChanged()
{
    const auto chosen
        = SelectorData::checkedKeys<int>(d->rows.rows, [](const Data &row) { return row.stockId; });
    emit stocksChanged(chosen.first, chosen.second);
}
