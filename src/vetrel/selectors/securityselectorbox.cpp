#include <vetrel/securityselectorbox.h>

#include "selectorbox_p.h"
#include <vetrel/securityselectorfilteredmodel.h>
#include <vetrel/securityselectormodel.h>

#include <host/boarddirectory.h>
#include <host/stockdirectory.h>

#include <QLineEdit>

static const SelectorData::FieldConstantSet fieldConstants;

class SecuritySelectorBoxPrivate : public SelectorData::SelectorBoxPrivate
{
public:
    explicit SecuritySelectorBoxPrivate(SecuritySelectorBox *q)
        : SelectorBoxPrivate(q)
        , q(q)
        , filtered(new SecuritySelectorFilteredModel(q))
    { }

    void editChanged(const QString &text) override { q->edit_changed(text); }
    QVariant keyOfRow(int row) const override
    {
        return q->itemData(row, SecuritySelectorModel::SecurityIdRole);
    }

    void narrow()
    {
        clearChoice([this] { filtered->setStockBoard(stockCode, boardCode); });
    }

    QVariant shown(int role) const
    {
        const int row = shownRow();
        return row < 0 ? QVariant() : q->itemData(row, role);
    }

    SecuritySelectorBox *const q;
    QString stockCode;
    QString boardCode;
    int stockId = 0;
    QString securityCode;
    SecuritySelectorFilteredModel *const filtered;
};

SecuritySelectorBox::SecuritySelectorBox(QWidget *parent)
    : ComboBox(parent)
    , d(new SecuritySelectorBoxPrivate(this))
{
    lineEdit()->setPlaceholderText(tr("Инструмент"));
    d->filtered->setStockBoard(d->stockCode, d->boardCode);
    d->install(d->filtered);
    setTraderSearchCodeRole(SecuritySelectorModel::SecurityCodeRole);
    setSourceModel(new SecuritySelectorModel(this));
    setEditText(QString());
    connect(this, &QComboBox::editTextChanged, this, &SecuritySelectorBox::edit_changed);
    connect(this, QOverload<int>::of(&QComboBox::activated), this, &SecuritySelectorBox::item_activated);
}

SecuritySelectorBox::~SecuritySelectorBox() = default;

int SecuritySelectorBox::getStockId() const
{
    return d->stockId;
}

QString SecuritySelectorBox::getStockCode() const
{
    return d->stockCode;
}

int SecuritySelectorBox::getBoardId() const
{
    return BoardDirectory::idByCode(d->stockCode, d->boardCode);
}

QString SecuritySelectorBox::getBoardCode() const
{
    return d->boardCode;
}

qlonglong SecuritySelectorBox::getSecurityId() const
{
    return d->shown(SecuritySelectorModel::SecurityIdRole).toLongLong();
}

QString SecuritySelectorBox::getSecurityCode() const
{
    return d->securityCode;
}

QString SecuritySelectorBox::getSecurityName() const
{
    return d->shown(SecuritySelectorModel::SecurityNameRole).toString();
}

void SecuritySelectorBox::setSourceModel(SecuritySelectorModel *model)
{
    SelectorData::replaceSource(*d->filtered, model, this);
}

void SecuritySelectorBox::setStockId(int stockId)
{
    setStockCode(StockDirectory::codeById(stockId));
}

void SecuritySelectorBox::setStockCode(const QString &stockCode)
{
    if (stockCode == d->stockCode)
        return;
    d->stockCode = stockCode;
    d->stockId = StockDirectory::idByCode(stockCode);
    d->narrow();
}

void SecuritySelectorBox::setBoardId(int boardId)
{
    setBoardCode(BoardDirectory::codeById(d->stockId, boardId));
}

void SecuritySelectorBox::setBoardCode(const QString &boardCode)
{
    if (boardCode == d->boardCode)
        return;
    d->boardCode = boardCode;
    d->narrow();
}

void SecuritySelectorBox::setSecurityId(qlonglong securityId)
{
    setCurrentIndex(SelectorData::findItem(*this, securityId, SecuritySelectorModel::SecurityIdRole));
}

void SecuritySelectorBox::setSecurityCode(const QString &securityCode)
{
    if (securityCode == d->securityCode)
        return;
    setCurrentIndex(SelectorData::findItem(*this, securityCode, SecuritySelectorModel::SecurityCodeRole));
}

void SecuritySelectorBox::setSecurityName(const QString &securityName)
{
    setEditText(securityName);
}

void SecuritySelectorBox::edit_changed(const QString &text)
{
    const int row = d->rowOfText(text);
    if (row >= 0) {
        item_activated(row);
        emit securityNameChanged(text);
        return;
    }
    emit securityIdChanged(0);
    d->securityCode.clear();
    emit securityChanged(QString());
    if (text.isEmpty())
        setCurrentIndex(-1);
    emit securityNameChanged(text);
}

void SecuritySelectorBox::item_activated(int row)
{
    const qlonglong securityId = itemData(row, SecuritySelectorModel::SecurityIdRole).toLongLong();
    d->securityCode = itemData(row, SecuritySelectorModel::SecurityCodeRole).toString();
    emit securityIdChanged(securityId);
    emit securityChanged(d->securityCode);
    emit securityNameChanged(itemText(row));
}
