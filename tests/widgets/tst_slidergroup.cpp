#include "formtest.h"

#include <vetrel/quantityeditor.h>
#include <vetrel/slidergroup.h>

#include <QCheckBox>
#include <QSlider>

class TestSliderGroup : public QObject
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
        QCOMPARE(m_check->text(), QStringLiteral("Limit"));
        m_changed = new QSignalSpy(m_group, &SliderGroup::changedValue);
        m_changed->setParent(m_group);
    }

    void cleanup() { delete m_group; }

    void setValueSwitchesOn()
    {
        QVERIFY(!m_group->getRestrict());
        QVERIFY(!m_editor->isEnabled() && !m_slider->isEnabled());
        QCOMPARE(m_group->getValue(), 0);

        m_group->setValue(5);
        QVERIFY(m_group->getRestrict());
        QVERIFY(m_editor->isEnabled() && m_slider->isEnabled());
        QCOMPARE(m_editor->text(), QStringLiteral("5"));
        QCOMPARE(m_changed->count(), 1);
        QCOMPARE(lastEmitted(), 5);
        m_group->setValue(5);
        QCOMPARE(m_changed->count(), 1);
        m_group->setValue(500);
        QCOMPARE(m_group->getValue(), 100);
        QCOMPARE(m_editor->getValue(), QStringLiteral("100"));
    }

    // The group declares no binding of its own: the walk reaches its quantity
    // field, which the host names like any other field.
    void boundInAForm()
    {
        QWidget form;
        m_group->setParent(&form);
        m_editor->setProperty("field", QStringLiteral("Limit"));
        auto *shown = bound<QuantityEditor>(&form, QStringLiteral("Limit"));
        form.show();
        QVERIFY(QTest::qWaitForWindowExposed(&form));
        Properties properties(&form);
        QVERIFY(properties.connectAll(&form));
        const auto limit = [&] { return stored(properties, QStringLiteral("Limit")); };

        QTest::mouseClick(m_check, Qt::LeftButton);
        QVERIFY(m_editor->isEnabled() && m_slider->isEnabled());
        QVERIFY(m_changed->isEmpty()); // the number is reported when it next changes

        QTest::keyClicks(m_editor, QStringLiteral("42"));
        QCOMPARE(limit(), QStringLiteral("42"));
        QCOMPARE(lastEmitted(), 42);

        // Beyond the range: the clamped number, not the typed one, is shown and reaches the form.
        QTest::keyClicks(m_editor, QStringLiteral("7"));
        QCOMPARE(limit(), QStringLiteral("100"));
        QCOMPARE(shown->text(), QStringLiteral("100"));
        QCOMPARE(lastEmitted(), 100);

        m_slider->setFocus();
        QTest::keyClick(m_slider, Qt::Key_PageDown);
        const int position = m_slider->value();
        QVERIFY(position < 100);
        QCOMPARE(m_editor->text(), QString::number(position));
        QCOMPARE(lastEmitted(), position);

        // Switched off: 0 is reported while the slider keeps its place.
        QTest::mouseClick(m_check, Qt::LeftButton);
        QCOMPARE(lastEmitted(), 0);
        QCOMPARE(m_group->getValue(), 0);
        QCOMPARE(m_slider->value(), position);
        QVERIFY(!m_editor->isEnabled() && !m_slider->isEnabled());
    }

    void typedBeyondTheBoundItStandsAt_data()
    {
        QTest::addColumn<int>("bound");
        QTest::addColumn<bool>("overwrite");
        QTest::addColumn<QString>("typed");
        QTest::newRow("a digit after the maximum") << 100 << false << QStringLiteral("0");
        QTest::newRow("below the minimum") << 10 << true << QStringLiteral("3");
        QTest::newRow("cleared at the minimum") << 10 << true << QString();
    }

    // The slider does not move, so nothing but the group itself can put the
    // bound back in place of what was typed.
    void typedBeyondTheBoundItStandsAt()
    {
        QFETCH(int, bound);
        QFETCH(bool, overwrite);
        QFETCH(QString, typed);
        m_group->setMinimum(10);
        m_group->setValue(bound);
        m_changed->clear();

        if (overwrite)
            m_editor->selectAll();
        else
            m_editor->end(false);
        if (typed.isEmpty())
            QTest::keyClick(m_editor, Qt::Key_Delete);
        else
            QTest::keyClicks(m_editor, typed);
        QCOMPARE(m_editor->getValue(), QString::number(bound));
        QCOMPARE(m_group->getValue(), bound);
        QVERIFY(m_changed->isEmpty());
    }

private:
    int lastEmitted() const { return m_changed->last().at(0).toInt(); }

    QPointer<SliderGroup> m_group; // may die with a form it was lent to
    QCheckBox *m_check = nullptr;
    QuantityEditor *m_editor = nullptr;
    QSlider *m_slider = nullptr;
    QSignalSpy *m_changed = nullptr;
};

QTEST_MAIN(TestSliderGroup)
#include "tst_slidergroup.moc"
