#include "selectormarket.h"

#include <vetrel/boardselectorbox.h>
#include <vetrel/boardselectorfilteredmodel.h>
#include <vetrel/boardselectormodel.h>
#include <vetrel/comboboxvalidator.h>
#include <vetrel/partnerselectorbox.h>
#include <vetrel/properties.h>
#include <vetrel/securityselectorbox.h>
#include <vetrel/securityselectormodel.h>
#include <vetrel/stockselectorbox.h>
#include <vetrel/stockselectorbox_code.h>
#include <vetrel/stockselectormodel.h>
#include <vetrel/streamselectorbox.h>
#include <vetrel/streamselectormodel.h>

#include <host/marketgenerator.h>

#include <QLineEdit>
#include <QMetaClassInfo>
#include <QSignalSpy>
#include <QTest>
#include <QVBoxLayout>

// The selector boxes as a user types into them and as a bound form uses them.
class TestSelectorBoxes : public QObject
{
    Q_OBJECT

private slots:
    void declarations();
    void stockBoxTypingAndSetters();
    void stockIdFilter();
    void stockCodeBox();
    void boardBox();
    void replacedOrRefilledModelLeavesNoStaleChoice();
    void refillKeepsTheChoiceQuietly_data();
    void refillKeepsTheChoiceQuietly();
    void boundFormFiltersBoardsByStock();
};

namespace
{

void fillMarket(const SelectorMarket &market)
{
    market.addStock(1, QStringLiteral("MOEX"), QStringLiteral("Moscow"));
    market.addStock(2, QStringLiteral("SPBX"), QStringLiteral("Petersburg"));
    market.addStock(4, QStringLiteral("ABC"), QStringLiteral("Alphabet"));
    market.addStock(10, QStringLiteral("TEN"), QStringLiteral("Tenth"));
    market.addBoard(1, 1, QStringLiteral("TQBR"), QStringLiteral("Shares"), 0x3);
    market.addBoard(1, 2, QStringLiteral("TQOB"), QStringLiteral("Bonds"), 0x1);
    market.addBoard(2, 1, QStringLiteral("SPB"), QStringLiteral("Foreign shares"), 0x1);
}

QStringList items(const QComboBox &box)
{
    QStringList texts;
    for (int i = 0; i < box.count(); ++i)
        texts.append(box.itemText(i));
    return texts;
}

void retype(QComboBox &box, const QString &text)
{
    box.lineEdit()->selectAll();
    QTest::keyClick(box.lineEdit(), Qt::Key_Backspace);
    QTest::keyClicks(box.lineEdit(), text);
}

QVariantList lastArguments(const QSignalSpy &spy)
{
    return spy.isEmpty() ? QVariantList() : spy.last();
}

}

void TestSelectorBoxes::declarations()
{
    SelectorMarket market;
    StockSelectorBox stocks;
    BoardSelectorBox boards;
    for (const QComboBox *box : { static_cast<QComboBox *>(&stocks), static_cast<QComboBox *>(&boards) }) {
        const QMetaObject *meta = box->metaObject();
        QCOMPARE(meta->classInfo(meta->indexOfClassInfo("Properties")).value(), "this");
    }
    QCOMPARE(stocks.lineEdit()->placeholderText(), QStringLiteral("Площадка"));
    QCOMPARE(boards.lineEdit()->placeholderText(), QStringLiteral("Режим торгов"));
    QCOMPARE(stocks.metaObject()->userProperty().name(), "StockCode");
    QCOMPARE(boards.metaObject()->userProperty().name(), "BoardCode");
    QVERIFY(
        !boards.metaObject()->property(boards.metaObject()->indexOfProperty("StockId")).hasNotifySignal());
}

