#ifndef VETREL_ROWORDER_P_H
#define VETREL_ROWORDER_P_H

// Ordering a refill's rows fast enough for a million of them: each row gets a
// 64-bit key that orders like its first fields, a radix sort orders the keys,
// and only rows whose keys tie are compared in full.

#include <QString>

#include <QtGlobal>

#include <algorithm>
#include <cstdint>
#include <vector>

namespace SelectorData
{

/// A 64-bit key filled from the most significant bit down. Whenever a < b by
/// the fields added, key(a) <= key(b): equal keys still need a full compare.
class PrefixKey
{
public:
    /// Adds the low `bits` bits of `value`.
    PrefixKey &add(quint64 value, int bits)
    {
        bits = std::min(bits, m_free);
        if (bits > 0) {
            m_value = (m_value << bits) | (value & ((quint64(1) << (bits - 1) << 1) - 1));
            m_free -= bits;
        }
        return *this;
    }
    PrefixKey &add(int value) { return add(quint32(value) ^ 0x80000000u, 32); }
    /// Adds code units of the text (as QString orders them) from `from` on,
    /// while bits remain. Skip only units that every text being ordered shares.
    PrefixKey &add(const QString &text, int from = 0)
    {
        for (int i = from; m_free > 0; ++i) {
            const quint64 unit = i < text.size() ? text.at(i).unicode() : 0;
            const int bits = std::min(16, m_free);
            add(unit >> (16 - bits), bits);
        }
        return *this;
    }
    quint64 value() const { return m_free >= 64 ? 0 : m_value << m_free; }

private:
    quint64 m_value = 0;
    int m_free = 64;
};

/// How many code units at their start all `count` texts share: ordering
/// keys skip them, or texts such as "STOCK1", "STOCK2" would all tie.
template<typename TextOf>
int sharedPrefix(int count, TextOf textOf)
{
    if (count <= 0)
        return 0;
    const QString first = textOf(0);
    int shared = first.size();
    for (int i = 1; i < count && shared > 0; ++i) {
        const QString text = textOf(i);
        const int most = std::min(shared, int(text.size()));
        int same = 0;
        while (same < most && text.at(same) == first.at(same))
            ++same;
        shared = same;
    }
    return shared;
}

/// The number of bits needed for values up to `max`.
inline int bitsFor(quint64 max)
{
    int bits = 0;
    while (max >> bits)
        ++bits;
    return bits;
}

enum class Ties
{
    LaterFirst, ///< equal rows in the reverse of their positions
    EarlierFirst
};

/**
 * The positions 0..count-1 ordered by `less`; `prefix(position)` gives the
 * PrefixKey of a position. Equal rows follow `ties`.
 */
template<typename Prefix, typename Less>
std::vector<int> sortedPositions(int count, Prefix prefix, Less less, Ties ties)
{
    struct Entry
    {
        quint64 key;
        int position;
    };
    std::vector<Entry> entries(size_t(std::max(count, 0)));
    for (int i = 0; i < count; ++i) {
        const int position = ties == Ties::LaterFirst ? count - 1 - i : i;
        entries[size_t(i)] = { prefix(position), position };
    }
    // Least significant byte first; each pass is stable, so ties keep the
    // order above. Bytes that every key shares are skipped.
    quint64 differing = 0;
    for (const Entry &e : entries)
        differing |= e.key ^ (entries.empty() ? 0 : entries.front().key);
    std::vector<Entry> scratch(entries.size());
    for (int shift = 0; shift < 64; shift += 8) {
        if (((differing >> shift) & 0xff) == 0)
            continue;
        size_t counts[257] = {};
        for (const Entry &e : entries)
            ++counts[((e.key >> shift) & 0xff) + 1];
        for (int b = 0; b < 256; ++b)
            counts[b + 1] += counts[b];
        for (const Entry &e : entries)
            scratch[counts[(e.key >> shift) & 0xff]++] = e;
        entries.swap(scratch);
    }
    const auto byFields = [&](const Entry &a, const Entry &b) { return less(a.position, b.position); };
    for (size_t from = 0; from < entries.size();) {
        size_t to = from + 1;
        while (to < entries.size() && entries[to].key == entries[from].key)
            ++to;
        if (to - from > 1)
            std::stable_sort(
                entries.begin() + std::ptrdiff_t(from), entries.begin() + std::ptrdiff_t(to), byFields);
        from = to;
    }
    std::vector<int> positions;
    positions.reserve(entries.size());
    for (const Entry &e : entries)
        positions.push_back(e.position);
    return positions;
}

}

#endif
