#include <vetrel/properties.h>

#include <QDebug>
#include <QHash>
#include <QMap>
#include <QMetaProperty>
#include <QTimer>
#include <QVarLengthArray>
#include <QVariant>
#include <QVector>

#include <algorithm>
#include <limits>
#include <vector>

namespace
{

// Deep enough for any real chain of dependent bindings, shallow enough that
// two widgets reformatting each other stop long before the stack runs out.
constexpr int MaxPropagationDepth = 32;

const QByteArray ClassInfoName = QByteArrayLiteral("Properties");
// Read straight from the meta-objects' static data: a form walks thousands
// of these, and a copy of each would cost an allocation.
const QLatin1String ModeThis("this");
const QLatin1String ModeThisOnly("thisOnly");
const QLatin1String ModeSuper("super");

QLatin1String classInfoValue(const QMetaObject *metaObject)
{
    const int index = metaObject->indexOfClassInfo(ClassInfoName.constData());
    return index < 0 ? QLatin1String() : QLatin1String(metaObject->classInfo(index).value());
}

// Follows "super" to the class whose own properties are to be bound; returns
// that class's meta-object and stores the mode found there in @p mode.
const QMetaObject *bindingClass(const QMetaObject *metaObject, QLatin1String *mode)
{
    *mode = classInfoValue(metaObject);
    while (*mode == ModeSuper) {
        metaObject = metaObject->superClass();
        if (!metaObject) {
            *mode = QLatin1String();
            return nullptr;
        }
        *mode = classInfoValue(metaObject);
    }
    return metaObject;
}

bool bindsOwnProperties(QLatin1String mode)
{
    return mode == ModeThis || mode == ModeThisOnly;
}

// The property that "field" renames: the class's readable USER property, or
// else the one named "Value".
QByteArray mainPropertyName(const QObject *object)
{
    const QMetaProperty user = object->metaObject()->userProperty();
    return user.isValid() && user.isReadable() ? QByteArray(user.name()) : QByteArrayLiteral("Value");
}

// Property name to binding name, from the dynamic properties "field" and then
// "fields" ("Binding=Property" items separated by blanks; later items win).
// Malformed items carry no meaning and are skipped. A handful of entries at
// most, so a list searched from its end beats a hash built for every widget.
class Renames
{
public:
    explicit Renames(const QObject *object)
    {
        const QList<QByteArray> dynamic = object->dynamicPropertyNames();
        if (dynamic.isEmpty())
            return;
        if (dynamic.contains(QByteArrayLiteral("field")))
            m_entries.append({ mainPropertyName(object), object->property("field").toString() });
        if (dynamic.contains(QByteArrayLiteral("fields"))) {
            const QStringList items = object->property("fields").toString().split(QLatin1Char(' '));
            for (const QString &item : items) {
                const QStringList parts = item.split(QLatin1Char('='));
                if (parts.size() == 2 && !parts.at(0).isEmpty() && !parts.at(1).isEmpty())
                    m_entries.append({ parts.at(1).toLatin1(), parts.at(0) });
            }
        }
    }

    QString bindingName(const char *property) const
    {
        for (auto it = m_entries.crbegin(); it != m_entries.crend(); ++it) {
            if (it->first == property)
                return it->second;
        }
        return QString::fromLatin1(property);
    }

private:
    QVarLengthArray<QPair<QByteArray, QString>, 4> m_entries;
};

int propertyIndex(const QObject *object, const QByteArray &property, const char *operation)
{
    const int index = object ? object->metaObject()->indexOfProperty(property.constData()) : -1;
    if (index < 0)
        qWarning() << operation << "property" << property << "not found for object" << object;
    return index;
}

}

// Receives the bound notify signals. Each signal is connected by method index
// to a number past QObject's own methods that names its binding, the way
// QSignalSpy listens: qt_metacall turns the number straight into the binding,
// where QObject::sender() would search every connection made to the receiver
// and so grow slower with every widget of the form.
class NotifyRelay : public QObject
{
public:
    // A connection keeps the receiver's method index in 16 bits.
    static constexpr int Capacity = 0xffff - 16;

