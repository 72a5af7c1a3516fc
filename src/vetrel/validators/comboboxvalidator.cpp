#include <vetrel/comboboxvalidator.h>

#include <QAbstractItemModel>

namespace
{

// The display text of the first top-level row that starts with the (non-empty)
// input ignoring case; a null string when no row does.
QString firstRowStartingWith(const QAbstractItemModel *model, const QString &input)
{
    const int rows = model->rowCount();
    for (int row = 0; row < rows; ++row) {
        const QString text = model->data(model->index(row, 0), Qt::DisplayRole).toString();
        if (text.startsWith(input, Qt::CaseInsensitive))
            return text;
    }
    return QString();
}

}

ComboBoxValidator::ComboBoxValidator(QObject *parent)
    : QValidator(parent)
{ }

void ComboBoxValidator::setModel(QAbstractItemModel *model)
{
    m_model = model;
}

QAbstractItemModel *ComboBoxValidator::model() const
{
    return m_model.data();
}

QValidator::State ComboBoxValidator::validate(QString &input, int &) const
{
    if (!m_model)
        return Invalid;
    if (input.isEmpty())
        return Intermediate;
    const QString match = firstRowStartingWith(m_model, input);
    if (match.isNull())
        return Invalid;
    // Case folding maps one code unit to one, so equal length means equal text.
    return match.size() == input.size() ? Acceptable : Intermediate;
}

void ComboBoxValidator::fixup(QString &input) const
{
    if (!m_model || input.isEmpty())
        return;
    const QString match = firstRowStartingWith(m_model, input);
    if (!match.isNull())
        input = match;
}
