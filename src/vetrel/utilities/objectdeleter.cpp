#include <vetrel/objectdeleter.h>

ObjectDeleter::ObjectDeleter()
    : QObject(nullptr)
{ }

void ObjectDeleter::addParent(QObject *owner)
{
    if (owners.contains(owner))
        return;
    connect(owner, &QObject::destroyed, this, &ObjectDeleter::onDestroyed);
    owners.insert(owner);
}

void ObjectDeleter::onDestroyed(QObject *owner)
{
    owners.remove(owner);
    if (owners.isEmpty()) {
        // Queued: the owner is still being torn down while its destroyed() runs.
        QMetaObject::invokeMethod(this, "deleteLater", Qt::QueuedConnection);
    }
}
