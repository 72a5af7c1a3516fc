#include <vetrel/checkbox.h>
#include <vetrel/groupbox.h>
#include <vetrel/radiobutton.h>
#include <vetrel/vetrelcombobox.h>

#include <QAbstractItemView>
#include <QButtonGroup>
#include <QMetaProperty>
#include <QSignalSpy>
#include <QTest>

// The widgets alone; tst_boundchoices drives them inside bound forms.
class TestChoiceWidgets : public QObject
{
    Q_OBJECT

private slots:
    void valueIsTheUserProperty_data();
    void valueIsTheUserProperty();
    void comboBox();
    void radioButtons();
    void checkBoxSetValue();
    void groupBoxNeverSetsTheValue();
};

void TestChoiceWidgets::valueIsTheUserProperty_data()
{
    QTest::addColumn<QObject *>("widget");
    QTest::addColumn<QByteArray>("binding");
    QTest::addColumn<int>("type");

    QTest::newRow("VetrelComboBox") << static_cast<QObject *>(new VetrelComboBox) << QByteArray("thisOnly")
                                    << int(QMetaType::QVariant);
    QTest::newRow("RadioButton") << static_cast<QObject *>(new RadioButton) << QByteArray("this")
                                 << int(QMetaType::QString);
    QTest::newRow("CheckBox") << static_cast<QObject *>(new CheckBox) << QByteArray("this") << int(QMetaType::QString);
}

void TestChoiceWidgets::valueIsTheUserProperty()
{
    QFETCH(QObject *, widget);
    QFETCH(QByteArray, binding);
    QFETCH(int, type);
    const QScopedPointer<QObject> owner(widget);

    const QMetaObject *meta = widget->metaObject();
    QCOMPARE(meta->classInfo(meta->indexOfClassInfo("Properties")).value(), binding);
    const QMetaProperty user = meta->userProperty();
    QCOMPARE(user.name(), "Value");
    QCOMPARE(user.userType(), type);
    QVERIFY(user.isWritable());
    QCOMPARE(user.notifySignal().name(), QByteArray("changedValue"));
}

void TestChoiceWidgets::comboBox()
{
    VetrelComboBox box;
    QCOMPARE(box.getValue(), QString());
    box.addItem(QStringLiteral("Moscow"), QStringLiteral("MICEX"));
    box.addItem(QStringLiteral("Futures"), QStringLiteral("FORTS"));
    box.addItem(QStringLiteral("Futures (evening)"), QStringLiteral("FORTS"));
    box.addItem(QStringLiteral("Currency"), 5);
    QCOMPARE(box.getValue(), QStringLiteral("MICEX")); // first item became current
    box.show();
    QVERIFY(QTest::qWaitForWindowExposed(&box));
    QSignalSpy spy(&box, &VetrelComboBox::changedValue);

    // Two items carry FORTS: the later is chosen, announced exactly once.
    box.setValue(QStringLiteral("FORTS"));
    QCOMPARE(box.currentIndex(), 2);
    QCOMPARE(spy.count(), 1);
    QCOMPARE(spy.takeFirst().at(0), QVariant(QStringLiteral("FORTS")));
    box.setValue(QStringLiteral("FORTS"));
    box.setValue(QStringLiteral("NYSE")); // no such item
    QCOMPARE(box.currentIndex(), 2);
    QCOMPARE(box.getValue(), QStringLiteral("FORTS"));
    QCOMPARE(spy.count(), 0);

    // The user picks the other FORTS item: nothing new for the form.
    box.showPopup();
    QAbstractItemView *list = box.view();
    QTest::mouseClick(
        list->viewport(), Qt::LeftButton, {}, list->visualRect(box.model()->index(1, 0)).center());
    QTRY_VERIFY(!list->isVisible());
    QCOMPARE(box.currentIndex(), 1);
    QCOMPARE(spy.count(), 0);

    box.setFocus();
    QTest::keyClick(&box, Qt::Key_End);
    QCOMPARE(spy.count(), 1);
    QCOMPARE(spy.takeFirst().at(0), QVariant(5));

    box.clear(); // index -1 is no choice and keeps the value
    QCOMPARE(spy.count(), 0);
    QCOMPARE(box.getValue(), QStringLiteral("5"));
}

void TestChoiceWidgets::radioButtons()
{
    QWidget form;
    auto *buy = new RadioButton(&form);
    auto *sell = new RadioButton(&form);
    buy->setProperty("value", QStringLiteral("B"));
    sell->setProperty("value", QStringLiteral("S"));
    QSignalSpy spy(buy, &RadioButton::changedValue);

    for (const QString &value : { QStringLiteral("S"), QStringLiteral("B") }) {
        for (RadioButton *button : { buy, sell })
            button->setValue(value);
        QCOMPARE(buy->isChecked(), value == QLatin1String("B"));
        QCOMPARE(sell->isChecked(), value == QLatin1String("S"));
        QCOMPARE(buy->getValue(), value);
        QCOMPARE(sell->getValue(), value);
    }

    // A value no button stands for unchecks the group, auto-exclusive or in a
    // button group, and the group stays exclusive.
    buy->setValue(QStringLiteral("X"));
    QVERIFY(!buy->isChecked());
    QVERIFY(buy->autoExclusive());
    QButtonGroup group;
    group.addButton(buy);
    group.addButton(sell);
    sell->setValue(QStringLiteral("S"));
    sell->setValue(QStringLiteral("X"));
    QCOMPARE(group.checkedButton(), nullptr);
    QVERIFY(group.exclusive());
    QCOMPARE(spy.count(), 0);

    RadioButton bare;
    bare.setValue(QString());
    QVERIFY(bare.isChecked()); // no "value" reads as the empty text
}

void TestChoiceWidgets::checkBoxSetValue()
{
    CheckBox box;
    box.setProperty("value_checked", QStringLiteral("Y"));
    box.setProperty("value_unchecked", QStringLiteral("N"));
    QSignalSpy spy(&box, &CheckBox::changedValue);

    box.setValue(QStringLiteral("Y"));
    QVERIFY(box.isChecked());
    box.setValue(QStringLiteral("N"));
    QVERIFY(!box.isChecked());
    QCOMPARE(box.getValue(), QStringLiteral("N"));

    box.setValue(QStringLiteral("Y"));
    QTest::ignoreMessage(QtDebugMsg, "undef value for CheckBox::setValue \"maybe\"");
    box.setValue(QStringLiteral("maybe"));
    QVERIFY(box.isChecked());
    QCOMPARE(box.getValue(), QStringLiteral("Y"));
    QCOMPARE(spy.count(), 0);
}

void TestChoiceWidgets::groupBoxNeverSetsTheValue()
{
    GroupBox group;
    QSignalSpy spy(&group, SIGNAL(setProp_Value(QString)));
    QVERIFY(spy.isValid());
    QVERIFY(QMetaObject::invokeMethod(&group, "prop_Value_changed", Q_ARG(QString, QStringLiteral("B"))));
    QCOMPARE(spy.count(), 0);
}

QTEST_MAIN(TestChoiceWidgets)
#include "tst_choicewidgets.moc"