    NotifyRelay(PropertiesPrivate *d, int firstId)
        : m_d(d)
        , m_firstId(firstId)
    { }

    static int methodIndex(int id) { return QObject::staticMetaObject.methodCount() + id % Capacity; }

    int qt_metacall(QMetaObject::Call call, int id, void **arguments) override;

private:
    PropertiesPrivate *const m_d;
    const int m_firstId;
};

// Receives the bound objects' destroyed() signals, connected by method index
// as the notify signals are: cheaper to connect than a functor, which counts
// in a form of ten thousand widgets.
class DestructionRelay : public QObject
{
public:
    explicit DestructionRelay(PropertiesPrivate *d)
        : m_d(d)
    { }

    void watch(QObject *object)
    {
        static const int destroyed = QObject::staticMetaObject.indexOfSignal("destroyed(QObject*)");
        QMetaObject::connect(object, destroyed, this, QObject::staticMetaObject.methodCount());
    }

    int qt_metacall(QMetaObject::Call call, int id, void **arguments) override;

private:
    PropertiesPrivate *const m_d;
};

class PropertiesPrivate
{
public:
    using Key = Properties::Key;

    explicit PropertiesPrivate(Properties *q);

    // One pass writing a text into the bindings of a name. Passes nest when a
    // written widget answers with a text of its own.
    struct Pass
    {
        Pass(PropertiesPrivate *d, const QString &name, const QString &text)
            : d(d)
            , outer(d->currentPass)
            , depth(outer ? outer->depth + 1 : 1)
            , name(name)
            , text(text)
        {
            d->currentPass = this;
        }
        ~Pass()
        {
            d->currentPass = outer;
            if (!outer)
                d->runawayReported = false;
        }
        Pass(const Pass &) = delete;
        Pass &operator=(const Pass &) = delete;

        PropertiesPrivate *const d;
        Pass *const outer;
        const int depth;
        const QString name;
        const QString text;
        QObject *target = nullptr; // the object being written right now
        bool superseded = false; // a nested pass set another text for the name
    };

    bool bind(const QString &name, QObject *object, int index);
    bool unbind(const QString &name, QObject *object, int index);
    void notified(int id);
    void changed(QObject *source, const Key &signalKey);
    void setText(const QString &name, const QString &text, const QObject *skip);
    void write(Pass &pass, const Key &key, const QVariant &value);
    void scheduleHasChanged();

    template<typename Fn>
    void forEachBound(const QString &name, const QObject *skip, Fn fn);

    int newRelayId(const Key &signalKey);
    NotifyRelay *relay(int id);
    void releaseRelayId(int id);
    void trackDestruction(QObject *object, const QString &name);
    void objectDestroyed(QObject *object);

    // What a bound notify signal stands for: the property it reports, the
    // name that property is bound under, and the relay number it calls.
    struct Notifier
    {
        Key property;
        QString name;
        int relayId;
    };

    Properties *const q;
    // By signal key; a later binding of the same signal replaces the entry.
    QMap<Key, Notifier> notifiers;
    // Every property bound under a name, in the order of binding.
    QHash<QString, QVector<Key>> nameToProperties;
    QMap<QString, QVariant> store;
    QTimer *const changeTimer;
    QMultiMap<QObject *, QString> objProp;

    // Names each object was ever bound under, so that its keys can be found
    // in nameToProperties when it is destroyed.
    QHash<QObject *, QVarLengthArray<QString, 2>> boundNames;
    // Bumped whenever keys vanish, so that a pass working on a snapshot of
    // keys knows to re-check them before writing.
    quint64 unbindGeneration = 0;
    Pass *currentPass = nullptr;
    bool runawayReported = false;

    // The notify signal behind each relay number.
    QVector<Key> relayedSignals;
    QVector<int> freeRelayIds;
    // Declared last so that they go first: nothing reaches a half-destroyed map.
    std::vector<std::unique_ptr<NotifyRelay>> relays;
    const std::unique_ptr<DestructionRelay> destructionRelay;
};

