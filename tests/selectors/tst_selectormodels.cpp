#include "selectormarket.h"

#include <vetrel/boardselectorfilteredmodel.h>
#include <vetrel/boardselectormodel.h>
#include <vetrel/securityselectormodel.h>
#include <vetrel/stockselectormodel.h>
#include <vetrel/streamselectormodel.h>

#include <host/decoder.h>
#include <host/exception.h>
#include <host/marketgenerator.h>
#include <host/record.h>

#include <QAbstractItemModelTester>
#include <QSignalSpy>
#include <QTest>

#include <atomic>
#include <chrono>
#include <future>
#include <random>
#include <thread>

Q_DECLARE_METATYPE(Stocks)

class TestSelectorModels : public QObject
{
    Q_OBJECT

private slots:
    void stockOrderAndProtocol();
    void orderIsInsertionAtLowerBound_data();
    void orderIsInsertionAtLowerBound();
    void modelsPassTheTester_data();
    void modelsPassTheTester();
    void idReadsSaturate();
    void typeErrorKeepsRowsAndUnlocks();
    void checkMarksAndStockNotice();
    void boardOrderRestrictionAndAt();
    void boardNoticesCoalesce();
    void filteredBoards_data();
    void filteredBoards();
    void writerThreadDuringPopulate();
};

namespace
{

QList<int> column(const QAbstractItemModel &model, int role)
{
    QList<int> values;
    for (int row = 0; row < model.rowCount(); ++row)
        values.append(model.index(row, 0).data(role).toInt());
    return values;
}

QStringList names(const QAbstractItemModel &model)
{
    QStringList values;
    for (int row = 0; row < model.rowCount(); ++row)
        values.append(model.index(row, 0).data().toString());
    return values;
}

// True when another thread can take the table's lock within a second.
bool lockFree(Table *table)
{
    auto writer = std::async(std::launch::async, [table] {
        table->lock();
        table->unlock();
    });
    if (writer.wait_for(std::chrono::seconds(1)) == std::future_status::ready)
        return true;
    table->unlock(); // let the waiting thread go before failing
    return false;
}

}

void TestSelectorModels::stockOrderAndProtocol()
{
    SelectorMarket market;
    market.addStock(1, QStringLiteral("MOEX"), QStringLiteral("Moscow"));
    market.addStock(2, QStringLiteral("ARVENTA"), QStringLiteral("Arventa"));
    market.addStock(3, QStringLiteral("SPBX"), QStringLiteral("Saint Petersburg"));
    market.addStock(4, QStringLiteral("MOEX"), QStringLiteral("Moscow again"));
    market.addStock(5, QStringLiteral("MOEX"), QStringLiteral("Moscow third"));

    StockSelectorModel model;
    QCOMPARE(model.rowCount(), 0); // it does not fill itself
    model.populate();

    // By code; equal codes in the reverse of their index order.
    QCOMPARE(column(model, StockSelectorModel::StockIdRole), QList<int>({ 2, 5, 4, 1, 3 }));
    QCOMPARE(model.index(1, 0).data(Qt::EditRole).toString(), QStringLiteral("Moscow third"));
    QCOMPARE(model.index(0, 0).data(258).toString(), QStringLiteral("ARVENTA"));
    QVERIFY(!model.index(0, 0).data(Qt::CheckStateRole).isValid());
    QVERIFY(!model.index(0, 0).data(259).isValid());

    const QModelIndex beyond = model.index(99, 0);
    QVERIFY(beyond.isValid());
    QVERIFY(!beyond.data().isValid());
    QVERIFY(!model.index(0, 0, model.index(0, 0)).isValid());
    QCOMPARE(model.rowCount(model.index(0, 0)), 0);
    QCOMPARE(model.columnCount(), 1);
    QVERIFY(!model.parent(model.index(0, 0)).isValid());
    QCOMPARE(model.flags(model.index(0, 0)), Qt::ItemIsSelectable | Qt::ItemIsEnabled);
    QCOMPARE(model.flags(QModelIndex()), Qt::NoItemFlags);

    // A refill follows the table.
    market.table(QStringLiteral("stocks"))->clear();
    model.populate();
    QCOMPARE(model.rowCount(), 0);
}

