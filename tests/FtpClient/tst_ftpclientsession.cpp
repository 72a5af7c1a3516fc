// The FTP client against the scripted server: what is sent, how replies are
// read, and the failures real servers cannot be made to produce.

#include "scriptedftpserver.h"
#include "testfiles.h"

#include <vetrel/FtpClient/FTPClient.h>
#include <vetrel/FtpClient/FTPTransferTargets.h>

#include <QTemporaryDir>
#include <QtTest>

#include <atomic>
#include <functional>
#include <thread>

using namespace nsFTP;

namespace
{

/// Remembers what the client tells its observers.
class RecordingObserver : public CFTPClient::CNotification
{
public:
    void OnInternalError(const tstring& strErrorMsg, const tstring&, unsigned int) override { errors.push_back(strErrorMsg); }
    void OnSendCommand(const CCommand& command, const CArg& arguments) override { sent.push_back(command.AsString(arguments)); }
    void OnResponse(const CFTPClient::CReply& reply) override { replies.push_back(reply.Value()); }
    void OnBytesReceived(const std::vector<char>&, long lReceivedBytes) override
    {
        received += lReceivedBytes;
        if (onBytes)
            onBytes();
    }

    std::vector<tstring> errors;
    std::vector<tstring> sent;
    std::vector<tstring> replies;
    long received = 0;
    std::function<void()> onBytes;
};

/// A socket that refuses, and records, connections to anything but 127.0.0.1.
class LoopbackOnlySocket : public nsSocket::CBlockingSocket
{
public:
    explicit LoopbackOnlySocket(std::shared_ptr<std::vector<std::string>> connects) : m_connects(std::move(connects)) {}

    std::shared_ptr<IBlockingSocket> CreateInstance() const override
    {
        return std::make_shared<LoopbackOnlySocket>(m_connects);
    }
    void Connect(const sockaddr* psa) const override
    {
        const nsSocket::CSockAddr addr(*psa);
        m_connects->push_back(addr.DottedDecimal());
        if (addr.DottedDecimal() != "127.0.0.1")
            throw nsSocket::CBlockingSocketException("Connect");
        CBlockingSocket::Connect(psa);
    }

private:
    std::shared_ptr<std::vector<std::string>> m_connects;
};

/// Counts the bytes the client takes in, to show that it stops reading in time.
class CountingSocket : public nsSocket::CBlockingSocket
{
public:
    explicit CountingSocket(std::shared_ptr<std::atomic<long>> received) : m_received(std::move(received)) {}

    std::shared_ptr<IBlockingSocket> CreateInstance() const override { return std::make_shared<CountingSocket>(m_received); }
    int Receive(char* pch, int nSize, int nSecs) const override
    {
        const int count = CBlockingSocket::Receive(pch, nSize, nSecs);
        *m_received += count;
        return count;
    }

private:
    std::shared_ptr<std::atomic<long>> m_received;
};

QStringList toQt(const std::vector<std::string>& lines)
{
    QStringList list;
    for (const std::string& line : lines)
        list << QString::fromStdString(line);
    return list;
}

const unsigned int Timeout = 1;

}

using ClientCall = std::function<int(CFTPClient&)>;
Q_DECLARE_METATYPE(ClientCall)
using Script = std::function<void(ScriptedFtpServer&)>;
Q_DECLARE_METATYPE(Script)

class TestFtpClientSession : public QObject
{
    Q_OBJECT

private:
    /// Connects a fresh client to the server and reads the greeting the script starts with.
    static bool connect(CFTPClient& client, ScriptedFtpServer& server)
    {
        server.start();
        CFTPClient::CReply reply;
        return client.OpenControlChannel("127.0.0.1", server.port()) && client.GetResponse(reply);
    }

private slots:
    void replies_data();
    void replies();
    void queuedLinesComeFromOneReceive();
    void observersDetachOnBothSides();
    void logonSequences_data();
    void logonSequences();
    void simpleCommands_data();
    void simpleCommands();
    void lineBreaksAreNeverSent();
    void oversizedRepliesEndTheConnection_data();
    void oversizedRepliesEndTheConnection();
    void stallsAndDropsEndTheConnection_data();
    void stallsAndDropsEndTheConnection();
    void dataConnections_data();
    void dataConnections();
    void abortStopsTheDownload();
    void abortFromAnotherThread_data();
    void abortFromAnotherThread();
    void emptyUploadSucceeds();
    void failedDownloadLeavesTheLocalFile_data();
    void failedDownloadLeavesTheLocalFile();
    void textModeLineEnds_data();
    void textModeLineEnds();
    void serverToServerCopyOrder_data();
    void serverToServerCopyOrder();
};

