#include <vetrel/formvalidation.h>

#include <vetrel/properties.h>

#include <QLabel>

FormValidation::FormValidation() = default;

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
        m_captions.insert(name, root);
}

void FormValidation::set(const QStringList &invalidProperties)
{
    QList<QWidget *> captions;
    for (const QString &name : invalidProperties)
        captions += m_captions.values(name);
    setInvalidWidgets(captions);
}

void FormValidation::setInvalidWidgets(const QList<QWidget *> &widgets)
{
    for (QWidget *caption : qAsConst(m_invalidWidgets))
        setWidgetState(caption, true);
    m_invalidWidgets = widgets;
    for (QWidget *caption : qAsConst(m_invalidWidgets))
        setWidgetState(caption, false);
}

void FormValidation::setWidgetState(QWidget *widget, bool valid)
{
    if (qobject_cast<QLabel *>(widget))
        widget->setStyleSheet(valid ? QString() : QStringLiteral("color: red"));
}
