#include "selectormarket.h"

#include <vetrel/boardselectorbox.h>
#include <vetrel/boardselectormodel.h>
#include <vetrel/comboboxvalidator.h>
#include <vetrel/partnerselectorbox.h>
#include <vetrel/securityselectorbox.h>
#include <vetrel/securityselectorfilteredmodel.h>
#include <vetrel/securityselectormodel.h>
#include <vetrel/stockselectorbox.h>
#include <vetrel/stockselectorbox_code.h>
#include <vetrel/stockselectormodel.h>
#include <vetrel/streamselectorbox.h>
#include <vetrel/streamselectormodel.h>

#include <host/decoder.h>
#include <host/marketgenerator.h>
#include <host/rfsstreamsdirectory.h>

#include <QAbstractItemModelTester>
#include <QAbstractItemView>
#include <QCompleter>
#include <QLineEdit>
#include <QSortFilterProxyModel>
#include <QStringListModel>
#include <QTest>

namespace
{

using L = QStringList;
const L any = { "*", "*", "*" };
constexpr qlonglong bigId = 9007199254740993LL;
constexpr qulonglong bigStream = 5000000000ULL;

// A box of one kind as a form sees it: its id, code and name notices and what
// reads them back (its properties, or getters where it has none), how its list
// refills, the table behind it and how to add a record that reads like a row.
struct Box
{
    std::unique_ptr<ComboBox> widget;
    QList<const char *> notices;
    L properties;
    std::function<L()> getters;
    std::function<void(const QString &name, const QString &value)> setters;
    std::function<void()> refill;
    const char *table;
    std::function<void(const SelectorMarket &, const QString &text)> twin;

    L read() const
    {
        L values;
        for (const QString &name : properties)
            values << widget->property(qPrintable(name)).toString();
        return getters ? getters() : values;
    }
};

Box makeBox(const QString &kind)
{
    Box b;
    if (kind == QLatin1String("stock")) {
        auto *box = new StockSelectorBox;
        b.notices = { SIGNAL(stockIdChanged(int)), SIGNAL(stockCodeChanged(QString)),
            SIGNAL(stockChanged(QString)) };
        b.properties = L { "StockId", "StockCode", "Stock" };
        b.refill = [box] { box->sourceModel()->populate(); };
        b.twin = [](const SelectorMarket &m, const QString &text) { m.addStock(99, "TWIN", text); };
        b.widget.reset(box);
    } else if (kind == QLatin1String("board")) {
        auto *box = new BoardSelectorBox;
        b.notices = { SIGNAL(boardIdChanged(int)), SIGNAL(boardCodeChanged(QString)),
            SIGNAL(boardChanged(QString)) };
        b.properties = L { "BoardId", "BoardCode", "Board", "StockId", "StockCode" };
        b.setters = [box](const QString &name, const QString &value) {
            name == QLatin1String("flagsOn") ? box->setBoardFlagsOnFilter(value.toLongLong())
                                             : box->setBoardFlagsOffFilter(value.toLongLong());
        };
        b.refill = [box] { box->sourceModel()->populate(); };
        b.twin = [](const SelectorMarket &m, const QString &text) { m.addBoard(1, 99, "TWIN", text); };
        b.widget.reset(box);
    } else if (kind == QLatin1String("security")) {
        auto *box = new SecuritySelectorBox;
        b.notices = { SIGNAL(securityIdChanged(qlonglong)), SIGNAL(securityChanged(QString)),
            SIGNAL(securityNameChanged(QString)) };
        b.properties = L { "SecurityId", "Security", "SecurityName", "StockId", "StockCode", "BoardId",
            "BoardCode" };
        b.refill = [box] { box->findChild<SecuritySelectorModel *>()->populate(); };
        b.widget.reset(box);
    } else if (kind == QLatin1String("partner")) {
        auto *box = new PartnerSelectorBox;
        b.notices = { SIGNAL(changedPartner(QString)), SIGNAL(changedPartner(QString)),
            SIGNAL(changedPartnerName(QString)) };
        b.getters = [box] { return L { box->getPartner(), box->getPartner(), box->getPartnerName() }; };
        b.setters = [box](const QString &, const QString &value) { box->setPartner(value); };
        b.refill = [box] { box->populate(); };
        b.widget.reset(box);
    } else {
        auto *box = new StreamSelectorBox;
        b.notices = { SIGNAL(changed(qulonglong, qlonglong)) };
        b.getters = [box] { return L { QString::number(box->getStreamId()) }; };
        b.refill = [box] { box->findChild<StreamSelectorModel *>()->populate(); };
        b.widget.reset(box);
    }
    b.table = QMap<QString, const char *> { { "stock", "stocks" }, { "board", "boards" },
        { "security", "securities" }, { "partner", "kx.dealer" }, { "stream", "rfs_streams" } }.value(kind);
    return b;
}

// `actual` with "*" wherever `expected` takes any value, and as long.
L masked(L actual, const L &expected)
{
    actual = actual.mid(0, expected.size());
    for (int i = 0; i < expected.size() && i < actual.size(); ++i) {
        if (expected.at(i) == QLatin1String("*"))
            actual[i] = expected.at(i);
    }
    return actual;
}

// Steps apart by ';': "Name=value" is set by the form, "@text" made the
// current row, "#text" activated in the list, "~text" typed over the line,
// anything else typed key by key.
void apply(Box &box, const QString &steps)
{
    QLineEdit *line = box.widget->lineEdit();
    for (const QString &step : steps.split(QLatin1Char(';'))) {
        const QString name = step.section('=', 0, 0), value = step.section('=', 1);
        if (step.contains(QLatin1Char('='))) {
            if (box.widget->metaObject()->indexOfProperty(qPrintable(name)) >= 0)
                QVERIFY(box.widget->setProperty(qPrintable(name), value));
            else
                box.setters(name, value);
        } else if (step.startsWith(QLatin1Char('@'))) {
            box.widget->setCurrentIndex(box.widget->findText(step.mid(1)));
        } else if (step.startsWith(QLatin1Char('#'))) {
            emit box.widget->activated(box.widget->findText(step.mid(1)));
        } else if (step.startsWith(QLatin1Char('~'))) {
            line->selectAll();
            QTest::keyClick(line, Qt::Key_Backspace);
            QTest::keyClicks(line, step.mid(1));
        } else {
            QTest::keyClicks(line, step);
        }
    }
}

}

