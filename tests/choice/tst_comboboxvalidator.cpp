#include <vetrel/comboboxvalidator.h>

#include <QStandardItemModel>
#include <QStringListModel>
#include <QTest>

class TestComboBoxValidator : public QObject
{
    Q_OBJECT

private slots:
    void validate_data();
    void validate();
    void fixup_data();
    void fixup();
    void withoutModel();
    void modelChangesWhileTyping();
};

namespace
{

QValidator::State validated(const ComboBoxValidator &validator, QString input)
{
    int pos = input.size();
    return validator.validate(input, pos);
}

}

void TestComboBoxValidator::validate_data()
{
    QTest::addColumn<QStringList>("items");
    QTest::addColumn<QString>("input");
    QTest::addColumn<int>("state");

    const QStringList alpha{QStringLiteral("Alpha"), QStringLiteral("al")};
    QTest::newRow("earlier prefix wins over later exact") << alpha << "al" << int(QValidator::Intermediate);
    QTest::newRow("exact ignoring case") << alpha << "ALPHA" << int(QValidator::Acceptable);
    QTest::newRow("no row") << alpha << "b" << int(QValidator::Invalid);
    QTest::newRow("longer than any row") << alpha << "Alphabet" << int(QValidator::Invalid);
    QTest::newRow("empty input") << alpha << "" << int(QValidator::Intermediate);
    QTest::newRow("exact first") << QStringList{"SBER", "SBERP"} << "sber" << int(QValidator::Acceptable);
    QTest::newRow("cyrillic ignoring case") << QStringList{"Сбербанк"} << "сбер" << int(QValidator::Intermediate);
    QTest::newRow("empty model") << QStringList{} << "a" << int(QValidator::Invalid);
}

void TestComboBoxValidator::validate()
{
    QFETCH(QStringList, items);
    QFETCH(QString, input);
    QFETCH(int, state);

    QStringListModel model(items);
    ComboBoxValidator validator;
    validator.setModel(&model);
    const QString typed = input;
    QCOMPARE(int(validated(validator, input)), state);
    QCOMPARE(input, typed); // validate never rewrites what the user typed
}

void TestComboBoxValidator::fixup_data()
{
    QTest::addColumn<QString>("input");
    QTest::addColumn<QString>("fixed");

    QTest::newRow("prefix completed to first row in model order") << "AL" << "Alpha";
    QTest::newRow("later row") << "be" << "beta";
    QTest::newRow("no match is left alone") << "zz" << "zz";
    QTest::newRow("empty stays empty") << "" << "";
}

void TestComboBoxValidator::fixup()
{
    QFETCH(QString, input);
    QFETCH(QString, fixed);

    QStringListModel model({QStringLiteral("Alpha"), QStringLiteral("al"), QStringLiteral("beta")});
    ComboBoxValidator validator;
    validator.setModel(&model);
    validator.fixup(input);
    QCOMPARE(input, fixed);
}

void TestComboBoxValidator::withoutModel()
{
    ComboBoxValidator validator;
    QCOMPARE(validated(validator, QStringLiteral("a")), QValidator::Invalid);
    QCOMPARE(validated(validator, QString()), QValidator::Invalid);

    auto *model = new QStringListModel({QStringLiteral("Alpha")});
    validator.setModel(model);
    QCOMPARE(validated(validator, QStringLiteral("alpha")), QValidator::Acceptable);

    delete model;
    QVERIFY(!validator.model());
    QCOMPARE(validated(validator, QStringLiteral("alpha")), QValidator::Invalid);
    QString input = QStringLiteral("al");
    validator.fixup(input);
    QCOMPARE(input, QStringLiteral("al"));
}

// The rows are those of the model at the moment of each keystroke: a refill
// or reset between keystrokes leaves nothing stale behind.
void TestComboBoxValidator::modelChangesWhileTyping()
{
    QStandardItemModel model;
    model.appendRow(new QStandardItem(QStringLiteral("GAZP")));
    ComboBoxValidator validator;
    validator.setModel(&model);

    QCOMPARE(validated(validator, QStringLiteral("ga")), QValidator::Intermediate);

    model.clear();
    QCOMPARE(validated(validator, QStringLiteral("gaz")), QValidator::Invalid);

    model.appendRow(new QStandardItem(QStringLiteral("LKOH")));
    model.appendRow(new QStandardItem(QStringLiteral("GAZ")));
    QCOMPARE(validated(validator, QStringLiteral("gaz")), QValidator::Acceptable);

    QStringListModel list({QStringLiteral("Alpha")});
    validator.setModel(&list);
    QCOMPARE(validated(validator, QStringLiteral("gaz")), QValidator::Invalid);
    list.setStringList({QStringLiteral("Gazprom")});
    QCOMPARE(validated(validator, QStringLiteral("gaz")), QValidator::Intermediate);
}

QTEST_GUILESS_MAIN(TestComboBoxValidator)
#include "tst_comboboxvalidator.moc"
