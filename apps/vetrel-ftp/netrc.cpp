#include "netrc.h"

#include <QFile>
#include <QRegularExpression>
#include <QStringList>

#include <sys/stat.h>

namespace
{

/// The file's words; a macro definition runs to the next empty line and is skipped whole.
QStringList netrcWords(const QString &text)
{
    QStringList words;
    bool inMacro = false;
    for (const QString &line : text.split(QLatin1Char('\n'))) {
        if (inMacro) {
            inMacro = !line.trimmed().isEmpty();
            continue;
        }
        const QStringList lineWords
            = line.split(QRegularExpression(QStringLiteral("\\s+")), Qt::SkipEmptyParts);
        for (int i = 0; i < lineWords.size(); ++i) {
            if (lineWords[i] == QLatin1String("macdef")) {
                inMacro = true;
                break;
            }
            words << lineWords[i];
        }
    }
    return words;
}

}

bool readNetrc(const QString &path, const QString &host, NetrcEntry &entry, QString &error)
{
    entry = NetrcEntry();
    struct stat status = {};
    if (::stat(QFile::encodeName(path).constData(), &status) != 0) {
        error = path + QStringLiteral(": ") + qt_error_string(errno);
        return false;
    }
    if (status.st_mode & (S_IRWXG | S_IRWXO)) {
        error = path + QStringLiteral(" can be read by others; make it private (chmod 600)");
        return false;
    }
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        error = path + QStringLiteral(": ") + file.errorString();
        return false;
    }

    const QStringList words = netrcWords(QString::fromLocal8Bit(file.readAll()));
    NetrcEntry fallback;
    NetrcEntry *current = nullptr;
    for (int i = 0; i < words.size(); ++i) {
        const QString &word = words[i];
        const QString value = words.value(i + 1);
        if (word == QLatin1String("machine")) {
            ++i;
            // The first matching entry wins; later ones are read past.
            current = !entry.found && value == host ? &entry : nullptr;
        } else if (word == QLatin1String("default")) {
            current = !fallback.found ? &fallback : nullptr;
        } else if (current && word == QLatin1String("login")) {
            current->login = value;
            ++i;
        } else if (current && word == QLatin1String("password")) {
            current->password = value;
            ++i;
        } else if (current && word == QLatin1String("account")) {
            current->account = value;
            ++i;
        } else if (word == QLatin1String("login") || word == QLatin1String("password")
            || word == QLatin1String("account")) {
            ++i;
        } else {
            continue;
        }
        if (current)
            current->found = true;
    }
    if (!entry.found)
        entry = fallback;
    return true;
}
