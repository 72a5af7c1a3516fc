#include <vetrel/FtpClient/FTPListParse.h>
#include <vetrel/FtpClient/FTPMlsdParse.h>

#include <QtTest>

#include <climits>
#include <cstring>

using namespace nsFTP;

namespace
{

long utc(int year, int month, int day, int hour = 0, int minute = 0)
{
    return static_cast<long>(QDateTime(QDate(year, month, day), QTime(hour, minute), Qt::UTC).toSecsSinceEpoch());
}

}

class TestFtpListParser : public QObject
{
    Q_OBJECT

private slots:
    void parse_data()
    {
        QTest::addColumn<QByteArray>("line");
        QTest::addColumn<bool>("ok");
        QTest::addColumn<QByteArray>("name");
        QTest::addColumn<bool>("cwd");
        QTest::addColumn<bool>("retr");
        QTest::addColumn<long>("size"); // -1: size unknown
        QTest::addColumn<int>("timeType");
        QTest::addColumn<long>("time");
        QTest::addColumn<QString>("facts"); // MLSD only: the permissions, "|", the unique id

        const auto row = [](const char *tag, const QByteArray &line, const QByteArray &name, bool cwd, bool retr,
                             long size, int timeType, long time, const QString &facts = QString()) {
            QTest::newRow(tag) << line << true << name << cwd << retr << size << timeType << time << facts;
        };
        const auto bad = [](const char *tag, const QByteArray &line) {
            QTest::newRow(tag) << line << false << QByteArray() << false << false << -1L << 0 << 0L << QString();
        };

        row("unix dir", "drwxr-xr-x 2 owner group 4096 Jan 1 2009 dir", "dir", true, false, 4096, 3, utc(2009, 1, 1));
        row("unix file, blank runs, name with blanks", "-rw-r--r--   1 owner    group    1234 Mar 05  2009 my  file.txt", "my  file.txt", false, true, 1234, 3, utc(2009, 3, 5));
        row("unix name starting with a blank", "-rw-r--r-- 1 o g 1 Dec 31 1999  lead", " lead", false, true, 1, 3, utc(1999, 12, 31));
        row("unix without group column", "-rw-r--r-- 1 owner 1234 Mar 5 2009 file", "file", false, true, 1234, 3, utc(2009, 3, 5));
        row("unix month in capitals", "-rw-r--r-- 1 o g 7 JUL 4 1976 x", "x", false, true, 7, 3, utc(1976, 7, 4));
        row("unix link", "lrwxrwxrwx 1 root root 7 Jan 1 2009 a -> b", "a", true, true, 7, 3, utc(2009, 1, 1));
        row("unix link without target", "lrwxrwxrwx 1 root root 7 Jan 1 2009 plain", "plain", true, true, 7, 3, utc(2009, 1, 1));
        row("unix arrow in a file name is kept", "-rw-r--r-- 1 o g 7 Jan 1 2009 a -> b", "a -> b", false, true, 7, 3, utc(2009, 1, 1));
        row("unix folder count", "drwxrwxrwx               folder        2 May 10  1996 network", "network", true, false, 2, 3, utc(1996, 5, 10));
        row("unix device", "crw-rw-rw- 1 root root 1, 3 Jan 1 2009 null", "null", false, false, 3, 3, utc(2009, 1, 1));
        row("unix year not a number", "-rw-r--r-- 1 o g 5 Jan 1 20x9 n", "n", false, true, 5, 0, 0);
        row("unix name with NUL", QByteArray("-rw-r--r-- 1 o g 5 Jan 1 2009 a\0b", 33), QByteArray("a\0b", 3), false, true, 5, 3, utc(2009, 1, 1));
        bad("one character", "d");
        bad("unknown first character", "x something 1 2 3");
        bad("unix without name", "drwxr-xr-x 2 owner group 4096 Jan 1 2009");
        bad("unix empty name", "drwxr-xr-x 2 owner group 4096 Jan 1 2009 ");
        bad("unix link with empty name", "lrwxrwxrwx 1 o g 4 Jan 1 2009  -> b");
        bad("unix short year", "drwxr-xr-x 2 owner group 4096 Jan 1 200 x");
        bad("unix no month", "-rw-r--r-- 1 o g 1 Foo 1 2009 x");
        bad("unix bad clock", "-rw-r--r-- 1 o g 1 Jan 1 1x:00 n");
        bad("unix cut short", "-rw-r--r-- 1 o");

        row("eplf dir", "+i8388621.29609,m824255902,/,\tdev", "dev", true, false, -1, 1, 824255902);
        row("eplf file", "+i8388621.44468,m839956783,r,s10376,\tRFCEPLF", "RFCEPLF", false, true, 10376, 1, 839956783);
        row("eplf size and time", "+s280,m824255902,\tname with\tTab", "name with\tTab", false, false, 280, 1, 824255902);
        row("eplf unknown facts", "+xyz,,up,\tn", "n", false, false, -1, 0, 0);
        bad("eplf without tab", "+/,r,s1");
        bad("eplf empty name", "+r,s1,\t");

        row("multinet dir", "CORE.DIR;1          1  8-SEP-1996 16:09 [SYSTEM] (RWE,RWE,RE,RE)", "CORE", true, false, -1, 2, utc(1996, 9, 8, 16, 9));
        row("multinet two-digit year", "A.B;3 2 1-jan-07 00:01", "A.B", false, true, -1, 2, utc(2007, 1, 1, 0, 1));
        row("multinet bare .DIR is a file", ".DIR;1 1 8-SEP-1996 16:09", ".DIR", false, true, -1, 2, utc(1996, 9, 8, 16, 9));
        bad("multinet bad month", "FOO;1 2 30-XYZ-1996 17:44");
        bad("multinet cut short", "FOO;1 2 30-DEC-1996");

        row("msdos dir", "04-27-00  09:09PM       <DIR>          licensed", "licensed", true, false, -1, 2, utc(2000, 4, 27, 21, 9));
        row("msdos file", "07-18-00  10:16AM                 5 readme.txt", "readme.txt", false, true, 5, 2, utc(2000, 7, 18, 10, 16));
        row("msdos midnight hour", "12-01-85  12:30AM  100 a b.txt", "a b.txt", false, true, 100, 2, utc(1985, 12, 1, 0, 30));
        row("msdos four-digit year, 24 hours", "04-27-2000  21:09       <DIR>          Apps", "Apps", true, false, -1, 2, utc(2000, 4, 27, 21, 9));
        row("msdos name with semicolon", "07-18-00  10:16AM  5 a;b.txt", "a;b.txt", false, true, 5, 2, utc(2000, 7, 18, 10, 16));
        bad("msdos without name", "04-27-00  09:09PM       <DIR>");
        bad("msdos bad hour", "04-27-00  x9:09PM 5 a");

        row("mlsd file", "type=file;size=280;modify=20240229235960;perm=adfrw;unique=802U1A; quotes.csv", "quotes.csv", false, true, 280, 1, 1709251200, "adfrw|802U1A");
        row("mlsd directory, fraction of a second", "type=dir;sizd=4096;modify=19700101000001.250;perm=flcdmpe; reports", "reports", true, false, 4096, 1, 1, "flcdmpe|");
        row("mlsd blanks and semicolons in the name, facts in any case", "Type=File;Size=7; a b;c d ", "a b;c d ", false, true, 7, 0, 0, "|");
        row("mlsd link", "type=OS.unix=slink:/pub/x;size=1; x-link", "x-link", true, true, 1, 0, 0, "|");
        row("mlsd values that are no numbers count as unknown", "type=file;size=12k;modify=2024-01-01; odd", "odd", false, true, -1, 0, 0, "|");
        row("mlsd no facts", " bare", "bare", false, false, -1, 0, 0, "|");
        bad("mlsd this directory", "type=cdir;perm=el; .");
        bad("mlsd parent directory", "type=pdir;perm=el; ..");
        bad("mlsd fact without value", "type=file;size; name");
        bad("mlsd no name", "type=file;size=1;");
    }
    void parse()
    {
        QFETCH(QByteArray, line);
        QFETCH(bool, ok);
        QFETCH(QByteArray, name);
        QFETCH(bool, cwd);
        QFETCH(bool, retr);
        QFETCH(long, size);
        QFETCH(int, timeType);
        QFETCH(long, time);
        QFETCH(QString, facts);

        const bool mlsd = QByteArray(QTest::currentDataTag()).startsWith("mlsd");
        CFTPListParser parser;
        CFTPMlsdParser mlsdParser;
        CFTPFileStatus status;
        status.SetName("left over");
        const tstring text(line.constData(), line.size());
        QCOMPARE(mlsd ? mlsdParser.Parse(status, text) : parser.Parse(status, text), ok);
        if (!ok) {
            QVERIFY(status == CFTPFileStatus());
            return;
        }
        QCOMPARE(QByteArray(status.Name().data(), int(status.Name().size())), name);
        QCOMPARE(status.IsCwdPossible(), cwd);
        QCOMPARE(status.IsRetrPossible(), retr);
        QCOMPARE(status.Size(), size);
        QCOMPARE(status.SizeType(), size == -1 && !line.startsWith("+s") ? 0 : 1);
        QCOMPARE(status.MTimeType(), timeType);
        QCOMPARE(status.MTime(), time);
        if (mlsd) {
            QCOMPARE(QString::fromStdString(status.Attributes() + "|" + status.ID()), facts);
            QCOMPARE(status.IDType() == CFTPFileStatus::idFull, !facts.endsWith('|'));
        }
    }

