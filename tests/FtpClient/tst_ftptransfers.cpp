// The FTP client against real servers (pyftpdlib and vsftpd) on 127.0.0.1,
// in passive and active mode, with every transfer checked byte for byte.

#include "ftpserverprocess.h"
#include "testfiles.h"

#include <vetrel/FtpClient/FTPClient.h>
#include <vetrel/FtpClient/FTPFileStatus.h>
#include <vetrel/FtpClient/FTPTransferTargets.h>

#include <QDir>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QtTest>

#include <utime.h>

#include <algorithm>
#include <functional>

using namespace nsFTP;

namespace
{

class TransferObserver : public CFTPClient::CNotification
{
public:
    void OnInternalError(const tstring& strErrorMsg, const tstring&, unsigned int) override { errors << QString::fromStdString(strErrorMsg); }
    void OnSendCommand(const CCommand& command, const CArg&) override { commands << QString::fromStdString(command.AsString()); }
    void OnResponse(const CFTPClient::CReply& reply) override { lastReply = QString::fromStdString(reply.Value()); }
    void OnBytesReceived(const std::vector<char>&, long lReceivedBytes) override { progress(lReceivedBytes); }
    void OnBytesSent(const std::vector<char>&, long lSentBytes) override { progress(lSentBytes); }
    void OnPreReceiveFile(const tstring&, const tstring&, long lFileSize) override { announcedSize = lFileSize; }

    QStringList errors;
    QStringList commands;
    QString lastReply;
    long bytes = 0;
    long announcedSize = -1;
    std::function<void(long)> onProgress;

private:
    void progress(long count)
    {
        bytes += count;
        if (onProgress)
            onProgress(bytes);
    }
};

QByteArray randomBytes(int size)
{
    QByteArray bytes(size, Qt::Uninitialized);
    QRandomGenerator generator(static_cast<quint32>(size));
    generator.fillRange(reinterpret_cast<quint32*>(bytes.data()), size / 4);
    return bytes;
}

tstring str(const QString& text)
{
    return text.toStdString();
}

const CRepresentation Binary = CType::Image();

}

class TestFtpTransfers : public QObject
{
    Q_OBJECT

private:
    FtpServerProcess& server(const QString& name) { return name == "vsftpd" ? *m_vsftpd : *m_pyftpdlib; }
    QString local(const QString& name) const { return m_localDir.path() + "/" + name; }

    /// A client logged on to the server, in /pub.
    std::unique_ptr<CFTPClient> logOn(FtpServerProcess& ftpServer, TransferObserver& observer)
    {
        auto client = std::make_unique<CFTPClient>(nsSocket::CreateDefaultBlockingSocketInstance(), 5, 64 * 1024, 0, "/pub");
        client->AttachObserver(&observer);
        const CLogonInfo info("127.0.0.1", ftpServer.port(), str(ftpServer.user()), str(ftpServer.password()));
        if (!client->Login(info))
            qWarning() << "logon failed:" << observer.errors << observer.lastReply;
        return client;
    }

    static void addServerRows()
    {
        QTest::addColumn<QString>("serverName");
        QTest::addColumn<bool>("passive");
        for (const char* name : {"pyftpdlib", "vsftpd"}) {
            QTest::addRow("%s passive", name) << QString(name) << true;
            QTest::addRow("%s active", name) << QString(name) << false;
        }
    }

private slots:
    void initTestCase();
    void roundTrip_data() { addServerRows(); }
    void roundTrip();
    void brokenTransfersResume_data() { addServerRows(); }
    void brokenTransfersResume();
    void storeUnique_data() { addServerRows(); }
    void storeUnique();
    void abortLargeDownload_data() { addServerRows(); }
    void abortLargeDownload();
    void serverToServerCopy_data();
    void serverToServerCopy();

private:
    std::unique_ptr<FtpServerProcess> m_pyftpdlib;
    std::unique_ptr<FtpServerProcess> m_secondPyftpdlib;
    std::unique_ptr<FtpServerProcess> m_vsftpd;
    QTemporaryDir m_localDir;
};

