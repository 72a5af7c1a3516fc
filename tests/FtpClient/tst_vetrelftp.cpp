// vetrel-ftp as a user runs it, against the tests' scripted server on
// 127.0.0.1: what it makes of its arguments, what it prints, its exit codes
// and where it takes the password from. The library is tested on its own.

#include "ftpserverprocess.h"
#include "scriptedftpserver.h"

#include <QtTest>

#include <csignal>

namespace
{

struct Run { int exitCode = -1; QString out, err; };

const QStringList logon{"331 pw", "230 ok", "250 cwd"};
const QByteArray keep = "pre\r\nci\nous"; // a local file that must stay as it is

QStringList at(const ScriptedFtpServer& server)
{
    return {"--host", "127.0.0.1", "--port", QString::number(server.port()), "--timeout", "30"};
}

}

class TestVetrelFtp : public QObject
{
    Q_OBJECT

private:
    Run run(const QStringList& arguments, const QProcessEnvironment& environment = QProcessEnvironment::systemEnvironment())
    {
        QProcess process;
        process.setWorkingDirectory(m_localDir.path());
        process.setProcessEnvironment(environment);
        process.start(QStringLiteral(VETREL_FTP_PROGRAM), arguments);
        if (!process.waitForFinished(60000))
            process.kill(), process.waitForFinished();
        return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
                QString::fromLocal8Bit(process.readAllStandardOutput()), QString::fromLocal8Bit(process.readAllStandardError())};
    }
    QString local(const QString& name) const { return m_localDir.filePath(name); }

