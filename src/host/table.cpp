#include "table.h"

#include "exception.h"
#include "indexlist.h"
#include "record.h"

#include <algorithm>
#include <numeric>

namespace
{

quint64 nextStamp()
{
    static std::atomic<quint64> counter { 0 };
    return ++counter;
}

// The master index: rows in key order, one row per key.
class KeyIndex : public IndexList
{
public:
    using IndexList::assign;
    using IndexList::IndexList;

    auto compare() const
    {
        const Table *t = table();
        return [t](const Record &a, const Record &b) { return t->compareKeys(a, b); };
    }

    int position(const Record &record) const override
    {
        if (table()->keyColumns().isEmpty())
            return IndexList::position(record);
        const int p = lowerBound(record, compare());
        return p < count() && table()->compareKeys(*at(p), record) == 0 ? p : -1;
    }

    void put(Record *row)
    {
        if (table()->keyColumns().isEmpty()) {
            insertAt(count(), row);
            return;
        }
        const int p = lowerBound(*row, compare());
        if (p < count() && table()->compareKeys(*at(p), *row) == 0)
            replaceAt(p, row);
        else
            insertAt(p, row);
    }
};

KeyIndex *keyIndex(const std::unique_ptr<IndexList> &index)
{
    return static_cast<KeyIndex *>(index.get());
}

}

Table::Table(const QString &name, const QVector<Column> &columns, const QStringList &key, QObject *parent)
    : QObject(parent)
    , m_name(name)
    , m_columns(columns)
    , m_master(new KeyIndex(this))
    , m_stamp(nextStamp())
{
    for (const QString &column : key) {
        const int index = columnIndex(column);
        if (index < 0)
            throw Exception(QStringLiteral("Table \"%1\": no key column \"%2\"").arg(name, column));
        m_keyColumns.append(index);
    }
}

Table::~Table() = default;

int Table::columnIndex(const QString &name) const
{
    for (int i = 0; i < m_columns.size(); ++i) {
        if (m_columns.at(i).name == name)
            return i;
    }
    return -1;
}

void Table::lock() const
{
    m_mutex.lock();
}

void Table::unlock() const
{
    m_mutex.unlock();
}

IndexList *Table::masterIndex() const
{
    return m_master.get();
}

int Table::rowCount() const
{
    const std::lock_guard locker(m_mutex);
    return m_master->count();
}

namespace
{

// Handed out, to every thread at once, for cells that do not exist. It is
// never written: a None cell refuses every value, and clearing it is a no-op.
const Field absent;

}

Field *Table::dataPtr(Record *row, int column) const
{
    Field *f = row ? row->field(column) : nullptr;
    return f ? f : const_cast<Field *>(&absent);
}

const Field *Table::dataPtr(const Record *row, int column) const
{
    const Field *f = row ? row->field(column) : nullptr;
    return f ? f : &absent;
}

Record *Table::allocRow() const
{
    auto *row = new Record;
    row->m_fields.reserve(m_columns.size());
    for (const Column &c : m_columns)
        row->m_fields.append(Field(c.type));
    return row;
}

Record *Table::copyRow(const Record &row) const
{
    return new Record(row);
}

void Table::freeRow(Record *row) const
{
    delete row;
}

Record *Table::makeRow(const QVariantMap &values) const
{
    std::unique_ptr<Record> row(allocRow());
    for (auto it = values.cbegin(); it != values.cend(); ++it) {
        const int column = columnIndex(it.key());
        if (column < 0)
            throw Exception(QStringLiteral("Table \"%1\" has no column \"%2\"").arg(m_name, it.key()));
        *row->field(column) = it.value();
    }
    return row.release();
}

Record *Table::find(const Record &key) const
{
    const std::lock_guard locker(m_mutex);
    return m_master->at(m_master->position(key));
}

void Table::insert(Record *row)
{
    {
        const std::lock_guard locker(m_mutex);
        keyIndex(m_master)->put(row);
        touched();
    }
    emit changed();
}

void Table::insert(const QVariantMap &values)
{
    insert(makeRow(values));
}

bool Table::update(const QVariantMap &values)
{
    std::unique_ptr<Record> key(makeRow(values));
    {
        const std::lock_guard locker(m_mutex);
        Record *row = m_master->at(m_master->position(*key));
        if (!row)
            return false;
        // makeRow converted every value already, so copying cells cannot fail half-way.
        for (auto it = values.cbegin(); it != values.cend(); ++it)
            *row->field(columnIndex(it.key())) = *key->field(columnIndex(it.key()));
        touched();
    }
    emit changed();
    return true;
}

bool Table::remove(const QVariantMap &key)
{
    std::unique_ptr<Record> search(makeRow(key));
    {
        const std::lock_guard locker(m_mutex);
        const int position = m_master->position(*search);
        if (position < 0)
            return false;
        m_master->remove(m_master->at(position), position);
        touched();
    }
    emit changed();
    return true;
}

QVector<Record *> Table::sortedByKey(const QVector<Record *> &rows) const
{
    if (m_keyColumns.isEmpty())
        return rows;
    std::vector<int> order(std::size_t(rows.size()));
    std::iota(order.begin(), order.end(), 0);
    std::stable_sort(
        order.begin(), order.end(), [&](int a, int b) { return compareKeys(*rows[a], *rows[b]) < 0; });
    QVector<Record *> sorted;
    sorted.reserve(rows.size());
    for (std::size_t i = 0; i < order.size(); ++i) {
        if (i > 0 && compareKeys(*rows[order[i - 1]], *rows[order[i]]) == 0)
            throw Exception(QStringLiteral("row %1 repeats the key of row %2")
                                .arg(std::max(order[i - 1], order[i]) + 1)
                                .arg(std::min(order[i - 1], order[i]) + 1));
        sorted.append(rows[order[i]]);
    }
    return sorted;
}

void Table::replaceAll(const QVector<Record *> &rows)
{
    QVector<Record *> sorted;
    try {
        sorted = sortedByKey(rows);
    } catch (const Exception &e) {
        throw Exception(QStringLiteral("Table \"%1\": %2").arg(m_name, e.message()));
    }
    replaceAllSorted(sorted);
}

void Table::replaceAllSorted(const QVector<Record *> &rows)
{
    {
        const std::lock_guard locker(m_mutex);
        keyIndex(m_master)->assign(std::vector<Record *>(rows.cbegin(), rows.cend()));
        touched();
    }
    emit changed();
}

void Table::clear()
{
    replaceAll({});
}

int Table::compareKeys(const Record &a, const Record &b) const
{
    for (int column : m_keyColumns) {
        const int c = Field::compare(*dataPtr(&a, column), *dataPtr(&b, column));
        if (c != 0)
            return c;
    }
    return 0;
}

void Table::touched()
{
    m_stamp = nextStamp();
}
