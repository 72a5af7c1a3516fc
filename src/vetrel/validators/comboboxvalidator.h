#ifndef VETREL_COMBOBOXVALIDATOR_H
#define VETREL_COMBOBOXVALIDATOR_H

#include <QValidator>

#include <vetrel/vetrel_export.h>

#include <memory>

class QAbstractItemModel;
class ComboBoxValidatorPrivate;

/**
 * Lets into an editable combo box only what leads to one of its items.
 *
 * The display texts of column 0 are compared ignoring case. A model that is
 * refilled or reset while the user types is judged by its current rows; the
 * rows are kept in a case-insensitive order so that a keystroke costs a
 * binary search, not a pass over every row. The model is held weakly: once
 * it is destroyed every input is Invalid.
 */
class VETREL_EXPORT ComboBoxValidator : public QValidator
{
    Q_OBJECT

public:
    explicit ComboBoxValidator(QObject *parent = nullptr);
    ~ComboBoxValidator() override;

    void setModel(QAbstractItemModel *model);
    QAbstractItemModel *model() const;

    /// The first row whose text equals or starts with the input decides.
    State validate(QString &input, int &pos) const override;
    /// Completes a typed prefix to the first row that starts with it.
    void fixup(QString &input) const override;

private:
    std::unique_ptr<ComboBoxValidatorPrivate> const d;
};

#endif
