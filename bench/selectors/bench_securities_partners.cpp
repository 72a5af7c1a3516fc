// The security list on a large market: a refill after new sessions beside two
// floors (walking the table with the same reads; the same walk and the sort
// by stock code, board code and name that the list needs), and one typed character in
// SecuritySelectorBox beside a plain QComboBox with a QCompleter over the same
// names, and in the partner and stream boxes. PartnerSelectorBox::populate() over 10,000 dealers beside
// reading and sorting the same codes, and beside the item model alone.

#include <vetrel/partnerselectorbox.h>
#include <vetrel/securityselectorbox.h>
#include <vetrel/securityselectormodel.h>
#include <vetrel/streamselectorbox.h>

#include <host/boarddirectory.h>
#include <host/core.h>
#include <host/database.h>
#include <host/decoder.h>
#include <host/field.h>
#include <host/indexlist.h>
#include <host/market.h>
#include <host/marketgenerator.h>
#include <host/record.h>
#include <host/stockdirectory.h>
#include <host/table.h>
#include <host/tablelocker.h>

#include <QApplication>
#include <QCompleter>
#include <QElapsedTimer>
#include <QLineEdit>
#include <QSignalSpy>
#include <QStandardItemModel>
#include <QStringListModel>
#include <QTest>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <tuple>
#include <vector>

namespace
{

int securities = 100000;
constexpr int dealers = 10000;
constexpr int keystrokes = 50;

struct Market
{
    Market()
    {
        MarketGenerator::Options options;
        options.securities = securities;
        options.dealers = dealers;
        options.openShare = 1.0;
        ::Market::loadData(core.database(), MarketGenerator::generate(options), QStringLiteral("bench"));
        decoder = new Decoder(&core);
        core.addPlugin(decoder);
    }
    Table *table(const char *name) const { return core.database()->table(QLatin1String(name)); }

    Core core;
    Decoder *decoder;
};

Market &market()
{
    static Market instance;
    return instance;
}

struct Row
{
    qint64 secId;
    int stockId;
    int boardId;
    QString name;
    QString code;
    QString baseCode;
};

// The same cells as a refill reads, from every record under the lock.
std::vector<Row> readSecurities()
{
    const Table *table = market().table("securities");
    const int columns[] = { table->columnIndex(QStringLiteral("sec_id")),
        table->columnIndex(QStringLiteral("stock_id")), table->columnIndex(QStringLiteral("board_id")),
        table->columnIndex(QStringLiteral("sec_name")), table->columnIndex(QStringLiteral("sec_code")),
        table->columnIndex(QStringLiteral("base_code")) };
    std::vector<Row> rows;
    const TableLocker locker(table);
    rows.reserve(size_t(table->masterIndex()->count()));
    for (const Record *record : *table->masterIndex()) {
        rows.push_back({ table->dataPtr(*record, columns[0])->toInt64(),
            table->dataPtr(*record, columns[1])->toInt32(), table->dataPtr(*record, columns[2])->toInt32(),
            table->dataPtr(*record, columns[3])->toString(), table->dataPtr(*record, columns[4])->toString(),
            table->dataPtr(*record, columns[5])->toString() });
    }
    return rows;
}

void BM_Refill_Floor_WalkOnly(benchmark::State &state)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(readSecurities());
}

// The floor with the order the list needs: by stock code, board code, name.
void BM_Refill_Floor_WalkAndSort(benchmark::State &state)
{
    // The codes of each row, as the directories give them, taken beforehand.
    const std::vector<Row> codesOf = readSecurities();
    std::vector<QString> stockCodes(codesOf.size());
    std::vector<QString> boardCodes(codesOf.size());
    for (size_t i = 0; i < codesOf.size(); ++i) {
        stockCodes[i] = StockDirectory::codeById(codesOf[i].stockId);
        boardCodes[i] = BoardDirectory::codeById(codesOf[i].stockId, codesOf[i].boardId);
    }
    for (auto _ : state) {
        const std::vector<Row> rows = readSecurities();
        std::vector<int> order(rows.size());
        for (size_t i = 0; i < order.size(); ++i)
            order[i] = int(i);
        std::stable_sort(order.begin(), order.end(), [&](int a, int b) {
            return std::tie(stockCodes[size_t(a)], boardCodes[size_t(a)], rows[size_t(a)].name)
                < std::tie(stockCodes[size_t(b)], boardCodes[size_t(b)], rows[size_t(b)].name);
        });
        benchmark::DoNotOptimize(order.data());
    }
}

// aNewSessions(): the session filter rebuilt and the list refilled, on a
// worker thread, until the new rows are shown.
void BM_Refill_SecuritySelectorModel(benchmark::State &state)
{
    SecuritySelectorModel model;
    model.populate();
    QSignalSpy shown(&model, &QAbstractItemModel::modelReset);
    for (auto _ : state) {
        market().decoder->announceNewSessions();
        shown.wait(60000);
    }
    state.counters["rows"] = double(model.rowCount());
}

struct Keystrokes
{
    std::vector<double> ms;

    void report(benchmark::State &state)
    {
        std::sort(ms.begin(), ms.end());
        state.counters["median_ms"] = ms.empty() ? 0 : ms[ms.size() / 2];
        state.counters["worst_ms"] = ms.empty() ? 0 : ms.back();
    }
};

// The keys of `keystrokes` presses: whole names typed one after the other,
// each followed by a backspace over the whole line.
QList<QPair<Qt::Key, QChar>> keySequence(const QAbstractItemModel &names)
{
    QList<QPair<Qt::Key, QChar>> keys;
    for (int row = 0; keys.size() < keystrokes; row += names.rowCount() / 7 + 1) {
        for (const QChar c : names.index(row % names.rowCount(), 0).data().toString())
            keys.append({ Qt::Key_unknown, c });
        keys.append({ Qt::Key_Backspace, QChar() });
    }
    return keys.mid(0, keystrokes);
}

