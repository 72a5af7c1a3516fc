#ifndef VETREL_VALUES_H
#define VETREL_VALUES_H

#include <QMap>
#include <QMetaType>
#include <QString>
#include <QVariant>

#include <vetrel/vetrel_export.h>

/**
 * A whole form's values: binding name to value, sorted by name.
 *
 * A class of its own rather than an alias, so that it has a meta-type name
 * ("Values") of its own and can travel in queued signals and QVariants.
 */
class VETREL_EXPORT Values : public QMap<QString, QVariant>
{
public:
    using QMap<QString, QVariant>::QMap;
    Values() = default;
    Values(const QMap<QString, QVariant> &other)
        : QMap<QString, QVariant>(other)
    {
    }
};

Q_DECLARE_METATYPE(Values)

#endif
