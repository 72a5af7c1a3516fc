#include <host/core.h>
#include <host/database.h>
#include <host/exception.h>
#include <host/indexlist.h>
#include <host/market.h>
#include <host/marketgenerator.h>
#include <host/record.h>
#include <host/stockdirectory.h>
#include <host/tablelocker.h>

#include <QTemporaryDir>
#include <QTest>

#include <memory>

static QByteArray marketFile(const QByteArray &tables)
{
    return "{\"format\": \"vetrel-market/1\", \"tables\": [" + tables + "]}";
}

// Every cell of the table as text, a row per line, in key order.
static QStringList dump(const Table *table)
{
    const TableLocker locker(table);
    QStringList rows;
    for (const Record *record : *table->masterIndex()) {
        QStringList cells;
        for (int column = 0; column < table->columnCount(); ++column)
            cells << table->dataPtr(record, column)->toString();
        rows << cells.join(QLatin1Char('|'));
    }
    return rows;
}

class TestMarket : public QObject
{
    Q_OBJECT

    Table *table(const char *name) const { return m_core->database()->table(QString::fromLatin1(name)); }
    int count(const char *name) const { return table(name)->rowCount(); }

    std::unique_ptr<Core> m_core;

private slots:
    void init() { m_core.reset(new Core); }
    void cleanup() { m_core.reset(); }

    void loadErrors_data()
    {
        QTest::addColumn<QByteArray>("file");
        QTest::addColumn<QString>("message"); // how it starts, after the file's name
        // A table of stocks whose second row is given.
        auto stocks = [](const QByteArray &row) {
            return marketFile("{\"name\": \"stocks\", \"rows\": [[1, \"A\", \"a\"], " + row + "]}");
        };
        const QString id = QStringLiteral("table \"stocks\", row 2: column \"stock_id\": ");
        QTest::newRow("no format") << QByteArray("{\"tables\": []}") << "not a market file";
        QTest::newRow("fraction for an integer") << stocks("[2.5, \"B\", \"b\"]") << id + "2.5 is not";
        QTest::newRow("integer beyond doubles") << stocks("[18014398509481984, \"B\", \"b\"]") << id + "1.8";
        QTest::newRow("too few values")
            << stocks("[2, \"B\"]") << "table \"stocks\", row 2: 2 values for 3 columns";
        QTest::newRow("repeated key")
            << stocks("[1, \"B\", \"b\"]") << "table \"stocks\": row 2 repeats the key of row 1";
        QTest::newRow("decimal as number")
            << marketFile("{\"name\": \"rfs_streams\", \"rows\": [[1, 2, \"X\", 1.5]]}")
            << "table \"rfs_streams\", row 1: column \"quantity\": a number where decimal";
        QTest::newRow("unknown column")
            << marketFile("{\"name\": \"stocks\", \"rows\": [{\"stock_id\": 1, \"x\": 2}]}")
            << "table \"stocks\", row 1: no column \"x\"";
    }

    void loadErrors()
    {
        QFETCH(QByteArray, file);
        QFETCH(QString, message);
        Market::createTables(m_core->database());
        try {
            Market::loadData(m_core->database(), file, QStringLiteral("bad.json"));
            QFAIL("no exception");
        } catch (const Exception &e) {
            QVERIFY2(e.message().startsWith(QLatin1String("bad.json: ") + message), qPrintable(e.message()));
        }
        QCOMPARE(count("stocks"), 0);
    }

    void nothingHalfWay()
    {
        Market::loadData(m_core->database(),
            marketFile("{\"name\": \"stocks\", \"rows\": [[1, \"OLD\", \"old\"]]}"), QStringLiteral("a"));
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

        // A file that cannot be read is an error, not an empty market.
        QTemporaryDir dir;
        QVERIFY_EXCEPTION_THROWN(Market::load(m_core->database(), dir.filePath("none.json")), Exception);
    }

    void newTableAndObjectRows()
    {
        const QByteArray file = marketFile(
            "{\"name\": \"prices\", \"columns\": [{\"name\": \"sec_id\", \"type\": \"int64\"},"
            " {\"name\": \"price\", \"type\": \"decimal\"}, {\"name\": \"at\", \"type\": \"time64\"}],"
            " \"key\": [\"sec_id\"], \"rows\": [{\"sec_id\": \"9007199254740993\", \"price\": \"10.50\","
            " \"at\": \"1970-01-01T00:00:01Z\"}, {\"sec_id\": 1}]}");
        Market::loadData(m_core->database(), file, QStringLiteral("p"));
        QCOMPARE(dump(table("prices")), QStringList({ "1||", "9007199254740993|10.50|1000" }));

        // Declared columns must match those of an existing table.
        const QByteArray other = marketFile("{\"name\": \"prices\", \"columns\": [{\"name\": \"sec_id\","
                                            " \"type\": \"int32\"}], \"key\": [\"sec_id\"], \"rows\": []}");
        QVERIFY_EXCEPTION_THROWN(Market::loadData(m_core->database(), other, QStringLiteral("q")), Exception);
        QCOMPARE(count("prices"), 2);
    }

    void generator()
    {
        MarketGenerator::Options options;
        options.securities = 5000;
        options.dealers = 50;
        const QByteArray file = MarketGenerator::generate(options);
        QCOMPARE(MarketGenerator::generate(options), file);
        Market::loadData(m_core->database(), file, QStringLiteral("generated"));
        QCOMPARE(count("securities"), 5000);
        QCOMPARE(count("stocks"), options.stocks);

        // Put straight into the tables, the same market, cell for cell.
        Core direct;
        MarketGenerator::fill(direct.database(), options);
        for (const Market::TableSchema &schema : Market::schema())
            QCOMPARE(dump(direct.database()->table(schema.name)), dump(table(qPrintable(schema.name))));
    }
};

QTEST_GUILESS_MAIN(TestMarket)
#include "tst_market.moc"
