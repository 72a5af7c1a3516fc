// DecimalValidator in several locales: regrouping, cursor, limits, signs,
// zero, conversions, and robustness on hostile text.
#include "localetext.h"

#include <vetrel/decimalvalidator.h>

#include <host/exception.h>

#include <QElapsedTimer>
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
    void followsLocaleChangeAtOnce();
    void textToDecimal_data();
    void textToDecimal();
    void hostileText_data();
    void hostileText();

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

    addRow("empty", "|", I, "|");
    addRow("minus alone", "-|", I, "-|");
    addRow("negative refused", "-5|", X, "", positive);
    addRow("regrouped, cursor kept", "123|4567", A, "1_23|4_567");
    addRow("misplaced separators", "1_2_3|4", A, "1_23|4");
    addRow("separator deleted", "1|234", A, "1|_234");
    addRow("leading zeros", "0007|", A, "7|");
    addRow("zeros collapse", "00|", A, "0|");
    addRow("zeros before point", "00.5|", A, "0.5|");
    addRow("point first", ".5|", A, ".5|");
    addRow("negative point first", "-.5|", A, "-.5|");
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
    addRow("zero fraction intermediate", "0.00|", I, "0.00|", noZero);
    addRow("letters", "12a|", X, "");
    addRow("plain blank", "1 234|", X, "");
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

void TestDecimalValidator::followsLocaleChangeAtOnce()
{
    // The notation is read at each call, not kept from the first one.
    DecimalValidator validator(2, true, true);
    validator.setLocale(QLocale::c());
    QString input = QStringLiteral("1234.5");
    int pos = input.size();
    QCOMPARE(validator.validate(input, pos), QValidator::Acceptable);
    const QLocale russian(QStringLiteral("ru_RU"));
    QLocale::setDefault(russian); // the decimal type reads the default locale
    validator.setLocale(russian);
    QCOMPARE(validator.validate(input, pos), QValidator::Invalid);
    input = QStringLiteral("1234,5");
    QCOMPARE(validator.validate(input, pos), QValidator::Acceptable);
    QCOMPARE(input, QStringLiteral("1\u00a0234,5"));
}

void TestDecimalValidator::textToDecimal_data()
{
    QTest::addColumn<QString>("localeName");
    QTest::addColumn<QString>("shown");
    QTest::addColumn<QString>("canonical");
    for (const char *name : localeNames) {
        const QString localeName = QString::fromLatin1(name);
        QTest::addRow("%s: grouped", name) << localeName << "1_234_567"
                                           << "1234567";
        QTest::addRow("%s: scale kept", name) << localeName << "-1_234.50"
                                              << "-1234.50";
        QTest::addRow("%s: point first", name) << localeName << ".5"
                                               << "0.5";
    }
}

void TestDecimalValidator::textToDecimal()
{
    QFETCH(QString, localeName);
    QFETCH(QString, shown);
    QFETCH(QString, canonical);
    const QLocale locale(localeName);
    QLocale::setDefault(locale);
    DecimalValidator validator(2, true, true);

    const decimal value = validator.textToDecimal(localised(shown, locale));
    QCOMPARE(value.toString(), canonical);
    // Back to what the field shows: grouped, in the locale's notation.
    QCOMPARE(validator.decimalToText(decimal(canonical)), decimal(canonical).toSystemString());

    const QString junk = localised("1.2.3", locale);
    try {
        validator.textToDecimal(junk);
        QFAIL("a text that is no number must throw");
    } catch (const Exception &error) {
        QCOMPARE(error.message(), QStringLiteral("Invalid string for decimal: ") + junk);
    }
}

void TestDecimalValidator::hostileText_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("mayPass");

    const QString nines(10000, QLatin1Char('9'));
    QTest::newRow("NUL inside") << QString::fromUtf16(u"12\u00003", 4) << false;
    QTest::newRow("Arabic-Indic digits") << QStringLiteral("\u0661\u0662\u0663") << false;
    QTest::newRow("Devanagari fraction") << QStringLiteral("1.\u0967\u0968") << false;
    QTest::newRow("10000 digits") << nines << false;
    QTest::newRow("10000 zeros") << QString(10000, QLatin1Char('0')) << true;
    QTest::newRow("10000 fraction zeros") << QStringLiteral(".") + QString(10000, QLatin1Char('0')) << false;
    QTest::newRow("10000 fraction digits") << QStringLiteral("1.") + nines << false;
    QTest::newRow("10000 separators") << QString(10000, QLatin1Char(',')) + QStringLiteral("5") << true;
}

void TestDecimalValidator::hostileText()
{
    QFETCH(QString, text);
    QFETCH(bool, mayPass);
    DecimalValidator validator(2, true, true);
    validator.setLocale(QLocale::c());

    QElapsedTimer timer;
    timer.start();
    for (int pos : { 0, int(text.size()) / 2, int(text.size()), -1, int(text.size()) + 5 }) {
        QString input = text;
        int cursor = pos;
        QValidator::State state = QValidator::Invalid;
        try {
            state = validator.validate(input, cursor);
        } catch (...) {
            QFAIL("validate must not throw");
        }
        if (!mayPass)
            QCOMPARE(state, QValidator::Invalid);
        if (state != QValidator::Invalid) {
            QVERIFY(cursor >= 0 && cursor <= input.size());
            QVERIFY(input.size() <= 2);
        }
    }
    QVERIFY2(timer.elapsed() < 2000, "hostile text must be judged quickly");
}

QTEST_GUILESS_MAIN(TestDecimalValidator)
#include "tst_decimalvalidator.moc"