// The selector boxes as a user types into them and as a form sets them.
class TestSelectorBoxes : public QObject
{
    Q_OBJECT

    std::unique_ptr<SelectorMarket> m_market;
    Decoder *m_decoder = nullptr;

    // Securities in open sessions and one in the closed session 99, and the
    // stock 5, an alias of stock 1.
    void addSecurities()
    {
        const SelectorMarket &m = *m_market;
        m.addStock(5, "MOEX-T1", "MOEX-T1");
        m.addBoard(5, 1, "TQBR", "Shares");
        m.addBoard(5, 2, "TQOB", "Bonds");
        m.add("sessions", { { "stock_id", 1 }, { "sess_id", 100 }, { "status", "O" } });
        m.add("sessions", { { "stock_id", 1 }, { "sess_id", 99 }, { "status", "C" } });
        m.add("sessions", { { "stock_id", 2 }, { "sess_id", 200 }, { "status", "O" } });
        m.addSecurity(1, 1, 1, 100, "SBER", "Sber");
        m.addSecurity(2, 1, 1, 100, "AFLT", "Aeroflot");
        m.addSecurity(3, 1, 2, 100, "SU26238", "OFZ 26238");
        m.addSecurity(4, 1, 1, 99, "CLSD", "Closed Co");
        m.addSecurity(bigId, 2, 1, 200, "AAPL", "Apple");
        m_decoder = new Decoder(m.core.get());
        m.core->addPlugin(m_decoder);
    }