void TestFtpClientSession::replies_data()
{
    QTest::addColumn<QStringList>("pieces");
    QTest::addColumn<bool>("result");
    QTest::addColumn<QString>("code");
    QTest::addColumn<QString>("text");

    QTest::newRow("single line") << QStringList{"200 NOOP ok\r\n"} << true << "200" << "200 NOOP ok";
    QTest::newRow("multi-line ends only at its own number with a blank")
        << QStringList{"230-Welcome\r\n230-x\r\n231 x\r\n230 Done\r\n"} << true << "230"
        << "230-Welcome\r\n230-x\r\n231 x\r\n230 Done";
    QTest::newRow("multi-line split across reads")
        << QStringList{"23", "0-Wel", "come\r\n230 Do", "ne\r\n"} << true << "230" << "230-Welcome\r\n230 Done";
    QTest::newRow("bare line feed is kept") << QStringList{"200 ok\n"} << true << "200" << "200 ok\n";
    QTest::newRow("first digit 0") << QStringList{"099 odd\r\n"} << false << "" << "099 odd";
    QTest::newRow("second digit 6") << QStringList{"260 odd\r\n"} << false << "" << "260 odd";
    QTest::newRow("too short for a code") << QStringList{"20\r\n"} << false << "" << "20";
}

void TestFtpClientSession::replies()
{
    QFETCH(QStringList, pieces);
    QFETCH(bool, result);
    ScriptedFtpServer server;
    server.reply("220 ready").expect();
    for (const QString& piece : pieces)
        server.send(piece.toStdString()).pause(30);

    CFTPClient client(nsSocket::CreateDefaultBlockingSocketInstance(), Timeout);
    RecordingObserver observer;
    client.AttachObserver(&observer);
    QVERIFY(connect(client, server));
    QVERIFY(client.SendCommand(CCommand::cmdNOOP, CArg()));
    CFTPClient::CReply reply;
    QCOMPARE(client.GetResponse(reply), result);
    QTEST(QString::fromStdString(reply.Code().Value()), "code");
    QTEST(QString::fromStdString(reply.Value()), "text");
    QCOMPARE(QString::fromStdString(observer.replies.back()), QString::fromStdString(reply.Value()));
}

void TestFtpClientSession::queuedLinesComeFromOneReceive()
{
    ScriptedFtpServer server;
    server.send("220 a\r\n221 b\r\n").pause(1500);
    CFTPClient client(nsSocket::CreateDefaultBlockingSocketInstance(), Timeout);
    server.start();
    QVERIFY(client.OpenControlChannel("127.0.0.1", server.port()));
    // Both lines arrive in one segment; the second must come from the queue,
    // not from another receive (which would time out while the server waits).
    tstring line;
    QVERIFY(client.GetSingleResponseLine(line));
    QCOMPARE(line, tstring("220 a"));
    QVERIFY(client.GetSingleResponseLine(line));
    QCOMPARE(line, tstring("221 b"));
}

void TestFtpClientSession::observersDetachOnBothSides()
{
    auto client = std::make_unique<CFTPClient>();
    auto first = std::make_unique<RecordingObserver>();
    RecordingObserver second;
    client->AttachObserver(first.get());
    client->AttachObserver(first.get());
    client->AttachObserver(&second);
    QCOMPARE(client->GetObservers().size(), size_t(2));

    first.reset();
    QCOMPARE(client->GetObservers().size(), size_t(1));
    QVERIFY(client->GetObservers().count(&second));

    // The client goes first: the observer must not reach back into it when it goes.
    client.reset();
    CFTPClient other;
    other.AttachObserver(&second);
    other.DetachObserver(&second);
    QVERIFY(other.GetObservers().empty());

    // Copies of an observer start unattached.
    CFTPClient third;
    third.AttachObserver(&second);
    RecordingObserver copy(second);
    QCOMPARE(third.GetObservers().size(), size_t(1));
}

