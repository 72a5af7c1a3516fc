// bench_selectors: QT_QPA_PLATFORM=offscreen build/bench/selectors/bench_selectors
// Each figure stands beside its baselines from the same run. --smoke runs
// everything once on 2,000 rows; --rows=N sets the number of stocks
// (100,000 by default; 1000000 for a market of a million instruments).

#include <vetrel/boardselectorbox.h>
#include <vetrel/boardselectormodel.h>
#include <vetrel/stockselectorbox.h>
#include <vetrel/stockselectormodel.h>

#include <host/core.h>
#include <host/database.h>
#include <host/indexlist.h>
#include <host/market.h>
#include <host/marketgenerator.h>
#include <host/record.h>
#include <host/tablelocker.h>

#include <vetrel/comboboxvalidator.h>

#include <QApplication>
#include <QCompleter>
#include <QElapsedTimer>
#include <QFile>
#include <QLineEdit>
#include <QSortFilterProxyModel>
#include <QStandardItemModel>
#include <QTest>

#include <benchmark/benchmark.h>

#include <malloc.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <vector>

namespace
{

int rows = 100000;

struct StockRow
{
    int id;
    QString name;
    QString code;
};

// Only walking the table and reading the fields that the model reads.
std::vector<StockRow> walkStocks(const Table &table)
{
    const int id = table.columnIndex(QStringLiteral("stock_id"));
    const int name = table.columnIndex(QStringLiteral("name"));
    const int code = table.columnIndex(QStringLiteral("stock_code"));
    std::vector<StockRow> read;
    read.reserve(size_t(table.rowCount()));
    const TableLocker locker(&table);
    for (const Record *record : *table.masterIndex())
        read.push_back({ table.dataPtr(*record, id)->toInt32(), table.dataPtr(*record, name)->toString(),
            table.dataPtr(*record, code)->toString() });
    return read;
}

Table *stocksTable()
{
    return ICore::instance()->database()->table(QStringLiteral("stocks"));
}

void StockModel_Populate(benchmark::State &state)
{
    StockSelectorModel model;
    for (auto _ : state) {
        model.populate();
        benchmark::DoNotOptimize(model.rowCount());
    }
    state.counters["rows"] = model.rowCount();
}

void StockModel_Baseline_WalkOnly(benchmark::State &state)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(walkStocks(*stocksTable()));
}

// The floor with the sort by code that the model's order needs.
void StockModel_Baseline_WalkAndSort(benchmark::State &state)
{
    for (auto _ : state) {
        std::vector<StockRow> read = walkStocks(*stocksTable());
        std::stable_sort(
            read.begin(), read.end(), [](const StockRow &a, const StockRow &b) { return a.code < b.code; });
        benchmark::DoNotOptimize(read);
    }
}

void StockModel_Baseline_StandardItemsSorted(benchmark::State &state)
{
    for (auto _ : state) {
        QStandardItemModel items;
        QSortFilterProxyModel proxy;
        const std::vector<StockRow> read = walkStocks(*stocksTable());
        items.setRowCount(int(read.size()));
        for (int row = 0; row < int(read.size()); ++row) {
            auto *item = new QStandardItem(read[size_t(row)].name);
            item->setData(read[size_t(row)].id, StockSelectorModel::StockIdRole);
            item->setData(read[size_t(row)].code, StockSelectorModel::StockCodeRole);
            items.setItem(row, item);
        }
        proxy.setSourceModel(&items);
        proxy.setSortRole(StockSelectorModel::StockCodeRole);
        proxy.sort(0);
        benchmark::DoNotOptimize(proxy.rowCount());
    }
}

void BoardModel_Populate(benchmark::State &state)
{
    BoardSelectorModel model;
    for (auto _ : state) {
        model.populate();
        benchmark::DoNotOptimize(model.rowCount());
    }
    state.counters["rows"] = model.rowCount();
}

BENCHMARK(StockModel_Populate)->Unit(benchmark::kMillisecond);
BENCHMARK(StockModel_Baseline_WalkOnly)->Unit(benchmark::kMillisecond);
BENCHMARK(StockModel_Baseline_WalkAndSort)->Unit(benchmark::kMillisecond);
BENCHMARK(StockModel_Baseline_StandardItemsSorted)->Unit(benchmark::kMillisecond);
BENCHMARK(BoardModel_Populate)->Unit(benchmark::kMillisecond);

// The characters a trader types: a name in full, erased, then the next one.
QVector<int> keystrokes(int count)
{
    QVector<int> keys;
    for (int stock = rows / 2; keys.size() < count; stock += 7919) {
        const QString name = QStringLiteral("synthetic stock %1").arg(1 + stock % rows);
        for (QChar c : name)
            keys.append(c.unicode());
        keys.append(Qt::Key_Backspace);
    }
    keys.resize(count);
    return keys;
}

struct Timing
{
    double median;
    double worst;
};

