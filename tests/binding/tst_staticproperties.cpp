#include <vetrel/staticproperties.h>

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
    QString price = QStringLiteral("1.5"), note, hidden;
    int lots = 2;
Q_SIGNALS:
    void changed();
    void noteChanged();
};

// A USER property of its own on the signal it inherits.
class VenueQuote : public Quote
{
    Q_OBJECT
    Q_PROPERTY(QString Venue MEMBER venue NOTIFY changed USER true)
public:
    QString venue = QStringLiteral("MOEX");
};

class TestStaticProperties : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // A notification is reported at once for every watched property on its
    // signal, changed or not, the subclass's first; values keep their types.
    // setValue() writes into the object bound last; the write's notification updates the cache.
    void reportsAndLastBoundObject()
    {
        StaticProperties watcher;
        QStringList reported;
        connect(&watcher, &StaticProperties::hasChanged, [&](const QString &name) { reported << name; });
        const auto take = [&] { return std::exchange(reported, QStringList()); };
        QVERIFY(!watcher.connectAll(nullptr));
        Quote first, second;
        VenueQuote venue;
        QVERIFY(watcher.connectAll(&first) && watcher.connectAll(&venue));
        watcher.connectAll(&venue); // binding again must not double the reports
        QCOMPARE(watcher.values(), (Values { { "Lots", 2 }, { "Price", "1.5" }, { "Venue", "MOEX" } }));
        QCOMPARE(watcher.value("Lots").userType(), int(QMetaType::Int));
        venue.price = QStringLiteral("2.75");
        emit venue.changed();
        emit venue.noteChanged();
        QCOMPARE(take(), (QStringList { "Venue", "Price", "Lots" }));
        QCOMPARE(watcher["Price"], QVariant(QStringLiteral("2.75")));

        watcher.connectAll(&second);
        watcher.setValues(Values { { "Lots", "9" }, { "Unknown", 1 } });
        QCOMPARE(QList<int>({ first.lots, venue.lots, second.lots }), QList<int>({ 2, 2, 9 }));
        QCOMPARE(watcher.value("Lots"), QVariant(9));
        QCOMPARE(take(), (QStringList { "Price", "Lots" }));
        QVERIFY(!watcher.setValue("Nothing", 1));
        first.lots = 4; // objects bound earlier still report under the name
        emit first.changed();
        QCOMPARE(watcher.value("Lots"), QVariant(4));

        // Their names go whichever object they belonged to; Venue stays.
        QVERIFY(watcher.disconnectAll(&first));
        QCOMPARE(watcher.names(), QStringList { "Venue" });
        emit first.changed();
        emit venue.changed();
        QCOMPARE(take(), (QStringList { "Price", "Lots", "Venue", "Price", "Lots" }));
    }
};

QTEST_GUILESS_MAIN(TestStaticProperties)
#include "tst_staticproperties.moc"
