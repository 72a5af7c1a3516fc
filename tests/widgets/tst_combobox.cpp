#include <vetrel/combobox.h>
#include <vetrel/comboboxvalidator.h>

#include <QAbstractItemView>
#include <QAbstractProxyModel>
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
    void followsAReplacedModel_data();
    void followsAReplacedModel();
    void typingAndPopup();
};

namespace
{

QValidator::State validated(const ComboBoxValidator *validator, QString input)
{
    int pos = input.size();
    return validator->validate(input, pos);
}

// The model whose rows the completer offers, seen through its ordering proxy.
QAbstractItemModel *completionSource(const ComboBox &box)
{
    auto *proxy = qobject_cast<QAbstractProxyModel *>(box.completer()->model());
    return proxy ? proxy->sourceModel() : nullptr;
}

}

void TestComboBox::validate_data()
{
    QTest::addColumn<QString>("input");
    QTest::addColumn<int>("state");
    QTest::addColumn<QString>("fixed");

    // Over the rows Alpha, al, Beta2, beta, Сбербанк: the first matching row
    // decides, whatever the order of the texts.
    QTest::newRow("earlier prefix wins over later exact") << "al" << int(QValidator::Intermediate) << "Alpha";
    QTest::newRow("exact ignoring case") << "ALPHA" << int(QValidator::Acceptable) << "Alpha";
    QTest::newRow("cyrillic ignoring case") << "СБЕР" << int(QValidator::Intermediate) << "Сбербанк";
    QTest::newRow("earlier longer row wins over later exact")
        << "beta" << int(QValidator::Intermediate) << "Beta2";
    QTest::newRow("no row") << "b3" << int(QValidator::Invalid) << "b3";
    QTest::newRow("empty") << "" << int(QValidator::Intermediate) << "";
}

void TestComboBox::validate()
{
    QFETCH(QString, input);
    QFETCH(int, state);
    QFETCH(QString, fixed);

    QStringListModel model({ QStringLiteral("Alpha"), QStringLiteral("al"), QStringLiteral("Beta2"),
        QStringLiteral("beta"), QStringLiteral("Сбербанк") });
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
    QCOMPARE(completionSource(box), box.model());

    box.setLineEdit(new QLineEdit);
    QVERIFY(!box.comboBoxValidator());
    QStringListModel markets({ QStringLiteral("MICEX") });
    box.setModel(&markets);
}

// QComboBox::setModel is not virtual: a host that replaces the model through
// a QComboBox pointer must not leave the validator on the old, deleted model.
void TestComboBox::followsAReplacedModel_data()
{
    QTest::addColumn<bool>("throughBase");
    QTest::newRow("ComboBox::setModel") << false;
    QTest::newRow("QComboBox::setModel") << true;
}

void TestComboBox::followsAReplacedModel()
{
    QFETCH(bool, throughBase);
    ComboBox box;
    box.lineEdit()->setValidator(box.comboBoxValidator());
    box.show();
    QVERIFY(QTest::qWaitForWindowExposed(&box));

    auto *old = new QStringListModel({ QStringLiteral("MICEX") });
    box.setModel(old);
    auto *markets = new QStringListModel({ QStringLiteral("SPB"), QStringLiteral("FORTS") }, &box);
    if (throughBase)
        static_cast<QComboBox &>(box).setModel(markets);
    else
        box.setModel(markets);
    delete old;
    box.setCurrentIndex(-1);

    QTest::keyClicks(box.lineEdit(), QStringLiteral("fo"));
    QCOMPARE(box.lineEdit()->text(), QStringLiteral("fo"));
    QCOMPARE(box.comboBoxValidator()->model(), markets);
    QCOMPARE(completionSource(box), markets);
    QCOMPARE(box.completer()->currentCompletion(), QStringLiteral("FORTS"));
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
