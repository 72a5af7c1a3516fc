#include "BlockingTlsSocket.h"

#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>

#include <arpa/inet.h>
#include <sys/socket.h>

#include <cerrno>

namespace nsSocket
{

namespace
{

    // Larger than one record (16 KiB), so that one receive of a bulk transfer
    // takes many records and the per-call costs stay small.
    constexpr int ReadBufferLength = 256 * 1024;

    std::string OpenSslReason()
    {
        const unsigned long error = ERR_peek_last_error();
        ERR_clear_error();
        if (error == 0)
            return "the connection ended in the middle of the TLS exchange";
        const char *reason = ERR_reason_error_string(error);
        return reason ? reason : "OpenSSL error " + std::to_string(error);
    }

    CBlockingSocketException TlsException(const std::string &strOperation, const std::string &strReason)
    {
        // errno says nothing about a TLS failure; 0 keeps a stale value out of the message.
        errno = 0;
        return CBlockingSocketException((strOperation + " (" + strReason + ")").c_str());
    }

}

/** The OpenSSL context and the name the server must prove, shared by a control connection and its data
 * connections. */
class CBlockingTlsSocket::CContext
{
public:
    explicit CContext(const CTlsSettings &settings)
        : m_Settings(settings)
    { }
    ~CContext() { SSL_CTX_free(m_pCtx); }
    CContext(const CContext &) = delete;
    CContext &operator=(const CContext &) = delete;

    SSL_CTX *Get()
    {
        if (!m_pCtx)
            m_pCtx = Build();
        return m_pCtx;
    }

    const CTlsSettings m_Settings;
    std::string m_strPeerName;

private:
    SSL_CTX *Build() const
    {
        SSL_CTX *pCtx = SSL_CTX_new(TLS_client_method());
        if (!pCtx)
            throw TlsException("TLS setup", OpenSslReason());
        SSL_CTX_set_min_proto_version(pCtx, TLS1_2_VERSION);
        SSL_CTX_set_read_ahead(pCtx, 1);
        SSL_CTX_set_default_read_buffer_len(pCtx, ReadBufferLength);
        if (!m_Settings.VerifyPeer())
            return pCtx;
        SSL_CTX_set_verify(pCtx, SSL_VERIFY_PEER, nullptr);
        const bool fLoaded = m_Settings.CaFile().empty()
            ? SSL_CTX_set_default_verify_paths(pCtx) == 1
            : SSL_CTX_load_verify_locations(pCtx, m_Settings.CaFile().c_str(), nullptr) == 1;
        if (!fLoaded) {
            SSL_CTX_free(pCtx);
            throw TlsException("TLS certificates " + m_Settings.CaFile(), OpenSslReason());
        }
        return pCtx;
    }

    SSL_CTX *m_pCtx = nullptr;
};

namespace
{

