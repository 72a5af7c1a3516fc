#include "field.h"

#include "exception.h"

#include <QDateTime>
#include <QLocale>

#include <cmath>

namespace
{

[[noreturn]] void conversionFailed()
{
    throw Exception(QStringLiteral("Incorrect type conversion."));
}

template<typename... Ts>
struct Overloaded : Ts...
{
    using Ts::operator()...;
};
template<typename... Ts>
Overloaded(Ts...) -> Overloaded<Ts...>;

using Value = std::variant<std::monostate, qint64, double, decimal, xdecimal, QString>;

// Decimal-style text of a number; for text, the text itself.
QString exactText(const Value &value)
{
    return std::visit(Overloaded {
                          [](std::monostate) { return QStringLiteral("0"); },
                          [](qint64 v) { return QString::number(v); },
                          [](double v) { return QString::number(v, 'f', QLocale::FloatingPointShortest); },
                          [](const decimal &v) { return v.toString(); },
                          [](const xdecimal &v) { return v.toString(); },
                          [](const QString &v) { return v; },
                      },
        value);
}

QString displayText(const Value &value)
{
    if (std::holds_alternative<std::monostate>(value))
        return QString();
    if (const double *v = std::get_if<double>(&value))
        return QString::number(*v, 'g', QLocale::FloatingPointShortest);
    return exactText(value);
}

qint64 integerOf(const Value &value, FieldType::Type target)
{
    if (const qint64 *v = std::get_if<qint64>(&value))
        return *v;
    if (const double *v = std::get_if<double>(&value)) {
        if (std::trunc(*v) != *v || std::fabs(*v) >= 9.2e18)
            conversionFailed();
        return qint64(*v);
    }
    const QString text = exactText(value);
    if (target == FieldType::Time64) {
        const QDateTime time = QDateTime::fromString(text, Qt::ISODateWithMs);
        if (time.isValid())
            return time.toMSecsSinceEpoch();
    }
    try {
        // Integral values only: "12.00" is 12, "12.5" is refused.
        return decimal(text).rescaled(0).mantissa();
    } catch (const Exception &) {
        conversionFailed();
    }
}

double doubleOf(const Value &value)
{
    if (const qint64 *v = std::get_if<qint64>(&value))
        return double(*v);
    if (const double *v = std::get_if<double>(&value))
        return *v;
    bool ok = false;
    const double d = exactText(value).toDouble(&ok);
    if (!ok)
        conversionFailed();
    return d;
}

template<typename D>
D decimalOf(const Value &value)
{
    if (const D *v = std::get_if<D>(&value))
        return *v;
    try {
        return D(exactText(value));
    } catch (const Exception &) {
        conversionFailed();
    }
}

Value convert(const Value &value, FieldType::Type target)
{
    switch (target) {
    case FieldType::Int32: {
        const qint64 v = integerOf(value, target);
        if (v < std::numeric_limits<qint32>::min() || v > std::numeric_limits<qint32>::max())
            conversionFailed();
        return v;
    }
    case FieldType::Int64:
    case FieldType::Time64:
        return integerOf(value, target);
    case FieldType::Double:
        return doubleOf(value);
    case FieldType::Decimal:
        return decimalOf<decimal>(value);
    case FieldType::XDecimal:
        if (const decimal *v = std::get_if<decimal>(&value))
            return xdecimal(*v);
        return decimalOf<xdecimal>(value);
    case FieldType::String:
        return displayText(value);
    case FieldType::None:
        break;
    }
    conversionFailed();
}

Value valueOf(const QVariant &variant)
{
    const int type = variant.userType();
    if (type == qMetaTypeId<decimal>())
        return variant.value<decimal>();
    if (type == qMetaTypeId<xdecimal>())
        return variant.value<xdecimal>();
    switch (type) {
    case QMetaType::Int:
    case QMetaType::LongLong:
    case QMetaType::Short:
    case QMetaType::Long:
    case QMetaType::Char:
    case QMetaType::SChar:
    case QMetaType::Bool:
        return qint64(variant.toLongLong());
    case QMetaType::UInt:
    case QMetaType::ULongLong:
    case QMetaType::UShort:
    case QMetaType::ULong:
    case QMetaType::UChar: {
        const qulonglong v = variant.toULongLong();
        if (v > qulonglong(std::numeric_limits<qint64>::max()))
            conversionFailed();
        return qint64(v);
    }
    case QMetaType::Double:
    case QMetaType::Float:
        return variant.toDouble();
    case QMetaType::QDateTime:
        return variant.toDateTime().toMSecsSinceEpoch();
    case QMetaType::QString:
        return variant.toString();
    default:
        if (variant.canConvert<QString>())
            return variant.toString();
        conversionFailed();
    }
}

}

