#include <vetrel/checkbox.h>
#include <vetrel/groupbox.h>
#include <vetrel/lineedit.h>
#include <vetrel/radiobutton.h>
#include <vetrel/vetrelcombobox.h>

#include <QButtonGroup>
#include <QVBoxLayout>

#include "formtest.h"

// Where the user clicks: a laid-out button's own area ends with its text.
static void clickIndicator(QWidget *button)
{
    QTest::mouseClick(button, Qt::LeftButton, {}, QPoint(8, button->height() / 2));
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
        buy->setProperty("value", QStringLiteral("B"));
        sell->setProperty("value", QStringLiteral("S"));
        auto *echo = bound<LineEdit>(&form, QStringLiteral("Side"));

        Properties properties(Values { { QStringLiteral("Side"), QStringLiteral("S") } });
        QVERIFY(connectAndShow(form, properties));
        QVERIFY(sell->isChecked());
        QSignalSpy buyClicks(buy, &RadioButton::changedValue);
        QSignalSpy sellClicks(sell, &RadioButton::changedValue);

        clickIndicator(buy);
        QCOMPARE(echo->text(), QStringLiteral("B"));
        QCOMPARE(sell->getValue(), QStringLiteral("B"));

        // Only the clicked button speaks, and a click on the checked one is silent.
        clickIndicator(buy);
        QCOMPARE(buyClicks.count(), 1);
        QCOMPARE(sellClicks.count(), 0);

        retype(echo, QStringLiteral("S"));
        QVERIFY(sell->isChecked() && !buy->isChecked());

        // A value no button stands for leaves the group unchecked, and still
        // exclusive, whether auto-exclusive or in a button group.
        properties.setValue(QStringLiteral("Side"), QStringLiteral("X"));
        QVERIFY(!buy->isChecked() && !sell->isChecked());
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
        QCOMPARE(echo->text(), QStringLiteral("S"));
    }

    void checkBoxBesideLineEdit()
    {
        QWidget form;
        new QVBoxLayout(&form);
        auto *confirm = bound<CheckBox>(&form, QStringLiteral("Confirm"));
        confirm->setProperty("value_checked", QStringLiteral("Y"));
        confirm->setProperty("value_unchecked", QStringLiteral("N"));
        auto *echo = bound<LineEdit>(&form, QStringLiteral("Confirm"));

        Properties properties;
        QVERIFY(connectAndShow(form, properties));

        clickIndicator(confirm);
        QCOMPARE(echo->text(), QStringLiteral("Y"));

        // The click that unchecks announces "Y" too, but the form reads the state.
        QSignalSpy announced(confirm, &CheckBox::changedValue);
        clickIndicator(confirm);
        QCOMPARE(announced.count(), 1);
        QCOMPARE(announced.at(0).at(0).toString(), QStringLiteral("Y"));
        QCOMPARE(echo->text(), QStringLiteral("N"));
        retype(echo, QStringLiteral("Y"));

        QTest::ignoreMessage(QtDebugMsg, "undef value for CheckBox::setValue \"?\"");
        properties.setValue(QStringLiteral("Confirm"), QStringLiteral("?"));
        QVERIFY(confirm->isChecked());
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
        auto *echo = bound<LineEdit>(&form, QStringLiteral("Board"));

        Properties properties(Values { { QStringLiteral("Board"), QStringLiteral("REPO") } });
        QVERIFY(connectAndShow(form, properties));
        QCOMPARE(board->currentIndex(), 3);
        QSignalSpy announced(board, &VetrelComboBox::changedValue);

        // Two items carry FORTS: the later is chosen, announced exactly once.
        properties.setValue(QStringLiteral("Board"), QStringLiteral("FORTS"));
        QCOMPARE(board->currentIndex(), 2);
        QCOMPARE(announced.count(), 1);

        // A text no item carries leaves the box as it was, while the form holds it.
        retype(echo, QStringLiteral("99"));
        QCOMPARE(board->currentIndex(), 2);
        QCOMPARE(board->getValue(), QStringLiteral("FORTS"));
        QCOMPARE(stored(properties, QStringLiteral("Board")), QStringLiteral("99"));

        // The item whose data is the number 7 is found by the text "7" and
        // stored as text when picked.
        board->setFocus();
        QTest::keyClick(board, Qt::Key_Home);
        QCOMPARE(announced.count(), 2);
        QCOMPARE(announced.last().at(0), QVariant(7));
        QCOMPARE(properties.values().value(QStringLiteral("Board")), QVariant(QStringLiteral("7")));

        board->clear(); // index -1 is no choice and keeps the value
        QCOMPARE(announced.count(), 2);
        QCOMPARE(board->getValue(), QStringLiteral("7"));
    }
};

QTEST_MAIN(TestChoiceWidgets)
#include "tst_choicewidgets.moc"
