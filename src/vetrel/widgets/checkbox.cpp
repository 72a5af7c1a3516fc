#include <vetrel/checkbox.h>

#include <QDebug>
#include <QVariant>

class CheckBoxPrivate
{
public:
    explicit CheckBoxPrivate(CheckBox *q)
        : q(q)
    { }

    QString checkedValue() const { return q->property("value_checked").toString(); }
    QString uncheckedValue() const { return q->property("value_unchecked").toString(); }

    CheckBox *const q;
    // The last text given or announced; kept even when it matches neither state.
    QString value;
};

CheckBox::CheckBox(QWidget *parent)
    : QCheckBox(parent)
    , d(new CheckBoxPrivate(this))
{ }

CheckBox::~CheckBox() = default;

QString CheckBox::getValue() const
{
    return isChecked() ? d->checkedValue() : d->uncheckedValue();
}

void CheckBox::setValue(const QString &newValue)
{
    d->value = newValue;
    if (newValue == d->checkedValue())
        setChecked(true);
    else if (newValue == d->uncheckedValue())
        setChecked(false);
    else
        qDebug() << "undef value for CheckBox::setValue" << newValue;
}

void CheckBox::nextCheckState()
{
    QCheckBox::nextCheckState();
    d->value = d->checkedValue();
    emit changedValue(d->value);
}
