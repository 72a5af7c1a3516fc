// FTP over TLS against pyftpdlib and vsftpd on 127.0.0.1, each with a
// certificate made for the run, and machine-readable listings (MLSD).

#include "ftpserverprocess.h"
#include "testfiles.h"

#include <vetrel/FtpClient/FTPClient.h>
#include <vetrel/FtpClient/FTPFileStatus.h>
#include <vetrel/FtpClient/FTPMlsdParse.h>

#include <QDateTime>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QtTest>

#include <functional>
#include <memory>

using namespace nsFTP;

namespace
{

class Recorder : public CFTPClient::CNotification
{
public:
    void OnSendCommand(const CCommand &command, const CArg &) override
    {
        commands << QString::fromStdString(command.AsString());
    }
    void OnInternalError(const tstring &message, const tstring &, unsigned int) override
    {
        errors << QString::fromStdString(message);
    }
    void OnBytesReceived(const std::vector<char> &, long) override
    {
        if (onBytesReceived)
            onBytesReceived();
    }

    QStringList commands;
    QStringList errors;
    std::function<void()> onBytesReceived;
};

QByteArray sampleBytes(int size)
{
    QByteArray bytes(size, Qt::Uninitialized);
    for (int i = 0; i < size; ++i)
        bytes[i] = static_cast<char>((static_cast<unsigned>(i) * 2654435761u) >> 24);
    return bytes;
}

nsSocket::CTlsSettings tlsSettings(bool verify, const QString &caFile)
{
    nsSocket::CTlsSettings settings;
    settings.SetVerifyPeer(verify);
    settings.SetCaFile(caFile.toStdString());
    return settings;
}

}

class TestFtpTls : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void certificateChecks_data();
    void certificateChecks();
    void transfers_data();
    void transfers();
    void mlsdLines_data();
    void mlsdLines();
    void commandLine_data();
    void commandLine();

private:
    bool makeCertificate(const QString &name, const QString &subjectAltName);
    QString certificate(const QString &name) const { return m_dir.filePath(name + ".crt"); }
    FtpServerProcess &server(const QString &name);
    std::unique_ptr<CFTPClient> client(Recorder &recorder, const nsSocket::CTlsSettings &settings) const;
    bool logOn(CFTPClient &client, const FtpServerProcess &server, const QString &host = "127.0.0.1") const;

    QTemporaryDir m_dir;
    std::map<QString, std::unique_ptr<FtpServerProcess>> m_servers;
};

bool TestFtpTls::makeCertificate(const QString &name, const QString &subjectAltName)
{
    const QString key = m_dir.filePath(name + ".key");
    QProcess openssl;
    openssl.start("openssl",
        { "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2", "-subj", "/CN=" + name, "-addext",
            "subjectAltName=" + subjectAltName, "-keyout", key, "-out", certificate(name) });
    if (!openssl.waitForFinished(30000) || openssl.exitCode() != 0)
        return false;
    // The servers take the certificate and its key from one file.
    return writeTestFile(m_dir.filePath(name + ".pem"), readTestFile(certificate(name)) + readTestFile(key));
}

FtpServerProcess &TestFtpTls::server(const QString &name)
{
    return *m_servers.at(name);
}

void TestFtpTls::initTestCase()
{
    QVERIFY(m_dir.isValid());
    QVERIFY(makeCertificate("server", "IP:127.0.0.1"));
    QVERIFY(makeCertificate("stranger", "IP:127.0.0.1"));
    const QString pem = m_dir.filePath("server.pem");
    m_servers["pyftpdlib"] = std::make_unique<FtpServerProcess>(FtpServerProcess::Pyftpdlib, pem);
    m_servers["vsftpd"] = std::make_unique<FtpServerProcess>(FtpServerProcess::Vsftpd, pem);
    m_servers["plain pyftpdlib"] = std::make_unique<FtpServerProcess>(FtpServerProcess::Pyftpdlib);
    m_servers["plain vsftpd"] = std::make_unique<FtpServerProcess>(FtpServerProcess::Vsftpd);
    for (auto &server : m_servers)
        QVERIFY2(server.second->start(), qPrintable(server.first + ": " + server.second->errorString()));
}

std::unique_ptr<CFTPClient> TestFtpTls::client(
    Recorder &recorder, const nsSocket::CTlsSettings &settings) const
{
    auto client = std::make_unique<CFTPClient>(
        nsSocket::CreateDefaultBlockingSocketInstance(), 10, 256 * 1024, 0, "/pub");
    client->EnableTls(settings);
    client->AttachObserver(&recorder);
    return client;
}

bool TestFtpTls::logOn(CFTPClient &client, const FtpServerProcess &server, const QString &host) const
{
    return client.Login(CLogonInfo(
        host.toStdString(), server.port(), server.user().toStdString(), server.password().toStdString()));
}

