#ifndef HOST_FIELDTYPE_H
#define HOST_FIELDTYPE_H

#include <host/host_export.h>

#include <QString>

/**
 * The type tags of database cells. The numbers are part of the database's
 * contract: code that reads fields switches on them.
 */
struct HOST_EXPORT FieldType
{
    enum Type
    {
        None = 0, // a cell that does not exist (unknown column, empty record)
        Int32 = 1,
        Int64 = 2,
        Double = 3,
        Decimal = 4,
        XDecimal = 5,
        String = 6,
        Time64 = 7, // the second 64-bit kind: milliseconds since the epoch, UTC
    };

    // "int32", "int64", ... as the market files spell them; empty for None.
    static QString name(Type type);
    // None for an unknown name.
    static Type fromName(const QString &name);
};

#endif
