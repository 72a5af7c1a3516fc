// bench_fills: QT_QPA_PLATFORM=offscreen build/bench/selectors/bench_fills [--back-to-back] [rows...]
// Filling and refilling the selector models at market scale, each figure as a
// ratio to walking the table and reading the same fields in the same run
// (wall time), and the longest the GUI thread is held while a refill after
// new sessions runs. Without arguments: 100,000 and 1,000,000 rows.

#include <vetrel/boardselectormodel.h>
#include <vetrel/securityselectorbox.h>
#include <vetrel/securityselectorfilteredmodel.h>
#include <vetrel/securityselectormodel.h>
#include <vetrel/stockselectormodel.h>

#include <host/core.h>
#include <host/database.h>
#include <host/decoder.h>
#include <host/field.h>
#include <host/indexlist.h>
#include <host/marketgenerator.h>
#include <host/record.h>
#include <host/table.h>
#include <host/tablelocker.h>

#include <QApplication>
#include <QElapsedTimer>
#include <QSignalSpy>
#include <QThread>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <vector>

namespace
{

// Between two timed runs the GUI thread idles this long, as a terminal does
// between fills: a large fill leaves the rows it replaced to be freed by
// another thread meanwhile. "--back-to-back" sets it to 0.
int idleMs = 100;

// The median of `runs` timings of `work`, in milliseconds of wall time: a
// large fill shares its work with a second thread, and its caller waits
// for both. A first run is not timed: the host's directories read their
// tables on first use.
double medianMs(int runs, const std::function<void()> &work)
{
    work();
    std::vector<double> ms;
    for (int i = 0; i < runs; ++i) {
        QThread::msleep(ulong(idleMs));
        QElapsedTimer timer;
        timer.start();
        work();
        ms.push_back(double(timer.nsecsElapsed()) / 1e6);
    }
    std::sort(ms.begin(), ms.end());
    return ms[ms.size() / 2];
}

// The floor: every record of the table walked under its lock, the given
// columns read into a vector (numbers as numbers, text as text). The vector
// keeps its memory from one walk to the next, so the floor is the reading
// alone, not the first touch of fresh pages.
size_t walk(const Table &table, const QStringList &columns)
{
    std::vector<int> numbers;
    std::vector<int> texts;
    for (const QString &name : columns) {
        const int column = table.columnIndex(name);
        const FieldType::Type type = table.column(column).type;
        (type == FieldType::String ? texts : numbers).push_back(column);
    }
    struct Row
    {
        qint64 numbers[3] = {};
        QString texts[3];
    };
    static std::vector<Row> rows;
    rows.clear();
    const TableLocker locker(&table);
    rows.reserve(size_t(table.masterIndex()->count()));
    for (const Record *record : *table.masterIndex()) {
        Row row;
        for (size_t i = 0; i < numbers.size(); ++i)
            row.numbers[i] = table.dataPtr(*record, numbers[i])->toInt64();
        for (size_t i = 0; i < texts.size(); ++i)
            row.texts[i] = table.dataPtr(*record, texts[i])->toString();
        rows.push_back(std::move(row));
    }
    return rows.size();
}

void line(const char *what, double ms, double floorMs)
{
    std::printf("  %-52s %9.1f ms  %5.2fx the walk\n", what, ms, ms / floorMs);
}

void stocksAndBoards(int rows)
{
    Core core;
    MarketGenerator::Options options;
    options.stocks = rows;
    options.boardsPerStock = 1;
    options.securities = 100;
    options.dealers = 10;
    options.streams = 10;
    MarketGenerator::fill(core.database(), options);
    const Table &stocks = *core.database()->table(QStringLiteral("stocks"));
    const Table &boards = *core.database()->table(QStringLiteral("boards"));
    const int runs = rows > 200000 ? 3 : 7;

    std::printf("\n%d stocks, %d boards:\n", rows, rows);
    const double stockFloor = medianMs(runs, [&] { walk(stocks, { "stock_id", "name", "stock_code" }); });
    line("walk stocks: stock_id, name, stock_code", stockFloor, stockFloor);
    StockSelectorModel stockModel;
    line("StockSelectorModel::populate()", medianMs(runs, [&] { stockModel.populate(); }), stockFloor);

    const double boardFloor = medianMs(runs, [&] {
        walk(boards, { "stock_id", "board_id", "name", "board_code" });
    });
    line("walk boards: stock_id, board_id, name, board_code", boardFloor, boardFloor);
    BoardSelectorModel boardModel;
    line("BoardSelectorModel::populate()", medianMs(runs, [&] { boardModel.populate(); }), boardFloor);
}

void securities(int rows)
{
    Core core;
    MarketGenerator::Options options;
    options.securities = rows;
    options.openShare = 1.0;
    options.dealers = 10;
    MarketGenerator::fill(core.database(), options);
    auto *decoder = new Decoder(&core);
    core.addPlugin(decoder);
    const Table &table = *core.database()->table(QStringLiteral("securities"));
    const int runs = rows > 200000 ? 3 : 7;

    std::printf("\n%d securities (8 stocks, 48 boards):\n", rows);
    const double floor = medianMs(runs, [&] {
        walk(table, { "sec_id", "stock_id", "board_id", "sec_name", "sec_code", "base_code" });
    });
    line("walk securities: the six fields the list reads", floor, floor);

    // The model with its filtered model, in a box as a form shows it.
    SecuritySelectorBox box;
    auto *model = box.findChild<SecuritySelectorModel *>();
    line("SecuritySelectorModel::populate(), in a box", medianMs(runs, [&] { model->populate(); }), floor);

    // A refill after new sessions: how long the announcement takes, how long
    // until the new rows are shown, and the longest the event loop is held
    // meanwhile (the swap and everything the box and its proxy do with it).
    // The GUI thread sleeps between passes, as a terminal's waits for
    // events: spinning, it would take the core the worker may share.
    QSignalSpy resets(model, &QAbstractItemModel::modelReset);
    std::vector<double> announce, shown, held;
    for (int i = 0; i < runs; ++i) {
        // New sessions come seconds apart: the worker has freed the rows the
        // last refill replaced before the next one starts.
        QElapsedTimer idle;
        idle.start();
        while (idle.elapsed() < 1000)
            QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
        resets.clear();
        QElapsedTimer total;
        total.start();
        decoder->announceNewSessions();
        announce.push_back(double(total.nsecsElapsed()) / 1e6);
        double longest = 0;
        while (resets.isEmpty()) {
            QThread::usleep(500);
            QElapsedTimer pass;
            pass.start();
            QCoreApplication::processEvents(QEventLoop::AllEvents);
            longest = std::max(longest, double(pass.nsecsElapsed()) / 1e6);
        }
        shown.push_back(double(total.nsecsElapsed()) / 1e6);
        held.push_back(longest);
    }
    const auto median = [](std::vector<double> v) {
        std::sort(v.begin(), v.end());
        return v[v.size() / 2];
    };
    line("refill after new sessions, until shown", median(shown), floor);
    std::printf("  %-52s %9.1f ms  (frame: 16 ms)\n", "  of which the announcement itself", median(announce));
    std::printf("  %-52s %9.1f ms  (frame: 16 ms)\n", "  longest the GUI thread was held",
        *std::max_element(held.begin(), held.end()));
}

}

int main(int argc, char **argv)
{
    qputenv(
        "QT_QPA_PLATFORM", qgetenv("QT_QPA_PLATFORM").isEmpty() ? "offscreen" : qgetenv("QT_QPA_PLATFORM"));
    QApplication app(argc, argv);
    QList<int> sizes;
    for (int i = 1; i < argc; ++i) {
        if (QByteArray(argv[i]) == "--back-to-back")
            idleMs = 0;
        else
            sizes.append(QByteArray(argv[i]).toInt());
    }
    if (sizes.isEmpty())
        sizes = { 100000, 1000000 };
    for (int rows : sizes) {
        stocksAndBoards(rows);
        securities(rows);
    }
    return 0;
}
