#include <vetrel/lineedit.h>

class LineEditPrivate
{
};

LineEdit::LineEdit(QWidget *parent)
    : QLineEdit(parent)
    , d(new LineEditPrivate)
{
    connect(this, &QLineEdit::textEdited, this, &LineEdit::edit_changed);
}

LineEdit::~LineEdit() = default;

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
