#include "core.h"

#include "database.h"

Core::Core(QObject *parent)
    : QObject(parent)
    , m_database(new Database(this))
    , m_previous(setInstance(this))
{ }

Core::~Core()
{
    setInstance(m_previous);
}

Database *Core::database() const
{
    return m_database;
}

QObjectList Core::plugins() const
{
    QObjectList list;
    for (const QPointer<QObject> &plugin : m_plugins) {
        if (plugin)
            list.append(plugin);
    }
    return list;
}

void Core::addPlugin(QObject *plugin)
{
    if (!m_plugins.contains(plugin))
        m_plugins.append(plugin);
}

void Core::removePlugin(QObject *plugin)
{
    m_plugins.removeAll(plugin);
}
