#ifndef HOST_DECIMAL_H
#define HOST_DECIMAL_H

#include <host/host_export.h>

#include <QMetaType>
#include <QString>

class QLocale;

/**
 * A signed fixed-point number that keeps its scale (the count of fraction
 * digits): "1.50" stays 1.50, not 1.5. The mantissa is a 64-bit integer, so
 * every number of up to 18 significant digits fits; the scale ranges from 0 to
 * maxScale. Bad text and overflow throw Exception.
 */
class HOST_EXPORT decimal
{
public:
    static constexpr int maxScale = 18;

    constexpr decimal() = default;
    // Canonical text: optional sign, digits, optional '.' and fraction digits.
    explicit decimal(const QString &canonical);
    decimal(qint64 mantissa, int scale);

    static const decimal zero;

    // strict: the canonical notation only; otherwise the default locale's
    // decimal point and signs are accepted too.
    static bool canConvert(const QString &text, bool strict);
    // The text in the locale's notation as a decimal of exactly `scale` digits.
    static decimal fromLocaleString(const QString &text, const QLocale &locale, int scale);

    QString toString() const;
    // The default locale QLocale(): its group separator, point and digits.
    QString toSystemString() const;
    QString toLocaleString(const QLocale &locale) const;
    double toDouble() const;

    qint64 mantissa() const { return m_mantissa; }
    int scale() const { return m_scale; }
    bool isZero() const { return m_mantissa == 0; }

    // The same value at another scale; throws when it would lose digits or overflow.
    decimal rescaled(int scale) const;

    friend HOST_EXPORT bool operator==(const decimal &a, const decimal &b);
    friend HOST_EXPORT bool operator<(const decimal &a, const decimal &b);
    friend HOST_EXPORT decimal operator+(const decimal &a, const decimal &b);

    // Negative, zero or positive as a is below, equal to or above b.
    static int compare(const decimal &a, const decimal &b);

private:
    qint64 m_mantissa = 0;
    int m_scale = 0;
};

inline bool operator!=(const decimal &a, const decimal &b)
{
    return !(a == b);
}
inline bool operator>(const decimal &a, const decimal &b)
{
    return b < a;
}
inline bool operator<=(const decimal &a, const decimal &b)
{
    return !(b < a);
}
inline bool operator>=(const decimal &a, const decimal &b)
{
    return !(a < b);
}

Q_DECLARE_METATYPE(decimal)

#endif
