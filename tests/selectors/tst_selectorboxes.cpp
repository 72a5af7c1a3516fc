#include "selectormarket.h"

#include <vetrel/boardselectorbox.h>
#include <vetrel/boardselectormodel.h>
#include <vetrel/comboboxvalidator.h>
#include <vetrel/partnerselectorbox.h>
#include <vetrel/properties.h>
#include <vetrel/securityselectorbox.h>
#include <vetrel/securityselectorfilteredmodel.h>
#include <vetrel/securityselectormodel.h>
#include <vetrel/stockselectorbox.h>
#include <vetrel/stockselectorbox_code.h>
#include <vetrel/stockselectormodel.h>
#include <vetrel/streamselectorbox.h>
#include <vetrel/streamselectormodel.h>

#include <host/decoder.h>
#include <host/exception.h>
#include <host/marketgenerator.h>
#include <host/rfsstreamsdirectory.h>

#include <QAbstractItemModelTester>
#include <QAbstractItemView>
#include <QLineEdit>
#include <QStringListModel>
#include <QTest>
#include <QVBoxLayout>

// The selector boxes as a user types into them and as a form sets them.
class TestSelectorBoxes : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void boxReportsItsChoice_data();
    void boxReportsItsChoice();
    void refillKeepsTheChoiceQuietly_data();
    void refillKeepsTheChoiceQuietly();
    void stockIdFilter();
    void stockCodeBox();
    void partnerBox();
    void partnerPopupShowsCodeAndName();
    void partnerRefill();
    void streamBox();
    void streamChoiceSurvivesRefresh();
    void replacedOrRefilledModelLeavesNoStaleChoice();
    void securityModelListsOpenSessionsInOrder();
    void newSessionsRefill();
    void filterByStockAndBoard_data();
    void filterByStockAndBoard();
    void wrongIdTypeIsReported();
    void orderFormChain();

private:
    void fillMarket();
    void useSecurityMarket();
    void buildSecurityMarket();
    Database *db() const { return m_market->core->database(); }

    std::unique_ptr<SelectorMarket> m_market;
    Decoder *m_decoder = nullptr;
};

