#include <vetrel/objectdeleter.h>

#include <QSet>

class ObjectDeleterPrivate
{
public:
    QSet<QObject *> owners;
};

ObjectDeleter::ObjectDeleter()
    : QObject(nullptr)
    , d(new ObjectDeleterPrivate)
{ }

ObjectDeleter::~ObjectDeleter() = default;

void ObjectDeleter::addParent(QObject *owner)
{
    if (d->owners.contains(owner))
        return;
    connect(owner, &QObject::destroyed, this, &ObjectDeleter::onDestroyed);
    d->owners.insert(owner);
}

void ObjectDeleter::onDestroyed(QObject *owner)
{
    d->owners.remove(owner);
    if (d->owners.isEmpty()) {
        // Queued: the owner is still being torn down while its destroyed() runs.
        QMetaObject::invokeMethod(this, "deleteLater", Qt::QueuedConnection);
    }
}
