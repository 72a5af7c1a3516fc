#include <vetrel/combobox.h>

#include <vetrel/comboboxvalidator.h>
#include <vetrel/completionordermodel_p.h>
#include <vetrel/tradersearch_p.h>

#include <QAbstractItemView>
#include <QCompleter>
#include <QEvent>
#include <QItemSelectionModel>
#include <QKeyEvent>
#include <QLineEdit>
#include <QListView>
#include <QPointer>
#include <QSignalBlocker>

class ComboBoxPrivate
{
public:
    explicit ComboBoxPrivate(ComboBox *box)
        : q(box)
    { }

    // Points the completer and the validator at the box's model when it is
    // not the one they were last given.
    void followModel()
    {
        QAbstractItemModel *model = q->model();
        if (model == followed)
            return;
        followed = model;
        completionOrder->setSourceModel(model);
        if (QCompleter *searcher = q->completer()) {
            if (searcher->model() != completionOrder)
                searcher->setModel(completionOrder);
        }
        if (validator)
            validator->setModel(model);
        if (search)
            search->setModel(model);
    }

    ComboBox *const q;
    QPointer<ComboBoxValidator> validator;
    CompletionOrderModel *completionOrder = nullptr;
    QPointer<QCompleter> completer;
    TraderSearch *search = nullptr;
    int codeRole = -1;
    QPointer<QAbstractItemModel> followed;
};

ComboBox::ComboBox(QWidget *parent)
    : QComboBox(parent)
    , d(new ComboBoxPrivate(this))
{
    setEditable(true);

    auto *completer = new QCompleter(this);
    completer->setCaseSensitivity(Qt::CaseInsensitive);
    // The completer sees the rows in case-insensitive order, so a typed
    // prefix is a binary search away however long the list.
    completer->setModelSorting(QCompleter::CaseInsensitivelySortedModel);
    if (auto *list = qobject_cast<QListView *>(completer->popup()))
        list->setUniformItemSizes(true);
    setCompleter(completer);
    d->completer = completer;
    d->completionOrder = new CompletionOrderModel(this);

    d->validator = new ComboBoxValidator(lineEdit());
    d->followModel();
    lineEdit()->installEventFilter(this);

    setCurrentIndex(-1);
}

ComboBox::~ComboBox() = default;

ComboBoxValidator *ComboBox::comboBoxValidator() const
{
    return d->validator;
}

void ComboBox::setModel(QAbstractItemModel *model)
{
    QComboBox::setModel(model);
    d->followModel();
}

bool ComboBox::traderSearch() const
{
    return d->search;
}

void ComboBox::setTraderSearch(bool on)
{
    if (on == traderSearch() || !lineEdit())
        return;
    if (on) {
        // The search list takes the completer's place, so only one list
        // answers a keystroke.
        QComboBox::setCompleter(nullptr);
        d->search = new TraderSearch(this);
        d->search->setCodeRole(d->codeRole);
        d->search->setModel(model());
    } else {
        delete d->search;
        d->search = nullptr;
        QComboBox::setCompleter(d->completer);
    }
}

void ComboBox::setTraderSearchCodeRole(int role)
{
    d->codeRole = role;
    if (d->search)
        d->search->setCodeRole(role);
}

void ComboBox::showPopup()
{
    // QComboBox::showPopup() selects the current row itself, so the selection
    // is cleared once the list is up; silently, as nothing was chosen.
    QComboBox::showPopup();
    QAbstractItemView *list = view();
    const QSignalBlocker blocker(list);
    list->selectionModel()->clearSelection();
}

bool ComboBox::eventFilter(QObject *watched, QEvent *event)
{
    // Before the line edit judges a keystroke, the validator and the
    // completer must look at the model that the box shows now.
    switch (event->type()) {
    case QEvent::KeyPress:
        d->followModel();
        if (d->search && watched == lineEdit() && d->search->keyPress(static_cast<QKeyEvent *>(event)))
            return true;
        break;
    case QEvent::FocusOut:
        if (d->search)
            d->search->hide();
        break;
    case QEvent::InputMethod:
    case QEvent::FocusIn:
        d->followModel();
        break;
    default:
        break;
    }
    return QComboBox::eventFilter(watched, event);
}