namespace
{

using L = QStringList;
const L any = { "*", "*", "*" };
constexpr qlonglong bigId = 9007199254740993LL;
constexpr qulonglong bigStream = 5000000000ULL;

// A box of one kind as a form sees it: its id, code and name notices, the
// same three from its getters (then the stock and board it is narrowed to),
// how the form sets it and how its list refills.
struct Box
{
    std::unique_ptr<ComboBox> widget;
    QList<const char *> notices;
    std::function<L()> read;
    std::function<void(const QString &field, const QString &value)> set;
    std::function<void()> refill;
};

Box makeBox(const QString &kind)
{
    Box b;
    if (kind == QLatin1String("stock")) {
        auto *box = new StockSelectorBox;
        b.notices = { SIGNAL(stockIdChanged(int)), SIGNAL(stockCodeChanged(QString)),
            SIGNAL(stockChanged(QString)) };
        b.read = [box] {
            return L { QString::number(box->getStockId()), box->getStockCode(), box->getStock() };
        };
        b.set = [box](const QString &field, const QString &value) {
            field == QLatin1String("id") ? box->setStockId(value.toInt()) : box->setStockCode(value);
        };
        b.refill = [box] { box->sourceModel()->populate(); };
        b.widget.reset(box);
    } else if (kind == QLatin1String("board")) {
        auto *box = new BoardSelectorBox;
        b.notices = { SIGNAL(boardIdChanged(int)), SIGNAL(boardCodeChanged(QString)),
            SIGNAL(boardChanged(QString)) };
        b.read = [box] {
            return L { QString::number(box->getBoardId()), box->getBoardCode(), box->getBoard(),
                QString::number(box->getStockId()), box->getStockCode() };
        };
        b.set = [box](const QString &field, const QString &value) {
            const QMap<QString, std::function<void()>> setters
                = { { "id", [&] { box->setBoardId(value.toInt()); } },
                      { "code", [&] { box->setBoardCode(value); } },
                      { "stockId", [&] { box->setStockId(value.toInt()); } },
                      { "stock", [&] { box->setStockCode(value); } },
                      { "flagsOn", [&] { box->setBoardFlagsOnFilter(value.toLongLong()); } },
                      { "flagsOff", [&] { box->setBoardFlagsOffFilter(value.toLongLong()); } } };
            setters.value(field)();
        };
        b.refill = [box] { box->sourceModel()->populate(); };
        b.widget.reset(box);
    } else if (kind == QLatin1String("security")) {
        auto *box = new SecuritySelectorBox;
        b.notices = { SIGNAL(securityIdChanged(qlonglong)), SIGNAL(securityChanged(QString)),
            SIGNAL(securityNameChanged(QString)) };
        b.read = [box] {
            return L { QString::number(box->getSecurityId()), box->getSecurityCode(), box->getSecurityName(),
                QString::number(box->getStockId()), box->getStockCode(), QString::number(box->getBoardId()),
                box->getBoardCode() };
        };
        b.set = [box](const QString &field, const QString &value) {
            const QMap<QString, std::function<void()>> setters
                = { { "id", [&] { box->setSecurityId(value.toLongLong()); } },
                      { "code", [&] { box->setSecurityCode(value); } },
                      { "name", [&] { box->setSecurityName(value); } },
                      { "stockId", [&] { box->setStockId(value.toInt()); } },
                      { "stock", [&] { box->setStockCode(value); } },
                      { "boardId", [&] { box->setBoardId(value.toInt()); } },
                      { "board", [&] { box->setBoardCode(value); } } };
            setters.value(field)();
        };
        b.refill = [box] { box->findChild<SecuritySelectorModel *>()->populate(); };
        b.widget.reset(box);
    } else if (kind == QLatin1String("partner")) {
        auto *box = new PartnerSelectorBox;
        b.notices = { SIGNAL(changedPartner(QString)), SIGNAL(changedPartner(QString)),
            SIGNAL(changedPartnerName(QString)) };
        b.read = [box] { return L { box->getPartner(), box->getPartner(), box->getPartnerName() }; };
        b.set = [box](const QString &, const QString &value) { box->setPartner(value); };
        b.refill = [box] { box->populate(); };
        b.widget.reset(box);
    } else {
        auto *box = new StreamSelectorBox;
        b.refill = [box] { box->findChild<StreamSelectorModel *>()->populate(); };
        b.widget.reset(box);
    }
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

// One row of the table below; the kind is the name's start.
void row(
    const char *name, const char *before, const char *step, const L &counts, const L &notices, const L &reads)
{
    QTest::newRow(name) << QString::fromUtf8(name).section(QLatin1Char(':'), 0, 0)
                        << QString::fromUtf8(before) << QString::fromUtf8(step) << counts << notices << reads;
}

// Steps apart by ';': "field=value" is set by the form, "@text" made the
// current row, "#text" activated in the list, ">text" pasted whole, "~text"
// typed over the line, anything else typed key by key.
void apply(Box &box, const QString &steps)
{
    QLineEdit *line = box.widget->lineEdit();
    for (const QString &step : steps.split(QLatin1Char(';'))) {
        if (step.contains(QLatin1Char('='))) {
            box.set(step.section(QLatin1Char('='), 0, 0), step.section(QLatin1Char('='), 1));
        } else if (step.startsWith(QLatin1Char('@'))) {
            box.widget->setCurrentIndex(box.widget->findText(step.mid(1)));
        } else if (step.startsWith(QLatin1Char('#'))) {
            emit box.widget->activated(box.widget->findText(step.mid(1)));
        } else if (step.startsWith(QLatin1Char('>'))) {
            line->setText(step.mid(1));
        } else if (step.startsWith(QLatin1Char('~'))) {
            line->selectAll();
            QTest::keyClick(line, Qt::Key_Backspace);
            QTest::keyClicks(line, step.mid(1));
        } else {
            QTest::keyClicks(line, step);
        }
    }
}

QString streamText(qulonglong id)
{
    return RFSStreamsDirectory::getStreamsMap().value(id);
}

QStringList items(const QComboBox &box, int role = Qt::DisplayRole)
{
    return rowTexts(*box.model(), role, box.modelColumn());
}

void retype(QComboBox &box, const QString &text)
{
    box.lineEdit()->selectAll();
    QTest::keyClick(box.lineEdit(), Qt::Key_Backspace);
    QTest::keyClicks(box.lineEdit(), text);
}

}

void TestSelectorBoxes::init()
{
    m_market.reset(new SelectorMarket);
    fillMarket();
}

void TestSelectorBoxes::cleanup()
{
    m_market.reset();
}

void TestSelectorBoxes::fillMarket()
{
    const SelectorMarket &m = *m_market;
    m.addStock(1, QStringLiteral("MOEX"), QStringLiteral("Moscow"));
    m.addStock(2, QStringLiteral("SPBX"), QStringLiteral("Petersburg"));
    m.addStock(4, QStringLiteral("ABC"), QStringLiteral("Alphabet"));
    m.addStock(10, QStringLiteral("TEN"), QStringLiteral("Tenth"));
    m.addBoard(1, 1, QStringLiteral("TQBR"), QStringLiteral("Shares"), 0x3);
    m.addBoard(1, 2, QStringLiteral("TQOB"), QStringLiteral("Bonds"), 0x1);
    m.addBoard(2, 1, QStringLiteral("SPB"), QStringLiteral("Foreign shares"), 0x1);
    m.addDealer(1, QStringLiteral("MC200"), QStringLiteral("Beta Broker"));
    m.addDealer(2, QStringLiteral("  MC100 "), QStringLiteral("Alpha Broker"));
    m.addDealer(3, QStringLiteral("MC300"), QStringLiteral("Gamma"));
    m.addStream(20, 1282, QStringLiteral("USDRUB_TOM"), QStringLiteral("1000000"));
    m.addStream(11, 1281, QStringLiteral("USDRUB_TOD"), QStringLiteral("5000000"));
    m.addStream(10, 1281, QStringLiteral("USDRUB_TOD"), QStringLiteral("1000000"));
    m.addStream(qlonglong(bigStream), bigId, QStringLiteral("CNYRUB_TOM"), QStringLiteral("250000"));
}

void TestSelectorBoxes::boxReportsItsChoice_data()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<QString>("before"); // done before the notices are counted
    QTest::addColumn<QString>("step");
    QTest::addColumn<L>("counts"); // id, code and name notices during the step
    QTest::addColumn<L>("notices"); // the last of each
    // The getters' id, code and name, the text shown, the current row, the
    // rows listed, then the getters of the stock and board narrowed to.
    QTest::addColumn<L>("reads");

    // Stocks tell every keystroke, a name only when it is whole; the
    // validator lets another letter case through, the exact lookup does not
    // take it, and a start no stock has is refused.
    row("stock: typed start", "", "Mosc", { "4", "*", "4" }, { "0", "", "*" }, { "0", "", "Mosc", "Mosc" });
    row("stock: typed whole", "Mosc", "ow", any, { "1", "MOEX", "Moscow" },
        { "1", "MOEX", "Moscow", "Moscow" });
    row("stock: other letter case", "Moscow", "~moscow", any, { "0", "*", "*" },
        { "0", "", "moscow", "moscow" });
    row("stock: no such start", "Moscow", "~X", any, any, { "0", "", "", "", "-1" });
    row("stock: picked", "@Alphabet", "#Alphabet", { "1", "*", "*" }, { "4", "ABC", "*" },
        { "4", "ABC", "Alphabet", "Alphabet" });
    row("stock: set by id", "", "id=10", { "1", "*", "*" }, { "10", "*", "*" },
        { "10", "TEN", "Tenth", "Tenth" });
    row("stock: set by code", "", "code=SPBX", any, { "*", "SPBX", "*" },
        { "2", "SPBX", "Petersburg", "Petersburg" });
    row("stock: code in another case", "code=SPBX", "code=spbx", any, { "0", "*", "*" },
        { "0", "", "", "", "-1" });