void TestSelectorModels::orderIsInsertionAtLowerBound_data()
{
    QTest::addColumn<QString>("alphabet");
    QTest::addColumn<QString>("prefix");
    QTest::addColumn<int>("maxLength");

    QTest::newRow("short codes, many ties") << "AB" << QString() << 3;
    QTest::newRow("empty codes among others") << "Z" << QString() << 1;
    QTest::newRow("codes alike beyond the first characters") << "XY"
                                                             << "ABCDEFGHIJ" << 4;
    QTest::newRow("units above the Latin range, surrogates, NUL")
        << QString::fromUtf8("A\u044f\uff21\U0001F600") + QChar(0) << QStringLiteral("\u044f") << 3;
}

void TestSelectorModels::orderIsInsertionAtLowerBound()
{
    QFETCH(QString, alphabet);
    QFETCH(QString, prefix);
    QFETCH(int, maxLength);
    SelectorMarket market;
    std::mt19937 random(7);
    QStringList codes; // by stock id, the master index's order
    for (int id = 1; id <= 3000; ++id) {
        QString code = prefix;
        for (int n = int(random() % unsigned(maxLength + 1)); n > 0; --n)
            code += alphabet.at(int(random() % unsigned(alphabet.size())));
        codes.append(code);
        market.addStock(id, code, QString::number(id));
    }
    // Each record in turn goes before the rows of equal code.
    QList<int> expected;
    for (int i = 0; i < codes.size(); ++i) {
        const auto at = std::lower_bound(expected.begin(), expected.end(), codes.at(i),
            [&](int id, const QString &code) { return codes.at(id - 1) < code; });
        expected.insert(at, i + 1);
    }
    StockSelectorModel model;
    model.populate();
    QCOMPARE(column(model, StockSelectorModel::StockIdRole), expected);
}

void TestSelectorModels::modelsPassTheTester_data()
{
    QTest::addColumn<QString>("kind");
    for (const char *kind : { "stock", "board", "security", "stream" })
        QTest::newRow(kind) << QString::fromLatin1(kind);
}

void TestSelectorModels::modelsPassTheTester()
{
    QFETCH(QString, kind);
    SelectorMarket market(false);
    MarketGenerator::Options options;
    options.securities = 500;
    options.streams = 50;
    MarketGenerator::fill(market.core->database(), options);
    auto *decoder = new Decoder(market.core.get());
    market.core->addPlugin(decoder);

    std::unique_ptr<QAbstractItemModel> model;
    std::function<void()> refill;
    if (kind == QLatin1String("stock")) {
        auto *stocks = new StockSelectorModel;
        model.reset(stocks);
        refill = [stocks] {
            stocks->populate();
            stocks->setCheckMarks(true);
            stocks->setData(stocks->index(1, 0), 0, Qt::CheckStateRole);
            stocks->setData(QModelIndex(), 1, Qt::CheckStateRole);
        };
    } else if (kind == QLatin1String("board")) {
        auto *boards = new BoardSelectorModel;
        model.reset(boards);
        refill = [boards] {
            boards->populate();
            boards->setCheckMarks(true);
            boards->setData(boards->index(2, 0), 0, Qt::CheckStateRole);
        };
    } else if (kind == QLatin1String("security")) {
        auto *securities = new SecuritySelectorModel;
        model.reset(securities);
        refill = [securities, decoder] {
            securities->populate();
            QSignalSpy reset(securities, &QAbstractItemModel::modelReset);
            decoder->announceNewSessions();
            QVERIFY(reset.wait());
            securities->setDefaultDataRole(SecuritySelectorModel::SecurityCodeRole);
        };
    } else {
        auto *streams = new StreamSelectorModel;
        model.reset(streams);
        refill = [streams, &market, gone = 7]() mutable {
            streams->populate();
            QSignalSpy reset(streams, &QAbstractItemModel::modelReset);
            market.table(QStringLiteral("rfs_streams"))->remove({ { "stream_id", gone++ } });
            QVERIFY(reset.wait());
        };
    }
    QAbstractItemModelTester tester(model.get(), QAbstractItemModelTester::FailureReportingMode::QtTest);
    refill();
    QVERIFY(model->rowCount() > 0);
    market.core->database()->table(QStringLiteral("stocks"))->clear();
    refill();
}

