#include <vetrel/combobox.h>
#include <vetrel/comboboxvalidator.h>

#include <QAbstractItemView>
#include <QCompleter>
#include <QLineEdit>
#include <QStringListModel>
#include <QTest>

class TestComboBox : public QObject
{
    Q_OBJECT

private slots:
    void construction();
    void typingWithTheValidatorInstalled();
    void completerIgnoresCase();
    void popupOpensWithoutHighlight();
    void replacedModelIsFollowed();
};

namespace
{

void fill(ComboBox &box)
{
    box.addItems({QStringLiteral("Alpha"), QStringLiteral("al"), QStringLiteral("Beta")});
    box.setCurrentIndex(-1);
}

}

void TestComboBox::construction()
{
    ComboBox box;
    QVERIFY(box.isEditable());
    QCOMPARE(box.currentIndex(), -1);
    QVERIFY(box.currentText().isEmpty());

    // Handed out, owned by the line edit, but not installed on it.
    ComboBoxValidator *validator = box.comboBoxValidator();
    QVERIFY(validator);
    QCOMPARE(validator->parent(), box.lineEdit());
    QCOMPARE(validator->model(), box.model());
    QVERIFY(!box.lineEdit()->validator());

    QVERIFY(box.completer());
    QCOMPARE(box.completer()->caseSensitivity(), Qt::CaseInsensitive);
    QCOMPARE(box.completer()->model(), box.model());

    // Items added later are seen by the validator without further ado.
    fill(box);
    QString input = QStringLiteral("beta");
    int pos = 0;
    QCOMPARE(validator->validate(input, pos), QValidator::Acceptable);
}

void TestComboBox::typingWithTheValidatorInstalled()
{
    ComboBox box;
    fill(box);
    box.lineEdit()->setValidator(box.comboBoxValidator());
    box.show();
    QVERIFY(QTest::qWaitForWindowExposed(&box));

    QTest::keyClicks(box.lineEdit(), QStringLiteral("bx"));
    QCOMPARE(box.lineEdit()->text().left(1), QStringLiteral("b")); // 'x' refused
    QVERIFY(!box.lineEdit()->text().contains(QLatin1Char('x')));
}

void TestComboBox::completerIgnoresCase()
{
    ComboBox box;
    fill(box);
    QCompleter *completer = box.completer();
    completer->setCompletionPrefix(QStringLiteral("BE"));
    QCOMPARE(completer->completionCount(), 1);
    QCOMPARE(completer->currentCompletion(), QStringLiteral("Beta"));
    completer->setCompletionPrefix(QStringLiteral("aL"));
    QCOMPARE(completer->completionCount(), 2);
}

void TestComboBox::popupOpensWithoutHighlight()
{
    ComboBox box;
    fill(box);
    box.setCurrentIndex(2);
    box.show();
    QVERIFY(QTest::qWaitForWindowExposed(&box));

    box.view()->selectionModel()->select(box.model()->index(2, 0), QItemSelectionModel::Select);
    box.showPopup();
    QVERIFY(box.view()->isVisible());
    QVERIFY(!box.view()->selectionModel()->hasSelection());
    QCOMPARE(box.currentIndex(), 2); // opening the list chooses nothing
    box.hidePopup();
}

void TestComboBox::replacedModelIsFollowed()
{
    ComboBox box;
    QStringListModel markets({QStringLiteral("MICEX"), QStringLiteral("FORTS")});
    box.setModel(&markets);
    QCOMPARE(box.comboBoxValidator()->model(), &markets);
    QCOMPARE(box.completer()->model(), &markets);

    QString input = QStringLiteral("forts");
    int pos = 0;
    QCOMPARE(box.comboBoxValidator()->validate(input, pos), QValidator::Acceptable);

    // The validator lives with the line edit it was made for.
    box.setLineEdit(new QLineEdit);
    QVERIFY(!box.comboBoxValidator());
    QStringListModel other({QStringLiteral("SPB")});
    box.setModel(&other);
    QCOMPARE(box.completer()->model(), &other);
}

QTEST_MAIN(TestComboBox)
#include "tst_combobox.moc"
