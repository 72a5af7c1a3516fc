#ifndef VETREL_TESTS_TESTFILES_H
#define VETREL_TESTS_TESTFILES_H

#include <QByteArray>
#include <QString>

/// Replaces the file's contents; false when it could not be written whole.
bool writeTestFile(const QString& path, const QByteArray& contents);
/// The file's contents, or "<missing>" so that a comparison fails visibly.
QByteArray readTestFile(const QString& path);

#endif
