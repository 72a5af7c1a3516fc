#include <vetrel/summator.h>

#include <host/decimal.h>
#include <host/exception.h>

namespace
{

// The sum in canonical notation, or the summand as it stands when the two
// cannot be added.
QString sumOf(const QString &summand, const QString &addendum)
{
    if (!decimal::canConvert(addendum, false) || !decimal::canConvert(summand, false))
        return summand;
    try {
        return (decimal(summand) + decimal(addendum)).toString();
    } catch (const Exception &) {
        // Locale notation passes the loose check but is no canonical text, and
        // a sum can overflow: neither may escape into the binding.
        return summand;
    }
}

}

Summator::Summator(QObject *parent)
    : QObject(parent)
{
}

void Summator::setSummand(const QString &summand)
{
    setOperand(m_summand, summand);
}

void Summator::setAddendum(const QString &addendum)
{
    setOperand(m_addendum, addendum);
}

void Summator::setOperand(QString &operand, const QString &text)
{
    if (operand == text)
        return;
    operand = text;
    update();
}

void Summator::update()
{
    const QString sum = sumOf(m_summand, m_addendum);
    if (sum == m_value)
        return;
    m_value = sum;
    emit changedValue(m_value);
}
