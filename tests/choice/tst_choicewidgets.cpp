#include <vetrel/checkbox.h>
#include <vetrel/groupbox.h>
#include <vetrel/radiobutton.h>
#include <vetrel/vetrelcombobox.h>

#include <QAbstractItemView>
#include <QButtonGroup>
#include <QMetaProperty>
#include <QSignalSpy>
#include <QTest>
#include <QVBoxLayout>

class TestChoiceWidgets : public QObject
{
    Q_OBJECT

private slots:
    void valueIsTheUserProperty_data();
    void valueIsTheUserProperty();
    void comboBoxSetValue();
    void comboBoxUserPick();
    void radioButtonsOfOneGroup();
    void radioButtonClicks();
    void radioButtonsInButtonGroup();
    void checkBoxSetValue();
    void checkBoxClicks();
    void groupBoxNeverSetsTheValue();
};

namespace
{

QString classInfo(const QObject &object, const char *name)
{
    const QMetaObject *meta = object.metaObject();
    const int index = meta->indexOfClassInfo(name);
    return index < 0 ? QString() : QString::fromLatin1(meta->classInfo(index).value());
}

void fillMarkets(VetrelComboBox &box)
{
    box.addItem(QStringLiteral("Moscow"), QStringLiteral("MICEX"));
    box.addItem(QStringLiteral("Futures"), QStringLiteral("FORTS"));
    box.addItem(QStringLiteral("Futures (evening)"), QStringLiteral("FORTS"));
    box.addItem(QStringLiteral("Currency"), 5);
}

void clickItem(VetrelComboBox &box, int row)
{
    box.showPopup();
    QAbstractItemView *list = box.view();
    const QRect rect = list->visualRect(box.model()->index(row, 0));
    QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, rect.center());
    QTRY_VERIFY(!list->isVisible());
}

struct RadioPair {
    QWidget form;
    RadioButton *buy = new RadioButton(&form);
    RadioButton *sell = new RadioButton(&form);
    RadioPair()
    {
        buy->setText(QStringLiteral("Buy"));
        sell->setText(QStringLiteral("Sell"));
        buy->setProperty("value", QStringLiteral("B"));
        sell->setProperty("value", QStringLiteral("S"));
        auto *layout = new QVBoxLayout(&form);
        layout->addWidget(buy);
        layout->addWidget(sell);
    }
};

void configure(CheckBox &box)
{
    box.setText(QStringLiteral("Confirm"));
    box.setProperty("value_checked", QStringLiteral("Y"));
    box.setProperty("value_unchecked", QStringLiteral("N"));
}

}

void TestChoiceWidgets::valueIsTheUserProperty_data()
{
    QTest::addColumn<QObject *>("widget");
    QTest::addColumn<QString>("binding");
    QTest::addColumn<int>("type");

    QTest::newRow("VetrelComboBox") << static_cast<QObject *>(new VetrelComboBox) << "thisOnly"
                                    << int(QMetaType::QVariant);
    QTest::newRow("RadioButton") << static_cast<QObject *>(new RadioButton) << "this" << int(QMetaType::QString);
    QTest::newRow("CheckBox") << static_cast<QObject *>(new CheckBox) << "this" << int(QMetaType::QString);
}

void TestChoiceWidgets::valueIsTheUserProperty()
{
    QFETCH(QObject *, widget);
    QFETCH(QString, binding);
    QFETCH(int, type);
    const QScopedPointer<QObject> owner(widget);

    QCOMPARE(classInfo(*widget, "Properties"), binding);
    const QMetaProperty user = widget->metaObject()->userProperty();
    QCOMPARE(user.name(), "Value");
    QCOMPARE(user.userType(), type);
    QVERIFY(user.isWritable());
    QVERIFY(user.hasNotifySignal());
    QCOMPARE(user.notifySignal().name(), QByteArray("changedValue"));
}

