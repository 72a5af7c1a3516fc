// vetrel-ftp: a command-line FTP client built on nsFTP::CFTPClient, for
// scripted transfers and for trying the library against real servers.

#include "interruptiblesocket.h"
#include "netrc.h"
#include "sessionobserver.h"

#include <vetrel/FtpClient/FTPFileStatus.h>

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QFileInfo>

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <cstdio>
#include <functional>
#include <map>
#include <memory>

using namespace nsFTP;

namespace
{

enum ExitCode
{
    Success = 0,
    Failure = 1,
    UsageError = 2
};

const char *const Description
    = "A command-line FTP client.\n"
      "\n"
      "Commands:\n"
      "  list [PATH]          the server's LIST lines; with --parsed a table of\n"
      "                       type (d directory, - file, l link), size, modification\n"
      "                       time (UTC, as the listing gives it) and name\n"
      "  names [PATH]         the names of NLST, one a line\n"
      "  get REMOTE [LOCAL]   download; LOCAL defaults to the remote file's name;\n"
      "                       --resume continues a partial local file\n"
      "  put LOCAL [REMOTE]   upload; REMOTE defaults to the local file's name;\n"
      "                       --resume appends what is missing to a shorter remote\n"
      "                       file (APPE); --unique lets the server choose a free\n"
      "                       name from REMOTE (STOU) and prints the server's reply\n"
      "  delete REMOTE        delete a file\n"
      "  mkdir DIR            make a directory\n"
      "  rmdir DIR            remove a directory\n"
      "  rename FROM TO       rename or move a file\n"
      "  size REMOTE          print the size in bytes\n"
      "  mdtm REMOTE          print the modification time as YYYY-MM-DD HH:MM:SS UTC\n"
      "  copy SOURCE TARGET   copy SOURCE on --host to TARGET on --to-host, server to\n"
      "                       server; the data does not pass through this machine\n"
      "\n"
      "Paths are taken relative to --start-dir. Transfers are binary and passive\n"
      "unless --ascii or --active is given; passive data connections go to the\n"
      "server's own address unless --use-pasv-address is given. A failed get leaves\n"
      "the local file as it was; with --resume it keeps what arrived. On a terminal\n"
      "a progress bar is drawn on standard error; Ctrl+C ends any wait at once.\n"
      "\n"
      "The password is taken from --password, else from the environment variable\n"
      "VETREL_FTP_PASSWORD (VETREL_FTP_TO_PASSWORD for --to-host), else with --netrc\n"
      "from ~/.netrc, else asked for without echo when --user is given on a terminal.\n"
      "\n"
      "Exit status: 0 on success; 1 when the server or the connection failed, with\n"
      "one line on standard error saying why; 2 for a wrong command line.";

struct Options
{
    Options();