void TestFtpClientSession::logonSequences_data()
{
    QTest::addColumn<int>("firewallType");
    QTest::addColumn<int>("hostPort");
    QTest::addColumn<QStringList>("answers");
    QTest::addColumn<QStringList>("expectedCommands");
    QTest::addColumn<bool>("loggedOn");
    QTest::addColumn<bool>("logonFailedReported");

    const QString cwd = "CWD /start";
    QTest::newRow("none, 230 to USER needs no PASS")
        << 0 << 21 << QStringList{"230 ok", "250 ok"} << QStringList{"USER joe", cwd} << true << false;
    QTest::newRow("none, with PASS and ACCT")
        << 0 << 21 << QStringList{"331 pw", "332 acct", "230 ok", "250 ok"}
        << QStringList{"USER joe", "PASS pw", "ACCT acc", cwd} << true << false;
    QTest::newRow("none, 3xx to ACCT fails")
        << 0 << 21 << QStringList{"331 pw", "332 acct", "332 again"} << QStringList{"USER joe", "PASS pw", "ACCT acc"}
        << false << true;
    QTest::newRow("none, 530 to PASS") << 0 << 21 << QStringList{"331 pw", "530 no"}
                                       << QStringList{"USER joe", "PASS pw"} << false << false;
    QTest::newRow("SITE hostname, port 21")
        << 1 << 21 << QStringList{"331 fw", "230 fw ok", "331 site", "331 user", "230 ok", "250 ok"}
        << QStringList{"USER fwjoe", "PASS fwpw", "SITE ftp.example", "USER joe", "PASS pw", cwd} << true << false;
    QTest::newRow("SITE hostname, other port, 2xx to SITE fails")
        << 1 << 2121 << QStringList{"230 fw ok", "200 site"} << QStringList{"USER fwjoe", "SITE ftp.example:2121"}
        << false << true;
    QTest::newRow("USER after logon")
        << 2 << 21 << QStringList{"331 fw", "230 fw ok", "331 user", "230 ok", "250 ok"}
        << QStringList{"USER fwjoe", "PASS fwpw", "USER joe@ftp.example", "PASS pw", cwd} << true << false;
    QTest::newRow("proxy OPEN") << 3 << 2121 << QStringList{"220 open", "331 user", "230 ok", "250 ok"}
                                << QStringList{"OPEN ftp.example:2121", "USER joe", "PASS pw", cwd} << true << false;
    QTest::newRow("transparent")
        << 4 << 21 << QStringList{"331 fw", "230 fw ok", "331 user", "230 ok", "250 ok"}
        << QStringList{"USER fwjoe", "PASS fwpw", "USER joe", "PASS pw", cwd} << true << false;
    QTest::newRow("USER with no logon") << 5 << 21 << QStringList{"331 user", "230 ok", "250 ok"}
                                        << QStringList{"USER joe@ftp.example", "PASS pw", cwd} << true << false;
    QTest::newRow("USER fireID@remotehost")
        << 6 << 21 << QStringList{"331 fw", "230 fw ok", "331 user", "230 ok", "250 ok"}
        << QStringList{"USER fwjoe@ftp.example", "PASS fwpw", "USER joe", "PASS pw", cwd} << true << false;
    QTest::newRow("USER remoteID@remotehost fireID")
        << 7 << 21 << QStringList{"331 pw", "230 ok", "250 ok"}
        << QStringList{"USER joe@ftp.example fwjoe", "PASS pw", cwd} << true << false;
    QTest::newRow("USER remoteID@remotehost fireID, 2xx to USER fails")
        << 7 << 21 << QStringList{"230 ok"} << QStringList{"USER joe@ftp.example fwjoe"} << false << true;
    QTest::newRow("USER remoteID@fireID@remotehost")
        << 8 << 21 << QStringList{"331 pw", "230 ok", "250 ok"}
        << QStringList{"USER joe@fwjoe@ftp.example", "PASS pw@fwpw", cwd} << true << false;
    QTest::newRow("start directory refused") << 0 << 21 << QStringList{"230 ok", "550 no"}
                                             << QStringList{"USER joe", cwd} << false << false;
}

void TestFtpClientSession::logonSequences()
{
    QFETCH(int, firewallType);
    QFETCH(int, hostPort);
    QFETCH(QStringList, answers);
    QFETCH(bool, loggedOn);
    QFETCH(QStringList, expectedCommands);
    QFETCH(bool, logonFailedReported);

    ScriptedFtpServer server;
    server.reply("220 ready");
    for (const QString& answer : answers)
        server.answer(answer.toStdString());

    // Under a firewall the client connects to the firewall; the remote host is only named.
    const bool direct = firewallType == 0;
    const CLogonInfo info(direct ? "127.0.0.1" : "ftp.example", direct ? server.port() : hostPort, "joe", "pw", "acc",
                          "127.0.0.1", "fwjoe", "fwpw", server.port(),
                          CFirewallType(static_cast<CFirewallType::TFirewallTypeEnum>(firewallType)));

    CFTPClient client(nsSocket::CreateDefaultBlockingSocketInstance(), Timeout, 4096, 0, "/start");
    RecordingObserver observer;
    client.AttachObserver(&observer);
    server.start();
    QCOMPARE(client.Login(info), loggedOn);
    server.waitFinished();
    QCOMPARE(toQt(server.commands()), expectedCommands);
    const bool reported = std::count(observer.errors.begin(), observer.errors.end(), "Logon failed.") == 1;
    QCOMPARE(reported, logonFailedReported);
}

