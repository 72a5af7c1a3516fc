#include <vetrel/boardselectorbox.h>
#include <vetrel/comboboxvalidator.h>
#include <vetrel/properties.h>
#include <vetrel/securityselectorbox.h>
#include <vetrel/securityselectorfilteredmodel.h>
#include <vetrel/securityselectormodel.h>
#include <vetrel/stockselectorbox.h>

#include <host/core.h>
#include <host/database.h>
#include <host/decoder.h>
#include <host/exception.h>
#include <host/market.h>

#include <QLineEdit>
#include <QSignalSpy>
#include <QStringListModel>
#include <QTest>
#include <QVBoxLayout>

#include <memory>

class TestSecuritySelectorBox : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void modelListsOpenSessionsInOrder();
    void defaultDataRole();
    void newSessionsRefill();
    void decoderGoneOrInABurst();
    void filterByStockAndBoard_data();
    void filterByStockAndBoard();
    void userTypesASecurity();
    void setFromTheForm();
    void boundThroughProperties();
    void wrongIdTypeIsReported();
    void orderFormChain();

private:
    Database *db() const { return m_core->database(); }
    void addSecurity(
        qlonglong id, int stock, int board, int session, const QString &code, const QString &name);
    void buildMarket();

    std::unique_ptr<Core> m_core;
    Decoder *m_decoder = nullptr;
};

namespace
{

constexpr qlonglong bigId = 9007199254740993LL;

QStringList shown(const QAbstractItemModel &model, int role = Qt::DisplayRole)
{
    QStringList texts;
    for (int row = 0; row < model.rowCount(); ++row)
        texts << model.index(row, 0).data(role).toString();
    return texts;
}

QString lastText(const QSignalSpy &spy)
{
    return spy.last().at(0).toString();
}

}

void TestSecuritySelectorBox::init()
{
    m_core.reset(new Core);
    buildMarket();
    m_decoder = new Decoder(m_core.get());
    m_core->addPlugin(m_decoder);
}

void TestSecuritySelectorBox::cleanup()
{
    m_core.reset();
}

void TestSecuritySelectorBox::buildMarket()
{
    Market::createTables(db());
    Table *stocks = db()->table(QStringLiteral("stocks"));
    const QList<QPair<int, QString>> stockCodes = { { 1, "MOEX" }, { 2, "SPBX" }, { 5, "MOEX-T1" } };
    for (const auto &stock : stockCodes)
        stocks->insert(
            { { "stock_id", stock.first }, { "stock_code", stock.second }, { "name", stock.second } });
    Table *boards = db()->table(QStringLiteral("boards"));
    const QList<std::tuple<int, int, QString>> boardCodes
        = { { 1, 1, "TQBR" }, { 1, 2, "TQOB" }, { 2, 1, "SPBRU" }, { 5, 1, "TQBR" }, { 5, 2, "TQOB" } };
    for (const auto &[stock, board, code] : boardCodes)
        boards->insert(
            { { "stock_id", stock }, { "board_id", board }, { "board_code", code }, { "name", code } });
    Table *sessions = db()->table(QStringLiteral("sessions"));
    sessions->insert({ { "stock_id", 1 }, { "sess_id", 100 }, { "status", "O" } });
    sessions->insert({ { "stock_id", 1 }, { "sess_id", 99 }, { "status", "C" } });
    sessions->insert({ { "stock_id", 2 }, { "sess_id", 200 }, { "status", "O" } });

    addSecurity(1, 1, 1, 100, "SBER", "Sber");
    addSecurity(2, 1, 1, 100, "AFLT", "Aeroflot");
    addSecurity(3, 1, 2, 100, "SU26238", "OFZ 26238");
    addSecurity(4, 1, 1, 99, "CLSD", "Closed Co");
    addSecurity(bigId, 2, 1, 200, "AAPL", "Apple");
}

