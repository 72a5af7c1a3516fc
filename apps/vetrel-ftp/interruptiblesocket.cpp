#include "interruptiblesocket.h"

#include <fcntl.h>
#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <chrono>

using nsSocket::CBlockingSocketException;

volatile std::sig_atomic_t InterruptibleSocket::s_interrupted = 0;

namespace
{

// Short enough that Ctrl+C feels immediate, long enough to cost nothing.
const int SliceMs = 100;

/// Puts a descriptor into non-blocking mode for one scope.
class NonBlocking
{
public:
    explicit NonBlocking(int fd)
        : m_fd(fd)
        , m_flags(::fcntl(fd, F_GETFL))
    {
        ::fcntl(fd, F_SETFL, m_flags | O_NONBLOCK);
    }
    ~NonBlocking()
    {
        const int saved = errno;
        ::fcntl(m_fd, F_SETFL, m_flags);
        errno = saved;
    }
    NonBlocking(const NonBlocking &) = delete;
    NonBlocking &operator=(const NonBlocking &) = delete;

private:
    const int m_fd;
    const int m_flags;
};

}

InterruptibleSocket::InterruptibleSocket(int connectTimeout)
    : m_connectTimeout(connectTimeout)
{ }

void InterruptibleSocket::installInterruptHandler()
{
    struct sigaction action = {};
    action.sa_handler = &InterruptibleSocket::onInterrupt;
    sigemptyset(&action.sa_mask);
    ::sigaction(SIGINT, &action, nullptr);
}

void InterruptibleSocket::onInterrupt(int)
{
    s_interrupted = 1;
}

std::shared_ptr<nsSocket::IBlockingSocket> InterruptibleSocket::CreateInstance() const
{
    return std::make_shared<InterruptibleSocket>(m_connectTimeout);
}

bool InterruptibleSocket::waitFor(short events, int nSecs) const
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(std::max(nSecs, 0));
    pollfd entry { static_cast<int>(static_cast<nsSocket::SOCKET>(*this)), events, 0 };
    for (;;) {
        if (s_interrupted) {
            errno = EINTR;
            throw CBlockingSocketException("Interrupted");
        }
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        const int result
            = ::poll(&entry, 1, static_cast<int>(std::clamp<long long>(left.count(), 0, SliceMs)));
        if (result > 0)
            return true;
        if (result < 0 && errno != EINTR)
            throw CBlockingSocketException("Socket Error");
        if (result == 0 && left.count() <= 0)
            return false;
    }
}

void InterruptibleSocket::Connect(const sockaddr *psa) const
{
    const int fd = static_cast<int>(static_cast<nsSocket::SOCKET>(*this));
    const NonBlocking nonBlocking(fd);
    if (::connect(fd, psa, sizeof(sockaddr_in)) == 0)
        return;
    if (errno != EINPROGRESS)
        throw CBlockingSocketException("Connect");
    if (!waitFor(POLLOUT, m_connectTimeout)) {
        errno = ETIMEDOUT;
        throw CBlockingSocketException("Connect");
    }
    int error = 0;
    socklen_t length = sizeof error;
    if (::getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &length) < 0 || error != 0) {
        if (error != 0)
            errno = error;
        throw CBlockingSocketException("Connect");
    }
}

int InterruptibleSocket::Write(const char *pch, int nLength, int nSecs) const
{
    int sent = 0;
    while (sent < nLength) {
        waitFor(POLLOUT, nSecs);
        // The wait above was the real one; a socket still not writable times out at once.
        sent += Send(pch + sent, nLength - sent, 0);
    }
    return sent;
}

int InterruptibleSocket::Receive(char *pch, int nSize, int nSecs) const
{
    waitFor(POLLIN, nSecs);
    return CBlockingSocket::Receive(pch, nSize, 0);
}

bool InterruptibleSocket::WaitForReadability(int nSecs) const
{
    return waitFor(POLLIN, nSecs);
}
