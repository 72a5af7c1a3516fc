#include <vetrel/datevalidator.h>

#include <QDateTime>
#include <QLocale>
#include <QTest>

// Run once per locale (LC_ALL) and time zone (TZ) by the build; the rows are
// those of the locale the process was started in.
class TestDateValidator : public QObject
{
    Q_OBJECT

private slots:
    void judge_data();
    void judge();
};

void TestDateValidator::judge_data()
{
    QTest::addColumn<QString>("input");
    QTest::addColumn<QDate>("date"); // invalid: not a date

    QTest::newRow("empty") << QString() << QDate();
    if (QLocale::system().name() == QLatin1String("ru_RU")) {
        QCOMPARE(QLocale::system().dateFormat(QLocale::ShortFormat), QStringLiteral("dd.MM.yyyy"));
        QTest::newRow("date") << "01.02.2024" << QDate(2024, 2, 1);
        QTest::newRow("four-digit year keeps its century") << "01.02.1924" << QDate(1924, 2, 1);
        QTest::newRow("before the epoch") << "31.12.1969" << QDate(1969, 12, 31);
        QTest::newRow("first millisecond of 1970") << "01.01.1970" << QDate();
        QTest::newRow("two-digit year") << "01.02.24" << QDate();
        QTest::newRow("no such day") << "29.02.2023" << QDate();
    } else {
        QCOMPARE(QLocale::system().dateFormat(QLocale::ShortFormat), QStringLiteral("M/d/yy"));
        QTest::newRow("two-digit year means 2000s") << "2/1/24" << QDate(2024, 2, 1);
        QTest::newRow("first millisecond of 1970") << "1/1/70" << QDate();
        QTest::newRow("half typed") << "2/1" << QDate();
        QTest::newRow("four-digit year") << "2/1/2024" << QDate();
    }
}

void TestDateValidator::judge()
{
    QFETCH(QString, input);
    QFETCH(QDate, date);

    DateValidator validator;
    const bool isDate = date.isValid();
    const qint64 expectedMSecs = isDate ? QDateTime(date, QTime(0, 0), Qt::UTC).toMSecsSinceEpoch() : 0;
    QCOMPARE(DateValidator::shortDateMSecs(input), expectedMSecs);

    QString text = input;
    int pos = text.size();
    const QValidator::State expected
        = (isDate || input.isEmpty()) ? QValidator::Acceptable : QValidator::Intermediate;
    QCOMPARE(validator.validate(text, pos), expected);
    QCOMPARE(text, input);
    QCOMPARE(pos, input.size());

    validator.fixup(text);
    QCOMPARE(text, expected == QValidator::Acceptable ? input : QString());
}

QTEST_GUILESS_MAIN(TestDateValidator)
#include "tst_datevalidator.moc"