    // One row of the table below; the kind is the name's start.
    static void row(const char *name, const char *before, const char *step, const L &counts, const L &notices,
        const L &reads)
    {
        QTest::newRow(name) << QString(name).section(':', 0, 0) << QString(before) << QString(step) << counts
                            << notices << reads;
    }

private slots:
    void init()
    {
        m_market.reset(new SelectorMarket);
        const SelectorMarket &m = *m_market;
        m.addStock(1, "MOEX", "Moscow");
        m.addStock(2, "SPBX", "Petersburg");
        m.addStock(4, "ABC", "Alphabet");
        m.addStock(10, "TEN", "Tenth");
        m.addBoard(1, 1, "TQBR", "Shares", 0x3);
        m.addBoard(1, 2, "TQOB", "Bonds", 0x1);
        m.addBoard(2, 1, "SPB", "Foreign shares", 0x1);
        m.add("kx.dealer", { { "dealer_id", 1 }, { "orv_code", "MC200" }, { "name", "Beta Broker" } });
        m.add("kx.dealer", { { "dealer_id", 2 }, { "orv_code", "  MC100 " }, { "name", "Alpha Broker" } });
        m.add("kx.dealer", { { "dealer_id", 3 }, { "orv_code", "MC300" }, { "name", "Gamma" } });
        const QString longCode = QStringLiteral("MC") + QString(22, QLatin1Char('9'));
        m.add("kx.dealer", { { "dealer_id", 4 }, { "orv_code", longCode }, { "name", "Omega" } });
        m.addStream(20, 1282, "USDRUB_TOM", "1000000");
        m.addStream(11, 1281, "USDRUB_TOD", "5000000");
        m.addStream(10, 1281, "USDRUB_TOD", "1000000");
        m.addStream(qlonglong(bigStream), bigId, "CNYRUB_TOM", "250000");
    }

    void cleanup() { m_market.reset(); }

    void boxReportsItsChoice_data()
    {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<QString>("before"); // done before the notices are counted
        QTest::addColumn<QString>("step");
        QTest::addColumn<L>("counts"); // id, code and name notices during the step
        QTest::addColumn<L>("notices"); // the last of each
        // The id, code and name read back, the text shown, the current row, the
        // rows listed, then the stock and board it is narrowed to, read back.
        QTest::addColumn<L>("reads");

        // Stocks tell every keystroke, a name only when it is whole; the
        // validator lets another letter case through, the exact lookup does not
        // take it, and a start no stock has is refused.
        row("stock: typed start", "", "Mosc", { "4", "*", "4" }, { "0", "", "*" },
            { "0", "", "Mosc", "Mosc" });
        row("stock: typed whole", "Mosc", "ow", any, { "1", "MOEX", "Moscow" },
            { "1", "MOEX", "Moscow", "Moscow" });
        row("stock: other letter case", "Moscow", "~moscow", any, { "0", "*", "*" },
            { "0", "", "moscow", "moscow" });
        row("stock: no such start", "Moscow", "~X", any, any, { "0", "", "", "", "-1" });
        row("stock: set by id", "", "StockId=10", { "1", "*", "*" }, { "10", "*", "*" },
            { "10", "TEN", "Tenth", "Tenth" });
        row("stock: code in another case", "StockCode=SPBX", "StockCode=spbx", any, { "0", "*", "*" },
            { "0", "", "", "", "-1" });

        // A board box narrowed to a stock lists its boards only and drops a board
        // of another stock; a flag filter that leaves the board out drops it.
        row("board: typed", "", "Bonds", any, { "2", "TQOB", "Bonds" },
            { "2", "TQOB", "Bonds", "Bonds", "*", "Shares|Bonds|Foreign shares" });
        row("board: stock set", "", "StockCode=MOEX", any, any,
            { "0", "", "", "", "*", "Shares|Bonds", "1", "MOEX" });
        row("board: another stock", "StockCode=MOEX;BoardCode=TQBR", "StockId=2", any, { "0", "*", "*" },
            { "0", "", "", "", "-1", "Foreign shares", "2", "SPBX" });
        row("board: id of another stock's board", "StockId=2;BoardId=1", "BoardId=2", any, any,
            { "*", "*", "", "", "-1" });
        row("board: flags off drop it", "BoardCode=TQBR;flagsOn=2", "flagsOff=2", any, { "*", "", "*" },
            { "*", "", "", "", "-1", "" });

        // A security is told by id and code once, by name with every keystroke
        // and again when found.
        row("security: typed whole", "Sbe", "r", { "1", "1", "2" }, { "1", "SBER", "Sber" },
            { "1", "SBER", "Sber", "Sber" });
        row("security: picked, all 64 bits of the id", "@Apple", "#Apple", any,
            { QString::number(bigId), "AAPL", "*" }, { QString::number(bigId), "AAPL", "Apple", "Apple" });
        row("security: unknown id", "SecurityName=Aeroflot", "SecurityId=12345", any, any,
            { "*", "*", "*", "", "-1" });
        // Narrowed by the form: the same stock again keeps the security, another
        // one clears it but keeps the board, and the alias stock 5 lists stock 1's.
        row("security: stock and board set", "", "StockId=1;BoardId=2", any, any,
            { "0", "", "", "", "*", "OFZ 26238", "1", "MOEX", "2", "TQOB" });
        row("security: same stock again", "StockId=1;BoardId=1;SecurityId=2", "StockCode=MOEX", any, any,
            { "2", "AFLT", "Aeroflot", "Aeroflot" });
        row("security: another stock", "StockId=1;BoardId=1;SecurityId=2", "StockCode=MOEX-T1", any, any,
            { "0", "*", "*", "", "-1", "*", "5", "MOEX-T1", "1" });
        row("security: code under the alias", "StockCode=MOEX-T1;BoardId=1", "Security=SBER", any, any,
            { "1", "SBER", "Sber", "Sber" });

        // Partner codes are taken as typed, known or not; letter case counts.
        row("partner: typed", "", "MC200", any, { "MC200", "MC200", "Beta Broker" },
            { "MC200", "MC200", "Beta Broker", "MC200" });
        row("partner: unknown code", "", "ZZ9", any, { "ZZ9", "ZZ9", "*" }, { "ZZ9", "ZZ9", "", "ZZ9" });
        row("partner: set", "", "Partner=MC100", any, any,
            { "MC100", "MC100", "Alpha Broker", "MC100", "0" });
        row("partner: same code again says nothing", "Partner=MC100", "Partner=MC100", { "0", "0", "*" }, any,
            { "MC100", "MC100", "Alpha Broker", "MC100" });
    }

