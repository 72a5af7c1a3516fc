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
// Sends a key press to the window through the X server, as a keyboard would.
bool sendPress(WId window, quint32 keycode, bool numLock);
}

class TestKeyMapperX11 : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void visibleKeycodeByNative_data();
    void visibleKeycodeByNative();
    void keypadDecimalFromServer();
};

void TestKeyMapperX11::initTestCase()
{
    QVERIFY2(QX11Info::isPlatformX11(), "run on the xcb platform under an X server");
    QVERIFY(QX11Info::display());
}

void TestKeyMapperX11::visibleKeycodeByNative_data()
{
    QTest::addColumn<quint32>("keyOf"); // the physical key, found by its symbol
    QTest::addColumn<quint32>("produced"); // the symbol the modifiers made of it
    QTest::addColumn<int>("qtKey");
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("expected");

    QTest::newRow("shifted digit") << quint32(XK_1) << quint32(XK_exclam) << int(Qt::Key_Exclam) << "!" << int(XK_1);
    QTest::newRow("shifted letter") << quint32(XK_a) << quint32(XK_A) << int(Qt::Key_A) << "A" << int(XK_a);
    QTest::newRow("keypad digit") << quint32(XK_KP_1) << quint32(XK_KP_1) << int(Qt::Key_1) << "1" << int(XK_KP_1);
    QTest::newRow("keypad decimal") << quint32(XK_KP_Decimal) << quint32(XK_KP_Decimal) << int(Qt::Key_Period)
                                    << "." << int(XK_KP_Decimal);
    QTest::newRow("no text") << quint32(XK_KP_1) << quint32(XK_KP_End) << int(Qt::Key_End) << "" << int(Qt::Key_End);
    QTest::newRow("unmapped scan code") << quint32(0) << quint32(XK_a) << int(Qt::Key_A) << "a" << int(Qt::Key_A);
}

void TestKeyMapperX11::visibleKeycodeByNative()
{
    QFETCH(quint32, keyOf);
    QFETCH(quint32, produced);
    QFETCH(int, qtKey);
    QFETCH(QString, text);
    QFETCH(int, expected);

    // Scan code 0 lies below every keymap's first key code.
    const quint32 scanCode = keyOf == quint32(0) ? 0 : ServerKeys::keycodeOf(keyOf);
    QVERIFY(keyOf == quint32(0) || scanCode != 0);
    QKeyEvent event(QEvent::KeyPress, qtKey, Qt::NoModifier, scanCode, produced, 0, text);
    QCOMPARE(KeyMapper::visibleKeycodeByNative(&event), expected);
}

void TestKeyMapperX11::keypadDecimalFromServer()
{
    const QChar systemPoint = QLocale::system().decimalPoint();
    QCOMPARE(systemPoint, QLatin1Char(','));

    NumberEditor editor(nullptr, 2);
    editor.show();
    editor.setFocus();
    QVERIFY(QTest::qWaitForWindowExposed(&editor));
    QTest::keyClicks(&editor, QStringLiteral("12"));

    // The keypad's decimal key with NumLock held, sent through the server:
    // Qt builds the key event from the server's keymap, and the layout's "."
    // must come out as the system locale's ",".
    const quint32 keycode = ServerKeys::keycodeOf(XK_KP_Decimal);
    QVERIFY(keycode != 0);
    QVERIFY(ServerKeys::sendPress(editor.winId(), keycode, true));

    QTRY_COMPARE(editor.text(), QStringLiteral("12") + systemPoint);
    QTest::keyClick(&editor, Qt::Key_5);
    QCOMPARE(editor.getValue(), QStringLiteral("12.5"));

    // The main keyboard's period is not the keypad key, whatever it types.
    QKeyEvent period(QEvent::KeyPress, Qt::Key_Period, Qt::NoModifier, ServerKeys::keycodeOf(XK_period),
        XK_period, 0, QStringLiteral("."));
    QVERIFY(!KeyMapper::isDecimal(&period));
}

QTEST_MAIN(TestKeyMapperX11)
#include "tst_keymapper_x11.moc"

#include <X11/Xlib.h>

namespace ServerKeys
{

quint32 keycodeOf(quint32 keysym)
{
    return XKeysymToKeycode(QX11Info::display(), keysym);
}

bool sendPress(WId window, quint32 keycode, bool numLock)
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
    press.xkey.state = numLock ? Mod2Mask : 0;
    const bool sent = XSendEvent(display, window, False, KeyPressMask, &press) != 0;
    XFlush(display);
    return sent;
}

}
