#include "selectormarket.h"

#include <vetrel/boardselectorfilteredmodel.h>
#include <vetrel/boardselectormodel.h>
#include <vetrel/partnerselectorbox_p.h>
#include <vetrel/stockselectormodel.h>
#include <vetrel/streamselectormodel.h>

#include <host/exception.h>
#include <host/field.h>
#include <host/record.h>

#include <QAbstractItemModelTester>
#include <QTest>

#include <atomic>
#include <chrono>
#include <future>
#include <limits>
#include <random>
#include <thread>

Q_DECLARE_METATYPE(Stocks)

class TestSelectorModels : public QObject
{
    Q_OBJECT

private slots:
    void orderIsInsertionAtLowerBound_data();
    void orderIsInsertionAtLowerBound();
    void typeErrorKeepsRowsAndUnlocks();
    void checkMarksAndStockNotice();
    void boardOrderAndRestriction();
    void boardNoticesCoalesce();
    void filteredBoards_data();
    void filteredBoards();
    void writerThreadDuringPopulate();
    void streamsFollowTheTable();
    void streamsWithTextSecurityIdsWarn();
    void partnerCodeOrderIsTotalOverEveryType();
};

namespace
{

QStringList ids(const QAbstractItemModel &model)
{
    return rowTexts(model, StockSelectorModel::StockIdRole);
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
    QStringList expected;
    for (int i = 0; i < codes.size(); ++i) {
        const auto at = std::lower_bound(expected.begin(), expected.end(), codes.at(i),
            [&](const QString &id, const QString &code) { return codes.at(id.toInt() - 1) < code; });
        expected.insert(at, QString::number(i + 1));
    }
    StockSelectorModel model;
    model.populate();
    QCOMPARE(ids(model), expected);
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
    QVERIFY_EXCEPTION_THROWN(model.populate(), Exception);
    QVERIFY(lockFree(stocks));
    // The rows read before the error are shown, and the reset is over.
    QCOMPARE(rowTexts(model), QStringList({ "Alpha", "Bravo" }));
    QCOMPARE(resets.count(), 1);
}

void TestSelectorModels::checkMarksAndStockNotice()
{
    SelectorMarket market;
    for (int id : { 3, 1, 2 })
        market.addStock(id, QStringLiteral("S%1").arg(id), QStringLiteral("Stock %1").arg(id));
    StockSelectorModel model;
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
    model.populate();
    QSignalSpy notices(&model, &StockSelectorModel::stocksChanged);

    model.setCheckMarks(true);
    QCOMPARE(model.index(0, 0).data(Qt::CheckStateRole).toInt(), int(Qt::Checked));
    QVERIFY(model.setData(model.index(1, 0), 0, Qt::CheckStateRole));
    QVERIFY(!model.setData(model.index(1, 0), 0, Qt::CheckStateRole)); // no change
    QCOMPARE(model.index(1, 0).data(Qt::CheckStateRole).toInt(), int(Qt::Unchecked));

    // This model never starts its own timer; asked, it names the checked
    // stocks and whether some are left out.
    const auto sent = [&] {
        QMetaObject::invokeMethod(&model, "sendStocksChanged");
        return qMakePair(notices.last().at(0).toBool(), notices.last().at(1).value<Stocks>());
    };
    QCoreApplication::processEvents();
    QCOMPARE(notices.count(), 0);
    QCOMPARE(sent(), qMakePair(true, Stocks({ 1, 3 })));
    // The "all" switch.
    QVERIFY(model.setData(QModelIndex(), 1, Qt::CheckStateRole));
    QCOMPARE(sent(), qMakePair(false, Stocks({ 1, 2, 3 })));
    QVERIFY(model.setData(QModelIndex(), 0, Qt::CheckStateRole));
    QCOMPARE(sent(), qMakePair(true, Stocks()));
}

void TestSelectorModels::boardOrderAndRestriction()
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
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
    model.populate();
    QCOMPARE(rowTexts(model), QStringList({ "Currency", "Shares twin", "Shares", "Bonds", "Main SPB" }));
    const QStringList first = { "2,1", "1", "2", "MOEX", "CETS" };
    for (int role = 257; role <= 261; ++role)
        QCOMPARE(model.index(0, 0).data(role).toString(), first.at(role - 257));
    Table *boards = market.table(QStringLiteral("boards"));
    QCOMPARE(boards->dataPtr(model.at(2), boards->columnIndex("name"))->toString(), QStringLiteral("Shares"));

    // Restrictions wait for the next fill.
    model.setFilterBoards({ boardid(1, 3), boardid(2, 1), boardid(7, 7) });
    QCOMPARE(model.rowCount(), 5);
    model.populate();
    QCOMPARE(rowTexts(model), QStringList({ "Shares", "Main SPB" }));
    model.setFilterBoards({});
    model.setForPositions(true);
    model.populate();
    QCOMPARE(rowTexts(model), QStringList({ "Shares", "Main SPB" }));
    model.setFilterBoards({ boardid(1, 2), boardid(2, 1) });
    model.populate();
    QCOMPARE(rowTexts(model), QStringList({ "Main SPB" }));
}

void TestSelectorModels::boardNoticesCoalesce()
{
    SelectorMarket market;
    BoardSelectorModel model;
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
    QSignalSpy notices(&model, &BoardSelectorModel::boardsChanged);
    model.populate();
    QCOMPARE(notices.count(), 0); // deferred to the event loop
    QTRY_COMPARE(notices.count(), 1);
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
}

