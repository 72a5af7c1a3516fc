#include "valuefilter.h"

#include "exception.h"
#include "lambdafilterfunc.h"
#include "record.h"
#include "table.h"

#include <algorithm>

namespace
{

struct Screen
{
    int column;
    QList<int> keyColumns;
    QVector<KeyValue> values;

    // Orders a value against the key of a record, cell by cell, without
    // building a key per record.
    int compare(const KeyValue &value, const Record &record) const
    {
        static const Field absent;
        for (int i = 0; i < keyColumns.size(); ++i) {
            const Field *f = record.field(keyColumns.at(i));
            const int c = Field::compare(value.fields().at(i), f ? *f : absent);
            if (c != 0)
                return c;
        }
        return 0;
    }

    bool operator()(const Record &record) const
    {
        const Field *screened = record.field(column);
        if (!screened || !screened->isPresent())
            return false;
        const auto it = std::lower_bound(values.cbegin(), values.cend(), record,
            [this](const KeyValue &v, const Record &r) { return compare(v, r) < 0; });
        return it != values.cend() && compare(*it, record) == 0;
    }
};

}

ValueFilter::ValueFilter(Table *table, int column, const QList<int> &keyColumns, QObject *parent)
    : QObject(parent)
    , m_table(table)
    , m_column(column)
    , m_keyColumns(keyColumns)
{ }

ValueFilter::~ValueFilter() = default;

void ValueFilter::addValue(const QVariantList &key)
{
    if (key.size() != m_keyColumns.size())
        throw Exception(
            QStringLiteral("A key of %1 values for %2 key columns").arg(key.size()).arg(m_keyColumns.size()));
    QVector<Field> fields;
    for (int i = 0; i < key.size(); ++i) {
        Field f(m_table->column(m_keyColumns.at(i)).type);
        f = key.at(i);
        fields.append(f);
    }
    KeyValue value(std::move(fields));
    const auto at = std::lower_bound(m_values.begin(), m_values.end(), value);
    if (at == m_values.end() || !(*at == value))
        m_values.insert(at, value);
}

bool ValueFilter::accepts(const Record &record) const
{
    return Screen { m_column, m_keyColumns, m_values }(record);
}

LambdaFilterFunc *ValueFilter::createFilterFunc(QObject *parent) const
{
    return new LambdaFilterFunc(Screen { m_column, m_keyColumns, m_values }, parent);
}
