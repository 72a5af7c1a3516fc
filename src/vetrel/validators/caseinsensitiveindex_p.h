#ifndef VETREL_CASEINSENSITIVEINDEX_P_H
#define VETREL_CASEINSENSITIVEINDEX_P_H

#include <QObject>
#include <QPointer>
#include <QString>

#include <functional>
#include <utility>
#include <vector>

class QAbstractItemModel;

/**
 * A model's rows already in the index's order, offered as a child of the
 * model by models that read their rows away from the GUI thread: the index
 * then takes the order instead of reading and sorting every row in the GUI
 * thread. `order` holds the model's rows ordered by their display text as
 * RowOrder::caseInsensitiveOrder() orders them; the model replaces it only
 * inside a reset. `textOf` gives a row's display text, and an empty one for
 * a row the model does not have.
 */
class PresortedTexts : public QObject
{
public:
    using TextOf = std::function<QString(int row)>;
    PresortedTexts(QAbstractItemModel *model, TextOf textOf, const std::vector<int> &order);

    /// The presorted texts a model offers; nullptr when it offers none.
    static const PresortedTexts *of(const QAbstractItemModel *model);

    QString text(int row) const { return m_textOf(row); }
    const std::vector<int> &order() const { return m_order; }
    /// Every row showing exactly `text` (case-sensitive), ascending.
    std::vector<int> rowsShowing(const QString &text) const;

private:
    const TextOf m_textOf;
    const std::vector<int> &m_order;
};

/**
 * The rows of a model ordered by their display text ignoring case, so that a typed prefix is found by binary
 * search instead of by reading every row on every keystroke.
 *
 * One index serves everybody who looks at the same model: it lives as the
 * model's child and dies with it. It is rebuilt on the first question after
 * the rows changed, and also soon after the change from the event loop, so
 * that the rebuild of a large list rarely lands on a keystroke. Over a model
 * that offers PresortedTexts, or a QSortFilterProxyModel of one, the rebuild
 * takes the model's order instead of sorting.
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
    bool takePresorted();
    void sortOwnTexts();
    QString textAt(int row) const;
    /// Model rows by text: the index's own or the offered ones.
    const std::vector<int> &order() const;
    const std::vector<int> &positions();
    const std::vector<int> &firstRows();

    QAbstractItemModel *m_model;
    // Guarded: a proxy's source may go before the proxy tells of it.
    QPointer<const PresortedTexts> m_presorted;
    std::vector<int> m_sourceRows; // by model row, when the presorted rows are a proxy's source
    std::vector<QString> m_texts; // by model row, when the index read them itself
    std::vector<int> m_order; // model rows by text, unless borrowed from m_presorted
    std::vector<int> m_positions; // inverse of m_order, made on first use
    std::vector<int> m_firstRow; // segment tree: least model row of a span of the order, on first use
    bool m_borrowsOrder = false;
    bool m_stale = true;
    bool m_changing = false;
    bool m_rebuildPosted = false;
};

#endif
