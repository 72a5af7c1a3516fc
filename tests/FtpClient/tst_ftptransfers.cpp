// The FTP client against real servers (pyftpdlib and vsftpd) on 127.0.0.1, in
// plain FTP and over TLS with a certificate made for the run, in passive and
// active mode, with every transfer checked byte for byte; and the certificate
// checks of the client and of vetrel-ftp.

#include "ftptestclient.h"

#include <vetrel/FtpClient/FTPFileStatus.h>

#include <QRandomGenerator>
#include <QtTest>

#include <map>

using namespace nsFTP;

namespace
{

QByteArray randomBytes(int size)
{
    QByteArray bytes(size, Qt::Uninitialized);
    QRandomGenerator(static_cast<quint32>(size)).fillRange(reinterpret_cast<quint32*>(bytes.data()), size / 4);
    return bytes;
}

tstring str(const QString& text) { return text.toStdString(); }

/// A file name of the current data row's own, with blanks that listings must keep.
QString rowFile(const QString& prefix)
{
    return prefix + "  " + QString(QTest::currentDataTag()).remove(',') + ".bin";
}

const CRepresentation Binary = CType::Image();

}

class TestFtpTransfers : public QObject
{
    Q_OBJECT

private:
    FtpServerProcess& server(const QString& name) { return *m_servers.at(name); }
    QString local(const QString& name) const { return m_dir.filePath(name); }
    QString certificate(const QString& name) const { return m_dir.filePath(name + ".crt"); }

    bool makeCertificate(const QString& name)
    {
        const QString key = m_dir.filePath(name + ".key");
        QProcess openssl;
        openssl.start("openssl", {"req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2", "-subj", "/CN=" + name,
                                  "-addext", "subjectAltName=IP:127.0.0.1", "-keyout", key, "-out", certificate(name)});
        // The servers take the certificate and its key from one file.
        return openssl.waitForFinished(30000) && openssl.exitCode() == 0
               && writeTestFile(m_dir.filePath(name + ".pem"), readTestFile(certificate(name)) + readTestFile(key));
    }

    /// A client in /pub.
    std::unique_ptr<CFTPClient> client(RecordingObserver& observer, bool tls, bool verify, const QString& caFile)
    {
        auto client = std::make_unique<CFTPClient>(nsSocket::CreateDefaultBlockingSocketInstance(), 20, 64 * 1024, 0, "/pub");
        if (tls) {
            nsSocket::CTlsSettings settings;
            settings.SetVerifyPeer(verify);
            settings.SetCaFile(str(caFile));
            client->EnableTls(settings);
        }
        client->AttachObserver(&observer);
        return client;
    }
    std::unique_ptr<CFTPClient> logOn(RecordingObserver& observer, const QString& serverName)
    {
        auto ftp = client(observer, serverName.endsWith("TLS"), true, certificate("server"));
        ftp->Login(logonInfo(server(serverName)));
        return ftp;
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        QVERIFY(makeCertificate("server") && makeCertificate("stranger"));
        for (const QString& name : QStringList{"pyftpdlib", "second pyftpdlib", "vsftpd", "pyftpdlib TLS", "vsftpd TLS"}) {
            auto& server = m_servers[name] = std::make_unique<FtpServerProcess>(
                name.startsWith("vsftpd") ? FtpServerProcess::Vsftpd : FtpServerProcess::Pyftpdlib,
                name.endsWith("TLS") ? m_dir.filePath("server.pem") : QString());
            QVERIFY2(server->start(), qPrintable(name + ": " + server->errorString()));
        }
    }

