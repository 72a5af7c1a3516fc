#ifndef VETREL_ROWORDER_P_H
#define VETREL_ROWORDER_P_H

// Ordering a refill's rows fast enough for a million of them: each row gets a
// 64-bit key that orders like its first fields, a radix sort orders the keys,
// and only rows whose keys tie are compared in full.

#include <QChar>
#include <QString>

#include <QtGlobal>

#include <algorithm>
#include <cstdint>
#include <vector>

namespace RowOrder
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
    /// Adds code units of the text as a case-insensitive QString compare sees
    /// them (each unit case-folded, a low surrogate as its whole folded code
    /// point), from `from` on, while bits remain.
    PrefixKey &addFolded(const QString &text, int from = 0)
    {
        // A unit that does not fit 16 bits (a folded supplementary character)
        // is marked as the largest and ends the key: what follows it may only
        // be compared in full.
        for (int i = from; m_free > 0; ++i) {
            const uint unit = i < text.size() ? foldedAt(text, i) : 0;
            const bool fits = unit < 0xfffe;
            const int bits = std::min(16, m_free);
            add((fits ? unit : 0xffffu) >> (16 - bits), bits);
            if (!fits)
                return add(0, m_free);
        }
        return *this;
    }
    quint64 value() const { return m_free >= 64 ? 0 : m_value << m_free; }

    /// The unit at `i` case-folded, as Qt's case-insensitive compare folds it.
    static uint foldedAt(const QString &text, int i)
    {
        const QChar unit = text.at(i);
        if (unit.unicode() < 0x80) // most codes and names: no table needed
            return unit.unicode() - uint('A') < 26u ? unit.unicode() + 0x20u : unit.unicode();
        if (unit.isLowSurrogate() && i > 0 && text.at(i - 1).isHighSurrogate())
            return QChar::toCaseFolded(QChar::surrogateToUcs4(text.at(i - 1), unit));
        return QChar::toCaseFolded(uint(unit.unicode()));
    }

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

namespace Detail
{
    struct Entry
    {
        quint64 key;
        int position;
    };

    /// Stable radix sort of the entries by key, least significant byte
    /// first; bytes that every key shares are skipped.
    inline void radixSort(Entry *first, Entry *last, std::vector<Entry> &scratch)
    {
        quint64 differing = 0;
        for (const Entry *e = first; e != last; ++e)
            differing |= e->key ^ first->key;
        const size_t count = size_t(last - first);
        scratch.resize(std::max(scratch.size(), count));
        for (int shift = 0; shift < 64; shift += 8) {
            if (((differing >> shift) & 0xff) == 0)
                continue;
            size_t counts[257] = {};
            for (const Entry *e = first; e != last; ++e)
                ++counts[((e->key >> shift) & 0xff) + 1];
            for (int b = 0; b < 256; ++b)
                counts[b + 1] += counts[b];
            for (const Entry *e = first; e != last; ++e)
                scratch[counts[(e->key >> shift) & 0xff]++] = *e;
            std::copy(scratch.begin(), scratch.begin() + std::ptrdiff_t(count), first);
        }
    }

    /// What a deeper key told of a row.
    enum Depth
    {
        Unknown = -1, ///< the key cannot tell: only a full compare can
        Ended = 0, ///< nothing left to key (the key is 0)
        Keyed = 1
    };

    /**
     * Orders every run of equal keys: by the next level of keys while all of
     * the run have one and some are not yet ended, else by `less`. A run
     * that has all ended is equal and stays as it is.
     */
    template<typename Deeper, typename Less>
    void settleTies(
        Entry *first, Entry *last, int level, Deeper &deeper, Less &less, std::vector<Entry> &scratch)
    {
        const auto byFields = [&](const Entry &a, const Entry &b) { return less(a.position, b.position); };
        for (Entry *from = first; from != last;) {
            Entry *to = from + 1;
            while (to != last && to->key == from->key)
                ++to;
            bool deepen = to - from > 1;
            bool anyLeft = false;
            for (Entry *e = from; deepen && e != to; ++e) {
                const int depth = deeper(e->position, level, e->key);
                deepen = depth != Unknown;
                anyLeft |= depth == Keyed;
            }
            if (deepen && anyLeft) {
                // A radix pass costs its counting whatever the run's length.
                if (to - from > 64)
                    radixSort(from, to, scratch);
                else
                    std::stable_sort(from, to, [](const Entry &a, const Entry &b) { return a.key < b.key; });
                settleTies(from, to, level + 1, deeper, less, scratch);
            } else if (!deepen && to - from > 1) {
                std::stable_sort(from, to, byFields);
            }
            from = to;
        }
    }