void TestSelectorBoxes::stockBoxTypingAndSetters()
{
    SelectorMarket market;
    fillMarket(market);
    StockSelectorBox box;
    box.show();
    QCOMPARE(items(box), QStringList({ "Alphabet", "Moscow", "Petersburg", "Tenth" }));
    QCOMPARE(box.currentIndex(), -1);
    QSignalSpy ids(&box, &StockSelectorBox::stockIdChanged);
    QSignalSpy codes(&box, &StockSelectorBox::stockCodeChanged);
    QSignalSpy texts(&box, &StockSelectorBox::stockChanged);

    QTest::keyClicks(box.lineEdit(), QStringLiteral("Mosc"));
    QCOMPARE(texts.count(), 4);
    QCOMPARE(ids.count(), 4);
    QCOMPARE(lastArguments(ids).value(0).toInt(), 0);
    QCOMPARE(lastArguments(codes).value(0).toString(), QString());
    QTest::keyClicks(box.lineEdit(), QStringLiteral("ow"));
    QCOMPARE(lastArguments(ids).value(0).toInt(), 1);
    QCOMPARE(lastArguments(codes).value(0).toString(), QStringLiteral("MOEX"));
    QCOMPARE(lastArguments(texts).value(0).toString(), QStringLiteral("Moscow"));
    QCOMPARE(box.getStockId(), 1);
    QCOMPARE(box.getStockCode(), QStringLiteral("MOEX"));
    QCOMPARE(box.getStock(), QStringLiteral("Moscow"));

    // The validator lets a case variant through; the exact lookup does not take it.
    retype(box, QStringLiteral("moscow"));
    QCOMPARE(box.getStock(), QStringLiteral("moscow"));
    QCOMPARE(box.getStockId(), 0);
    QCOMPARE(lastArguments(ids).value(0).toInt(), 0);
    // No stock starts with "X": the keystroke is refused.
    retype(box, QStringLiteral("X"));
    QCOMPARE(box.getStock(), QString());
    QCOMPARE(box.currentIndex(), -1);

    ids.clear();
    codes.clear();
    box.setStockId(10);
    QCOMPARE(box.currentText(), QStringLiteral("Tenth"));
    QCOMPARE(ids.count(), 1);
    QCOMPARE(lastArguments(ids).value(0).toInt(), 10);
    box.setStockCode(QStringLiteral("SPBX"));
    QCOMPARE(box.getStockId(), 2);
    QCOMPARE(lastArguments(codes).value(0).toString(), QStringLiteral("SPBX"));
    box.setStockCode(QStringLiteral("spbx"));
    QCOMPARE(box.currentIndex(), -1);
    QCOMPARE(box.currentText(), QString());
    QCOMPARE(box.getStockCode(), QString());
    QCOMPARE(lastArguments(ids).value(0).toInt(), 0);

    ids.clear();
    codes.clear();
    emit box.activated(box.findText(QStringLiteral("Alphabet")));
    QCOMPARE(ids.count(), 1);
    QCOMPARE(ids.at(0).at(0).toInt(), 4);
    QCOMPARE(codes.at(0).at(0).toString(), QStringLiteral("ABC"));
}

void TestSelectorBoxes::stockIdFilter()
{
    SelectorMarket market;
    fillMarket(market);
    market.addStock(21, QStringLiteral("TW1"), QStringLiteral("Aardvark"));
    StockSelectorBox box;
    // The validator completes to the first item in the box's order, which
    // the id filter makes other than the order of the names.
    const auto completed = [&](const char *typed) {
        QString text = QString::fromUtf8(typed);
        box.comboBoxValidator()->fixup(text);
        return text;
    };
    box.setStockIdFilter({ QStringLiteral("1") });
    QCOMPARE(items(box), QStringList({ "Moscow", "Tenth", "Aardvark" }));
    QCOMPARE(completed("a"), QStringLiteral("Aardvark"));
    box.setStockIdFilter({ QStringLiteral("4"), QStringLiteral("2") });
    QCOMPARE(items(box), QStringList({ "Petersburg", "Alphabet", "Aardvark" }));
    QCOMPARE(completed("A"), QStringLiteral("Alphabet"));
    QCOMPARE(completed("aa"), QStringLiteral("Aardvark"));
    box.setStockIdFilter({});
    QCOMPARE(items(box), QStringList({ "Moscow", "Petersburg", "Alphabet", "Tenth", "Aardvark" }));
    QCOMPARE(completed("t"), QStringLiteral("Tenth"));
    QCOMPARE(completed("x"), QStringLiteral("x"));
}

