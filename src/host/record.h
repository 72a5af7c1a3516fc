#ifndef HOST_RECORD_H
#define HOST_RECORD_H

#include <host/field.h>
#include <host/host_export.h>

#include <QVector>

/**
 * One row of a table: a cell per column. Rows are made by their table
 * (Table::allocRow) with a cell of each column's type; a default-constructed
 * record has no cells and reads as absent everywhere.
 */
class HOST_EXPORT Record
{
public:
    Record() = default;

    int count() const { return m_fields.size(); }
    // nullptr beyond the record's cells.
    Field *field(int column) { return column >= 0 && column < m_fields.size() ? &m_fields[column] : nullptr; }
    const Field *field(int column) const
    {
        return column >= 0 && column < m_fields.size() ? &m_fields.at(column) : nullptr;
    }

private:
    friend class Table;
    QVector<Field> m_fields;
};

#endif
