#include "assertioncatcher.h"

#include <vetrel/FtpClient/FTPDataTypes.h>

#include <QtTest>

#include <set>

using namespace nsFTP;

class TestFtpDataTypes : public QObject
{
    Q_OBJECT

private slots:
    void commandTableIsConsistent()
    {
        // The enumeration is alphabetical, so a row filed under the wrong value breaks the order.
        tstring previous;
        for (int value = 0; value <= CCommand::cmdUSER; ++value) {
            const CCommand command(static_cast<CCommand::TCommandEnum>(value));
            const auto info = command.GetExtendedInfo();
            QVERIFY(info);
            const tstring &word = info->GetServerString();
            QVERIFY2(previous < word, word.c_str());
            previous = word;
            QCOMPARE(command.AsString(), word);
            // The syntax names the parameters: "<SP>" for each, brackets for optional ones.
            const tstring &syntax = info->GetCompleteServerStringSyntax();
            QVERIFY2(syntax.rfind(word + " ", 0) == 0 && syntax.size() > 7
                         && syntax.compare(syntax.size() - 7, 7, " <CRLF>") == 0,
                syntax.c_str());
            QCOMPARE(info->GetNumberOfParameters() > 0, syntax.find("<SP>") != tstring::npos);
            QCOMPARE(info->GetNumberOfOptionalParameters() > 0, syntax.find('[') != tstring::npos);
            QVERIFY(info->GetNumberOfOptionalParameters() <= info->GetNumberOfParameters());
        }
        QCOMPARE(previous, tstring("USER"));
        QCOMPARE(CCommand(CCommand::cmdALLO).GetExtendedInfo()->GetNumberOfParameters(), 3u);
        QCOMPARE(CCommand(CCommand::cmdALLO).GetExtendedInfo()->GetNumberOfOptionalParameters(), 2u);
    }

    void commandKinds_data()
    {
        QTest::addColumn<int>("command");
        QTest::addColumn<bool>("read");
        QTest::addColumn<bool>("write");
        QTest::addColumn<int>("origin");

        QTest::newRow("LIST") << int(CCommand::cmdLIST) << true << false << 1;
        QTest::newRow("RETR") << int(CCommand::cmdRETR) << true << false << 1;
        QTest::newRow("STOU") << int(CCommand::cmdSTOU) << false << true << 1;
        QTest::newRow("APPE") << int(CCommand::cmdAPPE) << false << true << 1;
        QTest::newRow("PASV") << int(CCommand::cmdPASV) << false << false << 1;
        QTest::newRow("SIZE") << int(CCommand::cmdSIZE) << false << false << 2;
        QTest::newRow("OPEN") << int(CCommand::cmdOPEN) << false << false << 0;
    }
    void commandKinds()
    {
        QFETCH(int, command);
        QFETCH(bool, read);
        QFETCH(bool, write);

        const CCommand cmd(static_cast<CCommand::TCommandEnum>(command));
        QCOMPARE(cmd.IsDatachannelReadCommand(), read);
        QCOMPARE(cmd.IsDatachannelWriteCommand(), write);
        QCOMPARE(cmd.IsDatachannelCommand(), read || write);
        QTEST(int(cmd.GetExtendedInfo()->GetSpecification()), "origin");
        QCOMPARE(int(cmd.GetExtendedInfo()->GetType()), read ? 0 : write ? 1 : 2);
    }

    void commandText()
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

    void firewallTypes()
    {
        // Settings pick a type by its index or its storage name: both must lead back to it.
        std::vector<CFirewallType> types(2);
        CFirewallType::GetAllTypes(types);
        QCOMPARE(types.size(), size_t(9));
        std::set<tstring> names;
        for (size_t i = 0; i < types.size(); ++i) {
            QCOMPARE(size_t(types[i].AsEnum()), i);
            QVERIFY(names.insert(types[i].AsStorageString()).second);
        }
        QCOMPARE(CFirewallType(), CFirewallType(CFirewallType::ftNone));
    }

    void logonInfo()
    {
        const CLogonInfo plain;
        QCOMPARE(plain.Hostport() + plain.FwPort(), 42);
        QCOMPARE(plain.Username(), tstring("anonymous"));
        QVERIFY(plain.Password().empty() && plain.Account().empty() && plain.Hostname().empty());
        QCOMPARE(plain.FwType(), CFirewallType(CFirewallType::ftNone));

        CLogonInfo full("ftp.example", 2121, "trader", "secret", "acct", "fw", "fwuser", "fwpass", 8021,
            CFirewallType::ftProxyOpen);
        QCOMPARE(full.Hostname() + full.Username() + full.Password() + full.Account(), tstring("ftp.exampletradersecretacct"));
        QCOMPARE(full.FwHost() + full.FwUsername() + full.FwPassword(), tstring("fwfwuserfwpass"));
        QCOMPARE(full.Hostport() * 10000 + full.FwPort(), 2121 * 10000 + 8021);
        QCOMPARE(full.FwType(), CFirewallType(CFirewallType::ftProxyOpen));
        // Replacing the host leaves the firewall alone, and the other way round.
        full.SetHost("other");
        QCOMPARE(full.Username() + full.FwHost(), tstring("anonymousfw"));
        QCOMPARE(full.Hostport(), static_cast<unsigned short>(21));
        full.SetFirewall("fw2", "u", "p", 1080, CFirewallType::ftTransparent);
        QCOMPARE(full.Hostname() + full.FwHost(), tstring("otherfw2"));
    }

    void representations()
    {
        // These letters go on the wire in TYPE, STRU and MODE.
        QCOMPARE(CType::ASCII().AsString() + CType::EBCDIC().AsString() + CType::Image().AsString()
                + CType::LocalByte().AsString() + CTypeFormat::NonPrint().AsString()
                + CTypeFormat::TelnetFormat().AsString() + CTypeFormat::CarriageControl().AsString()
                + CStructure::File().AsString() + CStructure::Record().AsString() + CStructure::Page().AsString()
                + CTransferMode::Stream().AsString() + CTransferMode::Block().AsString()
                + CTransferMode::Compressed().AsString(),
            tstring("AEILNTCFRPSBC"));
        // A representation with a format differs from the bare type, so TYPE is sent again.
        QVERIFY(CRepresentation(CType::ASCII()) != CRepresentation(CType::ASCII(), CTypeFormat::NonPrint()));
        QVERIFY(CRepresentation(CType::ASCII(), CTypeFormat::TelnetFormat())
            != CRepresentation(CType::ASCII(), CTypeFormat::NonPrint()));
        QVERIFY(CRepresentation(CType::Image()) == CRepresentation(CType::Image()));
        QVERIFY(!CRepresentation(CType::Image()).HasFormat());
    }

    void invalidValuesAssert()
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
};

QTEST_APPLESS_MAIN(TestFtpDataTypes)
#include "tst_ftpdatatypes.moc"
