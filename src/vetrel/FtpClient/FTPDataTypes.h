#ifndef VETREL_FTPDATATYPES_H
#define VETREL_FTPDATATYPES_H

#include <vetrel/vetrel_export.h>

#include <memory>
#include <string>
#include <vector>

namespace nsFTP
{

/** The FTP client's text: narrow, in the server's own encoding. */
typedef std::string tstring;

/** The arguments of one command, in order. */
class VETREL_EXPORT CArg : public std::vector<tstring>
{
public:
    CArg() = default;
    CArg(const tstring &strArgument) { push_back(strArgument); }
    CArg(const char *pszArgument) { push_back(pszArgument); }
};

/** A command the client can send, with its row of the process-wide command table. */
class VETREL_EXPORT CCommand
{
public:
    /** The base commands are numbered alphabetically from 0; the later extensions follow them. */
    enum TCommandEnum : int
    {
        cmdABOR,
        cmdACCT,
        cmdALLO,
        cmdAPPE,
        cmdCDUP,
        cmdCWD,
        cmdDELE,
        cmdHELP,
        cmdLIST,
        cmdMDTM,
        cmdMKD,
        cmdMODE,
        cmdNLST,
        cmdNOOP,
        cmdOPEN,
        cmdPASS,
        cmdPASV,
        cmdPORT,
        cmdPWD,
        cmdQUIT,
        cmdREIN,
        cmdREST,
        cmdRETR,
        cmdRMD,
        cmdRNFR,
        cmdRNTO,
        cmdSITE,
        cmdSIZE,
        cmdSMNT,
        cmdSTAT,
        cmdSTOR,
        cmdSTOU,
        cmdSTRU,
        cmdSYST,
        cmdTYPE,
        cmdUSER,
        cmdAUTH,
        cmdFEAT,
        cmdMLSD,
        cmdPBSZ,
        cmdPROT
    };
    /** The document that defines a command; OPEN, the proxy command, has none. */
    enum TSpecificationEnum : int
    {
        Unknown = 0,
        RFC959 = 1,
        RFC3659 = 2,
        RFC2389 = 3,
        RFC4217 = 4
    };
    /** How a command uses the data channel. */
    enum TTypeEnum : int
    {
        DatachannelRead = 0,
        DatachannelWrite = 1,
        NonDatachannel = 2
    };

    class IExtendedInfo
    {
    public:
        virtual ~IExtendedInfo() = default;
        virtual const tstring &GetServerString() const = 0;
        virtual const tstring &GetCompleteServerStringSyntax() const = 0;
        virtual unsigned int GetNumberOfParameters() const = 0;
        virtual unsigned int GetNumberOfOptionalParameters() const = 0;
        virtual TSpecificationEnum GetSpecification() const = 0;
        virtual TTypeEnum GetType() const = 0;
    };

    class CExtendedInfo;
    class CCmd2Info;

    CCommand(TCommandEnum enCommand)
        : m_enCommand(enCommand)
    { }

    TCommandEnum AsEnum() const { return m_enCommand; }
    bool operator==(const CCommand &rhs) const { return m_enCommand == rhs.m_enCommand; }
    bool operator!=(const CCommand &rhs) const { return m_enCommand != rhs.m_enCommand; }

    /** The command word sent to the server ("RETR"). */
    tstring AsString() const;
    /** The command word followed by each argument after one blank, without the end of line. */
    tstring AsString(const CArg &Arguments) const;

    bool IsDatachannelReadCommand() const;
    bool IsDatachannelWriteCommand() const;
    bool IsDatachannelCommand() const;

    std::shared_ptr<const IExtendedInfo> GetExtendedInfo() const;

private:
    TCommandEnum m_enCommand;
};

/** The ways of logging on through a firewall. */
class VETREL_EXPORT CFirewallType
{
public:
    enum TFirewallTypeEnum : int
    {
        ftNone = 0,
        ftSiteHostName = 1,
        ftUserAfterLogon = 2,
        ftProxyOpen = 3,
        ftTransparent = 4,
        ftUserWithNoLogon = 5,
        ftUserFireIDatRemotehost = 6,
        ftUserRemoteIDatRemoteHostFireID = 7,
        ftUserRemoteIDatFireIDatRemoteHost = 8
    };

