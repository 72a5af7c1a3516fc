#include "directory.h"

#include "database.h"
#include "icore.h"
#include "table.h"
#include "tablelocker.h"

#include <QCoreApplication>

Directory::Directory(const QString &tableName)
    : m_tableName(tableName)
{
    // A directory is made on first use, maybe in a feed thread; its signal
    // is meant for the GUI.
    if (QCoreApplication::instance())
        moveToThread(QCoreApplication::instance()->thread());
}

Table *Directory::table() const
{
    ICore *core = ICore::instance();
    return core ? core->database()->table(m_tableName) : nullptr;
}

void Directory::refresh() const
{
    // A database never drops a table, so the one found stays while its core
    // is current; only a missing table is looked for again.
    auto *self = const_cast<Directory *>(this);
    const quint64 serial = ICore::serial();
    Table *current = m_table && serial == m_coreSerial ? m_table.data() : table();
    if (serial != m_coreSerial) {
        if (ICore *core = ICore::instance()) {
            connect(core->database(), &Database::tableCreated, self, &Directory::tableCreated,
                Qt::UniqueConnection);
        }
        m_coreSerial = serial;
    }
    // A stamp of 0 marks an empty cache; a table that went away leaves a
    // null pointer behind but a filled cache, which must go too.
    if (current == m_table && (current ? current->stamp() : 0) == m_stamp)
        return;
    if (current != m_table) {
        if (m_table)
            disconnect(m_table, nullptr, self, nullptr);
        if (current)
            connect(current, &Table::changed, self, &Directory::dataChanged);
        m_table = current;
    }
    if (!current) {
        self->rebuild(nullptr);
        m_stamp = 0;
        return;
    }
    TableLocker locker(current);
    const quint64 stamp = current->stamp();
    m_stamp = 0; // a rebuild that throws leaves the cache marked stale
    self->rebuild(current);
    m_stamp = stamp;
}

void Directory::tableCreated(const QString &name)
{
    if (name != m_tableName)
        return;
    sync();
    emit dataChanged();
}
