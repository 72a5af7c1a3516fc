#include <vetrel/checkbox.h>
#include <vetrel/groupbox.h>
#include <vetrel/lineedit.h>
#include <vetrel/radiobutton.h>
#include <vetrel/vetrelcombobox.h>

#include <QAbstractItemView>
#include <QButtonGroup>
#include <QVBoxLayout>

#include "formtest.h"

namespace
{

// Where the user clicks: the button's own area ends with its text, well short
// of the width a layout gives it.
void clickIndicator(QWidget *button)
{
    QTest::mouseClick(button, Qt::LeftButton, {}, QPoint(8, button->height() / 2));
}

}

// Choice widgets bound through Properties in small forms, each beside a line
// edit bound to the same name that shows what travels between them.
class TestChoiceWidgets : public QObject
{
    Q_OBJECT

private slots:
    void radioButtonsOfOneGroup()
    {
        QWidget form;
        new QVBoxLayout(&form);
        auto *side = bound<GroupBox>(&form, QStringLiteral("Side"));
        new QVBoxLayout(side);
        auto *buy = bound<RadioButton>(side, QStringLiteral("Side"));
        auto *sell = bound<RadioButton>(side, QStringLiteral("Side"));
        buy->setText(QStringLiteral("Buy"));
        sell->setText(QStringLiteral("Sell"));
        buy->setProperty("value", QStringLiteral("B"));
        sell->setProperty("value", QStringLiteral("S"));
        auto *echo = bound<LineEdit>(&form, QStringLiteral("Side"));

        Properties properties(Values { { QStringLiteral("Side"), QStringLiteral("S") } });
        QVERIFY(properties.connectAll(&form));
        QVERIFY(sell->isChecked());
        QVERIFY(!buy->isChecked());
        QCOMPARE(echo->text(), QStringLiteral("S"));
        form.show();
        QVERIFY(QTest::qWaitForWindowExposed(&form));
        QCoreApplication::processEvents();
        QSignalSpy changes(&properties, &Properties::hasChanged);
        QSignalSpy buyClicks(buy, &RadioButton::changedValue);
        QSignalSpy sellClicks(sell, &RadioButton::changedValue);

        clickIndicator(buy);
        QCOMPARE(stored(properties, QStringLiteral("Side")), QStringLiteral("B"));
        QCOMPARE(echo->text(), QStringLiteral("B"));
        QVERIFY(!sell->isChecked());
        QCOMPARE(sell->getValue(), QStringLiteral("B"));
        QTRY_COMPARE(changes.count(), 1);

        // Only the clicked button speaks, and a click on the checked one is silent.
        clickIndicator(buy);
        QVERIFY(buy->isChecked());
        QCOMPARE(buyClicks.count(), 1);
        QCOMPARE(sellClicks.count(), 0);

        retype(echo, QStringLiteral("S"));
        QVERIFY(sell->isChecked());
        QVERIFY(!buy->isChecked());

        // A value no button stands for leaves the group unchecked, and still
        // exclusive, whether auto-exclusive or in a button group.
        properties.setValue(QStringLiteral("Side"), QStringLiteral("X"));
        QVERIFY(!buy->isChecked());
        QVERIFY(!sell->isChecked());
        QCOMPARE(buy->getValue(), QStringLiteral("X"));
        QVERIFY(buy->autoExclusive());
        QButtonGroup group;
        group.addButton(buy);
        group.addButton(sell);
        properties.setValue(QStringLiteral("Side"), QStringLiteral("B"));
        properties.setValue(QStringLiteral("Side"), QStringLiteral("X"));
        QCOMPARE(group.checkedButton(), nullptr);
        QVERIFY(group.exclusive());

        clickIndicator(sell);
        QCOMPARE(stored(properties, QStringLiteral("Side")), QStringLiteral("S"));
        QCOMPARE(echo->text(), QStringLiteral("S"));
    }

