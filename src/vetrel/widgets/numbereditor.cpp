#include <vetrel/numbereditor.h>

#include <vetrel/decimalvalidator.h>
#include <vetrel/decimalvalidator_p.h>
#include <vetrel/keymapper.h>
#include <vetrel/signalblocker.h>

#include <QKeyEvent>
#include <QLocale>

class NumberEditorPrivate
{
public:
    explicit NumberEditorPrivate(DecimalValidator *validator)
        : validator(validator)
    { }

    QString fromText(const QString &text) const;
    QString toText(const QString &value) const;

    DecimalValidator *const validator;
    QString value;
};

QString NumberEditorPrivate::fromText(const QString &text) const
{
    const std::optional<decimal> number = DecimalValidatorPrivate::read(validator->locale(), text);
    return number ? number->toString() : text;
}

QString NumberEditorPrivate::toText(const QString &value) const
{
    if (value.isEmpty())
        return QString();
    // A value that is no number (an unfinished "-") is shown as it stands.
    if (!decimal::canConvert(value, true))
        return value;
    return validator->decimalToText(decimal(value));
}

NumberEditor::NumberEditor(QWidget *parent, int digits)
    : QLineEdit(parent)
    , d(new NumberEditorPrivate(new DecimalValidator(digits, true, true, this)))
{
    connect(this, &QLineEdit::textChanged, this, &NumberEditor::edit_changed);
    setValidator(d->validator);
    setAlignment(Qt::AlignRight);
}

NumberEditor::~NumberEditor() = default;

int NumberEditor::digits() const
{
    return d->validator->getDigits();
}

void NumberEditor::setDigits(int digits)
{
    d->validator->setDigits(digits);
}

int NumberEditor::numDigits() const
{
    return d->validator->getNumDigits();
}

void NumberEditor::setNumDigits(int numDigits)
{
    d->validator->setNumDigits(numDigits);
}

bool NumberEditor::getCanNegative() const
{
    return d->validator->getCanNegative();
}

void NumberEditor::setCanNegative(bool canNegative)
{
    d->validator->setCanNegative(canNegative);
}

bool NumberEditor::getCanBeZero() const
{
    return d->validator->getCanBeZero();
}

void NumberEditor::setCanBeZero(bool canBeZero)
{
    d->validator->setCanBeZero(canBeZero);
}

QString NumberEditor::getValue() const
{
    return d->value;
}

bool NumberEditor::isValid() const
{
    // An unfinished text such as "-" is stored as it stands; it is no number.
    if (!decimal::canConvert(d->value, true))
        return false;
    return getCanBeZero() || !qFuzzyCompare(1.0 + d->value.toDouble(), 1.0);
}

decimal NumberEditor::getDecimal() const
{
    return isValid() ? decimal(d->value) : decimal::zero;
}

void NumberEditor::setValue(const QString &newValue)
{
    if (newValue == d->value)
        return;
    const QString shown = d->toText(newValue);
    const QString shownBefore = d->toText(d->value);
    d->value = newValue;
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
    const QString canonical = d->fromText(newValue);
    if (d->toText(canonical) == d->toText(d->value) || canonical == d->value)
        return;
    d->value = canonical;
    emit changedValue(d->value);
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
