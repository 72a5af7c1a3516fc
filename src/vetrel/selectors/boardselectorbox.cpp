#include <vetrel/boardselectorbox.h>

#include "selectorbox_p.h"
#include <vetrel/boardselectorfilteredmodel.h>
#include <vetrel/boardselectormodel.h>
#include <vetrel/comboboxvalidator.h>

#include <host/stockdirectory.h>

#include <QLineEdit>

static const SelectorData::FieldConstantSet fieldConstants;

class BoardSelectorBoxPrivate : public SelectorData::IdCodeBoxPrivate
{
public:
    BoardSelectorBoxPrivate(BoardSelectorBox *q)
        : IdCodeBoxPrivate(q, BoardSelectorModel::BoardStockIdsRole, BoardSelectorModel::BoardIdRole,
            BoardSelectorModel::BoardCodeRole,
            { [q](int id) { emit q->boardIdChanged(id); },
                [q](const QString &code) { emit q->boardCodeChanged(code); },
                [q](const QString &text) { emit q->boardChanged(text); } })
        , filtered(new BoardSelectorFilteredModel(q))
    { }

    QString stockCode;
    BoardSelectorFilteredModel *const filtered;
};

BoardSelectorBox::BoardSelectorBox(QWidget *parent)
    : ComboBox(parent)
    , d(new BoardSelectorBoxPrivate(this))
{
    lineEdit()->setPlaceholderText(tr("Режим торгов"));
    setCurrentIndex(-1);
    d->filtered->setStockCode(d->stockCode);
    d->install(d->filtered);
    setTraderSearchCodeRole(BoardSelectorModel::BoardCodeRole);
    lineEdit()->setValidator(comboBoxValidator());
    setSourceModel(new BoardSelectorModel(this));
    setEditText(QString());
    connect(this, &QComboBox::editTextChanged, this, &BoardSelectorBox::edit_changed);
    connect(this, QOverload<int>::of(&QComboBox::activated), this, &BoardSelectorBox::item_activated);
}

BoardSelectorBox::~BoardSelectorBox() = default;

int BoardSelectorBox::getStockId() const
{
    return StockDirectory::idByCode(d->stockCode);
}

QString BoardSelectorBox::getStockCode() const
{
    return d->stockCode;
}

int BoardSelectorBox::getBoardId() const
{
    return d->id();
}

QString BoardSelectorBox::getBoard() const
{
    return currentText();
}

QString BoardSelectorBox::getBoardCode() const
{
    return d->code();
}

void BoardSelectorBox::setStockId(int stockId)
{
    setStockCode(StockDirectory::codeById(stockId));
}

void BoardSelectorBox::setStockCode(const QString &stockCode)
{
    if (stockCode == d->stockCode)
        return;
    d->stockCode = stockCode;
    d->clearChoice([&] { d->filtered->setStockCode(stockCode); });
}

void BoardSelectorBox::setBoardId(int boardId)
{
    d->selectId(boardId);
}

void BoardSelectorBox::setBoardCode(const QString &boardCode)
{
    d->selectCode(boardCode);
}

void BoardSelectorBox::setSourceModel(BoardSelectorModel *model)
{
    SelectorData::replaceSource(*d->filtered, model, this);
}

BoardSelectorModel *BoardSelectorBox::sourceModel() const
{
    return qobject_cast<BoardSelectorModel *>(d->filtered->sourceModel());
}

BoardSelectorFilteredModel *BoardSelectorBox::filteredModel() const
{
    return d->filtered;
}

void BoardSelectorBox::setBoardFlagsOnFilter(qlonglong mask)
{
    d->keepChoice([&] { d->filtered->setBoardFlagsOnFilter(mask); });
}

void BoardSelectorBox::setBoardFlagsOffFilter(qlonglong mask)
{
    d->keepChoice([&] { d->filtered->setBoardFlagsOffFilter(mask); });
}

void BoardSelectorBox::item_activated(int index)
{
    d->activated(index);
}

void BoardSelectorBox::edit_changed(const QString &text)
{
    d->editChanged(text);
}
