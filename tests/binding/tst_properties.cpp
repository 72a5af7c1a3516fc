#include <vetrel/dateedit.h>
#include <vetrel/lineedit.h>
#include <vetrel/properties.h>

#include <QRegularExpression>
#include <QSignalSpy>
#include <QTest>
#include <QWidget>

namespace
{

// Counts warnings while alive, handing every message on to Qt Test (so that
// QTest::ignoreMessage still works).
class WarningCounter
{
public:
    WarningCounter()
    {
        warnings = 0;
        previous = qInstallMessageHandler(&WarningCounter::handle);
    }
    ~WarningCounter() { qInstallMessageHandler(previous); }
    WarningCounter(const WarningCounter &) = delete;
    WarningCounter &operator=(const WarningCounter &) = delete;
    int count() const { return warnings; }

private:
    static void handle(QtMsgType type, const QMessageLogContext &context, const QString &text)
    {
        if (type == QtWarningMsg)
            ++warnings;
        previous(type, context, text);
    }
    static inline QtMessageHandler previous = nullptr;
    static inline int warnings = 0;
};

QString debugText(const QObject *object)
{
    QString text;
    QDebug(&text).nospace() << object;
    return text;
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

// A bindable class that keeps its children to itself, with one write-only
// property that can be reset.
class ThisOnlyBox : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("Properties", "thisOnly")
    Q_PROPERTY(QString Alpha MEMBER alpha NOTIFY alphaChanged)
    Q_PROPERTY(QString Plain MEMBER plain RESET resetPlain)
public:
    using QObject::QObject;
    void resetPlain() { plain = QStringLiteral("reset"); }
    QString alpha;
    QString plain;
Q_SIGNALS:
    void alphaChanged();
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

class SuperBox : public ThisOnlyBox
{
    Q_OBJECT
    Q_CLASSINFO("Properties", "super")
    Q_PROPERTY(QString Gamma MEMBER gamma NOTIFY gammaChanged)
public:
    using ThisOnlyBox::ThisOnlyBox;
    QString gamma;
Q_SIGNALS:
    void gammaChanged();
};

// No class info of its own: inherits "thisOnly".
class InheritingBox : public ThisOnlyBox
{
    Q_OBJECT
    Q_PROPERTY(QString Gamma MEMBER gamma NOTIFY gammaChanged)
public:
    using ThisOnlyBox::ThisOnlyBox;
    QString gamma;
Q_SIGNALS:
    void gammaChanged();
};

class OddBox : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("Properties", "other")
    Q_PROPERTY(QString Beta MEMBER beta NOTIFY betaChanged)
public:
    using QObject::QObject;
    QString beta;
Q_SIGNALS:
    void betaChanged();
};

class ChildBox : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("Properties", "this")
    Q_PROPERTY(QString Child MEMBER child NOTIFY childChanged)
public:
    using QObject::QObject;
    QString child;
Q_SIGNALS:
    void childChanged();
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
    using QObject::QObject;
    QString stockId, stockCode, boardCode;
Q_SIGNALS:
    void stockIdChanged();
    void stockCodeChanged();
    void boardCodeChanged();
};

// No USER property: "field" renames the one called Value.
class PlainValueBox : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("Properties", "this")
    Q_PROPERTY(QString Other MEMBER other NOTIFY otherChanged)
    Q_PROPERTY(QString Value MEMBER value NOTIFY valueChanged)
public:
    using QObject::QObject;
    QString other, value;
Q_SIGNALS:
    void otherChanged();
    void valueChanged();
};

class VariantBox : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("Properties", "this")
    Q_PROPERTY(QVariant Value MEMBER value NOTIFY changedValue)
public:
    using QObject::QObject;
    QVariant value;
Q_SIGNALS:
    void changedValue();
};

// Shows prices with two decimals, reporting its own reformatting.
class FormattingBox : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("Properties", "this")
    Q_PROPERTY(QString Value READ getValue WRITE setValue NOTIFY changedValue)
public:
    using QObject::QObject;
    QString getValue() const { return text; }
    void setValue(const QString &value)
    {
        text = QString::number(value.toDouble(), 'f', 2);
        if (text != value)
            emit changedValue();
    }
    QString text;
Q_SIGNALS:
    void changedValue();
};

// Never settles: every write comes back longer.
class GrowingBox : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("Properties", "this")
    Q_PROPERTY(QString Value READ getValue WRITE setValue NOTIFY changedValue)
public:
    using QObject::QObject;
    QString getValue() const { return text; }
    void setValue(const QString &value)
    {
        text = value + QLatin1Char('+');
        emit changedValue();
    }
    QString text;
Q_SIGNALS:
    void changedValue();
};

