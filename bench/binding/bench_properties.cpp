// The binding engine against the hand-written code it replaces: direct
// connects between the same line edits, copying the same texts.
//
// Forms have ten LineEdits per binding name. Every figure is printed beside
// its baseline from the same run, followed by the 1,000 -> 10,000 growth.

#include <vetrel/lineedit.h>
#include <vetrel/properties.h>

#include <QApplication>
#include <QHash>
#include <QVector>
#include <QWidget>

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <memory>
#include <string>

namespace
{

constexpr int PeersPerName = 10;

QString bindingName(int index)
{
    return QStringLiteral("Field%1").arg(index);
}

std::unique_ptr<QWidget> makeForm(int widgets)
{
    auto form = std::make_unique<QWidget>();
    const int names = widgets / PeersPerName;
    for (int i = 0; i < widgets; ++i) {
        auto *edit = new LineEdit(form.get());
        edit->setProperty("field", bindingName(i % names));
        edit->setText(QString::number(i % names));
    }
    return form;
}

// What a form's author would write by hand: group the edits by name, copy
// the first one's text into the others, and connect each to its peers.
class DirectBinding
{
public:
    void connectAll(QWidget *form)
    {
        const QList<LineEdit *> edits = form->findChildren<LineEdit *>();
        for (LineEdit *edit : edits)
            groups[edit->property("field").toString()].append(edit);
        for (const QVector<LineEdit *> &group : qAsConst(groups)) {
            for (LineEdit *edit : group) {
                edit->setValue(group.first()->getValue());
                QObject::connect(edit, &LineEdit::changedValue, edit, [group, edit](const QString &text) {
                    for (LineEdit *peer : group) {
                        if (peer != edit)
                            peer->setValue(text);
                    }
                });
            }
        }
    }

    void setValues(const Values &values)
    {
        for (auto it = values.cbegin(); it != values.cend(); ++it) {
            const QString text = it.value().toString();
            for (LineEdit *edit : qAsConst(groups)[it.key()])
                edit->setValue(text);
        }
    }

private:
    QHash<QString, QVector<LineEdit *>> groups;
};

template <typename Binding>
void connectAll(benchmark::State &state)
{
    for (auto _ : state) {
        state.PauseTiming();
        auto form = makeForm(int(state.range(0)));
        auto binding = std::make_unique<Binding>();
        state.ResumeTiming();
        binding->connectAll(form.get());
        state.PauseTiming();
        binding.reset();
        form.reset();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void userEdit(LineEdit *edit, const QString &text)
{
    edit->setText(text);
    emit edit->textEdited(text);
}

template <typename Binding>
void propagateEdit(benchmark::State &state)
{
    auto form = makeForm(int(state.range(0)));
    Binding binding;
    binding.connectAll(form.get());
    auto *edit = form->findChild<LineEdit *>();
    const QString texts[] = {QStringLiteral("101.25"), QStringLiteral("101.50")};
    int turn = 0;
    for (auto _ : state)
        userEdit(edit, texts[++turn & 1]);
}

template <typename Binding>
void setValues(benchmark::State &state)
{
    const int names = int(state.range(0)) / PeersPerName;
    auto form = makeForm(int(state.range(0)));
    Binding binding;
    binding.connectAll(form.get());
    Values values[2];
    for (int i = 0; i < names; ++i) {
        values[0].insert(bindingName(i), QStringLiteral("a%1").arg(i));
        values[1].insert(bindingName(i), QStringLiteral("b%1").arg(i));
    }
    int turn = 0;
    for (auto _ : state)
        binding.setValues(values[++turn & 1]);
}

void registerPair(const char *name, void (*engine)(benchmark::State &), void (*direct)(benchmark::State &),
                  std::initializer_list<int64_t> sizes)
{
    for (const int64_t size : sizes) {
        benchmark::RegisterBenchmark((std::string(name) + "/engine").c_str(), engine)
            ->Arg(size)
            ->Unit(benchmark::kMicrosecond);
        benchmark::RegisterBenchmark((std::string(name) + "/direct").c_str(), direct)
            ->Arg(size)
            ->Unit(benchmark::kMicrosecond);
    }
}

// Prints the usual table, then each figure beside its baseline. CPU time,
// because the wall clock of a shared machine says more about its neighbours.
class SummaryReporter : public benchmark::ConsoleReporter
{
public:
    void ReportRuns(const std::vector<Run> &runs) override
    {
        ConsoleReporter::ReportRuns(runs);
        for (const Run &run : runs) {
            if (run.run_type == Run::RT_Iteration && !run.error_occurred)
                microseconds[run.benchmark_name()] = run.GetAdjustedCPUTime();
        }
    }

    void summarise(const char *name, std::initializer_list<int> sizes) const
    {
        for (const int size : sizes) {
            const double engine = time(name, "engine", size);
            const double direct = time(name, "direct", size);
            if (engine > 0 && direct > 0)
                std::printf("%-14s %6d widgets: engine %10.1f us, direct %10.1f us, engine/direct %.2f\n", name,
                            size, engine, direct, engine / direct);
        }
    }

    void growth(const char *name, int from, int to) const
    {
        for (const char *side : {"engine", "direct"}) {
            const double small = time(name, side, from);
            const double large = time(name, side, to);
            if (small > 0 && large > 0)
                std::printf("%-14s %s growth %d -> %d widgets: x%.2f\n", name, side, from, to, large / small);
        }
    }

private:
    double time(const char *name, const char *side, int size) const
    {
        const auto it = microseconds.find(std::string(name) + '/' + side + '/' + std::to_string(size));
        return it == microseconds.end() ? 0 : it->second;
    }

    std::map<std::string, double> microseconds;
};

}

int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);

    registerPair("connectAll", connectAll<Properties>, connectAll<DirectBinding>, {1000, 10000});
    registerPair("propagateEdit", propagateEdit<Properties>, propagateEdit<DirectBinding>, {1000, 10000});
    registerPair("setValues", setValues<Properties>, setValues<DirectBinding>, {10000});

    benchmark::Initialize(&argc, argv);
    SummaryReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    std::printf("\n");
    reporter.summarise("connectAll", {1000, 10000});
    reporter.summarise("propagateEdit", {1000, 10000});
    reporter.summarise("setValues", {10000});
    reporter.growth("connectAll", 1000, 10000);
    reporter.growth("propagateEdit", 1000, 10000);
    benchmark::Shutdown();
    return 0;
}