void TestFtpClientSession::simpleCommands_data()
{
    QTest::addColumn<ClientCall>("call");
    QTest::addColumn<QStringList>("answers");
    QTest::addColumn<QStringList>("expectedCommands");
    QTest::addColumn<int>("result");

    const auto row = [](const char* name, ClientCall call, QStringList answers, QStringList expected, int result) {
        QTest::newRow(name) << call << answers << expected << result;
    };
    // 0 for the expected reply class, 1 for a refusal, -1 for a reply that makes no sense there.
    row("argument with a blank, 2xx", [](CFTPClient& c) { return c.ChangeWorkingDirectory("/a b"); }, {"250 ok"}, {"CWD /a b"}, 0);
    row("no argument, 5xx", [](CFTPClient& c) { return c.ChangeToParentDirectory(); }, {"550 no"}, {"CDUP"}, 1);
    row("1xx where none belongs", [](CFTPClient& c) { return c.Noop(); }, {"120 soon"}, {"NOOP"}, -1);
    row("3xx where none belongs", [](CFTPClient& c) { return c.Reinitialize(); }, {"350 odd"}, {"REIN"}, -1);
    row("multi-line reply", [](CFTPClient& c) { return c.Help(); }, {"214-help\r\n214 end"}, {"HELP"}, 0);
    row("three arguments", [](CFTPClient& c) { const int size = 10; return c.Allocate(100, &size); },
        {"200 ok"}, {"ALLO 100 R 10"}, 0);
    row("TYPE is sent once while it holds",
        [](CFTPClient& c) { return c.RepresentationType(CType::Image()) + c.RepresentationType(CType::Image()); },
        {"200 ok"}, {"TYPE I"}, 0);
    row("TYPE is sent again after a refusal",
        [](CFTPClient& c) { return c.RepresentationType(CType::Image()) + 10 * c.RepresentationType(CType::Image()); },
        {"500 no", "200 ok"}, {"TYPE I", "TYPE I"}, 1);
    row("rename", [](CFTPClient& c) { return c.Rename("a", "b"); }, {"350 go on", "250 ok"}, {"RNFR a", "RNTO b"}, 0);
    row("rename, 2xx to RNFR", [](CFTPClient& c) { return c.Rename("a", "b"); }, {"250 odd"}, {"RNFR a"}, -1);
    row("PORT", [](CFTPClient& c) { return c.DataPort("10.0.0.5", 5001); }, {"200 ok"}, {"PORT 10,0,0,5,19,137"}, 0);
    row("PASV", [](CFTPClient& c) {
            unsigned int ip = 0;
            unsigned short port = 0;
            return c.Passive(ip, port) == 0 && ip == 0xC0A80102u && port == 5001 ? 0 : 99;
        },
        {"227 Entering Passive Mode (192,168,1,2,19,137)."}, {"PASV"}, 0);
    row("PASV without an address", [](CFTPClient& c) { unsigned int ip; unsigned short port; return c.Passive(ip, port); },
        {"227 Entering Passive Mode 192,168,1,2,19,137"}, {"PASV"}, -1);
    row("PASV with a number above 255", [](CFTPClient& c) { unsigned int ip; unsigned short port; return c.Passive(ip, port); },
        {"227 (192,168,1,256,19,137)"}, {"PASV"}, -1);
    row("SIZE", [](CFTPClient& c) { long size = 0; return c.FileSize("f", size) == 0 && size == 123456789 ? 0 : 99; },
        {"213 123456789"}, {"SIZE f"}, 0);
    row("SIZE not a number", [](CFTPClient& c) { long size = 0; return c.FileSize("f", size); }, {"213 big"}, {"SIZE f"}, -1);
    row("MDTM", [](CFTPClient& c) {
            tm time{};
            const int result = c.FileModificationTime("f", time);
            return result == 0 && time.tm_year == 124 && time.tm_mon == 1 && time.tm_mday == 29 && time.tm_hour == 23
                           && time.tm_min == 59 && time.tm_sec == 58 ? 0 : 99;
        },
        {"213 20240229235958.123"}, {"MDTM f"}, 0);
    row("MDTM as text", [](CFTPClient& c) { tstring text; return c.FileModificationTime("f", text) == 0 && text == "20240229235958" ? 0 : 99; },
        {"213 20240229235958"}, {"MDTM f"}, 0);
    row("MDTM garbled", [](CFTPClient& c) { tm time{}; return c.FileModificationTime("f", time); },
        {"213 2024-02-29"}, {"MDTM f"}, -1);
    row("QUIT", [](CFTPClient& c) { const int result = c.Logout(); return c.IsConnected() ? 99 : result; },
        {"221 bye"}, {"QUIT"}, 0);
    row("resumed upload onto a longer remote file", [](CFTPClient& c) {
            COutputStream source("\r\n", "short");
            source.SetBuffer("012");
            return c.UploadFile(source, "f", false, CType::Image()) ? 0 : 1;
        },
        {"213 10"}, {"SIZE f"}, 1);
}

void TestFtpClientSession::simpleCommands()
{
    QFETCH(ClientCall, call);
    QFETCH(QStringList, answers);
    QFETCH(QStringList, expectedCommands);

    ScriptedFtpServer server;
    server.reply("220 ready");
    for (const QString& answer : answers)
        server.answer(answer.toStdString());
    CFTPClient client(nsSocket::CreateDefaultBlockingSocketInstance(), Timeout);
    QVERIFY(connect(client, server));
    QTEST(call(client), "result");
    server.waitFinished();
    QCOMPARE(toQt(server.commands()), expectedCommands);
}

void TestFtpClientSession::lineBreaksAreNeverSent()
{
    ScriptedFtpServer server;
    server.reply("220 ready").answer("200 ok");
    CFTPClient client(nsSocket::CreateDefaultBlockingSocketInstance(), Timeout);
    RecordingObserver observer;
    client.AttachObserver(&observer);
    QVERIFY(connect(client, server));

    QCOMPARE(client.Delete("a\r\nDELE b"), -1);
    QCOMPARE(client.ChangeWorkingDirectory("x\ny"), -1);
    QCOMPARE(client.Rename("good", "bad\rname"), -1);
    QVERIFY(!client.SendCommand(CCommand::cmdSITE, CArg("EXEC\nrm")));
    QVERIFY(!client.DownloadFile("f\r\n", "/dev/null", CType::Image()));
    COutputStream stream("\r\n", "up");
    QVERIFY(!client.UploadFile(stream, "f\n", false, CType::Image()));
    QCOMPARE(observer.errors.size(), size_t(6));
    QVERIFY(observer.sent.empty());

    // Nothing reached the server before this command.
    QCOMPARE(client.Noop(), 0);
    server.waitFinished();
    QCOMPARE(toQt(server.commands()), QStringList{"NOOP"});
    QVERIFY(client.IsConnected());
}

