#include "FTPClient.h"

#include "FTPAssert.h"
#include "FTPFileStatus.h"
#include "FTPListParse.h"
#include "FTPMlsdParse.h"
#include "FTPTransferTargets.h"

#include <arpa/inet.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>

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
 * The logon sequences, one row per firewall type: six steps of (command, next
 * step on 2xx, next step on 3xx); -2 ends a sequence logged on, -1 failed. Under
 * SITE_HOSTNAME a 2xx answer to SITE, and under USER_REMOTEID@REMOTEHOST_FIREID a
 * 2xx answer to the first USER, are failures: those firewalls never answer so.
 */
const int LogonSequences[9][StepsPerSequence * 3] = {
    {0, -2, 3, 1, -2, 6, 2, -2, -1, 0, 0, 0, 0, 0, 0, 0, 0, 0},
    {3, 6, 3, 4, 6, -1, 5, -1, 9, 0, -2, 12, 1, -2, 15, 2, -2, -1},
    {3, 6, 3, 4, 6, -1, 6, -2, 9, 1, -2, 12, 2, -2, -1, 0, 0, 0},
    {7, 3, 3, 0, -2, 6, 1, -2, 9, 2, -2, -1, 0, 0, 0, 0, 0, 0},
    {3, 6, 3, 4, 6, -1, 0, -2, 9, 1, -2, 12, 2, -2, -1, 0, 0, 0},
    {6, -2, 3, 1, -2, 6, 2, -2, -1, 0, 0, 0, 0, 0, 0, 0, 0, 0},
    {8, 6, 3, 4, 6, -1, 0, -2, 9, 1, -2, 12, 2, -2, -1, 0, 0, 0},
    {9, -1, 3, 1, -2, 6, 2, -2, -1, 0, 0, 0, 0, 0, 0, 0, 0, 0},
    {10, -2, 3, 11, -2, 6, 2, -2, -1, 0, 0, 0, 0, 0, 0, 0, 0, 0},
};

/// Holds the transfer-in-progress flag up for the life of one data loop, whichever way it ends.
class CTransferInProgress
{
public:
    explicit CTransferInProgress(std::atomic<bool>& fFlag) : m_fFlag(fFlag) { m_fFlag = true; }
    ~CTransferInProgress() { m_fFlag = false; }
    CTransferInProgress(const CTransferInProgress&) = delete;
    CTransferInProgress& operator=(const CTransferInProgress&) = delete;

private:
    std::atomic<bool>& m_fFlag;
};

tstring DecimalPrefix(const tstring& strText)
{
    const size_t nDigits = std::find_if_not(strText.begin(), strText.end(), [](char c) { return c >= '0' && c <= '9'; })
                           - strText.begin();
    return strText.substr(0, nDigits);
}

bool EndsMultiLineReply(const tstring& strLine, const tstring& strReplyNumber)
{
    return strLine.size() >= 4 && strLine[3] == ' ' && DecimalPrefix(strLine) == strReplyNumber;
}

/// Reads a decimal number of at most lMax at pos and moves pos behind it.
bool ReadNumber(const tstring& strText, size_t& nPos, long lMax, long& lValue)
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
bool ParsePassiveReply(const tstring& strReply, unsigned int& ulIpAddress, unsigned short& ushPort)
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
    ulIpAddress = static_cast<unsigned int>((alValues[0] << 24) | (alValues[1] << 16) | (alValues[2] << 8) | alValues[3]);
    ushPort = static_cast<unsigned short>(alValues[4] * 256 + alValues[5]);
    return true;
}

/// "YYYYMMDDHHMMSS" with an optional fraction, as MDTM answers, read as UTC.
bool ParseModificationTime(const tstring& strTime, tm& tmTime)
{
    if (strTime.size() < 14 || !std::all_of(strTime.begin(), strTime.begin() + 14, [](char c) { return c >= '0' && c <= '9'; }))
        return false;
    const auto field = [&strTime](size_t nPos, size_t nLength) { return std::atoi(strTime.substr(nPos, nLength).c_str()); };
    tmTime = tm();
    tmTime.tm_year = field(0, 4) - 1900;
    tmTime.tm_mon = field(4, 2) - 1;
    tmTime.tm_mday = field(6, 2);
    tmTime.tm_hour = field(8, 2);
    tmTime.tm_min = field(10, 2);
    tmTime.tm_sec = field(12, 2);
    return tmTime.tm_mon >= 0 && tmTime.tm_mon < 12 && tmTime.tm_mday >= 1 && tmTime.tm_mday <= 31 && tmTime.tm_hour < 24
           && tmTime.tm_min < 60 && tmTime.tm_sec <= 60;
}

/// The text of a 2xx reply after its code, as SIZE and MDTM give their values.
tstring ReplyParameter(const CFTPClient::CReply& Reply)
{
    const tstring& strValue = Reply.Value();
    return strValue.size() > 4 ? strValue.substr(4) : tstring();
}

bool IsRestartable(const CCommand& Command)
{
    return Command == CCommand::cmdRETR || Command == CCommand::cmdSTOR || Command == CCommand::cmdAPPE;
}

}

// ---------------------------------------------------------------------------
// CReply

bool CFTPClient::CReply::CCode::Set(const tstring& strCode)
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

bool CFTPClient::CReply::Set(const tstring& strResponse)
{
    m_strResponse = strResponse;
    return m_Code.Set(strResponse.substr(0, 3));
}

// ---------------------------------------------------------------------------
// Construction, observers, settings

