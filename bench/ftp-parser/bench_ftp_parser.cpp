// One million listing lines in the four formats, parsed into file records,
// against the floor of cutting the same lines into blank-separated fields.
#include <vetrel/FtpClient/FTPListParse.h>

#include <benchmark/benchmark.h>

#include <cstdio>
#include <unistd.h>
#include <map>
#include <random>
#include <string>
#include <vector>

namespace
{

const std::vector<std::string> &lines()
{
    static const std::vector<std::string> all = [] {
        const char *const months[]
            = { "Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec" };
        const char *const names[] = { "report.csv", "quotes 2009.txt", "a", "README", "orders-archive.tar.gz",
            "very long file name with several blanks in it.dat" };
        std::mt19937 random(42);
        std::vector<std::string> result;
        result.reserve(1000000);
        char line[256];
        for (int i = 0; i < 1000000; ++i) {
            const char *name = names[random() % 6];
            const char *month = months[random() % 12];
            const unsigned day = 1 + random() % 28, size = random() % 10000000;
            switch (i % 10) {
            case 0:
            case 1:
            case 2: // UNIX with group, recent
                std::snprintf(line, sizeof line, "-rw-r--r--   1 trader   desk     %8u %s %2u %02u:%02u %s",
                    size, month, day, unsigned(random() % 24), unsigned(random() % 60), name);
                break;
            case 3: // UNIX with group, old
                std::snprintf(line, sizeof line, "drwxr-xr-x   2 trader   desk     %8u %s %2u  %u %s", size,
                    month, day, 1990 + unsigned(random() % 30), name);
                break;
            case 4: // UNIX without group
                std::snprintf(line, sizeof line, "-rw-r--r-- 1 0 %u %s %u %u %s", size, month, day,
                    1990 + unsigned(random() % 30), name);
                break;
            case 5: // link
                std::snprintf(
                    line, sizeof line, "lrwxrwxrwx 1 root root 7 %s %u 12:00 %s -> target", month, day, name);
                break;
            case 6:
            case 7: // MS-DOS
                std::snprintf(line, sizeof line, "%02u-%02u-%02u  %02u:%02u%s %14u %s",
                    1 + unsigned(random() % 12), day, unsigned(random() % 100), 1 + unsigned(random() % 12),
                    unsigned(random() % 60), random() % 2 ? "AM" : "PM", size, name);
                break;
            case 8: // MultiNet
                std::snprintf(line, sizeof line, "%s;1 %u %u-%s-%u %02u:%02u [SYSTEM] (RWED,RWED,RE,RE)",
                    "DATA.DIR", unsigned(random() % 100), day, month, 1990 + unsigned(random() % 30),
                    unsigned(random() % 24), unsigned(random() % 60));
                break;
            default: // EPLF
                std::snprintf(line, sizeof line, "+i%u.%u,m%u,r,s%u,\t%s", unsigned(random()),
                    unsigned(random()), unsigned(random() % 1000000000), size, name);
                break;
            }
            result.emplace_back(line);
        }
        return result;
    }();
    return all;
}

// The floor: find every blank-separated field of every line, keeping its place and length.
void SplitAtBlanks(benchmark::State &state)
{
    const auto &input = lines();
    std::vector<std::pair<const char *, size_t>> fields;
    for (auto _ : state) {
        size_t count = 0;
        for (const std::string &line : input) {
            fields.clear();
            const char *p = line.data();
            const char *end = p + line.size();
            while (p != end) {
                while (p != end && *p == ' ')
                    ++p;
                const char *field = p;
                while (p != end && *p != ' ')
                    ++p;
                if (p != field)
                    fields.emplace_back(field, size_t(p - field));
            }
            count += fields.size();
        }
        benchmark::DoNotOptimize(count);
    }
    state.SetItemsProcessed(int64_t(state.iterations()) * int64_t(input.size()));
}

void ParseListing(benchmark::State &state)
{
    const auto &input = lines();
    nsFTP::CFTPListParser parser;
    nsFTP::CFTPFileStatus status;
    for (auto _ : state) {
        size_t accepted = 0;
        for (const std::string &line : input)
            accepted += parser.Parse(status, line);
        if (accepted != input.size())
            state.SkipWithError("a generated line was not understood");
        benchmark::DoNotOptimize(accepted);
    }
    state.SetItemsProcessed(int64_t(state.iterations()) * int64_t(input.size()));
}

BENCHMARK(SplitAtBlanks)->Unit(benchmark::kMillisecond);
BENCHMARK(ParseListing)->Unit(benchmark::kMillisecond);

// Prints the parser's time as a multiple of the floor measured in the same run.
class RatioReporter : public benchmark::ConsoleReporter
{
public:
    // Colours only on a terminal, so that logs stay readable.
    RatioReporter()
        : ConsoleReporter(isatty(STDOUT_FILENO) ? OO_Defaults : OO_None)
    {
    }

    void ReportRuns(const std::vector<Run> &runs) override
    {
        for (const Run &run : runs)
            m_times[run.benchmark_name()] = { run.GetAdjustedRealTime(), run.GetAdjustedCPUTime() };
        ConsoleReporter::ReportRuns(runs);
    }
    void Finalize() override
    {
        ConsoleReporter::Finalize();
        const auto floor = m_times.find("SplitAtBlanks"), parse = m_times.find("ParseListing");
        if (floor == m_times.end() || parse == m_times.end())
            return;
        // CPU time as well: on a shared machine the wall clock also counts other processes.
        std::printf("ParseListing / SplitAtBlanks: %.2f in real time, %.2f in CPU time (goal: at most 3)\n",
            parse->second.first / floor->second.first, parse->second.second / floor->second.second);
    }

private:
    std::map<std::string, std::pair<double, double>> m_times;
};

}

int main(int argc, char **argv)
{
    benchmark::Initialize(&argc, argv);
    lines(); // generated once, outside the measurements
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}
