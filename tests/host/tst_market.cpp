#include <host/boarddirectory.h>
#include <host/core.h>
#include <host/database.h>
#include <host/exception.h>
#include <host/indexlist.h>
#include <host/lambdafilterfunc.h>
#include <host/market.h>
#include <host/marketgenerator.h>
#include <host/record.h>
#include <host/rfsstreamsdirectory.h>
#include <host/securitiessessionfilter.h>
#include <host/stockdirectory.h>
#include <host/tablelocker.h>

#include <QSet>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

class TestMarket : public QObject
{
    Q_OBJECT

private slots:
    void init() { m_core.reset(new Core); }
    void cleanup() { m_core.reset(); }

    void sampleMarket();
    void loadErrors_data();
    void loadErrors();
    void nothingHalfWay();
    void newTableAndObjectRows();
    void missingFile();
    void generator();

private:
    Table *table(const char *name) const { return m_core->database()->table(QString::fromLatin1(name)); }
    int count(const char *name) const { return table(name)->rowCount(); }

    std::unique_ptr<Core> m_core;
};

static QByteArray marketFile(const QByteArray &tables)
{
    return "{\"format\": \"vetrel-market/1\", \"tables\": [" + tables + "]}";
}

void TestMarket::sampleMarket()
{
    Market::loadSample(m_core->database());
    QCOMPARE(count("stocks"), 6);
    QVERIFY(count("securities") >= 1900 && count("securities") <= 2100);
    QVERIFY(count("kx.dealer") >= 200);
    QVERIFY(count("rfs_streams") > 0);

    QCOMPARE(StockDirectory::codeById(5), QStringLiteral("MOEX-T1"));
    const int arventa = StockDirectory::idByCode(QStringLiteral("ARVENTA"));
    QVERIFY(arventa != 0);
    QVERIFY(StockDirectory::idByCode(QStringLiteral("RFS")) != 0);
    QVERIFY(BoardDirectory::isRFSBoardById(
        arventa, BoardDirectory::idByCode(QStringLiteral("ARVENTA"), QStringLiteral("CETS"))));
    QVERIFY(!BoardDirectory::isRFSBoardById(
        arventa, BoardDirectory::idByCode(QStringLiteral("ARVENTA"), QStringLiteral("SWAP"))));
    // Stock 5 has boards of stock 1's codes but no securities of its own.
    QVERIFY(BoardDirectory::idByCode(QStringLiteral("MOEX-T1"), QStringLiteral("TQBR")) != 0);
    QVERIFY(BoardDirectory::isPositionById(1, 1));

    // Securities in open and in closed sessions; every board and stock known.
    Table *securities = table("securities");
    const int stock = securities->columnIndex(QStringLiteral("stock_id"));
    const int board = securities->columnIndex(QStringLiteral("board_id"));
    const int session = securities->columnIndex(QStringLiteral("sess_id"));
    SecuritiesSessionFilter sessions(securities, session, { stock, session }, -1);
    std::unique_ptr<LambdaFilterFunc> open(sessions.createFilterFunc(nullptr));
    int openCount = 0;
    bool beyond53Bits = false;
    TableLocker locker(securities);
    for (const Record *r : *securities->masterIndex()) {
        const int stockId = securities->dataPtr(r, stock)->toInt32();
        QVERIFY(stockId != 5);
        QVERIFY(!BoardDirectory::codeById(stockId, securities->dataPtr(r, board)->toInt32()).isEmpty());
        openCount += open->filter(*r);
        beyond53Bits |= securities->dataPtr(r, 0)->toInt64() > (qint64(1) << 53);
    }
    QVERIFY(openCount > count("securities") / 2 && openCount < count("securities"));
    QVERIFY(beyond53Bits);
    QVERIFY(RFSStreamsDirectory::getStreamsMap().size() == count("rfs_streams"));
}