    void boxReportsItsChoice()
    {
        QFETCH(QString, kind);
        QFETCH(QString, before);
        QFETCH(QString, step);
        QFETCH(L, counts);
        QFETCH(L, notices);
        QFETCH(L, reads);

        if (kind == QLatin1String("security"))
            addSecurities();
        Box box = makeBox(kind);
        box.widget->show();
        if (!before.isEmpty())
            apply(box, before);
        std::vector<std::unique_ptr<QSignalSpy>> spies;
        for (const char *signal : box.notices)
            spies.emplace_back(new QSignalSpy(box.widget.get(), signal));
        apply(box, step);

        L seenCounts, seen;
        for (const auto &spy : spies) {
            seenCounts << QString::number(spy->count());
            seen << lastNotice(*spy);
        }
        QCOMPARE(masked(seenCounts, counts), counts);
        QCOMPARE(masked(seen, notices), notices);
        L read = box.read();
        read.insert(3, box.widget->currentText());
        read.insert(4, QString::number(box.widget->currentIndex()));
        read.insert(5, rowTexts(*box.widget->model()).join(QLatin1Char('|')));
        QCOMPARE(masked(read, reads), reads);
    }

    void refillKeepsOrDropsTheChoice_data()
    {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<bool>("callerBlocks");
        QTest::addColumn<bool>("recordGone");
        QTest::addColumn<QString>("typed"); // a name no row has yet, which the refill brings first
        const char *cases[] = { "kept", "kept, blocked by its owner", "its record gone" };
        for (const char *kind : { "stock", "board", "security", "partner", "stream" }) {
            for (int i = 0; i < 3; ++i)
                QTest::addRow("%s: %s", kind, cases[i]) << QString(kind) << (i == 1) << (i == 2) << QString();
        }
        QTest::newRow("stock: the typed name arrives")
            << QString("stock") << false << false << QString("0 new");
    }

