#include <vetrel/loginvalidator.h>

#include <QLineEdit>
#include <QTest>

class TestLoginValidator : public QObject
{
    Q_OBJECT

private slots:
    void trimsBeforeJudging();
};

void TestLoginValidator::trimsBeforeJudging()
{
    LoginValidator validator(QRegExp(QStringLiteral("[a-z]+")));
    QString input = QStringLiteral("\t abc ");
    int pos = input.size();
    QCOMPARE(validator.validate(input, pos), QValidator::Acceptable);
    QCOMPARE(input, QStringLiteral("abc"));
    QCOMPARE(pos, 6); // not moved: the line edit clamps it

    input = QStringLiteral("  ");
    QCOMPARE(validator.validate(input, pos), QValidator::Intermediate);
    input = QStringLiteral(" a b");
    QCOMPARE(validator.validate(input, pos), QValidator::Invalid);

    QLineEdit edit;
    edit.setValidator(&validator);
    QTest::keyClicks(&edit, QStringLiteral(" ab c"));
    QCOMPARE(edit.text(), QStringLiteral("abc"));
    QVERIFY(edit.hasAcceptableInput());
}

QTEST_MAIN(TestLoginValidator)
#include "tst_loginvalidator.moc"
