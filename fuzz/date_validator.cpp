// DateValidator over any text under a Russian system locale (dd.MM.yyyy): it
// never refuses a keystroke, keeps the cursor, accepts the empty text, and
// fixup leaves either nothing or an Acceptable date.
#include <vetrel/datevalidator.h>

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    // QLocale::system() is read once, from the environment.
    setenv("LC_ALL", "ru_RU.UTF-8", 1);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size < 1)
        return 0;
    static const DateValidator validator;
    QString input = QString::fromUtf8(reinterpret_cast<const char *>(data) + 1, int(size) - 1);
    const QString typed = input;
    int pos = data[0] % (input.size() + 1);
    const int typedPos = pos;
    const QValidator::State state = validator.validate(input, pos);
    if (state == QValidator::Invalid || input != typed || pos != typedPos)
        std::abort();
    if (typed.isEmpty() && state != QValidator::Acceptable)
        std::abort();
    validator.fixup(input);
    int end = input.size();
    if (!input.isEmpty() && (input != typed || validator.validate(input, end) != QValidator::Acceptable))
        std::abort();
    return 0;
}
