#include <vetrel/partnerselectorbox.h>
#include <vetrel/partnerselectorbox_p.h>

#include <host/core.h>
#include <host/database.h>
#include <host/field.h>
#include <host/market.h>

#include <QAbstractItemView>
#include <QLineEdit>
#include <QSignalSpy>
#include <QStandardItemModel>
#include <QTest>

#include <cmath>
#include <limits>
#include <memory>

class TestPartnerSelectorBox : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void listsCodesInOrderWithPaddedNames();
    void userTypesAndPicks();
    void setPartnerFromCode();
    void popupShowsCodeAndName();
    void refillKeepsTheChoice();
    void codeOrderIsTotalOverEveryType();
    void numericCodesSortByValue();

private:
    Table *dealers() const { return m_core->database()->table(QStringLiteral("kx.dealer")); }
    void addDealer(int id, const QString &code, const QString &name);

    std::unique_ptr<Core> m_core;
};

namespace
{

QStringList column(const QComboBox &box, int column)
{
    QStringList texts;
    for (int row = 0; row < box.count(); ++row)
        texts << box.model()->index(row, column).data().toString();
    return texts;
}

}

void TestPartnerSelectorBox::init()
{
    m_core.reset(new Core);
    Market::createTables(m_core->database());
    addDealer(1, QStringLiteral("MC200"), QStringLiteral("Beta Broker"));
    addDealer(2, QStringLiteral("  MC100 "), QStringLiteral("Alpha Broker"));
    addDealer(3, QStringLiteral("MC300"), QStringLiteral("Gamma"));
}

void TestPartnerSelectorBox::cleanup()
{
    m_core.reset();
}

void TestPartnerSelectorBox::addDealer(int id, const QString &code, const QString &name)
{
    dealers()->insert({ { QStringLiteral("dealer_id"), id }, { QStringLiteral("orv_code"), code },
        { QStringLiteral("name"), name }, { QStringLiteral("client_code"), QStringLiteral("CL") } });
}

void TestPartnerSelectorBox::listsCodesInOrderWithPaddedNames()
{
    const QString code22 = QStringLiteral("X").repeated(22);
    const QString code25 = QStringLiteral("Y").repeated(25);
    addDealer(4, code22, QStringLiteral("Long"));
    addDealer(5, code25, QStringLiteral("Longer"));

    PartnerSelectorBox box;
    QCOMPARE(column(box, 0), QStringList({ "MC100", "MC200", "MC300", code22, code25 }));
    QCOMPARE(column(box, 2), QStringList({ "Alpha Broker", "Beta Broker", "Gamma", "Long", "Longer" }));
    const QStringList shown = column(box, 1);
    QCOMPARE(shown.at(0), QStringLiteral("MC100                 Alpha Broker"));
    QCOMPARE(shown.at(0).indexOf(QLatin1Char('A')), 22);
    QCOMPARE(shown.at(3), code22 + QStringLiteral("Long"));
    QCOMPARE(shown.at(4), code25 + QStringLiteral("Longer"));

    // A fresh box: row 0 current behind an empty line, no partner yet.
    QCOMPARE(box.modelColumn(), 0);
    QCOMPARE(box.currentIndex(), 0);
    QCOMPARE(box.currentText(), QString());
    QCOMPARE(box.getPartner(), QString());
    QCOMPARE(box.sizeAdjustPolicy(), QComboBox::AdjustToContents);
    QCOMPARE(box.styleSheet(), QStringLiteral("QComboBox QAbstractItemView {min-width: 40em;}"));
    QVERIFY(qobject_cast<QStandardItemModel *>(box.model()));
    QCOMPARE(box.model()->parent(), &box);
}

