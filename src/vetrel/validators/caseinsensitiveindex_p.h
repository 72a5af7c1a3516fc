#ifndef VETREL_CASEINSENSITIVEINDEX_P_H
#define VETREL_CASEINSENSITIVEINDEX_P_H

#include <QObject>
#include <QString>

#include <utility>
#include <vector>

class QAbstractItemModel;

/**
 * The rows of a model ordered by their display text ignoring case (equal
 * texts in row order), so that a typed prefix is found by binary search
 * instead of by reading every row on every keystroke.
 *
 * One index serves everybody who looks at the same model: it lives as the
 * model's child and dies with it. It is rebuilt on the first question after
 * the rows changed, and also soon after the change from the event loop, so
 * that the rebuild of a large list rarely lands on a keystroke.
 */
class CaseInsensitiveIndex : public QObject
{
    Q_OBJECT

public:
    /// The index of the model's column 0, created on first use.
    static CaseInsensitiveIndex *of(QAbstractItemModel *model);

    int size();
    /// The model row at a position of the order.
    int rowAt(int position);
    /// The position of a model row in the order.
    int positionOf(int row);
    /// The half-open range of positions whose text starts with `prefix`.
    std::pair<int, int> prefixRange(const QString &prefix);
    /// The first model row whose text starts with `prefix` ignoring case; -1
    /// when none does.
    int firstRowStartingWith(const QString &prefix);
    /// The first model row whose text is exactly `text` (case-sensitive); -1
    /// when none is.
    int firstRowEqualTo(const QString &text);
    /// The display text of a model row as the index last read it.
    QString text(int row);

signals:
    /// Around every change of the model that may change the order.
    void aboutToChange();
    void changed();

private:
    explicit CaseInsensitiveIndex(QAbstractItemModel *model);
    void watch();
    void beginChange();
    void endChange();
    void ensureFresh();
    void rebuild();

    QAbstractItemModel *m_model;
    std::vector<QString> m_texts; // by model row
    std::vector<int> m_order; // model rows by text
    std::vector<int> m_positions; // inverse of m_order
    std::vector<int> m_firstRow; // segment tree: least model row of a span of the order
    bool m_stale = true;
    bool m_changing = false;
    bool m_rebuildPosted = false;
};

#endif