// Deletes another bound object when written, in the middle of a propagation.
class KillerBox : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("Properties", "this")
    Q_PROPERTY(QString Value READ getValue WRITE setValue NOTIFY changedValue)
public:
    using QObject::QObject;
    QString getValue() const { return text; }
    void setValue(const QString &value)
    {
        text = value;
        delete victim;
        victim = nullptr;
    }
    QString text;
    QObject *victim = nullptr;
Q_SIGNALS:
    void changedValue();
};

class TestProperties : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void storeAndCoalescing();
    void propagationBetweenLineEdits();
    void reformattingSettles();
    void dateEditBesideLineEdit_data();
    void dateEditBesideLineEdit();
    void runawayCascadeStops();
    void initialValues();
    void classInfoWalk_data();
    void classInfoWalk();
    void renaming_data();
    void renaming();
    void fieldWithoutUserProperty();
    void writeOnlyAndVariantProperties();
    void connectOneByNameAndWarnings();
    void resetCallsResetFunctions();
    void disconnectAllAsymmetries();
    void destroyedObjectsAreDropped();
    void dumpObjProp();
};

void TestProperties::storeAndCoalescing()
{
    Properties properties(Values { { QStringLiteral("Qty"), 5 } });
    QSignalSpy changed(&properties, &Properties::hasChanged);
    QCOMPARE(properties.values().value(QStringLiteral("Qty")), QVariant(QStringLiteral("5")));

    properties.setValue(QStringLiteral("Price"), QStringLiteral("10"));
    properties.setValue(QStringLiteral("Price"), QStringLiteral("10"));
    properties.setValue(QStringLiteral("Empty"), QString());
    QCOMPARE(changed.count(), 0);
    QVERIFY(changed.wait());
    QCoreApplication::processEvents();
    QCOMPARE(changed.count(), 1);
    QCOMPARE(properties.values().keys(), (QStringList { QStringLiteral("Price"), QStringLiteral("Qty") }));

    // An unchanged value still announces itself.
    properties.setValue(QStringLiteral("Price"), QStringLiteral("10"));
    QVERIFY(changed.wait());
    QCOMPARE(changed.count(), 2);
}

void TestProperties::propagationBetweenLineEdits()
{
    PriceForm price;
    Properties properties;
    QVERIFY(properties.connectAll(&price.form));
    QSignalSpy changed(&properties, &Properties::hasChanged);
    QSignalSpy secondEdits(price.second, &LineEdit::changedValue);

    QTest::keyClicks(price.first, QStringLiteral("12"));
    QCOMPARE(price.second->text(), QStringLiteral("12"));
    QCOMPARE(properties.values().value(QStringLiteral("Price")).toString(), QStringLiteral("12"));
    QCOMPARE(secondEdits.count(), 0);
    QVERIFY(changed.wait());
    QCoreApplication::processEvents();
    QCOMPARE(changed.count(), 1);
    QCOMPARE(properties.objectProperty(price.first), QList<QString> { QStringLiteral("Price") });
    QVERIFY(properties.objectProperty(&price.form).isEmpty());
}

void TestProperties::reformattingSettles()
{
    WarningCounter warnings;
    QWidget form;
    LineEdit *edit = fieldEdit(&form, "Price");
    FormattingBox formatter;
    formatter.setProperty("field", QStringLiteral("Price"));
    Properties properties;
    properties.connectAll(&form);
    properties.connectAll(&formatter);

    // Pasted in one go, as typing would be reformatted keystroke by keystroke.
    edit->setText(QStringLiteral("1.5"));
    emit edit->textEdited(edit->text());
    QCOMPARE(formatter.text, QStringLiteral("1.50"));
    QCOMPARE(edit->text(), QStringLiteral("1.50"));
    QCOMPARE(properties.values().value(QStringLiteral("Price")).toString(), QStringLiteral("1.50"));
    QCOMPARE(warnings.count(), 0);
}

void TestProperties::dateEditBesideLineEdit_data()
{
    QTest::addColumn<bool>("dateEditFirst");
    QTest::newRow("line edit bound first") << false;
    QTest::newRow("date edit bound first") << true;
}