    // A board box narrowed to a stock keeps its board for the same stock and
    // drops it for another; a flag filter keeps it while it is listed.
    row("board: typed", "", "Bonds", any, { "2", "TQOB", "Bonds" },
        { "2", "TQOB", "Bonds", "Bonds", "*", "Shares|Bonds|Foreign shares" });
    row("board: set by code", "", "code=TQBR", any, any, { "1", "TQBR", "Shares", "Shares" });
    row("board: stock set", "", "stock=MOEX", any, any,
        { "0", "", "", "", "*", "Shares|Bonds", "1", "MOEX" });
    row("board: same stock again", "stock=MOEX;code=TQBR", "stock=MOEX", any, any,
        { "1", "TQBR", "Shares", "Shares" });
    row("board: another stock", "stock=MOEX;code=TQBR", "stockId=2", any, { "0", "*", "*" },
        { "0", "", "", "", "-1", "Foreign shares", "2", "SPBX" });
    row("board: id within the stock", "stockId=2", "id=1", any, any,
        { "1", "SPB", "Foreign shares", "Foreign shares" });
    row("board: id of another stock's board", "stockId=2;id=1", "id=2", any, any, { "*", "*", "", "", "-1" });
    row("board: flags on keep the board", "code=TQBR", "flagsOn=2", any, any,
        { "1", "TQBR", "Shares", "Shares", "*", "Shares" });
    row("board: flags off drop it", "code=TQBR;flagsOn=2", "flagsOff=2", any, { "*", "", "*" },
        { "*", "", "", "", "-1", "" });

    // A security is told by id and code once, by name with every keystroke
    // and again when found.
    row("security: typed start", "", "Sbe", any, { "0", "", "Sbe" }, { "0", "", "*", "Sbe" });
    row("security: typed whole", "Sbe", "r", { "1", "1", "2" }, { "1", "SBER", "Sber" },
        { "1", "SBER", "Sber", "Sber" });
    row("security: other letter case", "Sber", ">sber", any, any, { "0", "", "", "sber" });
    row("security: picked, all 64 bits of the id", "@Apple", "#Apple", any,
        { QString::number(bigId), "AAPL", "*" }, { QString::number(bigId), "AAPL", "Apple", "Apple" });
    row("security: set by code", "", "code=SBER", any, any, { "1", "SBER", "Sber", "Sber" });
    row("security: set by name", "", "name=Aeroflot", any, any, { "2", "AFLT", "Aeroflot", "Aeroflot" });
    row("security: unknown id", "name=Aeroflot", "id=12345", any, any, { "*", "*", "*", "", "-1" });
    // Narrowed by the form: the same stock again keeps the security, another
    // one clears it but keeps the board, and the alias stock 5 lists stock 1's.
    row("security: stock and board set", "", "stockId=1;boardId=2", any, any,
        { "0", "", "", "", "*", "OFZ 26238", "1", "MOEX", "2", "TQOB" });
    row("security: board changed", "stockId=1;boardId=2", "boardId=1", any, any,
        { "0", "", "", "", "*", "Aeroflot|Sber", "1", "MOEX", "1", "TQBR" });
    row("security: id set", "stockId=1;boardId=1", "id=2", any, any, { "2", "AFLT", "Aeroflot", "Aeroflot" });
    row("security: same stock again", "stockId=1;boardId=1;id=2", "stock=MOEX", any, any,
        { "2", "AFLT", "Aeroflot", "Aeroflot" });
    row("security: another stock", "stockId=1;boardId=1;id=2", "stock=MOEX-T1", any, any,
        { "0", "*", "*", "", "-1", "*", "5", "MOEX-T1", "1" });
    row("security: code under the alias", "stock=MOEX-T1;boardId=1", "code=SBER", any, any,
        { "1", "SBER", "Sber", "Sber" });
    row("security: code not listed", "stock=MOEX-T1;boardId=1;code=SBER", "code=AAPL", any, any,
        { "*", "", "*", "", "-1" });
    row("security: board cleared", "stockId=1;boardId=1", "board=", any, any,
        { "*", "*", "*", "*", "*", "Aeroflot|Sber|OFZ 26238|Apple" });

    // Partner codes are taken as typed, known or not; letter case counts.
    row("partner: typed", "", "MC200", any, { "MC200", "MC200", "Beta Broker" },
        { "MC200", "MC200", "Beta Broker", "MC200" });
    row("partner: other letter case", "MC200", ">mc200", any, { "*", "*", "" },
        { "mc200", "mc200", "", "mc200" });
    row("partner: unknown code", "", "ZZ9", any, { "ZZ9", "ZZ9", "*" }, { "ZZ9", "ZZ9", "", "ZZ9" });
    row("partner: picked", "@MC300", "#MC300", any, { "MC300", "MC300", "Gamma" },
        { "MC300", "MC300", "Gamma", "MC300" });
    row("partner: set", "", "code=MC100", any, any, { "MC100", "MC100", "Alpha Broker", "MC100", "0" });
    row("partner: same code again says nothing", "code=MC100", "code=MC100", { "0", "0", "*" }, any,
        { "MC100", "MC100", "Alpha Broker", "MC100" });
    row("partner: unknown code set", "", "code=OUTSIDER", any, any,
        { "OUTSIDER", "OUTSIDER", "", "OUTSIDER" });
}

