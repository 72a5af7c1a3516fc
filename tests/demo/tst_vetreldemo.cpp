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
    void commandLine_data();
    void commandLine();
};

void tst_VetrelDemo::commandLine_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QString>("printed"); // the JSON's part compared whole
    QTest::addColumn<QByteArray>("error");

    // The presets go in market, board, security order whatever their order
    // here, since each choice narrows the next list.
    QTest::newRow("full order, screenshot")
        << QStringList{"--set", "Security=HOYH", "--set", "Board=TQBR", "--set", "Market=MOEX", "--set",
                       "Account=MB0012", "--set", "Side=B", "--set", "Price=101.5", "--set", "Quantity=10",
                       "--send", "--screenshot", "@/form.png"}
        << 0 << R"({"Market": "MOEX", "Board": "TQBR", "Security": "HOYH", "Price": "101.5", "Side": "B"})"
        << QByteArray("@/form.png");
    QTest::newRow("incomplete order")
        << QStringList{"--set", "Market=MOEX", "--set", "Quantity=5", "--send"} << 1
        << R"(["Account", "Board", "Security", "Side", "Price"])" << QByteArray();
    QTest::newRow("bad assignment") << QStringList{"--set", "Price"} << 2 << QString() << QByteArray("Name=Value");
    QTest::newRow("bad market file") << QStringList{"--market", "@/bad.json"} << 1 << QString()
                                     << QByteArray("bad.json: table \"stocks\", row 1");
}

void tst_VetrelDemo::commandLine()
{
    QFETCH(QStringList, arguments);
    QFETCH(int, exitCode);
    QFETCH(QString, printed);
    QFETCH(QByteArray, error);

    QTemporaryDir dir;
    for (QString &argument : arguments)
        argument.replace(QLatin1Char('@'), dir.path());
    error.replace('@', dir.path().toLocal8Bit());
    QFile market(dir.filePath(QStringLiteral("bad.json")));
    QVERIFY(market.open(QIODevice::WriteOnly));
    market.write(R"({"format": "vetrel-market/1", "tables": [{"name": "stocks", "rows": [["x"]]}]})");
    market.close();

    QProcess demo;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    for (const char *name : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"})
        environment.remove(QLatin1String(name));
    demo.setProcessEnvironment(environment);
    demo.start(QStringLiteral(VETREL_DEMO_PATH), arguments);
    QVERIFY(demo.waitForFinished(60000));
    QCOMPARE(demo.exitStatus(), QProcess::NormalExit);
    QCOMPARE(demo.exitCode(), exitCode);
    const QJsonObject json = QJsonDocument::fromJson(demo.readAllStandardOutput()).object();
    const QByteArray err = demo.readAllStandardError();
    QVERIFY2(err.contains(error), err.constData());

    const QJsonDocument expected = QJsonDocument::fromJson(printed.toUtf8());
    if (expected.isArray()) {
        QVERIFY(!json.contains(QStringLiteral("request")));
        QCOMPARE(json.value(QStringLiteral("invalid")).toArray(), expected.array());
    } else if (expected.isObject()) {
        const QJsonObject request = json.value(QStringLiteral("request")).toObject();
        for (const QString &name : expected.object().keys())
            QCOMPARE(request.value(name), expected.object().value(name));
        const QImage image(dir.filePath(QStringLiteral("form.png")));
        QVERIFY(image.width() >= 420 && image.height() > 400);
        QSet<QRgb> colours;
        for (int y = 0; y < image.height(); y += 3) {
            for (int x = 0; x < image.width(); x += 3)
                colours.insert(image.pixel(x, y));
        }
        QVERIFY2(colours.size() > 32, "the screenshot is close to blank");
    }
}

QTEST_GUILESS_MAIN(tst_VetrelDemo)
#include "tst_vetreldemo.moc"
