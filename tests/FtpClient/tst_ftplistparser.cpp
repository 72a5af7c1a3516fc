#include <vetrel/FtpClient/FTPListParse.h>
#include <vetrel/FtpClient/FTPMlsdParse.h>

#include <QtTest>

#include <climits>

using namespace nsFTP;

static long utc(int year, int month, int day, int hour = 0, int minute = 0)
{
    return static_cast<long>(QDateTime(QDate(year, month, day), QTime(hour, minute), Qt::UTC).toSecsSinceEpoch());
}

class TestFtpListParser : public QObject
{
    Q_OBJECT

private slots:
    void parse_data()
    {
        QTest::addColumn<QByteArray>("line");
        QTest::addColumn<QByteArray>("name"); // null: the line is refused
        QTest::addColumn<QByteArray>("access"); // c: CWD possible, r: RETR possible
        QTest::addColumn<long>("size"); // -1: size unknown
        QTest::addColumn<int>("timeType");
        QTest::addColumn<long>("time");
        QTest::addColumn<QString>("facts"); // attributes|id|link|uid|gid less trailing bars; null: not checked

        const auto row = [](const char *tag, const QByteArray &line, const QByteArray &name, const char *access,
                             long size, int timeType, long time, const QString &facts = QString()) {
            QTest::newRow(tag) << line << name << QByteArray(access) << size << timeType << time << facts;
        };
        const auto bad = [&row](const char *tag, const QByteArray &line) { row(tag, line, QByteArray(), "", -1, 0, 0); };

        row("unix dir", "drwxr-xr-x 2 owner group 4096 Jan 1 2009 dir", "dir", "c", 4096, 3, utc(2009, 1, 1), "drwxr-xr-x||2|owner|group");
        row("unix file: blank runs, leading blank and arrow in the name", "-rw-r--r--   1 owner    group    1234 MAR 05  2009  my -> file", " my -> file", "r", 1234, 3, utc(2009, 3, 5));
        row("unix without group column", "-rw-r--r-- 1 owner 1234 Mar 5 2009 file", "file", "r", 1234, 3, utc(2009, 3, 5), "-rw-r--r--||1|owner");
        row("unix link", "lrwxrwxrwx 1 root root 7 Jan 1 2009 a -> b", "a", "cr", 7, 3, utc(2009, 1, 1));
        row("unix folder count", "drwxrwxrwx               folder        2 May 10  1996 network", "network", "c", 2, 3, utc(1996, 5, 10), "drwxrwxrwx||folder");
        row("unix device, numeric group", "crw-rw-rw- 1 root root 1, 3 Jan 1 2009 null", "null", "", 3, 3, utc(2009, 1, 1));
        row("unix year not a number", "-rw-r--r-- 1 o g 5 Jan 1 20x9 n", "n", "r", 5, 0, 0);
        row("unix huge day and year saturate", "-rw-r--r-- 1 o g 1 Jan 9223372036854775807 9223372036854775807 x", "x", "r", 1, 3, LONG_MAX);
        // A recent date shows the clock instead of the year: last year's date unless that lies 350 days or
        // more in the past. The leap day has no counterpart a year before, so the day after stands in.
        const QDateTime now = QDateTime::currentDateTimeUtc();
        const auto recent = [&](const char *tag, int daysFromNow, const QTime &clock) {
            QDate shown = now.date().addDays(daysFromNow);
            shown = shown.month() == 2 && shown.day() == 29 ? shown.addDays(1) : shown;
            const QDate lastYear = shown.addYears(-1);
            const QDate year = QDateTime(lastYear, QTime(0, 0), Qt::UTC).secsTo(now) < 350L * 86400 ? lastYear : shown;
            const QString line = "-rw-r--r-- 1 o g 1 " + QLocale::c().toString(shown, "MMM d ") + clock.toString("H:mm") + " f";
            row(tag, line.toLatin1(), "f", "r", 1, 2, QDateTime(year, clock, Qt::UTC).toSecsSinceEpoch());
        };
        recent("unix ten days ahead (clock skew)", 10, QTime(9, 5));
        recent("unix twenty days ahead (last year)", 20, QTime(13, 7));
        bad("unknown type letter", "x--------- 1 o g 1 Jan 1 2009 n");
        bad("unix without name", "drwxr-xr-x 2 owner group 4096 Jan 1 2009");
        bad("unix cut short before the date", "-rw-r--r-- 1 o");
        bad("unix empty name", "drwxr-xr-x 2 owner group 4096 Jan 1 2009 ");
        bad("unix short year", "drwxr-xr-x 2 owner group 4096 Jan 1 200 x");
        bad("unix no month", "-rw-r--r-- 1 o g 1 Foo 1 2009 x");
        bad("unix bad clock", "-rw-r--r-- 1 o g 1 Jan 1 1x:00 n");

        row("eplf dir", "+i8388621.29609,m824255902,/,\tdev", "dev", "c", -1, 1, 824255902, "|8388621.29609");
        row("eplf file", "+m839956783,r,s10376,\tread me", "read me", "r", 10376, 1, 839956783);
        bad("eplf without tab", "+/,r,s1");
        bad("eplf empty name", "+r,s1,\t");

        row("multinet dir", "CORE.DIR;1          1  8-SEP-1996 16:09 [SYSTEM] (RWE,RWE,RE,RE)", "CORE", "c", -1, 2, utc(1996, 9, 8, 16, 9));
        row("multinet two-digit year", "A.B;3 2 1-jan-07 00:01", "A.B", "r", -1, 2, utc(2007, 1, 1, 0, 1));
        row("multinet bare .DIR is a file", ".DIR;1 1 8-SEP-1996 16:09", ".DIR", "r", -1, 2, utc(1996, 9, 8, 16, 9));
        bad("multinet bad month", "FOO;1 2 30-XYZ-1996 17:44");

        row("msdos dir, afternoon", "04-27-00  09:09PM       <DIR>          licensed", "licensed", "c", -1, 2, utc(2000, 4, 27, 21, 9));
        row("msdos midnight hour, last century", "12-01-85  12:30AM  100 a b.txt", "a b.txt", "r", 100, 2, utc(1985, 12, 1, 0, 30));
        row("msdos four-digit year, 24 hours", "04-27-2000  21:09       <DIR>          Apps", "Apps", "c", -1, 2, utc(2000, 4, 27, 21, 9));
        row("msdos name with semicolon", "07-18-00  10:16AM  5 a.DIR;1", "a.DIR;1", "r", 5, 2, utc(2000, 7, 18, 10, 16));
        row("msdos hour beyond range saturates", "01-01-00  9223372036854775807:00PM 1 x", "x", "r", 1, 2, LONG_MAX);
        bad("msdos without name", "04-27-00  09:09PM       <DIR>   ");
        bad("msdos bad hour", "04-27-00  x9:09PM 5 a");

        row("mlsd file", "type=file;size=280;modify=20240229235960;perm=adfrw;unique=802U1A; quotes.csv", "quotes.csv", "r", 280, 1, 1709251200, "adfrw|802U1A");
        row("mlsd directory, fraction of a second", "type=dir;sizd=4096;modify=19700101000001.250;perm=flcdmpe; reports", "reports", "c", 4096, 1, 1, "flcdmpe");
        row("mlsd blanks and semicolons in the name, facts in any case", "Type=File;Size=7; a b;c d ", "a b;c d ", "r", 7, 0, 0, "");
        row("mlsd link", "type=OS.unix=slink:/pub/x;size=1; x-link", "x-link", "cr", 1, 0, 0);
        row("mlsd values that are no numbers count as unknown", "type=file;size=12k;sizd=9999999999999999999;modify=20240101000000Z; odd", "odd", "r", -1, 0, 0);
        bad("mlsd this directory", "type=cdir;perm=el; .");
        bad("mlsd parent directory", "type=pdir;perm=el; ..");
        bad("mlsd fact without value", "type=file;size; name");
        bad("mlsd no name", "type=file;size=1;");
    }
    void parse()
    {
        QFETCH(QByteArray, line);
        QFETCH(QByteArray, name);
        QFETCH(QByteArray, access);
        QFETCH(long, size);
        QFETCH(int, timeType);
        QFETCH(long, time);
        QFETCH(QString, facts);

        CFTPListParser parser;
        CFTPMlsdParser mlsdParser;
        CFTPFileStatus status;
        // What an earlier line left must all be gone, whatever this line sets.
        QVERIFY(parser.Parse(status, "+i7,m1,/,r,s1,\tleft over"));
        status.SetPath("/pub");
        const bool mlsd = QByteArray(QTest::currentDataTag()).startsWith("mlsd");
        QCOMPARE(mlsd ? mlsdParser.Parse(status, line.toStdString()) : parser.Parse(status, line.toStdString()), !name.isNull());
        if (name.isNull()) {
            QVERIFY(status == CFTPFileStatus());
            return;
        }
        QVERIFY(status != CFTPFileStatus() && status.Path().empty());
        QCOMPARE(QByteArray::fromStdString(status.Name()), name);
        QCOMPARE(status.IsCwdPossible(), access.contains('c'));
        QCOMPARE(status.IsRetrPossible(), access.contains('r'));
        QCOMPARE(status.Size(), size);
        QCOMPARE(status.SizeType(), size == -1 ? 0 : 1);
        QCOMPARE(status.MTimeType(), timeType);
        QCOMPARE(status.MTime(), time);
        QCOMPARE(status.IDType() == CFTPFileStatus::idFull, !status.ID().empty());
        std::string seen = status.Attributes() + '|' + status.ID() + '|' + status.Link() + '|' + status.UID() + '|' + status.GID();
        seen.erase(seen.find_last_not_of('|') + 1);
        if (!facts.isNull())
            QCOMPARE(QString::fromStdString(seen), facts);
    }

