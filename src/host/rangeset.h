#ifndef HOST_RANGESET_H
#define HOST_RANGESET_H

#include <QVector>

#include <algorithm>
#include <utility>

/**
 * A set of values kept as sorted, disjoint, half-open ranges [from, to).
 * Adding a range merges it with the ranges it touches or overlaps.
 */
template<typename T>
class RangeSet
{
public:
    using Range = std::pair<T, T>;

    RangeSet() = default;
    RangeSet(std::initializer_list<Range> ranges)
    {
        for (const Range &r : ranges)
            add(r.first, r.second);
    }

    void add(T from, T to)
    {
        if (!(from < to))
            return;
        auto first = std::lower_bound(
            m_ranges.begin(), m_ranges.end(), from, [](const Range &r, const T &v) { return r.second < v; });
        auto last = first;
        while (last != m_ranges.end() && !(to < last->first)) {
            from = std::min(from, last->first);
            to = std::max(to, last->second);
            ++last;
        }
        first = m_ranges.erase(first, last);
        m_ranges.insert(first, Range(from, to));
    }
    void add(T value) { add(value, value + 1); }

    bool contains(T value) const
    {
        auto it = std::upper_bound(
            m_ranges.begin(), m_ranges.end(), value, [](const T &v, const Range &r) { return v < r.second; });
        return it != m_ranges.end() && !(value < it->first);
    }
    bool isEmpty() const { return m_ranges.isEmpty(); }
    // The number of values in the set.
    T size() const
    {
        T n = T();
        for (const Range &r : m_ranges)
            n += r.second - r.first;
        return n;
    }
    const QVector<Range> &ranges() const { return m_ranges; }
    void clear() { m_ranges.clear(); }

private:
    QVector<Range> m_ranges;
};

#endif