void TestMarket::loadErrors_data()
{
    QTest::addColumn<QByteArray>("file");
    QTest::addColumn<QString>("message");
    const QByteArray stocks = "{\"name\": \"stocks\", \"rows\": [[1, \"A\", \"a\"], ";
    QTest::newRow("not JSON") << QByteArray("{\"format\": ") << "bad.json: not JSON at offset";
    QTest::newRow("no format") << QByteArray("{\"tables\": []}") << "bad.json: not a market file";
    QTest::newRow("wrong type")
        << marketFile(stocks + "[\"2\", \"B\", \"b\"]]}")
        << "bad.json: table \"stocks\", row 2: column \"stock_id\": a string where int32";
    QTest::newRow("too few values") << marketFile(stocks + "[2, \"B\"]]}")
                                    << "bad.json: table \"stocks\", row 2: 2 values for 3 columns";
    QTest::newRow("int32 overflow")
        << marketFile(stocks + "[5000000000, \"B\", \"b\"]]}")
        << "bad.json: table \"stocks\", row 2: column \"stock_id\": Incorrect type";
    QTest::newRow("repeated key") << marketFile(stocks + "[1, \"B\", \"b\"]]}")
                                  << "bad.json: table \"stocks\": row 2 repeats the key of row 1";
    QTest::newRow("decimal as number")
        << marketFile("{\"name\": \"rfs_streams\", \"rows\": [[1, 2, \"X\", 1.5]]}")
        << "bad.json: table \"rfs_streams\", row 1: column \"quantity\": a number where decimal";
    QTest::newRow("decimal with exponent")
        << marketFile("{\"name\": \"rfs_streams\", \"rows\": [[1, 2, \"X\", \"1e6\"]]}")
        << "bad.json: table \"rfs_streams\", row 1: column \"quantity\": Incorrect type";
    QTest::newRow("unknown column") << marketFile(
        "{\"name\": \"stocks\", \"rows\": [{\"stock_id\": 1, \"x\": 2}]}")
                                    << "bad.json: table \"stocks\", row 1: no column \"x\"";
    QTest::newRow("unknown table") << marketFile("{\"name\": \"mystery\", \"rows\": []}")
                                   << "bad.json: table \"mystery\": a new table needs its \"columns\"";
    QTest::newRow("table twice") << marketFile(
        stocks + "[2, \"B\", \"b\"]]}, {\"name\": \"stocks\", \"rows\": []}")
                                 << "bad.json: table \"stocks\": the table appears twice";
}

void TestMarket::loadErrors()
{
    QFETCH(QByteArray, file);
    QFETCH(QString, message);
    Market::createTables(m_core->database());
    try {
        Market::loadData(m_core->database(), file, QStringLiteral("bad.json"));
        QFAIL("no exception");
    } catch (const Exception &e) {
        QVERIFY2(e.message().startsWith(message), qPrintable(e.message()));
    }
    QCOMPARE(count("stocks"), 0);
}

void TestMarket::nothingHalfWay()
{
    Market::loadData(m_core->database(),
        marketFile("{\"name\": \"stocks\", \"rows\": [[1, \"OLD\", \"old\"]]}"), QStringLiteral("a"));
    QCOMPARE(StockDirectory::codeById(1), QStringLiteral("OLD"));
    // A good first table and a bad second one: neither is written.
    const QByteArray file
        = marketFile("{\"name\": \"stocks\", \"rows\": [[1, \"NEW\", \"new\"], [2, \"X\", \"x\"]]},"
                     "{\"name\": \"boards\", \"rows\": [[1, 1, \"B\", \"b\", \"E\", 0, 1, \"no\"]]}");
    QVERIFY_EXCEPTION_THROWN(Market::loadData(m_core->database(), file, QStringLiteral("b")), Exception);
    QCOMPARE(count("stocks"), 1);
    QCOMPARE(StockDirectory::codeById(1), QStringLiteral("OLD"));
    QCOMPARE(m_core->database()->table(QStringLiteral("boards")), nullptr);

    // A later good load replaces the content of the tables it names.
    Market::loadData(m_core->database(),
        marketFile("{\"name\": \"stocks\", \"rows\": [[2, \"TWO\", \"two\"]]}"), QStringLiteral("c"));
    QCOMPARE(StockDirectory::codeById(1), QString());
    QCOMPARE(StockDirectory::codeById(2), QStringLiteral("TWO"));
}

