#include "ftpserverprocess.h"
#include "testfiles.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QThread>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace
{

const int StartLimitMs = 10000;

sockaddr_in loopback(unsigned short port)
{
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    addr.sin_port = htons(port);
    return addr;
}

// vsftpd cannot report a port it chose itself, so one is picked for it.
unsigned short freeLoopbackPort()
{
    const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in addr = loopback(0);
    socklen_t length = sizeof addr;
    unsigned short port = 0;
    if (::bind(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) == 0
        && ::getsockname(fd, reinterpret_cast<sockaddr*>(&addr), &length) == 0)
        port = ntohs(addr.sin_port);
    ::close(fd);
    return port;
}

bool accepts(unsigned short port)
{
    const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    const sockaddr_in addr = loopback(port);
    const bool connected = ::connect(fd, reinterpret_cast<const sockaddr*>(&addr), sizeof addr) == 0;
    ::close(fd);
    return connected;
}

}

FtpServerProcess::FtpServerProcess(Kind kind, const QString &tlsCertificate)
    : m_kind(kind)
    , m_tlsCertificate(tlsCertificate)
{
    m_process.setProcessChannelMode(QProcess::SeparateChannels);
}

FtpServerProcess::~FtpServerProcess()
{
    stop();
}

QString FtpServerProcess::user() const
{
    return m_kind == Pyftpdlib ? QStringLiteral("trader") : QStringLiteral("anonymous");
}

QString FtpServerProcess::password() const
{
    return m_kind == Pyftpdlib ? QStringLiteral("secret") : QString();
}

QString FtpServerProcess::localPath(const QString& remotePath) const
{
    return m_dir.path() + QStringLiteral("/root") + remotePath;
}

QString FtpServerProcess::logPath() const
{
    return m_dir.filePath(QStringLiteral("server.log"));
}

bool FtpServerProcess::start()
{
    if (!m_dir.isValid()) {
        m_error = QStringLiteral("no temporary directory");
        return false;
    }
    // vsftpd's anonymous user must reach the tree; the root itself must not be writable.
    QFile::setPermissions(m_dir.path(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner | QFile::ReadGroup
                                            | QFile::ExeGroup | QFile::ReadOther | QFile::ExeOther);
    QDir(m_dir.path()).mkpath(QStringLiteral("root/pub"));
    // Nobody drains a pipe while a test runs: a server that logs into a full
    // one stops serving.
    m_process.setStandardErrorFile(logPath());
    QFile::setPermissions(localPath(QStringLiteral("/pub")), QFile::Permissions(0x7777));
    return m_kind == Pyftpdlib ? startPyftpdlib() : startVsftpd();
}

void FtpServerProcess::stop()
{
    if (m_process.state() == QProcess::NotRunning)
        return;
    // Both servers end when their input ends; that also happens should the test crash.
    m_process.closeWriteChannel();
    if (m_process.waitForFinished(3000))
        return;
    m_process.terminate();
    if (!m_process.waitForFinished(3000)) {
        m_process.kill();
        m_process.waitForFinished(3000);
    }
}

bool FtpServerProcess::startPyftpdlib()
{
    QStringList arguments { QStringLiteral(VETREL_TEST_PYFTPD_SCRIPT), localPath(QString()), user(),
        password() };
    if (!m_tlsCertificate.isEmpty())
        arguments << m_tlsCertificate;
    m_process.start(QStringLiteral(VETREL_TEST_PYTHON), arguments);
    if (!m_process.waitForStarted(StartLimitMs)) {
        m_error = QStringLiteral("pyftpdlib did not start: ") + m_process.errorString();
        return false;
    }
    QElapsedTimer timer;
    timer.start();
    while (!m_process.canReadLine() && timer.elapsed() < StartLimitMs && m_process.state() == QProcess::Running)
        m_process.waitForReadyRead(100);
    bool ok = false;
    m_port = static_cast<unsigned short>(m_process.readLine().trimmed().toUInt(&ok));
    if (!ok || m_port == 0) {
        m_error = QStringLiteral("pyftpdlib reported no port: ") + QString::fromLocal8Bit(readTestFile(logPath()));
        stop();
        return false;
    }
    return true;
}

bool FtpServerProcess::startVsftpd()
{
    // vsftpd refuses to run its session processes unless it starts as root.
    if (::geteuid() != 0) {
        m_error = QStringLiteral("vsftpd needs to be started as root");
        return false;
    }
    QDir(m_dir.path()).mkpath(QStringLiteral("empty"));
    for (int attempt = 0; attempt < 3; ++attempt) {
        m_port = freeLoopbackPort();
        // Anonymous sessions need an account whose home folder exists: "ftp"
        // comes only with the vsftpd package, "nobody" has none, "daemon" is everywhere.
        const QByteArray config = "listen=YES\nlisten_ipv6=NO\nlisten_address=127.0.0.1\nlisten_port="
                                  + QByteArray::number(m_port)
                                  + "\nbackground=NO\nanonymous_enable=YES\nno_anon_password=YES\nanon_root="
                                  + localPath(QString()).toLocal8Bit()
                                  + "\nwrite_enable=YES\nanon_upload_enable=YES\nanon_mkdir_write_enable=YES\n"
                                    "anon_other_write_enable=YES\nanon_umask=022\nlocal_enable=NO\n"
                                    "secure_chroot_dir="
                                  + m_dir.path().toLocal8Bit()
                                  + "/empty\nseccomp_sandbox=NO\nisolate=NO\nisolate_network=NO\n"
                                    "connect_from_port_20=NO\npasv_enable=YES\nport_enable=YES\n"
                                    "pasv_address=127.0.0.1\nxferlog_enable=NO\nuse_localtime=NO\n"
                                    "hide_ids=NO\nmax_per_ip=0\nmax_clients=0\nftp_username=daemon\n";
        const QString configPath = m_dir.path() + QStringLiteral("/vsftpd.conf");
        if (!writeTestFile(configPath, config + tlsConfig())) {
            m_error = QStringLiteral("cannot write the vsftpd configuration");
            return false;
        }
        // A shell stands guard: when its input ends it stops vsftpd by its process id.
        m_process.start(QStringLiteral("/bin/sh"),
                        {QStringLiteral("-c"), QStringLiteral("\"$0\" \"$1\" & server=$!; cat >/dev/null; kill $server; wait $server"),
                         QStringLiteral(VETREL_TEST_VSFTPD), configPath});
        if (!m_process.waitForStarted(StartLimitMs)) {
            m_error = QStringLiteral("vsftpd did not start: ") + m_process.errorString();
            return false;
        }
        if (waitUntilListening())
            return true;
        m_error = QStringLiteral("vsftpd did not listen: ") + QString::fromLocal8Bit(readTestFile(logPath()));
        stop();
    }
    return false;
}

QByteArray FtpServerProcess::tlsConfig() const
{
    if (m_tlsCertificate.isEmpty())
        return QByteArray();
    const QByteArray pem = m_tlsCertificate.toLocal8Bit();
    return "ssl_enable=YES\nallow_anon_ssl=YES\nforce_anon_logins_ssl=YES\nforce_anon_data_ssl=YES\nrsa_cert_file="
        + pem + "\nrsa_private_key_file=" + pem + "\n";
}

bool FtpServerProcess::waitUntilListening()
{
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < StartLimitMs) {
        if (m_process.state() != QProcess::Running)
            return false;
        if (accepts(m_port))
            return true;
        QThread::msleep(20);
    }
    return false;
}