void TestSecuritySelectorBox::addSecurity(
    qlonglong id, int stock, int board, int session, const QString &code, const QString &name)
{
    db()->table(QStringLiteral("securities"))
        ->insert({ { "sec_id", id }, { "stock_id", stock }, { "board_id", board }, { "sess_id", session },
            { "sec_code", code }, { "sec_name", name }, { "base_code", QString(code + "-B") } });
}

void TestSecuritySelectorBox::modelListsOpenSessionsInOrder()
{
    // Two securities under one key: the later in the table comes first.
    addSecurity(7, 1, 1, 100, "SBER2", "Sber");

    SecuritySelectorModel model;
    QCOMPARE(model.rowCount(), 0);
    model.populate();
    QCOMPARE(shown(model), QStringList({ "Aeroflot", "Sber", "Sber", "OFZ 26238", "Apple" }));
    QCOMPARE(shown(model, SecuritySelectorModel::SecurityIdRole),
        QStringList({ "2", "7", "1", "3", QString::number(bigId) }));

    const QModelIndex apple = model.index(4, 0);
    QCOMPARE(apple.data(257).toString(), QStringLiteral("SPBX"));
    QCOMPARE(apple.data(258), QVariant(1));
    QCOMPARE(apple.data(259).toString(), QStringLiteral("SPBRU"));
    QCOMPARE(apple.data(260), QVariant(bigId));
    QCOMPARE(apple.data(261).toString(), QStringLiteral("Apple"));
    QCOMPARE(apple.data(262).toString(), QStringLiteral("AAPL"));
    QCOMPARE(apple.data(263).toString(), QStringLiteral("AAPL-B"));
    QCOMPARE(apple.data(Qt::EditRole).toString(), QStringLiteral("Apple"));
    QCOMPARE(model.flags(apple), Qt::ItemIsSelectable | Qt::ItemIsEnabled);
    QCOMPARE(model.flags(QModelIndex()), Qt::NoItemFlags);
    QCOMPARE(model.rowCount(apple), 0);

    QVERIFY(!model.index(99, 0).data().isValid());
    QVERIFY(!model.index(0, 1).data().isValid());
}

void TestSecuritySelectorBox::defaultDataRole()
{
    SecuritySelectorModel model;
    QSignalSpy changed(&model, &QAbstractItemModel::dataChanged);
    QCOMPARE(model.defaultDataRole(), SecuritySelectorModel::SecurityNameRole);

    // No rows yet: the role changes without a notice.
    model.setDefaultDataRole(SecuritySelectorModel::SecurityCodeRole);
    QCOMPARE(changed.count(), 0);
    model.setDefaultDataRole(SecuritySelectorModel::SecurityNameRole);

    model.populate();
    model.setDefaultDataRole(SecuritySelectorModel::SecurityCodeRole);
    QCOMPARE(changed.count(), 1);
    QCOMPARE(changed.at(0).at(0).toModelIndex().row(), 0);
    QCOMPARE(changed.at(0).at(1).toModelIndex().row(), 3);
    QVERIFY(changed.at(0).at(2).value<QVector<int>>().isEmpty());
    QCOMPARE(shown(model), QStringList({ "AFLT", "SBER", "SU26238", "AAPL" }));
    model.setDefaultDataRole(SecuritySelectorModel::SecurityCodeRole);
    QCOMPARE(changed.count(), 1);

    SecuritySelectorBox box;
    auto *boxModel = box.findChild<SecuritySelectorModel *>();
    boxModel->setDefaultDataRole(SecuritySelectorModel::SecurityCodeRole);
    box.setSecurityName(QStringLiteral("SBER"));
    QCOMPARE(box.getSecurityId(), 1LL);
    QCOMPARE(box.getSecurityCode(), QStringLiteral("SBER"));
    QCOMPARE(box.getSecurityName(), QStringLiteral("Sber"));
}

