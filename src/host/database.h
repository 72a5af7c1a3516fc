#ifndef HOST_DATABASE_H
#define HOST_DATABASE_H

#include <host/host_export.h>
#include <host/table.h>

#include <QHash>
#include <QObject>
#include <QStringList>

/**
 * The core's tables by name. Tables are created once and live as long as the
 * database; create them before other threads look them up.
 */
class HOST_EXPORT Database : public QObject
{
    Q_OBJECT

public:
    explicit Database(QObject *parent = nullptr);

    // nullptr for an unknown name.
    Table *table(const QString &name) const;
    QStringList tableNames() const;
    // Throws Exception when a table of that name exists already.
    Table *createTable(const QString &name, const QVector<Table::Column> &columns, const QStringList &key);

signals:
    void tableCreated(const QString &name);

private:
    QHash<QString, Table *> m_tables;
};

#endif
