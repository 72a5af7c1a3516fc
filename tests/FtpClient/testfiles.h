#ifndef VETREL_TESTS_TESTFILES_H
#define VETREL_TESTS_TESTFILES_H

#include <QFile>

/// Replaces the file's contents; false when it could not be written whole.
inline bool writeTestFile(const QString& path, const QByteArray& contents)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(contents) == contents.size();
}

/// The file's contents, or "<missing>" so that a comparison fails visibly.
inline QByteArray readTestFile(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<missing>");
}

#endif
