#include <vetrel/loginvalidator.h>

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
}

QTEST_GUILESS_MAIN(TestLoginValidator)
#include "tst_loginvalidator.moc"
