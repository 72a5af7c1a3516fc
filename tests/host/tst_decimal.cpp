#include <host/decimal.h>
#include <host/exception.h>
#include <host/xdecimal.h>

#include <QLocale>
#include <QTest>
#include <QVariant>

#include <cstring>

class TestDecimal : public QObject
{
    Q_OBJECT

private slots:
    void cleanup() { QLocale::setDefault(QLocale::c()); }

    void canonicalRoundTrip_data();
    void canonicalRoundTrip();
    void refusesBadText_data();
    void refusesBadText();
    void canConvert();
    void fromLocaleString_data();
    void fromLocaleString();
    void fromLocaleStringRefuses();
    void systemString_data();
    void systemString();
    void toDouble();
    void comparison_data();
    void comparison();
    void addition_data();
    void addition();
    void additionOverflow();
    void metaType();
    void exceptionText();
    void extendedDecimal();
};

void TestDecimal::canonicalRoundTrip_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("canonical");
    QTest::addColumn<int>("scale");
    QTest::newRow("negative keeps trailing zero") << "-1234.50" << "-1234.50" << 2;
    QTest::newRow("leading zeros dropped") << "0007" << "7" << 0;
    QTest::newRow("plus sign") << "+5" << "5" << 0;
    QTest::newRow("negative zero") << "-0.00" << "0.00" << 2;
    QTest::newRow("bare fraction") << ".5" << "0.5" << 1;
    QTest::newRow("trailing point") << "5." << "5" << 0;
    QTest::newRow("small negative") << "-0.05" << "-0.05" << 2;
    QTest::newRow("18 digits") << "123456789.012345678" << "123456789.012345678" << 9;
    QTest::newRow("largest mantissa") << "9223372036854775807" << "9223372036854775807" << 0;
    QTest::newRow("largest scale") << "0.000000000000000001" << "0.000000000000000001" << 18;
}

void TestDecimal::canonicalRoundTrip()
{
    QFETCH(QString, text);
    QFETCH(QString, canonical);
    QFETCH(int, scale);
    const decimal d(text);
    QCOMPARE(d.toString(), canonical);
    QCOMPARE(d.scale(), scale);
    QCOMPARE(decimal(d.toString()), d);
}

void TestDecimal::refusesBadText_data()
{
    QTest::addColumn<QString>("text");
    for (const char *bad :
        { "", "-", ".", "-.", "1e5", "1E5", "1.5e-3", " 1", "1 ", "1 000", "1,5", "1.2.3", "--1", "1-", "abc",
            "0x10", "inf", "nan", "9223372036854775808", "-9223372036854775808", "0.0000000000000000001" })
        QTest::newRow(bad) << QString::fromLatin1(bad);
    QTest::newRow("non-breaking space") << QStringLiteral("1\u00a0000");
}

void TestDecimal::refusesBadText()
{
    QFETCH(QString, text);
    QVERIFY_EXCEPTION_THROWN(decimal { text }, Exception);
    QVERIFY(!decimal::canConvert(text, true));
    QVERIFY(!decimal::canConvert(text, false));
}

void TestDecimal::canConvert()
{
    QLocale::setDefault(QLocale(QLocale::Russian, QLocale::Russia));
    QVERIFY(decimal::canConvert(QStringLiteral("-1.5"), true));
    QVERIFY(decimal::canConvert(QStringLiteral("-1.5"), false));
    QVERIFY(!decimal::canConvert(QStringLiteral("-1,5"), true));
    QVERIFY(decimal::canConvert(QStringLiteral("-1,5"), false));
    QVERIFY(decimal::canConvert(QStringLiteral(",5"), false));
    QVERIFY(!decimal::canConvert(QStringLiteral("1,5,0"), false));
    QVERIFY(!decimal::canConvert(QStringLiteral("1,5.0"), false));

    QLocale::setDefault(QLocale::c());
    QVERIFY(!decimal::canConvert(QStringLiteral("1,5"), false));
    QVERIFY(decimal::canConvert(QStringLiteral("+1.5"), false));
}

void TestDecimal::fromLocaleString_data()
{
    QTest::addColumn<QLocale>("locale");
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("scale");
    QTest::addColumn<QString>("canonical");
    const QLocale ru(QLocale::Russian, QLocale::Russia);
    const QLocale de(QLocale::German, QLocale::Germany);
    QTest::newRow("ru pads to scale") << ru << "1234,5" << 2 << "1234.50";
    QTest::newRow("ru bare fraction") << ru << ",5" << 2 << "0.50";
    QTest::newRow("ru negative") << ru << "-7" << 3 << "-7.000";
    QTest::newRow("ru trailing point") << ru << "7," << 0 << "7";
    QTest::newRow("de exact scale") << de << "0,25" << 2 << "0.25";
    QTest::newRow("C") << QLocale::c() << "-12.3" << 3 << "-12.300";
    QTest::newRow("C integer") << QLocale::c() << "42" << 0 << "42";
}

