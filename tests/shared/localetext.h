#ifndef VETREL_TESTS_LOCALETEXT_H
#define VETREL_TESTS_LOCALETEXT_H

#include <QLocale>
#include <QString>

// Tables are written once for every locale: '_' stands for the group
// separator, '.' for the decimal point, '-' and '+' for the signs, and '|'
// marks the cursor.
inline QString localised(const QString &markup, const QLocale &locale)
{
    const QString marks = QStringLiteral("_.-+|");
    const QString symbols = QString(locale.groupSeparator()) + locale.decimalPoint() + locale.negativeSign()
        + locale.positiveSign();
    QString text;
    for (const QChar ch : markup) {
        const int mark = marks.indexOf(ch);
        if (mark < 0)
            text += ch;
        else if (mark < symbols.size())
            text += symbols.at(mark);
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
