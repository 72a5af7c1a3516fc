#include <vetrel/tradersearch_p.h>

#include <vetrel/combobox.h>

#include <QApplication>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QPainter>
#include <QStandardItemModel>
#include <QStyledItemDelegate>
#include <QTimer>
#include <QVBoxLayout>

namespace
{

enum ShownRole
{
    RowRole = Qt::UserRole + 1,
    BoldFromRole,
    BoldLengthRole,
};

// Draws a row's text with the part that matched in bold.
class MatchDelegate : public QStyledItemDelegate
{
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    void paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const override
    {
        QStyleOptionViewItem opt = option;
        initStyleOption(&opt, index);
        const QString text = opt.text;
        opt.text.clear();
        const QWidget *widget = opt.widget;
        QStyle *style = widget ? widget->style() : QApplication::style();
        style->drawControl(QStyle::CE_ItemViewItem, &opt, painter, widget);

        const int from = index.data(BoldFromRole).toInt();
        const int length = index.data(BoldLengthRole).toInt();
        const QString parts[] = { text.left(from), text.mid(from, length), text.mid(from + length) };
        QRect area = style->subElementRect(QStyle::SE_ItemViewItemText, &opt, widget);
        painter->save();
        painter->setPen(opt.palette.color(
            opt.state & QStyle::State_Selected ? QPalette::HighlightedText : QPalette::Text));
        for (int part = 0; part < 3; ++part) {
            QFont font = opt.font;
            font.setBold(part == 1);
            painter->setFont(font);
            painter->drawText(area, int(Qt::AlignLeft | Qt::AlignVCenter), parts[part]);
            area.setLeft(area.left() + QFontMetrics(font).horizontalAdvance(parts[part]));
        }
        painter->restore();
    }
};

// Where the query lies in `shown`, by the kind of match the index found.
std::pair<int, int> boldPart(
    const QString &shown, int nameFrom, const QString &query, TraderSearchIndex::Kind kind)
{
    const QString folded = TraderSearchIndex::fold(shown);
    const QString key = TraderSearchIndex::fold(query);
    int at = -1;
    if (kind == TraderSearchIndex::ExactCode || kind == TraderSearchIndex::CodePrefix) {
        at = 0;
    } else if (kind == TraderSearchIndex::WordPrefix) {
        for (at = folded.indexOf(key, nameFrom); at > nameFrom && folded.at(at - 1).isLetterOrNumber();)
            at = folded.indexOf(key, at + 1);
    }
    if (at < 0)
        at = folded.indexOf(key);
    return { at, at < 0 ? 0 : key.size() };
}

}

TraderSearch::TraderSearch(ComboBox *box)
    : QObject(box)
    , m_box(box)
    , m_popup(new QFrame(box, Qt::Tool | Qt::FramelessWindowHint | Qt::WindowDoesNotAcceptFocus))
    , m_typed(new QLabel(m_popup))
    , m_list(new QListView(m_popup))
    , m_shown(new QStandardItemModel(this))
{
    m_popup->setAttribute(Qt::WA_ShowWithoutActivating);
    m_popup->setFrameShape(QFrame::StyledPanel);
    auto *layout = new QVBoxLayout(m_popup);
    layout->setContentsMargins(1, 1, 1, 1);
    layout->setSpacing(0);
    layout->addWidget(m_typed);
    layout->addWidget(m_list);
    m_list->setObjectName(QStringLiteral("traderSearchList"));
    m_list->setModel(m_shown);
    m_list->setItemDelegate(new MatchDelegate(m_list));
    m_list->setFocusPolicy(Qt::NoFocus);
    m_list->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_list->setUniformItemSizes(true);
    connect(m_list, &QListView::clicked, this, [this](const QModelIndex &index) { choose(index.row()); });
    connect(m_box->lineEdit(), &QLineEdit::textEdited, this, [this](const QString &text) {
        // A key the line edit took was searched for when it was pressed; only
        // what shows beside the matches changes now.
        if (text == m_query) {
            place();
            return;
        }
        m_query = text;
        refresh();
    });
}

TraderSearch::~TraderSearch() = default;

void TraderSearch::setCodeRole(int role)
{
    m_codeRole = role;
    m_stale = true;
}

void TraderSearch::setModel(QAbstractItemModel *model)
{
    if (m_model == model)
        return;
    if (m_model)
        m_model->disconnect(this);
    m_model = model;
    m_stale = true;
    watch();
}

