#include <vetrel/desktopshell.h>

#include "guilog_p.h"

#include <QDesktopServices>
#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QRegularExpression>
#include <QUrl>

namespace
{

constexpr int pgrepTimeoutMs = 2000;
constexpr int helpTimeoutMs = 5000;

// Runs the command to its end within the time limit (for starting and again
// for finishing). On failure the cause is logged under the caller's name and
// no process is left behind.
bool runToEnd(QProcess &process, const char *caller, const QString &command, const QStringList &arguments,
              int timeoutMs)
{
    process.start(command, arguments, QIODevice::ReadWrite);
    if (!process.waitForStarted(timeoutMs)) {
        qCDebug(lcGuiLog) << caller << "Call is not started:" << command;
        return false;
    }
    if (!process.waitForFinished(timeoutMs)) {
        qCDebug(lcGuiLog) << caller << "Call is not finished:" << command;
        process.kill();
        process.waitForFinished(-1);
        return false;
    }
    return true;
}

// Whether "command --help" names the option as a word of its own, so that
// "--select" is not taken for "--selection".
bool isCmdSupported(const QString &command, const QString &option)
{
    QProcess process;
    if (!runToEnd(process, "isCmdSupported", command, {QStringLiteral("--help")}, helpTimeoutMs))
        return false;
    const QString help = QString::fromLocal8Bit(process.readAllStandardOutput());
    const QRegularExpression word(QStringLiteral("\\s%1\\s").arg(QRegularExpression::escape(option)));
    return help.contains(word);
}

// The file goes to the manager as one argument of its own, never through a
// shell, so blanks, quotes and dashes in the name arrive intact.
bool selectInFileManager(const QString &sessionProcess, const QString &manager, const QString &file)
{
    const QString select = QStringLiteral("--select");
    if (processIds(sessionProcess).isEmpty() || !isCmdSupported(manager, select))
        return false;
    if (!QProcess::startDetached(manager, {select, file}))
        qCDebug(lcGuiLog) << "shellShowFile" << "Call is not started:" << manager;
    return true;
}

}

QList<long> processIds(const QString &processName)
{
    const QString command = QStringLiteral("pgrep");
    QProcess process;
    if (!runToEnd(process, "processIds", command, {processName}, pgrepTimeoutMs))
        return {};

    QList<long> ids;
    const QStringList lines
        = QString::fromLocal8Bit(process.readAllStandardOutput()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    for (const QString &line : lines) {
        bool ok = false;
        const long id = line.toLong(&ok, 10);
        if (ok)
            ids.append(id);
        else
            qCDebug(lcGuiLog) << "processIds" << "Cannot convert PID:" << line;
    }
    return ids;
}

void shellShowFile(const QString &path)
{
    const QFileInfo info(path);
    const QString file = QDir::toNativeSeparators(info.absoluteFilePath());
    if (selectInFileManager(QStringLiteral("ksmserver"), QStringLiteral("dolphin"), file)
        || selectInFileManager(QStringLiteral("gnome-session"), QStringLiteral("nautilus"), file))
        return;
    // Without a known file manager the folder is opened; the file is then not selected.
    QDesktopServices::openUrl(QUrl::fromLocalFile(info.absolutePath()));
}
