#include <vetrel/state.h>

#include <QLoggingCategory>
#include <QStateMachine>
#include <QtTest>

static QStringList s_lines;
static QtMessageHandler s_previous = nullptr;

// Keeps the lines of the "QGuiLog" category; every other message goes on as before.
static void capture(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    if (type == QtDebugMsg && qstrcmp(context.category, "QGuiLog") == 0)
        s_lines.append(message);
    else if (s_previous)
        s_previous(type, context, message);
}

class TestState : public QObject
{
    Q_OBJECT

Q_SIGNALS:
    void advance();

private Q_SLOTS:
    void machineLogsPathsInOrder()
    {
        // Main (prefix "Order form") > Edit, then a move to Done; the path holds
        // names only and stops at the machine.
        QStateMachine machine;
        auto *main = new State(QStringLiteral("Order form"), QStringLiteral("Main"), &machine);
        QCOMPARE(main->objectName(), QStringLiteral("Order form::Main"));
        auto *edit = new State(QStringLiteral("Edit"), main);
        auto *done = new State(QStringLiteral("Done"), &machine);
        machine.setInitialState(main);
        main->setInitialState(edit);
        main->addTransition(this, &TestState::advance, done);

        // A name or prefix set later is what the log shows; the object name stays as made.
        edit->setName(QStringLiteral("Ticket"));
        edit->setPrefix(QStringLiteral("Desk"));
        QCOMPARE(edit->objectName(), QStringLiteral("Edit"));

        s_previous = qInstallMessageHandler(capture);
        machine.start();
        QTRY_VERIFY(machine.isRunning());
        emit advance();
        QTRY_COMPARE(machine.configuration(), QSet<QAbstractState *> { done });
        qInstallMessageHandler(s_previous);
        QCOMPARE(s_lines,
            QStringList({
                QStringLiteral("Entering state:  \"Order form\" :: \"Main\""),
                QStringLiteral("Entering state:  \"Desk\" :: \"Main->Ticket\""),
                QStringLiteral("Exiting state:  \"Desk\" :: \"Main->Ticket\""),
                QStringLiteral("Exiting state:  \"Order form\" :: \"Main\""),
                QStringLiteral("Entering state:  \"\" :: \"Done\""),
            }));
    }
};

QTEST_GUILESS_MAIN(TestState)
#include "tst_state.moc"