void TestChoiceWidgets::comboBoxSetValue()
{
    VetrelComboBox box;
    fillMarkets(box);
    QSignalSpy spy(&box, &VetrelComboBox::changedValue);

    // Two items carry FORTS: the later one is chosen, announced once.
    box.setValue(QStringLiteral("FORTS"));
    QCOMPARE(box.currentIndex(), 2);
    QCOMPARE(box.getValue(), QStringLiteral("FORTS"));
    QCOMPARE(spy.count(), 1);
    QCOMPARE(spy.takeFirst().at(0), QVariant(QStringLiteral("FORTS")));

    box.setValue(QStringLiteral("FORTS"));
    QCOMPARE(spy.count(), 0);

    box.setValue(QStringLiteral("NYSE"));
    QCOMPARE(box.currentIndex(), 2);
    QCOMPARE(box.getValue(), QStringLiteral("FORTS"));
    QCOMPARE(spy.count(), 0);

    // Text from the store finds an item whose data is a number.
    box.setValue(QStringLiteral("5"));
    QCOMPARE(box.currentIndex(), 3);
    QCOMPARE(box.getValue(), QStringLiteral("5"));
    QCOMPARE(spy.count(), 1);

    // Written through the property, as the binding engine does.
    QVERIFY(box.setProperty("Value", QStringLiteral("MICEX")));
    QCOMPARE(box.currentIndex(), 0);
    QCOMPARE(box.property("Value"), QVariant(QStringLiteral("MICEX")));
    QCOMPARE(spy.count(), 2);
}

void TestChoiceWidgets::comboBoxUserPick()
{
    VetrelComboBox box;
    QCOMPARE(box.getValue(), QString());
    fillMarkets(box); // the first item became current while filling
    QCOMPARE(box.getValue(), QStringLiteral("MICEX"));
    box.show();
    QVERIFY(QTest::qWaitForWindowExposed(&box));
    QSignalSpy spy(&box, &VetrelComboBox::changedValue);

    clickItem(box, 1);
    QCOMPARE(box.currentIndex(), 1);
    QCOMPARE(spy.count(), 1);
    QCOMPARE(spy.takeFirst().at(0), QVariant(QStringLiteral("FORTS")));

    // Another item with the data already held changes nothing for the form.
    clickItem(box, 2);
    QCOMPARE(box.currentIndex(), 2);
    QCOMPARE(spy.count(), 0);

    box.setFocus();
    QTest::keyClick(&box, Qt::Key_Down);
    QCOMPARE(box.currentIndex(), 3);
    QCOMPARE(spy.count(), 1);
    QCOMPARE(spy.takeFirst().at(0), QVariant(5));

    box.clear(); // index -1 is no choice and keeps the value
    QCOMPARE(spy.count(), 0);
    QCOMPARE(box.getValue(), QStringLiteral("5"));
}

void TestChoiceWidgets::radioButtonsOfOneGroup()
{
    RadioPair pair;
    QSignalSpy buySpy(pair.buy, &RadioButton::changedValue);
    QSignalSpy sellSpy(pair.sell, &RadioButton::changedValue);

    for (RadioButton *button : {pair.buy, pair.sell})
        button->setValue(QStringLiteral("S"));
    QVERIFY(!pair.buy->isChecked());
    QVERIFY(pair.sell->isChecked());
    QCOMPARE(pair.buy->getValue(), QStringLiteral("S"));
    QCOMPARE(pair.sell->getValue(), QStringLiteral("S"));

    for (RadioButton *button : {pair.buy, pair.sell})
        button->setValue(QStringLiteral("B"));
    QVERIFY(pair.buy->isChecked());
    QVERIFY(!pair.sell->isChecked());
    QCOMPARE(pair.sell->getValue(), QStringLiteral("B"));

    // A value no button stands for leaves the group unchecked, in either order.
    pair.buy->setValue(QString());
    pair.sell->setValue(QString());
    QVERIFY(!pair.buy->isChecked());
    QVERIFY(!pair.sell->isChecked());
    QVERIFY(pair.buy->autoExclusive());
    QCOMPARE(pair.buy->getValue(), QString());

    QCOMPARE(buySpy.count() + sellSpy.count(), 0);

    RadioButton bare;
    bare.setValue(QString());
    QVERIFY(bare.isChecked()); // no "value" reads as the empty text
}

