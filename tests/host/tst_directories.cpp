#include <host/boarddirectory.h>
#include <host/core.h>
#include <host/database.h>
#include <host/decoder.h>
#include <host/exception.h>
#include <host/indexlist.h>
#include <host/lambdafilterfunc.h>
#include <host/market.h>
#include <host/record.h>
#include <host/rfsstreamsdirectory.h>
#include <host/securitiessessionfilter.h>
#include <host/stockdirectory.h>
#include <host/tablelocker.h>

#include <QLocale>
#include <QSignalSpy>
#include <QTest>

#include <atomic>
#include <functional>
#include <memory>
#include <thread>

class TestDirectories : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void coreInstanceStack();
    void stockDirectory();
    void lookupsWhileAFeedWrites();
    void boardDirectory();
    void streamsDirectory();
    void sessionFilter();
    void lambdaFilterFunc();
    void decoderPlugin();

private:
    Table *table(const char *name) const { return m_core->database()->table(QString::fromLatin1(name)); }

    std::unique_ptr<Core> m_core;
};

void TestDirectories::init()
{
    QLocale::setDefault(QLocale::c());
    m_core.reset(new Core);
    Market::createTables(m_core->database());
    Table *stocks = table("stocks");
    stocks->insert({ { "stock_id", 1 }, { "stock_code", "MOEX" }, { "name", "Main market" } });
    stocks->insert({ { "stock_id", 2 }, { "stock_code", "ARVENTA" }, { "name", "Arventa" } });
    stocks->insert({ { "stock_id", 5 }, { "stock_code", "MOEX-T" }, { "name", "Main market, T+" } });
}

void TestDirectories::cleanup()
{
    m_core.reset();
}

void TestDirectories::coreInstanceStack()
{
    QCOMPARE(ICore::instance(), m_core.get());
    {
        Core inner;
        QCOMPARE(ICore::instance(), &inner);
        QCOMPARE(inner.database()->table(QStringLiteral("stocks")), nullptr);
        // The directories follow the core that is current now.
        QCOMPARE(StockDirectory::codeById(1), QString());
    }
    QCOMPARE(ICore::instance(), m_core.get());
    QCOMPARE(StockDirectory::codeById(1), QStringLiteral("MOEX"));
    m_core.reset();
    QCOMPARE(ICore::instance(), nullptr);
    QCOMPARE(StockDirectory::idByCode(QStringLiteral("MOEX")), 0);
}

void TestDirectories::stockDirectory()
{
    QCOMPARE(StockDirectory::codeById(2), QStringLiteral("ARVENTA"));
    QCOMPARE(StockDirectory::i()->idByCode(QStringLiteral("ARVENTA")), 2);
    QCOMPARE(StockDirectory::nameById(5), QStringLiteral("Main market, T+"));
    QCOMPARE(StockDirectory::codeById(3), QString());
    QCOMPARE(StockDirectory::idByCode(QStringLiteral("arventa")), 0);

    // A change of the table reaches the next lookup and the signal.
    QSignalSpy changed(StockDirectory::i(), &Directory::dataChanged);
    table("stocks")->update({ { "stock_id", 2 }, { "stock_code", "ARV" } });
    QCOMPARE(changed.count(), 1);
    QCOMPARE(StockDirectory::codeById(2), QStringLiteral("ARV"));
    QCOMPARE(StockDirectory::idByCode(QStringLiteral("ARVENTA")), 0);
    table("stocks")->remove({ { "stock_id", 2 } });
    QCOMPARE(StockDirectory::idByCode(QStringLiteral("ARV")), 0);
}

void TestDirectories::lookupsWhileAFeedWrites()
{
    Table *stocks = table("stocks");
    constexpr int writes = 3000;
    std::atomic<bool> done { false };
    std::thread feed([&] {
        for (int i = 0; i < writes; ++i)
            stocks->update({ { "stock_id", 2 }, { "stock_code", i % 2 ? "ODD" : "EVEN" } });
        done = true;
    });
    // Every answer is one state of the table: never a code of another id,
    // never a half-built cache.
    bool consistent = true;
    while (!done && consistent) {
        const QString code = StockDirectory::codeById(2);
        consistent = (code == QLatin1String("ODD") || code == QLatin1String("EVEN")
                         || code == QLatin1String("ARVENTA"))
            && StockDirectory::codeById(1) == QLatin1String("MOEX")
            && StockDirectory::idByCode(QStringLiteral("MOEX")) == 1;
    }
    feed.join();
    QVERIFY(consistent);
    QCOMPARE(StockDirectory::codeById(2), QStringLiteral("ODD"));
    QCOMPARE(StockDirectory::idByCode(QStringLiteral("ODD")), 2);
}

