#include "assertioncatcher.h"

#include <vetrel/FtpClient/BlockingSocket.h>

#include <QtTest>

#include <arpa/inet.h>
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <thread>
#include <vector>

using namespace nsSocket;
using Clock = std::chrono::steady_clock;

namespace
{

// The far end of a connection, written with plain POSIX calls so that it
// does not depend on the class under test.
class Peer
{
public:
    Peer()
    {
        m_listener = ::socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in address = loopback(0);
        ::bind(m_listener, reinterpret_cast<sockaddr *>(&address), sizeof address);
        ::listen(m_listener, 5);
        socklen_t length = sizeof address;
        ::getsockname(m_listener, reinterpret_cast<sockaddr *>(&address), &length);
        m_port = ntohs(address.sin_port);
    }
    ~Peer()
    {
        if (m_thread.joinable())
            m_thread.join();
        closeConnection(), ::close(m_listener);
    }

    static sockaddr_in loopback(unsigned short port)
    {
        sockaddr_in address {};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        return address;
    }
    sockaddr_in address() const { return loopback(m_port); }
    // The accepted connection, once serve()'s action has been joined.
    int connection() const { return m_connection; }

    // Accepts on a thread of its own and then runs what the test wants the peer to do.
    template<typename Action>
    void serve(Action action)
    {
        m_thread = std::thread([this, action] {
            m_connection = ::accept(m_listener, nullptr, nullptr);
            action(m_connection);
        });
    }
    void join() { m_thread.join(); }
    void closeConnection()
    {
        if (m_connection >= 0)
            ::close(m_connection), m_connection = -1;
    }

private:
    int m_listener = -1;
    int m_connection = -1;
    unsigned short m_port = 0;
    std::thread m_thread;
};

void connectTo(CBlockingSocket &socket, const Peer &peer)
{
    socket.Create(SOCK_STREAM);
    const CSockAddr address(peer.address());
    socket.Connect(address);
}

// A peer that sends the reply and keeps the connection open, and the socket connected to it.
void connectToReply(CBlockingSocket &socket, Peer &peer, const std::string &reply)
{
    peer.serve([reply](int connection) { ::send(connection, reply.data(), reply.size(), 0); });
    connectTo(socket, peer);
    peer.join();
}

// The message of the exception the call throws; empty when it throws none.
template<typename Call>
std::string socketError(Call call)
{
    try {
        call();
    } catch (const CBlockingSocketException &e) {
        return e.Message();
    }
    return std::string();
}

bool waitReadable(int fd)
{
    pollfd entry { fd, POLLIN, 0 };
    return ::poll(&entry, 1, 5000) == 1;
}

double secondsSince(Clock::time_point start)
{
    return std::chrono::duration<double>(Clock::now() - start).count();
}

void ignoreSignal(int) { }

// Sends SIGUSR1 (installed without SA_RESTART) to a thread again and again
// until stopped, so that whatever it blocks in sees EINTR.
class SignalStorm
{
public:
    explicit SignalStorm(pthread_t target)
    {
        struct sigaction action {};
        action.sa_handler = &ignoreSignal;
        sigemptyset(&action.sa_mask);
        sigaction(SIGUSR1, &action, &m_previous);
        m_thread = std::thread([this, target] {
            while (!m_stop) {
                pthread_kill(target, SIGUSR1);
                std::this_thread::sleep_for(std::chrono::milliseconds(20));
            }
        });
    }
    ~SignalStorm()
    {
        m_stop = true;
        m_thread.join();
        sigaction(SIGUSR1, &m_previous, nullptr);
    }

private:
    std::atomic<bool> m_stop { false };
    std::thread m_thread;
    struct sigaction m_previous {};
};

}

