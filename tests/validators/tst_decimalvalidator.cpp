// DecimalValidator in several locales: regrouping, cursor, limits, signs,
// zero, hostile text and the conversion to a number.
#include "localetext.h"

#include <vetrel/decimalvalidator.h>

#include <host/exception.h>

#include <QTest>

namespace
{

// C groups with ',' around '.'; ru_RU with a non-breaking space and fr_FR with a
// narrow one around ','; de_DE swaps C's two characters.
const char *const localeNames[] = { "C", "ru_RU", "fr_FR", "de_DE" };

struct Settings
{
    int digits = 2;
    bool canNegative = true;
    bool canBeZero = true;
    int numDigits = 0;
};

}
Q_DECLARE_METATYPE(Settings)

class TestDecimalValidator : public QObject
{
    Q_OBJECT
private slots:
    void cleanup();
    void validate_data();
    void validate();
    void textToDecimal();

private:
    static void addRow(const char *name, const QString &typed, QValidator::State state, const QString &shown,
        Settings settings = Settings());
};

void TestDecimalValidator::cleanup()
{
    QLocale::setDefault(QLocale::c());
}

void TestDecimalValidator::addRow(
    const char *name, const QString &typed, QValidator::State state, const QString &shown, Settings settings)
{
    for (const char *localeName : localeNames) {
        QTest::addRow("%s: %s", localeName, name)
            << QString::fromLatin1(localeName) << settings << typed << int(state) << shown;
    }
}

void TestDecimalValidator::validate_data()
{
    QTest::addColumn<QString>("localeName");
    QTest::addColumn<Settings>("settings");
    QTest::addColumn<QString>("typed");
    QTest::addColumn<int>("state");
    QTest::addColumn<QString>("shown"); // only checked when not Invalid

    const auto A = QValidator::Acceptable;
    const auto I = QValidator::Intermediate;
    const auto X = QValidator::Invalid;
    const Settings positive { 2, false };
    const Settings noZero { 2, true, false };
    const Settings whole { 0 };
    const Settings threeDigits { 2, true, true, 3 };
    const Settings scale3 { 3 };

    addRow("minus alone", "-|", I, "-|");
    addRow("negative refused", "-5|", X, "", positive);
    addRow("regrouped, cursor kept", "123|4567", A, "1_23|4_567");
    addRow("misplaced separators", "1_2_3|4", A, "1_23|4");
    addRow("separator deleted", "1|234", A, "1|_234");
    addRow("leading zeros", "0007|", A, "7|");
    addRow("zeros collapse", "00|", A, "0|");
    addRow("zeros before point", "00.5|", A, "0.5|");
    addRow("point first", ".5|", A, ".5|");
    addRow("point alone", ".|", X, "");
    addRow("plus dropped", "+12|", A, "12|");
    addRow("negative grouped", "-1234.5|", A, "-1_234.5|");
    addRow("too many fraction digits", "1.234|", X, "");
    addRow("trailing point kept", "1.|", A, "1.|");
    addRow("point without digits", "1.5|", X, "", whole);
    addRow("integer digits limit", "0123|", X, "", threeDigits); // leading zeros count
    addRow("integer digits limit in fraction", "1234.5|", X, "", threeDigits);
    addRow("16 digits", "1234567890123456|", X, "");
    addRow("15 digits", "123456789012345|", A, "123_456_789_012_345|");
    addRow("scaled within 2^52", "123456789012.345|", A, "123_456_789_012.345|", scale3);
    addRow("scaled beyond 2^52", "1234567890123.456|", X, "", scale3);
    addRow("zero allowed", "0.00|", A, "0.00|");
    addRow("zero intermediate", "0|", I, "0|", noZero);
    addRow("letters", "12a|", X, "");
    addRow("plain blank", "1 234|", X, "");
    // Hostile text is refused, or reduced to the little it means.
    const QString nines(10000, QLatin1Char('9'));
    addRow("NUL inside", QString::fromUtf16(u"12\u00003", 4), X, "");
    addRow("Arabic-Indic digits", QStringLiteral("\u0661\u0662\u0663"), X, "");
    addRow("Devanagari fraction", QStringLiteral("1.\u0967\u0968"), X, "");
    addRow("10000 digits", nines, X, "");
    addRow("10000 fraction digits", QStringLiteral("1.") + nines, X, "");
    addRow("10000 separators", QString(10000, QLatin1Char('_')) + QStringLiteral("5"), A, "5|");
}

void TestDecimalValidator::validate()
{
    QFETCH(QString, localeName);
    QFETCH(Settings, settings);
    QFETCH(QString, typed);
    QFETCH(int, state);
    QFETCH(QString, shown);

    const QLocale locale(localeName);
    QLocale::setDefault(locale);
    DecimalValidator validator(settings.digits, settings.canNegative, settings.canBeZero);
    validator.setNumDigits(settings.numDigits);
    QCOMPARE(validator.locale(), locale);

    QString input = localised(typed, locale);
    int pos = cursorOf(typed);
    QCOMPARE(int(validator.validate(input, pos)), state);
    if (state != QValidator::Invalid)
        QCOMPARE(withCursor(input, pos), withCursor(localised(shown, locale), cursorOf(shown)));
}

void TestDecimalValidator::textToDecimal()
{
    // From the text a field shows to the number an order carries.
    const QList<QPair<QString, QString>> cases
        = { { "1_234_567", "1234567" }, { "-1_234.50", "-1234.50" }, { ".5", "0.5" } };
    for (const char *name : localeNames) {
        const QLocale locale(QString::fromLatin1(name));
        QLocale::setDefault(locale);
        DecimalValidator validator(2, true, true);
        for (const auto &[shown, canonical] : cases)
            QCOMPARE(validator.textToDecimal(localised(shown, locale)).toString(), canonical);
        QVERIFY_EXCEPTION_THROWN(validator.textToDecimal(localised("1.2.3", locale)), Exception);
    }
}

QTEST_GUILESS_MAIN(TestDecimalValidator)
#include "tst_decimalvalidator.moc"
