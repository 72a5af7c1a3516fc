#ifndef VETREL_STATICPROPERTIES_H
#define VETREL_STATICPROPERTIES_H

#include <QMetaProperty>
#include <QObject>
#include <QStringList>
#include <QVariant>

#include <vetrel/values.h>
#include <vetrel/vetrel_export.h>

#include <memory>

class StaticPropertiesPrivate;

/**
 * Watches the statically declared USER properties (those with a notify
 * signal) of individual objects, keeps their last values in their own types
 * and reports every change at once by property name.
 *
 * The lighter sibling of Properties: no copying between objects, no walk into
 * children, no renaming, no coalescing. One object per property name can be
 * written through setValue(): the one bound last.
 */
class VETREL_EXPORT StaticProperties : public QObject
{
    Q_OBJECT

public:
    struct prop_t
    {
        QObject *object = nullptr; // not owned
        QMetaProperty property;
    };

    explicit StaticProperties(QObject *parent = nullptr);
    ~StaticProperties() override;

    bool connectAll(QObject *object);
    bool disconnectAll(QObject *object);
    bool connectOne(
        const QObject *sender, const QMetaMethod &signal, const QObject *receiver, const QMetaMethod &method);
    bool disconnectOne(
        const QObject *sender, const QMetaMethod &signal, const QObject *receiver, const QMetaMethod &method);

    QStringList names() const;
    QVariant value(const QString &name) const;
    QVariant operator[](const QString &name) const;
    Values values() const;

    // Writes into the property; the cache follows through its notify signal.
    bool setValue(const QString &name, const QVariant &value);
    void setValues(const Values &values);

Q_SIGNALS:
    void hasChanged(const QString &name);

protected Q_SLOTS:
    void propertyChanged();

private:
    std::unique_ptr<StaticPropertiesPrivate> const d;
};

#endif
