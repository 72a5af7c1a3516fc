#include "selectormarket.h"

#include <vetrel/boardselectorfilteredmodel.h>
#include <vetrel/boardselectormodel.h>
#include <vetrel/partnerselectorbox_p.h>
#include <vetrel/stockselectormodel.h>
#include <vetrel/streamselectormodel.h>

#include <host/exception.h>
#include <host/field.h>
#include <host/record.h>
#include <host/tablelocker.h>

#include <QAbstractItemModelTester>
#include <QTest>

#include <chrono>
#include <future>
#include <limits>
#include <random>

Q_DECLARE_METATYPE(Stocks)

class TestSelectorModels : public QObject
{
    Q_OBJECT

private slots:
    void orderIsInsertionAtLowerBound_data()
    {
        QTest::addColumn<QString>("alphabet");
        QTest::addColumn<QString>("prefix");
        QTest::addColumn<int>("maxLength");

        QTest::newRow("short codes, many ties") << "AB" << QString() << 3;
        QTest::newRow("empty codes among others") << "Z" << QString() << 1;
        QTest::newRow("codes alike beyond the first characters") << "XY" << "ABCDEFGHIJ" << 4;
        QTest::newRow("units above the Latin range, surrogates, NUL")
            << QString::fromUtf8("A\u044f\uff21\U0001F600") + QChar(0) << QStringLiteral("\u044f") << 3;
    }

