#include <vetrel/combobox.h>
#include <vetrel/comboboxvalidator.h>

#include <QCompleter>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QSignalSpy>
#include <QStandardItemModel>
#include <QStringListModel>
#include <QTest>

namespace
{

QValidator::State validated(const ComboBoxValidator *validator, QString input)
{
    int pos = input.size();
    return validator->validate(input, pos);
}

const int codeRole = Qt::UserRole + 7;

// The market in a box that searches it, nothing chosen yet: names with codes;
// the last has no code and so is found by its name.
void searchMarket(ComboBox &box)
{
    const QStringList rows = { "SIBS", "Сибирсталь ао", "GAZP", "Газпром ао", "STLI", "Сталь-Инвест", "ELKA",
        "Ёлка", "SIB", "Sibir Energy", "NFST", "Нефтесталь", "", "Sibneft" };
    auto *model = new QStandardItemModel(&box);
    for (int i = 0; i < rows.size(); i += 2) {
        model->appendRow(new QStandardItem(rows.at(i + 1)));
        model->setData(model->index(i / 2, 0), rows.at(i), codeRole);
    }
    box.setTraderSearchCodeRole(codeRole);
    box.setModel(model);
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

QListView *searchList(const ComboBox &box)
{
    return box.findChild<QListView *>(QStringLiteral("traderSearchList"));
}

QStringList offered(const ComboBox &box)
{
    QListView *list = searchList(box);
    QStringList texts;
    for (int row = 0; list && list->isVisible() && row < list->model()->rowCount(); ++row)
        texts.append(list->model()->index(row, 0).data().toString());
    return texts;
}

}

class TestComboBox : public QObject
{
    Q_OBJECT

private slots:
    void validate_data()
    {
        QTest::addColumn<QString>("input");
        QTest::addColumn<int>("state");
        QTest::addColumn<QString>("fixed");

        // Over the rows Alpha, al, Beta2, beta, Сбербанк: the first matching row decides.
        QTest::newRow("earlier prefix wins over later exact") << "al" << int(QValidator::Intermediate) << "Alpha";
        QTest::newRow("exact ignoring case") << "ALPHA" << int(QValidator::Acceptable) << "Alpha";
        QTest::newRow("cyrillic ignoring case") << "СБЕР" << int(QValidator::Intermediate) << "Сбербанк";
        QTest::newRow("earlier longer row wins over later exact")
            << "beta" << int(QValidator::Intermediate) << "Beta2";
        QTest::newRow("no row") << "b3" << int(QValidator::Invalid) << "b3";
        QTest::newRow("empty") << "" << int(QValidator::Intermediate) << "";
    }

    void validate()
    {
        QFETCH(QString, input);
        QFETCH(int, state);
        QFETCH(QString, fixed);

        QStringListModel model({ QStringLiteral("Alpha"), QStringLiteral("al"), QStringLiteral("Beta2"),
            QStringLiteral("beta"), QStringLiteral("Сбербанк") });
        ComboBoxValidator validator;
        validator.setModel(&model);
        QCOMPARE(int(validated(&validator, input)), state);
        validator.fixup(input);
        QCOMPARE(input, fixed);
    }

    // Rows are read at each keystroke: a model refilled, reset or destroyed
    // between keystrokes leaves nothing stale behind.
    void validatorFollowsTheModel()
    {
        ComboBoxValidator validator;
        QCOMPARE(validated(&validator, QString()), QValidator::Invalid);

        auto *model = new QStandardItemModel;
        model->appendRow(new QStandardItem(QStringLiteral("GAZP")));
        validator.setModel(model);
        QCOMPARE(validated(&validator, QStringLiteral("ga")), QValidator::Intermediate);
        model->clear();
        QCOMPARE(validated(&validator, QStringLiteral("gaz")), QValidator::Invalid);
        model->appendRow(new QStandardItem(QStringLiteral("GAZ")));
        QCOMPARE(validated(&validator, QStringLiteral("gaz")), QValidator::Acceptable);

        delete model;
        QCOMPARE(validated(&validator, QStringLiteral("gaz")), QValidator::Invalid);
    }

