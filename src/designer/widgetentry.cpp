#include "widgetentry.h"

#include <QIcon>

WidgetEntry::WidgetEntry(const Description &description, QObject *parent)
    : QObject(parent)
    , m_description(description)
{
}

QString WidgetEntry::name() const
{
    return QLatin1String(m_description.className);
}

QString WidgetEntry::group() const
{
    return QStringLiteral("Vetrel trading forms");
}

QString WidgetEntry::toolTip() const
{
    return QString::fromUtf8(m_description.toolTip);
}

QString WidgetEntry::whatsThis() const
{
    return toolTip() + QStringLiteral(". Bind it with the dynamic property \"field\" (or \"fields\").");
}

QString WidgetEntry::includeFile() const
{
    return QStringLiteral("vetrel/") + QLatin1String(m_description.header);
}

QIcon WidgetEntry::icon() const
{
    return QIcon();
}

bool WidgetEntry::isContainer() const
{
    return m_description.container;
}

QWidget *WidgetEntry::createWidget(QWidget *parent)
{
    return m_description.create(parent);
}

bool WidgetEntry::isInitialized() const
{
    return m_initialized;
}

void WidgetEntry::initialize(QDesignerFormEditorInterface *)
{
    m_initialized = true;
}

QString WidgetEntry::domXml() const
{
    // The name is lower camel case of the class, as Designer names Qt's own widgets.
    QString objectName = name();
    objectName.remove(QLatin1Char('_'));
    objectName[0] = objectName.at(0).toLower();
    return QStringLiteral(
               "<ui language=\"c++\"><widget class=\"%1\" name=\"%2\">"
               "<property name=\"geometry\"><rect><x>0</x><y>0</y><width>%3</width><height>%4</height></rect>"
               "</property></widget></ui>")
        .arg(name(), objectName)
        .arg(m_description.size.width())
        .arg(m_description.size.height());
}
