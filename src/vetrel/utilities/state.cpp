#include <vetrel/state.h>

#include "guilog_p.h"

class StatePrivate
{
public:
    StatePrivate(State *q, const QString &prefix, const QString &name);

    void log(const char *what) const;

    const State *const q;
    QString name;
    QString prefix;
};

StatePrivate::StatePrivate(State *q, const QString &prefix, const QString &name)
    : q(q)
    , name(name)
    , prefix(prefix)
{
    q->setObjectName(prefix.isEmpty() ? name : prefix + QLatin1String("::") + name);
}

void StatePrivate::log(const char *what) const
{
    qCDebug(lcGuiLog) << what << prefix << "::" << q->fullName();
}

State::State(const QString &name, QState *parent)
    : State(QString(), name, parent)
{ }

State::State(const QString &name, QState::ChildMode childMode, QState *parent)
    : State(QString(), name, childMode, parent)
{ }

State::State(const QString &prefix, const QString &name, QState *parent)
    : QState(parent)
    , d(new StatePrivate(this, prefix, name))
{ }

State::State(const QString &prefix, const QString &name, QState::ChildMode childMode, QState *parent)
    : QState(childMode, parent)
    , d(new StatePrivate(this, prefix, name))
{ }

State::~State() = default;

QString State::fullName() const
{
    QString path = d->name;
    // A plain QState (or the machine itself) ends the path: it has no name to log.
    for (auto *up = qobject_cast<const State *>(parentState()); up;
         up = qobject_cast<const State *>(up->parentState()))
        path = up->d->name + QLatin1String("->") + path;
    return path;
}

void State::setName(QString name)
{
    d->name = std::move(name);
}

void State::setPrefix(QString prefix)
{
    d->prefix = std::move(prefix);
}

// Logged before the base handler, so the line precedes whatever entering or
// leaving the state sets off.
void State::onEntry(QEvent *event)
{
    d->log("Entering state: ");
    QState::onEntry(event);
}

void State::onExit(QEvent *event)
{
    d->log("Exiting state: ");
    QState::onExit(event);
}
