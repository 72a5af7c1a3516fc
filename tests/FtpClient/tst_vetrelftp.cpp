// vetrel-ftp as a user runs it, against the tests' scripted server on
// 127.0.0.1: what it sends for each command and option, what it prints, and
// its exit codes. The library's transfers are tested on their own elsewhere.

#include "ftpserverprocess.h"
#include "scriptedftpserver.h"

#include <QTemporaryDir>
#include <QtTest>

#include <csignal>

namespace
{

struct Run
{
    int exitCode = -1;
    QString out;
    QString err;
};

const QStringList logon{"331 pw", "230 ok", "250 cwd"};
const QStringList loggedOn{"USER joe", "PASS pw", "CWD /"};

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
        Run result;
        if (!process.waitForFinished(60000)) {
            process.kill();
            process.waitForFinished();
            result.err = QStringLiteral("did not finish");
            return result;
        }
        result.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
        result.out = QString::fromLocal8Bit(process.readAllStandardOutput());
        result.err = QString::fromLocal8Bit(process.readAllStandardError());
        return result;
    }

    static QStringList server(const ScriptedFtpServer& server)
    {
        return {"--host", "127.0.0.1", "--port", QString::number(server.port()), "--timeout", "30"};
    }
    QString local(const QString& name) const { return m_localDir.filePath(name); }

