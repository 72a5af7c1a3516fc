// The order ticket in-process, driven as a trader drives it: choices typed
// into the selectors, Send pressed, a new trading session arriving. How the
// selectors narrow each other is the selector tests' business.
#include "orderform.h"
#include "sessionsimulator.h"

#include <vetrel/properties.h>

#include <host/core.h>
#include <host/market.h>

#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QSignalSpy>
#include <QTest>

class tst_OrderForm : public QObject
{
    Q_OBJECT

private slots:
    void sendOffersTheWholeRequest();
};

void tst_OrderForm::sendOffersTheWholeRequest()
{
    Core core;
    Market::loadSample(core.database());
    auto *decoder = new SessionSimulator(&core);
    core.addPlugin(decoder);
    QString error;
    QScopedPointer<QWidget> window(OrderForm::loadUi(&error));
    QVERIFY2(window, qPrintable(error));
    auto *form = new OrderForm(window.data());
    window->show();
    QSignalSpy requests(form, &OrderForm::requestReady);
    // The boxes show names; the text reaches them as a completed entry would.
    const auto choose = [&](const char *box, const QString &text) {
        window->findChild<QComboBox *>(QLatin1String(box))->setEditText(text);
    };
    const auto type = [&](const char *edit, const QString &text) {
        QTest::keyClicks(window->findChild<QLineEdit *>(QLatin1String(edit)), text);
    };
    const auto redCaptions = [&] {
        QStringList red;
        for (const QLabel *label : window->findChildren<QLabel *>()) {
            if (label->buddy() && label->styleSheet().contains(QLatin1String("color: red")))
                red << label->objectName();
        }
        red.sort();
        return red.join(QLatin1Char(' '));
    };

    // Half an order, the account not one: Send paints what is missing or
    // wrong and offers nothing.
    choose("stockBox", QStringLiteral("Московская биржа: фондовый рынок"));
    type("quantityEdit", QStringLiteral("40"));
    type("accountEdit", QStringLiteral("m1"));
    QVERIFY(!form->send());
    QCOMPARE(redCaptions(), QStringLiteral("accountCaption boardCaption priceCaption securityCaption sideCaption"));
    QCOMPARE(requests.count(), 0);

    window->findChild<QLineEdit *>(QStringLiteral("accountEdit"))->clear();
    type("accountEdit", QStringLiteral("MB0012"));
    choose("boardBox", QStringLiteral("Т+: Акции и ДР"));
    choose("securityBox", QStringLiteral("Сибирсталь ао"));
    QTest::mouseClick(window->findChild<QWidget *>(QStringLiteral("sellButton")), Qt::LeftButton);
    type("priceEdit", QStringLiteral("250.25"));
    type("stopOffsetEdit", QStringLiteral("-5"));
    QTest::mouseClick(window->findChild<QWidget *>(QStringLiteral("sendButton")), Qt::LeftButton);
    QCOMPARE(redCaptions(), QString());
    QCOMPARE(requests.count(), 1);

    // Every binding name of the form travels, with the partner and the stream.
    Values expected = form->properties()->values();
    const Values order{{"Account", "MB0012"}, {"Market", "MOEX"}, {"Board", "TQBR"}, {"Security", "HOYH"},
                       {"SecurityId", "1"}, {"Side", "S"}, {"Price", "250.25"}, {"Quantity", "40"},
                       {"StopPrice", "245.25"}, {"AllOrNone", "N"}, {"Partner", ""}, {"PartnerName", ""},
                       {"StreamId", "0"}};
    for (auto it = order.cbegin(); it != order.cend(); ++it)
        expected.insert(it.key(), it.value());
    const Values request = requests.at(0).at(0).value<Values>();
    QCOMPARE(request.keys(), expected.keys());
    for (auto it = expected.cbegin(); it != expected.cend(); ++it)
        QCOMPARE(request.value(it.key()).toString() + " " + it.key(), it.value().toString() + " " + it.key());

    // A new trading session refills the securities: the choice stays, and so
    // does the request sent again.
    auto *securities = window->findChild<QComboBox *>(QStringLiteral("securityBox"));
    const QString shown = securities->currentText();
    QSignalSpy refills(securities->model(), &QAbstractItemModel::modelReset);
    QVERIFY(decoder->openNextSession(1) > 0);
    QTRY_VERIFY(refills.count() > 0);
    QCOMPARE(securities->currentText(), shown);
    QVERIFY(form->send());
    QCOMPARE(requests.count(), 2);
    QCOMPARE(requests.at(1).at(0).value<Values>(), request);
}

QTEST_MAIN(tst_OrderForm)
#include "tst_orderform.moc"
