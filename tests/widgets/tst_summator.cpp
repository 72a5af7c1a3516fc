#include "formtest.h"

#include <vetrel/numbereditor.h>
#include <vetrel/summator.h>

class TestSummator : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup() { QLocale::setDefault(QLocale::c()); }

    void sums_data()
    {
        QTest::addColumn<QString>("locale");
        QTest::addColumn<QString>("summand");
        QTest::addColumn<QString>("addendum");
        QTest::addColumn<QString>("value");

        QTest::newRow("fractions") << "C" << "1.5" << "2.25" << "3.75";
        QTest::newRow("common scale kept") << "C" << "-1.50" << "0.5" << "-1.00";
        QTest::newRow("negative result") << "C" << "2" << "-3.125" << "-1.125";
        QTest::newRow("addendum not a number") << "C" << "1.5" << "abc" << "1.5";
        QTest::newRow("summand not a number") << "C" << "abc" << "2" << "abc";
        QTest::newRow("empty addendum") << "C" << "7" << "" << "7";
        QTest::newRow("both empty") << "C" << "" << "" << "";
        QTest::newRow("overflow") << "C" << "5000000000000000000" << "5000000000000000000" << "5000000000000000000";
        // Locale notation passes the loose check but is no canonical text.
        QTest::newRow("locale notation") << "de_DE" << "1,5" << "1" << "1,5";
        QTest::newRow("canonical under a comma locale") << "de_DE" << "1.5" << "1" << "2.5";
    }

    void sums()
    {
        QFETCH(QString, locale);
        QFETCH(QString, summand);
        QFETCH(QString, addendum);
        QFETCH(QString, value);

        QLocale::setDefault(QLocale(locale));
        Summator summator;
        QSignalSpy spy(&summator, &Summator::changedValue);
        summator.setProperty("Summand", summand);
        summator.setProperty("Addendum", addendum);
        QCOMPARE(summator.property("Value").toString(), value);
        QCOMPARE(spy.isEmpty(), value.isEmpty());
        if (!spy.isEmpty())
            QCOMPARE(spy.last().at(0).toString(), value);

        // Only a new result is announced.
        spy.clear();
        summator.setProperty("Addendum", QStringLiteral("x"));
        summator.setProperty("Addendum", QStringLiteral("y"));
        summator.update();
        QCOMPARE(spy.count(), summand == value ? 0 : 1);
    }

    // Price + Fee = Total, typed as a trader would; the total is shown in a
    // third field bound to the summator's read-only value.
    void boundInAForm()
    {
        QWidget form;
        auto *price = bound<NumberEditor>(&form, QStringLiteral("Price"), 2);
        auto *fee = bound<NumberEditor>(&form, QStringLiteral("Fee"), 2);
        auto *totalField = bound<NumberEditor>(&form, QStringLiteral("Total"), 2);
        auto *summator = bound<Summator>(&form, QStringLiteral("Total"));
        summator->setProperty("fields", QStringLiteral("Price=Summand Fee=Addendum"));
        form.show();

        Properties properties(&form);
        QVERIFY(properties.connectAll(&form));
        QSignalSpy changed(&properties, &Properties::hasChanged);
        const auto total = [&] { return stored(properties, QStringLiteral("Total")); };

        QTest::keyClicks(price, QStringLiteral("1.5"));
        QCOMPARE(total(), QStringLiteral("1.5"));
        QTest::keyClicks(fee, QStringLiteral("2.25"));
        QCOMPARE(total(), QStringLiteral("3.75"));
        QCOMPARE(totalField->text(), QStringLiteral("3.75"));
        QTRY_COMPARE(changed.count(), 1);

        // The host sets an operand: the sum follows into the store and the field.
        properties.setValue(QStringLiteral("Price"), QStringLiteral("10"));
        QCOMPARE(total(), QStringLiteral("12.25"));
        QCOMPARE(totalField->text(), QStringLiteral("12.25"));

        // A cleared fee leaves the price as the total; the bound total cannot be written.
        fee->selectAll();
        QTest::keyClick(fee, Qt::Key_Backspace);
        QCOMPARE(total(), QStringLiteral("10"));
        QTest::keyClicks(totalField, QStringLiteral("9"));
        QCOMPARE(summator->getValue(), QStringLiteral("10"));
    }
};

QTEST_MAIN(TestSummator)
#include "tst_summator.moc"
