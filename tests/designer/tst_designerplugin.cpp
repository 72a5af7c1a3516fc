// The Designer plugin as Designer and QUiLoader use it: the collection offers
// each widget of the library once under one heading, and a form file naming
// them all loads into those classes, keeping its binding names.
#include <vetrel/properties.h>

#include <QFile>
#include <QPluginLoader>
#include <QSet>
#include <QTest>
#include <QUiLoader>
#include <QtUiPlugin/QDesignerCustomWidgetCollectionInterface>

class tst_DesignerPlugin : public QObject
{
    Q_OBJECT

    // Every widget of the library, in the order the collection offers them.
    const QStringList m_classes = QStringLiteral(
        "LineEdit Label NumberEditor QuantityEditor DateEdit ComboBox VetrelComboBox CheckBox RadioButton "
        "GroupBox SliderGroup PushButtonSend StockSelectorBox StockSelectorBox_Code BoardSelectorBox "
        "SecuritySelectorBox PartnerSelectorBox StreamSelectorBox").split(QLatin1Char(' '));

private slots:
    void collectionOffersEveryWidget()
    {
        QPluginLoader loader(QStringLiteral(VETREL_DESIGNER_PLUGIN));
        auto *collection = qobject_cast<QDesignerCustomWidgetCollectionInterface *>(loader.instance());
        QVERIFY2(collection, qPrintable(loader.errorString()));

        QStringList offered;
        QSet<QString> groups;
        QWidget parent;
        for (QDesignerCustomWidgetInterface *entry : collection->customWidgets()) {
            offered << entry->name();
            groups << entry->group();
            QCOMPARE(entry->includeFile(), QStringLiteral("vetrel/%1.h").arg(entry->name().toLower()));
            QVERIFY2(entry->domXml().contains(QStringLiteral("class=\"%1\"").arg(entry->name())),
                     qPrintable(entry->name()));
            QCOMPARE(entry->isContainer(), entry->name() == QLatin1String("GroupBox"));
            // Designer creates widgets where no host core or market exists.
            QWidget *widget = entry->createWidget(&parent);
            QCOMPARE(QString::fromLatin1(widget->metaObject()->className()), entry->name());
            QCOMPARE(widget->parentWidget(), &parent);
        }
        QCOMPARE(offered, m_classes);
        QCOMPARE(groups.size(), 1);
    }

    void formFileLoadsAndBinds()
    {
        QUiLoader loader;
        loader.clearPluginPaths();
        loader.addPluginPath(QStringLiteral(VETREL_DESIGNER_PLUGIN_DIR));

        QFile file(QStringLiteral(":/allwidgets.ui"));
        QVERIFY(file.open(QIODevice::ReadOnly));
        QScopedPointer<QWidget> form(loader.load(&file));
        QVERIFY2(form, qPrintable(loader.errorString()));

        for (const QString &name : m_classes) {
            auto *widget = form->findChild<QWidget *>(QLatin1Char('w') + name);
            QVERIFY2(widget, qPrintable(name));
            QCOMPARE(QString::fromLatin1(widget->metaObject()->className()), name);
        }
        auto *stock = form->findChild<QWidget *>(QStringLiteral("wStockSelectorBox"));
        QCOMPARE(stock->property("fields").toString(), QStringLiteral("MarketCode=StockCode"));

        Properties properties;
        properties.connectAll(form.data());
        const Values values = properties.values();
        for (const char *name :
             { "MarketCode", "LineEditName", "NumberEditorName", "DateEditName", "CheckBoxName" })
            QVERIFY2(values.contains(QLatin1String(name)), name);
    }
};

QTEST_MAIN(tst_DesignerPlugin)
#include "tst_designerplugin.moc"
