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
    void objectDeleterOutlivesAllButLastOwner()
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

    void signalBlockerRestoresNestedState()
    {
        QObject object;
        QSignalSpy spy(&object, &QObject::objectNameChanged);
        {
            const SignalBlocker outer(&object, true);
            {
                const SignalBlocker inner(&object, false);
                object.setObjectName(QStringLiteral("a"));
            }
            object.setObjectName(QStringLiteral("b"));
        }
        QVERIFY(!object.signalsBlocked());
        QCOMPARE(spy.count(), 1);
        QCOMPARE(spy.at(0).at(0).toString(), QStringLiteral("a"));
    }

    void appTopLevelWidgetFindsNearestWindow()
    {
        QMainWindow mainWindow;
        auto *central = new QWidget(&mainWindow);
        mainWindow.setCentralWidget(central);
        auto *dialog = new QDialog(central);
        auto *field = new QWidget(new QWidget(dialog));
        QCOMPARE(appTopLevelWidget(field), dialog);
        QCOMPARE(appTopLevelWidget(central), &mainWindow);

        // Without a window on the way up, the root stands for it.
        QWidget root;
        root.setWindowFlags(Qt::Widget);
        QCOMPARE(appTopLevelWidget(new QWidget(new QWidget(&root))), &root);
    }

    void moveWidgetRelatively_data()
    {
        QTest::addColumn<int>("alignment");
        QTest::addColumn<QPoint>("topLeft"); // within the anchor: 1000 x 800, the widget 100 x 60
        // The named edge goes 5 % inside the area (50, 40); the centre goes on its centre (499, 399).
        QTest::newRow("right bottom") << int(Qt::AlignRight | Qt::AlignBottom) << QPoint(949 - 99, 759 - 59);
        QTest::newRow("centre") << int(Qt::AlignCenter) << QPoint(499 - 49, 399 - 29);
        QTest::newRow("left wins over right")
            << int(Qt::AlignLeft | Qt::AlignRight | Qt::AlignBottom) << QPoint(50, 759 - 59);
        QTest::newRow("centre wins over bottom")
            << int(Qt::AlignRight | Qt::AlignVCenter | Qt::AlignBottom) << QPoint(949 - 99, 399 - 29);
        QTest::newRow("no flags") << 0 << QPoint(0, 0);
    }

    void moveWidgetRelatively()
    {
        QFETCH(int, alignment);
        QFETCH(QPoint, topLeft);
        QWidget window;
        window.setGeometry(200, 150, 1100, 900);
        QWidget anchor(&window);
        anchor.setGeometry(30, 20, 1000, 800);
        QWidget moved(&window);
        moved.resize(100, 60);
        ::moveWidgetRelatively(&moved, &anchor, Qt::Alignment(alignment));
        QCOMPARE(moved.pos(), anchor.pos() + topLeft);

        if (alignment != int(Qt::AlignRight | Qt::AlignBottom))
            return;
        // Without an anchor a window goes the same way on its screen.
        QWidget alone;
        alone.resize(120, 80);
        ::moveWidgetRelatively(&alone, nullptr, Qt::Alignment(alignment));
        const QRect screen = QGuiApplication::primaryScreen()->geometry();
        QCOMPARE(alone.geometry().bottomRight(),
            screen.bottomRight() - QPoint(screen.width() / 20, screen.height() / 20));
    }

    void centerJustified()
    {
        // The odd fill character goes right; a text wider than the field stays whole.
        QCOMPARE(::centerJustified(QStringLiteral("ab"), 6, QLatin1Char('*')), QStringLiteral("**ab**"));
        QCOMPARE(::centerJustified(QStringLiteral("ab"), 5, QLatin1Char('*')), QStringLiteral("*ab**"));
        QCOMPARE(::centerJustified(QStringLiteral("abc"), 1, QLatin1Char('*')), QStringLiteral("abc"));
    }

    void keyMapperWithoutDisplay()
    {
        // X key symbols as native virtual keys: main keyboard period, keypad decimal and separator.
        QKeyEvent mainPeriod(QEvent::KeyPress, Qt::Key_Period, Qt::NoModifier, 60, 0x2e, 0, ".");
        QKeyEvent keypadDecimal(QEvent::KeyPress, Qt::Key_Period, Qt::KeypadModifier, 91, 0xffae, 0x10, ".");
        QKeyEvent keypadSeparator(QEvent::KeyPress, Qt::Key_Comma, Qt::KeypadModifier, 91, 0xffac, 0x10, ",");
        QVERIFY(!KeyMapper::isDecimal(&mainPeriod));
        QVERIFY(KeyMapper::isDecimal(&keypadDecimal));
        QVERIFY(KeyMapper::isDecimal(&keypadSeparator));
        QVERIFY(KeyMapper::isAsciiControl(31) && KeyMapper::isAsciiControl(127));
        QVERIFY(!KeyMapper::isAsciiControl(32) && !KeyMapper::isAsciiControl(128));
        // Offscreen there is no X display: a failed map read falls back to the Qt key.
        QCOMPARE(KeyMapper::visibleKeycodeByNative(&keypadDecimal), int(Qt::Key_Period));
    }
};

QTEST_MAIN(TestObjectUtils)
#include "tst_objectutils.moc"
