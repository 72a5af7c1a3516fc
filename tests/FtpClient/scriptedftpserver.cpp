#include "scriptedftpserver.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>

namespace
{

// Long enough for any client step on a busy machine, short enough that a broken test ends.
const int WaitLimitMs = 15000;

sockaddr_in loopback(unsigned short port)
{
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    addr.sin_port = htons(port);
    return addr;
}

int listenOnLoopback(unsigned short& port)
{
    const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in addr = loopback(0);
    socklen_t length = sizeof addr;
    if (fd < 0 || ::bind(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0 || ::listen(fd, 4) != 0
        || ::getsockname(fd, reinterpret_cast<sockaddr*>(&addr), &length) != 0) {
        ::close(fd);
        return -1;
    }
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

bool sendAll(int fd, const std::string& bytes)
{
    for (size_t sent = 0; sent < bytes.size();) {
        const ssize_t n = ::send(fd, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (n <= 0 && !(n < 0 && errno == EINTR))
            return false;
        sent += static_cast<size_t>(std::max<ssize_t>(n, 0));
    }
    return true;
}

void closeSocket(int& fd)
{
    if (fd >= 0)
        ::close(fd), fd = -1;
}

}

ScriptedFtpServer::ScriptedFtpServer(QStringList script)
{
    m_listenFd = listenOnLoopback(m_port);
    if (script.isEmpty())
        return;
    if (!script.first().startsWith('!'))
        send("220 ready\r\n");
    for (const QString& item : script) {
        const std::string rest = item.mid(1).toStdString();
        if (item.startsWith("PASV"))
            expect().passive(item.contains('@') ? item.section('@', 1).toStdString() : "127,0,0,1");
        else if (item.startsWith('>'))
            sendData(rest).closeData();
        else if (item.startsWith('+'))
            sendData(rest);
        else if (item == "<")
            receiveData();
        else if (item == "?")
            expect();
        else if (item.startsWith('~'))
            pause(item.mid(1).toInt());
        else if (item.startsWith('!'))
            send(rest + "\r\n");
        else
            expect().send(item.toStdString() + "\r\n");
    }
}

ScriptedFtpServer::~ScriptedFtpServer()
{
    waitFinished();
    closeSocket(m_listenFd);
}

ScriptedFtpServer& ScriptedFtpServer::step(std::function<bool()> step)
{
    m_steps.push_back(std::move(step));
    return *this;
}

ScriptedFtpServer& ScriptedFtpServer::send(const std::string& bytes)
{
    return step([this, bytes] { return sendAll(m_controlFd, bytes) || !fail("could not send \"" + bytes + "\""); });
}

ScriptedFtpServer& ScriptedFtpServer::expect()
{
    return step([this] {
        std::string line;
        if (!readLine(line))
            return false;
        std::lock_guard<std::mutex> lock(m_mutex);
        m_commands << QString::fromStdString(line);
        return true;
    });
}

ScriptedFtpServer& ScriptedFtpServer::pause(int milliseconds)
{
    return step([milliseconds] { return std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds)), true; });
}

ScriptedFtpServer& ScriptedFtpServer::drop()
{
    return step([this] { return closeSocket(m_controlFd), true; });
}

ScriptedFtpServer& ScriptedFtpServer::passive(const std::string& advertisedHost)
{
    return step([this, advertisedHost] {
        unsigned short port = 0;
        m_dataListenFd = listenOnLoopback(port);
        return m_dataListenFd >= 0 ? sendAll(m_controlFd, "227 Entering Passive Mode (" + advertisedHost + "," + std::to_string(port >> 8)
                                        + "," + std::to_string(port & 0xFF) + ").\r\n")
                                   : fail("no data listener");
    });
}

ScriptedFtpServer& ScriptedFtpServer::sendData(const std::string& bytes)
{
    // The client may close its end on purpose (an abort); the script goes on.
    return step([this, bytes] { return ensureDataConnection() && (sendAll(m_dataFd, bytes) || true); });
}

ScriptedFtpServer& ScriptedFtpServer::receiveData()
{
    return step([this] {
        if (!ensureDataConnection())
            return false;
        char buffer[65536];
        for (;;) {
            if (!waitReadable(m_dataFd))
                return fail("the data connection stayed open");
            const ssize_t n = ::recv(m_dataFd, buffer, sizeof buffer, 0);
            if (n <= 0)
                return true;
            std::lock_guard<std::mutex> lock(m_mutex);
            m_data.append(buffer, static_cast<int>(n));
        }
    });
}

ScriptedFtpServer& ScriptedFtpServer::closeData()
{
    return step([this] { return closeSocket(m_dataFd), closeSocket(m_dataListenFd), true; });
}




void ScriptedFtpServer::run()
{
    m_controlFd = waitReadable(m_listenFd) ? ::accept(m_listenFd, nullptr, nullptr) : -1;
    if (m_controlFd < 0)
        fail("no client connected");
    for (size_t i = 0; m_controlFd >= 0 && i < m_steps.size() && m_steps[i](); ++i) {}
    closeSocket(m_dataFd);
    closeSocket(m_dataListenFd);
    closeSocket(m_controlFd);
}

bool ScriptedFtpServer::readLine(std::string& line)
{
    for (size_t end; (end = m_pending.find('\n')) == std::string::npos;) {
        char buffer[4096];
        const ssize_t n = m_controlFd >= 0 && waitReadable(m_controlFd) ? ::recv(m_controlFd, buffer, sizeof buffer, 0) : -1;
        if (n <= 0)
            return fail(n == 0 ? "the client closed the connection" : "no command arrived");
        m_pending.append(buffer, static_cast<size_t>(n));
    }
    const size_t end = m_pending.find('\n');
    line = m_pending.substr(0, end > 0 && m_pending[end - 1] == '\r' ? end - 1 : end);
    m_pending.erase(0, end + 1);
    return true;
}

bool ScriptedFtpServer::ensureDataConnection()
{
    if (m_dataFd < 0 && m_dataListenFd >= 0)
        m_dataFd = waitReadable(m_dataListenFd) ? ::accept(m_dataListenFd, nullptr, nullptr) : -1;
    else if (m_dataFd < 0) {
        // Active mode: connect where the client's last PORT pointed, loopback only.
        unsigned h1, h2, h3, h4, p1, p2;
        const QStringList lines = commands();
        for (auto it = lines.rbegin(); it != lines.rend(); ++it) {
            if (std::sscanf(qPrintable(*it), "PORT %u,%u,%u,%u,%u,%u", &h1, &h2, &h3, &h4, &p1, &p2) != 6)
                continue;
            const sockaddr_in addr = loopback(static_cast<unsigned short>(p1 * 256 + p2));
            m_dataFd = h1 == 127 && h2 == 0 && h3 == 0 && h4 == 1 ? ::socket(AF_INET, SOCK_STREAM, 0) : -1;
            if (m_dataFd >= 0 && ::connect(m_dataFd, reinterpret_cast<const sockaddr*>(&addr), sizeof addr) != 0)
                closeSocket(m_dataFd);
            break;
        }
    }
    return m_dataFd >= 0 || fail("no data connection");
}

bool ScriptedFtpServer::fail(const std::string& what)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_failure.empty())
        m_failure = what;
    return false;
}