private slots:
    void init() { QVERIFY(writeTestFile(local("keep.txt"), keep)); }

    void refusedBeforeAnySession_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("error");

        const auto row = [](const char* tag, const QString& arguments, int exitCode, const char* error) {
            QTest::newRow(tag) << arguments.split(' ', Qt::SkipEmptyParts) << exitCode << error;
        };
        row("no command", "--host 127.0.0.1", 2, "no command given (see --help)");
        row("unknown command", "--host 127.0.0.1 fetch a", 2, "unknown command: fetch");
        row("too many arguments", "--host 127.0.0.1 size a b", 2, "size: wrong number of arguments (see --help)");
        row("bad port", "--host 127.0.0.1 --port 99999 size a", 2, "--port: not a port: 99999");
        row("bad time-out", "--host 127.0.0.1 --timeout 0 size a", 2, "--timeout: not a number of seconds: 0");
        row("unknown firewall type", "--host 127.0.0.1 --firewall-type WALL size a", 2, "--firewall-type: unknown type: WALL");
        row("firewall without its host", "--host 127.0.0.1 --firewall-type 3 size a", 2, "--firewall-type needs --firewall-host");
        row("--unique with get", "--host 127.0.0.1 --unique get a", 2, "--unique goes with put only");
        row("--insecure without --tls", "--host 127.0.0.1 --insecure size a", 2, "--insecure and --cacert go with --tls only");
        row("copy without target", "--host 127.0.0.1 copy a b", 2, "copy needs --to-host");
        row("no host", "size a", 2, "--host is required");
        row("connection refused, --verbose adds the code", "--host 127.0.0.1 --verbose --port 1 size x", 1,
            "cannot log on to 127.0.0.1: connection refused (Connect error 0x0000006f)");
        // An IPv6 address is no IPv4 host, and no name server is asked.
        row("host not found", "--host ::1 size x", 1, "cannot log on to ::1: host not found");
    }
    void refusedBeforeAnySession()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QString, error);
        const Run result = run(arguments);
        QTEST(result.exitCode, "exitCode");
        // One line, the last one even when --verbose says more.
        QVERIFY2(result.err.endsWith("vetrel-ftp: " + error + "\n"), qPrintable(result.err));
        QVERIFY2(arguments.contains("--verbose") || result.err.count('\n') == 1, qPrintable(result.err));
    }

    void commands_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QStringList>("script");
        QTest::addColumn<QString>("expected"); // the commands, where '*' stands for any rest of a line
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("out");
        QTest::addColumn<QString>("err"); // the last line without "vetrel-ftp: ", or "~" and a part of it

        // Arguments are split at blanks; script and expected commands at '|', both after the logon's.
        const auto row = [](const char* tag, const QString& arguments, const QString& script, const QString& expected, int exitCode,
                            const QString& out, const QString& err = QString()) {
            QStringList steps = script.split('|');
            // A line sent unasked goes before the logon; a script with a logon of its own starts with 331.
            if (!steps.first().startsWith("331"))
                steps = steps.first().startsWith('!') ? steps.mid(0, 1) + logon + steps.mid(1) : logon + steps;
            QTest::newRow(tag) << arguments.split(' ') << steps << (expected.startsWith("USER") ? "" : "USER joe|PASS pw|CWD /|") + expected
                               << exitCode << out << err;
        };
        row("size", "size a.csv", "200 type|213 1234|221 bye", "TYPE I|SIZE a.csv|QUIT", 0, "1234\n");
        row("mdtm", "mdtm a.csv", "213 20240229235958|221 bye", "MDTM a.csv|QUIT", 0, "2024-02-29 23:59:58 UTC\n");
        row("list, active", "--active list pub", "200 type|200 port|550 no", "TYPE A|PORT 127,0,0,1,*|LIST pub", 1, "", "list failed: 550 no");
        row("list, parsed", "list --parsed",
            "502 no FEAT|200 type|PASV|150 here|>-rw-r--r-- 1 o g 1234 Mar 5 2009 a b.csv\r\ndrwxr-xr-x 2 o g 4096 Jan 1 2009 dir\r\n"
            "|!226 done|221 bye",
            "FEAT|TYPE A|PASV|LIST|QUIT", 0, "-           1234 2009-03-05       a b.csv\nd           4096 2009-01-01       dir\n");
        row("list, parsed from MLSD", "list --parsed",
            "211-Features:\r\n MLST type*;size*;modify*;\r\n211 End|200 type|PASV|150 here|>type=file;size=5;modify=20210304050607; c.bin\r\n"
            "type=dir; d\r\n|!226 done|221 bye",
            "FEAT|TYPE A|PASV|MLSD|QUIT", 0, "-              5 2021-03-04 05:06 c.bin\nd              - - d\n");
        // A bare CR is no line end, also at the very end.
        row("get as text", "--ascii get t.txt /dev/stdout", "200 type|550 no size|PASV|150 here|>a\r\nb\rc\r\n\r|!226 done|221 bye",
            "TYPE A|SIZE t.txt|PASV|RETR t.txt|QUIT", 0, "a\nb\rc\n\r");
        row("get onto a full disk stops at the first write", "get f /dev/full", "200 type|213 3|PASV|150 here|>abc|!226 done|221 bye",
            "TYPE I|SIZE f|PASV|RETR f|*", 1, "", "get failed: Reading or writing the local file \"/dev/full\" failed: No space left on device");
        // A CR LF already in the file stays as it is.
        row("put as text", "--ascii put keep.txt", "200 type|PASV|150 send|<|!226 stored|221 bye", "TYPE A|PASV|STOR keep.txt|QUIT", 0, "");
        row("put --unique prints the name the server chose", "--unique put keep.txt",
            "200 type|PASV|150 FILE: keep.txt.1|<|!226 stored|221 bye", "TYPE I|PASV|STOU*|QUIT", 0, "150 FILE: keep.txt.1\n");
        row("put --resume onto a longer remote file", "--resume put keep.txt long.bin", "200 type|213 100", "TYPE I|SIZE long.bin", 1,
            "", "put failed: The remote file is longer than the local one; there is nothing to resume.");
        row("wrong password", "size x", "331 pw|530 Login incorrect.", "USER joe|PASS pw", 1, "",
            "cannot log on to 127.0.0.1: 530 Login incorrect.");
        row("firewall type by its storage name, any case",
            "--firewall-type user_remoteid@fireid@remotehost --firewall-host 127.0.0.1 --firewall-port PORT --firewall-user fw "
            "--firewall-password fp --host ftp.example --port 21 size a",
            "200 type|213 1|221 bye", "USER joe@fw@ftp.example|PASS pw@fp|CWD /|TYPE I|SIZE a|QUIT", 0, "1\n");
        // STOR would empty the target before the source has said no.
        row("copy from a missing source leaves the target alone", "--to-host 127.0.0.1 --to-port 1 copy nothing x",
            "550 No such file.", "MDTM nothing", 1, "", "copy failed: 550 No such file.");
        row("copy to a target that cannot be reached", "--to-host 127.0.0.1 --to-port 1 copy a b", "213 20240101000000", "MDTM a", 1, "",
            "~cannot log on to 127.0.0.1: connection refused\n");
        // A PASV reply naming another host where nothing listens.
        row("passive data goes to the server, every reply line shown", "--verbose names",
            "!220-Welcome\r\n220 ready|200 type|PASV@127,0,0,2|150 here|>a.csv\r\n|!226 done|221 bye", "TYPE A|PASV|NLST|QUIT", 0, "a.csv\n",
            "~<- 220-Welcome\n<- 220 ready\n");
        row("--use-pasv-address", "--use-pasv-address names", "200 type|PASV@127,0,0,2", "TYPE A|PASV", 1, "",
            "names failed: connection refused");
    }
    void commands()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QString, expected);
        QFETCH(QString, err);
        QFETCH(QStringList, script);
        ScriptedFtpServer ftp(script);
        ftp.start();
        arguments.replaceInStrings("PORT", QString::number(ftp.port()));
        const Run result = run(at(ftp) + QStringList{"--user", "joe", "--password", "pw"} + arguments);
        ftp.waitFinished();
        QTEST(result.exitCode, "exitCode");
        QTEST(result.out, "out");
        if (err.startsWith('~'))
            QVERIFY2(result.err.contains(err.mid(1)), qPrintable(result.err));
        else
            QCOMPARE(result.err, err.isEmpty() ? err : "vetrel-ftp: " + err + "\n");
        const QString sent = ftp.commands().join('|');
        const QString pattern = QRegularExpression::escape(expected).replace("\\*", "[^|]*");
        QVERIFY2(QRegularExpression(QRegularExpression::anchoredPattern(pattern)).match(sent).hasMatch(), qPrintable(sent));
        if (arguments.contains("put"))
            QCOMPARE(ftp.receivedData(), result.exitCode ? QByteArray() : arguments.contains("--ascii") ? QByteArray("pre\r\nci\r\nous") : keep);
        QCOMPARE(readTestFile(local("keep.txt")), keep);
    }

    void passwordSources_data()
    {
        QTest::addColumn<QString>("source");
        for (const char* source : {"environment", "private .netrc", ".netrc that others can read", "prompt without echo"})
            QTest::newRow(source) << QString(source);
    }
    void passwordSources()
    {
        QFETCH(QString, source);
        const bool netrc = source.contains(".netrc"), refused = source.contains("others");
        ScriptedFtpServer ftp({"331 pw", "230 ok", "250 cwd", "200 type", "213 6", "221 bye"});
        // The refusal comes before any connection.
        if (!refused)
            ftp.start();
        QTemporaryDir home;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("HOME", home.path());
        environment.remove("VETREL_FTP_PASSWORD");
        if (source == "environment")
            environment.insert("VETREL_FTP_PASSWORD", "secret");
        const QStringList arguments = at(ftp) + (netrc ? QStringList{"--netrc"} : QStringList{"--user", "trader"}) + QStringList{"size", "six.bin"};
        QVERIFY(!netrc || writeTestFile(home.filePath(".netrc"), "machine elsewhere login x password y\nmacdef init\ncd /\n\n"
                                                                 "machine 127.0.0.1 login trader password secret\n"));
        QVERIFY(!netrc || QFile::setPermissions(home.filePath(".netrc"), QFile::ReadOwner | QFile::WriteOwner
                                                                            | (refused ? QFile::ReadOther : QFile::Permission(0))));
        Run result;
        if (!source.startsWith("prompt")) {
            result = run(arguments, environment);
        } else {
            // A terminal of its own: the program asks there, and must not show what is typed.
            QProcess process;
            process.setProcessEnvironment(environment);
            process.start("script", {"-qec", (QStringList{VETREL_FTP_PROGRAM} + arguments).join(' '), "/dev/null"});
            QByteArray screen;
            QTRY_VERIFY_WITH_TIMEOUT((screen += process.readAll()).contains("Password for trader@127.0.0.1:"), 30000);
            process.write("secret\n");
            QVERIFY(process.waitForFinished(60000));
            result = {process.exitCode(), QString::fromLocal8Bit(screen + process.readAll()), QString()};
            QVERIFY2(!result.out.contains("secret"), qPrintable(result.out));
        }
        QCOMPARE(result.exitCode, int(refused));
        QVERIFY2(refused ? result.err.contains("can be read by others") : result.out.contains(QRegularExpression("^6\r?$", QRegularExpression::MultilineOption)),
                 qPrintable(result.out + result.err));
        ftp.waitFinished();
        QCOMPARE(ftp.commands().mid(0, 2), refused ? QStringList() : (QStringList{"USER trader", "PASS secret"}));
    }

    void interruptEndsEveryWait_data()
    {
        QTest::addColumn<bool>("greets");
        QTest::newRow("waiting for the greeting") << false;
        QTest::newRow("waiting for data") << true;
    }
    void interruptEndsEveryWait()
    {
        QFETCH(bool, greets);
        ScriptedFtpServer ftp(greets ? QStringList{"230 ok", "250 ok", "200 type", "213 100", "PASV", "150 here", "~8000"}
                                     : QStringList{"=", "~8000"});
        ftp.start();

        QProcess process;
        process.setWorkingDirectory(m_localDir.path());
        process.setProcessChannelMode(QProcess::MergedChannels);
        process.start(QStringLiteral(VETREL_FTP_PROGRAM), at(ftp) + QStringList{"get", "report.csv", "keep.txt"});
        QVERIFY(process.waitForStarted());
        // Long enough for the program to be inside its wait.
        QTest::qSleep(1000);
        QElapsedTimer timer;
        timer.start();
        QCOMPARE(::kill(static_cast<pid_t>(process.processId()), SIGINT), 0);
        QVERIFY(process.waitForFinished(20000));
        // Far below the 30 s time-out the wait would otherwise run to; the margin is for a loaded machine.
        QVERIFY2(timer.elapsed() < 5000, qPrintable(QString::number(timer.elapsed())));
        QCOMPARE(process.exitCode(), 1);
        QVERIFY(process.readAll().trimmed().endsWith(": interrupted"));
        QCOMPARE(readTestFile(local("keep.txt")), keep);
    }

private:
    QTemporaryDir m_localDir;
};

QTEST_GUILESS_MAIN(TestVetrelFtp)
#include "tst_vetrelftp.moc"
