#ifndef HOST_INDEXSORT_H
#define HOST_INDEXSORT_H

#include <host/host_export.h>
#include <host/indexlist.h>

#include <QString>

/**
 * An index of one's own over a table of the current core: build() takes a
 * copy of each record that filter() accepts, in the order of compare().
 * The copies stay as they were when built; build() again to follow the table.
 */
class HOST_EXPORT IndexSort : public IndexList
{
public:
    // ascending false reverses compare(). Throws Exception when the current
    // core has no table of that name.
    IndexSort(const QString &tableName, bool ascending);

    void build();

    // By compare(): the first position of an equal record, or -1.
    int position(const Record &record) const override;

protected:
    // Negative, zero or positive as a orders before, with or after b.
    virtual int compare(const Record &a, const Record &b) const = 0;
    virtual bool filter(const Record &record) const;

private:
    int ordered(const Record &a, const Record &b) const;

    bool m_ascending;
};

#endif
