#ifndef VETREL_DECIMALVALIDATOR_P_H
#define VETREL_DECIMALVALIDATOR_P_H

#include <QValidator>

#include <host/decimal.h>

#include <optional>

class DecimalValidator;
class QLocale;

class DecimalValidatorPrivate
{
public:
    struct Notation;

    DecimalValidatorPrivate(const DecimalValidator *q, int digits, bool canNegative, bool canBeZero);

    QValidator::State validateInteger(
        const Notation &notation, const QString &text, QString &input, int &pos, int typed) const;
    QValidator::State validateFraction(
        const Notation &notation, const QString &text, QString &input, int &pos, int typed) const;
    bool exceedsNumDigits(const QString &integerDigits) const;

    // The number a text shows in the locale's notation (grouped or not), or
    // nothing for a text that is no number: typing must not cost exceptions.
    static std::optional<decimal> read(const QLocale &locale, const QString &text);

    const DecimalValidator *const q;
    int digits;
    bool canNegative;
    bool canBeZero;
    int numDigits = 0;
};

#endif
