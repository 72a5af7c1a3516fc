#include <host/decimal.h>
#include <host/exception.h>
#include <host/xdecimal.h>

#include <QLocale>
#include <QTest>
#include <QVariant>

static const QLocale ru(QLocale::Russian, QLocale::Russia);

class TestDecimal : public QObject
{
    Q_OBJECT

private slots:
    void cleanup() { QLocale::setDefault(QLocale::c()); }

    void canonical_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("canonical"); // empty: refused
        QTest::addColumn<int>("scale");
        QTest::newRow("negative keeps trailing zero") << "-1234.50" << "-1234.50" << 2;
        QTest::newRow("leading zeros dropped") << "0007" << "7" << 0;
        QTest::newRow("negative zero") << "-0.00" << "0.00" << 2;
        QTest::newRow("bare fraction") << ".5" << "0.5" << 1;
        QTest::newRow("largest mantissa") << "9223372036854775807" << "9223372036854775807" << 0;
        QTest::newRow("largest scale") << "0.000000000000000001" << "0.000000000000000001" << 18;
        for (const char *bad : { "", "-", ".", "1e5", " 1", "1 000", "1,5", "1.2.3", "--1", "1-", "abc",
                 "0x10", "9223372036854775808", "-9223372036854775808", "0.0000000000000000001" })
            QTest::newRow(bad) << QString::fromLatin1(bad) << QString() << 0;
    }

    void canonical()
    {
        QFETCH(QString, text);
        QFETCH(QString, canonical);
        QFETCH(int, scale);
        // The strict check takes exactly what the constructor takes.
        QCOMPARE(decimal::canConvert(text, true), !canonical.isEmpty());
        if (canonical.isEmpty()) {
            QVERIFY_EXCEPTION_THROWN(decimal { text }, Exception);
            return;
        }
        const decimal d(text);
        QCOMPARE(d.toString(), canonical);
        QCOMPARE(d.scale(), scale);
    }

    void fromLocaleString_data()
    {
        QTest::addColumn<QLocale>("locale");
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("scale");
        QTest::addColumn<QString>("result"); // the canonical text, or a piece of the error
        QTest::addColumn<QString>("shown"); // the value as the locale shows it
        auto row = [](const char *name, const QLocale &locale, const char *text, int scale, const char *out,
                       const char *shown = "") {
            QTest::newRow(name) << locale << QString(text) << scale << QString(out) << QString(shown);
        };
        const QLocale de(QLocale::German, QLocale::Germany);
        row("ru pads to scale", ru, "-1234567,5", 2, "-1234567.50", "-1\u00a0234\u00a0567,50");
        row("ru trailing point", ru, "7,", 0, "7", "7");
        row("de exact scale", de, "1234,25", 2, "1234.25", "1.234,25");
        row("ru refuses the C point", ru, "1.5", 2, "Not a decimal");
        row("ru refuses groups", ru, "1\u00a0234", 0, "Not a decimal");
        // Zeros count too: the text says more than the column can hold.
        row("more digits than scale", QLocale::c(), "1.20", 1, "Too many fraction digits");
        row("padding overflows", QLocale::c(), "9223372036854775807", 1, "overflow");
        row("negative scale", QLocale::c(), "1", -1, "scale out of range");
    }

    void fromLocaleString()
    {
        QFETCH(QLocale, locale);
        QFETCH(QString, text);
        QFETCH(int, scale);
        QFETCH(QString, result);
        QFETCH(QString, shown);
        QLocale::setDefault(locale);
        try {
            const decimal d = decimal::fromLocaleString(text, locale, scale);
            QVERIFY(!shown.isEmpty());
            QCOMPARE(d.toString(), result);
            QCOMPARE(d.scale(), scale);
            QCOMPARE(d.toSystemString(), shown);
            // Input checks take the user's notation; the strict one takes the canonical only.
            QVERIFY(decimal::canConvert(text, false));
            QCOMPARE(decimal::canConvert(text, true), locale == QLocale::c());
        } catch (const Exception &e) {
            QVERIFY2(shown.isEmpty() && e.message().contains(result), qPrintable(e.message()));
        }
    }

    void arithmetic_data()
    {
        QTest::addColumn<QString>("a");
        QTest::addColumn<QString>("b");
        QTest::addColumn<int>("order");
        QTest::addColumn<QString>("sum"); // empty: overflow
        QTest::newRow("equal across scales") << "1.5" << "1.50" << 0 << "3.00";
        QTest::newRow("same scale") << "1.49" << "1.50" << -1 << "2.99";
        QTest::newRow("negative across scales") << "-1.5" << "-1.49" << -1 << "-2.99";
        QTest::newRow("to zero keeps scale") << "-1.5" << "1.50" << -1 << "0.00";
        // Large values are compared without aligning the scales first, which would overflow.
        QTest::newRow("large across scales") << "922337203685477580.7" << "9223372036854775807" << -1 << "";
        QTest::newRow("fraction decides, sum rounds")
            << "92233720368547758.07" << "92233720368547758.1" << -1 << "184467440737095516.2";
        // A sum that does not fit gives up fraction digits, rounding half away from zero.
        QTest::newRow("gives up one digit")
            << "922337203685477580.3" << "922337203685477580.3" << 0 << "1844674407370955161";
        QTest::newRow("gives up one digit, negative")
            << "-922337203685477580.3" << "-922337203685477580.3" << 0 << "-1844674407370955161";
        QTest::newRow("alignment alone overflows")
            << "9223372036854775807" << "0.1" << 1 << "9223372036854775807";
        QTest::newRow("overflow") << "9223372036854775807" << "1" << 1 << "";
    }

    void arithmetic()
    {
        QFETCH(QString, a);
        QFETCH(QString, b);
        QFETCH(int, order);
        QFETCH(QString, sum);
        const decimal x(a);
        const decimal y(b);
        QCOMPARE(x == y, order == 0);
        QCOMPARE(x < y, order < 0);
        QCOMPARE(y < x, order > 0);
        if (sum.isEmpty()) {
            QVERIFY_EXCEPTION_THROWN(x + y, Exception);
            return;
        }
        QCOMPARE((x + y).toString(), sum);
        QCOMPARE((y + x).toString(), sum);
    }

    void variantsAndErrors()
    {
        // Slots and views reach decimals by the type's name, as the host registers it.
        QCOMPARE(QMetaType::type("decimal"), qMetaTypeId<decimal>());
        const QVariant v = QVariant::fromValue(decimal(QStringLiteral("1.50")));
        QCOMPARE(v.toString(), QStringLiteral("1.50"));
        QCOMPARE(v, QVariant::fromValue(decimal(QStringLiteral("1.5"))));
        QCOMPARE(decimal(QStringLiteral("-1234.50")).toDouble(), -1234.5);
        QVERIFY_EXCEPTION_THROWN(decimal(1, 19), Exception);

        // The user's point or the canonical one, but never both.
        QLocale::setDefault(ru);
        QVERIFY(decimal::canConvert(QStringLiteral("-1.5"), false));
        QVERIFY(!decimal::canConvert(QStringLiteral("1,5.0"), false));
    }

    void extendedDecimal()
    {
        const xdecimal big(QStringLiteral("-123456789012345678901234.5678"));
        QCOMPARE(big.toString(), QStringLiteral("-123456789012345678901234.5678"));
        QVERIFY_EXCEPTION_THROWN(big.toDecimal(), Exception);
        QCOMPARE(xdecimal(decimal(QStringLiteral("-1.50"))).toDecimal().toString(), QStringLiteral("-1.50"));

        // Beyond 64 bits the sum stays exact.
        const xdecimal max64(QStringLiteral("9223372036854775807"));
        QCOMPARE((max64 + max64).toString(), QStringLiteral("18446744073709551614"));
        QVERIFY(xdecimal(QStringLiteral("1.5")) == xdecimal(QStringLiteral("1.500")));
        QVERIFY(!(xdecimal(QStringLiteral("1.5")) == xdecimal(QStringLiteral("1.501"))));
        QVERIFY_EXCEPTION_THROWN(xdecimal(QString(37, QLatin1Char('9'))), Exception);

        QLocale::setDefault(QLocale(QLocale::German, QLocale::Germany));
        QCOMPARE(xdecimal(QStringLiteral("12345678901234567890123.25")).toSystemString(),
            QStringLiteral("12.345.678.901.234.567.890.123,25"));
    }
};

QTEST_GUILESS_MAIN(TestDecimal)
#include "tst_decimal.moc"
