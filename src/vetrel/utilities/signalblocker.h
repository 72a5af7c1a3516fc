#ifndef VETREL_SIGNALBLOCKER_H
#define VETREL_SIGNALBLOCKER_H

#include <vetrel/vetrel_export.h>

#include <memory>

class QObject;

class SignalBlockerPrivate;

/**
 * Scope guard for QObject::blockSignals: sets the blocking state for the
 * guard's lifetime and puts back the state it found, so nested guards and
 * early returns (exceptions included) leave the object as it was.
 */
class VETREL_EXPORT SignalBlocker
{
public:
    SignalBlocker(QObject *object, bool block);
    ~SignalBlocker();

    SignalBlocker(const SignalBlocker &) = delete;
    SignalBlocker &operator=(const SignalBlocker &) = delete;

private:
    std::unique_ptr<SignalBlockerPrivate> const d;
};

#endif