void TestSelectorBoxes::stockCodeBox()
{
    SelectorMarket market;
    {
        StockSelectorBox_Code empty;
        QCOMPARE(empty.count(), 0);
        QCOMPARE(empty.currentIndex(), -1);
        QSignalSpy ids(&empty, &StockSelectorBox_Code::setProp_StockId);
        empty.populate();
        QCOMPARE(lastArguments(ids).value(0).toString(), QStringLiteral("0"));
    }
    fillMarket(market);
    market.addStock(0, QStringLiteral("ZERO"), QStringLiteral("No stock"));
    StockSelectorBox_Code box;
    QCOMPARE(items(box), QStringList({ "ZERO", "MOEX", "SPBX", "ABC", "TEN" })); // index order
    QCOMPARE(box.currentIndex(), 0);
    QCOMPARE(box.itemData(3, 257).toString(), QStringLiteral("Alphabet"));

    QSignalSpy ids(&box, &StockSelectorBox_Code::setProp_StockId);
    QSignalSpy codes(&box, &StockSelectorBox_Code::setProp_StockCode);
    QSignalSpy stocks(&box, &StockSelectorBox_Code::setProp_Stock);
    box.populate();
    QCOMPARE(lastArguments(ids).value(0).toString(), QStringLiteral("0"));

    ids.clear();
    codes.clear();
    emit box.activated(3);
    QCOMPARE(ids.count(), 1);
    QCOMPARE(ids.at(0).at(0).toString(), QStringLiteral("4"));
    QCOMPARE(codes.at(0).at(0).toString(), QStringLiteral("4")); // the id's text, not "ABC"

    box.prop_StockId_changed(QStringLiteral("004"));
    QCOMPARE(box.currentText(), QStringLiteral("ABC"));
    box.prop_StockId_changed(QStringLiteral("10"));
    QCOMPARE(box.currentText(), QStringLiteral("TEN"));
    box.prop_StockId_changed(QStringLiteral("99"));
    QCOMPARE(box.currentText(), QStringLiteral("TEN"));
    box.prop_StockId_changed(QStringLiteral("x"));
    QCOMPARE(box.currentText(), QStringLiteral("ZERO"));

    ids.clear();
    stocks.clear();
    retype(box, QStringLiteral("SP"));
    QCOMPARE(lastArguments(ids).value(0).toString(), QStringLiteral("0"));
    QCOMPARE(stocks.mid(stocks.count() - 2),
        QList<QVariantList>({ QVariantList { QString() }, QVariantList { QStringLiteral("SP") } }));
    QTest::keyClicks(box.lineEdit(), QStringLiteral("BX"));
    QCOMPARE(lastArguments(ids).value(0).toString(), QStringLiteral("2"));
    QCOMPARE(lastArguments(codes).value(0).toString(), QStringLiteral("2"));
    QCOMPARE(lastArguments(stocks).value(0).toString(), QStringLiteral("SPBX"));
}

void TestSelectorBoxes::boardBox()
{
    SelectorMarket market;
    fillMarket(market);
    BoardSelectorBox box;
    box.show();
    QCOMPARE(items(box), QStringList({ "Shares", "Bonds", "Foreign shares" }));
    QSignalSpy ids(&box, &BoardSelectorBox::boardIdChanged);
    QSignalSpy codes(&box, &BoardSelectorBox::boardCodeChanged);
    QSignalSpy texts(&box, &BoardSelectorBox::boardChanged);

    box.setStockCode(QStringLiteral("MOEX"));
    QCOMPARE(items(box), QStringList({ "Shares", "Bonds" }));
    QCOMPARE(box.getStockId(), 1);
    QTest::keyClicks(box.lineEdit(), QStringLiteral("Bonds"));
    QCOMPARE(lastArguments(ids).value(0).toInt(), 2);
    QCOMPARE(lastArguments(codes).value(0).toString(), QStringLiteral("TQOB"));
    QCOMPARE(lastArguments(texts).value(0).toString(), QStringLiteral("Bonds"));
    QCOMPARE(box.getBoardId(), 2);
    QCOMPARE(box.getBoardCode(), QStringLiteral("TQOB"));

    box.setBoardCode(QStringLiteral("TQBR"));
    QCOMPARE(box.getBoard(), QStringLiteral("Shares"));
    // The same stock again keeps the board; another one clears it.
    box.setStockCode(QStringLiteral("MOEX"));
    QCOMPARE(box.getBoard(), QStringLiteral("Shares"));
    ids.clear();
    box.setStockId(2);
    QCOMPARE(box.getStockCode(), QStringLiteral("SPBX"));
    QCOMPARE(items(box), QStringList({ "Foreign shares" }));
    QCOMPARE(box.currentIndex(), -1);
    QCOMPARE(box.getBoard(), QString());
    QCOMPARE(lastArguments(ids).value(0).toInt(), 0);

    box.setBoardId(1);
    QCOMPARE(box.getBoardCode(), QStringLiteral("SPB"));
    box.setBoardId(2);
    QCOMPARE(box.currentIndex(), -1);
    QCOMPARE(box.getBoard(), QString());

    // A flag filter keeps the chosen board while it is listed, else clears it.
    box.setStockCode(QString());
    box.setBoardCode(QStringLiteral("TQBR"));
    box.setBoardFlagsOnFilter(0x2);
    QCOMPARE(items(box), QStringList({ "Shares" }));
    QCOMPARE(box.getBoardCode(), QStringLiteral("TQBR"));
    box.setBoardFlagsOffFilter(0x2);
    QCOMPARE(items(box), QStringList());
    QCOMPARE(box.getBoard(), QString());
    QCOMPARE(lastArguments(codes).value(0).toString(), QString());
}

