#ifndef VETREL_LOGINVALIDATOR_H
#define VETREL_LOGINVALIDATOR_H

#include <QRegExpValidator>

#include <vetrel/vetrel_export.h>

#include <memory>

class LoginValidatorPrivate;

/**
 * A regular-expression validator for login names that drops the blanks a user
 * pastes or types around the name before judging it.
 */
class VETREL_EXPORT LoginValidator : public QRegExpValidator
{
    Q_OBJECT

public:
    explicit LoginValidator(QObject *parent = nullptr);
    LoginValidator(const QRegExp &regExp, QObject *parent = nullptr);
    ~LoginValidator() override;

    /// Trims \a input in place; \a pos is left as it was (the line edit clamps it).
    State validate(QString &input, int &pos) const override;

private:
    std::unique_ptr<LoginValidatorPrivate> const d;
};

#endif
