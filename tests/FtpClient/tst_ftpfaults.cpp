// Every socket call of the FTP client failing in turn. A socket that wraps the
// real one fails its Nth call the way the real call fails; each operation runs
// against vsftpd on 127.0.0.1 with N = 1, 2, ... until it gets through
// untouched. After every fault the operation must have failed and said why,
// the control connection must be gone (its own socket failed) or still in step
// with the server, no descriptor may stay open and no local file may be lost.
// (vsftpd serves each session in a process of its own, so a session cut off in
// the middle of an active-mode command cannot hold up the next one, as it can
// in pyftpdlib's single loop on a busy machine.)

#include "ftptestclient.h"

#include <vetrel/FtpClient/FTPTransferTargets.h>

#include <QDir>
#include <QtTest>

#include <cerrno>
#include <functional>

using namespace nsFTP;
using nsSocket::CBlockingSocketException;

namespace
{

/// Which call fails, shared by a client's control socket and every socket made from it.
struct FaultPlan
{
    int failAt = 0; ///< 0: none
    int calls = 0;
    QString injected; ///< the failure's message as the observers get it
    bool onControl = false;

    void arm(int n) { *this = FaultPlan(); failAt = n; }
    bool hit() const { return !injected.isEmpty(); }
};

class FaultySocket : public nsSocket::IBlockingSocket
{
public:
    FaultySocket(std::shared_ptr<FaultPlan> plan, bool control) : m_plan(std::move(plan)), m_control(control) {}

    std::shared_ptr<IBlockingSocket> CreateInstance() const override { return std::make_shared<FaultySocket>(m_plan, false); }
    void Create(int nType) override { fail("Create", EMFILE); m_real.Create(nType); }
    void Connect(const sockaddr *psa) const override { fail("Connect", ECONNREFUSED); m_real.Connect(psa); }
    void Bind(const sockaddr *psa) const override { fail("Bind", EADDRINUSE); m_real.Bind(psa); }
    void Listen() const override { fail("Listen", EADDRINUSE); m_real.Listen(); }
    void Cleanup() override { m_real.Cleanup(); }
    bool Accept(IBlockingSocket &sConnect, sockaddr *psa) const override
    {
        if (due()) {
            // Every other accept fault is a signal, which the real call reports as false.
            if (m_plan->failAt % 2 == 0) {
                m_plan->injected = QStringLiteral("Accepting the data connection was interrupted.");
                return false;
            }
            throwFault("Accept", ECONNABORTED);
        }
        return m_real.Accept(static_cast<FaultySocket &>(sConnect).m_real, psa);
    }
    void Close() override
    {
        // Closing an unopened socket makes no system call.
        if (m_real != nsSocket::InvalidSocket)
            fail("Close", EIO);
        m_real.Close();
    }
    int Write(const char *pch, int nLength, int nSecs) const override
    {
        return failEither("Send", EPIPE, "Send timeout"), m_real.Write(pch, nLength, nSecs);
    }
    int Receive(char *pch, int nSize, int nSecs) const override
    {
        return failEither("Receive", ECONNRESET, "Receive timeout"), m_real.Receive(pch, nSize, nSecs);
    }
    void GetPeerAddr(sockaddr *psa) const override { fail("GetPeerName", ENOTCONN); m_real.GetPeerAddr(psa); }
    void GetSockAddr(sockaddr *psa) const override { fail("GetSockName", ENOTCONN); m_real.GetSockAddr(psa); }
    operator nsSocket::SOCKET() const override { return m_real; }
    bool CheckReadability() const override { fail("Socket Error", EBADF); return m_real.CheckReadability(); }
    nsSocket::CSockAddr GetHostByName(const char *pchName, unsigned short port) override { return m_real.GetHostByName(pchName, port); }
    std::string GetHostByAddr(const sockaddr *psa) override { return m_real.GetHostByAddr(psa); }
    bool WaitForReadability(int nSecs) const override
    {
        return failEither("Socket Error", EBADF, "Receive timeout"), m_real.WaitForReadability(nSecs);
    }

private:
    /// Counts one system call; true when it is the one to fail.
    bool due() const
    {
        if (m_plan->failAt == 0 || m_plan->hit() || ++m_plan->calls != m_plan->failAt)
            return false;
        m_plan->onControl = m_control;
        return true;
    }
    [[noreturn]] void throwFault(const char *call, int error) const
    {
        errno = error;
        const CBlockingSocketException exception(call);
        m_plan->injected = QString::fromStdString(exception.GetErrorMessage());
        throw exception;
    }
    void fail(const char *call, int error) const { if (due()) throwFault(call, error); }
    /// A transfer call fails outright or times out in its wait, by turns.
    void failEither(const char *call, int error, const char *timeout) const
    {
        if (due())
            m_plan->failAt % 2 == 0 ? throwFault(timeout, 0) : throwFault(call, error);
    }