Field::Field(FieldType::Type type)
    : m_type(type)
{ }

void Field::clear()
{
    // A cell that does not exist has nothing to clear and must not be
    // written: one such cell stands for all of them (Table::dataPtr).
    if (m_type == FieldType::None)
        return;
    m_present = false;
    m_value = std::monostate();
}

qint32 Field::toInt32() const
{
    return qint32(std::get<qint64>(convert(m_value, FieldType::Int32)));
}

qint64 Field::toInt64() const
{
    return std::get<qint64>(convert(m_value, FieldType::Int64));
}

double Field::toDouble() const
{
    return doubleOf(m_value);
}

decimal Field::toDecimal() const
{
    return decimalOf<decimal>(m_value);
}

xdecimal Field::toXDecimal() const
{
    return std::get<xdecimal>(convert(m_value, FieldType::XDecimal));
}

QString Field::toString() const
{
    return displayText(m_value);
}

QVariant Field::toVariant() const
{
    if (!m_present)
        return QVariant();
    return std::visit(
        Overloaded {
            [](std::monostate) { return QVariant(); },
            [this](qint64 v) { return m_type == FieldType::Int32 ? QVariant(qint32(v)) : QVariant(v); },
            [](double v) { return QVariant(v); },
            [](const decimal &v) { return QVariant::fromValue(v); },
            [](const xdecimal &v) { return QVariant::fromValue(v); },
            [](const QString &v) { return QVariant(v); },
        },
        m_value);
}

template<typename T>
Field &Field::assign(const T &value)
{
    m_value = convert(Value(value), m_type);
    m_present = true;
    return *this;
}

Field &Field::operator=(qint32 value)
{
    return assign(qint64(value));
}

Field &Field::operator=(qint64 value)
{
    return assign(value);
}

Field &Field::operator=(double value)
{
    return assign(value);
}

Field &Field::operator=(const decimal &value)
{
    return assign(value);
}

Field &Field::operator=(const xdecimal &value)
{
    return assign(value);
}

Field &Field::operator=(const QString &value)
{
    return assign(value);
}

Field &Field::operator=(const QVariant &value)
{
    if (!value.isValid() || value.isNull()) {
        clear();
        return *this;
    }
    m_value = convert(valueOf(value), m_type);
    m_present = true;
    return *this;
}

int Field::compare(const Field &a, const Field &b)
{
    if (a.m_type != b.m_type)
        return int(a.m_type) - int(b.m_type);
    if (a.m_present != b.m_present)
        return a.m_present ? 1 : -1;
    // Keys and ids are integers: spare them the double dispatch.
    const qint64 *x = std::get_if<qint64>(&a.m_value);
    const qint64 *y = std::get_if<qint64>(&b.m_value);
    if (x && y)
        return (*x > *y) - (*x < *y);
    return std::visit(Overloaded {
                          [](std::monostate, std::monostate) { return 0; },
                          [](qint64 x, qint64 y) { return (x > y) - (x < y); },
                          [](double x, double y) { return (x > y) - (x < y); },
                          [](const decimal &x, const decimal &y) { return decimal::compare(x, y); },
                          [](const xdecimal &x, const xdecimal &y) { return xdecimal::compare(x, y); },
                          [](const QString &x, const QString &y) { return x.compare(y); },
                          // Cells of one type always hold the same alternative.
                          [](const auto &, const auto &) { return 0; },
                      },
        a.m_value, b.m_value);
}
