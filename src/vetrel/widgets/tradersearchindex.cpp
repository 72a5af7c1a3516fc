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

// The first occurrence of `query` in [from, to): the rarest-looking byte is
// found with memchr and the rest compared around it.
const char *search(const char *from, const char *to, const QByteArray &query)
{
    const auto n = size_t(query.size());
    if (size_t(to - from) < n)
        return nullptr;
    const char first = query.at(0);
    const char *last = to - n;
    for (const char *at = from; at <= last; ++at) {
        at = static_cast<const char *>(std::memchr(at, first, size_t(last - at) + 1));
        if (!at)
            return nullptr;
        if (std::memcmp(at, query.constData(), n) == 0)
            return at;
    }
    return nullptr;
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
    m_byCode.resize(size_t(size()));
    for (int row = 0; row < size(); ++row)
        m_byCode[size_t(row)] = row;
    const auto codeOf = [this](int row) {
        const char *begin = rowBegin(row);
        return QByteArray::fromRawData(begin, int(std::strchr(begin, unitSeparator) - begin));
    };
    std::stable_sort(m_byCode.begin(), m_byCode.end(), [&](int a, int b) { return codeOf(a) < codeOf(b); });
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

void TraderSearchIndex::collectCodes(const QByteArray &query, int limit, std::vector<Match> &found) const
{
    const auto n = size_t(query.size());
    const auto codeLength = [this](int row) {
        const char *begin = rowBegin(row);
        return size_t(
            static_cast<const char *>(std::memchr(begin, unitSeparator, size_t(rowEnd(row) - begin)))
            - begin);
    };
    const auto codeStart
        = [&](int row) { return QByteArray::fromRawData(rowBegin(row), int(std::min(n, codeLength(row)))); };
    // The rows whose code starts with the query lie together in code order,
    // those whose code is the query first, in model order among themselves.
    const auto from = std::lower_bound(m_byCode.begin(), m_byCode.end(), query,
        [&](int row, const QByteArray &q) { return codeStart(row) < q; });
    const auto to = std::upper_bound(
        from, m_byCode.end(), query, [&](const QByteArray &q, int row) { return q < codeStart(row); });
    auto longer = from;
    for (; longer != to && codeLength(*longer) == n && int(found.size()) < limit; ++longer)
        found.push_back({ *longer, ExactCode });
    while (longer != to && codeLength(*longer) == n)
        ++longer;
    std::vector<int> rows;
    const auto wide = to - longer;
    // A wide range has its first rows early in model order: reading rows in
    // order and stopping soon costs less than sorting the range.
    if (wide > 4 * limit && wide * 64 > size()) {
        for (int row = 0; row < size() && int(rows.size()) < limit; ++row) {
            if (codeLength(row) > n && std::memcmp(rowBegin(row), query.constData(), n) == 0)
                rows.push_back(row);
        }
    } else {
        rows.assign(longer, to);
        std::sort(rows.begin(), rows.end());
    }
    for (int row : rows) {
        if (int(found.size()) < limit)
            found.push_back({ row, CodePrefix });
    }
}

void TraderSearchIndex::collectNames(const QByteArray &query, int limit, std::vector<Match> &found) const
{
    // Word prefixes outrank the rest, so rows met in model order wait in
    // `anywhere` until enough word prefixes are certain.
    const int wanted = limit - int(found.size());
    std::vector<Match> words;
    std::vector<Match> anywhere;
    const char *end = m_text.constData() + m_text.size();
    int row = 0;
    for (const char *at = m_text.constData(); int(words.size()) < wanted && (at = search(at, end, query));) {
        row = int(std::upper_bound(m_starts.begin() + row, m_starts.end(), int(at - m_text.constData()))
                  - m_starts.begin())
            - 1;
        const Kind kind = kindOf(row, query);
        if (kind == WordPrefix)
            words.push_back({ row, kind });
        else if (kind == Anywhere && int(anywhere.size()) < wanted)
            anywhere.push_back({ row, kind });
        at = rowEnd(row) + 1;
    }
    for (const auto &group : { words, anywhere }) {
        for (const Match &match : group) {
            if (int(found.size()) < limit)
                found.push_back(match);
        }
    }
}

std::vector<TraderSearchIndex::Match> TraderSearchIndex::find(const QString &query, int limit) const
{
    std::vector<Match> found;
    const QByteArray folded = fold(query).toUtf8();
    if (folded.isEmpty() || limit <= 0)
        return found;
    collectCodes(folded, limit, found);
    if (int(found.size()) < limit)
        collectNames(folded, limit, found);
    return found;
}
