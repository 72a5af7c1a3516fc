#ifndef VETREL_TRADERSEARCH_P_H
#define VETREL_TRADERSEARCH_P_H

#include <vetrel/tradersearchindex_p.h>

#include <QObject>
#include <QPointer>

class ComboBox;
class QAbstractItemModel;
class QFrame;
class QKeyEvent;
class QLabel;
class QListView;
class QStandardItemModel;

/**
 * The search pop-up of a ComboBox: offers the rows whose code or name match
 * what the trader typed, in whichever layout, with the matched part in bold.
 *
 * What was typed is kept here as well as in the line edit, because the box's
 * validator refuses text that does not start a row ("сталь", or a name typed
 * on the wrong layout) while the search still wants it. Choosing a row goes
 * the way a completer's choice goes: the box takes the row as current and
 * reports it activated.
 */
class TraderSearch : public QObject
{
    Q_OBJECT

public:
    static constexpr int shownRows = 50;

    explicit TraderSearch(ComboBox *box);
    ~TraderSearch() override;

    /// The role that holds a row's code; the display text serves when negative.
    void setCodeRole(int role);
    void setModel(QAbstractItemModel *model);
    /// Handles a key the line edit is about to get; true when it is used up.
    bool keyPress(QKeyEvent *event);
    void hide();
    QString query() const;

private:
    void watch();
    void ensureFresh();
    void refresh();
    /// Shows the matches under the box, with the query above them while the
    /// line edit holds something else; no matches and nothing aside: no list.
    void place();
    void choose(int shownRow);

    ComboBox *const m_box;
    QPointer<QAbstractItemModel> m_model;
    int m_codeRole = -1;
    TraderSearchIndex m_index;
    bool m_stale = true;
    bool m_rebuildPosted = false;
    QString m_query;
    QFrame *m_popup;
    QLabel *m_typed;
    QListView *m_list;
    QStandardItemModel *m_shown;
};

#endif
