#ifndef VETREL_COMBOBOX_H
#define VETREL_COMBOBOX_H

#include <QComboBox>

#include <vetrel/vetrel_export.h>

#include <memory>

class ComboBoxValidator;
class ComboBoxPrivate;

/**
 * An editable combo box that the user searches by typing.
 *
 * A case-insensitive completer offers the items that start with the typed
 * text. A ComboBoxValidator over the box's model is created but not
 * installed: subclasses (the selector boxes) take it from
 * comboBoxValidator() and install it where they want it. The box starts with
 * nothing selected.
 *
 * The completer and the validator follow the box's model however it is
 * replaced, also through QComboBox::setModel(), which this class cannot
 * override.
 */
class VETREL_EXPORT ComboBox : public QComboBox
{
    Q_OBJECT
    /// Off: the completer offers the rows that start with the typed text. On:
    /// a search list offers every row whose code or name contains it, in any
    /// case or keyboard layout, best matches first. The validator and the
    /// chosen row behave the same either way.
    Q_PROPERTY(bool TraderSearch READ traderSearch WRITE setTraderSearch)

public:
    explicit ComboBox(QWidget *parent = nullptr);
    ~ComboBox() override;

    /// Null once the line edit that owns it has been replaced.
    ComboBoxValidator *comboBoxValidator() const;

    /// Replaces the model; the completer and the validator follow it.
    void setModel(QAbstractItemModel *model);

    bool traderSearch() const;
    void setTraderSearch(bool on);
    /// The item data role of a row's code for the search list; the display
    /// text serves as the code where this is negative (the default).
    void setTraderSearchCodeRole(int role);

    /// Opens the list with no highlighted row.
    void showPopup() override;

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    std::unique_ptr<ComboBoxPrivate> const d;
};

#endif
