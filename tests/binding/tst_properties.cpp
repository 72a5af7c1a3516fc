#include <vetrel/dateedit.h>
#include <vetrel/lineedit.h>
#include <vetrel/properties.h>

#include <QRegularExpression>
#include <QSignalSpy>
#include <QTest>
#include <QWidget>

namespace
{

// Counts warnings, handing every message on to Qt Test so that
// QTest::ignoreMessage still works.
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

LineEdit *fieldEdit(QWidget *parent, const char *field)
{
    auto *edit = new LineEdit(parent);
    edit->setProperty("field", QString::fromLatin1(field));
    return edit;
}

// The smallest interesting form: two line edits sharing the name Price.
struct PriceForm
{
    QWidget form;
    LineEdit *first = fieldEdit(&form, "Price");
    LineEdit *second = fieldEdit(&form, "Price");
};

}

// Keeps its children to itself; Plain is write-only and can be reset.
class ThisOnlyBox : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("Properties", "thisOnly")
    Q_PROPERTY(QString Alpha MEMBER alpha NOTIFY alphaChanged)
    Q_PROPERTY(QString Plain MEMBER plain RESET resetPlain)
public:
    void resetPlain() { plain = QStringLiteral("reset"); }
    QString alpha, plain;
Q_SIGNALS:
    void alphaChanged();
};

// No class info of its own, so "thisOnly" is inherited.
class InheritingBox : public ThisOnlyBox
{
    Q_OBJECT
    Q_PROPERTY(QString Gamma MEMBER gamma NOTIFY gammaChanged)
public:
    QString gamma;
Q_SIGNALS:
    void gammaChanged();
};

class SuperBox : public InheritingBox
{
    Q_OBJECT
    Q_CLASSINFO("Properties", "super")
};

class ThisBox : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("Properties", "this")
    Q_PROPERTY(QString Beta MEMBER beta NOTIFY betaChanged)
public:
    using QObject::QObject;
    QString beta;
Q_SIGNALS:
    void betaChanged();
};

// Several properties, the main one found as USER, like a selector box.
class SelectorBox : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("Properties", "this")
    Q_PROPERTY(QString StockId MEMBER stockId NOTIFY stockIdChanged USER true)
    Q_PROPERTY(QString StockCode MEMBER stockCode NOTIFY stockCodeChanged)
    Q_PROPERTY(QString BoardCode MEMBER boardCode NOTIFY boardCodeChanged)
public:
    QString stockId, stockCode, boardCode;
Q_SIGNALS:
    void stockIdChanged();
    void stockCodeChanged();
    void boardCodeChanged();
};

// A variant Value and no USER property, answering a write by keeping it, by
// never settling (every write comes back longer), or by deleting another bound
// object in the middle of a propagation.
class ReactingBox : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("Properties", "this")
    Q_PROPERTY(QVariant Value READ getValue WRITE setValue NOTIFY changedValue)
public:
    enum Reaction
    {
        Keep,
        Grow,
        Kill
    };
    explicit ReactingBox(Reaction reaction = Keep)
        : reaction(reaction)
    { }
    QVariant getValue() const { return value; }
    void setValue(const QVariant &given)
    {
        const QVariant old = value;
        value = reaction == Grow ? QVariant(given.toString() + QLatin1Char('+')) : given;
        delete victim;
        victim = nullptr;
        if (value != old)
            emit changedValue();
    }
    QString text() const { return value.toString(); }
    const Reaction reaction;
    QVariant value;
    QObject *victim = nullptr;
Q_SIGNALS:
    void changedValue();
};

