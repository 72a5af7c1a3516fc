#include <vetrel/decimalvalidator.h>
#include <vetrel/decimalvalidator_p.h>

#include <QLocale>
#include <QRegExp>

#include <host/exception.h>

namespace
{

// Numbers must stay exact in a double's 52-bit mantissa: at most 15 integer
// digits, and the integer part scaled by the fraction digits below 2^52.
constexpr qint64 integerLimit = (Q_INT64_C(1) << 52) - 1;
constexpr qint64 scaledLimit = Q_INT64_C(1) << 52;

bool isNegative(const QString &sign, QChar minus)
{
    return sign.size() == 1 && sign.at(0) == minus;
}

// Characters before the cursor that are not group separators: what the
// cursor must stay behind once the text has been regrouped.
int typedBeforeCursor(const QString &input, int pos, QChar group)
{
    const int end = qBound(0, pos, input.size());
    int typed = 0;
    for (int i = 0; i < end; ++i) {
        if (input.at(i) != group)
            ++typed;
    }
    return typed;
}

int cursorAfter(const QString &input, int typed, QChar group)
{
    int pos = 0;
    if (typed == 0)
        return pos;
    for (const QChar ch : input) {
        ++pos;
        if (ch != group && --typed == 0)
            break;
    }
    return pos;
}

// Drops leading separators and superfluous zeros; a zero that stands alone
// or right before the decimal point stays.
void stripFront(QString &input, QChar group, QChar zero, QChar point)
{
    int cut = 0;
    while (cut < input.size()) {
        const QChar ch = input.at(cut);
        const bool lastOrBeforePoint = cut + 1 == input.size() || input.at(cut + 1) == point;
        if (ch != group && (ch != zero || lastOrBeforePoint))
            break;
        ++cut;
    }
    input.remove(0, cut);
}

// Digits in any script (the locale's own, say) as ASCII digits.
QString asciiDigits(const QString &digits)
{
    QString ascii;
    ascii.reserve(digits.size());
    for (const QChar ch : digits)
        ascii += QLatin1Char(char('0' + ch.digitValue()));
    return ascii;
}

QString withoutTrailingPoint(QString text, QChar point)
{
    if (text.indexOf(point) == text.size() - 1)
        text.chop(1);
    return text;
}

}

// The locale's notation as it stands at the time of one call.
struct DecimalValidatorPrivate::Notation
{
    explicit Notation(const QLocale &locale)
        : plain(locale)
        , grouped(locale)
        , group(locale.groupSeparator())
        , point(locale.decimalPoint())
        , minus(locale.negativeSign())
        , zero(locale.zeroDigit())
    {
        plain.setNumberOptions(locale.numberOptions() | QLocale::OmitGroupSeparator);
        grouped.setNumberOptions(
            locale.numberOptions() & ~QLocale::NumberOptions(QLocale::OmitGroupSeparator));
        const QString signs = QLatin1Char('\\') + locale.positiveSign() + QLatin1Char('\\') + minus;
        integer = QRegExp(QStringLiteral("([%1]?)(\\d*)").arg(signs), Qt::CaseSensitive, QRegExp::RegExp);
        fraction = QRegExp(QStringLiteral("([%1]?)(\\d*)[\\%2](\\d*)").arg(signs, QString(point)),
            Qt::CaseSensitive, QRegExp::RegExp);
    }

    // Reads the integer digits behind a leading "1", which keeps leading
    // zeros through the conversion; false when they do not fit the limit.
    bool readWithLeadingOne(const QString &digits, qint64 &number) const
    {
        bool ok = false;
        number = plain.toLongLong(QLatin1Char('1') + digits, &ok);
        return ok && number <= integerLimit;
    }

    // The digits read by readWithLeadingOne, grouped, without the "1".
    QString groupedDigits(qint64 withLeadingOne) const
    {
        return grouped.toString(withLeadingOne).mid(1).trimmed();
    }

    QLocale plain;
    QLocale grouped;
    QChar group;
    QChar point;
    QChar minus;
    QChar zero;
    QRegExp integer;
    QRegExp fraction;
};

DecimalValidatorPrivate::DecimalValidatorPrivate(
    const DecimalValidator *q, int digits, bool canNegative, bool canBeZero)
    : q(q)
    , digits(digits)
    , canNegative(canNegative)
    , canBeZero(canBeZero)
{ }

DecimalValidator::DecimalValidator(int digits, bool canNegative, bool canBeZero, QObject *parent)
    : QValidator(parent)
    , d(new DecimalValidatorPrivate(this, digits, canNegative, canBeZero))
{ }

DecimalValidator::~DecimalValidator() = default;

void DecimalValidator::setDigits(int value)
{
    d->digits = value;
}

int DecimalValidator::getDigits() const
{
    return d->digits;
}

void DecimalValidator::setNumDigits(int value)
{
    d->numDigits = value;
}

int DecimalValidator::getNumDigits() const
{
    return d->numDigits;
}

void DecimalValidator::setCanNegative(bool value)
{
    d->canNegative = value;
}

bool DecimalValidator::getCanNegative() const
{
    return d->canNegative;
}

