#include <host/core.h>
#include <host/database.h>
#include <host/exception.h>
#include <host/field.h>
#include <host/indexlist.h>
#include <host/indexsort.h>
#include <host/rangeset.h>
#include <host/record.h>
#include <host/table.h>
#include <host/tablelocker.h>

#include <QDateTime>
#include <QSignalSpy>
#include <QTest>

#include <algorithm>
#include <atomic>
#include <random>
#include <thread>

using T = FieldType;

class TestDatabase : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void fieldReads_data();
    void fieldReads();
    void fieldRefuses_data();
    void fieldRefuses();
    void absentCells();
    void fieldOrder();
    void rangeSet();
    void masterIndexAcrossParts();
    void removeRanges();
    void tableWrites();
    void replaceAllIsAllOrNothing();
    void indexSort();
    void lockGuardsConcurrentWriter();

private:
    Table *numbers(int rows);

    Core *m_core = nullptr;
};

void TestDatabase::init()
{
    m_core = new Core;
}

void TestDatabase::cleanup()
{
    delete m_core;
    m_core = nullptr;
}

// A table keyed by "id" with rows whose ids are 0..rows-1, inserted in a
// shuffled order so that inserts land all over the index.
Table *TestDatabase::numbers(int rows)
{
    Table *table = m_core->database()->createTable(QStringLiteral("numbers"),
        { { QStringLiteral("id"), T::Int32 }, { QStringLiteral("text"), T::String } },
        { QStringLiteral("id") });
    std::vector<int> ids(std::size_t(rows), 0);
    std::iota(ids.begin(), ids.end(), 0);
    std::shuffle(ids.begin(), ids.end(), std::mt19937(7));
    for (int id : ids)
        table->insert({ { QStringLiteral("id"), id }, { QStringLiteral("text"), QString::number(id) } });
    return table;
}

static QVector<int> walk(const IndexList *index)
{
    QVector<int> ids;
    for (auto it = index->begin(); it != index->end(); ++it)
        ids.append((*it)->field(0)->toInt32());
    return ids;
}

void TestDatabase::fieldReads_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<QVariant>("input");
    QTest::addColumn<QString>("text");
    QTest::addColumn<double>("number");

    QTest::newRow("int32 from int") << int(T::Int32) << QVariant(-42) << "-42" << -42.0;
    QTest::newRow("int32 from integral text") << int(T::Int32) << QVariant("17") << "17" << 17.0;
    QTest::newRow("int32 from decimal without fraction")
        << int(T::Int32) << QVariant::fromValue(decimal(QStringLiteral("12.00"))) << "12" << 12.0;
    QTest::newRow("int64 beyond 32 bits") << int(T::Int64) << QVariant(qint64(5000000000)) << "5000000000" << 5e9;
    QTest::newRow("double") << int(T::Double) << QVariant(0.1) << "0.1" << 0.1;
    QTest::newRow("double from text") << int(T::Double) << QVariant("2.5") << "2.5" << 2.5;
    QTest::newRow("decimal keeps scale") << int(T::Decimal) << QVariant("1.50") << "1.50" << 1.5;
    QTest::newRow("decimal from int") << int(T::Decimal) << QVariant(7) << "7" << 7.0;
    QTest::newRow("decimal from double") << int(T::Decimal) << QVariant(0.25) << "0.25" << 0.25;
    QTest::newRow("xdecimal beyond 64 bits") << int(T::XDecimal) << QVariant("123456789012345678901234.5")
                                             << "123456789012345678901234.5" << 123456789012345678901234.5;
    QTest::newRow("string") << int(T::String) << QVariant("ARVENTA") << "ARVENTA" << -1.0;
    QTest::newRow("string from decimal")
        << int(T::String) << QVariant::fromValue(decimal(QStringLiteral("-0.10"))) << "-0.10" << -0.1;
    QTest::newRow("time64 from ISO text")
        << int(T::Time64) << QVariant("1970-01-02T00:00:00Z") << "86400000" << 86400000.0;
    QTest::newRow("time64 from date-time")
        << int(T::Time64) << QVariant(QDateTime::fromMSecsSinceEpoch(1500, Qt::UTC)) << "1500" << 1500.0;
}

