// The FTP client against the scripted server: what is sent, how replies are
// read, and the failures real servers cannot be made to produce.

#include "ftptestclient.h"
#include "scriptedftpserver.h"

#include <vetrel/FtpClient/FTPTransferTargets.h>

#include <QtTest>

#include <atomic>
#include <thread>

using namespace nsFTP;

namespace
{

/// Refuses connections to anything but 127.0.0.1, and counts the bytes the client takes in.
struct SpySocket : nsSocket::CBlockingSocket
{
    static inline std::atomic<long> received{0};

    std::shared_ptr<IBlockingSocket> CreateInstance() const override { return std::make_shared<SpySocket>(); }
    void Connect(const sockaddr* psa) const override
    {
        if (nsSocket::CSockAddr(*psa).DottedDecimal() != "127.0.0.1")
            throw nsSocket::CBlockingSocketException("Connect");
        CBlockingSocket::Connect(psa);
    }
    int Receive(char* pch, int nSize, int nSecs) const override
    {
        const int count = CBlockingSocket::Receive(pch, nSize, nSecs);
        return received += count, count;
    }
};

/// A client with a one-second time-out, its observer, and the scripted server it talks to.
struct Session
{
    explicit Session(const QStringList& script, unsigned int bufferSize = 256 * 1024, unsigned int timeout = 1)
        : server(script), client(std::make_shared<SpySocket>(), timeout, bufferSize, 0, "/start")
    {
        client.AttachObserver(&observer);
        SpySocket::received = 0;
    }
    /// Connects and reads the greeting.
    bool open()
    {
        server.start();
        CFTPClient::CReply reply;
        return client.OpenControlChannel("127.0.0.1", server.port()) && client.GetResponse(reply);
    }

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
        QTest::addColumn<QStringList>("script"); // after the greeting and the NOOP
        QTest::addColumn<unsigned int>("bufferSize");
        QTest::addColumn<bool>("valid");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("error"); // empty: the connection stays

