// ObjectDeleter, SignalBlocker, widget placement, and the parts of KeyMapper
// that need no X server.
#include <vetrel/keymapper.h>
#include <vetrel/objectdeleter.h>
#include <vetrel/signalblocker.h>
#include <vetrel/widgetutils.h>

#include <QKeyEvent>
#include <QPointer>
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

    void moveWidgetRelatively()
    {
        // The named edges go 5 % inside the anchor, whose position counts within the window.
        QWidget window;
        window.setGeometry(200, 150, 1100, 900);
        QWidget anchor(&window);
        anchor.setGeometry(30, 20, 1000, 800);
        QWidget moved(&window);
        moved.resize(100, 60);
        ::moveWidgetRelatively(&moved, &anchor, Qt::AlignRight | Qt::AlignBottom);
        QCOMPARE(moved.geometry().bottomRight(), anchor.pos() + QPoint(949, 759));
    }

    void keyMapperWithoutDisplay()
    {
        // X key symbols as native virtual keys: main keyboard period, keypad decimal and separator.
        QKeyEvent mainPeriod(QEvent::KeyPress, Qt::Key_Period, Qt::NoModifier, 60, 0x2e, 0, ".");
        QKeyEvent keypadDecimal(QEvent::KeyPress, Qt::Key_Period, Qt::KeypadModifier, 91, 0xffae, 0x10, ".");
        QKeyEvent keypadSeparator(QEvent::KeyPress, Qt::Key_Comma, Qt::KeypadModifier, 91, 0xffac, 0x10, ",");
        QVERIFY(!KeyMapper::isDecimal(&mainPeriod));
        QVERIFY(KeyMapper::isDecimal(&keypadDecimal) && KeyMapper::isDecimal(&keypadSeparator));
        QVERIFY(KeyMapper::isAsciiControl(31) && KeyMapper::isAsciiControl(127));
        QVERIFY(!KeyMapper::isAsciiControl(32));
        // Offscreen there is no X display: a failed map read falls back to the Qt key.
        QCOMPARE(KeyMapper::visibleKeycodeByNative(&keypadDecimal), int(Qt::Key_Period));
    }
};

QTEST_MAIN(TestObjectUtils)
#include "tst_objectutils.moc"