    /// A `deeper` for sorts keyed by one field only.
    inline int noDeeperKey(int, int, quint64 &)
    {
        return Unknown;
    }
}

/**
 * The positions 0..count-1 ordered by `less`; `prefix(position)` gives the
 * PrefixKey of a position. Equal rows follow `ties`. Runs of rows whose
 * keys tie may be keyed again, level by level from 1: `deeper(position,
 * level, key)` sets the next key and says what it is (a Detail::Depth).
 */
template<typename Prefix, typename Less, typename Deeper = decltype(&Detail::noDeeperKey)>
std::vector<int> sortedPositions(
    int count, Prefix prefix, Less less, Ties ties, Deeper deeper = &Detail::noDeeperKey)
{
    std::vector<Detail::Entry> entries(size_t(std::max(count, 0)));
    for (int i = 0; i < count; ++i) {
        const int position = ties == Ties::LaterFirst ? count - 1 - i : i;
        entries[size_t(i)] = { prefix(position), position };
    }
    // Each pass is stable, so ties keep the order above.
    std::vector<Detail::Entry> scratch;
    Detail::Entry *const first = entries.data();
    Detail::radixSort(first, first + entries.size(), scratch);
    Detail::settleTies(first, first + entries.size(), 1, deeper, less, scratch);
    std::vector<int> positions;
    positions.reserve(entries.size());
    for (const Detail::Entry &e : entries)
        positions.push_back(e.position);
    return positions;
}

/**
 * A deeper key of `text`: three code units from `from` on (folded as a
 * case-insensitive compare folds them, when `folded`), 21 bits each, the
 * end of the text below every unit. Equal keys thus mean equal units, and a
 * run that has all ended reads alike, if the deeper keys began where the
 * texts begin to differ: a first key pads an ended text as it keys a NUL,
 * and may stop early at a folded unit too wide for it, so deeper keys read
 * the text again from there. Gives a Detail::Depth.
 */
inline int textKeyAt(const QString &text, int from, bool folded, quint64 &key)
{
    key = 0;
    for (int i = from; i < from + 3; ++i) {
        const uint unit
            = i >= text.size() ? 0 : 1 + (folded ? PrefixKey::foldedAt(text, i) : text.at(i).unicode());
        key = (key << 21) | unit;
    }
    return from < text.size() ? Detail::Keyed : Detail::Ended;
}

/**
 * The positions 0..count-1 ordered by `textOf(position)` ignoring case, as
 * QString::compare(..., Qt::CaseInsensitive) orders them; equal texts keep
 * their positions' order.
 */
template<typename TextOf>
std::vector<int> caseInsensitiveOrder(int count, TextOf textOf)
{
    const int shared = sharedPrefix(count, textOf);
    return sortedPositions(
        count, [&](int i) { return PrefixKey().addFolded(textOf(i), shared).value(); },
        [&](int a, int b) { return textOf(a).compare(textOf(b), Qt::CaseInsensitive) < 0; },
        Ties::EarlierFirst,
        [&](int i, int level, quint64 &key) {
            return textKeyAt(textOf(i), shared + 3 * (level - 1), true, key);
        });
}

/**
 * The positions, ascending, whose text is exactly `text`, found in `order`
 * as caseInsensitiveOrder() gives it: texts equal ignoring case stand
 * together there, so a binary search and a short scan find them.
 */
template<typename TextOf>
std::vector<int> positionsShowing(const std::vector<int> &order, const QString &text, TextOf textOf)
{
    const auto from = std::lower_bound(order.begin(), order.end(), text,
        [&](int i, const QString &t) { return textOf(i).compare(t, Qt::CaseInsensitive) < 0; });
    std::vector<int> found;
    for (auto at = from; at != order.end(); ++at) {
        const QString shown = textOf(*at);
        if (shown.compare(text, Qt::CaseInsensitive) != 0)
            break;
        if (shown == text)
            found.push_back(*at);
    }
    return found;
}

}

#endif
