#include <vetrel/state.h>

#include "guilog_p.h"

State::State(const QString &name, QState *parent)
    : QState(parent)
{
    init(QString(), name);
}

State::State(const QString &name, QState::ChildMode childMode, QState *parent)
    : QState(childMode, parent)
{
    init(QString(), name);
}

State::State(const QString &prefix, const QString &name, QState *parent)
    : QState(parent)
{
    init(prefix, name);
}

State::State(const QString &prefix, const QString &name, QState::ChildMode childMode, QState *parent)
    : QState(childMode, parent)
{
    init(prefix, name);
}

void State::init(const QString &prefix, const QString &name)
{
    m_prefix = prefix;
    m_name = name;
    setObjectName(prefix.isEmpty() ? name : prefix + QLatin1String("::") + name);
}

QString State::fullName() const
{
    QString path = m_name;
    // A plain QState (or the machine itself) ends the path: it has no name to log.
    for (auto *up = qobject_cast<const State *>(parentState()); up; up = qobject_cast<const State *>(up->parentState()))
        path = up->m_name + QLatin1String("->") + path;
    return path;
}

void State::setName(QString name)
{
    m_name = std::move(name);
}

void State::setPrefix(QString prefix)
{
    m_prefix = std::move(prefix);
}

void State::log(const char *what) const
{
    qCDebug(lcGuiLog) << what << m_prefix << "::" << fullName();
}

// Logged before the base handler, so the line precedes whatever entering or
// leaving the state sets off.
void State::onEntry(QEvent *event)
{
    log("Entering state: ");
    QState::onEntry(event);
}

void State::onExit(QEvent *event)
{
    log("Exiting state: ");
    QState::onExit(event);
}
