#include <vetrel/properties.h>

#include <QDebug>
#include <QMetaMethod>
#include <QMetaProperty>
#include <QTimer>

#include <iterator>
#include <limits>

namespace
{

// Deep enough for any real chain of dependent bindings, shallow enough that
// two widgets reformatting each other stop long before the stack runs out.
constexpr int MaxPropagationDepth = 32;

const QByteArray ClassInfoName = QByteArrayLiteral("Properties");
const QByteArray ModeThis = QByteArrayLiteral("this");
const QByteArray ModeThisOnly = QByteArrayLiteral("thisOnly");
const QByteArray ModeSuper = QByteArrayLiteral("super");

QByteArray classInfoValue(const QMetaObject *metaObject)
{
    const int index = metaObject->indexOfClassInfo(ClassInfoName.constData());
    return index < 0 ? QByteArray() : QByteArray(metaObject->classInfo(index).value());
}

// Follows "super" to the class whose own properties are to be bound; returns
// that class's meta-object and stores the mode found there in @p mode.
const QMetaObject *bindingClass(const QMetaObject *metaObject, QByteArray *mode)
{
    *mode = classInfoValue(metaObject);
    while (*mode == ModeSuper) {
        metaObject = metaObject->superClass();
        if (!metaObject) {
            mode->clear();
            return nullptr;
        }
        *mode = classInfoValue(metaObject);
    }
    return metaObject;
}

bool bindsOwnProperties(const QByteArray &mode)
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

using Renames = QHash<QByteArray, QString>;

// Property name to binding name, from the dynamic properties "field" and then
// "fields" ("Binding=Property" items separated by blanks; later items win).
// Malformed items carry no meaning and are skipped.
Renames renamingTable(const QObject *object)
{
    Renames renames;
    const QList<QByteArray> dynamic = object->dynamicPropertyNames();
    if (dynamic.isEmpty())
        return renames;
    if (dynamic.contains(QByteArrayLiteral("field")))
        renames.insert(mainPropertyName(object), object->property("field").toString());
    if (dynamic.contains(QByteArrayLiteral("fields"))) {
        const QStringList items = object->property("fields").toString().split(QLatin1Char(' '));
        for (const QString &item : items) {
            const QStringList parts = item.split(QLatin1Char('='));
            if (parts.size() == 2 && !parts.at(0).isEmpty() && !parts.at(1).isEmpty())
                renames.insert(parts.at(1).toLatin1(), parts.at(0));
        }
    }
    return renames;
}

int propertyIndex(const QObject *object, const QByteArray &property, const char *operation)
{
    const int index = object ? object->metaObject()->indexOfProperty(property.constData()) : -1;
    if (index < 0)
        qWarning() << operation << "property" << property << "not found for object" << object;
    return index;
}

QMetaMethod propertyChangedSlot(const QObject *receiver)
{
    const QMetaObject *metaObject = receiver->metaObject();
    return metaObject->method(metaObject->indexOfSlot("propertyChanged()"));
}

}

// Counts how deeply propagations nest, and re-arms the runaway warning once
// the outermost one is over, so that each runaway cascade warns once.
class Properties::Propagation
{
public:
    explicit Propagation(Properties *properties)
        : m_properties(properties)
    {
        ++m_properties->propagationDepth;
    }
    ~Propagation()
    {
        if (--m_properties->propagationDepth == 0)
            m_properties->runawayReported = false;
    }
    Propagation(const Propagation &) = delete;
    Propagation &operator=(const Propagation &) = delete;

private:
    Properties *m_properties;
};

Properties::Properties(QObject *parent)
    : QObject(parent)
    , changeTimer(new QTimer(this))
    , destructionWatcher(new QObject(this))
{
    connect(changeTimer, SIGNAL(timeout()), this, SIGNAL(hasChanged()));
    changeTimer->setSingleShot(true);
    changeTimer->setInterval(0);
}

Properties::Properties(const Values &values, QObject *parent)
    : Properties(parent)
{
    setValues(values);
}

Properties::~Properties() = default;

Values Properties::values() const
{
    return Values(store);
}

void Properties::setValue(const QString &name, const QString &value)
{
    const Propagation propagation(this);
    if (store.value(name).toString() != value) {
        store.insert(name, value);
        writeToBound(name, value, nullptr);
    }
    // Scheduled whether or not anything changed: callers rely on hasChanged()
    // following every setValue().
    scheduleHasChanged();
}

void Properties::setValues(const Values &values)
{
    for (auto it = values.cbegin(); it != values.cend(); ++it)
        setValue(it.key(), it.value().toString());
}

void Properties::reset()
{
    auto it = store.begin();
    while (it != store.end()) {
        const QString name = it.key();
        forEachBound(name, nullptr, [](const Key &key) {
            key.object->metaObject()->property(key.index).reset(key.object);
        });
        // A widget that reports its reset re-creates the entry; it goes too.
        store.remove(name);
        it = store.upperBound(name);
    }
}

QList<QString> Properties::objectProperty(QObject *object) const
{
    return objProp.values(object);
}

void Properties::dumpObjProp()
{
    qDebug() << "Properties::dumpObjProp" << this;
    for (auto it = objProp.cbegin(); it != objProp.cend(); ++it)
        qDebug() << "objProp4:" << it.key() << objProp.values(it.key());
}