void TestFtpClientSession::oversizedRepliesEndTheConnection_data()
{
    QTest::addColumn<QByteArray>("reply");
    QTest::addColumn<unsigned int>("bufferSize");

    const unsigned int defaultBuffer = 256 * 1024;
    QTest::newRow("line without end") << QByteArray(CFTPClient::MaxResponseLineLength + 10, 'x') << defaultBuffer;
    QTest::newRow("line with end") << QByteArray("200 ") + QByteArray(CFTPClient::MaxResponseLineLength, 'x') + "\r\n"
                                   << defaultBuffer;
    // Far more than any reply may hold, sent as fast as the client reads.
    QByteArray endless = "200-start\r\n";
    endless.reserve(int(4 * CFTPClient::MaxResponseLength) + 2048);
    while (static_cast<size_t>(endless.size()) <= 4 * CFTPClient::MaxResponseLength)
        endless += "200-" + QByteArray(1000, 'y') + "\r\n";
    QTest::newRow("endless multi-line reply, default buffer") << endless << defaultBuffer;
    QTest::newRow("endless multi-line reply, small buffer") << endless << 4096u;
}

void TestFtpClientSession::oversizedRepliesEndTheConnection()
{
    QFETCH(QByteArray, reply);
    QFETCH(unsigned int, bufferSize);
    ScriptedFtpServer server;
    server.reply("220 ready").expect().send(reply.toStdString()).pause(200);
    auto received = std::make_shared<std::atomic<long>>(0);
    CFTPClient client(std::make_shared<CountingSocket>(received), Timeout, bufferSize);
    RecordingObserver observer;
    client.AttachObserver(&observer);
    QVERIFY(connect(client, server));

    QCOMPARE(client.Noop(), -1);
    QCOMPARE(observer.errors.size(), size_t(1));
    QVERIFY(QString::fromStdString(observer.errors.front()).contains("exceeds"));
    QVERIFY(!client.IsConnected());
    // What was read stays within the reply being assembled, as much again
    // queued behind it, and the buffers in flight.
    QVERIFY2(static_cast<size_t>(*received) <= 2 * CFTPClient::MaxResponseLength + 2 * bufferSize + 64 * 1024,
             qPrintable(QString::number(*received)));
}

void TestFtpClientSession::stallsAndDropsEndTheConnection_data()
{
    QTest::addColumn<bool>("stall");
    QTest::newRow("server stalls") << true;
    QTest::newRow("server drops in a multi-line reply") << false;
}

void TestFtpClientSession::stallsAndDropsEndTheConnection()
{
    QFETCH(bool, stall);
    ScriptedFtpServer server;
    server.reply("220 ready").expect();
    if (stall)
        server.pause(4000);
    else
        server.send("230-partial\r\n230-more").drop();
    CFTPClient client(nsSocket::CreateDefaultBlockingSocketInstance(), Timeout);
    RecordingObserver observer;
    client.AttachObserver(&observer);
    QVERIFY(connect(client, server));
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(client.Noop(), -1);
    QVERIFY(timer.elapsed() < 3500);
    QCOMPARE(observer.errors.size(), size_t(1));
    QVERIFY(!stall || QString::fromStdString(observer.errors.front()).startsWith("Receive timeout"));
    QVERIFY(!client.IsConnected());
    // A dropped connection is no connection: nothing more is attempted.
    QVERIFY(!client.SendCommand(CCommand::cmdNOOP, CArg()));
}

void TestFtpClientSession::dataConnections_data()
{
    QTest::addColumn<bool>("passive");
    QTest::addColumn<QString>("advertised"); // the host the PASV reply names
    QTest::addColumn<bool>("fromControlPeer");
    QTest::addColumn<QString>("restReply"); // empty: no restart
    QTest::addColumn<bool>("transferred");

    QTest::newRow("passive") << true << "127,0,0,1" << false << "" << true;
    QTest::newRow("active") << false << "" << false << "" << true;
    QTest::newRow("PASV names another host") << true << "192,0,2,7" << false << "" << false;
    QTest::newRow("PASV host overridden by the server's") << true << "192,0,2,7" << true << "" << true;
    QTest::newRow("restart accepted") << true << "127,0,0,1" << false << "350 ok" << true;
    QTest::newRow("restart refused: no RETR") << true << "127,0,0,1" << false << "502 no" << false;
}