    // QComboBox::setModel is not virtual: a host that replaces the model through
    // a QComboBox pointer must not leave the validator on the old, deleted model.
    void followsAReplacedModel()
    {
        ComboBox box;
        box.lineEdit()->setValidator(box.comboBoxValidator());
        box.show();
        QVERIFY(QTest::qWaitForWindowExposed(&box));

        auto *old = new QStringListModel({ QStringLiteral("MICEX") });
        box.setModel(old);
        auto *markets = new QStringListModel({ QStringLiteral("SPB"), QStringLiteral("FORTS") }, &box);
        static_cast<QComboBox &>(box).setModel(markets);
        delete old;
        box.setCurrentIndex(-1);

        QTest::keyClicks(box.lineEdit(), QStringLiteral("fo"));
        QCOMPARE(box.lineEdit()->text(), QStringLiteral("fo"));
        QCOMPARE(box.comboBoxValidator()->model(), markets);
        QCOMPARE(box.completer()->currentCompletion(), QStringLiteral("FORTS")); // whatever the case

        // A replaced line edit takes its validator with it; the box goes on without.
        box.setLineEdit(new QLineEdit);
        QVERIFY(!box.comboBoxValidator());
        box.setModel(new QStringListModel({ QStringLiteral("MICEX") }, &box));
    }

    // Trader search: a list of matching rows under the line edit.
    void offersMatchesBestFirst_data()
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
        QTest::newRow("word start before inside, model order within") << "сталь" << QStringList { stli, sibs, nfst };
        QTest::newRow("last word") << "ао" << QStringList { sibs, gazp };
        QTest::newRow("inside a code") << "ST" << QStringList { stli, nfst };
        QTest::newRow("Cyrillic typed on the Latin layout") << "cb,bhcn" << QStringList { sibs };
        QTest::newRow("Latin typed on the Cyrillic layout") << "ПФЯЗ" << QStringList { gazp };
        QTest::newRow("ё as е") << "елк" << QStringList { QStringLiteral("ELKA  Ёлка") };
        QTest::newRow("е as ё, other layout") << "`kr" << QStringList { QStringLiteral("ELKA  Ёлка") };
        QTest::newRow("nothing") << "xyz" << QStringList {};
    }

    void offersMatchesBestFirst()
    {
        QFETCH(QString, typed);
        QFETCH(QStringList, expected);
        ComboBox box;
        searchMarket(box);
        type(box.lineEdit(), typed);
        QCOMPARE(offered(box), expected);
        // No list at all rather than an empty one.
        QCOMPARE(searchList(box)->isVisible(), !expected.isEmpty());
    }

    // A full list of 50 rows: the rows whose codes start with the query come
    // first, then the words' rows in model order, where those rows, and a
    // second word of the same row, are passed over.
    void searchFillsTheListInModelOrder()
    {
        auto *model = new QStandardItemModel;
        QStringList expected;
        for (int row = 0; row < 600; ++row) {
            const QString code = (row < 40 ? QStringLiteral("AL") : QStringLiteral("X")) + QString::number(row);
            const QString name = row % 5 == 0 ? QStringLiteral("alpha alpine") : QStringLiteral("beta alpha");
            model->appendRow(new QStandardItem(name));
            model->setData(model->index(row, 0), code, codeRole);
            if (expected.size() < 50)
                expected.append(code + QStringLiteral("  ") + name);
        }
        ComboBox box;
        model->setParent(&box);
        box.setTraderSearchCodeRole(codeRole);
        box.setModel(model);
        box.setCurrentIndex(-1);
        box.setTraderSearch(true);
        box.show();
        type(box.lineEdit(), QStringLiteral("al"));
        QCOMPARE(offered(box), expected);
    }

    void choosingKeepsTheValidatorsWord_data()
    {
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QString>("shownWhileTyping");
        QTest::addColumn<int>("downs");
        QTest::addColumn<int>("chosen");

        // The line edit refuses what starts no row; the search keeps it.
        QTest::newRow("refused text, second match") << "ао" << "" << 2 << 1;
        QTest::newRow("accepted prefix, first match") << "Газ" << "Газ" << 1 << 1;
        QTest::newRow("wrong layout") << "cnfkm" << "" << 1 << 2;
    }

    void choosingKeepsTheValidatorsWord()
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
        // What the line edit refused is still shown above the matches.
        const auto *said = searchList(box)->parentWidget()->findChild<QLabel *>();
        QCOMPARE(said->isVisible() && said->text() == typed, shownWhileTyping != typed);
        for (int i = 0; i < downs; ++i)
            QTest::keyClick(box.lineEdit(), Qt::Key_Down);
        QTest::keyClick(box.lineEdit(), Qt::Key_Return);

        QCOMPARE(box.currentIndex(), chosen);
        QCOMPARE(box.lineEdit()->text(), box.itemText(chosen));
        QCOMPARE(activated.count(), 1);
        QVERIFY(offered(box).isEmpty());
    }
};

QTEST_MAIN(TestComboBox)
#include "tst_combobox.moc"