void TestDatabase::fieldReads()
{
    QFETCH(int, type);
    QFETCH(QVariant, input);
    QFETCH(QString, text);
    QFETCH(double, number);

    Field field { T::Type(type) };
    field = input;
    QVERIFY(field.isPresent());
    QCOMPARE(field.type(), T::Type(type));
    QCOMPARE(field.toString(), text);
    if (number != -1.0)
        QCOMPARE(field.toDouble(), number);
    // The stored value survives a round trip through a variant.
    Field copy { T::Type(type) };
    copy = field.toVariant();
    QCOMPARE(Field::compare(copy, field), 0);
    QCOMPARE(copy.toString(), text);
}

void TestDatabase::fieldRefuses_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<QVariant>("input");
    QTest::newRow("int32 overflow") << int(T::Int32) << QVariant(qint64(5000000000));
    QTest::newRow("int32 from fraction") << int(T::Int32) << QVariant("12.5");
    QTest::newRow("int32 from junk") << int(T::Int32) << QVariant("12abc");
    QTest::newRow("int64 from fractional double") << int(T::Int64) << QVariant(1.5);
    QTest::newRow("decimal from exponent") << int(T::Decimal) << QVariant("1e5");
    QTest::newRow("decimal overflow") << int(T::Decimal) << QVariant("123456789012345678901234");
    QTest::newRow("double from junk") << int(T::Double) << QVariant("x");
    QTest::newRow("no such cell") << int(T::None) << QVariant(1);
}

void TestDatabase::fieldRefuses()
{
    QFETCH(int, type);
    QFETCH(QVariant, input);
    Field field { T::Type(type) };
    if (field.type() != T::None)
        field = 3;
    const QString before = field.toString();
    try {
        field = input;
        QFAIL("no exception");
    } catch (const Exception &e) {
        QCOMPARE(e.message(), QStringLiteral("Incorrect type conversion."));
    }
    QCOMPARE(field.toString(), before);
}

void TestDatabase::absentCells()
{
    Table *table = numbers(1);
    Record *row = table->allocRow();
    const Field *id = table->dataPtr(row, 0);
    QVERIFY(!id->isPresent());
    QCOMPARE(id->type(), T::Int32);
    QCOMPARE(id->toInt32(), 0);
    QCOMPARE(table->dataPtr(row, 1)->toString(), QString());
    QVERIFY(!table->dataPtr(row, 1)->toVariant().isValid());

    // Cells that do not exist read as absent and refuse writes.
    const Field *missing = table->dataPtr(row, table->columnIndex(QStringLiteral("nope")));
    QCOMPARE(table->columnIndex(QStringLiteral("nope")), -1);
    QCOMPARE(missing->type(), T::None);
    QVERIFY(!missing->isPresent());
    QCOMPARE(table->dataPtr(Record(), 0)->type(), T::None);
    QVERIFY_EXCEPTION_THROWN(*table->dataPtr(row, 99) = 1, Exception);

    Field cleared(T::String);
    cleared = QStringLiteral("x");
    cleared = QVariant();
    QVERIFY(cleared.isNull());
    QCOMPARE(cleared.type(), T::String);
    table->freeRow(row);
}

void TestDatabase::fieldOrder()
{
    Field a(T::Int32), b(T::Int64), c(T::Int32), none(T::Int32);
    a = 5;
    b = qint64(1);
    c = 7;
    QVERIFY(Field::compare(a, b) < 0); // tags first: 1 before 2
    QVERIFY(Field::compare(a, c) < 0);
    QVERIFY(Field::compare(none, a) < 0); // absent first
    Field d1(T::Decimal), d2(T::Decimal);
    d1 = QStringLiteral("1.5");
    d2 = QStringLiteral("1.50");
    QCOMPARE(Field::compare(d1, d2), 0);
    Field s1(T::String), s2(T::String);
    s1 = QStringLiteral("B");
    s2 = QStringLiteral("a");
    QVERIFY(Field::compare(s1, s2) < 0); // code units, not locale order
}

void TestDatabase::rangeSet()
{
    RangeSet<int> set;
    set.add(10, 20);
    set.add(30, 40);
    set.add(20, 25); // touches: merges
    set.add(5, 6);
    QCOMPARE(set.ranges().size(), 3);
    set.add(22, 31); // bridges two ranges
    QCOMPARE(set.ranges().size(), 2);
    QVERIFY(set.ranges().at(1) == std::make_pair(10, 40));
    QVERIFY(set.contains(5));
    QVERIFY(!set.contains(6));
    QVERIFY(set.contains(39));
    QVERIFY(!set.contains(40));
    QCOMPARE(set.size(), 31);
    set.add(7, 7); // empty range: nothing
    QCOMPARE(set.size(), 31);
}