// The date editor rewrites what it is given: a value in another notation
// comes back spelt out, a half-typed one comes back empty.
void TestProperties::dateEditBesideLineEdit()
{
    QFETCH(bool, dateEditFirst);
    QWidget form;
    auto *date = new DateEdit(&form);
    auto *edit = new LineEdit(&form);
    Properties properties;
    const QString day = QStringLiteral("Day");
    properties.connectOne(day, dateEditFirst ? static_cast<QObject *>(date) : edit, "Value");
    properties.connectOne(day, dateEditFirst ? static_cast<QObject *>(edit) : date, "Value");
    const auto stored = [&] { return properties.values().value(day).toString(); };

    const QString canonical = QStringLiteral("2024.02.01 00:00:00.000");
    properties.setValue(day, QStringLiteral("2024-02-01"));
    QCOMPARE(stored(), canonical);
    QCOMPARE(edit->text(), canonical);
    QCOMPARE(date->getValue(), canonical);

    // Every keystroke stays, although the date editor can make nothing of it.
    edit->selectAll();
    QTest::keyClicks(edit, QStringLiteral("2024.03"));
    QCOMPARE(edit->text(), QStringLiteral("2024.03"));
    QCOMPARE(stored(), QStringLiteral("2024.03"));
    QCOMPARE(date->getValue(), QString());

    QTest::keyClicks(edit, QStringLiteral(".05"));
    const QString march = QStringLiteral("2024.03.05 00:00:00.000");
    QCOMPARE(stored(), march);
    QCOMPARE(edit->text(), march);
    QCOMPARE(date->getValue(), march);
}

void TestProperties::runawayCascadeStops()
{
    GrowingBox a, b;
    Properties properties;
    const QRegularExpression message(QStringLiteral("^Properties: the binding \"Echo\" did not settle"));
    // Binding the second one already starts the endless exchange.
    properties.connectOne(QStringLiteral("Echo"), &a, "Value");
    QTest::ignoreMessage(QtWarningMsg, message);
    properties.connectOne(QStringLiteral("Echo"), &b, "Value");
    WarningCounter warnings;

    for (int round = 0; round < 2; ++round) {
        QTest::ignoreMessage(QtWarningMsg, message);
        properties.setValue(QStringLiteral("Echo"), QStringLiteral("x"));
        QCOMPARE(warnings.count(), round + 1);
        QVERIFY(a.text.startsWith(QLatin1String("x+")));
    }

    // Ordinary propagation still goes through after a stopped cascade.
    PriceForm price;
    properties.connectAll(&price.form);
    QTest::keyClicks(price.first, QStringLiteral("3"));
    QCOMPARE(price.second->text(), QStringLiteral("3"));
    QCOMPARE(warnings.count(), 2);
}

void TestProperties::initialValues()
{
    for (const bool preset : { false, true }) {
        PriceForm price;
        LineEdit *first = price.first;
        LineEdit *second = price.second;
        second->setText(QStringLiteral("stale"));
        Properties properties(
            preset ? Values { { QStringLiteral("Price"), QStringLiteral("7") } } : Values());
        QSignalSpy changed(&properties, &Properties::hasChanged);
        QCoreApplication::processEvents();
        changed.clear();

        properties.connectAll(&price.form);
        const QString expected = preset ? QStringLiteral("7") : QString();
        QCOMPARE(properties.values().value(QStringLiteral("Price")), QVariant(expected));
        QCOMPARE(first->text(), expected);
        QCOMPARE(second->text(), expected);
        QCoreApplication::processEvents();
        QCOMPARE(changed.count(), 0); // binding alone schedules nothing
    }
}

void TestProperties::classInfoWalk_data()
{
    QTest::addColumn<int>("kind");
    QTest::addColumn<QStringList>("names");
    QTest::addColumn<QStringList>("rootNames");

    // Plain is write-only, so it records a name but never supplies a value.
    QTest::newRow("thisOnly keeps children out")
        << 0 << QStringList { "Alpha" } << QStringList { "Plain", "Alpha" };
    QTest::newRow("this walks children") << 1 << QStringList { "Beta", "Child" } << QStringList { "Beta" };
    QTest::newRow("super binds the base's own")
        << 2 << QStringList { "Alpha" } << QStringList { "Plain", "Alpha" };
    QTest::newRow("inherited thisOnly binds only the subclass's")
        << 3 << QStringList { "Gamma" } << QStringList { "Gamma" };
    QTest::newRow("unknown value walks children only") << 4 << QStringList { "Child" } << QStringList();
    QTest::newRow("no class info walks children only") << 5 << QStringList { "Child" } << QStringList();
}

void TestProperties::classInfoWalk()
{
    QFETCH(int, kind);
    QFETCH(QStringList, names);
    QFETCH(QStringList, rootNames);

    QScopedPointer<QObject> root;
    switch (kind) {
    case 0:
        root.reset(new ThisOnlyBox);
        break;
    case 1:
        root.reset(new ThisBox);
        break;
    case 2:
        root.reset(new SuperBox);
        break;
    case 3:
        root.reset(new InheritingBox);
        break;
    case 4:
        root.reset(new OddBox);
        break;
    default:
        root.reset(new QObject);
        break;
    }
    auto *child = new ChildBox(root.data());

    Properties properties;
    QCOMPARE(properties.connectAll(root.data()), true);
    QCOMPARE(properties.values().keys(), names);
    QCOMPARE(QStringList(properties.objectProperty(root.data())), rootNames);
    QCOMPARE(properties.objectProperty(child).isEmpty(), !names.contains(QStringLiteral("Child")));
}

