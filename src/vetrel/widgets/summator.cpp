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

class SummatorPrivate
{
public:
    QString value;
    QString summand;
    QString addendum;
};

Summator::Summator(QObject *parent)
    : QObject(parent)
    , d(new SummatorPrivate)
{ }

Summator::~Summator() = default;

QString Summator::getValue() const
{
    return d->value;
}

QString Summator::getSummand() const
{
    return d->summand;
}

QString Summator::getAddendum() const
{
    return d->addendum;
}

void Summator::setSummand(const QString &summand)
{
    if (d->summand == summand)
        return;
    d->summand = summand;
    update();
}

void Summator::setAddendum(const QString &addendum)
{
    if (d->addendum == addendum)
        return;
    d->addendum = addendum;
    update();
}

void Summator::update()
{
    const QString sum = sumOf(d->summand, d->addendum);
    if (sum == d->value)
        return;
    d->value = sum;
    emit changedValue(d->value);
}
