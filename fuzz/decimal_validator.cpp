// DecimalValidator over any text, cursor, locale and settings. It must never
// throw, must keep the cursor inside the text, and an Acceptable text must
// convert with textToDecimal to a number that decimalToText shows exactly.
// (Showing is not re-validating: ".000000060000001" is Acceptable while
// "0.000000060000001" runs over the fraction's running-value limit.)
#include <vetrel/decimalvalidator.h>

#include <host/exception.h>

#include <QLocale>

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size < 4)
        return 0;
    static const QLocale locales[] = {QLocale::c(), QLocale(QStringLiteral("ru_RU")), QLocale(QStringLiteral("de_DE")),
                                      QLocale(QStringLiteral("fr_FR")), QLocale(QStringLiteral("en_US"))};
    QLocale::setDefault(locales[data[0] % 5]);
    DecimalValidator validator(data[1] % 19, data[2] & 1, data[2] & 2);
    validator.setNumDigits((data[2] >> 2) % 20);

    QString input = QString::fromUtf8(reinterpret_cast<const char *>(data) + 4, int(size) - 4);
    int pos = data[3] % (input.size() + 1);
    const QValidator::State state = validator.validate(input, pos);
    if (pos < 0 || pos > input.size())
        std::abort();
    if (state != QValidator::Acceptable || input.isEmpty())
        return 0;
    try {
        const decimal value = validator.textToDecimal(input);
        if (validator.textToDecimal(validator.decimalToText(value)) != value)
            std::abort();
    } catch (const Exception &) {
        std::abort();
    }
    return 0;
}