    void refillKeepsOrDropsTheChoice()
    {
        QFETCH(QString, kind);
        QFETCH(bool, callerBlocks);
        QFETCH(bool, recordGone);
        QFETCH(QString, typed);
        m_market.reset();
        m_market.reset(new SelectorMarket(false));
        // 300 securities, 4 stocks of 6 boards, 30 dealers, 30 streams.
        MarketGenerator::fill(m_market->core->database(), { 300, 4, 6, 30, 30 });

        Box box = makeBox(kind);
        if (!typed.isEmpty()) {
            // Typed before its record came: the refill makes it the choice.
            box.widget->lineEdit()->setText(typed);
            QCOMPARE(box.widget->currentIndex(), -1);
            QSignalSpy ids(box.widget.get(), box.notices.first());
            box.twin(*m_market, typed);
            box.refill();
            QCOMPARE(box.widget->currentIndex(), 0);
            QCOMPARE(box.read().first(), QStringLiteral("99"));
            QCOMPARE(lastNotice(ids), QStringLiteral("99"));
            return;
        }
        const int row = box.widget->count() / 2;
        box.widget->setCurrentIndex(row);
        const QString chosen = box.widget->currentText();
        QVERIFY(!chosen.isEmpty());

        QSignalSpy edits(box.widget.get(), &QComboBox::editTextChanged);
        QSignalSpy indexes(box.widget.get(), QOverload<int>::of(&QComboBox::currentIndexChanged));
        QSignalSpy notices(box.widget.get(), box.notices.first());
        if (recordGone) {
            // Another record that reads the same is not the choice.
            m_market->table(QLatin1String(box.table))->clear();
            if (box.twin)
                box.twin(*m_market, chosen);
        }
        box.widget->blockSignals(callerBlocks);
        box.refill();
        QCOMPARE(box.widget->signalsBlocked(), callerBlocks);
        box.widget->blockSignals(false);
        if (recordGone) {
            const QString none = kind == QLatin1String("partner") ? QString() : QStringLiteral("0");
            QCOMPARE(box.widget->currentText(), QString());
            QCOMPARE(box.widget->currentIndex(), -1);
            QCOMPARE(box.read().first(), none);
            QCOMPARE(notices.count(), 1);
            QCOMPARE(lastNotice(notices), kind == QLatin1String("stream") ? QStringLiteral("0,0") : none);
            return;
        }
        QCOMPARE(box.widget->currentText(), chosen);
        QCOMPARE(box.widget->currentIndex(), row);
        QCOMPARE(edits.count(), 0);
        QCOMPARE(indexes.count(), 0);
    }

    void stockIdFilter()
    {
        m_market->addStock(21, "TW1", "Aardvark");
        StockSelectorBox box;
        QCOMPARE(rowTexts(*box.model()), L({ "Aardvark", "Alphabet", "Moscow", "Petersburg", "Tenth" }));
        // The validator completes to the first item in the box's order, which
        // the id filter makes other than the order of the names.
        const auto completed = [&](const char *typed) {
            QString text = QString::fromUtf8(typed);
            box.comboBoxValidator()->fixup(text);
            return text;
        };
        box.setStockIdFilter({ "1" });
        QCOMPARE(rowTexts(*box.model()), L({ "Moscow", "Tenth", "Aardvark" }));
        QCOMPARE(completed("a"), QStringLiteral("Aardvark"));
        box.setStockIdFilter({ "4", "2" });
        QCOMPARE(rowTexts(*box.model()), L({ "Petersburg", "Alphabet", "Aardvark" }));
        QCOMPARE(completed("A"), QStringLiteral("Alphabet"));
        QCOMPARE(completed("aa"), QStringLiteral("Aardvark"));
        box.setStockIdFilter({});
        QCOMPARE(rowTexts(*box.model()), L({ "Moscow", "Petersburg", "Alphabet", "Tenth", "Aardvark" }));
        QCOMPARE(completed("t"), QStringLiteral("Tenth"));
        QCOMPARE(completed("x"), QStringLiteral("x"));
    }

