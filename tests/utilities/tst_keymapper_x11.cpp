// KeyMapper against a real X server (Xvfb) and scan codes from its own keymap.
#include <vetrel/keymapper.h>

#include <QKeyEvent>
#include <QTest>
#include <QX11Info>

#include <X11/keysym.h>

// Xlib proper is kept to the end of the file: its macros (KeyPress...) clash with Qt's names.
static quint32 keycodeOf(quint32 keysym);

class TestKeyMapperX11 : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { QVERIFY2(QX11Info::display(), "run on the xcb platform under an X server"); }

    void visibleKeycodeByNative_data()
    {
        QTest::addColumn<quint32>("keyOf"); // the physical key, found by its symbol; 0: none
        QTest::addColumn<quint32>("produced"); // the symbol the modifiers made of it
        QTest::addColumn<int>("qtKey");
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("expected");
        auto row = [](const char *name, quint32 key, quint32 symbol, int qtKey, const char *text, int out) {
            QTest::newRow(name) << key << symbol << qtKey << QString(text) << out;
        };
        row("shifted digit", XK_1, XK_exclam, Qt::Key_Exclam, "!", XK_1);
        // NumLock is no modifier held down: a keypad key reads as its NumLock symbol.
        row("keypad decimal", XK_KP_Decimal, XK_KP_Decimal, Qt::Key_Period, ".", XK_KP_Decimal);
        row("no text", XK_KP_1, XK_KP_End, Qt::Key_End, "", Qt::Key_End);
        row("unmapped scan code", 0, XK_a, Qt::Key_A, "a", Qt::Key_A);
    }

    void visibleKeycodeByNative()
    {
        QFETCH(quint32, keyOf);
        QFETCH(quint32, produced);
        QFETCH(int, qtKey);
        QFETCH(QString, text);
        // Scan code 0 lies below every keymap's first key code.
        const quint32 scanCode = keyOf == 0 ? 0 : keycodeOf(keyOf);
        QVERIFY(keyOf == 0 || scanCode != 0);
        QKeyEvent event(QEvent::KeyPress, qtKey, Qt::NoModifier, scanCode, produced, 0, text);
        QTEST(KeyMapper::visibleKeycodeByNative(&event), "expected");
    }
};

QTEST_MAIN(TestKeyMapperX11)
#include "tst_keymapper_x11.moc"

#include <X11/Xlib.h>

static quint32 keycodeOf(quint32 keysym)
{
    return XKeysymToKeycode(QX11Info::display(), keysym);
}
