// The FTP client reading whatever a hostile server sends: the input is cut
// into the server's byte stream (the first byte of each piece gives the
// length of a read, so replies arrive split anywhere) and the client logs in,
// changes directory and lists in passive mode over it. It must end every
// operation with a result, never crash, assert or wait for more.
#include <vetrel/FtpClient/FTPClient.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace
{

// The server side as a script: every socket the client opens reads on from
// the same stream, which ends like a closed connection.
struct Script
{
    const uint8_t *data = nullptr;
    size_t size = 0;
    size_t at = 0;
};

class ScriptedSocket : public nsSocket::IBlockingSocket
{
public:
    explicit ScriptedSocket(std::shared_ptr<Script> script)
        : m_script(std::move(script))
    {
    }

    std::shared_ptr<IBlockingSocket> CreateInstance() const override { return std::make_shared<ScriptedSocket>(m_script); }
    void Create(int) override { m_open = true; }
    void Connect(const sockaddr *) const override { }
    void Bind(const sockaddr *) const override { }
    void Listen() const override { }
    void Cleanup() override { m_open = false; }
    bool Accept(IBlockingSocket &, sockaddr *) const override { return false; }
    void Close() override { m_open = false; }
    int Write(const char *, int nLength, int) const override { return nLength; }
    int Receive(char *pch, int nSize, int) const override
    {
        Script &script = *m_script;
        if (script.at >= script.size)
            return 0;
        const size_t piece = std::min({size_t(script.data[script.at++]) + 1, size_t(nSize), script.size - script.at});
        std::memcpy(pch, script.data + script.at, piece);
        script.at += piece;
        return int(piece);
    }
    void GetPeerAddr(sockaddr *psa) const override { *reinterpret_cast<sockaddr_in *>(psa) = loopback(); }
    void GetSockAddr(sockaddr *psa) const override { *reinterpret_cast<sockaddr_in *>(psa) = loopback(); }
    operator nsSocket::SOCKET() const override { return m_open ? 1000 : nsSocket::InvalidSocket; }
    bool CheckReadability() const override { return m_script->at < m_script->size; }
    nsSocket::CSockAddr GetHostByName(const char *, unsigned short ushPort) override
    {
        return nsSocket::CSockAddr("127.0.0.1", ushPort);
    }
    std::string GetHostByAddr(const sockaddr *) override { return "localhost"; }

private:
    static sockaddr_in loopback() { return nsSocket::CSockAddr("127.0.0.1", 2121); }

    std::shared_ptr<Script> m_script;
    bool m_open = false;
};

}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    auto script = std::make_shared<Script>();
    script->data = data;
    script->size = size;
    nsFTP::CFTPClient client(std::make_shared<ScriptedSocket>(script), 1);
    if (client.Login(nsFTP::CLogonInfo("127.0.0.1", 2121, "trader", "secret"))) {
        client.ChangeWorkingDirectory("/pub");
        nsFTP::CFTPClient::TStringVector listing;
        client.List("/pub", listing, true);
        client.Logout();
    }
    return 0;
}