void TestSelectorModels::filteredBoards_data()
{
    QTest::addColumn<QString>("stockCode");
    QTest::addColumn<qlonglong>("flagsOn");
    QTest::addColumn<qlonglong>("flagsOff");
    QTest::addColumn<QStringList>("boards");

    const QStringList all = { "TQBR", "CETS", "SPOT", "SWAP", "FX", "SPB" };
    QTest::newRow("no filter lists every stock together") << QString() << 0LL << 0LL << all;
    QTest::newRow("RFS takes the RFS boards of ARVENTA")
        << "RFS" << 0LL << 0LL << QStringList({ "CETS", "SPOT", "FX" });
    QTest::newRow("flags on need every flag")
        << QString() << 0x3LL << 0LL << QStringList({ "TQBR", "SPOT", "SPB" });
    QTest::newRow("flags off win over flags on")
        << QString() << 0x1LL << 0x4LL << QStringList({ "TQBR", "CETS", "SWAP", "SPB" });
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
    QCOMPARE(rowTexts(filtered, 261), boards);
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
    for (int round = 0; round < 200; ++round) {
        model.populate();
        // Every fill sees one state of the table: in order and of its size then.
        const int rows = model.rowCount();
        QVERIFY(rows >= 497 && rows <= 503);
        for (int row = 1; row < rows; ++row)
            QVERIFY(model.index(row - 1, 0).data(258).toString() <= model.index(row, 0).data(258).toString());
    }
    stop = true;
    writer.join();
    model.populate();
    QCOMPARE(model.rowCount(), stocks->rowCount());
}

void TestSelectorModels::streamsFollowTheTable()
{
    // A stream leaves the table: the model refills from the event loop.
    SelectorMarket market;
    market.addStream(20, 1282, QStringLiteral("USDRUB_TOM"), QStringLiteral("1000000"));
    market.addStream(10, 1281, QStringLiteral("USDRUB_TOD"), QStringLiteral("1000000"));
    StreamSelectorModel model;
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
    model.populate();
    QSignalSpy reset(&model, &QAbstractItemModel::modelReset);
    market.table(QStringLiteral("rfs_streams"))->remove({ { "stream_id", 10 } });
    QVERIFY(reset.wait());
    QCOMPARE(rowTexts(model, StreamSelectorModel::StreamIdRole), QStringList({ "20" }));
}

void TestSelectorModels::streamsWithTextSecurityIdsWarn()
{
    // A feed that keeps security ids as text: the refill that the directory's
    // notice starts in the event loop must not end the program.
    SelectorMarket market(false);
    market.core->database()->createTable(QStringLiteral("rfs_streams"),
        { { QStringLiteral("stream_id"), FieldType::Int64 }, { QStringLiteral("sec_id"), FieldType::String },
            { QStringLiteral("sec_code"), FieldType::String },
            { QStringLiteral("quantity"), FieldType::Decimal } },
        { QStringLiteral("stream_id") });
    StreamSelectorModel model;
    QSignalSpy reset(&model, &QAbstractItemModel::modelReset);
    QTest::ignoreMessage(QtWarningMsg, "StreamSelectorModel: Incorrect type conversion.");
    market.addStream(10, 1281, QStringLiteral("USDRUB_TOD"), QStringLiteral("1000000"));
    QVERIFY(reset.wait());
    QCOMPARE(model.rowCount(), 0);
}

void TestSelectorModels::partnerCodeOrderIsTotalOverEveryType()
{
    // Types apart by their order, values of one type by value, not by their
    // text; the order is the same read either way.
    using T = FieldType;
    const QList<QPair<T::Type, QVariant>> values = { { T::Int32, -5 }, { T::Int32, 7 },
        { T::Int64, std::numeric_limits<qint64>::min() }, { T::Int64, std::numeric_limits<qint64>::max() },
        { T::Double, -1.5 }, { T::Double, std::numeric_limits<double>::quiet_NaN() }, { T::Decimal, "1.50" },
        { T::Decimal, "1.5" }, { T::Decimal, "10.001" }, { T::String, "b" }, { T::String, "B" }, { T::None, {} } };
    QVector<Field> cells;
    for (const auto &[type, value] : values) {
        cells << Field(type);
        if (value.isValid())
            cells.last() = value;
    }
    auto sign = [](int v) { return (v > 0) - (v < 0); };
    for (const Field &a : cells) {
        for (const Field &b : cells) {
            const int ab = sign(comparePartnerCodes(a, b));
            QCOMPARE(ab, -sign(comparePartnerCodes(b, a)));
            if (a.type() != b.type())
                QCOMPARE(ab, sign(int(a.type()) - int(b.type())));
        }
    }
    const QList<QPair<int, int>> ascending = { { 0, 1 }, { 2, 3 }, { 4, 5 }, { 7, 8 }, { 10, 9 } };
    for (const auto &[a, b] : ascending)
        QVERIFY(comparePartnerCodes(cells[a], cells[b]) < 0);
    QCOMPARE(comparePartnerCodes(cells[5], cells[5]), 0); // NaN
    QCOMPARE(comparePartnerCodes(cells[6], cells[7]), 0); // 1.50 == 1.5
}

QTEST_MAIN(TestSelectorModels)
#include "tst_selectormodels.moc"
