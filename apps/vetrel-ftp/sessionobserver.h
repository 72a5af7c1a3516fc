#ifndef VETREL_FTP_SESSIONOBSERVER_H
#define VETREL_FTP_SESSIONOBSERVER_H

#include <vetrel/FtpClient/FTPClient.h>

#include <QElapsedTimer>
#include <QString>

/**
 * Watches one client for the command-line program: keeps the last error and
 * the last reply for the one-line failure message, echoes the dialogue with
 * --verbose (passwords masked) and draws the progress bar when asked to.
 * Socket failures are said in words ("connection refused"); --verbose adds
 * the raw code.
 */
class SessionObserver : public nsFTP::CFTPClient::CNotification
{
public:
    SessionObserver(nsFTP::CFTPClient &client, bool verbose, bool progress);

    /// The reason of the last failure: the client's own error, else the server's last reply.
    QString failureReason() const;
    /// The last reply of the server, all of its lines.
    QString lastReply() const { return m_lastReply; }
    /// The last 1xx reply: the one that opened the last transfer.
    QString lastPreliminaryReply() const { return m_lastPreliminaryReply; }
    /// True when the last command failed: an error of the client or a 4xx/5xx reply.
    bool failed() const;

    void OnInternalError(
        const nsFTP::tstring &strErrorMsg, const nsFTP::tstring &strFileName, unsigned int iLineNr) override;
    void OnSendCommand(const nsFTP::CCommand &command, const nsFTP::CArg &arguments) override;
    void OnResponse(const nsFTP::CFTPClient::CReply &reply) override;
    void OnBytesReceived(const std::vector<char> &vBuffer, long lReceivedBytes) override;
    void OnBytesSent(const std::vector<char> &vBuffer, long lSentBytes) override;
    void OnPreReceiveFile(
        const nsFTP::tstring &strSourceFile, const nsFTP::tstring &strTargetFile, long lFileSize) override;
    void OnPreSendFile(
        const nsFTP::tstring &strSourceFile, const nsFTP::tstring &strTargetFile, long lFileSize) override;
    void OnPostReceiveFile(
        const nsFTP::tstring &strSourceFile, const nsFTP::tstring &strTargetFile, long lFileSize) override;
    void OnPostSendFile(
        const nsFTP::tstring &strSourceFile, const nsFTP::tstring &strTargetFile, long lFileSize) override;

private:
    void beginTransfer(long total);
    void advance(long bytes);
    void endTransfer();
    void drawProgress();

    const bool m_verbose;
    const bool m_progress;
    QString m_lastError;
    QString m_lastReply;
    QString m_lastPreliminaryReply;
    long m_total = 0;
    long m_done = 0;
    QElapsedTimer m_started;
    qint64 m_lastDrawn = -1;
};

#endif
