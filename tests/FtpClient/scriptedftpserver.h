#ifndef VETREL_TESTS_SCRIPTEDFTPSERVER_H
#define VETREL_TESTS_SCRIPTEDFTPSERVER_H

#include <QByteArray>
#include <QStringList>

#include <string>
#include <thread>

// An FTP server of the tests' own for what real servers cannot be made to do. It plays a script against the
// one client that connects, on a thread of its own, and records the command lines and data bytes it gets.
// Every wait is bounded, so a client that goes astray ends the script with a recorded failure, not a hang.
class ScriptedFtpServer
{
public:
    /// The greeting "220 ready" goes first unless the script starts with "!" or "=". Then each item:
    /// "NNN text" answers the next command, "?" reads one and leaves it unanswered, "!line" is sent unasked,
    /// "=bytes" likewise without a line end, "drop" closes the control connection, "~N" pauses N ms,
    /// "PASV[@h1,h2,h3,h4]" answers with a data listener advertised there, ">bytes" sends data and closes
    /// the data connection, "+bytes" sends data and leaves it open, "<" reads it to its end; "" does nothing.
    explicit ScriptedFtpServer(const QStringList& script);
    ~ScriptedFtpServer();

    unsigned short port() const { return m_port; }
    void start() { m_thread = std::thread(&ScriptedFtpServer::run, this); }
    void waitFinished() { if (m_thread.joinable()) m_thread.join(); }
    // What the server got, to be read once the script has finished.
    QStringList commands() const { return m_commands; }
    QByteArray receivedData() const { return m_data; }
    /// The first thing that went against the script (a command that never came, ...); empty when none.
    std::string failure() const { return m_failure; }

private:
    void run();
    bool play(const QString& item);
    bool expect();
    bool ensureDataConnection();
    bool fail(const std::string& what);

    const QStringList m_script;
    unsigned short m_port = 0;
    int m_listenFd = -1, m_controlFd = -1, m_dataListenFd = -1, m_dataFd = -1;
    QByteArray m_pending;
    char m_buffer[65536];
    std::thread m_thread;
    QStringList m_commands;
    QByteArray m_data;
    std::string m_failure;
};

#endif