void TestFtpTransfers::initTestCase()
{
    m_pyftpdlib = std::make_unique<FtpServerProcess>(FtpServerProcess::Pyftpdlib);
    m_secondPyftpdlib = std::make_unique<FtpServerProcess>(FtpServerProcess::Pyftpdlib);
    m_vsftpd = std::make_unique<FtpServerProcess>(FtpServerProcess::Vsftpd);
    for (FtpServerProcess* ftpServer : {m_pyftpdlib.get(), m_secondPyftpdlib.get(), m_vsftpd.get()})
        QVERIFY2(ftpServer->start(), qPrintable(ftpServer->errorString()));
    QVERIFY(m_localDir.isValid());
}

void TestFtpTransfers::roundTrip()
{
    QFETCH(QString, serverName);
    QFETCH(bool, passive);
    FtpServerProcess& ftpServer = server(serverName);
    TransferObserver observer;
    auto client = logOn(ftpServer, observer);
    QVERIFY(client->IsConnected());
    client->SetResumeMode(false);

    const QString name = QString("round-%1.bin").arg(passive ? "pasv" : "port");
    const QByteArray contents = randomBytes(3 * 1024 * 1024 + 17);
    QVERIFY(writeTestFile(local(name), contents));
    QVERIFY2(client->UploadFile(str(local(name)), str(name), false, Binary, passive), qPrintable(observer.errors.join("; ")));
    QVERIFY(readTestFile(ftpServer.localPath("/pub/" + name)) == contents);
    QVERIFY(observer.commands.contains("STOR"));

    const QString back = local("back-" + name);
    QVERIFY(client->DownloadFile(str(name), str(back), Binary, passive));
    QCOMPARE(observer.announcedSize, long(contents.size()));
    QVERIFY(readTestFile(back) == contents);

    CFTPClient::TStringVector lines;
    QVERIFY2(client->List("/pub", lines, passive), qPrintable(observer.lastReply + observer.errors.join("; ")));
    QVERIFY(std::any_of(lines.begin(), lines.end(), [&](const tstring& line) { return QString::fromStdString(line).endsWith(" " + name); }));
    CFTPClient::TStringVector names;
    QVERIFY(client->NameList("", names, passive));
    QVERIFY(std::find(names.begin(), names.end(), str(name)) != names.end());
    CFTPClient::TSpFTPFileStatusVector entries;
    QVERIFY(client->List("/pub", entries, passive));
    const auto entry = std::find_if(entries.begin(), entries.end(), [&](const CFTPClient::TSpFTPFileStatus& status) { return status->Name() == str(name); });
    QVERIFY(entry != entries.end());
    QCOMPARE((*entry)->Size(), long(contents.size()));
    QVERIFY((*entry)->IsRetrPossible() && !(*entry)->IsCwdPossible());

    // The listing left the session in ASCII mode, where pyftpdlib refuses SIZE.
    QCOMPARE(client->RepresentationType(Binary), 0);
    long size = 0;
    QCOMPARE(client->FileSize(str(name), size), 0);
    QCOMPARE(size, long(contents.size()));
    const utimbuf times{1614834367, 1614834367};  // 2021-03-04 05:06:07 UTC
    QCOMPARE(::utime(QFile::encodeName(ftpServer.localPath("/pub/" + name)).constData(), &times), 0);
    tm modified{};
    QCOMPARE(client->FileModificationTime(str(name), modified), 0);
    QCOMPARE(QDateTime(QDate(modified.tm_year + 1900, modified.tm_mon + 1, modified.tm_mday),
                       QTime(modified.tm_hour, modified.tm_min, modified.tm_sec), Qt::UTC).toSecsSinceEpoch(),
             qint64(1614834367));

    const QString renamed = "renamed-" + name;
    QCOMPARE(client->Rename(str(name), str(renamed)), 0);
    QVERIFY(!QFile::exists(ftpServer.localPath("/pub/" + name)));
    QVERIFY(readTestFile(ftpServer.localPath("/pub/" + renamed)) == contents);
    QCOMPARE(client->Delete(str(renamed)), 0);
    QVERIFY(!QFile::exists(ftpServer.localPath("/pub/" + renamed)));
    QCOMPARE(client->Delete(str(renamed)), 1);
    QCOMPARE(client->FileSize(str(renamed), size), 1);

    const QString dir = "dir-" + name;
    QCOMPARE(client->MakeDirectory(str(dir)), 0);
    QVERIFY(QFileInfo(ftpServer.localPath("/pub/" + dir)).isDir());
    QCOMPARE(client->ChangeWorkingDirectory(str(dir)), 0);
    QCOMPARE(client->ChangeToParentDirectory(), 0);
    QCOMPARE(client->RemoveDirectory(str(dir)), 0);
    QVERIFY(!QFileInfo::exists(ftpServer.localPath("/pub/" + dir)));

    QCOMPARE(client->Logout(), 0);
    QVERIFY(!client->IsConnected());
}

