// What the number editors add to their validator: the canonical value behind
// the text shown in the system locale (run under two), its announcements, bindings.
#include "formtest.h"
#include "localetext.h"

#include <vetrel/numbereditor.h>
#include <vetrel/quantityeditor.h>

class TestNumberEditor : public QObject
{
    Q_OBJECT
private slots:
    void typing_data()
    {
        QTest::addColumn<bool>("quantity");
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QString>("shown");
        QTest::addColumn<QStringList>("emissions");

        QTest::newRow("grouped price") << false << "1234.5"
                                       << "1_234.5" << QStringList { "1", "12", "123", "1234", "1234.5" };
        // "00" shows as "0": nothing new to announce.
        QTest::newRow("leading zeros") << false << "0007" << "7" << QStringList { "0", "7" };
        // A point or a trailing zero is a new text, so announced, though no new number.
        QTest::newRow("scale") << false << "0.05" << "0.05" << QStringList { "0", "0.0", "0.05" };
        QTest::newRow("whole non-negative quantity") << true << "-1.5" << "15" << QStringList { "1", "15" };
    }

    void typing()
    {
        QFETCH(bool, quantity);
        QFETCH(QString, typed);
        QFETCH(QString, shown);
        QFETCH(QStringList, emissions);

        const std::unique_ptr<NumberEditor> editor(
            quantity ? new QuantityEditor : new NumberEditor(nullptr, 2));
        QSignalSpy spy(editor.get(), &NumberEditor::changedValue);
        QTest::keyClicks(editor.get(), localised(typed, locale));
        QCOMPARE(editor->text(), localised(shown, locale));
        QCOMPARE(emitted(spy), emissions);
    }

    void setValueIsSilent()
    {
        NumberEditor editor(nullptr, 2);
        QSignalSpy spy(&editor, &NumberEditor::changedValue);

        editor.setValue(QStringLiteral("1234.5"));
        QCOMPARE(editor.text(), shown("1_234.5"));
        editor.setCursorPosition(2);
        editor.setValue(QStringLiteral("1234.5"));
        QCOMPARE(editor.cursorPosition(), 2);

        // Bindings reach the decimal overload through the meta-object.
        QVERIFY(QMetaObject::invokeMethod(&editor, "setValue", Q_ARG(decimal, decimal(-12345, 2))));
        QCOMPARE(editor.text(), shown("-123.45"));

        // A binding may empty it.
        editor.setValue(QString());
        QCOMPARE(editor.text(), QString());
        QVERIFY(spy.isEmpty());
    }

    // The validator's settings, forwarded by the editor, rule the next keystrokes.
    void settingsReachTheValidator()
    {
        NumberEditor editor(nullptr, 2);
        editor.setProperty("digits", 0);
        QTest::keyClicks(&editor, localised(QStringLiteral("7.5"), locale));
        QCOMPARE(editor.getValue(), QStringLiteral("75"));
        editor.clear();
        editor.setProperty("numDigits", 3);
        QTest::keyClicks(&editor, QStringLiteral("01234"));
        QCOMPARE(editor.getValue(), QStringLiteral("123"));
    }

    void validity_data()
    {
        QTest::addColumn<bool>("canBeZero");
        QTest::addColumn<QString>("value");
        QTest::addColumn<QString>("number"); // empty: not valid

        QTest::newRow("zero allowed") << true << "0" << "0";
        QTest::newRow("zero refused") << false << "0.00" << "";
        QTest::newRow("small number") << false << "0.01" << "0.01";
        QTest::newRow("unfinished sign") << true << "-" << "";
    }

    void validity()
    {
        QFETCH(bool, canBeZero);
        QFETCH(QString, value);
        QFETCH(QString, number);

        NumberEditor editor(nullptr, 2);
        QVERIFY(editor.setProperty("CanBeZero", canBeZero));
        editor.setValue(value);
        QCOMPARE(editor.isValid(), !number.isEmpty());
        QCOMPARE(editor.getDecimal().toString(), number.isEmpty() ? QStringLiteral("0") : number);
    }

    // The keypad key types the system's point whatever the layout puts on it.
    void keypadDecimalKey()
    {
        const QString point(locale.decimalPoint());
        NumberEditor editor(nullptr, 2);
        QTest::keyClicks(&editor, QStringLiteral("12"));
        // As X11 delivers it: the key symbol (KP_Decimal) as native virtual key.
        QKeyEvent key(QEvent::KeyPress, Qt::Key_Period, Qt::KeypadModifier, 91, 0xffae, 0x10,
            point == QLatin1String(".") ? QStringLiteral(",") : QStringLiteral("."));
        QApplication::sendEvent(&editor, &key);
        QTest::keyClick(&editor, Qt::Key_5);
        QCOMPARE(editor.getValue(), QStringLiteral("12.5"));
    }

    // The canonical value travels, the shown text stays localised, and the
    // quantity editor binds the number editor's settings on itself.
    void boundThroughProperties()
    {
        QWidget form;
        auto *price = bound<NumberEditor>(&form, QStringLiteral("Amount"), 2);
        auto *quantity = bound<QuantityEditor>(&form, QStringLiteral("Amount"));
        Properties properties(&form);
        QVERIFY(properties.connectAll(&form));
        QSignalSpy quantityEdits(quantity, &NumberEditor::changedValue);
        const auto amount = [&] { return stored(properties, QStringLiteral("Amount")); };

        QTest::keyClicks(price, shown("1234.5"));
        QCOMPARE(amount(), QStringLiteral("1234.5"));
        QCOMPARE(quantity->text(), shown("1_234.5"));
        QVERIFY2(quantityEdits.isEmpty(), "a bound write is not a user edit");

        properties.setValue(QStringLiteral("Amount"), QStringLiteral("-7.25"));
        QCOMPARE(price->text(), shown("-7.25"));

        // A quantity takes no sign until a binding allows it.
        properties.setValue(QStringLiteral("CanNegative"), QStringLiteral("true"));
        quantity->clear();
        QTest::keyClicks(quantity, shown("-3"));
        QCOMPARE(amount(), QStringLiteral("-3"));
    }

private:
    const QLocale locale = QLocale::system();
    QString shown(const char *markup) const { return localised(QLatin1String(markup), locale); }
};

QTEST_MAIN(TestNumberEditor)
#include "tst_numbereditor.moc"