void TestSelectorModels::idReadsSaturate()
{
    SelectorMarket market(false);
    market.core->database()->createTable(QStringLiteral("stocks"),
        { { QStringLiteral("stock_id"), FieldType::Int64 },
            { QStringLiteral("stock_code"), FieldType::String },
            { QStringLiteral("name"), FieldType::String } },
        { QStringLiteral("stock_code") });
    market.addStock(0, QStringLiteral("A"), QStringLiteral("big"));
    market.table(QStringLiteral("stocks"))
        ->update({ { "stock_code", "A" }, { "stock_id", Q_INT64_C(5000000000) } });
    market.addStock(0, QStringLiteral("B"), QStringLiteral("small"));
    market.table(QStringLiteral("stocks"))
        ->update({ { "stock_code", "B" }, { "stock_id", Q_INT64_C(-5000000000) } });
    market.addStock(7, QStringLiteral("C"), QStringLiteral("plain"));
    market.table(QStringLiteral("stocks"))->insert({ { "stock_code", "D" }, { "name", "absent id" } });

    StockSelectorModel model;
    model.populate();
    QCOMPARE(
        column(model, StockSelectorModel::StockIdRole), QList<int>({ 2147483647, -2147483647 - 1, 7, 0 }));
}

void TestSelectorModels::typeErrorKeepsRowsAndUnlocks()
{
    SelectorMarket market(false);
    Table *stocks = market.core->database()->createTable(QStringLiteral("stocks"),
        { { QStringLiteral("stock_id"), FieldType::String },
            { QStringLiteral("stock_code"), FieldType::String },
            { QStringLiteral("name"), FieldType::String } },
        { QStringLiteral("stock_code") });
    // Absent ids read as 0; the first present text id is a type error.
    stocks->insert({ { "stock_code", "B" }, { "name", "Bravo" } });
    stocks->insert({ { "stock_code", "A" }, { "name", "Alpha" } });
    stocks->insert({ { "stock_code", "C" }, { "name", "Charlie" }, { "stock_id", "12" } });
    stocks->insert({ { "stock_code", "D" }, { "name", "Delta" } });

    StockSelectorModel model;
    QSignalSpy resets(&model, &QAbstractItemModel::modelReset);
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
    try {
        model.populate();
        QFAIL("a text id must not convert");
    } catch (const Exception &error) {
        QCOMPARE(error.message(), QStringLiteral("Incorrect type conversion."));
    }
    QVERIFY(lockFree(stocks));
    // The rows read before the error are shown, and the reset is over.
    QCOMPARE(names(model), QStringList({ QStringLiteral("Alpha"), QStringLiteral("Bravo") }));
    QCOMPARE(resets.count(), 1);
}