Timing summary(std::vector<double> ms)
{
    std::sort(ms.begin(), ms.end());
    return { ms[ms.size() / 2], ms.back() };
}

// Time of each keystroke from the key event to the return of its handling.
Timing typeInto(QLineEdit *edit, const QVector<int> &keys)
{
    std::vector<double> ms;
    for (int key : keys) {
        QElapsedTimer timer;
        timer.start();
        if (key == Qt::Key_Backspace) {
            edit->clear();
        } else {
            QTest::keyClick(edit, char(key));
        }
        QCoreApplication::sendPostedEvents();
        ms.push_back(timer.nsecsElapsed() / 1e6);
    }
    return summary(ms);
}

// The validator's share: the same texts judged by it alone.
Timing validatorAlone(const QValidator &validator, const QVector<int> &keys)
{
    std::vector<double> ms;
    QString text;
    for (int key : keys) {
        text = key == Qt::Key_Backspace ? QString() : text + QChar(key);
        QString input = text;
        int pos = input.size();
        QElapsedTimer timer;
        timer.start();
        benchmark::DoNotOptimize(validator.validate(input, pos));
        ms.push_back(timer.nsecsElapsed() / 1e6);
    }
    return summary(ms);
}

// The same kind of typing over any box: its own item texts, spread over
// the list, each typed in full and erased.
QVector<int> itemKeystrokes(const QComboBox &box, int count)
{
    QVector<int> keys;
    for (int row = box.count() / 3; keys.size() < count && box.count() > 0; row += 7919) {
        for (QChar c : box.itemText(row % box.count()))
            keys.append(c.unicode());
        keys.append(Qt::Key_Backspace);
    }
    keys.resize(count);
    return keys;
}

// The board box before a stock is chosen lists every board of the market.
void boardKeystrokes()
{
    BoardSelectorBox box;
    box.show();
    QCoreApplication::processEvents();
    const Timing boards = typeInto(box.lineEdit(), itemKeystrokes(box, 50));
    std::printf("\nOne typed character over %d boards, 50 keystrokes (ms):\n", box.count());
    std::printf("  %-44s median %8.3f  worst %8.3f\n", "BoardSelectorBox", boards.median, boards.worst);
}

void keystrokeCost()
{
    const QVector<int> keys = keystrokes(50);
    QElapsedTimer built;
    built.start();
    StockSelectorBox box;
    box.show();
    // The box is idle before the trader types: work it left for the event
    // loop belongs to the fill, not to the first keystroke.
    QCoreApplication::processEvents();
    std::printf("\nStockSelectorBox built, filled and indexed over %d stocks: %.1f ms\n", box.count(),
        built.nsecsElapsed() / 1e6);
    const Timing ours = typeInto(box.lineEdit(), keys);
    const Timing validator = validatorAlone(*box.comboBoxValidator(), keys);

    QComboBox plain;
    plain.setEditable(true);
    QStringList names;
    for (int row = 0; row < box.count(); ++row)
        names.append(box.itemText(row));
    plain.addItems(names);
    plain.completer()->setCaseSensitivity(Qt::CaseInsensitive);
    plain.setCurrentIndex(-1);
    plain.show();
    const Timing baseline = typeInto(plain.lineEdit(), keys);

    // The same with the completer that ComboBox installs: a case-insensitive
    // pop-up list of the matches.
    QComboBox popup;
    popup.setEditable(true);
    popup.addItems(names);
    auto *completer = new QCompleter(&popup);
    completer->setCaseSensitivity(Qt::CaseInsensitive);
    popup.setCompleter(completer);
    completer->setModel(popup.model());
    popup.setCurrentIndex(-1);
    popup.show();
    const Timing popupBaseline = typeInto(popup.lineEdit(), keys);

    // The same box searching the way traders type: every code or name that
    // contains the text, best first. Typed from inside the name too, where no
    // word starts: the case that reads the most rows.
    StockSelectorBox searching;
    searching.setTraderSearch(true);
    searching.show();
    QCoreApplication::processEvents();
    const Timing search = typeInto(searching.lineEdit(), keys);
    QVector<int> inner;
    bool nameStarts = true;
    for (int key : keys) {
        if (!(nameStarts && key != Qt::Key_Backspace))
            inner.append(key);
        nameStarts = key == Qt::Key_Backspace;
    }
    const Timing searchInner = typeInto(searching.lineEdit(), inner);

    std::printf("\nOne typed character over %d stocks, 50 keystrokes (ms):\n", box.count());
    std::printf("  %-44s median %8.3f  worst %8.3f\n", "StockSelectorBox", ours.median, ours.worst);
    std::printf("  %-44s median %8.3f  worst %8.3f\n", "StockSelectorBox, TraderSearch on", search.median,
        search.worst);
    std::printf("  %-44s median %8.3f  worst %8.3f\n", "  the same, typed from inside the name",
        searchInner.median, searchInner.worst);
    std::printf("  %-44s median %8.3f  worst %8.3f\n", "  of which ComboBoxValidator::validate",
        validator.median, validator.worst);
    std::printf("  %-44s median %8.3f  worst %8.3f\n", "Baseline: editable QComboBox + QCompleter",
        baseline.median, baseline.worst);
    std::printf("  %-44s median %8.3f  worst %8.3f\n", "Baseline: the same, pop-up QCompleter",
        popupBaseline.median, popupBaseline.worst);
}

