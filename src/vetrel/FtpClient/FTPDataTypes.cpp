#include "FTPDataTypes.h"

#include "FTPAssert.h"

#include <map>

namespace nsFTP
{

class CCommand::CExtendedInfo : public CCommand::IExtendedInfo
{
public:
    CExtendedInfo(const tstring &strServerString, const tstring &strCompleteServerStringSyntax,
        unsigned int uiNumberOfParameters, unsigned int uiNumberOfOptionalParameters,
        TSpecificationEnum enSpecification, TTypeEnum enType)
        : m_strServerString(strServerString)
        , m_strCompleteServerStringSyntax(strCompleteServerStringSyntax)
        , m_uiNumberOfParameters(uiNumberOfParameters)
        , m_uiNumberOfOptionalParameters(uiNumberOfOptionalParameters)
        , m_enSpecification(enSpecification)
        , m_enType(enType)
    { }

    const tstring &GetServerString() const override { return m_strServerString; }
    const tstring &GetCompleteServerStringSyntax() const override { return m_strCompleteServerStringSyntax; }
    unsigned int GetNumberOfParameters() const override { return m_uiNumberOfParameters; }
    unsigned int GetNumberOfOptionalParameters() const override { return m_uiNumberOfOptionalParameters; }
    TSpecificationEnum GetSpecification() const override { return m_enSpecification; }
    TTypeEnum GetType() const override { return m_enType; }

private:
    const tstring m_strServerString;
    const tstring m_strCompleteServerStringSyntax;
    const unsigned int m_uiNumberOfParameters;
    const unsigned int m_uiNumberOfOptionalParameters;
    const TSpecificationEnum m_enSpecification;
    const TTypeEnum m_enType;
};

// Filled once on first use and read-only afterwards, so concurrent readers
// need no lock (the initialisation of a function-local static is thread-safe).
class CCommand::CCmd2Info : public std::map<TCommandEnum, std::shared_ptr<const CExtendedInfo>>
{
public:
    static const CCmd2Info &GetInstance()
    {
        static const CCmd2Info instance;
        return instance;
    }

