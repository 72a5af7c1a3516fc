#include <vetrel/desktopshell.h>

#include <QDesktopServices>
#include <QTemporaryDir>
#include <QUrl>
#include <QtTest>

#include <memory>

static const char selects[] = "Options:\n  --select   Select the files";

// Stand-ins for "pgrep", "dolphin" and "nautilus" live in a folder that
// becomes the whole PATH, so no desktop is needed; they use shell built-ins
// only.
class TestDesktopShell : public QObject
{
    Q_OBJECT

    const QByteArray m_path = qgetenv("PATH");
    std::unique_ptr<QTemporaryDir> m_bin;
    QList<QUrl> m_opened;

    QString bin(const QString &name) const { return m_bin->filePath(name); }

    void writeScript(const QString &name, const QByteArray &body)
    {
        QFile script(bin(name));
        QVERIFY(script.open(QIODevice::WriteOnly));
        script.write("#!/bin/sh\n" + body);
        QVERIFY(script.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
    }

    // Answers --help with the given text; any other call records its arguments
    // (count first, one per line) in NAME.args and then leaves NAME.done.
    void writeFileManager(const QString &name, const QString &help)
    {
        const QByteArray path = QFile::encodeName(bin(name));
        writeScript(name,
            "if [ \"$1\" = --help ]; then printf '%s\\n' '" + help.toUtf8() + "'; exit 0; fi\n"
            "printf '%s\\n' \"$#\" \"$@\" > '" + path + ".args'\n: > '" + path + ".done'\n");
    }

public Q_SLOTS:
    void openUrl(const QUrl &url) { m_opened.append(url); }

private Q_SLOTS:
    void init()
    {
        m_bin = std::make_unique<QTemporaryDir>();
        m_opened.clear();
    }

    void cleanup() { qputenv("PATH", m_path); }

    void processIdsFailures_data()
    {
        QTest::addColumn<QByteArray>("pgrep");
        QTest::addColumn<QList<long>>("ids");
        QTest::newRow("junk line") << QByteArray("printf '12\\nabc\\n\\n34\\n'\n") << QList<long> { 12, 34 };
        // What a hung call printed is not trusted: it is cut off, not waited for.
        QTest::newRow("hangs") << QByteArray("echo 5\nexec /bin/sleep 20\n") << QList<long>();
    }

    void processIdsFailures()
    {
        QFETCH(QByteArray, pgrep);
        QFETCH(QList<long>, ids);
        writeScript(QStringLiteral("pgrep"), pgrep);
        qputenv("PATH", QFile::encodeName(m_bin->path()));
        QCOMPARE(processIds(QStringLiteral("anything")), ids);
    }

    void showFileChoosesFileManager_data()
    {
        QTest::addColumn<QStringList>("sessions");
        QTest::addColumn<QString>("dolphinHelp"); // null: no dolphin installed
        QTest::addColumn<QString>("expected"); // the manager started, or empty for the folder
        const QStringList kde { QStringLiteral("ksmserver") };
        QTest::newRow("KDE") << kde << selects << "dolphin";
        QTest::newRow("KDE, dolphin missing")
            << kde + QStringList { "gnome-session" } << QString() << "nautilus";
        QTest::newRow("KDE, option glued") << kde << "  --selection  Keep" << QString();
        QTest::newRow("no desktop") << QStringList() << selects << QString();
    }

    void showFileChoosesFileManager()
    {
        QFETCH(QStringList, sessions);
        QFETCH(QString, dolphinHelp);
        QFETCH(QString, expected);
        const QByteArray running = QFile::encodeName(bin(QStringLiteral("running-")));
        writeScript(QStringLiteral("pgrep"), "if [ -e '" + running + "'\"$1\" ]; then echo 4242; fi\n");
        for (const QString &session : sessions) {
            QFile marker(bin(QStringLiteral("running-") + session));
            QVERIFY(marker.open(QIODevice::WriteOnly));
        }
        if (!dolphinHelp.isNull())
            writeFileManager(QStringLiteral("dolphin"), dolphinHelp);
        writeFileManager(QStringLiteral("nautilus"), selects);

        // A relative name that a shell or an option parser would split or misread.
        QTemporaryDir files;
        QVERIFY(QDir(files.path()).mkpath(QStringLiteral("my docs")));
        const QString folder = files.filePath(QStringLiteral("my docs"));
        const QString name = QStringLiteral("-x 'it's' \"q\" $HOME.txt");
        const QString cwd = QDir::currentPath();
        QVERIFY(QDir::setCurrent(folder));
        qputenv("PATH", QFile::encodeName(m_bin->path()));
        QDesktopServices::setUrlHandler(QStringLiteral("file"), this, "openUrl");
        shellShowFile(name);
        QDesktopServices::unsetUrlHandler(QStringLiteral("file"));
        QDir::setCurrent(cwd);

        if (expected.isEmpty()) {
            QCOMPARE(m_opened, QList<QUrl> { QUrl::fromLocalFile(folder) });
            QVERIFY(!QFile::exists(bin("dolphin.args")) && !QFile::exists(bin("nautilus.args")));
            return;
        }
        QTRY_VERIFY(QFile::exists(bin(expected + ".done")));
        QFile args(bin(expected + ".args"));
        QVERIFY(args.open(QIODevice::ReadOnly));
        QCOMPARE(QString::fromUtf8(args.readAll()), QString("2\n--select\n" + folder + '/' + name + '\n'));
        QVERIFY(m_opened.isEmpty());
    }
};

QTEST_MAIN(TestDesktopShell)
#include "tst_desktopshell.moc"
