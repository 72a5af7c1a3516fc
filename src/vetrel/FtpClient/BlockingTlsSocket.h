#ifndef VETREL_BLOCKINGTLSSOCKET_H
#define VETREL_BLOCKINGTLSSOCKET_H

#include "BlockingSocket.h"

#include <vetrel/vetrel_export.h>

#include <exception>
#include <memory>
#include <string>

typedef struct ssl_st SSL;
typedef struct ssl_session_st SSL_SESSION;
typedef struct bio_st BIO;

namespace nsSocket
{

/** How a TLS client checks the server it talks to. */
class VETREL_EXPORT CTlsSettings
{
public:
    /**
     * Whether the server's certificate chain and name are checked (the default).
     * Without the check the connection is still encrypted, but anyone on the way
     * can pose as the server.
     */
    bool VerifyPeer() const { return m_fVerifyPeer; }
    void SetVerifyPeer(bool fVerify) { m_fVerifyPeer = fVerify; }
    /** A PEM file of trusted certificates used instead of the system's store; empty for the system's. */
    const std::string &CaFile() const { return m_strCaFile; }
    void SetCaFile(const std::string &strCaFile) { m_strCaFile = strCaFile; }

private:
    bool m_fVerifyPeer = true;
    std::string m_strCaFile;
};

/**
 * A blocking socket that speaks TLS, as the client, over another blocking socket.
 *
 * Until StartTls it passes everything through to the plain socket, so that a
 * protocol can agree on TLS in the clear first. The records travel through the
 * plain socket's Write and Receive with the time-out of the call that moves
 * them; a failed handshake, a certificate that does not verify and a damaged
 * record throw CBlockingSocketException like any other socket failure.
 */
class VETREL_EXPORT CBlockingTlsSocket : public IBlockingSocket
{
public:
    CBlockingTlsSocket(std::shared_ptr<IBlockingSocket> apPlain, const CTlsSettings &settings);
    CBlockingTlsSocket(const CBlockingTlsSocket &) = delete;
    CBlockingTlsSocket &operator=(const CBlockingTlsSocket &) = delete;
    ~CBlockingTlsSocket() override;

    /**
     * Shakes hands over the connected plain socket and checks the server's
     * certificate against strPeerName, a host name or a dotted IPv4 address.
     */
    void StartTls(const std::string &strPeerName, int nSecs);
    bool IsTlsActive() const { return m_pSsl != nullptr; }
    const std::shared_ptr<IBlockingSocket> &PlainSocket() const { return m_apPlain; }
    /** Whether the handshake took up an earlier connection's session instead of a full one. */
    bool IsSessionReused() const;

    /**
     * A socket over a new instance of the plain socket's class. While this socket
     * speaks TLS, the new one shakes hands by itself at its first read, write or
     * close after Connect or Accept, checks the same peer name and offers this
     * connection's session for reuse, as FTP servers may demand of data connections.
     */
    std::shared_ptr<IBlockingSocket> CreateInstance() const override;
    void Create(int nType = SOCK_STREAM) override;
    void Connect(const sockaddr *psa) const override;
    void Bind(const sockaddr *psa) const override;
    void Listen() const override;
    void Cleanup() override;
    bool Accept(IBlockingSocket &sConnect, sockaddr *psa) const override;
    /** Sends the TLS closure alert before the plain socket closes, so the peer can tell an end from a cut. */
    void Close() override;
    int Write(const char *pch, int nLength, int nSecs) const override;
    int Receive(char *pch, int nSize, int nSecs) const override;
    void GetPeerAddr(sockaddr *psa) const override;
    void GetSockAddr(sockaddr *psa) const override;
    operator SOCKET() const override;
    bool CheckReadability() const override;
    CSockAddr GetHostByName(const char *pchName, unsigned short ushPort = 0) override;
    std::string GetHostByAddr(const sockaddr *psa) override;

private:
    class CContext;

    // A socket that speaks TLS from its first use after Connect or Accept on.
    CBlockingTlsSocket(std::shared_ptr<IBlockingSocket> apPlain, std::shared_ptr<CContext> apContext,
        std::shared_ptr<SSL_SESSION> apSession, int nSecs);

    void Handshake(int nSecs) const;
    void ShakeHandsIfDue(int nSecs) const;
    void FreeTls() const;
    void AwaitPeerClose() const;
    // Rethrows the plain socket's own failure when there was one, else describes OpenSSL's.
    [[noreturn]] void ThrowFailure(const char *pchOperation, int iResult) const;
    // The records' way through the plain socket.
    static int BioWrite(BIO *pBio, const char *pch, int nLength);
    static int BioRead(BIO *pBio, char *pch, int nSize);

    std::shared_ptr<IBlockingSocket> m_apPlain;
    std::shared_ptr<CContext> m_apContext;
    // Set only on sockets made by CreateInstance of a socket speaking TLS.
    const bool m_fTlsOnConnect;
    std::shared_ptr<SSL_SESSION> m_apResumeSession;
    // Handshakes happen inside const reads and writes, as the interface declares them.
    mutable SSL *m_pSsl = nullptr;
    mutable bool m_fHandshakeDue = false;
    mutable bool m_fReceived = false;
    mutable int m_nSecs;
    mutable std::exception_ptr m_pPlainFailure;
};

}

#endif
