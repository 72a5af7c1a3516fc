#ifndef VETREL_OBJECTDELETER_H
#define VETREL_OBJECTDELETER_H

#include <QObject>

#include <vetrel/vetrel_export.h>

#include <memory>

class ObjectDeleterPrivate;

/**
 * Lives as long as any of its owners: once the last registered owner is
 * destroyed, it deletes itself (on the next event-loop turn) and takes its
 * children with it. Objects that are to share that lifetime are made its
 * children by the caller.
 */
class VETREL_EXPORT ObjectDeleter : public QObject
{
    Q_OBJECT
public:
    ObjectDeleter();
    ~ObjectDeleter() override;

    // Registers one more owner; registering the same owner twice has no effect.
    void addParent(QObject *owner);

private slots:
    void onDestroyed(QObject *owner);

private:
    std::unique_ptr<ObjectDeleterPrivate> const d;
};

#endif