    void recentDatesGuessTheYear_data()
    {
        QTest::addColumn<int>("daysFromNow");
        QTest::newRow("three days ago") << -3;
        QTest::newRow("ten days ahead (clock skew)") << 10;
        QTest::newRow("twenty days ahead (last year)") << 20;
        QTest::newRow("half a year ago") << -180;
    }
    void recentDatesGuessTheYear()
    {
        QFETCH(int, daysFromNow);
        const QDateTime now = QDateTime::currentDateTimeUtc();
        const QDate shown = now.date().addDays(daysFromNow);
        if (shown.month() == 2 && shown.day() == 29)
            QSKIP("the leap day has no counterpart in the year before");
        // Expected: last year's date unless that lies 350 days or more in the past.
        QDateTime expected(shown.addYears(-1), QTime(13, 7), Qt::UTC);
        if (expected.secsTo(now) >= 350L * 86400 + 13 * 3600 + 7 * 60)
            expected = QDateTime(shown, QTime(13, 7), Qt::UTC);

        const QByteArray line
            = "-rw-r--r-- 1 owner group 42 " + QLocale::c().toString(shown, "MMM d").toLatin1() + " 13:07 f";
        CFTPListParser parser;
        CFTPFileStatus status;
        QVERIFY(parser.Parse(status, line.toStdString()));
        QCOMPARE(status.MTimeType(), int(CFTPFileStatus::mttLocalMinute));
        QCOMPARE(QDateTime::fromSecsSinceEpoch(status.MTime(), Qt::UTC), expected);
        QCOMPARE(parser.GuessTAI(shown.month() - 1, shown.day()) + 13 * 3600 + 7 * 60, status.MTime());

        const QByteArray shortClock = "-rw-r--r-- 1 o g 1 " + QLocale::c().toString(shown, "MMM d").toLatin1() + " 9:05 f";
        QVERIFY(parser.Parse(status, shortClock.toStdString()));
        QCOMPARE(status.MTime() - expected.toSecsSinceEpoch(), 9L * 3600 + 5 * 60 - 13 * 3600 - 7 * 60);
    }

