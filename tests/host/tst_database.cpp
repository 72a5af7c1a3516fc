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

#include <QSignalSpy>
#include <QTest>

#include <algorithm>
#include <atomic>
#include <random>
#include <thread>

using T = FieldType;

static QVector<int> walk(const IndexList *index)
{
    QVector<int> ids;
    for (auto it = index->begin(); it != index->end(); ++it)
        ids.append((*it)->field(0)->toInt32());
    return ids;
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

class TestDatabase : public QObject
{
    Q_OBJECT

    Core *m_core = nullptr;

    // A table keyed by "id" with rows whose ids are 0..rows-1, inserted in a
    // shuffled order so that inserts land all over the index.
    Table *numbers(int rows)
    {
        Table *table = m_core->database()->createTable(QStringLiteral("numbers"),
            { { "id", T::Int32 }, { "text", T::String } }, { QStringLiteral("id") });
        std::vector<int> ids(std::size_t(rows), 0);
        std::iota(ids.begin(), ids.end(), 0);
        std::shuffle(ids.begin(), ids.end(), std::mt19937(7));
        for (int id : ids)
            table->insert({ { "id", id }, { "text", QString::number(id) } });
        return table;
    }

private slots:
    void init() { m_core = new Core; }
    void cleanup() { delete m_core; }

    void fieldWrites_data()
    {
        QTest::addColumn<int>("type");
        QTest::addColumn<QVariant>("input");
        QTest::addColumn<QString>("text"); // null: refused
        auto row = [](const char *name, T::Type type, const QVariant &input, const QString &text = {}) {
            QTest::newRow(name) << int(type) << input << text;
        };
        row("int32 upper bound", T::Int32, qint64(2147483647), "2147483647");
        row("int32 from decimal without fraction", T::Int32, QVariant::fromValue(decimal("12.00")), "12");
        row("int64 from integral double", T::Int64, 5e9, "5000000000");
        row("decimal keeps scale", T::Decimal, "1.50", "1.50");
        row("beyond 64 bits", T::XDecimal, "123456789012345678901234.5", "123456789012345678901234.5");
        row("time64 from ISO text", T::Time64, "1970-01-02T00:00:00Z", "86400000");
        row("text as given", T::String, " MC 100 ", " MC 100 ");
        row("int32 overflow", T::Int32, qint64(2147483648));
        row("int32 from fraction", T::Int32, "12.5");
        row("int64 from fractional double", T::Int64, 1.5);
    }

    void fieldWrites()
    {
        QFETCH(int, type);
        QFETCH(QVariant, input);
        QFETCH(QString, text);
        Field field { T::Type(type) };
        if (text.isNull()) {
            field = 3;
            const QString before = field.toString();
            QVERIFY_EXCEPTION_THROWN(field = input, Exception);
            QCOMPARE(field.toString(), before); // a refused write leaves the old value
            return;
        }
        field = input;
        QCOMPARE(field.toString(), text);
        // Only a text cell lends its text in place.
        QCOMPARE(field.textView().toString(), type == T::String ? text : QString());
        // The stored value survives a round trip through a variant.
        Field copy { T::Type(type) };
        copy = field.toVariant();
        QCOMPARE(Field::compare(copy, field), 0);
    }

    void absentCells()
    {
        Table *table = numbers(1);
        Record *row = table->allocRow();
        QVERIFY(!table->dataPtr(row, 1)->toVariant().isValid());
        // Cells of columns that do not exist read as absent and refuse writes.
        QCOMPARE(table->columnIndex(QStringLiteral("nope")), -1);
        QVERIFY_EXCEPTION_THROWN(*table->dataPtr(row, 99) = 1, Exception);
        table->freeRow(row);
    }

    void indexAcrossParts()
    {
        const int rows = 4 * IndexList::partCapacity + 17;
        IndexList *index = numbers(rows)->masterIndex();
        QVERIFY(index->partCount() > 2);
        QVector<int> expected(rows);
        std::iota(expected.begin(), expected.end(), 0);
        QCOMPARE(walk(index), expected);
        for (int p : { 0, IndexList::partCapacity - 1, IndexList::partCapacity, rows - 1 })
            QCOMPARE(index->position(*index->at(p)), p);

        // One range inside a part, one across several parts; touching ranges merge.
        RangeSet<int> ranges { { 3, 5 }, { 100, 200 } };
        ranges.add(150, rows - 10);
        ranges.add(7, 7);
        QCOMPARE(ranges.size(), 2 + rows - 110);
        index->removeRanges(ranges);
        expected.erase(expected.begin() + 100, expected.end() - 10);
        expected.erase(expected.begin() + 3, expected.begin() + 5);
        QCOMPARE(walk(index), expected);
        QCOMPARE(index->count(), expected.size());
    }

    void tableWrites()
    {
        Table *table = numbers(3);
        QSignalSpy changed(table, &Table::changed);

        table->insert({ { "id", 1 }, { "text", "one" } });
        QCOMPARE(table->rowCount(), 3); // same key: replaced
        QCOMPARE(table->masterIndex()->at(1)->field(1)->toString(), QStringLiteral("one"));
        QCOMPARE(changed.count(), 1);

        QVERIFY(table->update({ { "id", 2 }, { "text", "two" } }));
        QCOMPARE(table->masterIndex()->at(2)->field(1)->toString(), QStringLiteral("two"));
        QVERIFY(!table->update({ { "id", 9 }, { "text", "x" } }));

        QVERIFY(table->remove({ { "id", 0 } }));
        QVERIFY(!table->remove({ { "id", 0 } }));
        QCOMPARE(walk(table->masterIndex()), QVector<int>({ 1, 2 }));
        QCOMPARE(changed.count(), 3);

        // Refused writes change nothing and announce nothing.
        QVERIFY_EXCEPTION_THROWN(table->insert({ { "nope", 1 } }), Exception);
        QVERIFY_EXCEPTION_THROWN(table->update({ { "id", 1.5 } }), Exception);

        // Replacing everything is all or nothing.
        QVector<Record *> rows;
        for (int id : { 30, 10, 20, 10 })
            rows.append(table->makeRow({ { "id", id } }));
        QVERIFY_EXCEPTION_THROWN(table->replaceAll(rows), Exception);
        QCOMPARE(walk(table->masterIndex()), QVector<int>({ 1, 2 }));
        QCOMPARE(changed.count(), 3);
        table->freeRow(rows.takeLast());
        table->replaceAll(rows);
        QCOMPARE(walk(table->masterIndex()), QVector<int>({ 10, 20, 30 }));
    }

    void indexSort()
    {
        Table *table = numbers(0);
        const QStringList texts { "d", "b", "a", "b", "c", "a" };
        for (int id = 0; id < 12; ++id)
            table->insert({ { "id", id }, { "text", texts.at(id % texts.size()) } });

        // Even ids: 0 d, 2 a, 4 c, 6 d, 8 a, 10 c; ties keep the table's order.
        EvenByText ascending(QStringLiteral("numbers"), true);
        ascending.build();
        QCOMPARE(walk(&ascending), QVector<int>({ 2, 8, 4, 10, 0, 6 }));

        // The index holds copies: it keeps its content when the table changes.
        table->clear();
        QCOMPARE(ascending.count(), 6);
        QVERIFY_EXCEPTION_THROWN(EvenByText(QStringLiteral("nope"), true), Exception);
    }

    void lockGuardsConcurrentWriter()
    {
        Table *table = numbers(0);
        constexpr int writes = 20000;
        std::atomic<bool> done { false };
        std::thread writer([&] {
            for (int i = 0; i < writes; ++i) {
                table->insert({ { "id", (i * 7919) % writes } });
                if (i % 3 == 0)
                    table->remove({ { "id", (i * 104729) % writes } });
            }
            done = true;
        });
        // Each walk under the lock must see one consistent state of the index.
        bool consistent = true;
        do {
            TableLocker locker(table);
            const QVector<int> ids = walk(table->masterIndex());
            consistent = ids.size() == table->masterIndex()->count() && std::is_sorted(ids.begin(), ids.end())
                && std::adjacent_find(ids.begin(), ids.end()) == ids.end();
        } while (!done && consistent);
        writer.join();
        QVERIFY(consistent);
        QVERIFY(table->rowCount() > 0);
    }
};

QTEST_GUILESS_MAIN(TestDatabase)
#include "tst_database.moc"
