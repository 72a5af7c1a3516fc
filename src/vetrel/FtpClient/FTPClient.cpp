#include "FTPClient.h"

#include "FTPAssert.h"
#include "FTPFileStatus.h"
#include "FTPListParse.h"
#include "FTPMlsdParse.h"
#include "FTPTransferTargets.h"

#include <QFileInfo>

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <deque>
#include <mutex>

using nsSocket::CBlockingSocketException;
using nsSocket::CSockAddr;
using nsSocket::IBlockingSocket;

namespace nsFTP
{

namespace
{

    const int LoggedOn = -2;
    const int LastStepCommand = 11;
    const int StepsPerSequence = 6;

    /**
     * One row per firewall type, six steps each: the command to send, then where
     * to go on a 2xx and where on a 3xx; -2 means logged on, -1 gave up. Two 2xx
     * entries lead to failure on purpose (SITE behind a SITE firewall, the first
     * USER behind the remote@host firewall): a real firewall of that kind asks
     * for more there, so a completion reply means something else answered.
     */
    const int LogonSequences[9][StepsPerSequence * 3] = {
        { 0, -2, 3, 1, -2, 6, 2, -2, -1, 0, 0, 0, 0, 0, 0, 0, 0, 0 },
        { 3, 6, 3, 4, 6, -1, 5, -1, 9, 0, -2, 12, 1, -2, 15, 2, -2, -1 },
        { 3, 6, 3, 4, 6, -1, 6, -2, 9, 1, -2, 12, 2, -2, -1, 0, 0, 0 },
        { 7, 3, 3, 0, -2, 6, 1, -2, 9, 2, -2, -1, 0, 0, 0, 0, 0, 0 },
        { 3, 6, 3, 4, 6, -1, 0, -2, 9, 1, -2, 12, 2, -2, -1, 0, 0, 0 },
        { 6, -2, 3, 1, -2, 6, 2, -2, -1, 0, 0, 0, 0, 0, 0, 0, 0, 0 },
        { 8, 6, 3, 4, 6, -1, 0, -2, 9, 1, -2, 12, 2, -2, -1, 0, 0, 0 },
        { 9, -1, 3, 1, -2, 6, 2, -2, -1, 0, 0, 0, 0, 0, 0, 0, 0, 0 },
        { 10, -2, 3, 11, -2, 6, 2, -2, -1, 0, 0, 0, 0, 0, 0, 0, 0, 0 },
    };

    /// Holds the transfer-in-progress flag up for the life of one data loop, whichever way it ends.
    class CTransferInProgress
    {
    public:
        explicit CTransferInProgress(std::atomic<bool> &fFlag)
            : m_fFlag(fFlag)
        {
            m_fFlag = true;
        }
        ~CTransferInProgress() { m_fFlag = false; }
        CTransferInProgress(const CTransferInProgress &) = delete;
        CTransferInProgress &operator=(const CTransferInProgress &) = delete;

    private:
        std::atomic<bool> &m_fFlag;
    };

    /// Raises a wait for the life of one step and restores it, whichever way the step ends.
    class CReplyTimeout
    {
    public:
        CReplyTimeout(unsigned int &uiTimeout, unsigned int uiRaised)
            : m_uiTimeout(uiTimeout)
            , m_uiSaved(uiTimeout)
        {
            m_uiTimeout = uiRaised;
        }
        ~CReplyTimeout() { m_uiTimeout = m_uiSaved; }
        CReplyTimeout(const CReplyTimeout &) = delete;
        CReplyTimeout &operator=(const CReplyTimeout &) = delete;

    private:
        unsigned int &m_uiTimeout;
        const unsigned int m_uiSaved;
    };

    tstring DecimalPrefix(const tstring &strText)
    {
        const size_t nDigits = std::find_if_not(strText.begin(), strText.end(), [](char c) {
            return c >= '0' && c <= '9';
        }) - strText.begin();
        return strText.substr(0, nDigits);
    }

    bool EndsMultiLineReply(const tstring &strLine, const tstring &strReplyNumber)
    {
        return strLine.size() >= 4 && strLine[3] == ' ' && DecimalPrefix(strLine) == strReplyNumber;
    }

    /// Reads a decimal number of at most lMax at pos and moves pos behind it.
    bool ReadNumber(const tstring &strText, size_t &nPos, long lMax, long &lValue)
    {
        const size_t nStart = nPos;
        lValue = 0;
        while (nPos < strText.size() && strText[nPos] >= '0' && strText[nPos] <= '9' && nPos - nStart < 10) {
            lValue = lValue * 10 + (strText[nPos] - '0');
            ++nPos;
        }
        return nPos > nStart && lValue <= lMax;
    }

    /// The address and port of a PASV reply: "... (h1,h2,h3,h4,p1,p2)".
    bool ParsePassiveReply(const tstring &strReply, unsigned int &ulIpAddress, unsigned short &ushPort)
    {
        size_t nPos = strReply.find('(');
        if (nPos == tstring::npos)
            return false;
        long alValues[6];
        for (int i = 0; i < 6; ++i) {
            ++nPos;
            if (!ReadNumber(strReply, nPos, 255, alValues[i]) || nPos >= strReply.size()
                || strReply[nPos] != (i == 5 ? ')' : ','))
                return false;
        }
        ulIpAddress = static_cast<unsigned int>(
            (alValues[0] << 24) | (alValues[1] << 16) | (alValues[2] << 8) | alValues[3]);
        ushPort = static_cast<unsigned short>(alValues[4] * 256 + alValues[5]);
        return true;
    }

    /// "YYYYMMDDHHMMSS" with an optional fraction, as MDTM answers, read as UTC.
    bool ParseModificationTime(const tstring &strTime, tm &tmTime)
    {
        if (strTime.size() < 14 || !std::all_of(strTime.begin(), strTime.begin() + 14, [](char c) {
                return c >= '0' && c <= '9';
            }))
            return false;
        const auto field = [&strTime](size_t nPos, size_t nLength) {
            return std::atoi(strTime.substr(nPos, nLength).c_str());
        };
        tmTime = tm();
        tmTime.tm_year = field(0, 4) - 1900;
        tmTime.tm_mon = field(4, 2) - 1;
        tmTime.tm_mday = field(6, 2);
        tmTime.tm_hour = field(8, 2);
        tmTime.tm_min = field(10, 2);
        tmTime.tm_sec = field(12, 2);
        return tmTime.tm_mon >= 0 && tmTime.tm_mon < 12 && tmTime.tm_mday >= 1 && tmTime.tm_mday <= 31
            && tmTime.tm_hour < 24 && tmTime.tm_min < 60 && tmTime.tm_sec <= 60;
    }

    /// The text of a 2xx reply after its code, as SIZE and MDTM give their values.
    tstring ReplyParameter(const CFTPClient::CReply &Reply)
    {
        const tstring &strValue = Reply.Value();
        return strValue.size() > 4 ? strValue.substr(4) : tstring();
    }

    bool IsRestartable(const CCommand &Command)
    {
        return Command == CCommand::cmdRETR || Command == CCommand::cmdSTOR || Command == CCommand::cmdAPPE;
    }

}

// ---------------------------------------------------------------------------
// CReply

bool CFTPClient::CReply::CCode::Set(const tstring &strCode)
{
    const bool fValid = strCode.size() == 3 && strCode[0] >= '1' && strCode[0] <= '5' && strCode[1] >= '0'
        && strCode[1] <= '5';
    m_strCode = fValid ? strCode : tstring();
    return fValid;
}

bool CFTPClient::CReply::CCode::IsPositiveReply() const
{
    return IsPositivePreliminaryReply() || IsPositiveCompletionReply() || IsPositiveIntermediateReply();
}

bool CFTPClient::CReply::CCode::IsNegativeReply() const
{
    return IsTransientNegativeCompletionReply() || IsPermanentNegativeCompletionReply();
}

bool CFTPClient::CReply::Set(const tstring &strResponse)
{
    m_strResponse = strResponse;
    return m_Code.Set(strResponse.substr(0, 3));
}

// ---------------------------------------------------------------------------
// The client's state and the steps its operations are made of

class CFTPClient::CPimpl
{
public:
    CPimpl(CFTPClient &client, std::shared_ptr<IBlockingSocket> apSocket, unsigned int uiTimeout,
        unsigned int uiBufferSize, unsigned int uiResponseWait, const tstring &strRemoteStartDirectory);

