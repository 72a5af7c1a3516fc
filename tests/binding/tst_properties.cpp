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

QString debugText(const QObject *object)
{
    QString text;
    QDebug(&text).nospace() << object;
    return text;
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

class OddBox : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("Properties", "other")
    Q_PROPERTY(QString Beta MEMBER beta NOTIFY betaChanged)
public:
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

// A variant Value and no USER property, answering a write the way real
// widgets do: keeping it, reformatting it (a price shown with two decimals),
// never settling (every write comes back longer), or deleting another bound
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
        Format,
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
        value = reaction == Format ? QString::number(given.toDouble(), 'f', 2)
            : reaction == Grow     ? QVariant(given.toString() + QLatin1Char('+'))
                                   : given;
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

    void reformattingSettles()
    {
        warnings = 0;
        QWidget form;
        LineEdit *edit = fieldEdit(&form, "Price");
        ReactingBox formatter(ReactingBox::Format);
        formatter.setProperty("field", QStringLiteral("Price"));
        Properties properties;
        properties.connectAll(&form);
        properties.connectAll(&formatter);

        // Pasted in one go, as typing would be reformatted keystroke by keystroke.
        edit->setText(QStringLiteral("1.5"));
        emit edit->textEdited(edit->text());
        QCOMPARE(formatter.text(), QStringLiteral("1.50"));
        QCOMPARE(edit->text(), QStringLiteral("1.50"));
        QCOMPARE(stored(properties, "Price"), QStringLiteral("1.50"));
        QCOMPARE(warnings, 0);
    }

    void dateEditBesideLineEdit_data()
    {
        QTest::addColumn<bool>("dateEditFirst");
        QTest::newRow("line edit bound first") << false;
        QTest::newRow("date edit bound first") << true;
    }

    // The date editor rewrites what it is given: a value in another notation
    // comes back spelt out, a half-typed one comes back empty.
    void dateEditBesideLineEdit()
    {
        QFETCH(bool, dateEditFirst);
        QWidget form;
        auto *date = new DateEdit(&form);
        auto *edit = new LineEdit(&form);
        Properties properties;
        properties.connectOne(
            QStringLiteral("Day"), dateEditFirst ? static_cast<QObject *>(date) : edit, "Value");
        properties.connectOne(
            QStringLiteral("Day"), dateEditFirst ? static_cast<QObject *>(edit) : date, "Value");

        const QString canonical = QStringLiteral("2024.02.01 00:00:00.000");
        properties.setValue(QStringLiteral("Day"), QStringLiteral("2024-02-01"));
        QCOMPARE(stored(properties, "Day"), canonical);
        QCOMPARE(edit->text(), canonical);
        QCOMPARE(date->getValue(), canonical);

        // Every keystroke stays, although the date editor can make nothing of it.
        edit->selectAll();
        QTest::keyClicks(edit, QStringLiteral("2024.03"));
        QCOMPARE(edit->text(), QStringLiteral("2024.03"));
        QCOMPARE(stored(properties, "Day"), QStringLiteral("2024.03"));
        QCOMPARE(date->getValue(), QString());

        QTest::keyClicks(edit, QStringLiteral(".05"));
        const QString march = QStringLiteral("2024.03.05 00:00:00.000");
        QCOMPARE(stored(properties, "Day"), march);
        QCOMPARE(edit->text(), march);
        QCOMPARE(date->getValue(), march);
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

        // Ordinary propagation still goes through after a stopped cascade.
        PriceForm price;
        properties.connectAll(&price.form);
        QTest::keyClicks(price.first, QStringLiteral("3"));
        QCOMPARE(price.second->text(), QStringLiteral("3"));
        QCOMPARE(warnings, 2);
    }

    void initialValues_data()
    {
        QTest::addColumn<QString>("preset");
        QTest::newRow("stored value wins over the widgets'") << QStringLiteral("7");
        QTest::newRow("first widget bound gives it") << QString();
    }

    void initialValues()
    {
        QFETCH(QString, preset);
        PriceForm price;
        price.second->setText(QStringLiteral("stale"));
        Properties properties(preset.isNull() ? Values() : Values { { QStringLiteral("Price"), preset } });
        QSignalSpy changed(&properties, &Properties::hasChanged);
        QCoreApplication::processEvents();
        changed.clear();

        properties.connectAll(&price.form);
        const QString expected = preset.isNull() ? QString() : preset;
        QCOMPARE(properties.values().value(QStringLiteral("Price")), QVariant(expected));
        QCOMPARE(price.first->text(), expected);
        QCOMPARE(price.second->text(), expected);
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
        QTest::newRow("unknown value walks children only") << 4 << QStringList { "Child" } << QStringList();
        QTest::newRow("no class info walks children only") << 5 << QStringList { "Child" } << QStringList();
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
            []() -> QObject * { return new OddBox; },
            []() -> QObject * { return new QObject; },
        };
        const QScopedPointer<QObject> root(make[kind]());
        auto *child = new ThisBox(root.data());
        child->setProperty("fields", QStringLiteral("Child=Beta"));

        Properties properties;
        QCOMPARE(properties.connectAll(root.data()), true);
        QCOMPARE(properties.values().keys(), names);
        QCOMPARE(QStringList(properties.objectProperty(root.data())), rootNames);
        QCOMPARE(properties.objectProperty(child).isEmpty(), !names.contains(QStringLiteral("Child")));
    }

    void renaming_data()
    {
        QTest::addColumn<QString>("field");
        QTest::addColumn<QString>("fields");
        QTest::addColumn<QStringList>("names");
        QTest::addColumn<QString>("idName");

        QTest::newRow("none") << QString() << QString() << QStringList { "BoardCode", "StockCode", "StockId" }
                              << "StockId";
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

    void writeOnlyAndVariantProperties()
    {
        Properties properties(Values { { QStringLiteral("Plain"), QStringLiteral("given") } });
        ThisOnlyBox box;
        properties.connectAll(&box);
        QCOMPARE(box.plain, QStringLiteral("given"));
        properties.setValue(QStringLiteral("Plain"), QStringLiteral("next"));
        QCOMPARE(box.plain, QStringLiteral("next"));
        box.setProperty("Plain", QStringLiteral("own"));
        QCOMPARE(stored(properties, "Plain"), QStringLiteral("next"));

        // With no USER property "field" renames Value. Variant properties get
        // text in, and report text out.
        Properties empty;
        ReactingBox variant;
        variant.value = 3;
        variant.setProperty("field", QStringLiteral("Price"));
        QVERIFY(empty.connectAll(&variant));
        QCOMPARE(empty.values().value(QStringLiteral("Price")), QVariant(QStringLiteral("3")));
        empty.setValue(QStringLiteral("Price"), QStringLiteral("4"));
        QCOMPARE(variant.value.userType(), int(QMetaType::QString));
        variant.setProperty("Value", QVariant(1.25));
        QCOMPARE(empty.values().value(QStringLiteral("Price")), QVariant(QStringLiteral("1.25")));
    }

    void connectOneByNameAndWarnings()
    {
        Properties properties;
        ThisBox box;
        box.beta = QStringLiteral("b");

        const QString notFound
            = QStringLiteral(": property \"Nope\" not found for object ") + debugText(&box);
        QTest::ignoreMessage(QtWarningMsg, qPrintable(QStringLiteral("Properties::connect") + notFound));
        QCOMPARE(properties.connectOne(QStringLiteral("N"), &box, "Nope"), false);
        QTest::ignoreMessage(QtWarningMsg, qPrintable(QStringLiteral("Properties::disconnect") + notFound));
        QCOMPARE(properties.disconnectOne(&box, "Nope"), false);
        QVERIFY(properties.values().isEmpty());
        QCOMPARE(properties.connectAll(nullptr), false);
        QCOMPARE(properties.disconnectAll(nullptr), false);

        QVERIFY(properties.connectOne(&box, "Beta"));
        QCOMPARE(stored(properties, "Beta"), QStringLiteral("b"));
        QVERIFY(properties.objectProperty(&box).isEmpty()); // only connectAll records names
        QVERIFY(properties.disconnectOne(&box, "Beta"));
        box.setProperty("Beta", QStringLiteral("after"));
        QCOMPARE(stored(properties, "Beta"), QStringLiteral("b"));
    }

    void resetCallsResetFunctions()
    {
        ThisOnlyBox first, second, unstored;
        Properties properties;
        properties.connectOne(QStringLiteral("P"), &first, "Plain");
        properties.connectOne(QStringLiteral("P"), &second, "Plain");
        properties.connectOne(QStringLiteral("Q"), &unstored, "Plain");
        properties.connectOne(QStringLiteral("A"), &first, "Alpha");
        properties.setValue(QStringLiteral("P"), QStringLiteral("v"));
        QSignalSpy changed(&properties, &Properties::hasChanged);
        QVERIFY(changed.wait());
        changed.clear();

        properties.reset();
        QCOMPARE(first.plain, QStringLiteral("reset"));
        QCOMPARE(second.plain, QStringLiteral("reset"));
        QCOMPARE(unstored.plain, QString());
        QVERIFY(properties.values().isEmpty());
        QCoreApplication::processEvents();
        QCOMPARE(changed.count(), 0);
    }

    void disconnectAllAsymmetries()
    {
        SuperBox super;
        PriceForm price;
        Properties properties;
        properties.connectAll(&super);
        properties.connectAll(&price.form);

        QVERIFY(properties.disconnectAll(&price.form));
        QVERIFY(!properties.disconnectAll(&super));

        // Renamed bindings keep receiving values but no longer report edits.
        properties.setValue(QStringLiteral("Price"), QStringLiteral("5"));
        QCOMPARE(price.first->text(), QStringLiteral("5"));
        QTest::keyClicks(price.first, QStringLiteral("1"));
        QCOMPARE(price.second->text(), QStringLiteral("5"));
        QCOMPARE(stored(properties, "Price"), QStringLiteral("5"));

        // "super" is not followed, so the base's properties stay bound.
        super.setProperty("Gamma", QStringLiteral("still bound"));
        QCOMPARE(stored(properties, "Gamma"), QStringLiteral("still bound"));
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
        properties.setValue(QStringLiteral("Price"), QStringLiteral("2"));
        QTest::keyClicks(first, QStringLiteral("3"));
        properties.reset();
        QVERIFY(properties.values().isEmpty());

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
        SelectorBox box;
        box.setProperty("fields", QStringLiteral("Code=StockCode"));
        Properties properties;
        properties.connectAll(&box);

        QTest::ignoreMessage(
            QtDebugMsg, qPrintable(QStringLiteral("Properties::dumpObjProp ") + debugText(&properties)));
        const QString line = QStringLiteral("objProp4: ") + debugText(&box)
            + QStringLiteral(" (\"BoardCode\", \"Code\", \"StockId\")");
        for (int i = 0; i < 3; ++i)
            QTest::ignoreMessage(QtDebugMsg, qPrintable(line));
        properties.dumpObjProp();
    }
};

QTEST_MAIN(TestProperties)
#include "tst_properties.moc"