void TestFtpClientSession::dataConnections()
{
    QFETCH(bool, passive);
    QFETCH(QString, advertised);
    QFETCH(bool, fromControlPeer);
    QFETCH(QString, restReply);
    QFETCH(bool, transferred);
    ScriptedFtpServer server;
    server.reply("220 ready").answer("200 type");
    if (passive)
        server.expect().passive(advertised.toStdString());
    else
        server.answer("200 port");
    if (!restReply.isEmpty())
        server.answer(restReply.toStdString());
    if (transferred)
        server.answer("150 here").sendData("a\r\nb c\r\n").closeData().reply("226 done");
    auto connects = std::make_shared<std::vector<std::string>>();
    CFTPClient client(std::make_shared<LoopbackOnlySocket>(connects), Timeout);
    QVERIFY(!client.IsPassiveAddressFromControlPeer());
    client.SetPassiveAddressFromControlPeer(fromControlPeer);
    QVERIFY(connect(client, server));
    COutputStream target("\r\n", "mem");
    const bool ok = client.ExecuteDatachannelCommand(CCommand::cmdRETR, "f", CType::Image(), passive,
                                                     restReply.isEmpty() ? 0 : 100, target);
    QVERIFY2(ok == transferred, server.failure().c_str());
    QCOMPARE(target.GetBuffer(), tstring(transferred ? "a\r\nb c\r\n" : ""));
    server.waitFinished();
    const QStringList commands = toQt(server.commands());
    QCOMPARE(commands.size(), 2 + !restReply.isEmpty() + transferred);
    QCOMPARE(commands[0], QString("TYPE I"));
    QVERIFY2(passive ? commands[1] == "PASV" : commands[1].startsWith("PORT 127,0,0,1,"), qPrintable(commands[1]));
    if (!restReply.isEmpty())
        QCOMPARE(commands[2], QString("REST 100"));
    if (transferred)
        QCOMPARE(commands.last(), QString("RETR f"));
    if (passive)
        QCOMPARE(connects->back(), std::string(fromControlPeer || advertised == "127,0,0,1" ? "127.0.0.1" : "192.0.2.7"));
}

void TestFtpClientSession::abortStopsTheDownload()
{
    ScriptedFtpServer server;
    server.reply("220 ready").answer("200 type").expect().passive().answer("150 here");
    server.sendData(std::string(8 * 1024 * 1024, 'z')).expect().reply("426 aborted").reply("226 abor ok").answer("200 ok");
    CFTPClient client(nsSocket::CreateDefaultBlockingSocketInstance(), Timeout, 16 * 1024);
    RecordingObserver observer;
    observer.onBytes = [&client] { QCOMPARE(client.Abort(), 0); };
    client.AttachObserver(&observer);
    QVERIFY(connect(client, server));

    COutputStream target("\r\n", "mem");
    QVERIFY(!client.ExecuteDatachannelCommand(CCommand::cmdRETR, "big", CType::Image(), true, 0, target));
    // The loop stops after the block in which the abort came.
    QCOMPARE(target.GetBuffer().size(), size_t(observer.received));
    QVERIFY(observer.received <= 16 * 1024);
    QVERIFY(!client.IsTransferringData());
    // Both replies of the abort were taken; the next command reads its own.
    QCOMPARE(client.Noop(), 0);
    server.waitFinished();
    QCOMPARE(toQt(server.commands()), (QStringList{"TYPE I", "PASV", "RETR big", "ABOR", "NOOP"}));
}

void TestFtpClientSession::abortFromAnotherThread_data()
{
    QTest::addColumn<bool>("duringTransfer");
    QTest::newRow("during a download") << true;
    QTest::newRow("while a command waits for its reply, then idle") << false;
}

