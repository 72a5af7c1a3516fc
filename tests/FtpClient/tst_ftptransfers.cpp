// The FTP client against real servers (pyftpdlib and vsftpd) on 127.0.0.1,
// in passive and active mode, with every transfer checked byte for byte, and
// the listing parser on what each server really sends.

#include "ftpserverprocess.h"
#include "testfiles.h"

#include <vetrel/FtpClient/FTPClient.h>
#include <vetrel/FtpClient/FTPFileStatus.h>
#include <vetrel/FtpClient/FTPListParse.h>
#include <vetrel/FtpClient/FTPTransferTargets.h>

#include <QDir>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QtTest>

#include <fcntl.h>
#include <sys/stat.h>
#include <utime.h>

#include <algorithm>
#include <functional>
#include <map>

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
        auto client = std::make_unique<CFTPClient>(nsSocket::CreateDefaultBlockingSocketInstance(), 20, 64 * 1024, 0, "/pub");
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
    void serverListingsParse_data();
    void serverListingsParse();
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

    // STOU twice with one name: the server picks a new name each time.
    const QString subdir = "unique-" + name;
    QCOMPARE(client->MakeDirectory(str(subdir)), 0);
    QCOMPARE(client->ChangeWorkingDirectory(str(subdir)), 0);
    for (int i = 0; i < 2; ++i)
        QVERIFY2(client->UploadFile(str(local(name)), str(name), true, Binary, passive), qPrintable(observer.errors.join("; ")));
    QVERIFY(observer.commands.contains("STOU"));
    const QDir uniqueDir(ftpServer.localPath("/pub/" + subdir));
    QCOMPARE(uniqueDir.entryList(QDir::Files).size(), 2);
    for (const QString& file : uniqueDir.entryList(QDir::Files))
        QVERIFY(file.startsWith(name) && readTestFile(uniqueDir.filePath(file)) == contents);
    QCOMPARE(client->ChangeToParentDirectory(), 0);

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
    QVERIFY(!client->IsTransferringData());
    QVERIFY(observer.commands.contains("ABOR"));
    const qint64 partSize = QFileInfo(target).size();
    QVERIFY2(partSize >= 256 * 1024 && partSize < contents.size(), qPrintable(QString::number(partSize)));
    observer.onProgress = nullptr;
    // The control connection is still in step: each command reads its own reply.
    long size = 0;
    QCOMPARE(client->FileSize(str(name), size), 0);
    QCOMPARE(size, long(contents.size()));
    QCOMPARE(client->Noop(), 0);
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

void TestFtpTransfers::serverListingsParse_data()
{
    QTest::addColumn<QString>("serverName");
    QTest::newRow("pyftpdlib") << "pyftpdlib";
    QTest::newRow("vsftpd") << "vsftpd";
}