    CFirewallType(TFirewallTypeEnum enFirewallType = ftNone)
        : m_enFirewallType(enFirewallType)
    { }

    TFirewallTypeEnum AsEnum() const { return m_enFirewallType; }
    bool operator==(const CFirewallType &rhs) const { return m_enFirewallType == rhs.m_enFirewallType; }
    bool operator!=(const CFirewallType &rhs) const { return m_enFirewallType != rhs.m_enFirewallType; }

    /** "USER fireID@remotehost" and the like, for showing. */
    tstring AsDisplayString() const;
    /** "USER_FIREID@REMOTEHOST" and the like, for settings files. */
    tstring AsStorageString() const;
    /** All nine types, in the order of their values. */
    static void GetAllTypes(std::vector<CFirewallType> &vTypes);

private:
    TFirewallTypeEnum m_enFirewallType;
};

/** Where and as whom to log on, directly or through a firewall. */
class VETREL_EXPORT CLogonInfo
{
public:
    CLogonInfo();
    CLogonInfo(const tstring &strHostname, unsigned short ushHostport = 21,
        const tstring &strUsername = "anonymous", const tstring &strPassword = tstring(),
        const tstring &strAccount = tstring());
    CLogonInfo(const tstring &strHostname, unsigned short ushHostport, const tstring &strUsername,
        const tstring &strPassword, const tstring &strAccount, const tstring &strFwHostname,
        const tstring &strFwUsername, const tstring &strFwPassword, unsigned short ushFwPort,
        const CFirewallType &crFwType);

    void SetHost(const tstring &strHostname, unsigned short ushHostport = 21,
        const tstring &strUsername = "anonymous", const tstring &strPassword = tstring(),
        const tstring &strAccount = tstring());
    void SetFirewall(const tstring &strFwHostname, const tstring &strFwUsername, const tstring &strFwPassword,
        unsigned short ushFwPort, const CFirewallType &crFwType);

    const tstring &Hostname() const { return m_strHostname; }
    unsigned short Hostport() const { return m_ushHostport; }
    const tstring &Username() const { return m_strUsername; }
    const tstring &Password() const { return m_strPassword; }
    const tstring &Account() const { return m_strAccount; }
    const tstring &FwHost() const { return m_strFwHostname; }
    const tstring &FwUsername() const { return m_strFwUsername; }
    const tstring &FwPassword() const { return m_strFwPassword; }
    unsigned short FwPort() const { return m_ushFwPort; }
    const CFirewallType &FwType() const { return m_FwType; }

private:
    tstring m_strHostname;
    unsigned short m_ushHostport = 21;
    tstring m_strUsername = "anonymous";
    tstring m_strPassword;
    tstring m_strAccount;
    tstring m_strFwHostname;
    tstring m_strFwUsername;
    tstring m_strFwPassword;
    unsigned short m_ushFwPort = 21;
    CFirewallType m_FwType;
};

/** The data type of a transfer, the first argument of TYPE. */
class VETREL_EXPORT CType
{
public:
    enum TTypeEnum : int
    {
        tyASCII,
        tyEBCDIC,
        tyImage,
        tyLocalByte
    };

    CType(TTypeEnum enType)
        : m_enType(enType)
    { }
    static CType ASCII() { return tyASCII; }
    static CType EBCDIC() { return tyEBCDIC; }
    static CType Image() { return tyImage; }
    static CType LocalByte() { return tyLocalByte; }

