#include <vetrel/label.h>

Label::Label(QWidget *parent, Qt::WindowFlags flags)
    : QLabel(parent, flags)
{
    init_label();
}

Label::Label(const QString &text, QWidget *parent, Qt::WindowFlags flags)
    : QLabel(text, parent, flags)
{
    init_label();
}

void Label::init_label()
{
    m_error = false;
}

bool Label::hasError() const
{
    return m_error;
}

QString Label::errorText() const
{
    return m_errorText;
}

void Label::setError(QString text)
{
    m_error = true;
    m_errorText = text;
    setToolTip(m_errorText);
    setStyleSheet(QStringLiteral(" Label{color: red}"));
}

void Label::setError()
{
    setError(QString());
}

void Label::clearError()
{
    // Only undo our own colouring: a style sheet the application set on a
    // label that never showed an error must survive.
    if (!m_error)
        return;
    m_error = false;
    setStyleSheet(QStringLiteral(" "));
}