    QCommandLineOption host { { "H", "host" }, "The server to log on to (required).", "host" };
    QCommandLineOption port { { "p", "port" }, "The server's port.", "port", "21" };
    QCommandLineOption user { { "u", "user" }, "The user name.", "name", "anonymous" };
    QCommandLineOption password { { "P", "password" },
        "The password. Every user of the machine can read a command line: prefer "
        "VETREL_FTP_PASSWORD, --netrc or the prompt.",
        "password" };
    QCommandLineOption netrc { "netrc", "Take the user and password for the server from ~/.netrc." };
    QCommandLineOption account { "account", "The account, for servers that ask for one (ACCT).", "account" };
    QCommandLineOption firewallType { "firewall-type",
        "How to log on through a firewall: NO_FIREWALL, SITE_HOSTNAME, USER_AFTER_LOGON, "
        "PROXY_OPEN, TRANSPARENT, USER_WITH_NO_LOGON, USER_FIREID@REMOTEHOST, "
        "USER_REMOTEID@REMOTEHOST_FIREID, USER_REMOTEID@FIREID@REMOTEHOST, or 0 to 8.",
        "type", "NO_FIREWALL" };
    QCommandLineOption firewallHost { "firewall-host", "The firewall to connect to.", "host" };
    QCommandLineOption firewallPort { "firewall-port", "The firewall's port.", "port", "21" };
    QCommandLineOption firewallUser { "firewall-user", "The user name at the firewall.", "name" };
    QCommandLineOption firewallPassword { "firewall-password", "The password at the firewall.", "password" };
    QCommandLineOption active { "active", "Active data connections (PORT) instead of passive ones (PASV)." };
    QCommandLineOption usePasvAddress { "use-pasv-address",
        "Connect passive data connections to the address the PASV reply names "
        "rather than to the server's own address." };
    QCommandLineOption ascii { "ascii", "Transfer files as text (TYPE A) instead of binary (TYPE I)." };
    QCommandLineOption resume { "resume", "get and put: continue a broken transfer." };
    QCommandLineOption unique { "unique", "put: store under a new name that the server chooses (STOU)." };
    QCommandLineOption parsed { "parsed", "list: show the listing as a table." };
    QCommandLineOption startDir { "start-dir", "The directory to change to after logging on.", "dir", "/" };
    QCommandLineOption timeout { "timeout", "Seconds to wait for the server at any one point.", "seconds",
        "30" };
    QCommandLineOption toHost { "to-host", "copy: the target server.", "host" };
    QCommandLineOption toPort { "to-port", "copy: the target server's port.", "port", "21" };
    QCommandLineOption toPassword { "to-password", "copy: the password on the target server.", "password" };
    QCommandLineOption toUser { "to-user", "copy: the user name on the target server.", "name", "anonymous" };
    QCommandLineOption tls { "tls",
        "Secure the session with TLS (AUTH TLS, protected data connections); a server "
        "without TLS is refused." };
    QCommandLineOption insecure { "insecure", "--tls: do not check the server's certificate and name." };
    QCommandLineOption caCert { "cacert",
        "--tls: trust the certificates in this PEM file instead of the system's.", "file" };
    QCommandLineOption verbose { "verbose", "Show the dialogue with the server on standard error." };
    QCommandLineOption quiet { { "q", "quiet" }, "No progress bar, even on a terminal." };
};

Options::Options() = default;

struct UsageException
{
    QString message;
    int exitCode = UsageError;
};

tstring str(const QString &text)
{
    return text.toLocal8Bit().toStdString();
}

void printLine(const QString &line)
{
    std::fputs(line.toLocal8Bit().constData(), stdout);
    std::fputc('\n', stdout);
}

unsigned short portValue(const QCommandLineParser &parser, const QCommandLineOption &option)
{
    bool ok = false;
    const uint port = parser.value(option).toUInt(&ok);
    if (!ok || port == 0 || port > 65535)
        throw UsageException { "--" + option.names().last() + ": not a port: " + parser.value(option) };
    return static_cast<unsigned short>(port);
}

CFirewallType firewallTypeValue(const QString &text)
{
    std::vector<CFirewallType> types;
    CFirewallType::GetAllTypes(types);
    bool isNumber = false;
    const uint number = text.toUInt(&isNumber);
    if (isNumber && number < types.size())
        return types[number];
    for (const CFirewallType &type : types) {
        if (text.compare(QString::fromStdString(type.AsStorageString()), Qt::CaseInsensitive) == 0)
            return type;
    }
    throw UsageException { "--firewall-type: unknown type: " + text };
}

/// Asks on the terminal without echo; empty when there is no terminal to ask on.
QString promptPassword(const QString &user, const QString &host)
{
    if (!::isatty(STDIN_FILENO))
        return QString();
    const int tty = ::open("/dev/tty", O_RDWR | O_NOCTTY | O_CLOEXEC);
    termios saved {};
    if (tty < 0 || ::tcgetattr(tty, &saved) != 0) {
        if (tty >= 0)
            ::close(tty);
        return QString();
    }
    const QByteArray prompt = QStringLiteral("Password for %1@%2: ").arg(user, host).toLocal8Bit();
    termios silent = saved;
    silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    ::tcsetattr(tty, TCSAFLUSH, &silent);
    QByteArray line;
    if (::write(tty, prompt.constData(), static_cast<size_t>(prompt.size())) == prompt.size()) {
        char c = 0;
        // Ctrl+C ends the read; the program then stops at its first wait.
        while (::read(tty, &c, 1) == 1 && c != '\n')
            line += c;
    }
    ::tcsetattr(tty, TCSAFLUSH, &saved);
    if (::write(tty, "\n", 1) != 1)
        line.clear();
    ::close(tty);
    return QString::fromLocal8Bit(line);
}

/// The options that name one server and who logs on to it.
struct ServerOptions
{
    const QCommandLineOption &host;
    const QCommandLineOption &port;
    const QCommandLineOption &user;
    const QCommandLineOption &password;
    const char *passwordVariable;
};

/// Host, port, user, password and account, each from the first source that has it.
CLogonInfo credentials(
    const QCommandLineParser &parser, const Options &o, const ServerOptions &server, const QString &account)
{
    const QString host = parser.value(server.host);
    NetrcEntry netrc;
    QString error;
    if (parser.isSet(o.netrc) && !readNetrc(QDir::homePath() + QStringLiteral("/.netrc"), host, netrc, error))
        throw UsageException { "--netrc: " + error, Failure };
    const bool userGiven = parser.isSet(server.user);
    // An entry for another login than the one asked for has nothing to say.
    const bool netrcApplies
        = netrc.found && (!userGiven || netrc.login.isEmpty() || netrc.login == parser.value(server.user));
    const QString user
        = !userGiven && netrcApplies && !netrc.login.isEmpty() ? netrc.login : parser.value(server.user);

    QString password;
    QString netrcAccount;
    if (parser.isSet(server.password))
        password = parser.value(server.password);
    else if (qEnvironmentVariableIsSet(server.passwordVariable))
        password = qEnvironmentVariable(server.passwordVariable);
    else if (netrcApplies && !netrc.password.isEmpty())
        password = netrc.password, netrcAccount = netrc.account;
    else if (userGiven)
        password = promptPassword(user, host);
    return CLogonInfo(str(host), portValue(parser, server.port), str(user), str(password),
        str(account.isEmpty() ? netrcAccount : account));
}

CLogonInfo logonInfo(const QCommandLineParser &parser, const Options &o)
{
    if (!parser.isSet(o.host))
        throw UsageException { QStringLiteral("--host is required") };
    CLogonInfo info = credentials(
        parser, o, { o.host, o.port, o.user, o.password, "VETREL_FTP_PASSWORD" }, parser.value(o.account));
    const CFirewallType type = firewallTypeValue(parser.value(o.firewallType));
    if (type != CFirewallType::ftNone) {
        if (!parser.isSet(o.firewallHost))
            throw UsageException { QStringLiteral("--firewall-type needs --firewall-host") };
        info.SetFirewall(str(parser.value(o.firewallHost)), str(parser.value(o.firewallUser)),
            str(parser.value(o.firewallPassword)), portValue(parser, o.firewallPort), type);
    }
    return info;
}

QString listingTime(const CFTPFileStatus &status)
{
    if (status.MTimeType() == CFTPFileStatus::mttUnknown)
        return QStringLiteral("-");
    const QDateTime time = QDateTime::fromSecsSinceEpoch(status.MTime(), Qt::UTC);
    return time.toString(status.MTimeType() == CFTPFileStatus::mttLocalDay
            ? QStringLiteral("yyyy-MM-dd      ")
            : QStringLiteral("yyyy-MM-dd HH:mm"));
}

QString listingRow(const CFTPFileStatus &status)
{
    const char type = status.IsCwdPossible() ? (status.IsRetrPossible() ? 'l' : 'd') : '-';
    const QString size = status.SizeType() == CFTPFileStatus::stUnknown ? QStringLiteral("-")
                                                                        : QString::number(status.Size());
    return QStringLiteral("%1 %2 %3 %4")
        .arg(QLatin1Char(type))
        .arg(size, 14)
        .arg(listingTime(status), QString::fromStdString(status.Name()));
}

/// Runs one command of the program; false when it failed.
class Session
{
public:
    Session(const QCommandLineParser &parser, const Options &options, const QStringList &args)
        : m_parser(parser)
        , m_o(options)
        , m_args(args)
    { }

