#ifndef HOST_TABLE_H
#define HOST_TABLE_H

#include <host/fieldtype.h>
#include <host/host_export.h>

#include <QObject>
#include <QStringList>
#include <QVariantMap>
#include <QVector>

#include <atomic>
#include <memory>
#include <mutex>

class Field;
class IndexList;
class Record;

/**
 * A named in-memory table with typed columns and a key. Its master index
 * holds the rows in key order. A feed thread may write while the GUI reads:
 * readers walk the rows between lock() and unlock() (TableLocker does both),
 * and every write takes the same lock. After each write the table emits
 * changed() from the writing thread, with the lock released.
 */
class HOST_EXPORT Table : public QObject
{
    Q_OBJECT

public:
    struct Column
    {
        QString name;
        FieldType::Type type;
    };

    // The key names columns by name; an empty key orders rows by arrival.
    Table(const QString &name, const QVector<Column> &columns, const QStringList &key,
        QObject *parent = nullptr);
    ~Table() override;

    QString name() const { return m_name; }
    int columnCount() const { return m_columns.size(); }
    const Column &column(int column) const { return m_columns.at(column); }
    // -1 for an unknown name.
    int columnIndex(const QString &name) const;
    const QVector<int> &keyColumns() const { return m_keyColumns; }

    void lock() const;
    void unlock() const;

    IndexList *masterIndex() const;
    int rowCount() const;
    // The cell of a row; a shared absent cell of type None when the row has
    // no such column.
    Field *dataPtr(Record *row, int column) const;
    const Field *dataPtr(const Record *row, int column) const;
    const Field *dataPtr(const Record &row, int column) const { return dataPtr(&row, column); }

    // A new row of this table, every cell absent, in no index.
    Record *allocRow() const;
    Record *copyRow(const Record &row) const;
    // Gives back a row that left the table's indexes (or never entered one).
    void freeRow(Record *row) const;
    // A new row holding the given values by column name; throws Exception on
    // an unknown column or a value that does not convert.
    Record *makeRow(const QVariantMap &values) const;
    // The row whose key equals that of `key` (call it under the lock).
    Record *find(const Record &key) const;

    // Writes. insert() takes the row and replaces one with the same key.
    void insert(Record *row);
    void insert(const QVariantMap &values);
    // Sets the given columns of the row named by the key columns among the
    // values; false when no row has that key.
    bool update(const QVariantMap &values);
    // Removes the row named by the key columns among the values.
    bool remove(const QVariantMap &key);
    // Replaces all rows at once (taking them). Throws Exception, and takes
    // nothing, when two rows share a key; the first such row is named in
    // the message by its position.
    void replaceAll(const QVector<Record *> &rows);
    // The rows in key order (equal keys keep their order when the table has
    // no key). Throws Exception "row N repeats the key of row M" (positions
    // from 1) when two rows share a key.
    QVector<Record *> sortedByKey(const QVector<Record *> &rows) const;
    // replaceAll() for rows that sortedByKey() returned: it cannot fail, so
    // a loader can check every table first and then write them all.
    void replaceAllSorted(const QVector<Record *> &rows);
    void clear();

    // Changes with every write to any table, so (table, stamp) names one
    // state of one table for caches.
    quint64 stamp() const { return m_stamp.load(); }
    // Orders two rows by the key columns.
    int compareKeys(const Record &a, const Record &b) const;

signals:
    void changed();

private:
    void touched();

    QString m_name;
    QVector<Column> m_columns;
    QVector<int> m_keyColumns;
    // A standard mutex: ThreadSanitizer sees its locking, not that of Qt 5's.
    mutable std::recursive_mutex m_mutex;
    std::unique_ptr<IndexList> m_master;
    std::atomic<quint64> m_stamp;
};

#endif