    BIO_METHOD *PlainSocketMethod(int (*write)(BIO *, const char *, int), int (*read)(BIO *, char *, int))
    {
        static BIO_METHOD *const pMethod = [&] {
            BIO_METHOD *pNew
                = BIO_meth_new(BIO_get_new_index() | BIO_TYPE_SOURCE_SINK, "vetrel blocking socket");
            BIO_meth_set_write(pNew, write);
            BIO_meth_set_read(pNew, read);
            // OpenSSL flushes after each flight of records; the plain socket keeps no buffer.
            BIO_meth_set_ctrl(
                pNew, [](BIO *, int iCmd, long, void *) -> long { return iCmd == BIO_CTRL_FLUSH; });
            return pNew;
        }();
        return pMethod;
    }

}

CBlockingTlsSocket::CBlockingTlsSocket(std::shared_ptr<IBlockingSocket> apPlain, const CTlsSettings &settings)
    : m_apPlain(std::move(apPlain))
    , m_apContext(std::make_shared<CContext>(settings))
    , m_fTlsOnConnect(false)
    , m_nSecs(0)
{ }

CBlockingTlsSocket::CBlockingTlsSocket(std::shared_ptr<IBlockingSocket> apPlain,
    std::shared_ptr<CContext> apContext, std::shared_ptr<SSL_SESSION> apSession, int nSecs)
    : m_apPlain(std::move(apPlain))
    , m_apContext(std::move(apContext))
    , m_fTlsOnConnect(true)
    , m_apResumeSession(std::move(apSession))
    , m_nSecs(nSecs)
{ }

CBlockingTlsSocket::~CBlockingTlsSocket()
{
    FreeTls();
}

void CBlockingTlsSocket::StartTls(const std::string &strPeerName, int nSecs)
{
    m_apContext->m_strPeerName = strPeerName;
    Handshake(nSecs);
}

bool CBlockingTlsSocket::IsSessionReused() const
{
    return m_pSsl && SSL_session_reused(m_pSsl) == 1;
}

void CBlockingTlsSocket::Handshake(int nSecs) const
{
    FreeTls();
    m_pSsl = SSL_new(m_apContext->Get());
    if (!m_pSsl)
        throw TlsException("TLS setup", OpenSslReason());
    BIO *pBio = BIO_new(PlainSocketMethod(&BioWrite, &BioRead));
    BIO_set_data(pBio, const_cast<CBlockingTlsSocket *>(this));
    BIO_set_init(pBio, 1);
    SSL_set_bio(m_pSsl, pBio, pBio);

    const std::string &strName = m_apContext->m_strPeerName;
    in_addr address;
    const bool fAddress = inet_pton(AF_INET, strName.c_str(), &address) == 1;
    if (!fAddress)
        SSL_set_tlsext_host_name(m_pSsl, strName.c_str());
    if (m_apContext->m_Settings.VerifyPeer()) {
        X509_VERIFY_PARAM *pParam = SSL_get0_param(m_pSsl);
        X509_VERIFY_PARAM_set_hostflags(pParam, X509_CHECK_FLAG_NO_PARTIAL_WILDCARDS);
        if (fAddress)
            X509_VERIFY_PARAM_set1_ip_asc(pParam, strName.c_str());
        else
            X509_VERIFY_PARAM_set1_host(pParam, strName.c_str(), 0);
    }
    if (m_apResumeSession)
        SSL_set_session(m_pSsl, m_apResumeSession.get());

    m_nSecs = nSecs;
    const int iResult = SSL_connect(m_pSsl);
    if (iResult == 1)
        return;
    try {
        ThrowFailure("TLS handshake", iResult);
    } catch (...) {
        FreeTls();
        throw;
    }
}

void CBlockingTlsSocket::ShakeHandsIfDue(int nSecs) const
{
    if (!m_fHandshakeDue)
        return;
    m_fHandshakeDue = false;
    Handshake(nSecs);
}

void CBlockingTlsSocket::FreeTls() const
{
    SSL_free(m_pSsl);
    m_pSsl = nullptr;
    m_pPlainFailure = nullptr;
    m_fReceived = false;
}

void CBlockingTlsSocket::ThrowFailure(const char *pchOperation, int iResult) const
{
    if (m_pPlainFailure) {
        const std::exception_ptr pFailure = m_pPlainFailure;
        m_pPlainFailure = nullptr;
        ERR_clear_error();
        std::rethrow_exception(pFailure);
    }
    // Without checks OpenSSL still records what it found; that is no reason for a failure then.
    const long lVerified = SSL_get_verify_result(m_pSsl);
    if (m_apContext->m_Settings.VerifyPeer() && lVerified != X509_V_OK) {
        ERR_clear_error();
        throw TlsException(pchOperation, X509_verify_cert_error_string(lVerified));
    }
    if (SSL_get_error(m_pSsl, iResult) == SSL_ERROR_SYSCALL && ERR_peek_last_error() == 0)
        throw TlsException(pchOperation, "the peer closed the connection");
    throw TlsException(pchOperation, OpenSslReason());
}

int CBlockingTlsSocket::BioWrite(BIO *pBio, const char *pch, int nLength)
{
    const auto *pSocket = static_cast<const CBlockingTlsSocket *>(BIO_get_data(pBio));
    // Exceptions must not cross OpenSSL's C frames; the call that drove OpenSSL rethrows it.
    try {
        return pSocket->m_apPlain->Write(pch, nLength, pSocket->m_nSecs);
    } catch (...) {
        pSocket->m_pPlainFailure = std::current_exception();
        return -1;
    }
}

int CBlockingTlsSocket::BioRead(BIO *pBio, char *pch, int nSize)
{
    const auto *pSocket = static_cast<const CBlockingTlsSocket *>(BIO_get_data(pBio));
    try {
        return pSocket->m_apPlain->Receive(pch, nSize, pSocket->m_nSecs);
    } catch (...) {
        pSocket->m_pPlainFailure = std::current_exception();
        return -1;
    }
}

std::shared_ptr<IBlockingSocket> CBlockingTlsSocket::CreateInstance() const
{
    if (!m_pSsl)
        return std::make_shared<CBlockingTlsSocket>(m_apPlain->CreateInstance(), m_apContext->m_Settings);
    const std::shared_ptr<SSL_SESSION> apSession(SSL_get1_session(m_pSsl), &SSL_SESSION_free);
    return std::shared_ptr<IBlockingSocket>(
        new CBlockingTlsSocket(m_apPlain->CreateInstance(), m_apContext, apSession, m_nSecs));
}

void CBlockingTlsSocket::Create(int nType)
{
    FreeTls();
    m_fHandshakeDue = false;
    m_apPlain->Create(nType);
}

void CBlockingTlsSocket::Connect(const sockaddr *psa) const
{
    m_apPlain->Connect(psa);
    m_fHandshakeDue = m_fTlsOnConnect;
}

void CBlockingTlsSocket::Bind(const sockaddr *psa) const
{
    m_apPlain->Bind(psa);
}

void CBlockingTlsSocket::Listen() const
{
    m_apPlain->Listen();
}

void CBlockingTlsSocket::Cleanup()
{
    FreeTls();
    m_fHandshakeDue = false;
    m_apPlain->Cleanup();
}

bool CBlockingTlsSocket::Accept(IBlockingSocket &sConnect, sockaddr *psa) const
{
    auto *pTarget = dynamic_cast<CBlockingTlsSocket *>(&sConnect);
    if (!pTarget)
        return m_apPlain->Accept(sConnect, psa);
    if (!m_apPlain->Accept(*pTarget->m_apPlain, psa))
        return false;
    pTarget->m_fHandshakeDue = pTarget->m_fTlsOnConnect;
    return true;
}

void CBlockingTlsSocket::Close()
{
    if (m_pSsl || m_fHandshakeDue) {
        // A data connection that carried no bytes (an empty upload) still owes
        // the server its handshake. Failures here change nothing: the server's
        // reply to the transfer tells how it ended.
        try {
            ShakeHandsIfDue(m_nSecs);
            SSL_shutdown(m_pSsl);
            // A cut download must end at once; anything else ends orderly.
            if (m_fTlsOnConnect && !m_fReceived)
                AwaitPeerClose();
        } catch (const CBlockingSocketException &) { }
        ERR_clear_error();
        FreeTls();
    }
    m_apPlain->Close();
}

void CBlockingTlsSocket::AwaitPeerClose() const
{
    // The server's session tickets lie unread in a connection we only wrote to;
    // closing over unread bytes resets the connection, and the reset can destroy
    // our last records before the server has read them. So the end of our data
    // is announced and the server's own close awaited, reading what it sends.
    ::shutdown(static_cast<int>(static_cast<SOCKET>(*m_apPlain)), SHUT_WR);
    char achDiscard[4096];
    while (m_apPlain->Receive(achDiscard, sizeof achDiscard, m_nSecs) > 0) { }
}

int CBlockingTlsSocket::Write(const char *pch, int nLength, int nSecs) const
{
    if (!m_pSsl && !m_fHandshakeDue)
        return m_apPlain->Write(pch, nLength, nSecs);
    ShakeHandsIfDue(nSecs);
    m_nSecs = nSecs;
    int nTotal = 0;
    while (nTotal < nLength) {
        size_t nWritten = 0;
        const int iResult
            = SSL_write_ex(m_pSsl, pch + nTotal, static_cast<size_t>(nLength - nTotal), &nWritten);
        if (iResult != 1)
            ThrowFailure("TLS send", iResult);
        nTotal += static_cast<int>(nWritten);
    }
    return nTotal;
}

int CBlockingTlsSocket::Receive(char *pch, int nSize, int nSecs) const
{
    if (!m_pSsl && !m_fHandshakeDue)
        return m_apPlain->Receive(pch, nSize, nSecs);
    ShakeHandsIfDue(nSecs);
    m_nSecs = nSecs;
    size_t nRead = 0;
    const int iResult = SSL_read_ex(m_pSsl, pch, static_cast<size_t>(nSize), &nRead);
    if (iResult != 1) {
        if (SSL_get_error(m_pSsl, iResult) == SSL_ERROR_ZERO_RETURN)
            return 0;
        ThrowFailure("TLS receive", iResult);
    }
    // Records that already arrived go along, so one call moves as much as a plain receive would.
    while (nRead < static_cast<size_t>(nSize) && SSL_pending(m_pSsl) + SSL_has_pending(m_pSsl) > 0) {
        size_t nMore = 0;
        if (SSL_read_ex(m_pSsl, pch + nRead, static_cast<size_t>(nSize) - nRead, &nMore) != 1) {
            // The end or the failure shows again at the next call.
            ERR_clear_error();
            m_pPlainFailure = nullptr;
            break;
        }
        nRead += nMore;
    }
    m_fReceived = true;
    return static_cast<int>(nRead);
}

void CBlockingTlsSocket::GetPeerAddr(sockaddr *psa) const
{
    m_apPlain->GetPeerAddr(psa);
}

void CBlockingTlsSocket::GetSockAddr(sockaddr *psa) const
{
    m_apPlain->GetSockAddr(psa);
}

CBlockingTlsSocket::operator SOCKET() const
{
    return static_cast<SOCKET>(*m_apPlain);
}

bool CBlockingTlsSocket::CheckReadability() const
{
    return (m_pSsl && SSL_has_pending(m_pSsl) == 1) || m_apPlain->CheckReadability();
}

CSockAddr CBlockingTlsSocket::GetHostByName(const char *pchName, unsigned short ushPort)
{
    return m_apPlain->GetHostByName(pchName, ushPort);
}

std::string CBlockingTlsSocket::GetHostByAddr(const sockaddr *psa)
{
    return m_apPlain->GetHostByAddr(psa);
}

}