class TestBlockingSocket : public QObject
{
    Q_OBJECT

private slots:
    void receiveWaitsAndEndOfStream_data()
    {
        QTest::addColumn<bool>("highDescriptor");
        QTest::newRow("low descriptor") << false;
        QTest::newRow("descriptor above FD_SETSIZE") << true;
    }
    void receiveWaitsAndEndOfStream()
    {
        QFETCH(bool, highDescriptor);
        rlimit limit {};
        getrlimit(RLIMIT_NOFILE, &limit);
        std::vector<int> fillers;
        if (highDescriptor) {
            rlimit raised { std::max<rlim_t>(limit.rlim_cur, FD_SETSIZE + 200), limit.rlim_max };
            if (raised.rlim_cur > raised.rlim_max)
                QSKIP("the hard limit on open files is below FD_SETSIZE");
            QCOMPARE(setrlimit(RLIMIT_NOFILE, &raised), 0);
            // Every lower descriptor taken, so the socket has to get one beyond FD_SETSIZE.
            for (fillers.push_back(::open("/dev/null", O_RDONLY)); fillers.back() >= 0 && fillers.back() < FD_SETSIZE + 20;)
                fillers.push_back(::dup(fillers.front()));
        }
        Peer peer;
        CBlockingSocket socket;
        connectToReply(socket, peer, "");
        for (int fd : fillers)
            ::close(fd);
        QCOMPARE(int(SOCKET(socket)) > FD_SETSIZE, highDescriptor);
        char buffer[16];

        auto start = Clock::now();
        QCOMPARE(socketError([&] { socket.Receive(buffer, sizeof buffer, 1); }), std::string("Receive timeout"));
        QVERIFY2(secondsSince(start) >= 0.95 && secondsSince(start) < 3, qPrintable(QString::number(secondsSince(start))));
        start = Clock::now();
        QCOMPARE(socketError([&] { socket.Receive(buffer, sizeof buffer, 0); }), std::string("Receive timeout"));
        QVERIFY(secondsSince(start) < 0.5 && !socket.CheckReadability());
        QCOMPARE(socket.Write("ping", 4, 1), 4);
        // Read, or the peer's close would reset the connection instead of ending it.
        QVERIFY(waitReadable(peer.connection()) && ::recv(peer.connection(), buffer, sizeof buffer, 0) == 4);
        // With data already waiting, a time-out of 0 does not throw.
        QCOMPARE(::send(peer.connection(), "pong", 4, 0), ssize_t(4));
        QVERIFY(waitReadable(socket) && socket.CheckReadability());
        QCOMPARE(socket.Receive(buffer, sizeof buffer, 0), 4);
        QVERIFY(std::string(buffer, 4) == "pong" && !socket.CheckReadability());

        // The end of stream reads as 0 bytes, however often, and counts as readable.
        peer.closeConnection();
        QCOMPARE(socket.Receive(buffer, sizeof buffer, 5), 0);
        QCOMPARE(socket.Receive(buffer, sizeof buffer, 0), 0);
        QVERIFY(socket.CheckReadability());
        setrlimit(RLIMIT_NOFILE, &limit);
    }

    void signalsDoNotCutWaitsShort()
    {
        Peer peer;
        peer.serve([](int connection) {
            std::this_thread::sleep_for(std::chrono::milliseconds(300));
            ::send(connection, "late", 4, 0);
        });
        CBlockingSocket socket;
        connectTo(socket, peer);
        char buffer[16];
        SignalStorm storm(pthread_self());
        QCOMPARE(socket.Receive(buffer, sizeof buffer, 5), 4);
        peer.join();

        const auto start = Clock::now();
        QCOMPARE(socketError([&] { socket.Receive(buffer, sizeof buffer, 1); }), std::string("Receive timeout"));
        QVERIFY(secondsSince(start) >= 0.95);
    }

    void writeLargeBufferInPieces()
    {
        const int length = 8 * 1024 * 1024;
        std::vector<char> data(length);
        for (int i = 0; i < length; ++i)
            data[i] = char(i * 7 + i / 4096);
        std::vector<char> received;
        received.reserve(length);

        Peer peer;
        peer.serve([&](int connection) {
            char chunk[65536];
            for (;;) {
                const ssize_t count = ::recv(connection, chunk, sizeof chunk, 0);
                if (count <= 0)
                    return;
                received.insert(received.end(), chunk, chunk + count);
                std::this_thread::sleep_for(std::chrono::microseconds(200));
            }
        });
        CBlockingSocket socket;
        connectTo(socket, peer);
        // A send time-out makes the kernel return after taking part of the buffer,
        // so Write has to go on with the rest.
        const timeval sendTimeout { 0, 20000 };
        QCOMPARE(::setsockopt(socket, SOL_SOCKET, SO_SNDTIMEO, &sendTimeout, sizeof sendTimeout), 0);
        const int smallBuffer = 16384;
        ::setsockopt(socket, SOL_SOCKET, SO_SNDBUF, &smallBuffer, sizeof smallBuffer);

        QCOMPARE(socket.Write(data.data(), length, 5), length);
        socket.Close();
        peer.join();
        QCOMPARE(int(received.size()), length);
        QVERIFY(received == data);
    }

