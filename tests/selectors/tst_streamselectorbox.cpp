#include <vetrel/streamselectorbox.h>
#include <vetrel/streamselectorfilteredmodel.h>
#include <vetrel/streamselectormodel.h>

#include <host/core.h>
#include <host/database.h>
#include <host/market.h>
#include <host/rfsstreamsdirectory.h>

#include <QLineEdit>
#include <QSignalSpy>
#include <QTest>

#include <memory>

using Ids = QPair<qulonglong, qlonglong>;

class TestStreamSelectorBox : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void modelListsStreamsByIdAndSecurity();
    void userTypesAStream();
    void setStreamNarrowsAndSelects();
    void choiceSurvivesRefresh();
    void wronglyTypedRefillIsAWarning();

private:
    Table *streams() const { return m_core->database()->table(QStringLiteral("rfs_streams")); }
    void addStream(qlonglong streamId, qlonglong securityId, const QString &code, const QString &quantity);

    std::unique_ptr<Core> m_core;
};

namespace
{

constexpr qulonglong bigStream = 5000000000ULL;
constexpr qlonglong bigSecurity = 9007199254740993LL;

QList<qulonglong> shownStreams(const QComboBox &box)
{
    QList<qulonglong> ids;
    for (int row = 0; row < box.count(); ++row)
        ids << box.itemData(row, StreamSelectorModel::StreamIdRole).toULongLong();
    return ids;
}

Ids notice(const QSignalSpy &spy, int at)
{
    return { spy.at(at).at(0).toULongLong(), spy.at(at).at(1).toLongLong() };
}

QString streamText(qulonglong id)
{
    return RFSStreamsDirectory::getStreamsMap().value(id);
}

}

void TestStreamSelectorBox::init()
{
    m_core.reset(new Core);
    Market::createTables(m_core->database());
    addStream(20, 1282, QStringLiteral("USDRUB_TOM"), QStringLiteral("1000000"));
    addStream(11, 1281, QStringLiteral("USDRUB_TOD"), QStringLiteral("5000000"));
    addStream(10, 1281, QStringLiteral("USDRUB_TOD"), QStringLiteral("1000000"));
    addStream(qlonglong(bigStream), bigSecurity, QStringLiteral("CNYRUB_TOM"), QStringLiteral("250000"));
}

void TestStreamSelectorBox::cleanup()
{
    m_core.reset();
}

void TestStreamSelectorBox::addStream(
    qlonglong streamId, qlonglong securityId, const QString &code, const QString &quantity)
{
    streams()->insert({ { QStringLiteral("stream_id"), streamId }, { QStringLiteral("sec_id"), securityId },
        { QStringLiteral("sec_code"), code }, { QStringLiteral("quantity"), quantity } });
}

void TestStreamSelectorBox::modelListsStreamsByIdAndSecurity()
{
    StreamSelectorModel model;
    QCOMPARE(model.rowCount(), 0);
    QSignalSpy reset(&model, &QAbstractItemModel::modelReset);
    QSignalSpy inserted(&model, &QAbstractItemModel::rowsInserted);
    model.populate();
    QCOMPARE(reset.count(), 1);
    QCOMPARE(inserted.count(), 0);
    QCOMPARE(model.rowCount(), 4);
    QCOMPARE(model.columnCount(), 1);

    StreamSelectorFilteredModel filtered;
    filtered.setSourceModel(&model);
    auto ids = [&filtered](int role) {
        QVariantList values;
        for (int row = 0; row < filtered.rowCount(); ++row)
            values << filtered.index(row, 0).data(role);
        return values;
    };
    QCOMPARE(ids(StreamSelectorModel::StreamIdRole), QVariantList({ 10ULL, 11ULL, 20ULL, bigStream }));
    QCOMPARE(ids(StreamSelectorModel::SecurityIdRole), QVariantList({ 1281LL, 1281LL, 1282LL, bigSecurity }));
    QCOMPARE(
        filtered.index(3, 0).data(StreamSelectorModel::StreamIdRole).userType(), int(QMetaType::ULongLong));
    QCOMPARE(
        filtered.index(3, 0).data(StreamSelectorModel::SecurityIdRole).userType(), int(QMetaType::LongLong));
    QCOMPARE(filtered.index(0, 0).data().toString(), streamText(10));
    QVERIFY(filtered.index(0, 0).data().toString().startsWith(QStringLiteral("USDRUB_TOD")));

    filtered.setSecurityId(1281);
    QCOMPARE(ids(StreamSelectorModel::StreamIdRole), QVariantList({ 10ULL, 11ULL }));
    filtered.setSecurityId(bigSecurity);
    QCOMPARE(ids(StreamSelectorModel::StreamIdRole), QVariantList({ bigStream }));
    filtered.setSecurityId(0);
    QCOMPARE(filtered.rowCount(), 4);
}

