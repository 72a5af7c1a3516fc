// ObjectDeleter, SignalBlocker, the window and text helpers, and the parts of
// KeyMapper that need no X server.
#include <vetrel/keymapper.h>
#include <vetrel/objectdeleter.h>
#include <vetrel/signalblocker.h>
#include <vetrel/widgetutils.h>

#include <QDialog>
#include <QKeyEvent>
#include <QMainWindow>
#include <QPointer>
#include <QScreen>
#include <QSignalSpy>
#include <QTest>

class TestObjectUtils : public QObject
{
    Q_OBJECT
private slots:
    void objectDeleterOutlivesAllButLastOwner();
    void signalBlockerRestoresNestedState();
    void appTopLevelWidgetFindsNearestWindow();
    void moveWidgetRelativelyToAnchor_data();
    void moveWidgetRelativelyToAnchor();
    void moveWidgetRelativelyToScreen();
    void centerJustified_data();
    void centerJustified();
    void keyMapperWithoutDisplay();
};

void TestObjectUtils::objectDeleterOutlivesAllButLastOwner()
{
    auto *first = new QObject;
    auto *second = new QObject;
    QPointer<ObjectDeleter> deleter = new ObjectDeleter;
    QPointer<QObject> child = new QObject(deleter);
    deleter->addParent(first);
    deleter->addParent(first); // counted once
    deleter->addParent(second);

    delete first;
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY(deleter);

    delete second;
    QVERIFY2(deleter, "deletion must wait for the event loop");
    QTRY_VERIFY(!deleter);
    QVERIFY(!child);
}

void TestObjectUtils::signalBlockerRestoresNestedState()
{
    QObject object;
    QSignalSpy spy(&object, &QObject::objectNameChanged);
    {
        const SignalBlocker outer(&object, true);
        {
            const SignalBlocker inner(&object, false);
            QVERIFY(!object.signalsBlocked());
            object.setObjectName(QStringLiteral("a"));
        }
        QVERIFY(object.signalsBlocked());
        object.setObjectName(QStringLiteral("b"));
    }
    QVERIFY(!object.signalsBlocked());
    QCOMPARE(spy.count(), 1);

    object.blockSignals(true);
    {
        const SignalBlocker guard(&object, false);
    }
    QVERIFY2(object.signalsBlocked(), "a guard restores the state it found, not 'unblocked'");
}

void TestObjectUtils::appTopLevelWidgetFindsNearestWindow()
{
    QMainWindow mainWindow;
    auto *central = new QWidget(&mainWindow);
    mainWindow.setCentralWidget(central);
    auto *dialog = new QDialog(central);
    auto *frame = new QWidget(dialog);
    auto *field = new QWidget(frame);

    QCOMPARE(appTopLevelWidget(field), dialog);
    QCOMPARE(appTopLevelWidget(dialog), dialog);
    QCOMPARE(appTopLevelWidget(central), &mainWindow);

    QWidget orphanRoot;
    orphanRoot.setWindowFlags(Qt::Widget);
    auto *inner = new QWidget(&orphanRoot);
    auto *leaf = new QWidget(inner);
    QCOMPARE(appTopLevelWidget(leaf), &orphanRoot);
    QCOMPARE(appTopLevelWidget(nullptr), static_cast<QWidget *>(nullptr));
}

void TestObjectUtils::moveWidgetRelativelyToAnchor_data()
{
    QTest::addColumn<int>("alignment");
    QTest::addColumn<QPoint>("topLeft");
    // Anchor 1000 x 800 at (30, 20) in the window; widget 100 x 60.
    // Right/bottom: the widget's bottom-right corner at (949, 759) of the anchor.
    QTest::newRow("right bottom") << int(Qt::AlignRight | Qt::AlignBottom) << QPoint(30 + 949 - 99, 20 + 759 - 59);
    // Centre: the widget's centre (49, 29 from its corner) at (499, 399).
    QTest::newRow("centre") << int(Qt::AlignCenter) << QPoint(30 + 499 - 49, 20 + 399 - 29);
    QTest::newRow("left top") << int(Qt::AlignLeft | Qt::AlignTop) << QPoint(30 + 50, 20 + 40);
    QTest::newRow("left wins over right")
        << int(Qt::AlignLeft | Qt::AlignRight | Qt::AlignBottom) << QPoint(30 + 50, 20 + 759 - 59);
    QTest::newRow("centre wins over bottom")
        << int(Qt::AlignRight | Qt::AlignVCenter | Qt::AlignBottom) << QPoint(30 + 949 - 99, 20 + 399 - 29);
    QTest::newRow("no flags") << 0 << QPoint(30, 20);
}

