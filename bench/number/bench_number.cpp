// One validate() call on typical texts, and one typed character in a
// NumberEditor from key event to changedValue, each beside the same work done
// by QDoubleValidator and a QLineEdit carrying it.
#include <vetrel/decimalvalidator.h>
#include <vetrel/numbereditor.h>

#include <QApplication>
#include <QDoubleValidator>
#include <QKeyEvent>
#include <QLineEdit>

#include <benchmark/benchmark.h>

namespace
{

// As the field holds them in the C locale: a 12-character price, and a
// 15-digit number the moment its last digit is typed (not yet regrouped).
const QString price = QStringLiteral("1,234,567.89");
const QString fifteenDigits = QStringLiteral("123456789012345");

template<typename Validator>
void validateText(benchmark::State &state, const Validator &validator, const QString &text)
{
    for (auto _ : state) {
        QString input = text;
        int pos = input.size();
        benchmark::DoNotOptimize(validator.validate(input, pos));
    }
}

void BM_DecimalValidator_price(benchmark::State &state)
{
    validateText(state, DecimalValidator(2, true, true), price);
}

void BM_QDoubleValidator_price(benchmark::State &state)
{
    validateText(state, QDoubleValidator(-1e15, 1e15, 2, nullptr), price);
}

void BM_DecimalValidator_15digits(benchmark::State &state)
{
    validateText(state, DecimalValidator(2, true, true), fifteenDigits);
}

void BM_QDoubleValidator_15digits(benchmark::State &state)
{
    validateText(state, QDoubleValidator(-1e15, 1e15, 2, nullptr), fifteenDigits);
}

void sendKey(QWidget *target, int key, const QString &text)
{
    QKeyEvent press(QEvent::KeyPress, key, Qt::NoModifier, text);
    QApplication::sendEvent(target, &press);
}

// One iteration types a digit and deletes it again: two keystrokes, each
// changing the value, so the counter reports the cost of one.
void typeAndErase(benchmark::State &state, QLineEdit &editor, int &changes)
{
    for (const QChar ch : price)
        sendKey(&editor, 0, QString(ch));
    const int before = changes;
    for (auto _ : state) {
        sendKey(&editor, Qt::Key_9, QStringLiteral("9"));
        sendKey(&editor, Qt::Key_Backspace, QString());
    }
    if (changes - before != 2 * int(state.iterations()))
        state.SkipWithError("a keystroke did not reach the value signal");
    state.counters["keystroke"] = benchmark::Counter(
        double(2 * state.iterations()), benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void BM_NumberEditor_keystroke(benchmark::State &state)
{
    NumberEditor editor(nullptr, 3);
    int changes = 0;
    QObject::connect(&editor, &NumberEditor::changedValue, [&changes] { ++changes; });
    typeAndErase(state, editor, changes);
}

void BM_QLineEditQDoubleValidator_keystroke(benchmark::State &state)
{
    QLineEdit editor;
    editor.setValidator(new QDoubleValidator(-1e15, 1e15, 3, &editor));
    int changes = 0;
    QObject::connect(&editor, &QLineEdit::textChanged, [&changes] { ++changes; });
    typeAndErase(state, editor, changes);
}

}

BENCHMARK(BM_DecimalValidator_price);
BENCHMARK(BM_QDoubleValidator_price);
BENCHMARK(BM_DecimalValidator_15digits);
BENCHMARK(BM_QDoubleValidator_15digits);
BENCHMARK(BM_NumberEditor_keystroke);
BENCHMARK(BM_QLineEditQDoubleValidator_keystroke);

int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    // Fixed notation for comparable figures: ',' between groups, '.' as point.
    QLocale::setDefault(QLocale::c());
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
