#ifndef VETREL_TRADERSEARCHINDEX_P_H
#define VETREL_TRADERSEARCHINDEX_P_H

#include <QByteArray>
#include <QString>

#include <utility>
#include <vector>

/**
 * The code and name of every row of a list, reduced to one form that ignores
 * case, "ё" against "е" and the keyboard layout the trader typed on, and kept
 * in one flat buffer so that a query reads memory in one sweep.
 *
 * A row matches when the query is its code, starts its code, starts a word of
 * its name, or occurs anywhere in either; best kinds first, model order
 * within a kind, at most `limit` rows.
 */
class TraderSearchIndex
{
public:
    enum Kind
    {
        ExactCode,
        CodePrefix,
        WordPrefix,
        Anywhere,
    };

    struct Match
    {
        int row;
        Kind kind;
    };

    /// Each text in the form the index compares: one code unit for one, so
    /// positions in the result are positions in the text.
    static QString fold(const QString &text);

    void clear();
    /// Appends the next row; an empty code means the name serves as both.
    void append(const QString &code, const QString &name);
    /// Orders the codes for lookup; call after the last append.
    void finish();
    int size() const;

    std::vector<Match> find(const QString &query, int limit) const;

private:
    const char *rowBegin(int row) const;
    const char *rowEnd(int row) const;
    Kind kindOf(int row, const QByteArray &query) const;
    int rowAt(int offset) const;
    const char *search(const char *from, const char *to, const QByteArray &query) const;
    using Range = std::pair<size_t, size_t>; // of positions in a sorted vector
    Range startingWith(const std::vector<int> &sorted, const QByteArray &query) const;
    /// The first rows (in model order) among `rowsOf` over `range` whose best
    /// match is `kind`, while fewer than `limit` rows are found.
    void collect(const std::vector<int> &rowsOf, Range range, const QByteArray &query, Kind kind, int limit,
        std::vector<Match> &found) const;
    /// The `count` smallest rows above `above` among `rowsOf` over `range`,
    /// ascending; a row there twice counts twice.
    static std::vector<int> smallestAbove(const std::vector<int> &rowsOf, Range range, int above, size_t count);
    void collectAnywhere(const QByteArray &query, int limit, std::vector<Match> &found) const;

    QByteArray m_text; // per row: code, a unit separator, name, a newline
    std::vector<int> m_starts; // where each row begins, plus the end
    std::vector<int> m_byCode; // where each code starts, in the order of the codes
    std::vector<int> m_byWord; // where each word of a name starts, in the order of the rest of the name
    std::vector<int> m_codeRows; // the row of each entry of m_byCode
    std::vector<int> m_wordRows; // the row of each entry of m_byWord
    int m_bytes[256] = {}; // how often each byte occurs in m_text
};

#endif