void TestSelectorBoxes::boxReportsItsChoice()
{
    QFETCH(QString, kind);
    QFETCH(QString, before);
    QFETCH(QString, step);
    QFETCH(L, counts);
    QFETCH(L, notices);
    QFETCH(L, reads);

    if (kind == QLatin1String("security"))
        useSecurityMarket();
    Box box = makeBox(kind);
    box.widget->show();
    if (!before.isEmpty())
        apply(box, before);
    std::vector<std::unique_ptr<QSignalSpy>> spies;
    for (const char *signal : box.notices)
        spies.emplace_back(new QSignalSpy(box.widget.get(), signal));
    apply(box, step);

    L seenCounts;
    L seen;
    for (const auto &spy : spies) {
        seenCounts << QString::number(spy->count());
        seen << lastNotice(*spy);
    }
    QCOMPARE(masked(seenCounts, counts), counts);
    QCOMPARE(masked(seen, notices), notices);
    L read = box.read();
    read.insert(3, box.widget->currentText());
    read.insert(4, QString::number(box.widget->currentIndex()));
    read.insert(5, items(*box.widget).join(QLatin1Char('|')));
    QCOMPARE(masked(read, reads), reads);
}

void TestSelectorBoxes::refillKeepsTheChoiceQuietly_data()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<bool>("callerBlocks");
    for (const char *kind : { "stock", "board", "security", "partner", "stream" }) {
        QTest::addRow("%s", kind) << QString::fromLatin1(kind) << false;
        QTest::addRow("%s, blocked by its owner", kind) << QString::fromLatin1(kind) << true;
    }
}

void TestSelectorBoxes::refillKeepsTheChoiceQuietly()
{
    QFETCH(QString, kind);
    QFETCH(bool, callerBlocks);
    m_market.reset();
    m_market.reset(new SelectorMarket(false));
    MarketGenerator::Options options;
    options.securities = 300;
    options.stocks = 4;
    options.dealers = 30;
    options.streams = 30;
    MarketGenerator::fill(m_market->core->database(), options);

    Box box = makeBox(kind);
    const int row = box.widget->count() / 2;
    box.widget->setCurrentIndex(row);
    const QString chosen = box.widget->currentText();
    QVERIFY(!chosen.isEmpty());

    QSignalSpy edits(box.widget.get(), &QComboBox::editTextChanged);
    QSignalSpy indexes(box.widget.get(), QOverload<int>::of(&QComboBox::currentIndexChanged));
    box.widget->blockSignals(callerBlocks);
    box.refill();
    QCOMPARE(box.widget->signalsBlocked(), callerBlocks);
    box.widget->blockSignals(false);
    QCOMPARE(box.widget->currentText(), chosen);
    QCOMPARE(box.widget->currentIndex(), row);
    QCOMPARE(edits.count(), 0);
    QCOMPARE(indexes.count(), 0);
}

void TestSelectorBoxes::stockIdFilter()
{
    m_market->addStock(21, QStringLiteral("TW1"), QStringLiteral("Aardvark"));
    StockSelectorBox box;
    QCOMPARE(items(box), L({ "Aardvark", "Alphabet", "Moscow", "Petersburg", "Tenth" }));
    QCOMPARE(box.currentIndex(), -1);
    // The validator completes to the first item in the box's order, which
    // the id filter makes other than the order of the names.
    const auto completed = [&](const char *typed) {
        QString text = QString::fromUtf8(typed);
        box.comboBoxValidator()->fixup(text);
        return text;
    };
    box.setStockIdFilter({ QStringLiteral("1") });
    QCOMPARE(items(box), L({ "Moscow", "Tenth", "Aardvark" }));
    QCOMPARE(completed("a"), QStringLiteral("Aardvark"));
    box.setStockIdFilter({ QStringLiteral("4"), QStringLiteral("2") });
    QCOMPARE(items(box), L({ "Petersburg", "Alphabet", "Aardvark" }));
    QCOMPARE(completed("A"), QStringLiteral("Alphabet"));
    QCOMPARE(completed("aa"), QStringLiteral("Aardvark"));
    box.setStockIdFilter({});
    QCOMPARE(items(box), L({ "Moscow", "Petersburg", "Alphabet", "Tenth", "Aardvark" }));
    QCOMPARE(completed("t"), QStringLiteral("Tenth"));
    QCOMPARE(completed("x"), QStringLiteral("x"));
}

void TestSelectorBoxes::stockCodeBox()
{
    m_market.reset();
    m_market.reset(new SelectorMarket);
    {
        StockSelectorBox_Code empty;
        QCOMPARE(empty.currentIndex(), -1);
        QSignalSpy ids(&empty, &StockSelectorBox_Code::setProp_StockId);
        empty.populate();
        QCOMPARE(lastNotice(ids), QStringLiteral("0"));
    }
    fillMarket();
    m_market->addStock(0, QStringLiteral("ZERO"), QStringLiteral("No stock"));
    StockSelectorBox_Code box;
    QCOMPARE(items(box), L({ "ZERO", "MOEX", "SPBX", "ABC", "TEN" })); // index order
    QCOMPARE(box.currentIndex(), 0);
    QCOMPARE(box.itemData(3, 257).toString(), QStringLiteral("Alphabet"));

    QSignalSpy ids(&box, &StockSelectorBox_Code::setProp_StockId);
    QSignalSpy codes(&box, &StockSelectorBox_Code::setProp_StockCode);
    QSignalSpy stocks(&box, &StockSelectorBox_Code::setProp_Stock);
    emit box.activated(3);
    QCOMPARE(ids.count(), 1);
    QCOMPARE(lastNotice(ids), QStringLiteral("4"));
    QCOMPARE(lastNotice(codes), QStringLiteral("4")); // the id's text, not "ABC"

    // Ids from the form are compared as numbers; an unknown one changes nothing.
    for (const L &idAndShown :
        { L { "004", "ABC" }, L { "10", "TEN" }, L { "99", "TEN" }, L { "x", "ZERO" } }) {
        box.prop_StockId_changed(idAndShown.at(0));
        QCOMPARE(box.currentText(), idAndShown.at(1));
    }

    ids.clear();
    stocks.clear();
    retype(box, QStringLiteral("SP"));
    QCOMPARE(lastNotice(ids), QStringLiteral("0"));
    QCOMPARE(stocks.mid(stocks.count() - 2),
        QList<QVariantList>({ QVariantList { QString() }, QVariantList { QStringLiteral("SP") } }));
    QTest::keyClicks(box.lineEdit(), QStringLiteral("BX"));
    QCOMPARE(lastNotice(ids), QStringLiteral("2"));
    QCOMPARE(lastNotice(codes), QStringLiteral("2"));
    QCOMPARE(lastNotice(stocks), QStringLiteral("SPBX"));
}