    std::shared_ptr<FaultPlan> m_plan;
    bool m_control;
    nsSocket::CBlockingSocket m_real;
};

int openDescriptors()
{
    return QDir(QStringLiteral("/proc/self/fd")).entryList(QDir::Files | QDir::System).size();
}

const CRepresentation Binary = CType::Image();
bool always() { return true; }

}

class TestFtpFaults : public QObject
{
    Q_OBJECT

private:
    /// One client operation; `passive` chooses the data connection's mode.
    struct Operation
    {
        std::function<void()> prepare; ///< may be empty
        std::function<bool(CFTPClient &, bool passive)> run;
        std::function<bool()> complete = always; ///< what an untouched run must leave behind
        std::function<bool()> intact = always;   ///< what any run must leave behind
        bool loggedOn = true;
    };

    QString remote(const char *name) const { return m_server->localPath(QStringLiteral("/pub/") + QLatin1String(name)); }
    QString local(const char *name) const { return m_localDir.filePath(QLatin1String(name)); }
    Operation operation(const QString &name);
    void inject(const Operation &operation, bool passive, int failAt, bool *untouched);

private slots:
    void initTestCase()
    {
        m_server = std::make_unique<FtpServerProcess>(FtpServerProcess::Vsftpd);
        QVERIFY2(m_server->start(), qPrintable(m_server->errorString()));
        for (int i = 0; i < 10000; ++i)
            m_contents += char('a' + i * 7 % 26);
    }

    void everyCallFails_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("passive");
        for (const char *name : {"login", "logout", "rename", "size"})
            QTest::newRow(name) << QString::fromLatin1(name) << true;
        for (const char *name : {"list", "download resumed", "download to memory", "upload", "append", "store unique"}) {
            QTest::addRow("%s passive", name) << QString::fromLatin1(name) << true;
            QTest::addRow("%s active", name) << QString::fromLatin1(name) << false;
        }
    }
    void everyCallFails()
    {
        QFETCH(QString, name);
        QFETCH(bool, passive);
        const Operation operation = this->operation(name);
        QVERIFY(writeTestFile(local("order.csv"), m_contents));
        bool untouched = false;
        for (int failAt = 1; !untouched; ++failAt) {
            inject(operation, passive, failAt, &untouched);
            if (QTest::currentTestFailed())
                return;
        }
    }

    void cleanupTestCase()
    {
        qInfo("%d socket faults injected, each survived", m_faults);
    }

private:
    std::unique_ptr<FtpServerProcess> m_server;
    QTemporaryDir m_localDir;
    QByteArray m_contents;
    int m_faults = 0;
};

