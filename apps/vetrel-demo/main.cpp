// The demo order form. Without a display (or with --offscreen) it renders
// offscreen, saves the screenshot asked for, prints the form's values as JSON
// and exits; with one it shows the form and prints the values when closed.

#include "orderform.h"

#include <vetrel/properties.h>

#include <QApplication>
#include <QCommandLineParser>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPixmap>

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

void printValues(const Values &values)
{
    QFile out;
    out.open(stdout, QIODevice::WriteOnly);
    out.write(QJsonDocument(QJsonObject::fromVariantMap(values)).toJson(QJsonDocument::Compact));
    out.write("\n");
}

bool saveScreenshot(QWidget *window, const QString &fileName)
{
    QCoreApplication::processEvents();
    if (!window->grab().save(fileName)) {
        qCritical("Could not save the screenshot to %s", qPrintable(fileName));
        return false;
    }
    qInfo("Screenshot saved to %s", qPrintable(fileName));
    return true;
}

}

int main(int argc, char **argv)
{
    if (useOffscreen(argc, argv))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("vetrel-demo"));

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("A small order form bound by libvetrel."));
    parser.addHelpOption();
    const QCommandLineOption offscreen(QStringLiteral("offscreen"), QStringLiteral("Render without a display."));
    const QCommandLineOption screenshot(QStringLiteral("screenshot"), QStringLiteral("Save the form as a PNG."),
                                        QStringLiteral("file"));
    const QCommandLineOption set(QStringLiteral("set"), QStringLiteral("Give a field a value (repeatable)."),
                                 QStringLiteral("Name=Value"));
    parser.addOptions({offscreen, screenshot, set});
    parser.process(app);

    Values values;
    if (!parseAssignments(parser.values(set), &values))
        return 2;

    OrderForm form;
    form.properties()->setValues(values);
    form.show();

    if (parser.isSet(screenshot) && !saveScreenshot(&form, parser.value(screenshot)))
        return 1;
    if (QGuiApplication::platformName() == QLatin1String("offscreen")) {
        printValues(form.properties()->values());
        return 0;
    }
    const int status = app.exec();
    printValues(form.properties()->values());
    return status;
}
