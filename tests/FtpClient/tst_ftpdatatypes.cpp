#include "assertioncatcher.h"

#include <vetrel/FtpClient/FTPDataTypes.h>

#include <QtTest>

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
            const tstring &word = info->GetServerString();
            QVERIFY2(previous < word && command.AsString() == word, word.c_str());
            previous = word;
            // The syntax names the parameters: "<SP>" for each, brackets for optional ones.
            const tstring &syntax = info->GetCompleteServerStringSyntax();
            QVERIFY2(syntax.rfind(word + " ", 0) == 0 && syntax.size() > 7 && syntax.compare(syntax.size() - 7, 7, " <CRLF>") == 0,
                syntax.c_str());
            QCOMPARE(info->GetNumberOfParameters() > 0, syntax.find("<SP>") != tstring::npos);
            QCOMPARE(info->GetNumberOfOptionalParameters() > 0, syntax.find('[') != tstring::npos);
        }
    }

    void enumerations()
    {
        // These letters go on the wire in TYPE, STRU and MODE.
        QCOMPARE(CType::EBCDIC().AsString() + CType::LocalByte().AsString() + CTypeFormat::NonPrint().AsString()
                + CTypeFormat::TelnetFormat().AsString() + CTypeFormat::CarriageControl().AsString()
                + CStructure::File().AsString() + CStructure::Record().AsString() + CStructure::Page().AsString()
                + CTransferMode::Stream().AsString() + CTransferMode::Block().AsString() + CTransferMode::Compressed().AsString(),
            tstring("ELNTCFRPSBC"));
        // A host offers the firewall types by index: all nine, in order, whatever the list held.
        std::vector<CFirewallType> types(2);
        CFirewallType::GetAllTypes(types);
        QVERIFY(types.size() == 9 && types.front().AsEnum() == 0 && types.back().AsEnum() == 8);
        // A representation with a format differs from the bare type, so TYPE is sent again.
        QVERIFY(CRepresentation(CType::ASCII()) != CRepresentation(CType::ASCII(), CTypeFormat::NonPrint()));
        QVERIFY(CRepresentation(CType::ASCII(), CTypeFormat::TelnetFormat()) != CRepresentation(CType::ASCII(), CTypeFormat::NonPrint()));

        // Values outside an enumeration are caught, not sent.
        AssertionCatcher catcher;
        QCOMPARE(AssertionCatcher::conditionOf([] { CType(static_cast<CType::TTypeEnum>(4)).AsString(); }), std::string("false"));
        QCOMPARE(AssertionCatcher::conditionOf([] { CCommand(static_cast<CCommand::TCommandEnum>(CCommand::cmdPROT + 1)).AsString(); }),
            std::string("it!=GetInstance().end()"));
    }
};

QTEST_APPLESS_MAIN(TestFtpDataTypes)
#include "tst_ftpdatatypes.moc"
