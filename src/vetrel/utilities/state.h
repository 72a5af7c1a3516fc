#ifndef VETREL_STATE_H
#define VETREL_STATE_H

#include <QState>
#include <QString>

#include <vetrel/vetrel_export.h>

#include <memory>

class StatePrivate;

/**
 * A QState that writes a "QGuiLog" debug line whenever the machine enters or
 * leaves it, naming it by its path through the enclosing States
 * ("Main->Order->Edit"), so that a form's state machine can be followed in the
 * log without code in the states themselves.
 *
 * The object name is fixed at construction (the name, or prefix::name); later
 * setName()/setPrefix() change only what is logged.
 */
class VETREL_EXPORT State : public QState
{
    Q_OBJECT

public:
    explicit State(const QString &name, QState *parent = nullptr);
    State(const QString &name, QState::ChildMode childMode, QState *parent = nullptr);
    State(const QString &prefix, const QString &name, QState *parent = nullptr);
    State(const QString &prefix, const QString &name, QState::ChildMode childMode, QState *parent = nullptr);
    ~State() override;

    QString fullName() const;

public Q_SLOTS:
    void setName(QString name);
    void setPrefix(QString prefix);

protected:
    void onEntry(QEvent *event) override;
    void onExit(QEvent *event) override;

private:
    std::unique_ptr<StatePrivate> const d;
};

#endif
