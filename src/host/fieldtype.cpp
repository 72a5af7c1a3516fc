#include "fieldtype.h"

#include <QStringList>

static const char *const typeNames[]
    = { "", "int32", "int64", "double", "decimal", "xdecimal", "string", "time64" };

QString FieldType::name(Type type)
{
    return QString::fromLatin1(typeNames[type]);
}

FieldType::Type FieldType::fromName(const QString &name)
{
    for (int t = Int32; t <= Time64; ++t) {
        if (name == QLatin1String(typeNames[t]))
            return Type(t);
    }
    return None;
}
