// NumberEditor and QuantityEditor driven as a user types, in whatever system
// locale the test runs under (registered once per locale).
#include "localetext.h"

#include <vetrel/decimalvalidator.h>
#include <vetrel/numbereditor.h>
#include <vetrel/quantityeditor.h>

#include <QSignalSpy>
#include <QTest>

class TestNumberEditor : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void typing_data();
    void typing();
    void editingKeepsCursorBehindSameDigit();
    void setValueIsSilent();
    void settingsApplyFromNextKeystroke();
    void validity_data();
    void validity();
    void quantityEditorTakesWholePositiveNumbers();
    void keypadDecimalKeyTypesSystemPoint();
    void hostileInput();

private:
    QLocale locale;
};

namespace
{

QStringList emitted(const QSignalSpy &spy)
{
    QStringList values;
    for (const QList<QVariant> &arguments : spy)
        values << arguments.at(0).toString();
    return values;
}

QString shownWithCursor(const QLineEdit &editor)
{
    return withCursor(editor.text(), editor.cursorPosition());
}

// A keypad key event as X11 delivers it: the X key symbol as native virtual key.
QKeyEvent keypadEvent(quint32 keysym, Qt::KeyboardModifiers modifiers, const QString &text)
{
    return QKeyEvent(QEvent::KeyPress, Qt::Key_Period, modifiers, 91, keysym, 0x10, text);
}

constexpr quint32 xkKeypadDecimal = 0xffae;
constexpr quint32 xkKeypadSeparator = 0xffac;

}

void TestNumberEditor::initTestCase()
{
    // The editor shows the system locale; QLocale() follows it unless a test changes it.
    locale = QLocale::system();
    QCOMPARE(QLocale(), locale);
    qInfo("system locale %s: point U+%04x, group separator U+%04x", qPrintable(locale.name()),
        locale.decimalPoint().unicode(), locale.groupSeparator().unicode());
}

void TestNumberEditor::typing_data()
{
    QTest::addColumn<QString>("typed");
    QTest::addColumn<QString>("shown");
    QTest::addColumn<QString>("value");
    QTest::addColumn<QStringList>("emissions");

    QTest::newRow("price") << "1234.5"
                           << "1_234.5|"
                           << "1234.5" << QStringList { "1", "12", "123", "1234", "1234.5" };
    QTest::newRow("typed separators") << "1_234.5"
                                      << "1_234.5|"
                                      << "1234.5" << QStringList { "1", "12", "123", "1234", "1234.5" };
    QTest::newRow("negative") << "-12"
                              << "-12|"
                              << "-12" << QStringList { "-", "-1", "-12" };
    QTest::newRow("leading zeros") << "0007"
                                   << "7|"
                                   << "7" << QStringList { "0", "7" };
    QTest::newRow("plus dropped") << "+5"
                                  << "5|"
                                  << "5" << QStringList { "+", "5" };
    QTest::newRow("fraction limit") << "1.234"
                                    << "1.23|"
                                    << "1.23" << QStringList { "1", "1.2", "1.23" };
    QTest::newRow("scale is kept") << "0.05"
                                   << "0.05|"
                                   << "0.05" << QStringList { "0", "0.0", "0.05" };
    QTest::newRow("letters ignored") << "1a2"
                                     << "12|"
                                     << "12" << QStringList { "1", "12" };
    QTest::newRow("16th digit refused") << "1234567890123456"
                                        << "123_456_789_012_345|"
                                        << "123456789012345" << QStringList();
}

void TestNumberEditor::typing()
{
    QFETCH(QString, typed);
    QFETCH(QString, shown);
    QFETCH(QString, value);
    QFETCH(QStringList, emissions);

    NumberEditor editor(nullptr, 2);
    QSignalSpy spy(&editor, &NumberEditor::changedValue);
    QTest::keyClicks(&editor, localised(typed, locale));

    QCOMPARE(shownWithCursor(editor), withCursor(localised(shown, locale), cursorOf(shown)));
    QCOMPARE(editor.getValue(), value);
    QCOMPARE(editor.property("Value").toString(), value);
    if (!emissions.isEmpty())
        QCOMPARE(emitted(spy), emissions);
    QCOMPARE(spy.last().at(0).toString(), value);
}

