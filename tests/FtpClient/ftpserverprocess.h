#ifndef VETREL_TESTS_FTPSERVERPROCESS_H
#define VETREL_TESTS_FTPSERVERPROCESS_H

#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

// A real FTP server for the tests: pyftpdlib or vsftpd on 127.0.0.1, with a private configuration over a
// temporary directory, stopped by its process id when the object goes. Both serve a writable "/pub", and
// localPath() names the file behind a remote path, so tests check transfers byte for byte. Given a PEM file
// with a certificate and its key, a server speaks FTP over TLS only.
class FtpServerProcess
{
public:
    enum Kind { Pyftpdlib, Vsftpd };

    explicit FtpServerProcess(Kind kind, const QString& tlsCertificate = QString()) : m_kind(kind), m_tlsCertificate(tlsCertificate) {}
    ~FtpServerProcess() { stop(); }

    /// Starts the server and waits until it accepts connections; false with errorString() otherwise.
    bool start();
    QString errorString() const { return m_error; }
    unsigned short port() const { return m_port; }
    QString user() const { return m_kind == Pyftpdlib ? "trader" : "anonymous"; }
    QString password() const { return m_kind == Pyftpdlib ? "secret" : ""; }
    QString localPath(const QString& remotePath) const { return m_dir.path() + "/root" + remotePath; }

private:
    void stop();
    bool failed(const QString& error);

    const Kind m_kind;
    const QString m_tlsCertificate;
    QTemporaryDir m_dir;
    QProcess m_process;
    unsigned short m_port = 0;
    QString m_error;
};

/// Replaces the file's contents; false when it could not be written whole.
inline bool writeTestFile(const QString& path, const QByteArray& contents)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(contents) == contents.size();
}

/// The file's contents, or "<missing>" so that a comparison fails visibly.
inline QByteArray readTestFile(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<missing>");
}

#endif
