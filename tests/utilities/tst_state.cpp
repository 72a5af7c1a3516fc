#include <vetrel/state.h>

#include "guilogcapture.h"

#include <QLoggingCategory>
#include <QSignalSpy>
#include <QStateMachine>
#include <QtTest>

class TestState : public QObject
{
    Q_OBJECT

Q_SIGNALS:
    void advance();

private Q_SLOTS:
    void constructorsNameTheState()
    {
        QState plain;
        State a(QStringLiteral("Idle"));
        State b(QStringLiteral("Legs"), QState::ParallelStates, &plain);
        State d(QStringLiteral("Form"), QStringLiteral("Check"), QState::ParallelStates, &a);
        QCOMPARE(d.objectName(), QStringLiteral("Form::Check"));
        QCOMPARE(d.childMode(), QState::ParallelStates);
        // The path holds names only, never prefixes, and stops at a plain QState.
        QCOMPARE(d.fullName(), QStringLiteral("Idle->Check"));
        QCOMPARE(b.fullName(), QStringLiteral("Legs"));
    }

    void machineLogsPathsInOrder()
    {
        GuiLogCapture log;
        // Main (prefix "Order form") > Order > Edit, then a move to Done.
        QStateMachine machine;
        auto *main = new State(QStringLiteral("Order form"), QStringLiteral("Main"), &machine);
        auto *order = new State(QStringLiteral("Order"), main);
        auto *edit = new State(QStringLiteral("Edit"), order);
        auto *done = new State(QStringLiteral("Done"), &machine);
        machine.setInitialState(main);
        main->setInitialState(order);
        order->setInitialState(edit);
        main->addTransition(this, &TestState::advance, done);

        // A name or prefix set later is what the log shows; the object name stays as made.
        order->setName(QStringLiteral("Ticket"));
        edit->setPrefix(QStringLiteral("Desk"));
        QCOMPARE(order->objectName(), QStringLiteral("Order"));
        QCOMPARE(edit->fullName(), QStringLiteral("Main->Ticket->Edit"));

        // The machine's own entry handling (the entered() signal) comes after the line.
        connect(edit, &QState::entered, this, [] { qCDebug(QLoggingCategory("QGuiLog")) << "edit entered"; });
        QSignalSpy started(&machine, &QStateMachine::started);
        machine.start();
        QVERIFY(started.wait());
        emit advance();
        QTRY_COMPARE(machine.configuration(), QSet<QAbstractState *> { done });
        QCOMPARE(log.lines(),
            QStringList({
                QStringLiteral("Entering state:  \"Order form\" :: \"Main\""),
                QStringLiteral("Entering state:  \"\" :: \"Main->Ticket\""),
                QStringLiteral("Entering state:  \"Desk\" :: \"Main->Ticket->Edit\""),
                QStringLiteral("edit entered"),
                QStringLiteral("Exiting state:  \"Desk\" :: \"Main->Ticket->Edit\""),
                QStringLiteral("Exiting state:  \"\" :: \"Main->Ticket\""),
                QStringLiteral("Exiting state:  \"Order form\" :: \"Main\""),
                QStringLiteral("Entering state:  \"\" :: \"Done\""),
            }));
    }
};

QTEST_GUILESS_MAIN(TestState)
#include "tst_state.moc"
