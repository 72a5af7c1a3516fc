#include <vetrel/formvalidation.h>

#include <vetrel/properties.h>

#include <QLabel>
#include <QMultiMap>

class FormValidationPrivate
{
public:
    QList<QWidget *> invalidWidgets;
    QMultiMap<QString, QWidget *> captions;
};

FormValidation::FormValidation()
    : d(new FormValidationPrivate)
{ }

FormValidation::FormValidation(const FormValidation &other)
    : d(new FormValidationPrivate(*other.d))
{ }

FormValidation &FormValidation::operator=(const FormValidation &other)
{
    *d = *other.d;
    return *this;
}

FormValidation::~FormValidation() = default;

void FormValidation::setupPropWidgets(const Properties &properties, QWidget *root)
{
    const QObjectList children = root->children();
    for (QObject *child : children) {
        if (child->isWidgetType())
            setupPropWidgets(properties, static_cast<QWidget *>(child));
    }

    const auto *caption = qobject_cast<QLabel *>(root);
    if (!caption || !caption->buddy())
        return;
    const QList<QString> names = properties.objectProperty(caption->buddy());
    for (const QString &name : names)
        d->captions.insert(name, root);
}

void FormValidation::set(const QStringList &invalidProperties)
{
    QList<QWidget *> captions;
    for (const QString &name : invalidProperties)
        captions += d->captions.values(name);
    setInvalidWidgets(captions);
}

void FormValidation::setInvalidWidgets(const QList<QWidget *> &widgets)
{
    for (QWidget *caption : qAsConst(d->invalidWidgets))
        setWidgetState(caption, true);
    d->invalidWidgets = widgets;
    for (QWidget *caption : qAsConst(d->invalidWidgets))
        setWidgetState(caption, false);
}

void FormValidation::setWidgetState(QWidget *widget, bool valid)
{
    if (qobject_cast<QLabel *>(widget))
        widget->setStyleSheet(valid ? QString() : QStringLiteral("color: red"));
}