TestFtpFaults::Operation TestFtpFaults::operation(const QString &name)
{
    const QByteArray head = m_contents.left(3000);
    const auto isFile = [](const QString &path, const QByteArray &contents) {
        return [=] { return readTestFile(path) == contents; };
    };
    const auto putRemote = [this](const char *file, const QByteArray &contents) {
        return [=] { QVERIFY(writeTestFile(remote(file), contents)); };
    };
    const auto upload = [this](const char *target, bool unique) {
        return [=](CFTPClient &client, bool passive) {
            return client.UploadFile(local("order.csv").toStdString(), target, unique, Binary, passive);
        };
    };

    if (name == QLatin1String("login"))
        return {{}, [this](CFTPClient &client, bool) { return client.Login(logonInfo(*m_server)); }, always, always, false};
    if (name == QLatin1String("logout"))
        return {{}, [](CFTPClient &client, bool) { return client.Logout() == 0; }};
    if (name == QLatin1String("rename"))
        return {putRemote("old.txt", head), [](CFTPClient &client, bool) { return client.Rename("old.txt", "new.txt") == 0; },
                isFile(remote("new.txt"), head)};
    if (name == QLatin1String("size"))
        return {putRemote("quotes.csv", m_contents), [this](CFTPClient &client, bool) {
                    long size = 0;
                    // Servers answer SIZE in binary mode only.
                    return client.RepresentationType(Binary) == 0 && client.FileSize("quotes.csv", size) == 0
                        && size == m_contents.size();
                }};
    if (name == QLatin1String("list"))
        return {putRemote("quotes.csv", m_contents), [](CFTPClient &client, bool passive) {
                    CFTPClient::TSpFTPFileStatusVector listing;
                    return client.List("/pub", listing, passive) && !listing.empty();
                }};
    if (name == QLatin1String("download resumed")) {
        // A partial local copy is resumed: what was there must survive any failure.
        return {[=] { putRemote("quotes.csv", m_contents)(); QVERIFY(writeTestFile(local("quotes.csv"), head)); },
                [this](CFTPClient &client, bool passive) {
                    return client.DownloadFile("quotes.csv", local("quotes.csv").toStdString(), Binary, passive);
                },
                isFile(local("quotes.csv"), m_contents), [=] {
                    const QByteArray contents = readTestFile(local("quotes.csv"));
                    return contents.startsWith(head) && m_contents.startsWith(contents);
                }};
    }
    if (name == QLatin1String("download to memory"))
        return {putRemote("quotes.csv", m_contents), [this](CFTPClient &client, bool passive) {
                    COutputStream stream("\r\n", "quotes.csv");
                    return client.DownloadFile("quotes.csv", stream, Binary, passive) && stream.GetBuffer() == m_contents.toStdString();
                }};
    if (name == QLatin1String("upload"))
        return {[=] { QVERIFY(writeTestFile(local("order.csv"), m_contents)); QFile::remove(remote("order.csv")); },
                upload("order.csv", false), isFile(remote("order.csv"), m_contents), isFile(local("order.csv"), m_contents)};
    if (name == QLatin1String("append"))
        return {putRemote("order.csv", head), [this](CFTPClient &client, bool passive) {
                    COutputStream stream("\r\n", "order.csv");
                    stream.SetBuffer(m_contents.toStdString());
                    return client.UploadFile(stream, "order.csv", false, Binary, passive);
                },
                isFile(remote("order.csv"), m_contents)};
    // Store unique: a new name on the server each time.
    return {{}, upload("unique.csv", true), always, isFile(local("order.csv"), m_contents)};
}

void TestFtpFaults::inject(const Operation &operation, bool passive, int failAt, bool *untouched)
{
    const int descriptors = openDescriptors();
    auto plan = std::make_shared<FaultPlan>();
    {
        RecordingObserver observer;
        CFTPClient client(std::make_shared<FaultySocket>(plan, true), 3, 4096, 0, "/pub");
        client.AttachObserver(&observer);
        QVERIFY2(!operation.loggedOn || client.Login(logonInfo(*m_server)),
                 qPrintable(QString::number(failAt) + QLatin1Char(' ') + observer.lastReply + QLatin1Char(' ') + observer.errors.join(QLatin1Char(' '))));
        // After the logon's round trips: the server has done what the last run left it to do.
        if (operation.prepare)
            operation.prepare();

        plan->arm(failAt);
        const bool succeeded = operation.run(client, passive);
        plan->failAt = 0;
        *untouched = !plan->hit();
        const QByteArray where = QByteArray::number(failAt) + ": " + plan->injected.toUtf8() + " / "
                                 + observer.errors.join(QLatin1String(" | ")).toUtf8();
        QVERIFY2(operation.intact(), where.constData());
        if (*untouched) {
            QVERIFY2(succeeded && operation.complete(), where.constData());
            return;
        }
        ++m_faults;
        QVERIFY2(observer.errors.contains(plan->injected), where.constData());
        // A failing close may come after the work is done; everything else must fail the operation.
        QVERIFY2(!succeeded || plan->injected.startsWith(QLatin1String("Close")), where.constData());
        QVERIFY2(!client.IsTransferringData(), where.constData());
        // A failure of the control socket ends the control connection.
        QVERIFY2(!plan->onControl || !client.IsConnected(), where.constData());
        if (client.IsConnected()) {
            // Still in step: each command gets its own reply, nothing left over from the failure.
            QVERIFY2(client.Noop() == 0 && observer.lastReply.startsWith("200"), where.constData());
            QVERIFY2(client.PrintWorkingDirectory() == 0 && observer.lastReply.startsWith("257"), where.constData());
        }
        QCOMPARE(openDescriptors(), descriptors + (client.IsConnected() ? 1 : 0));
    }
    QCOMPARE(openDescriptors(), descriptors);
}

QTEST_GUILESS_MAIN(TestFtpFaults)
#include "tst_ftpfaults.moc"
