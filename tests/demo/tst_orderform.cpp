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
    void init();
    void cleanup();
    void sendPaintsWhatIsMissing();
    void sendOffersTheWholeRequest();

private:
    void type(const char *box, const QString &text);
    QStringList redCaptions() const;
    void fillOrder();

    QScopedPointer<Core> m_core;
    SessionSimulator *m_decoder = nullptr;
    QScopedPointer<QWidget> m_window;
    OrderForm *m_form = nullptr;
};

void tst_OrderForm::init()
{
    m_core.reset(new Core);
    Market::loadSample(m_core->database());
    m_decoder = new SessionSimulator(m_core.data());
    m_core->addPlugin(m_decoder);
    QString error;
    m_window.reset(OrderForm::loadUi(&error));
    QVERIFY2(m_window, qPrintable(error));
    m_form = new OrderForm(m_window.data());
    m_window->show();
}

void tst_OrderForm::cleanup()
{
    m_window.reset();
    m_core.reset();
}

// The boxes show names; the text reaches them as a completed entry would.
void tst_OrderForm::type(const char *box, const QString &text)
{
    m_window->findChild<QComboBox *>(QLatin1String(box))->setEditText(text);
}

QStringList tst_OrderForm::redCaptions() const
{
    QStringList red;
    for (const QLabel *label : m_window->findChildren<QLabel *>()) {
        if (label->buddy() && label->styleSheet().contains(QLatin1String("color: red")))
            red << label->objectName();
    }
    red.sort();
    return red;
}

void tst_OrderForm::fillOrder()
{
    type("stockBox", QStringLiteral("Московская биржа: фондовый рынок"));
    type("boardBox", QStringLiteral("Т+: Акции и ДР"));
    type("securityBox", QStringLiteral("Сибирсталь ао"));
    QTest::keyClicks(m_window->findChild<QLineEdit *>(QStringLiteral("accountEdit")), QStringLiteral("MB0012"));
    QTest::mouseClick(m_window->findChild<QWidget *>(QStringLiteral("sellButton")), Qt::LeftButton);
    QTest::keyClicks(m_window->findChild<QLineEdit *>(QStringLiteral("priceEdit")), QStringLiteral("250.25"));
    QTest::keyClicks(m_window->findChild<QLineEdit *>(QStringLiteral("quantityEdit")), QStringLiteral("40"));
    QTest::keyClicks(m_window->findChild<QLineEdit *>(QStringLiteral("stopOffsetEdit")), QStringLiteral("-5"));
}

void tst_OrderForm::sendPaintsWhatIsMissing()
{
    QSignalSpy requests(m_form, &OrderForm::requestReady);
    type("stockBox", QStringLiteral("Московская биржа: фондовый рынок"));
    QTest::keyClicks(m_window->findChild<QLineEdit *>(QStringLiteral("quantityEdit")), QStringLiteral("40"));
    QTest::keyClicks(m_window->findChild<QLineEdit *>(QStringLiteral("accountEdit")), QStringLiteral("m1")); // not an account
    QVERIFY(!m_form->send());
    QCOMPARE(redCaptions(), (QStringList{QStringLiteral("accountCaption"), QStringLiteral("boardCaption"),
                                         QStringLiteral("priceCaption"), QStringLiteral("securityCaption"),
                                         QStringLiteral("sideCaption")}));
    QCOMPARE(requests.count(), 0);

    fillOrder();
    QTest::mouseClick(m_window->findChild<QWidget *>(QStringLiteral("sendButton")), Qt::LeftButton);
    QCOMPARE(redCaptions(), QStringList());
    QCOMPARE(requests.count(), 1);
}

void tst_OrderForm::sendOffersTheWholeRequest()
{
    QSignalSpy requests(m_form, &OrderForm::requestReady);
    fillOrder();
    QVERIFY(m_form->send());
    QCOMPARE(requests.count(), 1);
    // Every binding name of the form travels, with the partner and the stream.
    Values expected = m_form->properties()->values();
    const Values order{{QStringLiteral("Account"), QStringLiteral("MB0012")},
                       {QStringLiteral("Market"), QStringLiteral("MOEX")},
                       {QStringLiteral("Board"), QStringLiteral("TQBR")},
                       {QStringLiteral("Security"), QStringLiteral("HOYH")},
                       {QStringLiteral("SecurityId"), QStringLiteral("1")},
                       {QStringLiteral("Side"), QStringLiteral("S")},
                       {QStringLiteral("Price"), QStringLiteral("250.25")},
                       {QStringLiteral("Quantity"), QStringLiteral("40")},
                       {QStringLiteral("StopPrice"), QStringLiteral("245.25")},
                       {QStringLiteral("AllOrNone"), QStringLiteral("N")},
                       {QStringLiteral("Partner"), QString()},
                       {QStringLiteral("PartnerName"), QString()},
                       {QStringLiteral("StreamId"), QStringLiteral("0")}};
    for (auto it = order.cbegin(); it != order.cend(); ++it)
        expected.insert(it.key(), it.value());
    const Values request = requests.at(0).at(0).value<Values>();
    QCOMPARE(request.keys(), expected.keys());
    for (auto it = expected.cbegin(); it != expected.cend(); ++it)
        QCOMPARE(request.value(it.key()).toString() + " " + it.key(), it.value().toString() + " " + it.key());

    // A new trading session refills the securities: the choice stays, and so
    // does the request sent again.
    auto *securities = m_window->findChild<QComboBox *>(QStringLiteral("securityBox"));
    const QString shown = securities->currentText();
    QSignalSpy refills(securities->model(), &QAbstractItemModel::modelReset);
    QVERIFY(m_decoder->openNextSession(1) > 0);
    QTRY_VERIFY(refills.count() > 0);
    QCOMPARE(securities->currentText(), shown);
    QVERIFY(m_form->send());
    QCOMPARE(requests.count(), 2);
    QCOMPARE(requests.at(1).at(0).value<Values>(), request);
}

QTEST_MAIN(tst_OrderForm)
#include "tst_orderform.moc"