void TestPartnerSelectorBox::userTypesAndPicks()
{
    PartnerSelectorBox box;
    box.show();
    QSignalSpy partner(&box, &PartnerSelectorBox::changedPartner);
    QSignalSpy name(&box, &PartnerSelectorBox::changedPartnerName);

    QTest::keyClicks(box.lineEdit(), QStringLiteral("MC200"));
    QCOMPARE(partner.last().at(0).toString(), QStringLiteral("MC200"));
    QCOMPARE(name.last().at(0).toString(), QStringLiteral("Beta Broker"));
    QCOMPARE(box.getPartnerName(), QStringLiteral("Beta Broker"));

    // Letter case counts: "mc200" is a code of its own, unknown to the table.
    box.lineEdit()->clear();
    QTest::keyClicks(box.lineEdit(), QStringLiteral("mc200"));
    QCOMPARE(box.getPartner(), QStringLiteral("mc200"));
    QCOMPARE(box.getPartnerName(), QString());
    QCOMPARE(name.last().at(0).toString(), QString());

    // A code typed by hand that the table does not know is still the partner.
    box.lineEdit()->clear();
    QCOMPARE(box.currentIndex(), -1);
    QTest::keyClicks(box.lineEdit(), QStringLiteral("ZZ9"));
    QCOMPARE(partner.last().at(0).toString(), QStringLiteral("ZZ9"));
    QCOMPARE(box.getPartner(), QStringLiteral("ZZ9"));
    QCOMPARE(box.getPartnerName(), QString());
    // Return takes the code as it is, without adding it to the list.
    QTest::keyClick(box.lineEdit(), Qt::Key_Return);
    QCOMPARE(box.count(), 3);
    QCOMPARE(box.getPartner(), QStringLiteral("ZZ9"));

    partner.clear();
    name.clear();
    box.setCurrentIndex(2);
    emit box.activated(2);
    QCOMPARE(partner.last().at(0).toString(), QStringLiteral("MC300"));
    QCOMPARE(name.last().at(0).toString(), QStringLiteral("Gamma"));
}

void TestPartnerSelectorBox::setPartnerFromCode()
{
    PartnerSelectorBox box;
    QSignalSpy partner(&box, &PartnerSelectorBox::changedPartner);

    box.setPartner(QStringLiteral("MC300"));
    QCOMPARE(box.currentIndex(), 2);
    QCOMPARE(box.currentText(), QStringLiteral("MC300"));
    QCOMPARE(box.getPartnerName(), QStringLiteral("Gamma"));

    partner.clear();
    box.setPartner(QStringLiteral("MC300"));
    QCOMPARE(partner.count(), 0);

    box.setPartner(QStringLiteral("OUTSIDER"));
    QCOMPARE(box.currentText(), QStringLiteral("OUTSIDER"));
    QCOMPARE(box.getPartner(), QStringLiteral("OUTSIDER"));
    QCOMPARE(box.getPartnerName(), QString());
}

void TestPartnerSelectorBox::popupShowsCodeAndName()
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
    const QModelIndex second = box.model()->index(1, 1);
    list->setCurrentIndex(second);
    QTest::keyClick(list, Qt::Key_Return);
    QTRY_VERIFY(!list->isVisible());
    QCOMPARE(box.modelColumn(), 0);
    QCOMPARE(box.currentText(), QStringLiteral("MC200"));
    QCOMPARE(box.getPartner(), QStringLiteral("MC200"));
    QCOMPARE(box.getPartnerName(), QStringLiteral("Beta Broker"));
    for (const QList<QVariant> &notice : partner)
        QCOMPARE(notice.at(0).toString(), QStringLiteral("MC200"));

    // Reopening with a partner chosen keeps the code in the line.
    box.showPopup();
    QCOMPARE(box.currentText(), QStringLiteral("MC200"));
    box.hidePopup();
    QCOMPARE(box.currentIndex(), 1);
}

void TestPartnerSelectorBox::refillKeepsTheChoice()
{
    PartnerSelectorBox box;
    box.setPartner(QStringLiteral("MC200"));
    QAbstractItemModel *before = box.model();
    QSignalSpy partner(&box, &PartnerSelectorBox::changedPartner);

    addDealer(6, QStringLiteral("MC150"), QStringLiteral("Newcomer"));
    box.populate();
    QVERIFY(box.model() != before);
    QCOMPARE(column(box, 0), QStringList({ "MC100", "MC150", "MC200", "MC300" }));
    QCOMPARE(box.currentIndex(), 2);
    QCOMPARE(box.currentText(), QStringLiteral("MC200"));
    QCOMPARE(box.getPartner(), QStringLiteral("MC200"));
    for (const QList<QVariant> &notice : partner)
        QCOMPARE(notice.at(0).toString(), QStringLiteral("MC200"));

    // The chosen dealer left the table: the line is emptied.
    dealers()->remove({ { QStringLiteral("dealer_id"), 1 } });
    box.populate();
    QCOMPARE(box.count(), 3);
    QCOMPARE(box.currentText(), QString());
    QCOMPARE(box.getPartner(), QString());
}

