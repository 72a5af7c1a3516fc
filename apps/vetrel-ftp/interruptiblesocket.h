#ifndef VETREL_FTP_INTERRUPTIBLESOCKET_H
#define VETREL_FTP_INTERRUPTIBLESOCKET_H

#include <vetrel/FtpClient/BlockingSocket.h>

#include <csignal>

/**
 * The program's socket: every wait looks at Ctrl+C ten times a second and
 * ends with an "Interrupted" failure once it came, and connecting is bounded
 * by the time-out like every other wait.
 */
class InterruptibleSocket : public nsSocket::CBlockingSocket
{
public:
    explicit InterruptibleSocket(int connectTimeout);

    /// Makes Ctrl+C end the program's waits instead of the program.
    static void installInterruptHandler();
    static bool interrupted() { return s_interrupted != 0; }

    std::shared_ptr<IBlockingSocket> CreateInstance() const override;
    void Connect(const sockaddr *psa) const override;
    int Write(const char *pch, int nLength, int nSecs) const override;
    int Receive(char *pch, int nSize, int nSecs) const override;
    bool WaitForReadability(int nSecs) const override;

private:
    static void onInterrupt(int);
    /// True when ready; false when nSecs passed; throws once Ctrl+C came.
    bool waitFor(short events, int nSecs) const;

    const int m_connectTimeout;
    static volatile std::sig_atomic_t s_interrupted;
};

#endif
