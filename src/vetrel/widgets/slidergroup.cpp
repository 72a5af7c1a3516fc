#include <vetrel/slidergroup.h>

#include <vetrel/quantityeditor.h>

#include <QCheckBox>
#include <QGridLayout>
#include <QSlider>

class SliderGroupPrivate
{
public:
    explicit SliderGroupPrivate(SliderGroup *q);

    QCheckBox *const check;
    QuantityEditor *const editor;
    QSlider *const slider;
};

SliderGroupPrivate::SliderGroupPrivate(SliderGroup *q)
    : check(new QCheckBox(q))
    , editor(new QuantityEditor(q))
    , slider(new QSlider(Qt::Horizontal, q))
{
    auto *layout = new QGridLayout(q);
    layout->addWidget(check, 0, 0);
    layout->addWidget(editor, 0, 1);
    layout->addWidget(slider, 1, 0, 1, 2);
}

SliderGroup::SliderGroup(QWidget *parent)
    : SliderGroup(QString(), QString(), parent)
{ }

SliderGroup::SliderGroup(const QString &checkedText, const QString &title, QWidget *parent)
    : QGroupBox(title, parent)
    , d(new SliderGroupPrivate(this))
{
    d->check->setText(checkedText);
    d->check->setCheckState(Qt::Unchecked);
    slotStateChanged(Qt::Unchecked);

    connect(d->check, &QCheckBox::stateChanged, this, &SliderGroup::slotStateChanged);
    connect(d->slider, &QSlider::valueChanged, this, &SliderGroup::slotValueChanged);
    connect(d->editor, &QuantityEditor::changedValue, this, &SliderGroup::slotTextChanged);
}

SliderGroup::~SliderGroup() = default;

bool SliderGroup::getRestrict() const
{
    return d->check->checkState() == Qt::Checked;
}

int SliderGroup::getValue() const
{
    return getRestrict() ? d->slider->value() : 0;
}

void SliderGroup::setCheckedText(const QString &text)
{
    d->check->setText(text);
}

void SliderGroup::setPlaceholderText(const QString &text)
{
    d->editor->setPlaceholderText(text);
}

void SliderGroup::setMinimum(int minimum)
{
    d->slider->setMinimum(minimum);
}

void SliderGroup::setMaximum(int maximum)
{
    d->slider->setMaximum(maximum);
}

int SliderGroup::getMinimum() const
{
    return d->slider->minimum();
}

int SliderGroup::getMaximum() const
{
    return d->slider->maximum();
}

void SliderGroup::setRestrict(bool restrict)
{
    d->check->setCheckState(restrict ? Qt::Checked : Qt::Unchecked);
}

void SliderGroup::setValue(int value)
{
    setRestrict(true);
    d->slider->setValue(value);
}

// Switching on emits nothing: the number is reported again when it next changes.
void SliderGroup::slotStateChanged(int state)
{
    const bool restricted = state == Qt::Checked;
    d->editor->setEnabled(restricted);
    d->slider->setEnabled(restricted);
    if (!restricted)
        emit changedValue(0);
}

void SliderGroup::slotTextChanged(const QString &text)
{
    const int typed = text.toInt(nullptr, 10);
    d->slider->setValue(typed);
    // A slider already at the bound does not move, so nothing else would put
    // the bound in place of the typed number.
    if (d->slider->value() != typed)
        d->editor->setValue(QString::number(d->slider->value()));
}

void SliderGroup::slotValueChanged(int value)
{
    d->editor->setValue(QString::number(value));
    emit changedValue(value);
}