CFTPClient::CFTPClient(std::shared_ptr<IBlockingSocket> apSocket, unsigned int uiTimeout,
    unsigned int uiBufferSize, unsigned int uiResponseWait, const tstring &strRemoteStartDirectory)
    : mc_uiTimeout(uiTimeout)
    , mc_uiResponseWait(uiResponseWait)
    , mc_strEolCharacterSequence("\r\n")
    , m_strRemoteStartDirectory(strRemoteStartDirectory)
    // Reply lines are read into all but the last byte, so two bytes is the least that works.
    , m_vBuffer(std::max(uiBufferSize, 2u), '\0')
    , m_apSckControlConnection(std::move(apSocket))
    , m_apFileListParser(std::make_shared<CFTPListParser>())
    , m_fTransferInProgress(false)
    , m_fAbortTransfer(false)
    , m_fResumeIfPossible(true)
    , m_fPassiveToControlPeer(false)
    , m_iMachineListing(-1)
    , m_Observers(this)
{
    VETREL_FTP_ASSERT(m_apSckControlConnection.get());
    VETREL_FTP_ASSERT(!m_strRemoteStartDirectory.empty());
}

CFTPClient::~CFTPClient()
{
    m_Observers.UnlinkAll();
}

void CFTPClient::AttachObserver(CNotification* pObserver)
{
    VETREL_FTP_ASSERT(pObserver);
    m_Observers.Link(pObserver);
}

void CFTPClient::DetachObserver(CNotification* pObserver)
{
    VETREL_FTP_ASSERT(pObserver);
    m_Observers.Unlink(pObserver);
}

const CFTPClient::TObserverSet& CFTPClient::GetObservers() const
{
    return m_Observers.Partners();
}

void CFTPClient::SetFileListParser(const std::shared_ptr<IFileListParser>& apFileListParser)
{
    m_apFileListParser = apFileListParser;
}

template <typename TMethod, typename... TArgs>
void CFTPClient::Notify(TMethod pMethod, const TArgs&... args) const
{
    // An observer may detach itself or another one from inside its call.
    const TObserverSet setObservers = m_Observers.Partners();
    for (CNotification* pObserver : setObservers) {
        if (m_Observers.Partners().count(pObserver))
            (pObserver->*pMethod)(args...);
    }
}

void CFTPClient::ReportError(const tstring& strErrorMsg, unsigned int uiLine) const
{
    Notify(&CNotification::OnInternalError, strErrorMsg, tstring(__FILE__), uiLine);
}

void CFTPClient::ReportSocketError(const CBlockingSocketException& blockingException, unsigned int uiLine) const
{
    ReportError(blockingException.GetErrorMessage(), uiLine);
}