void TestFtpTls::certificateChecks_data()
{
    QTest::addColumn<QString>("serverName");
    QTest::addColumn<QString>("host");
    QTest::addColumn<bool>("verify");
    QTest::addColumn<QString>("caFile");
    QTest::addColumn<QString>("refusal");

    const QString own = certificate("server");
    QTest::newRow("private CA") << "pyftpdlib" << "127.0.0.1" << true << own << QString();
    QTest::newRow("system store") << "pyftpdlib" << "127.0.0.1" << true << QString() << "self-signed certificate";
    QTest::newRow("another CA") << "pyftpdlib" << "127.0.0.1" << true << certificate("stranger") << "self-signed certificate";
    QTest::newRow("name not in certificate") << "pyftpdlib" << "localhost" << true << own << "hostname mismatch";
    QTest::newRow("no checks") << "pyftpdlib" << "localhost" << false << QString() << QString();
    QTest::newRow("unreadable CA file") << "pyftpdlib" << "127.0.0.1" << true << m_dir.filePath("missing.crt") << "TLS certificates";
    QTest::newRow("pyftpdlib without TLS") << "plain pyftpdlib" << "127.0.0.1" << false << QString() << "refused TLS";
    QTest::newRow("vsftpd without TLS") << "plain vsftpd" << "127.0.0.1" << false << QString() << "refused TLS";
}

void TestFtpTls::certificateChecks()
{
    QFETCH(QString, serverName);
    QFETCH(QString, host);
    QFETCH(bool, verify);
    QFETCH(QString, caFile);
    QFETCH(QString, refusal);

    Recorder recorder;
    auto ftp = client(recorder, tlsSettings(verify, caFile));
    QCOMPARE(logOn(*ftp, server(serverName), host), refusal.isEmpty());
    if (refusal.isEmpty()) {
        QCOMPARE(ftp->Noop(), 0);
        return;
    }
    QVERIFY2(recorder.errors.join('\n').contains(refusal), qPrintable(recorder.errors.join('\n')));
    // Nothing, least of all the password, goes out before the session is secured.
    QCOMPARE(recorder.commands, QStringList { "AUTH" });
    QVERIFY(!ftp->IsConnected());
}

void TestFtpTls::transfers_data()
{
    QTest::addColumn<QString>("serverName");
    QTest::addColumn<bool>("passive");
    for (const char *name : { "pyftpdlib", "vsftpd" }) {
        QTest::addRow("%s, passive", name) << name << true;
        QTest::addRow("%s, active", name) << name << false;
    }
}

void TestFtpTls::transfers()
{
    QFETCH(QString, serverName);
    QFETCH(bool, passive);
    FtpServerProcess &ftpd = server(serverName);
    Recorder recorder;
    auto ftp = client(recorder, tlsSettings(true, certificate("server")));
    QVERIFY2(logOn(*ftp, ftpd), qPrintable(recorder.errors.join('\n')));
    ftp->SetResumeMode(false);

    const QString name = QStringLiteral("%1-%2.bin").arg(serverName, passive ? "pasv" : "port");
    const QByteArray contents = sampleBytes(3 * 1024 * 1024 + 17);
    const QString source = m_dir.filePath("source-" + name);
    QVERIFY(writeTestFile(source, contents));
    QVERIFY(ftp->UploadFile(source.toStdString(), name.toStdString(), false, CType::Image(), passive));
    QVERIFY(readTestFile(ftpd.localPath("/pub/" + name)) == contents);

    // An empty upload moves no bytes, yet the data connection must still shake hands.
    const QString empty = m_dir.filePath("empty");
    QVERIFY(writeTestFile(empty, QByteArray()));
    QVERIFY2(
        ftp->UploadFile(empty.toStdString(), "empty-" + name.toStdString(), false, CType::Image(), passive),
        qPrintable(recorder.errors.join('\n')));
    QVERIFY(QFileInfo(ftpd.localPath("/pub/empty-" + name)).exists());

    const QString target = m_dir.filePath("fetched-" + name);
    QVERIFY(ftp->DownloadFile(name.toStdString(), target.toStdString(), CType::Image(), passive));
    QVERIFY(readTestFile(target) == contents);

    QVERIFY2(recorder.errors.isEmpty(), qPrintable(recorder.errors.join('\n')));

    // An abort mid-download leaves the session usable for the next transfer.
    QVERIFY(writeTestFile(ftpd.localPath("/pub/big-" + name), sampleBytes(32 * 1024 * 1024)));
    recorder.onBytesReceived = [&ftp] { ftp->Abort(); };
    QVERIFY(!ftp->DownloadFile("big-" + name.toStdString(), target.toStdString(), CType::Image(), passive));
    QVERIFY(QFileInfo(target).size() < 32 * 1024 * 1024);
    QVERIFY(recorder.commands.contains("ABOR"));
    recorder.onBytesReceived = nullptr;
    QVERIFY2(ftp->DownloadFile(name.toStdString(), target.toStdString(), CType::Image(), passive),
        qPrintable(recorder.errors.join('\n')));
    QVERIFY(readTestFile(target) == contents);
    QCOMPARE(ftp->Logout(), 0);
}