    void toTai()
    {
        // Against Qt's own calendar, across centuries, leap years and month ends.
        const qint64 epochDay = QDate(1970, 1, 1).toJulianDay();
        for (QDate date(1583, 1, 1); date.year() < 2500; date = date.addDays(13)) {
            const long expected = long(date.toJulianDay() - epochDay) * 86400;
            QCOMPARE(CFTPListParser::ToTAI(date.year(), date.month() - 1, date.day()), expected);
        }
        QCOMPARE(CFTPListParser::ToTAI(2000, 1, 29) + 86400, CFTPListParser::ToTAI(2000, 2, 1));
        QCOMPARE(CFTPListParser::ToTAI(1900, 1, 29), CFTPListParser::ToTAI(1900, 2, 1)); // no leap day in 1900
        // Months outside 0..11 carry into the year.
        QCOMPARE(CFTPListParser::ToTAI(2009, 12, 1), CFTPListParser::ToTAI(2010, 0, 1));
        QCOMPARE(CFTPListParser::ToTAI(2009, -1, 1), CFTPListParser::ToTAI(2008, 11, 1));
        // Absurd input saturates instead of overflowing.
        QCOMPARE(CFTPListParser::ToTAI(LONG_MAX, LONG_MAX, LONG_MAX), LONG_MAX);
        QCOMPARE(CFTPListParser::ToTAI(LONG_MIN, LONG_MIN, LONG_MIN), LONG_MIN);
    }