void TestSelectorBoxes::partnerBox()
{
    const QString code22 = QStringLiteral("X").repeated(22);
    const QString code25 = QStringLiteral("Y").repeated(25);
    m_market->addDealer(4, code22, QStringLiteral("Long"));
    m_market->addDealer(5, code25, QStringLiteral("Longer"));

    // Codes trimmed and in order; the wide column pads short codes.
    PartnerSelectorBox box;
    QCOMPARE(items(box), L({ "MC100", "MC200", "MC300", code22, code25 }));
    QCOMPARE(rowTexts(*box.model(), Qt::DisplayRole, 2),
        L({ "Alpha Broker", "Beta Broker", "Gamma", "Long", "Longer" }));
    const L shown = rowTexts(*box.model(), Qt::DisplayRole, 1);
    QCOMPARE(shown.at(0), QStringLiteral("MC100                 Alpha Broker"));
    QCOMPARE(shown.at(3), code22 + QStringLiteral("Long"));
    QCOMPARE(shown.at(4), code25 + QStringLiteral("Longer"));

    // A fresh box: row 0 current behind an empty line, no partner yet.
    QCOMPARE(box.currentIndex(), 0);
    QCOMPARE(box.currentText(), QString());
    QCOMPARE(box.getPartner(), QString());

    // Return takes a code the table does not know as it is, without adding it.
    box.show();
    QTest::keyClicks(box.lineEdit(), QStringLiteral("MC200"));
    box.lineEdit()->clear();
    QCOMPARE(box.currentIndex(), -1);
    QTest::keyClicks(box.lineEdit(), QStringLiteral("ZZ9"));
    QTest::keyClick(box.lineEdit(), Qt::Key_Return);
    QCOMPARE(box.count(), 5);
    QCOMPARE(box.getPartner(), QStringLiteral("ZZ9"));
}

void TestSelectorBoxes::partnerPopupShowsCodeAndName()
{
    PartnerSelectorBox box;
    box.show();
    QVERIFY(QTest::qWaitForWindowExposed(&box));
    QSignalSpy partner(&box, &PartnerSelectorBox::changedPartner);

    // Opened and closed with nothing chosen: no current row afterwards.
    box.showPopup();
    QCOMPARE(box.modelColumn(), 1);
    QCOMPARE(box.currentText(), QString());
    box.hidePopup();
    QCOMPARE(box.modelColumn(), 0);
    QCOMPARE(box.currentIndex(), -1);

    // Picking a row in the open list reports the code, never the wide text.
    partner.clear();
    box.showPopup();
    QAbstractItemView *list = box.view();
    QTRY_VERIFY(list->isVisible());
    list->setCurrentIndex(box.model()->index(1, 1));
    QTest::keyClick(list, Qt::Key_Return);
    QTRY_VERIFY(!list->isVisible());
    QCOMPARE(box.currentText(), QStringLiteral("MC200"));
    QCOMPARE(box.getPartnerName(), QStringLiteral("Beta Broker"));
    for (const QList<QVariant> &notice : partner)
        QCOMPARE(notice.at(0).toString(), QStringLiteral("MC200"));

    // Reopening with a partner chosen keeps the code in the line and the row.
    box.showPopup();
    QCOMPARE(box.currentText(), QStringLiteral("MC200"));
    box.hidePopup();
    QCOMPARE(box.currentIndex(), 1);
}

void TestSelectorBoxes::partnerRefill()
{
    PartnerSelectorBox box;
    box.setPartner(QStringLiteral("MC200"));
    QAbstractItemModel *before = box.model();
    QSignalSpy partner(&box, &PartnerSelectorBox::changedPartner);

    m_market->addDealer(6, QStringLiteral("MC150"), QStringLiteral("Newcomer"));
    box.populate();
    QVERIFY(box.model() != before);
    QCOMPARE(items(box), L({ "MC100", "MC150", "MC200", "MC300" }));
    QCOMPARE(box.currentIndex(), 2);
    QCOMPARE(box.currentText(), QStringLiteral("MC200"));
    for (const QList<QVariant> &notice : partner)
        QCOMPARE(notice.at(0).toString(), QStringLiteral("MC200"));

    // The chosen dealer left the table: the line is emptied.
    m_market->table(QStringLiteral("kx.dealer"))->remove({ { QStringLiteral("dealer_id"), 1 } });
    box.populate();
    QCOMPARE(box.count(), 3);
    QCOMPARE(box.currentText(), QString());
    QCOMPARE(box.getPartner(), QString());
}