int NotifyRelay::qt_metacall(QMetaObject::Call call, int id, void **arguments)
{
    id = QObject::qt_metacall(call, id, arguments);
    if (id < 0 || call != QMetaObject::InvokeMetaMethod)
        return id;
    m_d->notified(m_firstId + id);
    return -1;
}

int DestructionRelay::qt_metacall(QMetaObject::Call call, int id, void **arguments)
{
    id = QObject::qt_metacall(call, id, arguments);
    if (id < 0 || call != QMetaObject::InvokeMetaMethod)
        return id;
    m_d->objectDestroyed(*static_cast<QObject **>(arguments[1]));
    return -1;
}

PropertiesPrivate::PropertiesPrivate(Properties *q)
    : q(q)
    , changeTimer(new QTimer(q))
    , destructionRelay(new DestructionRelay(this))
{ }

Properties::Properties(QObject *parent)
    : QObject(parent)
    , d(new PropertiesPrivate(this))
{
    connect(d->changeTimer, SIGNAL(timeout()), this, SIGNAL(hasChanged()));
    d->changeTimer->setSingleShot(true);
    d->changeTimer->setInterval(0);
}

Properties::Properties(const Values &values, QObject *parent)
    : Properties(parent)
{
    setValues(values);
}

Properties::~Properties() = default;

Values Properties::values() const
{
    return Values(d->store);
}

void Properties::setValue(const QString &name, const QString &value)
{
    if (d->store.value(name).toString() != value) {
        d->store.insert(name, value);
        d->setText(name, value, nullptr);
    }
    // Scheduled whether or not anything changed: callers rely on hasChanged()
    // following every setValue().
    d->scheduleHasChanged();
}

void Properties::setValues(const Values &values)
{
    for (auto it = values.cbegin(); it != values.cend(); ++it)
        setValue(it.key(), it.value().toString());
}

void Properties::reset()
{
    auto it = d->store.begin();
    while (it != d->store.end()) {
        const QString name = it.key();
        d->forEachBound(name, nullptr, [](const Key &key) {
            key.object->metaObject()->property(key.index).reset(key.object);
            return true;
        });
        // A widget that reports its reset re-creates the entry; it goes too.
        d->store.remove(name);
        it = d->store.upperBound(name);
    }
}

QList<QString> Properties::objectProperty(QObject *object) const
{
    return d->objProp.values(object);
}

void Properties::dumpObjProp()
{
    qDebug() << "Properties::dumpObjProp" << this;
    for (auto it = d->objProp.cbegin(); it != d->objProp.cend(); ++it)
        qDebug() << "objProp4:" << it.key() << d->objProp.values(it.key());
}

bool Properties::connectAll(QObject *root)
{
    if (!root)
        return false;

    QLatin1String mode;
    const QMetaObject *boundClass = bindingClass(root->metaObject(), &mode);
    int count = 0;
    if (bindsOwnProperties(mode)) {
        const Renames renames(root);
        for (int i = boundClass->propertyOffset(); i < boundClass->propertyCount(); ++i) {
            const QString name = renames.bindingName(boundClass->property(i).name());
            count += d->bind(name, root, i);
            if (!d->objProp.contains(root, name))
                d->objProp.insert(root, name);
        }
    }
    if (mode != ModeThisOnly) {
        const QObjectList children = root->children();
        for (QObject *child : children)
            count += connectAll(child);
    }
    return count != 0;
}

bool Properties::connectOne(const QString &name, QObject *object, const QByteArray &property)
{
    const int index = propertyIndex(object, property, "Properties::connect:");
    return index >= 0 && d->bind(name, object, index);
}

bool Properties::connectOne(QObject *object, const QByteArray &property)
{
    return connectOne(QString::fromLatin1(property.constData()), object, property);
}

bool Properties::disconnectOne(const QString &name, QObject *object, const QByteArray &property)
{
    const int index = propertyIndex(object, property, "Properties::disconnect:");
    return index >= 0 && d->unbind(name, object, index);
}

