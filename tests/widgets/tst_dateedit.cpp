#include <vetrel/dateedit.h>
#include <vetrel/lineedit.h>
#include <vetrel/properties.h>

#include <QAbstractItemModel>
#include <QCalendarWidget>
#include <QLineEdit>
#include <QLocale>
#include <QSignalSpy>
#include <QTableView>
#include <QTest>

// Run once per locale (LC_ALL) and time zone (TZ) by the build. Wherever the
// shown text depends on the locale, the rows carry both the ru_RU text
// (dd.MM.yyyy) and the en_US one (M/d/yy).
class TestDateEdit : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void construction();
    void setValue_data();
    void setValue();
    void typing_data();
    void typing();
    void downKeyOpensCalendarOnToday();
    void pickingDays();
    void boundBesideLineEdit();

private:
    bool m_russian = false;
};

namespace
{

const QString red = QStringLiteral("color: red");

QCalendarWidget *calendarOf(const DateEdit &edit)
{
    return edit.findChild<QCalendarWidget *>();
}

QStringList emitted(QSignalSpy &spy)
{
    QStringList texts;
    for (const QList<QVariant> &arguments : qAsConst(spy))
        texts << arguments.at(0).toString();
    spy.clear();
    return texts;
}

void retype(DateEdit &edit, const QString &text)
{
    edit.lineEdit()->selectAll();
    QTest::keyClick(edit.lineEdit(), Qt::Key_Backspace);
    QTest::keyClicks(edit.lineEdit(), text);
}

}

void TestDateEdit::initTestCase()
{
    const QString name = QLocale::system().name();
    QVERIFY2(name == QLatin1String("ru_RU") || name == QLatin1String("en_US"), qPrintable(name));
    m_russian = name == QLatin1String("ru_RU");
    QCOMPARE(QLocale::system().dateFormat(QLocale::ShortFormat),
        m_russian ? QStringLiteral("dd.MM.yyyy") : QStringLiteral("M/d/yy"));
}

void TestDateEdit::construction()
{
    DateEdit edit;
    const QString format = m_russian ? QStringLiteral("dd.MM.yyyy") : QStringLiteral("M/d/yy");
    QVERIFY(edit.isEditable());
    QCOMPARE(edit.lineEdit()->placeholderText(), format);
    QCOMPARE(edit.lineEdit()->toolTip(), QStringLiteral("Дата в формате: ") + format);
    QCOMPARE(edit.lineEdit()->alignment(), Qt::AlignHCenter);
    QVERIFY(edit.lineEdit()->validator());
    QCOMPARE(edit.getValue(), QString());

    const QMetaObject *meta = edit.metaObject();
    QCOMPARE(meta->classInfo(meta->indexOfClassInfo("Properties")).value(), "thisOnly");
    QCOMPARE(meta->userProperty().name(), "Value");

    QCalendarWidget *calendar = calendarOf(edit);
    QVERIFY(calendar);
    QVERIFY(calendar->isHidden());
    QCOMPARE(calendar->firstDayOfWeek(), m_russian ? Qt::Monday : Qt::Sunday);
}

void TestDateEdit::setValue_data()
{
    QTest::addColumn<QString>("input");
    QTest::addColumn<QString>("value");
    QTest::addColumn<QString>("ruText");
    QTest::addColumn<QString>("enText");

    // clang-format off
    QTest::newRow("canonical") << "2024.02.01 10:20:30.400" << "2024.02.01 10:20:30.400" << "01.02.2024" << "2/1/24";
    QTest::newRow("date and seconds") << "2024-02-01 10:20:30" << "2024.02.01 10:20:30.000" << "01.02.2024" << "2/1/24";
    QTest::newRow("dotted date") << "2024.02.01" << "2024.02.01 00:00:00.000" << "01.02.2024" << "2/1/24";
    QTest::newRow("dashed date") << "2024-02-01" << "2024.02.01 00:00:00.000" << "01.02.2024" << "2/1/24";
    QTest::newRow("New York spring-forward gap") << "2024-03-10 02:30:00" << "2024.03.10 02:30:00.000"
                                                 << "10.03.2024" << "3/10/24";
    QTest::newRow("New York fall-back hour") << "2024.11.03 01:30:00.000" << "2024.11.03 01:30:00.000"
                                             << "03.11.2024" << "11/3/24";
    QTest::newRow("before 1970") << "1969.07.20 20:17:40.000" << "1969.07.20 20:17:40.000" << "20.07.1969" << "7/20/69";
    QTest::newRow("first year") << "0001-01-01" << "0001.01.01 00:00:00.000" << "01.01.0001" << "1/1/01";
    QTest::newRow("last millisecond of 9999") << "9999.12.31 23:59:59.999" << "9999.12.31 23:59:59.999"
                                              << "31.12.9999" << "12/31/99";
    QTest::newRow("second millisecond of 1970") << "1970.01.01 00:00:00.001" << "1970.01.01 00:00:00.001"
                                                << "01.01.1970" << "1/1/70";
    QTest::newRow("first millisecond of 1970 is no date") << "1970.01.01 00:00:00.000" << "" << "" << "";
    QTest::newRow("year 10000") << "10000.01.01" << "" << "" << "";
    QTest::newRow("locale notation") << "01.02.2024" << "" << "" << "";
    QTest::newRow("no such day") << "2024.02.30" << "" << "" << "";
    QTest::newRow("no such hour") << "2024-02-01 24:00:00" << "" << "" << "";
    QTest::newRow("ISO with T") << "2024-02-01T10:20:30" << "" << "" << "";
    QTest::newRow("two blanks") << "2024.02.01  10:20:30.400" << "" << "" << "";
    QTest::newRow("words") << "tomorrow" << "" << "" << "";
    QTest::newRow("empty") << "" << "" << "" << "";
    // clang-format on
}

