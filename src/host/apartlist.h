#ifndef HOST_APARTLIST_H
#define HOST_APARTLIST_H

#include <vector>

/**
 * One part of a chunked list: a contiguous array of item pointers. Indexes
 * keep their records in a vector of parts so that inserting or removing a
 * record moves at most one part's pointers.
 */
template<typename T>
class APartList
{
public:
    APartList() = default;
    explicit APartList(std::vector<T *> items)
        : m_items(std::move(items))
    { }

    // begin() is null for a part that never held anything.
    T *const *begin() const { return m_items.data(); }
    T *const *end() const { return m_items.data() + m_items.size(); }
    int count() const { return int(m_items.size()); }
    bool isEmpty() const { return m_items.empty(); }
    T *at(int i) const { return m_items[std::size_t(i)]; }
    T *first() const { return m_items.front(); }
    T *last() const { return m_items.back(); }

    void insert(int i, T *item) { m_items.insert(m_items.begin() + i, item); }
    void replace(int i, T *item) { m_items[std::size_t(i)] = item; }
    void remove(int from, int to) { m_items.erase(m_items.begin() + from, m_items.begin() + to); }
    // Moves the items from `from` on into a new part.
    APartList *splitOff(int from)
    {
        auto *tail = new APartList(std::vector<T *>(m_items.begin() + from, m_items.end()));
        m_items.erase(m_items.begin() + from, m_items.end());
        return tail;
    }

private:
    std::vector<T *> m_items;
};

#endif
