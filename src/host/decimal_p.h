#ifndef HOST_DECIMAL_P_H
#define HOST_DECIMAL_P_H

// Sign-and-magnitude arithmetic shared by decimal and xdecimal: parsing and
// formatting work on a 128-bit magnitude, each type checks its own range.

#include <QLocale>
#include <QString>

namespace DecimalDetail
{

using Wide = __int128;
using UWide = unsigned __int128;

struct Parts
{
    bool negative = false;
    UWide magnitude = 0;
    int scale = 0;
};

// The characters a text may use besides its digits.
struct Notation
{
    QString minus;
    QString plus;
    QString points;
    QChar zero = QLatin1Char('0');

    static Notation canonical();
    // The canonical characters plus those of the locale.
    static Notation lenient(const QLocale &locale);
    // Only the locale's own characters (its zero digit, ASCII digits too).
    static Notation of(const QLocale &locale);
};

enum class ParseResult
{
    Ok,
    Syntax,
    Overflow,
    Scale
};

// At least one digit, at most one point, an optional leading sign; nothing else.
ParseResult parse(const QString &text, const Notation &notation, UWide limit, int maxScale, Parts *out);
// Pads or checks the fraction digits so that the parts carry exactly `scale` of them.
ParseResult rescale(Parts *parts, int scale, UWide limit);

constexpr UWide pow10(int exponent)
{
    UWide p = 1;
    for (int i = 0; i < exponent; ++i)
        p *= 10;
    return p;
}
QString toCanonical(const Parts &parts);
QString toLocale(const Parts &parts, const QLocale &locale);
double toDouble(const Parts &parts);

// a + b at the larger scale; when that overflows `limit`, one digit of scale is
// given up (rounding half away from zero). Returns false if even that fails.
bool add(const Parts &a, const Parts &b, UWide limit, Parts *sum);
int compare(const Parts &a, const Parts &b);

[[noreturn]] void throwFor(ParseResult result, const QString &text);

}

#endif
