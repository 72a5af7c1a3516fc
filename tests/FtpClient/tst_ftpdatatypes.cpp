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
            QVERIFY2(previous < word && command.AsString() == word, word.c_str());
            previous = word;
            // The syntax names the parameters: "<SP>" for each, brackets for optional ones.
            const tstring &syntax = info->GetCompleteServerStringSyntax();
            QVERIFY2(syntax.rfind(word + " ", 0) == 0 && syntax.size() > 7
                         && syntax.compare(syntax.size() - 7, 7, " <CRLF>") == 0,
                syntax.c_str());
            QCOMPARE(info->GetNumberOfParameters() > 0, syntax.find("<SP>") != tstring::npos);
            QCOMPARE(info->GetNumberOfOptionalParameters() > 0, syntax.find('[') != tstring::npos);
        }
        QCOMPARE(previous, tstring("USER"));
    }

    void firewallTypesAndLogon()
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
        // Replacing the host resets the user and port, and leaves the firewall alone; the other way round too.
        CLogonInfo full("ftp.example", 2121, "trader", "secret", "acct", "fw", "fwuser", "fwpass", 8021,
            CFirewallType::ftProxyOpen);
        full.SetHost("other");
        QCOMPARE(full.Hostname() + full.Username() + full.Password() + full.FwHost() + full.FwUsername(),
            tstring("otheranonymousfwfwuser"));
        QCOMPARE(full.Hostport() * 10000 + full.FwPort(), 21 * 10000 + 8021);
        full.SetFirewall("fw2", "u", "p", 1080, CFirewallType::ftTransparent);
        QCOMPARE(full.Hostname() + full.FwHost() + full.FwPassword(), tstring("otherfw2p"));
        QCOMPARE(full.FwType(), CFirewallType(CFirewallType::ftTransparent));
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

        // Values outside an enumeration are caught, not sent.
        AssertionCatcher catcher;
        QCOMPARE(AssertionCatcher::conditionOf([] { CType(static_cast<CType::TTypeEnum>(4)).AsString(); }),
            std::string("false"));
        QCOMPARE(AssertionCatcher::conditionOf(
                     [] { CCommand(static_cast<CCommand::TCommandEnum>(CCommand::cmdPROT + 1)).AsString(); }),
            std::string("it!=GetInstance().end()"));
    }
};

QTEST_APPLESS_MAIN(TestFtpDataTypes)
#include "tst_ftpdatatypes.moc"