void TestFtpTls::mlsdLines_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<bool>("accepted");
    QTest::addColumn<QString>("name");
    // d directory, - file, l link, ? unknown type
    QTest::addColumn<QChar>("type");
    QTest::addColumn<qlonglong>("size");
    QTest::addColumn<qlonglong>("modified");
    QTest::addColumn<QString>("perm");
    QTest::addColumn<QString>("unique");

    QTest::newRow("file") << "type=file;size=280;modify=20240229235960;perm=adfrw;unique=802U1A; quotes.csv"
                          << true << "quotes.csv" << QChar('-') << 280LL << 1709251200LL << "adfrw"
                          << "802U1A";
    QTest::newRow("directory, fraction of a second")
        << "type=dir;sizd=4096;modify=19700101000001.250;perm=flcdmpe; reports" << true << "reports"
        << QChar('d') << 4096LL << 1LL << "flcdmpe" << QString();
    QTest::newRow("blanks and semicolons in the name, facts in any case")
        << "Type=File;Size=7; a b;c d " << true << "a b;c d " << QChar('-') << 7LL << -1LL << QString()
        << QString();
    QTest::newRow("link") << "type=OS.unix=slink:/pub/x;size=1; x-link" << true << "x-link" << QChar('l')
                          << 1LL << -1LL << QString() << QString();
    QTest::newRow("values that are no numbers count as unknown")
        << "type=file;size=12k;modify=2024-01-01; odd" << true << "odd" << QChar('-') << -1LL << -1LL
        << QString() << QString();
    QTest::newRow("no facts") << " bare" << true << "bare" << QChar('?') << -1LL << -1LL << QString()
                              << QString();
    QTest::newRow("this directory") << "type=cdir;perm=el; ." << false;
    QTest::newRow("parent directory") << "type=pdir;perm=el; .." << false;
    QTest::newRow("fact without value") << "type=file;size; name" << false;
    QTest::newRow("no name") << "type=file;size=1;" << false;
}

void TestFtpTls::mlsdLines()
{
    QFETCH(QString, line);
    QFETCH(bool, accepted);

    CFTPMlsdParser parser;
    CFTPFileStatus status;
    QCOMPARE(parser.Parse(status, line.toStdString()), accepted);
    if (!accepted) {
        QVERIFY(status == CFTPFileStatus());
        return;
    }
    QFETCH(QString, name);
    QFETCH(QChar, type);
    QFETCH(qlonglong, size);
    QFETCH(qlonglong, modified);
    QFETCH(QString, perm);
    QFETCH(QString, unique);
    QCOMPARE(QString::fromStdString(status.Name()), name);
    const QChar shown = status.IsCwdPossible() ? (status.IsRetrPossible() ? 'l' : 'd')
                                               : (status.IsRetrPossible() ? '-' : '?');
    QCOMPARE(shown, type);
    QCOMPARE(status.SizeType() == CFTPFileStatus::stBinary ? qlonglong(status.Size()) : -1LL, size);
    QCOMPARE(
        status.MTimeType() == CFTPFileStatus::mttRemoteSeconds ? qlonglong(status.MTime()) : -1LL, modified);
    QCOMPARE(QString::fromStdString(status.Attributes()), perm);
    QCOMPARE(status.IDType() == CFTPFileStatus::idFull, !unique.isEmpty());
    QCOMPARE(QString::fromStdString(status.ID()), unique);
}

void TestFtpTls::commandLine_data()
{
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QString>("output");

    QTest::newRow("private CA") << QStringList { "--cacert", certificate("server") } << 0 << "cli.bin";
    QTest::newRow("unchecked") << QStringList { "--insecure" } << 0 << "cli.bin";
    QTest::newRow("system store") << QStringList() << 1 << "certificate";
    QTest::newRow("parsed from MLSD")
        << QStringList { "--insecure", "--parsed" } << 0 << "- 5 2021-03-04 05:06 cli.bin";
}

void TestFtpTls::commandLine()
{
#ifndef VETREL_FTP_PROGRAM
    QSKIP("vetrel-ftp is not built");
#else
    QFETCH(QStringList, options);
    QFETCH(int, exitCode);
    QFETCH(QString, output);
    FtpServerProcess &ftpd = server("pyftpdlib");
    const QString path = ftpd.localPath("/pub/cli.bin");
    QVERIFY(writeTestFile(path, "12345"));
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadWrite)
        && file.setFileTime(
            QDateTime(QDate(2021, 3, 4), QTime(5, 6, 7), Qt::UTC), QFileDevice::FileModificationTime));
    file.close();

    QProcess process;
    process.start(VETREL_FTP_PROGRAM,
        QStringList { "--tls", "--host", "127.0.0.1", "--port", QString::number(ftpd.port()), "--user",
            ftpd.user(), "--password", ftpd.password(), "--start-dir", "/pub", "list" }
            + options);
    QVERIFY(process.waitForFinished(30000));
    const QString all
        = QString::fromLocal8Bit(process.readAllStandardOutput() + process.readAllStandardError());
    QVERIFY2(process.exitCode() == exitCode && all.simplified().contains(output), qPrintable(all));
#endif
}

QTEST_GUILESS_MAIN(TestFtpTls)
#include "tst_ftptls.moc"