    int run();

private:
    using Command = std::function<bool()>;

    QString arg(int index) const { return m_args.value(index); }
    bool passive() const { return !m_parser.isSet(m_o.active); }
    CRepresentation representation() const
    {
        return m_parser.isSet(m_o.ascii) ? CType::ASCII() : CType::Image();
    }
    std::unique_ptr<CFTPClient> makeClient() const;
    void requireArguments(int minimum, int maximum) const;
    std::map<QString, std::pair<std::pair<int, int>, Command>> commands();

    bool list();
    /// The listing's lines as the server sent them: NLST's or LIST's.
    bool printLines(bool nameList);
    bool get();
    bool put();
    bool size();
    void useTransferType();
    bool mdtm();
    bool copy();

    const QCommandLineParser &m_parser;
    const Options &m_o;
    const QStringList m_args;
    std::unique_ptr<CFTPClient> m_client;
    std::unique_ptr<SessionObserver> m_observer;
    /// Says why the command failed when the session's own observer cannot.
    QString m_failure;
};

std::unique_ptr<CFTPClient> Session::makeClient() const
{
    bool ok = false;
    const uint timeout = m_parser.value(m_o.timeout).toUInt(&ok);
    if (!ok || timeout == 0)
        throw UsageException { "--timeout: not a number of seconds: " + m_parser.value(m_o.timeout) };
    if (m_parser.value(m_o.startDir).isEmpty())
        throw UsageException { QStringLiteral("--start-dir must not be empty") };
    auto client
        = std::make_unique<CFTPClient>(std::make_shared<InterruptibleSocket>(static_cast<int>(timeout)),
            timeout, 256 * 1024, 0, str(m_parser.value(m_o.startDir)));
    // A hostile server's PASV reply could otherwise send the data connection to any host.
    client->SetPassiveAddressFromControlPeer(!m_parser.isSet(m_o.usePasvAddress));
    client->SetResumeMode(m_parser.isSet(m_o.resume));
    if (m_parser.isSet(m_o.tls)) {
        nsSocket::CTlsSettings tls;
        tls.SetVerifyPeer(!m_parser.isSet(m_o.insecure));
        tls.SetCaFile(str(m_parser.value(m_o.caCert)));
        client->EnableTls(tls);
    } else if (m_parser.isSet(m_o.insecure) || m_parser.isSet(m_o.caCert)) {
        throw UsageException { QStringLiteral("--insecure and --cacert go with --tls only") };
    }
    return client;
}

void Session::requireArguments(int minimum, int maximum) const
{
    const int count = m_args.size() - 1;
    if (count < minimum || count > maximum)
        throw UsageException { m_args.first() + ": wrong number of arguments (see --help)" };
}

std::map<QString, std::pair<std::pair<int, int>, Session::Command>> Session::commands()
{
    CFTPClient &c = *m_client;
    return {
        { "list", { { 0, 1 }, [this] { return list(); } } },
        { "names", { { 0, 1 }, [this] { return printLines(true); } } },
        { "get", { { 1, 2 }, [this] { return get(); } } },
        { "put", { { 1, 2 }, [this] { return put(); } } },
        { "delete", { { 1, 1 }, [this, &c] { return c.Delete(str(arg(1))) == 0; } } },
        { "mkdir", { { 1, 1 }, [this, &c] { return c.MakeDirectory(str(arg(1))) == 0; } } },
        { "rmdir", { { 1, 1 }, [this, &c] { return c.RemoveDirectory(str(arg(1))) == 0; } } },
        { "rename", { { 2, 2 }, [this, &c] { return c.Rename(str(arg(1)), str(arg(2))) == 0; } } },
        { "size", { { 1, 1 }, [this] { return size(); } } },
        { "mdtm", { { 1, 1 }, [this] { return mdtm(); } } },
        { "copy", { { 2, 2 }, [this] { return copy(); } } },
    };
}

int Session::run()
{
    if (m_args.isEmpty())
        throw UsageException { QStringLiteral("no command given (see --help)") };
    m_client = makeClient();
    const auto table = commands();
    const auto command = table.find(m_args.first());
    if (command == table.end())
        throw UsageException { "unknown command: " + m_args.first() };
    requireArguments(command->second.first.first, command->second.first.second);
    if (m_parser.isSet(m_o.unique) && m_args.first() != "put")
        throw UsageException { QStringLiteral("--unique goes with put only") };
    if (m_args.first() == "copy" && !m_parser.isSet(m_o.toHost))
        throw UsageException { QStringLiteral("copy needs --to-host") };
    InterruptibleSocket::installInterruptHandler();
    const CLogonInfo info = logonInfo(m_parser, m_o);

    const bool progress = !m_parser.isSet(m_o.quiet) && ::isatty(STDERR_FILENO);
    m_observer = std::make_unique<SessionObserver>(*m_client, m_parser.isSet(m_o.verbose), progress);
    if (!m_client->Login(info)) {
        const QString reason = InterruptibleSocket::interrupted() ? QStringLiteral("interrupted")
                                                                  : m_observer->failureReason();
        std::fprintf(stderr, "vetrel-ftp: cannot log on to %s: %s\n", info.Hostname().c_str(),
            reason.toLocal8Bit().constData());
        return Failure;
    }
    const bool ok = command->second.second();
    if (ok) {
        m_client->Logout();
        return Success;
    }
    const QString reason = InterruptibleSocket::interrupted() ? QStringLiteral("interrupted")
        : m_failure.isEmpty()                                 ? m_observer->failureReason()
                                                              : m_failure;
    std::fprintf(
        stderr, "vetrel-ftp: %s failed: %s\n", qPrintable(m_args.first()), reason.toLocal8Bit().constData());
    return Failure;
}

bool Session::list()
{
    if (!m_parser.isSet(m_o.parsed))
        return printLines(false);
    CFTPClient::TSpFTPFileStatusVector entries;
    if (!m_client->List(str(arg(1)), entries, passive()))
        return false;
    for (const CFTPClient::TSpFTPFileStatus &entry : entries)
        printLine(listingRow(*entry));
    return true;
}

bool Session::printLines(bool nameList)
{
    CFTPClient::TStringVector lines;
    const bool listed = nameList ? m_client->NameList(str(arg(1)), lines, passive())
                                 : m_client->List(str(arg(1)), lines, passive());
    if (!listed)
        return false;
    for (const tstring &line : lines)
        printLine(QString::fromLocal8Bit(line.c_str()));
    return true;
}

bool Session::get()
{
    const QString local = m_args.size() > 2 ? arg(2) : QFileInfo(arg(1)).fileName();
    useTransferType();
    return m_client->DownloadFile(str(arg(1)), str(local), representation(), passive());
}

bool Session::put()
{
    const QString remote = m_args.size() > 2 ? arg(2) : QFileInfo(arg(1)).fileName();
    const bool unique = m_parser.isSet(m_o.unique);
    if (unique)
        m_client->SetResumeMode(false);
    useTransferType();
    if (!m_client->UploadFile(str(arg(1)), str(remote), unique, representation(), passive()))
        return false;
    // The server names the file it chose in its preliminary reply ("150 FILE: name").
    if (unique)
        printLine(m_observer->lastPreliminaryReply());
    return true;
}

// Some servers answer SIZE in binary mode only, and the client asks SIZE
// before a transfer sets its type: the type is set first.
void Session::useTransferType()
{
    m_client->RepresentationType(representation());
}

bool Session::size()
{
    // Servers may refuse SIZE in ASCII mode; the size of the bytes is what is asked.
    long bytes = 0;
    if (m_client->RepresentationType(CType::Image()) != 0 || m_client->FileSize(str(arg(1)), bytes) != 0)
        return false;
    printLine(QString::number(bytes));
    return true;
}

bool Session::mdtm()
{
    tm time {};
    if (m_client->FileModificationTime(str(arg(1)), time) != 0)
        return false;
    const QDateTime utc(QDate(time.tm_year + 1900, time.tm_mon + 1, time.tm_mday),
        QTime(time.tm_hour, time.tm_min, time.tm_sec), Qt::UTC);
    printLine(utc.toString(QStringLiteral("yyyy-MM-dd HH:mm:ss 'UTC'")));
    return true;
}

bool Session::copy()
{
    const CLogonInfo targetInfo = credentials(m_parser, m_o,
        { m_o.toHost, m_o.toPort, m_o.toUser, m_o.toPassword, "VETREL_FTP_TO_PASSWORD" }, QString());
    // A source the server refuses must not cost the target its file: STOR
    // would create or empty it before the source has said no.
    tstring modified;
    if (m_client->FileModificationTime(str(arg(1)), modified) == 1
        && m_observer->lastReply().startsWith(QLatin1String("55")))
        return false;

    std::unique_ptr<CFTPClient> target = makeClient();
    SessionObserver targetObserver(*target, m_parser.isSet(m_o.verbose), false);
    if (!target->Login(targetInfo)) {
        std::fprintf(stderr, "vetrel-ftp: cannot log on to %s: %s\n", targetInfo.Hostname().c_str(),
            targetObserver.failureReason().toLocal8Bit().constData());
        return false;
    }
    const bool copied
        = m_client->DownloadFile(str(arg(1)), *target, str(arg(2)), representation(), passive());
    // The source's own refusal explains a failure best; the target's only when it failed itself.
    if (!copied && targetObserver.failed())
        m_failure = QStringLiteral("target %1 said: %2")
                        .arg(QString::fromStdString(targetInfo.Hostname()), targetObserver.failureReason());
    target->Logout();
    return copied;
}

}

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("vetrel-ftp"));
    QCoreApplication::setApplicationVersion(QStringLiteral("1.0"));

    QCommandLineParser parser;
    parser.setApplicationDescription(QString::fromLatin1(Description));
    const QCommandLineOption helpOption = parser.addHelpOption();
    parser.addVersionOption();
    const Options options;
    for (const QCommandLineOption *option :
        { &options.host, &options.port, &options.user, &options.password, &options.netrc, &options.account,
            &options.firewallType, &options.firewallHost, &options.firewallPort, &options.firewallUser,
            &options.firewallPassword, &options.active, &options.usePasvAddress, &options.ascii,
            &options.resume, &options.unique, &options.parsed, &options.startDir, &options.timeout,
            &options.toHost, &options.toPort, &options.toUser, &options.toPassword, &options.tls,
            &options.insecure, &options.caCert, &options.verbose, &options.quiet }) {
        // The parser finds options by name, so the shown copy may say more.
        QCommandLineOption shown = *option;
        if (!option->defaultValues().isEmpty())
            shown.setDescription(option->description() + QStringLiteral(" Default: ")
                + option->defaultValues().join(QLatin1Char(',')) + QLatin1Char('.'));
        parser.addOption(shown);
    }
    parser.addPositionalArgument(QStringLiteral("command"), QStringLiteral("One of the commands above."),
        QStringLiteral("command [arguments...]"));

    if (!parser.parse(QCoreApplication::arguments())) {
        std::fprintf(stderr, "vetrel-ftp: %s\n", qPrintable(parser.errorText()));
        return UsageError;
    }
    if (parser.isSet(helpOption))
        parser.showHelp(Success);
    if (parser.isSet(QStringLiteral("version")))
        parser.showVersion();

    try {
        Session session(parser, options, parser.positionalArguments());
        return session.run();
    } catch (const UsageException &e) {
        std::fprintf(stderr, "vetrel-ftp: %s\n", qPrintable(e.message));
        return e.exitCode;
    }
}
