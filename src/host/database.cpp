#include "database.h"

#include "exception.h"

Database::Database(QObject *parent)
    : QObject(parent)
{ }

Table *Database::table(const QString &name) const
{
    return m_tables.value(name);
}

QStringList Database::tableNames() const
{
    QStringList names = m_tables.keys();
    names.sort();
    return names;
}

Table *Database::createTable(
    const QString &name, const QVector<Table::Column> &columns, const QStringList &key)
{
    if (m_tables.contains(name))
        throw Exception(QStringLiteral("Table \"%1\" exists already").arg(name));
    auto *table = new Table(name, columns, key, this);
    m_tables.insert(name, table);
    emit tableCreated(name);
    return table;
}
