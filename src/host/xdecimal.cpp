#include "xdecimal.h"

#include "decimal_p.h"
#include "exception.h"

using namespace DecimalDetail;

namespace
{

constexpr UWide mantissaLimit = pow10(36) - 1;

Parts partsOf(__int128 mantissa, int scale)
{
    Parts p;
    p.negative = mantissa < 0;
    p.magnitude = p.negative ? UWide(-mantissa) : UWide(mantissa);
    p.scale = scale;
    return p;
}

[[maybe_unused]] const int registration = [] {
    const int id = qRegisterMetaType<xdecimal>("xdecimal");
    QMetaType::registerComparators<xdecimal>();
    QMetaType::registerConverter<xdecimal, QString>(&xdecimal::toString);
    return id;
}();

}

const xdecimal xdecimal::zero;

xdecimal::xdecimal(const QString &canonical)
{
    Parts parts;
    const ParseResult result = parse(canonical, Notation::canonical(), mantissaLimit, maxScale, &parts);
    if (result != ParseResult::Ok)
        throwFor(result, canonical);
    setMantissa(parts.negative ? -Wide(parts.magnitude) : Wide(parts.magnitude));
    m_scale = parts.scale;
}

xdecimal::xdecimal(const decimal &value)
    : m_scale(value.scale())
{
    setMantissa(value.mantissa());
}

xdecimal::xdecimal(qint64 mantissa, int scale)
    : m_scale(scale)
{
    setMantissa(mantissa);
    if (scale < 0 || scale > maxScale)
        throw Exception(QStringLiteral("Decimal scale out of range: %1").arg(scale));
}

void xdecimal::setMantissa(__int128 mantissa)
{
    m_low = quint64(mantissa);
    m_high = qint64(mantissa >> 64);
}

QString xdecimal::toString() const
{
    return toCanonical(partsOf(mantissa(), m_scale));
}

QString xdecimal::toSystemString() const
{
    return toLocale(partsOf(mantissa(), m_scale), QLocale());
}

double xdecimal::toDouble() const
{
    return DecimalDetail::toDouble(partsOf(mantissa(), m_scale));
}

decimal xdecimal::toDecimal() const
{
    const Wide m = mantissa();
    if (m_scale > decimal::maxScale || m > std::numeric_limits<qint64>::max()
        || m < -std::numeric_limits<qint64>::max())
        throw Exception(QStringLiteral("Decimal overflow: \"%1\"").arg(toString()));
    return decimal(qint64(m), m_scale);
}

int xdecimal::compare(const xdecimal &a, const xdecimal &b)
{
    const Wide x = a.mantissa();
    const Wide y = b.mantissa();
    if (a.m_scale == b.m_scale)
        return (x > y) - (x < y);
    return DecimalDetail::compare(partsOf(x, a.m_scale), partsOf(y, b.m_scale));
}

bool operator==(const xdecimal &a, const xdecimal &b)
{
    return xdecimal::compare(a, b) == 0;
}

bool operator<(const xdecimal &a, const xdecimal &b)
{
    return xdecimal::compare(a, b) < 0;
}

xdecimal operator+(const xdecimal &a, const xdecimal &b)
{
    Parts sum;
    if (!add(partsOf(a.mantissa(), a.m_scale), partsOf(b.mantissa(), b.m_scale), mantissaLimit, &sum))
        throw Exception(QStringLiteral("Decimal overflow: %1 + %2").arg(a.toString(), b.toString()));
    xdecimal result;
    result.setMantissa(sum.negative ? -Wide(sum.magnitude) : Wide(sum.magnitude));
    result.m_scale = sum.scale;
    return result;
}
