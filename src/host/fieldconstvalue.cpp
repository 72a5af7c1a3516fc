#include "fieldconstvalue.h"

#include "field.h"

FieldConstValue::FieldConstValue(char code)
    : m_code(QLatin1Char(code))
{ }

bool FieldConstValue::matches(const Field &field) const
{
    if (!field.isPresent() || field.type() != FieldType::String)
        return false;
    const QString text = field.toString();
    return text.size() == 1 && text.at(0) == m_code;
}