bool Properties::disconnectOne(QObject *object, const QByteArray &property)
{
    return disconnectOne(QString::fromLatin1(property.constData()), object, property);
}

bool Properties::disconnectAll(QObject *root)
{
    if (!root)
        return false;

    const QMetaObject *metaObject = root->metaObject();
    const QLatin1String mode = classInfoValue(metaObject);
    int count = 0;
    if (bindsOwnProperties(mode)) {
        for (int i = metaObject->propertyOffset(); i < metaObject->propertyCount(); ++i)
            count += disconnectOne(root, metaObject->property(i).name());
    }
    if (mode != ModeThisOnly) {
        const QObjectList children = root->children();
        for (QObject *child : children)
            count += disconnectAll(child);
    }
    return count != 0;
}

void Properties::propertyChanged()
{
    if (QObject *source = sender())
        d->changed(source, Key { source, senderSignalIndex() });
}

bool PropertiesPrivate::bind(const QString &name, QObject *object, int index)
{
    const Key propertyKey { object, index };
    nameToProperties[name].append(propertyKey);
    trackDestruction(object, name);

    const QMetaProperty metaProperty = object->metaObject()->property(index);
    const auto stored = store.constFind(name);
    Pass pass(this, name, stored == store.cend() ? QString() : stored->toString());
    if (!metaProperty.hasNotifySignal()) {
        // Write-only: it takes values from the store but never reports back.
        if (stored != store.cend())
            write(pass, propertyKey, *stored);
        return true;
    }

    const Key signalKey { object, metaProperty.notifySignalIndex() };
    auto notifier = notifiers.find(signalKey);
    if (notifier == notifiers.end())
        notifier = notifiers.insert(signalKey, Notifier { propertyKey, name, newRelayId(signalKey) });
    else
        *notifier = Notifier { propertyKey, name, notifier->relayId };
    const int id = notifier->relayId;
    QMetaObject::connect(object, signalKey.index, relay(id), NotifyRelay::methodIndex(id));

    if (stored == store.cend())
        store.insert(name, metaProperty.read(object).toString());
    else
        write(pass, propertyKey, *stored);
    return true;
}

bool PropertiesPrivate::unbind(const QString &name, QObject *object, int index)
{
    const Key propertyKey { object, index };
    const auto bound = nameToProperties.find(name);
    if (bound != nameToProperties.end() && bound->removeAll(propertyKey) > 0) {
        ++unbindGeneration;
        if (bound->isEmpty())
            nameToProperties.erase(bound);
    }

    const QMetaProperty metaProperty = object->metaObject()->property(index);
    if (!metaProperty.hasNotifySignal())
        return true;

    const auto notifier = notifiers.find(Key { object, metaProperty.notifySignalIndex() });
    if (notifier != notifiers.end()) {
        const int id = notifier->relayId;
        QMetaObject::disconnect(object, notifier.key().index, relay(id), NotifyRelay::methodIndex(id));
        releaseRelayId(id);
        notifiers.erase(notifier);
    }
    return true;
}

void PropertiesPrivate::notified(int id)
{
    const Key signalKey = relayedSignals.at(id);
    changed(signalKey.object, signalKey);
}

void PropertiesPrivate::changed(QObject *source, const Key &signalKey)
{
    const auto notifier = notifiers.constFind(signalKey);
    if (notifier == notifiers.cend())
        return;
    const Key propertyKey = notifier->property;
    const QString name = notifier->name;

    if (currentPass && currentPass->depth >= MaxPropagationDepth) {
        if (!runawayReported) {
            runawayReported = true;
            qWarning().nospace() << "Properties: the binding " << name << " did not settle after "
                                 << MaxPropagationDepth << " nested changes; propagation stopped at "
                                 << source;
        }
        return;
    }

    const QString text = source->metaObject()->property(propertyKey.index).read(source).toString();
    // An empty answer to a text just written into this very object means it
    // could not take the text (a date editor given half a date): keep the text.
    const bool refused = currentPass && currentPass->target == source && text.isEmpty()
        && !currentPass->text.isEmpty() && currentPass->name == name;
    if (!refused && store.value(name).toString() != text) {
        store.insert(name, text);
        for (Pass *pass = currentPass; pass; pass = pass->outer) {
            if (pass->name == name)
                pass->superseded = true;
        }
        setText(name, text, source);
    }
    scheduleHasChanged();
}

