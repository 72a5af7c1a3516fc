#include <vetrel/combobox.h>
#include <vetrel/comboboxvalidator.h>

#include <QLineEdit>
#include <QListView>
#include <QSignalSpy>
#include <QStandardItemModel>
#include <QTest>

class TestTraderSearch : public QObject
{
    Q_OBJECT

private slots:
    void offersMatchesBestFirst_data();
    void offersMatchesBestFirst();
    void choosingKeepsTheValidatorsWord_data();
    void choosingKeepsTheValidatorsWord();
};

namespace
{

const int codeRole = Qt::UserRole + 7;

// Rows as names with codes; the last has no code and so is found by its name.
QStandardItemModel *market(QObject *parent)
{
    const char *rows[][2] = {
        { "SIBS", "Сибирсталь ао" },
        { "GAZP", "Газпром ао" },
        { "STLI", "Сталь-Инвест" },
        { "ELKA", "Ёлка" },
        { "SIB", "Sibir Energy" },
        { "NFST", "Нефтесталь" },
        { "", "Sibneft" },
    };
    auto *model = new QStandardItemModel(parent);
    for (const auto &row : rows) {
        auto *item = new QStandardItem(QString::fromUtf8(row[1]));
        item->setData(QString::fromUtf8(row[0]), codeRole);
        model->appendRow(item);
    }
    return model;
}

// The market in a box that searches it, nothing chosen yet.
void searchMarket(ComboBox &box)
{
    box.setTraderSearchCodeRole(codeRole);
    box.setModel(market(&box));
    box.setCurrentIndex(-1);
    box.setTraderSearch(true);
    box.show();
}

// Characters the way a keyboard delivers them, whatever their script.
void type(QWidget *edit, const QString &text)
{
    for (QChar c : text)
        QTest::sendKeyEvent(QTest::Click, edit, Qt::Key(0), QString(c), Qt::NoModifier);
}

QStringList offered(const ComboBox &box)
{
    auto *list = box.findChild<QListView *>(QStringLiteral("traderSearchList"));
    QStringList texts;
    if (!list || !list->isVisible())
        return texts;
    for (int row = 0; row < list->model()->rowCount(); ++row)
        texts.append(list->model()->index(row, 0).data().toString());
    return texts;
}

}

void TestTraderSearch::offersMatchesBestFirst_data()
{
    QTest::addColumn<QString>("typed");
    QTest::addColumn<QStringList>("expected");

    const QString sibs = QStringLiteral("SIBS  Сибирсталь ао");
    const QString gazp = QStringLiteral("GAZP  Газпром ао");
    const QString stli = QStringLiteral("STLI  Сталь-Инвест");
    const QString nfst = QStringLiteral("NFST  Нефтесталь");
    const QString sib = QStringLiteral("SIB  Sibir Energy");
    QTest::newRow("exact code, code prefix, word start, inside")
        << "sib" << QStringList { sib, sibs, QStringLiteral("Sibneft") };
    QTest::newRow("word start before inside, model order within")
        << "сталь" << QStringList { stli, sibs, nfst };
    QTest::newRow("last word") << "ао" << QStringList { sibs, gazp };
    QTest::newRow("inside a code") << "ST" << QStringList { stli, nfst };
    QTest::newRow("Cyrillic typed on the Latin layout") << "cb,bhcn" << QStringList { sibs };
    QTest::newRow("Latin typed on the Cyrillic layout") << "ПФЯЗ" << QStringList { gazp };
    QTest::newRow("ё as е") << "елк" << QStringList { QStringLiteral("ELKA  Ёлка") };
    QTest::newRow("е as ё, other layout") << "`kr" << QStringList { QStringLiteral("ELKA  Ёлка") };
    QTest::newRow("nothing") << "xyz" << QStringList {};
}

void TestTraderSearch::offersMatchesBestFirst()
{
    QFETCH(QString, typed);
    QFETCH(QStringList, expected);
    ComboBox box;
    searchMarket(box);
    type(box.lineEdit(), typed);
    QCOMPARE(offered(box), expected);
}

void TestTraderSearch::choosingKeepsTheValidatorsWord_data()
{
    QTest::addColumn<QString>("typed");
    QTest::addColumn<QString>("shownWhileTyping");
    QTest::addColumn<int>("downs");
    QTest::addColumn<int>("chosen");

    // The line edit refuses what starts no row; the search keeps it.
    QTest::newRow("refused text, second match") << "ао"
                                                << "" << 2 << 1;
    QTest::newRow("accepted prefix, first match") << "Газ"
                                                  << "Газ" << 1 << 1;
    QTest::newRow("wrong layout") << "cnfkm"
                                  << "" << 1 << 2;
}

void TestTraderSearch::choosingKeepsTheValidatorsWord()
{
    QFETCH(QString, typed);
    QFETCH(QString, shownWhileTyping);
    QFETCH(int, downs);
    QFETCH(int, chosen);
    ComboBox box;
    box.lineEdit()->setValidator(box.comboBoxValidator());
    searchMarket(box);
    QSignalSpy activated(&box, QOverload<int>::of(&QComboBox::activated));

    type(box.lineEdit(), typed);
    QCOMPARE(box.lineEdit()->text(), shownWhileTyping);
    QCOMPARE(box.currentIndex(), -1);
    QVERIFY(!offered(box).isEmpty());
    for (int i = 0; i < downs; ++i)
        QTest::keyClick(box.lineEdit(), Qt::Key_Down);
    QTest::keyClick(box.lineEdit(), Qt::Key_Return);

    QCOMPARE(box.currentIndex(), chosen);
    QCOMPARE(box.lineEdit()->text(), box.itemText(chosen));
    QCOMPARE(activated.count(), 1);
    QCOMPARE(activated.at(0).at(0).toInt(), chosen);
    QVERIFY(offered(box).isEmpty());
    // What the box shows is a whole row, and the validator says so.
    QString text = box.lineEdit()->text();
    int pos = 0;
    QCOMPARE(box.comboBoxValidator()->validate(text, pos), QValidator::Acceptable);
}

QTEST_MAIN(TestTraderSearch)
#include "tst_tradersearch.moc"