void TestStreamSelectorBox::userTypesAStream()
{
    StreamSelectorBox box;
    box.show();
    QCOMPARE(box.lineEdit()->placeholderText(), QStringLiteral("Поток (Инструмент * количество)"));
    QCOMPARE(shownStreams(box), QList<qulonglong>({ 10, 11, 20, bigStream }));
    QCOMPARE(box.currentIndex(), -1);
    QCOMPARE(box.getStreamId(), 0ULL);

    QSignalSpy changed(&box, &StreamSelectorBox::changed);
    const QString text = streamText(11);
    QTest::keyClicks(box.lineEdit(), text.left(text.size() - 1));
    QCOMPARE(changed.count(), 0);
    QTest::keyClicks(box.lineEdit(), text.right(1));
    QCOMPARE(changed.count(), 1);
    QCOMPARE(notice(changed, 0), Ids(11, 1281));
    QCOMPARE(box.getStreamId(), 11ULL);
    QCOMPARE(box.getSecurityId(), 1281LL);

    // Another letter case names no stream: nothing changes.
    box.lineEdit()->setText(text.toLower());
    QCOMPARE(changed.count(), 1);

    box.lineEdit()->clear();
    QCOMPARE(changed.count(), 2);
    QCOMPARE(notice(changed, 1), Ids(0, 0));
    QCOMPARE(box.currentIndex(), -1);
}

void TestStreamSelectorBox::setStreamNarrowsAndSelects()
{
    StreamSelectorBox box;
    QSignalSpy changed(&box, &StreamSelectorBox::changed);

    box.setStream(11, 1281);
    QCOMPARE(changed.count(), 1);
    QCOMPARE(notice(changed, 0), Ids(11, 1281));
    QCOMPARE(shownStreams(box), QList<qulonglong>({ 10, 11 }));
    QCOMPARE(box.currentText(), streamText(11));

    // A stream the list does not offer: no selection, no notice.
    box.setStream(20, 1281);
    QCOMPARE(changed.count(), 1);
    QCOMPARE(box.getStreamId(), 11ULL);

    box.setStream(bigStream, bigSecurity);
    QCOMPARE(changed.count(), 2);
    QCOMPARE(notice(changed, 1), Ids(bigStream, bigSecurity));
    QCOMPARE(shownStreams(box), QList<qulonglong>({ bigStream }));

    box.setStream(20, 0);
    QCOMPARE(shownStreams(box), QList<qulonglong>({ 10, 11, 20, bigStream }));
    QCOMPARE(notice(changed, changed.count() - 1), Ids(20, 1282));
    QCOMPARE(changed.count(), 3);
}

void TestStreamSelectorBox::choiceSurvivesRefresh()
{
    StreamSelectorBox box;
    box.show();
    QTest::keyClicks(box.lineEdit(), streamText(20));
    QCOMPARE(box.getStreamId(), 20ULL);

    auto *model = box.findChild<StreamSelectorModel *>();
    QVERIFY(model);
    QSignalSpy reset(model, &QAbstractItemModel::modelReset);
    QSignalSpy changed(&box, &StreamSelectorBox::changed);

    // The table changes; the list refills once control returns to the loop.
    addStream(15, 1282, QStringLiteral("USDRUB_TOM"), QStringLiteral("3000000"));
    QCOMPARE(reset.count(), 0);
    QVERIFY(reset.wait());
    QCoreApplication::processEvents();
    QCOMPARE(changed.count(), 1);
    QCOMPARE(notice(changed, 0), Ids(20, 1282));
    QCOMPARE(box.getStreamId(), 20ULL);
    QCOMPARE(box.currentText(), streamText(20));
    QVERIFY(shownStreams(box).contains(15));

    // The chosen stream leaves the table: no stream is chosen any more, and
    // the box says so once.
    changed.clear();
    streams()->remove({ { QStringLiteral("stream_id"), 20 } });
    QVERIFY(reset.wait());
    QCoreApplication::processEvents();
    QCOMPARE(changed.count(), 1);
    QCOMPARE(notice(changed, 0), Ids(0, 0));
    QVERIFY(!shownStreams(box).contains(20));
    QCOMPARE(box.getStreamId(), 0ULL);
    QCOMPARE(box.currentText(), QString());

    // Nothing chosen: a refill chooses nothing and announces nothing.
    changed.clear();
    addStream(16, 1282, QStringLiteral("USDRUB_TOM"), QStringLiteral("4000000"));
    QVERIFY(reset.wait());
    QCoreApplication::processEvents();
    QCOMPARE(changed.count(), 0);
    QCOMPARE(box.currentIndex(), -1);
}

void TestStreamSelectorBox::wronglyTypedRefillIsAWarning()
{
    // A feed that keeps security ids as text: the refill that the directory's
    // notice starts in the event loop must not end the program.
    m_core.reset();
    m_core.reset(new Core);
    using T = FieldType;
    m_core->database()->createTable(QStringLiteral("rfs_streams"),
        { { QStringLiteral("stream_id"), T::Int64 }, { QStringLiteral("sec_id"), T::String },
            { QStringLiteral("sec_code"), T::String }, { QStringLiteral("quantity"), T::Decimal } },
        { QStringLiteral("stream_id") });
    StreamSelectorModel model;
    QSignalSpy reset(&model, &QAbstractItemModel::modelReset);
    QTest::ignoreMessage(QtWarningMsg, "StreamSelectorModel: Incorrect type conversion.");
    addStream(10, 1281, QStringLiteral("USDRUB_TOD"), QStringLiteral("1000000"));
    QVERIFY(reset.wait());
    QCOMPARE(model.rowCount(), 0);
}

QTEST_MAIN(TestStreamSelectorBox)
#include "tst_streamselectorbox.moc"