private slots:
    void init() { QVERIFY(writeTestFile(local("keep.txt"), "precious")); }
    void helpShowsTheDefaults()
    {
        const Run help = run({"--help"});
        QCOMPARE(help.exitCode, 0);
        for (const char* text : {"Default: 21.", "Default: 30.", "Default: /.", "VETREL_FTP_PASSWORD", "--netrc"})
            QVERIFY2(help.out.contains(text), text);
    }
    void refusedBeforeAnySession_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("error");

        const QStringList host{"--host", "127.0.0.1"};
        const auto row = [&](const char* tag, const QString& arguments, int exitCode, const char* error) {
            QTest::newRow(tag) << (arguments.startsWith("--host") ? QStringList() : host) + arguments.split(' ', Qt::SkipEmptyParts)
                               << exitCode << error;
        };
        row("no command", "", 2, "no command given (see --help)");
        row("unknown command", "fetch a", 2, "unknown command: fetch");
        row("too many arguments", "size a b", 2, "size: wrong number of arguments (see --help)");
        row("bad port", "--port 99999 size a", 2, "--port: not a port: 99999");
        row("bad time-out", "--timeout 0 size a", 2, "--timeout: not a number of seconds: 0");
        row("unknown firewall type", "--firewall-type WALL size a", 2, "--firewall-type: unknown type: WALL");
        row("firewall without its host", "--firewall-type 3 size a", 2, "--firewall-type needs --firewall-host");
        row("--unique with get", "--unique get a", 2, "--unique goes with put only");
        row("--insecure without --tls", "--insecure size a", 2, "--insecure and --cacert go with --tls only");
        row("copy without target", "copy a b", 2, "copy needs --to-host");
        row("unknown option", "--colour size a", 2, "Unknown option 'colour'.");
        QTest::newRow("no host") << QStringList{"size", "a"} << 2 << "--host is required";
        row("connection refused, --verbose adds the code", "--verbose --port 1 size x", 1,
            "cannot log on to 127.0.0.1: connection refused (Connect error 0x0000006f)");
        row("host not found", "--host no-such-host.invalid size x", 1, "cannot log on to no-such-host.invalid: host not found");
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
        QTest::addColumn<QStringList>("expected"); // the commands; a trailing '*' matches any rest
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("out");
        QTest::addColumn<QString>("err"); // the last line without "vetrel-ftp: ", or "~" and a part of it
        QTest::addColumn<QString>("file"); // a local file and what it must hold afterwards
        QTest::addColumn<QByteArray>("contents");

        // Arguments are split at blanks; script and expected commands at '|', both after the logon's.
        const auto row = [](const char* tag, const QString& arguments, const QString& script, const QString& expected, int exitCode,
                            const QString& out, const QString& err = QString(), const QString& file = "keep.txt",
                            const QByteArray& contents = "precious") {
            QStringList steps = script.split('|');
            // A line sent unasked goes before the logon; a logon of its own starts with USER.
            steps = steps.first().startsWith('!') ? steps.mid(0, 1) + logon + steps.mid(1) : logon + steps;
            QTest::newRow(tag) << arguments.split(' ') << steps
                               << (expected.startsWith("USER") ? QStringList() : loggedOn) + expected.split('|') << exitCode << out
                               << err << file << contents;
        };
        row("size", "size a.csv", "200 type|213 1234|221 bye", "TYPE I|SIZE a.csv|QUIT", 0, "1234\n");
        row("mdtm", "mdtm a.csv", "213 20240229235958|221 bye", "MDTM a.csv|QUIT", 0, "2024-02-29 23:59:58 UTC\n");
        row("rename", "rename a b", "350 go on|250 ok|221 bye", "RNFR a|RNTO b|QUIT", 0, "");
        row("mkdir", "mkdir d", "257 made|221 bye", "MKD d|QUIT", 0, "");
        row("rmdir", "rmdir d", "250 gone|221 bye", "RMD d|QUIT", 0, "");
        row("delete refused", "delete f", "550 No such file.", "DELE f", 1, "", "delete failed: 550 No such file.");
        row("names", "names", "200 type|PASV|150 here|>a.csv\r\nb c.csv\r\n|!226 done|221 bye", "TYPE A|PASV|NLST|QUIT", 0,
            "a.csv\nb c.csv\n");
        row("list, active", "--active list pub", "200 type|200 port|150 here|>-rw-r--r-- 1 o g 5 Jan 1 2009 x\r\n|!226 done|221 bye",
            "TYPE A|PORT 127,0,0,1,*|LIST pub|QUIT", 0, "-rw-r--r-- 1 o g 5 Jan 1 2009 x\n");
        row("list, parsed", "list --parsed",
            "502 no FEAT|200 type|PASV|150 here|>-rw-r--r-- 1 o g 1234 Mar 5 2009 a b.csv\r\ndrwxr-xr-x 2 o g 4096 Jan 1 2009 dir\r\n"
            "|!226 done|221 bye",
            "FEAT|TYPE A|PASV|LIST|QUIT", 0, "-           1234 2009-03-05       a b.csv\nd           4096 2009-01-01       dir\n");
        row("get as text", "--ascii get t.txt", "200 type|550 no size|PASV|150 here|>a\r\nb\r\n|!226 done|221 bye",
            "TYPE A|SIZE t.txt|PASV|RETR t.txt|QUIT", 0, "", "", "t.txt", "a\nb\n");
        row("failed get keeps the local file", "get f keep.txt", "200 type|213 3|PASV|550 No such file.", "TYPE I|SIZE f|PASV|RETR f",
            1, "", "get failed: 550 No such file.");
        row("get onto a full disk stops at the first write", "get f /dev/full", "200 type|213 3|PASV|150 here|>abc|!226 done|221 bye",
            "TYPE I|SIZE f|PASV|RETR f|*", 1, "", "get failed: Reading or writing the local file \"/dev/full\" failed: No space left on device");
        row("put", "put keep.txt up.txt", "200 type|PASV|150 send|<|!226 stored|221 bye", "TYPE I|PASV|STOR up.txt|QUIT", 0, "");
        row("put --unique prints the name the server chose", "--unique put keep.txt",
            "200 type|PASV|150 FILE: keep.txt.1|<|!226 stored|221 bye", "TYPE I|PASV|STOU*|QUIT", 0, "150 FILE: keep.txt.1\n");
        row("put --resume onto a longer remote file", "--resume put keep.txt long.bin", "200 type|213 100", "TYPE I|SIZE long.bin", 1,
            "", "put failed: The remote file is longer than the local one; there is nothing to resume.");
        QTest::newRow("wrong password") << QStringList{"size", "x"} << QStringList{"331 pw", "530 Login incorrect."}
                                        << QStringList{"USER joe", "PASS pw"} << 1 << "" << "cannot log on to 127.0.0.1: 530 Login incorrect."
                                        << "keep.txt" << QByteArray("precious");
        row("firewall type by its storage name, any case",
            "--firewall-type user_remoteid@fireid@remotehost --firewall-host 127.0.0.1 --firewall-port PORT --firewall-user fw "
            "--firewall-password fp --host ftp.example --port 21 size a",
            "200 type|213 1|221 bye", "USER joe@fw@ftp.example|PASS pw@fp|CWD /|TYPE I|SIZE a|QUIT", 0, "1\n");
        row("copy from a missing source leaves the target alone", "--to-host 127.0.0.1 --to-port 1 copy nothing x",
            "550 No such file.", "MDTM nothing", 1, "", "copy failed: 550 No such file.");
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
        QFETCH(QStringList, script);
        QFETCH(QStringList, expected);
        QFETCH(QString, out);
        QFETCH(QString, err);
        QFETCH(QString, file);
        ScriptedFtpServer ftp(script);
        ftp.start();
        arguments.replaceInStrings("PORT", QString::number(ftp.port()));
        const Run result = run(server(ftp) + QStringList{"--user", "joe", "--password", "pw"} + arguments);
        ftp.waitFinished();
        QTEST(result.exitCode, "exitCode");
        QCOMPARE(result.out, out);
        if (err.startsWith('~'))
            QVERIFY2(result.err.contains(err.mid(1)), qPrintable(result.err));
        else
            QCOMPARE(result.err, err.isEmpty() ? err : "vetrel-ftp: " + err + "\n");
        const QStringList sent = ftp.commands();
        QCOMPARE(sent.size(), expected.size());
        for (int i = 0; i < sent.size(); ++i)
            QVERIFY2(expected[i].endsWith('*') ? sent[i].startsWith(expected[i].chopped(1)) : sent[i] == expected[i],
                     qPrintable(sent.join(" | ")));
        if (arguments.contains("put"))
            QCOMPARE(ftp.receivedData(), QByteArray(result.exitCode ? "" : "precious"));
        QTEST(readTestFile(local(file)), "contents");
    }

    void copyBetweenServers()
    {
        ScriptedFtpServer source(logon + QStringList{"213 20240101000000", "200 type", "227 Entering Passive Mode (127,0,0,1,19,137)",
                                         "150 sending", "!226 sent", "221 bye"});
        ScriptedFtpServer target({"331 pw", "230 ok", "250 cwd", "200 type", "200 port", "150 receiving", "!226 stored", "221 bye"});
        source.start();
        target.start();
        const Run result = run(server(source) + QStringList{"--user", "joe", "--password", "pw", "--to-host", "127.0.0.1", "--to-port",
                                                            QString::number(target.port()), "--to-user", "tom", "--to-password", "tp",
                                                            "copy", "a", "b"});
        source.waitFinished();
        target.waitFinished();
        QVERIFY2(result.exitCode == 0 && result.err.isEmpty(), qPrintable(result.err));
        QCOMPARE(source.commands(), loggedOn + QStringList({"MDTM a", "TYPE I", "PASV", "RETR a", "QUIT"}));
        QCOMPARE(target.commands(), (QStringList{"USER tom", "PASS tp", "CWD /", "TYPE I", "PORT 127,0,0,1,19,137", "STOR b", "QUIT"}));
    }

    void passwordSources_data()
    {
        QTest::addColumn<QString>("source");
        QTest::addColumn<int>("exitCode");

        QTest::newRow("environment") << "environment" << 0;
        QTest::newRow("private .netrc") << "netrc 0600" << 0;
        QTest::newRow(".netrc that others can read") << "netrc 0644" << 1;
        QTest::newRow("prompt without echo") << "prompt" << 0;
    }
    void passwordSources()
    {
        QFETCH(QString, source);
        QFETCH(int, exitCode);
        ScriptedFtpServer ftp({"331 pw", "230 ok", "250 cwd", "200 type", "213 6", "221 bye"});
        // The refusal comes before any connection.
        if (exitCode == 0)
            ftp.start();
        QTemporaryDir home;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("HOME", home.path());
        environment.remove("VETREL_FTP_PASSWORD");
        if (source == "environment")
            environment.insert("VETREL_FTP_PASSWORD", "secret");
        const QStringList arguments = server(ftp) + (source.startsWith("netrc") ? QStringList{"--netrc"} : QStringList{"--user", "trader"})
                                      + QStringList{"size", "six.bin"};
        const QString netrc = home.filePath(".netrc");
        if (source.startsWith("netrc")) {
            QVERIFY(writeTestFile(netrc, "machine elsewhere login x password y\nmacdef init\ncd /\n\n"
                                         "machine 127.0.0.1 login trader password secret\n"));
            const auto others = source.endsWith("0644") ? QFile::ReadOther : QFile::Permission(0);
            QVERIFY(QFile::setPermissions(netrc, QFile::ReadOwner | QFile::WriteOwner | others));
        }
        Run result;
        if (source != "prompt") {
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
        QTEST(result.exitCode, "exitCode");
        QVERIFY2(exitCode ? result.err.contains("can be read by others") : result.out.contains(QRegularExpression("^6\r?$", QRegularExpression::MultilineOption)),
                 qPrintable(result.out + result.err));
        ftp.waitFinished();
        QCOMPARE(ftp.commands().mid(0, 2), exitCode ? QStringList() : (QStringList{"USER trader", "PASS secret"}));
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
        ScriptedFtpServer ftp(greets ? QStringList{"230 ok", "250 ok", "200 type", "213 100", "PASV", "150 here"} : QStringList());
        ftp.pause(8000);
        ftp.start();

        QProcess process;
        process.setWorkingDirectory(m_localDir.path());
        process.setProcessChannelMode(QProcess::MergedChannels);
        process.start(QStringLiteral(VETREL_FTP_PROGRAM), server(ftp) + QStringList{"get", "report.csv", "keep.txt"});
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
        QCOMPARE(readTestFile(local("keep.txt")), QByteArray("precious"));
    }

private:
    QTemporaryDir m_localDir;
};

QTEST_GUILESS_MAIN(TestVetrelFtp)
#include "tst_vetrelftp.moc"