    void monthsAndNumbers()
    {
        const char *const months[] = { "jan", "Feb", "MAR", "apR", "May", "jun", "Jul", "aug", "SEP", "oct", "Nov", "dec" };
        for (int i = 0; i < 12; ++i)
            QCOMPARE(CFTPListParser::GetMonth(months[i], 3), i);
        for (const char *bad : { "janu", "ja", "j\xc1n" })
            QCOMPARE(CFTPListParser::GetMonth(bad, int(strlen(bad))), -1);
        long value = 77;
        QVERIFY(CFTPListParser::GetLong("123x", 3, value) && value == 123);
        QVERIFY(CFTPListParser::GetLong("9223372036854775807", 19, value) && value == LONG_MAX);
        value = 77;
        for (const char *bad : { "9223372036854775808", "12x", "-1", "" })
            QVERIFY2(!CFTPListParser::GetLong(bad, int(strlen(bad)), value), bad);
        QCOMPARE(value, 77L);
    }

    void anyInputIsSafe()
    {
        CFTPListParser parser;
        CFTPFileStatus status;
        // Numbers far beyond a long's range in every numeric column.
        const char *const huge[] = {
            "-rw-r--r-- 1 o g 99999999999999999999999 Jan 99999999999999999 9999999999999999999999 x",
            "-rw-r--r-- 1 o g 1 Jan 9223372036854775807 9223372036854775807 x",
            "99999999999999999-9223372036854775807-9223372036854775807 9223372036854775807:9223372036854775807PM "
            "1 x",
            "X;1 1 9223372036854775807-DEC-9223372036854775807 9223372036854775807:9223372036854775807",
            "+m9223372036854775807,s99999999999999999999999,\tx",
        };
        for (const char *line : huge)
            QVERIFY2(parser.Parse(status, line), line);

        // Lines cut off inside each format's columns: refused, or naming a part of themselves.
        const char *const cut[] = { "-rw-r--r-- 1 o g 5 Jan 1 2009 ->", "l", "+", "+\t", "04-27-00  09:09PM",
            "A;", "A;1 2 1-JAN", "drwxr-xr-x 2 o g 1 Jan 1 12:", "-rw-r--r-- 1 o g 1 Jan 1 12:00  " };
        for (const char *line : cut) {
            if (parser.Parse(status, line))
                QVERIFY2(!status.Name().empty() && tstring(line).find(status.Name()) != tstring::npos, line);
        }
    }

    void fileStatusComparesAllFields()
    {
        CFTPListParser parser;
        CFTPFileStatus a, b;
        QVERIFY(parser.Parse(a, "-rw-r--r-- 1 owner group 1234 Mar 5 2009 file"));
        // Each line differs from the first in one column.
        for (const char *line : { "-rw-r--r-- 1 owner group 1234 Mar 5 2009 fil", "-rw-r--r-- 1 owner group 1235 Mar 5 2009 file",
                 "-rw-r--r-- 1 owner group 1234 Mar 6 2009 file", "-rw-r--r-- 1 owner grou 1234 Mar 5 2009 file",
                 "-rw-r--r-- 1 owne group 1234 Mar 5 2009 file", "-rw-r--r-- 2 owner group 1234 Mar 5 2009 file",
                 "-rwxr--r-- 1 owner group 1234 Mar 5 2009 file", "drw-r--r-- 1 owner group 1234 Mar 5 2009 file" }) {
            QVERIFY(parser.Parse(b, line));
            QVERIFY2(a != b, line);
        }
        b = a;
        QVERIFY(a == b);
        b.SetPath("/pub");
        QVERIFY(a != b);
        b.Reset();
        QVERIFY(b == CFTPFileStatus() && b.Size() == -1);
    }
};

QTEST_APPLESS_MAIN(TestFtpListParser)
#include "tst_ftplistparser.moc"