void TraderSearch::watch()
{
    if (!m_model)
        return;
    const auto changed = [this] {
        m_stale = true;
        // A fill of many small steps is read once, from the event loop, so
        // that a large rebuild rarely lands on a keystroke.
        if (!m_rebuildPosted) {
            m_rebuildPosted = true;
            QTimer::singleShot(0, this, [this] {
                m_rebuildPosted = false;
                ensureFresh();
            });
        }
    };
    using Model = QAbstractItemModel;
    connect(m_model, &Model::modelReset, this, changed);
    connect(m_model, &Model::layoutChanged, this, changed);
    connect(m_model, &Model::rowsInserted, this, changed);
    connect(m_model, &Model::rowsRemoved, this, changed);
    connect(m_model, &Model::rowsMoved, this, changed);
    connect(m_model, &Model::dataChanged, this, changed);
    changed();
}

void TraderSearch::ensureFresh()
{
    if (!m_stale)
        return;
    m_stale = false;
    m_index.clear();
    if (!m_model)
        return;
    const int column = m_box->modelColumn();
    for (int row = 0, rows = m_model->rowCount(); row < rows; ++row) {
        const QModelIndex index = m_model->index(row, column);
        m_index.append(m_codeRole < 0 ? QString() : index.data(m_codeRole).toString(),
            index.data(Qt::DisplayRole).toString());
    }
    m_index.finish();
}

QString TraderSearch::query() const
{
    return m_query;
}

void TraderSearch::hide()
{
    m_popup->hide();
}

bool TraderSearch::keyPress(QKeyEvent *event)
{
    QLineEdit *edit = m_box->lineEdit();
    const bool shown = m_popup->isVisible();
    const bool aside = m_query != edit->text(); // the line edit refused part of it
    switch (event->key()) {
    case Qt::Key_Up:
    case Qt::Key_Down:
        if (!shown)
            return false;
        {
            const int step = event->key() == Qt::Key_Up ? -1 : 1;
            const int row = qBound(0, m_list->currentIndex().row() + step, m_shown->rowCount() - 1);
            m_list->setCurrentIndex(m_shown->index(row, 0));
        }
        return true;
    case Qt::Key_Return:
    case Qt::Key_Enter:
        if (shown && m_list->currentIndex().isValid()) {
            choose(m_list->currentIndex().row());
            return true;
        }
        hide();
        return false;
    case Qt::Key_Escape:
        if (!shown)
            return false;
        hide();
        return true;
    case Qt::Key_Backspace:
        if (!aside)
            return false; // the line edit's own edit reaches us as textEdited
        m_query.chop(1);
        refresh();
        return true;
    default:
        break;
    }
    const QString typed = event->text();
    if (typed.isEmpty() || !typed.at(0).isPrint())
        return false;
    if (aside) {
        m_query += typed;
    } else {
        QString text = edit->text();
        const int from = edit->hasSelectedText() ? edit->selectionStart() : edit->cursorPosition();
        text.replace(from, edit->selectedText().size(), typed);
        m_query = text;
    }
    refresh();
    return false;
}

void TraderSearch::refresh()
{
    m_shown->clear();
    if (m_query.isEmpty()) {
        hide();
        return;
    }
    ensureFresh();
    const int column = m_box->modelColumn();
    for (const TraderSearchIndex::Match &match : m_index.find(m_query, shownRows)) {
        const QModelIndex index = m_model->index(match.row, column);
        const QString name = index.data(Qt::DisplayRole).toString();
        const QString code = m_codeRole < 0 ? QString() : index.data(m_codeRole).toString();
        const bool both = !code.isEmpty() && code != name;
        const QString text = both ? code + QStringLiteral("  ") + name : name;
        const auto [from, length] = boldPart(text, both ? code.size() + 2 : 0, m_query, match.kind);
        auto *item = new QStandardItem(text);
        item->setData(match.row, RowRole);
        item->setData(from, BoldFromRole);
        item->setData(length, BoldLengthRole);
        m_shown->appendRow(item);
    }
    place();
}

void TraderSearch::place()
{
    const bool aside = m_query != m_box->lineEdit()->text();
    m_typed->setText(m_query);
    m_typed->setVisible(aside);
    if (m_shown->rowCount() == 0 && !aside) {
        hide();
        return;
    }
    const int rowHeight = qMax(1, m_list->sizeHintForRow(0));
    const int rows = qBound(1, m_shown->rowCount(), 10);
    m_list->setFixedHeight(rows * rowHeight + 2 * m_list->frameWidth());
    m_popup->resize(qMax(m_box->width(), 320), m_popup->sizeHint().height());
    m_popup->move(m_box->mapToGlobal(QPoint(0, m_box->height())));
    m_popup->show();
}

void TraderSearch::choose(int shownRow)
{
    const int row = m_shown->index(shownRow, 0).data(RowRole).toInt();
    hide();
    m_box->setCurrentIndex(row);
    m_box->setEditText(m_box->itemText(row));
    m_query = m_box->lineEdit()->text();
    emit m_box->activated(row);
    emit m_box->textActivated(m_box->itemText(row));
}
