#include "decimal.h"

#include "decimal_p.h"
#include "exception.h"

#include <QLocale>

using namespace DecimalDetail;

namespace
{

constexpr UWide mantissaLimit = UWide(std::numeric_limits<qint64>::max());

Parts partsOf(const decimal &d)
{
    Parts p;
    p.negative = d.mantissa() < 0;
    p.magnitude = p.negative ? UWide(-Wide(d.mantissa())) : UWide(d.mantissa());
    p.scale = d.scale();
    return p;
}

decimal decimalOf(const Parts &p)
{
    const qint64 m = qint64(p.magnitude);
    return decimal(p.negative ? -m : m, p.scale);
}

decimal parseOrThrow(const QString &text, const Notation &notation)
{
    Parts parts;
    const ParseResult result = parse(text, notation, mantissaLimit, decimal::maxScale, &parts);
    if (result != ParseResult::Ok)
        throwFor(result, text);
    return decimalOf(parts);
}

// Registered at load so that queued connections and the meta-object reach
// slots taking a decimal by its name.
[[maybe_unused]] const int registration = [] {
    const int id = qRegisterMetaType<decimal>("decimal");
    QMetaType::registerComparators<decimal>();
    QMetaType::registerConverter<decimal, QString>(&decimal::toString);
    return id;
}();

}

const decimal decimal::zero;

decimal::decimal(const QString &canonical)
    : decimal(parseOrThrow(canonical, Notation::canonical()))
{ }

decimal::decimal(qint64 mantissa, int scale)
    : m_mantissa(mantissa)
    , m_scale(scale)
{
    if (scale < 0 || scale > maxScale)
        throw Exception(QStringLiteral("Decimal scale out of range: %1").arg(scale));
}

bool decimal::canConvert(const QString &text, bool strict)
{
    Parts parts;
    const Notation notation = strict ? Notation::canonical() : Notation::lenient(QLocale());
    return parse(text, notation, mantissaLimit, maxScale, &parts) == ParseResult::Ok;
}

decimal decimal::fromLocaleString(const QString &text, const QLocale &locale, int scale)
{
    if (scale < 0 || scale > maxScale)
        throw Exception(QStringLiteral("Decimal scale out of range: %1").arg(scale));
    Parts parts;
    ParseResult result = parse(text, Notation::of(locale), mantissaLimit, maxScale, &parts);
    if (result == ParseResult::Ok && parts.scale > scale)
        result = ParseResult::Scale;
    if (result == ParseResult::Ok)
        result = rescale(&parts, scale, mantissaLimit);
    if (result != ParseResult::Ok)
        throwFor(result, text);
    return decimalOf(parts);
}

QString decimal::toString() const
{
    return toCanonical(partsOf(*this));
}

QString decimal::toSystemString() const
{
    return toLocaleString(QLocale());
}

QString decimal::toLocaleString(const QLocale &locale) const
{
    return toLocale(partsOf(*this), locale);
}

double decimal::toDouble() const
{
    return DecimalDetail::toDouble(partsOf(*this));
}

decimal decimal::rescaled(int scale) const
{
    if (scale < 0 || scale > maxScale)
        throw Exception(QStringLiteral("Decimal scale out of range: %1").arg(scale));
    Parts parts = partsOf(*this);
    const ParseResult result = rescale(&parts, scale, mantissaLimit);
    if (result != ParseResult::Ok)
        throwFor(result, toString());
    return decimalOf(parts);
}

int decimal::compare(const decimal &a, const decimal &b)
{
    if (a.m_scale == b.m_scale)
        return (a.m_mantissa > b.m_mantissa) - (a.m_mantissa < b.m_mantissa);
    return DecimalDetail::compare(partsOf(a), partsOf(b));
}

bool operator==(const decimal &a, const decimal &b)
{
    return decimal::compare(a, b) == 0;
}

bool operator<(const decimal &a, const decimal &b)
{
    return decimal::compare(a, b) < 0;
}

decimal operator+(const decimal &a, const decimal &b)
{
    Parts sum;
    if (!add(partsOf(a), partsOf(b), mantissaLimit, &sum))
        throw Exception(QStringLiteral("Decimal overflow: %1 + %2").arg(a.toString(), b.toString()));
    return decimalOf(sum);
}
