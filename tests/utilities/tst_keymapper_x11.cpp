// KeyMapper and the keypad decimal key against a real X server (Xvfb), with
// scan codes looked up in the server's own keymap.
#include <vetrel/keymapper.h>
#include <vetrel/numbereditor.h>

#include <QKeyEvent>
#include <QTest>
#include <QX11Info>

#include <X11/keysym.h>

// Xlib proper is kept to the end of the file: its macros (KeyPress...) clash with Qt's names.
namespace ServerKeys
{
quint32 keycodeOf(quint32 keysym);
// Sends a key press with NumLock on to the window through the X server, as a keyboard would.
bool sendNumLockPress(WId window, quint32 keycode);
}

class TestKeyMapperX11 : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase()
    {
        QVERIFY2(QX11Info::isPlatformX11() && QX11Info::display(),
            "run on the xcb platform under an X server");
    }

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
        QFETCH(int, expected);
        // Scan code 0 lies below every keymap's first key code.
        const quint32 scanCode = keyOf == 0 ? 0 : ServerKeys::keycodeOf(keyOf);
        QVERIFY(keyOf == 0 || scanCode != 0);
        QKeyEvent event(QEvent::KeyPress, qtKey, Qt::NoModifier, scanCode, produced, 0, text);
        QCOMPARE(KeyMapper::visibleKeycodeByNative(&event), expected);
    }

    void keypadDecimalFromServer()
    {
        const QChar systemPoint = QLocale::system().decimalPoint();
        QCOMPARE(systemPoint, QLatin1Char(','));
        NumberEditor editor(nullptr, 2);
        editor.show();
        editor.setFocus();
        QVERIFY(QTest::qWaitForWindowExposed(&editor));
        QTest::keyClicks(&editor, QStringLiteral("12"));

        // Qt builds the key event from the server's keymap, and the layout's "."
        // must come out as the system locale's ",".
        const quint32 keycode = ServerKeys::keycodeOf(XK_KP_Decimal);
        QVERIFY(keycode != 0 && ServerKeys::sendNumLockPress(editor.winId(), keycode));
        QTRY_COMPARE(editor.text(), QStringLiteral("12") + systemPoint);
        QTest::keyClick(&editor, Qt::Key_5);
        QCOMPARE(editor.getValue(), QStringLiteral("12.5"));
    }
};

QTEST_MAIN(TestKeyMapperX11)
#include "tst_keymapper_x11.moc"

#include <X11/Xlib.h>

namespace ServerKeys
{

quint32 keycodeOf(quint32 keysym)
{
    return XKeysymToKeycode(QX11Info::display(), keysym);
}

bool sendNumLockPress(WId window, quint32 keycode)
{
    Display *display = QX11Info::display();
    XEvent press {};
    press.xkey.type = KeyPress;
    press.xkey.display = display;
    press.xkey.window = window;
    press.xkey.root = DefaultRootWindow(display);
    press.xkey.same_screen = True;
    press.xkey.time = CurrentTime;
    press.xkey.keycode = keycode;
    press.xkey.state = Mod2Mask;
    const bool sent = XSendEvent(display, window, False, KeyPressMask, &press) != 0;
    XFlush(display);
    return sent;
}

}
