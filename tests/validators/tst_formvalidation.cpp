#include <vetrel/formvalidation.h>
#include <vetrel/label.h>
#include <vetrel/lineedit.h>
#include <vetrel/properties.h>

#include <QTest>

// A bindable widget with two values, so that one caption stands for two names.
class PriceRange : public QWidget
{
    Q_OBJECT
    Q_CLASSINFO("Properties", "thisOnly")
    Q_PROPERTY(QString Low MEMBER m_low NOTIFY lowChanged)
    Q_PROPERTY(QString High MEMBER m_high NOTIFY highChanged)

public:
    using QWidget::QWidget;

signals:
    void lowChanged();
    void highChanged();

private:
    QString m_low;
    QString m_high;
};

class TestFormValidation : public QObject
{
    Q_OBJECT

private slots:
    void paintsAndRestores();
};

namespace
{

LineEdit *field(QWidget *parent, const char *name)
{
    auto *edit = new LineEdit(parent);
    edit->setProperty("field", QString::fromLatin1(name));
    return edit;
}

Label *caption(QWidget *parent, QWidget *buddy)
{
    auto *label = new Label(parent);
    label->setBuddy(buddy);
    return label;
}

}

void TestFormValidation::paintsAndRestores()
{
    // Price has two captions, one inside a nested panel; the range's caption
    // stands for Low and High; the account's caption has no buddy, and the
    // comment's buddy was never bound.
    QWidget root;
    LineEdit *price = field(&root, "Price");
    LineEdit *quantity = field(&root, "Quantity");
    auto *range = new PriceRange(&root);
    auto *panel = new QWidget(&root);
    Label *priceCaption = caption(&root, price);
    Label *priceNote = caption(panel, price);
    Label *quantityCaption = caption(panel, quantity);
    Label *rangeCaption = caption(&root, range);
    auto *accountCaption = new Label(QStringLiteral("Account"), &root);
    accountCaption->setStyleSheet(QStringLiteral("font-style: italic"));
    quantityCaption->setStyleSheet(QStringLiteral("font-weight: bold"));
    Properties properties;
    properties.connectAll(&root);
    Label *commentCaption = caption(&root, new LineEdit(&root));

    FormValidation validation;
    validation.setupPropWidgets(properties, &root);
    const QString red = QStringLiteral("color: red");
    const auto styles = [&] {
        QStringList sheets;
        for (Label *label :
            { priceCaption, priceNote, quantityCaption, rangeCaption, accountCaption, commentCaption })
            sheets << (label->styleSheet() == red ? QStringLiteral("red") : label->styleSheet());
        return sheets.join(QLatin1Char('|'));
    };

    // Each check's names replace the previous ones; the bold style is lost.
    const QList<QPair<QStringList, QString>> checks = { { { "Quantity" }, "||red||font-style: italic|" },
        { { "Price", "Unknown" }, "red|red|||font-style: italic|" },
        { { "Low" }, "|||red|font-style: italic|" }, { { "High" }, "|||red|font-style: italic|" },
        { { "Price", "Quantity" }, "red|red|red||font-style: italic|" }, { {}, "||||font-style: italic|" } };
    for (const auto &[names, painted] : checks) {
        validation.set(names);
        QCOMPARE(styles(), painted);
    }

    // Registering twice is harmless; captions can also be given directly.
    validation.setupPropWidgets(properties, &root);
    validation.set({ QStringLiteral("Price") });
    QCOMPARE(styles(), QStringLiteral("red|red|||font-style: italic|"));
    validation.setInvalidWidgets({ accountCaption, price });
    QCOMPARE(styles(), QStringLiteral("||||red|"));
    QCOMPARE(price->styleSheet(), QString()); // not a caption
    validation.setWidgetState(price, false);
    QCOMPARE(price->styleSheet(), QString());
    validation.setInvalidWidgets({});
    QCOMPARE(styles(), QStringLiteral("|||||"));
}

QTEST_MAIN(TestFormValidation)
#include "tst_formvalidation.moc"
