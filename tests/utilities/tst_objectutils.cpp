// ObjectDeleter, SignalBlocker, widget placement, State's log, KeyMapper without X.
#include <vetrel/keymapper.h>
#include <vetrel/objectdeleter.h>
#include <vetrel/signalblocker.h>
#include <vetrel/state.h>
#include <vetrel/widgetutils.h>

#include <QKeyEvent>
#include <QPointer>
#include <QSignalSpy>
#include <QStateMachine>
#include <QTest>

class TestObjectUtils : public QObject
{
    Q_OBJECT
private slots:
    void objectDeleterOutlivesAllButLastOwner()
    {
        auto *first = new QObject, *second = new QObject;
        QPointer<ObjectDeleter> deleter = new ObjectDeleter;
        QPointer<QObject> child = new QObject(deleter);
        deleter->addParent(first);
        deleter->addParent(second);
        delete first;
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QVERIFY(deleter);
        delete second;
        QVERIFY2(deleter, "deletion must wait for the event loop");
        QTRY_VERIFY(!deleter && !child);
    }

    void signalBlockerRestoresNestedState()
    {
        QObject object;
        QSignalSpy spy(&object, &QObject::objectNameChanged);
        auto outer = std::make_unique<SignalBlocker>(&object, true);
        auto inner = std::make_unique<SignalBlocker>(&object, false);
        object.setObjectName(QStringLiteral("a"));
        inner.reset(); // blocked again
        object.setObjectName(QStringLiteral("b"));
        outer.reset();
        QVERIFY(!object.signalsBlocked());
        QCOMPARE(QList<QVariantList>(spy), QList<QVariantList>({ { QStringLiteral("a") } }));
    }

    void moveWidgetRelatively()
    {
        // The named edges go 5 % inside the anchor, whose position counts within the window.
        QWidget window;
        window.setGeometry(200, 150, 1100, 900);
        QWidget anchor(&window), moved(&window);
        anchor.setGeometry(30, 20, 1000, 800);
        moved.resize(100, 60);
        ::moveWidgetRelatively(&moved, &anchor, Qt::AlignRight | Qt::AlignBottom);
        QCOMPARE(moved.geometry().bottomRight(), anchor.pos() + QPoint(949, 759));
    }

    // X key symbols come as native virtual keys: main keyboard period, keypad
    // decimal and separator. Offscreen no keymap can be read: the Qt key is kept.
    void keyMapperWithoutDisplay()
    {
        using namespace KeyMapper;
        QKeyEvent period(QEvent::KeyPress, Qt::Key_Period, Qt::NoModifier, 60, 0x2e, 0, ".");
        QKeyEvent decimal(QEvent::KeyPress, Qt::Key_Period, Qt::KeypadModifier, 91, 0xffae, 0x10, ".");
        QKeyEvent separator(QEvent::KeyPress, Qt::Key_Comma, Qt::KeypadModifier, 91, 0xffac, 0x10, ",");
        QVERIFY(!isDecimal(&period) && isDecimal(&decimal) && isDecimal(&separator));
        QVERIFY(isAsciiControl(31) && isAsciiControl(127) && !isAsciiControl(32));
        QCOMPARE(visibleKeycodeByNative(&decimal), int(Qt::Key_Period));
    }

    // Entering and leaving a State is logged with its path of names as last
    // set (the object name keeps the first); a plain QState ends the path.
    void stateLogsPaths()
    {
        QStateMachine machine;
        auto *main = new State(QStringLiteral("UI"), QStringLiteral("Main"), &machine);
        auto *edit = new State(QStringLiteral("Edit"), main);
        auto *done = new State(QStringLiteral("Done"), &machine);
        machine.setInitialState(main);
        main->setInitialState(edit);
        main->addTransition(done); // taken as soon as Main is entered
        edit->setName(QStringLiteral("Deal"));
        edit->setPrefix(QStringLiteral("Desk"));
        QCOMPARE(main->objectName() + '|' + edit->objectName(), QStringLiteral("UI::Main|Edit"));
        for (const char *line : { "Entering state:  \"UI\" :: \"Main\"", "Exiting state:  \"UI\" :: \"Main\"",
                 "Entering state:  \"Desk\" :: \"Main->Deal\"", "Exiting state:  \"Desk\" :: \"Main->Deal\"",
                 "Entering state:  \"\" :: \"Done\"" })
            QTest::ignoreMessage(QtDebugMsg, line); // fails the test unless it comes
        machine.start();
        QTRY_COMPARE(machine.configuration(), QSet<QAbstractState *> { done });
    }
};

QTEST_MAIN(TestObjectUtils)
#include "tst_objectutils.moc"
