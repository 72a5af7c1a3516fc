#include "formtest.h"

#include <vetrel/label.h>
#include <vetrel/quantityeditor.h>
#include <vetrel/slidergroup.h>
#include <vetrel/summator.h>

#include <QCheckBox>
#include <QSlider>

class TestFormWidgets : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup() { QLocale::setDefault(QLocale::c()); }

    // The group declares no binding of its own: the walk reaches its quantity
    // field, which the host names like any other field.
    void sliderGroupInAForm()
    {
        QWidget form;
        auto *group = new SliderGroup(QStringLiteral("Limit"), QStringLiteral("Volume"), &form);
        group->setMaximum(100);
        auto *check = group->findChild<QCheckBox *>();
        auto *editor = group->findChild<QuantityEditor *>();
        auto *slider = group->findChild<QSlider *>();
        editor->setProperty("field", QStringLiteral("Limit"));
        auto *shown = bound<QuantityEditor>(&form, QStringLiteral("Limit"));
        Properties properties(&form);
        QVERIFY(connectAndShow(form, properties));
        QSignalSpy changed(group, &SliderGroup::changedValue);

        QVERIFY(!editor->isEnabled() && !slider->isEnabled());
        QTest::mouseClick(check, Qt::LeftButton);
        QVERIFY(changed.isEmpty()); // the number is reported when it next changes
        QTest::keyClicks(editor, QStringLiteral("42"));
        QCOMPARE(stored(properties, QStringLiteral("Limit")), QStringLiteral("42"));
        QCOMPARE(emitted(changed), QStringList({ "4", "42" }));

        // Beyond the range: the clamped number, not the typed one, is shown and
        // reaches the form. At the maximum the slider does not move, so nothing
        // but the group itself can put the bound back in place of a typed digit.
        QTest::keyClicks(editor, QStringLiteral("7"));
        QCOMPARE(shown->text(), QStringLiteral("100"));
        QCOMPARE(emitted(changed), QStringList { "100" });
        editor->end(false);
        QTest::keyClicks(editor, QStringLiteral("0"));
        QCOMPARE(editor->getValue(), QStringLiteral("100"));
        QVERIFY(changed.isEmpty());

        // Switched off: 0 is reported while the slider keeps its place.
        QTest::mouseClick(check, Qt::LeftButton);
        QCOMPARE(emitted(changed), QStringList { "0" });
        QCOMPARE(group->getValue(), 0);
        QCOMPARE(slider->value(), 100);
        QVERIFY(!editor->isEnabled() && !slider->isEnabled());

        // Set by the host: switched on and told once.
        group->setValue(5);
        group->setValue(5);
        QVERIFY(group->getRestrict() && editor->isEnabled() && slider->isEnabled());
        QCOMPARE(editor->text(), QStringLiteral("5"));
        QCOMPARE(emitted(changed), QStringList { "5" });
    }

    void sums_data()
    {
        QTest::addColumn<QString>("locale");
        QTest::addColumn<QString>("summand");
        QTest::addColumn<QString>("addendum");
        QTest::addColumn<QString>("value");

        QTest::newRow("common scale kept") << "C" << "-1.50" << "0.5" << "-1.00";
        QTest::newRow("addendum not a number") << "C" << "1.5" << "abc" << "1.5";
        QTest::newRow("summand not a number") << "C" << "abc" << "2" << "abc";
        QTest::newRow("both empty") << "C" << "" << "" << "";
        QTest::newRow("overflow") << "C" << "5000000000000000000" << "5000000000000000000" << "5000000000000000000";
        // Locale notation passes the loose check but is no canonical text.
        QTest::newRow("locale notation") << "de_DE" << "1,5" << "1" << "1,5";
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
        // Each new result is announced once: the summand alone, then the sum.
        summator.update();
        QStringList announced { summand, value };
        announced.removeAll(QString());
        announced.removeDuplicates();
        QCOMPARE(emitted(spy), announced);
    }

    // Red with the message as tooltip; clearing undoes only our own colouring.
    void labelErrors()
    {
        Label label(QStringLiteral("Price"));
        label.setStyleSheet(QStringLiteral("Label{font-weight: bold}"));
        label.clearError();
        QCOMPARE(label.styleSheet(), QStringLiteral("Label{font-weight: bold}"));
        label.setError(QStringLiteral("x"));
        QVERIFY(label.hasError() && label.styleSheet().contains(QLatin1String("color: red")));
        QCOMPARE(label.toolTip(), QStringLiteral("x"));
        label.clearError();
        QVERIFY(!label.hasError() && !label.styleSheet().contains(QLatin1String("red")));
    }

};

QTEST_MAIN(TestFormWidgets)
#include "tst_formwidgets.moc"
