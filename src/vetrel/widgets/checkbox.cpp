#include <vetrel/checkbox.h>

#include <QDebug>
#include <QVariant>

CheckBox::CheckBox(QWidget *parent)
    : QCheckBox(parent)
{ }

QString CheckBox::getValue() const
{
    return isChecked() ? checkedValue() : uncheckedValue();
}

void CheckBox::setValue(const QString &newValue)
{
    m_value = newValue;
    if (newValue == checkedValue())
        setChecked(true);
    else if (newValue == uncheckedValue())
        setChecked(false);
    else
        qDebug() << "undef value for CheckBox::setValue" << newValue;
}

void CheckBox::nextCheckState()
{
    QCheckBox::nextCheckState();
    m_value = checkedValue();
    emit changedValue(m_value);
}

QString CheckBox::checkedValue() const
{
    return property("value_checked").toString();
}

QString CheckBox::uncheckedValue() const
{
    return property("value_unchecked").toString();
}
