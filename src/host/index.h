#ifndef HOST_INDEX_H
#define HOST_INDEX_H

#include <host/host_export.h>

class Record;
class Table;

/**
 * The index interface: an ordered view of a table's records by position.
 */
class HOST_EXPORT Index
{
public:
    virtual ~Index();

    virtual Table *table() const = 0;
    virtual int count() const = 0;
    virtual Record *at(int position) const = 0;
    // The position of the record, or of one equal to it by the index's order;
    // -1 when there is none.
    virtual int position(const Record &record) const = 0;
};

#endif
