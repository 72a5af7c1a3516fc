#ifndef VETREL_DESKTOPSHELL_H
#define VETREL_DESKTOPSHELL_H

#include <QList>
#include <QString>

#include <vetrel/vetrel_export.h>

/**
 * Ids of the running processes whose name matches processName, as the
 * system's "pgrep" reports them; empty on any failure (the cause goes to the
 * "QGuiLog" debug log). Blocks for up to 2 × 2 s.
 */
VETREL_EXPORT QList<long> processIds(const QString &processName);

/**
 * Shows the file in the file manager of the running desktop session: selected
 * in Dolphin under KDE or Nautilus under GNOME, otherwise by opening the
 * folder that holds it. Blocks for several seconds at worst; meant for an
 * explicit user action.
 */
VETREL_EXPORT void shellShowFile(const QString &path);

#endif