void DecimalValidator::setCanBeZero(bool value)
{
    d->canBeZero = value;
}

bool DecimalValidator::getCanBeZero() const
{
    return d->canBeZero;
}

QValidator::State DecimalValidator::validate(QString &input, int &pos) const
{
    const DecimalValidatorPrivate::Notation notation(locale());
    const int typed = typedBeforeCursor(input, pos, notation.group);
    const QString text = QString(input).remove(notation.group);
    if (notation.integer.exactMatch(text))
        return d->validateInteger(notation, text, input, pos, typed);
    if (d->digits > 0 && notation.fraction.exactMatch(text))
        return d->validateFraction(notation, text, input, pos, typed);
    return Invalid;
}

bool DecimalValidatorPrivate::exceedsNumDigits(const QString &integerDigits) const
{
    return numDigits > 0 && integerDigits.size() > numDigits;
}

QValidator::State DecimalValidatorPrivate::validateInteger(
    const Notation &notation, const QString &text, QString &input, int &pos, int typed) const
{
    const bool negative = isNegative(notation.integer.cap(1), notation.minus);
    const QString whole = notation.integer.cap(2);
    if (negative && !canNegative)
        return QValidator::Invalid;
    if (whole.isEmpty())
        return QValidator::Intermediate;
    qint64 number = 0;
    if (!notation.readWithLeadingOne(whole, number) || exceedsNumDigits(whole))
        return QValidator::Invalid;

    QString shown = notation.groupedDigits(number);
    stripFront(shown, notation.group, notation.zero, notation.point);
    if (negative)
        shown.prepend(notation.minus);
    input = shown;
    pos = cursorAfter(input, typed, notation.group);
    return q->validateParsedString(text);
}

QValidator::State DecimalValidatorPrivate::validateFraction(
    const Notation &notation, const QString &text, QString &input, int &pos, int typed) const
{
    const bool negative = isNegative(notation.fraction.cap(1), notation.minus);
    const QString whole = notation.fraction.cap(2);
    const QString fraction = notation.fraction.cap(3);
    if (negative && !canNegative)
        return QValidator::Invalid;

    qint64 scaled = 0;
    QString shown;
    if (!whole.isEmpty()) {
        if (!notation.readWithLeadingOne(whole, scaled))
            return QValidator::Invalid;
        shown = notation.groupedDigits(scaled);
    }
    // The sign is put back once below, so the text starts at the digits.
    shown += notation.point + fraction;
    stripFront(shown, notation.group, notation.zero, notation.point);
    if (negative)
        shown.prepend(notation.minus);
    if (exceedsNumDigits(whole))
        return QValidator::Invalid;
    input = shown;
    pos = cursorAfter(input, typed, notation.group);

    for (const QChar ch : fraction) {
        if (!ch.isDigit())
            return QValidator::Invalid;
        scaled *= 10;
        if (scaled >= scaledLimit)
            return QValidator::Invalid;
    }
    if (fraction.size() > digits)
        return QValidator::Invalid;
    const bool pointOnItsOwn = fraction.isEmpty() || whole.isEmpty();
    return q->validateParsedString(pointOnItsOwn ? withoutTrailingPoint(text, notation.point) : text);
}

QValidator::State DecimalValidator::validateParsedString(const QString &text) const
{
    if (!decimal::canConvert(text, false))
        return Invalid;
    const std::optional<decimal> number = DecimalValidatorPrivate::read(locale(), text);
    if (!number)
        return Invalid;
    if (!qFuzzyCompare(1.0 + number->toDouble(), 1.0))
        return Acceptable;
    return d->canBeZero ? Acceptable : Intermediate;
}

std::optional<decimal> DecimalValidatorPrivate::read(const QLocale &locale, const QString &text)
{
    const Notation notation(locale);
    const QString copy = QString(text).remove(notation.group);
    QString sign;
    QString whole;
    QString fraction;
    if (notation.integer.exactMatch(copy)) {
        sign = notation.integer.cap(1);
        whole = notation.integer.cap(2);
    } else if (notation.fraction.exactMatch(copy)) {
        sign = notation.fraction.cap(1);
        whole = notation.fraction.cap(2);
        fraction = notation.fraction.cap(3);
    }
    if (whole.isEmpty() && fraction.isEmpty())
        return std::nullopt;

    // Spelt out in the canonical notation, which the platform type can check
    // before it parses (its locale parser throws on a bad text).
    QString canonical = isNegative(sign, notation.minus) ? QStringLiteral("-") : QString();
    canonical += whole.isEmpty() ? QStringLiteral("0") : asciiDigits(whole);
    if (!fraction.isEmpty())
        canonical += QLatin1Char('.') + asciiDigits(fraction);
    if (!decimal::canConvert(canonical, true))
        return std::nullopt;
    return decimal(canonical);
}

decimal DecimalValidator::textToDecimal(const QString &text) const
{
    if (const std::optional<decimal> number = DecimalValidatorPrivate::read(locale(), text))
        return *number;
    throw Exception(QStringLiteral("Invalid string for decimal: ") + text);
}

QString DecimalValidator::decimalToText(decimal value) const
{
    return value.toSystemString();
}