bool CFTPClient::IsSendable(const CArg& Arguments)
{
    for (const tstring& strArgument : Arguments) {
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
    return static_cast<nsSocket::SOCKET>(*m_apSckControlConnection) != nsSocket::InvalidSocket;
}

bool CFTPClient::OpenControlChannel(const tstring& strServerHost, unsigned short ushServerPort)
{
    CloseControlChannel();
    try {
        m_apSckControlConnection->Create(SOCK_STREAM);
        const CSockAddr adr = m_apSckControlConnection->GetHostByName(strServerHost.c_str(), ushServerPort);
        m_apSckControlConnection->Connect(adr);
    } catch (const CBlockingSocketException& blockingException) {
        ReportSocketError(blockingException, __LINE__);
        m_apSckControlConnection->Cleanup();
        return false;
    }
    return true;
}

void CFTPClient::CloseControlChannel()
{
    try {
        m_apSckControlConnection->Close();
    } catch (const CBlockingSocketException& blockingException) {
        ReportSocketError(blockingException, __LINE__);
        m_apSckControlConnection->Cleanup();
    }
    m_apCurrentRepresentation.reset();
    m_qResponseBuffer.clear();
    m_strPendingResponse.clear();
    m_iMachineListing = -1;
}

void CFTPClient::DropControlConnection()
{
    m_apSckControlConnection->Cleanup();
    m_qResponseBuffer.clear();
    m_strPendingResponse.clear();
}

bool CFTPClient::Login(const CLogonInfo& logonInfo)
{
    m_LastLogonInfo = logonInfo;

    const int iFirewallType = logonInfo.FwType().AsEnum();
    const bool fDirect = iFirewallType == CFirewallType::ftNone;
    const tstring& strConnectHost = fDirect ? logonInfo.Hostname() : logonInfo.FwHost();
    const unsigned short ushConnectPort = fDirect ? logonInfo.Hostport() : logonInfo.FwPort();

    if (IsConnected())
        Logout();
    if (!OpenControlChannel(strConnectHost, ushConnectPort))
        return false;

    CReply Reply;
    if (!GetResponse(Reply) || !Reply.Code().IsPositiveCompletionReply())
        return false;
    if (m_apTlsControlConnection && !SecureControlConnection(strConnectHost))
        return false;

    const int* piSequence = LogonSequences[iFirewallType];
    int iStep = 0;
    while (iStep >= 0) {
        if (iStep >= StepsPerSequence * 3 || piSequence[iStep] > LastStepCommand)
            break;
        if (!SendLogonStep(piSequence[iStep], Reply))
            return false;
        if (Reply.Code().IsPositiveCompletionReply())
            iStep = piSequence[iStep + 1];
        else if (Reply.Code().IsPositiveIntermediateReply())
            iStep = piSequence[iStep + 2];
        else
            return false;
    }

    if (iStep != LoggedOn) {
        ReportError("Logon failed.", __LINE__);
        return false;
    }
    if (m_apTlsControlConnection && !ProtectDataConnections())
        return false;
    return ChangeWorkingDirectory(m_strRemoteStartDirectory) == 0;
}

bool CFTPClient::SendLogonStep(int iStepCommand, CReply& Reply)
{
    const CLogonInfo& info = m_LastLogonInfo;
    tstring strRemoteHost = info.Hostname();
    if (info.Hostport() != 21)
        strRemoteHost += ":" + std::to_string(info.Hostport());

    switch (iStepCommand) {
    case 0: return SendCommand(CCommand::cmdUSER, info.Username(), Reply);
    case 1: return SendCommand(CCommand::cmdPASS, info.Password(), Reply);
    case 2: return SendCommand(CCommand::cmdACCT, info.Account(), Reply);
    case 3: return SendCommand(CCommand::cmdUSER, info.FwUsername(), Reply);
    case 4: return SendCommand(CCommand::cmdPASS, info.FwPassword(), Reply);
    case 5: return SendCommand(CCommand::cmdSITE, strRemoteHost, Reply);
    case 6: return SendCommand(CCommand::cmdUSER, info.Username() + "@" + strRemoteHost, Reply);
    case 7: return SendCommand(CCommand::cmdOPEN, strRemoteHost, Reply);
    case 8: return SendCommand(CCommand::cmdUSER, info.FwUsername() + "@" + strRemoteHost, Reply);
    case 9: return SendCommand(CCommand::cmdUSER, info.Username() + "@" + strRemoteHost + " " + info.FwUsername(), Reply);
    case 10:
        return SendCommand(CCommand::cmdUSER, info.Username() + "@" + info.FwUsername() + "@" + strRemoteHost, Reply);
    default: return SendCommand(CCommand::cmdPASS, info.Password() + "@" + info.FwPassword(), Reply);
    }
}

void CFTPClient::EnableTls(const nsSocket::CTlsSettings &settings)
{
    const std::shared_ptr<IBlockingSocket> apPlain
        = m_apTlsControlConnection ? m_apTlsControlConnection->PlainSocket() : m_apSckControlConnection;
    m_apTlsControlConnection = std::make_shared<nsSocket::CBlockingTlsSocket>(apPlain, settings);
    m_apSckControlConnection = m_apTlsControlConnection;
}

bool CFTPClient::SecureControlConnection(const tstring &strServerHost)
{
    CReply Reply;
    if (!SendCommand(CCommand::cmdAUTH, "TLS", Reply))
        return false;
    if (Reply.Code().Value() != "234") {
        ReportError("The server refused TLS: " + Reply.Value(), __LINE__);
        CloseControlChannel();
        return false;
    }
    // Whatever came in the clear behind the go-ahead could only have been
    // slipped in by someone on the way; it must not pass for the server's words.
    m_qResponseBuffer.clear();
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

bool CFTPClient::ProtectDataConnections()
{
    if (SimpleCommand(CCommand::cmdPBSZ, "0") == 0 && SimpleCommand(CCommand::cmdPROT, "P") == 0)
        return true;
    ReportError("The server refused to protect data connections (PBSZ, PROT P).", __LINE__);
    return false;
}

int CFTPClient::Logout()
{
    if (!SendCommand(CCommand::cmdQUIT, CArg()))
        return -1;
    CReply Reply;
    const bool fReplied = GetResponse(Reply);
    CloseControlChannel();
    return fReplied ? SimpleErrorCheck(Reply) : -1;
}

// ---------------------------------------------------------------------------
// Commands and replies

bool CFTPClient::SendCommand(const CCommand& Command, const CArg& Arguments)
{
    if (!IsConnected() || !IsSendable(Arguments))
        return false;

    Notify(&CNotification::OnSendCommand, Command, Arguments);
    const tstring strLine = Command.AsString(Arguments) + mc_strEolCharacterSequence;
    try {
        m_apSckControlConnection->Write(strLine.data(), static_cast<int>(strLine.size()), mc_uiTimeout);
    } catch (const CBlockingSocketException& blockingException) {
        ReportSocketError(blockingException, __LINE__);
        DropControlConnection();
        return false;
    }
    return true;
}

bool CFTPClient::SendCommand(const CCommand& Command, const CArg& Arguments, CReply& Reply)
{
    return SendCommand(Command, Arguments) && GetResponse(Reply);
}

bool CFTPClient::GetResponse(CReply& Reply)
{
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
                ReportError("The server's reply exceeds " + std::to_string(MaxResponseLength) + " bytes.", __LINE__);
                DropControlConnection();
                return false;
            }
            strResponse += "\r\n" + strLine;
        } while (!EndsMultiLineReply(strLine, strReplyNumber));
    }

    const bool fValid = Reply.Set(strResponse);
    Notify(&CNotification::OnResponse, Reply);
    return fValid;
}

bool CFTPClient::GetSingleResponseLine(tstring& strResponse)
{
    if (!IsConnected())
        return false;
    if (m_qResponseBuffer.empty() && !ReceiveResponseLines())
        return false;

    strResponse = std::move(m_qResponseBuffer.front());
    m_qResponseBuffer.pop_front();
    // Only a complete CR LF is taken off; a bare line feed stays on the line.
    if (strResponse.size() >= 2 && strResponse.compare(strResponse.size() - 2, 2, "\r\n") == 0)
        strResponse.resize(strResponse.size() - 2);
    return true;
}

