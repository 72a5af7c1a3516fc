#include <vetrel/label.h>
#include <vetrel/lineedit.h>
#include <vetrel/pushbuttonsend.h>

#include <QSignalSpy>
#include <QStyle>
#include <QTest>

class TestTextWidgets : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void lineEditReportsOnlyUserEdits()
    {
        LineEdit edit;
        QSignalSpy edits(&edit, &LineEdit::changedValue);
        QSignalSpy textChanges(&edit, &QLineEdit::textChanged);

        edit.setValue(QStringLiteral("abc"));
        edit.setValue(QStringLiteral("abc"));
        QCOMPARE(textChanges.count(), 1);
        QCOMPARE(edits.count(), 0);

        edit.setCursorPosition(3);
        QTest::keyClick(&edit, Qt::Key_D);
        QCOMPARE(edits.count(), 1);
        QCOMPARE(edits.at(0).at(0).toString(), QStringLiteral("abcd"));
        QCOMPARE(edit.property("Value").toString(), QStringLiteral("abcd"));
    }

    void labelErrors()
    {
        Label label(QStringLiteral("Price"));
        label.setStyleSheet(QStringLiteral("Label{font-weight: bold}"));
        label.clearError();
        QCOMPARE(label.styleSheet(), QStringLiteral("Label{font-weight: bold}"));
        QVERIFY(!label.hasError());

        label.setError(QStringLiteral("x"));
        QCOMPARE(label.styleSheet(), QStringLiteral(" Label{color: red}"));
        QCOMPARE(label.toolTip(), QStringLiteral("x"));
        QCOMPARE(label.text(), QStringLiteral("Price"));
        label.clearError();
        QCOMPARE(label.styleSheet(), QStringLiteral(" "));
        QCOMPARE(label.toolTip(), QStringLiteral("x"));
        QVERIFY(!label.hasError());

        label.setError();
        QCOMPARE(label.styleSheet(), QStringLiteral(" Label{color: red}"));
        QCOMPARE(label.toolTip(), QString());
        QVERIFY(label.hasError());
    }

    void sendButtonIcon()
    {
        PushButtonSend button;
        const QImage ok = button.style()->standardIcon(QStyle::SP_DialogOkButton).pixmap(16).toImage();
        QVERIFY(!ok.isNull());

        button.setDefault(true);
        QVERIFY(button.isDefault());
        QCOMPARE(button.icon().pixmap(16).toImage(), ok);

        button.setIcon(button.style()->standardIcon(QStyle::SP_DialogCancelButton));
        button.setDefault(false);
        QVERIFY(!button.isDefault());
        QVERIFY(button.icon().isNull());
    }
};

QTEST_MAIN(TestTextWidgets)
#include "tst_textwidgets.moc"
