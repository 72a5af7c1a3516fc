// bench_market: build/bench/host/bench_market
// Each figure stands beside its baseline (the "_Baseline" row after it).

#include <host/core.h>
#include <host/database.h>
#include <host/indexlist.h>
#include <host/lambdafilterfunc.h>
#include <host/market.h>
#include <host/marketgenerator.h>
#include <host/record.h>
#include <host/securitiessessionfilter.h>
#include <host/stockdirectory.h>
#include <host/tablelocker.h>

#include <QJsonDocument>

#include <benchmark/benchmark.h>

#include <memory>
#include <vector>

namespace
{

const QByteArray &marketFile(int securities)
{
    static QHash<int, QByteArray> files;
    if (!files.contains(securities)) {
        MarketGenerator::Options options;
        options.securities = securities;
        files.insert(securities, MarketGenerator::generate(options));
    }
    return files[securities];
}

// A core holding a loaded market, for the walks.
struct LoadedMarket
{
    explicit LoadedMarket(int securities)
    {
        Market::loadData(core.database(), marketFile(securities), QStringLiteral("generated"));
        table = core.database()->table(QStringLiteral("securities"));
        stock = table->columnIndex(QStringLiteral("stock_id"));
        session = table->columnIndex(QStringLiteral("sess_id"));
    }
    Core core;
    Table *table;
    int stock;
    int session;
};

void BM_LoadMarket(benchmark::State &state)
{
    const QByteArray &file = marketFile(int(state.range(0)));
    for (auto _ : state) {
        Core core;
        Market::loadData(core.database(), file, QStringLiteral("generated"));
        benchmark::DoNotOptimize(core.database()->table(QStringLiteral("securities"))->rowCount());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void BM_LoadMarket_Baseline(benchmark::State &state)
{
    // Parsing the JSON alone: the part of loading that is Qt's.
    const QByteArray &file = marketFile(int(state.range(0)));
    for (auto _ : state)
        benchmark::DoNotOptimize(QJsonDocument::fromJson(file).isNull());
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void BM_WalkMasterIndex(benchmark::State &state)
{
    LoadedMarket market(int(state.range(0)));
    for (auto _ : state) {
        qint64 sum = 0;
        TableLocker locker(market.table);
        const IndexList *index = market.table->masterIndex();
        for (auto it = index->begin(); it != index->end(); ++it)
            sum += market.table->dataPtr(*it, 0)->toInt64()
                + market.table->dataPtr(*it, market.stock)->toInt32();
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void BM_WalkMasterIndex_Baseline(benchmark::State &state)
{
    // The same records and reads through a flat vector: the floor of a walk.
    LoadedMarket market(int(state.range(0)));
    std::vector<Record *> flat;
    for (Record *r : *market.table->masterIndex())
        flat.push_back(r);
    for (auto _ : state) {
        qint64 sum = 0;
        for (const Record *r : flat)
            sum += r->field(0)->toInt64() + r->field(market.stock)->toInt32();
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void BM_SessionFilterAndStockCode(benchmark::State &state)
{
    // What a security list does per record: the session verdict and the
    // stock code from the directory.
    LoadedMarket market(int(state.range(0)));
    SecuritiesSessionFilter sessions(market.table, market.session, { market.stock, market.session }, -1);
    std::unique_ptr<LambdaFilterFunc> open(sessions.createFilterFunc(nullptr));
    for (auto _ : state) {
        int length = 0;
        TableLocker locker(market.table);
        for (const Record *r : *market.table->masterIndex()) {
            if (open->filter(*r))
                length += StockDirectory::codeById(market.table->dataPtr(r, market.stock)->toInt32()).size();
        }
        benchmark::DoNotOptimize(length);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void BM_SessionFilterAndStockCode_Baseline(benchmark::State &state)
{
    // A plain walk with the stock code from a local hash.
    LoadedMarket market(int(state.range(0)));
    QHash<int, QString> codes;
    for (int s = 1; s <= MarketGenerator::Options().stocks; ++s)
        codes.insert(s, StockDirectory::codeById(s));
    for (auto _ : state) {
        int length = 0;
        TableLocker locker(market.table);
        for (const Record *r : *market.table->masterIndex())
            length += codes.value(market.table->dataPtr(r, market.stock)->toInt32()).size();
        benchmark::DoNotOptimize(length);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

}

BENCHMARK(BM_LoadMarket)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_LoadMarket_Baseline)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_WalkMasterIndex)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_WalkMasterIndex_Baseline)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SessionFilterAndStockCode)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SessionFilterAndStockCode_Baseline)->Arg(100000)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
