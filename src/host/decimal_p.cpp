#include "decimal_p.h"

#include "exception.h"

#include <QByteArray>

#include <algorithm>
#include <cmath>

namespace DecimalDetail
{

Notation Notation::canonical()
{
    return { QStringLiteral("-"), QStringLiteral("+"), QStringLiteral("."), QLatin1Char('0') };
}

Notation Notation::lenient(const QLocale &locale)
{
    Notation n = canonical();
    n.minus += locale.negativeSign();
    n.plus += locale.positiveSign();
    n.points += locale.decimalPoint();
    n.zero = locale.zeroDigit();
    return n;
}

Notation Notation::of(const QLocale &locale)
{
    return { QString(locale.negativeSign()), QString(locale.positiveSign()), QString(locale.decimalPoint()),
        locale.zeroDigit() };
}

static int digitValue(QChar c, QChar zero)
{
    if (c >= QLatin1Char('0') && c <= QLatin1Char('9'))
        return c.unicode() - '0';
    const int d = c.unicode() - zero.unicode();
    return d >= 0 && d <= 9 ? d : -1;
}

ParseResult parse(const QString &text, const Notation &notation, UWide limit, int maxScale, Parts *out)
{
    Parts parts;
    int i = 0;
    if (!text.isEmpty() && (notation.minus.contains(text.at(0)) || notation.plus.contains(text.at(0)))) {
        parts.negative = notation.minus.contains(text.at(0));
        ++i;
    }
    bool seenPoint = false;
    bool seenDigit = false;
    bool overflow = false;
    for (; i < text.size(); ++i) {
        const QChar c = text.at(i);
        const int d = digitValue(c, notation.zero);
        if (d >= 0) {
            seenDigit = true;
            if (parts.magnitude > (limit - UWide(d)) / 10)
                overflow = true;
            else
                parts.magnitude = parts.magnitude * 10 + UWide(d);
            if (seenPoint)
                ++parts.scale;
        } else if (!seenPoint && notation.points.contains(c)) {
            seenPoint = true;
        } else {
            return ParseResult::Syntax;
        }
    }
    if (!seenDigit)
        return ParseResult::Syntax;
    if (overflow)
        return ParseResult::Overflow;
    if (parts.scale > maxScale)
        return ParseResult::Scale;
    if (parts.magnitude == 0)
        parts.negative = false;
    *out = parts;
    return ParseResult::Ok;
}

ParseResult rescale(Parts *parts, int scale, UWide limit)
{
    if (scale < parts->scale) {
        const UWide divisor = pow10(parts->scale - scale);
        if (parts->magnitude % divisor != 0)
            return ParseResult::Scale;
        parts->magnitude /= divisor;
    } else if (scale > parts->scale) {
        const UWide factor = pow10(scale - parts->scale);
        if (parts->magnitude > limit / factor)
            return ParseResult::Overflow;
        parts->magnitude *= factor;
    }
    parts->scale = scale;
    return ParseResult::Ok;
}

static QString digitsOf(UWide value)
{
    char buffer[40];
    int n = 0;
    do {
        buffer[n++] = char('0' + int(value % 10));
        value /= 10;
    } while (value != 0);
    std::reverse(buffer, buffer + n);
    return QString::fromLatin1(buffer, n);
}

QString toCanonical(const Parts &parts)
{
    QString digits = digitsOf(parts.magnitude);
    if (parts.scale > 0) {
        if (digits.size() <= parts.scale)
            digits.prepend(QString(parts.scale + 1 - digits.size(), QLatin1Char('0')));
        digits.insert(digits.size() - parts.scale, QLatin1Char('.'));
    }
    if (parts.negative && parts.magnitude != 0)
        digits.prepend(QLatin1Char('-'));
    return digits;
}

static QString localDigits(QString ascii, QChar zero)
{
    if (zero != QLatin1Char('0')) {
        for (QChar &c : ascii)
            c = QChar(ushort(zero.unicode() + (c.unicode() - '0')));
    }
    return ascii;
}

static QString groupedInteger(UWide value, const QLocale &locale)
{
    if (value <= UWide(std::numeric_limits<qulonglong>::max()))
        return locale.toString(qulonglong(value));
    // Beyond 64 bits QLocale cannot help; group by thousands ourselves.
    QString digits = localDigits(digitsOf(value), locale.zeroDigit());
    if (!(locale.numberOptions() & QLocale::OmitGroupSeparator)) {
        for (int pos = digits.size() - 3; pos > 0; pos -= 3)
            digits.insert(pos, locale.groupSeparator());
    }
    return digits;
}

QString toLocale(const Parts &parts, const QLocale &locale)
{
    const UWide unit = pow10(parts.scale);
    QString text = groupedInteger(parts.magnitude / unit, locale);
    if (parts.scale > 0) {
        const QString fraction = digitsOf(parts.magnitude % unit);
        text += locale.decimalPoint();
        text += localDigits(
            QString(parts.scale - fraction.size(), QLatin1Char('0')) + fraction, locale.zeroDigit());
    }
    if (parts.negative && parts.magnitude != 0)
        text.prepend(locale.negativeSign());
    return text;
}

double toDouble(const Parts &parts)
{
    constexpr UWide exactLimit = UWide(1) << 53;
    if (parts.magnitude >= exactLimit || parts.scale > 22)
        return toCanonical(parts).toLatin1().toDouble();
    // Both operands are exact doubles, so the quotient is correctly rounded.
    const double value = double(qint64(parts.magnitude)) / double(pow10(parts.scale));
    return parts.negative ? -value : value;
}

static Wide signedOf(const Parts &p)
{
    return p.negative ? -Wide(p.magnitude) : Wide(p.magnitude);
}

static Parts partsOf(Wide value, int scale)
{
    Parts p;
    p.negative = value < 0;
    p.magnitude = p.negative ? UWide(-value) : UWide(value);
    p.scale = scale;
    return p;
}

bool add(const Parts &a, const Parts &b, UWide limit, Parts *sum)
{
    // Aligned operands stay below 2^126, so their sum cannot leave 128 bits;
    // an operand that does not align is far beyond any type's limit anyway.
    constexpr UWide alignLimit = (UWide(1) << 126) - 1;
    const int scale = std::max(a.scale, b.scale);
    Parts x = a;
    Parts y = b;
    if (rescale(&x, scale, alignLimit) != ParseResult::Ok
        || rescale(&y, scale, alignLimit) != ParseResult::Ok)
        return false;
    Wide total = signedOf(x) + signedOf(y);
    int totalScale = scale;
    if (partsOf(total, scale).magnitude > limit) {
        if (scale == 0)
            return false;
        const Wide rest = total % 10;
        total = total / 10 + (rest >= 5 ? 1 : rest <= -5 ? -1 : 0);
        totalScale = scale - 1;
    }
    const Parts result = partsOf(total, totalScale);
    if (result.magnitude > limit)
        return false;
    *sum = result;
    return true;
}

int compare(const Parts &a, const Parts &b)
{
    const Wide x = signedOf(a);
    const Wide y = signedOf(b);
    if (a.scale == b.scale)
        return (x > y) - (x < y);
    // Compare the integer parts first so that aligning cannot overflow.
    const Wide xi = x / Wide(pow10(a.scale));
    const Wide yi = y / Wide(pow10(b.scale));
    if (xi != yi)
        return (xi > yi) - (xi < yi);
    const int scale = std::max(a.scale, b.scale);
    const Wide xf = (x % Wide(pow10(a.scale))) * Wide(pow10(scale - a.scale));
    const Wide yf = (y % Wide(pow10(b.scale))) * Wide(pow10(scale - b.scale));
    return (xf > yf) - (xf < yf);
}

void throwFor(ParseResult result, const QString &text)
{
    switch (result) {
    case ParseResult::Overflow:
        throw Exception(QStringLiteral("Decimal overflow: \"%1\"").arg(text));
    case ParseResult::Scale:
        throw Exception(QStringLiteral("Too many fraction digits for decimal: \"%1\"").arg(text));
    default:
        throw Exception(QStringLiteral("Not a decimal number: \"%1\"").arg(text));
    }
}

}
