#ifndef VETREL_DATEVALIDATOR_H
#define VETREL_DATEVALIDATOR_H

#include <QValidator>

#include <vetrel/vetrel_export.h>

#include <memory>

class DateValidatorPrivate;

/**
 * Judges a date typed in the system locale's short date format.
 *
 * It never refuses a keystroke: a half-typed date is Intermediate and stays on
 * screen. Dates are read as UTC wall-clock digits, so the local time zone
 * never moves them.
 */
class VETREL_EXPORT DateValidator : public QValidator
{
    Q_OBJECT

public:
    explicit DateValidator(QObject *parent = nullptr);
    ~DateValidator() override;

    /// Empty or a complete date: Acceptable; anything else: Intermediate.
    State validate(QString &input, int &pos) const override;
    /// Empties the input unless validate() accepts it.
    void fixup(QString &input) const override;

    /**
     * Milliseconds since the epoch of \a text read in the system short date
     * format as a UTC midnight, or 0 when it is not a complete date. A format
     * with a two-digit year reads into the 1900s, so such dates are moved into
     * the 2000s. 1970-01-01 itself reads as 0, that is as no date.
     */
    static qint64 shortDateMSecs(const QString &text);

private:
    std::unique_ptr<DateValidatorPrivate> const d;
};

#endif