void TestSelectorModels::checkMarksAndStockNotice()
{
    SelectorMarket market;
    for (int id : { 3, 1, 2 })
        market.addStock(id, QStringLiteral("S%1").arg(id), QStringLiteral("Stock %1").arg(id));
    StockSelectorModel model;
    model.populate();
    QSignalSpy notices(&model, &StockSelectorModel::stocksChanged);
    QSignalSpy changes(&model, &QAbstractItemModel::dataChanged);
    QSignalSpy resets(&model, &QAbstractItemModel::modelReset);

    QVERIFY(!model.setData(model.index(0, 0), 0, Qt::CheckStateRole)); // marks are off
    model.setCheckMarks(true);
    changes.clear();
    QVERIFY(model.flags(model.index(0, 0)).testFlag(Qt::ItemIsUserCheckable));
    QCOMPARE(model.index(0, 0).data(Qt::CheckStateRole).toInt(), int(Qt::Checked));

    QVERIFY(model.setData(model.index(1, 0), 0, Qt::CheckStateRole));
    QVERIFY(!model.setData(model.index(1, 0), 0, Qt::CheckStateRole));
    QVERIFY(!model.setData(model.index(1, 0), 0, Qt::DisplayRole));
    QCOMPARE(changes.count(), 1);
    QCOMPARE(changes.at(0).at(0).toModelIndex().row(), 1);
    QCOMPARE(model.index(1, 0).data(Qt::CheckStateRole).toInt(), int(Qt::Unchecked));

    // This model never starts its own timer.
    QCoreApplication::processEvents();
    QCOMPARE(notices.count(), 0);
    QMetaObject::invokeMethod(&model, "sendStocksChanged");
    QCOMPARE(notices.count(), 1);
    QCOMPARE(notices.at(0).at(0).toBool(), true);
    QCOMPARE(notices.at(0).at(1).value<Stocks>(), Stocks({ 1, 3 }));

    // The "all" switch.
    QVERIFY(model.setData(QModelIndex(), 1, Qt::CheckStateRole));
    QCOMPARE(resets.count(), 1);
    QMetaObject::invokeMethod(&model, "sendStocksChanged");
    QCOMPARE(notices.at(1).at(0).toBool(), false);
    QCOMPARE(notices.at(1).at(1).value<Stocks>(), Stocks({ 1, 2, 3 }));
    QVERIFY(model.setData(QModelIndex(), 0, Qt::CheckStateRole));
    QMetaObject::invokeMethod(&model, "sendStocksChanged");
    QCOMPARE(notices.at(2).at(0).toBool(), true);
    QVERIFY(notices.at(2).at(1).value<Stocks>().isEmpty());
}

void TestSelectorModels::boardOrderRestrictionAndAt()
{
    SelectorMarket market;
    market.addStock(1, QStringLiteral("MOEX"), QStringLiteral("Moscow"));
    market.addStock(2, QStringLiteral("SPBX"), QStringLiteral("Petersburg"));
    market.addBoard(2, 1, QStringLiteral("SPB"), QStringLiteral("Main SPB"), 0, true);
    market.addBoard(1, 3, QStringLiteral("TQBR"), QStringLiteral("Shares"), 0, true);
    market.addBoard(1, 1, QStringLiteral("TQOB"), QStringLiteral("Bonds"));
    market.addBoard(1, 2, QStringLiteral("CETS"), QStringLiteral("Currency"));
    market.addBoard(1, 4, QStringLiteral("TQBR"), QStringLiteral("Shares twin"));

    BoardSelectorModel model;
    model.populate();
    QCOMPARE(names(model),
        QStringList({ QStringLiteral("Currency"), QStringLiteral("Shares twin"), QStringLiteral("Shares"),
            QStringLiteral("Bonds"), QStringLiteral("Main SPB") }));
    const QModelIndex first = model.index(0, 0);
    QCOMPARE(first.data(257).toString(), QStringLiteral("2,1"));
    QCOMPARE(first.data(258).toInt(), 1);
    QCOMPARE(first.data(259).toInt(), 2);
    QCOMPARE(first.data(260).toString(), QStringLiteral("MOEX"));
    QCOMPARE(first.data(261).toString(), QStringLiteral("CETS"));

    Table *boards = market.table(QStringLiteral("boards"));
    const int nameColumn = boards->columnIndex(QStringLiteral("name"));
    QCOMPARE(boards->dataPtr(model.at(2), nameColumn)->toString(), QStringLiteral("Shares"));
    QCOMPARE(model.at(5).count(), 0);
    QCOMPARE(model.at(-1).count(), 0);

    // Restrictions wait for the next fill.
    model.setFilterBoards({ boardid(1, 3), boardid(2, 1), boardid(7, 7) });
    QCOMPARE(model.rowCount(), 5);
    model.populate();
    QCOMPARE(names(model), QStringList({ QStringLiteral("Shares"), QStringLiteral("Main SPB") }));
    model.setFilterBoards({});
    model.setForPositions(true);
    model.populate();
    QCOMPARE(names(model), QStringList({ QStringLiteral("Shares"), QStringLiteral("Main SPB") }));
    model.setFilterBoards({ boardid(1, 2), boardid(2, 1) });
    model.populate();
    QCOMPARE(names(model), QStringList({ QStringLiteral("Main SPB") }));

    // A row whose board left the table finds no record; what was found
    // before is a copy, which outlives the table's row.
    const Record spb = model.at(0);
    boards->remove({ { "stock_id", 2 }, { "board_id", 1 } });
    QCOMPARE(model.at(0).count(), 0);
    QCOMPARE(boards->dataPtr(spb, nameColumn)->toString(), QStringLiteral("Main SPB"));
}

