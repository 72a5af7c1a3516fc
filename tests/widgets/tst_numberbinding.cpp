// NumberEditor and QuantityEditor bound into a form through Properties: the
// canonical value travels, the shown text stays localised, and the quantity
// editor binds the number editor's properties on itself.
#include "localetext.h"

#include <vetrel/numbereditor.h>
#include <vetrel/properties.h>
#include <vetrel/quantityeditor.h>

#include <QSignalSpy>
#include <QTest>

class TestNumberBinding : public QObject
{
    Q_OBJECT
private slots:
    void typedValueTravelsCanonically();
    void quantityEditorBindsBaseProperties();
};

void TestNumberBinding::typedValueTravelsCanonically()
{
    const QLocale locale = QLocale::system();
    QWidget form;
    auto *price = new NumberEditor(&form, 2);
    price->setProperty("field", QStringLiteral("Amount"));
    auto *quantity = new QuantityEditor(&form);
    quantity->setProperty("field", QStringLiteral("Amount"));

    Properties properties(&form);
    QVERIFY(properties.connectAll(&form));
    QSignalSpy changed(&properties, &Properties::hasChanged);
    QSignalSpy quantityEdits(quantity, &NumberEditor::changedValue);

    QTest::keyClicks(price, QStringLiteral("1234"));
    QCOMPARE(properties.values().value(QStringLiteral("Amount")).toString(), QStringLiteral("1234"));
    QCOMPARE(quantity->getValue(), QStringLiteral("1234"));
    QCOMPARE(quantity->text(), localised(QStringLiteral("1_234"), locale));
    QVERIFY2(quantityEdits.isEmpty(), "a bound write is not a user edit");
    QTRY_COMPARE(changed.count(), 1);

    // Locale text never reaches the store: only the canonical number does.
    QTest::keyClicks(price, localised(QStringLiteral(".5"), locale));
    QCOMPARE(properties.values().value(QStringLiteral("Amount")).toString(), QStringLiteral("1234.5"));
    QCOMPARE(price->text(), localised(QStringLiteral("1_234.5"), locale));

    properties.setValue(QStringLiteral("Amount"), QStringLiteral("-7.25"));
    QCOMPARE(price->text(), localised(QStringLiteral("-7.25"), locale));
    QCOMPARE(price->getDecimal(), decimal(-725, 2));
}

void TestNumberBinding::quantityEditorBindsBaseProperties()
{
    QWidget form;
    auto *quantity = new QuantityEditor(&form);
    quantity->setProperty("field", QStringLiteral("Lots"));
    Properties properties(&form);
    QVERIFY(properties.connectAll(&form));

    QStringList names = properties.objectProperty(quantity);
    names.sort();
    QCOMPARE(names, (QStringList { "CanBeZero", "CanNegative", "Lots", "digits", "numDigits" }));

    // The settings are bound too: the form can allow negative quantities.
    QTest::keyClicks(quantity, QStringLiteral("-3"));
    QCOMPARE(quantity->getValue(), QStringLiteral("3"));
    properties.setValue(QStringLiteral("CanNegative"), QStringLiteral("true"));
    quantity->clear();
    QTest::keyClicks(quantity, localised(QStringLiteral("-3"), QLocale::system()));
    QCOMPARE(properties.values().value(QStringLiteral("Lots")).toString(), QStringLiteral("-3"));
}

QTEST_MAIN(TestNumberBinding)
#include "tst_numberbinding.moc"