void TestSelectorBoxes::streamBox()
{
    StreamSelectorBox box;
    box.show();
    const auto streams
        = [&box] { return items(box, StreamSelectorModel::StreamIdRole).join(QLatin1Char(' ')); };
    QCOMPARE(streams(), QStringLiteral("10 11 20 5000000000"));
    QCOMPARE(box.currentIndex(), -1);
    QCOMPARE(box.getStreamId(), 0ULL);

    // Told once, when the text names a stream; another letter case names none.
    QSignalSpy changed(&box, &StreamSelectorBox::changed);
    const QString text = streamText(11);
    QTest::keyClicks(box.lineEdit(), text.left(text.size() - 1));
    QCOMPARE(changed.count(), 0);
    QTest::keyClicks(box.lineEdit(), text.right(1));
    QCOMPARE(changed.count(), 1);
    QCOMPARE(lastNotice(changed), QStringLiteral("11,1281"));
    QCOMPARE(box.getStreamId(), 11ULL);
    QCOMPARE(box.getSecurityId(), 1281LL);
    box.lineEdit()->setText(text.toLower());
    QCOMPARE(changed.count(), 1);
    box.lineEdit()->clear();
    QCOMPARE(changed.count(), 2);
    QCOMPARE(lastNotice(changed), QStringLiteral("0,0"));
    QCOMPARE(box.currentIndex(), -1);

    // Set by the form: the list narrows to the security's streams.
    changed.clear();
    box.setStream(11, 1281);
    QCOMPARE(changed.count(), 1);
    QCOMPARE(lastNotice(changed), QStringLiteral("11,1281"));
    QCOMPARE(streams(), QStringLiteral("10 11"));
    QCOMPARE(box.currentText(), streamText(11));
    // A stream the list does not offer: no selection, no notice.
    box.setStream(20, 1281);
    QCOMPARE(changed.count(), 1);
    QCOMPARE(box.getStreamId(), 11ULL);
    box.setStream(bigStream, bigId);
    QCOMPARE(lastNotice(changed), QStringLiteral("5000000000,%1").arg(bigId));
    QCOMPARE(streams(), QStringLiteral("5000000000"));
    box.setStream(20, 0);
    QCOMPARE(streams(), QStringLiteral("10 11 20 5000000000"));
    QCOMPARE(changed.count(), 3);
    QCOMPARE(lastNotice(changed), QStringLiteral("20,1282"));
}

void TestSelectorBoxes::streamChoiceSurvivesRefresh()
{
    StreamSelectorBox box;
    box.show();
    QTest::keyClicks(box.lineEdit(), streamText(20));
    QCOMPARE(box.getStreamId(), 20ULL);

    auto *model = box.findChild<StreamSelectorModel *>();
    QVERIFY(model);
    QSignalSpy reset(model, &QAbstractItemModel::modelReset);
    QSignalSpy changed(&box, &StreamSelectorBox::changed);
    const auto refilled = [&] {
        QVERIFY(reset.wait());
        QCoreApplication::processEvents();
    };

    // The table changes; the list refills once control returns to the loop.
    m_market->addStream(15, 1282, QStringLiteral("USDRUB_TOM"), QStringLiteral("3000000"));
    QCOMPARE(reset.count(), 0);
    refilled();
    QCOMPARE(changed.count(), 1);
    QCOMPARE(lastNotice(changed), QStringLiteral("20,1282"));
    QCOMPARE(box.getStreamId(), 20ULL);
    QCOMPARE(box.currentText(), streamText(20));
    QVERIFY(items(box, StreamSelectorModel::StreamIdRole).contains(QStringLiteral("15")));

    // The chosen stream leaves the table: no stream is chosen any more, and
    // the box says so once.
    changed.clear();
    m_market->table(QStringLiteral("rfs_streams"))->remove({ { QStringLiteral("stream_id"), 20 } });
    refilled();
    QCOMPARE(changed.count(), 1);
    QCOMPARE(lastNotice(changed), QStringLiteral("0,0"));
    QVERIFY(!items(box, StreamSelectorModel::StreamIdRole).contains(QStringLiteral("20")));
    QCOMPARE(box.getStreamId(), 0ULL);
    QCOMPARE(box.currentText(), QString());

    // Nothing chosen: a refill chooses nothing and announces nothing.
    changed.clear();
    m_market->addStream(16, 1282, QStringLiteral("USDRUB_TOM"), QStringLiteral("4000000"));
    refilled();
    QCOMPARE(changed.count(), 0);
    QCOMPARE(box.currentIndex(), -1);
}

void TestSelectorBoxes::replacedOrRefilledModelLeavesNoStaleChoice()
{
    StockSelectorBox stocks;
    BoardSelectorBox boards;
    QSignalSpy stockIds(&stocks, &StockSelectorBox::stockIdChanged);
    QSignalSpy boardIds(&boards, &BoardSelectorBox::boardIdChanged);
    stocks.setStockCode(QStringLiteral("MOEX"));
    boards.setBoardCode(QStringLiteral("TQOB"));

    // Emptied and refilled under a choice: a new row of the same name is
    // another stock, not the old choice.
    m_market->table(QStringLiteral("stocks"))->clear();
    m_market->addStock(7, QStringLiteral("NEW"), QStringLiteral("Moscow"));
    stocks.sourceModel()->populate();
    QCOMPARE(stocks.currentIndex(), -1);
    QCOMPARE(stocks.currentText(), QString());
    QCOMPARE(lastNotice(stockIds), QStringLiteral("0"));

    // Replaced under a choice: the old model goes, the new one is filled.
    stocks.setStockId(7);
    QPointer<StockSelectorModel> old = stocks.sourceModel();
    auto *replacement = new StockSelectorModel;
    stocks.setSourceModel(replacement);
    QVERIFY(old.isNull());
    QCOMPARE(replacement->QObject::parent(), &stocks);
    QCOMPARE(stocks.getStockId(), 0);
    QCOMPARE(items(stocks), L({ "Moscow" }));

    m_market->table(QStringLiteral("boards"))->clear();
    boards.sourceModel()->populate();
    QCOMPARE(boards.count(), 0);
    QCOMPARE(boards.getBoardId(), 0);
    QCOMPARE(lastNotice(boardIds), QStringLiteral("0"));
    m_market->addBoard(1, 2, QStringLiteral("TQOB"), QStringLiteral("Bonds"));
    boards.setSourceModel(new BoardSelectorModel);
    boards.setBoardId(2);
    QCOMPARE(boards.getBoardCode(), QStringLiteral("TQOB"));
    boards.setSourceModel(nullptr);
    QCOMPARE(boards.count(), 0);
    QCOMPARE(boards.getBoardId(), 0);
}

// The securities' own market: stock 5 is an alias of stock 1, session 99 is
// closed, and the names of stocks and boards are their codes.
void TestSelectorBoxes::useSecurityMarket()
{
    m_market.reset();
    m_market.reset(new SelectorMarket(false));
    buildSecurityMarket();
}

