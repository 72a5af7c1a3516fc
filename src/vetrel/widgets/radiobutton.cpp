#include <vetrel/radiobutton.h>

#include <QButtonGroup>
#include <QVariant>

class RadioButtonPrivate
{
public:
    explicit RadioButtonPrivate(RadioButton *q)
        : q(q)
    { }

    QString ownValue() const;
    void uncheck();

    RadioButton *const q;
    QString value;
};

RadioButton::RadioButton(QWidget *parent)
    : QRadioButton(parent)
    , d(new RadioButtonPrivate(this))
{ }

RadioButton::~RadioButton() = default;

QString RadioButton::getValue() const
{
    return isChecked() ? d->ownValue() : d->value;
}

void RadioButton::setValue(const QString &newValue)
{
    d->value = newValue;
    if (newValue == d->ownValue())
        setChecked(true);
    else
        d->uncheck();
}

void RadioButton::nextCheckState()
{
    QRadioButton::nextCheckState();
    d->value = d->ownValue();
    emit changedValue(d->value);
}

QString RadioButtonPrivate::ownValue() const
{
    return q->property("value").toString();
}

void RadioButtonPrivate::uncheck()
{
    if (!q->isChecked())
        return;
    // An exclusive group refuses to uncheck its checked button, yet a value
    // that no button carries must leave the whole group unchecked.
    QButtonGroup *buttons = q->group();
    const bool exclusive = buttons ? buttons->exclusive() : q->autoExclusive();
    if (buttons)
        buttons->setExclusive(false);
    else
        q->setAutoExclusive(false);
    q->setChecked(false);
    if (buttons)
        buttons->setExclusive(exclusive);
    else
        q->setAutoExclusive(exclusive);
}
