// The FTP client against the scripted server: what is sent, how replies are
// read, and the failures real servers cannot be made to produce.

#include "ftptestclient.h"
#include "scriptedftpserver.h"

#include <vetrel/FtpClient/FTPTransferTargets.h>

#include <QTemporaryDir>
#include <QtTest>

#include <atomic>
#include <thread>

using namespace nsFTP;

namespace
{

/// Refuses, and records, connections to anything but 127.0.0.1, and counts the bytes the client takes in.
class SpySocket : public nsSocket::CBlockingSocket
{
public:
    struct Record
    {
        std::vector<std::string> connects;
        std::atomic<long> received{0};
    };
    explicit SpySocket(std::shared_ptr<Record> record) : m_record(std::move(record)) {}

    std::shared_ptr<IBlockingSocket> CreateInstance() const override { return std::make_shared<SpySocket>(m_record); }
    void Connect(const sockaddr* psa) const override
    {
        m_record->connects.push_back(nsSocket::CSockAddr(*psa).DottedDecimal());
        if (m_record->connects.back() != "127.0.0.1")
            throw nsSocket::CBlockingSocketException("Connect");
        CBlockingSocket::Connect(psa);
    }
    int Receive(char* pch, int nSize, int nSecs) const override
    {
        const int count = CBlockingSocket::Receive(pch, nSize, nSecs);
        m_record->received += count;
        return count;
    }

private:
    std::shared_ptr<Record> m_record;
};

/// A client with a one-second time-out, its observer, and the scripted server it talks to.
struct Session
{
    explicit Session(const QStringList& script, unsigned int bufferSize = 256 * 1024, unsigned int timeout = 1)
        : server(script), client(std::make_shared<SpySocket>(spy), timeout, bufferSize, 0, "/start")
    {
        client.AttachObserver(&observer);
    }
    /// Connects and reads the greeting.
    bool open()
    {
        server.start();
        CFTPClient::CReply reply;
        return client.OpenControlChannel("127.0.0.1", server.port()) && client.GetResponse(reply);
    }

    std::shared_ptr<SpySocket::Record> spy = std::make_shared<SpySocket::Record>();
    ScriptedFtpServer server;
    RecordingObserver observer;
    CFTPClient client;
};

}

using ClientCall = std::function<int(CFTPClient&)>;
Q_DECLARE_METATYPE(ClientCall)

class TestFtpClientSession : public QObject
{
    Q_OBJECT

private slots:
    void replies_data()
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
    void replies()
    {
        QFETCH(QStringList, pieces);
        QFETCH(QString, text);
        Session s({"?"});
        for (const QString& piece : pieces)
            s.server.send(piece.toStdString()).pause(30);
        QVERIFY(s.open());
        QVERIFY(s.client.SendCommand(CCommand::cmdNOOP, CArg()));
        CFTPClient::CReply reply;
        QTEST(s.client.GetResponse(reply), "result");
        QTEST(QString::fromStdString(reply.Code().Value()), "code");
        QCOMPARE(QString::fromStdString(reply.Value()), text);
        QCOMPARE(s.observer.lastReply, text);
    }

    void queuedLinesComeFromOneReceive()
    {
        Session s{QStringList()};
        s.server.send("220 a\r\n221 b\r\n").pause(1500);
        s.server.start();
        QVERIFY(s.client.OpenControlChannel("127.0.0.1", s.server.port()));
        // Both lines arrive in one segment; the second must come from the queue,
        // not from another receive (which would time out while the server waits).
        tstring first, second;
        QVERIFY(s.client.GetSingleResponseLine(first) && s.client.GetSingleResponseLine(second));
        QCOMPARE(first + "|" + second, tstring("220 a|221 b"));
    }

