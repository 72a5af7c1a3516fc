#include "sessionobserver.h"

#include <QRegularExpression>

#include <algorithm>
#include <cerrno>
#include <cstdio>

using nsFTP::tstring;

namespace
{

const int BarWidth = 30;
const qint64 RedrawIntervalMs = 100;

/// A socket failure ("Connect error 0x0000006f") in words; the library's own messages stay as they are.
QString inWords(const QString &message)
{
    static const QRegularExpression socketError(QStringLiteral("^(.+) error(?: 0x([0-9a-f]{8}))?$"));
    const QRegularExpressionMatch match = socketError.match(message);
    if (!match.hasMatch())
        return message;
    const QString call = match.captured(1);
    const int error = static_cast<int>(match.captured(2).toUInt(nullptr, 16));
    if (call == QLatin1String("Interrupted"))
        return QStringLiteral("interrupted");
    if (call == QLatin1String("GetHostByName"))
        return QStringLiteral("host not found");
    if (call.endsWith(QLatin1String("timeout")) || error == ETIMEDOUT)
        return QStringLiteral("timed out");
    if (error == ECONNREFUSED)
        return QStringLiteral("connection refused");
    if (error == 0)
        return message;
    const QString text = qt_error_string(error);
    return text.left(1).toLower() + text.mid(1);
}

QString mebibytes(long bytes)
{
    return QString::number(bytes / (1024.0 * 1024.0), 'f', 1) + QStringLiteral(" MiB");
}

}

SessionObserver::SessionObserver(nsFTP::CFTPClient &client, bool verbose, bool progress)
    : m_verbose(verbose)
    , m_progress(progress)
{
    client.AttachObserver(this);
}

QString SessionObserver::failureReason() const
{
    if (!m_lastError.isEmpty())
        return m_lastError;
    if (!m_lastReply.isEmpty())
        return m_lastReply.section(QLatin1Char('\n'), -1).trimmed();
    return QStringLiteral("no reply from the server");
}

bool SessionObserver::failed() const
{
    return !m_lastError.isEmpty() || m_lastReply.startsWith(QLatin1Char('4'))
        || m_lastReply.startsWith(QLatin1Char('5'));
}

void SessionObserver::OnInternalError(const tstring &strErrorMsg, const tstring &, unsigned int)
{
    const QString raw = QString::fromStdString(strErrorMsg);
    const QString words = inWords(raw);
    m_lastError = m_verbose && words != raw ? QStringLiteral("%1 (%2)").arg(words, raw) : words;
    if (m_verbose)
        std::fprintf(stderr, "!! %s\n", strErrorMsg.c_str());
}

void SessionObserver::OnSendCommand(const nsFTP::CCommand &command, const nsFTP::CArg &arguments)
{
    // A new command starts a new story: an older error no longer explains a failure.
    m_lastError.clear();
    if (!m_verbose)
        return;
    const bool secret = command == nsFTP::CCommand::cmdPASS || command == nsFTP::CCommand::cmdACCT;
    std::fprintf(stderr, "-> %s\n",
        secret ? (command.AsString() + " ****").c_str() : command.AsString(arguments).c_str());
}

void SessionObserver::OnResponse(const nsFTP::CFTPClient::CReply &reply)
{
    m_lastReply = QString::fromStdString(reply.Value());
    if (reply.Code().IsPositivePreliminaryReply())
        m_lastPreliminaryReply = m_lastReply;
    if (!m_verbose)
        return;
    for (const QString &line : m_lastReply.split(QStringLiteral("\r\n")))
        std::fprintf(stderr, "<- %s\n", line.toLocal8Bit().constData());
}

void SessionObserver::OnBytesReceived(const std::vector<char> &, long lReceivedBytes)
{
    advance(lReceivedBytes);
}

void SessionObserver::OnBytesSent(const std::vector<char> &, long lSentBytes)
{
    advance(lSentBytes);
}

void SessionObserver::OnPreReceiveFile(const tstring &, const tstring &, long lFileSize)
{
    beginTransfer(lFileSize);
}

void SessionObserver::OnPreSendFile(const tstring &, const tstring &, long lFileSize)
{
    beginTransfer(lFileSize);
}

void SessionObserver::OnPostReceiveFile(const tstring &, const tstring &, long)
{
    endTransfer();
}

void SessionObserver::OnPostSendFile(const tstring &, const tstring &, long)
{
    endTransfer();
}

void SessionObserver::beginTransfer(long total)
{
    m_total = total;
    m_done = 0;
    m_lastDrawn = -1;
    m_started.start();
}

void SessionObserver::advance(long bytes)
{
    m_done += bytes;
    if (m_progress && (m_lastDrawn < 0 || m_started.elapsed() - m_lastDrawn >= RedrawIntervalMs))
        drawProgress();
}

void SessionObserver::endTransfer()
{
    if (!m_progress)
        return;
    drawProgress();
    std::fputc('\n', stderr);
}

void SessionObserver::drawProgress()
{
    m_lastDrawn = m_started.elapsed();
    const double seconds = std::max<qint64>(m_lastDrawn, 1) / 1000.0;
    const QString rate = mebibytes(static_cast<long>(m_done / seconds)) + QStringLiteral("/s");
    QString line;
    if (m_total > 0) {
        const double fraction = std::min(1.0, static_cast<double>(m_done) / m_total);
        const int filled = static_cast<int>(fraction * BarWidth);
        line = QStringLiteral("\r[%1%2] %3%  %4 of %5  %6")
                   .arg(QString(filled, QLatin1Char('#')), QString(BarWidth - filled, QLatin1Char('.')))
                   .arg(static_cast<int>(fraction * 100), 3)
                   .arg(mebibytes(m_done), mebibytes(m_total), rate);
    } else {
        line = QStringLiteral("\r%1  %2").arg(mebibytes(m_done), rate);
    }
    std::fputs(line.toLocal8Bit().constData(), stderr);
    std::fflush(stderr);
}