    void stockCodeBox()
    {
        m_market->addStock(0, "ZERO", "No stock");
        StockSelectorBox_Code box;
        QCOMPARE(rowTexts(*box.model()), L({ "ZERO", "MOEX", "SPBX", "ABC", "TEN" })); // index order

        QSignalSpy ids(&box, &StockSelectorBox_Code::setProp_StockId);
        QSignalSpy codes(&box, &StockSelectorBox_Code::setProp_StockCode);
        QSignalSpy stocks(&box, &StockSelectorBox_Code::setProp_Stock);
        emit box.activated(3);
        QCOMPARE(ids.count(), 1);
        QCOMPARE(lastNotice(ids), QStringLiteral("4"));
        QCOMPARE(lastNotice(codes), QStringLiteral("4")); // the id's text, not "ABC"

        // Ids from the form are compared as numbers; an unknown one changes nothing.
        for (const L &idAndShown : { L { "004", "ABC" }, L { "10", "TEN" }, L { "99", "TEN" } }) {
            box.prop_StockId_changed(idAndShown.at(0));
            QCOMPARE(box.currentText(), idAndShown.at(1));
        }

        box.lineEdit()->clear();
        QTest::keyClicks(box.lineEdit(), QStringLiteral("SP"));
        QCOMPARE(lastNotice(ids), QStringLiteral("0"));
        QTest::keyClicks(box.lineEdit(), QStringLiteral("BX"));
        QCOMPARE(lastNotice(ids), QStringLiteral("2"));
        QCOMPARE(lastNotice(stocks), QStringLiteral("SPBX"));
        // The first row is found like any other.
        box.lineEdit()->clear();
        codes.clear();
        QTest::keyClicks(box.lineEdit(), QStringLiteral("ZERO"));
        QCOMPARE(codes.count(), 1);
    }

    void partnerPopupShowsCodeAndName()
    {
        PartnerSelectorBox box;
        box.show();
        QVERIFY(QTest::qWaitForWindowExposed(&box));
        QSignalSpy partner(&box, &PartnerSelectorBox::changedPartner);

        // The wide text pads the code to 22 characters; a longer code is not cut.
        const auto wide = [&](int row) { return box.model()->index(row, 1).data().toString(); };
        QCOMPARE(wide(1), QStringLiteral("MC200") + QString(17, ' ') + QStringLiteral("Beta Broker"));
        QCOMPARE(wide(3), QStringLiteral("MC") + QString(22, '9') + QStringLiteral("Omega"));

        // Picking a row in the open list reports the code, never the wide text.
        box.showPopup();
        QCOMPARE(box.modelColumn(), 1);
        QAbstractItemView *list = box.view();
        QTRY_VERIFY(list->isVisible());
        list->setCurrentIndex(box.model()->index(1, 1));
        QTest::keyClick(list, Qt::Key_Return);
        QTRY_VERIFY(!list->isVisible());
        QCOMPARE(box.modelColumn(), 0);
        QCOMPARE(box.currentText(), QStringLiteral("MC200"));
        QCOMPARE(box.getPartnerName(), QStringLiteral("Beta Broker"));
        QVERIFY(!partner.isEmpty());
        for (const QList<QVariant> &notice : partner)
            QCOMPARE(notice.at(0).toString(), QStringLiteral("MC200"));
    }

    // Rows given through a proxy that sorts them anew complete in the order
    // the proxy shows, not in the order the model under it offers.
    void completesOverASortedProxy()
    {
        m_market->addStock(5, "MGNT", "Magnit");
        m_market->addStock(6, "MSNG", "mosenergo");
        StockSelectorModel stocks;
        stocks.populate();
        QSortFilterProxyModel proxy;
        proxy.setSourceModel(&stocks);
        proxy.sort(0, Qt::DescendingOrder);
        ComboBox box;
        box.setModel(&proxy);
        box.setCurrentIndex(-1);
        box.show();
        QTest::keyClicks(box.lineEdit(), QStringLiteral("m"));
        QCOMPARE(rowTexts(*box.completer()->completionModel(), Qt::DisplayRole),
            L({ "Magnit", "Moscow", "mosenergo" }));
    }