void TestDateEdit::setValue()
{
    QFETCH(QString, input);
    QFETCH(QString, value);
    QFETCH(QString, ruText);
    QFETCH(QString, enText);

    DateEdit edit;
    edit.setValue(QStringLiteral("2000.05.05 05:05:05.005"));
    QSignalSpy spy(&edit, &DateEdit::changedValue);

    edit.setValue(input);
    QCOMPARE(edit.getValue(), value);
    QCOMPARE(edit.property("Value").toString(), value);
    QCOMPARE(emitted(spy), QStringList { value });
    QCOMPARE(edit.lineEdit()->text(), m_russian ? ruText : enText);
    QVERIFY(edit.lineEdit()->styleSheet() != red || value == QLatin1String("1970.01.01 00:00:00.001"));

    // The canonical text of the current value changes nothing; any other
    // accepted notation of it is announced again in the canonical one.
    edit.setValue(value);
    QCOMPARE(spy.count(), 0);
    if (input != value) {
        edit.setValue(input);
        QCOMPARE(emitted(spy), QStringList { value });
    }
}

void TestDateEdit::typing_data()
{
    QTest::addColumn<QString>("ruTyped");
    QTest::addColumn<QString>("enTyped");
    QTest::addColumn<QString>("value");

    QTest::newRow("new year's eve") << "31.12.2023" << "12/31/23" << "2023.12.31 00:00:00.000";
    QTest::newRow("leap day") << "29.02.2024" << "2/29/24" << "2024.02.29 00:00:00.000";
    QTest::newRow("last two-digit year") << "31.12.2099" << "12/31/99" << "2099.12.31 00:00:00.000";
    QTest::newRow("first day of 2000") << "01.01.2000" << "1/1/00" << "2000.01.01 00:00:00.000";
}

void TestDateEdit::typing()
{
    QFETCH(QString, ruTyped);
    QFETCH(QString, enTyped);
    QFETCH(QString, value);
    const QString typed = m_russian ? ruTyped : enTyped;

    DateEdit edit;
    edit.setValue(QStringLiteral("2000.05.05"));
    edit.show();
    QVERIFY(QTest::qWaitForWindowExposed(&edit));
    QSignalSpy spy(&edit, &DateEdit::changedValue);

    // Emptied: no date, and an empty field is not an error.
    edit.lineEdit()->selectAll();
    QTest::keyClick(edit.lineEdit(), Qt::Key_Backspace);
    QCOMPARE(emitted(spy), QStringList { QString() });
    QCOMPARE(edit.lineEdit()->styleSheet(), QString());

    // Half-typed: red, and nothing more is announced.
    QTest::keyClicks(edit.lineEdit(), typed.chopped(1));
    QCOMPARE(edit.lineEdit()->text(), typed.chopped(1));
    QCOMPARE(edit.lineEdit()->styleSheet(), red);
    QCOMPARE(spy.count(), 0);
    QCOMPARE(edit.getValue(), QString());

    QTest::keyClicks(edit.lineEdit(), typed.right(1));
    QCOMPARE(edit.lineEdit()->text(), typed); // not rewritten while typing
    QCOMPARE(edit.lineEdit()->styleSheet(), QString());
    QCOMPARE(emitted(spy), QStringList { value });
    QCOMPARE(edit.getValue(), value);

    // Overtyping a complete date with a wrong one: one empty value, red again.
    retype(edit, m_russian ? QStringLiteral("31.02.2024") : QStringLiteral("2/31/24"));
    QCOMPARE(emitted(spy), QStringList { QString() });
    QCOMPARE(edit.lineEdit()->styleSheet(), red);
    QCOMPARE(edit.count(), 0);
}

