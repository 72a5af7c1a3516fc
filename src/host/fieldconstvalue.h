#ifndef HOST_FIELDCONSTVALUE_H
#define HOST_FIELDCONSTVALUE_H

#include <host/host_export.h>

#include <QString>

class Field;

/**
 * A one-character code that the database stores in text cells (a session's
 * status, an order's side, a security's type, ...).
 */
class HOST_EXPORT FieldConstValue
{
public:
    explicit FieldConstValue(char code);

    QChar code() const { return m_code; }
    QString toString() const { return QString(m_code); }
    // The cell is present and holds exactly this code.
    bool matches(const Field &field) const;

    friend bool operator==(const FieldConstValue &a, const FieldConstValue &b)
    {
        return a.m_code == b.m_code;
    }
    friend bool operator!=(const FieldConstValue &a, const FieldConstValue &b) { return !(a == b); }

private:
    QChar m_code;
};

#endif