void TestSecuritySelectorBox::newSessionsRefill()
{
    SecuritySelectorModel model;
    model.populate();
    QSignalSpy reset(&model, &QAbstractItemModel::modelReset);

    // Session 99 opens and 100 closes: the list follows at the announcement.
    Table *sessions = db()->table(QStringLiteral("sessions"));
    sessions->update({ { "stock_id", 1 }, { "sess_id", 99 }, { "status", "O" } });
    sessions->update({ { "stock_id", 1 }, { "sess_id", 100 }, { "status", "C" } });
    QCOMPARE(shown(model), QStringList({ "Aeroflot", "Sber", "OFZ 26238", "Apple" }));
    m_decoder->announceNewSessions();
    QCOMPARE(reset.count(), 0); // read on a worker, shown from the event loop
    QVERIFY(reset.wait());
    QCOMPARE(shown(model), QStringList({ "Closed Co", "Apple" }));

    // A decoder registered after the model was built is not heard.
    auto *late = new Decoder(m_core.get());
    m_core->addPlugin(late);
    sessions->update({ { "stock_id", 1 }, { "sess_id", 100 }, { "status", "O" } });
    late->announceNewSessions();
    QTest::qWait(20);
    QCOMPARE(reset.count(), 1);

    // A plain object among the plug-ins is no decoder and does no harm.
    QObject other;
    m_core->addPlugin(&other);
    SecuritySelectorModel second;
    m_decoder->announceNewSessions();
    QVERIFY(reset.wait());
    QTRY_COMPARE(second.rowCount(), 5);
    QCOMPARE(shown(model), QStringList({ "Aeroflot", "Closed Co", "Sber", "OFZ 26238", "Apple" }));
    QCOMPARE(second.rowCount(), 5);
}

void TestSecuritySelectorBox::decoderGoneOrInABurst()
{
    auto *second = new Decoder(m_core.get());
    m_core->addPlugin(second);
    SecuritySelectorModel model;
    model.populate();
    QSignalSpy reset(&model, &QAbstractItemModel::modelReset);

    delete m_decoder;
    m_decoder = nullptr;
    second->announceNewSessions();
    QVERIFY(reset.wait());
    QCOMPARE(model.rowCount(), 4);

    // A burst of announcements, one of them from inside the refill itself
    // (a listener of the reset that asks for sessions again): the list ends
    // on the last state of the sessions, each refill overtaking the ones
    // before it.
    Table *sessions = db()->table(QStringLiteral("sessions"));
    int nested = 0;
    connect(&model, &QAbstractItemModel::modelAboutToBeReset, second, [&] {
        if (nested++ == 0) {
            sessions->update({ { "stock_id", 2 }, { "sess_id", 200 }, { "status", "C" } });
            second->announceNewSessions();
        }
    });
    for (int i = 0; i < 20; ++i)
        second->announceNewSessions();
    QTRY_COMPARE(reset.count(), 1 + 1 + 1);
    QCOMPARE(shown(model), QStringList({ "Aeroflot", "Sber", "OFZ 26238" }));

    // Rows and roles stay consistent after the burst.
    for (int row = 0; row < model.rowCount(); ++row)
        QCOMPARE(model.index(row, 0).data(257).toString(), QStringLiteral("MOEX"));
}

void TestSecuritySelectorBox::filterByStockAndBoard_data()
{
    QTest::addColumn<QString>("stock");
    QTest::addColumn<QString>("board");
    QTest::addColumn<QStringList>("names");

    const QStringList all = { "Aeroflot", "Sber", "OFZ 26238", "Apple" };
    QTest::newRow("nothing set") << ""
                                 << "" << all;
    QTest::newRow("stock without board") << "MOEX"
                                         << "" << all;
    QTest::newRow("board without stock") << ""
                                         << "TQBR" << all;
    QTest::newRow("stock and board") << "MOEX"
                                     << "TQBR" << QStringList({ "Aeroflot", "Sber" });
    QTest::newRow("other board") << "MOEX"
                                 << "TQOB" << QStringList({ "OFZ 26238" });
    QTest::newRow("stock 5 shows stock 1") << "MOEX-T1"
                                           << "TQOB" << QStringList({ "OFZ 26238" });
    QTest::newRow("board of another stock") << "SPBX"
                                            << "TQBR" << QStringList();
    QTest::newRow("unknown stock") << "NYSE"
                                   << "TQBR" << QStringList();
    QTest::newRow("case counts") << "moex"
                                 << "TQBR" << QStringList();
}

