#ifndef VETREL_PROPERTIES_H
#define VETREL_PROPERTIES_H

#include <QByteArray>
#include <QList>
#include <QObject>
#include <QString>

#include <vetrel/vetrel_export.h>

#include <vetrel/values.h>

#include <memory>

class PropertiesPrivate;

/**
 * A form's values by binding name, kept in step with the bound Qt properties
 * of the form's widgets.
 *
 * connectAll() walks a widget tree and binds the properties that each class
 * offers through its "Properties" class info ("this", "thisOnly", "super"),
 * renamed by the dynamic properties "field" and "fields". Every value is kept
 * as text; when one bound property changes, its peers under that name are
 * updated to match, and hasChanged() is emitted at most once per event-loop
 * pass.
 *
 * A widget that answers a text written into it with another text (a number
 * editor adding trailing zeros, a date editor spelling out the time) sets
 * that text for the whole name, whatever the order of binding. A widget that
 * answers with an empty text could not take the value: the store and the
 * other widgets keep it, so half-typed text elsewhere is never wiped.
 *
 * Bound objects that are destroyed while still bound are dropped from the
 * maps, so a later setValue(), reset() or values() never touches them.
 */
class VETREL_EXPORT Properties : public QObject
{
    Q_OBJECT

public:
    /// One member of one object's meta-object: a property (property index)
    /// or the notify signal of one (method index). Ordered by object, then
    /// by index, so that all keys of one object are adjacent.
    struct Key
    {
        QObject *object = nullptr;
        int index = -1;

        friend bool operator<(const Key &a, const Key &b)
        {
            return a.object != b.object ? a.object < b.object : a.index < b.index;
        }
        friend bool operator==(const Key &a, const Key &b)
        {
            return a.object == b.object && a.index == b.index;
        }
    };

    explicit Properties(QObject *parent = nullptr);
    explicit Properties(const Values &values, QObject *parent = nullptr);
    ~Properties() override;

    Values values() const;
    void setValue(const QString &name, const QString &value);
    void setValues(const Values &values);
    /// Calls the RESET function of every property bound under a stored name,
    /// then empties the store. Bindings stay; hasChanged() is not scheduled.
    void reset();

    /// The binding names that connectAll() recorded for @p object, most
    /// recently recorded first.
    QList<QString> objectProperty(QObject *object) const;
    void dumpObjProp();

    bool connectAll(QObject *root);
    bool connectOne(const QString &name, QObject *object, const QByteArray &property);
    bool connectOne(QObject *object, const QByteArray &property);
    bool disconnectOne(const QString &name, QObject *object, const QByteArray &property);
    bool disconnectOne(QObject *object, const QByteArray &property);
    /// Unbinds the properties of @p root and of its descendants under their
    /// own names. Unlike connectAll() it neither follows "super" nor applies
    /// "field"/"fields": a renamed property keeps receiving setValue() for
    /// its binding name while its own changes no longer reach the store.
    bool disconnectAll(QObject *root);

Q_SIGNALS:
    void hasChanged();

protected Q_SLOTS:
    /// Takes the change of a bound property whose notify signal someone
    /// connected here by hand; the bindings themselves do not come this way.
    void propertyChanged();

private:
    friend class PropertiesPrivate;
    std::unique_ptr<PropertiesPrivate> const d;
};

#endif