void TestDirectories::boardDirectory()
{
    Table *boards = table("boards");
    boards->insert({ { "stock_id", 1 }, { "board_id", 10 }, { "board_code", "TQBR" }, { "flags", 0x5 },
        { "position", 1 } });
    boards->insert({ { "stock_id", 2 }, { "board_id", 10 }, { "board_code", "SPOT" }, { "rfs", 1 } });
    boards->insert({ { "stock_id", 2 }, { "board_id", 11 }, { "board_code", "OTC" }, { "flags", 0x2 } });

    QCOMPARE(BoardDirectory::codeById(1, 10), QStringLiteral("TQBR"));
    QCOMPARE(BoardDirectory::codeById(2, 10), QStringLiteral("SPOT"));
    QCOMPARE(BoardDirectory::codeById(1, 11), QString());
    QCOMPARE(BoardDirectory::idByCode(QStringLiteral("ARVENTA"), QStringLiteral("OTC")), 11);
    QCOMPARE(BoardDirectory::idByCode(QStringLiteral("MOEX"), QStringLiteral("OTC")), 0);
    QCOMPARE(BoardDirectory::idByCode(QStringLiteral("NOPE"), QStringLiteral("TQBR")), 0);

    // Every flag of the mask must be there.
    QVERIFY(BoardDirectory::checkFlagsById(1, 10, 0x1));
    QVERIFY(BoardDirectory::checkFlagsById(1, 10, 0x5));
    QVERIFY(!BoardDirectory::checkFlagsById(1, 10, 0x3));
    QVERIFY(!BoardDirectory::checkFlagsById(9, 9, 0x1));
    QVERIFY(BoardDirectory::isPositionById(1, 10));
    QVERIFY(!BoardDirectory::isPositionById(2, 10));
    QVERIFY(BoardDirectory::isRFSBoardById(2, 10));
    QVERIFY(!BoardDirectory::isRFSBoardById(2, 11));
    QVERIFY(!BoardDirectory::isRFSBoardById(7, 7));

    boards->update({ { "stock_id", 2 }, { "board_id", 11 }, { "flags", 0x3 } });
    QVERIFY(BoardDirectory::checkFlagsById(2, 11, 0x3));
    // Stock codes come from the stock directory, which follows its own table.
    table("stocks")->update({ { "stock_id", 2 }, { "stock_code", "ARV" } });
    QCOMPARE(BoardDirectory::idByCode(QStringLiteral("ARV"), QStringLiteral("OTC")), 11);
}

void TestDirectories::streamsDirectory()
{
    QLocale::setDefault(QLocale(QLocale::Russian, QLocale::Russia));
    Table *streams = table("rfs_streams");
    QSignalSpy changed(RFSStreamsDirectory::i(), &Directory::dataChanged);
    streams->insert({ { "stream_id", qulonglong(7) }, { "sec_id", 100 }, { "sec_code", "USDRUB" },
        { "quantity", "1000000" } });
    streams->insert({ { "stream_id", qulonglong(3) }, { "sec_id", 100 }, { "sec_code", "USDRUB" },
        { "quantity", "500.5" } });
    QCOMPARE(changed.count(), 2);
    const QString nbsp(QChar(0x00a0));
    RFSStreamsDirectory::StreamsMap expected;
    expected.insert(3, QStringLiteral("USDRUB * 500,5"));
    expected.insert(7, QString(QLatin1String("USDRUB * 1") + nbsp + "000" + nbsp + "000"));
    QCOMPARE(RFSStreamsDirectory::getStreamsMap(), expected);
    QCOMPARE(RFSStreamsDirectory::i()->table(), streams);

    streams->remove({ { "stream_id", 3 } });
    QCOMPARE(changed.count(), 3);
    QCOMPARE(RFSStreamsDirectory::getStreamsMap().keys(), QList<qulonglong>({ 7 }));

    // A table that appears after the directory looked for it is followed too.
    Core later;
    QVERIFY(RFSStreamsDirectory::getStreamsMap().isEmpty());
    changed.clear();
    Market::createTables(later.database());
    QVERIFY(changed.count() >= 1);
    changed.clear();
    later.database()
        ->table(QStringLiteral("rfs_streams"))
        ->insert({ { "stream_id", 1 }, { "quantity", "1" } });
    QCOMPARE(changed.count(), 1);
}