void TestChoiceWidgets::radioButtonClicks()
{
    RadioPair pair;
    pair.form.show();
    QVERIFY(QTest::qWaitForWindowExposed(&pair.form));
    QSignalSpy buySpy(pair.buy, &RadioButton::changedValue);
    QSignalSpy sellSpy(pair.sell, &RadioButton::changedValue);

    QTest::mouseClick(pair.sell, Qt::LeftButton);
    QVERIFY(pair.sell->isChecked());
    QCOMPARE(sellSpy.count(), 1);
    QCOMPARE(sellSpy.takeFirst().at(0).toString(), QStringLiteral("S"));
    QCOMPARE(buySpy.count(), 0);

    // A click on the checked button of the group changes nothing.
    QTest::mouseClick(pair.sell, Qt::LeftButton);
    QVERIFY(pair.sell->isChecked());
    QCOMPARE(sellSpy.count(), 0);

    QTest::mouseClick(pair.buy, Qt::LeftButton);
    QCOMPARE(buySpy.count(), 1);
    QCOMPARE(pair.buy->getValue(), QStringLiteral("B"));
    QCOMPARE(sellSpy.count(), 0); // the unchecked neighbour stays silent
}

void TestChoiceWidgets::radioButtonsInButtonGroup()
{
    RadioPair pair;
    QButtonGroup group;
    group.addButton(pair.buy);
    group.addButton(pair.sell);
    pair.buy->setValue(QStringLiteral("B"));
    QCOMPARE(group.checkedButton(), pair.buy);
    pair.buy->setValue(QStringLiteral("X"));
    QCOMPARE(group.checkedButton(), nullptr);
    QVERIFY(group.exclusive());
}

void TestChoiceWidgets::checkBoxSetValue()
{
    CheckBox box;
    configure(box);
    QSignalSpy spy(&box, &CheckBox::changedValue);
    QSignalSpy toggled(&box, &QCheckBox::toggled);

    box.setValue(QStringLiteral("Y"));
    QVERIFY(box.isChecked());
    QCOMPARE(box.getValue(), QStringLiteral("Y"));
    box.setValue(QStringLiteral("N"));
    QVERIFY(!box.isChecked());
    QCOMPARE(box.getValue(), QStringLiteral("N"));
    QCOMPARE(toggled.count(), 2);

    box.setValue(QStringLiteral("Y"));
    QTest::ignoreMessage(QtDebugMsg, "undef value for CheckBox::setValue \"maybe\"");
    box.setValue(QStringLiteral("maybe"));
    QVERIFY(box.isChecked());
    QCOMPARE(box.getValue(), QStringLiteral("Y"));
    QCOMPARE(spy.count(), 0);
}

void TestChoiceWidgets::checkBoxClicks()
{
    CheckBox box;
    configure(box);
    box.setValue(QStringLiteral("N"));
    box.show();
    QVERIFY(QTest::qWaitForWindowExposed(&box));
    QSignalSpy spy(&box, &CheckBox::changedValue);

    QTest::mouseClick(&box, Qt::LeftButton);
    QVERIFY(box.isChecked());
    QCOMPARE(spy.count(), 1);
    QCOMPARE(spy.takeFirst().at(0).toString(), QStringLiteral("Y"));

    // Unchecking announces the checked text too; the state is in getValue().
    QTest::keyClick(&box, Qt::Key_Space);
    QVERIFY(!box.isChecked());
    QCOMPARE(spy.count(), 1);
    QCOMPARE(spy.takeFirst().at(0).toString(), QStringLiteral("Y"));
    QCOMPARE(box.getValue(), QStringLiteral("N"));
}

void TestChoiceWidgets::groupBoxNeverSetsTheValue()
{
    GroupBox group;
    const QMetaObject *meta = group.metaObject();
    QVERIFY(meta->indexOfSignal("setProp_Value(QString)") >= 0);
    QVERIFY(meta->indexOfSlot("prop_Value_changed(QString)") >= 0);

    QSignalSpy spy(&group, &GroupBox::setProp_Value);
    QVERIFY(QMetaObject::invokeMethod(&group, "prop_Value_changed", Q_ARG(QString, QStringLiteral("B"))));
    QCOMPARE(spy.count(), 0);
}

QTEST_MAIN(TestChoiceWidgets)
#include "tst_choicewidgets.moc"