    void observersDetachOnBothSides()
    {
        auto client = std::make_unique<CFTPClient>();
        auto first = std::make_unique<RecordingObserver>();
        RecordingObserver second;
        client->AttachObserver(first.get());
        client->AttachObserver(first.get());
        client->AttachObserver(&second);
        QCOMPARE(client->GetObservers().size(), size_t(2));
        first.reset();
        QVERIFY(client->GetObservers().size() == 1 && client->GetObservers().count(&second));
        // The client goes first: the observer must not reach back into it when it goes.
        client.reset();
        CFTPClient other;
        other.AttachObserver(&second);
        other.DetachObserver(&second);
        QVERIFY(other.GetObservers().empty());
    }

    void logonSequences_data()
    {
        QTest::addColumn<int>("firewallType");
        QTest::addColumn<int>("hostPort");
        QTest::addColumn<QString>("answers"); // separated by '|', as are the commands
        QTest::addColumn<QString>("expectedCommands");
        QTest::addColumn<bool>("loggedOn");
        QTest::addColumn<bool>("logonFailedReported");

        const auto row = [](const char* tag, int type, int port, const char* answers, const QString& commands, bool ok, bool reported) {
            QTest::newRow(tag) << type << port << answers << commands << ok << reported;
        };
        row("none, 230 to USER needs no PASS", 0, 21, "230 ok|250 ok", "USER joe|CWD /start", true, false);
        row("none, with PASS and ACCT", 0, 21, "331 pw|332 acct|230 ok|250 ok", "USER joe|PASS pw|ACCT acc|CWD /start", true, false);
        row("none, 3xx to ACCT fails", 0, 21, "331 pw|332 acct|332 again", "USER joe|PASS pw|ACCT acc", false, true);
        row("none, 530 to PASS", 0, 21, "331 pw|530 no", "USER joe|PASS pw", false, false);
        row("SITE hostname, port 21", 1, 21, "331 fw|230 fw ok|331 site|331 user|230 ok|250 ok",
            "USER fwjoe|PASS fwpw|SITE ftp.example|USER joe|PASS pw|CWD /start", true, false);
        row("SITE hostname, other port, 2xx to SITE fails", 1, 2121, "230 fw ok|200 site", "USER fwjoe|SITE ftp.example:2121",
            false, true);
        row("USER after logon", 2, 21, "331 fw|230 fw ok|331 user|230 ok|250 ok",
            "USER fwjoe|PASS fwpw|USER joe@ftp.example|PASS pw|CWD /start", true, false);
        row("proxy OPEN", 3, 2121, "220 open|331 user|230 ok|250 ok", "OPEN ftp.example:2121|USER joe|PASS pw|CWD /start", true, false);
        row("transparent", 4, 21, "331 fw|230 fw ok|331 user|230 ok|250 ok", "USER fwjoe|PASS fwpw|USER joe|PASS pw|CWD /start",
            true, false);
        row("USER with no logon", 5, 21, "331 user|230 ok|250 ok", "USER joe@ftp.example|PASS pw|CWD /start", true, false);
        row("USER fireID@remotehost", 6, 21, "331 fw|230 fw ok|331 user|230 ok|250 ok",
            "USER fwjoe@ftp.example|PASS fwpw|USER joe|PASS pw|CWD /start", true, false);
        row("USER remoteID@remotehost fireID", 7, 21, "331 pw|230 ok|250 ok", "USER joe@ftp.example fwjoe|PASS pw|CWD /start", true, false);
        row("USER remoteID@remotehost fireID, 2xx to USER fails", 7, 21, "230 ok", "USER joe@ftp.example fwjoe", false, true);
        row("USER remoteID@fireID@remotehost", 8, 21, "331 pw|230 ok|250 ok", "USER joe@fwjoe@ftp.example|PASS pw@fwpw|CWD /start",
            true, false);
        row("start directory refused", 0, 21, "230 ok|550 no", "USER joe|CWD /start", false, false);
    }
    void logonSequences()
    {
        QFETCH(int, firewallType);
        QFETCH(int, hostPort);
        QFETCH(QString, answers);
        QFETCH(QString, expectedCommands);
        Session s(answers.split('|'));
        // Under a firewall the client connects to the firewall; the remote host is only named.
        const bool direct = firewallType == 0;
        const CLogonInfo info(direct ? "127.0.0.1" : "ftp.example", direct ? s.server.port() : hostPort, "joe", "pw",
                              "acc", "127.0.0.1", "fwjoe", "fwpw", s.server.port(),
                              CFirewallType(static_cast<CFirewallType::TFirewallTypeEnum>(firewallType)));
        s.server.start();
        QTEST(s.client.Login(info), "loggedOn");
        s.server.waitFinished();
        QCOMPARE(s.server.commands(), expectedCommands.split('|'));
        QTEST(s.observer.errors.count("Logon failed.") == 1, "logonFailedReported");
    }

