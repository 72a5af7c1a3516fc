#include <vetrel/FtpClient/BlockingSocket.h>
#include <vetrel/FtpClient/FTPListParse.h>

#include <QtTest>

#include <fcntl.h>
#include <sys/stat.h>

#include <map>
#include <memory>

using namespace nsFTP;

namespace
{

struct Expected
{
    bool cwd;
    bool retr;
    long size;
    int timeType;
    long time;
};

// An FTP server of the machine's, serving one folder on loopback; stopped by its pid.
class FtpServer
{
public:
    virtual ~FtpServer()
    {
        if (m_process.state() != QProcess::NotRunning) {
            m_process.kill();
            m_process.waitForFinished(5000);
        }
    }
    // Empty when the server could not be started, else why not in error().
    virtual bool start(const QString &root, QString &error) = 0;
    quint16 port() const { return m_port; }

protected:
    QProcess m_process;
    quint16 m_port = 0;
};

class PyFtpdLib : public FtpServer
{
public:
    bool start(const QString &root, QString &error) override
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("TZ", "UTC");
        m_process.setProcessEnvironment(environment);
        m_process.setProcessChannelMode(QProcess::MergedChannels);
        // Port 0: the OS chooses, and the server's log says which.
        m_process.start("/usr/bin/python3", { "-m", "pyftpdlib", "-i", "127.0.0.1", "-p", "0", "-d", root });
        QByteArray log;
        const QRegularExpression started("starting FTP server on 127\\.0\\.0\\.1:(\\d+)");
        QDeadlineTimer deadline(10000);
        while (!deadline.hasExpired() && m_process.waitForReadyRead(int(deadline.remainingTime()))) {
            log += m_process.readAll();
            const auto match = started.match(QString::fromLatin1(log));
            if (match.hasMatch()) {
                m_port = quint16(match.captured(1).toUInt());
                return true;
            }
        }
        error = "pyftpdlib did not start: " + QString::fromLocal8Bit(log + m_process.readAll());
        return false;
    }
};

class Vsftpd : public FtpServer
{
public:
    bool start(const QString &root, QString &error) override
    {
        m_port = freePort();
        // vsftpd looks its anonymous account up even when it never switches to
        // it; "ftp" comes only with its package, "daemon" is on every system.
        const QString config = m_dir.filePath("vsftpd.conf");
        QFile file(config);
        if (!file.open(QIODevice::WriteOnly))
            return false;
        file.write(
            QStringLiteral("listen=YES\nlisten_ipv6=NO\nlisten_address=127.0.0.1\nlisten_port=%1\n"
                           "background=NO\nanonymous_enable=YES\nno_anon_password=YES\nlocal_enable=NO\n"
                           "write_enable=NO\nanon_root=%2\nrun_as_launching_user=YES\nftp_username=daemon\n"
                           "secure_chroot_dir=%3\nuse_localtime=NO\nseccomp_sandbox=NO\n"
                           "xferlog_enable=NO\nvsftpd_log_file=%3/log\npasv_address=127.0.0.1\n")
                .arg(m_port)
                .arg(root, m_dir.path())
                .toUtf8());
        file.close();
        m_process.setProcessChannelMode(QProcess::MergedChannels);
        m_process.start(VETREL_TEST_VSFTPD, { config });
        QDeadlineTimer deadline(10000);
        while (!deadline.hasExpired() && m_process.state() != QProcess::NotRunning) {
            if (accepts(m_port))
                return true;
            m_process.waitForFinished(50);
        }
        error = "vsftpd did not start: " + QString::fromLocal8Bit(m_process.readAll());
        return false;
    }

private:
    // vsftpd wants a port of its own; take one the OS hands out and give it back.
    static quint16 freePort()
    {
        nsSocket::CBlockingSocket probe;
        probe.Create(SOCK_STREAM);
        probe.Bind(nsSocket::CSockAddr(INADDR_LOOPBACK, 0));
        nsSocket::CSockAddr bound;
        probe.GetSockAddr(bound);
        return bound.Port();
    }
    static bool accepts(quint16 port)
    {
        nsSocket::CBlockingSocket probe;
        probe.Create(SOCK_STREAM);
        try {
            probe.Connect(nsSocket::CSockAddr(INADDR_LOOPBACK, port));
            return true;
        } catch (const nsSocket::CBlockingSocketException &) {
            return false;
        }
    }

    QTemporaryDir m_dir;
};

long minuteOf(const QDateTime &time)
{
    return static_cast<long>(time.toSecsSinceEpoch() / 60 * 60);
}

long dayOf(const QDateTime &time)
{
    return static_cast<long>(QDateTime(time.date(), QTime(0, 0), Qt::UTC).toSecsSinceEpoch());
}

}

class TestFtpListings : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void serverListing_data();
    void serverListing();

private:
    void add(const QString &name, const QDateTime &time, bool old);

    QTemporaryDir m_root;
    QDir m_pub;
    std::map<tstring, Expected> m_expected;
    std::vector<std::pair<QString, QDateTime>> m_times;
};

