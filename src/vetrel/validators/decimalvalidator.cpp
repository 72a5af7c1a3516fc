#include <vetrel/decimalvalidator.h>

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

QString withoutTrailingPoint(QString text, QChar point)
{
    if (text.indexOf(point) == text.size() - 1)
        text.chop(1);
    return text;
}

}

// The locale's notation as it stands at the time of one call.
struct DecimalValidator::Notation
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

DecimalValidator::DecimalValidator(int digits, bool canNegative, bool canBeZero, QObject *parent)
    : QValidator(parent)
    , digits(digits)
    , canNegative(canNegative)
    , canBeZero(canBeZero)
{ }

void DecimalValidator::setDigits(int value)
{
    digits = value;
}

int DecimalValidator::getDigits() const
{
    return digits;
}

void DecimalValidator::setNumDigits(int value)
{
    numDigits = value;
}

int DecimalValidator::getNumDigits() const
{
    return numDigits;
}

void DecimalValidator::setCanNegative(bool value)
{
    canNegative = value;
}

bool DecimalValidator::getCanNegative() const
{
    return canNegative;
}

void DecimalValidator::setCanBeZero(bool value)
{
    canBeZero = value;
}

bool DecimalValidator::getCanBeZero() const
{
    return canBeZero;
}

QValidator::State DecimalValidator::validate(QString &input, int &pos) const
{
    const Notation notation(locale());
    const int typed = typedBeforeCursor(input, pos, notation.group);
    const QString text = QString(input).remove(notation.group);
    if (notation.integer.exactMatch(text))
        return validateInteger(notation, text, input, pos, typed);
    if (digits > 0 && notation.fraction.exactMatch(text))
        return validateFraction(notation, text, input, pos, typed);
    return Invalid;
}

bool DecimalValidator::exceedsNumDigits(const QString &integerDigits) const
{
    return numDigits > 0 && integerDigits.size() > numDigits;
}

QValidator::State DecimalValidator::validateInteger(
    const Notation &notation, const QString &text, QString &input, int &pos, int typed) const
{
    const bool negative = isNegative(notation.integer.cap(1), notation.minus);
    const QString whole = notation.integer.cap(2);
    if (negative && !canNegative)
        return Invalid;
    if (whole.isEmpty())
        return Intermediate;
    qint64 number = 0;
    if (!notation.readWithLeadingOne(whole, number) || exceedsNumDigits(whole))
        return Invalid;

    QString shown = notation.groupedDigits(number);
    stripFront(shown, notation.group, notation.zero, notation.point);
    if (negative)
        shown.prepend(notation.minus);
    input = shown;
    pos = cursorAfter(input, typed, notation.group);
    return validateParsedString(text);
}

QValidator::State DecimalValidator::validateFraction(
    const Notation &notation, const QString &text, QString &input, int &pos, int typed) const
{
    const bool negative = isNegative(notation.fraction.cap(1), notation.minus);
    const QString whole = notation.fraction.cap(2);
    const QString fraction = notation.fraction.cap(3);
    if (negative && !canNegative)
        return Invalid;

    qint64 scaled = 0;
    QString shown;
    if (!whole.isEmpty()) {
        if (!notation.readWithLeadingOne(whole, scaled))
            return Invalid;
        shown = notation.groupedDigits(scaled);
    }
    // The sign is put back once below, so the text starts at the digits.
    shown += notation.point + fraction;
    stripFront(shown, notation.group, notation.zero, notation.point);
    if (negative)
        shown.prepend(notation.minus);
    if (exceedsNumDigits(whole))
        return Invalid;
    input = shown;
    pos = cursorAfter(input, typed, notation.group);

    for (const QChar ch : fraction) {
        if (!ch.isDigit())
            return Invalid;
        scaled *= 10;
        if (scaled >= scaledLimit)
            return Invalid;
    }
    if (fraction.size() > digits)
        return Invalid;
    const bool pointOnItsOwn = fraction.isEmpty() || whole.isEmpty();
    return validateParsedString(pointOnItsOwn ? withoutTrailingPoint(text, notation.point) : text);
}

QValidator::State DecimalValidator::validateParsedString(const QString &text) const
{
    try {
        if (!decimal::canConvert(text, false))
            return Invalid;
        if (!qFuzzyCompare(1.0 + textToDecimal(text).toDouble(), 1.0))
            return Acceptable;
    } catch (...) {
        // A text the platform type refuses after all is no number to accept.
        return Invalid;
    }
    return canBeZero ? Acceptable : Intermediate;
}

decimal DecimalValidator::textToDecimal(const QString &text) const
{
    const Notation notation(locale());
    const QString copy = QString(text).remove(notation.group);
    if (notation.integer.exactMatch(copy))
        return decimal::fromLocaleString(copy, notation.plain, 0);
    if (notation.fraction.exactMatch(copy))
        return decimal::fromLocaleString(copy, notation.plain, notation.fraction.cap(3).size());
    throw Exception(QStringLiteral("Invalid string for decimal: ") + text);
}

QString DecimalValidator::decimalToText(decimal value) const
{
    return value.toSystemString();
}