    void simpleCommands_data()
    {
        QTest::addColumn<ClientCall>("call");
        QTest::addColumn<QStringList>("answers");
        QTest::addColumn<QStringList>("expectedCommands");
        QTest::addColumn<int>("result");

        // Answers and commands separated by '|'; 0 for the expected reply class, 1 for a refusal, -1 for a reply
        // that makes no sense there, 99 for a wrong value read from a reply.
        const auto row = [](const char* name, ClientCall call, const QString& answers, const QString& expected, int result) {
            QTest::newRow(name) << call << answers.split('|') << expected.split('|') << result;
        };
#define CALL(...) [](CFTPClient& c) { __VA_ARGS__; }
        row("argument with a blank, 2xx", CALL(return c.ChangeWorkingDirectory("/a b")), "250 ok", "CWD /a b", 0);
        row("no argument, 5xx", CALL(return c.ChangeToParentDirectory()), "550 no", "CDUP", 1);
        row("1xx where none belongs", CALL(return c.Noop()), "120 soon", "NOOP", -1);
        row("TYPE is sent once while it holds",
            CALL(return c.RepresentationType(CType::Image()) + c.RepresentationType(CType::Image())), "200 ok", "TYPE I", 0);
        row("TYPE is sent again after a refusal",
            CALL(return c.RepresentationType(CType::Image()) + 10 * c.RepresentationType(CType::Image())), "500 no|200 ok",
            "TYPE I|TYPE I", 1);
        row("rename", CALL(return c.Rename("a", "b")), "350 go on|250 ok", "RNFR a|RNTO b", 0);
        row("rename, 2xx to RNFR", CALL(return c.Rename("a", "b")), "250 odd", "RNFR a", -1);
        row("PORT", CALL(return c.DataPort("10.0.0.5", 5001)), "200 ok", "PORT 10,0,0,5,19,137", 0);
        row("PASV", CALL(unsigned int ip = 0; unsigned short port = 0;
                         return c.Passive(ip, port) == 0 && ip == 0xC0A80102u && port == 5001 ? 0 : 99),
            "227 Entering Passive Mode (192,168,1,2,19,137).", "PASV", 0);
        const ClientCall pasv = CALL(unsigned int ip; unsigned short port; return c.Passive(ip, port));
        row("PASV without an address", pasv, "227 Entering Passive Mode 192,168,1,2,19,137", "PASV", -1);
        row("PASV with a number above 255", pasv, "227 (192,168,1,256,19,137)", "PASV", -1);
        row("SIZE", CALL(long size = 0; return c.FileSize("f", size) == 0 && size == 123456789 ? 0 : 99), "213 123456789", "SIZE f", 0);
        row("SIZE not a number", CALL(long size = 0; return c.FileSize("f", size)), "213 big", "SIZE f", -1);
        row("MDTM", CALL(tm t{}; return c.FileModificationTime("f", t) == 0 && t.tm_year == 124 && t.tm_mon == 1 && t.tm_mday == 29
                                               && t.tm_hour == 23 && t.tm_min == 59 && t.tm_sec == 58 ? 0 : 99),
            "213 20240229235958.123", "MDTM f", 0);
        row("MDTM garbled", CALL(tm t{}; return c.FileModificationTime("f", t)), "213 2024-02-29", "MDTM f", -1);
        row("MDTM on a leap second", CALL(tm t{}; return c.FileModificationTime("f", t) == 0 && t.tm_sec == 60 ? 0 : 99),
            "213 20161231235960", "MDTM f", 0);
        row("QUIT", CALL(const int result = c.Logout(); return c.IsConnected() ? 99 : result), "221 bye", "QUIT", 0);
        row("resumed upload onto a longer remote file",
            CALL(COutputStream source("\r\n", "short"); source.SetBuffer("012");
                 return c.UploadFile(source, "f", false, CType::Image()) ? 0 : 1),
            "213 10", "SIZE f", 1);
#undef CALL
    }
    void simpleCommands()
    {
        QFETCH(ClientCall, call);
        QFETCH(QStringList, answers);
        Session s(answers);
        QVERIFY(s.open());
        QTEST(call(s.client), "result");
        s.server.waitFinished();
        QTEST(s.server.commands(), "expectedCommands");
    }

