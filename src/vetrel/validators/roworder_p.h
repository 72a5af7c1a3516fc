#ifndef VETREL_ROWORDER_P_H
#define VETREL_ROWORDER_P_H

// Ordering a refill's rows fast enough for a million of them: each row gets a
// 64-bit key that orders like its first fields, a radix sort orders the keys,
// and only rows whose keys tie are compared in full.

#include <vetrel/hugepageallocator_p.h>

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
    using Entries = std::vector<Entry, HugePageAllocator<Entry>>;

    /// Puts entries already in key order, ascending or descending, in
    /// stable ascending order; false when they are in neither.
    inline bool settleIfOrdered(Entry *first, Entry *last)
    {
        if (std::is_sorted(first, last, [](const Entry &a, const Entry &b) { return a.key < b.key; }))
            return true;
        if (!std::is_sorted(first, last, [](const Entry &a, const Entry &b) { return a.key > b.key; }))
            return false;
        // Reversed, the entries of one key would also swap: they turn back.
        std::reverse(first, last);
        for (Entry *run = first; run != last;) {
            Entry *end = run + 1;
            while (end != last && end->key == run->key)
                ++end;
            std::reverse(run, end);
            run = end;
        }
        return true;
    }

    /// Stable radix sort of the entries by key, least significant byte
    /// first; bytes that every key shares are skipped. Rows read in the
    /// order of their key, as a table keyed alike gives them, cost one look.
    inline void radixSort(Entry *first, Entry *last, Entries &scratch)
    {
        if (settleIfOrdered(first, last))
            return;
        quint64 differing = 0;
        for (const Entry *e = first; e != last; ++e)
            differing |= e->key ^ first->key;
        const size_t count = size_t(last - first);
        scratch.resize(std::max(scratch.size(), count));
        // Each pass goes from one buffer to the other and back.
        Entry *from = first;
        Entry *to = scratch.data();
        for (int shift = 0; shift < 64; shift += 8) {
            if (((differing >> shift) & 0xff) == 0)
                continue;
            size_t counts[257] = {};
            for (const Entry *e = from; e != from + count; ++e)
                ++counts[((e->key >> shift) & 0xff) + 1];
            for (int b = 0; b < 256; ++b)
                counts[b + 1] += counts[b];
            for (const Entry *e = from; e != from + count; ++e)
                to[counts[(e->key >> shift) & 0xff]++] = *e;
            std::swap(from, to);
        }
        if (from != first)
            std::copy(from, from + count, first);
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
        Entry *first, Entry *last, int level, Deeper &deeper, Less &less, Entries &scratch)
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
}

/**
 * The positions 0..count-1 ordered by `less`; `prefix(position)` gives the
 * PrefixKey value of a position. Equal rows follow `ties`. Runs of rows
 * whose keys tie may be keyed again, level by level from 1:
 * `deeper(position, level, key)` sets the next key and says what it is (a
 * Detail::Depth).
 */