void TestMarket::newTableAndObjectRows()
{
    const QByteArray file = marketFile(
        "{\"name\": \"prices\", \"columns\": [{\"name\": \"sec_id\", \"type\": \"int64\"},"
        " {\"name\": \"price\", \"type\": \"decimal\"}, {\"name\": \"at\", \"type\": \"time64\"}],"
        " \"key\": [\"sec_id\"], \"rows\": [{\"sec_id\": \"9007199254740993\", \"price\": \"10.50\","
        " \"at\": \"1970-01-01T00:00:01Z\"}, {\"sec_id\": 1}]}");
    Market::loadData(m_core->database(), file, QStringLiteral("p"));
    Table *prices = table("prices");
    QCOMPARE(prices->rowCount(), 2);
    const Record *big = prices->masterIndex()->at(1);
    QCOMPARE(prices->dataPtr(big, 0)->toInt64(), Q_INT64_C(9007199254740993));
    QCOMPARE(prices->dataPtr(big, 1)->toString(), QStringLiteral("10.50"));
    QCOMPARE(prices->dataPtr(big, 2)->toInt64(), 1000);
    QVERIFY(!prices->dataPtr(prices->masterIndex()->at(0), 1)->isPresent());

    // Declared columns must match those of an existing table.
    const QByteArray other
        = marketFile("{\"name\": \"prices\", \"columns\": [{\"name\": \"sec_id\", \"type\": "
                     "\"int32\"}], \"key\": [\"sec_id\"], \"rows\": []}");
    QVERIFY_EXCEPTION_THROWN(Market::loadData(m_core->database(), other, QStringLiteral("q")), Exception);
    QCOMPARE(prices->rowCount(), 2);
}

void TestMarket::missingFile()
{
    QTemporaryDir dir;
    const QString name = dir.filePath(QStringLiteral("none.json"));
    try {
        Market::load(m_core->database(), name);
        QFAIL("no exception");
    } catch (const Exception &e) {
        QVERIFY2(e.message().startsWith(name), qPrintable(e.message()));
    }
}

void TestMarket::generator()
{
    MarketGenerator::Options options;
    options.securities = 5000;
    options.dealers = 50;
    const QByteArray file = MarketGenerator::generate(options);
    QCOMPARE(MarketGenerator::generate(options), file);
    Market::loadData(m_core->database(), file, QStringLiteral("generated"));
    QCOMPARE(count("securities"), 5000);
    QCOMPARE(count("kx.dealer"), 50);
    QCOMPARE(count("stocks"), options.stocks);
    QCOMPARE(count("boards"), options.stocks * options.boardsPerStock);
    QCOMPARE(count("rfs_streams"), options.streams);

    // Put straight into the tables, the same market, cell for cell.
    Core direct;
    MarketGenerator::fill(direct.database(), options);
    for (const Market::TableSchema &schema : Market::schema()) {
        const Table *loaded = table(qPrintable(schema.name));
        const Table *filled = direct.database()->table(schema.name);
        QCOMPARE(filled->rowCount(), loaded->rowCount());
        const TableLocker lockLoaded(loaded);
        const TableLocker lockFilled(filled);
        for (int row = 0; row < loaded->rowCount(); ++row) {
            for (int column = 0; column < schema.columns.size(); ++column) {
                const Field &a = *loaded->dataPtr(loaded->masterIndex()->at(row), column);
                const Field &b = *filled->dataPtr(filled->masterIndex()->at(row), column);
                QVERIFY2(Field::compare(a, b) == 0,
                    qPrintable(QStringLiteral("%1 row %2 column %3").arg(schema.name).arg(row).arg(column)));
            }
        }
    }
}

QTEST_GUILESS_MAIN(TestMarket)
#include "tst_market.moc"
