// vetrel-ftp end to end: the program run as a user would run it, against
// pyftpdlib and vsftpd on 127.0.0.1.

#include "ftpserverprocess.h"
#include "scriptedftpserver.h"
#include "testfiles.h"

#include <QDir>
#include <QTemporaryDir>
#include <QtTest>

#include <csignal>
#include <functional>
#include <memory>

namespace
{

struct Run
{
    int exitCode = -1;
    QString out;
    QString err;
};

QByteArray sampleBytes(int size)
{
    QByteArray bytes(size, Qt::Uninitialized);
    char* data = bytes.data();
    for (unsigned i = 0; i < static_cast<unsigned>(size); ++i)
        data[i] = static_cast<char>((i * 7919u) >> 3);
    return bytes;
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
        Run result;
        if (!process.waitForFinished(30000)) {
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

    QStringList logon(const FtpServerProcess& server) const
    {
        QStringList arguments{"--host", "127.0.0.1", "--port", QString::number(server.port()), "--user", server.user(),
                              "--start-dir", "/pub"};
        if (!server.password().isEmpty())
            arguments << "--password" << server.password();
        return arguments;
    }

    QString local(const QString& name) const { return m_localDir.path() + "/" + name; }

private slots:
    void initTestCase();
    void helpSaysItAll();
    void usageErrors_data();
    void usageErrors();
    void everyCommandEndToEnd_data();
    void everyCommandEndToEnd();
    void failuresSayWhyInOneLine_data();
    void failuresSayWhyInOneLine();
    void passwordsStayOffTheCommandLine_data();
    void passwordsStayOffTheCommandLine();
    void interruptEndsEveryWait_data();
    void interruptEndsEveryWait();
    void passiveConnectionsGoToTheServer_data();
    void passiveConnectionsGoToTheServer();
    void copyBetweenServers();

private:
    std::unique_ptr<FtpServerProcess> m_pyftpdlib;
    std::unique_ptr<FtpServerProcess> m_vsftpd;
    QTemporaryDir m_localDir;
};

void TestVetrelFtp::initTestCase()
{
    m_pyftpdlib = std::make_unique<FtpServerProcess>(FtpServerProcess::Pyftpdlib);
    m_vsftpd = std::make_unique<FtpServerProcess>(FtpServerProcess::Vsftpd);
    QVERIFY2(m_pyftpdlib->start(), qPrintable(m_pyftpdlib->errorString()));
    QVERIFY2(m_vsftpd->start(), qPrintable(m_vsftpd->errorString()));
}

void TestVetrelFtp::helpSaysItAll()
{
    const Run help = run({"--help"});
    QCOMPARE(help.exitCode, 0);
    for (const char* word : {"list", "names", "get", "put", "delete", "mkdir", "rmdir", "rename", "size", "mdtm", "copy",
                             "--host", "--port", "--user", "--password", "--firewall-type", "--firewall-host",
                             "--active", "--resume", "--unique", "--parsed", "--to-host", "Exit status", "--netrc",
                             "--use-pasv-address", "VETREL_FTP_PASSWORD", "Default: 21.", "Default: 30.", "Default: /."})
        QVERIFY2(help.out.contains(word), word);
}

void TestVetrelFtp::usageErrors_data()
{
    QTest::addColumn<QStringList>("arguments");

    QTest::newRow("no command") << QStringList{"--host", "127.0.0.1"};
    QTest::newRow("unknown command") << QStringList{"--host", "127.0.0.1", "fetch", "a"};
    QTest::newRow("no host") << QStringList{"size", "a"};
    QTest::newRow("too many arguments") << QStringList{"--host", "127.0.0.1", "size", "a", "b"};
    QTest::newRow("bad port") << QStringList{"--host", "127.0.0.1", "--port", "99999", "size", "a"};
    QTest::newRow("unknown firewall type") << QStringList{"--host", "127.0.0.1", "--firewall-type", "WALL", "size", "a"};
    QTest::newRow("unknown option") << QStringList{"--colour", "size", "a"};
    QTest::newRow("copy without target") << QStringList{"--host", "127.0.0.1", "--port", "1", "copy", "a", "b"};
}

void TestVetrelFtp::usageErrors()
{
    QFETCH(QStringList, arguments);
    const Run result = run(arguments);
    QCOMPARE(result.exitCode, 2);
    QVERIFY2(result.err.startsWith("vetrel-ftp: ") && result.err.count('\n') == 1, qPrintable(result.err));
}

void TestVetrelFtp::everyCommandEndToEnd_data()
{
    QTest::addColumn<QString>("serverName");
    QTest::addColumn<QStringList>("mode");
    QTest::newRow("pyftpdlib, passive") << "pyftpdlib" << QStringList();
    QTest::newRow("vsftpd, active") << "vsftpd" << QStringList{"--active"};
}

void TestVetrelFtp::everyCommandEndToEnd()
{
    QFETCH(QString, serverName);
    QFETCH(QStringList, mode);
    const FtpServerProcess& server = serverName == "vsftpd" ? *m_vsftpd : *m_pyftpdlib;
    const QStringList base = logon(server) + mode;
    const QString name = serverName + "-report.bin";
    const QByteArray contents = sampleBytes(700 * 1024 + 11);
    QVERIFY(writeTestFile(local(name), contents));

    const auto ok = [this, &base](const QStringList& arguments) {
        const Run result = run(base + arguments);
        if (result.exitCode != 0 || !result.err.isEmpty())
            qWarning() << arguments << result.exitCode << result.err;
        return result.exitCode == 0 && result.err.isEmpty() ? result.out : QStringLiteral("<failed>");
    };

    QCOMPARE(ok({"put", name}), QString());
    QVERIFY(readTestFile(server.localPath("/pub/" + name)) == contents);

    QVERIFY(ok({"list"}).contains(" " + name + "\n"));
    const QString table = ok({"list", "--parsed"});
    QVERIFY2(table.contains(QRegularExpression("^- +" + QString::number(contents.size()) + " \\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d "
                                               + QRegularExpression::escape(name) + "$",
                                               QRegularExpression::MultilineOption)),
             qPrintable(table));
    QVERIFY(ok({"names"}).split('\n').contains(name));
    QCOMPARE(ok({"size", name}), QString::number(contents.size()) + "\n");
    QVERIFY(ok({"mdtm", name}).contains(QRegularExpression("^\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d UTC\n$")));

    QCOMPARE(ok({"get", name, "fetched.bin"}), QString());
    QVERIFY(readTestFile(local("fetched.bin")) == contents);
    // A broken download continues from what is there.
    QVERIFY(writeTestFile(local("fetched.bin"), contents.left(1000)));
    QCOMPARE(ok({"get", "--resume", name, "fetched.bin"}), QString());
    QVERIFY(readTestFile(local("fetched.bin")) == contents);

    QVERIFY(writeTestFile(server.localPath("/pub/part.bin"), contents.left(4096)));
    QVERIFY(QFile::setPermissions(server.localPath("/pub/part.bin"), QFile::Permissions(0x6666)));
    // A resumed upload sends REST and then APPE, which pyftpdlib refuses.
    if (&server == m_vsftpd.get()) {
        QCOMPARE(ok({"put", "--resume", name, "part.bin"}), QString());
        QVERIFY(readTestFile(server.localPath("/pub/part.bin")) == contents);
    } else {
        const Run refused = run(base + QStringList{"put", "--resume", name, "part.bin"});
        QCOMPARE(refused.exitCode, 1);
        QVERIFY2(refused.err.contains("APPE"), qPrintable(refused.err));
    }
    QVERIFY(ok({"put", "--unique", name}).contains("FILE"));

    QCOMPARE(ok({"rename", name, "moved.bin"}), QString());
    QVERIFY(QFile::exists(server.localPath("/pub/moved.bin")));
    QCOMPARE(ok({"delete", "moved.bin"}), QString());
    QVERIFY(!QFile::exists(server.localPath("/pub/moved.bin")));
    QCOMPARE(ok({"mkdir", "folder"}), QString());
    QVERIFY(QFileInfo(server.localPath("/pub/folder")).isDir());
    QCOMPARE(ok({"rmdir", "folder"}), QString());
    QVERIFY(!QFileInfo::exists(server.localPath("/pub/folder")));
}

void TestVetrelFtp::failuresSayWhyInOneLine_data()
{
    QTest::addColumn<QString>("serverName");
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("lastLine");
    QTest::addColumn<QString>("file");
    QTest::addColumn<QByteArray>("contents");

    const QByteArray none = "<missing>";
    QTest::newRow("missing remote file keeps the local one")
        << "pyftpdlib" << QStringList{"get", "no-such-file", "keep.txt"} << "get failed: 550 .*" << "keep.txt"
        << QByteArray("precious");
    QTest::newRow("missing remote file without LOCAL leaves nothing")
        << "pyftpdlib" << QStringList{"get", "no-such-file"} << "get failed: 550 .*" << "no-such-file" << none;
    QTest::newRow("remote directory leaves nothing")
        << "pyftpdlib" << QStringList{"get", "sub"} << "get failed: 550 .*" << "sub" << none;
    QTest::newRow("a local write error stops the download")
        << "pyftpdlib" << QStringList{"get", "big.bin", "/dev/full"}
        << "get failed: Reading or writing the local file \"/dev/full\" failed: No space left on device" << "" << none;
    QTest::newRow("wrong password") << "pyftpdlib" << QStringList{"--password", "wrong", "size", "x"}
                                    << "cannot log on to 127.0.0.1: 530 .*" << "" << none;
    QTest::newRow("resumed upload onto a longer remote file")
        << "pyftpdlib" << QStringList{"put", "--resume", "keep.txt", "long.bin"}
        << "put failed: The remote file is longer than the local one; there is nothing to resume." << "" << none;
    QTest::newRow("copy from a missing source")
        << "pyftpdlib" << QStringList{"--to-host", "127.0.0.1", "copy", "no-such-file", "/pub/copied.bin"}
        << "copy failed: 550 .*" << "vsftpd:/pub/copied.bin" << none;
    QTest::newRow("connection refused") << "" << QStringList{"--host", "127.0.0.1", "--port", "1", "size", "x"}
                                        << "cannot log on to 127.0.0.1: connection refused" << "" << none;
    QTest::newRow("connection refused, --verbose adds the code")
        << "" << QStringList{"--verbose", "--host", "127.0.0.1", "--port", "1", "size", "x"}
        << "cannot log on to 127.0.0.1: connection refused \\(Connect error 0x0000006f\\)" << "" << none;
    QTest::newRow("host not found") << "" << QStringList{"--host", "no-such-host.invalid", "size", "x"}
                                    << "cannot log on to no-such-host.invalid: host not found" << "" << none;
}

void TestVetrelFtp::failuresSayWhyInOneLine()
{
    QFETCH(QString, serverName);
    QFETCH(QStringList, arguments);
    QFETCH(QString, lastLine);
    QFETCH(QString, file);
    QVERIFY(writeTestFile(local("keep.txt"), "precious"));
    QVERIFY(writeTestFile(m_pyftpdlib->localPath("/pub/big.bin"), sampleBytes(5 * 1024 * 1024)));
    QVERIFY(writeTestFile(m_pyftpdlib->localPath("/pub/long.bin"), sampleBytes(100)));
    QVERIFY(QDir().mkpath(m_pyftpdlib->localPath("/pub/sub")));
    if (arguments.contains("--to-host"))
        arguments << "--to-port" << QString::number(m_vsftpd->port());

    const Run result = run(serverName.isEmpty() ? arguments : logon(*m_pyftpdlib) + arguments);
    QCOMPARE(result.exitCode, 1);
    const bool verbose = arguments.contains("--verbose");
    QVERIFY2(verbose || result.err.count('\n') == 1, qPrintable(result.err));
    const QString last = result.err.section('\n', -2, -2);
    QVERIFY2(QRegularExpression("^vetrel-ftp: " + lastLine + "$").match(last).hasMatch(), qPrintable(result.err));
    if (!file.isEmpty()) {
        const QString path = file.startsWith("vsftpd:") ? m_vsftpd->localPath(file.mid(7)) : local(file);
        QTEST(readTestFile(path), "contents");
    }
}

void TestVetrelFtp::passwordsStayOffTheCommandLine_data()
{
    QTest::addColumn<QString>("source");
    QTest::addColumn<int>("exitCode");

    QTest::newRow("environment") << "environment" << 0;
    QTest::newRow("private .netrc") << "netrc 0600" << 0;
    QTest::newRow(".netrc that others can read") << "netrc 0644" << 1;
    QTest::newRow("prompt without echo") << "prompt" << 0;
}

void TestVetrelFtp::passwordsStayOffTheCommandLine()
{
    QFETCH(QString, source);
    const FtpServerProcess& server = *m_pyftpdlib;
    QVERIFY(writeTestFile(server.localPath("/pub/six.bin"), "123456"));
    QStringList arguments{"--host", "127.0.0.1", "--port", QString::number(server.port()), "--start-dir", "/pub"};
    QTemporaryDir home;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.remove("VETREL_FTP_PASSWORD");
    environment.insert("HOME", home.path());
    Run result;
    if (source == "environment") {
        environment.insert("VETREL_FTP_PASSWORD", server.password());
        result = run(arguments + QStringList{"--user", server.user(), "size", "six.bin"}, environment);
    } else if (source.startsWith("netrc")) {
        const QString netrc = home.filePath(".netrc");
        QVERIFY(writeTestFile(netrc, "machine elsewhere login x password y\nmacdef init\ncd /\n\nmachine 127.0.0.1 login "
                                         + server.user().toUtf8() + " password " + server.password().toUtf8() + "\n"));
        QVERIFY(QFile::setPermissions(netrc, source.endsWith("0600") ? QFile::ReadOwner | QFile::WriteOwner
                                                                     : QFile::ReadOwner | QFile::WriteOwner | QFile::ReadOther));
        result = run(arguments + QStringList{"--netrc", "size", "six.bin"}, environment);
    } else {
        // A terminal of its own: the program asks there, and must not show what is typed.
        QProcess process;
        process.setProcessEnvironment(environment);
        const QString command = (QStringList{VETREL_FTP_PROGRAM} + arguments
                                 + QStringList{"--user", server.user(), "size", "six.bin"})
                                    .join(' ');
        process.start("script", {"-qec", command, "/dev/null"});
        QVERIFY(process.waitForStarted());
        QByteArray screen;
        QTRY_VERIFY((screen += process.readAll()).contains("Password for trader@127.0.0.1:"));
        process.write(server.password().toUtf8() + "\n");
        QVERIFY(process.waitForFinished(20000));
        result.exitCode = process.exitCode();
        result.out = QString::fromLocal8Bit(screen + process.readAll());
        QVERIFY2(!result.out.contains(server.password()), qPrintable(result.out));
    }
    QTEST(result.exitCode, "exitCode");
    if (result.exitCode == 0)
        QVERIFY2(result.out.contains("6\n") || result.out.contains("6\r\n"), qPrintable(result.out));
    else
        QVERIFY2(result.err.contains("can be read by others"), qPrintable(result.err));
}

void TestVetrelFtp::interruptEndsEveryWait_data()
{
    QTest::addColumn<bool>("greets");
    QTest::newRow("waiting for the greeting") << false;
    QTest::newRow("waiting for data") << true;
}

void TestVetrelFtp::interruptEndsEveryWait()
{
    QFETCH(bool, greets);
    ScriptedFtpServer server;
    if (greets) {
        server.reply("220 ready").answer("230 ok").answer("250 ok").answer("200 type").answer("213 100");
        server.expect().passive().answer("150 here");
    }
    server.pause(5000);
    server.start();
    QVERIFY(writeTestFile(local("keep.txt"), "precious"));

    QProcess process;
    process.setWorkingDirectory(m_localDir.path());
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(QStringLiteral(VETREL_FTP_PROGRAM), {"--host", "127.0.0.1", "--port", QString::number(server.port()),
                                                       "--timeout", "20", "get", "report.csv", "keep.txt"});
    QVERIFY(process.waitForStarted());
    // Long enough for the program to be inside its wait.
    QTest::qSleep(1000);
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(::kill(static_cast<pid_t>(process.processId()), SIGINT), 0);
    QVERIFY(process.waitForFinished(5000));
    // Goal 100 ms; the margin is for a loaded machine, the old behaviour waited out the 20 s time-out.
    QVERIFY2(timer.elapsed() < 1000, qPrintable(QString::number(timer.elapsed())));
    QCOMPARE(process.exitCode(), 1);
    QVERIFY(process.readAll().trimmed().endsWith(": interrupted"));
    QCOMPARE(readTestFile(local("keep.txt")), QByteArray("precious"));
}

void TestVetrelFtp::passiveConnectionsGoToTheServer_data()
{
    QTest::addColumn<QStringList>("option");
    QTest::addColumn<int>("exitCode");
    // The reply names another loopback address, where nothing listens.
    QTest::newRow("by default") << QStringList() << 0;
    QTest::newRow("--use-pasv-address") << QStringList{"--use-pasv-address"} << 1;
}

void TestVetrelFtp::passiveConnectionsGoToTheServer()
{
    QFETCH(QStringList, option);
    ScriptedFtpServer server;
    server.reply("220-Welcome\r\n220-to the test\r\n220 ready").answer("230 ok").answer("250 ok").answer("200 type");
    server.expect().passive("127,0,0,2").answer("150 here").sendData("a.csv\r\n").closeData().reply("226 done");
    server.start();
    const Run result = run(QStringList{"--verbose", "--host", "127.0.0.1", "--port", QString::number(server.port()), "names"}
                           + option);
    QTEST(result.exitCode, "exitCode");
    if (result.exitCode == 0)
        QCOMPARE(result.out, QString("a.csv\n"));
    else
        QVERIFY2(result.err.endsWith("names failed: connection refused (Connect error 0x0000006f)\n"), qPrintable(result.err));
    // Every line of a reply is marked as the server's.
    QVERIFY2(result.err.contains("<- 220-Welcome\n<- 220-to the test\n<- 220 ready\n"), qPrintable(result.err));
}

void TestVetrelFtp::copyBetweenServers()
{
    const QByteArray contents = sampleBytes(300 * 1024);
    QVERIFY(writeTestFile(m_pyftpdlib->localPath("/pub/source.bin"), contents));
    const Run result = run(logon(*m_pyftpdlib)
                           + QStringList{"--to-host", "127.0.0.1", "--to-port", QString::number(m_vsftpd->port()),
                                         "copy", "source.bin", "/pub/copied.bin"});
    QVERIFY2(result.exitCode == 0 && result.err.isEmpty(), qPrintable(result.err));
    QVERIFY(readTestFile(m_vsftpd->localPath("/pub/copied.bin")) == contents);
}

QTEST_GUILESS_MAIN(TestVetrelFtp)
#include "tst_vetrelftp.moc"
