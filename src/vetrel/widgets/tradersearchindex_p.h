#ifndef VETREL_TRADERSEARCHINDEX_P_H
#define VETREL_TRADERSEARCHINDEX_P_H

#include <QByteArray>
#include <QString>

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
    void collectCodes(const QByteArray &query, int limit, std::vector<Match> &found) const;
    void collectNames(const QByteArray &query, int limit, std::vector<Match> &found) const;

    QByteArray m_text; // per row: code, a unit separator, name, a newline
    std::vector<int> m_starts; // where each row begins, plus the end
    std::vector<int> m_byCode; // rows ordered by their folded code
};

#endif