void TestSelectorModels::boardNoticesCoalesce()
{
    SelectorMarket market;
    BoardSelectorModel model;
    QSignalSpy notices(&model, &BoardSelectorModel::boardsChanged);
    model.populate();
    QCOMPARE(notices.count(), 0); // deferred to the event loop
    QTRY_COMPARE(notices.count(), 1);
    QCOMPARE(notices.at(0).at(0).toBool(), false);
    QVERIFY(notices.at(0).at(1).value<Boards>().isEmpty());

    market.addBoard(2, 5, QStringLiteral("B"), QStringLiteral("b"));
    market.addBoard(1, 9, QStringLiteral("A"), QStringLiteral("a"));
    market.addBoard(1, 1, QStringLiteral("C"), QStringLiteral("c"));
    model.setCheckMarks(true);
    model.populate();
    QVERIFY(model.setData(model.index(0, 0), 0, Qt::CheckStateRole));
    QVERIFY(model.setData(model.index(0, 0), 1, Qt::CheckStateRole));
    QVERIFY(model.setData(model.index(1, 0), 0, Qt::CheckStateRole));
    QCoreApplication::processEvents();
    QCOMPARE(notices.count(), 2);
    QCOMPARE(notices.at(1).at(0).toBool(), true);
    QCOMPARE(notices.at(1).at(1).value<Boards>(), Boards({ Board(1, 9), Board(2, 5) }));

    // The "all" switch posts nothing.
    QVERIFY(model.setData(QModelIndex(), 1, Qt::CheckStateRole));
    QCoreApplication::processEvents();
    QCOMPARE(notices.count(), 2);

    model.setCheckMarks(false);
    model.populate();
    QTRY_COMPARE(notices.count(), 3);
    QCOMPARE(notices.at(2).at(0).toBool(), false);
    QCOMPARE(notices.at(2).at(1).value<Boards>(), Boards({ Board(1, 1), Board(1, 9), Board(2, 5) }));
}

void TestSelectorModels::filteredBoards_data()
{
    QTest::addColumn<QString>("stockCode");
    QTest::addColumn<qlonglong>("flagsOn");
    QTest::addColumn<qlonglong>("flagsOff");
    QTest::addColumn<QStringList>("boards");

    const QStringList all = { "TQBR", "CETS", "SPOT", "SWAP", "FX", "SPB" };
    QTest::newRow("no filter lists every stock together") << QString() << 0LL << 0LL << all;
    QTest::newRow("one stock") << "MOEX" << 0LL << 0LL << QStringList({ "TQBR" });
    QTest::newRow("RFS takes the RFS boards of ARVENTA")
        << "RFS" << 0LL << 0LL << QStringList({ "CETS", "SPOT", "FX" });
    QTest::newRow("ARVENTA itself") << "ARVENTA" << 0LL << 0LL << QStringList({ "CETS", "SPOT", "SWAP" });
    QTest::newRow("case matters") << "rfs" << 0LL << 0LL << QStringList();
    QTest::newRow("unknown stock") << "NONE" << 0LL << 0LL << QStringList();
    QTest::newRow("flags on need every flag")
        << QString() << 0x3LL << 0LL << QStringList({ "TQBR", "SPOT", "SPB" });
    QTest::newRow("flags off win over flags on")
        << QString() << 0x1LL << 0x4LL << QStringList({ "TQBR", "CETS", "SWAP", "SPB" });
    QTest::newRow("stock and flags") << "RFS" << 0LL << 0x2LL << QStringList({ "CETS", "FX" });
}

