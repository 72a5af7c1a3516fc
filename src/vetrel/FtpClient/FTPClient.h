#ifndef VETREL_FTPCLIENT_H
#define VETREL_FTPCLIENT_H

#include <vetrel/vetrel_export.h>

#include "BlockingSocket.h"
#include "BlockingTlsSocket.h"
#include "FTPDataTypes.h"
#include "ObserverPattern.h"

#include <ctime>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace nsFTP
{

class CFTPFileStatus;
class COutputStream;
class CFile;

/**
 * One FTP client connection (RFC 959, with SIZE and MDTM of RFC 3659).
 *
 * Every operation blocks the calling thread; each wait on the network is
 * bounded by the receive time-out given at construction. Socket failures
 * never leave the client: they reach the attached observers through
 * CNotification::OnInternalError and turn into a false or -1 result.
 *
 * A one-reply command gives 0 on success (2xx), 1 when the server said no
 * (4xx, 5xx) and -1 when no usable answer came.
 */
class VETREL_EXPORT CFTPClient
{
public:
    class CNotification;
    class CReply;
    class ITransferNotification;
    class IFileListParser;

    typedef std::set<CNotification *> TObserverSet;
    typedef std::vector<tstring> TStringVector;
    typedef std::shared_ptr<CFTPFileStatus> TSpFTPFileStatus;
    typedef std::vector<TSpFTPFileStatus> TSpFTPFileStatusVector;

    /// A reply of the server: its whole text and its three-digit code.
    class VETREL_EXPORT CReply
    {
    public:
        /// A reply code; empty unless it is three characters of the form [1-5][0-5]x.
        class VETREL_EXPORT CCode
        {
        public:
            CCode() = default;
            explicit CCode(const tstring &strCode) { Set(strCode); }

            const tstring &Value() const { return m_strCode; }
            /// Takes the code when it is valid and returns true; otherwise clears it.
            bool Set(const tstring &strCode);
            bool IsEmpty() const { return m_strCode.empty(); }

            bool IsPositiveReply() const;
            bool IsNegativeReply() const;
            bool IsPositivePreliminaryReply() const { return Digit() == '1'; }
            bool IsPositiveCompletionReply() const { return Digit() == '2'; }
            bool IsPositiveIntermediateReply() const { return Digit() == '3'; }
            bool IsTransientNegativeCompletionReply() const { return Digit() == '4'; }
            bool IsPermanentNegativeCompletionReply() const { return Digit() == '5'; }

        private:
            char Digit() const { return m_strCode.empty() ? '\0' : m_strCode[0]; }

            tstring m_strCode;
        };

        /// Stores the text and takes its first three characters as the code; false when they are no valid
        /// code.
        bool Set(const tstring &strResponse);
        const tstring &Value() const { return m_strResponse; }
        const CCode &Code() const { return m_Code; }

    private:
        tstring m_strResponse;
        CCode m_Code;
    };

    /**
     * Observer of a client. Every operation does nothing by default; an observer
     * that is destroyed detaches itself from every client it watches.
     */
    class VETREL_EXPORT CNotification
    {
    public:
        CNotification()
            : m_Links(this)
        { }
        CNotification(const CNotification &)
            : m_Links(this)
        { }
        CNotification &operator=(const CNotification &) { return *this; }
        virtual ~CNotification() = default;

        virtual void OnInternalError(
            const tstring & /*strErrorMsg*/, const tstring & /*strFileName*/, unsigned int /*iLineNr*/)
        { }
        virtual void OnBeginReceivingData() { }
        virtual void OnEndReceivingData(long /*lReceivedBytes*/) { }
        virtual void OnBytesReceived(const std::vector<char> & /*vBuffer*/, long /*lReceivedBytes*/) { }
        virtual void OnBytesSent(const std::vector<char> & /*vBuffer*/, long /*lSentBytes*/) { }
        virtual void OnPreReceiveFile(
            const tstring & /*strSourceFile*/, const tstring & /*strTargetFile*/, long /*lFileSize*/)
        { }
        virtual void OnPreSendFile(
            const tstring & /*strSourceFile*/, const tstring & /*strTargetFile*/, long /*lFileSize*/)
        { }
        virtual void OnPostReceiveFile(
            const tstring & /*strSourceFile*/, const tstring & /*strTargetFile*/, long /*lFileSize*/)
        { }
        virtual void OnPostSendFile(
            const tstring & /*strSourceFile*/, const tstring & /*strTargetFile*/, long /*lFileSize*/)
        { }
        virtual void OnSendCommand(const CCommand & /*command*/, const CArg & /*arguments*/) { }
        virtual void OnResponse(const CReply & /*reply*/) { }

    private:
        friend class nsHelper::CObserverPatternBase<CFTPClient, CNotification>;
        nsHelper::CObserverPatternBase<CNotification, CFTPClient> &ObserverLinks() { return m_Links; }

        nsHelper::CObserverPatternBase<CNotification, CFTPClient> m_Links;
    };

    /// Source or target of a data transfer.
    class VETREL_EXPORT ITransferNotification
    {
    public:
        virtual ~ITransferNotification() = default;
        virtual tstring GetLocalStreamName() const = 0;
        virtual long GetLocalStreamSize() const = 0;
        virtual void SetLocalStreamOffset(unsigned int uiStreamOffset) = 0;
        virtual void OnBytesReceived(const std::vector<char> &vBuffer, long lReceivedBytes) = 0;
        /// Fills pszBuffer with at most bufferSize bytes and reports their count; 0 ends the data.
        virtual void OnPreBytesSend(char *pszBuffer, size_t bufferSize, size_t &bytesToSend) = 0;
    };

    /// Turns one line of a LIST reply into a file status.
    class VETREL_EXPORT IFileListParser
    {
    public:
        virtual ~IFileListParser() = default;
        virtual bool Parse(CFTPFileStatus &ftpFileStatus, const tstring &strLineToParse) = 0;
    };

    /// Longest reply line kept; a longer one is a failed read.
    static const size_t MaxResponseLineLength = 64 * 1024;
    /// Longest multi-line reply kept; a longer one is a failed read.
    static const size_t MaxResponseLength = 1024 * 1024;

    /**
     * The receive buffer takes one block of a transfer per pass; 256 KiB keeps
     * the per-block work (observers, target, system calls) small against the
     * bytes moved, so loopback and LAN transfers run at the network's pace.
     */
    explicit CFTPClient(
        std::shared_ptr<nsSocket::IBlockingSocket> apSocket = nsSocket::CreateDefaultBlockingSocketInstance(),
        unsigned int uiTimeout = 10, unsigned int uiBufferSize = 256 * 1024, unsigned int uiResponseWait = 0,
        const tstring &strRemoteStartDirectory = "/");
    virtual ~CFTPClient();

    CFTPClient(const CFTPClient &) = delete;
    CFTPClient &operator=(const CFTPClient &) = delete;

    // Observers and settings
    void AttachObserver(CNotification *pObserver);
    void DetachObserver(CNotification *pObserver);
    const TObserverSet &GetObservers() const;

    void SetResumeMode(bool fEnable = true);
    bool IsResumeModeEnabled() const;
    bool IsTransferringData() const;
    void SetFileListParser(const std::shared_ptr<IFileListParser> &apFileListParser);

    /**
     * When enabled, passive data connections go to the control connection's
     * peer instead of the address in the PASV reply, so that a hostile or
     * misconfigured server cannot point this client at a third host. Off by
     * default.
     */
    void SetPassiveAddressFromControlPeer(bool fEnable);
    bool IsPassiveAddressFromControlPeer() const;

    /**
     * From the next Login on, secures the control connection with TLS right
     * after the greeting (AUTH TLS) and every data connection after logon
     * (PBSZ 0, PROT P). A server that does not agree is refused: nothing,
     * not even the user name, goes to it in the clear.
     */
    void EnableTls(const nsSocket::CTlsSettings &settings = nsSocket::CTlsSettings());
    bool IsTlsEnabled() const;

    // Connection and logon
    bool IsConnected() const;
    bool Login(const CLogonInfo &loginInfo);
    int Logout();
    bool OpenControlChannel(const tstring &strServerHost, unsigned short ushServerPort = 21);
    void CloseControlChannel();

    // Commands and replies
    bool SendCommand(const CCommand &Command, const CArg &Arguments);
    bool SendCommand(const CCommand &Command, const CArg &Arguments, CReply &Reply);
    bool GetResponse(CReply &Reply);
    bool GetSingleResponseLine(tstring &strResponse);
    int SimpleErrorCheck(const CReply &Reply) const;

    // Simple commands
    int ChangeWorkingDirectory(const tstring &strDirectory);
    int ChangeToParentDirectory();
    int PrintWorkingDirectory();
    int MakeDirectory(const tstring &strDirectory);
    int RemoveDirectory(const tstring &strDirectory);
    int Delete(const tstring &strFile);
    int Rename(const tstring &strOldName, const tstring &strNewName);
    int Move(const tstring &strFullSourceFilePath, const tstring &strFullTargetFilePath);
    int SiteParameters(const tstring &strCmd);
    int Help(const tstring &strTopic = tstring());
    int Status(const tstring &strPath = tstring());
    int StructureMount(const tstring &strPath);
    int System();
    int Noop();
    int Reinitialize();
    int Allocate(int iReserveBytes, const int *piMaxPageOrRecordSize = nullptr);
    int FileStructure(const CStructure &crStructure);
    int TransferMode(const CTransferMode &crTransferMode);
    /**
     * Safe from any thread. While an operation of this client runs on another
     * thread (or a transfer runs on this one), it only asks that operation's
     * data transfer to stop at its next block and returns 0; the owning thread
     * then sends ABOR. Otherwise it sends ABOR itself, holding every other
     * operation back until the reply is read.
     */
    int Abort();

    // Data connections
    int Passive(unsigned int &ulIpAddress, unsigned short &ushPort);
    int DataPort(const tstring &strHostIP, unsigned short ushPort);
    int Restart(unsigned int uiPosition);
    int RepresentationType(const CRepresentation &repType, unsigned int dwSize = 0);
    bool ExecuteDatachannelCommand(const CCommand &crDatachannelCmd, const tstring &strPath,
        const CRepresentation &representation, bool fPasv, unsigned int dwByteOffset,
        ITransferNotification &Observer);

    // Listings
    bool List(const tstring &strPath, TStringVector &vstrFileList, bool fPasv = true);
    bool NameList(const tstring &strPath, TStringVector &vstrFileList, bool fPasv = true);
    /// Lists with MLSD when the server offers it (FEAT), whose facts are exact; otherwise LIST through the
    /// parser.
    bool List(const tstring &strPath, TSpFTPFileStatusVector &vFileList, bool fPasv = true);
    bool NameList(const tstring &strPath, TSpFTPFileStatusVector &vFileList, bool fPasv = true);

    // File transfers
    bool DownloadFile(const tstring &strRemoteFile, const tstring &strLocalFile,
        const CRepresentation &repType, bool fPasv = true);
    bool DownloadFile(const tstring &strRemoteFile, ITransferNotification &Observer,
        const CRepresentation &repType, bool fPasv = true);
    bool DownloadFile(const tstring &strSourceFile, const CFTPClient &TargetFtpServer,
        const tstring &strTargetFile, const CRepresentation &repType, bool fPasv = true) const;
    bool UploadFile(const tstring &strLocalFile, const tstring &strRemoteFile, bool fStoreUnique,
        const CRepresentation &repType, bool fPasv = true);
    bool UploadFile(ITransferNotification &Observer, const tstring &strRemoteFile, bool fStoreUnique,
        const CRepresentation &repType, bool fPasv = true);
    bool UploadFile(const CFTPClient &SourceFtpServer, const tstring &strSourceFile,
        const tstring &strTargetFile, const CRepresentation &repType, bool fPasv = true) const;

    int FileSize(const tstring &strPath, long &lSize);
    int FileModificationTime(const tstring &strPath, tm &tmModificationTime);
    int FileModificationTime(const tstring &strPath, tstring &strModificationTime);

private:
    class CPimpl;
    friend class nsHelper::CObserverPatternBase<CNotification, CFTPClient>;
    nsHelper::CObserverPatternBase<CFTPClient, CNotification> &ObserverLinks();

    static bool TransferFile(const CFTPClient &crSourceFtpServer, const tstring &strSourceFile,
        const CFTPClient &crTargetFtpServer, const tstring &strTargetFile, const CRepresentation &repType,
        bool fSourceIsPassive);

    const std::unique_ptr<CPimpl> m_pimpl;
};

}

#endif
