// Runs the demo program headless, as the README's demo command does.

#include <QColor>
#include <QImage>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QSet>
#include <QTemporaryDir>
#include <QTest>

class TestVetrelDemo : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void headlessRunPrintsValuesAndSavesScreenshot();
    void rejectsMalformedAssignment();
};

namespace
{

struct Run
{
    int exitCode = -1;
    QByteArray out;
    QByteArray err;
};

Run runDemo(const QStringList &arguments)
{
    QProcess demo;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.remove(QStringLiteral("DISPLAY"));
    environment.remove(QStringLiteral("WAYLAND_DISPLAY"));
    environment.remove(QStringLiteral("QT_QPA_PLATFORM"));
    demo.setProcessEnvironment(environment);
    demo.start(QStringLiteral(VETREL_DEMO_PATH), arguments);
    Run run;
    if (demo.waitForFinished(30000) && demo.exitStatus() == QProcess::NormalExit)
        run.exitCode = demo.exitCode();
    run.out = demo.readAllStandardOutput();
    run.err = demo.readAllStandardError();
    return run;
}

int distinctColours(const QImage &image)
{
    QSet<QRgb> colours;
    for (int y = 0; y < image.height(); y += 2) {
        for (int x = 0; x < image.width(); x += 2)
            colours.insert(image.pixel(x, y));
    }
    return colours.size();
}

}

void TestVetrelDemo::headlessRunPrintsValuesAndSavesScreenshot()
{
    QTemporaryDir dir;
    const QString png = dir.filePath(QStringLiteral("form.png"));
    const Run run = runDemo({QStringLiteral("--screenshot"), png, QStringLiteral("--set"), QStringLiteral("Price=101.5"),
                             QStringLiteral("--set"), QStringLiteral("Account=A=17")});
    QCOMPARE(run.exitCode, 0);

    QJsonParseError error;
    const QJsonObject values = QJsonDocument::fromJson(run.out, &error).object();
    QCOMPARE(error.error, QJsonParseError::NoError);
    QCOMPARE(values.value(QStringLiteral("Price")).toString(), QStringLiteral("101.5"));
    QCOMPARE(values.value(QStringLiteral("Account")).toString(), QStringLiteral("A=17"));
    QCOMPARE(values.value(QStringLiteral("Quantity")).toString(), QString());
    QVERIFY(values.contains(QStringLiteral("Security")));
    QVERIFY(run.err.contains(png.toLocal8Bit()));

    const QImage image(png);
    QVERIFY(!image.isNull());
    QVERIFY(image.width() > 100 && image.height() > 100);
    // Captions, frames and typed text: far more than a blank fill.
    QVERIFY(distinctColours(image) > 16);
}

void TestVetrelDemo::rejectsMalformedAssignment()
{
    const Run run = runDemo({QStringLiteral("--offscreen"), QStringLiteral("--set"), QStringLiteral("Price")});
    QCOMPARE(run.exitCode, 2);
    QVERIFY(run.out.isEmpty());
    QVERIFY(run.err.contains("Name=Value"));
}

QTEST_GUILESS_MAIN(TestVetrelDemo)
#include "tst_vetreldemo.moc"
