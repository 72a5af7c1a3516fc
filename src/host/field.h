#ifndef HOST_FIELD_H
#define HOST_FIELD_H

#include <host/decimal.h>
#include <host/fieldtype.h>
#include <host/host_export.h>
#include <host/xdecimal.h>

#include <QString>
#include <QVariant>

#include <variant>

/**
 * One cell of a record: its type tag, its presence bit and its value. A cell
 * keeps the type of its column; assigning a value of another type converts it
 * (integers, numbers in text, decimals without fraction into integers, and so
 * on) or throws Exception("Incorrect type conversion.") when that would lose
 * the value.
 */
class HOST_EXPORT Field
{
public:
    Field() = default;
    explicit Field(FieldType::Type type);

    FieldType::Type type() const { return m_type; }
    bool isPresent() const { return m_present; }
    bool isNull() const { return !m_present; }
    // Makes the cell absent; it keeps its type.
    void clear();

    // Reads; an absent cell reads as 0 or the empty text. Throw on a type that
    // has no such reading (text that is not a number, a fraction into an integer).
    qint32 toInt32() const;
    qint64 toInt64() const;
    double toDouble() const;
    decimal toDecimal() const;
    xdecimal toXDecimal() const;
    QString toString() const;
    // The text of a text cell without a copy (empty when absent); a null
    // view for cells of other types.
    QStringView textView() const
    {
        const QString *text = std::get_if<QString>(&m_value);
        return text ? QStringView(*text) : QStringView();
    }
    // The stored value as it is (QVariant() when absent).
    QVariant toVariant() const;

    Field &operator=(qint32 value);
    Field &operator=(qint64 value);
    Field &operator=(double value);
    Field &operator=(const decimal &value);
    Field &operator=(const xdecimal &value);
    Field &operator=(const QString &value);
    // An invalid or null variant makes the cell absent.
    Field &operator=(const QVariant &value);

    // Different tags order by tag; equal tags by value (absent first).
    static int compare(const Field &a, const Field &b);

private:
    using Value = std::variant<std::monostate, qint64, double, decimal, xdecimal, QString>;

    template<typename T>
    Field &assign(const T &value);

    FieldType::Type m_type = FieldType::None;
    bool m_present = false;
    Value m_value;
};

#endif
