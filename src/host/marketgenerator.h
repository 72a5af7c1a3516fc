#ifndef HOST_MARKETGENERATOR_H
#define HOST_MARKETGENERATOR_H

#include <host/host_export.h>

#include <QByteArray>

class Database;

/**
 * Makes large synthetic markets for benchmarks and tests: stocks with boards,
 * an open and a closed session per stock, securities spread over them,
 * dealers and price streams. The same options always give the same market,
 * whether written as a market file (the format Market::load reads) or put
 * straight into a database's tables, which a million securities need: their
 * file would be larger than the JSON reader takes.
 */
class HOST_EXPORT MarketGenerator
{
public:
    struct Options
    {
        int securities = 100000;
        int stocks = 8;
        int boardsPerStock = 6;
        int dealers = 1000;
        int streams = 500;
        // Share of securities in the open sessions; the rest are in closed ones.
        double openShare = 0.8;
        unsigned seed = 1;
    };

    static QByteArray generate(const Options &options);
    /// Replaces the market tables of `database` (created when missing) with
    /// the rows that generate() would write.
    static void fill(Database *database, const Options &options);
};

#endif
