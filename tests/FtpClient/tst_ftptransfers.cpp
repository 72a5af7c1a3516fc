// The FTP client against real servers (pyftpdlib and vsftpd) on 127.0.0.1, in
// plain FTP and over TLS with a certificate made for the run, in passive and
// active mode, with every transfer checked byte for byte; the listing parsers
// on what each server really sends; and vetrel-ftp's TLS options.

#include "ftptestclient.h"

#include <vetrel/FtpClient/FTPFileStatus.h>
#include <vetrel/FtpClient/FTPListParse.h>

#include <QDir>
#include <QRandomGenerator>
#include <QtTest>

#include <fcntl.h>
#include <sys/stat.h>
#include <utime.h>

#include <algorithm>
#include <map>

using namespace nsFTP;

namespace
{

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

/// A file name of the current data row's own.
QString rowFile(const QString& prefix)
{
    return prefix + "-" + QString(QTest::currentDataTag()).replace(QRegularExpression("[ ,]+"), "_") + ".bin";
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
        if (!ftp->Login(logonInfo(server(serverName))))
            qWarning() << "logon failed:" << observer.errors << observer.lastReply;
        return ftp;
    }

    static void addServerRows()
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

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        QVERIFY(makeCertificate("server") && makeCertificate("stranger"));
        const QString pem = m_dir.filePath("server.pem");
        m_servers["pyftpdlib"] = std::make_unique<FtpServerProcess>(FtpServerProcess::Pyftpdlib);
        m_servers["second pyftpdlib"] = std::make_unique<FtpServerProcess>(FtpServerProcess::Pyftpdlib);
        m_servers["vsftpd"] = std::make_unique<FtpServerProcess>(FtpServerProcess::Vsftpd);
        m_servers["pyftpdlib TLS"] = std::make_unique<FtpServerProcess>(FtpServerProcess::Pyftpdlib, pem);
        m_servers["vsftpd TLS"] = std::make_unique<FtpServerProcess>(FtpServerProcess::Vsftpd, pem);
        for (auto& entry : m_servers)
            QVERIFY2(entry.second->start(), qPrintable(entry.first + ": " + entry.second->errorString()));
    }

    void roundTrip_data() { addServerRows(); }
    void roundTrip()
    {
        QFETCH(QString, serverName);
        QFETCH(bool, passive);
        FtpServerProcess& ftpServer = server(serverName);
        RecordingObserver observer;
        auto client = logOn(observer, serverName);
        QVERIFY(client->IsConnected());
        client->SetResumeMode(false);

        const QString name = rowFile("round");
        const QByteArray contents = randomBytes(3 * 1024 * 1024 + 17);
        QVERIFY(writeTestFile(local(name), contents));
        QVERIFY2(client->UploadFile(str(local(name)), str(name), false, Binary, passive), qPrintable(observer.errors.join("; ")));
        QVERIFY(readTestFile(ftpServer.localPath("/pub/" + name)) == contents);
        QVERIFY(observer.events.contains("STOR"));
        // An empty upload moves no bytes, yet the data connection must still be made (over TLS, shake hands).
        QVERIFY(writeTestFile(local("empty"), QByteArray()));
        QVERIFY2(client->UploadFile(str(local("empty")), str("empty-" + name), false, Binary, passive),
                 qPrintable(observer.errors.join("; ")));
        QVERIFY(QFileInfo::exists(ftpServer.localPath("/pub/empty-" + name)));

        const QString back = local("back-" + name);
        QVERIFY(client->DownloadFile(str(name), str(back), Binary, passive));
        QCOMPARE(observer.announcedSize, long(contents.size()));
        QVERIFY(readTestFile(back) == contents);
        QVERIFY2(observer.errors.isEmpty(), qPrintable(observer.errors.join("; ")));

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
        // STOU twice with one name: the server picks a new name each time.
        const QString subdir = "unique-" + name;
        QCOMPARE(client->MakeDirectory(str(subdir)), 0);
        QCOMPARE(client->ChangeWorkingDirectory(str(subdir)), 0);
        QVERIFY(QFileInfo(ftpServer.localPath("/pub/" + subdir)).isDir());
        for (int i = 0; i < 2; ++i)
            QVERIFY2(client->UploadFile(str(local(name)), str(name), true, Binary, passive), qPrintable(observer.errors.join("; ")));
        QVERIFY(observer.events.contains("STOU"));
        const QDir uniqueDir(ftpServer.localPath("/pub/" + subdir));
        QCOMPARE(uniqueDir.entryList(QDir::Files).size(), 2);
        for (const QString& file : uniqueDir.entryList(QDir::Files))
            QVERIFY(file.startsWith(name) && readTestFile(uniqueDir.filePath(file)) == contents);
        QCOMPARE(client->ChangeToParentDirectory(), 0);
        QCOMPARE(client->RemoveDirectory(str(subdir)), 1); // not empty

        const QString renamed = "renamed-" + name;
        QCOMPARE(client->Rename(str(name), str(renamed)), 0);
        QVERIFY(!QFile::exists(ftpServer.localPath("/pub/" + name)));
        QVERIFY(readTestFile(ftpServer.localPath("/pub/" + renamed)) == contents);
        QCOMPARE(client->Delete(str(renamed)), 0);
        QVERIFY(!QFile::exists(ftpServer.localPath("/pub/" + renamed)));
        QCOMPARE(client->Delete(str(renamed)), 1);
        QCOMPARE(client->FileSize(str(renamed), size), 1);

        QCOMPARE(client->Logout(), 0);
        QVERIFY(!client->IsConnected());
    }

    void brokenTransfersResume_data() { addServerRows(); }
    void brokenTransfersResume()
    {
        QFETCH(QString, serverName);
        QFETCH(bool, passive);
        FtpServerProcess& ftpServer = server(serverName);
        RecordingObserver observer;
        auto client = logOn(observer, serverName);
        QVERIFY(client->IsConnected());

        // A download broken off after its first blocks continues from the local file.
        const QString name = rowFile("resume");
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
        QVERIFY(observer.events.contains("ABOR"));
        const qint64 partSize = QFileInfo(target).size();
        QVERIFY2(partSize >= 256 * 1024 && partSize < contents.size(), qPrintable(QString::number(partSize)));
        observer.onProgress = nullptr;
        // The control connection is still in step: each command reads its own reply.
        long size = 0;
        QCOMPARE(client->FileSize(str(name), size), 0);
        QCOMPARE(size, long(contents.size()));
        QCOMPARE(client->Noop(), 0);
        observer.events.clear();
        QVERIFY2(client->DownloadFile(str(name), str(target), Binary, passive), qPrintable(observer.errors.join("; ")));
        QVERIFY(observer.events.contains("REST"));
        QVERIFY(readTestFile(target) == contents);

        // An upload whose first part reached the server is completed by REST and APPE (which pyftpdlib refuses).
        if (!serverName.startsWith("vsftpd"))
            return;
        const QString upName = "up-" + name;
        QVERIFY(writeTestFile(ftpServer.localPath("/pub/" + upName), contents.left(1024 * 1024 + 5)));
        // The part must belong to the server's user as if it had stored it (vsftpd serves as "daemon").
        QVERIFY(QFile::setPermissions(ftpServer.localPath("/pub/" + upName), QFile::Permissions(0x6666)));
        observer.events.clear();
        QVERIFY2(client->UploadFile(str(target), str(upName), false, Binary, passive), qPrintable(observer.errors.join("; ")));
        QVERIFY(observer.events.contains("APPE"));
        QVERIFY(readTestFile(ftpServer.localPath("/pub/" + upName)) == contents);
    }

    void serverListingsParse_data()
    {
        QTest::addColumn<QString>("serverName");
        QTest::newRow("pyftpdlib") << "pyftpdlib";
        QTest::newRow("vsftpd") << "vsftpd";
    }
    void serverListingsParse()
    {
        QFETCH(QString, serverName);
        FtpServerProcess& ftpServer = server(serverName);
        const QDir dir(ftpServer.localPath("/pub/listed"));
        QVERIFY(dir.mkpath("."));
        // Recent entries show a clock time to the minute, old ones a year and only the day.
        struct Expected { bool cwd, retr; long size; int timeType; long time, exact; };
        std::map<tstring, Expected> expected;
        const QDateTime now = QDateTime::currentDateTimeUtc();
        const QDateTime recent = now.addDays(-3).addSecs(-now.time().second());
        const auto utc = [](int y, int m, int d, int h, int min) { return QDateTime(QDate(y, m, d), QTime(h, min), Qt::UTC); };
        // Name, size (-1: a directory, -2: a link to plain.txt), time.
        const std::tuple<const char*, int, QDateTime> files[] = {
            {"plain.txt", 1234, recent}, {"sub dir", -1, recent.addSecs(-3600)}, {" leading blank", 1, recent.addDays(-20)},
            {"with  two blanks.txt", 5, utc(2009, 3, 5, 10, 0)}, {"ancient.dat", 70000, utc(1985, 12, 1, 23, 59)},
            {"old dir", -1, utc(1999, 12, 31, 12, 0)}, {"link to plain", -2, utc(2012, 2, 29, 6, 30)}};
        for (const auto& [name, size, time] : files) {
            const QByteArray path = QFile::encodeName(dir.filePath(name));
            QVERIFY(size == -1 ? dir.mkpath(name)
                              : size == -2 ? QFile::link("plain.txt", dir.filePath(name)) : writeTestFile(dir.filePath(name), QByteArray(size, 'p')));
            const timespec stamps[2] = {{time.toSecsSinceEpoch(), 0}, {time.toSecsSinceEpoch(), 0}};
            QCOMPARE(::utimensat(AT_FDCWD, path.constData(), stamps, AT_SYMLINK_NOFOLLOW), 0);
            struct stat info{};
            QCOMPARE(::lstat(path.constData(), &info), 0);
            const bool old = time.date().year() < 2015;
            const long shown = old ? QDateTime(time.date(), QTime(0, 0), Qt::UTC).toSecsSinceEpoch() : time.toSecsSinceEpoch() / 60 * 60;
            expected[name] = {size < 0, size != -1,
                              static_cast<long>(info.st_size), old ? 3 : 2, shown, static_cast<long>(time.toSecsSinceEpoch())};
        }

        RecordingObserver observer;
        auto client = logOn(observer, serverName);
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
            QVERIFY2(status.IsCwdPossible() == entry.cwd && status.IsRetrPossible() == entry.retr, name.c_str());
            QVERIFY2(status.SizeType() == CFTPFileStatus::stBinary && status.Size() == entry.size, name.c_str());
            QCOMPARE(status.MTimeType(), entry.timeType);
            QCOMPARE(QDateTime::fromSecsSinceEpoch(status.MTime(), Qt::UTC), QDateTime::fromSecsSinceEpoch(entry.time, Qt::UTC));
            QVERIFY(!status.Attributes().empty() && !status.Link().empty());
        }

        // The parsed listing takes MLSD where the server offers it, for times to the second.
        const bool mlsd = serverName == "pyftpdlib";
        CFTPClient::TSpFTPFileStatusVector entries;
        QVERIFY(client->List("/pub/listed", entries, true));
        QVERIFY(observer.events.contains(mlsd ? "MLSD" : "LIST"));
        QCOMPARE(entries.size(), expected.size());
        for (const auto& entry : entries) {
            const auto found = expected.find(entry->Name());
            QVERIFY2(found != expected.end(), entry->Name().c_str());
            const Expected& want = found->second;
            if (want.cwd && want.retr)
                continue; // the servers differ in how MLSD shows a link
            QVERIFY2(entry->IsCwdPossible() == want.cwd && entry->IsRetrPossible() == want.retr, entry->Name().c_str());
            QVERIFY(!want.retr || entry->Size() == want.size);
            QCOMPARE(entry->MTimeType(), mlsd ? int(CFTPFileStatus::mttRemoteSeconds) : want.timeType);
            QCOMPARE(entry->MTime(), mlsd ? want.exact : want.time);
        }
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

        const QString own = certificate("server");
        QTest::newRow("private CA") << "pyftpdlib TLS" << "127.0.0.1" << true << own << QString();
        QTest::newRow("system store") << "pyftpdlib TLS" << "127.0.0.1" << true << "" << "self-signed certificate";
        QTest::newRow("another CA") << "pyftpdlib TLS" << "127.0.0.1" << true << certificate("stranger") << "self-signed certificate";
        QTest::newRow("name not in certificate") << "pyftpdlib TLS" << "localhost" << true << own << "hostname mismatch";
        QTest::newRow("no checks") << "pyftpdlib TLS" << "localhost" << false << "" << QString();
        QTest::newRow("unreadable CA file") << "pyftpdlib TLS" << "127.0.0.1" << true << m_dir.filePath("missing.crt") << "TLS certificates";
        QTest::newRow("pyftpdlib without TLS") << "pyftpdlib" << "127.0.0.1" << false << "" << "refused TLS";
        QTest::newRow("vsftpd without TLS") << "vsftpd" << "127.0.0.1" << false << "" << "refused TLS";
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
            return;
        }
        QVERIFY2(observer.errors.join('\n').contains(refusal), qPrintable(observer.errors.join('\n')));
        // Nothing, least of all the password, goes out before the session is secured.
        QCOMPARE(observer.sent, QStringList{"AUTH TLS"});
        QVERIFY(!ftp->IsConnected());
    }

    void commandLine_data()
    {
        QTest::addColumn<QStringList>("options");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("output");

        QTest::newRow("private CA") << QStringList{"--cacert", certificate("server")} << 0 << "cli.bin";
        QTest::newRow("unchecked") << QStringList{"--insecure"} << 0 << "cli.bin";
        QTest::newRow("system store") << QStringList() << 1 << "certificate";
        QTest::newRow("parsed from MLSD") << QStringList{"--insecure", "--parsed"} << 0 << "- 5 2021-03-04 05:06 cli.bin";
    }
    void commandLine()
    {
#ifndef VETREL_FTP_PROGRAM
        QSKIP("vetrel-ftp is not built");
#else
        QFETCH(QStringList, options);
        QFETCH(int, exitCode);
        QFETCH(QString, output);
        FtpServerProcess& ftpd = server("pyftpdlib TLS");
        const QString path = ftpd.localPath("/pub/cli.bin");
        QVERIFY(writeTestFile(path, "12345"));
        const utimbuf times{1614834367, 1614834367}; // 2021-03-04 05:06:07 UTC
        QCOMPARE(::utime(QFile::encodeName(path).constData(), &times), 0);
        QProcess process;
        process.start(VETREL_FTP_PROGRAM, QStringList{"--tls", "--host", "127.0.0.1", "--port", QString::number(ftpd.port()),
                                                      "--user", ftpd.user(), "--password", ftpd.password(), "--start-dir",
                                                      "/pub", "list"} + options);
        QVERIFY(process.waitForFinished(30000));
        const QString all = QString::fromLocal8Bit(process.readAllStandardOutput() + process.readAllStandardError());
        QVERIFY2(process.exitCode() == exitCode && all.simplified().contains(output), qPrintable(all));
#endif
    }

private:
    QTemporaryDir m_dir;
    std::map<QString, std::unique_ptr<FtpServerProcess>> m_servers;
};

QTEST_GUILESS_MAIN(TestFtpTransfers)
#include "tst_ftptransfers.moc"
