#include "assertioncatcher.h"

#include <vetrel/FtpClient/FTPDataTypes.h>

#include <QtTest>

using namespace nsFTP;

class TestFtpDataTypes : public QObject
{
    Q_OBJECT

private slots:
    void commandTable();
    void commandKinds_data();
    void commandKinds();
    void commandText();
    void firewallTypes();
    void logonInfo();
    void representationLetters();
    void invalidValuesAssert();
};

static const CCommand::TCommandEnum lastCommand = CCommand::cmdUSER;

void TestFtpDataTypes::commandTable()
{
    tstring previous;
    for (int value = 0; value <= lastCommand; ++value) {
        const CCommand command(static_cast<CCommand::TCommandEnum>(value));
        const auto info = command.GetExtendedInfo();
        QVERIFY(info);
        // The enumeration is alphabetical, so a row filed under the wrong value breaks the order.
        QVERIFY2(previous < info->GetServerString(), info->GetServerString().c_str());
        previous = info->GetServerString();
        QCOMPARE(command.AsString(), info->GetServerString());
        const tstring &syntax = info->GetCompleteServerStringSyntax();
        QVERIFY2(syntax.rfind(info->GetServerString() + " ", 0) == 0, syntax.c_str());
        QVERIFY2(syntax.size() > 7 && syntax.compare(syntax.size() - 7, 7, " <CRLF>") == 0, syntax.c_str());
        // A command without "<SP>" in its syntax takes no parameters, and bracketed ones are optional.
        const bool takesParameters = syntax.find("<SP>") != tstring::npos;
        QCOMPARE(info->GetNumberOfParameters() > 0, takesParameters);
        QCOMPARE(info->GetNumberOfOptionalParameters() > 0, syntax.find('[') != tstring::npos);
        QVERIFY(info->GetNumberOfOptionalParameters() <= info->GetNumberOfParameters());
    }
    QCOMPARE(previous, tstring("USER"));
    QCOMPARE(CCommand(CCommand::cmdALLO).GetExtendedInfo()->GetNumberOfParameters(), 3u);
    QCOMPARE(CCommand(CCommand::cmdALLO).GetExtendedInfo()->GetNumberOfOptionalParameters(), 2u);
}

void TestFtpDataTypes::commandKinds_data()
{
    QTest::addColumn<int>("command");
    QTest::addColumn<bool>("read");
    QTest::addColumn<bool>("write");
    QTest::addColumn<int>("specification");

    QTest::newRow("LIST") << int(CCommand::cmdLIST) << true << false << 1;
    QTest::newRow("NLST") << int(CCommand::cmdNLST) << true << false << 1;
    QTest::newRow("RETR") << int(CCommand::cmdRETR) << true << false << 1;
    QTest::newRow("APPE") << int(CCommand::cmdAPPE) << false << true << 1;
    QTest::newRow("STOR") << int(CCommand::cmdSTOR) << false << true << 1;
    QTest::newRow("STOU") << int(CCommand::cmdSTOU) << false << true << 1;
    QTest::newRow("CWD") << int(CCommand::cmdCWD) << false << false << 1;
    QTest::newRow("PASV") << int(CCommand::cmdPASV) << false << false << 1;
    QTest::newRow("MDTM") << int(CCommand::cmdMDTM) << false << false << 2;
    QTest::newRow("SIZE") << int(CCommand::cmdSIZE) << false << false << 2;
    QTest::newRow("OPEN") << int(CCommand::cmdOPEN) << false << false << 0;
}

void TestFtpDataTypes::commandKinds()
{
    QFETCH(int, command);
    QFETCH(bool, read);
    QFETCH(bool, write);
    QFETCH(int, specification);

    const CCommand cmd(static_cast<CCommand::TCommandEnum>(command));
    QCOMPARE(cmd.IsDatachannelReadCommand(), read);
    QCOMPARE(cmd.IsDatachannelWriteCommand(), write);
    QCOMPARE(cmd.IsDatachannelCommand(), read || write);
    QCOMPARE(int(cmd.GetExtendedInfo()->GetSpecification()), specification);
    QCOMPARE(int(cmd.GetExtendedInfo()->GetType()), read ? 0 : write ? 1 : 2);
}

void TestFtpDataTypes::commandText()
{
    QCOMPARE(CCommand(CCommand::cmdPWD).AsString(CArg()), tstring("PWD"));
    QCOMPARE(CCommand(CCommand::cmdCWD).AsString(CArg("my dir")), tstring("CWD my dir"));
    CArg allocation;
    allocation.push_back("1024");
    allocation.push_back("R");
    allocation.push_back("128");
    QCOMPARE(CCommand(CCommand::cmdALLO).AsString(allocation), tstring("ALLO 1024 R 128"));
    // An empty argument still gets its blank: the caller decides whether to leave it out.
    QCOMPARE(CCommand(CCommand::cmdHELP).AsString(CArg(tstring())), tstring("HELP "));
}