    static const std::shared_ptr<const CExtendedInfo> &Get(TCommandEnum enCommand)
    {
        const auto it = GetInstance().find(enCommand);
        // clang-format off
        VETREL_FTP_ASSERT(it!=GetInstance().end());
        // clang-format on
        return it->second;
    }

private:
    CCmd2Info()
    {
        const TSpecificationEnum proxy = Unknown, rfc959 = RFC959, rfc3659 = RFC3659, rfc2389 = RFC2389,
                                 rfc4217 = RFC4217;
        const TTypeEnum read = DatachannelRead, write = DatachannelWrite, none = NonDatachannel;
        Insert(cmdABOR, "ABOR", "ABOR <CRLF>", 0, 0, rfc959, none);
        Insert(cmdACCT, "ACCT", "ACCT <SP> <account-information> <CRLF>", 1, 0, rfc959, none);
        Insert(cmdALLO, "ALLO", "ALLO <SP> <decimal-integer> [<SP> R <SP> <decimal-integer>] <CRLF>", 3, 2,
            rfc959, none);
        Insert(cmdAPPE, "APPE", "APPE <SP> <pathname> <CRLF>", 1, 0, rfc959, write);
        Insert(cmdCDUP, "CDUP", "CDUP <CRLF>", 0, 0, rfc959, none);
        Insert(cmdCWD, "CWD", "CWD <SP> <pathname> <CRLF>", 1, 0, rfc959, none);
        Insert(cmdDELE, "DELE", "DELE <SP> <pathname> <CRLF>", 1, 0, rfc959, none);
        Insert(cmdHELP, "HELP", "HELP [<SP> <string>] <CRLF>", 1, 1, rfc959, none);
        Insert(cmdLIST, "LIST", "LIST [<SP> <pathname>] <CRLF>", 1, 1, rfc959, read);
        Insert(cmdMDTM, "MDTM", "MDTM <SP> <pathname> <CRLF>", 1, 0, rfc3659, none);
        Insert(cmdMKD, "MKD", "MKD <SP> <pathname> <CRLF>", 1, 0, rfc959, none);
        Insert(cmdMODE, "MODE", "MODE <SP> <mode-code> <CRLF>", 1, 0, rfc959, none);
        Insert(cmdNLST, "NLST", "NLST [<SP> <pathname>] <CRLF>", 1, 1, rfc959, read);
        Insert(cmdNOOP, "NOOP", "NOOP <CRLF>", 0, 0, rfc959, none);
        Insert(cmdOPEN, "OPEN", "OPEN <SP> <string> <CRLF>", 1, 0, proxy, none);
        Insert(cmdPASS, "PASS", "PASS <SP> <password> <CRLF>", 1, 0, rfc959, none);
        Insert(cmdPASV, "PASV", "PASV <CRLF>", 0, 0, rfc959, none);
        Insert(cmdPORT, "PORT", "PORT <SP> <host-port> <CRLF>", 1, 0, rfc959, none);
        Insert(cmdPWD, "PWD", "PWD <CRLF>", 0, 0, rfc959, none);
        Insert(cmdQUIT, "QUIT", "QUIT <CRLF>", 0, 0, rfc959, none);
        Insert(cmdREIN, "REIN", "REIN <CRLF>", 0, 0, rfc959, none);
        Insert(cmdREST, "REST", "REST <SP> <marker> <CRLF>", 1, 0, rfc959, none);
        Insert(cmdRETR, "RETR", "RETR <SP> <pathname> <CRLF>", 1, 0, rfc959, read);
        Insert(cmdRMD, "RMD", "RMD <SP> <pathname> <CRLF>", 1, 0, rfc959, none);
        Insert(cmdRNFR, "RNFR", "RNFR <SP> <pathname> <CRLF>", 1, 0, rfc959, none);
        Insert(cmdRNTO, "RNTO", "RNTO <SP> <pathname> <CRLF>", 1, 0, rfc959, none);
        Insert(cmdSITE, "SITE", "SITE <SP> <string> <CRLF>", 1, 0, rfc959, none);
        Insert(cmdSIZE, "SIZE", "SIZE <SP> <pathname> <CRLF>", 1, 0, rfc3659, none);
        Insert(cmdSMNT, "SMNT", "SMNT <SP> <pathname> <CRLF>", 1, 0, rfc959, none);
        Insert(cmdSTAT, "STAT", "STAT [<SP> <pathname>] <CRLF>", 1, 1, rfc959, none);
        Insert(cmdSTOR, "STOR", "STOR <SP> <pathname> <CRLF>", 1, 0, rfc959, write);
        Insert(cmdSTOU, "STOU", "STOU <CRLF>", 0, 0, rfc959, write);
        Insert(cmdSTRU, "STRU", "STRU <SP> <structure-code> <CRLF>", 1, 0, rfc959, none);
        Insert(cmdSYST, "SYST", "SYST <CRLF>", 0, 0, rfc959, none);
        Insert(cmdTYPE, "TYPE", "TYPE <SP> <type-code> <CRLF>", 1, 0, rfc959, none);
        Insert(cmdUSER, "USER", "USER <SP> <username> <CRLF>", 1, 0, rfc959, none);
        Insert(cmdAUTH, "AUTH", "AUTH <SP> <mechanism-name> <CRLF>", 1, 0, rfc4217, none);
        Insert(cmdFEAT, "FEAT", "FEAT <CRLF>", 0, 0, rfc2389, none);
        Insert(cmdMLSD, "MLSD", "MLSD [<SP> <pathname>] <CRLF>", 1, 1, rfc3659, read);
        Insert(cmdPBSZ, "PBSZ", "PBSZ <SP> <decimal-integer> <CRLF>", 1, 0, rfc4217, none);
        Insert(cmdPROT, "PROT", "PROT <SP> <prot-code> <CRLF>", 1, 0, rfc4217, none);
    }

    void Insert(TCommandEnum enCommand, const tstring &strServerString, const tstring &strSyntax,
        unsigned int uiParameters, unsigned int uiOptionalParameters, TSpecificationEnum enSpecification,
        TTypeEnum enType)
    {
        emplace(enCommand,
            std::make_shared<const CExtendedInfo>(
                strServerString, strSyntax, uiParameters, uiOptionalParameters, enSpecification, enType));
    }
};

tstring CCommand::AsString() const
{
    return CCmd2Info::Get(m_enCommand)->GetServerString();
}

tstring CCommand::AsString(const CArg &Arguments) const
{
    tstring strCommand = AsString();
    for (const tstring &strArgument : Arguments) {
        strCommand += ' ';
        strCommand += strArgument;
    }
    return strCommand;
}

bool CCommand::IsDatachannelReadCommand() const
{
    return CCmd2Info::Get(m_enCommand)->GetType() == DatachannelRead;
}

bool CCommand::IsDatachannelWriteCommand() const
{
    return CCmd2Info::Get(m_enCommand)->GetType() == DatachannelWrite;
}

bool CCommand::IsDatachannelCommand() const
{
    return IsDatachannelReadCommand() || IsDatachannelWriteCommand();
}

std::shared_ptr<const CCommand::IExtendedInfo> CCommand::GetExtendedInfo() const
{
    return CCmd2Info::Get(m_enCommand);
}

namespace
{

