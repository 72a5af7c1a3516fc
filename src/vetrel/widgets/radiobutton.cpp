#include <vetrel/radiobutton.h>

#include <QButtonGroup>
#include <QVariant>

RadioButton::RadioButton(QWidget *parent)
    : QRadioButton(parent)
{ }

QString RadioButton::getValue() const
{
    return isChecked() ? ownValue() : m_value;
}

void RadioButton::setValue(const QString &newValue)
{
    m_value = newValue;
    if (newValue == ownValue())
        setChecked(true);
    else
        uncheck();
}

void RadioButton::nextCheckState()
{
    QRadioButton::nextCheckState();
    m_value = ownValue();
    emit changedValue(m_value);
}

QString RadioButton::ownValue() const
{
    return property("value").toString();
}

void RadioButton::uncheck()
{
    if (!isChecked())
        return;
    // An exclusive group refuses to uncheck its checked button, yet a value
    // that no button carries must leave the whole group unchecked.
    QButtonGroup *buttons = group();
    const bool exclusive = buttons ? buttons->exclusive() : autoExclusive();
    if (buttons)
        buttons->setExclusive(false);
    else
        setAutoExclusive(false);
    setChecked(false);
    if (buttons)
        buttons->setExclusive(exclusive);
    else
        setAutoExclusive(exclusive);
}
