#ifndef HOST_VALUEFILTER_H
#define HOST_VALUEFILTER_H

#include <host/host_export.h>
#include <host/keyvalue.h>

#include <QList>
#include <QObject>
#include <QVariantList>
#include <QVector>

class LambdaFilterFunc;
class Record;
class Table;

/**
 * Accepts the records of a table whose key columns hold one of a list of
 * values, and whose screened column is present.
 */
class HOST_EXPORT ValueFilter : public QObject
{
    Q_OBJECT

public:
    ValueFilter(Table *table, int column, const QList<int> &keyColumns, QObject *parent = nullptr);
    ~ValueFilter() override;

    Table *table() const { return m_table; }
    int column() const { return m_column; }
    const QList<int> &keyColumns() const { return m_keyColumns; }

    // One value per key column, converted to the column's type; throws
    // Exception when a value does not convert.
    void addValue(const QVariantList &key);
    const QVector<KeyValue> &values() const { return m_values; }

    bool accepts(const Record &record) const;
    // A filter function with its own copy of the value list: it goes on
    // working after this filter is destroyed. Owned by `parent`.
    LambdaFilterFunc *createFilterFunc(QObject *parent) const;

private:
    Table *m_table;
    int m_column;
    QList<int> m_keyColumns;
    QVector<KeyValue> m_values; // sorted, no duplicates
};

#endif