bool CFTPClient::ReceiveResponseLines()
{
    const int iReceiveSize = static_cast<int>(m_vBuffer.size() - 1);
    try {
        while (m_qResponseBuffer.empty()) {
            int iNumRead = 0;
            do {
                iNumRead = m_apSckControlConnection->Receive(m_vBuffer.data(), iReceiveSize, mc_uiTimeout);
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
            } while (iNumRead == iReceiveSize && m_apSckControlConnection->CheckReadability());
        }
    } catch (const CBlockingSocketException& blockingException) {
        ReportSocketError(blockingException, __LINE__);
        DropControlConnection();
        return false;
    }
    return true;
}

bool CFTPClient::QueueResponseLines()
{
    size_t nStart = 0;
    for (size_t nEnd = m_strPendingResponse.find('\n'); nEnd != tstring::npos;
         nEnd = m_strPendingResponse.find('\n', nStart)) {
        if (nEnd + 1 - nStart > MaxResponseLineLength)
            break;
        m_qResponseBuffer.push_back(m_strPendingResponse.substr(nStart, nEnd + 1 - nStart));
        nStart = nEnd + 1;
    }
    m_strPendingResponse.erase(0, nStart);

    const size_t nLineEnd = m_strPendingResponse.find('\n');
    if (std::min(nLineEnd, m_strPendingResponse.size()) > MaxResponseLineLength) {
        ReportError("A reply line of the server exceeds " + std::to_string(MaxResponseLineLength) + " bytes.", __LINE__);
        DropControlConnection();
        return false;
    }
    return true;
}

int CFTPClient::SimpleErrorCheck(const CReply& Reply) const
{
    if (Reply.Code().IsNegativeReply())
        return 1;
    if (Reply.Code().IsPositiveCompletionReply())
        return 0;
    VETREL_FTP_ASSERT(Reply.Code().IsPositiveReply());
    return -1;
}

int CFTPClient::SimpleCommand(const CCommand& Command, const CArg& Arguments)
{
    CReply Reply;
    if (!SendCommand(Command, Arguments, Reply))
        return -1;
    return SimpleErrorCheck(Reply);
}

// ---------------------------------------------------------------------------
// Simple commands

int CFTPClient::ChangeWorkingDirectory(const tstring& strDirectory)
{
    VETREL_FTP_ASSERT(!strDirectory.empty());
    return SimpleCommand(CCommand::cmdCWD, strDirectory);
}

int CFTPClient::ChangeToParentDirectory()
{
    return SimpleCommand(CCommand::cmdCDUP);
}

int CFTPClient::PrintWorkingDirectory()
{
    return SimpleCommand(CCommand::cmdPWD);
}

int CFTPClient::MakeDirectory(const tstring& strDirectory)
{
    VETREL_FTP_ASSERT(!strDirectory.empty());
    return SimpleCommand(CCommand::cmdMKD, strDirectory);
}

int CFTPClient::RemoveDirectory(const tstring& strDirectory)
{
    VETREL_FTP_ASSERT(!strDirectory.empty());
    return SimpleCommand(CCommand::cmdRMD, strDirectory);
}

int CFTPClient::Delete(const tstring& strFile)
{
    VETREL_FTP_ASSERT(!strFile.empty());
    return SimpleCommand(CCommand::cmdDELE, strFile);
}

int CFTPClient::Rename(const tstring& strOldName, const tstring& strNewName)
{
    // Both names are checked first, so that no RNFR is left pending on the server.
    if (!IsSendable(CArg(strOldName)) || !IsSendable(CArg(strNewName)))
        return -1;
    CReply Reply;
    if (!SendCommand(CCommand::cmdRNFR, strOldName, Reply))
        return -1;
    if (Reply.Code().IsNegativeReply())
        return 1;
    if (!Reply.Code().IsPositiveIntermediateReply())
        return -1;
    return SimpleCommand(CCommand::cmdRNTO, strNewName);
}

int CFTPClient::Move(const tstring& strFullSourceFilePath, const tstring& strFullTargetFilePath)
{
    return Rename(strFullSourceFilePath, strFullTargetFilePath);
}

int CFTPClient::SiteParameters(const tstring& strCmd)
{
    VETREL_FTP_ASSERT(!strCmd.empty());
    return SimpleCommand(CCommand::cmdSITE, strCmd);
}

int CFTPClient::Help(const tstring& strTopic)
{
    return SimpleCommand(CCommand::cmdHELP, strTopic.empty() ? CArg() : CArg(strTopic));
}

int CFTPClient::Status(const tstring& strPath)
{
    return SimpleCommand(CCommand::cmdSTAT, strPath.empty() ? CArg() : CArg(strPath));
}

int CFTPClient::StructureMount(const tstring& strPath)
{
    return SimpleCommand(CCommand::cmdSMNT, strPath);
}

int CFTPClient::System()
{
    return SimpleCommand(CCommand::cmdSYST);
}

int CFTPClient::Noop()
{
    return SimpleCommand(CCommand::cmdNOOP);
}

int CFTPClient::Reinitialize()
{
    return SimpleCommand(CCommand::cmdREIN);
}

int CFTPClient::Allocate(int iReserveBytes, const int* piMaxPageOrRecordSize)
{
    CArg Arguments(std::to_string(iReserveBytes));
    if (piMaxPageOrRecordSize) {
        Arguments.push_back("R");
        Arguments.push_back(std::to_string(*piMaxPageOrRecordSize));
    }
    return SimpleCommand(CCommand::cmdALLO, Arguments);
}