double residentMiB()
{
    QFile statm(QStringLiteral("/proc/self/statm"));
    if (!statm.open(QIODevice::ReadOnly))
        return 0;
    const QList<QByteArray> fields = statm.readAll().split(' ');
    return fields.value(1).toDouble() * 4096 / (1024 * 1024);
}

// Large blocks are mapped apart from the heap: both count.
double heapMiB()
{
    const struct mallinfo2 info = mallinfo2();
    return double(info.uordblks + info.hblkhd) / (1024 * 1024);
}

// The bytes of the texts a model shows, as QString keeps them: a header and
// the UTF-16 units with their terminator.
double shownTextMiB(const QAbstractItemModel &model)
{
    double bytes = 0;
    for (int row = 0; row < model.rowCount(); ++row) {
        const QString text = model.index(row, 0).data().toString();
        bytes += double(sizeof(QArrayData)) + 2.0 * (text.capacity() + 1);
    }
    return bytes / (1024 * 1024);
}

// A stock model with its sorted proxy and the validator's index over it, as
// the box holds them. The measure is resident growth: the rows of a fill are
// mappings of their own, which the heap's figures do not see, and the pages
// the market's loading freed go back to the system first, so that the model
// cannot hide in them. The heap in use is given beside it.
void memoryGrowth()
{
    malloc_trim(0);
    const double before = residentMiB();
    const double heapBefore = heapMiB();
    auto *model = new StockSelectorModel;
    model->populate();
    QSortFilterProxyModel proxy;
    proxy.setSourceModel(model);
    proxy.sort(0);
    ComboBoxValidator validator;
    validator.setModel(&proxy);
    QString typed = QStringLiteral("S");
    int at = 1;
    validator.validate(typed, at);
    const double after = residentMiB();
    const double heap = heapMiB() - heapBefore;
    const double texts = shownTextMiB(*model);
    std::printf(
        "\nA stock model with its sorted proxy and index over %d rows: resident growth %.1f MiB, heap "
        "growth %.1f MiB; the texts it shows %.1f MiB (shared with the table): %.2fx them\n",
        model->rowCount(), after - before, heap, texts, (after - before) / texts);
    proxy.setSourceModel(nullptr);
    delete model;
}

}

int main(int argc, char **argv)
{
    qputenv(
        "QT_QPA_PLATFORM", qgetenv("QT_QPA_PLATFORM").isEmpty() ? "offscreen" : qgetenv("QT_QPA_PLATFORM"));
    QApplication app(argc, argv);
    std::vector<char *> args(argv, argv + argc);
    const auto smoke
        = std::find_if(args.begin(), args.end(), [](const char *a) { return qstrcmp(a, "--smoke") == 0; });
    if (smoke != args.end()) {
        args.erase(smoke);
        rows = 2000;
        static char minTime[] = "--benchmark_min_time=0.001";
        args.push_back(minTime);
    }
    const auto size = std::find_if(
        args.begin(), args.end(), [](const char *a) { return qstrncmp(a, "--rows=", 7) == 0; });
    if (size != args.end()) {
        rows = std::max(1000, std::atoi(*size + 7));
        args.erase(size);
    }

    Core core;
    MarketGenerator::Options options;
    options.securities = 100;
    options.stocks = rows;
    options.boardsPerStock = 1;
    options.dealers = 10;
    options.streams = 10;
    Market::loadData(core.database(), MarketGenerator::generate(options), QStringLiteral("stocks"));
    // The boards: a hundred stocks of a thousand boards each.
    {
        Core boardsCore;
        MarketGenerator::Options boardOptions = options;
        boardOptions.stocks = rows / 1000;
        boardOptions.boardsPerStock = 1000;
        Market::loadData(
            boardsCore.database(), MarketGenerator::generate(boardOptions), QStringLiteral("boards"));
        Table *boards = boardsCore.database()->table(QStringLiteral("boards"));
        QVector<Record *> copies;
        {
            const TableLocker locker(boards);
            for (const Record *record : *boards->masterIndex())
                copies.append(core.database()->table(QStringLiteral("boards"))->copyRow(*record));
        }
        core.database()->table(QStringLiteral("boards"))->replaceAll(copies);
    }

    memoryGrowth();
    int count = int(args.size());
    benchmark::Initialize(&count, args.data());
    benchmark::RunSpecifiedBenchmarks();
    keystrokeCost();
    boardKeystrokes();
    return 0;
}
