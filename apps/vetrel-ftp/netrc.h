#ifndef VETREL_FTP_NETRC_H
#define VETREL_FTP_NETRC_H

#include <QString>

/// The logon a .netrc file gives for one host.
struct NetrcEntry
{
    bool found = false;
    QString login;
    QString password;
    QString account;
};

/**
 * Looks the host up in a .netrc file (the "machine" entry for it, else the
 * "default" one). Fails with a reason when the file cannot be read or when
 * anyone but its owner may access it, since it holds passwords.
 */
bool readNetrc(const QString &path, const QString &host, NetrcEntry &entry, QString &error);

#endif
