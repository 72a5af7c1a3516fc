// vetrel-ftp end to end: the program run as a user would run it, against
// pyftpdlib and vsftpd on 127.0.0.1.

#include "ftpserverprocess.h"
#include "testfiles.h"

#include <QDir>
#include <QTemporaryDir>
#include <QtTest>

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
    Run run(const QStringList& arguments)
    {
        QProcess process;
        process.setWorkingDirectory(m_localDir.path());
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
    void failuresSayWhyInOneLine();
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
                             "--active", "--resume", "--unique", "--parsed", "--to-host", "Exit status"})
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

void TestVetrelFtp::failuresSayWhyInOneLine()
{
    const Run missing = run(logon(*m_pyftpdlib) + QStringList{"get", "no-such-file", "x.bin"});
    QCOMPARE(missing.exitCode, 1);
    QVERIFY2(missing.err.startsWith("vetrel-ftp: get failed: 550") && missing.err.count('\n') == 1, qPrintable(missing.err));

    QStringList wrongPassword = logon(*m_pyftpdlib);
    wrongPassword[wrongPassword.indexOf("--password") + 1] = "wrong";
    const Run refused = run(wrongPassword + QStringList{"size", "x"});
    QCOMPARE(refused.exitCode, 1);
    QVERIFY2(refused.err.startsWith("vetrel-ftp: cannot log on to 127.0.0.1: 530") && refused.err.count('\n') == 1,
             qPrintable(refused.err));

    const Run verbose = run(wrongPassword + QStringList{"--verbose", "size", "x"});
    QVERIFY(verbose.err.contains("-> PASS ****"));
    QVERIFY(!verbose.err.contains("wrong"));
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
