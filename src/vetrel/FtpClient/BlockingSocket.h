#ifndef VETREL_BLOCKINGSOCKET_H
#define VETREL_BLOCKINGSOCKET_H

#include <vetrel/vetrel_export.h>

#include <netinet/in.h>
#include <sys/socket.h>

#include <memory>
#include <string>

namespace nsSocket
{

/** The raw handle as the interface hands it out; all bits set means no socket. */
typedef unsigned int SOCKET;
constexpr SOCKET InvalidSocket = static_cast<SOCKET>(~0);

/**
 * A failed system call of the socket layer: the message names the operation
 * ("Connect", "Receive timeout", ...) and errno is captured on construction.
 */
class VETREL_EXPORT CBlockingSocketException
{
public:
    explicit CBlockingSocketException(const char *pchMessage);
    virtual ~CBlockingSocketException();

    /**
     * Writes "<message> error 0x<errno in 8 hex digits>" (or "<message> error"
     * when errno was 0) when it fits into maxLength bytes including the NUL;
     * otherwise writes nothing and returns false.
     */
    virtual bool GetErrorMessage(
        char *lpstrError, unsigned int nMaxError, unsigned int *pnHelpContext = nullptr) const;
    /** The same text, or an empty string when it is longer than 511 characters. */
    virtual std::string GetErrorMessage(unsigned int *pnHelpContext = nullptr) const;

    unsigned int ErrorNumber() const { return m_nError; }
    const std::string &Message() const { return m_strMessage; }

private:
    unsigned int m_nError;
    std::string m_strMessage;
};

/** An IPv4 socket address; port and address are kept in network order. */
class VETREL_EXPORT CSockAddr : public sockaddr_in
{
public:
    /** Any address, port 0. */
    CSockAddr();
    /** Address and port in host order. */
    CSockAddr(in_addr_t ulAddr, unsigned short ushPort);
    /** A dotted IPv4 address and a port in host order. */
    CSockAddr(const char *pchIP, unsigned short ushPort);
    explicit CSockAddr(const sockaddr_in &sin);
    explicit CSockAddr(const sockaddr &sa);

    /** The address as dotted text. */
    std::string DottedDecimal() const;
    /** The port in host order. */
    unsigned short Port() const;
    /** The address in network order. */
    in_addr_t IPAddr() const { return sin_addr.s_addr; }

    operator sockaddr *() { return reinterpret_cast<sockaddr *>(static_cast<sockaddr_in *>(this)); }
    operator const sockaddr *() const
    {
        return reinterpret_cast<const sockaddr *>(static_cast<const sockaddr_in *>(this));
    }
};

/**
 * The socket operations the FTP client needs, so that it can be given any
 * implementation through a shared pointer. Every wait is bounded by a
 * time-out in whole seconds; failures throw CBlockingSocketException.
 */
class VETREL_EXPORT IBlockingSocket
{
public:
    virtual ~IBlockingSocket();
    /** A new, unopened socket of the receiver's own class. */
    virtual std::shared_ptr<IBlockingSocket> CreateInstance() const = 0;
    virtual void Create(int nType = SOCK_STREAM) = 0;
    virtual void Connect(const sockaddr *psa) const = 0;
    virtual void Bind(const sockaddr *psa) const = 0;
    virtual void Listen() const = 0;
    virtual void Cleanup() = 0;
    /** False when the wait was interrupted by a signal; sConnect then stays unopened. */
    virtual bool Accept(IBlockingSocket &sConnect, sockaddr *psa) const = 0;
    virtual void Close() = 0;
    /** Sends all nLength bytes, each piece waiting at most nSecs for room. */
    virtual int Write(const char *pch, int nLength, int nSecs) const = 0;
    /** One read of at most nSize bytes after waiting nSecs for data; 0 at end of stream. */
    virtual int Receive(char *pch, int nSize, int nSecs) const = 0;
    virtual void GetPeerAddr(sockaddr *psa) const = 0;
    virtual void GetSockAddr(sockaddr *psa) const = 0;
    /** The raw handle; InvalidSocket while unopened. */
    virtual operator SOCKET() const = 0;
    /** True when data (or the end of stream) is waiting right now. */
    virtual bool CheckReadability() const = 0;
    virtual CSockAddr GetHostByName(const char *pchName, unsigned short ushPort = 0) = 0;
    virtual std::string GetHostByAddr(const sockaddr *psa) = 0;
    /**
     * Waits at most nSecs for data, the end of stream or, on a listening
     * socket, a connection; false when the time ran out. Throws "Socket Error"
     * when the wait itself fails.
     */
    virtual bool WaitForReadability(int nSecs) const;
};

/** A blocking IPv4 socket over one POSIX descriptor. */
class VETREL_EXPORT CBlockingSocket : public IBlockingSocket
{
public:
    CBlockingSocket() = default;
    CBlockingSocket(const CBlockingSocket &) = delete;
    CBlockingSocket &operator=(const CBlockingSocket &) = delete;
    ~CBlockingSocket() override;

    std::shared_ptr<IBlockingSocket> CreateInstance() const override;
    void Create(int nType = SOCK_STREAM) override;
    void Connect(const sockaddr *psa) const override;
    void Bind(const sockaddr *psa) const override;
    void Listen() const override;
    void Cleanup() override;
    bool Accept(IBlockingSocket &sConnect, sockaddr *psa) const override;
    void Close() override;
    int Write(const char *pch, int nLength, int nSecs) const override;
    int Receive(char *pch, int nSize, int nSecs) const override;
    void GetPeerAddr(sockaddr *psa) const override;
    void GetSockAddr(sockaddr *psa) const override;
    operator SOCKET() const override;
    bool CheckReadability() const override;
    CSockAddr GetHostByName(const char *pchName, unsigned short ushPort = 0) override;
    std::string GetHostByAddr(const sockaddr *psa) override;

    /** One send of at most nSize bytes after waiting nSecs for room; returns the count sent. */
    int Send(const char *pch, int nSize, int nSecs) const;
    int ReceiveDatagram(char *pch, int nSize, sockaddr *psa, int nSecs) const;
    int SendDatagram(const char *pch, int nSize, const sockaddr *psa, int nSecs) const;

private:
    int m_hSocket = -1;
};

/** A blocking socket that reads HTTP header lines through a buffer of its own. */
class VETREL_EXPORT CHttpBlockingSocket : public CBlockingSocket
{
public:
    enum
    {
        nSizeRecv = 1000
    };

    CHttpBlockingSocket();
    ~CHttpBlockingSocket() override;

    std::shared_ptr<IBlockingSocket> CreateInstance() const override;

    /** One line including its CR LF, at most nSize - 1 bytes, NUL-terminated; returns the count. */
    int ReadHttpHeaderLine(char *pch, int nSize, int nSecs);
    /** Everything after the header lines, up to the end of stream or nSize bytes. */
    int ReadHttpResponse(char *pch, int nSize, int nSecs);

private:
    char *m_pReadBuf;
    int m_nReadBuf = 0;
};

/** A new, unopened CBlockingSocket. */
VETREL_EXPORT std::shared_ptr<IBlockingSocket> CreateDefaultBlockingSocketInstance();

}

#endif
