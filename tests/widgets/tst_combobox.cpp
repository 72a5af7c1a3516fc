#include <vetrel/combobox.h>
#include <vetrel/comboboxvalidator.h>

#include <QAbstractItemView>
#include <QCompleter>
#include <QLineEdit>
#include <QStandardItemModel>
#include <QStringListModel>
#include <QTest>

class TestComboBox : public QObject
{
    Q_OBJECT

private slots:
    void validate_data();
    void validate();
    void validatorFollowsTheModel();
    void construction();
    void typingAndPopup();
};

namespace
{

QValidator::State validated(const ComboBoxValidator *validator, QString input)
{
    int pos = input.size();
    return validator->validate(input, pos);
}

}

void TestComboBox::validate_data()
{
    QTest::addColumn<QString>("input");
    QTest::addColumn<int>("state");
    QTest::addColumn<QString>("fixed");

    // Over the rows Alpha, al, Beta, Сбербанк: the first matching row decides.
    QTest::newRow("earlier prefix wins over later exact") << "al" << int(QValidator::Intermediate) << "Alpha";
    QTest::newRow("exact ignoring case") << "ALPHA" << int(QValidator::Acceptable) << "Alpha";
    QTest::newRow("cyrillic ignoring case") << "СБЕР" << int(QValidator::Intermediate) << "Сбербанк";
    QTest::newRow("no row") << "b2" << int(QValidator::Invalid) << "b2";
    QTest::newRow("empty") << "" << int(QValidator::Intermediate) << "";
}

void TestComboBox::validate()
{
    QFETCH(QString, input);
    QFETCH(int, state);
    QFETCH(QString, fixed);

    QStringListModel model({ QStringLiteral("Alpha"), QStringLiteral("al"), QStringLiteral("Beta"),
        QStringLiteral("Сбербанк") });
    ComboBoxValidator validator;
    validator.setModel(&model);
    QCOMPARE(int(validated(&validator, input)), state);
    validator.fixup(input);
    QCOMPARE(input, fixed);
}

// Rows are read at each keystroke: a model refilled, reset or destroyed
// between keystrokes leaves nothing stale behind.
void TestComboBox::validatorFollowsTheModel()
{
    ComboBoxValidator validator;
    QCOMPARE(validated(&validator, QString()), QValidator::Invalid);

    auto *model = new QStandardItemModel;
    model->appendRow(new QStandardItem(QStringLiteral("GAZP")));
    validator.setModel(model);
    QCOMPARE(validated(&validator, QStringLiteral("ga")), QValidator::Intermediate);
    model->clear();
    QCOMPARE(validated(&validator, QStringLiteral("gaz")), QValidator::Invalid);
    model->appendRow(new QStandardItem(QStringLiteral("GAZ")));
    QCOMPARE(validated(&validator, QStringLiteral("gaz")), QValidator::Acceptable);

    delete model;
    QVERIFY(!validator.model());
    QCOMPARE(validated(&validator, QStringLiteral("gaz")), QValidator::Invalid);
    QString input = QStringLiteral("ga");
    validator.fixup(input);
    QCOMPARE(input, QStringLiteral("ga"));
}

void TestComboBox::construction()
{
    ComboBox box;
    QVERIFY(box.isEditable());
    QCOMPARE(box.currentIndex(), -1);

    // Handed out, owned by the line edit, not installed on it.
    ComboBoxValidator *validator = box.comboBoxValidator();
    QCOMPARE(validator->parent(), box.lineEdit());
    QCOMPARE(validator->model(), box.model());
    QVERIFY(!box.lineEdit()->validator());
    QCOMPARE(box.completer()->caseSensitivity(), Qt::CaseInsensitive);
    QCOMPARE(box.completer()->model(), box.model());

    // A replaced model is followed by both, so the validator never judges
    // against the deleted default model.
    QStringListModel markets({ QStringLiteral("MICEX"), QStringLiteral("FORTS") });
    box.setModel(&markets);
    QCOMPARE(validator->model(), &markets);
    QCOMPARE(box.completer()->model(), &markets);
    QCOMPARE(validated(validator, QStringLiteral("forts")), QValidator::Acceptable);

    box.setLineEdit(new QLineEdit);
    QVERIFY(!box.comboBoxValidator());
    box.setModel(&markets);
}

void TestComboBox::typingAndPopup()
{
    ComboBox box;
    box.addItems({ QStringLiteral("Alpha"), QStringLiteral("al"), QStringLiteral("Beta") });
    box.setCurrentIndex(-1);
    box.lineEdit()->setValidator(box.comboBoxValidator());
    box.show();
    QVERIFY(QTest::qWaitForWindowExposed(&box));

    QTest::keyClicks(box.lineEdit(), QStringLiteral("bx"));
    QCOMPARE(box.lineEdit()->text().left(1), QStringLiteral("b"));
    QVERIFY(!box.lineEdit()->text().contains(QLatin1Char('x'))); // refused
    box.completer()->setCompletionPrefix(QStringLiteral("aL"));
    QCOMPARE(box.completer()->completionCount(), 2);

    // The list opens with no highlighted row, even on a current item.
    box.setCurrentIndex(2);
    box.showPopup();
    QVERIFY(box.view()->isVisible());
    QVERIFY(!box.view()->selectionModel()->hasSelection());
    QCOMPARE(box.currentIndex(), 2);
    box.hidePopup();
}

QTEST_MAIN(TestComboBox)
#include "tst_combobox.moc"
