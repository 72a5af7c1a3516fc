#include "orderform.h"

#include <vetrel/label.h>
#include <vetrel/lineedit.h>
#include <vetrel/properties.h>
#include <vetrel/pushbuttonsend.h>

#include <QFormLayout>
#include <QVBoxLayout>

namespace
{

LineEdit *addField(QFormLayout *layout, const QString &caption, const QString &field, const QString &hint)
{
    auto *edit = new LineEdit;
    edit->setProperty("field", field);
    edit->setPlaceholderText(hint);
    auto *label = new Label(caption);
    label->setBuddy(edit);
    layout->addRow(label, edit);
    return edit;
}

}

OrderForm::OrderForm(QWidget *parent)
    : QWidget(parent)
    , m_properties(new Properties(this))
{
    setWindowTitle(tr("New order"));

    auto *fields = new QFormLayout;
    addField(fields, tr("&Account:"), QStringLiteral("Account"), tr("trading account"));
    addField(fields, tr("&Security:"), QStringLiteral("Security"), tr("ticker"));
    addField(fields, tr("&Price:"), QStringLiteral("Price"), QStringLiteral("0.00"));
    addField(fields, tr("&Quantity:"), QStringLiteral("Quantity"), tr("lots"));
    // Bound to the same name as the price above: the trader reads back what
    // will be sent, and either field may be corrected.
    addField(fields, tr("&Confirm price:"), QStringLiteral("Price"), QStringLiteral("0.00"));

    auto *send = new PushButtonSend;
    send->setText(tr("Send"));
    send->setDefault(true);

    auto *layout = new QVBoxLayout(this);
    layout->addLayout(fields);
    layout->addWidget(send, 0, Qt::AlignRight);

    m_properties->connectAll(this);
}

Properties *OrderForm::properties() const
{
    return m_properties;
}