    struct FirewallNames
    {
        const char *storage;
        const char *display;
    };

    const FirewallNames firewallNames[] = {
        { "NO_FIREWALL", "no firewall" },
        { "SITE_HOSTNAME", "SITE hostname" },
        { "USER_AFTER_LOGON", "USER after logon" },
        { "PROXY_OPEN", "proxy OPEN" },
        { "TRANSPARENT", "Transparent" },
        { "USER_WITH_NO_LOGON", "USER with no logon" },
        { "USER_FIREID@REMOTEHOST", "USER fireID@remotehost" },
        { "USER_REMOTEID@REMOTEHOST_FIREID", "USER remoteID@remotehost fireID" },
        { "USER_REMOTEID@FIREID@REMOTEHOST", "USER remoteID@fireID@remotehost" },
    };
    constexpr int firewallTypeCount = sizeof firewallNames / sizeof firewallNames[0];

    const FirewallNames &NamesOf(CFirewallType::TFirewallTypeEnum enType)
    {
        VETREL_FTP_ASSERT(enType >= 0 && enType < firewallTypeCount);
        return firewallNames[enType];
    }

    // One letter per enumerator, in the enumeration's order; anything else is a programming error.
    template<size_t N, typename Enum>
    tstring LetterOf(const char (&letters)[N], Enum value)
    {
        if (value < 0 || static_cast<size_t>(value) >= N - 1)
            VETREL_FTP_ASSERT(false);
        return tstring(1, letters[value]);
    }

}

tstring CFirewallType::AsDisplayString() const
{
    return NamesOf(m_enFirewallType).display;
}

tstring CFirewallType::AsStorageString() const
{
    return NamesOf(m_enFirewallType).storage;
}

void CFirewallType::GetAllTypes(std::vector<CFirewallType> &vTypes)
{
    vTypes.clear();
    for (int type = 0; type < firewallTypeCount; ++type)
        vTypes.emplace_back(static_cast<TFirewallTypeEnum>(type));
}

CLogonInfo::CLogonInfo() = default;

CLogonInfo::CLogonInfo(const tstring &strHostname, unsigned short ushHostport, const tstring &strUsername,
    const tstring &strPassword, const tstring &strAccount)
{
    SetHost(strHostname, ushHostport, strUsername, strPassword, strAccount);
}

CLogonInfo::CLogonInfo(const tstring &strHostname, unsigned short ushHostport, const tstring &strUsername,
    const tstring &strPassword, const tstring &strAccount, const tstring &strFwHostname,
    const tstring &strFwUsername, const tstring &strFwPassword, unsigned short ushFwPort,
    const CFirewallType &crFwType)
{
    SetHost(strHostname, ushHostport, strUsername, strPassword, strAccount);
    SetFirewall(strFwHostname, strFwUsername, strFwPassword, ushFwPort, crFwType);
}

void CLogonInfo::SetHost(const tstring &strHostname, unsigned short ushHostport, const tstring &strUsername,
    const tstring &strPassword, const tstring &strAccount)
{
    m_strHostname = strHostname;
    m_ushHostport = ushHostport;
    m_strUsername = strUsername;
    m_strPassword = strPassword;
    m_strAccount = strAccount;
}

void CLogonInfo::SetFirewall(const tstring &strFwHostname, const tstring &strFwUsername,
    const tstring &strFwPassword, unsigned short ushFwPort, const CFirewallType &crFwType)
{
    m_strFwHostname = strFwHostname;
    m_strFwUsername = strFwUsername;
    m_strFwPassword = strFwPassword;
    m_ushFwPort = ushFwPort;
    m_FwType = crFwType;
}

tstring CType::AsString() const
{
    return LetterOf("AEIL", m_enType);
}

tstring CTypeFormat::AsString() const
{
    return LetterOf("NTC", m_enTypeFormat);
}

tstring CStructure::AsString() const
{
    return LetterOf("FRP", m_enStructure);
}

tstring CTransferMode::AsString() const
{
    return LetterOf("SBC", m_enTransferMode);
}

}