void TestDateEdit::downKeyOpensCalendarOnToday()
{
    DateEdit edit;
    edit.move(40, 30);
    edit.show();
    QVERIFY(QTest::qWaitForWindowExposed(&edit));
    QCalendarWidget *calendar = calendarOf(edit);

    edit.lineEdit()->setFocus();
    QTest::keyClick(edit.lineEdit(), Qt::Key_Down);
    QTRY_VERIFY(calendar->isVisible());
    QCOMPARE(calendar->selectedDate(), QDate::currentDate());
    QCOMPARE(calendar->pos(), edit.mapToGlobal(QPoint(0, edit.height() - 1)));
    QVERIFY(calendar->windowFlags() & Qt::Popup);

    edit.hidePopup();
    QVERIFY(!calendar->isVisible());

    // On a date far from today, and on one the calendar's own range ends at.
    for (const QString &value : { QStringLiteral("1965.06.15 12:00:00.000"), QStringLiteral("9999.12.31") }) {
        edit.setValue(value);
        edit.showPopup();
        QCOMPARE(calendar->selectedDate(), QDate::fromString(value.left(10), QStringLiteral("yyyy.MM.dd")));
        edit.hidePopup();
    }
}

void TestDateEdit::pickingDays()
{
    DateEdit edit;
    edit.setValue(QStringLiteral("1965.06.03 12:00:00.000"));
    edit.show();
    QVERIFY(QTest::qWaitForWindowExposed(&edit));
    QCalendarWidget *calendar = calendarOf(edit);
    QSignalSpy spy(&edit, &DateEdit::changedValue);

    // Keyboard: the next day, then Return. The time of day is dropped.
    edit.showPopup();
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Right);
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Return);
    QTRY_VERIFY(!calendar->isVisible());
    QCOMPARE(emitted(spy), QStringList { QStringLiteral("1965.06.04 00:00:00.000") });
    QCOMPARE(edit.lineEdit()->text(), m_russian ? QStringLiteral("04.06.1965") : QStringLiteral("6/4/65"));

    // Mouse: a double click on the 15th of the month shown.
    edit.showPopup();
    auto *days = calendar->findChild<QTableView *>();
    QVERIFY(days);
    const QAbstractItemModel *model = days->model();
    QModelIndex fifteenth;
    for (int row = 0; row < model->rowCount() && !fifteenth.isValid(); ++row) {
        for (int column = 0; column < model->columnCount(); ++column) {
            const QModelIndex cell = model->index(row, column);
            if (cell.data().toString() == QLatin1String("15")) {
                fifteenth = cell;
                break;
            }
        }
    }
    QVERIFY(fifteenth.isValid());
    const QPoint centre = days->visualRect(fifteenth).center();
    // A single click only moves the selection.
    QTest::mouseClick(days->viewport(), Qt::LeftButton, {}, centre);
    QVERIFY(calendar->isVisible());
    QCOMPARE(spy.count(), 0);
    // The second click of a real double click arrives as press, double click, release.
    QTest::mouseDClick(days->viewport(), Qt::LeftButton, {}, centre);
    QTRY_VERIFY(!calendar->isVisible());
    QCOMPARE(emitted(spy), QStringList { QStringLiteral("1965.06.15 00:00:00.000") });
    QCOMPARE(edit.getValue(), QStringLiteral("1965.06.15 00:00:00.000"));
    QCOMPARE(edit.lineEdit()->styleSheet(), QString());
}

// What travels between bound widgets is the canonical text, whatever the
// locale shows and whatever the time zone.
void TestDateEdit::boundBesideLineEdit()
{
    QWidget form;
    auto *expiry = new DateEdit(&form);
    auto *echo = new LineEdit(&form);
    expiry->setProperty("field", QStringLiteral("Expiry"));
    echo->setProperty("field", QStringLiteral("Expiry"));
    Properties properties(Values { { QStringLiteral("Expiry"), QStringLiteral("2024-03-10 02:30:00") } });
    QVERIFY(properties.connectAll(&form));

    // The date editor announces the value in its own notation, and the form
    // settles on that.
    const QString gap = QStringLiteral("2024.03.10 02:30:00.000");
    QCOMPARE(expiry->getValue(), gap);
    QCOMPARE(properties.values().value(QStringLiteral("Expiry")).toString(), gap);
    QCOMPARE(echo->text(), gap);
    QCOMPARE(
        expiry->lineEdit()->text(), m_russian ? QStringLiteral("10.03.2024") : QStringLiteral("3/10/24"));

    form.show();
    QVERIFY(QTest::qWaitForWindowExposed(&form));
    retype(*expiry, m_russian ? QStringLiteral("05.11.1955") : QStringLiteral("11/5/55"));
    const QString typed
        = m_russian ? QStringLiteral("1955.11.05 00:00:00.000") : QStringLiteral("2055.11.05 00:00:00.000");
    QCOMPARE(properties.values().value(QStringLiteral("Expiry")).toString(), typed);
    QCOMPARE(echo->text(), typed);

    properties.setValue(QStringLiteral("Expiry"), QString());
    QCOMPARE(expiry->getValue(), QString());
    QCOMPARE(expiry->lineEdit()->text(), QString());
}

QTEST_MAIN(TestDateEdit)
#include "tst_dateedit.moc"
