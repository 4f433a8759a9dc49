// UTF-8 decoding and encoding of KelWideString on 1 MiB of text, beside
// memcpy of the same bytes. After the runs the speeds are printed as ratios
// to memcpy; the goal for ASCII decoding is at least a quarter.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "kel/kelwidestring.h"

namespace {

constexpr size_t kTextBytes = 1 << 20;

std::string makeAscii()
{
    const std::string line = "The quick brown fox jumps over the lazy dog; 0123456789.\n";
    std::string text;
    while (text.size() + line.size() <= kTextBytes)
        text += line;
    text.append(kTextBytes - text.size(), 'x');
    return text;
}

// European text with accents, Greek, a currency sign and CJK: about three
// quarters of the bytes are ASCII. Cut on a character boundary, padded with
// ASCII to exactly 1 MiB.
std::string makeMixed()
{
    const std::string line =
        "Gr\xC3\xBC\xC3\x9F" "e aus K\xC3\xB6ln \xE2\x80\x93 na\xC3\xAFve caf\xC3\xA9, \xE2\x82\xAC" "20; "
        "\xCE\x95\xCE\xBB\xCE\xBB\xCE\xB7\xCE\xBD\xCE\xB9\xCE\xBA\xCE\xAC \xE4\xBB\xB7\xE6\xA0\xBC "
        "and some plain words between them.\n";
    std::string text;
    while (text.size() + line.size() <= kTextBytes)
        text += line;
    text.append(kTextBytes - text.size(), 'x');
    return text;
}

const std::string& textOf(int kind)
{
    static const std::string ascii = makeAscii();
    static const std::string mixed = makeMixed();
    return kind == 0 ? ascii : mixed;
}

void memcpyText(benchmark::State& state)
{
    const std::string& text = textOf(static_cast<int>(state.range(0)));
    std::vector<char> target(text.size());
    for (auto _ : state) {
        std::memcpy(target.data(), text.data(), text.size());
        benchmark::DoNotOptimize(target.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}

void fromUtf8(benchmark::State& state)
{
    const std::string& text = textOf(static_cast<int>(state.range(0)));
    if (KelWideString::fromUtf8(text.c_str()).isEmpty())
        state.SkipWithError("the text does not decode");
    for (auto _ : state) {
        KelWideString decoded = KelWideString::fromUtf8(text.c_str());
        benchmark::DoNotOptimize(decoded.text());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}

void utf8(benchmark::State& state)
{
    const std::string& text = textOf(static_cast<int>(state.range(0)));
    KelWideString wide = KelWideString::fromUtf8(text.c_str());
    if (std::strlen(wide.utf8()) != text.size())
        state.SkipWithError("the text does not encode back");
    for (auto _ : state)
        benchmark::DoNotOptimize(wide.utf8());
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}

BENCHMARK(memcpyText)->ArgName("mixed")->Arg(0)->Arg(1);
BENCHMARK(fromUtf8)->ArgName("mixed")->Arg(0)->Arg(1);
BENCHMARK(utf8)->ArgName("mixed")->Arg(0)->Arg(1);

// Keeps the console output and remembers each run's speed for the ratios.
class RatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override
    {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs) {
            auto found = run.counters.find("bytes_per_second");
            if (!run.error_occurred && found != run.counters.end())
                speeds[run.benchmark_name()] = found->second.value;
        }
    }

    void printRatios() const
    {
        std::printf("\nGB/s and ratio to memcpy of the same 1 MiB:\n");
        for (const char* kind : {"0", "1"}) {
            std::string suffix = std::string("/mixed:") + kind;
            double base = speedOf("memcpyText" + suffix);
            for (const char* name : {"fromUtf8", "utf8"}) {
                double speed = speedOf(name + suffix);
                if (base > 0 && speed > 0)
                    std::printf("  %-8s %-5s %6.2f GB/s  memcpy %6.2f GB/s  ratio %.3f\n", name,
                                kind[0] == '0' ? "ascii" : "mixed", speed / 1e9, base / 1e9, speed / base);
            }
        }
    }

private:
    double speedOf(const std::string& name) const
    {
        auto found = speeds.find(name);
        return found == speeds.end() ? 0.0 : found->second;
    }

    std::map<std::string, double> speeds;
};

}  // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.printRatios();
    benchmark::Shutdown();
    return 0;
}
