#include <vetrel/partnerselectorbox.h>

#include "partnerselectorbox_p.h"
#include "selectorbox_p.h"

#include <host/field.h>
#include <host/indexsort.h>
#include <host/record.h>
#include <host/table.h>
#include <host/tablelocker.h>

#include <QSignalBlocker>
#include <QStandardItemModel>

#include <algorithm>
#include <cmath>

static const SelectorData::FieldConstantSet fieldConstants;

namespace
{

constexpr int codeWidth = 22;
constexpr int popupMinWidthEm = 40;

enum Column
{
    CodeColumn,
    CodeAndNameColumn,
    NameColumn
};

template<typename T>
int threeWay(const T &a, const T &b)
{
    return (b < a) - (a < b);
}

// NaN sorts after every number and equal to another NaN, so that doubles
// still form a total order.
int compareDoubles(double a, double b)
{
    const bool aNan = std::isnan(a);
    const bool bNan = std::isnan(b);
    if (aNan || bNan)
        return int(aNan) - int(bNan);
    return threeWay(a, b);
}

// The open list's line: the code padded with spaces to its width, then the
// name, built in one allocation.
QString codeAndName(const QString &code, const QString &name)
{
    const int nameAt = qMax(code.size(), codeWidth);
    QString line(nameAt + name.size(), QLatin1Char(' '));
    std::copy(code.cbegin(), code.cend(), line.begin());
    std::copy(name.cbegin(), name.cend(), line.begin() + nameAt);
    return line;
}

}

int comparePartnerCodes(const Field &a, const Field &b)
{
    if (a.type() != b.type())
        return int(a.type()) - int(b.type());
    switch (a.type()) {
    case FieldType::Int32:
    case FieldType::Int64:
    case FieldType::Time64:
        return threeWay(a.toInt64(), b.toInt64());
    case FieldType::Double:
        return compareDoubles(a.toDouble(), b.toDouble());
    case FieldType::Decimal:
        return decimal::compare(a.toDecimal(), b.toDecimal());
    case FieldType::XDecimal:
        return xdecimal::compare(a.toXDecimal(), b.toXDecimal());
    case FieldType::String:
        return threeWay(a.textView().compare(b.textView()), 0);
    case FieldType::None:
        break;
    }
    return 0;
}

class PartnerSelectorBoxPrivate : public SelectorData::SelectorBoxPrivate
{
public:
    explicit PartnerSelectorBoxPrivate(PartnerSelectorBox *q)
        : SelectorBoxPrivate(q)
        , q(q)
    { }

    void editChanged(const QString &text) override { q->edit_changed(text); }
    // A list without a chosen partner keeps its first row current.
    void showUnnamed(const QString &text) override
    {
        q->setCurrentIndex(q->count() > 0 ? 0 : -1);
        q->setEditText(text);
    }

    void showColumn(int column)
    {
        // Switching the column rewrites the line with the current row's text
        // in that column; the line keeps what the user sees, and nothing is
        // announced.
        const QString text = q->currentText();
        const QSignalBlocker blocker(q);
        q->setModelColumn(column);
        q->setEditText(text);
    }

    PartnerSelectorBox *const q;
    QString partner;
    QString partnerName;
};

PartnerSelectorBox::PartnerSelectorBox(QWidget *parent)
    : ComboBox(parent)
    , d(new PartnerSelectorBoxPrivate(this))
{
    setSizeAdjustPolicy(QComboBox::AdjustToContents);
    populate();
    setEditText(QString());
    setStyleSheet(QStringLiteral("QComboBox QAbstractItemView {min-width: %1em;}").arg(popupMinWidthEm));
    connect(this, &QComboBox::editTextChanged, this, &PartnerSelectorBox::edit_changed);
    connect(this, QOverload<int>::of(&QComboBox::activated), this, &PartnerSelectorBox::item_activated);
}

PartnerSelectorBox::~PartnerSelectorBox() = default;

QString PartnerSelectorBox::getPartner() const
{
    return d->partner;
}

QString PartnerSelectorBox::getPartnerName() const
{
    return d->partnerName;
}

void PartnerSelectorBox::populate()
{
    // The dealers in code order, copied out of the table.
    class PartnersIndex : public IndexSort
    {
    public:
        PartnersIndex()
            : IndexSort(QStringLiteral("kx.dealer"), true)
            , m_code(table()->columnIndex(QStringLiteral("orv_code")))
            , m_name(table()->columnIndex(QStringLiteral("name")))
        { }

        void populateComboBox(PartnerSelectorBox *box) const
        {
            auto *items = new QStandardItemModel(box);
            {
                const TableLocker locker(table());
                for (int position = 0; position < count(); ++position) {
                    const Record &record = *at(position);
                    const QString code = table()->dataPtr(record, m_code)->toString().trimmed();
                    const QString name = table()->dataPtr(record, m_name)->toString();
                    items->appendRow({ new QStandardItem(code), new QStandardItem(codeAndName(code, name)),
                        new QStandardItem(name) });
                }
            }
            box->d->keepChoice([&] { box->d->install(items, CodeColumn); });
        }

    protected:
        int compare(const Record &a, const Record &b) const override
        {
            return comparePartnerCodes(*table()->dataPtr(a, m_code), *table()->dataPtr(b, m_code));
        }

    private:
        const int m_code;
        const int m_name;
    };

    // A host without dealers, or no host at all (Qt Designer): an empty list.
    if (!SelectorData::coreTable(QStringLiteral("kx.dealer")))
        return;
    PartnersIndex partners;
    partners.build();
    partners.populateComboBox(this);
}

void PartnerSelectorBox::showPopup()
{
    d->showColumn(CodeAndNameColumn);
    ComboBox::showPopup();
}

void PartnerSelectorBox::hidePopup()
{
    if (d->partner.isEmpty())
        setCurrentIndex(-1);
    d->showColumn(CodeColumn);
    ComboBox::hidePopup();
}

void PartnerSelectorBox::setPartner(const QString &code)
{
    if (code == d->partner)
        return;
    d->partner = code;
    const int row = d->rowOfText(code);
    if (row >= 0)
        setCurrentIndex(row);
    else
        setEditText(code);
}

void PartnerSelectorBox::edit_changed(const QString &text)
{
    const int row = d->rowOfText(text);
    if (row >= 0) {
        item_activated(row);
        return;
    }
    if (text.isEmpty())
        setCurrentIndex(-1);
    d->partner = text;
    emit changedPartner(text);
    d->partnerName.clear();
    emit changedPartnerName(QString());
}

void PartnerSelectorBox::item_activated(int row)
{
    d->partnerName = model()->index(row, NameColumn).data().toString();
    d->partner = model()->index(row, CodeColumn).data().toString();
    emit changedPartner(d->partner);
    emit changedPartnerName(d->partnerName);
}
