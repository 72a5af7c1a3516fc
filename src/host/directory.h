#ifndef HOST_DIRECTORY_H
#define HOST_DIRECTORY_H

#include <host/host_export.h>

#include <QObject>
#include <QPointer>

#include <mutex>

class Table;

/**
 * The base of the directories: a cache over one table of the current core,
 * rebuilt on the first lookup after the table changed (or after another core
 * took over). Lookups are safe from any thread; don't call one while holding
 * the lock of the directory's own table from a thread that writes it.
 */
class HOST_EXPORT Directory : public QObject
{
    Q_OBJECT

public:
    QString tableName() const { return m_tableName; }
    // The current core's table; nullptr when there is none.
    Table *table() const;

signals:
    // The table changed; delivered in the directory's (the GUI) thread.
    void dataChanged();

protected:
    explicit Directory(const QString &tableName);

    // Runs `read` on an up-to-date cache.
    template<typename Read>
    auto read(Read read) const
    {
        const std::lock_guard locker(m_mutex);
        refresh();
        return read();
    }
    // Follows the current core's table now, so dataChanged() comes from it.
    void sync() const
    {
        read([] { return 0; });
    }
    // Fills the cache from the table (under its lock), or empties it for nullptr.
    virtual void rebuild(const Table *table) = 0;

private:
    void refresh() const;
    // Attaches to the table when it appears after the directory looked for it.
    void tableCreated(const QString &name);

    QString m_tableName;
    // A standard mutex: ThreadSanitizer sees its locking, not that of Qt 5's.
    mutable std::mutex m_mutex;
    mutable QPointer<Table> m_table;
    mutable quint64 m_stamp = 0;
    mutable quint64 m_coreSerial = 0;
};

#endif
