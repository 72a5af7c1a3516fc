#ifndef HOST_INDEXLIST_H
#define HOST_INDEXLIST_H

#include <host/apartlist.h>
#include <host/host_export.h>
#include <host/index.h>
#include <host/rangeset.h>

#include <QVector>

#include <vector>

class Record;
class Table;

/**
 * An ordered list of records of one table, kept in parts of contiguous
 * pointers. The list owns its records: whatever it drops goes back to its
 * table through Table::freeRow. There is always at least one part; only a
 * list with no records has an empty part.
 *
 * Walk it with begin()/end() under the table's lock:
 *     for (auto it = index->begin(); it != index->end(); ++it) use(*it);
 */
class HOST_EXPORT IndexList : public Index
{
public:
    using Part = APartList<Record>;

    class const_iterator
    {
    public:
        const_iterator(Part *const *part, Record *const *position, Part *const *lastPart);

        Record *operator*() const { return *m_position; }
        const_iterator &operator++();
        bool operator==(const const_iterator &other) const
        {
            return m_part == other.m_part && m_position == other.m_position;
        }
        bool operator!=(const const_iterator &other) const { return !(*this == other); }

    private:
        // Steps over the end of a part (and over empty parts) to the next one.
        void settle();

        Part *const *m_part;
        Record *const *m_position;
        Part *const *m_lastPart;
    };

    explicit IndexList(Table *table);
    ~IndexList() override;
    IndexList(const IndexList &) = delete;
    IndexList &operator=(const IndexList &) = delete;

    Table *table() const override { return m_table; }
    int count() const override { return m_count; }
    Record *at(int position) const override;
    // The base list is unordered: it looks for the very record.
    int position(const Record &record) const override;

    const_iterator begin() const;
    const_iterator end() const;
    bool contains(const Record &record) const { return position(record) != -1; }
    int partCount() const { return m_parts.size(); }

    // Frees every record and leaves one empty part.
    void clear();
    // Frees the records at the positions of the ranges; parts left empty go.
    void removeRanges(const RangeSet<int> &ranges);
    // Frees the record at the position (looked up when -1); false when absent.
    bool remove(Record *record, int position = -1);

    // Largest count of records in one part; a full part is split in two.
    static constexpr int partCapacity = 1024;

protected:
    // Replaces the content with the records in the given order (taking them).
    void assign(std::vector<Record *> records);
    void insertAt(int position, Record *record);
    // Puts `record` in place of the one at the position, freeing that one.
    void replaceAt(int position, Record *record);
    // The first position whose record does not order before `key`
    // (cmp(a, b) < 0: a before b); count() when there is none.
    template<typename Compare>
    int lowerBound(const Record &key, Compare cmp) const;

private:
    struct Location
    {
        int part;
        int offset;
    };
    Location locate(int position) const;
    void freeAll();

    Table *m_table;
    int m_count = 0;
    QVector<Part *> m_parts;
};

template<typename Compare>
int IndexList::lowerBound(const Record &key, Compare cmp) const
{
    // First the part, by its last record, then the place within it.
    int before = 0;
    int part = 0;
    {
        int lo = 0;
        int hi = m_parts.size();
        while (lo < hi) {
            const int mid = (lo + hi) / 2;
            if (!m_parts[mid]->isEmpty() && cmp(*m_parts[mid]->last(), key) < 0)
                lo = mid + 1;
            else
                hi = mid;
        }
        part = lo;
    }
    if (part == m_parts.size())
        return m_count;
    for (int i = 0; i < part; ++i)
        before += m_parts[i]->count();
    const Part *p = m_parts[part];
    int lo = 0;
    int hi = p->count();
    while (lo < hi) {
        const int mid = (lo + hi) / 2;
        if (cmp(*p->at(mid), key) < 0)
            lo = mid + 1;
        else
            hi = mid;
    }
    return before + lo;
}

#endif