    void toTaiMonthsAndNumbers()
    {
        // Against Qt's own calendar, across centuries, leap years and month ends.
        const qint64 epochDay = QDate(1970, 1, 1).toJulianDay();
        for (QDate date(1583, 1, 1); date.year() < 2500; date = date.addDays(13))
            QCOMPARE(CFTPListParser::ToTAI(date.year(), date.month() - 1, date.day()), long(date.toJulianDay() - epochDay) * 86400);
        // Months outside 0..11 carry into the year; absurd input saturates instead of overflowing.
        QCOMPARE(CFTPListParser::ToTAI(2009, 12, 1), CFTPListParser::ToTAI(2010, 0, 1));
        QCOMPARE(CFTPListParser::ToTAI(2009, -1, 1), CFTPListParser::ToTAI(2008, 11, 1));
        QCOMPARE(CFTPListParser::ToTAI(LONG_MAX, LONG_MAX, LONG_MAX), LONG_MAX);
        QCOMPARE(CFTPListParser::ToTAI(LONG_MIN, LONG_MIN, LONG_MIN), LONG_MIN);

        for (int i = 0; i < 12; ++i)
            QCOMPARE(CFTPListParser::GetMonth(qPrintable(QLocale::c().monthName(i + 1, QLocale::ShortFormat)), 3), i);
        QCOMPARE(CFTPListParser::GetMonth("janu", 4), -1);
        long value = 0;
        QVERIFY(CFTPListParser::GetLong("9223372036854775807", 19, value) && value == LONG_MAX);
        for (const char *bad : { "9223372036854775808", "12x", "-1", "" })
            QVERIFY2(!CFTPListParser::GetLong(bad, int(strlen(bad)), value) && value == LONG_MAX, bad);
    }
};

QTEST_APPLESS_MAIN(TestFtpListParser)
#include "tst_ftplistparser.moc"
