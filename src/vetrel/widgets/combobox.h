#ifndef VETREL_COMBOBOX_H
#define VETREL_COMBOBOX_H

#include <QComboBox>
#include <QPointer>

#include <vetrel/vetrel_export.h>

class ComboBoxValidator;

/**
 * An editable combo box that the user searches by typing.
 *
 * A case-insensitive completer works on the combo box's model. A
 * ComboBoxValidator over the same model is created but not installed:
 * subclasses (the selector boxes) take it from comboBoxValidator() and install
 * it where they want it. The box starts with nothing selected.
 */
class VETREL_EXPORT ComboBox : public QComboBox
{
    Q_OBJECT

public:
    explicit ComboBox(QWidget *parent = nullptr);

    /// Null once the line edit that owns it has been replaced.
    ComboBoxValidator *comboBoxValidator() const;

    /// Replaces the model and points the completer and the validator at it.
    /// QComboBox deletes a model it owns when it is replaced, which would
    /// otherwise leave the validator refusing every input.
    void setModel(QAbstractItemModel *model);

    /// Opens the list with no highlighted row.
    void showPopup() override;

private:
    QPointer<ComboBoxValidator> m_validator;
};

#endif
