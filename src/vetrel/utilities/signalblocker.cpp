#include <vetrel/signalblocker.h>

#include <QObject>

SignalBlocker::SignalBlocker(QObject *object, bool block)
    : object(object)
    , previous(object->blockSignals(block))
{ }

SignalBlocker::~SignalBlocker()
{
    object->blockSignals(previous);
}
