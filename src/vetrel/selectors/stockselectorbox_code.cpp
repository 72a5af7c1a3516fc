#include <vetrel/stockselectorbox_code.h>

#include "selectorbox_p.h"

#include <QIcon>

static const SelectorData::FieldConstantSet fieldConstants;

class StockSelectorBox_CodePrivate : public SelectorData::SelectorBoxPrivate
{
public:
    explicit StockSelectorBox_CodePrivate(StockSelectorBox_Code *q)
        : SelectorBoxPrivate(q)
        , q(q)
    {
        lookup.setModel(q->model());
    }

    void editChanged(const QString &text) override { q->edit_changed(text); }

    StockSelectorBox_Code *const q;
};

StockSelectorBox_Code::StockSelectorBox_Code(QWidget *parent)
    : ComboBox(parent)
    , d(new StockSelectorBox_CodePrivate(this))
{
    setEditable(true);
    populate();
    setEditText(QString());
    connect(this, &QComboBox::editTextChanged, this, &StockSelectorBox_Code::edit_changed);
    connect(this, QOverload<int>::of(&QComboBox::activated), this, &StockSelectorBox_Code::item_activated);
}

StockSelectorBox_Code::~StockSelectorBox_Code() = default;

void StockSelectorBox_Code::populate()
{
    Table *table = SelectorData::coreTable(QStringLiteral("stocks"));
    clear();
    if (table) {
        const TableLocker locker(table);
        const int idColumn = table->columnIndex(QStringLiteral("stock_id"));
        const int nameColumn = table->columnIndex(QStringLiteral("name"));
        const int codeColumn = table->columnIndex(QStringLiteral("stock_code"));
        for (const Record *record : *table->masterIndex()) {
            const int id = SelectorData::readInt(*table, *record, idColumn);
            addItem(QIcon(), SelectorData::readText(*table, *record, codeColumn), id);
            setItemData(
                count() - 1, SelectorData::readText(*table, *record, nameColumn), SelectorData::FirstRole);
        }
    }
    if (count() > 0)
        setCurrentIndex(0);
    emit setProp_StockId(QStringLiteral("0"));
}

void StockSelectorBox_Code::prop_StockId_changed(const QString &stockId)
{
    const QString id = QString::number(stockId.toInt());
    for (int i = 0; i < count(); ++i) {
        if (itemData(i).toString() == id) {
            setCurrentIndex(i);
            return;
        }
    }
}

void StockSelectorBox_Code::item_activated(int index)
{
    const QVariant id = itemData(index);
    emit setProp_StockId(QString::number(id.toInt()));
    emit setProp_StockCode(id.toString());
}

void StockSelectorBox_Code::edit_changed(const QString &text)
{
    const int found = d->rowOfText(text);
    if (found >= 0) {
        item_activated(found);
        emit setProp_Stock(text);
        return;
    }
    emit setProp_StockId(QStringLiteral("0"));
    emit setProp_Stock(QString());
    if (text.isEmpty())
        setCurrentIndex(-1);
    emit setProp_Stock(text);
}
