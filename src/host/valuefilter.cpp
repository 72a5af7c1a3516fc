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

    bool operator()(const Record &record) const
    {
        const Field *screened = record.field(column);
        if (!screened || !screened->isPresent())
            return false;
        QVector<Field> key;
        key.reserve(keyColumns.size());
        for (int c : keyColumns) {
            const Field *f = record.field(c);
            key.append(f ? *f : Field());
        }
        return std::binary_search(values.cbegin(), values.cend(), KeyValue(std::move(key)));
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
