#include "formtest.h"

#include <vetrel/dateedit.h>

#include <QCalendarWidget>

static const QString red = QStringLiteral("color: red");

// Run per locale and time zone by the build; rows carry both the ru_RU text
// (dd.MM.yyyy) and the en_US one (M/d/yy) wherever the shown text differs.
class TestDateEdit : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        const QString name = QLocale::system().name();
        QVERIFY2(name == QLatin1String("ru_RU") || name == QLatin1String("en_US"), qPrintable(name));
        m_russian = name == QLatin1String("ru_RU");
    }

    void setValue_data()
    {
        QTest::addColumn<QString>("input");
        QTest::addColumn<QString>("value");
        QTest::addColumn<QString>("ruText");
        QTest::addColumn<QString>("enText");

        // clang-format off
        QTest::newRow("canonical") << "2024.02.01 10:20:30.400" << "2024.02.01 10:20:30.400" << "01.02.2024" << "2/1/24";
        QTest::newRow("date and seconds") << "2024-02-01 10:20:30" << "2024.02.01 10:20:30.000" << "01.02.2024" << "2/1/24";
        QTest::newRow("dotted date") << "2024.02.01" << "2024.02.01 00:00:00.000" << "01.02.2024" << "2/1/24";
        QTest::newRow("New York spring-forward gap") << "2024-03-10 02:30:00" << "2024.03.10 02:30:00.000"
                                                     << "10.03.2024" << "3/10/24";
        QTest::newRow("before 1970") << "1969.07.20 20:17:40.000" << "1969.07.20 20:17:40.000" << "20.07.1969" << "7/20/69";
        QTest::newRow("first millisecond of 1970 is no date") << "1970.01.01 00:00:00.000" << "" << "" << "";
        QTest::newRow("locale notation") << "01.02.2024" << "" << "" << "";
        // clang-format on
    }

    void setValue()
    {
        QFETCH(QString, input);
        QFETCH(QString, value);
        QFETCH(QString, ruText);
        QFETCH(QString, enText);

        DateEdit edit;
        edit.setValue(QStringLiteral("2000.05.05 05:05:05.005"));
        QSignalSpy spy(&edit, &DateEdit::changedValue);

        edit.setValue(input);
        QCOMPARE(edit.property("Value").toString(), value);
        QCOMPARE(emitted(spy), QStringList { value });
        QCOMPARE(edit.lineEdit()->text(), m_russian ? ruText : enText);

        // The canonical text of the current value changes nothing; any other
        // accepted notation of it is announced again in the canonical one.
        edit.setValue(value);
        QCOMPARE(spy.count(), 0);
        if (input != value) {
            edit.setValue(input);
            QCOMPARE(emitted(spy), QStringList { value });
        }
    }

    void typing_data()
    {
        QTest::addColumn<QString>("ruTyped");
        QTest::addColumn<QString>("enTyped");
        QTest::addColumn<QString>("value");

        QTest::newRow("leap day") << "29.02.2024" << "2/29/24" << "2024.02.29 00:00:00.000";
        QTest::newRow("last two-digit year") << "31.12.2099" << "12/31/99" << "2099.12.31 00:00:00.000";
    }

    void typing()
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
        QLineEdit *line = edit.lineEdit();
        // The text shown (never rewritten while typing), its colour, the value.
        const auto state = [&] { return QStringList { line->text(), line->styleSheet(), edit.getValue() }; };

        // Emptied: no date, and an empty field is not an error.
        line->selectAll();
        QTest::keyClick(line, Qt::Key_Backspace);
        QCOMPARE(emitted(spy), QStringList { QString() });
        QCOMPARE(state(), QStringList({ "", "", "" }));
        // Half-typed: red, and nothing more is announced.
        QTest::keyClicks(line, typed.chopped(1));
        QCOMPARE(state(), QStringList({ typed.chopped(1), red, "" }));
        QCOMPARE(spy.count(), 0);
        QTest::keyClicks(line, typed.right(1));
        QCOMPARE(state(), QStringList({ typed, "", value }));
        QCOMPARE(emitted(spy), QStringList { value });
        QTest::keyClick(line, Qt::Key_Return);
        QCOMPARE(edit.count(), 0); // Enter adds no item for the Down key to step through

        // Overtyping a complete date with a wrong one: one empty value, red again.
        retype(line, m_russian ? QStringLiteral("31.02.2024") : QStringLiteral("2/31/24"));
        QCOMPARE(emitted(spy), QStringList { QString() });
        QCOMPARE(line->styleSheet(), red);
    }

    void calendarPopup()
    {
        DateEdit edit;
        QCalendarWidget *calendar = edit.findChild<QCalendarWidget *>();
        QCOMPARE(calendar->firstDayOfWeek(), m_russian ? Qt::Monday : Qt::Sunday);
        edit.move(40, 30);
        edit.show();
        QVERIFY(QTest::qWaitForWindowExposed(&edit));

        // With no date the Down key opens it on today, just under the field.
        edit.lineEdit()->setFocus();
        QTest::keyClick(edit.lineEdit(), Qt::Key_Down);
        QTRY_VERIFY(calendar->isVisible());
        QCOMPARE(calendar->selectedDate(), QDate::currentDate());
        QCOMPARE(calendar->pos(), edit.mapToGlobal(QPoint(0, edit.height() - 1)));
        edit.hidePopup();

        // Otherwise on the date; the day after it is picked and the time of day dropped.
        edit.setValue(QStringLiteral("1965.06.03 12:00:00.000"));
        QSignalSpy spy(&edit, &DateEdit::changedValue);
        edit.showPopup();
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Right);
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Return);
        QTRY_VERIFY(!calendar->isVisible());
        QCOMPARE(emitted(spy), QStringList { QStringLiteral("1965.06.04 00:00:00.000") });
        QCOMPARE(
            edit.lineEdit()->text(), m_russian ? QStringLiteral("04.06.1965") : QStringLiteral("6/4/65"));
    }

private:
    bool m_russian = false;
};

QTEST_MAIN(TestDateEdit)
#include "tst_dateedit.moc"