    void lineBreaksAreNeverSent()
    {
        Session s({"200 ok"});
        QVERIFY(s.open());
        CFTPClient& client = s.client;
        QCOMPARE(client.Delete("a\r\nDELE b"), -1);
        QCOMPARE(client.ChangeWorkingDirectory("x\ny"), -1);
        QCOMPARE(client.Rename("good", "bad\rname"), -1);
        QVERIFY(!client.SendCommand(CCommand::cmdSITE, CArg("EXEC\nrm")));
        QVERIFY(!client.DownloadFile("f\r\n", "/dev/null", CType::Image()));
        COutputStream stream("\r\n", "up");
        QVERIFY(!client.UploadFile(stream, "f\n", false, CType::Image()));
        QCOMPARE(s.observer.errors.size(), 6);
        QVERIFY(s.observer.sent.isEmpty());
        // Nothing reached the server before this command.
        QCOMPARE(client.Noop(), 0);
        s.server.waitFinished();
        QCOMPARE(s.server.commands(), QStringList{"NOOP"});
        QVERIFY(client.IsConnected());
    }

    void brokenRepliesEndTheConnection_data()
    {
        QTest::addColumn<QByteArray>("reply");
        QTest::addColumn<QString>("then"); // what the server does after the reply
        QTest::addColumn<unsigned int>("bufferSize");
        QTest::addColumn<QString>("error");

        const unsigned int defaultBuffer = 256 * 1024;
        const QByteArray longLine(CFTPClient::MaxResponseLineLength, 'x');
        QTest::newRow("line without end") << QByteArray(longLine + "xxxxxxxxxx") << "~200" << defaultBuffer << "exceeds";
        QTest::newRow("line with end") << QByteArray("200 " + longLine + "\r\n") << "~200" << defaultBuffer << "exceeds";
        // Far more than any reply may hold, sent as fast as the client reads.
        QByteArray endless = "200-start\r\n";
        while (static_cast<size_t>(endless.size()) <= 4 * CFTPClient::MaxResponseLength)
            endless += "200-" + QByteArray(1000, 'y') + "\r\n";
        QTest::newRow("endless multi-line reply, default buffer") << endless << "~200" << defaultBuffer << "exceeds";
        QTest::newRow("endless multi-line reply, small buffer") << endless << "~200" << 4096u << "exceeds";
        QTest::newRow("server stalls") << QByteArray() << "~4000" << defaultBuffer << "Receive timeout";
        QTest::newRow("server drops in a multi-line reply") << QByteArray("230-partial\r\n230-more") << "drop"
                                                            << defaultBuffer << "";
    }
    void brokenRepliesEndTheConnection()
    {
        QFETCH(QByteArray, reply);
        QFETCH(QString, then);
        QFETCH(unsigned int, bufferSize);
        QFETCH(QString, error);
        Session s({"?"}, bufferSize);
        s.server.send(reply.toStdString());
        if (then == "drop")
            s.server.drop();
        else
            s.server.pause(then.mid(1).toInt());
        QVERIFY(s.open());
        QElapsedTimer timer;
        timer.start();
        QCOMPARE(s.client.Noop(), -1);
        QVERIFY(timer.elapsed() < 3500);
        QCOMPARE(s.observer.errors.size(), 1);
        QVERIFY2(s.observer.errors.front().contains(error), qPrintable(s.observer.errors.front()));
        QVERIFY(!s.client.IsConnected());
        // A dropped connection is no connection: nothing more is attempted.
        QVERIFY(!s.client.SendCommand(CCommand::cmdNOOP, CArg()));
        // What was read stays within the reply being assembled, as much again
        // queued behind it, and the buffers in flight.
        QVERIFY2(static_cast<size_t>(s.spy->received) <= 2 * CFTPClient::MaxResponseLength + 2 * bufferSize + 64 * 1024,
                 qPrintable(QString::number(s.spy->received)));
    }

