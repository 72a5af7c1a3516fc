// The demo program run headless, as the README's first command runs it.
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QSet>
#include <QTemporaryDir>
#include <QTest>

class tst_VetrelDemo : public QObject
{
    Q_OBJECT

private slots:
    void fullOrderIsPrintedWithScreenshot();
    void incompleteOrderNamesWhatIsMissing();
    void badCommandLineOrMarket();
};

namespace
{

struct Run
{
    int exitCode = -1;
    QJsonObject json;
    QByteArray err;
};

Run runDemo(const QStringList &arguments)
{
    QProcess demo;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    for (const char *name : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"})
        environment.remove(QLatin1String(name));
    demo.setProcessEnvironment(environment);
    demo.start(QStringLiteral(VETREL_DEMO_PATH), arguments);
    Run run;
    if (demo.waitForFinished(60000) && demo.exitStatus() == QProcess::NormalExit)
        run.exitCode = demo.exitCode();
    run.json = QJsonDocument::fromJson(demo.readAllStandardOutput()).object();
    run.err = demo.readAllStandardError();
    return run;
}

QStringList presets(const QStringList &assignments)
{
    QStringList arguments;
    for (const QString &assignment : assignments)
        arguments << QStringLiteral("--set") << assignment;
    return arguments;
}

}

void tst_VetrelDemo::fullOrderIsPrintedWithScreenshot()
{
    QTemporaryDir dir;
    const QString png = dir.filePath(QStringLiteral("form.png"));
    const QStringList order{QStringLiteral("Market=MOEX"), QStringLiteral("Board=TQBR"), QStringLiteral("Security=HOYH"),
                            QStringLiteral("Account=MB0012"), QStringLiteral("Side=B"), QStringLiteral("Price=101.5"),
                            QStringLiteral("Quantity=10"), QStringLiteral("StopOffset=1.25")};
    const Run run = runDemo(presets(order) << QStringLiteral("--send") << QStringLiteral("--screenshot") << png);
    QCOMPARE(run.exitCode, 0);
    const QJsonObject request = run.json.value(QStringLiteral("request")).toObject();
    for (const QString &assignment : order) {
        const QStringList pair = assignment.split(QLatin1Char('='));
        QCOMPARE(request.value(pair.at(0)).toString(), pair.at(1));
    }
    QCOMPARE(request.value(QStringLiteral("StopPrice")).toString(), QStringLiteral("102.75"));
    for (const QString &name : run.json.value(QStringLiteral("values")).toObject().keys())
        QVERIFY2(request.contains(name), qPrintable(name));
    QVERIFY(run.err.contains(png.toLocal8Bit()));

    const QImage image(png);
    QVERIFY(image.width() >= 420 && image.height() > 400);
    QSet<QRgb> colours;
    for (int y = 0; y < image.height(); y += 3) {
        for (int x = 0; x < image.width(); x += 3)
            colours.insert(image.pixel(x, y));
    }
    QVERIFY2(colours.size() > 32, "the screenshot is close to blank");
}

void tst_VetrelDemo::incompleteOrderNamesWhatIsMissing()
{
    const Run run = runDemo(presets({QStringLiteral("Market=MOEX"), QStringLiteral("Quantity=5")})
                            << QStringLiteral("--send"));
    QCOMPARE(run.exitCode, 1);
    QVERIFY(!run.json.contains(QStringLiteral("request")));
    const QJsonArray invalid = run.json.value(QStringLiteral("invalid")).toArray();
    QCOMPARE(invalid.toVariantList(), (QVariantList{QStringLiteral("Account"), QStringLiteral("Board"),
                                                    QStringLiteral("Security"), QStringLiteral("Side"),
                                                    QStringLiteral("Price")}));
}

void tst_VetrelDemo::badCommandLineOrMarket()
{
    Run run = runDemo({QStringLiteral("--set"), QStringLiteral("Price")});
    QCOMPARE(run.exitCode, 2);
    QVERIFY(run.err.contains("Name=Value"));

    QTemporaryDir dir;
    QFile market(dir.filePath(QStringLiteral("bad.json")));
    QVERIFY(market.open(QIODevice::WriteOnly));
    market.write(R"({"format": "vetrel-market/1", "tables": [{"name": "stocks", "rows": [["x"]]}]})");
    market.close();
    run = runDemo({QStringLiteral("--market"), market.fileName()});
    QCOMPARE(run.exitCode, 1);
    QVERIFY2(run.err.contains("bad.json: table \"stocks\", row 1"), run.err.constData());
}

QTEST_GUILESS_MAIN(tst_VetrelDemo)
#include "tst_vetreldemo.moc"
