// NumberEditor and QuantityEditor driven as a user types, in whatever system
// locale the test runs under (registered once per locale). The validator's own
// rules are tested with it; here only what the editor adds: the canonical
// value behind the localised text, when it is announced, and the bindings.
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
        // An unfinished sign is the value until a digit follows.
        QTest::newRow("negative") << false << "-12" << "-12" << QStringList { "-", "-1", "-12" };
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
        QCOMPARE(editor->alignment(), Qt::AlignRight);
        QSignalSpy spy(editor.get(), &NumberEditor::changedValue);
        QTest::keyClicks(editor.get(), localised(typed, locale));
        QCOMPARE(editor->text(), localised(shown, locale));
        QCOMPARE(editor->property("Value").toString(), emissions.last());
        QCOMPARE(emitted(spy), emissions);

        // Removing a group separator regroups the same digits: nothing to announce.
        if (editor->text().size() > 4) {
            editor->setCursorPosition(2);
            QTest::keyClick(editor.get(), Qt::Key_Backspace);
            QCOMPARE(editor->text(), localised(shown, locale));
            QCOMPARE(spy.count(), 0);
            QTest::keyClick(editor.get(), Qt::Key_Backspace);
            QCOMPARE(emitted(spy), QStringList { "234.5" });
        }
        // Zero is a valid number until CanBeZero says otherwise.
        editor->setValue(QStringLiteral("0"));
        QVERIFY(editor->isValid());
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
        editor.setValue(QStringLiteral("1234.50"));
        QCOMPARE(editor.text(), shown("1_234.50"));
        QCOMPARE(editor.getValue(), QStringLiteral("1234.50"));

        // Bindings reach the decimal overload through the meta-object.
        QVERIFY(QMetaObject::invokeMethod(&editor, "setValue", Q_ARG(decimal, decimal(-12345, 2))));
        QCOMPARE(editor.getValue(), QStringLiteral("-123.45"));
        QCOMPARE(editor.text(), shown("-123.45"));

        // Whatever a binding writes is kept as text; what is no number is invalid.
        editor.setValue(QStringLiteral("garbage"));
        QCOMPARE(editor.text(), QStringLiteral("garbage"));
        QVERIFY(!editor.isValid());
        editor.setValue(QString());
        QCOMPARE(editor.text(), QString());
        QVERIFY(spy.isEmpty());

        QTest::keyClick(&editor, Qt::Key_3);
        QCOMPARE(emitted(spy), QStringList { "3" });
    }

    void settingsApplyFromNextKeystroke_data()
    {
        QTest::addColumn<QByteArray>("setting");
        QTest::addColumn<QVariant>("value");
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QString>("number");

        QTest::newRow("no fraction digits") << QByteArray("digits") << QVariant(0) << "7.5" << "75";
        QTest::newRow("three integer digits") << QByteArray("numDigits") << QVariant(3) << "01234" << "123";
        QTest::newRow("no negatives") << QByteArray("CanNegative") << QVariant(false) << "-5" << "5";
    }

    void settingsApplyFromNextKeystroke()
    {
        QFETCH(QByteArray, setting);
        QFETCH(QVariant, value);
        QFETCH(QString, typed);
        QFETCH(QString, number);

        NumberEditor editor(nullptr, 2);
        QTest::keyClicks(&editor, shown("1.25"));
        QVERIFY(editor.setProperty(setting.constData(), value));
        QCOMPARE(editor.property(setting.constData()), value);
        QCOMPARE(editor.getValue(), QStringLiteral("1.25")); // not re-checked

        editor.clear();
        QTest::keyClicks(&editor, localised(typed, locale));
        QCOMPARE(editor.getValue(), number);
        QCOMPARE(editor.text(), number);
    }

    void validity_data()
    {
        QTest::addColumn<bool>("canBeZero");
        QTest::addColumn<QString>("value");
        QTest::addColumn<QString>("number"); // empty: not valid

        QTest::newRow("zero allowed") << true << "0" << "0";
        QTest::newRow("zero refused") << false << "0.00" << "";
        QTest::newRow("small number") << false << "0.01" << "0.01";
        QTest::newRow("negative") << false << "-12.50" << "-12.50";
        QTest::newRow("empty") << true << "" << "";
        QTest::newRow("unfinished sign") << true << "-" << "";
        QTest::newRow("locale text") << true << "1 234" << "";
    }

    void validity()
    {
        QFETCH(bool, canBeZero);
        QFETCH(QString, value);
        QFETCH(QString, number);

        NumberEditor editor(nullptr, 2);
        QVERIFY(editor.setProperty("CanBeZero", canBeZero));
        QCOMPARE(editor.property("CanBeZero").toBool(), canBeZero);
        editor.setValue(value);
        QCOMPARE(editor.isValid(), !number.isEmpty());
        QCOMPARE(editor.getDecimal().toString(), number.isEmpty() ? QStringLiteral("0") : number);
    }

    void keypadDecimalKey_data()
    {
        QTest::addColumn<quint32>("keysym");
        QTest::addColumn<bool>("shift");
        QTest::newRow("decimal") << quint32(0xffae) << false;
        QTest::newRow("separator") << quint32(0xffac) << false;
        QTest::newRow("with Shift, as the layout made it") << quint32(0xffae) << true;
    }

    // The keypad key types the system's point whatever the layout puts on it.
    void keypadDecimalKey()
    {
        QFETCH(quint32, keysym);
        QFETCH(bool, shift);
        const QString point(locale.decimalPoint());
        const QString layoutText = point == QLatin1String(".") ? QStringLiteral(",") : QStringLiteral(".");

        NumberEditor editor(nullptr, 2);
        QTest::keyClicks(&editor, QStringLiteral("12"));
        // As X11 delivers it: the key symbol as native virtual key.
        QKeyEvent key(QEvent::KeyPress, Qt::Key_Period,
            Qt::KeypadModifier | (shift ? Qt::ShiftModifier : Qt::NoModifier), 91, keysym, 0x10, layoutText);
        QApplication::sendEvent(&editor, &key);
        QVERIFY(key.isAccepted() || shift);
        QCOMPARE(editor.text(), shift ? QStringLiteral("12") : QStringLiteral("12") + point);
        QTest::keyClick(&editor, Qt::Key_5);
        QCOMPARE(editor.getValue(), shift ? QStringLiteral("125") : QStringLiteral("12.5"));
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
        QCOMPARE(price->getDecimal(), decimal(-725, 2));

        properties.setValue(QStringLiteral("CanNegative"), QStringLiteral("false"));
        quantity->clear();
        QTest::keyClicks(quantity, shown("-3"));
        QCOMPARE(amount(), QStringLiteral("3"));
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