void TestFtpDataTypes::firewallTypes()
{
    const char *const expected[][2] = {
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
    std::vector<CFirewallType> types(2);
    CFirewallType::GetAllTypes(types);
    QCOMPARE(types.size(), size_t(9));
    for (int i = 0; i < 9; ++i) {
        QCOMPARE(int(types[i].AsEnum()), i);
        QCOMPARE(types[i].AsStorageString(), tstring(expected[i][0]));
        QCOMPARE(types[i].AsDisplayString(), tstring(expected[i][1]));
    }
    QCOMPARE(CFirewallType(), CFirewallType(CFirewallType::ftNone));
}

void TestFtpDataTypes::logonInfo()
{
    const CLogonInfo plain;
    QCOMPARE(plain.Hostport(), static_cast<unsigned short>(21));
    QCOMPARE(plain.Username(), tstring("anonymous"));
    QVERIFY(plain.Password().empty() && plain.Account().empty() && plain.Hostname().empty());
    QCOMPARE(plain.FwPort(), static_cast<unsigned short>(21));
    QCOMPARE(plain.FwType(), CFirewallType(CFirewallType::ftNone));

    CLogonInfo full("ftp.example", 2121, "trader", "secret", "acct", "fw", "fwuser", "fwpass", 8021,
        CFirewallType::ftProxyOpen);
    QCOMPARE(full.Hostname(), tstring("ftp.example"));
    QCOMPARE(full.Hostport(), static_cast<unsigned short>(2121));
    QCOMPARE(full.Account(), tstring("acct"));
    QCOMPARE(full.FwUsername(), tstring("fwuser"));
    QCOMPARE(full.FwPassword(), tstring("fwpass"));
    QCOMPARE(full.FwPort(), static_cast<unsigned short>(8021));
    QCOMPARE(full.FwType(), CFirewallType(CFirewallType::ftProxyOpen));

    // Replacing the host leaves the firewall alone, and the other way round.
    full.SetHost("other");
    QCOMPARE(full.Username(), tstring("anonymous"));
    QCOMPARE(full.Hostport(), static_cast<unsigned short>(21));
    QCOMPARE(full.FwHost(), tstring("fw"));
    full.SetFirewall("fw2", "u", "p", 1080, CFirewallType::ftTransparent);
    QCOMPARE(full.Hostname(), tstring("other"));
    QCOMPARE(full.FwHost(), tstring("fw2"));
}

void TestFtpDataTypes::representationLetters()
{
    QCOMPARE(CType::ASCII().AsString() + CType::EBCDIC().AsString() + CType::Image().AsString()
            + CType::LocalByte().AsString(),
        tstring("AEIL"));
    QCOMPARE(CTypeFormat::NonPrint().AsString() + CTypeFormat::TelnetFormat().AsString()
            + CTypeFormat::CarriageControl().AsString(),
        tstring("NTC"));
    QCOMPARE(CStructure::File().AsString() + CStructure::Record().AsString() + CStructure::Page().AsString(),
        tstring("FRP"));
    QCOMPARE(CTransferMode::Stream().AsString() + CTransferMode::Block().AsString()
            + CTransferMode::Compressed().AsString(),
        tstring("SBC"));

    // A representation with a format differs from the bare type, so TYPE is sent again.
    QVERIFY(CRepresentation(CType::ASCII()) != CRepresentation(CType::ASCII(), CTypeFormat::NonPrint()));
    QVERIFY(CRepresentation(CType::ASCII(), CTypeFormat::TelnetFormat())
        != CRepresentation(CType::ASCII(), CTypeFormat::NonPrint()));
    QVERIFY(CRepresentation(CType::Image()) == CRepresentation(CType::Image()));
    QVERIFY(!CRepresentation(CType::Image()).HasFormat());
}

void TestFtpDataTypes::invalidValuesAssert()
{
    AssertionCatcher catcher;
    QCOMPARE(AssertionCatcher::conditionOf([] { CType(static_cast<CType::TTypeEnum>(4)).AsString(); }),
        std::string("false"));
    QCOMPARE(AssertionCatcher::conditionOf(
                 [] { CStructure(static_cast<CStructure::TStructureEnum>(-1)).AsString(); }),
        std::string("false"));
    QCOMPARE(AssertionCatcher::conditionOf(
                 [] { CCommand(static_cast<CCommand::TCommandEnum>(CCommand::cmdPROT + 1)).AsString(); }),
        std::string("it!=GetInstance().end()"));
}

QTEST_APPLESS_MAIN(TestFtpDataTypes)
#include "tst_ftpdatatypes.moc"