    void dataConnections_data()
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
    void dataConnections()
    {
        QFETCH(bool, passive);
        QFETCH(QString, advertised);
        QFETCH(bool, fromControlPeer);
        QFETCH(QString, restReply);
        QFETCH(bool, transferred);
        QStringList script{"200 type", passive ? QString("PASV@" + advertised) : QString("200 port")};
        if (!restReply.isEmpty())
            script << restReply;
        if (transferred)
            script << "150 here" << ">a\r\nb c\r\n" << "!226 done";
        Session s(script);
        QVERIFY(!s.client.IsPassiveAddressFromControlPeer());
        s.client.SetPassiveAddressFromControlPeer(fromControlPeer);
        QVERIFY(s.open());
        COutputStream target("\r\n", "mem");
        const bool ok = s.client.ExecuteDatachannelCommand(CCommand::cmdRETR, "f", CType::Image(), passive,
                                                           restReply.isEmpty() ? 0 : 100, target);
        QVERIFY2(ok == transferred, s.server.failure().c_str());
        QCOMPARE(target.GetBuffer(), tstring(transferred ? "a\r\nb c\r\n" : ""));
        s.server.waitFinished();
        const QStringList commands = s.server.commands();
        QCOMPARE(commands.size(), 2 + !restReply.isEmpty() + transferred);
        QCOMPARE(commands[0], QString("TYPE I"));
        QVERIFY2(passive ? commands[1] == "PASV" : commands[1].startsWith("PORT 127,0,0,1,"), qPrintable(commands[1]));
        QVERIFY(restReply.isEmpty() || commands[2] == "REST 100");
        QVERIFY(!transferred || commands.last() == "RETR f");
        if (passive)
            QCOMPARE(s.spy->connects.back(), std::string(fromControlPeer || advertised == "127,0,0,1" ? "127.0.0.1" : "192.0.2.7"));
    }

