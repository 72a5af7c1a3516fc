#include <vetrel/numbereditor.h>

#include <vetrel/decimalvalidator.h>
#include <vetrel/keymapper.h>
#include <vetrel/signalblocker.h>

#include <QKeyEvent>
#include <QLocale>

NumberEditor::NumberEditor(QWidget *parent, int digits)
    : QLineEdit(parent)
    , validator(new DecimalValidator(digits, true, true, this))
{
    connect(this, &QLineEdit::textChanged, this, &NumberEditor::edit_changed);
    setValidator(validator);
    setAlignment(Qt::AlignRight);
}

int NumberEditor::digits() const
{
    return validator->getDigits();
}

void NumberEditor::setDigits(int digits)
{
    validator->setDigits(digits);
}

int NumberEditor::numDigits() const
{
    return validator->getNumDigits();
}

void NumberEditor::setNumDigits(int numDigits)
{
    validator->setNumDigits(numDigits);
}

bool NumberEditor::getCanNegative() const
{
    return validator->getCanNegative();
}

void NumberEditor::setCanNegative(bool canNegative)
{
    validator->setCanNegative(canNegative);
}

bool NumberEditor::getCanBeZero() const
{
    return validator->getCanBeZero();
}

void NumberEditor::setCanBeZero(bool canBeZero)
{
    validator->setCanBeZero(canBeZero);
}

QString NumberEditor::getValue() const
{
    return value;
}

bool NumberEditor::isValid() const
{
    // An unfinished text such as "-" is stored as it stands; it is no number.
    if (!decimal::canConvert(value, true))
        return false;
    return getCanBeZero() || !qFuzzyCompare(1.0 + value.toDouble(), 1.0);
}

decimal NumberEditor::getDecimal() const
{
    return isValid() ? decimal(value) : decimal::zero;
}

void NumberEditor::setValue(const QString &newValue)
{
    if (newValue == value)
        return;
    const QString shown = toText(newValue);
    const QString shownBefore = toText(value);
    value = newValue;
    if (shown != shownBefore && text() != shown) {
        // Writes from bindings must not come back as user edits.
        const SignalBlocker blocker(this, true);
        setText(shown);
    }
}

void NumberEditor::setValue(const decimal &newValue)
{
    setValue(newValue.toString());
}

void NumberEditor::edit_changed(const QString &newValue)
{
    const QString canonical = fromText(newValue);
    if (toText(canonical) == toText(value) || canonical == value)
        return;
    value = canonical;
    emit changedValue(value);
}

void NumberEditor::keyPressEvent(QKeyEvent *event)
{
    if (event->modifiers() != Qt::KeypadModifier || !KeyMapper::isDecimal(event)) {
        QLineEdit::keyPressEvent(event);
        return;
    }
    // The keypad key types the system's decimal point whatever the layout gives.
    QKeyEvent localised(event->type(), event->key(), event->modifiers(),
        QString(QLocale::system().decimalPoint()), event->isAutoRepeat(), ushort(event->count()));
    QLineEdit::keyPressEvent(&localised);
    event->setAccepted(localised.isAccepted());
}

QString NumberEditor::fromText(const QString &text) const
{
    try {
        return validator->textToDecimal(text).toString();
    } catch (...) {
        return text;
    }
}

QString NumberEditor::toText(const QString &value) const
{
    if (value.isEmpty())
        return QString();
    try {
        return validator->decimalToText(decimal(value));
    } catch (...) {
        return value;
    }
}
