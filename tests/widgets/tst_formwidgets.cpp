#include "formtest.h"

#include <vetrel/label.h>
#include <vetrel/numbereditor.h>
#include <vetrel/quantityeditor.h>
#include <vetrel/slidergroup.h>
#include <vetrel/summator.h>

#include <QCheckBox>
#include <QSlider>

class TestFormWidgets : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_group = new SliderGroup(QStringLiteral("Limit"), QStringLiteral("Volume"));
        m_group->setMaximum(100);
        m_check = m_group->findChild<QCheckBox *>();
        m_editor = m_group->findChild<QuantityEditor *>();
        m_slider = m_group->findChild<QSlider *>();
        QVERIFY(m_check && m_editor && m_slider);
        m_changed = new QSignalSpy(m_group, &SliderGroup::changedValue);
        m_changed->setParent(m_group);
    }

    void cleanup()
    {
        delete m_group;
        QLocale::setDefault(QLocale::c());
    }

    void setValueSwitchesOn()
    {
        QVERIFY(!m_editor->isEnabled() && !m_slider->isEnabled());
        m_group->setValue(5);
        m_group->setValue(5);
        QVERIFY(m_group->getRestrict() && m_editor->isEnabled() && m_slider->isEnabled());
        QCOMPARE(m_editor->text(), QStringLiteral("5"));
        QCOMPARE(emitted(*m_changed), QStringList { "5" });
    }

    // The group declares no binding of its own: the walk reaches its quantity
    // field, which the host names like any other field.
    void sliderGroupInAForm()
    {
        QWidget form;
        m_group->setParent(&form);
        m_editor->setProperty("field", QStringLiteral("Limit"));
        auto *shown = bound<QuantityEditor>(&form, QStringLiteral("Limit"));
        form.show();
        QVERIFY(QTest::qWaitForWindowExposed(&form));
        Properties properties(&form);
        QVERIFY(properties.connectAll(&form));

        QTest::mouseClick(m_check, Qt::LeftButton);
        QVERIFY(m_changed->isEmpty()); // the number is reported when it next changes

        QTest::keyClicks(m_editor, QStringLiteral("42"));
        QCOMPARE(stored(properties, QStringLiteral("Limit")), QStringLiteral("42"));
        QCOMPARE(lastEmitted(), 42);

        // Beyond the range: the clamped number, not the typed one, is shown and reaches the form.
        QTest::keyClicks(m_editor, QStringLiteral("7"));
        QCOMPARE(shown->text(), QStringLiteral("100"));
        QCOMPARE(lastEmitted(), 100);

        // Switched off: 0 is reported while the slider keeps its place.
        QTest::mouseClick(m_check, Qt::LeftButton);
        QCOMPARE(lastEmitted(), 0);
        QCOMPARE(m_group->getValue(), 0);
        QCOMPARE(m_slider->value(), 100);
        QVERIFY(!m_editor->isEnabled() && !m_slider->isEnabled());
    }

    // At the maximum the slider does not move, so nothing but the group itself
    // can put the bound back in place of a typed digit.
    void typedBeyondTheMaximum()
    {
        m_group->setValue(100);
        m_changed->clear();
        m_editor->end(false);
        QTest::keyClicks(m_editor, QStringLiteral("0"));
        QCOMPARE(m_editor->getValue(), QStringLiteral("100"));
        QVERIFY(m_changed->isEmpty());
    }

    void sums_data()
    {
        QTest::addColumn<QString>("locale");
        QTest::addColumn<QString>("summand");
        QTest::addColumn<QString>("addendum");
        QTest::addColumn<QString>("value");

        QTest::newRow("fractions") << "C" << "1.5" << "2.25" << "3.75";
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

    // Price + Fee = Total, typed; a third field shows the summator's read-only value.
    void summatorInAForm()
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
        const auto total = [&] { return stored(properties, QStringLiteral("Total")); };

        QTest::keyClicks(price, QStringLiteral("1.5"));
        QTest::keyClicks(fee, QStringLiteral("2.25"));
        QCOMPARE(total(), QStringLiteral("3.75"));

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

private:
    int lastEmitted() const { return m_changed->last().at(0).toInt(); }

    QPointer<SliderGroup> m_group; // may die with a form it was lent to
    QCheckBox *m_check = nullptr;
    QuantityEditor *m_editor = nullptr;
    QSlider *m_slider = nullptr;
    QSignalSpy *m_changed = nullptr;
};

QTEST_MAIN(TestFormWidgets)
#include "tst_formwidgets.moc"
