#include <vetrel/comboboxvalidator.h>

#include <vetrel/caseinsensitiveindex_p.h>

#include <QAbstractItemModel>
#include <QPointer>

class ComboBoxValidatorPrivate
{
public:
    // The display text of the first row (in model order) that starts with
    // the non-empty input ignoring case; a null string when none does.
    QString firstRowStartingWith(const QString &input) const
    {
        CaseInsensitiveIndex *rows = CaseInsensitiveIndex::of(model);
        const int row = rows->firstRowStartingWith(input);
        return row < 0 ? QString() : rows->text(row);
    }

    QPointer<QAbstractItemModel> model;
};

ComboBoxValidator::ComboBoxValidator(QObject *parent)
    : QValidator(parent)
    , d(new ComboBoxValidatorPrivate)
{ }

ComboBoxValidator::~ComboBoxValidator() = default;

void ComboBoxValidator::setModel(QAbstractItemModel *model)
{
    d->model = model;
}

QAbstractItemModel *ComboBoxValidator::model() const
{
    return d->model.data();
}

QValidator::State ComboBoxValidator::validate(QString &input, int &) const
{
    if (!d->model)
        return Invalid;
    if (input.isEmpty())
        return Intermediate;
    const QString match = d->firstRowStartingWith(input);
    if (match.isNull())
        return Invalid;
    // Case folding maps one code unit to one, so equal length means equal text.
    return match.size() == input.size() ? Acceptable : Intermediate;
}

void ComboBoxValidator::fixup(QString &input) const
{
    if (!d->model || input.isEmpty())
        return;
    const QString match = d->firstRowStartingWith(input);
    if (!match.isNull())
        input = match;
}