void TestFtpTransfers::brokenTransfersResume()
{
    QFETCH(QString, serverName);
    QFETCH(bool, passive);
    FtpServerProcess& ftpServer = server(serverName);
    TransferObserver observer;
    auto client = logOn(ftpServer, observer);
    QVERIFY(client->IsConnected());

    // A download broken off after its first blocks continues from the local file.
    const QString name = QString("resume-%1.bin").arg(passive ? "pasv" : "port");
    const QByteArray contents = randomBytes(4 * 1024 * 1024 + 3);
    QVERIFY(writeTestFile(ftpServer.localPath("/pub/" + name), contents));
    const QString target = local(name);
    QFile::remove(target);
    observer.onProgress = [&client](long bytes) {
        if (bytes >= 256 * 1024)
            client->Abort();
    };
    QVERIFY(!client->DownloadFile(str(name), str(target), Binary, passive));
    const qint64 partSize = QFileInfo(target).size();
    QVERIFY2(partSize >= 256 * 1024 && partSize < contents.size(), qPrintable(QString::number(partSize)));
    observer.onProgress = nullptr;
    observer.commands.clear();
    QVERIFY2(client->DownloadFile(str(name), str(target), Binary, passive), qPrintable(observer.errors.join("; ")));
    QVERIFY(observer.commands.contains("REST"));
    QVERIFY(readTestFile(target) == contents);

    // An upload whose first part reached the server is completed by REST and
    // APPE; pyftpdlib refuses APPE while a REST is pending, so vsftpd shows it.
    if (serverName != "vsftpd")
        return;
    const QString upName = "up-" + name;
    QVERIFY(writeTestFile(ftpServer.localPath("/pub/" + upName), contents.left(1024 * 1024 + 5)));
    // The part must belong to the server's user as if it had stored it (vsftpd serves as "daemon").
    QVERIFY(QFile::setPermissions(ftpServer.localPath("/pub/" + upName), QFile::Permissions(0x6666)));
    observer.commands.clear();
    QVERIFY2(client->UploadFile(str(target), str(upName), false, Binary, passive), qPrintable(observer.errors.join("; ")));
    QVERIFY(observer.commands.contains("APPE"));
    QVERIFY(readTestFile(ftpServer.localPath("/pub/" + upName)) == contents);
}

void TestFtpTransfers::storeUnique()
{
    QFETCH(QString, serverName);
    QFETCH(bool, passive);
    FtpServerProcess& ftpServer = server(serverName);
    TransferObserver observer;
    auto client = logOn(ftpServer, observer);
    QVERIFY(client->IsConnected());

    const QString subdir = QString("unique-%1").arg(passive ? "pasv" : "port");
    QCOMPARE(client->MakeDirectory(str(subdir)), 0);
    QCOMPARE(client->ChangeWorkingDirectory(str(subdir)), 0);
    const QByteArray contents = randomBytes(100 * 1024);
    QVERIFY(writeTestFile(local("unique.bin"), contents));
    // With resume on, a remote file of the same name would be completed by APPE.
    client->SetResumeMode(false);
    for (int i = 0; i < 2; ++i)
        QVERIFY2(client->UploadFile(str(local("unique.bin")), "unique.bin", true, Binary, passive), qPrintable(observer.errors.join("; ")));
    QVERIFY(observer.commands.contains("STOU"));

    const QDir dir(ftpServer.localPath("/pub/" + subdir));
    const QStringList stored = dir.entryList(QDir::Files);
    QCOMPARE(stored.size(), 2);
    for (const QString& file : stored) {
        QVERIFY2(file.startsWith("unique.bin"), qPrintable(file));
        QVERIFY(readTestFile(dir.filePath(file)) == contents);
    }
}

