#include <vetrel/state.h>

#include "guilogcapture.h"

#include <QFinalState>
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
    void cleanup();
    void constructorsNameTheState();
    void nestedMachineLogsPathsInOrder();
    void renamedStateLogsNewName();
    void disabledCategoryWritesNothing();

private:
    // Main (prefix "Order form") > Order > Edit, then a move to Done.
    struct Machine
    {
        QStateMachine machine;
        State *main = new State(QStringLiteral("Order form"), QStringLiteral("Main"), &machine);
        State *order = new State(QStringLiteral("Order"), main);
        State *edit = new State(QStringLiteral("Edit"), order);
        State *done = new State(QStringLiteral("Done"), &machine);
        Machine()
        {
            machine.setInitialState(main);
            main->setInitialState(order);
            order->setInitialState(edit);
        }
    };

    void run(Machine &m);
};

void TestState::cleanup()
{
    QLoggingCategory::setFilterRules(QString());
}

void TestState::run(Machine &m)
{
    m.main->addTransition(this, &TestState::advance, m.done);
    QSignalSpy started(&m.machine, &QStateMachine::started);
    m.machine.start();
    QVERIFY(started.wait());
    QVERIFY(m.machine.configuration().contains(m.edit));
    QSignalSpy doneEntered(m.done, &QState::entered);
    emit advance();
    QTRY_COMPARE(doneEntered.count(), 1);
}

void TestState::constructorsNameTheState()
{
    QState plain;
    State a(QStringLiteral("Idle"));
    State b(QStringLiteral("Legs"), QState::ParallelStates, &plain);
    State c(QStringLiteral("Form"), QStringLiteral("Send"), &a);
    State d(QStringLiteral("Form"), QStringLiteral("Check"), QState::ParallelStates, &c);
    QCOMPARE((QStringList{a.objectName(), b.objectName(), c.objectName(), d.objectName()}),
             (QStringList{"Idle", "Legs", "Form::Send", "Form::Check"}));
    QCOMPARE(b.childMode(), QState::ParallelStates);
    QCOMPARE(d.childMode(), QState::ParallelStates);
    QCOMPARE(d.parentState(), &c);

    // The path holds names only, never prefixes, and stops at a plain QState.
    QCOMPARE(d.fullName(), QStringLiteral("Idle->Send->Check"));
    QCOMPARE(b.fullName(), QStringLiteral("Legs"));
    QState gap(&d);
    State cut(QStringLiteral("Cut"), &gap);
    QCOMPARE(cut.fullName(), QStringLiteral("Cut"));
}

void TestState::nestedMachineLogsPathsInOrder()
{
    GuiLogCapture log;
    Machine m;
    // The machine's own entry handling (the entered() signal) comes after the line.
    connect(m.edit, &QState::entered, this, [] { qCDebug(QLoggingCategory("QGuiLog")) << "edit entered"; });
    run(m);

    const QStringList expected{
        QStringLiteral("Entering state:  \"Order form\" :: \"Main\""),
        QStringLiteral("Entering state:  \"\" :: \"Main->Order\""),
        QStringLiteral("Entering state:  \"\" :: \"Main->Order->Edit\""),
        QStringLiteral("edit entered"),
        QStringLiteral("Exiting state:  \"\" :: \"Main->Order->Edit\""),
        QStringLiteral("Exiting state:  \"\" :: \"Main->Order\""),
        QStringLiteral("Exiting state:  \"Order form\" :: \"Main\""),
        QStringLiteral("Entering state:  \"\" :: \"Done\""),
    };
    QCOMPARE(log.lines(), expected);
}

void TestState::renamedStateLogsNewName()
{
    GuiLogCapture log;
    Machine m;
    m.order->setName(QStringLiteral("Ticket"));
    m.edit->setPrefix(QStringLiteral("Desk"));
    QCOMPARE(m.edit->fullName(), QStringLiteral("Main->Ticket->Edit"));
    run(m);

    QCOMPARE(m.order->objectName(), QStringLiteral("Order"));
    QCOMPARE(m.edit->objectName(), QStringLiteral("Edit"));
    QVERIFY(log.lines().contains(QStringLiteral("Entering state:  \"\" :: \"Main->Ticket\"")));
    QVERIFY(log.lines().contains(QStringLiteral("Exiting state:  \"Desk\" :: \"Main->Ticket->Edit\"")));
}

void TestState::disabledCategoryWritesNothing()
{
    QLoggingCategory::setFilterRules(QStringLiteral("QGuiLog.debug=false"));
    GuiLogCapture log;
    Machine m;
    QSignalSpy editEntered(m.edit, &QState::entered);
    QSignalSpy editExited(m.edit, &QState::exited);
    run(m);

    QCOMPARE(editEntered.count(), 1);
    QCOMPARE(editExited.count(), 1);
    QCOMPARE(m.machine.configuration(), QSet<QAbstractState *>{m.done});
    QVERIFY(log.lines().isEmpty());
}

QTEST_GUILESS_MAIN(TestState)
#include "tst_state.moc"
