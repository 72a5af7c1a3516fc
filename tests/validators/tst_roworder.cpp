#include <vetrel/roworder_p.h>

#include <QTest>

#include <sys/mman.h>

#include <algorithm>
#include <numeric>
#include <random>
#include <set>

Q_DECLARE_METATYPE(RowOrder::Ties)

// The radix orders with their deeper keys must agree with QString's own
// compares on every kind of text, or lookups by binary search miss rows.
class TestRowOrder : public QObject
{
    Q_OBJECT

private slots:
    void caseInsensitiveOrderAgreesWithQString_data();
    void caseInsensitiveOrderAgreesWithQString();
    void deeperKeysAgreeWithTheFullCompare();
    void rowsAlreadyInKeyOrder_data();
    void rowsAlreadyInKeyOrder();
    void positionsShowingFindsExactTexts();
    void keptBuffersServeOnlyTheirSize();
};

namespace
{

// Random texts over `alphabet`, after a prefix every text shares, with
// copies (same or other letter case) so that long runs tie.
QStringList randomTexts(const QString &alphabet, const QString &prefix, int maxLength, int count)
{
    std::mt19937 random(11);
    QStringList texts;
    for (int i = 0; i < count; ++i) {
        if (i > 0 && random() % 4 == 0) {
            const QString &earlier = texts.at(int(random() % unsigned(texts.size())));
            texts.append(random() % 2 ? earlier : earlier.toUpper());
            continue;
        }
        QString text = prefix;
        for (int n = int(random() % unsigned(maxLength + 1)); n > 0; --n)
            text += alphabet.at(int(random() % unsigned(alphabet.size())));
        texts.append(text);
    }
    return texts;
}

}

void TestRowOrder::caseInsensitiveOrderAgreesWithQString_data()
{
    QTest::addColumn<QString>("alphabet");
    QTest::addColumn<QString>("prefix");
    QTest::addColumn<int>("maxLength");

    // Past the sixteen units a first key holds, only the deeper keys order.
    QTest::newRow("Latin, long runs") << QStringLiteral("aAbB") << QString() << 40;
    QTest::newRow("shared prefix") << QStringLiteral("xyXY") << QStringLiteral("Security ") << 9;
    QTest::newRow("Cyrillic with yo") << QStringLiteral("аАёЁеЕя") << QStringLiteral("ао ") << 8;
    // Deseret letters fold across a surrogate pair; sharp s folds to itself.
    QTest::newRow("surrogates, sharp s, NUL, U+FFFF")
        << QString::fromUtf8("a\U00010400\U00010428\u00dfS") + QChar(0) + QChar(0xffff) << QString() << 7;
}

void TestRowOrder::caseInsensitiveOrderAgreesWithQString()
{
    QFETCH(QString, alphabet);
    QFETCH(QString, prefix);
    QFETCH(int, maxLength);
    const QStringList texts = randomTexts(alphabet, prefix, maxLength, 5000);
    const auto textOf = [&](int i) -> const QString & { return texts.at(i); };
    std::vector<int> expected(size_t(texts.size()));
    std::iota(expected.begin(), expected.end(), 0);
    std::stable_sort(expected.begin(), expected.end(),
        [&](int a, int b) { return texts.at(a).compare(texts.at(b), Qt::CaseInsensitive) < 0; });
    QCOMPARE(RowOrder::caseInsensitiveOrder(texts.size(), textOf), expected);
}

// A composite key as the security list uses: a group rank, then a name
// compared case-sensitively; equal rows later-read first.
void TestRowOrder::deeperKeysAgreeWithTheFullCompare()
{
    const QStringList names
        = randomTexts(QString::fromUtf8("abAB\u044f") + QChar(0), QStringLiteral("Bond "), 30, 4000);
    std::vector<int> group(size_t(names.size()));
    std::mt19937 random(5);
    for (int &g : group)
        g = int(random() % 3);
    const auto less = [&](int a, int b) {
        return group[size_t(a)] != group[size_t(b)] ? group[size_t(a)] < group[size_t(b)]
                                                    : names.at(a) < names.at(b);
    };
    const std::vector<int> positions = RowOrder::sortedByText(
        names.size(), [&](int i) -> const QString & { return names.at(i); }, false,
        [&](int i) { return RowOrder::PrefixKey().add(quint64(group[size_t(i)]), 2); }, less,
        RowOrder::Ties::LaterFirst);
    std::vector<int> reversed(size_t(names.size()));
    std::iota(reversed.rbegin(), reversed.rend(), 0);
    std::stable_sort(reversed.begin(), reversed.end(), less);
    QCOMPARE(positions, reversed);
}