    /**
     * Held by every operation for as long as it runs, so that Abort() on
     * another thread can tell that the control connection is in use. The
     * outermost operation starts with no abort pending: a request that came
     * while nothing was transferring must not stop a later transfer.
     */
    class COperation
    {
    public:
        explicit COperation(CPimpl &d)
            : m_d(d)
            , m_lock(d.m_mxOperation)
        {
            if (m_d.m_iOperationDepth++ == 0)
                m_d.m_fAbortTransfer = false;
        }
        ~COperation() { --m_d.m_iOperationDepth; }
        COperation(const COperation &) = delete;
        COperation &operator=(const COperation &) = delete;

    private:
        CPimpl &m_d;
        std::lock_guard<std::recursive_mutex> m_lock;
    };

    template<typename TMethod, typename... TArgs>
    void Notify(TMethod pMethod, const TArgs &...args) const;
    void ReportError(const tstring &strErrorMsg, unsigned int uiLine) const;
    void ReportSocketError(const CBlockingSocketException &blockingException, unsigned int uiLine) const;
    bool IsSendable(const CArg &Arguments) const;
    void DropControlConnection();
    bool SendLogonStep(int iStepCommand, CReply &Reply);
    bool SecureControlConnection(const tstring &strServerHost);
    bool ProtectDataConnections();
    bool IsMachineListingOffered();
    bool ReceiveResponseLines();
    bool QueueResponseLines();
    int SimpleCommand(const CCommand &Command, const CArg &Arguments = CArg());

    bool OpenActiveDataConnection(IBlockingSocket &sckDataConnection, const CCommand &crDatachannelCmd,
        const tstring &strPath, unsigned int dwByteOffset);
    bool OpenPassiveDataConnection(IBlockingSocket &sckDataConnection, const CCommand &crDatachannelCmd,
        const tstring &strPath, unsigned int dwByteOffset);
    bool ControlConnectionAddress(CSockAddr &adr, bool fPeer);
    bool AcceptDataConnection(const IBlockingSocket &sckListener, IBlockingSocket &sckDataConnection);
    bool SendDatachannelCommand(
        const CCommand &crDatachannelCmd, const tstring &strPath, unsigned int dwByteOffset);
    bool CloseDataConnection(IBlockingSocket &sckDataConnection);
    bool ReadClosingReply();
    bool ReceiveData(ITransferNotification &Observer, IBlockingSocket &sckDataConnection);
    bool SendData(ITransferNotification &Observer, IBlockingSocket &sckDataConnection);
    void FailTransfer(const CBlockingSocketException &blockingException, IBlockingSocket &sckDataConnection);
    void FinishAbortedTransfer(IBlockingSocket &sckDataConnection);
    bool ReceivedAllAnnounced(long lRemoteFileSize, long lOffset, const CRepresentation &repType);

    bool ReceiveListing(
        const CCommand &Command, const tstring &strPath, bool fPasv, COutputStream &outputStream);
    bool ListLines(const CCommand &Command, const tstring &strPath, TStringVector &vstrFileList, bool fPasv);
    bool ListParsed(const CCommand &Command, const tstring &strPath, TSpFTPFileStatusVector &vFileList,
        bool fPasv, IFileListParser &Parser);
    bool CheckLocalFile(CFile &file) const;

    CFTPClient &q;
    const unsigned int mc_uiTimeout;
    const unsigned int mc_uiResponseWait;
    const tstring mc_strEolCharacterSequence;
    const tstring m_strRemoteStartDirectory;

    std::vector<char> m_vBuffer;
    std::deque<tstring> m_qResponseBuffer;
    size_t m_nQueuedBytes = 0;
    tstring m_strPendingResponse;
    /// The wait for a reply; longer than the idle time-out only while a copy between servers runs.
    unsigned int m_uiReplyTimeout;
    std::shared_ptr<CRepresentation> m_apCurrentRepresentation;
    std::shared_ptr<IBlockingSocket> m_apSckControlConnection;
    /// The control socket itself while TLS is enabled.
    std::shared_ptr<nsSocket::CBlockingTlsSocket> m_apTlsControlConnection;
    std::shared_ptr<IFileListParser> m_apFileListParser;
    std::atomic<bool> m_fTransferInProgress { false };
    std::atomic<bool> m_fAbortTransfer { false };
    bool m_fResumeIfPossible = true;
    bool m_fPassiveToControlPeer = false;
    /// Whether the server lists with MLSD: unknown (-1) until FEAT was asked on this connection.
    int m_iMachineListing = -1;
    CLogonInfo m_LastLogonInfo;
    nsHelper::CObserverPatternBase<CFTPClient, CNotification> m_Observers;

    std::recursive_mutex m_mxOperation;
    int m_iOperationDepth = 0;
    /// Bytes moved by the last data loop.
    long m_lTransferredBytes = 0;
    /// The size a 1xx reply announced for the last transfer ("... (1234 bytes)"), -1 when none.
    long m_lAnnouncedSize = -1;
};

namespace
{

    /**
     * Stands between a local file and a transfer: stops the transfer at the
     * first read or write that fails, and in text mode turns the network's CR LF
     * into the local line end and back.
     */
    class CLocalFileTarget : public CFTPClient::ITransferNotification
    {
    public:
        CLocalFileTarget(CFile &file, CFTPClient &client, bool fText)
            : m_File(file)
            , m_Client(client)
            , m_fText(fText)
        { }

        tstring GetLocalStreamName() const override { return m_File.GetLocalStreamName(); }
        long GetLocalStreamSize() const override { return m_File.GetLocalStreamSize(); }
        void SetLocalStreamOffset(unsigned int uiStreamOffset) override
        {
            m_File.SetLocalStreamOffset(uiStreamOffset);
        }

        void OnBytesReceived(const std::vector<char> &vBuffer, long lReceivedBytes) override
        {
            if (!m_fText) {
                m_File.OnBytesReceived(vBuffer, lReceivedBytes);
            } else {
                m_vText.clear();
                for (long i = 0; i < lReceivedBytes; ++i) {
                    const char c = vBuffer[static_cast<size_t>(i)];
                    if (m_fPendingCr && c != '\n')
                        m_vText.push_back('\r');
                    m_fPendingCr = c == '\r';
                    if (!m_fPendingCr)
                        m_vText.push_back(c);
                }
                m_File.OnBytesReceived(m_vText, static_cast<long>(m_vText.size()));
            }
            StopOnFailure();
        }

        void OnPreBytesSend(char *pszBuffer, size_t bufferSize, size_t &bytesToSend) override
        {
            if (!m_fText) {
                m_File.OnPreBytesSend(pszBuffer, bufferSize, bytesToSend);
            } else {
                // Every byte may grow into two.
                m_vText.resize(std::max<size_t>(bufferSize / 2, 1));
                size_t bytesRead = 0;
                m_File.OnPreBytesSend(m_vText.data(), m_vText.size(), bytesRead);
                bytesToSend = 0;
                for (size_t i = 0; i < bytesRead; ++i) {
                    const char c = m_vText[i];
                    if (c == '\n' && m_cLast != '\r')
                        pszBuffer[bytesToSend++] = '\r';
                    pszBuffer[bytesToSend++] = c;
                    m_cLast = c;
                }
            }
            StopOnFailure();
        }

        /// A CR that ended the data is no line end; it goes to the file as it came.
        void Finish()
        {
            if (m_fPendingCr)
                m_File.OnBytesReceived(std::vector<char>(1, '\r'), 1);
            m_fPendingCr = false;
        }

    private:
        void StopOnFailure()
        {
            if (!m_File.IsGood())
                m_Client.Abort();
        }

        CFile &m_File;
        CFTPClient &m_Client;
        const bool m_fText;
        std::vector<char> m_vText;
        bool m_fPendingCr = false;
        char m_cLast = '\0';
    };

    bool IsText(const CRepresentation &repType)
    {
        return repType.Type() == CType::tyASCII || repType.Type() == CType::tyEBCDIC;
    }

    /// The byte count a 1xx reply names as "(1234 bytes)", or -1.
    long AnnouncedSize(const tstring &strReply)
    {
        const size_t nEnd = strReply.rfind(" bytes)");
        const size_t nStart = nEnd == tstring::npos ? tstring::npos : strReply.rfind('(', nEnd);
        if (nStart == tstring::npos)
            return -1;
        size_t nPos = nStart + 1;
        long lSize = 0;
        return ReadNumber(strReply, nPos, LONG_MAX / 10, lSize) && nPos == nEnd ? lSize : -1;
    }

