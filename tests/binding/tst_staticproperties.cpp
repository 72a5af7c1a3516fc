#include <vetrel/staticproperties.h>

#include <QSignalSpy>
#include <QtTest>

// Price and Lots share one notify signal; Note notifies but is not USER;
// Hidden is USER but cannot notify.
class Quote : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QString Price MEMBER price NOTIFY changed USER true)
    Q_PROPERTY(int Lots MEMBER lots NOTIFY changed USER true)
    Q_PROPERTY(QString Note MEMBER note NOTIFY noteChanged)
    Q_PROPERTY(QString Hidden MEMBER hidden USER true)

public:
    QString price = QStringLiteral("1.5");
    int lots = 2;
    QString note, hidden;

Q_SIGNALS:
    void changed();
    void noteChanged();
};

class VenueQuote : public Quote
{
    Q_OBJECT
    Q_PROPERTY(QString Venue MEMBER venue NOTIFY venueChanged USER true)

public:
    QString venue = QStringLiteral("MOEX");

Q_SIGNALS:
    void venueChanged();
};

class TestStaticProperties : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void changesAreReportedAtOnceByName()
    {
        StaticProperties watcher;
        QVERIFY(!watcher.connectAll(nullptr));
        VenueQuote quote;
        QVERIFY(watcher.connectAll(&quote));
        watcher.connectAll(&quote); // binding again must not double the reports
        // Notifying USER properties only, kept in their own type, not as text.
        QCOMPARE(watcher.value("Lots").userType(), int(QMetaType::Int));
        QCOMPARE(watcher.values(),
            (Values { { "Lots", 2 }, { "Price", QStringLiteral("1.5") }, { "Venue", QStringLiteral("MOEX") } }));
        QSignalSpy spy(&watcher, &StaticProperties::hasChanged);

        const auto reported = [&spy] {
            QStringList names;
            for (const QList<QVariant> &call : qAsConst(spy))
                names.append(call.at(0).toString());
            spy.clear();
            return names;
        };

        quote.price = QStringLiteral("2.75");
        emit quote.changed();
        // Synchronous, and every property on the shared signal is reported, in declaration order.
        QCOMPARE(reported(), (QStringList { "Price", "Lots" }));
        QCOMPARE(watcher["Price"], QVariant(QStringLiteral("2.75")));

        // No comparison with the old value: a bare notification is reported too.
        emit quote.venueChanged();
        emit quote.noteChanged();
        QCOMPARE(reported(), QStringList { "Venue" });

        // setValue writes through Qt's conversion; the cache follows by the
        // notification that the write raises.
        QVERIFY(watcher.setValue("Lots", QStringLiteral("7")));
        QCOMPARE(quote.lots, 7);
        QCOMPARE(watcher.value("Lots"), QVariant(7));
        QCOMPARE(reported(), (QStringList { "Price", "Lots" }));

        QVERIFY(!watcher.setValue("Nothing", 1));
    }

    void lastBoundObjectWinsUntilDisconnected()
    {
        StaticProperties watcher;
        Quote first;
        Quote second;
        VenueQuote other;
        watcher.connectAll(&first);
        watcher.connectAll(&other);
        watcher.connectAll(&second);
        QSignalSpy spy(&watcher, &StaticProperties::hasChanged);

        watcher.setValues(Values { { "Lots", 9 }, { "Price", QStringLiteral("3") }, { "Unknown", 1 } });
        QCOMPARE(second.lots, 9);
        QCOMPARE(first.lots, 2);
        QCOMPARE(watcher.value("Price"), QVariant(QStringLiteral("3")));
        spy.clear();

        // The first object stays connected: its changes still land under the name.
        first.lots = 4;
        emit first.changed();
        QCOMPARE(spy.count(), 2);
        QCOMPARE(watcher.value("Lots"), QVariant(4));

        // The names go whichever object they belonged to; other's own Venue stays.
        QVERIFY(watcher.disconnectAll(&first));
        QCOMPARE(watcher.names(), QStringList { "Venue" });
        spy.clear();
        emit first.changed();
        emit other.venueChanged();
        QCOMPARE(spy.count(), 1);
    }
};

QTEST_GUILESS_MAIN(TestStaticProperties)
#include "tst_staticproperties.moc"
