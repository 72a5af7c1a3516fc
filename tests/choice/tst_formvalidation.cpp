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
    void init();
    void cleanup();
    void paintsAndRestores();
    void sharedCaptions();
    void nothingToPaint();

private:
    struct Form;
    Form *m_form = nullptr;
};

namespace
{

const QString red = QStringLiteral("color: red");

LineEdit *field(QWidget *parent, const char *name)
{
    auto *edit = new LineEdit(parent);
    edit->setProperty("field", QString::fromLatin1(name));
    return edit;
}

Label *caption(QWidget *parent, QWidget *buddy)
{
    auto *label = new Label(parent, {});
    label->setBuddy(buddy);
    return label;
}

}

// Price has two captions, one of them inside a nested panel; Range's caption
// stands for Low and High; Account's caption is a label without buddy.
struct TestFormValidation::Form {
    QWidget root;
    Properties properties;
    LineEdit *price = field(&root, "Price");
    LineEdit *quantity = field(&root, "Quantity");
    PriceRange *range = new PriceRange(&root);
    QWidget *panel = new QWidget(&root);
    Label *priceCaption = caption(&root, price);
    Label *priceNote = caption(panel, price);
    Label *quantityCaption = caption(panel, quantity);
    Label *rangeCaption = caption(&root, range);
    Label *accountCaption = new Label(QStringLiteral("Account"), &root, {});
    FormValidation validation;

    Form()
    {
        quantityCaption->setStyleSheet(QStringLiteral("font-weight: bold"));
        accountCaption->setStyleSheet(QStringLiteral("font-style: italic"));
        properties.connectAll(&root);
        validation.setupPropWidgets(properties, &root);
    }
};

void TestFormValidation::init()
{
    m_form = new Form;
}

void TestFormValidation::cleanup()
{
    delete m_form;
    m_form = nullptr;
}

void TestFormValidation::paintsAndRestores()
{
    Form &f = *m_form;
    f.validation.set({QStringLiteral("Quantity")});
    QCOMPARE(f.quantityCaption->styleSheet(), red);
    QCOMPARE(f.priceCaption->styleSheet(), QString());

    // The next check's names replace the previous ones.
    f.validation.set({QStringLiteral("Price")});
    QCOMPARE(f.quantityCaption->styleSheet(), QString()); // its own bold style is gone
    QCOMPARE(f.priceCaption->styleSheet(), red);
    QCOMPARE(f.priceNote->styleSheet(), red);

    f.validation.set({QStringLiteral("Price"), QStringLiteral("Quantity"), QStringLiteral("Unknown")});
    QCOMPARE(f.priceCaption->styleSheet(), red);
    QCOMPARE(f.quantityCaption->styleSheet(), red);

    f.validation.set({});
    for (Label *label : {f.priceCaption, f.priceNote, f.quantityCaption, f.rangeCaption})
        QCOMPARE(label->styleSheet(), QString());
    QCOMPARE(f.accountCaption->styleSheet(), QStringLiteral("font-style: italic"));

    f.validation.setInvalidWidgets({f.accountCaption, f.price});
    QCOMPARE(f.accountCaption->styleSheet(), red);
    QCOMPARE(f.price->styleSheet(), QString()); // not a caption
    f.validation.setWidgetState(f.price, false);
    QCOMPARE(f.price->styleSheet(), QString());
    f.validation.setInvalidWidgets({});
    QCOMPARE(f.accountCaption->styleSheet(), QString());
}

void TestFormValidation::sharedCaptions()
{
    Form &f = *m_form;
    for (const QString &name : {QStringLiteral("Low"), QStringLiteral("High")}) {
        f.validation.set({name});
        QCOMPARE(f.rangeCaption->styleSheet(), red);
        f.validation.set({});
        QCOMPARE(f.rangeCaption->styleSheet(), QString());
    }

    // Registering twice is harmless for painting.
    f.validation.setupPropWidgets(f.properties, &f.root);
    f.validation.set({QStringLiteral("Price")});
    QCOMPARE(f.priceNote->styleSheet(), red);
    f.validation.set({QStringLiteral("Quantity")});
    QCOMPARE(f.priceNote->styleSheet(), QString());
}

void TestFormValidation::nothingToPaint()
{
    QWidget root;
    Properties properties;
    LineEdit *price = field(&root, "Price");
    auto *label = new Label(QStringLiteral("Price"), &root, {});
    properties.connectAll(&root);

    FormValidation validation;
    validation.setupPropWidgets(properties, &root);
    validation.set({QStringLiteral("Price")});
    QCOMPARE(label->styleSheet(), QString());

    // A buddy that was never bound has no names.
    label->setBuddy(new LineEdit(&root));
    validation.setupPropWidgets(properties, &root);
    validation.set({QStringLiteral("Price"), QString()});
    QCOMPARE(label->styleSheet(), QString());
    QCOMPARE(price->styleSheet(), QString());
}

QTEST_MAIN(TestFormValidation)
#include "tst_formvalidation.moc"