void type(QComboBox &box, const QList<QPair<Qt::Key, QChar>> &keys, benchmark::State &state)
{
    Keystrokes timings;
    box.show();
    QLineEdit *line = box.lineEdit();
    for (auto _ : state) {
        for (const auto &key : keys) {
            QElapsedTimer timer;
            timer.start();
            if (key.first == Qt::Key_Backspace) {
                line->selectAll();
                QTest::keyClick(line, Qt::Key_Backspace);
            } else {
                QTest::keyClicks(line, QString(key.second));
            }
            QCoreApplication::processEvents();
            timings.ms.push_back(double(timer.nsecsElapsed()) / 1e6);
        }
    }
    timings.report(state);
    state.counters["rows"] = double(box.count());
}

void BM_Keystroke_PlainComboBox(benchmark::State &state)
{
    SecuritySelectorModel names;
    names.populate();
    QStringList texts;
    for (int row = 0; row < names.rowCount(); ++row)
        texts << names.index(row, 0).data().toString();
    QComboBox box;
    box.setEditable(true);
    auto *model = new QStringListModel(texts, &box);
    box.setModel(model);
    auto *completer = new QCompleter(model, &box);
    completer->setCaseSensitivity(Qt::CaseInsensitive);
    box.setCompleter(completer);
    type(box, keySequence(*model), state);
}

void BM_Keystroke_SecuritySelectorBox(benchmark::State &state)
{
    SecuritySelectorBox box;
    type(box, keySequence(*box.model()), state);
}

void BM_Keystroke_PartnerSelectorBox(benchmark::State &state)
{
    PartnerSelectorBox box;
    type(box, keySequence(*box.model()), state);
}

// Before a security is chosen the stream box lists every price stream.
void BM_Keystroke_StreamSelectorBox(benchmark::State &state)
{
    StreamSelectorBox box;
    type(box, keySequence(*box.model()), state);
}

// The floor of the partner list: the codes and names read and sorted.
void BM_PartnerPopulate_Floor(benchmark::State &state)
{
    const Table *table = market().table("kx.dealer");
    const int code = table->columnIndex(QStringLiteral("orv_code"));
    const int name = table->columnIndex(QStringLiteral("name"));
    for (auto _ : state) {
        QVector<QPair<QString, QString>> rows;
        {
            const TableLocker locker(table);
            for (const Record *record : *table->masterIndex())
                rows.append({ table->dataPtr(*record, code)->toString().trimmed(),
                    table->dataPtr(*record, name)->toString() });
        }
        std::sort(rows.begin(), rows.end());
        benchmark::DoNotOptimize(rows.data());
    }
    state.counters["rows"] = double(table->masterIndex()->count());
}

// The part of the partner list that Qt's item model sets for any code: three
// items per dealer appended to a new QStandardItemModel, and the list it
// replaces deleted, from texts already read.
void BM_PartnerPopulate_ItemModelOnly(benchmark::State &state)
{
    const Table *table = market().table("kx.dealer");
    const int code = table->columnIndex(QStringLiteral("orv_code"));
    const int name = table->columnIndex(QStringLiteral("name"));
    QVector<QStringList> rows;
    {
        const TableLocker locker(table);
        for (const Record *record : *table->masterIndex()) {
            const QString c = table->dataPtr(*record, code)->toString();
            const QString n = table->dataPtr(*record, name)->toString();
            rows.append({ c, c.leftJustified(22) + n, n });
        }
    }
    auto shown = std::make_unique<QStandardItemModel>();
    for (auto _ : state) {
        auto items = std::make_unique<QStandardItemModel>();
        for (const QStringList &row : qAsConst(rows))
            items->appendRow(
                { new QStandardItem(row[0]), new QStandardItem(row[1]), new QStandardItem(row[2]) });
        shown = std::move(items);
    }
    state.counters["rows"] = double(rows.size());
}

void BM_PartnerPopulate_PartnerSelectorBox(benchmark::State &state)
{
    PartnerSelectorBox box;
    for (auto _ : state)
        box.populate();
    state.counters["rows"] = double(box.count());
}

}

BENCHMARK(BM_Refill_Floor_WalkOnly)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Refill_Floor_WalkAndSort)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Refill_SecuritySelectorModel)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Keystroke_PlainComboBox)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Keystroke_SecuritySelectorBox)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Keystroke_PartnerSelectorBox)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Keystroke_StreamSelectorBox)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PartnerPopulate_Floor)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PartnerPopulate_ItemModelOnly)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PartnerPopulate_PartnerSelectorBox)->Unit(benchmark::kMillisecond);

namespace
{

// The offscreen platform's notes on every pop-up would bury the figures.
void quietPlatform(QtMsgType type, const QMessageLogContext &, const QString &message)
{
    if (type != QtWarningMsg || !message.startsWith(QLatin1String("This plugin does not support")))
        fprintf(stderr, "%s\n", qPrintable(message));
}

}

int main(int argc, char **argv)
{
    qInstallMessageHandler(quietPlatform);
    QApplication app(argc, argv);
    const char *sizeFlag = "--securities=";
    for (int i = 1; i < argc; ++i) {
        if (std::strncmp(argv[i], sizeFlag, std::strlen(sizeFlag)) == 0) {
            securities = std::atoi(argv[i] + std::strlen(sizeFlag));
            std::copy(argv + i + 1, argv + argc, argv + i);
            --argc;
            break;
        }
    }
    benchmark::Initialize(&argc, argv);
    market();
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
