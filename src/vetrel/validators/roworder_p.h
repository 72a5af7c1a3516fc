#ifndef VETREL_ROWORDER_P_H
#define VETREL_ROWORDER_P_H

// Ordering a refill's rows fast enough for a million of them: each row gets a
// 64-bit key that orders like its first fields, a radix sort orders the keys,
// and only rows whose keys tie are compared in full.

#include <QChar>
#include <QString>
#include <QtAlgorithms>

#include <QtGlobal>

#include <algorithm>
#include <array>
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
    quint64 value() const { return m_free >= 64 ? 0 : m_value << m_free; }
    /// The bits added so far.
    int used() const { return 64 - m_free; }
    int free() const { return m_free; }

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
 * Ordering keys for the texts of one sort. A key skips the units every text
 * shares and gives each further unit only the bits the texts' own alphabet
 * needs (its rank among the units they use, 0 for the end of a text): codes
 * of digits take 4 bits a unit, not 16, so that keys rarely tie and few runs
 * need the deeper passes. Texts are read case-folded when `folded`, as a
 * case-insensitive QString compare reads them.
 */
class TextKeys
{
public:
    /// `lead(i)`: the key of the fields compared before text i; it must
    /// hold as many bits for every text.
    template<typename TextOf, typename Lead>
    TextKeys(int count, TextOf textOf, bool folded, Lead lead)
        : m_folded(folded)
    {
        learnAlphabet(count, textOf);
        m_covered = std::min(MaxUnits, (64 - (count > 0 ? lead(0).used() : 0)) / m_bits);
        m_keys.resize(size_t(std::max(count, 0)));
        for (int i = 0; i < count; ++i) {
            if (i + Ahead < count)
                prefetch(textOf(i + Ahead));
            m_keys[size_t(i)] = add(lead(i), textOf(i)).value();
        }
    }

    /// The first key of text i.
    quint64 key(int i) const { return m_keys[size_t(i)]; }

    /// The deeper key of `level` (from 1): it goes on where the first keys'
    /// whole units end. Gives a Detail::Depth.
    int deeper(const QString &text, int level, quint64 &key) const
    {
        const int from = m_shared + m_covered + 3 * (level - 1);
        if (from >= m_longest) { // every text ended: no need to read this one
            key = 0;
            return Detail::Ended;
        }
        return textKeyAt(text, from, m_folded, key);
    }

private:
    // Units past these are left to the deeper keys, so that a small
    // alphabet does not make every text be read far.
    static constexpr int MaxUnits = 16;
    static constexpr int Ahead = 8;

    template<typename TextOf>
    void learnAlphabet(int count, TextOf textOf)
    {
        // One read of each text finds the shared start and the units after
        // it. A unit before where a text first differs from the first text
        // is the first text's own, already seen.
        std::vector<uint> supplementary;
        const QString first = count > 0 ? QString(textOf(0)) : QString();
        m_shared = first.size();
        for (int i = 0; i < count; ++i) {
            if (i + Ahead < count)
                prefetch(textOf(i + Ahead));
            const auto &text = textOf(i);
            m_longest = std::max(m_longest, int(text.size()));
            const int most = std::min(m_shared, int(text.size()));
            int same = i > 0 ? 0 : most;
            while (same < most && text.at(same) == first.at(same))
                ++same;
            const int end = std::min(int(text.size()), m_shared + MaxUnits);
            for (int at = i > 0 ? same : 0; at < end; ++at)
                see(unitAt(text, at), supplementary);
            m_shared = same;
        }
        int ranked = 0;
        for (size_t word = 0; word < m_seen.size(); ++word) {
            m_before[word] = quint16(ranked);
            ranked += qPopulationCount(m_seen[word]);
        }
        for (uint unit = 0; unit < m_direct.size(); ++unit)
            m_direct[unit] = quint16(rankOfBmp(unit));
        std::sort(supplementary.begin(), supplementary.end());
        supplementary.erase(std::unique(supplementary.begin(), supplementary.end()), supplementary.end());
        m_supplementary = std::move(supplementary);
        m_bmpCount = ranked;
        m_bits = std::max(1, bitsFor(quint64(ranked) + m_supplementary.size()));
    }

    /// `key` with the text's units added while bits remain.
    PrefixKey add(PrefixKey key, const QString &text) const
    {
        // The bits left after the text's end stay 0, the end's own rank.
        const int end = std::min(int(text.size()), m_shared + MaxUnits);
        for (int at = m_shared; key.free() > 0 && at < end; ++at) {
            const int bits = std::min(m_bits, key.free());
            key.add(rankOf(unitAt(text, at)) >> (m_bits - bits), bits);
        }
        return key;
    }

    /// Asks for a text's units ahead of use: each text lives in a block of
    /// its own, and waiting for each in turn is most of a pass.
    static void prefetch(const QString &text)
    {
        const char *block = reinterpret_cast<const char *>(const_cast<QString &>(text).data_ptr());
        __builtin_prefetch(block);
        __builtin_prefetch(block + 64);
    }

    void see(uint unit, std::vector<uint> &supplementary)
    {
        if (unit <= 0xffff)
            m_seen[unit >> 6] |= quint64(1) << (unit & 63);
        else
            supplementary.push_back(unit);
    }

    uint unitAt(const QString &text, int at) const
    {
        return m_folded ? PrefixKey::foldedAt(text, at) : text.at(at).unicode();
    }

    quint64 rankOf(uint unit) const
    {
        if (unit < m_direct.size())
            return m_direct[unit];
        if (unit > 0xffff) {
            const auto at = std::lower_bound(m_supplementary.begin(), m_supplementary.end(), unit);
            return quint64(m_bmpCount + (at - m_supplementary.begin()) + 1);
        }
        return rankOfBmp(unit);
    }

    quint64 rankOfBmp(uint unit) const
    {
        const quint64 below = m_seen[unit >> 6] & ((quint64(1) << (unit & 63)) - 1);
        return quint64(m_before[unit >> 6]) + quint64(qPopulationCount(below)) + 1;
    }

    int m_shared = 0;
    bool m_folded;
    int m_bits = 1;
    int m_covered = 0;
    int m_longest = 0;
    int m_bmpCount = 0;
    std::array<quint64, 1024> m_seen = {};
    std::array<quint16, 1024> m_before = {};
    std::array<quint16, 0x800> m_direct = {}; // Latin, Greek, Cyrillic: no counting
    std::vector<uint> m_supplementary;
    std::vector<quint64> m_keys;
};

/**
 * The positions 0..count-1 ordered by `less`, which compares the fields that
 * `lead(position)` keys and then `textOf(position)` (case-folded when
 * `folded`); equal rows follow `ties`.
 */
template<typename TextOf, typename Lead, typename Less>
std::vector<int> sortedByText(int count, TextOf textOf, bool folded, Lead lead, Less less, Ties ties)
{
    const TextKeys keys(count, textOf, folded, lead);
    return sortedPositions(count, [&](int i) { return keys.key(i); }, less, ties,
        [&](int i, int level, quint64 &key) { return keys.deeper(textOf(i), level, key); });
}

/**
 * The positions 0..count-1 ordered by `textOf(position)` ignoring case, as
 * QString::compare(..., Qt::CaseInsensitive) orders them; equal texts keep
 * their positions' order.
 */
template<typename TextOf>
std::vector<int> caseInsensitiveOrder(int count, TextOf textOf)
{
    return sortedByText(
        count, textOf, true, [](int) { return PrefixKey(); },
        [&](int a, int b) { return textOf(a).compare(textOf(b), Qt::CaseInsensitive) < 0; }, Ties::EarlierFirst);
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
