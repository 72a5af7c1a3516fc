#ifndef VETREL_TESTS_FTPTESTCLIENT_H
#define VETREL_TESTS_FTPTESTCLIENT_H

#include "ftpserverprocess.h"

#include <vetrel/FtpClient/FTPClient.h>

#include <QStringList>

#include <functional>

/// Remembers what the client tells its observers.
class RecordingObserver : public nsFTP::CFTPClient::CNotification
{
public:
    void OnInternalError(const nsFTP::tstring& message, const nsFTP::tstring&, unsigned int) override { errors << QString::fromStdString(message); }
    void OnSendCommand(const nsFTP::CCommand& command, const nsFTP::CArg&) override { events << QString::fromStdString(command.AsString()); }
    void OnResponse(const nsFTP::CFTPClient::CReply& reply) override
    {
        lastReply = QString::fromStdString(reply.Value());
        events << QString::fromStdString(reply.Code().Value());
    }
    void OnBytesReceived(const std::vector<char>&, long count) override { progress(count); }
    void OnBytesSent(const std::vector<char>&, long count) override { progress(count); }

    QStringList errors;
    QStringList events; ///< command words and reply codes in the order they came
    QString lastReply;
    long bytes = 0;
    std::function<void(long)> onProgress; ///< called with the bytes moved so far

private:
    void progress(long count)
    {
        bytes += count;
        if (onProgress)
            onProgress(bytes);
    }
};

inline nsFTP::CLogonInfo logonInfo(const FtpServerProcess& server, const QString& host = "127.0.0.1")
{
    return nsFTP::CLogonInfo(host.toStdString(), server.port(), server.user().toStdString(),
                             server.password().toStdString());
}

#endif