void TestFtpTransfers::serverListingsParse()
{
    QFETCH(QString, serverName);
    FtpServerProcess& ftpServer = server(serverName);
    const QDir dir(ftpServer.localPath("/pub/listed"));
    QVERIFY(dir.mkpath("sub dir") && dir.mkpath("old dir"));
    QVERIFY(writeTestFile(dir.filePath("plain.txt"), QByteArray(1234, 'p')));
    QVERIFY(writeTestFile(dir.filePath("with  two blanks.txt"), "hello"));
    QVERIFY(writeTestFile(dir.filePath(" leading blank"), "x"));
    QVERIFY(writeTestFile(dir.filePath("ancient.dat"), QByteArray(70000, 'a')));
    QFile::link("plain.txt", dir.filePath("link to plain"));

    // Recent entries show a clock time to the minute, old ones a year and only the day.
    struct Expected { bool cwd, retr; long size; int timeType; long time, exact; };
    std::map<tstring, Expected> expected;
    const QDateTime now = QDateTime::currentDateTimeUtc();
    const QDateTime recent = now.addDays(-3).addSecs(-now.time().second());
    const std::pair<const char*, QDateTime> times[] = {
        {"plain.txt", recent}, {"sub dir", recent.addSecs(-3600)}, {" leading blank", recent.addDays(-20)},
        {"with  two blanks.txt", QDateTime(QDate(2009, 3, 5), QTime(10, 0), Qt::UTC)},
        {"ancient.dat", QDateTime(QDate(1985, 12, 1), QTime(23, 59), Qt::UTC)},
        {"old dir", QDateTime(QDate(1999, 12, 31), QTime(12, 0), Qt::UTC)},
        {"link to plain", QDateTime(QDate(2012, 2, 29), QTime(6, 30), Qt::UTC)}};
    for (const auto& [name, time] : times) {
        const QByteArray path = QFile::encodeName(dir.filePath(name));
        const timespec stamps[2] = {{time.toSecsSinceEpoch(), 0}, {time.toSecsSinceEpoch(), 0}};
        QCOMPARE(::utimensat(AT_FDCWD, path.constData(), stamps, AT_SYMLINK_NOFOLLOW), 0);
        struct stat info{};
        QCOMPARE(::lstat(path.constData(), &info), 0);
        const bool old = time.date().year() < 2015;
        const long shown = old ? QDateTime(time.date(), QTime(0, 0), Qt::UTC).toSecsSinceEpoch() : time.toSecsSinceEpoch() / 60 * 60;
        expected[name] = {S_ISDIR(info.st_mode) || S_ISLNK(info.st_mode), !S_ISDIR(info.st_mode),
                          static_cast<long>(info.st_size), old ? 3 : 2, shown, static_cast<long>(time.toSecsSinceEpoch())};
    }

    TransferObserver observer;
    auto client = logOn(ftpServer, observer);
    CFTPClient::TStringVector lines;
    QVERIFY2(client->List("/pub/listed", lines, true), qPrintable(observer.errors.join("; ")));
    CFTPListParser parser;
    std::map<tstring, CFTPFileStatus> parsed;
    for (const tstring& line : lines) {
        CFTPFileStatus status;
        QVERIFY2(parser.Parse(status, line), line.c_str());
        QVERIFY2(parsed.emplace(status.Name(), status).second, line.c_str());
    }
    QCOMPARE(parsed.size(), expected.size());
    for (const auto& [name, entry] : expected) {
        const auto found = parsed.find(name);
        QVERIFY2(found != parsed.end(), ("missing: '" + name + "'").c_str());
        const CFTPFileStatus& status = found->second;
        QCOMPARE(status.IsCwdPossible(), entry.cwd);
        QCOMPARE(status.IsRetrPossible(), entry.retr);
        QCOMPARE(status.SizeType(), int(CFTPFileStatus::stBinary));
        QCOMPARE(status.Size(), entry.size);
        QCOMPARE(status.MTimeType(), entry.timeType);
        QCOMPARE(QDateTime::fromSecsSinceEpoch(status.MTime(), Qt::UTC), QDateTime::fromSecsSinceEpoch(entry.time, Qt::UTC));
        QVERIFY(!status.Attributes().empty() && !status.Link().empty());
    }

    // The parsed listing takes MLSD where the server offers it, for times to the second.
    const bool mlsd = serverName == "pyftpdlib";
    CFTPClient::TSpFTPFileStatusVector entries;
    QVERIFY(client->List("/pub/listed", entries, true));
    QVERIFY(observer.commands.contains(mlsd ? "MLSD" : "LIST"));
    QCOMPARE(entries.size(), expected.size());
    for (const auto& entry : entries) {
        const auto found = expected.find(entry->Name());
        QVERIFY2(found != expected.end(), entry->Name().c_str());
        const Expected& want = found->second;
        if (want.cwd && want.retr)
            continue; // the servers differ in how MLSD shows a link
        QCOMPARE(entry->IsCwdPossible(), want.cwd);
        QCOMPARE(entry->IsRetrPossible(), want.retr);
        if (want.retr)
            QCOMPARE(entry->Size(), want.size);
        QCOMPARE(entry->MTimeType(), mlsd ? int(CFTPFileStatus::mttRemoteSeconds) : want.timeType);
        QCOMPARE(entry->MTime(), mlsd ? want.exact : want.time);
    }
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
