#include "BlockingSocket.h"

#include "FTPAssert.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <poll.h>
#include <sys/select.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <vector>

// The handle checks compare the signed descriptor with the all-ones SOCKET,
// spelled as the client's diagnostics show them; the crossing of signedness
// is intended.
#pragma GCC diagnostic ignored "-Wsign-compare"
#define INVALID_SOCKET (SOCKET)(~0)
// clang-format off
#define ASSERT_SOCKET_OPEN() VETREL_FTP_ASSERT(m_hSocket!=INVALID_SOCKET)
#define ASSERT_SOCKET_UNOPENED() VETREL_FTP_ASSERT(m_hSocket==INVALID_SOCKET)
#define ASSERT_LINE_NOT_EMPTY() VETREL_FTP_ASSERT((pch2)>m_pReadBuf)
#define ASSERT_LINE_ENDS_IN_CR_LF() VETREL_FTP_ASSERT(*(pch2 - 1)=='\r')
// clang-format on

namespace nsSocket
{

namespace
{

    constexpr socklen_t addressLength = sizeof(sockaddr_in);

    enum class WaitFor
    {
        Reading,
        Writing
    };

    int WaitWithPoll(int fd, WaitFor what, std::chrono::steady_clock::time_point deadline)
    {
        pollfd entry { fd, static_cast<short>(what == WaitFor::Reading ? POLLIN : POLLOUT), 0 };
        for (;;) {
            const auto left
                = std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
            const int result = ::poll(&entry, 1, static_cast<int>(std::max<long long>(left.count(), 0)));
            if (result >= 0 || errno != EINTR)
                return result;
        }
    }

    int WaitWithSelect(int fd, WaitFor what, std::chrono::steady_clock::time_point deadline)
    {
        for (;;) {
            fd_set set;
            FD_ZERO(&set);
            FD_SET(fd, &set);
            const auto left = std::max(std::chrono::duration_cast<std::chrono::microseconds>(
                                           deadline - std::chrono::steady_clock::now()),
                std::chrono::microseconds(0));
            timeval timeout { static_cast<time_t>(left.count() / 1000000),
                static_cast<suseconds_t>(left.count() % 1000000) };
            const int result = ::select(fd + 1, what == WaitFor::Reading ? &set : nullptr,
                what == WaitFor::Writing ? &set : nullptr, nullptr, &timeout);
            if (result >= 0 || errno != EINTR)
                return result;
        }
    }

    // Waits until the descriptor is ready or the whole seconds have passed, like
    // select(): >0 ready, 0 timed out, -1 failed. A signal does not cut the wait
    // short, and a negative time-out counts as 0 rather than blocking for ever.
    // Descriptors at or above FD_SETSIZE cannot go into an fd_set, so they are
    // waited for with poll.
    int Wait(int fd, WaitFor what, int nSecs)
    {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(std::max(nSecs, 0));
        return fd < FD_SETSIZE ? WaitWithSelect(fd, what, deadline) : WaitWithPoll(fd, what, deadline);
    }

