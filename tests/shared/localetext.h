#ifndef VETREL_TESTS_LOCALETEXT_H
#define VETREL_TESTS_LOCALETEXT_H

#include <QLocale>
#include <QString>

// Tables are written once for every locale: '_' stands for the group
// separator, '.' for the decimal point, '-' and '+' for the signs, and '|'
// marks the cursor.
inline QString localised(const QString &markup, const QLocale &locale)
{
    QString text;
    for (const QChar ch : markup) {
        switch (ch.unicode()) {
        case '_':
            text += locale.groupSeparator();
            break;
        case '.':
            text += locale.decimalPoint();
            break;
        case '-':
            text += locale.negativeSign();
            break;
        case '+':
            text += locale.positiveSign();
            break;
        case '|':
            break;
        default:
            text += ch;
        }
    }
    return text;
}

// Where '|' stands in the markup (the end when there is none).
inline int cursorOf(const QString &markup)
{
    const int bar = markup.indexOf(QLatin1Char('|'));
    return bar < 0 ? markup.size() : bar;
}

// The text with '|' put back at the cursor, so a failure shows both at once.
inline QString withCursor(const QString &text, int pos)
{
    return QString(text).insert(pos, QLatin1Char('|'));
}

#endif