bool Properties::connectAll(QObject *root)
{
    if (!root)
        return false;

    QByteArray mode;
    const QMetaObject *boundClass = bindingClass(root->metaObject(), &mode);
    int count = 0;
    if (bindsOwnProperties(mode)) {
        const Renames renames = renamingTable(root);
        for (int i = boundClass->propertyOffset(); i < boundClass->propertyCount(); ++i) {
            const QByteArray property = boundClass->property(i).name();
            const QString name = renames.value(property, QString::fromLatin1(property));
            count += connectOne(name, root, property);
            if (!objProp.contains(root, name))
                objProp.insert(root, name);
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
    if (index < 0)
        return false;

    const Key propertyKey{object, index};
    nameToProperties.insert(name, propertyKey);
    trackDestruction(object, name);

    const QMetaProperty metaProperty = object->metaObject()->property(index);
    const auto stored = store.constFind(name);
    if (!metaProperty.hasNotifySignal()) {
        // Write-only: it takes values from the store but never reports back.
        if (stored != store.cend())
            metaProperty.write(object, *stored);
        return true;
    }

    signalToProperty.insert(Key{object, metaProperty.notifySignalIndex()}, propertyKey);
    propertyToName.insert(propertyKey, name);
    connect(object, metaProperty.notifySignal(), this, propertyChangedSlot(this));

    if (stored == store.cend())
        store.insert(name, metaProperty.read(object).toString());
    else
        metaProperty.write(object, *stored);
    return true;
}

bool Properties::connectOne(QObject *object, const QByteArray &property)
{
    return connectOne(QString::fromLatin1(property.constData()), object, property);
}

bool Properties::disconnectOne(const QString &name, QObject *object, const QByteArray &property)
{
    const int index = propertyIndex(object, property, "Properties::disconnect:");
    if (index < 0)
        return false;

    const Key propertyKey{object, index};
    if (nameToProperties.remove(name, propertyKey) > 0)
        ++unbindGeneration;

    const QMetaProperty metaProperty = object->metaObject()->property(index);
    if (!metaProperty.hasNotifySignal())
        return true;

    signalToProperty.remove(Key{object, metaProperty.notifySignalIndex()});
    propertyToName.remove(propertyKey);
    disconnect(object, metaProperty.notifySignal(), this, propertyChangedSlot(this));
    return true;
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
    const QByteArray mode = classInfoValue(metaObject);
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
    QObject *source = sender();
    const auto signal = notifyingSignal(source);
    if (signal == signalToProperty.cend())
        return;
    const Key propertyKey = *signal;
    const QString name = propertyToName[propertyKey];

    if (propagationDepth >= MaxPropagationDepth) {
        if (!runawayReported) {
            runawayReported = true;
            qWarning().nospace() << "Properties: the binding " << name << " did not settle after "
                                 << MaxPropagationDepth << " nested changes; propagation stopped at "
                                 << source;
        }
        return;
    }

    const Propagation propagation(this);
    const QString text = source->metaObject()->property(propertyKey.index).read(source).toString();
    if (store.value(name).toString() != text) {
        store.insert(name, text);
        writeToBound(name, text, source);
    }
    scheduleHasChanged();
}

QMap<Properties::Key, Properties::Key>::const_iterator Properties::notifyingSignal(QObject *source) const
{
    // Qt's senderSignalIndex() searches every connection made to this object;
    // when the sender has only one bound notify signal, the map already knows
    // which one it was.
    const auto first = signalToProperty.lowerBound(Key{source, std::numeric_limits<int>::min()});
    const auto next = first == signalToProperty.cend() ? first : std::next(first);
    if (first != signalToProperty.cend() && first.key().object == source
        && (next == signalToProperty.cend() || next.key().object != source))
        return first;
    return signalToProperty.constFind(Key{source, senderSignalIndex()});
}

void Properties::scheduleHasChanged()
{
    // Restarting a zero-interval single-shot timer that is already pending
    // changes nothing but costs a timer re-registration per change, which a
    // burst such as setValues() would pay a thousand times.
    if (!changeTimer->isActive())
        changeTimer->start();
}

template <typename Fn>
void Properties::forEachBound(const QString &name, const QObject *skip, Fn fn)
{
    // A snapshot, because the calls below re-enter propertyChanged() and may
    // bind, unbind or destroy objects.
    QVarLengthArray<Key, 16> keys;
    for (auto it = nameToProperties.constFind(name); it != nameToProperties.cend() && it.key() == name; ++it) {
        if (it->object != skip)
            keys.append(*it);
    }
    const quint64 generation = unbindGeneration;
    for (const Key &key : keys) {
        if (generation != unbindGeneration && !nameToProperties.contains(name, key))
            continue;
        fn(key);
    }
}

void Properties::writeToBound(const QString &name, const QString &text, const QObject *skip)
{
    const QVariant value(text);
    forEachBound(name, skip, [&value](const Key &key) {
        key.object->metaObject()->property(key.index).write(key.object, value);
    });
}

void Properties::trackDestruction(QObject *object, const QString &name)
{
    auto names = boundNames.find(object);
    if (names == boundNames.end()) {
        names = boundNames.insert(object, {});
        // Received by a child rather than by this object: Qt's sender() looks
        // through every connection made to the receiver, so keeping these off
        // this object keeps each propagation cheaper.
        connect(object, &QObject::destroyed, destructionWatcher, [this](QObject *gone) { objectDestroyed(gone); });
    }
    names->insert(name);
}

void Properties::objectDestroyed(QObject *object)
{
    const QSet<QString> names = boundNames.take(object);
    for (const QString &name : names) {
        auto it = nameToProperties.find(name);
        while (it != nameToProperties.end() && it.key() == name)
            it = it->object == object ? nameToProperties.erase(it) : std::next(it);
    }

    const Key first{object, std::numeric_limits<int>::min()};
    for (auto it = signalToProperty.lowerBound(first); it != signalToProperty.end() && it.key().object == object;)
        it = signalToProperty.erase(it);
    for (auto it = propertyToName.lowerBound(first); it != propertyToName.end() && it.key().object == object;)
        it = propertyToName.erase(it);
    objProp.remove(object);
    ++unbindGeneration;
}