    template<typename Call>
    auto RetryOnSignal(Call call)
    {
        for (;;) {
            const auto result = call();
            if (result >= 0 || errno != EINTR)
                return result;
        }
    }

}

CBlockingSocketException::CBlockingSocketException(const char *pchMessage)
    : m_nError(static_cast<unsigned int>(errno))
{
    VETREL_FTP_ASSERT(pchMessage != NULL);
    m_strMessage = pchMessage;
}

CBlockingSocketException::~CBlockingSocketException() = default;

bool CBlockingSocketException::GetErrorMessage(char *lpstrError, unsigned int nMaxError, unsigned int *) const
{
    const size_t needed = m_strMessage.size() + (m_nError != 0 ? 18 : 7);
    if (needed > nMaxError)
        return false;
    if (m_nError != 0)
        std::snprintf(lpstrError, nMaxError, "%s error 0x%08x", m_strMessage.c_str(), m_nError);
    else
        std::snprintf(lpstrError, nMaxError, "%s error", m_strMessage.c_str());
    return true;
}

std::string CBlockingSocketException::GetErrorMessage(unsigned int *pnHelpContext) const
{
    char text[512] = {};
    GetErrorMessage(text, sizeof text, pnHelpContext);
    return text;
}

CSockAddr::CSockAddr()
    : CSockAddr(INADDR_ANY, 0)
{ }

CSockAddr::CSockAddr(in_addr_t ulAddr, unsigned short ushPort)
    : sockaddr_in {}
{
    sin_family = AF_INET;
    sin_port = htons(ushPort);
    sin_addr.s_addr = htonl(ulAddr);
}

CSockAddr::CSockAddr(const char *pchIP, unsigned short ushPort)
    : CSockAddr(INADDR_ANY, ushPort)
{
    VETREL_FTP_ASSERT(pchIP != NULL);
    sin_addr.s_addr = inet_addr(pchIP);
}

CSockAddr::CSockAddr(const sockaddr_in &sin)
    : sockaddr_in(sin)
{ }

CSockAddr::CSockAddr(const sockaddr &sa)
    : sockaddr_in {}
{
    std::memcpy(static_cast<sockaddr_in *>(this), &sa, sizeof(sockaddr_in));
}

std::string CSockAddr::DottedDecimal() const
{
    char text[INET_ADDRSTRLEN] = {};
    inet_ntop(AF_INET, &sin_addr, text, sizeof text);
    return text;
}

unsigned short CSockAddr::Port() const
{
    return ntohs(sin_port);
}

IBlockingSocket::~IBlockingSocket() = default;

bool IBlockingSocket::WaitForReadability(int nSecs) const
{
    const SOCKET handle = *this;
    VETREL_FTP_ASSERT(handle != InvalidSocket);
    const int result = Wait(static_cast<int>(handle), WaitFor::Reading, nSecs);
    if (result < 0)
        throw CBlockingSocketException("Socket Error");
    return result > 0;
}

CBlockingSocket::~CBlockingSocket()
{
    Cleanup();
}

std::shared_ptr<IBlockingSocket> CBlockingSocket::CreateInstance() const
{
    return std::make_shared<CBlockingSocket>();
}

void CBlockingSocket::Create(int nType)
{
    ASSERT_SOCKET_UNOPENED();
    const int handle = ::socket(AF_INET, nType, 0);
    if (handle < 0)
        throw CBlockingSocketException("Create");
    m_hSocket = handle;
}

void CBlockingSocket::Connect(const sockaddr *psa) const
{
    ASSERT_SOCKET_OPEN();
    VETREL_FTP_ASSERT(psa != NULL);
    if (::connect(m_hSocket, psa, addressLength) == 0)
        return;
    if (errno != EINTR)
        throw CBlockingSocketException("Connect");
    // An interrupted connect goes on in the background; wait for its outcome.
    pollfd entry { m_hSocket, POLLOUT, 0 };
    if (RetryOnSignal([&] { return ::poll(&entry, 1, -1); }) < 0)
        throw CBlockingSocketException("Connect");
    int error = 0;
    socklen_t length = sizeof error;
    if (::getsockopt(m_hSocket, SOL_SOCKET, SO_ERROR, &error, &length) < 0 || error != 0) {
        if (error != 0)
            errno = error;
        throw CBlockingSocketException("Connect");
    }
}

void CBlockingSocket::Bind(const sockaddr *psa) const
{
    ASSERT_SOCKET_OPEN();
    VETREL_FTP_ASSERT(psa != NULL);
    if (::bind(m_hSocket, psa, addressLength) < 0)
        throw CBlockingSocketException("Bind");
}

void CBlockingSocket::Listen() const
{
    ASSERT_SOCKET_OPEN();
    if (::listen(m_hSocket, 5) < 0)
        throw CBlockingSocketException("Listen");
}

void CBlockingSocket::Cleanup()
{
    if (m_hSocket == -1)
        return;
    ::close(m_hSocket);
    m_hSocket = -1;
}

bool CBlockingSocket::Accept(IBlockingSocket &sConnect, sockaddr *psa) const
{
    ASSERT_SOCKET_OPEN();
    VETREL_FTP_ASSERT(psa != NULL);
    VETREL_FTP_ASSERT(sConnect.operator SOCKET() == INVALID_SOCKET);
    auto *target = dynamic_cast<CBlockingSocket *>(&sConnect);
    VETREL_FTP_ASSERT(target != NULL);
    socklen_t length = addressLength;
    const int handle = ::accept(m_hSocket, psa, &length);
    if (handle >= 0) {
        target->m_hSocket = handle;
        return true;
    }
    if (errno == EINTR)
        return false;
    throw CBlockingSocketException("Accept");
}

void CBlockingSocket::Close()
{
    if (m_hSocket == -1)
        return;
    // Linux releases the descriptor even when close is interrupted, so that
    // case must not keep a handle that may already belong to someone else.
    if (::close(m_hSocket) < 0 && errno != EINTR)
        throw CBlockingSocketException("Close");
    m_hSocket = -1;
}

int CBlockingSocket::Write(const char *pch, int nLength, int nSecs) const
{
    int sent = 0;
    while (sent < nLength)
        sent += Send(pch + sent, nLength - sent, nSecs);
    return sent;
}

int CBlockingSocket::Receive(char *pch, int nSize, int nSecs) const
{
    ASSERT_SOCKET_OPEN();
    VETREL_FTP_ASSERT(pch != NULL);
    if (Wait(m_hSocket, WaitFor::Reading, nSecs) == 0)
        throw CBlockingSocketException("Receive timeout");
    const auto received = RetryOnSignal([&] { return ::recv(m_hSocket, pch, std::max(nSize, 0), 0); });
    if (received < 0)
        throw CBlockingSocketException("Receive");
    return static_cast<int>(received);
}

int CBlockingSocket::Send(const char *pch, int nSize, int nSecs) const
{
    ASSERT_SOCKET_OPEN();
    VETREL_FTP_ASSERT(pch != NULL);
    if (Wait(m_hSocket, WaitFor::Writing, nSecs) == 0)
        throw CBlockingSocketException("Send timeout");
    // A peer that has gone must give an exception here, not SIGPIPE to the host.
    const auto sent = RetryOnSignal([&] { return ::send(m_hSocket, pch, std::max(nSize, 0), MSG_NOSIGNAL); });
    if (sent < 0)
        throw CBlockingSocketException("Send");
    return static_cast<int>(sent);
}

int CBlockingSocket::ReceiveDatagram(char *pch, int nSize, sockaddr *psa, int nSecs) const
{
    ASSERT_SOCKET_OPEN();
    VETREL_FTP_ASSERT(pch != NULL);
    VETREL_FTP_ASSERT(psa != NULL);
    if (Wait(m_hSocket, WaitFor::Reading, nSecs) == 0)
        throw CBlockingSocketException("Receive timeout");
    socklen_t length = addressLength;
    const auto received
        = RetryOnSignal([&] { return ::recvfrom(m_hSocket, pch, std::max(nSize, 0), 0, psa, &length); });
    if (received < 0)
        throw CBlockingSocketException("ReceiveDatagram");
    return static_cast<int>(received);
}

int CBlockingSocket::SendDatagram(const char *pch, int nSize, const sockaddr *psa, int nSecs) const
{
    ASSERT_SOCKET_OPEN();
    VETREL_FTP_ASSERT(pch != NULL);
    VETREL_FTP_ASSERT(psa != NULL);
    if (Wait(m_hSocket, WaitFor::Writing, nSecs) == 0)
        throw CBlockingSocketException("Send timeout");
    const auto sent = RetryOnSignal(
        [&] { return ::sendto(m_hSocket, pch, std::max(nSize, 0), MSG_NOSIGNAL, psa, addressLength); });
    if (sent < 0)
        throw CBlockingSocketException("SendDatagram");
    return static_cast<int>(sent);
}

void CBlockingSocket::GetPeerAddr(sockaddr *psa) const
{
    ASSERT_SOCKET_OPEN();
    VETREL_FTP_ASSERT(psa != NULL);
    socklen_t length = addressLength;
    if (::getpeername(m_hSocket, psa, &length) < 0)
        throw CBlockingSocketException("GetPeerName");
}

void CBlockingSocket::GetSockAddr(sockaddr *psa) const
{
    ASSERT_SOCKET_OPEN();
    VETREL_FTP_ASSERT(psa != NULL);
    socklen_t length = addressLength;
    if (::getsockname(m_hSocket, psa, &length) < 0)
        throw CBlockingSocketException("GetSockName");
}

CBlockingSocket::operator SOCKET() const
{
    return static_cast<SOCKET>(m_hSocket);
}

bool CBlockingSocket::CheckReadability() const
{
    ASSERT_SOCKET_OPEN();
    const int result = Wait(m_hSocket, WaitFor::Reading, 0);
    if (result < 0)
        throw CBlockingSocketException("Socket Error");
    return result == 1;
}

CSockAddr CBlockingSocket::GetHostByName(const char *pchName, unsigned short ushPort)
{
    VETREL_FTP_ASSERT(pchName != NULL);
    // The reentrant form: the host may resolve names on other threads.
    hostent entry {};
    hostent *found = nullptr;
    int error = 0;
    std::vector<char> work(1024);
    while (::gethostbyname_r(pchName, &entry, work.data(), work.size(), &found, &error) == ERANGE)
        work.resize(work.size() * 2);
    if (!found || found->h_addrtype != AF_INET || !found->h_addr_list[0])
        throw CBlockingSocketException("GetHostByName");
    CSockAddr address(INADDR_ANY, ushPort);
    std::memcpy(&address.sin_addr, found->h_addr_list[0], sizeof address.sin_addr);
    return address;
}

std::string CBlockingSocket::GetHostByAddr(const sockaddr *psa)
{
    VETREL_FTP_ASSERT(psa != NULL);
    const auto *ipv4 = reinterpret_cast<const sockaddr_in *>(psa);
    hostent entry {};
    hostent *found = nullptr;
    int error = 0;
    std::vector<char> work(1024);
    while (::gethostbyaddr_r(&ipv4->sin_addr, sizeof ipv4->sin_addr, AF_INET, &entry, work.data(),
               work.size(), &found, &error)
        == ERANGE)
        work.resize(work.size() * 2);
    if (!found)
        throw CBlockingSocketException("GetHostByAddr");
    return found->h_name;
}

CHttpBlockingSocket::CHttpBlockingSocket()
    : m_pReadBuf(new char[nSizeRecv])
{ }

CHttpBlockingSocket::~CHttpBlockingSocket()
{
    delete[] m_pReadBuf;
}

std::shared_ptr<IBlockingSocket> CHttpBlockingSocket::CreateInstance() const
{
    return std::make_shared<CHttpBlockingSocket>();
}

int CHttpBlockingSocket::ReadHttpHeaderLine(char *pch, int nSize, int nSecs)
{
    VETREL_FTP_ASSERT(pch != NULL);
    VETREL_FTP_ASSERT(nSize > 0);
    char *pch2 = static_cast<char *>(std::memchr(m_pReadBuf, '\n', m_nReadBuf));
    while (!pch2) {
        const int received = Receive(m_pReadBuf + m_nReadBuf, nSizeRecv - m_nReadBuf, nSecs);
        if (received < 1)
            throw CBlockingSocketException("ReadHeaderLine");
        pch2 = static_cast<char *>(std::memchr(m_pReadBuf + m_nReadBuf, '\n', received));
        m_nReadBuf += received;
    }
    ASSERT_LINE_NOT_EMPTY();
    ASSERT_LINE_ENDS_IN_CR_LF();
    const int lineLength = static_cast<int>(pch2 - m_pReadBuf) + 1;
    const int copied = std::min(lineLength, nSize - 1);
    std::memcpy(pch, m_pReadBuf, copied);
    pch[copied] = '\0';
    // Bytes of an over-long line that did not fit are dropped with it.
    m_nReadBuf -= lineLength;
    std::memmove(m_pReadBuf, pch2 + 1, m_nReadBuf);
    return copied;
}

int CHttpBlockingSocket::ReadHttpResponse(char *pch, int nSize, int nSecs)
{
    VETREL_FTP_ASSERT(pch != NULL);
    int total = std::min(m_nReadBuf, std::max(nSize, 0));
    std::memcpy(pch, m_pReadBuf, total);
    m_nReadBuf = 0;
    while (total < nSize) {
        const int received = Receive(pch + total, std::min<int>(nSizeRecv, nSize - total), nSecs);
        if (received < 1)
            break;
        total += received;
    }
    return total;
}

std::shared_ptr<IBlockingSocket> CreateDefaultBlockingSocketInstance()
{
    return std::make_shared<CBlockingSocket>();
}

}