void TestSelectorBoxes::buildSecurityMarket()
{
    const SelectorMarket &m = *m_market;
    Market::createTables(db());
    m.addStock(1, "MOEX", "MOEX");
    m.addStock(2, "SPBX", "SPBX");
    m.addStock(5, "MOEX-T1", "MOEX-T1");
    const QList<std::tuple<int, int, QString>> boardCodes
        = { { 1, 1, "TQBR" }, { 1, 2, "TQOB" }, { 2, 1, "SPBRU" }, { 5, 1, "TQBR" }, { 5, 2, "TQOB" } };
    for (const auto &[stock, board, code] : boardCodes)
        m.addBoard(stock, board, code, code);
    m.setSession(1, 100, "O");
    m.setSession(1, 99, "C");
    m.setSession(2, 200, "O");

    m.addSecurity(1, 1, 1, 100, "SBER", "Sber");
    m.addSecurity(2, 1, 1, 100, "AFLT", "Aeroflot");
    m.addSecurity(3, 1, 2, 100, "SU26238", "OFZ 26238");
    m.addSecurity(4, 1, 1, 99, "CLSD", "Closed Co");
    m.addSecurity(bigId, 2, 1, 200, "AAPL", "Apple");
    m_decoder = new Decoder(m.core.get());
    m.core->addPlugin(m_decoder);
}

void TestSelectorBoxes::securityModelListsOpenSessionsInOrder()
{
    useSecurityMarket();
    // Two securities under one key: the later in the table comes first.
    m_market->addSecurity(7, 1, 1, 100, "SBER2", "Sber");

    SecuritySelectorModel model;
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
    model.populate();
    QCOMPARE(rowTexts(model), QStringList({ "Aeroflot", "Sber", "Sber", "OFZ 26238", "Apple" }));
    QCOMPARE(rowTexts(model, SecuritySelectorModel::SecurityIdRole),
        QStringList({ "2", "7", "1", "3", QString::number(bigId) }));
    const QVariantList apple = { "SPBX", 1, "SPBRU", bigId, "Apple", "AAPL", "AAPL-B" };
    for (int role = 257; role <= 263; ++role)
        QCOMPARE(model.index(4, 0).data(role), apple.at(role - 257));

    // Another role shown: one notice for every row, none when unchanged.
    QSignalSpy changed(&model, &QAbstractItemModel::dataChanged);
    model.setDefaultDataRole(SecuritySelectorModel::SecurityCodeRole);
    model.setDefaultDataRole(SecuritySelectorModel::SecurityCodeRole);
    QCOMPARE(changed.count(), 1);
    QCOMPARE(changed.at(0).at(1).toModelIndex().row(), 4);
    QCOMPARE(rowTexts(model, Qt::EditRole), QStringList({ "AFLT", "SBER2", "SBER", "SU26238", "AAPL" }));

    // A box over codes finds the typed code and still names the security.
    SecuritySelectorBox box;
    box.findChild<SecuritySelectorModel *>()->setDefaultDataRole(SecuritySelectorModel::SecurityCodeRole);
    box.setSecurityName(QStringLiteral("SBER"));
    QCOMPARE(box.getSecurityId(), 1LL);
    QCOMPARE(box.getSecurityCode(), QStringLiteral("SBER"));
    QCOMPARE(box.getSecurityName(), QStringLiteral("Sber"));
}

void TestSelectorBoxes::newSessionsRefill()
{
    useSecurityMarket();
    auto *second = new Decoder(m_market->core.get());
    m_market->core->addPlugin(second);
    SecuritySelectorModel model;
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
    model.populate();
    QSignalSpy reset(&model, &QAbstractItemModel::modelReset);

    // Session 99 opens and 100 closes: the list follows at the announcement,
    // read on a worker and shown from the event loop.
    m_market->setSession(1, 99, "O");
    m_market->setSession(1, 100, "C");
    m_decoder->announceNewSessions();
    QCOMPARE(reset.count(), 0);
    QVERIFY(reset.wait());
    QCOMPARE(rowTexts(model), QStringList({ "Closed Co", "Apple" }));

    // A decoder registered after the model was built is not heard; a plain
    // object among the plug-ins is no decoder and does no harm.
    auto *late = new Decoder(m_market->core.get());
    m_market->core->addPlugin(late);
    QObject other;
    m_market->core->addPlugin(&other);
    m_market->setSession(1, 100, "O");
    late->announceNewSessions();
    QTest::qWait(20);
    QCOMPARE(reset.count(), 1);

    // One decoder gone, the other still heard.
    delete m_decoder;
    m_decoder = nullptr;
    second->announceNewSessions();
    QVERIFY(reset.wait());
    QCOMPARE(rowTexts(model), QStringList({ "Aeroflot", "Closed Co", "Sber", "OFZ 26238", "Apple" }));

    // A burst of announcements, one of them from inside the refill itself
    // (a listener of the reset that asks again): the list ends on the last
    // state of the sessions, each refill overtaking the ones before it.
    int nested = 0;
    connect(&model, &QAbstractItemModel::modelAboutToBeReset, second, [&] {
        if (nested++ == 0) {
            m_market->setSession(2, 200, "C");
            second->announceNewSessions();
        }
    });
    for (int i = 0; i < 20; ++i)
        second->announceNewSessions();
    QTRY_COMPARE(reset.count(), 2 + 2);
    QCOMPARE(rowTexts(model), QStringList({ "Aeroflot", "Closed Co", "Sber", "OFZ 26238" }));
}

void TestSelectorBoxes::filterByStockAndBoard_data()
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
    QTest::newRow("unknown stock") << "NYSE/TQBR" << QStringList();
    QTest::newRow("case counts") << "moex/TQBR" << QStringList();
}

void TestSelectorBoxes::filterByStockAndBoard()
{
    useSecurityMarket();
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
    ComboBoxValidator taken;
    taken.setModel(&filtered);
    QStringListModel plain(names);
    ComboBoxValidator read;
    read.setModel(&plain);
    for (const char *typed : { "a", "AER", "sb", "Sber", "ofz 2", "x" }) {
        QString fromFilter = QString::fromUtf8(typed);
        QString fromList = fromFilter;
        int at = 0;
        QCOMPARE(taken.validate(fromFilter, at), read.validate(fromList, at));
        taken.fixup(fromFilter);
        read.fixup(fromList);
        QCOMPARE(fromFilter, fromList);
    }
}