    void peerResetDuringWrite()
    {
        // The default action of SIGPIPE ends the process; the socket must not raise it.
        struct sigaction defaultAction {}, previous {};
        defaultAction.sa_handler = SIG_DFL;
        sigaction(SIGPIPE, &defaultAction, &previous);

        Peer peer;
        peer.serve([](int connection) {
            char chunk[4096];
            ::recv(connection, chunk, sizeof chunk, 0);
            const linger reset { 1, 0 };
            ::setsockopt(connection, SOL_SOCKET, SO_LINGER, &reset, sizeof reset);
        });
        CBlockingSocket socket;
        connectTo(socket, peer);
        std::vector<char> data(1 << 20, 'x');
        std::string error;
        std::thread closer([&] {
            peer.join();
            peer.closeConnection();
        });
        for (int round = 0; round < 200 && error.empty(); ++round)
            error = socketError([&] { socket.Write(data.data(), int(data.size()), 5); });
        closer.join();
        QCOMPARE(error, std::string("Send"));
        // Writing on after the reset is where the kernel answers EPIPE and would signal.
        QCOMPARE(socketError([&] { socket.Write("more", 4, 1); }), std::string("Send"));
        QCOMPARE(errno, EPIPE);
        sigaction(SIGPIPE, &previous, nullptr);
        QVERIFY(socket != InvalidSocket);
    }

    void acceptInterruptedBySignal()
    {
        CBlockingSocket listener;
        listener.Create(SOCK_STREAM);
        const CSockAddr any(INADDR_LOOPBACK, 0);
        listener.Bind(any);
        listener.Listen();

        CBlockingSocket connection;
        CSockAddr peerAddress;
        bool accepted = true;
        {
            SignalStorm storm(pthread_self());
            accepted = listener.Accept(connection, peerAddress);
        }
        QVERIFY(!accepted);
        QCOMPARE(SOCKET(connection), InvalidSocket);

        // The same listener still accepts once someone connects.
        CSockAddr bound;
        listener.GetSockAddr(bound);
        CBlockingSocket client;
        client.Create(SOCK_STREAM);
        client.Connect(bound);
        QVERIFY(listener.Accept(connection, peerAddress));
        QVERIFY(connection != InvalidSocket);
        CSockAddr clientAddress;
        client.GetSockAddr(clientAddress);
        QCOMPARE(peerAddress.Port(), clientAddress.Port());
    }

    // The socket's public interface carries datagrams too, though FTP never sends one.
    void datagrams()
    {
        CBlockingSocket receiver, sender;
        receiver.Create(SOCK_DGRAM);
        receiver.Bind(CSockAddr(INADDR_LOOPBACK, 0));
        CSockAddr target, from, senderAddress;
        receiver.GetSockAddr(target);
        sender.Create(SOCK_DGRAM);
        char buffer[64];
        QCOMPARE(socketError([&] { receiver.ReceiveDatagram(buffer, sizeof buffer, from, 0); }), std::string("Receive timeout"));
        QCOMPARE(sender.SendDatagram("quote", 5, target, 1), 5);
        QCOMPARE(receiver.ReceiveDatagram(buffer, sizeof buffer, from, 5), 5);
        QCOMPARE(std::string(buffer, 5), std::string("quote"));
        sender.GetSockAddr(senderAddress);
        QCOMPARE(from.Port(), senderAddress.Port());
        QCOMPARE(from.DottedDecimal(), std::string("127.0.0.1"));
    }

    void httpLines()
    {
        Peer peer;
        CHttpBlockingSocket socket;
        connectToReply(socket, peer, "HTTP/1.0 200 OK\r\nContent-Type: text/plain\r\nX-Long: 0123456789\r\n\r\nbody text");
        peer.closeConnection();

        char line[64];
        QCOMPARE(socket.ReadHttpHeaderLine(line, sizeof line, 5), 17);
        QCOMPARE(std::string(line), std::string("HTTP/1.0 200 OK\r\n"));
        QCOMPARE(socket.ReadHttpHeaderLine(line, sizeof line, 5), 26);
        QCOMPARE(std::string(line), std::string("Content-Type: text/plain\r\n"));
        // A line longer than the caller's buffer is cut to the buffer less its NUL.
        QCOMPARE(socket.ReadHttpHeaderLine(line, 9, 5), 8);
        QCOMPARE(std::string(line), std::string("X-Long: "));
        QCOMPARE(socket.ReadHttpHeaderLine(line, sizeof line, 5), 2);
        QCOMPARE(socket.ReadHttpResponse(line, sizeof line, 5), 9);
        QCOMPARE(std::string(line, 9), std::string("body text"));

        // A header that never ends fills the read buffer and fails instead of overrunning it.
        Peer endless;
        CHttpBlockingSocket second;
        connectToReply(second, endless, std::string(3000, 'a'));
        QCOMPARE(socketError([&] { second.ReadHttpHeaderLine(line, sizeof line, 5); }), std::string("ReadHeaderLine"));
    }

