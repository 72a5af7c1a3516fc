#include <vetrel/loginvalidator.h>

#include <QLineEdit>
#include <QTest>

class TestLoginValidator : public QObject
{
    Q_OBJECT

private slots:
    void validate_data();
    void validate();
    void typedIntoLineEdit();
};

void TestLoginValidator::validate_data()
{
    QTest::addColumn<QString>("input");
    QTest::addColumn<QString>("trimmed");
    QTest::addColumn<int>("state");

    QTest::newRow("blanks around") << " abc " << "abc" << int(QValidator::Acceptable);
    QTest::newRow("tab and newline") << "\tabc\n" << "abc" << int(QValidator::Acceptable);
    QTest::newRow("blank inside") << "ab c" << "ab c" << int(QValidator::Invalid);
    QTest::newRow("only blanks") << "   " << "" << int(QValidator::Intermediate);
    QTest::newRow("capitals") << " ABC" << "ABC" << int(QValidator::Invalid);
}

void TestLoginValidator::validate()
{
    QFETCH(QString, input);
    QFETCH(QString, trimmed);
    QFETCH(int, state);

    LoginValidator validator(QRegExp(QStringLiteral("[a-z]+")));
    int pos = input.size();
    const int before = pos;
    QCOMPARE(int(validator.validate(input, pos)), state);
    QCOMPARE(input, trimmed);
    // Trimming does not move the cursor (the line edit clamps it); only a
    // refusal by the expression itself moves it to the end.
    if (state != QValidator::Invalid)
        QCOMPARE(pos, before);
}

void TestLoginValidator::typedIntoLineEdit()
{
    QLineEdit edit;
    edit.setValidator(new LoginValidator(QRegExp(QStringLiteral("[a-z]+")), &edit));
    QTest::keyClicks(&edit, QStringLiteral(" ab c"));
    QCOMPARE(edit.text(), QStringLiteral("abc"));
    QVERIFY(edit.hasAcceptableInput());
    QVERIFY(edit.cursorPosition() <= edit.text().size());

    LoginValidator unconfigured;
    QString input = QStringLiteral(" x ");
    int pos = 0;
    unconfigured.validate(input, pos);
    QCOMPARE(input, QStringLiteral("x"));
}

QTEST_MAIN(TestLoginValidator)
#include "tst_loginvalidator.moc"
