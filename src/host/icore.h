#ifndef HOST_ICORE_H
#define HOST_ICORE_H

#include <host/host_export.h>

#include <QObjectList>

class Database;

/**
 * The host core as libraries see it: the database and the loaded plug-ins.
 */
class HOST_EXPORT ICore
{
public:
    // The process-wide core; nullptr while there is none.
    static ICore *instance();
    // Moves whenever another core becomes the instance (or none does), so
    // caches of a core's tables know when to look again.
    static quint64 serial();

    virtual ~ICore();
    virtual Database *database() const = 0;
    virtual QObjectList plugins() const = 0;

protected:
    // The core that a new one replaces is handed back, so that it can be
    // restored when the new one goes.
    static ICore *setInstance(ICore *core);
};

#endif
