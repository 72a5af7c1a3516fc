#include <vetrel/signalblocker.h>

#include <QObject>

class SignalBlockerPrivate
{
public:
    QObject *const object;
    const bool previous;
};

SignalBlocker::SignalBlocker(QObject *object, bool block)
    : d(new SignalBlockerPrivate { object, object->blockSignals(block) })
{ }

SignalBlocker::~SignalBlocker()
{
    d->object->blockSignals(d->previous);
}