void TestFtpTransfers::abortLargeDownload()
{
    QFETCH(QString, serverName);
    QFETCH(bool, passive);
    FtpServerProcess& ftpServer = server(serverName);
    TransferObserver observer;
    auto client = logOn(ftpServer, observer);
    QVERIFY(client->IsConnected());
    client->SetResumeMode(false);

    const QString name = QString("large-%1.bin").arg(passive ? "pasv" : "port");
    const QByteArray contents = randomBytes(64 * 1024 * 1024);
    QVERIFY(writeTestFile(ftpServer.localPath("/pub/" + name), contents));
    observer.onProgress = [&client](long bytes) {
        if (bytes >= 1024 * 1024)
            QCOMPARE(client->Abort(), 0);
    };
    QElapsedTimer timer;
    timer.start();
    QVERIFY(!client->DownloadFile(str(name), str(local(name)), Binary, passive));
    QVERIFY(timer.elapsed() < 4000);
    QVERIFY(!client->IsTransferringData());
    QVERIFY(observer.commands.contains("ABOR"));
    QVERIFY(QFileInfo(local(name)).size() < contents.size());

    // The control connection is still in step: each command reads its own reply.
    observer.onProgress = nullptr;
    long size = 0;
    QCOMPARE(client->FileSize(str(name), size), 0);
    QCOMPARE(size, long(contents.size()));
    QCOMPARE(client->Noop(), 0);
}

void TestFtpTransfers::serverToServerCopy_data()
{
    QTest::addColumn<QString>("source");
    QTest::addColumn<QString>("target");
    QTest::addColumn<bool>("downloadForm");
    QTest::addColumn<bool>("passive");

    QTest::newRow("pyftpdlib to vsftpd, download form, passive") << "pyftpdlib" << "vsftpd" << true << true;
    QTest::newRow("pyftpdlib to vsftpd, download form, active") << "pyftpdlib" << "vsftpd" << true << false;
    QTest::newRow("vsftpd to pyftpdlib, upload form, passive") << "vsftpd" << "pyftpdlib" << false << true;
    QTest::newRow("pyftpdlib to pyftpdlib, upload form, active") << "pyftpdlib" << "second" << false << false;
}

void TestFtpTransfers::serverToServerCopy()
{
    QFETCH(QString, source);
    QFETCH(QString, target);
    QFETCH(bool, downloadForm);
    QFETCH(bool, passive);
    FtpServerProcess& sourceServer = server(source);
    FtpServerProcess& targetServer = target == "second" ? *m_secondPyftpdlib : server(target);

    const QString name = QString("copy-%1.bin").arg(QTest::currentDataTag()).replace(' ', '_').replace(',', '_');
    const QByteArray contents = randomBytes(2 * 1024 * 1024 + 9);
    QVERIFY(writeTestFile(sourceServer.localPath("/pub/" + name), contents));

    TransferObserver sourceObserver, targetObserver;
    auto sourceClient = logOn(sourceServer, sourceObserver);
    auto targetClient = logOn(targetServer, targetObserver);
    QVERIFY(sourceClient->IsConnected() && targetClient->IsConnected());
    const bool copied = downloadForm
                            ? sourceClient->DownloadFile(str(name), *targetClient, str(name), Binary, passive)
                            : targetClient->UploadFile(*sourceClient, str(name), str(name), Binary, passive);
    QVERIFY2(copied, qPrintable(sourceObserver.lastReply + " / " + targetObserver.lastReply));
    QVERIFY(readTestFile(targetServer.localPath("/pub/" + name)) == contents);
    QCOMPARE(sourceClient->Noop(), 0);
    QCOMPARE(targetClient->Noop(), 0);
}

QTEST_GUILESS_MAIN(TestFtpTransfers)
#include "tst_ftptransfers.moc"