int CFTPClient::FileStructure(const CStructure& crStructure)
{
    return SimpleCommand(CCommand::cmdSTRU, crStructure.AsString());
}

int CFTPClient::TransferMode(const CTransferMode& crTransferMode)
{
    return SimpleCommand(CCommand::cmdMODE, crTransferMode.AsString());
}

int CFTPClient::Abort()
{
    if (m_fTransferInProgress) {
        m_fAbortTransfer = true;
        return 0;
    }
    m_fAbortTransfer = false;
    return SimpleCommand(CCommand::cmdABOR);
}

// ---------------------------------------------------------------------------
// Data connections

int CFTPClient::Passive(unsigned int& ulIpAddress, unsigned short& ushPort)
{
    CReply Reply;
    if (!SendCommand(CCommand::cmdPASV, CArg(), Reply))
        return -1;
    if (!Reply.Code().IsPositiveCompletionReply())
        return SimpleErrorCheck(Reply);
    return ParsePassiveReply(Reply.Value(), ulIpAddress, ushPort) ? 0 : -1;
}

int CFTPClient::DataPort(const tstring& strHostIP, unsigned short ushPort)
{
    tstring strPortArguments = strHostIP;
    std::replace(strPortArguments.begin(), strPortArguments.end(), '.', ',');
    strPortArguments += "," + std::to_string(ushPort >> 8) + "," + std::to_string(ushPort & 0xFF);
    return SimpleCommand(CCommand::cmdPORT, strPortArguments);
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

int CFTPClient::RepresentationType(const CRepresentation& repType, unsigned int dwSize)
{
    if (m_apCurrentRepresentation && *m_apCurrentRepresentation == repType)
        return 0;

    CArg Arguments(repType.Type().AsString());
    if (repType.HasFormat())
        Arguments.push_back(repType.Format().AsString());
    else if (repType.Type() == CType::tyLocalByte && dwSize > 0)
        Arguments.push_back(std::to_string(dwSize));

    const int iRet = SimpleCommand(CCommand::cmdTYPE, Arguments);
    if (iRet == 0)
        m_apCurrentRepresentation = std::make_shared<CRepresentation>(repType);
    else
        m_apCurrentRepresentation.reset();
    return iRet;
}

bool CFTPClient::ExecuteDatachannelCommand(const CCommand& crDatachannelCmd, const tstring& strPath,
                                           const CRepresentation& representation, bool fPasv,
                                           unsigned int dwByteOffset, ITransferNotification& Observer)
{
    if (!crDatachannelCmd.IsDatachannelCommand())
        VETREL_FTP_ASSERT(false);

    if (m_fTransferInProgress || !IsConnected() || !IsSendable(CArg(strPath)))
        return false;
    if (RepresentationType(representation) != 0)
        return false;

    const std::shared_ptr<IBlockingSocket> apSckDataConnection = m_apSckControlConnection->CreateInstance();
    const bool fOpened = fPasv ? OpenPassiveDataConnection(*apSckDataConnection, crDatachannelCmd, strPath, dwByteOffset)
                               : OpenActiveDataConnection(*apSckDataConnection, crDatachannelCmd, strPath, dwByteOffset);
    if (!fOpened)
        return false;

    const bool fTransferred = crDatachannelCmd.IsDatachannelWriteCommand() ? SendData(Observer, *apSckDataConnection)
                                                                           : ReceiveData(Observer, *apSckDataConnection);
    const bool fClosed = CloseDataConnection(*apSckDataConnection);
    if (!fTransferred)
        return false;
    // The server owes the reply that ends the command even when our close
    // failed; leaving it unread would answer the next command.
    return ReadClosingReply() && fClosed;
}

bool CFTPClient::OpenPassiveDataConnection(IBlockingSocket& sckDataConnection, const CCommand& crDatachannelCmd,
                                           const tstring& strPath, unsigned int dwByteOffset)
{
    unsigned int ulRemoteHostIP = 0;
    unsigned short ushServerPort = 0;
    if (Passive(ulRemoteHostIP, ushServerPort) != 0)
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
    } catch (const CBlockingSocketException& blockingException) {
        ReportSocketError(blockingException, __LINE__);
        sckDataConnection.Cleanup();
        return false;
    }
    return SendDatachannelCommand(crDatachannelCmd, strPath, dwByteOffset);
}