void TestSelectorBoxes::replacedOrRefilledModelLeavesNoStaleChoice()
{
    SelectorMarket market;
    fillMarket(market);
    StockSelectorBox stocks;
    BoardSelectorBox boards;
    QSignalSpy stockIds(&stocks, &StockSelectorBox::stockIdChanged);
    QSignalSpy boardIds(&boards, &BoardSelectorBox::boardIdChanged);
    stocks.setStockCode(QStringLiteral("MOEX"));
    boards.setBoardCode(QStringLiteral("TQOB"));
    QCOMPARE(stocks.getStockId(), 1);
    QCOMPARE(boards.getBoardId(), 2);

    // Emptied and refilled under a choice: the old row is gone, not shown.
    Table *stockTable = market.table(QStringLiteral("stocks"));
    stockTable->clear();
    market.addStock(7, QStringLiteral("NEW"), QStringLiteral("Moscow"));
    stocks.sourceModel()->populate();
    QCOMPARE(stocks.currentIndex(), -1);
    QCOMPARE(stocks.currentText(), QString());
    QCOMPARE(lastArguments(stockIds).value(0).toInt(), 0);
    stocks.setStockId(7);
    QCOMPARE(stocks.getStockCode(), QStringLiteral("NEW"));

    // Replaced under a choice: the old model goes, the new one is filled.
    QPointer<StockSelectorModel> old = stocks.sourceModel();
    auto *replacement = new StockSelectorModel;
    stocks.setSourceModel(replacement);
    QVERIFY(old.isNull());
    QCOMPARE(replacement->QObject::parent(), &stocks);
    QCOMPARE(stocks.currentIndex(), -1);
    QCOMPARE(stocks.getStockId(), 0);
    QCOMPARE(items(stocks), QStringList({ "Moscow" }));

    market.table(QStringLiteral("boards"))->clear();
    boards.sourceModel()->populate();
    QCOMPARE(boards.count(), 0);
    QCOMPARE(boards.getBoardId(), 0);
    QCOMPARE(lastArguments(boardIds).value(0).toInt(), 0);
    market.addBoard(1, 2, QStringLiteral("TQOB"), QStringLiteral("Bonds"));
    boards.setSourceModel(new BoardSelectorModel);
    QCOMPARE(boards.currentIndex(), -1);
    boards.setBoardId(2);
    QCOMPARE(boards.getBoardCode(), QStringLiteral("TQOB"));
    boards.setSourceModel(nullptr);
    QCOMPARE(boards.count(), 0);
    QCOMPARE(boards.getBoardId(), 0);
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
    SelectorMarket market(false);
    MarketGenerator::Options options;
    options.securities = 300;
    options.stocks = 4;
    options.dealers = 30;
    options.streams = 30;
    MarketGenerator::fill(market.core->database(), options);

    std::unique_ptr<ComboBox> box;
    std::function<void()> refill;
    if (kind == QLatin1String("stock")) {
        auto *stocks = new StockSelectorBox;
        refill = [stocks] { stocks->sourceModel()->populate(); };
        box.reset(stocks);
    } else if (kind == QLatin1String("board")) {
        auto *boards = new BoardSelectorBox;
        refill = [boards] { boards->sourceModel()->populate(); };
        box.reset(boards);
    } else if (kind == QLatin1String("security")) {
        auto *securities = new SecuritySelectorBox;
        refill = [securities] { securities->findChild<SecuritySelectorModel *>()->populate(); };
        box.reset(securities);
    } else if (kind == QLatin1String("partner")) {
        auto *partners = new PartnerSelectorBox;
        refill = [partners] { partners->populate(); };
        box.reset(partners);
    } else {
        auto *streams = new StreamSelectorBox;
        refill = [streams] { streams->findChild<StreamSelectorModel *>()->populate(); };
        box.reset(streams);
    }
    const int row = box->count() / 2;
    box->setCurrentIndex(row);
    const QString chosen = box->currentText();
    QVERIFY(!chosen.isEmpty());

    QSignalSpy edits(box.get(), &QComboBox::editTextChanged);
    QSignalSpy indexes(box.get(), QOverload<int>::of(&QComboBox::currentIndexChanged));
    box->blockSignals(callerBlocks);
    refill();
    QCOMPARE(box->signalsBlocked(), callerBlocks);
    box->blockSignals(false);
    QCOMPARE(box->currentText(), chosen);
    QCOMPARE(box->currentIndex(), row);
    QCOMPARE(edits.count(), 0);
    QCOMPARE(indexes.count(), 0);
}

