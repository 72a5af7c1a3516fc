#include <vetrel/slidergroup.h>

#include <vetrel/quantityeditor.h>

#include <QCheckBox>
#include <QGridLayout>
#include <QSlider>

SliderGroup::SliderGroup(QWidget *parent)
    : QGroupBox(parent)
{
    init();
}

SliderGroup::SliderGroup(const QString &checkedText, const QString &title, QWidget *parent)
    : QGroupBox(title, parent)
{
    init();
    m_check->setText(checkedText);
}

void SliderGroup::init()
{
    m_check = new QCheckBox(this);
    m_editor = new QuantityEditor(this);
    m_slider = new QSlider(Qt::Horizontal, this);

    auto *layout = new QGridLayout(this);
    layout->addWidget(m_check, 0, 0);
    layout->addWidget(m_editor, 0, 1);
    layout->addWidget(m_slider, 1, 0, 1, 2);

    m_check->setCheckState(Qt::Unchecked);
    slotStateChanged(Qt::Unchecked);

    connect(m_check, &QCheckBox::stateChanged, this, &SliderGroup::slotStateChanged);
    connect(m_slider, &QSlider::valueChanged, this, &SliderGroup::slotValueChanged);
    connect(m_editor, &QuantityEditor::changedValue, this, &SliderGroup::slotTextChanged);
}

bool SliderGroup::getRestrict() const
{
    return m_check->checkState() == Qt::Checked;
}

int SliderGroup::getValue() const
{
    return getRestrict() ? m_slider->value() : 0;
}

void SliderGroup::setCheckedText(const QString &text)
{
    m_check->setText(text);
}

void SliderGroup::setPlaceholderText(const QString &text)
{
    m_editor->setPlaceholderText(text);
}

void SliderGroup::setMinimum(int minimum)
{
    m_slider->setMinimum(minimum);
}

void SliderGroup::setMaximum(int maximum)
{
    m_slider->setMaximum(maximum);
}

int SliderGroup::getMinimum() const
{
    return m_slider->minimum();
}

int SliderGroup::getMaximum() const
{
    return m_slider->maximum();
}

void SliderGroup::setRestrict(bool restrict)
{
    m_check->setCheckState(restrict ? Qt::Checked : Qt::Unchecked);
}

void SliderGroup::setValue(int value)
{
    setRestrict(true);
    m_slider->setValue(value);
}

// Switching on emits nothing: the number is reported again when it next changes.
void SliderGroup::slotStateChanged(int state)
{
    const bool restricted = state == Qt::Checked;
    m_editor->setEnabled(restricted);
    m_slider->setEnabled(restricted);
    if (!restricted)
        emit changedValue(0);
}

// The slider clamps the typed number; if that moves it, slotValueChanged
// writes the clamped number back into the editor.
void SliderGroup::slotTextChanged(const QString &text)
{
    m_slider->setValue(text.toInt(nullptr, 10));
}

void SliderGroup::slotValueChanged(int value)
{
    m_editor->setValue(QString::number(value));
    emit changedValue(value);
}