bool CFTPClient::OpenActiveDataConnection(IBlockingSocket& sckDataConnection, const CCommand& crDatachannelCmd,
                                          const tstring& strPath, unsigned int dwByteOffset)
{
    const std::shared_ptr<IBlockingSocket> apSckListener = m_apSckControlConnection->CreateInstance();
    CSockAddr adrListener;
    try {
        apSckListener->Create(SOCK_STREAM);
        apSckListener->Bind(CSockAddr(INADDR_ANY, 0));
        apSckListener->Listen();
        apSckListener->GetSockAddr(adrListener);
    } catch (const CBlockingSocketException& blockingException) {
        ReportSocketError(blockingException, __LINE__);
        return false;
    }
    CSockAddr adrControl;
    if (!ControlConnectionAddress(adrControl, false)
        || DataPort(inet_ntoa(adrControl.sin_addr), adrListener.Port()) != 0
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

bool CFTPClient::AcceptDataConnection(const IBlockingSocket& sckListener, IBlockingSocket& sckDataConnection)
{
    if (!WaitForConnection(sckListener)) {
        ReportError("The server did not open the data connection within the time-out.", __LINE__);
        return false;
    }
    try {
        CSockAddr adrServer;
        if (sckListener.Accept(sckDataConnection, adrServer))
            return true;
        ReportError("Accepting the data connection was interrupted.", __LINE__);
    } catch (const CBlockingSocketException& blockingException) {
        ReportSocketError(blockingException, __LINE__);
        sckDataConnection.Cleanup();
    }
    return false;
}

bool CFTPClient::ControlConnectionAddress(CSockAddr& adr, bool fPeer)
{
    try {
        if (fPeer)
            m_apSckControlConnection->GetPeerAddr(adr);
        else
            m_apSckControlConnection->GetSockAddr(adr);
    } catch (const CBlockingSocketException& blockingException) {
        // A failure of the control socket itself ends the control connection.
        ReportSocketError(blockingException, __LINE__);
        DropControlConnection();
        return false;
    }
    return true;
}

bool CFTPClient::WaitForConnection(const IBlockingSocket& sckListener) const
{
    // Accept itself has no time-out; a server that never connects must not hang the caller.
    pollfd pfd = {static_cast<int>(static_cast<nsSocket::SOCKET>(sckListener)), POLLIN, 0};
    const int iTimeoutMs = static_cast<int>(std::min<unsigned int>(mc_uiTimeout, INT_MAX / 1000) * 1000);
    int iResult = 0;
    do {
        iResult = poll(&pfd, 1, iTimeoutMs);
    } while (iResult < 0 && errno == EINTR);
    return iResult > 0;
}

bool CFTPClient::SendDatachannelCommand(const CCommand& crDatachannelCmd, const tstring& strPath,
                                        unsigned int dwByteOffset)
{
    if (m_fResumeIfPossible && IsRestartable(crDatachannelCmd) && dwByteOffset != 0 && Restart(dwByteOffset) != 0)
        return false;

    CReply Reply;
    if (!SendCommand(crDatachannelCmd, strPath.empty() ? CArg() : CArg(strPath), Reply))
        return false;
    return Reply.Code().IsPositivePreliminaryReply();
}

bool CFTPClient::CloseDataConnection(IBlockingSocket& sckDataConnection)
{
    try {
        sckDataConnection.Close();
    } catch (const CBlockingSocketException& blockingException) {
        ReportSocketError(blockingException, __LINE__);
        sckDataConnection.Cleanup();
        return false;
    }
    return true;
}

bool CFTPClient::ReadClosingReply()
{
    CReply Reply;
    return GetResponse(Reply) && Reply.Code().IsPositiveCompletionReply();
}

bool CFTPClient::ReceiveData(ITransferNotification& Observer, IBlockingSocket& sckDataConnection)
{
    long lTotalBytes = 0;
    {
        CTransferInProgress transfer(m_fTransferInProgress);
        Notify(&CNotification::OnBeginReceivingData);
        try {
            const int iBufferSize = static_cast<int>(m_vBuffer.size());
            int iNumRead = sckDataConnection.Receive(m_vBuffer.data(), iBufferSize, mc_uiTimeout);
            while (iNumRead > 0 && !m_fAbortTransfer) {
                Notify(&CNotification::OnBytesReceived, m_vBuffer, static_cast<long>(iNumRead));
                Observer.OnBytesReceived(m_vBuffer, iNumRead);
                lTotalBytes += iNumRead;
                iNumRead = sckDataConnection.Receive(m_vBuffer.data(), iBufferSize, mc_uiTimeout);
            }
        } catch (const CBlockingSocketException& blockingException) {
            FailTransfer(blockingException, sckDataConnection);
            return false;
        }
        Notify(&CNotification::OnEndReceivingData, lTotalBytes);
    }
    if (m_fAbortTransfer) {
        FinishAbortedTransfer(sckDataConnection);
        return false;
    }
    return true;
}

bool CFTPClient::SendData(ITransferNotification& Observer, IBlockingSocket& sckDataConnection)
{
    {
        CTransferInProgress transfer(m_fTransferInProgress);
        try {
            size_t bytesRead = 0;
            Observer.OnPreBytesSend(m_vBuffer.data(), m_vBuffer.size(), bytesRead);
            while (!m_fAbortTransfer) {
                if (bytesRead == 0)
                    return true;
                const int iNumWrite = sckDataConnection.Write(m_vBuffer.data(), static_cast<int>(bytesRead), mc_uiTimeout);
                VETREL_FTP_ASSERT(iNumWrite == static_cast<int>(bytesRead));
                Notify(&CNotification::OnBytesSent, m_vBuffer, static_cast<long>(iNumWrite));
                Observer.OnPreBytesSend(m_vBuffer.data(), m_vBuffer.size(), bytesRead);
            }
        } catch (const CBlockingSocketException& blockingException) {
            FailTransfer(blockingException, sckDataConnection);
            return false;
        }
    }
    FinishAbortedTransfer(sckDataConnection);
    return false;
}

void CFTPClient::FailTransfer(const CBlockingSocketException& blockingException, IBlockingSocket& sckDataConnection)
{
    m_fTransferInProgress = false;
    ReportSocketError(blockingException, __LINE__);
    sckDataConnection.Cleanup();
    // The server still owes the reply that ends the transfer command; reading it
    // here keeps the next command from taking it for its own.
    ReadClosingReply();
}

void CFTPClient::FinishAbortedTransfer(IBlockingSocket& sckDataConnection)
{
    // Closing first unblocks a server that is still writing into the data
    // connection; it then answers the transfer (426 or 226) and the ABOR.
    CloseDataConnection(sckDataConnection);
    Abort();
    ReadClosingReply();
}

// ---------------------------------------------------------------------------
// Listings

bool CFTPClient::ReceiveListing(const CCommand& Command, const tstring& strPath, bool fPasv, COutputStream& outputStream)
{
    // Plain "TYPE A": non-print is the default format, and some servers refuse it spelled out.
    return ExecuteDatachannelCommand(Command, strPath, CType::ASCII(), fPasv, 0, outputStream);
}

bool CFTPClient::ListLines(const CCommand& Command, const tstring& strPath, TStringVector& vstrFileList, bool fPasv)
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

bool CFTPClient::ListParsed(const CCommand &Command, const tstring &strPath,
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

bool CFTPClient::List(const tstring& strPath, TStringVector& vstrFileList, bool fPasv)
{
    return ListLines(CCommand::cmdLIST, strPath, vstrFileList, fPasv);
}

bool CFTPClient::NameList(const tstring& strPath, TStringVector& vstrFileList, bool fPasv)
{
    return ListLines(CCommand::cmdNLST, strPath, vstrFileList, fPasv);
}

bool CFTPClient::List(const tstring& strPath, TSpFTPFileStatusVector& vFileList, bool fPasv)
{
    if (IsMachineListingOffered()) {
        CFTPMlsdParser parser;
        return ListParsed(CCommand::cmdMLSD, strPath, vFileList, fPasv, parser);
    }
    VETREL_FTP_ASSERT(m_apFileListParser.get());
    return ListParsed(CCommand::cmdLIST, strPath, vFileList, fPasv, *m_apFileListParser);
}

bool CFTPClient::NameList(const tstring& strPath, TSpFTPFileStatusVector& vFileList, bool fPasv)
{
    VETREL_FTP_ASSERT(m_apFileListParser.get());
    return ListParsed(CCommand::cmdNLST, strPath, vFileList, fPasv, *m_apFileListParser);
}

bool CFTPClient::IsMachineListingOffered()
{
    if (m_iMachineListing < 0) {
        // FEAT answers one feature a line, each indented by a blank: " MLST type*;size*;".
        CReply Reply;
        m_iMachineListing = SendCommand(CCommand::cmdFEAT, CArg(), Reply)
            && Reply.Code().IsPositiveCompletionReply()
            && (Reply.Value().find("\r\n MLST") != tstring::npos
                || Reply.Value().find("\r\n mlst") != tstring::npos);
    }
    return m_iMachineListing == 1;
}

// ---------------------------------------------------------------------------
// File transfers

bool CFTPClient::DownloadFile(const tstring& strRemoteFile, const tstring& strLocalFile,
                              const CRepresentation& repType, bool fPasv)
{
    // Checked before the local file is opened, which may truncate it.
    if (!IsConnected() || !IsSendable(CArg(strRemoteFile)))
        return false;

    CFile file;
    const QIODevice::OpenMode mode = m_fResumeIfPossible ? QIODevice::WriteOnly | QIODevice::Append
                                                         : QIODevice::WriteOnly | QIODevice::Truncate;
    if (!file.Open(strLocalFile, mode)) {
        ReportError("Cannot open the local file \"" + strLocalFile + "\": " + file.ErrorString(), __LINE__);
        return false;
    }
    const bool fDownloaded = DownloadFile(strRemoteFile, file, repType, fPasv);
    return CheckLocalFile(file) && fDownloaded;
}

bool CFTPClient::DownloadFile(const tstring& strRemoteFile, ITransferNotification& Observer,
                              const CRepresentation& repType, bool fPasv)
{
    if (!IsSendable(CArg(strRemoteFile)))
        return false;

    const long lLocalSize = m_fResumeIfPossible ? Observer.GetLocalStreamSize() : 0;
    if (lLocalSize < 0 || static_cast<unsigned long>(lLocalSize) > UINT_MAX) {
        ReportError("The local file is too large to resume from.", __LINE__);
        return false;
    }

    // The size only informs the observers; a server that cannot tell (some
    // answer SIZE in binary mode only) gives 0.
    long lRemoteFileSize = 0;
    if (FileSize(strRemoteFile, lRemoteFileSize) != 0)
        lRemoteFileSize = 0;

    const tstring strLocalName = Observer.GetLocalStreamName();
    Notify(&CNotification::OnPreReceiveFile, strLocalName, strRemoteFile, lRemoteFileSize);
    const bool fRet = ExecuteDatachannelCommand(CCommand::cmdRETR, strRemoteFile, repType, fPasv,
                                                static_cast<unsigned int>(lLocalSize), Observer);
    Notify(&CNotification::OnPostReceiveFile, strLocalName, strRemoteFile, lRemoteFileSize);
    return fRet;
}

bool CFTPClient::UploadFile(const tstring& strLocalFile, const tstring& strRemoteFile, bool fStoreUnique,
                            const CRepresentation& repType, bool fPasv)
{
    CFile file;
    if (!file.Open(strLocalFile, QIODevice::ReadOnly)) {
        ReportError("Cannot open the local file \"" + strLocalFile + "\": " + file.ErrorString(), __LINE__);
        return false;
    }
    const bool fUploaded = UploadFile(file, strRemoteFile, fStoreUnique, repType, fPasv);
    return CheckLocalFile(file) && fUploaded;
}

bool CFTPClient::UploadFile(ITransferNotification& Observer, const tstring& strRemoteFile, bool fStoreUnique,
                            const CRepresentation& repType, bool fPasv)
{
    if (!IsSendable(CArg(strRemoteFile)))
        return false;

    CCommand cmd = fStoreUnique ? CCommand::cmdSTOU : CCommand::cmdSTOR;
    long lRemoteFileSize = 0;
    // With resume on, a remote file that already has bytes is completed by
    // APPE from where it ends.
    if (m_fResumeIfPossible && FileSize(strRemoteFile, lRemoteFileSize) == 0 && lRemoteFileSize > 0 && static_cast<unsigned long>(lRemoteFileSize) <= UINT_MAX) {
        cmd = CCommand::cmdAPPE;
        Observer.SetLocalStreamOffset(static_cast<unsigned int>(lRemoteFileSize));
    } else {
        lRemoteFileSize = 0;
    }

    const tstring strLocalName = Observer.GetLocalStreamName();
    const long lLocalSize = Observer.GetLocalStreamSize();
    Notify(&CNotification::OnPreSendFile, strLocalName, strRemoteFile, lLocalSize);
    // STOU gets the name too: vsftpd and pyftpdlib build the unique name from it.
    const bool fRet = ExecuteDatachannelCommand(cmd, strRemoteFile, repType, fPasv,
                                                static_cast<unsigned int>(lRemoteFileSize), Observer);
    Notify(&CNotification::OnPostSendFile, strLocalName, strRemoteFile, lLocalSize);
    return fRet;
}

bool CFTPClient::CheckLocalFile(CFile& file)
{
    if (file.Close())
        return true;
    ReportError("Reading or writing the local file \"" + file.GetLocalStreamName() + "\" failed: " + file.ErrorString(),
                __LINE__);
    return false;
}

bool CFTPClient::DownloadFile(const tstring& strSourceFile, const CFTPClient& TargetFtpServer,
                              const tstring& strTargetFile, const CRepresentation& repType, bool fPasv) const
{
    return TransferFile(*this, strSourceFile, TargetFtpServer, strTargetFile, repType, fPasv);
}

bool CFTPClient::UploadFile(const CFTPClient& SourceFtpServer, const tstring& strSourceFile,
                            const tstring& strTargetFile, const CRepresentation& repType, bool fPasv) const
{
    return TransferFile(SourceFtpServer, strSourceFile, *this, strTargetFile, repType, !fPasv);
}

bool CFTPClient::TransferFile(const CFTPClient& crSourceFtpServer, const tstring& strSourceFile,
                              const CFTPClient& crTargetFtpServer, const tstring& strTargetFile,
                              const CRepresentation& repType, bool fSourceIsPassive)
{
    // The copy drives both control connections; const only promises that
    // neither client's settings change.
    CFTPClient& SourceFtpServer = const_cast<CFTPClient&>(crSourceFtpServer);
    CFTPClient& TargetFtpServer = const_cast<CFTPClient&>(crTargetFtpServer);

    if (SourceFtpServer.RepresentationType(repType, 0) != 0 || TargetFtpServer.RepresentationType(repType, 0) != 0)
        return false;

    CFTPClient& PassiveServer = fSourceIsPassive ? SourceFtpServer : TargetFtpServer;
    CFTPClient& ActiveServer = fSourceIsPassive ? TargetFtpServer : SourceFtpServer;
    unsigned int ulIP = 0;
    unsigned short ushPort = 0;
    if (PassiveServer.Passive(ulIP, ushPort) != 0)
        return false;
    in_addr addr;
    addr.s_addr = htonl(ulIP);
    if (ActiveServer.DataPort(inet_ntoa(addr), ushPort) != 0)
        return false;

    if (!SourceFtpServer.SendCommand(CCommand::cmdRETR, strSourceFile))
        return false;
    CReply Reply;
    if (!TargetFtpServer.SendCommand(CCommand::cmdSTOR, strTargetFile, Reply) || !Reply.Code().IsPositivePreliminaryReply())
        return false;

    return SourceFtpServer.GetResponse(Reply) && Reply.Code().IsPositivePreliminaryReply()
           && SourceFtpServer.GetResponse(Reply) && Reply.Code().IsPositiveCompletionReply()
           && TargetFtpServer.GetResponse(Reply) && Reply.Code().IsPositiveCompletionReply();
}

// ---------------------------------------------------------------------------
// File information

int CFTPClient::FileSize(const tstring& strPath, long& lSize)
{
    CReply Reply;
    if (!SendCommand(CCommand::cmdSIZE, strPath, Reply))
        return -1;
    const int iRet = SimpleErrorCheck(Reply);
    if (iRet != 0)
        return iRet;

    const tstring strSize = ReplyParameter(Reply);
    char* pEnd = nullptr;
    errno = 0;
    const long lValue = std::strtol(strSize.c_str(), &pEnd, 10);
    if (strSize.empty() || errno != 0 || lValue < 0 || (*pEnd != '\0' && *pEnd != ' ' && *pEnd != '\r'))
        return -1;
    lSize = lValue;
    return 0;
}

int CFTPClient::FileModificationTime(const tstring& strPath, tstring& strModificationTime)
{
    CReply Reply;
    if (!SendCommand(CCommand::cmdMDTM, strPath, Reply))
        return -1;
    const int iRet = SimpleErrorCheck(Reply);
    if (iRet == 0)
        strModificationTime = ReplyParameter(Reply);
    return iRet;
}

int CFTPClient::FileModificationTime(const tstring& strPath, tm& tmModificationTime)
{
    tstring strModificationTime;
    const int iRet = FileModificationTime(strPath, strModificationTime);
    if (iRet != 0)
        return iRet;
    return ParseModificationTime(strModificationTime, tmModificationTime) ? 0 : -1;
}

}
