#include <vetrel/loginvalidator.h>

class LoginValidatorPrivate
{
};

LoginValidator::LoginValidator(QObject *parent)
    : QRegExpValidator(parent)
    , d(new LoginValidatorPrivate)
{ }

LoginValidator::LoginValidator(const QRegExp &regExp, QObject *parent)
    : QRegExpValidator(regExp, parent)
    , d(new LoginValidatorPrivate)
{ }

LoginValidator::~LoginValidator() = default;

QValidator::State LoginValidator::validate(QString &input, int &pos) const
{
    input = input.trimmed();
    return QRegExpValidator::validate(input, pos);
}
