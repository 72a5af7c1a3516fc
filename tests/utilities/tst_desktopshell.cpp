#include <vetrel/desktopshell.h>

#include "guilogcapture.h"

#include <QDesktopServices>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QUrl>
#include <QtTest>

#include <memory>

// Stand-ins for "pgrep", "dolphin" and "nautilus" live in a folder that
// becomes the whole PATH, so no desktop is needed; they use shell built-ins
// only.
class TestDesktopShell : public QObject
{
    Q_OBJECT

public Q_SLOTS:
    void openUrl(const QUrl &url) { m_opened.append(url); }

private Q_SLOTS:
    void init();
    void cleanup();
    void processIdsFindsRunningProcesses();
    void processIdsFailures_data();
    void processIdsFailures();
    void showFileChoosesFileManager_data();
    void showFileChoosesFileManager();

private:
    QString binPath(const QString &name) const { return m_bin->filePath(name); }
    void writeScript(const QString &name, const QByteArray &body);
    void writeFileManager(const QString &name, const QString &help);
    QStringList recordedArguments(const QString &manager) const;

    QByteArray m_path;
    std::unique_ptr<QTemporaryDir> m_bin;
    QList<QUrl> m_opened;
};

void TestDesktopShell::init()
{
    m_path = qgetenv("PATH");
    m_bin = std::make_unique<QTemporaryDir>();
    QVERIFY(m_bin->isValid());
    m_opened.clear();
}

void TestDesktopShell::cleanup()
{
    QDesktopServices::unsetUrlHandler(QStringLiteral("file"));
    qputenv("PATH", m_path);
    m_bin.reset();
}