void TestFtpClientSession::abortFromAnotherThread()
{
    QFETCH(bool, duringTransfer);
    ScriptedFtpServer server;
    server.reply("220 ready");
    if (duringTransfer) {
        server.answer("200 type").expect().passive().answer("150 here");
        server.sendData(std::string(8 * 1024 * 1024, 'z')).expect().reply("426 aborted").reply("226 abor ok");
    } else {
        server.expect().pause(1500).reply("200 ok").answer("225 no transfer to abort");
    }
    CFTPClient client(nsSocket::CreateDefaultBlockingSocketInstance(), 10, 16 * 1024);
    std::atomic<bool> started{false};
    // The order in which commands left and replies came, as the client's one thread of use sees it.
    QStringList events;
    struct Events : CFTPClient::CNotification
    {
        Events(QStringList& list, std::atomic<bool>& flag) : events(list), started(flag) {}
        void OnSendCommand(const CCommand& command, const CArg&) override { events << QString::fromStdString(command.AsString()); }
        void OnResponse(const CFTPClient::CReply& reply) override { events << QString::fromStdString(reply.Code().Value()); }
        void OnBytesReceived(const std::vector<char>&, long) override { started = true; }
        QStringList& events;
        std::atomic<bool>& started;
    } observer(events, started);
    QVERIFY(connect(client, server));
    client.AttachObserver(&observer);

    int abortResult = -2;
    std::thread other([&] {
        if (duringTransfer) {
            while (!started)
                std::this_thread::yield();
        } else {
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
        abortResult = client.Abort();
    });
    if (duringTransfer) {
        COutputStream target("\r\n", "mem");
        QVERIFY(!client.ExecuteDatachannelCommand(CCommand::cmdRETR, "big", CType::Image(), true, 0, target));
        QVERIFY(target.GetBuffer().size() < 8u * 1024 * 1024);
    } else {
        QCOMPARE(client.Noop(), 0);
    }
    other.join();
    QCOMPARE(abortResult, 0);
    if (!duringTransfer) {
        // Nothing was written while NOOP waited; with the client idle, ABOR goes out and takes its reply.
        QCOMPARE(events, (QStringList{"NOOP", "200"}));
        abortResult = -2;
        std::thread([&] { abortResult = client.Abort(); }).join();
        QCOMPARE(abortResult, 0);
    }
    server.waitFinished();
    QVERIFY2(server.failure().empty(), server.failure().c_str());
    if (duringTransfer)
        QCOMPARE(events, (QStringList{"TYPE", "200", "PASV", "227", "RETR", "150", "ABOR", "426", "226"}));
    else
        QCOMPARE(events, (QStringList{"NOOP", "200", "ABOR", "225"}));
}

void TestFtpClientSession::emptyUploadSucceeds()
{
    ScriptedFtpServer server;
    server.reply("220 ready").answer("550 no such file").answer("200 type").expect().passive().answer("150 send");
    server.receiveData().reply("226 stored");
    CFTPClient client(nsSocket::CreateDefaultBlockingSocketInstance(), Timeout);
    QVERIFY(connect(client, server));
    RecordingObserver observer;
    client.AttachObserver(&observer);
    COutputStream source("\r\n", "empty");
    QVERIFY(client.UploadFile(source, "e", false, CType::Image()));
    server.waitFinished();
    QCOMPARE(toQt(server.commands()), (QStringList{"SIZE e", "TYPE I", "PASV", "STOR e"}));
    QVERIFY(server.receivedData().empty());
}

void TestFtpClientSession::failedDownloadLeavesTheLocalFile_data()
{
    QTest::addColumn<bool>("resume");
    QTest::addColumn<QByteArray>("before");
    QTest::addColumn<Script>("script");
    QTest::addColumn<bool>("downloaded");
    QTest::addColumn<QByteArray>("after");
    QTest::addColumn<QString>("error");

    const QByteArray none = "<missing>";
    const auto retr = [](const std::string& size, const std::string& rest, const std::string& preliminary) {
        return [=](ScriptedFtpServer& server) {
            server.answer(size).answer("200 type").expect().passive();
            if (!rest.empty())
                server.answer(rest);
            server.answer(preliminary);
        };
    };
    const auto missing = retr("550 no", "", "550 no such file");
    const auto stalls = [=](ScriptedFtpServer& server) { retr("213 10", "", "150 here")(server); server.sendData("01234").pause(2500); };
    QTest::newRow("missing remote file, existing local file") << false << QByteArray("precious") << Script(missing) << false
                                                               << QByteArray("precious") << "";
    QTest::newRow("missing remote file, no local file") << false << none << Script(missing) << false << none << "";
    QTest::newRow("missing remote file, resume on") << true << none << Script(missing) << false << none << "";
    QTest::newRow("broken download, resume off") << false << QByteArray("precious") << Script(stalls) << false
                                                << QByteArray("precious") << "Receive timeout";
    QTest::newRow("broken download, resume on, keeps what arrived") << true << none << Script(stalls) << false
                                                                    << QByteArray("01234") << "Receive timeout";
    QTest::newRow("resumed download completes")
        << true << QByteArray("01234")
        << Script([=](ScriptedFtpServer& server) {
               retr("213 10", "350 rest", "150 here")(server);
               server.sendData("56789").closeData().reply("226 done");
           })
        << true << QByteArray("0123456789") << "";
    QTest::newRow("shorter than SIZE said")
        << false << QByteArray("precious")
        << Script([=](ScriptedFtpServer& server) {
               retr("213 10", "", "150 here")(server);
               server.sendData("01234").closeData().reply("226 done");
           })
        << false << QByteArray("precious") << "The transfer ended after 5 of 10 bytes.";
    QTest::newRow("shorter than the 150 reply said")
        << false << none
        << Script([=](ScriptedFtpServer& server) {
               retr("550 no size", "", "150 Opening BINARY mode data connection for f (10 bytes).")(server);
               server.sendData("01234").closeData().reply("226 done");
           })
        << false << none << "The transfer ended after 5 of 10 bytes.";
}

void TestFtpClientSession::failedDownloadLeavesTheLocalFile()
{
    QFETCH(bool, resume);
    QFETCH(QByteArray, before);
    QFETCH(Script, script);
    QFETCH(QString, error);
    QTemporaryDir dir;
    const QString local = dir.filePath("report.csv");
    if (before != "<missing>")
        QVERIFY(writeTestFile(local, before));

    ScriptedFtpServer server;
    server.reply("220 ready");
    script(server);
    CFTPClient client(nsSocket::CreateDefaultBlockingSocketInstance(), Timeout);
    client.SetResumeMode(resume);
    RecordingObserver observer;
    client.AttachObserver(&observer);
    QVERIFY(connect(client, server));
    QTEST(client.DownloadFile("f", local.toStdString(), CType::Image()), "downloaded");
    QTEST(readTestFile(local), "after");
    // No temporary file is left beside the target.
    QCOMPARE(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden).size(), QFile::exists(local) ? 1 : 0);
    if (!error.isEmpty())
        QVERIFY2(!observer.errors.empty() && QString::fromStdString(observer.errors.front()).startsWith(error),
                 observer.errors.empty() ? "no error" : observer.errors.front().c_str());
}

