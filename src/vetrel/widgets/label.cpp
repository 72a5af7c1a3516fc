#include <vetrel/label.h>

class LabelPrivate
{
public:
    bool error = false;
    QString errorText;
};

Label::Label(QWidget *parent, Qt::WindowFlags flags)
    : QLabel(parent, flags)
    , d(new LabelPrivate)
{
    init_label();
}

Label::Label(const QString &text, QWidget *parent, Qt::WindowFlags flags)
    : QLabel(text, parent, flags)
    , d(new LabelPrivate)
{
    init_label();
}

Label::~Label() = default;

void Label::init_label()
{
    d->error = false;
}

bool Label::hasError() const
{
    return d->error;
}

QString Label::errorText() const
{
    return d->errorText;
}

void Label::setError(QString text)
{
    d->error = true;
    d->errorText = text;
    setToolTip(d->errorText);
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
    if (!d->error)
        return;
    d->error = false;
    setStyleSheet(QStringLiteral(" "));
}
