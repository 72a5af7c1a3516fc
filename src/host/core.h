#ifndef HOST_CORE_H
#define HOST_CORE_H

#include <host/host_export.h>
#include <host/icore.h>

#include <QObject>
#include <QPointer>
#include <QVector>

/**
 * An in-process core: while it lives it is ICore::instance(), with a database
 * of its own. Tests create one per test for a fresh market; nested cores
 * restore the one before them when they go.
 */
class HOST_EXPORT Core : public QObject, public ICore
{
    Q_OBJECT

public:
    explicit Core(QObject *parent = nullptr);
    ~Core() override;

    Database *database() const override;
    QObjectList plugins() const override;

    // The core does not own its plug-ins; a destroyed one leaves the list.
    void addPlugin(QObject *plugin);
    void removePlugin(QObject *plugin);

private:
    Database *m_database;
    QVector<QPointer<QObject>> m_plugins;
    ICore *m_previous;
};

#endif