void TestSelectorModels::filteredBoards()
{
    QFETCH(QString, stockCode);
    QFETCH(qlonglong, flagsOn);
    QFETCH(qlonglong, flagsOff);
    QFETCH(QStringList, boards);

    SelectorMarket market;
    market.addStock(1, QStringLiteral("MOEX"), QStringLiteral("Moscow"));
    market.addStock(2, QStringLiteral("ARVENTA"), QStringLiteral("Arventa"));
    market.addStock(3, QStringLiteral("RFS"), QStringLiteral("RFS desk"));
    market.addStock(4, QStringLiteral("SPBX"), QStringLiteral("Petersburg"));
    market.addBoard(1, 1, QStringLiteral("TQBR"), QStringLiteral("TQBR"), 0x3);
    market.addBoard(2, 1, QStringLiteral("CETS"), QStringLiteral("CETS"), 0x1, false, true);
    market.addBoard(2, 2, QStringLiteral("SPOT"), QStringLiteral("SPOT"), 0x7, false, true);
    market.addBoard(2, 3, QStringLiteral("SWAP"), QStringLiteral("SWAP"), 0x1);
    market.addBoard(3, 1, QStringLiteral("FX"), QStringLiteral("FX"), 0x5);
    market.addBoard(4, 1, QStringLiteral("SPB"), QStringLiteral("SPB"), 0x3);

    BoardSelectorModel model;
    model.populate();
    BoardSelectorFilteredModel filtered;
    filtered.setSourceModel(&model);
    filtered.setStockCode(stockCode);
    filtered.setBoardFlagsOnFilter(flagsOn);
    filtered.setBoardFlagsOffFilter(flagsOff);
    // The proxy keeps the model's order: by stock id, then board code.
    QStringList shown;
    for (int row = 0; row < filtered.rowCount(); ++row)
        shown.append(filtered.index(row, 0).data(261).toString());
    QCOMPARE(shown, boards);

    filtered.setStockId(1);
    QCOMPARE(filtered.stockCode(), QStringLiteral("MOEX"));
}

void TestSelectorModels::writerThreadDuringPopulate()
{
    SelectorMarket market;
    Table *stocks = market.table(QStringLiteral("stocks"));
    for (int id = 1; id <= 500; ++id)
        market.addStock(id, QStringLiteral("C%1").arg(id % 97, 3, 10, QLatin1Char('0')), QStringLiteral("n"));

    std::atomic<bool> stop(false);
    std::thread writer([&] {
        for (int id = 501; !stop; ++id) {
            stocks->insert({ { "stock_id", id }, { "stock_code", QStringLiteral("W%1").arg(id % 13) },
                { "name", "w" } });
            stocks->remove({ { "stock_id", id - 3 } });
        }
    });
    StockSelectorModel model;
    int last = 0;
    for (int round = 0; round < 200; ++round) {
        model.populate();
        // Every fill sees one state of the table: in order and of its size then.
        const int rows = model.rowCount();
        QVERIFY(rows >= 497 && rows <= 503);
        for (int row = 1; row < rows; ++row)
            QVERIFY(model.index(row - 1, 0).data(258).toString() <= model.index(row, 0).data(258).toString());
        last = rows;
    }
    stop = true;
    writer.join();
    QVERIFY(last > 0);
    model.populate();
    QCOMPARE(model.rowCount(), stocks->rowCount());
}

QTEST_MAIN(TestSelectorModels)
#include "tst_selectormodels.moc"
