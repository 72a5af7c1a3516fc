#ifndef HOST_TABLELOCKER_H
#define HOST_TABLELOCKER_H

#include <host/table.h>

/**
 * Holds a table's lock for a scope, exceptions included.
 */
class TableLocker
{
public:
    explicit TableLocker(const Table *table)
        : m_table(table)
    {
        m_table->lock();
    }
    ~TableLocker() { m_table->unlock(); }
    TableLocker(const TableLocker &) = delete;
    TableLocker &operator=(const TableLocker &) = delete;

private:
    const Table *m_table;
};

#endif