        const auto row = [](const char* tag, const QStringList& script, bool valid, const QString& text,
                            const QString& error = QString(), unsigned int bufferSize = 256 * 1024) {
            QTest::newRow(tag) << script << bufferSize << valid << text << error;
        };
        row("single line", {"=200 NOOP ok\r\n"}, true, "200 NOOP ok");
        // All in one read: the lines after the first come from the queue.
        row("multi-line ends only at its own number with a blank", {"=230-Welcome\r\n230-x\r\n231 x\r\n230 Done\r\n"}, true,
            "230-Welcome\r\n230-x\r\n231 x\r\n230 Done");
        row("multi-line split across reads", {"=23", "~30", "=0-Wel", "~30", "=come\r\n230 Do", "~30", "=ne\r\n"}, true,
            "230-Welcome\r\n230 Done");
        row("bare line feed is kept", {"=200 ok\n"}, true, "200 ok\n");
        row("first digit 0", {"=099 odd\r\n"}, false, "099 odd");
        row("second digit 6", {"=260 odd\r\n"}, false, "260 odd");
        row("too short for a code", {"=20\r\n"}, false, "20");
        const QString longLine(int(CFTPClient::MaxResponseLineLength), 'x');
        row("line without end", {"=" + longLine + "xxxxxxxxxx", "~200"}, false, "", "exceeds");
        row("line with end", {"=200 " + longLine + "\r\n", "~200"}, false, "", "exceeds");
        // Far more than any reply may hold, sent as fast as the client reads.
        QString endless = "=200-start\r\n";
        while (endless.size() <= 4 * int(CFTPClient::MaxResponseLength))
            endless += "200-" + QString(1000, 'y') + "\r\n";
        row("endless multi-line reply, default buffer", {endless, "~200"}, false, "", "exceeds");
        row("endless multi-line reply, small buffer", {endless, "~200"}, false, "", "exceeds", 4096);
        row("server stalls", {"~4000"}, false, "", "Receive timeout");
        row("server drops in a multi-line reply", {"=230-partial\r\n230-more", "drop"}, false, "", "closed");
    }
    void replies()
    {
        QFETCH(QStringList, script);
        QFETCH(unsigned int, bufferSize);
        QFETCH(bool, valid);
        QFETCH(QString, text);
        QFETCH(QString, error);
        Session s(QStringList{"?"} + script, bufferSize);
        QVERIFY(s.open());
        QElapsedTimer timer;
        timer.start();
        QVERIFY(s.client.SendCommand(CCommand::cmdNOOP, CArg()));
        CFTPClient::CReply reply;
        QCOMPARE(s.client.GetResponse(reply), valid);
        QVERIFY(timer.elapsed() < 3500);
        QCOMPARE(QString::fromStdString(reply.Code().Value()), valid ? text.left(3) : QString());
        QCOMPARE(s.client.IsConnected(), error.isEmpty());
        QCOMPARE(s.observer.errors.size(), int(!error.isEmpty()));
        if (error.isEmpty()) {
            QCOMPARE(QString::fromStdString(reply.Value()), text);
            QCOMPARE(s.observer.lastReply, text);
        } else {
            QVERIFY2(s.observer.errors.front().contains(error), qPrintable(s.observer.errors.front()));
            // A dropped connection is no connection: nothing more is attempted.
            QVERIFY(!s.client.SendCommand(CCommand::cmdNOOP, CArg()));
        }
        // What was read stays within the reply being assembled, as much again
        // queued behind it, and the buffers in flight.
        QVERIFY2(static_cast<size_t>(SpySocket::received) <= 2 * CFTPClient::MaxResponseLength + 2 * bufferSize + 64 * 1024,
                 qPrintable(QString::number(SpySocket::received)));
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
        // Refused, sent again, then held without a third TYPE.
        row("TYPE is sent until it holds", CALL(return c.RepresentationType(CType::Image()) == 1 && c.RepresentationType(CType::Image()) == 0
                                                  && c.RepresentationType(CType::Image()) == 0 ? 0 : 99), "500 no|200 ok", "TYPE I|TYPE I", 0);
        row("rename, 2xx to RNFR", CALL(return c.Rename("a", "b")), "250 odd", "RNFR a", -1);
        const ClientCall pasv = CALL(unsigned int ip; unsigned short port; return c.Passive(ip, port));
        row("PASV without an address", pasv, "227 Entering Passive Mode 192,168,1,2,19,137", "PASV", -1);
        row("PASV with a number above 255", pasv, "227 (192,168,1,256,19,137)", "PASV", -1);
        row("SIZE not a number", CALL(long size = 0; return c.FileSize("f", size)), "213 big", "SIZE f", -1);
        row("MDTM on a leap second, with a fraction",
            CALL(tm t{}; return c.FileModificationTime("f", t) == 0 && t.tm_year == 116 && t.tm_mon == 11 && t.tm_mday == 31
                                   && t.tm_hour == 23 && t.tm_min == 59 && t.tm_sec == 60 ? 0 : 99),
            "213 20161231235960.123", "MDTM f", 0);
        row("MDTM garbled", CALL(tm t{}; return c.FileModificationTime("f", t)), "213 2024-02-29", "MDTM f", -1);
        // Nothing reaches the server before the NOOP, and the connection stays usable.
        row("line breaks are never sent",
            CALL(COutputStream up("\r\n", "up");
                 return c.Delete("a\r\nDELE b") == -1 && c.ChangeWorkingDirectory("x\ny") == -1 && c.Rename("good", "bad\rname") == -1
                     && !c.SendCommand(CCommand::cmdSITE, CArg("EXEC\nrm")) && !c.DownloadFile("f\r\n", "/dev/null", CType::Image())
                     && !c.UploadFile(up, "f\n", false, CType::Image()) ? c.Noop() : 99),
            "200 ok", "NOOP", 0);
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

    void abort_data()
    {
        QTest::addColumn<int>("from"); // 0: the client's own observer, 1: another thread, 2: another thread while NOOP waits
        QTest::addColumn<QStringList>("events");
        const QStringList download{"220", "TYPE", "200", "PASV", "227", "RETR", "150", "ABOR", "426", "226", "NOOP", "200"};
        QTest::newRow("during a download, from the observer") << 0 << download;
        QTest::newRow("during a download, from another thread") << 1 << download;
        QTest::newRow("while a command waits for its reply, from another thread, then idle")
            << 2 << QStringList{"220", "NOOP", "200", "ABOR", "225"};
    }
    void abort()
    {
        QFETCH(int, from);
        Session s(from == 2 ? QStringList{"?", "~1500", "!200 ok", "225 no transfer to abort"}
                            : QStringList{"200 type", "PASV", "150 here", "+" + QString(8 * 1024 * 1024, 'z'), "?",
                                          "!426 aborted", "!226 abor ok", "200 ok"},
                  16 * 1024, 10);
        QVERIFY(s.open());
        std::atomic<bool> started{false};
        std::atomic<int> abortResult{-2};
        s.observer.onProgress = [&](long) {
            if (from == 0)
                abortResult = s.client.Abort();
            started = true;
        };
        std::thread other([&] {
            while (from == 1 && !started)
                std::this_thread::yield();
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
            QCOMPARE(s.client.Abort(), 0);
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

    void downloads_data()
    {
        QTest::addColumn<bool>("resume");
        QTest::addColumn<bool>("toControlPeer"); // passive data connections go to the server, whatever PASV says
        QTest::addColumn<QByteArray>("before");
        QTest::addColumn<QStringList>("script");
        QTest::addColumn<bool>("downloaded");
        QTest::addColumn<QByteArray>("after");
        QTest::addColumn<QString>("error"); // how the first error starts; empty: none

        const QByteArray none = "<missing>", precious = "precious";
        const auto row = [](const char* tag, bool resume, const QByteArray& before, const QStringList& script, bool ok,
                            const QByteArray& after, const QString& error = QString(), bool toControlPeer = false) {
            QTest::newRow(tag) << resume << toControlPeer << before << script << ok << after << error;
        };
        const QStringList sized{"213 10", "200 type", "PASV"};
        const QStringList stalls = sized + QStringList{"150 here", "+01234", "~2500"};
        const QString cut = "The transfer ended after 5 of 10 bytes.";
        row("missing remote file, resume on", true, none, {"550 no", "200 type", "PASV", "550 no such file"}, false, none);
        row("broken download, resume off", false, precious, stalls, false, precious, "Receive timeout");
        row("broken download, resume on, keeps what arrived", true, none, stalls, false, "01234", "Receive timeout");
        row("resumed download completes", true, "01234", sized + QStringList{"350 rest", "150 here", ">56789", "!226 done"}, true,
            "0123456789");
        // Told by its reply, at once: no wait on the data connection.
        row("restart refused", true, "01234", sized + QStringList{"502 no"}, false, "01234");
        row("shorter than SIZE said", false, precious, sized + QStringList{"150 here", ">01234", "!226 done"}, false, precious, cut);
        row("shorter than the 150 reply said", false, none,
            {"550 no size", "200 type", "PASV", "150 Opening BINARY mode data connection for f (10 bytes).", ">01234", "!226 done"},
            false, none, cut);
        row("PASV names another host", false, none, {"213 10", "200 type", "PASV@192,0,2,7"}, false, none, "Connect");
        row("PASV host overridden by the server's", false, none, {"213 10", "200 type", "PASV@192,0,2,7", "150 here", ">0123456789", "!226 done"},
            true, "0123456789", "", true);
    }
    void downloads()
    {
        QFETCH(bool, resume);
        QFETCH(bool, toControlPeer);
        QFETCH(QByteArray, before);
        QFETCH(QStringList, script);
        QFETCH(QString, error);
        QTemporaryDir dir;
        const QString local = dir.filePath("report.csv");
        QVERIFY(before == "<missing>" || writeTestFile(local, before));
        Session s(script);
        s.client.SetResumeMode(resume);
        s.client.SetPassiveAddressFromControlPeer(toControlPeer);
        QVERIFY(s.open());
        QTEST(s.client.DownloadFile("f", local.toStdString(), CType::Image()), "downloaded");
        QTEST(readTestFile(local), "after");
        // No temporary file is left beside the target.
        QCOMPARE(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden).size(), QFile::exists(local) ? 1 : 0);
        QVERIFY2(error.isEmpty() ? s.observer.errors.isEmpty() : s.observer.errors.value(0).startsWith(error),
                 qPrintable(s.observer.errors.join('\n')));
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