void PropertiesPrivate::setText(const QString &name, const QString &text, const QObject *skip)
{
    Pass pass(this, name, text);
    const QVariant value(text);
    forEachBound(name, skip, [&](const Key &key) {
        // Once a widget has answered with a text of its own, that text has
        // been written everywhere; going on would bring back the old one.
        if (pass.superseded)
            return false;
        write(pass, key, value);
        return true;
    });
}

void PropertiesPrivate::write(Pass &pass, const Key &key, const QVariant &value)
{
    pass.target = key.object;
    key.object->metaObject()->property(key.index).write(key.object, value);
    pass.target = nullptr;
}

void PropertiesPrivate::scheduleHasChanged()
{
    // Restarting a zero-interval single-shot timer that is already pending
    // changes nothing but costs a timer re-registration per change, which a
    // burst such as setValues() would pay a thousand times.
    if (!changeTimer->isActive())
        changeTimer->start();
}

template<typename Fn>
void PropertiesPrivate::forEachBound(const QString &name, const QObject *skip, Fn fn)
{
    // A snapshot, because the calls below re-enter the propagation and may
    // bind, unbind or destroy objects.
    QVarLengthArray<Key, 16> keys;
    const auto bound = nameToProperties.constFind(name);
    if (bound == nameToProperties.cend())
        return;
    // Most recently bound first.
    for (auto it = bound->crbegin(); it != bound->crend(); ++it) {
        if (it->object != skip)
            keys.append(*it);
    }
    const quint64 generation = unbindGeneration;
    for (const Key &key : keys) {
        if (generation != unbindGeneration && !nameToProperties.value(name).contains(key))
            continue;
        if (!fn(key))
            return;
    }
}

int PropertiesPrivate::newRelayId(const Key &signalKey)
{
    if (freeRelayIds.isEmpty()) {
        relayedSignals.append(signalKey);
        return relayedSignals.size() - 1;
    }
    const int id = freeRelayIds.takeLast();
    relayedSignals[id] = signalKey;
    return id;
}

NotifyRelay *PropertiesPrivate::relay(int id)
{
    const std::size_t number = std::size_t(id / NotifyRelay::Capacity);
    while (relays.size() <= number)
        relays.emplace_back(new NotifyRelay(this, int(relays.size()) * NotifyRelay::Capacity));
    return relays[number].get();
}

void PropertiesPrivate::releaseRelayId(int id)
{
    relayedSignals[id] = Key();
    freeRelayIds.append(id);
}

void PropertiesPrivate::trackDestruction(QObject *object, const QString &name)
{
    auto names = boundNames.find(object);
    if (names == boundNames.end()) {
        names = boundNames.insert(object, {});
        destructionRelay->watch(object);
    }
    if (!names->contains(name))
        names->append(name);
}

void PropertiesPrivate::objectDestroyed(QObject *object)
{
    const QVarLengthArray<QString, 2> names = boundNames.take(object);
    for (const QString &name : names) {
        const auto bound = nameToProperties.find(name);
        if (bound == nameToProperties.end())
            continue;
        bound->erase(std::remove_if(bound->begin(), bound->end(),
                         [object](const Key &key) { return key.object == object; }),
            bound->end());
        if (bound->isEmpty())
            nameToProperties.erase(bound);
    }

    const Key first { object, std::numeric_limits<int>::min() };
    for (auto it = notifiers.lowerBound(first); it != notifiers.end() && it.key().object == object;) {
        releaseRelayId(it->relayId);
        it = notifiers.erase(it);
    }
    objProp.remove(object);
    ++unbindGeneration;
}
