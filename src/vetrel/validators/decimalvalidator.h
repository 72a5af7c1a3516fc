#ifndef VETREL_DECIMALVALIDATOR_H
#define VETREL_DECIMALVALIDATOR_H

#include <QValidator>

#include <host/decimal.h>

#include <vetrel/vetrel_export.h>

#include <memory>

class DecimalValidatorPrivate;

/**
 * Lets through only a fixed-point number, possibly signed, in the notation of
 * the validator's locale, and regroups its integer part while the user types (group separators inserted,
 * superfluous leading zeros and a positive sign dropped), keeping the cursor
 * after the same digit. Limits the integer and fraction digits, and can
 * refuse negative numbers and zero (a zero is then only intermediate).
 *
 * The locale's characters are read afresh on every call, so a validator
 * follows a setLocale() at once.
 */
class VETREL_EXPORT DecimalValidator : public QValidator
{
    Q_OBJECT
public:
    DecimalValidator(int digits, bool canNegative, bool canBeZero, QObject *parent = nullptr);
    ~DecimalValidator() override;

    // Fraction digits allowed; 0 refuses any decimal point.
    void setDigits(int digits);
    int getDigits() const;
    // Integer digits allowed (leading zeros count); 0 or less is no limit of its own.
    void setNumDigits(int numDigits);
    int getNumDigits() const;
    void setCanNegative(bool canNegative);
    bool getCanNegative() const;
    void setCanBeZero(bool canBeZero);
    bool getCanBeZero() const;

    State validate(QString &input, int &pos) const override;

    // Once the syntax is fine: can the platform decimal hold the number, and
    // is a zero allowed here?
    State validateParsedString(const QString &text) const;

    // Parses the text as the field shows it (grouped, in the validator's
    // locale); throws Exception("Invalid string for decimal: <text>") on a
    // text that is not a number.
    decimal textToDecimal(const QString &text) const;
    QString decimalToText(decimal value) const;

private:
    std::unique_ptr<DecimalValidatorPrivate> const d;
};

#endif