void TestDecimal::fromLocaleString()
{
    QFETCH(QLocale, locale);
    QFETCH(QString, text);
    QFETCH(int, scale);
    QFETCH(QString, canonical);
    const decimal d = decimal::fromLocaleString(text, locale, scale);
    QCOMPARE(d.toString(), canonical);
    QCOMPARE(d.scale(), scale);
}

void TestDecimal::fromLocaleStringRefuses()
{
    const QLocale ru(QLocale::Russian, QLocale::Russia);
    // '.' is not this locale's point, and group separators are not accepted.
    QVERIFY_EXCEPTION_THROWN(decimal::fromLocaleString(QStringLiteral("1.5"), ru, 2), Exception);
    QVERIFY_EXCEPTION_THROWN(decimal::fromLocaleString(QStringLiteral("1\u00a0234"), ru, 0), Exception);
    QVERIFY_EXCEPTION_THROWN(decimal::fromLocaleString(QStringLiteral("1,234"), ru, 2), Exception);
    QVERIFY_EXCEPTION_THROWN(decimal::fromLocaleString(QStringLiteral("1e3"), QLocale::c(), 0), Exception);
    QVERIFY_EXCEPTION_THROWN(decimal::fromLocaleString(QStringLiteral("-"), QLocale::c(), 0), Exception);
    // Padding to the scale must not overflow the mantissa.
    QVERIFY_EXCEPTION_THROWN(
        decimal::fromLocaleString(QStringLiteral("9223372036854775807"), QLocale::c(), 1), Exception);
    QVERIFY_EXCEPTION_THROWN(decimal::fromLocaleString(QStringLiteral("1"), QLocale::c(), 19), Exception);
}

void TestDecimal::systemString_data()
{
    QTest::addColumn<QLocale>("locale");
    QTest::addColumn<QString>("canonical");
    QTest::addColumn<QString>("shown");
    const QLocale ru(QLocale::Russian, QLocale::Russia);
    const QString nbsp(QChar(0x00a0));
    QTest::newRow("ru groups with a blank")
        << ru << "-1234567.50" << QString(QLatin1String("-1") + nbsp + "234" + nbsp + "567,50");
    QTest::newRow("ru small") << ru << "0.05" << "0,05";
    QTest::newRow("ru integer") << ru << "1000" << QString(QLatin1String("1") + nbsp + "000");
    QTest::newRow("de") << QLocale(QLocale::German, QLocale::Germany) << "1234.5" << "1.234,5";
    QTest::newRow("C has no groups") << QLocale::c() << "-1234567.50" << "-1234567.50";
    QTest::newRow("en") << QLocale(QLocale::English, QLocale::UnitedStates) << "-0.10" << "-0.10";
}

void TestDecimal::systemString()
{
    QFETCH(QLocale, locale);
    QFETCH(QString, canonical);
    QFETCH(QString, shown);
    QLocale::setDefault(locale);
    const decimal d(canonical);
    QCOMPARE(d.toSystemString(), shown);
    // Nothing in the canonical form depends on the locale.
    QCOMPARE(d.toString(), canonical);
    // What the locale shows reads back once its group separators are gone.
    QString bare = shown;
    bare.remove(locale.groupSeparator());
    QCOMPARE(decimal::fromLocaleString(bare, locale, d.scale()), d);
}

void TestDecimal::toDouble()
{
    QCOMPARE(decimal(QStringLiteral("0.1")).toDouble(), 0.1);
    QCOMPARE(decimal(QStringLiteral("-1234.50")).toDouble(), -1234.5);
    QCOMPARE(decimal(QStringLiteral("123456789.012345678")).toDouble(), 123456789.012345678);
    QCOMPARE(decimal(QStringLiteral("-9223372036854775807")).toDouble(), -9223372036854775807.0);
    QCOMPARE(decimal::zero.toDouble(), 0.0);
}

void TestDecimal::comparison_data()
{
    QTest::addColumn<QString>("a");
    QTest::addColumn<QString>("b");
    QTest::addColumn<int>("order");
    QTest::newRow("equal across scales") << "1.5" << "1.50" << 0;
    QTest::newRow("same scale") << "1.49" << "1.50" << -1;
    QTest::newRow("signs") << "-1" << "1" << -1;
    QTest::newRow("negative across scales") << "-1.5" << "-1.49" << -1;
    QTest::newRow("zero across scales") << "0" << "-0.000" << 0;
    QTest::newRow("large, would overflow if aligned") << "922337203685477580.7" << "9223372036854775807" << -1;
    QTest::newRow("fraction decides") << "92233720368547758.07" << "92233720368547758.1" << -1;
}

void TestDecimal::comparison()
{
    QFETCH(QString, a);
    QFETCH(QString, b);
    QFETCH(int, order);
    const decimal x(a);
    const decimal y(b);
    QCOMPARE(x == y, order == 0);
    QCOMPARE(x != y, order != 0);
    QCOMPARE(x < y, order < 0);
    QCOMPARE(y<x, order> 0);
    QCOMPARE(x <= y, order <= 0);
    QCOMPARE(x >= y, order >= 0);
    QCOMPARE(x > y, order > 0);
}

