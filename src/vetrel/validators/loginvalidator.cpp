#include <vetrel/loginvalidator.h>

LoginValidator::LoginValidator(QObject *parent)
    : QRegExpValidator(parent)
{ }

LoginValidator::LoginValidator(const QRegExp &regExp, QObject *parent)
    : QRegExpValidator(regExp, parent)
{ }

QValidator::State LoginValidator::validate(QString &input, int &pos) const
{
    input = input.trimmed();
    return QRegExpValidator::validate(input, pos);
}