void TestSelectorBoxes::boundFormFiltersBoardsByStock()
{
    SelectorMarket market;
    fillMarket(market);
    QWidget form;
    auto *layout = new QVBoxLayout(&form);
    auto *stocks = new StockSelectorBox(&form);
    auto *boards = new BoardSelectorBox(&form);
    layout->addWidget(stocks);
    layout->addWidget(boards);
    // The stock's name travels apart from its code, which both boxes share.
    stocks->setProperty("fields", QStringLiteral("StockName=Stock Stock=StockCode"));
    boards->setProperty("fields", QStringLiteral("Stock=StockCode"));

    Properties properties;
    QVERIFY(properties.connectAll(&form));
    form.show();
    QCOMPARE(boards->count(), 3);

    QTest::keyClicks(stocks->lineEdit(), QStringLiteral("Moscow"));
    QCOMPARE(properties.values().value(QStringLiteral("Stock")).toString(), QStringLiteral("MOEX"));
    QCOMPARE(properties.values().value(QStringLiteral("StockName")).toString(), QStringLiteral("Moscow"));
    QCOMPARE(boards->getStockCode(), QStringLiteral("MOEX"));
    QCOMPARE(items(*boards), QStringList({ "Shares", "Bonds" }));

    QTest::keyClicks(boards->lineEdit(), QStringLiteral("Bonds"));
    QCOMPARE(properties.values().value(QStringLiteral("BoardCode")).toString(), QStringLiteral("TQOB"));
    QCOMPARE(properties.values().value(QStringLiteral("BoardId")).toString(), QStringLiteral("2"));

    retype(*stocks, QStringLiteral("Petersburg"));
    QCOMPARE(boards->getStockCode(), QStringLiteral("SPBX"));
    QCOMPARE(items(*boards), QStringList({ "Foreign shares" }));
    QCOMPARE(boards->getBoard(), QString());
    QCOMPARE(properties.values().value(QStringLiteral("BoardCode")).toString(), QString());
    QCOMPARE(properties.values().value(QStringLiteral("BoardId")).toString(), QStringLiteral("0"));

    // From the store back into the boxes: names go in ascending order, so a
    // board given with its stock is set before the stock and then cleared.
    properties.setValues(Values { { QStringLiteral("Stock"), QStringLiteral("MOEX") },
        { QStringLiteral("BoardCode"), QStringLiteral("TQBR") } });
    QCOMPARE(stocks->currentText(), QStringLiteral("Moscow"));
    QCOMPARE(items(*boards), QStringList({ "Shares", "Bonds" }));
    QCOMPARE(boards->currentText(), QString());
    properties.setValues(Values { { QStringLiteral("BoardCode"), QStringLiteral("TQBR") } });
    QCOMPARE(boards->currentText(), QStringLiteral("Shares"));
    QCOMPARE(properties.values().value(QStringLiteral("BoardId")).toString(), QStringLiteral("1"));
}

QTEST_MAIN(TestSelectorBoxes)
#include "tst_selectorboxes.moc"
