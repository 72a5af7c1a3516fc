#include <vetrel/dateedit.h>
#include <vetrel/lineedit.h>
#include <vetrel/properties.h>

#include <QSignalSpy>
#include <QTest>

namespace
{

// Counts warnings, handing every message on so that QTest::ignoreMessage still works.
int warnings = 0;
QtMessageHandler testHandler = nullptr;
void countWarnings(QtMsgType type, const QMessageLogContext &context, const QString &text)
{
    warnings += type == QtWarningMsg;
    testHandler(type, context, text);
}

QString stored(const Properties &properties, const char *name)
{
    return properties.values().value(QLatin1String(name)).toString();
}

}

// A USER property not named Value, like a selector box's.
class SelectorBox : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("Properties", "this")
    Q_PROPERTY(QString StockId MEMBER stockId NOTIFY stockIdChanged USER true)
    QString stockId;
Q_SIGNALS:
    void stockIdChanged();
};

// A variant Value and no USER property. A write is kept, or comes back longer
// (two growing boxes never settle); the victim, if any, is deleted first.
// Plain is write-only and can be reset.
class ReactingBox : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("Properties", "this")
    Q_PROPERTY(QVariant Value MEMBER value WRITE setValue NOTIFY changedValue)
    Q_PROPERTY(QString Plain MEMBER plain RESET resetPlain)
public:
    using QObject::QObject;
    void resetPlain() { plain = QStringLiteral("reset"); }
    void setValue(const QVariant &given)
    {
        const QVariant old = value;
        value = grow ? QVariant(given.toString() + QLatin1Char('+')) : given;
        delete std::exchange(victim, nullptr);
        if (value != old)
            emit changedValue();
    }
    bool grow = false;
    QVariant value;
    QString plain;
    QObject *victim = nullptr;
Q_SIGNALS:
    void changedValue();
};

