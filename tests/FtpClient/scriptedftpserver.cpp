#include "scriptedftpserver.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>

namespace
{

// Long enough for any client step on a busy machine, short enough that a broken test ends.
const int WaitLimitMs = 15000;

void closeSocket(int& fd)
{
    if (fd >= 0)
        ::close(fd);
    fd = -1;
}

int listenOnLoopback(unsigned short& port)
{
    int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in addr{AF_INET, 0, {htonl(INADDR_LOOPBACK)}, {}};
    socklen_t length = sizeof addr;
    if (fd < 0 || ::bind(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0 || ::listen(fd, 4) != 0
        || ::getsockname(fd, reinterpret_cast<sockaddr*>(&addr), &length) != 0)
        closeSocket(fd);
    port = ntohs(addr.sin_port);
    return fd;
}

bool waitReadable(int fd)
{
    pollfd pfd{fd, POLLIN, 0};
    int result;
    while ((result = ::poll(&pfd, 1, WaitLimitMs)) < 0 && errno == EINTR) {}
    return result > 0;
}

bool sendAll(int fd, const QByteArray& bytes)
{
    ssize_t n = 0;
    for (int sent = 0; sent < bytes.size(); sent += static_cast<int>(std::max<ssize_t>(n, 0))) {
        if ((n = ::send(fd, bytes.data() + sent, static_cast<size_t>(bytes.size() - sent), MSG_NOSIGNAL)) <= 0 && errno != EINTR)
            return false;
    }
    return true;
}

}

ScriptedFtpServer::ScriptedFtpServer(const QStringList& script)
    : m_script(script.value(0).startsWith('!') || script.value(0).startsWith('=') ? script : QStringList{"!220 ready"} + script)
    , m_listenFd(listenOnLoopback(m_port))
{
}

ScriptedFtpServer::~ScriptedFtpServer()
{
    waitFinished();
    closeSocket(m_listenFd);
}

void ScriptedFtpServer::run()
{
    m_controlFd = waitReadable(m_listenFd) ? ::accept(m_listenFd, nullptr, nullptr) : -1;
    if (m_controlFd < 0)
        fail("no client connected");
    for (int i = 0; m_controlFd >= 0 && i < m_script.size() && play(m_script[i]); ++i) {}
    closeSocket(m_dataFd);
    closeSocket(m_dataListenFd);
    closeSocket(m_controlFd);
}

bool ScriptedFtpServer::play(const QString& item)
{
    const QByteArray rest = item.mid(1).toLatin1();
    if (item.isEmpty())
        return true;
    if (item == "drop")
        return closeSocket(m_controlFd), true;
    if (item == "?")
        return expect();
    if (item.startsWith('~'))
        return std::this_thread::sleep_for(std::chrono::milliseconds(item.mid(1).toInt())), true;
    if (item.startsWith('!') || item.startsWith('='))
        return sendAll(m_controlFd, item.startsWith('!') ? rest + "\r\n" : rest) || fail("could not send " + rest.left(40).toStdString());
    if (item.startsWith("PASV")) {
        unsigned short port = 0;
        const QByteArray host = item.contains('@') ? item.section('@', 1).toLatin1() : "127,0,0,1";
        return expect() && ((m_dataListenFd = listenOnLoopback(port)) >= 0 || fail("no data listener"))
               && sendAll(m_controlFd, "227 Entering Passive Mode (" + host + "," + QByteArray::number(port >> 8) + ","
                                           + QByteArray::number(port & 0xFF) + ").\r\n");
    }
    if (item.startsWith('>') || item.startsWith('+')) {
        if (!ensureDataConnection())
            return false;
        // The client may close its end on purpose (an abort); the script goes on.
        sendAll(m_dataFd, rest);
        if (item.startsWith('>'))
            closeSocket(m_dataFd), closeSocket(m_dataListenFd);
        return true;
    }
    if (item == "<") {
        if (!ensureDataConnection())
            return false;
        ssize_t n = 1;
        while (waitReadable(m_dataFd) && (n = ::recv(m_dataFd, m_buffer, sizeof m_buffer, 0)) > 0)
            m_data.append(m_buffer, static_cast<int>(n));
        const bool ended = n <= 0;
        closeSocket(m_dataFd), closeSocket(m_dataListenFd);
        return ended || fail("the data connection stayed open");
    }
    return expect() && (sendAll(m_controlFd, item.toLatin1() + "\r\n") || fail("could not send " + item.toStdString()));
}

bool ScriptedFtpServer::expect()
{
    for (ssize_t n; !m_pending.contains('\n'); m_pending.append(m_buffer, static_cast<int>(n))) {
        if ((n = waitReadable(m_controlFd) ? ::recv(m_controlFd, m_buffer, sizeof m_buffer, 0) : -1) <= 0)
            return fail(n == 0 ? "the client closed the connection" : "no command arrived");
    }
    QByteArray line = m_pending.left(m_pending.indexOf('\n'));
    m_pending.remove(0, line.size() + 1);
    if (line.endsWith('\r'))
        line.chop(1);
    m_commands << QString::fromLatin1(line);
    return true;
}

bool ScriptedFtpServer::ensureDataConnection()
{
    if (m_dataFd < 0 && m_dataListenFd >= 0 && waitReadable(m_dataListenFd))
        m_dataFd = ::accept(m_dataListenFd, nullptr, nullptr);
    return m_dataFd >= 0 || fail("no data connection");
}

bool ScriptedFtpServer::fail(const std::string& what)
{
    if (m_failure.empty())
        m_failure = what;
    return false;
}
