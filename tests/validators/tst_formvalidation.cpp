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
    // stands for Low and High; the account's caption has no buddy.
    QWidget root;
    LineEdit *price = field(&root, "Price");
    auto *range = new PriceRange(&root);
    auto *panel = new QWidget(&root);
    Label *priceCaption = caption(&root, price);
    Label *priceNote = caption(panel, price);
    Label *quantityCaption = caption(panel, field(&root, "Quantity"));
    Label *rangeCaption = caption(&root, range);
    auto *accountCaption = new Label(QStringLiteral("Account"), &root);
    Properties properties;
    properties.connectAll(&root);

    FormValidation validation;
    validation.setupPropWidgets(properties, &root);
    const auto painted = [&] {
        QStringList red;
        for (Label *label : { priceCaption, priceNote, quantityCaption, rangeCaption, accountCaption })
            red << (label->styleSheet() == QLatin1String("color: red") ? "red" : label->styleSheet());
        return red.join(QLatin1Char('|'));
    };

    // Each check's names replace the previous ones.
    const QList<QPair<QStringList, QString>> checks = { { { "Quantity" }, "||red||" },
        { { "Price", "Unknown" }, "red|red|||" }, { { "Low" }, "|||red|" }, { { "High" }, "|||red|" },
        { { "Price", "Quantity" }, "red|red|red||" }, { {}, "||||" } };
    for (const auto &[names, expected] : checks) {
        validation.set(names);
        QCOMPARE(painted(), expected);
    }

    // Captions given directly; a field among them is left unpainted.
    validation.setInvalidWidgets({ accountCaption, price });
    QCOMPARE(painted(), QStringLiteral("||||red"));
    QCOMPARE(price->styleSheet(), QString());
    validation.setInvalidWidgets({});
    QCOMPARE(painted(), QStringLiteral("||||"));
}

QTEST_MAIN(TestFormValidation)
#include "tst_formvalidation.moc"