void TestNumberEditor::editingKeepsCursorBehindSameDigit()
{
    NumberEditor editor(nullptr, 2);
    QSignalSpy spy(&editor, &NumberEditor::changedValue);
    QTest::keyClicks(&editor, QStringLiteral("1234567"));
    const auto check = [&](const char *shown) {
        return withCursor(localised(QLatin1String(shown), locale), cursorOf(QLatin1String(shown)));
    };
    QCOMPARE(shownWithCursor(editor), check("1_234_567|"));

    for (int i = 0; i < 3; ++i)
        QTest::keyClick(&editor, Qt::Key_Left);
    spy.clear();
    // Deleting a separator regroups the same digits: the cursor only moves.
    QTest::keyClick(&editor, Qt::Key_Backspace);
    QCOMPARE(shownWithCursor(editor), check("1_234|_567"));
    QVERIFY(spy.isEmpty());

    QTest::keyClick(&editor, Qt::Key_Backspace);
    QCOMPARE(shownWithCursor(editor), check("123|_567"));
    QCOMPARE(emitted(spy), QStringList { "123567" });

    QTest::keyClick(&editor, Qt::Key_Home);
    QTest::keyClick(&editor, Qt::Key_9);
    QCOMPARE(shownWithCursor(editor), check("9|_123_567"));
    QCOMPARE(editor.getValue(), QStringLiteral("9123567"));

    QTest::keyClick(&editor, Qt::Key_End);
    QTest::keyClicks(&editor, localised(QStringLiteral(".5"), locale));
    QTest::keyClick(&editor, Qt::Key_Home);
    QTest::keyClick(&editor, Qt::Key_Delete);
    QCOMPARE(shownWithCursor(editor), check("|123_567.5"));
    QCOMPARE(editor.getValue(), QStringLiteral("123567.5"));
}

void TestNumberEditor::setValueIsSilent()
{
    NumberEditor editor(nullptr, 2);
    QSignalSpy spy(&editor, &NumberEditor::changedValue);

    editor.setValue(QStringLiteral("1234.5"));
    QCOMPARE(editor.text(), localised(QStringLiteral("1_234.5"), locale));
    QCOMPARE(editor.getValue(), QStringLiteral("1234.5"));

    editor.setCursorPosition(2);
    editor.setValue(QStringLiteral("1234.5"));
    QCOMPARE(editor.cursorPosition(), 2);

    editor.setValue(QStringLiteral("1234.50"));
    QCOMPARE(editor.text(), localised(QStringLiteral("1_234.50"), locale));
    QCOMPARE(editor.getValue(), QStringLiteral("1234.50"));

    editor.setValue(decimal(-12345, 2));
    QCOMPARE(editor.getValue(), QStringLiteral("-123.45"));
    QCOMPARE(editor.text(), localised(QStringLiteral("-123.45"), locale));

    // Bindings reach the decimal overload through the meta-object.
    QVERIFY(QMetaObject::invokeMethod(&editor, "setValue", Q_ARG(decimal, decimal(7, 0))));
    QCOMPARE(editor.getValue(), QStringLiteral("7"));

    QVERIFY(editor.setProperty("Value", QStringLiteral("-0.5")));
    QCOMPARE(editor.text(), localised(QStringLiteral("-0.5"), locale));

    editor.setValue(QString());
    QCOMPARE(editor.text(), QString());
    QCOMPARE(editor.getValue(), QString());
    QVERIFY(spy.isEmpty());

    // After a silent write, typing reports again.
    QTest::keyClick(&editor, Qt::Key_3);
    QCOMPARE(emitted(spy), QStringList { "3" });
}

void TestNumberEditor::settingsApplyFromNextKeystroke()
{
    NumberEditor editor(nullptr, 2);
    QTest::keyClicks(&editor, localised(QStringLiteral("1.25"), locale));
    QVERIFY(editor.setProperty("digits", 0));
    QCOMPARE(editor.digits(), 0);
    // The settings are those of the validator in place, as QLineEdit hands it out.
    const auto *validator = qobject_cast<const DecimalValidator *>(editor.validator());
    QVERIFY(validator);
    QCOMPARE(validator->getDigits(), 0);
    QCOMPARE(editor.text(), localised(QStringLiteral("1.25"), locale));
    QCOMPARE(editor.getValue(), QStringLiteral("1.25"));

    editor.clear();
    QTest::keyClicks(&editor, localised(QStringLiteral("7.5"), locale));
    QCOMPARE(editor.getValue(), QStringLiteral("75"));

    editor.clear();
    QVERIFY(editor.setProperty("numDigits", 3));
    QTest::keyClicks(&editor, QStringLiteral("01234"));
    QCOMPARE(editor.text(), QStringLiteral("123"));

    editor.clear();
    QVERIFY(editor.setProperty("CanNegative", false));
    QTest::keyClicks(&editor, localised(QStringLiteral("-5"), locale));
    QCOMPARE(editor.getValue(), QStringLiteral("5"));
    QCOMPARE(editor.property("CanNegative").toBool(), false);
}