void TestFtpListings::initTestCase()
{
    QVERIFY(m_root.isValid());
    QVERIFY(QDir(m_root.path()).mkpath("pub/sub dir") && QDir(m_root.path()).mkpath("pub/old dir"));
    m_pub.setPath(m_root.filePath("pub"));
    const auto writeFile = [this](const QString &name, const QByteArray &content) {
        QFile file(m_pub.filePath(name));
        return file.open(QIODevice::WriteOnly) && file.write(content) == content.size();
    };
    QVERIFY(writeFile("plain.txt", QByteArray(1234, 'p')));
    QVERIFY(writeFile("with  two blanks.txt", "hello"));
    QVERIFY(writeFile(" leading blank", "x"));
    QVERIFY(writeFile("ancient.dat", QByteArray(70000, 'a')));
    QVERIFY(QFile::link("plain.txt", m_pub.filePath("link to plain")));

    // Recent entries show a clock time, old ones a year.
    const QDateTime now = QDateTime::currentDateTimeUtc();
    const QDateTime recent = now.addDays(-3).addSecs(-now.time().second());
    add("plain.txt", recent, false);
    add("sub dir", recent.addSecs(-3600), false);
    add(" leading blank", recent.addDays(-20), false);
    add("with  two blanks.txt", QDateTime(QDate(2009, 3, 5), QTime(10, 0), Qt::UTC), true);
    add("ancient.dat", QDateTime(QDate(1985, 12, 1), QTime(23, 59), Qt::UTC), true);
    add("old dir", QDateTime(QDate(1999, 12, 31), QTime(12, 0), Qt::UTC), true);
    add("link to plain", QDateTime(QDate(2012, 2, 29), QTime(6, 30), Qt::UTC), true);
    // Directories last: adding entries would touch their times again.
    for (const auto &entry : m_times) {
        const QByteArray path = QFile::encodeName(m_pub.filePath(entry.first));
        const timespec times[2]
            = { { entry.second.toSecsSinceEpoch(), 0 }, { entry.second.toSecsSinceEpoch(), 0 } };
        QCOMPARE(utimensat(AT_FDCWD, path.constData(), times, AT_SYMLINK_NOFOLLOW), 0);
    }
    const timespec pubTimes[2] = { { 0, UTIME_NOW }, { 0, UTIME_NOW } };
    utimensat(AT_FDCWD, QFile::encodeName(m_pub.path()).constData(), pubTimes, 0);
}

void TestFtpListings::add(const QString &name, const QDateTime &time, bool old)
{
    struct stat info
    {
    };
    QCOMPARE(lstat(QFile::encodeName(m_pub.filePath(name)).constData(), &info), 0);
    const bool link = S_ISLNK(info.st_mode);
    const bool directory = S_ISDIR(info.st_mode);
    m_expected[name.toStdString()] = Expected { directory || link, !directory,
        static_cast<long>(info.st_size), old ? 3 : 2, old ? dayOf(time) : minuteOf(time) };
    m_times.emplace_back(name, time);
}

void TestFtpListings::serverListing_data()
{
    QTest::addColumn<QString>("server");
    QTest::newRow("pyftpdlib") << "pyftpdlib";
    QTest::newRow("vsftpd") << "vsftpd";
}

void TestFtpListings::serverListing()
{
    QFETCH(QString, server);
    std::unique_ptr<FtpServer> ftp;
    if (server == "vsftpd")
        ftp = std::make_unique<Vsftpd>();
    else
        ftp = std::make_unique<PyFtpdLib>();
    QString error;
    QVERIFY2(ftp->start(m_root.path(), error), qPrintable(error));

    QProcess curl;
    curl.start(
        "curl", { "-s", "--max-time", "20", QStringLiteral("ftp://127.0.0.1:%1/pub/").arg(ftp->port()) });
    QVERIFY(curl.waitForFinished(30000));
    QCOMPARE(curl.exitCode(), 0);
    const QByteArray listing = curl.readAllStandardOutput();

    CFTPListParser parser;
    std::map<tstring, CFTPFileStatus> parsed;
    for (QByteArray line : listing.split('\n')) {
        if (line.endsWith('\r'))
            line.chop(1);
        if (line.isEmpty())
            continue;
        CFTPFileStatus status;
        QVERIFY2(parser.Parse(status, line.toStdString()), line.constData());
        QVERIFY2(parsed.emplace(status.Name(), status).second, line.constData());
    }
    QCOMPARE(parsed.size(), m_expected.size());
    for (const auto &[name, expected] : m_expected) {
        const auto found = parsed.find(name);
        QVERIFY2(found != parsed.end(), ("missing: '" + name + "' in\n" + listing.toStdString()).c_str());
        const CFTPFileStatus &status = found->second;
        QCOMPARE(status.IsCwdPossible(), expected.cwd);
        QCOMPARE(status.IsRetrPossible(), expected.retr);
        QCOMPARE(status.SizeType(), int(CFTPFileStatus::stBinary));
        QCOMPARE(status.Size(), expected.size);
        QCOMPARE(status.MTimeType(), expected.timeType);
        QCOMPARE(QDateTime::fromSecsSinceEpoch(status.MTime(), Qt::UTC),
            QDateTime::fromSecsSinceEpoch(expected.time, Qt::UTC));
        QVERIFY(!status.Attributes().empty() && !status.Link().empty());
    }
}

QTEST_GUILESS_MAIN(TestFtpListings)
#include "tst_ftplistings.moc"