void TestSelectorBoxes::wrongIdTypeIsReported()
{
    // A securities table whose ids are text: the refill stops at the first
    // record with the platform's message, keeps what it read and never
    // takes the program down when a decoder triggered it.
    m_market.reset();
    m_market.reset(new SelectorMarket(false));
    db()->createTable(QStringLiteral("securities"),
        { { "sec_id", FieldType::String }, { "stock_id", FieldType::Int32 }, { "board_id", FieldType::Int32 },
            { "sess_id", FieldType::Int32 }, { "sec_code", FieldType::String },
            { "sec_name", FieldType::String }, { "base_code", FieldType::String } },
        { QStringLiteral("sec_id") });
    buildSecurityMarket();

    SecuritySelectorModel model;
    try {
        model.populate();
        QFAIL("no exception");
    } catch (const Exception &error) {
        QCOMPARE(error.message(), QStringLiteral("Incorrect type conversion."));
    }
    QCOMPARE(model.rowCount(), 0);

    QSignalSpy reset(&model, &QAbstractItemModel::modelReset);
    QTest::ignoreMessage(QtWarningMsg, "SecuritySelectorModel: Incorrect type conversion.");
    m_decoder->announceNewSessions();
    QVERIFY(reset.wait());
}

void TestSelectorBoxes::orderFormChain()
{
    useSecurityMarket();
    // An order form: stock, board and security boxes bound by their own
    // names, the security's id under a name of the form's choosing.
    QWidget form;
    auto *stock = new StockSelectorBox(&form);
    auto *board = new BoardSelectorBox(&form);
    auto *security = new SecuritySelectorBox(&form);
    security->setProperty("fields", QStringLiteral("Sec=SecurityId"));
    auto *layout = new QVBoxLayout(&form);
    for (QWidget *box : QList<QWidget *> { stock, board, security })
        layout->addWidget(box);
    Properties properties;
    QVERIFY(properties.connectAll(&form));
    form.show();
    // The form's values of the names given, '|' between them.
    const auto value = [&properties](const char *names) {
        QStringList texts;
        for (const QString &name : QString::fromLatin1(names).split(QLatin1Char(' ')))
            texts << properties.values().value(name).toString();
        return texts.join(QLatin1Char('|'));
    };

    QTest::keyClicks(stock->lineEdit(), QStringLiteral("MOEX"));
    QCOMPARE(value("StockCode StockId"), QStringLiteral("MOEX|1"));
    QCOMPARE(security->getStockCode(), QStringLiteral("MOEX"));
    QCOMPARE(rowTexts(*board->model()), QStringList({ "TQBR", "TQOB" }));
    QCOMPARE(security->count(), 4); // no board yet: every security

    QTest::keyClicks(board->lineEdit(), QStringLiteral("TQBR"));
    QCOMPARE(value("BoardCode BoardId"), QStringLiteral("TQBR|1"));
    QCOMPARE(security->getBoardId(), 1);
    QCOMPARE(rowTexts(*security->model()), QStringList({ "Aeroflot", "Sber" }));

    QTest::keyClicks(security->lineEdit(), QStringLiteral("Sber"));
    QCOMPARE(value("Sec Security SecurityName"), QStringLiteral("1|SBER|Sber"));
    QVERIFY(!properties.values().contains(QStringLiteral("SecurityId")));

    // From the form into the box.
    properties.setValue(QStringLiteral("Sec"), QStringLiteral("2"));
    QCOMPARE(security->currentText(), QStringLiteral("Aeroflot"));
    QCOMPARE(value("Security SecurityName"), QStringLiteral("AFLT|Aeroflot"));

    // New sessions: the list refills under the same stock and board, and
    // the chosen security stays chosen.
    m_market->setSession(1, 99, "O");
    m_decoder->announceNewSessions();
    QTRY_COMPARE(rowTexts(*security->model()), QStringList({ "Aeroflot", "Closed Co", "Sber" }));
    QCOMPARE(security->currentText(), QStringLiteral("Aeroflot"));
    QCOMPARE(value("Sec BoardCode"), QStringLiteral("2|TQBR"));

    security->lineEdit()->clear();
    QTest::keyClicks(security->lineEdit(), QStringLiteral("Closed Co"));
    QCOMPARE(value("Sec"), QStringLiteral("4"));

    // Its session closes: it leaves the list, and the form is told.
    m_market->setSession(1, 99, "C");
    m_decoder->announceNewSessions();
    QTRY_COMPARE(value("Sec Security SecurityName"), QStringLiteral("0||"));
    QCOMPARE(security->currentIndex(), -1);

    // Another stock, set by the form: the board and the security are
    // cleared in the form's values, and the board list narrows again.
    QTest::keyClicks(security->lineEdit(), QStringLiteral("Sber"));
    QCOMPARE(value("Sec"), QStringLiteral("1"));
    properties.setValue(QStringLiteral("StockCode"), QStringLiteral("MOEX-T1"));
    QCOMPARE(stock->currentText(), QStringLiteral("MOEX-T1"));
    QCOMPARE(value("StockId BoardCode Sec"), QStringLiteral("5||0"));
    QCOMPARE(security->currentText(), QString());
    QCOMPARE(rowTexts(*board->model()), QStringList({ "TQBR", "TQOB" }));
    QTest::keyClicks(board->lineEdit(), QStringLiteral("TQOB"));
    QCOMPARE(rowTexts(*security->model()), QStringList({ "OFZ 26238" }));
    QTest::keyClicks(security->lineEdit(), QStringLiteral("OFZ 26238"));
    QCOMPARE(value("Security"), QStringLiteral("SU26238"));
}

QTEST_MAIN(TestSelectorBoxes)
#include "tst_selectorboxes.moc"