void TestProperties::renaming_data()
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
    QTest::newRow("fields override field") << "Id"
                                           << "Sec=StockId Code=StockCode Code2=StockCode"
                                           << QStringList { "BoardCode", "Code2", "Sec" } << "Sec";
}

void TestProperties::renaming()
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

void TestProperties::fieldWithoutUserProperty()
{
    PlainValueBox box;
    box.setProperty("field", QStringLiteral("Price"));
    Properties properties;
    properties.connectAll(&box);
    QCOMPARE(properties.values().keys(), (QStringList { QStringLiteral("Other"), QStringLiteral("Price") }));
}

void TestProperties::writeOnlyAndVariantProperties()
{
    Properties properties(Values { { QStringLiteral("Plain"), QStringLiteral("given") } });
    ThisOnlyBox box;
    properties.connectAll(&box);
    QCOMPARE(box.plain, QStringLiteral("given"));
    properties.setValue(QStringLiteral("Plain"), QStringLiteral("next"));
    QCOMPARE(box.plain, QStringLiteral("next"));
    box.setProperty("Plain", QStringLiteral("own"));
    QCOMPARE(properties.values().value(QStringLiteral("Plain")).toString(), QStringLiteral("next"));

    // A write-only property never supplies an initial value.
    Properties empty;
    ThisOnlyBox other;
    other.plain = QStringLiteral("mine");
    empty.connectOne(&other, "Plain");
    QVERIFY(!empty.values().contains(QStringLiteral("Plain")));

    // Variant properties get text in, and report text out.
    VariantBox variant;
    variant.value = 3;
    QVERIFY(empty.connectAll(&variant));
    QCOMPARE(empty.values().value(QStringLiteral("Value")), QVariant(QStringLiteral("3")));
    empty.setValue(QStringLiteral("Value"), QStringLiteral("4"));
    QCOMPARE(variant.value.userType(), int(QMetaType::QString));
    variant.setProperty("Value", QVariant(1.25));
    QCOMPARE(empty.values().value(QStringLiteral("Value")), QVariant(QStringLiteral("1.25")));
}

void TestProperties::connectOneByNameAndWarnings()
{
    Properties properties;
    ThisBox box;
    box.beta = QStringLiteral("b");

    QTest::ignoreMessage(QtWarningMsg,
        qPrintable(QStringLiteral("Properties::connect: property \"Nope\" not found for object ")
            + debugText(&box)));
    QCOMPARE(properties.connectOne(QStringLiteral("N"), &box, "Nope"), false);
    QTest::ignoreMessage(QtWarningMsg,
        qPrintable(QStringLiteral("Properties::disconnect: property \"Nope\" not found for object ")
            + debugText(&box)));
    QCOMPARE(properties.disconnectOne(&box, "Nope"), false);
    QVERIFY(properties.values().isEmpty());
    QCOMPARE(properties.connectAll(nullptr), false);
    QCOMPARE(properties.disconnectAll(nullptr), false);

    QVERIFY(properties.connectOne(&box, "Beta"));
    QCOMPARE(properties.values().value(QStringLiteral("Beta")).toString(), QStringLiteral("b"));
    QVERIFY(properties.objectProperty(&box).isEmpty()); // only connectAll records names
    QVERIFY(properties.disconnectOne(&box, "Beta"));
    box.setProperty("Beta", QStringLiteral("after"));
    QCOMPARE(properties.values().value(QStringLiteral("Beta")).toString(), QStringLiteral("b"));
}

void TestProperties::resetCallsResetFunctions()
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

void TestProperties::disconnectAllAsymmetries()
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
    QCOMPARE(properties.values().value(QStringLiteral("Price")).toString(), QStringLiteral("5"));

    // "super" is not followed, so the base's properties stay bound.
    super.setProperty("Alpha", QStringLiteral("still bound"));
    QCOMPARE(properties.values().value(QStringLiteral("Alpha")).toString(), QStringLiteral("still bound"));
}

void TestProperties::destroyedObjectsAreDropped()
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
    KillerBox killer;
    properties.connectOne(QStringLiteral("X"), &source, "Beta");
    properties.connectOne(QStringLiteral("X"), victim, "Beta");
    properties.connectOne(QStringLiteral("X"), &killer, "Value");
    killer.victim = victim;
    source.setProperty("Beta", QStringLiteral("go"));
    QCOMPARE(killer.text, QStringLiteral("go"));
    QVERIFY(!killer.victim);
}

void TestProperties::dumpObjProp()
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

QTEST_MAIN(TestProperties)
#include "tst_properties.moc"
