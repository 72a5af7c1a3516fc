#include <vetrel/partnerselectorbox.h>

#include "partnerselectorbox_p.h"
#include "selectordata_p.h"

#include <host/field.h>
#include <host/indexsort.h>
#include <host/record.h>
#include <host/table.h>
#include <host/tablelocker.h>

#include <QSignalBlocker>
#include <QStandardItemModel>

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
        return threeWay(QString::compare(a.toString(), b.toString()), 0);
    case FieldType::None:
        break;
    }
    return 0;
}

PartnerSelectorBox::PartnerSelectorBox(QWidget *parent)
    : ComboBox(parent)
{
    setSizeAdjustPolicy(QComboBox::AdjustToContents);
    // Return must not add the typed text to the list.
    setInsertPolicy(NoInsert);
    SelectorData::useUniformRows(*this);
    populate();
    setEditText(QString());
    setStyleSheet(QStringLiteral("QComboBox QAbstractItemView {min-width: %1em;}").arg(popupMinWidthEm));
    connect(this, &QComboBox::editTextChanged, this, &PartnerSelectorBox::edit_changed);
    connect(this, QOverload<int>::of(&QComboBox::activated), this, &PartnerSelectorBox::item_activated);
}

QString PartnerSelectorBox::getPartner() const
{
    return m_partner;
}

QString PartnerSelectorBox::getPartnerName() const
{
    return m_partnerName;
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
            const TableLocker locker(table());
            auto *items = new QStandardItemModel(box);
            const QString noted = box->currentIndex() < 0
                ? box->currentText()
                : box->model()->index(box->currentIndex(), CodeColumn).data().toString();
            int reselect = -1;
            for (int position = 0; position < count(); ++position) {
                const Record &record = *at(position);
                const QString code = table()->dataPtr(record, m_code)->toString().trimmed();
                const QString name = table()->dataPtr(record, m_name)->toString();
                const QString padding(qMax(0, codeWidth - code.size()), QLatin1Char(' '));
                items->appendRow({ new QStandardItem(code),
                    new QStandardItem(QStringLiteral("%1%2%3").arg(code, padding, name)),
                    new QStandardItem(name) });
                if (reselect < 0 && !noted.isEmpty() && noted == code)
                    reselect = position;
            }
            {
                // Installing the model selects its first row in passing; that is
                // no choice of the user's and is not announced.
                const QSignalBlocker blocker(box);
                box->setModel(items);
                box->setModelColumn(CodeColumn);
            }
            if (reselect >= 0) {
                box->setEditText(noted);
                box->setCurrentIndex(reselect);
                return;
            }
            if (count() > 0)
                box->setCurrentIndex(0);
            box->setEditText(QString());
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
    showColumn(CodeAndNameColumn);
    ComboBox::showPopup();
}

void PartnerSelectorBox::hidePopup()
{
    if (m_partner.isEmpty())
        setCurrentIndex(-1);
    showColumn(CodeColumn);
    ComboBox::hidePopup();
}

void PartnerSelectorBox::setPartner(const QString &code)
{
    if (code == m_partner)
        return;
    m_partner = code;
    const int row = findText(code, Qt::MatchExactly | Qt::MatchCaseSensitive);
    if (row >= 0)
        setCurrentIndex(row);
    else
        setEditText(code);
}

void PartnerSelectorBox::edit_changed(const QString &text)
{
    const int row = rowOfCode(text);
    if (row >= 0) {
        item_activated(row);
        return;
    }
    if (text.isEmpty())
        setCurrentIndex(-1);
    m_partner = text;
    emit changedPartner(text);
    m_partnerName.clear();
    emit changedPartnerName(QString());
}

void PartnerSelectorBox::item_activated(int row)
{
    m_partnerName = model()->index(row, NameColumn).data().toString();
    m_partner = model()->index(row, CodeColumn).data().toString();
    emit changedPartner(m_partner);
    emit changedPartnerName(m_partnerName);
}

int PartnerSelectorBox::rowOfCode(const QString &code) const
{
    if (count() == 0)
        return -1;
    const QModelIndexList found = model()->match(
        model()->index(0, CodeColumn), Qt::DisplayRole, code, 1, Qt::MatchExactly | Qt::MatchCaseSensitive);
    return found.isEmpty() ? -1 : found.first().row();
}

void PartnerSelectorBox::showColumn(int column)
{
    // Switching the column rewrites the line with the current row's text in
    // that column; the line keeps what the user sees, and nothing is announced.
    const QString text = currentText();
    const QSignalBlocker blocker(this);
    setModelColumn(column);
    setEditText(text);
}
