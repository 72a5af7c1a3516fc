// The market loader over any bytes: it loads, or throws the host's Exception
// naming the source, and then has loaded nothing at all.
#include <host/database.h>
#include <host/exception.h>
#include <host/market.h>
#include <host/table.h>

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    Database database;
    Market::createTables(&database);
    const QStringList tables = database.tableNames();
    try {
        Market::loadData(&database, QByteArray(reinterpret_cast<const char *>(data), int(size)),
                         QStringLiteral("fuzz.json"));
    } catch (const Exception &error) {
        if (!error.message().startsWith(QLatin1String("fuzz.json")))
            std::abort();
        if (database.tableNames() != tables)
            std::abort();
        for (const QString &name : tables) {
            if (database.table(name)->rowCount() != 0)
                std::abort(); // all or nothing
        }
    }
    return 0;
}