void TestDesktopShell::writeScript(const QString &name, const QByteArray &body)
{
    QFile script(binPath(name));
    QVERIFY(script.open(QIODevice::WriteOnly));
    script.write("#!/bin/sh\n" + body);
    script.close();
    QVERIFY(script.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
}

// Answers --help with the given text; any other call records its arguments
// (count first, one per line) and then leaves a marker.
void TestDesktopShell::writeFileManager(const QString &name, const QString &help)
{
    const QByteArray args = QFile::encodeName(binPath(name + QStringLiteral(".args")));
    const QByteArray done = QFile::encodeName(binPath(name + QStringLiteral(".done")));
    writeScript(name,
                "if [ \"$1\" = --help ]; then printf '%s\\n' '" + help.toUtf8() + "'; exit 0; fi\n"
                "printf '%s\\n' \"$#\" \"$@\" > '" + args + "'\n"
                ": > '" + done + "'\n");
}

QStringList TestDesktopShell::recordedArguments(const QString &manager) const
{
    QFile file(binPath(manager + QStringLiteral(".args")));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}

void TestDesktopShell::processIdsFindsRunningProcesses()
{
    // A private copy of sleep gives processes with a name nothing else has.
    const QString name = QStringLiteral("vtsl%1").arg(QCoreApplication::applicationPid() % 1000000);
    QVERIFY(QFile::link(QStandardPaths::findExecutable(QStringLiteral("sleep")), binPath(name)));

    QProcess first;
    QProcess second;
    QList<long> started;
    for (QProcess *process : {&first, &second}) {
        process->start(binPath(name), {QStringLiteral("30")});
        QVERIFY(process->waitForStarted());
        started.append(process->processId());
    }
    QList<long> found = processIds(name);
    std::sort(found.begin(), found.end());
    std::sort(started.begin(), started.end());
    QCOMPARE(found, started);

    for (QProcess *process : {&first, &second}) {
        process->kill();
        QVERIFY(process->waitForFinished());
    }
    QVERIFY(processIds(name).isEmpty());
    QVERIFY(processIds(name + QStringLiteral("x")).isEmpty());
}

void TestDesktopShell::processIdsFailures_data()
{
    QTest::addColumn<QByteArray>("pgrep");
    QTest::addColumn<QList<long>>("ids");
    QTest::addColumn<QStringList>("log");

    QTest::newRow("missing") << QByteArray() << QList<long>()
                             << QStringList{QStringLiteral("processIds Call is not started: \"pgrep\"")};
    QTest::newRow("junk line") << QByteArray("printf '12\\nabc\\n\\n34\\n'\n") << QList<long>{12, 34}
                               << QStringList{QStringLiteral("processIds Cannot convert PID: \"abc\"")};
    QTest::newRow("no match") << QByteArray("exit 1\n") << QList<long>() << QStringList();
    QTest::newRow("hangs") << QByteArray("exec /bin/sleep 20\n") << QList<long>()
                           << QStringList{QStringLiteral("processIds Call is not finished: \"pgrep\"")};
}

void TestDesktopShell::processIdsFailures()
{
    QFETCH(QByteArray, pgrep);
    QFETCH(QList<long>, ids);
    QFETCH(QStringList, log);

    if (!pgrep.isNull())
        writeScript(QStringLiteral("pgrep"), pgrep);
    qputenv("PATH", QFile::encodeName(m_bin->path()));
    GuiLogCapture capture;
    QCOMPARE(processIds(QStringLiteral("anything")), ids);
    QCOMPARE(capture.lines(), log);
}

void TestDesktopShell::showFileChoosesFileManager_data()
{
    QTest::addColumn<QStringList>("sessions");
    QTest::addColumn<QString>("dolphinHelp"); // null: no dolphin installed
    QTest::addColumn<QString>("nautilusHelp");
    QTest::addColumn<QString>("expected"); // the manager started, or empty for the folder

    const QString selects = QStringLiteral("Options:\n  --select   Select the files");
    const QString glued = QStringLiteral("Options:\n  --selection   Keep the selection");
    const QString kde = QStringLiteral("ksmserver");
    const QString gnome = QStringLiteral("gnome-session");

    QTest::newRow("KDE") << QStringList{kde} << selects << selects << QStringLiteral("dolphin");
    QTest::newRow("GNOME") << QStringList{gnome} << selects << selects << QStringLiteral("nautilus");
    QTest::newRow("KDE, dolphin missing") << QStringList{kde, gnome} << QString() << selects
                                          << QStringLiteral("nautilus");
    QTest::newRow("KDE, option glued") << QStringList{kde} << glued << selects << QString();
    QTest::newRow("GNOME, option glued") << QStringList{gnome} << selects << glued << QString();
    QTest::newRow("no desktop") << QStringList() << selects << selects << QString();
}

void TestDesktopShell::showFileChoosesFileManager()
{
    QFETCH(QStringList, sessions);
    QFETCH(QString, dolphinHelp);
    QFETCH(QString, nautilusHelp);
    QFETCH(QString, expected);

    const QByteArray running = QFile::encodeName(binPath(QStringLiteral("running-")));
    writeScript(QStringLiteral("pgrep"), "if [ -e '" + running + "'\"$1\" ]; then echo 4242; fi\n");
    for (const QString &session : sessions) {
        QFile marker(binPath(QStringLiteral("running-") + session));
        QVERIFY(marker.open(QIODevice::WriteOnly));
    }
    if (!dolphinHelp.isNull())
        writeFileManager(QStringLiteral("dolphin"), dolphinHelp);
    writeFileManager(QStringLiteral("nautilus"), nautilusHelp);
    QDesktopServices::setUrlHandler(QStringLiteral("file"), this, "openUrl");

    // A relative name that a shell or an option parser would split or misread.
    QTemporaryDir files;
    QVERIFY(QDir(files.path()).mkpath(QStringLiteral("my docs")));
    const QString folder = files.filePath(QStringLiteral("my docs"));
    const QString name = QStringLiteral("-x 'it's' \"q\" $HOME.txt");
    const QString file = folder + QLatin1Char('/') + name;
    const QString cwd = QDir::currentPath();
    QVERIFY(QDir::setCurrent(folder));
    qputenv("PATH", QFile::encodeName(m_bin->path()));
    shellShowFile(name);
    QDir::setCurrent(cwd);

    if (expected.isEmpty()) {
        QCOMPARE(m_opened, QList<QUrl>{QUrl::fromLocalFile(folder)});
        QVERIFY(!QFile::exists(binPath(QStringLiteral("dolphin.done"))));
        QVERIFY(!QFile::exists(binPath(QStringLiteral("nautilus.done"))));
        return;
    }
    QTRY_VERIFY(QFile::exists(binPath(expected + QStringLiteral(".done"))));
    QCOMPARE(recordedArguments(expected), (QStringList{QStringLiteral("2"), QStringLiteral("--select"), file}));
    QVERIFY(m_opened.isEmpty());
}

QTEST_MAIN(TestDesktopShell)
#include "tst_desktopshell.moc"