    void abort_data()
    {
        QTest::addColumn<int>("from"); // 0: the client's own observer, 1: another thread in a download, 2: ... while idle
        QTest::addColumn<QStringList>("events");
        const QStringList download{"220", "TYPE", "200", "PASV", "227", "RETR", "150", "ABOR", "426", "226", "NOOP", "200"};
        QTest::newRow("during a download, from the observer") << 0 << download;
        QTest::newRow("during a download, from another thread") << 1 << download;
        QTest::newRow("while a command waits for its reply, then idle, from another thread")
            << 2 << QStringList{"220", "NOOP", "200", "ABOR", "225"};
    }
    void abort()
    {
        QFETCH(int, from);
        Session s(from == 2 ? QStringList{"?", "~1500", "!200 ok", "225 no transfer to abort"}
                            : QStringList{"200 type", "PASV", "150 here"},
                  16 * 1024, 10);
        if (from != 2) {
            s.server.sendData(std::string(8 * 1024 * 1024, 'z')).expect().send("426 aborted\r\n").send("226 abor ok\r\n");
            s.server.expect().send("200 ok\r\n");
        }
        QVERIFY(s.open());
        std::atomic<bool> started{false};
        std::atomic<int> abortResult{-2};
        s.observer.onProgress = [&](long) {
            if (from == 0)
                abortResult = s.client.Abort();
            started = true;
        };
        std::thread other([&] {
            if (from == 1) {
                while (!started)
                    std::this_thread::yield();
            }
            if (from == 2)
                std::this_thread::sleep_for(std::chrono::milliseconds(100));
            if (from != 0)
                abortResult = s.client.Abort();
        });
        if (from == 2) {
            QCOMPARE(s.client.Noop(), 0);
            other.join();
            // Nothing was written while NOOP waited; with the client idle, ABOR goes out and takes its reply.
            QCOMPARE(s.observer.events, (QStringList{"220", "NOOP", "200"}));
            QCOMPARE(abortResult, 0);
            abortResult = -2;
            std::thread([&] { abortResult = s.client.Abort(); }).join();
        } else {
            COutputStream target("\r\n", "mem");
            QVERIFY(!s.client.ExecuteDatachannelCommand(CCommand::cmdRETR, "big", CType::Image(), true, 0, target));
            other.join();
            QVERIFY(target.GetBuffer().size() < 8u * 1024 * 1024);
            // From the observer the loop stops after the block in which the abort came.
            QVERIFY(from != 0 || (target.GetBuffer().size() == size_t(s.observer.bytes) && s.observer.bytes <= 16 * 1024));
            QVERIFY(!s.client.IsTransferringData());
            // Both replies of the abort were taken; the next command reads its own.
            QCOMPARE(s.client.Noop(), 0);
        }
        QCOMPARE(abortResult, 0);
        s.server.waitFinished();
        QVERIFY2(s.server.failure().empty(), s.server.failure().c_str());
        QTEST(s.observer.events, "events");
    }

    void emptyUploadSucceeds()
    {
        Session s({"550 no such file", "200 type", "PASV", "150 send", "<", "!226 stored"});
        QVERIFY(s.open());
        COutputStream source("\r\n", "empty");
        QVERIFY(s.client.UploadFile(source, "e", false, CType::Image()));
        s.server.waitFinished();
        QCOMPARE(s.server.commands(), (QStringList{"SIZE e", "TYPE I", "PASV", "STOR e"}));
        QVERIFY(s.server.receivedData().isEmpty());
    }