void TestDirectories::sessionFilter()
{
    Table *sessions = table("sessions");
    sessions->insert({ { "stock_id", 1 }, { "sess_id", 100 }, { "status", "O" } });
    sessions->insert({ { "stock_id", 1 }, { "sess_id", 99 }, { "status", "C" } });
    sessions->insert({ { "stock_id", 2 }, { "sess_id", 100 }, { "status", "O" } });
    Table *securities = table("securities");
    struct Row
    {
        qint64 id;
        int stock;
        QVariant session;
    };
    const QVector<Row> rows { { 1, 1, 100 }, { 2, 1, 99 }, { 3, 2, 100 }, { 4, 2, 99 },
        { 5, 1, QVariant() } };
    for (const Row &r : rows)
        securities->insert({ { "sec_id", r.id }, { "stock_id", r.stock }, { "sess_id", r.session } });

    const int stock = securities->columnIndex(QStringLiteral("stock_id"));
    const int session = securities->columnIndex(QStringLiteral("sess_id"));
    auto accepted = [&](int stockId) {
        auto *sessionFilter = new SecuritiesSessionFilter(securities, session, { stock, session }, stockId);
        std::unique_ptr<LambdaFilterFunc> func(sessionFilter->createFilterFunc(nullptr));
        delete sessionFilter; // the function keeps working on its own
        QList<qint64> ids;
        TableLocker locker(securities);
        for (const Record *r : *securities->masterIndex()) {
            if (func->filter(*r))
                ids.append(r->field(0)->toInt64());
        }
        return ids;
    };
    QCOMPARE(accepted(-1), QList<qint64>({ 1, 3 }));
    QCOMPARE(accepted(2), QList<qint64>({ 3 }));

    // A filter sees the sessions of its making; a new one sees new sessions.
    sessions->update({ { "stock_id", 1 }, { "sess_id", 99 }, { "status", "O" } });
    QCOMPARE(accepted(-1), QList<qint64>({ 1, 2, 3 }));
    sessions->clear();
    QCOMPARE(accepted(-1), QList<qint64>());
}

void TestDirectories::lambdaFilterFunc()
{
    LambdaFilterFunc empty;
    QVERIFY_EXCEPTION_THROWN(empty.filter(Record()), std::bad_function_call);
    QObject owner;
    QPointer<LambdaFilterFunc> owned
        = new LambdaFilterFunc([](const Record &r) { return r.count() == 0; }, &owner);
    QVERIFY(owned->filter(Record()));
    owned->setFunc([](const Record &) { return false; });
    QVERIFY(!owned->filter(Record()));
}

void TestDirectories::decoderPlugin()
{
    QObject plain;
    auto decoder = std::make_unique<Decoder>();
    m_core->addPlugin(&plain);
    m_core->addPlugin(decoder.get());
    m_core->addPlugin(decoder.get());
    QCOMPARE(m_core->plugins().size(), 2);

    int decoders = 0;
    for (QObject *plugin : ICore::instance()->plugins()) {
        if (!plugin->qt_metacast(IDecoder_iid))
            continue;
        ++decoders;
        QCOMPARE(qobject_cast<IDecoder *>(plugin)->object(), plugin);
        QSignalSpy spy(plugin, SIGNAL(aNewSessions()));
        decoder->announceNewSessions();
        QCOMPARE(spy.count(), 1);
    }
    QCOMPARE(decoders, 1);
    QCOMPARE(qobject_cast<IDecoder *>(&plain), nullptr);

    decoder.reset();
    QCOMPARE(m_core->plugins(), QObjectList({ &plain }));
}

QTEST_GUILESS_MAIN(TestDirectories)
#include "tst_directories.moc"