void TestSecuritySelectorBox::filterByStockAndBoard()
{
    QFETCH(QString, stock);
    QFETCH(QString, board);
    QFETCH(QStringList, names);

    SecuritySelectorModel model;
    model.populate();
    SecuritySelectorFilteredModel filtered;
    filtered.setSourceModel(&model);
    filtered.setStockBoard(stock, board);
    QCOMPARE(shown(filtered), names);

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

void TestSecuritySelectorBox::userTypesASecurity()
{
    SecuritySelectorBox box;
    box.show();
    QCOMPARE(box.lineEdit()->placeholderText(), QStringLiteral("Инструмент"));
    QSignalSpy id(&box, &SecuritySelectorBox::securityIdChanged);
    QSignalSpy code(&box, &SecuritySelectorBox::securityChanged);
    QSignalSpy name(&box, &SecuritySelectorBox::securityNameChanged);

    QTest::keyClicks(box.lineEdit(), QStringLiteral("Sbe"));
    QCOMPARE(id.last().at(0).toLongLong(), 0LL);
    QCOMPARE(lastText(code), QString());
    QCOMPARE(lastText(name), QStringLiteral("Sbe"));

    id.clear();
    code.clear();
    name.clear();
    QTest::keyClicks(box.lineEdit(), QStringLiteral("r"));
    QCOMPARE(id.count(), 1);
    QCOMPARE(id.at(0).at(0).toLongLong(), 1LL);
    QCOMPARE(code.count(), 1);
    QCOMPARE(lastText(code), QStringLiteral("SBER"));
    QCOMPARE(name.count(), 2);
    QCOMPARE(lastText(name), QStringLiteral("Sber"));
    QCOMPARE(box.getSecurityId(), 1LL);
    QCOMPARE(box.getSecurityCode(), QStringLiteral("SBER"));

    // Letter case counts.
    box.lineEdit()->setText(QStringLiteral("sber"));
    QCOMPARE(box.getSecurityId(), 0LL);
    QCOMPARE(box.getSecurityName(), QString());
    QCOMPARE(box.getSecurityCode(), QString());

    box.lineEdit()->clear();
    QCOMPARE(box.currentIndex(), -1);

    // Picking from the list.
    const int apple = box.findText(QStringLiteral("Apple"));
    box.setCurrentIndex(apple);
    emit box.activated(apple);
    QCOMPARE(id.last().at(0).toLongLong(), bigId);
    QCOMPARE(lastText(code), QStringLiteral("AAPL"));
    QCOMPARE(box.getSecurityId(), bigId);
}

void TestSecuritySelectorBox::setFromTheForm()
{
    SecuritySelectorBox box;
    QSignalSpy id(&box, &SecuritySelectorBox::securityIdChanged);

    box.setStockId(1);
    QCOMPARE(box.getStockCode(), QStringLiteral("MOEX"));
    box.setBoardId(1);
    QCOMPARE(box.getBoardCode(), QStringLiteral("TQBR"));
    QCOMPARE(box.getBoardId(), 1);
    QCOMPARE(box.getStockId(), 1);
    QCOMPARE(box.count(), 2);

    box.setSecurityId(2);
    QCOMPARE(box.currentText(), QStringLiteral("Aeroflot"));
    QCOMPARE(id.last().at(0).toLongLong(), 2LL);
    QCOMPARE(box.getSecurityCode(), QStringLiteral("AFLT"));

    // The same stock again keeps the security; another one clears it.
    box.setStockCode(QStringLiteral("MOEX"));
    QCOMPARE(box.getSecurityId(), 2LL);
    box.setStockCode(QStringLiteral("MOEX-T1"));
    QCOMPARE(box.getStockId(), 5);
    QCOMPARE(box.currentIndex(), -1);
    QCOMPARE(box.currentText(), QString());
    QCOMPARE(box.getSecurityId(), 0LL);
    QCOMPARE(box.getBoardId(), 1);
    QCOMPARE(box.count(), 2);

    box.setSecurityCode(QStringLiteral("SBER"));
    QCOMPARE(box.currentText(), QStringLiteral("Sber"));
    QCOMPARE(box.getSecurityCode(), QStringLiteral("SBER"));
    box.setSecurityCode(QStringLiteral("AAPL"));
    QCOMPARE(box.currentIndex(), -1);
    QCOMPARE(box.getSecurityCode(), QString());

    box.setSecurityName(QStringLiteral("Aeroflot"));
    QCOMPARE(box.getSecurityId(), 2LL);
    box.setSecurityId(12345);
    QCOMPARE(box.currentIndex(), -1);

    box.setBoardCode(QString());
    QCOMPARE(box.count(), 4);
}

void TestSecuritySelectorBox::boundThroughProperties()
{
    QWidget form;
    auto *box = new SecuritySelectorBox(&form);
    box->setProperty("fields", QStringLiteral("Stock=StockCode Board=BoardCode Sec=SecurityId"));
    Properties properties;
    QVERIFY(properties.connectAll(&form));
    const QStringList names = properties.objectProperty(box);
    for (const char *name : { "StockId", "Stock", "BoardId", "Board", "Sec", "Security", "SecurityName" })
        QVERIFY2(names.contains(QLatin1String(name)), name);

    properties.setValue(QStringLiteral("Stock"), QStringLiteral("MOEX"));
    properties.setValue(QStringLiteral("Board"), QStringLiteral("TQBR"));
    QCOMPARE(box->count(), 2);

    QSignalSpy changed(&properties, &Properties::hasChanged);
    box->show();
    QTest::keyClicks(box->lineEdit(), QStringLiteral("Sber"));
    QVERIFY(changed.wait());
    Values values = properties.values();
    QCOMPARE(values.value(QStringLiteral("Sec")).toString(), QStringLiteral("1"));
    QCOMPARE(values.value(QStringLiteral("Security")).toString(), QStringLiteral("SBER"));
    QCOMPARE(values.value(QStringLiteral("SecurityName")).toString(), QStringLiteral("Sber"));

    properties.setValue(QStringLiteral("Sec"), QStringLiteral("2"));
    QCOMPARE(box->currentText(), QStringLiteral("Aeroflot"));
    values = properties.values();
    QCOMPARE(values.value(QStringLiteral("Security")).toString(), QStringLiteral("AFLT"));
    QCOMPARE(values.value(QStringLiteral("SecurityName")).toString(), QStringLiteral("Aeroflot"));

    // A stock change from the form clears the security in the form's values.
    properties.setValue(QStringLiteral("Stock"), QStringLiteral("SPBX"));
    values = properties.values();
    QCOMPARE(values.value(QStringLiteral("Sec")).toString(), QStringLiteral("0"));
    QCOMPARE(values.value(QStringLiteral("SecurityName")).toString(), QString());
}

void TestSecuritySelectorBox::wrongIdTypeIsReported()
{
    // A securities table whose ids are text: the refill stops at the first
    // record with the platform's message, keeps what it read and never
    // takes the program down when a decoder triggered it.
    m_core.reset();
    m_core.reset(new Core);
    db()->createTable(QStringLiteral("securities"),
        { { "sec_id", FieldType::String }, { "stock_id", FieldType::Int32 }, { "board_id", FieldType::Int32 },
            { "sess_id", FieldType::Int32 }, { "sec_code", FieldType::String },
            { "sec_name", FieldType::String }, { "base_code", FieldType::String } },
        { QStringLiteral("sec_id") });
    buildMarket();
    m_decoder = new Decoder(m_core.get());
    m_core->addPlugin(m_decoder);

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

void TestSecuritySelectorBox::orderFormChain()
{
    // An order form: stock, board and security boxes bound by their own names.
    QWidget form;
    auto *stock = new StockSelectorBox(&form);
    auto *board = new BoardSelectorBox(&form);
    auto *security = new SecuritySelectorBox(&form);
    auto *layout = new QVBoxLayout(&form);
    for (QWidget *box : QList<QWidget *> { stock, board, security })
        layout->addWidget(box);
    Properties properties;
    QVERIFY(properties.connectAll(&form));
    form.show();
    auto value = [&properties](
                     const char *name) { return properties.values().value(QLatin1String(name)).toString(); };

    QTest::keyClicks(stock->lineEdit(), QStringLiteral("MOEX"));
    QCOMPARE(value("StockCode"), QStringLiteral("MOEX"));
    QCOMPARE(security->getStockCode(), QStringLiteral("MOEX"));
    QCOMPARE(shown(*board->model()), QStringList({ "TQBR", "TQOB" }));
    QCOMPARE(security->count(), 4); // no board yet: every security

    QTest::keyClicks(board->lineEdit(), QStringLiteral("TQBR"));
    QCOMPARE(value("BoardCode"), QStringLiteral("TQBR"));
    QCOMPARE(security->getBoardId(), 1);
    QCOMPARE(shown(*security->model()), QStringList({ "Aeroflot", "Sber" }));

    QTest::keyClicks(security->lineEdit(), QStringLiteral("Sber"));
    QCOMPARE(value("SecurityId"), QStringLiteral("1"));
    QCOMPARE(value("Security"), QStringLiteral("SBER"));
    QCOMPARE(value("SecurityName"), QStringLiteral("Sber"));

    // New sessions: the list refills under the same stock and board, and
    // the chosen security stays chosen.
    db()->table(QStringLiteral("sessions"))
        ->update({ { "stock_id", 1 }, { "sess_id", 99 }, { "status", "O" } });
    m_decoder->announceNewSessions();
    QTRY_COMPARE(shown(*security->model()), QStringList({ "Aeroflot", "Closed Co", "Sber" }));
    QCOMPARE(security->currentText(), QStringLiteral("Sber"));
    QCOMPARE(value("SecurityId"), QStringLiteral("1"));
    QCOMPARE(value("BoardCode"), QStringLiteral("TQBR"));

    security->lineEdit()->clear();
    QTest::keyClicks(security->lineEdit(), QStringLiteral("Closed Co"));
    QCOMPARE(value("SecurityId"), QStringLiteral("4"));

    // Its session closes: it leaves the list, and the form is told.
    db()->table(QStringLiteral("sessions"))
        ->update({ { "stock_id", 1 }, { "sess_id", 99 }, { "status", "C" } });
    m_decoder->announceNewSessions();
    QTRY_COMPARE(value("SecurityId"), QStringLiteral("0"));
    QCOMPARE(value("Security"), QString());
    QCOMPARE(security->currentIndex(), -1);

    // Another stock clears the board and the security; its board narrows again.
    stock->lineEdit()->clear();
    QTest::keyClicks(stock->lineEdit(), QStringLiteral("MOEX-T1"));
    QCOMPARE(value("StockId"), QStringLiteral("5"));
    QCOMPARE(value("BoardCode"), QString());
    QCOMPARE(value("SecurityId"), QStringLiteral("0"));
    QCOMPARE(security->currentText(), QString());
    QTest::keyClicks(board->lineEdit(), QStringLiteral("TQOB"));
    QCOMPARE(shown(*security->model()), QStringList({ "OFZ 26238" }));
    QTest::keyClicks(security->lineEdit(), QStringLiteral("OFZ 26238"));
    QCOMPARE(value("Security"), QStringLiteral("SU26238"));
}

QTEST_MAIN(TestSecuritySelectorBox)
#include "tst_securityselectorbox.moc"