template<typename Prefix, typename Less, typename Deeper>
std::vector<int> sortedPositions(int count, Prefix prefix, Less less, Ties ties, Deeper deeper)
{
    Detail::Entries entries(size_t(std::max(count, 0)));
    for (int i = 0; i < count; ++i) {
        const int position = ties == Ties::LaterFirst ? count - 1 - i : i;
        entries[size_t(i)] = { prefix(position), position };
    }
    // Each pass is stable, so ties keep the order above.
    Detail::Entries scratch;
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
 * The units a set of texts uses past the start they all share, learned one
 * text at a time, so that a fill sees each text while reading it: a second
 * pass over a million texts, each in a block of its own, costs as much as
 * the read. Texts are read case-folded when `folded`, as a case-insensitive
 * QString compare reads them.
 */
class Alphabet
{
public:
    explicit Alphabet(bool folded)
        : m_folded(folded)
    { }

    /// Learns a text's units. A unit before where the text first differs
    /// from the first text is the first text's own, already seen.
    void see(const QString &text)
    {
        m_longest = std::max(m_longest, int(text.size()));
        if (m_texts++ == 0) {
            m_first = text;
            m_shared = int(text.size());
        }
        const bool first = m_texts == 1;
        const int most = std::min(m_shared, int(text.size()));
        int same = first ? most : 0;
        while (same < most && text.at(same) == m_first.at(same))
            ++same;
        const int end = std::min(int(text.size()), m_shared + MaxUnits);
        for (int at = first ? 0 : same; at < end; ++at)
            see(unitAt(text, at));
        m_shared = same;
    }

    /// How many texts ahead a pass asks for them.
    static constexpr int Ahead = 8;

    /// Asks for a text's units ahead of use: each text lives in a block of
    /// its own, and waiting for each in turn is most of a pass.
    static void prefetch(const QString &text)
    {
        const char *block = reinterpret_cast<const char *>(const_cast<QString &>(text).data_ptr());
        __builtin_prefetch(block);
        __builtin_prefetch(block + 64);
    }

private:
    friend class TextKeys;
    // Units past these are left to the deeper keys, so that a small
    // alphabet does not make every text be read far.
    static constexpr int MaxUnits = 16;

    void see(uint unit)
    {
        if (unit <= 0xffff)
            m_seen[unit >> 6] |= quint64(1) << (unit & 63);
        else
            m_supplementary.push_back(unit);
    }

    uint unitAt(const QString &text, int at) const
    {
        return m_folded ? PrefixKey::foldedAt(text, at) : text.at(at).unicode();
    }

    bool m_folded;
    int m_texts = 0;
    int m_shared = 0;
    int m_longest = 0;
    QString m_first;
    std::array<quint64, 1024> m_seen = {};
    std::vector<uint> m_supplementary;
};

/**
 * Ordering keys for the texts of one sort. A key skips the units every text
 * shares and gives each further unit only the bits the texts' own alphabet
 * needs (its rank among the units they use, 0 for the end of a text): codes
 * of digits take 4 bits a unit, not 16, so that keys rarely tie and few runs
 * need the deeper passes.
 */
class TextKeys
{
public:
    /// `alphabet` has seen every text; `lead(i)`: the key of the fields
    /// compared before text i, which must hold as many bits for every text.
    template<typename TextOf, typename Lead>
    TextKeys(int count, TextOf textOf, Alphabet alphabet, Lead lead)
        : m_alphabet(std::move(alphabet))
    {
        rank();
        m_covered = std::min(Alphabet::MaxUnits, (64 - (count > 0 ? lead(0).used() : 0)) / m_bits);
        m_keys.resize(size_t(std::max(count, 0)));
        for (int i = 0; i < count; ++i) {
            if (i + Alphabet::Ahead < count)
                Alphabet::prefetch(textOf(i + Alphabet::Ahead));
            m_keys[size_t(i)] = add(lead(i), textOf(i)).value();
        }
    }

    /// The first key of text i.
    quint64 key(int i) const { return m_keys[size_t(i)]; }

    /// The deeper key of `level` (from 1): it goes on where the first keys'
    /// whole units end. Gives a Detail::Depth.
    int deeper(const QString &text, int level, quint64 &key) const
    {
        const int from = m_alphabet.m_shared + m_covered + 3 * (level - 1);
        if (from >= m_alphabet.m_longest) { // every text ended: no need to read this one
            key = 0;
            return Detail::Ended;
        }
        return textKeyAt(text, from, m_alphabet.m_folded, key);
    }

private:
    /// Ranks the units seen: 1 for the least, 0 being the end of a text.
    void rank()
    {
        int ranked = 0;
        for (size_t word = 0; word < m_alphabet.m_seen.size(); ++word) {
            m_before[word] = quint16(ranked);
            ranked += qPopulationCount(m_alphabet.m_seen[word]);
        }
        for (uint unit = 0; unit < m_direct.size(); ++unit)
            m_direct[unit] = quint16(rankOfBmp(unit));
        std::vector<uint> &supplementary = m_alphabet.m_supplementary;
        std::sort(supplementary.begin(), supplementary.end());
        supplementary.erase(std::unique(supplementary.begin(), supplementary.end()), supplementary.end());
        m_bmpCount = ranked;
        m_bits = std::max(1, bitsFor(quint64(ranked) + supplementary.size()));
    }

    /// `key` with the text's units added while bits remain.
    PrefixKey add(PrefixKey key, const QString &text) const
    {
        // The bits left after the text's end stay 0, the end's own rank.
        const int shared = m_alphabet.m_shared;
        const int end = std::min(int(text.size()), shared + Alphabet::MaxUnits);
        for (int at = shared; key.free() > 0 && at < end; ++at) {
            const int bits = std::min(m_bits, key.free());
            key.add(rankOf(m_alphabet.unitAt(text, at)) >> (m_bits - bits), bits);
        }
        return key;
    }

    quint64 rankOf(uint unit) const
    {
        if (unit < m_direct.size())
            return m_direct[unit];
        if (unit > 0xffff) {
            const std::vector<uint> &supplementary = m_alphabet.m_supplementary;
            const auto at = std::lower_bound(supplementary.begin(), supplementary.end(), unit);
            return quint64(m_bmpCount + (at - supplementary.begin()) + 1);
        }
        return rankOfBmp(unit);
    }

    quint64 rankOfBmp(uint unit) const
    {
        const quint64 below = m_alphabet.m_seen[unit >> 6] & ((quint64(1) << (unit & 63)) - 1);
        return quint64(m_before[unit >> 6]) + quint64(qPopulationCount(below)) + 1;
    }

    Alphabet m_alphabet;
    int m_bits = 1;
    int m_covered = 0;
    int m_bmpCount = 0;
    std::array<quint16, 1024> m_before = {};
    std::array<quint16, 0x800> m_direct = {}; // Latin, Greek, Cyrillic: no counting
    std::vector<quint64, HugePageAllocator<quint64>> m_keys;
};

/// The alphabet of texts 0..count-1, learned in one pass.
template<typename TextOf>
Alphabet alphabetOf(int count, TextOf textOf, bool folded)
{
    Alphabet alphabet(folded);
    for (int i = 0; i < count; ++i) {
        if (i + Alphabet::Ahead < count)
            Alphabet::prefetch(textOf(i + Alphabet::Ahead));
        alphabet.see(textOf(i));
    }
    return alphabet;
}

/**
 * The positions 0..count-1 ordered by `less`, which compares the fields that
 * `lead(position)` keys and then `textOf(position)`, read as `alphabet`
 * (which has seen every text) reads them; equal rows follow `ties`.
 */
template<typename TextOf, typename Lead, typename Less>
std::vector<int> sortedByText(int count, TextOf textOf, Alphabet alphabet, Lead lead, Less less, Ties ties)
{
    const TextKeys keys(count, textOf, std::move(alphabet), lead);
    return sortedPositions(count, [&](int i) { return keys.key(i); }, less, ties,
        [&](int i, int level, quint64 &key) { return keys.deeper(textOf(i), level, key); });
}

/// As above, the texts read case-folded when `folded`.
template<typename TextOf, typename Lead, typename Less>
std::vector<int> sortedByText(int count, TextOf textOf, bool folded, Lead lead, Less less, Ties ties)
{
    return sortedByText(count, textOf, alphabetOf(count, textOf, folded), lead, less, ties);
}

/// The keys that caseInsensitiveOrder() sorts texts 0..count-1 by;
/// `alphabet` has seen every text case-folded.
template<typename TextOf>
TextKeys caseInsensitiveKeys(int count, TextOf textOf, Alphabet alphabet)
{
    return TextKeys(count, textOf, std::move(alphabet), [](int) { return PrefixKey(); });
}

/**
 * caseInsensitiveOrder() with keys made beforehand, maybe while the texts
 * stood elsewhere: text `position` had key number `keyOf(position)`.
 */
template<typename TextOf, typename KeyOf>
std::vector<int> caseInsensitiveOrder(int count, TextOf textOf, const TextKeys &keys, KeyOf keyOf)
{
    return sortedPositions(
        count, [&](int i) { return keys.key(keyOf(i)); },
        [&](int a, int b) { return textOf(a).compare(textOf(b), Qt::CaseInsensitive) < 0; }, Ties::EarlierFirst,
        [&](int i, int level, quint64 &key) { return keys.deeper(textOf(i), level, key); });
}

/**
 * The positions 0..count-1 ordered by `textOf(position)` ignoring case, as
 * QString::compare(..., Qt::CaseInsensitive) orders them; equal texts keep
 * their positions' order. `alphabet`, when given, has seen every text
 * case-folded.
 */
template<typename TextOf>
std::vector<int> caseInsensitiveOrder(int count, TextOf textOf, Alphabet alphabet)
{
    const TextKeys keys = caseInsensitiveKeys(count, textOf, std::move(alphabet));
    return caseInsensitiveOrder(count, textOf, keys, [](int i) { return i; });
}

template<typename TextOf>
std::vector<int> caseInsensitiveOrder(int count, TextOf textOf)
{
    return caseInsensitiveOrder(count, textOf, alphabetOf(count, textOf, true));
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
