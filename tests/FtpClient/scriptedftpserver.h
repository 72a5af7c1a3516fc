#ifndef VETREL_TESTS_SCRIPTEDFTPSERVER_H
#define VETREL_TESTS_SCRIPTEDFTPSERVER_H

#include <QByteArray>
#include <QStringList>

#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

// An FTP server of the tests' own for what real servers cannot be made to do. It plays a script against the
// one client that connects, on a thread of its own, and records the command lines and data bytes it gets.
// Every wait is bounded, so a client that goes astray ends the script with a recorded failure, not a hang.
class ScriptedFtpServer
{
public:
    /// A script in short, after the greeting "220 ready" unless the script starts with a line sent unasked:
    /// "NNN text" answers the next command, "!line" is sent unasked, "?" reads a command and leaves it
    /// unanswered, "PASV[@h1,h2,h3,h4]" answers with a data listener advertised there, ">bytes" sends data and
    /// closes the data connection, "+bytes" sends data and leaves it open, "<" reads the data connection to its
    /// end and "~N" pauses N ms.
    explicit ScriptedFtpServer(QStringList script = {});
    ~ScriptedFtpServer();
    ScriptedFtpServer(const ScriptedFtpServer&) = delete;
    ScriptedFtpServer& operator=(const ScriptedFtpServer&) = delete;

    unsigned short port() const { return m_port; }

    ScriptedFtpServer& send(const std::string& bytes);
    ScriptedFtpServer& expect();
    ScriptedFtpServer& pause(int milliseconds);
    ScriptedFtpServer& drop();
    /// Sends on the data connection: accepted after "PASV", else connected to the last PORT's address.
    ScriptedFtpServer& sendData(const std::string& bytes);
    ScriptedFtpServer& closeData();

    void start() { m_thread = std::thread(&ScriptedFtpServer::run, this); }
    void waitFinished() { if (m_thread.joinable()) m_thread.join(); }

    QStringList commands() const { std::lock_guard<std::mutex> lock(m_mutex); return m_commands; }
    QByteArray receivedData() const { std::lock_guard<std::mutex> lock(m_mutex); return m_data; }
    /// The first thing that went against the script (a command that never came, ...); empty when none.
    std::string failure() const { std::lock_guard<std::mutex> lock(m_mutex); return m_failure; }

private:
    ScriptedFtpServer& step(std::function<bool()> step);
    ScriptedFtpServer& passive(const std::string& advertisedHost);
    ScriptedFtpServer& receiveData();
    void run();
    bool readLine(std::string& line);
    bool ensureDataConnection();
    bool fail(const std::string& what);

    int m_listenFd = -1;
    int m_controlFd = -1;
    int m_dataListenFd = -1;
    int m_dataFd = -1;
    unsigned short m_port = 0;
    std::string m_pending;
    std::vector<std::function<bool()>> m_steps;
    std::thread m_thread;

    mutable std::mutex m_mutex;
    QStringList m_commands;
    QByteArray m_data;
    std::string m_failure;
};

#endif