    void streamBox()
    {
        StreamSelectorBox box;
        box.show();
        const auto streams
            = [&] { return rowTexts(*box.model(), StreamSelectorModel::StreamIdRole).join(' '); };
        QCOMPARE(streams(), QStringLiteral("10 11 20 5000000000"));
        const auto streamText = [](qulonglong id) { return RFSStreamsDirectory::getStreamsMap().value(id); };

        // Told once, when the text names a stream; another letter case names none.
        QSignalSpy changed(&box, &StreamSelectorBox::changed);
        const QString text = streamText(11);
        QTest::keyClicks(box.lineEdit(), text.left(text.size() - 1));
        QCOMPARE(changed.count(), 0);
        QTest::keyClicks(box.lineEdit(), text.right(1));
        QCOMPARE(changed.count(), 1);
        QCOMPARE(lastNotice(changed), QStringLiteral("11,1281"));
        box.lineEdit()->setText(text.toLower());
        QCOMPARE(changed.count(), 1);
        box.lineEdit()->clear();
        QCOMPARE(changed.count(), 2);
        QCOMPARE(lastNotice(changed), QStringLiteral("0,0"));

        // Set by the form: the list narrows to the security's streams; a stream
        // it does not offer is not chosen and not told.
        box.setStream(11, 1281);
        QCOMPARE(changed.count(), 3);
        QCOMPARE(streams(), QStringLiteral("10 11"));
        QCOMPARE(box.currentText(), streamText(11));
        box.setStream(20, 1281);
        QCOMPARE(changed.count(), 3);
        QCOMPARE(box.getStreamId(), 11ULL);
        box.setStream(20, 0);
        QCOMPARE(streams(), QStringLiteral("10 11 20 5000000000"));
        QCOMPARE(lastNotice(changed), QStringLiteral("20,1282"));
    }

    void securityModelListsOpenSessionsInOrder()
    {
        addSecurities();
        // Two securities under one key: the later in the table comes first.
        m_market->addSecurity(7, 1, 1, 100, "SBER2", "Sber");

        SecuritySelectorModel model;
        QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
        model.populate();
        QCOMPARE(rowTexts(model, SecuritySelectorModel::SecurityIdRole),
            QStringList({ "2", "7", "1", "3", QString::number(bigId) }));
        const QVariantList apple = { "SPBX", 1, "SPB", bigId, "Apple", "AAPL", "AAPL-B" };
        for (int role = 257; role <= 263; ++role)
            QCOMPARE(model.index(4, 0).data(role), apple.at(role - 257));
    }

    void filterByStockAndBoard_data()
    {
        QTest::addColumn<QString>("stockAndBoard");
        QTest::addColumn<QStringList>("names");

        const QStringList all = { "Aeroflot", "Sber", "OFZ 26238", "Apple" };
        QTest::newRow("nothing set") << "/" << all;
        QTest::newRow("stock without board") << "MOEX/" << all;
        QTest::newRow("board without stock") << "/TQBR" << all;
        QTest::newRow("stock and board") << "MOEX/TQBR" << QStringList({ "Aeroflot", "Sber" });
        QTest::newRow("other board") << "MOEX/TQOB" << QStringList({ "OFZ 26238" });
        QTest::newRow("stock 5 shows stock 1") << "MOEX-T1/TQOB" << QStringList({ "OFZ 26238" });
        QTest::newRow("board of another stock") << "SPBX/TQBR" << QStringList();
        QTest::newRow("case counts") << "moex/TQBR" << QStringList();
    }

    void filterByStockAndBoard()
    {
        addSecurities();
        QFETCH(QString, stockAndBoard);
        QFETCH(QStringList, names);

        SecuritySelectorModel model;
        model.populate();
        SecuritySelectorFilteredModel filtered;
        filtered.setSourceModel(&model);
        filtered.setStockBoard(
            stockAndBoard.section(QLatin1Char('/'), 0, 0), stockAndBoard.section(QLatin1Char('/'), 1));
        QCOMPARE(rowTexts(filtered), names);

        // Over the filter the validator takes the model's own order of the
        // texts: it must judge as it does over a list of the shown texts.
        ComboBoxValidator taken, read;
        taken.setModel(&filtered);
        QStringListModel plain(names);
        read.setModel(&plain);
        for (const char *typed : { "a", "AER", "sb", "Sber", "ofz 2", "x" }) {
            QString fromFilter(typed), fromList(typed);
            int at = 0;
            QCOMPARE(taken.validate(fromFilter, at), read.validate(fromList, at));
            taken.fixup(fromFilter);
            read.fixup(fromList);
            QCOMPARE(fromFilter, fromList);
        }
    }
};

QTEST_MAIN(TestSelectorBoxes)
#include "tst_selectorboxes.moc"
