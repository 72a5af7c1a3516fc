#include "keyvalue.h"

KeyValue::KeyValue(QVector<Field> fields)
    : m_fields(std::move(fields))
{ }

int KeyValue::compare(const KeyValue &a, const KeyValue &b)
{
    const int n = std::min(a.m_fields.size(), b.m_fields.size());
    for (int i = 0; i < n; ++i) {
        const int c = Field::compare(a.m_fields.at(i), b.m_fields.at(i));
        if (c != 0)
            return c;
    }
    return a.m_fields.size() - b.m_fields.size();
}