void TestDecimal::addition_data()
{
    QTest::addColumn<QString>("a");
    QTest::addColumn<QString>("b");
    QTest::addColumn<QString>("sum");
    QTest::newRow("aligns to larger scale") << "1.5" << "2.25" << "3.75";
    QTest::newRow("keeps trailing zeros") << "1" << "0.10" << "1.10";
    QTest::newRow("negative result") << "1.5" << "-2.25" << "-0.75";
    QTest::newRow("to zero keeps scale") << "-1.5" << "1.50" << "0.00";
    QTest::newRow("gives up one digit") << "922337203685477580.1" << "922337203685477580.1" << "1844674407370955160";
    QTest::newRow("gives up one digit, rounding up") << "922337203685477580.3"
                                                     << "922337203685477580.3"
                                                     << "1844674407370955161";
    QTest::newRow("gives up one digit, negative") << "-922337203685477580.3"
                                                  << "-922337203685477580.3"
                                                  << "-1844674407370955161";
    QTest::newRow("alignment alone overflows") << "9223372036854775807" << "0.1" << "9223372036854775807";
}

void TestDecimal::addition()
{
    QFETCH(QString, a);
    QFETCH(QString, b);
    QFETCH(QString, sum);
    QCOMPARE((decimal(a) + decimal(b)).toString(), sum);
    QCOMPARE((decimal(b) + decimal(a)).toString(), sum);
}

void TestDecimal::additionOverflow()
{
    const decimal max(QStringLiteral("9223372036854775807"));
    QVERIFY_EXCEPTION_THROWN(max + decimal(1, 0), Exception);
    QVERIFY_EXCEPTION_THROWN(max + decimal(QStringLiteral("922337203685477580.7")), Exception);
    QVERIFY_EXCEPTION_THROWN(decimal(-9223372036854775807, 0) + decimal(-2, 0), Exception);
    QVERIFY_EXCEPTION_THROWN(decimal(1, 19), Exception);
    QVERIFY_EXCEPTION_THROWN(decimal(1, -1), Exception);
}

void TestDecimal::metaType()
{
    QCOMPARE(QMetaType::type("decimal"), qMetaTypeId<decimal>());
    const QVariant v = QVariant::fromValue(decimal(QStringLiteral("1.50")));
    QCOMPARE(v.typeName(), "decimal");
    QCOMPARE(v.toString(), QStringLiteral("1.50"));
    QCOMPARE(v, QVariant::fromValue(decimal(QStringLiteral("1.5"))));
    QCOMPARE(decimal::zero.toString(), QStringLiteral("0"));
    QVERIFY(decimal::zero.isZero());
    QCOMPARE(decimal().scale(), 0);
}

void TestDecimal::exceptionText()
{
    const QString message = QStringLiteral("Неверное число");
    const Exception e(message);
    QCOMPARE(e.message(), message);
    QCOMPARE(QString::fromUtf8(e.what()), message);
    try {
        decimal(QStringLiteral("1x"));
        QFAIL("no exception");
    } catch (const std::exception &caught) {
        QVERIFY(std::strstr(caught.what(), "1x") != nullptr);
    }
}

void TestDecimal::extendedDecimal()
{
    const xdecimal big(QStringLiteral("-123456789012345678901234.5678"));
    QCOMPARE(big.toString(), QStringLiteral("-123456789012345678901234.5678"));
    QCOMPARE(big.scale(), 4);
    QCOMPARE(big.toDouble(), -123456789012345678901234.5678);
    QVERIFY_EXCEPTION_THROWN(big.toDecimal(), Exception);
    QCOMPARE(xdecimal(decimal(QStringLiteral("-1.50"))).toDecimal().toString(), QStringLiteral("-1.50"));

    // Beyond 64 bits the sum stays exact.
    const xdecimal max64(QStringLiteral("9223372036854775807"));
    QCOMPARE((max64 + max64).toString(), QStringLiteral("18446744073709551614"));
    QVERIFY(max64 < max64 + xdecimal(QStringLiteral("0.001")));
    QCOMPARE(xdecimal(QStringLiteral("1.5")), xdecimal(QStringLiteral("1.500")));
    const xdecimal max36(QString(36, QLatin1Char('9')));
    QVERIFY_EXCEPTION_THROWN(max36 + xdecimal(1, 0), Exception);
    QVERIFY_EXCEPTION_THROWN(xdecimal(QString(37, QLatin1Char('9'))), Exception);
    QVERIFY_EXCEPTION_THROWN(xdecimal(QStringLiteral("1e40")), Exception);

    QLocale::setDefault(QLocale(QLocale::German, QLocale::Germany));
    QCOMPARE(xdecimal(QStringLiteral("12345678901234567890123.25")).toSystemString(),
        QStringLiteral("12.345.678.901.234.567.890.123,25"));
    QCOMPARE(QMetaType::type("xdecimal"), qMetaTypeId<xdecimal>());
}

QTEST_GUILESS_MAIN(TestDecimal)
#include "tst_decimal.moc"