void TestDatabase::masterIndexAcrossParts()
{
    const int rows = 3 * IndexList::partCapacity + 17;
    Table *table = numbers(rows);
    const IndexList *index = table->masterIndex();
    QVERIFY(index->partCount() > 2);
    QCOMPARE(index->count(), rows);
    QCOMPARE(index->table(), table);

    QVector<int> expected(rows);
    std::iota(expected.begin(), expected.end(), 0);
    QCOMPARE(walk(index), expected);
    for (int p : { 0, IndexList::partCapacity - 1, IndexList::partCapacity, rows - 1 }) {
        Record *r = index->at(p);
        QCOMPARE(r->field(0)->toInt32(), p);
        QCOMPARE(index->position(*r), p);
        QVERIFY(index->contains(*r));
    }
    QCOMPARE(index->at(rows), nullptr);

    // A search record finds the row with its key.
    Record *key = table->allocRow();
    *key->field(0) = 1234;
    QCOMPARE(table->find(*key)->field(1)->toString(), QStringLiteral("1234"));
    *key->field(0) = rows;
    QCOMPARE(table->find(*key), nullptr);
    QVERIFY(!index->contains(*key));
    table->freeRow(key);
}

void TestDatabase::removeRanges()
{
    const int rows = 4 * IndexList::partCapacity;
    Table *table = numbers(rows);
    IndexList *index = table->masterIndex();
    const int partsBefore = index->partCount();

    // One range inside a part, one across several parts (some left empty).
    const RangeSet<int> ranges { { 3, 5 }, { 100, rows - 10 } };
    index->removeRanges(ranges);
    QVector<int> expected;
    for (int i = 0; i < rows; ++i) {
        if (!ranges.contains(i))
            expected.append(i);
    }
    QCOMPARE(walk(index), expected);
    QCOMPARE(index->count(), expected.size());
    QVERIFY(index->partCount() < partsBefore);
    QCOMPARE(index->at(5)->field(0)->toInt32(), 7);

    QVERIFY(index->remove(index->at(0)));
    Record *stranger = table->allocRow();
    QVERIFY(!index->remove(stranger, 0));
    table->freeRow(stranger);
    QCOMPARE(walk(index).first(), 1);

    index->removeRanges(RangeSet<int> { { 0, index->count() } });
    QCOMPARE(index->count(), 0);
    QCOMPARE(index->partCount(), 1);
    QVERIFY(index->begin() == index->end());

    table->insert({ { QStringLiteral("id"), 1 } });
    index->clear();
    QCOMPARE(index->partCount(), 1);
    QVERIFY(index->begin() == index->end());
}

void TestDatabase::tableWrites()
{
    Table *table = numbers(3);
    QSignalSpy changed(table, &Table::changed);
    quint64 stamp = table->stamp();

    table->insert({ { QStringLiteral("id"), 1 }, { QStringLiteral("text"), QStringLiteral("one") } });
    QCOMPARE(table->rowCount(), 3); // same key: replaced
    QCOMPARE(table->masterIndex()->at(1)->field(1)->toString(), QStringLiteral("one"));
    QCOMPARE(changed.count(), 1);
    QVERIFY(table->stamp() != stamp);
    stamp = table->stamp();

    QVERIFY(
        table->update({ { QStringLiteral("id"), 2 }, { QStringLiteral("text"), QStringLiteral("two") } }));
    QCOMPARE(table->masterIndex()->at(2)->field(1)->toString(), QStringLiteral("two"));
    QVERIFY(!table->update({ { QStringLiteral("id"), 9 }, { QStringLiteral("text"), QStringLiteral("x") } }));
    QVERIFY(table->stamp() != stamp);

    QVERIFY(table->remove({ { QStringLiteral("id"), 0 } }));
    QVERIFY(!table->remove({ { QStringLiteral("id"), 0 } }));
    QCOMPARE(walk(table->masterIndex()), QVector<int>({ 1, 2 }));
    QCOMPARE(changed.count(), 3);

    QVERIFY_EXCEPTION_THROWN(table->insert({ { QStringLiteral("nope"), 1 } }), Exception);
    QVERIFY_EXCEPTION_THROWN(
        table->update({ { QStringLiteral("id"), 1 }, { QStringLiteral("id"), 1.5 } }), Exception);
    QCOMPARE(changed.count(), 3);

    QVERIFY_EXCEPTION_THROWN(m_core->database()->createTable(QStringLiteral("numbers"), {}, {}), Exception);
    QCOMPARE(m_core->database()->table(QStringLiteral("numbers")), table);
    QCOMPARE(m_core->database()->table(QStringLiteral("nope")), nullptr);
}

