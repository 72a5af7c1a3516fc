#include <vetrel/tradersearchindex_p.h>

#include <algorithm>
#include <cctype>
#include <cstring>

namespace
{

const char unitSeparator = '\x1f';
const char endOfRow = '\n';

// The Latin key under each Cyrillic letter of the Russian layout, from "а".
const char latinKeys[] = "f,dult;pbqrkvyjghcnea[wxio]sm'.z";

QChar foldChar(QChar c)
{
    c = c.toLower();
    const ushort u = c.unicode();
    if (u == 0x0451) // "ё" is typed and spelt as "е"
        return QLatin1Char('t');
    if (u >= 0x0430 && u <= 0x044f)
        return QLatin1Char(latinKeys[u - 0x0430]);
    if (u == '`') // the "ё" key on the Latin layout
        return QLatin1Char('t');
    if (u == unitSeparator || u == endOfRow)
        return QLatin1Char(' ');
    return c;
}

bool isWordStart(const char *text, const char *at)
{
    if (at == text)
        return true;
    const unsigned char before = static_cast<unsigned char>(at[-1]);
    // Every byte of a multi-byte character is >= 0x80, so such characters
    // count as letters; the folded Cyrillic letters are Latin keys, some of
    // them punctuation, which must not split a word either.
    if (before >= 0x80 || std::isalnum(before))
        return false;
    return !std::strchr(",.;'[]", before);
}

// The bytes from `at` to the end of its code or of its row.
QByteArray fieldAt(const char *at)
{
    return QByteArray::fromRawData(at, int(std::strcspn(at, "\x1f\n")));
}

QByteArray fieldStart(const char *at, size_t n)
{
    const QByteArray field = fieldAt(at);
    return field.size() > int(n) ? QByteArray::fromRawData(at, int(n)) : field;
}

}

QString TraderSearchIndex::fold(const QString &text)
{
    QString folded(text.size(), Qt::Uninitialized);
    for (int i = 0; i < text.size(); ++i)
        folded[i] = foldChar(text.at(i));
    return folded;
}

void TraderSearchIndex::clear()
{
    m_text.clear();
    m_starts.assign(1, 0);
    m_byCode.clear();
    m_byWord.clear();
    m_codeRows.clear();
    m_wordRows.clear();
}

void TraderSearchIndex::append(const QString &code, const QString &name)
{
    if (m_starts.empty())
        m_starts.push_back(0);
    m_text += fold(code.isEmpty() ? name : code).toUtf8();
    m_text += unitSeparator;
    m_text += fold(name).toUtf8();
    m_text += endOfRow;
    m_starts.push_back(m_text.size());
}

void TraderSearchIndex::finish()
{
    m_byCode.clear();
    m_byWord.clear();
    const char *text = m_text.constData();
    for (int row = 0; row < size(); ++row) {
        const char *begin = rowBegin(row);
        const char *end = rowEnd(row);
        m_byCode.push_back(int(begin - text));
        const char *name
            = static_cast<const char *>(std::memchr(begin, unitSeparator, size_t(end - begin))) + 1;
        for (const char *at = name; at < end; ++at) {
            if (isWordStart(name, at) && *at != ' ')
                m_byWord.push_back(int(at - text));
        }
    }
    const auto byField = [text](int a, int b) { return fieldAt(text + a) < fieldAt(text + b); };
    std::stable_sort(m_byCode.begin(), m_byCode.end(), byField);
    std::stable_sort(m_byWord.begin(), m_byWord.end(), byField);
    const auto rowsOf = [this](const std::vector<int> &offsets) {
        std::vector<int> rows(offsets.size());
        std::transform(offsets.begin(), offsets.end(), rows.begin(), [this](int at) { return rowAt(at); });
        return rows;
    };
    m_codeRows = rowsOf(m_byCode);
    m_wordRows = rowsOf(m_byWord);
    std::fill(std::begin(m_bytes), std::end(m_bytes), 0);
    for (char c : m_text)
        ++m_bytes[static_cast<unsigned char>(c)];
}

int TraderSearchIndex::size() const
{
    return m_starts.empty() ? 0 : int(m_starts.size()) - 1;
}

const char *TraderSearchIndex::rowBegin(int row) const
{
    return m_text.constData() + m_starts[size_t(row)];
}

const char *TraderSearchIndex::rowEnd(int row) const
{
    return m_text.constData() + m_starts[size_t(row) + 1] - 1;
}

TraderSearchIndex::Kind TraderSearchIndex::kindOf(int row, const QByteArray &query) const
{
    const char *begin = rowBegin(row);
    const char *end = rowEnd(row);
    const char *separator = static_cast<const char *>(std::memchr(begin, unitSeparator, size_t(end - begin)));
    const auto n = size_t(query.size());
    if (size_t(separator - begin) >= n && std::memcmp(begin, query.constData(), n) == 0)
        return size_t(separator - begin) == n ? ExactCode : CodePrefix;
    const char *name = separator + 1;
    for (const char *at = name; (at = search(at, end, query)); ++at) {
        if (isWordStart(name, at))
            return WordPrefix;
    }
    return Anywhere;
}

