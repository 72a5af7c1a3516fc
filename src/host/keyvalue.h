#ifndef HOST_KEYVALUE_H
#define HOST_KEYVALUE_H

#include <host/field.h>
#include <host/host_export.h>

#include <QVector>

/**
 * One accepted key of a ValueFilter: a cell per key column, of that column's
 * type. Ordered cell by cell.
 */
class HOST_EXPORT KeyValue
{
public:
    KeyValue() = default;
    explicit KeyValue(QVector<Field> fields);

    const QVector<Field> &fields() const { return m_fields; }

    static int compare(const KeyValue &a, const KeyValue &b);
    friend bool operator<(const KeyValue &a, const KeyValue &b) { return compare(a, b) < 0; }
    friend bool operator==(const KeyValue &a, const KeyValue &b) { return compare(a, b) == 0; }

private:
    QVector<Field> m_fields;
};

#endif
