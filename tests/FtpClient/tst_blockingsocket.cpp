#include "assertioncatcher.h"

#include <vetrel/FtpClient/BlockingSocket.h>

#include <QtTest>

#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <optional>
#include <thread>
#include <vector>

using namespace nsSocket;
using Clock = std::chrono::steady_clock;

namespace
{

// A descriptor closed when it goes out of scope.
struct Fd
{
    int fd = -1;
    ~Fd() { reset(); }
    void reset(int other = -1)
    {
        if (fd >= 0)
            ::close(fd);
        fd = other;
    }
    operator int() const { return fd; }
};

// Connects the socket to a fresh loopback listener; the far end is accepted and written with plain POSIX
// calls, so that it does not depend on the class under test.
void connectPeer(CBlockingSocket &socket, Fd &peer, const std::string &reply = std::string())
{
    Fd listener { ::socket(AF_INET, SOCK_STREAM, 0) };
    CSockAddr address(INADDR_LOOPBACK, 0);
    socklen_t length = sizeof(sockaddr_in);
    ::bind(listener, address, length);
    ::listen(listener, 1);
    ::getsockname(listener, address, &length);
    socket.Create(SOCK_STREAM);
    socket.Connect(address);
    peer.reset(::accept(listener, nullptr, nullptr));
    ::send(peer, reply.data(), reply.size(), 0);
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

double secondsSince(Clock::time_point start)
{
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// While alive, sends SIGUSR1 (installed without SA_RESTART) to the creating thread every 20 ms, so that
// whatever that thread blocks in sees EINTR.
struct SignalStorm
{
    struct sigaction previous = [] {
        struct sigaction action {}, previous {};
        action.sa_handler = [](int) {};
        sigaction(SIGUSR1, &action, &previous);
        return previous;
    }();
    std::atomic<bool> stop { false };
    std::thread thread { [this, target = pthread_self()] {
        for (; !stop; std::this_thread::sleep_for(std::chrono::milliseconds(20)))
            pthread_kill(target, SIGUSR1);
    } };
    ~SignalStorm()
    {
        stop = true;
        thread.join();
        sigaction(SIGUSR1, &previous, nullptr);
    }
};

}

class TestBlockingSocket : public QObject
{
    Q_OBJECT

private slots:
    void receiveWaitsAndEndOfStream_data()
    {
        QTest::addColumn<bool>("highDescriptor");
        QTest::addColumn<bool>("interrupted"); // signals keep interrupting the waits
        QTest::newRow("low descriptor") << false << false;
        QTest::newRow("descriptor above FD_SETSIZE") << true << false;
        QTest::newRow("low descriptor, interrupted") << false << true;
        QTest::newRow("descriptor above FD_SETSIZE, interrupted") << true << true;
    }
    void receiveWaitsAndEndOfStream()
    {
        QFETCH(bool, highDescriptor);
        QFETCH(bool, interrupted);
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
        CBlockingSocket socket;
        Fd peer;
        connectPeer(socket, peer);
        for (int fd : fillers)
            ::close(fd);
        QCOMPARE(int(SOCKET(socket)) > FD_SETSIZE, highDescriptor);
        char buffer[16];
        std::optional<SignalStorm> storm;
        if (interrupted)
            storm.emplace();

        auto start = Clock::now();
        QCOMPARE(socketError([&] { socket.Receive(buffer, sizeof buffer, 1); }), std::string("Receive timeout"));
        QVERIFY2(secondsSince(start) >= 0.95 && secondsSince(start) < 3, qPrintable(QString::number(secondsSince(start))));
        start = Clock::now();
        QCOMPARE(socketError([&] { socket.Receive(buffer, sizeof buffer, 0); }), std::string("Receive timeout"));
        QVERIFY(secondsSince(start) < 0.5 && !socket.CheckReadability());
        QCOMPARE(socket.Write("ping", 4, 1), 4);
        // Read, or the peer's close would reset the connection instead of ending it.
        QCOMPARE(::recv(peer, buffer, sizeof buffer, 0), ssize_t(4));
        // With data already waiting, a time-out of 0 does not throw.
        QCOMPARE(::send(peer, "pong", 4, 0), ssize_t(4));
        QVERIFY(socket.WaitForReadability(5) && socket.CheckReadability());
        QCOMPARE(socket.Receive(buffer, sizeof buffer, 0), 4);
        QVERIFY(std::string(buffer, 4) == "pong" && !socket.CheckReadability());

        // The end of stream reads as 0 bytes, however often, and counts as readable.
        peer.reset();
        QCOMPARE(socket.Receive(buffer, sizeof buffer, 5), 0);
        QCOMPARE(socket.Receive(buffer, sizeof buffer, 0), 0);
        QVERIFY(socket.CheckReadability());
        setrlimit(RLIMIT_NOFILE, &limit);
    }

    void writeInPiecesUntilThePeerResets()
    {
        // The default action of SIGPIPE ends the process; the socket must not raise it.
        struct sigaction defaultAction {}, previous {};
        defaultAction.sa_handler = SIG_DFL;
        sigaction(SIGPIPE, &defaultAction, &previous);
        std::vector<char> data(8 * 1024 * 1024), received;
        for (size_t i = 0; i < data.size(); ++i)
            data[i] = char(i * 7 + i / 4096);
        CBlockingSocket socket;
        Fd peer;
        connectPeer(socket, peer);
        // A send time-out makes the kernel return after taking part of the buffer, so Write has to go on.
        const timeval sendTimeout { 0, 20000 };
        QCOMPARE(::setsockopt(socket, SOL_SOCKET, SO_SNDTIMEO, &sendTimeout, sizeof sendTimeout), 0);

        // The peer takes in everything, slowly, and then resets the connection.
        std::thread reader([&] {
            char chunk[65536];
            for (ssize_t count; received.size() < data.size() && (count = ::recv(peer, chunk, sizeof chunk, 0)) > 0;) {
                received.insert(received.end(), chunk, chunk + count);
                std::this_thread::sleep_for(std::chrono::microseconds(200));
            }
            const linger reset { 1, 0 };
            ::setsockopt(peer, SOL_SOCKET, SO_LINGER, &reset, sizeof reset);
            peer.reset();
        });
        int written = 0;
        std::string error = socketError([&] { written = socket.Write(data.data(), int(data.size()), 5); });
        if (written != int(data.size()))
            socket.Close(); // lets the reader end
        reader.join();
        QVERIFY2(error.empty() && written == int(data.size()) && received == data, error.c_str());

        for (int round = 0; round < 200 && error.empty(); ++round)
            error = socketError([&] { socket.Write("more", 4, 1); });
        QCOMPARE(error, std::string("Send"));
        // Writing on after the reset is where the kernel answers EPIPE and would signal.
        QCOMPARE(socketError([&] { socket.Write("more", 4, 1); }), std::string("Send"));
        QCOMPARE(errno, EPIPE);
        sigaction(SIGPIPE, &previous, nullptr);
        QVERIFY(socket != InvalidSocket);
    }

    void acceptCloseAndMisuse()
    {
        CBlockingSocket listener, connection, client;
        listener.Create(SOCK_STREAM);
        listener.Bind(CSockAddr(INADDR_LOOPBACK, 0));
        listener.Listen();
        CSockAddr peerAddress, bound, clientAddress;
        bool accepted = true;
        {
            SignalStorm storm;
            accepted = listener.Accept(connection, peerAddress);
        }
        QVERIFY(!accepted);
        QCOMPARE(SOCKET(connection), InvalidSocket);

        // The same listener still accepts once someone connects.
        listener.GetSockAddr(bound);
        client.Create(SOCK_STREAM);
        client.Connect(client.GetHostByName("localhost", bound.Port()));
        QVERIFY(listener.Accept(connection, peerAddress));
        client.GetSockAddr(clientAddress);
        connection.GetPeerAddr(bound);
        QVERIFY(peerAddress.Port() == clientAddress.Port() && bound.Port() == clientAddress.Port());
        // Closing twice, and closing what was never opened, are harmless.
        connection.Close();
        connection.Close();
        QCOMPARE(SOCKET(connection), InvalidSocket);
        CBlockingSocket().Close();

        // Misuse is caught: an open socket created again or accepted into, a closed one used.
        AssertionCatcher catcher;
        const auto condition = AssertionCatcher::conditionOf;
        QCOMPARE(condition([&] { client.Create(SOCK_STREAM); }), std::string("m_hSocket==(SOCKET)(~0)"));
        QCOMPARE(condition([&] { listener.Accept(client, peerAddress); }), std::string("sConnect.operator SOCKET() == (SOCKET)(~0)"));
        char buffer[8];
        QCOMPARE(condition([&] { connection.Receive(buffer, 8, 0); }), std::string("m_hSocket!=(SOCKET)(~0)"));
        QCOMPARE(condition([&] { connection.Write("x", 1, 0); }), std::string("m_hSocket!=(SOCKET)(~0)"));
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
        CHttpBlockingSocket socket;
        Fd peer;
        connectPeer(socket, peer, "HTTP/1.0 200 OK\r\nX-Long: 0123456789\r\n\r\nbody text");
        peer.reset();
        char line[64];
        // Each line with its count; one longer than the buffer is cut to it less its NUL, the rest dropped.
        std::string lines;
        for (int room : { 64, 9, 64 })
            lines += std::to_string(socket.ReadHttpHeaderLine(line, room, 5)) + line;
        QCOMPARE(lines, std::string("17HTTP/1.0 200 OK\r\n8X-Long: 2\r\n"));
        QCOMPARE(socket.ReadHttpResponse(line, sizeof line, 5), 9);
        QCOMPARE(std::string(line, 9), std::string("body text"));

        // A header that never ends fails instead of overrunning the buffer; a line must end in CR LF.
        AssertionCatcher catcher;
        const std::pair<std::string, std::string> broken[] = { { std::string(3000, 'a'), "ReadHeaderLine" },
            { "bare\n", "*(pch2 - 1)=='\\r'" }, { "\nfirst", "(pch2)>m_pReadBuf" } };
        for (const auto &[reply, failure] : broken) {
            CHttpBlockingSocket http;
            connectPeer(http, peer, reply);
            std::string error;
            const std::string condition = AssertionCatcher::conditionOf(
                [&] { error = socketError([&] { http.ReadHttpHeaderLine(line, sizeof line, 5); }); });
            QCOMPARE(error + condition, failure);
        }
    }

    void errorMessage_data()
    {
        QTest::addColumn<int>("error");
        QTest::addColumn<QByteArray>("suffix");
        QTest::newRow("errno") << ECONNRESET << QByteArray(" error 0x00000068");
        QTest::newRow("no errno") << 0 << QByteArray(" error");
    }
    void errorMessage()
    {
        QFETCH(int, error);
        QFETCH(QByteArray, suffix);
        errno = error;
        const CBlockingSocketException exception("Connect");
        // The text is written only when it fits with its NUL; one byte short leaves the buffer alone.
        const uint room = 8 + suffix.size();
        QByteArray buffer(room + 8, '#');
        QVERIFY(!exception.GetErrorMessage(buffer.data(), room - 1));
        QCOMPARE(buffer, QByteArray(room + 8, '#'));
        QVERIFY(exception.GetErrorMessage(buffer.data(), room));
        QCOMPARE(QByteArray(buffer.constData()), "Connect" + suffix);
        QCOMPARE(exception.GetErrorMessage(), "Connect" + suffix.toStdString());
    }
};

QTEST_APPLESS_MAIN(TestBlockingSocket)
#include "tst_blockingsocket.moc"
