#include <vetrel/staticproperties.h>

#include <QMap>
#include <QMetaMethod>

namespace
{

// Calls f for every property that a class of the object's chain declares
// itself, most derived class first.
template<typename F>
void forEachDeclaredProperty(const QObject *object, F f)
{
    for (const QMetaObject *meta = object->metaObject(); meta; meta = meta->superClass()) {
        for (int i = meta->propertyOffset(); i < meta->propertyCount(); ++i)
            f(meta->property(i));
    }
}

QString nameOf(const QMetaProperty &property)
{
    return QString::fromLatin1(property.name());
}

// Calls f with each USER property of the object that can notify, and its name.
template<typename F>
void forEachWatchable(const QObject *object, F f)
{
    forEachDeclaredProperty(object, [&](const QMetaProperty &property) {
        if (property.hasNotifySignal() && property.isUser(object))
            f(property, nameOf(property));
    });
}

}

class StaticPropertiesPrivate
{
public:
    static QMetaMethod changeSlot()
    {
        return StaticProperties::staticMetaObject.method(
            StaticProperties::staticMetaObject.indexOfSlot("propertyChanged()"));
    }

    QMap<QString, StaticProperties::prop_t> props;
    QMap<QString, QVariant> cache;
};

StaticProperties::StaticProperties(QObject *parent)
    : QObject(parent)
    , d(new StaticPropertiesPrivate)
{ }

StaticProperties::~StaticProperties() = default;

bool StaticProperties::connectAll(QObject *object)
{
    if (!object)
        return false;
    forEachWatchable(object, [&](const QMetaProperty &property, const QString &name) {
        // Properties sharing a notify signal, or an object bound twice, must
        // still give one report per property and notification.
        disconnectOne(object, property.notifySignal(), this, StaticPropertiesPrivate::changeSlot());
        connectOne(object, property.notifySignal(), this, StaticPropertiesPrivate::changeSlot());
        d->cache.insert(name, property.read(object));
        d->props.insert(name, prop_t { object, property });
    });
    return true;
}

bool StaticProperties::disconnectAll(QObject *object)
{
    if (!object)
        return false;
    forEachWatchable(object, [&](const QMetaProperty &property, const QString &name) {
        disconnectOne(object, property.notifySignal(), this, StaticPropertiesPrivate::changeSlot());
        d->cache.remove(name);
        d->props.remove(name);
    });
    return true;
}

bool StaticProperties::connectOne(
    const QObject *sender, const QMetaMethod &signal, const QObject *receiver, const QMetaMethod &method)
{
    return bool(QObject::connect(sender, signal, receiver, method, Qt::AutoConnection));
}

bool StaticProperties::disconnectOne(
    const QObject *sender, const QMetaMethod &signal, const QObject *receiver, const QMetaMethod &method)
{
    return QObject::disconnect(sender, signal, receiver, method);
}

QStringList StaticProperties::names() const
{
    return d->cache.keys();
}

QVariant StaticProperties::value(const QString &name) const
{
    return d->cache.value(name);
}

QVariant StaticProperties::operator[](const QString &name) const
{
    return value(name);
}

Values StaticProperties::values() const
{
    return Values(d->cache);
}

bool StaticProperties::setValue(const QString &name, const QVariant &value)
{
    const auto found = d->props.constFind(name);
    if (found == d->props.constEnd())
        return false;
    found->property.write(found->object, value);
    return true;
}

void StaticProperties::setValues(const Values &values)
{
    for (auto it = values.constBegin(); it != values.constEnd(); ++it)
        setValue(it.key(), it.value());
}

// Every property that shares the firing notify signal is read again and
// reported, changed or not: a notify signal is taken at its word.
void StaticProperties::propertyChanged()
{
    QObject *source = sender();
    const int signal = senderSignalIndex();
    forEachDeclaredProperty(source, [&](const QMetaProperty &property) {
        if (property.notifySignalIndex() == -1 || property.notifySignalIndex() != signal)
            return;
        const QString name = nameOf(property);
        d->cache.insert(name, property.read(source));
        emit hasChanged(name);
    });
}
