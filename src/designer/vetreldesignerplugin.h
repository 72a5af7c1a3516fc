#ifndef VETREL_VETRELDESIGNERPLUGIN_H
#define VETREL_VETRELDESIGNERPLUGIN_H

#include <QObject>
#include <QtUiPlugin/QDesignerCustomWidgetCollectionInterface>

// The library's widgets for Qt Designer and QUiLoader: one collection, so
// that a form designer finds them all under one heading of the widget box.
class VetrelDesignerPlugin : public QObject, public QDesignerCustomWidgetCollectionInterface
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID "org.qt-project.Qt.QDesignerCustomWidgetCollectionInterface")
    Q_INTERFACES(QDesignerCustomWidgetCollectionInterface)

public:
    explicit VetrelDesignerPlugin(QObject *parent = nullptr);

    QList<QDesignerCustomWidgetInterface *> customWidgets() const override;

private:
    QList<QDesignerCustomWidgetInterface *> m_widgets;
};

#endif