void TestFtpClientSession::textModeLineEnds_data()
{
    QTest::addColumn<bool>("download");
    QTest::addColumn<QByteArray>("network");
    QTest::addColumn<QByteArray>("local");

    QTest::newRow("download") << true << QByteArray("ab\r\nc\rd\r\n\r\n\r") << QByteArray("ab\nc\rd\n\n\r");
    QTest::newRow("upload") << false << QByteArray("ab\r\ncd\r\n\r\nx") << QByteArray("ab\ncd\r\n\nx");
}

void TestFtpClientSession::textModeLineEnds()
{
    QFETCH(bool, download);
    QFETCH(QByteArray, network);
    QFETCH(QByteArray, local);
    QTemporaryDir dir;
    const QString file = dir.filePath("text.txt");
    ScriptedFtpServer server;
    server.reply("220 ready");
    if (download) {
        server.answer("550 no size in text mode").answer("200 type").expect().passive().answer("150 here");
        server.sendData(network.toStdString()).closeData().reply("226 done");
    } else {
        QVERIFY(writeTestFile(file, local));
        server.answer("200 type").expect().passive().answer("150 send").receiveData().reply("226 stored");
    }
    // Reads of 4 bytes cut CR LF pairs apart, and the last reply ends on a read's edge as the server closes.
    CFTPClient client(nsSocket::CreateDefaultBlockingSocketInstance(), Timeout, 5);
    client.SetResumeMode(false);
    QVERIFY(connect(client, server));
    if (download) {
        QVERIFY(client.DownloadFile("t", file.toStdString(), CType::ASCII()));
        QCOMPARE(readTestFile(file), local);
    } else {
        QVERIFY(client.UploadFile(file.toStdString(), "t", false, CType::ASCII()));
        server.waitFinished();
        QCOMPARE(QByteArray::fromStdString(server.receivedData()), network);
    }
}

void TestFtpClientSession::serverToServerCopyOrder_data()
{
    QTest::addColumn<bool>("downloadForm");
    QTest::addColumn<bool>("passive");
    QTest::addColumn<bool>("sourceSendsPasv");
    QTest::addColumn<int>("copyMs");

    QTest::newRow("download, passive: source is passive") << true << true << true << 0;
    QTest::newRow("download, active: target is passive") << true << false << false << 0;
    QTest::newRow("upload, passive: target is passive") << false << true << false << 0;
    QTest::newRow("upload, active: source is passive") << false << false << true << 0;
    // The servers are busy copying, not stalled: the idle time-out must not end the wait.
    QTest::newRow("a copy longer than the time-out") << true << true << true << 1500;
}

void TestFtpClientSession::serverToServerCopyOrder()
{
    QFETCH(bool, downloadForm);
    QFETCH(bool, passive);
    QFETCH(bool, sourceSendsPasv);
    QFETCH(int, copyMs);
    ScriptedFtpServer source;
    ScriptedFtpServer target;
    source.reply("220 source").answer("200 type");
    target.reply("220 target").answer("200 type");
    (sourceSendsPasv ? source : target).answer("227 Entering Passive Mode (127,0,0,1,19,137)");
    (sourceSendsPasv ? target : source).answer("200 port");
    source.expect().reply("150 sending").pause(copyMs).reply("226 sent");
    target.answer("150 receiving").reply("226 stored");

    CFTPClient sourceClient(nsSocket::CreateDefaultBlockingSocketInstance(), Timeout);
    CFTPClient targetClient(nsSocket::CreateDefaultBlockingSocketInstance(), Timeout);
    QVERIFY(connect(sourceClient, source));
    QVERIFY(connect(targetClient, target));
    const bool copied = downloadForm ? sourceClient.DownloadFile("a", targetClient, "b", CType::Image(), passive)
                                     : targetClient.UploadFile(sourceClient, "a", "b", CType::Image(), passive);
    QVERIFY(copied);
    source.waitFinished();
    target.waitFinished();
    const QString pasv = "PASV", port = "PORT 127,0,0,1,19,137";
    QCOMPARE(toQt(source.commands()), (QStringList{"TYPE I", sourceSendsPasv ? pasv : port, "RETR a"}));
    QCOMPARE(toQt(target.commands()), (QStringList{"TYPE I", sourceSendsPasv ? port : pasv, "STOR b"}));
}

QTEST_GUILESS_MAIN(TestFtpClientSession)
#include "tst_ftpclientsession.moc"
