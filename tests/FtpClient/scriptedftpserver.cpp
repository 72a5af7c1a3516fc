#include "scriptedftpserver.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>

namespace
{

// Long enough for any client step on a busy machine, short enough that a broken test ends.
const int WaitLimitMs = 15000;

int listenOnLoopback(unsigned short& port)
{
    const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof addr;
    if (fd < 0 || ::bind(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0 || ::listen(fd, 4) != 0
        || ::getsockname(fd, reinterpret_cast<sockaddr*>(&addr), &length) != 0) {
        if (fd >= 0)
            ::close(fd);
        return -1;
    }
    port = ntohs(addr.sin_port);
    return fd;
}

bool waitReadable(int fd)
{
    pollfd pfd{fd, POLLIN, 0};
    int result = 0;
    do {
        result = ::poll(&pfd, 1, WaitLimitMs);
    } while (result < 0 && errno == EINTR);
    return result > 0;
}

int acceptOne(int listenFd)
{
    return waitReadable(listenFd) ? ::accept(listenFd, nullptr, nullptr) : -1;
}

bool sendAll(int fd, const std::string& bytes)
{
    size_t sent = 0;
    while (sent < bytes.size()) {
        const ssize_t n = ::send(fd, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        sent += static_cast<size_t>(n);
    }
    return true;
}

}

ScriptedFtpServer::ScriptedFtpServer()
{
    m_listenFd = listenOnLoopback(m_port);
}

ScriptedFtpServer::~ScriptedFtpServer()
{
    waitFinished();
    closeSocket(m_listenFd);
}

ScriptedFtpServer& ScriptedFtpServer::send(const std::string& bytes)
{
    m_steps.push_back([this, bytes] {
        if (!sendAll(m_controlFd, bytes))
            fail("could not send \"" + bytes + "\"");
        return true;
    });
    return *this;
}

ScriptedFtpServer& ScriptedFtpServer::expect()
{
    m_steps.push_back([this] {
        std::string line;
        if (!readLine(line))
            return false;
        std::lock_guard<std::mutex> lock(m_mutex);
        m_commands.push_back(line);
        return true;
    });
    return *this;
}

ScriptedFtpServer& ScriptedFtpServer::pause(int milliseconds)
{
    m_steps.push_back([milliseconds] {
        std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
        return true;
    });
    return *this;
}

ScriptedFtpServer& ScriptedFtpServer::drop()
{
    m_steps.push_back([this] {
        closeSocket(m_controlFd);
        return true;
    });
    return *this;
}

ScriptedFtpServer& ScriptedFtpServer::passive(const std::string& advertisedHost)
{
    m_steps.push_back([this, advertisedHost] {
        unsigned short dataPort = 0;
        m_dataListenFd = listenOnLoopback(dataPort);
        if (m_dataListenFd < 0) {
            fail("no data listener");
            return false;
        }
        const std::string line = "227 Entering Passive Mode (" + advertisedHost + "," + std::to_string(dataPort >> 8)
                                 + "," + std::to_string(dataPort & 0xFF) + ").\r\n";
        return sendAll(m_controlFd, line);
    });
    return *this;
}

ScriptedFtpServer& ScriptedFtpServer::sendData(const std::string& bytes)
{
    m_steps.push_back([this, bytes] {
        if (!ensureDataConnection())
            return false;
        // The client may close its end on purpose (an abort); the script goes on.
        sendAll(m_dataFd, bytes);
        return true;
    });
    return *this;
}

ScriptedFtpServer& ScriptedFtpServer::receiveData()
{
    m_steps.push_back([this] {
        if (!ensureDataConnection())
            return false;
        char buffer[65536];
        for (;;) {
            if (!waitReadable(m_dataFd)) {
                fail("the data connection stayed open");
                return false;
            }
            const ssize_t n = ::recv(m_dataFd, buffer, sizeof buffer, 0);
            if (n <= 0)
                return true;
            std::lock_guard<std::mutex> lock(m_mutex);
            m_data.append(buffer, static_cast<size_t>(n));
        }
    });
    return *this;
}

ScriptedFtpServer& ScriptedFtpServer::closeData()
{
    m_steps.push_back([this] {
        closeSocket(m_dataFd);
        closeSocket(m_dataListenFd);
        return true;
    });
    return *this;
}

void ScriptedFtpServer::start()
{
    m_thread = std::thread(&ScriptedFtpServer::run, this);
}

void ScriptedFtpServer::waitFinished()
{
    if (m_thread.joinable())
        m_thread.join();
}

std::vector<std::string> ScriptedFtpServer::commands() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_commands;
}

std::string ScriptedFtpServer::receivedData() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_data;
}

std::string ScriptedFtpServer::failure() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_failure;
}

void ScriptedFtpServer::run()
{
    m_controlFd = acceptOne(m_listenFd);
    if (m_controlFd < 0) {
        fail("no client connected");
        return;
    }
    for (const Step& step : m_steps) {
        if (!step())
            break;
    }
    closeSocket(m_dataFd);
    closeSocket(m_dataListenFd);
    closeSocket(m_controlFd);
}

bool ScriptedFtpServer::readLine(std::string& line)
{
    for (;;) {
        const size_t end = m_pending.find('\n');
        if (end != std::string::npos) {
            line = m_pending.substr(0, end);
            if (!line.empty() && line.back() == '\r')
                line.pop_back();
            m_pending.erase(0, end + 1);
            return true;
        }
        char buffer[4096];
        const ssize_t n = m_controlFd >= 0 && waitReadable(m_controlFd) ? ::recv(m_controlFd, buffer, sizeof buffer, 0) : -1;
        if (n <= 0) {
            fail(n == 0 ? "the client closed the connection" : "no command arrived");
            return false;
        }
        m_pending.append(buffer, static_cast<size_t>(n));
    }
}

bool ScriptedFtpServer::ensureDataConnection()
{
    if (m_dataFd >= 0)
        return true;
    if (m_dataListenFd >= 0) {
        m_dataFd = acceptOne(m_dataListenFd);
    } else {
        // Active mode: connect where the client's last PORT pointed, loopback only.
        unsigned h1, h2, h3, h4, p1, p2;
        const std::vector<std::string> lines = commands();
        for (auto it = lines.rbegin(); it != lines.rend(); ++it) {
            if (std::sscanf(it->c_str(), "PORT %u,%u,%u,%u,%u,%u", &h1, &h2, &h3, &h4, &p1, &p2) != 6)
                continue;
            if (h1 != 127 || h2 != 0 || h3 != 0 || h4 != 1)
                break;
            sockaddr_in addr{};
            addr.sin_family = AF_INET;
            addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
            addr.sin_port = htons(static_cast<unsigned short>(p1 * 256 + p2));
            m_dataFd = ::socket(AF_INET, SOCK_STREAM, 0);
            if (::connect(m_dataFd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0)
                closeSocket(m_dataFd);
            break;
        }
    }
    if (m_dataFd < 0)
        fail("no data connection");
    return m_dataFd >= 0;
}

void ScriptedFtpServer::fail(const std::string& what)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_failure.empty())
        m_failure = what;
}

void ScriptedFtpServer::closeSocket(int& fd)
{
    if (fd >= 0)
        ::close(fd);
    fd = -1;
}
