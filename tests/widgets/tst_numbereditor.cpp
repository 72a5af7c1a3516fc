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
    // The editor is a price editor of two decimals, a quantity editor, or a
    // price editor with a setting changed.
    void typing_data()
    {
        QTest::addColumn<QString>("editor");
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QString>("shown");
        QTest::addColumn<QStringList>("emissions");

        using L = QStringList;
        QTest::newRow("grouped price")
            << "price" << "1234.5" << "1_234.5" << L { "1", "12", "123", "1234", "1234.5" };
        // "00" shows as "0": nothing new to announce.
        QTest::newRow("leading zeros") << "price" << "0007" << "7" << L { "0", "7" };
        // A point or a trailing zero is a new text, so announced, though no new number.
        QTest::newRow("scale") << "price" << "0.05" << "0.05" << L { "0", "0.0", "0.05" };
        QTest::newRow("whole non-negative quantity") << "quantity" << "-1.5" << "15" << L { "1", "15" };
        // The validator's settings, forwarded by the editor, rule the next keystrokes.
        QTest::newRow("no decimals") << "digits=0" << "7.5" << "75" << L { "7", "75" };
        QTest::newRow("3 digits at most") << "numDigits=3" << "01234" << "123" << L { "0", "1", "12", "123" };
    }

    void typing()
    {
        QFETCH(QString, editor);
        QFETCH(QString, typed);
        QFETCH(QString, shown);
        QFETCH(QStringList, emissions);

        const std::unique_ptr<NumberEditor> edit(
            editor == "quantity" ? new QuantityEditor : new NumberEditor(nullptr, 2));
        if (editor.contains('='))
            QVERIFY(edit->setProperty(qPrintable(editor.section('=', 0, 0)), editor.section('=', 1).toInt()));
        QSignalSpy spy(edit.get(), &NumberEditor::changedValue);
        QTest::keyClicks(edit.get(), localised(typed, locale));
        QCOMPARE(edit->text(), localised(shown, locale));
        QCOMPARE(emitted(spy), emissions);
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

    // The keypad's decimal key types the system's point whatever its layout
    // gives: here the other mark, as X11 delivers it (KP_Decimal as native key).
    void keypadDecimalKey()
    {
        NumberEditor editor(nullptr, 2);
        QTest::keyClicks(&editor, QStringLiteral("12"));
        const bool dot = QString(locale.decimalPoint()) == QLatin1String(".");
        QKeyEvent key(QEvent::KeyPress, Qt::Key_Period, Qt::KeypadModifier, 91, 0xffae, 0x10,
            dot ? QStringLiteral(",") : QStringLiteral("."));
        QApplication::sendEvent(&editor, &key);
        QTest::keyClick(&editor, Qt::Key_5);
        QCOMPARE(editor.getValue(), QStringLiteral("12.5"));
    }

    // The canonical value travels, the shown text stays localised and a write
    // by a binding is no user edit; the quantity editor binds the number
    // editor's settings on itself.
    void boundThroughProperties()
    {
        QWidget form;
        auto *price = bound<NumberEditor>(&form, QStringLiteral("Amount"), 2);
        auto *quantity = bound<QuantityEditor>(&form, QStringLiteral("Amount"));
        Properties properties(&form);
        QVERIFY(properties.connectAll(&form));
        QSignalSpy priceEdits(price, &NumberEditor::changedValue);
        QSignalSpy quantityEdits(quantity, &NumberEditor::changedValue);
        const auto amount = [&] { return stored(properties, QStringLiteral("Amount")); };

        QTest::keyClicks(quantity, shown("1234"));
        QCOMPARE(amount(), QStringLiteral("1234"));
        QCOMPARE(price->text(), shown("1_234"));
        price->setCursorPosition(2);
        price->setValue(QStringLiteral("1234"));
        QCOMPARE(price->cursorPosition(), 2);
        properties.setValue(QStringLiteral("Amount"), QStringLiteral("-7.25"));
        QCOMPARE(quantity->text(), shown("-7.25"));
        // Bindings reach the decimal overload through the meta-object.
        QVERIFY(QMetaObject::invokeMethod(price, "setValue", Q_ARG(decimal, decimal(-12345, 2))));
        QCOMPARE(price->text(), shown("-123.45"));
        properties.setValue(QStringLiteral("Amount"), QString());
        QCOMPARE(price->text(), QString());
        QVERIFY(priceEdits.isEmpty());

        // A quantity takes no sign until a binding allows it.
        properties.setValue(QStringLiteral("CanNegative"), QStringLiteral("true"));
        QTest::keyClicks(quantity, shown("-3"));
        QCOMPARE(amount(), QStringLiteral("-3"));
        QCOMPARE(emitted(quantityEdits), QStringList({ "1", "12", "123", "1234", "-", "-3" }));
    }

private:
    const QLocale locale = QLocale::system();
    QString shown(const char *markup) const { return localised(QLatin1String(markup), locale); }
};

QTEST_MAIN(TestNumberEditor)
#include "tst_numbereditor.moc"
