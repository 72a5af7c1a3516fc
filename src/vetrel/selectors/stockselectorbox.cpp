#include <vetrel/stockselectorbox.h>

#include "selectorbox_p.h"
#include <vetrel/comboboxvalidator.h>
#include <vetrel/stockselectormodel.h>

#include <QLineEdit>
#include <QRegularExpression>
#include <QSortFilterProxyModel>

static const SelectorData::FieldConstantSet fieldConstants;

class StockSelectorBoxPrivate : public SelectorData::IdCodeBoxPrivate
{
public:
    StockSelectorBoxPrivate(StockSelectorBox *q)
        : IdCodeBoxPrivate(q, StockSelectorModel::StockIdRole, StockSelectorModel::StockIdRole,
            StockSelectorModel::StockCodeRole,
            { [q](int id) { emit q->stockIdChanged(id); },
                [q](const QString &code) { emit q->stockCodeChanged(code); },
                [q](const QString &text) { emit q->stockChanged(text); } })
        , proxy(new QSortFilterProxyModel(q))
    { }

    QSortFilterProxyModel *const proxy;
};

StockSelectorBox::StockSelectorBox(QWidget *parent)
    : ComboBox(parent)
    , d(new StockSelectorBoxPrivate(this))
{
    lineEdit()->setPlaceholderText(tr("Площадка"));
    setCurrentIndex(-1);
    d->install(d->proxy);
    setTraderSearchCodeRole(StockSelectorModel::StockCodeRole);
    lineEdit()->setValidator(comboBoxValidator());
    setSourceModel(new StockSelectorModel(this));
    setEditText(QString());
    connect(this, &QComboBox::editTextChanged, this, &StockSelectorBox::edit_changed);
    connect(this, QOverload<int>::of(&QComboBox::activated), this, &StockSelectorBox::item_activated);
}

StockSelectorBox::~StockSelectorBox() = default;

int StockSelectorBox::getStockId() const
{
    return d->id();
}

QString StockSelectorBox::getStock() const
{
    return currentText();
}

QString StockSelectorBox::getStockCode() const
{
    return d->code();
}

void StockSelectorBox::setSourceModel(StockSelectorModel *model)
{
    SelectorData::replaceSource(*d->proxy, model, this);
    d->proxy->sort(0, Qt::AscendingOrder);
}

StockSelectorModel *StockSelectorBox::sourceModel() const
{
    return qobject_cast<StockSelectorModel *>(d->proxy->sourceModel());
}

void StockSelectorBox::setStockIdFilter(const QStringList &ids)
{
    QStringList alternatives;
    alternatives.reserve(ids.size());
    for (const QString &id : ids)
        alternatives.append(QLatin1Char('(') + id + QLatin1Char(')'));
    const QRegularExpression pattern(alternatives.join(QLatin1Char('|')));
    d->keepChoice([&] {
        d->proxy->setFilterRole(StockSelectorModel::StockIdRole);
        d->proxy->setSortRole(StockSelectorModel::StockIdRole);
        d->proxy->setFilterRegularExpression(pattern);
    });
}

void StockSelectorBox::setStockId(int stockId)
{
    d->selectId(stockId);
}

void StockSelectorBox::setStockCode(const QString &stockCode)
{
    d->selectCode(stockCode);
}

void StockSelectorBox::item_activated(int index)
{
    d->activated(index);
}

void StockSelectorBox::edit_changed(const QString &text)
{
    d->editChanged(text);
}