void TestNumberEditor::validity_data()
{
    QTest::addColumn<bool>("canBeZero");
    QTest::addColumn<QString>("value");
    QTest::addColumn<bool>("valid");
    QTest::addColumn<QString>("number");

    QTest::newRow("zero allowed") << true << "0" << true << "0";
    QTest::newRow("zero refused") << false << "0" << false << "0";
    QTest::newRow("zero with scale refused") << false << "0.00" << false << "0";
    QTest::newRow("small number") << false << "0.01" << true << "0.01";
    QTest::newRow("negative") << false << "-12.50" << true << "-12.50";
    QTest::newRow("empty") << true << "" << false << "0";
    QTest::newRow("unfinished sign") << true << "-" << false << "0";
    QTest::newRow("exponent") << true << "1e3" << false << "0";
    QTest::newRow("locale text") << true << "1 234" << false << "0";
}

void TestNumberEditor::validity()
{
    QFETCH(bool, canBeZero);
    QFETCH(QString, value);
    QFETCH(bool, valid);
    QFETCH(QString, number);

    NumberEditor editor(nullptr, 2);
    QVERIFY(editor.setProperty("CanBeZero", canBeZero));
    editor.setValue(value);
    QCOMPARE(editor.isValid(), valid);
    QCOMPARE(editor.getDecimal().toString(), number);
}

void TestNumberEditor::quantityEditorTakesWholePositiveNumbers()
{
    QuantityEditor editor;
    QSignalSpy spy(&editor, &NumberEditor::changedValue);
    QTest::keyClicks(&editor, localised(QStringLiteral("-1.5"), locale));
    QCOMPARE(editor.text(), QStringLiteral("15"));
    QCOMPARE(emitted(spy), (QStringList { "1", "15" }));

    editor.clear();
    QTest::keyClicks(&editor, QStringLiteral("0"));
    QVERIFY(editor.isValid());
    QCOMPARE(editor.alignment(), Qt::AlignRight);
}

void TestNumberEditor::keypadDecimalKeyTypesSystemPoint()
{
    const QString systemPoint(QLocale::system().decimalPoint());
    // What a layout might put on the key when it is not the system's point.
    const QString layoutText = systemPoint == QLatin1String(".") ? QStringLiteral(",") : QStringLiteral(".");

    for (quint32 keysym : { xkKeypadDecimal, xkKeypadSeparator }) {
        NumberEditor editor(nullptr, 2);
        QTest::keyClicks(&editor, QStringLiteral("12"));
        QKeyEvent key = keypadEvent(keysym, Qt::KeypadModifier, layoutText);
        QApplication::sendEvent(&editor, &key);
        QVERIFY(key.isAccepted());
        QCOMPARE(editor.text(), QStringLiteral("12") + systemPoint);
        QTest::keyClick(&editor, Qt::Key_5);
        QCOMPARE(editor.getValue(), QStringLiteral("12.5"));
    }

    // With Shift held too the event passes as the layout made it.
    NumberEditor editor(nullptr, 2);
    QTest::keyClicks(&editor, QStringLiteral("12"));
    QKeyEvent shifted = keypadEvent(xkKeypadDecimal, Qt::KeypadModifier | Qt::ShiftModifier, layoutText);
    QApplication::sendEvent(&editor, &shifted);
    QCOMPARE(editor.text(), QStringLiteral("12"));
}

void TestNumberEditor::hostileInput()
{
    NumberEditor editor(nullptr, 2);
    editor.setValue(QStringLiteral("12"));
    QSignalSpy spy(&editor, &NumberEditor::changedValue);
    const QStringList pastes { QString(10000, QLatin1Char('9')), QStringLiteral("\u0001\u007f\n"),
        QStringLiteral("\u0661\u0662"), QString(QChar(0xdc00)), QString(10000, QLatin1Char('.')) };
    for (const QString &paste : pastes) {
        editor.selectAll();
        editor.insert(paste);
        QCOMPARE(editor.text(), QStringLiteral("12"));
    }
    QVERIFY(spy.isEmpty());

    // A binding may write anything; the editor keeps it as text and calls it invalid.
    editor.setValue(QStringLiteral("garbage"));
    QCOMPARE(editor.getValue(), QStringLiteral("garbage"));
    QVERIFY(!editor.isValid());
    QCOMPARE(editor.getDecimal().toString(), QStringLiteral("0"));
}

QTEST_MAIN(TestNumberEditor)
#include "tst_numbereditor.moc"