    void addressesAndFailures()
    {
        CBlockingSocket socket;
        const CSockAddr resolved = socket.GetHostByName("127.0.0.1", 2121);
        QVERIFY(resolved.sin_family == AF_INET && resolved.sin_port == htons(2121) && resolved.sin_addr.s_addr == htonl(INADDR_LOOPBACK));
        QCOMPARE(socket.GetHostByName("localhost", 21).DottedDecimal(), std::string("127.0.0.1"));

        Peer peer;
        connectToReply(socket, peer, "");
        CSockAddr peerAddress, ownAddress;
        socket.GetPeerAddr(peerAddress);
        socket.GetSockAddr(ownAddress);
        QCOMPARE(peerAddress.Port(), ntohs(peer.address().sin_port));
        QCOMPARE(ownAddress.DottedDecimal(), std::string("127.0.0.1"));

        // A port nobody listens on: the freshly closed listener's.
        const unsigned short closedPort = ntohs(Peer().address().sin_port);
        CBlockingSocket refused;
        refused.Create(SOCK_STREAM);
        try {
            refused.Connect(CSockAddr(INADDR_LOOPBACK, closedPort));
            QFAIL("connected to a closed port");
        } catch (const CBlockingSocketException &e) {
            QVERIFY2(e.Message() == "Connect" && e.ErrorNumber() == unsigned(ECONNREFUSED), e.Message().c_str());
        }
        QVERIFY(refused != InvalidSocket); // a failure leaves the handle open

        // Closing twice, and closing what was never opened, are harmless.
        refused.Close();
        refused.Close();
        QCOMPARE(SOCKET(refused), InvalidSocket);
        CBlockingSocket().Close();
    }

    void errorMessage_data()
    {
        QTest::addColumn<int>("error");
        QTest::addColumn<uint>("room");
        QTest::addColumn<QByteArray>("text"); // empty: does not fit

        QTest::newRow("errno, exact room") << ECONNRESET << 25u << QByteArray("Connect error 0x00000068");
        QTest::newRow("errno, one byte short") << ECONNRESET << 24u << QByteArray();
        QTest::newRow("no errno, exact room") << 0 << 14u << QByteArray("Connect error");
        QTest::newRow("no errno, one byte short") << 0 << 13u << QByteArray();
    }
    void errorMessage()
    {
        QFETCH(int, error);
        QFETCH(uint, room);
        QFETCH(QByteArray, text);

        errno = error;
        const CBlockingSocketException exception("Connect");
        QCOMPARE(exception.ErrorNumber(), unsigned(error));
        std::vector<char> buffer(room + 8, '#');
        QCOMPARE(exception.GetErrorMessage(buffer.data(), room), !text.isEmpty());
        if (text.isEmpty())
            QVERIFY(std::all_of(buffer.begin(), buffer.end(), [](char c) { return c == '#'; }));
        else
            QCOMPARE(QByteArray(buffer.data()), text);

        // The string form has 512 characters of room, its NUL included.
        const std::string fits(511 - (error ? 17 : 6), 'm');
        for (const std::string &what : {fits, fits + "m"}) {
            errno = error;
            QCOMPARE(CBlockingSocketException(what.c_str()).GetErrorMessage(), what == fits ? fits + (error ? " error 0x00000068" : " error") : "");
        }
    }

    void assertions()
    {
        AssertionCatcher catcher;
        const auto condition = AssertionCatcher::conditionOf;
        CBlockingSocket closed, open, alsoOpen;
        char buffer[8];
        QCOMPARE(condition([&] { closed.Receive(buffer, 8, 0); }), std::string("m_hSocket!=(SOCKET)(~0)"));
        QCOMPARE(condition([&] { closed.Write("x", 1, 0); }), std::string("m_hSocket!=(SOCKET)(~0)"));
        open.Create(SOCK_STREAM);
        alsoOpen.Create(SOCK_STREAM);
        QCOMPARE(condition([&] { open.Create(SOCK_STREAM); }), std::string("m_hSocket==(SOCKET)(~0)"));
        CSockAddr address;
        QCOMPARE(condition([&] { open.Accept(alsoOpen, address); }),
            std::string("sConnect.operator SOCKET() == (SOCKET)(~0)"));

        // Header lines must end in CR LF; a bare line feed must not make the reader step before its buffer.
        for (const std::string &reply : { std::string("bare\n"), std::string("\nfirst") }) {
            Peer peer;
            CHttpBlockingSocket http;
            connectToReply(http, peer, reply);
            QVERIFY(waitReadable(http));
            QCOMPARE(condition([&] { http.ReadHttpHeaderLine(buffer, sizeof buffer, 5); }),
                std::string(reply[0] == '\n' ? "(pch2)>m_pReadBuf" : "*(pch2 - 1)=='\\r'"));
        }
    }
};

QTEST_APPLESS_MAIN(TestBlockingSocket)
#include "tst_blockingsocket.moc"