    /**
     * How long a copy between servers waits for the source's final reply. No data
     * passes through this client, so it cannot tell a long copy from a stalled
     * one; the servers' own idle time-outs end a stalled copy with a reply.
     */
    const unsigned int CopyReplyTimeout = 7 * 24 * 3600;

}

CFTPClient::CPimpl::CPimpl(CFTPClient &client, std::shared_ptr<IBlockingSocket> apSocket,
    unsigned int uiTimeout, unsigned int uiBufferSize, unsigned int uiResponseWait,
    const tstring &strRemoteStartDirectory)
    : q(client)
    , mc_uiTimeout(uiTimeout)
    , mc_uiResponseWait(uiResponseWait)
    , mc_strEolCharacterSequence("\r\n")
    , m_strRemoteStartDirectory(strRemoteStartDirectory)
    // Reply lines are read into all but the last byte, so two bytes is the least that works.
    , m_vBuffer(std::max(uiBufferSize, 2u), '\0')
    , m_uiReplyTimeout(uiTimeout)
    , m_apSckControlConnection(std::move(apSocket))
    , m_apFileListParser(std::make_shared<CFTPListParser>())
    , m_Observers(&client)
{ }

// ---------------------------------------------------------------------------
// Construction, observers, settings

CFTPClient::CFTPClient(std::shared_ptr<IBlockingSocket> apSocket, unsigned int uiTimeout,
    unsigned int uiBufferSize, unsigned int uiResponseWait, const tstring &strRemoteStartDirectory)
    : m_pimpl(new CPimpl(
        *this, std::move(apSocket), uiTimeout, uiBufferSize, uiResponseWait, strRemoteStartDirectory))
{
    VETREL_FTP_ASSERT(m_pimpl->m_apSckControlConnection.get());
    VETREL_FTP_ASSERT(!m_pimpl->m_strRemoteStartDirectory.empty());
}

CFTPClient::~CFTPClient()
{
    m_pimpl->m_Observers.UnlinkAll();
}

nsHelper::CObserverPatternBase<CFTPClient, CFTPClient::CNotification> &CFTPClient::ObserverLinks()
{
    return m_pimpl->m_Observers;
}

void CFTPClient::AttachObserver(CNotification *pObserver)
{
    VETREL_FTP_ASSERT(pObserver);
    m_pimpl->m_Observers.Link(pObserver);
}

void CFTPClient::DetachObserver(CNotification *pObserver)
{
    VETREL_FTP_ASSERT(pObserver);
    m_pimpl->m_Observers.Unlink(pObserver);
}

const CFTPClient::TObserverSet &CFTPClient::GetObservers() const
{
    return m_pimpl->m_Observers.Partners();
}

void CFTPClient::SetResumeMode(bool fEnable)
{
    m_pimpl->m_fResumeIfPossible = fEnable;
}

bool CFTPClient::IsResumeModeEnabled() const
{
    return m_pimpl->m_fResumeIfPossible;
}

bool CFTPClient::IsTransferringData() const
{
    return m_pimpl->m_fTransferInProgress;
}

void CFTPClient::SetFileListParser(const std::shared_ptr<IFileListParser> &apFileListParser)
{
    m_pimpl->m_apFileListParser = apFileListParser;
}

void CFTPClient::SetPassiveAddressFromControlPeer(bool fEnable)
{
    m_pimpl->m_fPassiveToControlPeer = fEnable;
}

bool CFTPClient::IsPassiveAddressFromControlPeer() const
{
    return m_pimpl->m_fPassiveToControlPeer;
}

template<typename TMethod, typename... TArgs>
void CFTPClient::CPimpl::Notify(TMethod pMethod, const TArgs &...args) const
{
    // An observer may detach itself or another one from inside its call.
    const TObserverSet setObservers = m_Observers.Partners();
    for (CNotification *pObserver : setObservers) {
        if (m_Observers.Partners().count(pObserver))
            (pObserver->*pMethod)(args...);
    }
}

void CFTPClient::CPimpl::ReportError(const tstring &strErrorMsg, unsigned int uiLine) const
{
    Notify(&CNotification::OnInternalError, strErrorMsg, tstring(__FILE__), uiLine);
}

void CFTPClient::CPimpl::ReportSocketError(
    const CBlockingSocketException &blockingException, unsigned int uiLine) const
{
    ReportError(blockingException.GetErrorMessage(), uiLine);
}

bool CFTPClient::CPimpl::IsSendable(const CArg &Arguments) const
{
    for (const tstring &strArgument : Arguments) {
        if (strArgument.find_first_of("\r\n") != tstring::npos) {
            ReportError("An argument contains a line break; the command was not sent.", __LINE__);
            return false;
        }
    }
    return true;
}

// ---------------------------------------------------------------------------
// Control connection

bool CFTPClient::IsConnected() const
{
    return static_cast<nsSocket::SOCKET>(*m_pimpl->m_apSckControlConnection) != nsSocket::InvalidSocket;
}

bool CFTPClient::OpenControlChannel(const tstring &strServerHost, unsigned short ushServerPort)
{
    const CPimpl::COperation operation(*m_pimpl);
    CloseControlChannel();
    IBlockingSocket &sckControl = *m_pimpl->m_apSckControlConnection;
    try {
        sckControl.Create(SOCK_STREAM);
        const CSockAddr adr = sckControl.GetHostByName(strServerHost.c_str(), ushServerPort);
        sckControl.Connect(adr);
    } catch (const CBlockingSocketException &blockingException) {
        m_pimpl->ReportSocketError(blockingException, __LINE__);
        sckControl.Cleanup();
        return false;
    }
    return true;
}

void CFTPClient::CloseControlChannel()
{
    const CPimpl::COperation operation(*m_pimpl);
    try {
        m_pimpl->m_apSckControlConnection->Close();
    } catch (const CBlockingSocketException &blockingException) {
        m_pimpl->ReportSocketError(blockingException, __LINE__);
    }
    m_pimpl->DropControlConnection();
}

void CFTPClient::CPimpl::DropControlConnection()
{
    m_apSckControlConnection->Cleanup();
    m_qResponseBuffer.clear();
    m_nQueuedBytes = 0;
    m_strPendingResponse.clear();
    m_apCurrentRepresentation.reset();
    m_iMachineListing = -1;
}

bool CFTPClient::Login(const CLogonInfo &logonInfo)
{
    const CPimpl::COperation operation(*m_pimpl);
    m_pimpl->m_LastLogonInfo = logonInfo;

    const int iFirewallType = logonInfo.FwType().AsEnum();
    const bool fDirect = iFirewallType == CFirewallType::ftNone;
    const tstring &strConnectHost = fDirect ? logonInfo.Hostname() : logonInfo.FwHost();
    const unsigned short ushConnectPort = fDirect ? logonInfo.Hostport() : logonInfo.FwPort();

    if (IsConnected())
        Logout();
    if (!OpenControlChannel(strConnectHost, ushConnectPort))
        return false;

    CReply Reply;
    if (!GetResponse(Reply) || !Reply.Code().IsPositiveCompletionReply())
        return false;
    if (m_pimpl->m_apTlsControlConnection && !m_pimpl->SecureControlConnection(strConnectHost))
        return false;

    const int *piSequence = LogonSequences[iFirewallType];
    int iStep = 0;
    while (iStep >= 0) {
        if (iStep >= StepsPerSequence * 3 || piSequence[iStep] > LastStepCommand)
            break;
        if (!m_pimpl->SendLogonStep(piSequence[iStep], Reply))
            return false;
        if (Reply.Code().IsPositiveCompletionReply())
            iStep = piSequence[iStep + 1];
        else if (Reply.Code().IsPositiveIntermediateReply())
            iStep = piSequence[iStep + 2];
        else
            return false;
    }

    if (iStep != LoggedOn) {
        m_pimpl->ReportError("Logon failed.", __LINE__);
        return false;
    }
    if (m_pimpl->m_apTlsControlConnection && !m_pimpl->ProtectDataConnections())
        return false;
    return ChangeWorkingDirectory(m_pimpl->m_strRemoteStartDirectory) == 0;
}

bool CFTPClient::CPimpl::SendLogonStep(int iStepCommand, CReply &Reply)
{
    const CLogonInfo &info = m_LastLogonInfo;
    tstring strRemoteHost = info.Hostname();
    if (info.Hostport() != 21)
        strRemoteHost += ":" + std::to_string(info.Hostport());

    switch (iStepCommand) {
    case 0:
        return q.SendCommand(CCommand::cmdUSER, info.Username(), Reply);
    case 1:
        return q.SendCommand(CCommand::cmdPASS, info.Password(), Reply);
    case 2:
        return q.SendCommand(CCommand::cmdACCT, info.Account(), Reply);
    case 3:
        return q.SendCommand(CCommand::cmdUSER, info.FwUsername(), Reply);
    case 4:
        return q.SendCommand(CCommand::cmdPASS, info.FwPassword(), Reply);
    case 5:
        return q.SendCommand(CCommand::cmdSITE, strRemoteHost, Reply);
    case 6:
        return q.SendCommand(CCommand::cmdUSER, info.Username() + "@" + strRemoteHost, Reply);
    case 7:
        return q.SendCommand(CCommand::cmdOPEN, strRemoteHost, Reply);
    case 8:
        return q.SendCommand(CCommand::cmdUSER, info.FwUsername() + "@" + strRemoteHost, Reply);
    case 9:
        return q.SendCommand(
            CCommand::cmdUSER, info.Username() + "@" + strRemoteHost + " " + info.FwUsername(), Reply);
    case 10:
        return q.SendCommand(
            CCommand::cmdUSER, info.Username() + "@" + info.FwUsername() + "@" + strRemoteHost, Reply);
    default:
        return q.SendCommand(CCommand::cmdPASS, info.Password() + "@" + info.FwPassword(), Reply);
    }
}

void CFTPClient::EnableTls(const nsSocket::CTlsSettings &settings)
{
    const CPimpl::COperation operation(*m_pimpl);
    std::shared_ptr<nsSocket::CBlockingTlsSocket> &apTls = m_pimpl->m_apTlsControlConnection;
    const std::shared_ptr<IBlockingSocket> apPlain
        = apTls ? apTls->PlainSocket() : m_pimpl->m_apSckControlConnection;
    apTls = std::make_shared<nsSocket::CBlockingTlsSocket>(apPlain, settings);
    m_pimpl->m_apSckControlConnection = apTls;
}

bool CFTPClient::IsTlsEnabled() const
{
    return m_pimpl->m_apTlsControlConnection != nullptr;
}

bool CFTPClient::CPimpl::SecureControlConnection(const tstring &strServerHost)
{
    CReply Reply;
    if (!q.SendCommand(CCommand::cmdAUTH, "TLS", Reply))
        return false;
    if (Reply.Code().Value() != "234") {
        ReportError("The server refused TLS: " + Reply.Value(), __LINE__);
        q.CloseControlChannel();
        return false;
    }
    // Whatever came in the clear behind the go-ahead could only have been
    // slipped in by someone on the way; it must not pass for the server's words.
    m_qResponseBuffer.clear();
    m_nQueuedBytes = 0;
    m_strPendingResponse.clear();
    try {
        m_apTlsControlConnection->StartTls(strServerHost, static_cast<int>(mc_uiTimeout));
    } catch (const CBlockingSocketException &blockingException) {
        ReportSocketError(blockingException, __LINE__);
        DropControlConnection();
        return false;
    }
    return true;
}

bool CFTPClient::CPimpl::ProtectDataConnections()
{
    if (SimpleCommand(CCommand::cmdPBSZ, "0") == 0 && SimpleCommand(CCommand::cmdPROT, "P") == 0)
        return true;
    ReportError("The server refused to protect data connections (PBSZ, PROT P).", __LINE__);
    return false;
}

int CFTPClient::Logout()
{
    const CPimpl::COperation operation(*m_pimpl);
    if (!SendCommand(CCommand::cmdQUIT, CArg()))
        return -1;
    CReply Reply;
    const bool fReplied = GetResponse(Reply);
    CloseControlChannel();
    return fReplied ? SimpleErrorCheck(Reply) : -1;
}

// ---------------------------------------------------------------------------
// Commands and replies

bool CFTPClient::SendCommand(const CCommand &Command, const CArg &Arguments)
{
    const CPimpl::COperation operation(*m_pimpl);
    if (!IsConnected() || !m_pimpl->IsSendable(Arguments))
        return false;

    m_pimpl->Notify(&CNotification::OnSendCommand, Command, Arguments);
    const tstring strLine = Command.AsString(Arguments) + m_pimpl->mc_strEolCharacterSequence;
    try {
        m_pimpl->m_apSckControlConnection->Write(
            strLine.data(), static_cast<int>(strLine.size()), m_pimpl->mc_uiTimeout);
    } catch (const CBlockingSocketException &blockingException) {
        m_pimpl->ReportSocketError(blockingException, __LINE__);
        m_pimpl->DropControlConnection();
        return false;
    }
    return true;
}

bool CFTPClient::SendCommand(const CCommand &Command, const CArg &Arguments, CReply &Reply)
{
    const CPimpl::COperation operation(*m_pimpl);
    return SendCommand(Command, Arguments) && GetResponse(Reply);
}

bool CFTPClient::GetResponse(CReply &Reply)
{
    const CPimpl::COperation operation(*m_pimpl);
    tstring strResponse;
    if (!GetSingleResponseLine(strResponse))
        return false;

    if (strResponse.size() >= 4 && strResponse[3] == '-') {
        const tstring strReplyNumber = DecimalPrefix(strResponse);
        tstring strLine;
        do {
            if (!GetSingleResponseLine(strLine))
                return false;
            if (strResponse.size() + strLine.size() + 2 > MaxResponseLength) {
                m_pimpl->ReportError(
                    "The server's reply exceeds " + std::to_string(MaxResponseLength) + " bytes.", __LINE__);
                m_pimpl->DropControlConnection();
                return false;
            }
            strResponse += "\r\n" + strLine;
        } while (!EndsMultiLineReply(strLine, strReplyNumber));
    }

    const bool fValid = Reply.Set(strResponse);
    m_pimpl->Notify(&CNotification::OnResponse, Reply);
    return fValid;
}

bool CFTPClient::GetSingleResponseLine(tstring &strResponse)
{
    const CPimpl::COperation operation(*m_pimpl);
    if (!IsConnected())
        return false;
    std::deque<tstring> &qLines = m_pimpl->m_qResponseBuffer;
    if (qLines.empty() && !m_pimpl->ReceiveResponseLines())
        return false;

    strResponse = std::move(qLines.front());
    qLines.pop_front();
    m_pimpl->m_nQueuedBytes -= strResponse.size();
    // Only a complete CR LF is taken off; a bare line feed stays on the line.
    if (strResponse.size() >= 2 && strResponse.compare(strResponse.size() - 2, 2, "\r\n") == 0)
        strResponse.resize(strResponse.size() - 2);
    return true;
}

bool CFTPClient::CPimpl::ReceiveResponseLines()
{
    const int iReceiveSize = static_cast<int>(m_vBuffer.size() - 1);
    try {
        while (m_qResponseBuffer.empty()) {
            int iNumRead = 0;
            do {
                iNumRead = m_apSckControlConnection->Receive(
                    m_vBuffer.data(), iReceiveSize, static_cast<int>(m_uiReplyTimeout));
                // A reply that filled the last read exactly may be followed by
                // the end of the connection; the lines before it still count.
                if (iNumRead <= 0 && !m_qResponseBuffer.empty())
                    break;
                if (iNumRead <= 0) {
                    ReportError("The server closed the control connection.", __LINE__);
                    DropControlConnection();
                    return false;
                }
                if (mc_uiResponseWait > 0)
                    sleep(mc_uiResponseWait);
                m_strPendingResponse.append(m_vBuffer.data(), static_cast<size_t>(iNumRead));
                if (!QueueResponseLines())
                    return false;
                // More than a whole reply may hold is left in the socket: the
                // reader fails on its limit before memory runs out.
            } while (iNumRead == iReceiveSize && m_nQueuedBytes <= MaxResponseLength
                && m_apSckControlConnection->CheckReadability());
        }
    } catch (const CBlockingSocketException &blockingException) {
        ReportSocketError(blockingException, __LINE__);
        DropControlConnection();
        return false;
    }
    return true;
}

bool CFTPClient::CPimpl::QueueResponseLines()
{
    size_t nStart = 0;
    for (size_t nEnd = m_strPendingResponse.find('\n'); nEnd != tstring::npos;
         nEnd = m_strPendingResponse.find('\n', nStart)) {
        if (nEnd + 1 - nStart > MaxResponseLineLength)
            break;
        m_qResponseBuffer.push_back(m_strPendingResponse.substr(nStart, nEnd + 1 - nStart));
        m_nQueuedBytes += nEnd + 1 - nStart;
        nStart = nEnd + 1;
    }
    m_strPendingResponse.erase(0, nStart);

    const size_t nLineEnd = m_strPendingResponse.find('\n');
    if (std::min(nLineEnd, m_strPendingResponse.size()) > MaxResponseLineLength) {
        ReportError("A reply line of the server exceeds " + std::to_string(MaxResponseLineLength) + " bytes.",
            __LINE__);
        DropControlConnection();
        return false;
    }
    return true;
}

int CFTPClient::SimpleErrorCheck(const CReply &Reply) const
{
    if (Reply.Code().IsNegativeReply())
        return 1;
    if (Reply.Code().IsPositiveCompletionReply())
        return 0;
    VETREL_FTP_ASSERT(Reply.Code().IsPositiveReply());
    return -1;
}

int CFTPClient::CPimpl::SimpleCommand(const CCommand &Command, const CArg &Arguments)
{
    CReply Reply;
    if (!q.SendCommand(Command, Arguments, Reply))
        return -1;
    return q.SimpleErrorCheck(Reply);
}

// ---------------------------------------------------------------------------
// Simple commands

int CFTPClient::ChangeWorkingDirectory(const tstring &strDirectory)
{
    VETREL_FTP_ASSERT(!strDirectory.empty());
    return m_pimpl->SimpleCommand(CCommand::cmdCWD, strDirectory);
}

int CFTPClient::ChangeToParentDirectory()
{
    return m_pimpl->SimpleCommand(CCommand::cmdCDUP);
}

int CFTPClient::PrintWorkingDirectory()
{
    return m_pimpl->SimpleCommand(CCommand::cmdPWD);
}

int CFTPClient::MakeDirectory(const tstring &strDirectory)
{
    VETREL_FTP_ASSERT(!strDirectory.empty());
    return m_pimpl->SimpleCommand(CCommand::cmdMKD, strDirectory);
}

int CFTPClient::RemoveDirectory(const tstring &strDirectory)
{
    VETREL_FTP_ASSERT(!strDirectory.empty());
    return m_pimpl->SimpleCommand(CCommand::cmdRMD, strDirectory);
}

int CFTPClient::Delete(const tstring &strFile)
{
    VETREL_FTP_ASSERT(!strFile.empty());
    return m_pimpl->SimpleCommand(CCommand::cmdDELE, strFile);
}

int CFTPClient::Rename(const tstring &strOldName, const tstring &strNewName)
{
    const CPimpl::COperation operation(*m_pimpl);
    // Both names are checked first, so that no RNFR is left pending on the server.
    if (!m_pimpl->IsSendable(CArg(strOldName)) || !m_pimpl->IsSendable(CArg(strNewName)))
        return -1;
    CReply Reply;
    if (!SendCommand(CCommand::cmdRNFR, strOldName, Reply))
        return -1;
    if (Reply.Code().IsNegativeReply())
        return 1;
    if (!Reply.Code().IsPositiveIntermediateReply())
        return -1;
    return m_pimpl->SimpleCommand(CCommand::cmdRNTO, strNewName);
}

int CFTPClient::Move(const tstring &strFullSourceFilePath, const tstring &strFullTargetFilePath)
{
    return Rename(strFullSourceFilePath, strFullTargetFilePath);
}

int CFTPClient::SiteParameters(const tstring &strCmd)
{
    VETREL_FTP_ASSERT(!strCmd.empty());
    return m_pimpl->SimpleCommand(CCommand::cmdSITE, strCmd);
}

int CFTPClient::Help(const tstring &strTopic)
{
    return m_pimpl->SimpleCommand(CCommand::cmdHELP, strTopic.empty() ? CArg() : CArg(strTopic));
}

int CFTPClient::Status(const tstring &strPath)
{
    return m_pimpl->SimpleCommand(CCommand::cmdSTAT, strPath.empty() ? CArg() : CArg(strPath));
}

int CFTPClient::StructureMount(const tstring &strPath)
{
    return m_pimpl->SimpleCommand(CCommand::cmdSMNT, strPath);
}

int CFTPClient::System()
{
    return m_pimpl->SimpleCommand(CCommand::cmdSYST);
}

int CFTPClient::Noop()
{
    return m_pimpl->SimpleCommand(CCommand::cmdNOOP);
}

int CFTPClient::Reinitialize()
{
    return m_pimpl->SimpleCommand(CCommand::cmdREIN);
}

int CFTPClient::Allocate(int iReserveBytes, const int *piMaxPageOrRecordSize)
{
    CArg Arguments(std::to_string(iReserveBytes));
    if (piMaxPageOrRecordSize) {
        Arguments.push_back("R");
        Arguments.push_back(std::to_string(*piMaxPageOrRecordSize));
    }
    return m_pimpl->SimpleCommand(CCommand::cmdALLO, Arguments);
}

int CFTPClient::FileStructure(const CStructure &crStructure)
{
    return m_pimpl->SimpleCommand(CCommand::cmdSTRU, crStructure.AsString());
}

int CFTPClient::TransferMode(const CTransferMode &crTransferMode)
{
    return m_pimpl->SimpleCommand(CCommand::cmdMODE, crTransferMode.AsString());
}

int CFTPClient::Abort()
{
    // Another thread owns the control connection right now: only its data
    // loop may act on the request.
    std::unique_lock<std::recursive_mutex> lock(m_pimpl->m_mxOperation, std::try_to_lock);
    if (!lock.owns_lock() || m_pimpl->m_fTransferInProgress) {
        m_pimpl->m_fAbortTransfer = true;
        return 0;
    }
    m_pimpl->m_fAbortTransfer = false;
    return m_pimpl->SimpleCommand(CCommand::cmdABOR);
}

// ---------------------------------------------------------------------------
// Data connections

int CFTPClient::Passive(unsigned int &ulIpAddress, unsigned short &ushPort)
{
    CReply Reply;
    if (!SendCommand(CCommand::cmdPASV, CArg(), Reply))
        return -1;
    if (!Reply.Code().IsPositiveCompletionReply())
        return SimpleErrorCheck(Reply);
    return ParsePassiveReply(Reply.Value(), ulIpAddress, ushPort) ? 0 : -1;
}

int CFTPClient::DataPort(const tstring &strHostIP, unsigned short ushPort)
{
    tstring strPortArguments = strHostIP;
    std::replace(strPortArguments.begin(), strPortArguments.end(), '.', ',');
    strPortArguments += "," + std::to_string(ushPort >> 8) + "," + std::to_string(ushPort & 0xFF);
    return m_pimpl->SimpleCommand(CCommand::cmdPORT, strPortArguments);
}

int CFTPClient::Restart(unsigned int uiPosition)
{
    CReply Reply;
    if (!SendCommand(CCommand::cmdREST, std::to_string(uiPosition), Reply))
        return -1;
    if (Reply.Code().IsPositiveIntermediateReply())
        return 0;
    return Reply.Code().IsNegativeReply() ? 1 : -1;
}

int CFTPClient::RepresentationType(const CRepresentation &repType, unsigned int dwSize)
{
    const CPimpl::COperation operation(*m_pimpl);
    std::shared_ptr<CRepresentation> &apCurrent = m_pimpl->m_apCurrentRepresentation;
    if (apCurrent && *apCurrent == repType)
        return 0;

    CArg Arguments(repType.Type().AsString());
    if (repType.HasFormat())
        Arguments.push_back(repType.Format().AsString());
    else if (repType.Type() == CType::tyLocalByte && dwSize > 0)
        Arguments.push_back(std::to_string(dwSize));

    const int iRet = m_pimpl->SimpleCommand(CCommand::cmdTYPE, Arguments);
    if (iRet == 0)
        apCurrent = std::make_shared<CRepresentation>(repType);
    else
        apCurrent.reset();
    return iRet;
}

bool CFTPClient::ExecuteDatachannelCommand(const CCommand &crDatachannelCmd, const tstring &strPath,
    const CRepresentation &representation, bool fPasv, unsigned int dwByteOffset,
    ITransferNotification &Observer)
{
    if (!crDatachannelCmd.IsDatachannelCommand())
        VETREL_FTP_ASSERT(false);

    const CPimpl::COperation operation(*m_pimpl);
    CPimpl &d = *m_pimpl;
    if (d.m_fTransferInProgress || !IsConnected() || !d.IsSendable(CArg(strPath)))
        return false;
    if (RepresentationType(representation) != 0)
        return false;

    const std::shared_ptr<IBlockingSocket> apSckDataConnection = d.m_apSckControlConnection->CreateInstance();
    const bool fOpened = fPasv
        ? d.OpenPassiveDataConnection(*apSckDataConnection, crDatachannelCmd, strPath, dwByteOffset)
        : d.OpenActiveDataConnection(*apSckDataConnection, crDatachannelCmd, strPath, dwByteOffset);
    if (!fOpened)
        return false;

    const bool fTransferred = crDatachannelCmd.IsDatachannelWriteCommand()
        ? d.SendData(Observer, *apSckDataConnection)
        : d.ReceiveData(Observer, *apSckDataConnection);
    const bool fClosed = d.CloseDataConnection(*apSckDataConnection);
    if (!fTransferred)
        return false;
    // The server owes the reply that ends the command even when our close
    // failed; leaving it unread would answer the next command.
    return d.ReadClosingReply() && fClosed;
}

bool CFTPClient::CPimpl::OpenPassiveDataConnection(IBlockingSocket &sckDataConnection,
    const CCommand &crDatachannelCmd, const tstring &strPath, unsigned int dwByteOffset)
{
    unsigned int ulRemoteHostIP = 0;
    unsigned short ushServerPort = 0;
    if (q.Passive(ulRemoteHostIP, ushServerPort) != 0)
        return false;

    CSockAddr adr(ulRemoteHostIP, ushServerPort);
    if (m_fPassiveToControlPeer) {
        CSockAddr adrPeer;
        if (!ControlConnectionAddress(adrPeer, true))
            return false;
        adr.sin_addr = adrPeer.sin_addr;
    }
    try {
        sckDataConnection.Create(SOCK_STREAM);
        sckDataConnection.Connect(adr);
    } catch (const CBlockingSocketException &blockingException) {
        ReportSocketError(blockingException, __LINE__);
        sckDataConnection.Cleanup();
        return false;
    }
    return SendDatachannelCommand(crDatachannelCmd, strPath, dwByteOffset);
}

bool CFTPClient::CPimpl::OpenActiveDataConnection(IBlockingSocket &sckDataConnection,
    const CCommand &crDatachannelCmd, const tstring &strPath, unsigned int dwByteOffset)
{
    const std::shared_ptr<IBlockingSocket> apSckListener = m_apSckControlConnection->CreateInstance();
    CSockAddr adrListener;
    try {
        apSckListener->Create(SOCK_STREAM);
        apSckListener->Bind(CSockAddr(INADDR_ANY, 0));
        apSckListener->Listen();
        apSckListener->GetSockAddr(adrListener);
    } catch (const CBlockingSocketException &blockingException) {
        ReportSocketError(blockingException, __LINE__);
        return false;
    }
    CSockAddr adrControl;
    if (!ControlConnectionAddress(adrControl, false)
        || q.DataPort(adrControl.DottedDecimal(), adrListener.Port()) != 0
        || !SendDatachannelCommand(crDatachannelCmd, strPath, dwByteOffset))
        return false;

    if (AcceptDataConnection(*apSckListener, sckDataConnection))
        return true;
    // The server took the command and answers it once it gives up on the
    // connection; that reply must not be taken for the next command's.
    apSckListener->Cleanup();
    ReadClosingReply();
    return false;
}

bool CFTPClient::CPimpl::AcceptDataConnection(
    const IBlockingSocket &sckListener, IBlockingSocket &sckDataConnection)
{
    try {
        // Accept itself has no time-out; a server that never connects must not hang the caller.
        if (!sckListener.WaitForReadability(static_cast<int>(mc_uiTimeout))) {
            ReportError("The server did not open the data connection within the time-out.", __LINE__);
            return false;
        }
        CSockAddr adrServer;
        if (sckListener.Accept(sckDataConnection, adrServer))
            return true;
        ReportError("Accepting the data connection was interrupted.", __LINE__);
    } catch (const CBlockingSocketException &blockingException) {
        ReportSocketError(blockingException, __LINE__);
        sckDataConnection.Cleanup();
    }
    return false;
}

bool CFTPClient::CPimpl::ControlConnectionAddress(CSockAddr &adr, bool fPeer)
{
    try {
        if (fPeer)
            m_apSckControlConnection->GetPeerAddr(adr);
        else
            m_apSckControlConnection->GetSockAddr(adr);
    } catch (const CBlockingSocketException &blockingException) {
        // A failure of the control socket itself ends the control connection.
        ReportSocketError(blockingException, __LINE__);
        DropControlConnection();
        return false;
    }
    return true;
}

bool CFTPClient::CPimpl::SendDatachannelCommand(
    const CCommand &crDatachannelCmd, const tstring &strPath, unsigned int dwByteOffset)
{
    if (m_fResumeIfPossible && IsRestartable(crDatachannelCmd) && dwByteOffset != 0
        && q.Restart(dwByteOffset) != 0)
        return false;

    CReply Reply;
    if (!q.SendCommand(crDatachannelCmd, strPath.empty() ? CArg() : CArg(strPath), Reply))
        return false;
    m_lAnnouncedSize = AnnouncedSize(Reply.Value());
    return Reply.Code().IsPositivePreliminaryReply();
}

bool CFTPClient::CPimpl::CloseDataConnection(IBlockingSocket &sckDataConnection)
{
    try {
        sckDataConnection.Close();
    } catch (const CBlockingSocketException &blockingException) {
        ReportSocketError(blockingException, __LINE__);
        sckDataConnection.Cleanup();
        return false;
    }
    return true;
}

bool CFTPClient::CPimpl::ReadClosingReply()
{
    CReply Reply;
    return q.GetResponse(Reply) && Reply.Code().IsPositiveCompletionReply();
}

bool CFTPClient::CPimpl::ReceiveData(ITransferNotification &Observer, IBlockingSocket &sckDataConnection)
{
    m_lTransferredBytes = 0;
    {
        CTransferInProgress transfer(m_fTransferInProgress);
        Notify(&CNotification::OnBeginReceivingData);
        try {
            const int iBufferSize = static_cast<int>(m_vBuffer.size());
            const int iTimeout = static_cast<int>(mc_uiTimeout);
            int iNumRead = sckDataConnection.Receive(m_vBuffer.data(), iBufferSize, iTimeout);
            while (iNumRead > 0 && !m_fAbortTransfer) {
                Notify(&CNotification::OnBytesReceived, m_vBuffer, static_cast<long>(iNumRead));
                Observer.OnBytesReceived(m_vBuffer, iNumRead);
                m_lTransferredBytes += iNumRead;
                iNumRead = sckDataConnection.Receive(m_vBuffer.data(), iBufferSize, iTimeout);
            }
        } catch (const CBlockingSocketException &blockingException) {
            FailTransfer(blockingException, sckDataConnection);
            return false;
        }
        Notify(&CNotification::OnEndReceivingData, m_lTransferredBytes);
    }
    if (m_fAbortTransfer) {
        FinishAbortedTransfer(sckDataConnection);
        return false;
    }
    return true;
}

bool CFTPClient::CPimpl::SendData(ITransferNotification &Observer, IBlockingSocket &sckDataConnection)
{
    m_lTransferredBytes = 0;
    {
        CTransferInProgress transfer(m_fTransferInProgress);
        try {
            size_t bytesRead = 0;
            Observer.OnPreBytesSend(m_vBuffer.data(), m_vBuffer.size(), bytesRead);
            while (!m_fAbortTransfer) {
                if (bytesRead == 0)
                    return true;
                const int iNumWrite = sckDataConnection.Write(
                    m_vBuffer.data(), static_cast<int>(bytesRead), static_cast<int>(mc_uiTimeout));
                VETREL_FTP_ASSERT(iNumWrite == static_cast<int>(bytesRead));
                m_lTransferredBytes += iNumWrite;
                Notify(&CNotification::OnBytesSent, m_vBuffer, static_cast<long>(iNumWrite));
                Observer.OnPreBytesSend(m_vBuffer.data(), m_vBuffer.size(), bytesRead);
            }
        } catch (const CBlockingSocketException &blockingException) {
            FailTransfer(blockingException, sckDataConnection);
            return false;
        }
    }
    FinishAbortedTransfer(sckDataConnection);
    return false;
}

void CFTPClient::CPimpl::FailTransfer(
    const CBlockingSocketException &blockingException, IBlockingSocket &sckDataConnection)
{
    m_fTransferInProgress = false;
    ReportSocketError(blockingException, __LINE__);
    sckDataConnection.Cleanup();
    // The server still owes the reply that ends the transfer command; reading it
    // here keeps the next command from taking it for its own.
    ReadClosingReply();
}

void CFTPClient::CPimpl::FinishAbortedTransfer(IBlockingSocket &sckDataConnection)
{
    // Closing first unblocks a server that is still writing into the data
    // connection; it then answers the transfer (426 or 226) and the ABOR.
    CloseDataConnection(sckDataConnection);
    q.Abort();
    ReadClosingReply();
}

bool CFTPClient::CPimpl::ReceivedAllAnnounced(
    long lRemoteFileSize, long lOffset, const CRepresentation &repType)
{
    // Text mode changes line ends on the way, so only binary sizes compare.
    if (IsText(repType))
        return true;
    long lExpected = -1;
    if (lRemoteFileSize >= 0)
        lExpected = lRemoteFileSize - lOffset;
    else if (lOffset == 0)
        lExpected = m_lAnnouncedSize;
    if (lExpected < 0 || m_lTransferredBytes == lExpected)
        return true;
    ReportError("The transfer ended after " + std::to_string(m_lTransferredBytes) + " of "
            + std::to_string(lExpected) + " bytes.",
        __LINE__);
    return false;
}

// ---------------------------------------------------------------------------
// Listings

bool CFTPClient::CPimpl::ReceiveListing(
    const CCommand &Command, const tstring &strPath, bool fPasv, COutputStream &outputStream)
{
    // Plain "TYPE A": non-print is the default format, and some servers refuse it spelled out.
    return q.ExecuteDatachannelCommand(Command, strPath, CType::ASCII(), fPasv, 0, outputStream);
}

bool CFTPClient::CPimpl::ListLines(
    const CCommand &Command, const tstring &strPath, TStringVector &vstrFileList, bool fPasv)
{
    COutputStream outputStream(mc_strEolCharacterSequence, Command.AsString());
    if (!ReceiveListing(Command, strPath, fPasv, outputStream))
        return false;

    vstrFileList.clear();
    tstring strLine;
    while (outputStream.GetNextLine(strLine))
        vstrFileList.push_back(strLine);
    return true;
}

bool CFTPClient::CPimpl::ListParsed(const CCommand &Command, const tstring &strPath,
    TSpFTPFileStatusVector &vFileList, bool fPasv, IFileListParser &Parser)
{
    COutputStream outputStream(mc_strEolCharacterSequence, Command.AsString());
    if (!ReceiveListing(Command, strPath, fPasv, outputStream))
        return false;

    vFileList.clear();
    tstring strLine;
    while (outputStream.GetNextLine(strLine)) {
        auto spFtpFileStatus = std::make_shared<CFTPFileStatus>();
        if (Parser.Parse(*spFtpFileStatus, strLine)) {
            spFtpFileStatus->SetPath(strPath);
            vFileList.push_back(std::move(spFtpFileStatus));
        }
    }
    return true;
}

bool CFTPClient::List(const tstring &strPath, TStringVector &vstrFileList, bool fPasv)
{
    return m_pimpl->ListLines(CCommand::cmdLIST, strPath, vstrFileList, fPasv);
}

bool CFTPClient::NameList(const tstring &strPath, TStringVector &vstrFileList, bool fPasv)
{
    return m_pimpl->ListLines(CCommand::cmdNLST, strPath, vstrFileList, fPasv);
}

bool CFTPClient::List(const tstring &strPath, TSpFTPFileStatusVector &vFileList, bool fPasv)
{
    const CPimpl::COperation operation(*m_pimpl);
    if (m_pimpl->IsMachineListingOffered()) {
        CFTPMlsdParser parser;
        return m_pimpl->ListParsed(CCommand::cmdMLSD, strPath, vFileList, fPasv, parser);
    }
    VETREL_FTP_ASSERT(m_pimpl->m_apFileListParser.get());
    return m_pimpl->ListParsed(CCommand::cmdLIST, strPath, vFileList, fPasv, *m_pimpl->m_apFileListParser);
}

bool CFTPClient::NameList(const tstring &strPath, TSpFTPFileStatusVector &vFileList, bool fPasv)
{
    VETREL_FTP_ASSERT(m_pimpl->m_apFileListParser.get());
    return m_pimpl->ListParsed(CCommand::cmdNLST, strPath, vFileList, fPasv, *m_pimpl->m_apFileListParser);
}

bool CFTPClient::CPimpl::IsMachineListingOffered()
{
    if (m_iMachineListing < 0) {
        // FEAT answers one feature a line, each indented by a blank: " MLST type*;size*;".
        CReply Reply;
        m_iMachineListing = q.SendCommand(CCommand::cmdFEAT, CArg(), Reply)
            && Reply.Code().IsPositiveCompletionReply()
            && (Reply.Value().find("\r\n MLST") != tstring::npos
                || Reply.Value().find("\r\n mlst") != tstring::npos);
    }
    return m_iMachineListing == 1;
}

// ---------------------------------------------------------------------------
// File transfers

bool CFTPClient::DownloadFile(
    const tstring &strRemoteFile, const tstring &strLocalFile, const CRepresentation &repType, bool fPasv)
{
    const CPimpl::COperation operation(*m_pimpl);
    // Checked before anything local is touched.
    if (!IsConnected() || !m_pimpl->IsSendable(CArg(strRemoteFile)))
        return false;

    // A download that fails must leave the local side as it was: a new file
    // is written under a temporary name beside the target and replaces it only
    // on success; a resumed one appends to what is there, and a device or a
    // pipe is written as it is.
    const QFileInfo target(QFile::decodeName(QByteArray::fromStdString(strLocalFile)));
    const bool fResume = m_pimpl->m_fResumeIfPossible && target.exists();
    CFile file;
    bool fOpened = false;
    if (fResume)
        fOpened = file.Open(strLocalFile, QIODevice::WriteOnly | QIODevice::Append);
    else if (target.exists() && !target.isFile() && !target.isDir())
        fOpened = file.Open(strLocalFile, QIODevice::WriteOnly);
    else
        fOpened = file.OpenReplacing(strLocalFile);
    if (!fOpened) {
        m_pimpl->ReportError(
            "Cannot open the local file \"" + strLocalFile + "\": " + file.ErrorString(), __LINE__);
        return false;
    }
    CLocalFileTarget local(file, *this, IsText(repType));
    const bool fDownloaded = DownloadFile(strRemoteFile, local, repType, fPasv);
    local.Finish();
    // With resume on, whatever arrived stays to be continued.
    if (!fDownloaded && !(m_pimpl->m_fResumeIfPossible && file.GetLocalStreamSize() > 0))
        file.Discard();
    return m_pimpl->CheckLocalFile(file) && fDownloaded;
}

bool CFTPClient::DownloadFile(
    const tstring &strRemoteFile, ITransferNotification &Observer, const CRepresentation &repType, bool fPasv)
{
    const CPimpl::COperation operation(*m_pimpl);
    if (!m_pimpl->IsSendable(CArg(strRemoteFile)))
        return false;

    const long lLocalSize = m_pimpl->m_fResumeIfPossible ? Observer.GetLocalStreamSize() : 0;
    if (lLocalSize < 0 || static_cast<unsigned long>(lLocalSize) > UINT_MAX) {
        m_pimpl->ReportError("The local file is too large to resume from.", __LINE__);
        return false;
    }

    // Observers get 0 for a size the server cannot tell (some answer SIZE in
    // binary mode only); the check after the transfer needs to know.
    long lRemoteFileSize = -1;
    if (FileSize(strRemoteFile, lRemoteFileSize) != 0)
        lRemoteFileSize = -1;
    const long lAnnouncedSize = std::max(lRemoteFileSize, 0L);

    const tstring strLocalName = Observer.GetLocalStreamName();
    m_pimpl->Notify(&CNotification::OnPreReceiveFile, strLocalName, strRemoteFile, lAnnouncedSize);
    const bool fRet = ExecuteDatachannelCommand(CCommand::cmdRETR, strRemoteFile, repType, fPasv,
                          static_cast<unsigned int>(lLocalSize), Observer)
        && m_pimpl->ReceivedAllAnnounced(lRemoteFileSize, lLocalSize, repType);
    m_pimpl->Notify(&CNotification::OnPostReceiveFile, strLocalName, strRemoteFile, lAnnouncedSize);
    return fRet;
}

bool CFTPClient::UploadFile(const tstring &strLocalFile, const tstring &strRemoteFile, bool fStoreUnique,
    const CRepresentation &repType, bool fPasv)
{
    const CPimpl::COperation operation(*m_pimpl);
    CFile file;
    if (!file.Open(strLocalFile, QIODevice::ReadOnly)) {
        m_pimpl->ReportError(
            "Cannot open the local file \"" + strLocalFile + "\": " + file.ErrorString(), __LINE__);
        return false;
    }
    CLocalFileTarget local(file, *this, IsText(repType));
    const bool fUploaded = UploadFile(local, strRemoteFile, fStoreUnique, repType, fPasv);
    return m_pimpl->CheckLocalFile(file) && fUploaded;
}

bool CFTPClient::UploadFile(ITransferNotification &Observer, const tstring &strRemoteFile, bool fStoreUnique,
    const CRepresentation &repType, bool fPasv)
{
    const CPimpl::COperation operation(*m_pimpl);
    if (!m_pimpl->IsSendable(CArg(strRemoteFile)))
        return false;

    CCommand cmd = fStoreUnique ? CCommand::cmdSTOU : CCommand::cmdSTOR;
    long lRemoteFileSize = 0;
    const long lLocalSize = Observer.GetLocalStreamSize();
    // With resume on, a remote file that already has bytes is completed by
    // APPE from where it ends.
    if (m_pimpl->m_fResumeIfPossible && FileSize(strRemoteFile, lRemoteFileSize) == 0
        && lRemoteFileSize > 0) {
        if (lRemoteFileSize > lLocalSize) {
            m_pimpl->ReportError(
                "The remote file is longer than the local one; there is nothing to resume.", __LINE__);
            return false;
        }
        cmd = CCommand::cmdAPPE;
        Observer.SetLocalStreamOffset(static_cast<unsigned int>(std::min<long>(lRemoteFileSize, UINT_MAX)));
    } else {
        lRemoteFileSize = 0;
    }

    const tstring strLocalName = Observer.GetLocalStreamName();
    m_pimpl->Notify(&CNotification::OnPreSendFile, strLocalName, strRemoteFile, lLocalSize);
    // STOU gets the name too: vsftpd and pyftpdlib build the unique name from it.
    const bool fRet = ExecuteDatachannelCommand(
        cmd, strRemoteFile, repType, fPasv, static_cast<unsigned int>(lRemoteFileSize), Observer);
    m_pimpl->Notify(&CNotification::OnPostSendFile, strLocalName, strRemoteFile, lLocalSize);
    return fRet;
}

bool CFTPClient::CPimpl::CheckLocalFile(CFile &file) const
{
    if (file.Close())
        return true;
    ReportError("Reading or writing the local file \"" + file.GetLocalStreamName()
            + "\" failed: " + file.ErrorString(),
        __LINE__);
    return false;
}

bool CFTPClient::DownloadFile(const tstring &strSourceFile, const CFTPClient &TargetFtpServer,
    const tstring &strTargetFile, const CRepresentation &repType, bool fPasv) const
{
    return TransferFile(*this, strSourceFile, TargetFtpServer, strTargetFile, repType, fPasv);
}

bool CFTPClient::UploadFile(const CFTPClient &SourceFtpServer, const tstring &strSourceFile,
    const tstring &strTargetFile, const CRepresentation &repType, bool fPasv) const
{
    return TransferFile(SourceFtpServer, strSourceFile, *this, strTargetFile, repType, !fPasv);
}

bool CFTPClient::TransferFile(const CFTPClient &crSourceFtpServer, const tstring &strSourceFile,
    const CFTPClient &crTargetFtpServer, const tstring &strTargetFile, const CRepresentation &repType,
    bool fSourceIsPassive)
{
    // The copy drives both control connections; const only promises that
    // neither client's settings change.
    CFTPClient &SourceFtpServer = const_cast<CFTPClient &>(crSourceFtpServer);
    CFTPClient &TargetFtpServer = const_cast<CFTPClient &>(crTargetFtpServer);
    const CPimpl::COperation sourceOperation(*SourceFtpServer.m_pimpl);
    const CPimpl::COperation targetOperation(*TargetFtpServer.m_pimpl);

    if (SourceFtpServer.RepresentationType(repType, 0) != 0
        || TargetFtpServer.RepresentationType(repType, 0) != 0)
        return false;

    CFTPClient &PassiveServer = fSourceIsPassive ? SourceFtpServer : TargetFtpServer;
    CFTPClient &ActiveServer = fSourceIsPassive ? TargetFtpServer : SourceFtpServer;
    unsigned int ulIP = 0;
    unsigned short ushPort = 0;
    if (PassiveServer.Passive(ulIP, ushPort) != 0)
        return false;
    if (ActiveServer.DataPort(CSockAddr(ulIP, 0).DottedDecimal(), ushPort) != 0)
        return false;

    // The target hears STOR before the source hears RETR: a target that has
    // connected already at PORT (pyftpdlib does) drops bytes that arrive before
    // it knows what to store them as. Neither reply is awaited before both
    // commands are out, since a passive side may answer only once connected.
    if (!TargetFtpServer.SendCommand(CCommand::cmdSTOR, strTargetFile)
        || !SourceFtpServer.SendCommand(CCommand::cmdRETR, strSourceFile))
        return false;
    CReply Reply;
    if (!TargetFtpServer.GetResponse(Reply) || !Reply.Code().IsPositivePreliminaryReply())
        return false;

    if (!SourceFtpServer.GetResponse(Reply) || !Reply.Code().IsPositivePreliminaryReply())
        return false;
    {
        // The bytes flow between the servers, unseen here; the source's final
        // reply comes when the whole file has left, however long that takes.
        const CReplyTimeout copyWait(SourceFtpServer.m_pimpl->m_uiReplyTimeout, CopyReplyTimeout);
        if (!SourceFtpServer.GetResponse(Reply) || !Reply.Code().IsPositiveCompletionReply())
            return false;
    }
    // The target has had every byte by then and answers within the idle time-out.
    return TargetFtpServer.GetResponse(Reply) && Reply.Code().IsPositiveCompletionReply();
}

// ---------------------------------------------------------------------------
// File information

int CFTPClient::FileSize(const tstring &strPath, long &lSize)
{
    CReply Reply;
    if (!SendCommand(CCommand::cmdSIZE, strPath, Reply))
        return -1;
    const int iRet = SimpleErrorCheck(Reply);
    if (iRet != 0)
        return iRet;

    const tstring strSize = ReplyParameter(Reply);
    char *pEnd = nullptr;
    errno = 0;
    const long lValue = std::strtol(strSize.c_str(), &pEnd, 10);
    if (strSize.empty() || errno != 0 || lValue < 0 || (*pEnd != '\0' && *pEnd != ' ' && *pEnd != '\r'))
        return -1;
    lSize = lValue;
    return 0;
}

int CFTPClient::FileModificationTime(const tstring &strPath, tstring &strModificationTime)
{
    CReply Reply;
    if (!SendCommand(CCommand::cmdMDTM, strPath, Reply))
        return -1;
    const int iRet = SimpleErrorCheck(Reply);
    if (iRet == 0)
        strModificationTime = ReplyParameter(Reply);
    return iRet;
}

int CFTPClient::FileModificationTime(const tstring &strPath, tm &tmModificationTime)
{
    tstring strModificationTime;
    const int iRet = FileModificationTime(strPath, strModificationTime);
    if (iRet != 0)
        return iRet;
    return ParseModificationTime(strModificationTime, tmModificationTime) ? 0 : -1;
}

}
