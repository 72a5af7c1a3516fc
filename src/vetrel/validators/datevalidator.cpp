#include <vetrel/datevalidator.h>

#include <QDateTime>
#include <QLocale>

class DateValidatorPrivate
{
};

DateValidator::DateValidator(QObject *parent)
    : QValidator(parent)
    , d(new DateValidatorPrivate)
{ }

DateValidator::~DateValidator() = default;

QValidator::State DateValidator::validate(QString &input, int &) const
{
    if (input.isEmpty() || shortDateMSecs(input) != 0)
        return Acceptable;
    return Intermediate;
}

void DateValidator::fixup(QString &input) const
{
    int pos = 0;
    if (validate(input, pos) != Acceptable)
        input.clear();
}

qint64 DateValidator::shortDateMSecs(const QString &text)
{
    const QString format = QLocale::system().dateFormat(QLocale::ShortFormat);
    const int yearCorrection = format.contains(QLatin1String("yyyy")) ? 0 : 100;

    // A date alone, so no local time (and no daylight-saving gap) is involved.
    const QDate date = QDate::fromString(text, format);
    if (!date.isValid())
        return 0;
    const QTime midnight(0, 0);
    if (QDateTime(date, midnight, Qt::UTC).toMSecsSinceEpoch() == 0)
        return 0;
    return QDateTime(date.addYears(yearCorrection), midnight, Qt::UTC).toMSecsSinceEpoch();
}