    void checkBoxBesideLineEdit()
    {
        QWidget form;
        new QVBoxLayout(&form);
        auto *confirm = bound<CheckBox>(&form, QStringLiteral("Confirm"));
        confirm->setText(QStringLiteral("Confirm"));
        confirm->setProperty("value_checked", QStringLiteral("Y"));
        confirm->setProperty("value_unchecked", QStringLiteral("N"));
        auto *echo = bound<LineEdit>(&form, QStringLiteral("Confirm"));

        // The unchecked box is bound first and gives the form its initial value.
        Properties properties;
        QVERIFY(properties.connectAll(&form));
        QCOMPARE(stored(properties, QStringLiteral("Confirm")), QStringLiteral("N"));
        QCOMPARE(echo->text(), QStringLiteral("N"));
        form.show();
        QVERIFY(QTest::qWaitForWindowExposed(&form));

        clickIndicator(confirm);
        QCOMPARE(stored(properties, QStringLiteral("Confirm")), QStringLiteral("Y"));
        QCOMPARE(echo->text(), QStringLiteral("Y"));

        // The click that unchecks announces "Y" too, but the form reads the state.
        QSignalSpy announced(confirm, &CheckBox::changedValue);
        clickIndicator(confirm);
        QCOMPARE(announced.count(), 1);
        QCOMPARE(announced.at(0).at(0).toString(), QStringLiteral("Y"));
        QCOMPARE(stored(properties, QStringLiteral("Confirm")), QStringLiteral("N"));
        QCOMPARE(echo->text(), QStringLiteral("N"));

        retype(echo, QStringLiteral("Y"));
        QVERIFY(confirm->isChecked());

        QTest::ignoreMessage(QtDebugMsg, "undef value for CheckBox::setValue \"?\"");
        properties.setValue(QStringLiteral("Confirm"), QStringLiteral("?"));
        QVERIFY(confirm->isChecked());
        QCOMPARE(confirm->getValue(), QStringLiteral("Y"));
        QCOMPARE(echo->text(), QStringLiteral("?"));
        QCOMPARE(announced.count(), 1);
    }

    void comboBox()
    {
        QWidget form;
        new QVBoxLayout(&form);
        auto *board = bound<VetrelComboBox>(&form, QStringLiteral("Board"));
        board->addItem(QStringLiteral("Shares"), 7);
        board->addItem(QStringLiteral("Futures"), QStringLiteral("FORTS"));
        board->addItem(QStringLiteral("Futures (evening)"), QStringLiteral("FORTS"));
        board->addItem(QStringLiteral("Repo"), QStringLiteral("REPO"));
        QCOMPARE(board->getValue(), QStringLiteral("7")); // the first item became current
        auto *echo = bound<LineEdit>(&form, QStringLiteral("Board"));

        Properties properties(Values { { QStringLiteral("Board"), QStringLiteral("REPO") } });
        QVERIFY(properties.connectAll(&form));
        QCOMPARE(board->currentIndex(), 3);
        QCOMPARE(echo->text(), QStringLiteral("REPO"));
        form.show();
        QVERIFY(QTest::qWaitForWindowExposed(&form));
        QCoreApplication::processEvents();
        QSignalSpy changes(&properties, &Properties::hasChanged);
        QSignalSpy announced(board, &VetrelComboBox::changedValue);

        // Two items carry FORTS: the later is chosen, announced exactly once.
        properties.setValue(QStringLiteral("Board"), QStringLiteral("FORTS"));
        QCOMPARE(board->currentIndex(), 2);
        QCOMPARE(announced.count(), 1);
        QCOMPARE(echo->text(), QStringLiteral("FORTS"));
        QTRY_COMPARE(changes.count(), 1);

        // A text no item carries leaves the box as it was, while the form holds it.
        retype(echo, QStringLiteral("99"));
        QCOMPARE(board->currentIndex(), 2);
        QCOMPARE(board->getValue(), QStringLiteral("FORTS"));
        QCOMPARE(stored(properties, QStringLiteral("Board")), QStringLiteral("99"));

        // The user picks the other FORTS item: nothing new for the form.
        board->showPopup();
        QAbstractItemView *list = board->view();
        QTest::mouseClick(
            list->viewport(), Qt::LeftButton, {}, list->visualRect(board->model()->index(1, 0)).center());
        QTRY_VERIFY(!list->isVisible());
        QCOMPARE(board->currentIndex(), 1);
        QCOMPARE(announced.count(), 1);

        // The item whose data is the number 7 is found by the text "7" and
        // stored as text when picked.
        board->setFocus();
        QTest::keyClick(board, Qt::Key_Home);
        QCOMPARE(announced.count(), 2);
        QCOMPARE(announced.last().at(0), QVariant(7));
        QCOMPARE(properties.values().value(QStringLiteral("Board")), QVariant(QStringLiteral("7")));
        properties.setValue(QStringLiteral("Board"), QStringLiteral("REPO"));
        properties.setValue(QStringLiteral("Board"), QStringLiteral("7"));
        QCOMPARE(board->currentIndex(), 0);

        board->clear(); // index -1 is no choice and keeps the value
        QCOMPARE(announced.count(), 4);
        QCOMPARE(board->getValue(), QStringLiteral("7"));
    }
};

QTEST_MAIN(TestChoiceWidgets)
#include "tst_choicewidgets.moc"