class TestProperties : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { testHandler = qInstallMessageHandler(countWarnings); }

    void storeAndPropagation()
    {
        PriceForm price;
        Properties properties(Values { { QStringLiteral("Qty"), 5 } });
        QCOMPARE(properties.values().value(QStringLiteral("Qty")), QVariant(QStringLiteral("5")));
        QVERIFY(properties.connectAll(&price.form));
        QSignalSpy changed(&properties, &Properties::hasChanged);
        QSignalSpy secondEdits(price.second, &LineEdit::changedValue);

        QTest::keyClicks(price.first, QStringLiteral("12"));
        QCOMPARE(price.second->text(), QStringLiteral("12"));
        QCOMPARE(stored(properties, "Price"), QStringLiteral("12"));
        QCOMPARE(secondEdits.count(), 0);
        properties.setValue(QStringLiteral("Price"), QStringLiteral("12"));
        properties.setValue(QStringLiteral("Empty"), QString());
        // Announced once the event loop runs, and once for the whole burst.
        QCOMPARE(changed.count(), 0);
        QVERIFY(changed.wait());
        QCoreApplication::processEvents();
        QCOMPARE(changed.count(), 1);
        QCOMPARE(
            properties.values().keys(), (QStringList { QStringLiteral("Price"), QStringLiteral("Qty") }));

        // An unchanged value still announces itself.
        properties.setValue(QStringLiteral("Price"), QStringLiteral("12"));
        QVERIFY(changed.wait());
        QCOMPARE(changed.count(), 2);
    }

    // The date editor rewrites what it is given: a value in another notation
    // comes back spelt out (to the line edit that was typed into, too), a
    // half-typed one comes back empty. Bound last, it is written first, and
    // its answer must not be overwritten by the rest of the outer pass.
    void dateEditBesideLineEdit()
    {
        LineEdit edit;
        DateEdit date;
        Properties properties;
        properties.connectOne(QStringLiteral("Day"), &edit, "Value");
        properties.connectOne(QStringLiteral("Day"), &date, "Value");

        const QString canonical = QStringLiteral("2024.02.01 00:00:00.000");
        properties.setValue(QStringLiteral("Day"), QStringLiteral("2024-02-01"));
        QCOMPARE(stored(properties, "Day"), canonical);
        QCOMPARE(edit.text(), canonical);
        QCOMPARE(date.getValue(), canonical);

        // Every keystroke stays, although the date editor can make nothing of it.
        edit.selectAll();
        QTest::keyClicks(&edit, QStringLiteral("2024.03"));
        QCOMPARE(edit.text(), QStringLiteral("2024.03"));
        QCOMPARE(stored(properties, "Day"), QStringLiteral("2024.03"));
        QCOMPARE(date.getValue(), QString());

        QTest::keyClicks(&edit, QStringLiteral(".05"));
        const QString march = QStringLiteral("2024.03.05 00:00:00.000");
        QCOMPARE(stored(properties, "Day"), march);
        QCOMPARE(edit.text(), march);
        QCOMPARE(date.getValue(), march);
    }

    void runawayCascadeStops()
    {
        ReactingBox a(ReactingBox::Grow), b(ReactingBox::Grow);
        Properties properties;
        const QRegularExpression message(QStringLiteral("^Properties: the binding \"Echo\" did not settle"));
        // Binding the second one already starts the endless exchange.
        properties.connectOne(QStringLiteral("Echo"), &a, "Value");
        QTest::ignoreMessage(QtWarningMsg, message);
        properties.connectOne(QStringLiteral("Echo"), &b, "Value");
        warnings = 0;

        for (int round = 0; round < 2; ++round) {
            QTest::ignoreMessage(QtWarningMsg, message);
            properties.setValue(QStringLiteral("Echo"), QStringLiteral("x"));
            QCOMPARE(warnings, round + 1);
            QVERIFY(a.text().startsWith(QLatin1String("x+")));
        }
    }

    // Stored values reach newly bound widgets elsewhere; here nothing is
    // stored, and the first widget bound gives the value to the others.
    void firstWidgetGivesTheValue()
    {
        PriceForm price;
        price.first->setText(QStringLiteral("7"));
        price.second->setText(QStringLiteral("stale"));
        Properties properties;
        QSignalSpy changed(&properties, &Properties::hasChanged);
        properties.connectAll(&price.form);
        QCOMPARE(stored(properties, "Price"), QStringLiteral("7"));
        QCOMPARE(price.second->text(), QStringLiteral("7"));
        QCoreApplication::processEvents();
        QCOMPARE(changed.count(), 0); // binding alone schedules nothing
    }

    void classInfoWalk_data()
    {
        QTest::addColumn<int>("kind");
        QTest::addColumn<QStringList>("names");
        QTest::addColumn<QStringList>("rootNames");

        // Plain is write-only, so it records a name but never supplies a value.
        QTest::newRow("thisOnly keeps children out")
            << 0 << QStringList { "Alpha" } << QStringList { "Plain", "Alpha" };
        QTest::newRow("this walks children") << 1 << QStringList { "Beta", "Child" } << QStringList { "Beta" };
        QTest::newRow("super binds the base's own") << 2 << QStringList { "Gamma" } << QStringList { "Gamma" };
        QTest::newRow("inherited thisOnly binds only the subclass's")
            << 3 << QStringList { "Gamma" } << QStringList { "Gamma" };
        QTest::newRow("no class info walks children only") << 4 << QStringList { "Child" } << QStringList();
    }

    void classInfoWalk()
    {
        QFETCH(int, kind);
        QFETCH(QStringList, names);
        QFETCH(QStringList, rootNames);

        static QObject *(*const make[])() = {
            []() -> QObject * { return new ThisOnlyBox; },
            []() -> QObject * { return new ThisBox; },
            []() -> QObject * { return new SuperBox; },
            []() -> QObject * { return new InheritingBox; },
            []() -> QObject * { return new QObject; },
        };
        const QScopedPointer<QObject> root(make[kind]());
        auto *child = new ThisBox(root.data());
        child->setProperty("fields", QStringLiteral("Child=Beta"));

        Properties properties;
        QCOMPARE(properties.connectAll(root.data()), true);
        QCOMPARE(properties.values().keys(), names);
        QCOMPARE(QStringList(properties.objectProperty(root.data())), rootNames);
    }

    void renaming_data()
    {
        QTest::addColumn<QString>("field");
        QTest::addColumn<QString>("fields");
        QTest::addColumn<QStringList>("names");
        QTest::addColumn<QString>("idName");

        QTest::newRow("field renames the USER property")
            << "Stock" << QString() << QStringList { "BoardCode", "Stock", "StockCode" } << "Stock";
        QTest::newRow("fields") << QString() << "Stock=StockCode Board=BoardCode"
                                << QStringList { "Board", "Stock", "StockId" } << "StockId";
        QTest::newRow("malformed items are skipped")
            << QString() << " Stock  Board=BoardCode =StockId StockId= A=B=StockCode "
            << QStringList { "Board", "StockCode", "StockId" } << "StockId";
        QTest::newRow("fields override field") << "Id" << "Sec=StockId Code=StockCode Code2=StockCode"
                                               << QStringList { "BoardCode", "Code2", "Sec" } << "Sec";
    }

    void renaming()
    {
        QFETCH(QString, field);
        QFETCH(QString, fields);
        QFETCH(QStringList, names);
        QFETCH(QString, idName);

        SelectorBox box;
        box.stockId = QStringLiteral("42");
        if (!field.isNull())
            box.setProperty("field", field);
        if (!fields.isNull())
            box.setProperty("fields", fields);
        Properties properties;
        QVERIFY(properties.connectAll(&box));
        QCOMPARE(properties.values().keys(), names);
        QStringList recorded = properties.objectProperty(&box);
        recorded.sort();
        QCOMPARE(recorded, names);

        // A renamed property answers to its binding name and no other.
        QCOMPARE(properties.values().value(idName).toString(), QStringLiteral("42"));
        properties.setValue(idName, QStringLiteral("43"));
        QCOMPARE(box.stockId, QStringLiteral("43"));
    }

    // With no USER property "field" renames Value; a variant is stored as text.
    void variantValueWithoutUserProperty()
    {
        Properties empty;
        ReactingBox variant;
        variant.value = 3;
        variant.setProperty("field", QStringLiteral("Price"));
        QVERIFY(empty.connectAll(&variant));
        QCOMPARE(empty.values().value(QStringLiteral("Price")), QVariant(QStringLiteral("3")));
        empty.setValue(QStringLiteral("Price"), QStringLiteral("4"));
        QCOMPARE(variant.text(), QStringLiteral("4"));
    }

    void connectOneByNameAndWarnings()
    {
        Properties properties;
        ThisBox box;
        box.beta = QStringLiteral("b");

        // A misspelt property must not pass silently.
        const QRegularExpression notFound(
            QStringLiteral("^Properties::(dis)?connect: property \"Nope\" not found for object ThisBox"));
        QTest::ignoreMessage(QtWarningMsg, notFound);
        QCOMPARE(properties.connectOne(QStringLiteral("N"), &box, "Nope"), false);
        QTest::ignoreMessage(QtWarningMsg, notFound);
        QCOMPARE(properties.disconnectOne(&box, "Nope"), false);
        QCOMPARE(properties.connectAll(nullptr), false);

        QVERIFY(properties.connectOne(&box, "Beta"));
        QCOMPARE(stored(properties, "Beta"), QStringLiteral("b"));
        QVERIFY(properties.objectProperty(&box).isEmpty()); // only connectAll records names
        QVERIFY(properties.disconnectOne(&box, "Beta"));
        box.setProperty("Beta", QStringLiteral("after"));
        QCOMPARE(stored(properties, "Beta"), QStringLiteral("b"));
    }

    // Write-only properties take the stored value when bound; reset() calls
    // the RESET functions of stored names only, and announces nothing.
    void writeOnlyAndReset()
    {
        Properties properties(Values { { QStringLiteral("P"), QStringLiteral("v") } });
        QSignalSpy changed(&properties, &Properties::hasChanged);
        QVERIFY(changed.wait());
        ThisOnlyBox first, second, unstored;
        properties.connectOne(QStringLiteral("P"), &first, "Plain");
        properties.connectOne(QStringLiteral("P"), &second, "Plain");
        properties.connectOne(QStringLiteral("Q"), &unstored, "Plain");
        properties.connectOne(QStringLiteral("A"), &first, "Alpha");
        QCOMPARE(second.plain, QStringLiteral("v"));
        changed.clear();

        properties.reset();
        QCOMPARE(first.plain, QStringLiteral("reset"));
        QCOMPARE(second.plain, QStringLiteral("reset"));
        QCOMPARE(unstored.plain, QString());
        QVERIFY(properties.values().isEmpty());
        QCoreApplication::processEvents();
        QCOMPARE(changed.count(), 0);
    }

    void disconnectAllStopsReports()
    {
        PriceForm price;
        Properties properties;
        properties.connectAll(&price.form);
        QVERIFY(properties.disconnectAll(&price.form));

        // Renamed bindings keep receiving values but no longer report edits.
        properties.setValue(QStringLiteral("Price"), QStringLiteral("5"));
        QCOMPARE(price.first->text(), QStringLiteral("5"));
        QTest::keyClicks(price.first, QStringLiteral("1"));
        QCOMPARE(price.second->text(), QStringLiteral("5"));
        QCOMPARE(stored(properties, "Price"), QStringLiteral("5"));
    }

    void destroyedObjectsAreDropped()
    {
        QWidget form;
        LineEdit *first = fieldEdit(&form, "Price");
        auto *doomed = new LineEdit(&form);
        doomed->setProperty("fields", QStringLiteral("Price=Value"));
        Properties properties;
        properties.connectAll(&form);
        delete doomed;

        QCOMPARE(properties.objectProperty(doomed), QList<QString>());
        QTest::keyClicks(first, QStringLiteral("3"));
        QCOMPARE(stored(properties, "Price"), QStringLiteral("3"));

        // An object destroyed in the middle of a propagation is not written.
        ThisBox source;
        auto *victim = new ThisBox;
        ReactingBox killer(ReactingBox::Kill);
        properties.connectOne(QStringLiteral("X"), &source, "Beta");
        properties.connectOne(QStringLiteral("X"), victim, "Beta");
        properties.connectOne(QStringLiteral("X"), &killer, "Value");
        killer.victim = victim;
        source.setProperty("Beta", QStringLiteral("go"));
        QCOMPARE(killer.text(), QStringLiteral("go"));
        QVERIFY(!killer.victim);
    }

    void dumpObjProp()
    {
        ThisBox box;
        Properties properties;
        properties.connectAll(&box);
        QTest::ignoreMessage(QtDebugMsg, QRegularExpression("^Properties::dumpObjProp Properties"));
        QTest::ignoreMessage(QtDebugMsg, QRegularExpression("^objProp4: ThisBox.* \\(\"Beta\"\\)$"));
        properties.dumpObjProp();
    }
};

QTEST_MAIN(TestProperties)
#include "tst_properties.moc"
