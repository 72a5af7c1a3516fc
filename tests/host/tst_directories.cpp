#include <host/boarddirectory.h>
#include <host/core.h>
#include <host/database.h>
#include <host/decoder.h>
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
#include <memory>
#include <thread>

class TestDirectories : public QObject
{
    Q_OBJECT

    Table *table(const char *name) const { return m_core->database()->table(QString::fromLatin1(name)); }

    std::unique_ptr<Core> m_core;

private slots:
    void init()
    {
        QLocale::setDefault(QLocale::c());
        m_core.reset(new Core);
        Market::createTables(m_core->database());
        Table *stocks = table("stocks");
        stocks->insert({ { "stock_id", 1 }, { "stock_code", "MOEX" }, { "name", "Main market" } });
        stocks->insert({ { "stock_id", 2 }, { "stock_code", "ARVENTA" }, { "name", "Arventa" } });
    }

    void cleanup() { m_core.reset(); }

    void stockDirectoryFollowsCoreAndTable()
    {
        QCOMPARE(StockDirectory::codeById(2), QStringLiteral("ARVENTA"));
        QCOMPARE(StockDirectory::idByCode(QStringLiteral("ARVENTA")), 2);

        // A change of the table reaches the next lookup and the signal.
        QSignalSpy changed(StockDirectory::i(), &Directory::dataChanged);
        table("stocks")->update({ { "stock_id", 2 }, { "stock_code", "ARV" } });
        QCOMPARE(changed.count(), 1);
        QCOMPARE(StockDirectory::codeById(2), QStringLiteral("ARV"));
        QCOMPARE(StockDirectory::idByCode(QStringLiteral("ARVENTA")), 0);

        // The directories follow the core that is current now, and a table made after they looked.
        {
            Core inner;
            QCOMPARE(StockDirectory::codeById(1), QString());
            Market::createTables(inner.database());
            changed.clear();
            inner.database()
                ->table(QStringLiteral("stocks"))
                ->insert({ { "stock_id", 1 }, { "stock_code", "NEW" } });
            QCOMPARE(changed.count(), 1);
            QCOMPARE(StockDirectory::codeById(1), QStringLiteral("NEW"));
        }
        QCOMPARE(StockDirectory::codeById(1), QStringLiteral("MOEX"));
        m_core.reset();
        QCOMPARE(StockDirectory::idByCode(QStringLiteral("MOEX")), 0);
    }

    void lookupsWhileAFeedWrites()
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
        const QStringList codes { QStringLiteral("ODD"), QStringLiteral("EVEN"), QStringLiteral("ARVENTA") };
        bool consistent = true;
        do {
            consistent = codes.contains(StockDirectory::codeById(2))
                && StockDirectory::idByCode(QStringLiteral("MOEX")) == 1;
        } while (!done && consistent);
        feed.join();
        QVERIFY(consistent);
        QCOMPARE(StockDirectory::idByCode(QStringLiteral("ODD")), 2);
    }

    void boardDirectory()
    {
        Table *boards = table("boards");
        boards->insert({ { "stock_id", 1 }, { "board_id", 10 }, { "board_code", "TQBR" }, { "flags", 0x5 },
            { "position", 1 } });
        boards->insert({ { "stock_id", 2 }, { "board_id", 10 }, { "board_code", "SPOT" }, { "rfs", 1 } });
        boards->insert({ { "stock_id", 2 }, { "board_id", 11 }, { "board_code", "OTC" }, { "flags", 0x2 } });

        // Boards are known by stock and board together.
        QCOMPARE(BoardDirectory::codeById(2, 10), QStringLiteral("SPOT"));
        QCOMPARE(BoardDirectory::codeById(1, 11), QString());
        QCOMPARE(BoardDirectory::idByCode(QStringLiteral("ARVENTA"), QStringLiteral("OTC")), 11);
        QCOMPARE(BoardDirectory::idByCode(QStringLiteral("MOEX"), QStringLiteral("OTC")), 0);
        // Every flag of the mask must be there.
        QVERIFY(BoardDirectory::checkFlagsById(1, 10, 0x5));
        QVERIFY(!BoardDirectory::checkFlagsById(1, 10, 0x3));
        QVERIFY(BoardDirectory::isPositionById(1, 10));
        QVERIFY(BoardDirectory::isRFSBoardById(2, 10));
    }

    void streamsDirectory()
    {
        QLocale::setDefault(QLocale(QLocale::Russian, QLocale::Russia));
        Table *streams = table("rfs_streams");
        QSignalSpy changed(RFSStreamsDirectory::i(), &Directory::dataChanged);
        streams->insert({ { "stream_id", qulonglong(7) }, { "sec_id", 100 }, { "sec_code", "USDRUB" },
            { "quantity", "1000000.5" } });
        QCOMPARE(changed.count(), 1);
        const RFSStreamsDirectory::StreamsMap expected { { 7, "USDRUB * 1\u00a0000\u00a0000,5" } };
        QCOMPARE(RFSStreamsDirectory::getStreamsMap(), expected);
    }

    void sessionFilter()
    {
        Table *sessions = table("sessions");
        sessions->insert({ { "stock_id", 1 }, { "sess_id", 100 }, { "status", "O" } });
        sessions->insert({ { "stock_id", 1 }, { "sess_id", 99 }, { "status", "C" } });
        sessions->insert({ { "stock_id", 2 }, { "sess_id", 100 }, { "status", "O" } });
        Table *securities = table("securities");
        for (const QVariantList &r : QVector<QVariantList> {
                 { 1, 1, 100 }, { 2, 1, 99 }, { 3, 2, 100 }, { 4, 2, 99 }, { 5, 1, QVariant() } })
            securities->insert({ { "sec_id", r[0] }, { "stock_id", r[1] }, { "sess_id", r[2] } });

        const int stock = securities->columnIndex(QStringLiteral("stock_id"));
        const int session = securities->columnIndex(QStringLiteral("sess_id"));
        auto accepted = [&](int stockId) {
            auto *made = new SecuritiesSessionFilter(securities, session, { stock, session }, stockId);
            std::unique_ptr<LambdaFilterFunc> func(made->createFilterFunc(nullptr));
            delete made; // the function keeps working on its own
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

    void decoderPlugin()
    {
        auto decoder = std::make_unique<Decoder>();
        m_core->addPlugin(decoder.get());
        m_core->addPlugin(decoder.get()); // once only
        QCOMPARE(ICore::instance()->plugins(), QObjectList({ decoder.get() }));
        decoder.reset(); // a plugin that goes away leaves the list
        QVERIFY(m_core->plugins().isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestDirectories)
#include "tst_directories.moc"