    void transfers_data()
    {
        QTest::addColumn<QString>("serverName");
        QTest::addColumn<bool>("passive");
        // Each mode once in plain FTP; both over TLS, where the data connection's handshake differs by mode.
        QTest::newRow("pyftpdlib passive") << "pyftpdlib" << true;
        QTest::newRow("vsftpd active") << "vsftpd" << false;
        QTest::newRow("pyftpdlib TLS passive") << "pyftpdlib TLS" << true;
        QTest::newRow("vsftpd TLS passive") << "vsftpd TLS" << true;
        QTest::newRow("vsftpd TLS active") << "vsftpd TLS" << false;
    }
    void transfers()
    {
        QFETCH(QString, serverName);
        QFETCH(bool, passive);
        RecordingObserver observer;
        auto client = logOn(observer, serverName);
        QVERIFY2(client->IsConnected(), qPrintable(observer.errors.join("; ")));
        const auto remote = [&](const QString& name) { return server(serverName).localPath("/pub/" + name); };
        auto errors = [&, text = QByteArray()]() mutable { return (text = observer.errors.join("; ").toUtf8()).constData(); };

        // Whole files up and back down; an empty upload still makes its data connection (over TLS, shakes hands).
        client->SetResumeMode(false);
        const QString name = rowFile("round");
        const QByteArray contents = randomBytes(3 * 1024 * 1024 + 17);
        QVERIFY(writeTestFile(local(name), contents) && writeTestFile(local("empty"), QByteArray()));
        QVERIFY2(client->UploadFile(str(local(name)), str(name), false, Binary, passive), errors());
        QVERIFY2(client->UploadFile(str(local("empty")), str("empty-" + name), false, Binary, passive), errors());
        QVERIFY(readTestFile(remote(name)) == contents && readTestFile(remote("empty-" + name)).isEmpty());
        QVERIFY2(client->DownloadFile(str(name), str(local("back-" + name)), Binary, passive), errors());
        QVERIFY(readTestFile(local("back-" + name)) == contents);

        // The server's own listing (MLSD where offered, else LIST) parses: name, kind, size, and a time of just now.
        CFTPClient::TSpFTPFileStatusVector entries;
        QVERIFY2(client->List("/pub", entries, passive), errors());
        const auto entry = std::find_if(entries.begin(), entries.end(), [&](const auto& status) { return status->Name() == str(name); });
        QVERIFY(entry != entries.end() && (*entry)->Size() == contents.size() && (*entry)->IsRetrPossible() && !(*entry)->IsCwdPossible());
        QVERIFY(std::abs((*entry)->MTime() - QDateTime::currentSecsSinceEpoch()) < 600);

        // A download broken off after its first blocks continues from the local file.
        client->SetResumeMode(true);
        const QString part = local("part-" + name);
        observer.bytes = 0;
        observer.onProgress = [&client](long bytes) {
            if (bytes >= 256 * 1024)
                client->Abort();
        };
        QVERIFY(!client->DownloadFile(str(name), str(part), Binary, passive));
        observer.onProgress = nullptr;
        const qint64 partSize = QFileInfo(part).size();
        QVERIFY2(partSize >= 256 * 1024 && partSize < contents.size(), qPrintable(QString::number(partSize)));
        QVERIFY(!client->IsTransferringData() && observer.events.contains("ABOR"));
        // The control connection is still in step: each command reads its own reply.
        long size = 0;
        QVERIFY(client->FileSize(str(name), size) == 0 && size == contents.size() && client->Noop() == 0);
        observer.events.clear();
        QVERIFY2(client->DownloadFile(str(name), str(part), Binary, passive), errors());
        QVERIFY(observer.events.contains("REST") && readTestFile(part) == contents);

        // An upload whose first part reached the server is completed by REST and APPE (which pyftpdlib refuses).
        if (serverName.startsWith("vsftpd")) {
            QVERIFY(writeTestFile(remote("up-" + name), contents.left(1024 * 1024 + 5)));
            // The part must belong to the server's user as if it had stored it (vsftpd serves as "daemon").
            QVERIFY(QFile::setPermissions(remote("up-" + name), QFile::Permissions(0x6666)));
            QVERIFY2(client->UploadFile(str(local(name)), str("up-" + name), false, Binary, passive), errors());
            QVERIFY(observer.events.contains("APPE") && readTestFile(remote("up-" + name)) == contents);
        }
        QVERIFY(client->Logout() == 0 && !client->IsConnected());
    }

