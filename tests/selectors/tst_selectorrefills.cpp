// Refills after new sessions and stream changes run on a worker thread while
// a feed thread writes the tables; run by the ThreadSanitizer stage too.

#include "selectormarket.h"

#include <vetrel/securityselectorbox.h>
#include <vetrel/selectordata_p.h>
#include <vetrel/securityselectormodel.h>
#include <vetrel/streamselectorbox.h>
#include <vetrel/streamselectormodel.h>

#include <host/decoder.h>
#include <host/marketgenerator.h>
#include <host/rfsstreamsdirectory.h>

#include <QDeadlineTimer>
#include <QLineEdit>
#include <QTest>

#include <algorithm>
#include <atomic>
#include <future>
#include <numeric>
#include <random>
#include <thread>

// What a model filled at once from the tables as they are now shows.
template<typename Model>
static QStringList filledNow()
{
    Model model;
    model.populate();
    return rowTexts(model);
}

class TestSelectorRefills : public QObject
{
    Q_OBJECT

    std::unique_ptr<SelectorMarket> m_market;
    Decoder *m_decoder = nullptr;

private slots:
    void init()
    {
        m_market.reset(new SelectorMarket(false));
        // 3000 securities, half of them in open sessions, of 8 stocks; 200 streams.
        MarketGenerator::fill(m_market->core->database(), { 3000, 8, 6, 1000, 200, 0.5 });
        m_decoder = new Decoder(m_market->core.get());
        m_market->core->addPlugin(m_decoder);
    }
    void cleanup() { m_market.reset(); }

    void largeFillsShareTheirWork_data()
    {
        QTest::addColumn<int>("count");

        QTest::newRow("two threads") << int(SelectorData::ParallelFrom) + 1000;
        QTest::newRow("one thread") << 5000;
    }

    // A large fill keys its shown texts on a second thread, over the rows as
    // read, while the rows are put in list order: the text order must still
    // be QString's own on the rows as listed, equal texts by list position.
    void largeFillsShareTheirWork()
    {
        QFETCH(int, count);
        struct Row
        {
            int read;
            QString name;
        };
        SelectorData::Rows<Row> rows;
        RowOrder::Alphabet shown(true);
        std::mt19937 random(3);
        const QString letters = QString::fromUtf8("aAbBеЕёЁ");
        for (int i = 0; i < count; ++i) {
            QString name;
            if (i > 0 && random() % 3 == 0) { // runs of texts equal ignoring case
                name = rows[random() % rows.size()].name;
                name = random() % 2 ? name.toUpper() : name;
            } else {
                for (int n = int(random() % 20); n > 0; --n)
                    name += letters.at(int(random() % unsigned(letters.size())));
            }
            shown.see(name);
            rows.push_back({ i, name });
        }
        std::vector<int> listed(rows.size());
        std::iota(listed.begin(), listed.end(), 0);
        std::shuffle(listed.begin(), listed.end(), random);

        const std::vector<int> textOrder = SelectorData::orderRows(
            rows, [&] { return listed; }, [](const Row &row) -> const QString & { return row.name; },
            std::move(shown));
        bool inListOrder = true;
        for (size_t i = 0; i < rows.size(); ++i)
            inListOrder &= rows[i].read == listed[i];
        QVERIFY(inListOrder);
        std::vector<int> expected(rows.size());
        std::iota(expected.begin(), expected.end(), 0);
        std::stable_sort(expected.begin(), expected.end(),
            [&](int a, int b) { return rows[size_t(a)].name.compare(rows[size_t(b)].name, Qt::CaseInsensitive) < 0; });
        QCOMPARE(textOrder, expected);
    }

    // What a fill replaced goes to a thread of its own to be freed.
    void replacedRowsAreFreedElsewhere()
    {
        struct Replaced
        {
            explicit Replaced(std::promise<std::thread::id> &freed)
                : freed(freed)
            { }
            ~Replaced() { freed.set_value(std::this_thread::get_id()); }
            std::promise<std::thread::id> &freed;
        };
        std::promise<std::thread::id> freed;
        std::future<std::thread::id> freedBy = freed.get_future();
        SelectorData::Reaper::instance().free(std::make_shared<Replaced>(freed));
        QCOMPARE(freedBy.wait_for(std::chrono::seconds(10)), std::future_status::ready);
        QVERIFY(freedBy.get() != std::this_thread::get_id());
    }