    void failedDownloadLeavesTheLocalFile_data()
    {
        QTest::addColumn<bool>("resume");
        QTest::addColumn<QByteArray>("before");
        QTest::addColumn<QStringList>("script");
        QTest::addColumn<bool>("downloaded");
        QTest::addColumn<QByteArray>("after");
        QTest::addColumn<QString>("error");

        const QByteArray none = "<missing>", precious = "precious";
        const auto row = [](const char* tag, bool resume, const QByteArray& before, const QStringList& script, bool ok,
                            const QByteArray& after, const QString& error = QString()) {
            QTest::newRow(tag) << resume << before << script << ok << after << error;
        };
        const QStringList missing{"550 no", "200 type", "PASV", "550 no such file"};
        const QStringList sized{"213 10", "200 type", "PASV"};
        const QStringList stalls = sized + QStringList{"150 here", "+01234", "~2500"};
        const QString cut = "The transfer ended after 5 of 10 bytes.";
        row("missing remote file, existing local file", false, precious, missing, false, precious);
        row("missing remote file, no local file", false, none, missing, false, none);
        row("missing remote file, resume on", true, none, missing, false, none);
        row("broken download, resume off", false, precious, stalls, false, precious, "Receive timeout");
        row("broken download, resume on, keeps what arrived", true, none, stalls, false, "01234", "Receive timeout");
        row("resumed download completes", true, "01234", sized + QStringList{"350 rest", "150 here", ">56789", "!226 done"}, true,
            "0123456789");
        row("shorter than SIZE said", false, precious, sized + QStringList{"150 here", ">01234", "!226 done"}, false, precious, cut);
        row("shorter than the 150 reply said", false, none,
            {"550 no size", "200 type", "PASV", "150 Opening BINARY mode data connection for f (10 bytes).", ">01234", "!226 done"},
            false, none, cut);
    }
    void failedDownloadLeavesTheLocalFile()
    {
        QFETCH(bool, resume);
        QFETCH(QByteArray, before);
        QFETCH(QStringList, script);
        QFETCH(QString, error);
        QTemporaryDir dir;
        const QString local = dir.filePath("report.csv");
        QVERIFY(before == "<missing>" || writeTestFile(local, before));
        Session s(script);
        s.client.SetResumeMode(resume);
        QVERIFY(s.open());
        QTEST(s.client.DownloadFile("f", local.toStdString(), CType::Image()), "downloaded");
        QTEST(readTestFile(local), "after");
        // No temporary file is left beside the target.
        QCOMPARE(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden).size(), QFile::exists(local) ? 1 : 0);
        QVERIFY2(error.isEmpty() || s.observer.errors.value(0).startsWith(error), qPrintable(s.observer.errors.join('\n')));
    }

    void textModeLineEnds_data()
    {
        QTest::addColumn<bool>("download");
        QTest::addColumn<QByteArray>("network");
        QTest::addColumn<QByteArray>("local");

        QTest::newRow("download") << true << QByteArray("ab\r\nc\rd\r\n\r\n\r") << QByteArray("ab\nc\rd\n\n\r");
        QTest::newRow("upload") << false << QByteArray("ab\r\ncd\r\n\r\nx") << QByteArray("ab\ncd\r\n\nx");
    }
    void textModeLineEnds()
    {
        QFETCH(bool, download);
        QFETCH(QByteArray, network);
        QFETCH(QByteArray, local);
        QTemporaryDir dir;
        const QString file = dir.filePath("text.txt");
        QVERIFY(download || writeTestFile(file, local));
        // Reads of 4 bytes cut CR LF pairs apart, and the last reply ends on a read's edge as the server closes.
        Session s(download ? QStringList{"550 no size in text mode", "200 type", "PASV", "150 here", ">" + QString::fromLatin1(network), "!226 done"}
                           : QStringList{"200 type", "PASV", "150 send", "<", "!226 stored"},
                  5);
        s.client.SetResumeMode(false);
        QVERIFY(s.open());
        if (download) {
            QVERIFY(s.client.DownloadFile("t", file.toStdString(), CType::ASCII()));
            QCOMPARE(readTestFile(file), local);
        } else {
            QVERIFY(s.client.UploadFile(file.toStdString(), "t", false, CType::ASCII()));
            s.server.waitFinished();
            QCOMPARE(s.server.receivedData(), network);
        }
    }

    void serverToServerCopyOrder_data()
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
    void serverToServerCopyOrder()
    {
        QFETCH(bool, downloadForm);
        QFETCH(bool, passive);
        QFETCH(bool, sourceSendsPasv);
        QFETCH(int, copyMs);
        const QString pasv = "227 Entering Passive Mode (127,0,0,1,19,137)";
        Session source({"200 type", sourceSendsPasv ? pasv : "200 port", "150 sending", "~" + QString::number(copyMs), "!226 sent"});
        Session target({"200 type", sourceSendsPasv ? "200 port" : pasv, "150 receiving", "!226 stored"});
        QVERIFY(source.open() && target.open());
        QVERIFY(downloadForm ? source.client.DownloadFile("a", target.client, "b", CType::Image(), passive)
                             : target.client.UploadFile(source.client, "a", "b", CType::Image(), passive));
        source.server.waitFinished();
        target.server.waitFinished();
        const QString port = "PORT 127,0,0,1,19,137";
        QCOMPARE(source.server.commands(), (QStringList{"TYPE I", sourceSendsPasv ? "PASV" : port, "RETR a"}));
        QCOMPARE(target.server.commands(), (QStringList{"TYPE I", sourceSendsPasv ? port : "PASV", "STOR b"}));
    }
};

QTEST_GUILESS_MAIN(TestFtpClientSession)
#include "tst_ftpclientsession.moc"