    TTypeEnum AsEnum() const { return m_enType; }
    bool operator==(const CType &rhs) const { return m_enType == rhs.m_enType; }
    bool operator!=(const CType &rhs) const { return m_enType != rhs.m_enType; }
    /** "A", "E", "I" or "L". */
    tstring AsString() const;

private:
    TTypeEnum m_enType;
};

/** The format of an ASCII or EBCDIC transfer, the second argument of TYPE. */
class VETREL_EXPORT CTypeFormat
{
public:
    enum TFormatEnum : int
    {
        tfNonPrint,
        tfTelnetFormat,
        tfCarriageControl
    };

    CTypeFormat(TFormatEnum enTypeFormat)
        : m_enTypeFormat(enTypeFormat)
    { }
    static CTypeFormat NonPrint() { return tfNonPrint; }
    static CTypeFormat TelnetFormat() { return tfTelnetFormat; }
    static CTypeFormat CarriageControl() { return tfCarriageControl; }

    TFormatEnum AsEnum() const { return m_enTypeFormat; }
    bool operator==(const CTypeFormat &rhs) const { return m_enTypeFormat == rhs.m_enTypeFormat; }
    bool operator!=(const CTypeFormat &rhs) const { return m_enTypeFormat != rhs.m_enTypeFormat; }
    /** "N", "T" or "C". */
    tstring AsString() const;

private:
    TFormatEnum m_enTypeFormat;
};

/** The file structure, the argument of STRU. */
class VETREL_EXPORT CStructure
{
public:
    enum TStructureEnum : int
    {
        scFile,
        scRecord,
        scPage
    };

    CStructure(TStructureEnum enStructure)
        : m_enStructure(enStructure)
    { }
    static CStructure File() { return scFile; }
    static CStructure Record() { return scRecord; }
    static CStructure Page() { return scPage; }

    TStructureEnum AsEnum() const { return m_enStructure; }
    bool operator==(const CStructure &rhs) const { return m_enStructure == rhs.m_enStructure; }
    bool operator!=(const CStructure &rhs) const { return m_enStructure != rhs.m_enStructure; }
    /** "F", "R" or "P". */
    tstring AsString() const;

private:
    TStructureEnum m_enStructure;
};

/** The transfer mode, the argument of MODE. */
class VETREL_EXPORT CTransferMode
{
public:
    enum TTransferModeEnum : int
    {
        tmStream,
        tmBlock,
        tmCompressed
    };

    CTransferMode(TTransferModeEnum enTransferMode)
        : m_enTransferMode(enTransferMode)
    { }
    static CTransferMode Stream() { return tmStream; }
    static CTransferMode Block() { return tmBlock; }
    static CTransferMode Compressed() { return tmCompressed; }

    TTransferModeEnum AsEnum() const { return m_enTransferMode; }
    bool operator==(const CTransferMode &rhs) const { return m_enTransferMode == rhs.m_enTransferMode; }
    bool operator!=(const CTransferMode &rhs) const { return m_enTransferMode != rhs.m_enTransferMode; }
    /** "S", "B" or "C". */
    tstring AsString() const;

private:
    TTransferModeEnum m_enTransferMode;
};

/**
 * A data type with an optional format: TYPE I goes alone, TYPE A and E may
 * carry N, T or C.
 */
class VETREL_EXPORT CRepresentation
{
public:
    CRepresentation(const CType &type)
        : m_Type(type)
    { }
    CRepresentation(const CType &type, const CTypeFormat &format)
        : m_Type(type)
        , m_Format(format)
        , m_bHasFormat(true)
    { }

    const CType &Type() const { return m_Type; }
    /** Whether a format letter goes with the type; Format() is meaningful only then. */
    bool HasFormat() const { return m_bHasFormat; }
    const CTypeFormat &Format() const { return m_Format; }

    bool operator==(const CRepresentation &rhs) const
    {
        return m_Type == rhs.m_Type && m_bHasFormat == rhs.m_bHasFormat
            && (!m_bHasFormat || m_Format == rhs.m_Format);
    }
    bool operator!=(const CRepresentation &rhs) const { return !operator==(rhs); }

private:
    CType m_Type;
    CTypeFormat m_Format = CTypeFormat::tfNonPrint;
    bool m_bHasFormat = false;
};

}

#endif
