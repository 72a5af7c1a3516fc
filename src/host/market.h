#ifndef HOST_MARKET_H
#define HOST_MARKET_H

#include <host/host_export.h>
#include <host/table.h>

#include <QByteArray>
#include <QString>
#include <QStringList>

class Database;

/**
 * The market tables that the selectors and directories read, and the market
 * files that fill them (the format is described in docs/host-platform.md).
 *
 * A test builds a fresh market in-process:
 *     Core core;                                  // now ICore::instance()
 *     Market::createTables(core.database());
 *     core.database()->table("stocks")->insert({{"stock_id", 1}, {"stock_code", "MOEX"}, {"name", "..."}});
 */
class HOST_EXPORT Market
{
public:
    struct TableSchema
    {
        QString name;
        QVector<Table::Column> columns;
        QStringList key;
    };

    // "stocks", "boards", "sessions", "securities", "kx.dealer", "rfs_streams".
    static QVector<TableSchema> schema();
    // Creates the market tables that the database does not have yet.
    static void createTables(Database *database);

    // Loads a market file: each table in it replaces the content of the
    // database's table of that name (created when missing); other tables stay
    // as they are. Throws Exception naming the file, the table and the row;
    // then nothing at all has been loaded.
    static void load(Database *database, const QString &fileName);
    // The same for a file's content; `source` names it in error messages.
    static void loadData(Database *database, const QByteArray &json, const QString &source);
    // The built-in sample market (a resource of the host library).
    static void loadSample(Database *database);
    static QString sampleFileName();
};

#endif