void TestRowOrder::rowsAlreadyInKeyOrder_data()
{
    QTest::addColumn<bool>("descending");
    QTest::addColumn<RowOrder::Ties>("ties");

    QTest::newRow("ascending, later first") << false << RowOrder::Ties::LaterFirst;
    QTest::newRow("ascending, earlier first") << false << RowOrder::Ties::EarlierFirst;
    QTest::newRow("descending, later first") << true << RowOrder::Ties::LaterFirst;
    QTest::newRow("descending, earlier first") << true << RowOrder::Ties::EarlierFirst;
}

// Rows read in the order of their keys (or its reverse) are settled without
// radix passes; runs of equal keys must still follow the tie rule. Enough
// rows that the sort's buffers are mappings of their own.
void TestRowOrder::rowsAlreadyInKeyOrder()
{
    QFETCH(bool, descending);
    QFETCH(RowOrder::Ties, ties);
    const int count = 300000;
    std::vector<int> group(static_cast<size_t>(count));
    for (int i = 0; i < count; ++i)
        group[size_t(i)] = (descending ? count - i : i) / 7;
    const QString name = QStringLiteral("Board 1");
    const auto less = [&](int a, int b) { return group[size_t(a)] < group[size_t(b)]; };
    const std::vector<int> positions = RowOrder::sortedByText(
        count, [&](int) -> const QString & { return name; }, false,
        [&](int i) { return RowOrder::PrefixKey().add(quint64(group[size_t(i)]), 20); }, less, ties);
    std::vector<int> expected(static_cast<size_t>(count));
    if (ties == RowOrder::Ties::LaterFirst)
        std::iota(expected.rbegin(), expected.rend(), 0);
    else
        std::iota(expected.begin(), expected.end(), 0);
    std::stable_sort(expected.begin(), expected.end(), less);
    QCOMPARE(positions, expected);
}

void TestRowOrder::positionsShowingFindsExactTexts()
{
    const QStringList texts = { "Sber", "sber", "SBER", "Sber", "Sberbank", "Aeroflot", "", "sber" };
    const auto textOf = [&](int i) -> const QString & { return texts.at(i); };
    const std::vector<int> order = RowOrder::caseInsensitiveOrder(texts.size(), textOf);
    QCOMPARE(RowOrder::positionsShowing(order, QStringLiteral("Sber"), textOf), std::vector<int>({ 0, 3 }));
    QCOMPARE(RowOrder::positionsShowing(order, QStringLiteral("sber"), textOf), std::vector<int>({ 1, 7 }));
    QCOMPARE(RowOrder::positionsShowing(order, QString(), textOf), std::vector<int>({ 6 }));
    QVERIFY(RowOrder::positionsShowing(order, QStringLiteral("sBer"), textOf).empty());
    QVERIFY(RowOrder::positionsShowing(order, QStringLiteral("Sbe"), textOf).empty());
}

// Buffers freed by one fill wait for the next fill of their own size only: a
// smaller one handed out for a larger one would be overrun. Past 32 MiB the
// oldest kept buffer goes back to the system.
void TestRowOrder::keptBuffersServeOnlyTheirSize()
{
    const std::size_t mib = std::size_t(1) << 20;
    const auto map = [](std::size_t length) {
        return mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    };
    HugePages::Detail::Pool pool;
    void *small = map(4 * mib);
    QVERIFY(pool.keep(small, 4 * mib));
    QVERIFY(!pool.take(8 * mib));
    QCOMPARE(pool.take(4 * mib), small);
    QVERIFY(!pool.take(4 * mib));
    QVERIFY(!pool.keep(small, 64 * mib));
    munmap(small, 4 * mib);

    std::vector<void *> freed;
    for (int i = 0; i < 5; ++i) {
        freed.push_back(map(8 * mib));
        QVERIFY(pool.keep(freed.back(), 8 * mib));
    }
    std::set<void *> kept;
    while (void *block = pool.take(8 * mib))
        kept.insert(block);
    QCOMPARE(kept, std::set<void *>(freed.begin() + 1, freed.end()));
    for (void *block : kept)
        munmap(block, 8 * mib);
}

QTEST_APPLESS_MAIN(TestRowOrder)
#include "tst_roworder.moc"
