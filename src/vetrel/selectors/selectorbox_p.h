#ifndef VETREL_SELECTORBOX_P_H
#define VETREL_SELECTORBOX_P_H

// What the selector boxes share: the exact-text lookup of their rows and the
// one way they keep the user's choice while their rows change.

#include "selectordata_p.h"

#include <QMetaObject>
#include <QSignalBlocker>
#include <QSortFilterProxyModel>
#include <QVariant>

#include <functional>

#include <optional>

class ComboBox;
class QComboBox;

namespace SelectorData
{

/**
 * Finds the first row of a box's model that shows exactly a text. Over a
 * proxy of a model that offers PresortedTexts it asks the model and maps the
 * answer through the proxy; otherwise it keeps a sorted index of its own,
 * rebuilt on the first lookup after the rows changed.
 */
class TextLookup
{
public:
    TextLookup();
    ~TextLookup();
    TextLookup(const TextLookup &) = delete;
    TextLookup &operator=(const TextLookup &) = delete;

    void setModel(QAbstractItemModel *model, int column = 0);
    /// The first row showing exactly `text`; -1 when none.
    int row(const QString &text) const;
    /// Every row showing exactly `text`, ascending.
    std::vector<int> rows(const QString &text) const;

private:
    void follow(QAbstractItemModel *model);
    QString textOf(int row) const { return m_texts[size_t(row)]; }

    QAbstractItemModel *m_model = nullptr;
    int m_column = 0;
    QSortFilterProxyModel *m_proxy = nullptr;
    std::vector<QMetaObject::Connection> m_connections;
    mutable std::vector<QString> m_texts;
    mutable std::vector<int> m_order; // rows by text, ignoring case
    mutable bool m_stale = true;
};

/// The first item of the box whose data under `role` equals `value` exactly
/// (text compared case-sensitively); -1 when there is none.
int findItem(const QComboBox &box, const QVariant &value, int role);

/// Selects the first item whose data under `role` equals `value`; with none,
/// nothing is selected and the edit text is cleared.
void selectItem(QComboBox &box, const QVariant &value, int role);

/**
 * Gives the proxy a new source model owned by `owner`, filled afresh. The old
 * source is detached first (the box's view resets, so no stale row stays
 * selected) and then deleted.
 */
template<typename Model>
void replaceSource(QSortFilterProxyModel &proxy, Model *model, QObject *owner)
{
    QAbstractItemModel *old = proxy.sourceModel();
    if (old != model) {
        proxy.setSourceModel(nullptr);
        delete old;
    }
    if (!model)
        return;
    model->setParent(owner);
    model->populate();
    proxy.setSourceModel(model);
}

/// Lists of a million rows open without measuring each row (every item of a
/// selector is one line of text) and are laid out in batches.
void useUniformRows(QComboBox &box);

/**
 * The shared part of every selector box's private implementation. It keeps
 * the choice across any change of the rows (a refill, another model, a new
 * filter): the change runs with the box's signals blocked, the chosen row is
 * found again by its key, and the form hears only what really changed: the
 * choice lost (the box's edit handler runs with an empty text), a typed text
 * that now names a row, or, for boxes that say so, the choice kept.
 */
class SelectorBoxPrivate
{
public:
    explicit SelectorBoxPrivate(ComboBox *box);
    virtual ~SelectorBoxPrivate();

    /// The first row showing exactly `text`; -1 when none.
    int rowOfText(const QString &text) const { return lookup.row(text); }
    int shownRow() const;

    /// Installs the model in the box, its completer and its validator, and
    /// keeps the choice whenever the model resets.
    void install(QAbstractItemModel *model, int column = 0);

    /// The two halves of keepChoice() around a reset of the box's model.
    void aboutToReset();
    void wasReset();

    /// Runs `change` and keeps the choice across it.
    template<typename Change>
    void keepChoice(Change change)
    {
        const Saved saved = save();
        Outcome outcome;
        {
            const QSignalBlocker blocker(m_box);
            change();
            outcome = restore(saved);
        }
        announce(outcome);
    }

    /// Runs `change`, then leaves nothing chosen and an empty line, and
    /// tells the form so.
    template<typename Change>
    void clearChoice(Change change)
    {
        {
            const QSignalBlocker blocker(m_box);
            change();
            showUnnamed(QString());
        }
        editChanged(QString());
    }

    TextLookup lookup;

protected:
    /// What tells the chosen row from other rows that read alike: its text
    /// unless a box says otherwise.
    virtual QVariant keyOfRow(int row) const;
    /// Shows a line that names no row.
    virtual void showUnnamed(const QString &text);
    /// The box's own handler of a new line text.
    virtual void editChanged(const QString &text) = 0;
    /// Called when a refill kept the chosen row; boxes that announce it say so here.
    virtual void choiceKept() { }

private:
    struct Saved
    {
        QString text;
        QVariant key; // null when the text named no row
    };
    enum class Outcome
    {
        Unchanged,
        Kept,
        Lost,
        Named
    };

    Saved save() const;
    Outcome restore(const Saved &saved);
    void announce(Outcome outcome);
    QString currentText() const;

    ComboBox *m_box;
    // A reset spans two signals of the model: what was chosen, and the box's
    // signals blocked (restoring the caller's own blocking) in between.
    Saved m_duringReset;
    std::optional<QSignalBlocker> m_resetBlocker;
    std::vector<QMetaObject::Connection> m_resetConnections;
};

/**
 * A box that reports its choice as an id and a code read from two roles of
 * the chosen row, and the typed text beside them (the stock and board boxes).
 */
class IdCodeBoxPrivate : public SelectorBoxPrivate
{
public:
    struct Notices
    {
        std::function<void(int)> id;
        std::function<void(const QString &)> code;
        std::function<void(const QString &)> text;
    };

    /// `keyRole` tells one row from every other.
    IdCodeBoxPrivate(ComboBox *box, int keyRole, int idRole, int codeRole, Notices notices);

    /// The id and code of the row that the line names; 0 and "" when none.
    int id() const;
    QString code() const;
    void selectId(int id);
    void selectCode(const QString &code);

    void activated(int row);
    void editChanged(const QString &text) override;

protected:
    QVariant keyOfRow(int row) const override;

private:
    ComboBox *const m_box;
    const int m_keyRole;
    const int m_idRole;
    const int m_codeRole;
    const Notices m_notices;
};

}

#endif
