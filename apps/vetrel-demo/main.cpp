// The demo order form on the built-in market (or --market FILE). Without a
// display (or with --offscreen) it renders offscreen, applies the presets,
// presses Send if asked, saves the screenshot asked for, prints the form's
// values and the request as JSON and exits; with a display it shows the form
// and prints each request sent.

#include "orderform.h"
#include "sessionsimulator.h"

#include <vetrel/properties.h>

#include <host/core.h>
#include <host/exception.h>
#include <host/market.h>

#include <QApplication>
#include <QCommandLineParser>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLibraryInfo>
#include <QTranslator>
#include <QWidget>

#include <cstring>

namespace
{

// Decided before QApplication exists, which is when the platform is chosen.
bool useOffscreen(int argc, char **argv)
{
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--offscreen") == 0)
            return true;
    }
    return qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM") && qEnvironmentVariableIsEmpty("DISPLAY")
        && qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY");
}

bool parseAssignments(const QStringList &assignments, Values *values)
{
    for (const QString &assignment : assignments) {
        const int equals = assignment.indexOf(QLatin1Char('='));
        if (equals <= 0) {
            qCritical("--set expects Name=Value, got \"%s\"", qPrintable(assignment));
            return false;
        }
        values->insert(assignment.left(equals), assignment.mid(equals + 1));
    }
    return true;
}

void print(const QJsonObject &object)
{
    QFile out;
    out.open(stdout, QIODevice::WriteOnly);
    out.write(QJsonDocument(object).toJson(QJsonDocument::Compact));
    out.write("\n");
}

bool loadMarket(Database *database, const QString &fileName)
{
    try {
        if (fileName.isEmpty())
            Market::loadSample(database);
        else
            Market::load(database, fileName);
        return true;
    } catch (const Exception &error) {
        qCritical("%s", qPrintable(error.message()));
        return false;
    }
}

void installTranslator(QCoreApplication *app)
{
    auto *translator = new QTranslator(app);
    const QString installed = QDir(QCoreApplication::applicationDirPath())
                                  .filePath(QStringLiteral("../" VETREL_INSTALL_TRANSLATIONSDIR));
    for (const QString &dir : {QStringLiteral(VETREL_TRANSLATIONS_BUILD_DIR), installed}) {
        if (translator->load(QLocale(), QStringLiteral("vetrel"), QStringLiteral("_"), dir)) {
            QCoreApplication::installTranslator(translator);
            return;
        }
    }
}

bool saveScreenshot(QWidget *window, const QString &fileName)
{
    QCoreApplication::processEvents();
    if (!window->grab().save(fileName)) {
        qCritical("Could not save the screenshot to %s", qPrintable(fileName));
        return false;
    }
    qInfo("Screenshot saved to %s", qPrintable(QFileInfo(fileName).absoluteFilePath()));
    return true;
}

}

int main(int argc, char **argv)
{
    if (useOffscreen(argc, argv))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("vetrel-demo"));
    installTranslator(&app);

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("An order ticket built from libvetrel's widgets."));
    parser.addHelpOption();
    const QCommandLineOption offscreen(QStringLiteral("offscreen"), QStringLiteral("Render without a display."));
    const QCommandLineOption market(QStringLiteral("market"), QStringLiteral("Load the market from a JSON file."),
                                    QStringLiteral("file"));
    const QCommandLineOption set(QStringLiteral("set"), QStringLiteral("Give a field a value (repeatable)."),
                                 QStringLiteral("Name=Value"));
    const QCommandLineOption send(QStringLiteral("send"), QStringLiteral("Press Send (headless)."));
    const QCommandLineOption screenshot(QStringLiteral("screenshot"), QStringLiteral("Save the form as a PNG."),
                                        QStringLiteral("file"));
    const QCommandLineOption session(QStringLiteral("session-after"),
                                     QStringLiteral("Open MOEX's next session after this many ms (0: never)."),
                                     QStringLiteral("ms"), QStringLiteral("3000"));
    parser.addOptions({offscreen, market, set, send, screenshot, session});
    parser.process(app);

    Values presets;
    if (!parseAssignments(parser.values(set), &presets))
        return 2;

    Core core;
    if (!loadMarket(core.database(), parser.value(market)))
        return 1;
    SessionSimulator decoder;
    core.addPlugin(&decoder);

    QString error;
    QWidget *window = OrderForm::loadUi(&error);
    if (!window) {
        qCritical("Cannot load the order form: %s", qPrintable(error));
        return 1;
    }
    QScopedPointer<QWidget> owner(window);
    auto *form = new OrderForm(window);
    form->preset(presets);
    window->show();

    QJsonObject output;
    QObject::connect(form, &OrderForm::requestReady, [&output](const Values &request) {
        output.insert(QStringLiteral("request"), QJsonObject::fromVariantMap(request));
    });

    if (QGuiApplication::platformName() != QLatin1String("offscreen")) {
        QObject::connect(form, &OrderForm::requestReady, [](const Values &request) {
            print({{QStringLiteral("request"), QJsonObject::fromVariantMap(request)}});
        });
        if (const int msec = parser.value(session).toInt(); msec > 0)
            decoder.openNextSessionLater(1, msec);
        const int status = app.exec();
        print({{QStringLiteral("values"), QJsonObject::fromVariantMap(form->properties()->values())}});
        return status;
    }

    bool sent = true;
    if (parser.isSet(send)) {
        sent = form->send();
        if (!sent)
            output.insert(QStringLiteral("invalid"), QJsonArray::fromStringList(form->invalidFields()));
    }
    if (parser.isSet(screenshot) && !saveScreenshot(window, parser.value(screenshot)))
        return 1;
    output.insert(QStringLiteral("values"), QJsonObject::fromVariantMap(form->properties()->values()));
    print(output);
    return sent ? 0 : 1;
}
