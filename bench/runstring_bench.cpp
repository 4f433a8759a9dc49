// The cost of runString of a one-line script, in console mode and in file
// mode, against a bare PyRun_SimpleStringFlags of the same text; and the
// cost of runFile of a script of 200,000 short lines against runString of
// the same text, which shows what reading the file adds.
//
// File mode pays for the error file: its path as a Python literal, the
// open, close and removal, and the restoring of the streams; console mode
// for installing and restoring the two output objects. After the Google
// Benchmark runs, a summary gives each mode's cost and its ratio to the
// bare run.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <ctime>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include "core/serviceprovider.h"
#include "host/commandsets.h"
#include "host/hostdatastore.h"
#include "host/hostdirservice.h"
#include "host/hostprovider.h"
#include "host/scriptcommands.h"
#include "host/scriptvalues.h"
#include "script/pyref.h"
#include "script/scriptinterpreterpython.h"

namespace {

const char kLine[] = "x = 6 * 7\n";
const char16_t kWideLine[] = u"x = 6 * 7\n";

const int kLongScriptLines = 200000;

HostDataStore* store = nullptr;
ScriptInterpreterPython* interpreter = nullptr;
std::string longScriptPath;
KelWideString longScriptText;

// The long script, as a file and as one text.
void writeLongScript(const std::filesystem::path& folder)
{
    std::string text;
    for (int i = 0; i < kLongScriptLines; ++i)
        text += kLine;
    longScriptPath = (folder / "long.py").string();
    std::ofstream(longScriptPath, std::ios::binary) << text;
    longScriptText = KelWideString(text.c_str());
}

// The host as kelhost has it, with the macros directory in a temporary folder.
void startHost()
{
    std::filesystem::path macros = std::filesystem::temp_directory_path() / "kel-runstring-bench";
    std::filesystem::create_directories(macros);
    auto* provider = new HostServiceProvider;
    kelSetServiceProvider(provider);
    auto* dirs = new HostDirService;
    dirs->setDirectory("exe", KEL_BUILD_ROOT);
    dirs->setDirectory("macros", macros.string());
    provider->addService("IKelDirService", dirs);
    store = new HostDataStore;
    store->declareStringAppState("Python/Output String", 1024, KelWideString::emptyString(), 0);
    store->declareStringAppState("Python/Error String", 1024, KelWideString::emptyString(), 0);
    provider->addService("IDataStore", store);
    provider->addService("IScriptFactory", new HostScriptFactory);
    provider->addService("IScriptEngine", new HostScriptEngine);
    auto* commands = new HostCommandList;
    commands->addRef();
    kelAddCommandSets(*commands);
    interpreter = new ScriptInterpreterPython;
    interpreter->addRef();
    interpreter->bindCommands(commands);
    writeLongScript(macros);
}

void setConsole(bool on)
{
    store->setSetting("Scripting/ShowScriptingConsole", on ? "1" : "0");
}

void runBare()
{
    PyRun_SimpleStringFlags(kLine, nullptr);
}

void runConsole()
{
    interpreter->runString(KelWideString(kWideLine, kelBorrow));
}

void runFileMode()
{
    interpreter->runString(KelWideString(kWideLine, kelBorrow));
}

void BM_BarePyRun(benchmark::State& state)
{
    for (auto _ : state)
        runBare();
}
BENCHMARK(BM_BarePyRun);

void BM_RunStringConsoleMode(benchmark::State& state)
{
    setConsole(true);
    for (auto _ : state)
        runConsole();
}
BENCHMARK(BM_RunStringConsoleMode);

void BM_RunStringFileMode(benchmark::State& state)
{
    setConsole(false);
    for (auto _ : state)
        runFileMode();
}
BENCHMARK(BM_RunStringFileMode);

void runLongFile()
{
    interpreter->runFile(KelWideString(longScriptPath.c_str()));
}

void runLongText()
{
    interpreter->runString(longScriptText);
}

void BM_RunStringLongScript(benchmark::State& state)
{
    setConsole(false);
    for (auto _ : state)
        runLongText();
}
BENCHMARK(BM_RunStringLongScript)->Unit(benchmark::kMillisecond);

void BM_RunFileLongScript(benchmark::State& state)
{
    setConsole(false);
    for (auto _ : state)
        runLongFile();
}
BENCHMARK(BM_RunFileLongScript)->Unit(benchmark::kMillisecond);

// Processor microseconds per run, the best of five rounds of `count` runs:
// the machine is shared, so wall time says more about the neighbours.
double microseconds(void (*run)(), int count)
{
    double best = 1e300;
    for (int round = 0; round < 5; ++round) {
        std::clock_t start = std::clock();
        for (int i = 0; i < count; ++i)
            run();
        double took = 1e6 * static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
        best = std::min(best, took / count);
    }
    return best;
}

void summary()
{
    double bare = microseconds(runBare, 2000);
    setConsole(true);
    double console = microseconds(runConsole, 2000);
    setConsole(false);
    double file = microseconds(runFileMode, 2000);
    std::printf("\nrunString of \"x = 6 * 7\", processor time, best of 5 x 2000 runs:\n");
    std::printf("  bare PyRun_SimpleStringFlags  %8.2f us\n", bare);
    std::printf("  console mode                  %8.2f us  %5.2fx bare (goal: at most 4x)\n", console, console / bare);
    std::printf("  file mode                     %8.2f us  %5.2fx bare (goal: at most 15x)\n", file, file / bare);
    double text = microseconds(runLongText, 3) / 1000;
    double read = microseconds(runLongFile, 3) / 1000;
    std::printf("\n%d lines, file mode, processor time, best of 5 x 3 runs:\n", kLongScriptLines);
    std::printf("  runString of the text         %8.1f ms\n", text);
    std::printf("  runFile of the same file      %8.1f ms  %5.2fx runString (goal: at most 2x)\n", read, read / text);
}

}  // namespace

int main(int argc, char** argv)
{
    startHost();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    summary();
    return 0;
}