    void serverToServerCopy_data()
    {
        QTest::addColumn<QString>("source");
        QTest::addColumn<QString>("target");
        QTest::addColumn<bool>("downloadForm");
        QTest::addColumn<bool>("passive");

        QTest::newRow("pyftpdlib to vsftpd, download form, passive") << "pyftpdlib" << "vsftpd" << true << true;
        QTest::newRow("pyftpdlib to vsftpd, download form, active") << "pyftpdlib" << "vsftpd" << true << false;
        QTest::newRow("vsftpd to pyftpdlib, upload form, passive") << "vsftpd" << "pyftpdlib" << false << true;
        QTest::newRow("pyftpdlib to pyftpdlib, upload form, active") << "pyftpdlib" << "second pyftpdlib" << false << false;
    }
    void serverToServerCopy()
    {
        QFETCH(QString, source);
        QFETCH(QString, target);
        QFETCH(bool, downloadForm);
        QFETCH(bool, passive);
        const QString name = rowFile("copy");
        const QByteArray contents = randomBytes(2 * 1024 * 1024 + 9);
        QVERIFY(writeTestFile(server(source).localPath("/pub/" + name), contents));

        RecordingObserver sourceObserver, targetObserver;
        auto sourceClient = logOn(sourceObserver, source);
        auto targetClient = logOn(targetObserver, target);
        QVERIFY(sourceClient->IsConnected() && targetClient->IsConnected());
        const bool copied = downloadForm ? sourceClient->DownloadFile(str(name), *targetClient, str(name), Binary, passive)
                                         : targetClient->UploadFile(*sourceClient, str(name), str(name), Binary, passive);
        QVERIFY2(copied, qPrintable(sourceObserver.lastReply + " / " + targetObserver.lastReply));
        QVERIFY(readTestFile(server(target).localPath("/pub/" + name)) == contents);
        QCOMPARE(sourceClient->Noop(), 0);
        QCOMPARE(targetClient->Noop(), 0);
    }

    void certificateChecks_data()
    {
        QTest::addColumn<QString>("serverName");
        QTest::addColumn<QString>("host");
        QTest::addColumn<bool>("verify");
        QTest::addColumn<QString>("caFile");
        QTest::addColumn<QString>("refusal");

        const auto row = [](const char* tag, const char* server, const char* host, bool verify, const QString& caFile, const char* refusal) {
            QTest::newRow(tag) << server << host << verify << caFile << refusal;
        };
        const QString own = certificate("server");
        row("private CA", "pyftpdlib TLS", "127.0.0.1", true, own, "");
        row("system store", "pyftpdlib TLS", "127.0.0.1", true, "", "self-signed certificate");
        row("another CA", "pyftpdlib TLS", "127.0.0.1", true, certificate("stranger"), "self-signed certificate");
        row("name not in certificate", "pyftpdlib TLS", "localhost", true, own, "hostname mismatch");
        row("no checks", "pyftpdlib TLS", "localhost", false, "", "");
        row("unreadable CA file", "pyftpdlib TLS", "127.0.0.1", true, m_dir.filePath("missing.crt"), "TLS certificates");
        row("server without TLS", "vsftpd", "127.0.0.1", false, "", "refused TLS");
    }
    void certificateChecks()
    {
        QFETCH(QString, serverName);
        QFETCH(QString, host);
        QFETCH(bool, verify);
        QFETCH(QString, caFile);
        QFETCH(QString, refusal);
        RecordingObserver observer;
        auto ftp = client(observer, true, verify, caFile);
        QCOMPARE(ftp->Login(logonInfo(server(serverName), host)), refusal.isEmpty());
        if (refusal.isEmpty()) {
            QCOMPARE(ftp->Noop(), 0);
        } else {
            QVERIFY2(observer.errors.join('\n').contains(refusal), qPrintable(observer.errors.join('\n')));
            // Nothing, least of all the password, goes out before the session is secured.
            QCOMPARE(observer.events.filter(QRegularExpression("^[A-Z]")), QStringList{"AUTH"});
            QVERIFY(!ftp->IsConnected());
        }
#ifdef VETREL_FTP_PROGRAM
        // vetrel-ftp's options come to the same.
        QProcess tool;
        tool.start(VETREL_FTP_PROGRAM, QStringList{"--tls", "--host", host, "--port", QString::number(server(serverName).port()), "--user",
                                                   server(serverName).user(), "--password", server(serverName).password(), "size", "x"}
                                           + (verify ? QStringList() : QStringList{"--insecure"})
                                           + (caFile.isEmpty() ? QStringList() : QStringList{"--cacert", caFile}));
        QVERIFY(tool.waitForFinished(30000));
        const QString said = QString::fromLocal8Bit(tool.readAllStandardError());
        QVERIFY2(refusal.isEmpty() ? said.contains("size failed") : tool.exitCode() == 1 && said.contains(refusal), qPrintable(said));
#endif
    }

private:
    QTemporaryDir m_dir;
    std::map<QString, std::unique_ptr<FtpServerProcess>> m_servers;
};

QTEST_GUILESS_MAIN(TestFtpTransfers)
#include "tst_ftptransfers.moc"