void TestDatabase::replaceAllIsAllOrNothing()
{
    Table *table = numbers(5);
    QVector<Record *> rows;
    for (int id : { 30, 10, 20, 10 })
        rows.append(table->makeRow({ { QStringLiteral("id"), id } }));
    try {
        table->replaceAll(rows);
        QFAIL("no exception");
    } catch (const Exception &e) {
        QVERIFY2(e.message().contains(QLatin1String("row 4")), qPrintable(e.message()));
    }
    QCOMPARE(table->rowCount(), 5);
    table->freeRow(rows.takeLast());
    table->replaceAll(rows);
    QCOMPARE(walk(table->masterIndex()), QVector<int>({ 10, 20, 30 }));
}

// Orders rows by their text, keeping those whose id is even.
class EvenByText : public IndexSort
{
public:
    using IndexSort::IndexSort;

protected:
    int compare(const Record &a, const Record &b) const override
    {
        return Field::compare(*a.field(1), *b.field(1));
    }
    bool filter(const Record &record) const override { return record.field(0)->toInt32() % 2 == 0; }
};

void TestDatabase::indexSort()
{
    Table *table = numbers(0);
    const QStringList texts { "d", "b", "a", "b", "c", "a" };
    for (int id = 0; id < 12; ++id)
        table->insert(
            { { QStringLiteral("id"), id }, { QStringLiteral("text"), texts.at(id % texts.size()) } });

    EvenByText ascending(QStringLiteral("numbers"), true);
    QCOMPARE(ascending.count(), 0);
    ascending.build();
    // Even ids: 0 d, 2 a, 4 c, 6 d, 8 a, 10 c; ties keep the table's order.
    QCOMPARE(walk(&ascending), QVector<int>({ 2, 8, 4, 10, 0, 6 }));
    EvenByText descending(QStringLiteral("numbers"), false);
    descending.build();
    QCOMPARE(walk(&descending), QVector<int>({ 0, 6, 4, 10, 2, 8 }));

    // The index holds copies: it keeps its content when the table changes.
    table->clear();
    QCOMPARE(ascending.count(), 6);
    QCOMPARE(ascending.at(0)->field(1)->toString(), QStringLiteral("a"));
    Record *key = table->allocRow();
    *key->field(1) = QStringLiteral("c");
    QCOMPARE(ascending.position(*key), 2);
    *key->field(1) = QStringLiteral("b");
    QVERIFY(!ascending.contains(*key));
    table->freeRow(key);

    ascending.build();
    QCOMPARE(ascending.count(), 0);
    QVERIFY_EXCEPTION_THROWN(EvenByText(QStringLiteral("nope"), true), Exception);
}

void TestDatabase::lockGuardsConcurrentWriter()
{
    Table *table = numbers(0);
    constexpr int writes = 20000;
    std::atomic<bool> done { false };
    std::thread writer([&] {
        for (int i = 0; i < writes; ++i) {
            table->insert({ { QStringLiteral("id"), (i * 7919) % writes } });
            if (i % 3 == 0)
                table->remove({ { QStringLiteral("id"), (i * 104729) % writes } });
        }
        done = true;
    });
    // Each walk under the lock must see one consistent state of the index.
    int walks = 0;
    bool consistent = true;
    while (!done && consistent) {
        TableLocker locker(table);
        const QVector<int> ids = walk(table->masterIndex());
        consistent = ids.size() == table->masterIndex()->count() && std::is_sorted(ids.begin(), ids.end())
            && std::adjacent_find(ids.begin(), ids.end()) == ids.end();
        ++walks;
    }
    writer.join();
    QVERIFY(consistent);
    QVERIFY(walks > 0);
    QVERIFY(table->rowCount() > 0);
}

QTEST_GUILESS_MAIN(TestDatabase)
#include "tst_database.moc"
