#ifndef VETREL_WIDGETENTRY_H
#define VETREL_WIDGETENTRY_H

#include <QObject>
#include <QtUiPlugin/QDesignerCustomWidgetInterface>

// One of the library's widgets as Designer's widget box shows it. Every entry
// is the same but for its table row, so there is one class, not one per widget.
class WidgetEntry : public QObject, public QDesignerCustomWidgetInterface
{
    Q_OBJECT
    Q_INTERFACES(QDesignerCustomWidgetInterface)

public:
    using Factory = QWidget *(*)(QWidget *parent);

    struct Description {
        const char *className;
        const char *header;    // file name under <vetrel/>
        const char *toolTip;
        Factory create;
        QSize size;            // default size of a freshly placed widget
        bool container;
    };

    WidgetEntry(const Description &description, QObject *parent);

    QString name() const override;
    QString group() const override;
    QString toolTip() const override;
    QString whatsThis() const override;
    QString includeFile() const override;
    QIcon icon() const override;
    bool isContainer() const override;
    QWidget *createWidget(QWidget *parent) override;
    bool isInitialized() const override;
    void initialize(QDesignerFormEditorInterface *core) override;
    QString domXml() const override;

private:
    Description m_description;
    bool m_initialized = false;
};

#endif
