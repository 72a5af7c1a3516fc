// A host in miniature, built against an installed libvetrel: a price typed
// into one editor must reach the second widget bound to the same name, and
// the library's English translation must load from the installed tree.
#include <vetrel/dateedit.h>
#include <vetrel/lineedit.h>
#include <vetrel/numbereditor.h>
#include <vetrel/properties.h>

#include <QApplication>
#include <QTranslator>

#include <cstdio>

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    if (argc < 2)
        return 2; // the translations' folder is missing
    QTranslator translator;
    if (!translator.load(QLocale(QLocale::English), QStringLiteral("vetrel"), QStringLiteral("_"),
                         QString::fromLocal8Bit(argv[1]))) {
        std::fprintf(stderr, "no English translation in %s\n", argv[1]);
        return 1;
    }
    QCoreApplication::installTranslator(&translator);

    QWidget form;
    auto *expiry = new DateEdit(&form);
    auto *price = new NumberEditor(&form, 2);
    price->setProperty("field", "Price");
    auto *echo = new LineEdit(&form);
    echo->setProperty("field", "Price");

    Properties properties(Values{{QStringLiteral("Price"), QStringLiteral("101.50")}});
    properties.connectAll(&form);
    price->setText(QStringLiteral("99.25")); // as if typed
    QCoreApplication::processEvents();

    const QString stored = properties.values().value(QStringLiteral("Price")).toString();
    const QString toolTip = expiry->lineEdit()->toolTip();
    std::printf("Price=%s echo=%s tooltip=%s\n", qPrintable(stored), qPrintable(echo->getValue()),
                qPrintable(toolTip));
    const bool bound = stored == QLatin1String("99.25") && echo->getValue() == stored;
    return bound && toolTip.startsWith(QLatin1String("Date format: ")) ? 0 : 1;
}