    void orderIsInsertionAtLowerBound()
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
        QCOMPARE(rowTexts(model, StockSelectorModel::StockIdRole), expected);
    }

    void typeErrorKeepsRowsAndUnlocks()
    {
        SelectorMarket market(false);
        const auto text = FieldType::String;
        Table *stocks = market.core->database()->createTable(
            "stocks", { { "stock_id", text }, { "stock_code", text }, { "name", text } }, { "stock_code" });
        // Absent ids read as 0; the first present text id is a type error.
        stocks->insert({ { "stock_code", "B" }, { "name", "Bravo" } });
        stocks->insert({ { "stock_code", "A" }, { "name", "Alpha" } });
        stocks->insert({ { "stock_code", "C" }, { "name", "Charlie" }, { "stock_id", "12" } });
        stocks->insert({ { "stock_code", "D" }, { "name", "Delta" } });

        StockSelectorModel model;
        QSignalSpy resets(&model, &QAbstractItemModel::modelReset);
        QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
        QVERIFY_EXCEPTION_THROWN(model.populate(), Exception);
        // Another thread can take the lock; if not, it is let go before failing.
        auto writer = std::async(std::launch::async, [stocks] { const TableLocker locker(stocks); });
        const bool unlocked = writer.wait_for(std::chrono::seconds(5)) == std::future_status::ready;
        if (!unlocked)
            stocks->unlock();
        QVERIFY(unlocked);
        // The rows read before the error are shown, and the reset is over.
        QCOMPARE(rowTexts(model), QStringList({ "Alpha", "Bravo" }));
        QCOMPARE(resets.count(), 1);
    }

    // Check marks start on and a row's change is a change once. Asked, the
    // stock model names the checked stocks and whether some are left out (it
    // starts no timer of its own); the board model posts one notice to the
    // event loop for any number of changes, and none for the "all" switch.
    void checkMarksAndNotices()
    {
        SelectorMarket market;
        StockSelectorModel stocks;
        BoardSelectorModel boards;
        QAbstractItemModelTester stockTester(&stocks, QAbstractItemModelTester::FailureReportingMode::QtTest);
        QAbstractItemModelTester boardTester(&boards, QAbstractItemModelTester::FailureReportingMode::QtTest);
        QSignalSpy stockNotices(&stocks, &StockSelectorModel::stocksChanged);
        QSignalSpy boardNotices(&boards, &BoardSelectorModel::boardsChanged);
        boards.populate();
        QCOMPARE(boardNotices.count(), 0);
        QTRY_COMPARE(boardNotices.count(), 1);
        QVERIFY(boardNotices.at(0).at(1).value<Boards>().isEmpty());

        for (int id : { 3, 1, 2 })
            market.addStock(id, QStringLiteral("S%1").arg(id), QString::number(id));
        stocks.populate();
        stocks.setCheckMarks(true);
        QCOMPARE(stocks.index(0, 0).data(Qt::CheckStateRole).toInt(), int(Qt::Checked));
        QVERIFY(stocks.setData(stocks.index(1, 0), 0, Qt::CheckStateRole));
        QVERIFY(!stocks.setData(stocks.index(1, 0), 0, Qt::CheckStateRole));
        QCOMPARE(stocks.index(1, 0).data(Qt::CheckStateRole).toInt(), int(Qt::Unchecked));
        const auto sent = [&] {
            QMetaObject::invokeMethod(&stocks, "sendStocksChanged");
            return qMakePair(stockNotices.last().at(0).toBool(), stockNotices.last().at(1).value<Stocks>());
        };
        QCoreApplication::processEvents();
        QCOMPARE(stockNotices.count(), 0);
        QCOMPARE(sent(), qMakePair(true, Stocks({ 1, 3 })));
        QVERIFY(stocks.setData(QModelIndex(), 1, Qt::CheckStateRole)); // the "all" switch
        QCOMPARE(sent(), qMakePair(false, Stocks({ 1, 2, 3 })));
        QVERIFY(stocks.setData(QModelIndex(), 0, Qt::CheckStateRole));
        QCOMPARE(sent(), qMakePair(true, Stocks()));

        market.addBoard(2, 5, "B", "b");
        market.addBoard(1, 9, "A", "a");
        market.addBoard(1, 1, "C", "c");
        boards.setCheckMarks(true);
        boards.populate();
        QVERIFY(boards.setData(boards.index(0, 0), 0, Qt::CheckStateRole));
        QVERIFY(boards.setData(boards.index(0, 0), 1, Qt::CheckStateRole));
        QVERIFY(boards.setData(boards.index(1, 0), 0, Qt::CheckStateRole));
        QCoreApplication::processEvents();
        QCOMPARE(boardNotices.count(), 2);
        QCOMPARE(boardNotices.at(1).at(0).toBool(), true);
        QCOMPARE(boardNotices.at(1).at(1).value<Boards>(), Boards({ Board(1, 9), Board(2, 5) }));
        QVERIFY(boards.setData(QModelIndex(), 1, Qt::CheckStateRole));
        QCoreApplication::processEvents();
        QCOMPARE(boardNotices.count(), 2);
    }

    void boardOrderAndRestriction()
    {
        SelectorMarket market;
        market.addStock(1, "MOEX", "Moscow");
        market.addStock(2, "SPBX", "Petersburg");
        market.addBoard(2, 1, "SPB", "Main SPB", 0, true);
        market.addBoard(1, 3, "TQBR", "Shares", 0, true);
        market.addBoard(1, 1, "TQOB", "Bonds");
        market.addBoard(1, 2, "CETS", "Currency");
        market.addBoard(1, 4, "TQBR", "Shares twin");

        BoardSelectorModel model;
        QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
        model.populate();
        QCOMPARE(rowTexts(model), QStringList({ "Currency", "Shares twin", "Shares", "Bonds", "Main SPB" }));
        const QStringList first = { "2,1", "1", "2", "MOEX", "CETS" };
        for (int role = 257; role <= 261; ++role)
            QCOMPARE(model.index(0, 0).data(role).toString(), first.at(role - 257));
        Table *boards = market.table("boards");
        QCOMPARE(boards->dataPtr(model.at(2), boards->columnIndex("name"))->toString(), QString("Shares"));

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

    void filteredBoards_data()
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

    void filteredBoards()
    {
        QFETCH(QString, stockCode);
        QFETCH(qlonglong, flagsOn);
        QFETCH(qlonglong, flagsOff);
        QFETCH(QStringList, boards);

        SelectorMarket market;
        const QStringList stocks = { "MOEX", "ARVENTA", "RFS", "SPBX" };
        for (int id = 1; id <= stocks.size(); ++id)
            market.addStock(id, stocks.at(id - 1), stocks.at(id - 1));
        market.addBoard(1, 1, "TQBR", "TQBR", 0x3);
        market.addBoard(2, 1, "CETS", "CETS", 0x1, false, true);
        market.addBoard(2, 2, "SPOT", "SPOT", 0x7, false, true);
        market.addBoard(2, 3, "SWAP", "SWAP", 0x1);
        market.addBoard(3, 1, "FX", "FX", 0x5);
        market.addBoard(4, 1, "SPB", "SPB", 0x3);

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


    // A stream leaves the table: the model refills from the event loop.
    void streamsFollowTheTable()
    {
        SelectorMarket market;
        market.addStream(20, 1282, "USDRUB_TOM", "1000000");
        market.addStream(10, 1281, "USDRUB_TOD", "1000000");
        StreamSelectorModel model;
        QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
        model.populate();
        QSignalSpy reset(&model, &QAbstractItemModel::modelReset);
        market.table("rfs_streams")->remove({ { "stream_id", 10 } });
        QVERIFY(reset.wait());
        QCOMPARE(rowTexts(model, StreamSelectorModel::StreamIdRole), QStringList({ "20" }));
    }

    // A feed that keeps security ids as text: the refill that the directory's
    // notice starts in the event loop must not end the program.
    void streamsWithTextSecurityIdsWarn()
    {
        SelectorMarket market(false);
        market.core->database()->createTable("rfs_streams",
            { { "stream_id", FieldType::Int64 }, { "sec_id", FieldType::String },
                { "sec_code", FieldType::String }, { "quantity", FieldType::Decimal } },
            { "stream_id" });
        StreamSelectorModel model;
        QSignalSpy reset(&model, &QAbstractItemModel::modelReset);
        QTest::ignoreMessage(QtWarningMsg, "StreamSelectorModel: Incorrect type conversion.");
        market.addStream(10, 1281, "USDRUB_TOD", "1000000");
        QVERIFY(reset.wait());
        QCOMPARE(model.rowCount(), 0);
    }

    // Types apart by their order, values of one type by value, not by their
    // text; the order is the same read either way.
    void partnerCodeOrderIsTotalOverEveryType()
    {
        using T = FieldType;
        using I64 = std::numeric_limits<qint64>;
        const QList<QPair<T::Type, QVariant>> values = { { T::Int32, -5 }, { T::Int32, 7 },
            { T::Int64, I64::min() }, { T::Int64, I64::max() }, { T::Double, -1.5 }, { T::Double, qQNaN() },
            { T::Decimal, "1.50" }, { T::Decimal, "1.5" }, { T::Decimal, "10.001" }, { T::String, "b" },
            { T::String, "B" }, { T::None, {} } };
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
};

QTEST_MAIN(TestSelectorModels)
#include "tst_selectormodels.moc"