void TestObjectUtils::moveWidgetRelativelyToAnchor()
{
    QFETCH(int, alignment);
    QFETCH(QPoint, topLeft);
    QWidget window;
    window.setGeometry(200, 150, 1100, 900);
    QWidget anchor(&window);
    anchor.setGeometry(30, 20, 1000, 800);
    QWidget moved(&window);
    moved.resize(100, 60);

    moveWidgetRelatively(&moved, &anchor, Qt::Alignment(alignment));
    QCOMPARE(moved.pos(), topLeft);
}

void TestObjectUtils::moveWidgetRelativelyToScreen()
{
    const QRect screen = QGuiApplication::primaryScreen()->geometry();
    QWidget window;
    window.resize(120, 80);
    moveWidgetRelatively(&window, nullptr, Qt::AlignRight | Qt::AlignBottom);
    // The bottom-right corner stands 5 % of the screen's size inside its bottom-right corner.
    QCOMPARE(window.geometry().bottomRight(),
        QPoint(screen.right() - screen.width() / 20, screen.bottom() - screen.height() / 20));
    moveWidgetRelatively(&window, nullptr, Qt::AlignLeft | Qt::AlignTop);
    QCOMPARE(window.pos(), screen.topLeft() + QPoint(screen.width() / 20, screen.height() / 20));
}

void TestObjectUtils::centerJustified_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("width");
    QTest::addColumn<QString>("expected");
    QTest::newRow("even padding") << "ab" << 6 << "**ab**";
    QTest::newRow("odd padding goes right") << "ab" << 5 << "*ab**";
    QTest::newRow("narrower") << "ab" << 1 << "ab";
    QTest::newRow("exact") << "ab" << 2 << "ab";
    QTest::newRow("negative width") << "ab" << -3 << "ab";
    QTest::newRow("empty") << "" << 3 << "***";
}

void TestObjectUtils::centerJustified()
{
    QFETCH(QString, text);
    QFETCH(int, width);
    QFETCH(QString, expected);
    QCOMPARE(::centerJustified(text, width, QLatin1Char('*')), expected);
}

void TestObjectUtils::keyMapperWithoutDisplay()
{
    // X key symbols as native virtual keys: main keyboard period, keypad decimal and separator.
    QKeyEvent mainPeriod(QEvent::KeyPress, Qt::Key_Period, Qt::NoModifier, 60, 0x2e, 0, QStringLiteral("."));
    QKeyEvent keypadDecimal(
        QEvent::KeyPress, Qt::Key_Period, Qt::KeypadModifier, 91, 0xffae, 0x10, QStringLiteral("."));
    QKeyEvent keypadSeparator(
        QEvent::KeyPress, Qt::Key_Comma, Qt::KeypadModifier, 91, 0xffac, 0x10, QStringLiteral(","));
    QKeyEvent keypadDelete(QEvent::KeyPress, Qt::Key_Delete, Qt::KeypadModifier, 91, 0xff9f, 0, QString());
    QVERIFY(!KeyMapper::isDecimal(&mainPeriod));
    QVERIFY(KeyMapper::isDecimal(&keypadDecimal));
    QVERIFY(KeyMapper::isDecimal(&keypadSeparator));
    QVERIFY(!KeyMapper::isDecimal(&keypadDelete));

    QVERIFY(KeyMapper::isAsciiControl(0));
    QVERIFY(KeyMapper::isAsciiControl(31));
    QVERIFY(!KeyMapper::isAsciiControl(32));
    QVERIFY(!KeyMapper::isAsciiControl(126));
    QVERIFY(KeyMapper::isAsciiControl(127));
    QVERIFY(!KeyMapper::isAsciiControl(128));

    // Offscreen there is no X display: a failed map read falls back to the Qt key.
    QCOMPARE(KeyMapper::visibleKeycodeByNative(&keypadDecimal), int(Qt::Key_Period));
    QCOMPARE(KeyMapper::visibleKeycodeByNative(&keypadDelete), int(Qt::Key_Delete));
}

QTEST_MAIN(TestObjectUtils)
#include "tst_objectutils.moc"
