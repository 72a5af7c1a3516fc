#ifndef VETREL_COMBOBOXVALIDATOR_H
#define VETREL_COMBOBOXVALIDATOR_H

#include <QPointer>
#include <QValidator>

#include <vetrel/vetrel_export.h>

class QAbstractItemModel;

/**
 * Restricts an editable combo box to the texts of its items.
 *
 * The rows are read afresh on every call (display text of column 0, compared
 * ignoring case), so a model that is refilled or reset while the user types
 * is judged by its current rows. The model is held weakly: once it is
 * destroyed every input is Invalid.
 */
class VETREL_EXPORT ComboBoxValidator : public QValidator
{
    Q_OBJECT

public:
    explicit ComboBoxValidator(QObject *parent = nullptr);

    void setModel(QAbstractItemModel *model);
    QAbstractItemModel *model() const;

    /// The first row whose text equals or starts with the input decides.
    State validate(QString &input, int &pos) const override;
    /// Completes a typed prefix to the first row that starts with it.
    void fixup(QString &input) const override;

private:
    QPointer<QAbstractItemModel> m_model;
};

#endif
