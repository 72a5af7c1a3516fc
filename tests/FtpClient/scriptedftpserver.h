#ifndef VETREL_TESTS_SCRIPTEDFTPSERVER_H
#define VETREL_TESTS_SCRIPTEDFTPSERVER_H

#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

/**
 * An FTP server of the tests' own for what real servers cannot be made to do:
 * it plays a script (send these bytes, read one command line, pause, drop the
 * connection, open a data connection, ...) against the one client that
 * connects, and records every command line and data byte it receives.
 *
 * The script is built before start(); it runs on a thread of its own while the
 * test drives the blocking client. Every wait of the server is bounded, so a
 * client that goes astray ends the script with a recorded failure instead of
 * hanging the test.
 */
class ScriptedFtpServer
{
public:
    ScriptedFtpServer();
    ~ScriptedFtpServer();

    ScriptedFtpServer(const ScriptedFtpServer&) = delete;
    ScriptedFtpServer& operator=(const ScriptedFtpServer&) = delete;

    unsigned short port() const { return m_port; }

    /// Sends the bytes as they are, in one write.
    ScriptedFtpServer& send(const std::string& bytes);
    /// Sends the line followed by CR LF.
    ScriptedFtpServer& reply(const std::string& line) { return send(line + "\r\n"); }
    /// Reads one command line from the client and records it without its CR LF.
    ScriptedFtpServer& expect();
    /// Reads one command line and answers it with the reply line.
    ScriptedFtpServer& answer(const std::string& line) { return expect().reply(line); }
    ScriptedFtpServer& pause(int milliseconds);
    /// Closes the control connection.
    ScriptedFtpServer& drop();

    /// Listens for a data connection and replies 227 naming advertisedHost ("h1,h2,h3,h4") and the real port.
    ScriptedFtpServer& passive(const std::string& advertisedHost = "127,0,0,1");
    /// Sends on the data connection: accepted after passive(), else connected to the last PORT's address.
    ScriptedFtpServer& sendData(const std::string& bytes);
    /// Reads the data connection to its end and records the bytes.
    ScriptedFtpServer& receiveData();
    ScriptedFtpServer& closeData();

    /// Starts playing the script for the first client that connects.
    void start();
    /// Waits until the script has ended; the recordings are complete afterwards.
    void waitFinished();

    std::vector<std::string> commands() const;
    std::string receivedData() const;
    /// The first thing that went against the script (a command that never came, ...); empty when none.
    std::string failure() const;

private:
    using Step = std::function<bool()>;

    void run();
    bool readLine(std::string& line);
    bool ensureDataConnection();
    void fail(const std::string& what);
    void closeSocket(int& fd);

    int m_listenFd = -1;
    int m_controlFd = -1;
    int m_dataListenFd = -1;
    int m_dataFd = -1;
    unsigned short m_port = 0;
    std::string m_pending;
    std::vector<Step> m_steps;
    std::thread m_thread;

    mutable std::mutex m_mutex;
    std::vector<std::string> m_commands;
    std::string m_data;
    std::string m_failure;
};

#endif