int TraderSearchIndex::rowAt(int offset) const
{
    return int(std::upper_bound(m_starts.begin(), m_starts.end(), offset) - m_starts.begin()) - 1;
}

const char *TraderSearchIndex::search(const char *from, const char *to, const QByteArray &query) const
{
    // memchr for the query's rarest byte, then the rest compared around it.
    int key = 0;
    for (int i = 1; i < query.size(); ++i) {
        if (m_bytes[static_cast<unsigned char>(query[i])] < m_bytes[static_cast<unsigned char>(query[key])])
            key = i;
    }
    const auto n = size_t(query.size());
    if (size_t(to - from) < n)
        return nullptr;
    const char *last = to - n;
    for (const char *at = from + key; at <= last + key; ++at) {
        at = static_cast<const char *>(std::memchr(at, query[key], size_t(last + key - at) + 1));
        if (!at)
            return nullptr;
        if (std::memcmp(at - key, query.constData(), n) == 0)
            return at - key;
    }
    return nullptr;
}

TraderSearchIndex::Range TraderSearchIndex::startingWith(
    const std::vector<int> &sorted, const QByteArray &query) const
{
    const char *text = m_text.constData();
    const auto n = size_t(query.size());
    const auto from = std::lower_bound(sorted.begin(), sorted.end(), query,
        [&](int at, const QByteArray &q) { return fieldStart(text + at, n) < q; });
    const auto to = std::upper_bound(
        from, sorted.end(), query, [&](const QByteArray &q, int at) { return q < fieldStart(text + at, n); });
    return { size_t(from - sorted.begin()), size_t(to - sorted.begin()) };
}

void TraderSearchIndex::collect(const std::vector<int> &rowsOf, Range range, const QByteArray &query,
    Kind kind, int limit, std::vector<Match> &found) const
{
    // The smallest rows of the range, a batch at a time: a short query's
    // range holds a row of every name, and the first few in model order
    // cost one read of it, not a copy and a partial sort.
    const auto wanted = size_t(limit) - std::min(found.size(), size_t(limit));
    const size_t batchSize = 2 * wanted + 16;
    int last = -1; // a row found through two of its words is taken once
    size_t taken = 0;
    while (taken < wanted) {
        const std::vector<int> batch = smallestAbove(rowsOf, range, last, batchSize);
        for (auto it = batch.begin(); it != batch.end() && taken < wanted; ++it) {
            if (*it != last && kindOf(*it, query) == kind) {
                found.push_back({ *it, kind });
                ++taken;
            }
            last = *it;
        }
        if (batch.size() < batchSize)
            break;
    }
}

std::vector<int> TraderSearchIndex::smallestAbove(
    const std::vector<int> &rowsOf, Range range, int above, size_t count)
{
    std::vector<int> heap; // the largest on top
    heap.reserve(count);
    for (size_t i = range.first; i < range.second; ++i) {
        const int row = rowsOf[i];
        if (row <= above || (heap.size() == count && row >= heap.front()))
            continue;
        if (heap.size() == count) {
            std::pop_heap(heap.begin(), heap.end());
            heap.back() = row;
        } else {
            heap.push_back(row);
        }
        std::push_heap(heap.begin(), heap.end());
    }
    std::sort_heap(heap.begin(), heap.end());
    return heap;
}

void TraderSearchIndex::collectAnywhere(const QByteArray &query, int limit, std::vector<Match> &found) const
{
    const char *end = m_text.constData() + m_text.size();
    for (const char *at = m_text.constData(); int(found.size()) < limit && (at = search(at, end, query));) {
        const int row = rowAt(int(at - m_text.constData()));
        if (kindOf(row, query) == Anywhere)
            found.push_back({ row, Anywhere });
        at = rowEnd(row) + 1;
    }
}

std::vector<TraderSearchIndex::Match> TraderSearchIndex::find(const QString &query, int limit) const
{
    std::vector<Match> found;
    const QByteArray folded = fold(query).toUtf8();
    if (folded.isEmpty() || limit <= 0)
        return found;
    const auto n = folded.size();
    const Range codes = startingWith(m_byCode, folded);
    // Codes equal to the query open their range.
    size_t longer = codes.first;
    while (longer != codes.second && fieldAt(m_text.constData() + m_byCode[longer]).size() == n)
        ++longer;
    collect(m_codeRows, { codes.first, longer }, folded, ExactCode, limit, found);
    if (int(found.size()) < limit)
        collect(m_codeRows, { longer, codes.second }, folded, CodePrefix, limit, found);
    if (int(found.size()) < limit)
        collect(m_wordRows, startingWith(m_byWord, folded), folded, WordPrefix, limit, found);
    if (int(found.size()) < limit)
        collectAnywhere(folded, limit, found);
    return found;
}
