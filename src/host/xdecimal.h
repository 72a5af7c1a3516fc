#ifndef HOST_XDECIMAL_H
#define HOST_XDECIMAL_H

#include <host/decimal.h>
#include <host/host_export.h>

#include <QMetaType>
#include <QString>

class QLocale;

/**
 * The extended decimal: like decimal, with a 128-bit mantissa holding up to
 * 36 significant digits and up to 36 fraction digits (amounts in minor units
 * of very large sums, rates with many digits).
 */
class HOST_EXPORT xdecimal
{
public:
    static constexpr int maxScale = 36;

    constexpr xdecimal() = default;
    explicit xdecimal(const QString &canonical);
    xdecimal(const decimal &value);
    xdecimal(qint64 mantissa, int scale);

    static const xdecimal zero;

    QString toString() const;
    QString toSystemString() const;
    double toDouble() const;
    int scale() const { return m_scale; }
    bool isZero() const { return m_low == 0 && m_high == 0; }
    // Throws Exception when the value does not fit a decimal.
    decimal toDecimal() const;

    friend HOST_EXPORT bool operator==(const xdecimal &a, const xdecimal &b);
    friend HOST_EXPORT bool operator<(const xdecimal &a, const xdecimal &b);
    friend HOST_EXPORT xdecimal operator+(const xdecimal &a, const xdecimal &b);

    static int compare(const xdecimal &a, const xdecimal &b);

private:
    // Shifted unsigned: a left shift of a negative value is undefined.
    __int128 mantissa() const
    {
        return static_cast<__int128>((static_cast<unsigned __int128>(static_cast<quint64>(m_high)) << 64) | m_low);
    }
    void setMantissa(__int128 mantissa);

    // Two halves rather than one __int128: 8-byte alignment keeps database
    // cells (which may hold an xdecimal) small.
    quint64 m_low = 0;
    qint64 m_high = 0;
    int m_scale = 0;
};

inline bool operator!=(const xdecimal &a, const xdecimal &b)
{
    return !(a == b);
}
inline bool operator>(const xdecimal &a, const xdecimal &b)
{
    return b < a;
}
inline bool operator<=(const xdecimal &a, const xdecimal &b)
{
    return !(b < a);
}
inline bool operator>=(const xdecimal &a, const xdecimal &b)
{
    return !(a < b);
}

Q_DECLARE_METATYPE(xdecimal)

#endif