class TestProperties : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { testHandler = qInstallMessageHandler(countWarnings); }

    // With nothing stored the first widget bound gives the value to the
    // others; hasChanged() comes once per event-loop pass, for every
    // setValue() (changed or not), never for binding alone. After
    // disconnectAll() renamed bindings still take values but report nothing.
    void storeAndPropagation()
    {
        QWidget form;
        auto *first = new LineEdit(&form), *second = new LineEdit(&form);
        first->setText(QStringLiteral("7"));
        second->setText(QStringLiteral("stale"));
        first->setProperty("field", "Price");
        second->setProperty("fields", "Price=Value");
        Properties properties(Values { { QStringLiteral("Qty"), 5 } });
        QSignalSpy changed(&properties, &Properties::hasChanged);
        QVERIFY(changed.wait());
        QVERIFY(properties.connectAll(&form));
        QCOMPARE(second->text(), QStringLiteral("7"));
        QCoreApplication::processEvents();
        QCOMPARE(changed.count(), 1);
        QTest::keyClicks(first, QStringLiteral("12"));
        QCOMPARE(second->text() + stored(properties, "Price"), QStringLiteral("712712"));
        properties.setValue(QStringLiteral("Price"), QStringLiteral("712"));
        properties.setValue(QStringLiteral("Empty"), QString());
        QCOMPARE(changed.count(), 1);
        QVERIFY(changed.wait());
        QCoreApplication::processEvents();
        QCOMPARE(changed.count(), 2);
        QCOMPARE(properties.values(), (Values { { "Price", "712" }, { "Qty", "5" } }));
        properties.setValue(QStringLiteral("Price"), QStringLiteral("712"));
        QVERIFY(changed.wait());

        QVERIFY(properties.disconnectAll(&form));
        properties.setValue(QStringLiteral("Price"), QStringLiteral("5"));
        QTest::keyClicks(first, QStringLiteral("1"));
        QCOMPARE(first->text() + second->text() + stored(properties, "Price"), QStringLiteral("5155"));
    }

    // The date editor, bound last and so written first, spells out a date in
    // another notation for all (also the line edit typed into) and answers a
    // half-typed one with an empty text, which is not taken.
    void dateEditBesideLineEdit()
    {
        LineEdit edit;
        DateEdit date;
        Properties properties;
        properties.connectOne(QStringLiteral("Day"), &edit, "Value");
        properties.connectOne(QStringLiteral("Day"), &date, "Value");
        const auto shows = [&](const QString &text, const QString &inDate) {
            return stored(properties, "Day") == text && edit.text() == text && date.getValue() == inDate;
        };
        properties.setValue(QStringLiteral("Day"), QStringLiteral("2024-02-01"));
        QVERIFY(shows("2024.02.01 00:00:00.000", "2024.02.01 00:00:00.000"));
        edit.selectAll();
        QTest::keyClicks(&edit, QStringLiteral("2024.03"));
        QVERIFY(shows("2024.03", ""));
        QTest::keyClicks(&edit, QStringLiteral(".05"));
        QVERIFY(shows("2024.03.05 00:00:00.000", "2024.03.05 00:00:00.000"));
    }

    // Two widgets answering every write with a new text: each outer pass is
    // warned about once, and the nested change the warning counts to is not taken.
    void runawayCascadeStops()
    {
        ReactingBox a, b;
        a.grow = b.grow = true;
        Properties properties;
        const QRegularExpression message(
            QStringLiteral("^Properties: the binding \"Echo\" did not settle after 32 nested changes"));
        properties.connectOne(QStringLiteral("Echo"), &a, "Value");
        QTest::ignoreMessage(QtWarningMsg, message); // binding the second starts the exchange
        properties.connectOne(QStringLiteral("Echo"), &b, "Value");
        for (int round = 1; round <= 2; ++round) {
            warnings = 0;
            QTest::ignoreMessage(QtWarningMsg, message);
            properties.setValue(QStringLiteral("Echo"), QStringLiteral("x"));
            QCOMPARE(warnings, 1);
            QCOMPARE(stored(properties, "Echo"), QStringLiteral("x") + QString(31, QLatin1Char('+')));
        }
    }

    // Class info, "field" and "fields" decide what connectAll() binds under
    // which names. Each root has a child without USER; "field" renames its Value.
    void classInfoAndRenames_data()
    {
        QTest::addColumn<QString>("field");
        QTest::addColumn<QString>("fields");
        QTest::addColumn<QStringList>("names");
        // A root with neither is a line edit, else a selector box.
        QTest::newRow("thisOnly keeps children out") << QString() << QString() << QStringList { "Value" };
        QTest::newRow("field renames USER") << "Stock" << QString() << QStringList { "Child", "Stock" };
        QTest::newRow("malformed items are skipped")
            << QString() << " Stock  Code=StockId =StockId A=StockId=B " << QStringList { "Child", "Code" };
        QTest::newRow("fields override field, later items win")
            << "Id" << "Sec=StockId Code=StockId" << QStringList { "Child", "Code" };
    }

    void classInfoAndRenames()
    {
        QFETCH(QString, field);
        QFETCH(QString, fields);
        const QScopedPointer<QObject> root(
            field.isNull() && fields.isNull() ? static_cast<QObject *>(new LineEdit) : new SelectorBox);
        root->setProperty("field", field.isNull() ? QVariant() : field);
        root->setProperty("fields", fields.isNull() ? QVariant() : fields);
        (new ReactingBox(root.data()))->setProperty("field", "Child");
        Properties properties;
        QVERIFY(properties.connectAll(root.data()));
        QTEST(QStringList(properties.values().keys()), "names");
    }

    // connectOne() binds under the property's own name unless given one;
    // write-only properties take the stored value; reset() calls the RESET
    // functions of stored names only and announces nothing.
    void connectOneWriteOnlyAndReset()
    {
        Properties properties(Values { { QStringLiteral("P"), QStringLiteral("v") } });
        QSignalSpy changed(&properties, &Properties::hasChanged);
        QVERIFY(changed.wait());
        ReactingBox box, second, unstored;
        QTest::ignoreMessage(QtWarningMsg,
            QRegularExpression("^Properties::connect: property \"Nope\" not found for object ReactingBox"));
        QVERIFY(!properties.connectOne(QStringLiteral("N"), &box, "Nope"));
        QVERIFY(!properties.connectAll(nullptr));

        warnings = 0;
        QVERIFY(properties.connectOne(&box, "objectName") && properties.connectOne(&box, "Value")); // index 0
        QVERIFY(properties.connectOne(QStringLiteral("P"), &box, "Plain"));
        properties.connectOne(QStringLiteral("P"), &second, "Plain");
        properties.connectOne(QStringLiteral("Q"), &unstored, "Plain");
        QCOMPARE(warnings, 0);
        QCOMPARE(properties.values(), (Values { { "P", "v" }, { "Value", "" }, { "objectName", "" } }));
        QCOMPARE(box.plain + second.plain, QStringLiteral("vv"));
        QVERIFY(properties.disconnectOne(&box, "Value"));
        box.setProperty("Value", QStringLiteral("after"));
        QCOMPARE(stored(properties, "Value"), QString());

        properties.reset();
        QCOMPARE(box.plain + second.plain + unstored.plain, QStringLiteral("resetreset"));
        QVERIFY(properties.values().isEmpty());
        QCoreApplication::processEvents();
        QCOMPARE(changed.count(), 1);
    }

    // An object destroyed by a propagation that has it still ahead is not
    // written, and its recorded names go.
    void destroyedObjectsAreDropped()
    {
        Properties properties;
        ReactingBox source, killer;
        auto *victim = new ReactingBox;
        victim->setProperty("field", "X");
        properties.connectAll(victim);
        properties.connectOne(QStringLiteral("X"), &source, "Value");
        properties.connectOne(QStringLiteral("X"), &killer, "Value");
        killer.victim = victim;
        source.setProperty("Value", QStringLiteral("go"));
        QVERIFY(!killer.victim);
        QCOMPARE(properties.objectProperty(victim), QList<QString>());
    }
};

QTEST_MAIN(TestProperties)
#include "tst_properties.moc"