void TestPartnerSelectorBox::codeOrderIsTotalOverEveryType()
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    QVector<Field> cells;
    auto add = [&cells](FieldType::Type type, const QVariant &value) {
        Field cell(type);
        if (value.isValid())
            cell = value;
        cells << cell;
    };
    add(FieldType::None, {});
    for (qint64 v : { qint64(-5), qint64(0), qint64(7) })
        add(FieldType::Int32, v);
    for (qint64 v : { std::numeric_limits<qint64>::min(), qint64(3), std::numeric_limits<qint64>::max() })
        add(FieldType::Int64, v);
    for (double v : { nan, -1.5, 0.0, 2.25, nan })
        add(FieldType::Double, v);
    for (const char *v : { "1.50", "1.5", "-3", "10.001" })
        add(FieldType::Decimal, QString::fromLatin1(v));
    for (const char *v : { "123456789012345678901234567.5", "-2" })
        add(FieldType::XDecimal, QString::fromLatin1(v));
    for (const char *v : { "b", "B", "", "ab" })
        add(FieldType::String, QString::fromLatin1(v));
    add(FieldType::String, {});
    add(FieldType::Time64, qint64(1700000000000));
    add(FieldType::Time64, qint64(-1));

    auto sign = [](int v) { return (v > 0) - (v < 0); };
    for (const Field &a : cells) {
        QCOMPARE(comparePartnerCodes(a, a), 0);
        for (const Field &b : cells) {
            const int ab = sign(comparePartnerCodes(a, b));
            QCOMPARE(ab, -sign(comparePartnerCodes(b, a)));
            if (a.type() != b.type())
                QCOMPARE(ab, sign(int(a.type()) - int(b.type())));
            for (const Field &c : cells) {
                if (ab <= 0 && sign(comparePartnerCodes(b, c)) <= 0)
                    QVERIFY(comparePartnerCodes(a, c) <= 0);
            }
        }
    }
    // Values of one type order by value, not by their text.
    QVERIFY(comparePartnerCodes(cells[1], cells[3]) < 0); // -5 < 7
    QVERIFY(comparePartnerCodes(cells[4], cells[6]) < 0); // min < max without overflow
    QCOMPARE(comparePartnerCodes(cells[12], cells[13]), 0); // 1.50 == 1.5
    QVERIFY(comparePartnerCodes(cells[13], cells[15]) < 0); // 1.5 before 10.001
    QVERIFY(comparePartnerCodes(cells[8], cells[7]) < 0); // numbers before NaN
}

void TestPartnerSelectorBox::numericCodesSortByValue()
{
    // A dealer table of another layout: codes as doubles, one of them NaN.
    m_core.reset();
    m_core.reset(new Core);
    Table *table = m_core->database()->createTable(QStringLiteral("kx.dealer"),
        { { QStringLiteral("dealer_id"), FieldType::Int32 },
            { QStringLiteral("orv_code"), FieldType::Double },
            { QStringLiteral("name"), FieldType::String } },
        { QStringLiteral("dealer_id") });
    const QList<double> codes = { 10, std::numeric_limits<double>::quiet_NaN(), -2, 9, 100 };
    for (int i = 0; i < codes.size(); ++i) {
        Record *row = table->allocRow();
        *table->dataPtr(row, 0) = qint32(i);
        *table->dataPtr(row, 1) = codes.at(i);
        *table->dataPtr(row, 2) = QStringLiteral("D%1").arg(i);
        table->insert(row);
    }

    PartnerSelectorBox box;
    QCOMPARE(column(box, 2), QStringList({ "D2", "D3", "D0", "D4", "D1" }));
}

QTEST_MAIN(TestPartnerSelectorBox)
#include "tst_partnerselectorbox.moc"
