#include "record.h"

Field *Record::field(int column)
{
    return column >= 0 && column < m_fields.size() ? &m_fields[column] : nullptr;
}

const Field *Record::field(int column) const
{
    return column >= 0 && column < m_fields.size() ? &m_fields[column] : nullptr;
}