    void overtakenRefillsAreDropped()
    {
        SecuritySelectorModel model;
        model.populate();
        QSignalSpy resets(&model, &QAbstractItemModel::modelReset);
        Table *sessions = m_market->table("sessions");

        // Announcements in a burst: only the last one's rows are ever shown.
        for (int stock = 1; stock <= 8; ++stock) {
            sessions->update({ { "stock_id", stock }, { "sess_id", stock * 100 + 1 }, { "status", "O" } });
            m_decoder->announceNewSessions();
        }
        QCOMPARE(resets.count(), 0);
        QTRY_COMPARE(resets.count(), 1);
        QTest::qWait(50);
        QCOMPARE(resets.count(), 1);
        QCOMPARE(model.rowCount(), 3000);
        QCOMPARE(rowTexts(model), filledNow<SecuritySelectorModel>());

        // A fill at once overtakes a refill that has not been shown yet.
        for (int stock = 1; stock <= 8; ++stock)
            sessions->update({ { "stock_id", stock }, { "sess_id", stock * 100 + 1 }, { "status", "C" } });
        m_decoder->announceNewSessions();
        model.populate();
        QCOMPARE(resets.count(), 2);
        const QStringList afterFill = rowTexts(model);
        QTest::qWait(50);
        QCOMPARE(resets.count(), 2);
        QCOMPARE(rowTexts(model), afterFill);
    }

    void refillsBesideAFeedThread()
    {
        SecuritySelectorBox securities;
        StreamSelectorBox streams;
        // A security of a stock whose sessions the feed leaves alone.
        int row = securities.count() / 2;
        while (securities.itemData(row, SecuritySelectorModel::StockCodeRole).toString() == "STOCK2")
            ++row;
        const QString security = securities.itemText(row);
        securities.setSecurityName(security);
        const qlonglong securityId = securities.getSecurityId();
        QVERIFY(securityId != 0);
        streams.lineEdit()->setText(streams.itemText(3));
        const qulonglong streamId = streams.getStreamId();
        QVERIFY(streamId != 0);
        QSignalSpy securityIds(&securities, &SecuritySelectorBox::securityIdChanged);
        QSignalSpy streamNotices(&streams, &StreamSelectorBox::changed);

        // The feed opens and closes sessions of stock 2 and adds and drops
        // streams, never touching the chosen security's session or stream.
        Table *sessions = m_market->table("sessions");
        Table *streamTable = m_market->table("rfs_streams");
        // Notices from the feed thread would reach the GUI thread through Qt's
        // event queue, whose lock ThreadSanitizer cannot see in an uninstrumented
        // Qt; the feed stays silent and the GUI thread passes the notices on.
        const QSignalBlocker quietSessions(sessions);
        const QSignalBlocker quietStreams(streamTable);
        std::atomic<bool> stop(false);
        std::thread feed([&] {
            for (int round = 0; !stop; ++round) {
                sessions->update(
                    { { "stock_id", 2 }, { "sess_id", 201 }, { "status", round % 2 ? "O" : "C" } });
                streamTable->insert({ { "stream_id", 100000 + round % 50 }, { "sec_id", 1 },
                    { "sec_code", "FEED" }, { "quantity", "1" } });
                streamTable->remove({ { "stream_id", 100000 + (round + 25) % 50 } });
            }
        });
        for (QDeadlineTimer feedTime(1500); !feedTime.hasExpired();) {
            m_decoder->announceNewSessions();
            emit RFSStreamsDirectory::i()->dataChanged();
            QTest::qWait(5);
        }
        stop = true;
        feed.join();
        emit RFSStreamsDirectory::i()->dataChanged();
        m_decoder->announceNewSessions();
        auto *shown = securities.findChild<SecuritySelectorModel *>();
        QVERIFY(QTest::qWaitFor([&] { return rowTexts(*shown) == filledNow<SecuritySelectorModel>(); }));
        auto *listed = streams.findChild<StreamSelectorModel *>();
        QVERIFY(QTest::qWaitFor([&] { return rowTexts(*listed) == filledNow<StreamSelectorModel>(); }));

        // The choices never left the lists: they stayed chosen throughout, and
        // the security box said nothing.
        QCOMPARE(securities.currentText(), security);
        QCOMPARE(securities.getSecurityId(), securityId);
        QCOMPARE(securityIds.count(), 0);
        QCOMPARE(streams.getStreamId(), streamId);
        for (const QList<QVariant> &notice : streamNotices)
            QCOMPARE(notice.at(0).toULongLong(), streamId);
    }
};

QTEST_MAIN(TestSelectorRefills)
#include "tst_selectorrefills.moc"
