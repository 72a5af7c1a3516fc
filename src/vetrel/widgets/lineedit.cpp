#include <vetrel/lineedit.h>

LineEdit::LineEdit(QWidget *parent)
    : QLineEdit(parent)
{
    connect(this, &QLineEdit::textEdited, this, &LineEdit::edit_changed);
}

QString LineEdit::getValue() const
{
    return text();
}

void LineEdit::setValue(const QString &value)
{
    if (text() != value)
        setText(value);
}

void LineEdit::edit_changed(QString newValue)
{
    emit changedValue(newValue);
}
