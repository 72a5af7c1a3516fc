// ComboBoxValidator against a plain reading of its rule: the first row whose
// text equals the input (ignoring case) or starts with it decides. Rows come
// from the input, split at line feeds; the last line is the typed text.
#include <vetrel/comboboxvalidator.h>

#include <QStandardItemModel>

#include <cstdint>
#include <cstdlib>

namespace
{

QValidator::State expected(const QStringList &rows, const QString &input)
{
    if (input.isEmpty())
        return QValidator::Intermediate;
    for (const QString &row : rows) {
        if (row.compare(input, Qt::CaseInsensitive) == 0)
            return QValidator::Acceptable;
        if (row.startsWith(input, Qt::CaseInsensitive))
            return QValidator::Intermediate;
    }
    return QValidator::Invalid;
}

}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    QStringList rows = QString::fromUtf8(reinterpret_cast<const char *>(data), int(size)).split(QLatin1Char('\n'));
    QString input = rows.takeLast();
    QStandardItemModel model;
    for (const QString &row : qAsConst(rows))
        model.appendRow(new QStandardItem(row));

    ComboBoxValidator validator;
    int pos = input.size();
    if (validator.validate(input, pos) != QValidator::Invalid)
        std::abort(); // no model yet
    validator.setModel(&model);
    const QString typed = input;
    if (validator.validate(input, pos) != expected(rows, typed) || input != typed)
        std::abort();
    validator.fixup(input);
    if (input != typed && !(input.startsWith(typed, Qt::CaseInsensitive) && rows.contains(input)))
        std::abort();
    return 0;
}
