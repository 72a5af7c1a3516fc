#include "ftpserverprocess.h"

#include <QDir>
#include <QElapsedTimer>
#include <QThread>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace
{

const int StartLimitMs = 10000;

// Binds port 0 to have one chosen (vsftpd cannot report the port it took), or connects to the port.
unsigned short probeLoopback(unsigned short port)
{
    const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in addr{AF_INET, htons(port), {htonl(INADDR_LOOPBACK)}, {}};
    socklen_t length = sizeof addr;
    const bool ok = port ? ::connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) == 0
                         : ::bind(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) == 0
                               && ::getsockname(fd, reinterpret_cast<sockaddr*>(&addr), &length) == 0;
    ::close(fd);
    return ok ? ntohs(addr.sin_port) : 0;
}

}

void FtpServerProcess::stop()
{
    // Both servers end when their input ends; that also happens should the test crash.
    m_process.closeWriteChannel();
    if (m_process.state() != QProcess::NotRunning && !m_process.waitForFinished(3000))
        m_process.kill(), m_process.waitForFinished(3000);
}

bool FtpServerProcess::failed(const QString& error)
{
    m_error = error + ": " + QString::fromLocal8Bit(readTestFile(m_dir.filePath("server.log")));
    stop();
    return false;
}

bool FtpServerProcess::start()
{
    // vsftpd's anonymous user must reach the tree; the root itself must not be writable.
    if (!m_dir.isValid() || !QFile::setPermissions(m_dir.path(), QFile::Permissions(0x7755))
        || !QDir(m_dir.path()).mkpath("root/pub") || !QDir(m_dir.path()).mkpath("empty")
        || !QFile::setPermissions(localPath("/pub"), QFile::Permissions(0x7777)))
        return failed("cannot make the server's folders");
    // Nobody drains a pipe while a test runs: a server that logs into a full one stops serving.
    m_process.setStandardErrorFile(m_dir.filePath("server.log"));
    const QByteArray pem = m_tlsCertificate.toLocal8Bit();
    if (m_kind == Pyftpdlib) {
        m_process.start(VETREL_TEST_PYTHON, QStringList{VETREL_TEST_PYFTPD_SCRIPT, localPath(""), user(), password()}
                                                + (pem.isEmpty() ? QStringList() : QStringList{m_tlsCertificate}));
        // Waiting stops at the time limit or when the server ends.
        while (!m_process.canReadLine() && m_process.waitForReadyRead(StartLimitMs)) {}
        m_port = static_cast<unsigned short>(m_process.readLine().trimmed().toUInt());
        return m_port != 0 || failed("pyftpdlib reported no port");
    }
    // vsftpd refuses to run its session processes unless it starts as root.
    if (::geteuid() != 0)
        return failed("vsftpd needs to be started as root");
    for (int attempt = 0; attempt < 3; ++attempt) {
        m_port = probeLoopback(0);
        // Anonymous sessions need an account whose home folder exists: "ftp"
        // comes only with the vsftpd package, "nobody" has none, "daemon" is everywhere.
        const QByteArray config
            = "listen=YES\nlisten_ipv6=NO\nlisten_address=127.0.0.1\nlisten_port=" + QByteArray::number(m_port)
              + "\nbackground=NO\nanonymous_enable=YES\nno_anon_password=YES\nanon_root=" + localPath("").toLocal8Bit()
              + "\nwrite_enable=YES\nanon_upload_enable=YES\nanon_mkdir_write_enable=YES\nanon_other_write_enable=YES\n"
                "anon_umask=022\nlocal_enable=NO\nsecure_chroot_dir=" + m_dir.filePath("empty").toLocal8Bit()
              + "\nseccomp_sandbox=NO\nisolate=NO\nisolate_network=NO\nconnect_from_port_20=NO\npasv_enable=YES\n"
                "port_enable=YES\npasv_address=127.0.0.1\nxferlog_enable=NO\nuse_localtime=NO\nhide_ids=NO\n"
                "max_per_ip=0\nmax_clients=0\nftp_username=daemon\n"
              + (pem.isEmpty() ? QByteArray()
                               : QByteArray("ssl_enable=YES\nallow_anon_ssl=YES\nforce_anon_logins_ssl=YES\n"
                                            "force_anon_data_ssl=YES\nrsa_cert_file=" + pem
                                            + "\nrsa_private_key_file=" + pem + "\n"));
        const QString configPath = m_dir.filePath("vsftpd.conf");
        if (!writeTestFile(configPath, config))
            return failed("cannot write the vsftpd configuration");
        // A shell stands guard: when its input ends it stops vsftpd by its process id.
        m_process.start("/bin/sh", {"-c", "\"$0\" \"$1\" & server=$!; cat >/dev/null; kill $server; wait $server",
                                    VETREL_TEST_VSFTPD, configPath});
        QElapsedTimer timer;
        timer.start();
        while (timer.elapsed() < StartLimitMs && m_process.state() != QProcess::NotRunning) {
            if (probeLoopback(m_port))
                return true;
            QThread::msleep(20);
        }
        failed("vsftpd did not listen");
    }
    return false;
}
