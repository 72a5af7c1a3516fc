#include <vetrel/combobox.h>

#include <vetrel/comboboxvalidator.h>

#include <QAbstractItemView>
#include <QCompleter>
#include <QItemSelectionModel>
#include <QLineEdit>
#include <QSignalBlocker>

ComboBox::ComboBox(QWidget *parent)
    : QComboBox(parent)
{
    setEditable(true);

    auto *completer = new QCompleter(this);
    completer->setCaseSensitivity(Qt::CaseInsensitive);
    setCompleter(completer);
    completer->setModel(model());

    m_validator = new ComboBoxValidator(lineEdit());
    m_validator->setModel(model());

    setCurrentIndex(-1);
}

ComboBoxValidator *ComboBox::comboBoxValidator() const
{
    return m_validator;
}

void ComboBox::setModel(QAbstractItemModel *model)
{
    QComboBox::setModel(model);
    if (QCompleter *searcher = completer())
        searcher->setModel(model);
    if (m_validator)
        m_validator->setModel(model);
}

void ComboBox::showPopup()
{
    // QComboBox::showPopup() selects the current row itself, so the selection
    // is cleared once the list is up; silently, as nothing was chosen.
    QComboBox::showPopup();
    QAbstractItemView *list = view();
    const QSignalBlocker blocker(list);
    list->selectionModel()->clearSelection();
}
