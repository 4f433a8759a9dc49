// The cost of a host command call from Python, host side included, against
// a bare C function of the same calling convention (METH_VARARGS |
// METH_KEYWORDS, a str as self) that gives None, in the same Python loop.
//
// Each benchmark runs a Python loop of kCalls calls; the figures are per
// call. After the Google Benchmark runs, a summary gives each call's cost
// above the empty loop and the ratio of bridge to bare call.
//
// Measured on the 2-core build machine (processor time, best of 9 rounds):
// empty loop 10 ns; bare f() 14 ns, bare f(1) 23 ns; kel.nop() 33 ns (2.4x);
// kel.echo(1) 89-95 ns (3.6-4.1x); kel.echo(value=1) 140 ns (5.8x, the
// keyword is copied into the host's list). Instructions per call under
// callgrind, above the empty loop: bare f() 331, bare f(1) 520, kel.nop()
// 715 (2.2x), kel.echo(1) 1420 (2.7x).
#include <benchmark/benchmark.h>

#include <algorithm>
#include <ctime>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "core/serviceprovider.h"
#include "host/commandsets.h"
#include "host/hostdatastore.h"
#include "host/hostdirservice.h"
#include "host/hostprovider.h"
#include "host/scriptcommands.h"
#include "host/scriptvalues.h"
#include "kel/iptr.h"
#include "script/commandbridge.h"
#include "script/pyref.h"
#include "script/scriptinterpreterpython.h"

namespace {

const int kCalls = 1000;

PyObject* bare(PyObject*, PyObject*, PyObject*)
{
    Py_RETURN_NONE;
}

PyObject* mainDict()
{
    return PyModule_GetDict(PyImport_AddModule("__main__"));  // borrowed, borrowed
}

// Puts a function on `entry` with `name` as its self into `module`, the way
// the interpreter publishes commands.
void publish(PyObject* module, PyMethodDef* row, const char* name, PyCFunctionWithKeywords entry)
{
    *row = {name, reinterpret_cast<PyCFunction>(reinterpret_cast<void (*)()>(entry)), METH_VARARGS | METH_KEYWORDS,
            nullptr};
    PyRef self = PyRef::steal(PyUnicode_FromString(name));
    PyRef function = PyRef::steal(PyCFunction_NewEx(row, self.get(), nullptr));
    PyObject_SetAttrString(module, name, function.get());
}

// The host as kelhost has it: the reference host's provider and services,
// the interpreter singleton with the basic commands bound. The commands are
// called through the module "kel" when the interpreter publishes it, through
// functions made the same way otherwise.
void startHost()
{
    auto* provider = new HostServiceProvider;
    kelSetServiceProvider(provider);
    auto* dirs = new HostDirService;
    dirs->setDirectory("exe", KEL_BUILD_ROOT);
    provider->addService("IKelDirService", dirs);
    provider->addService("IDataStore", new HostDataStore);
    provider->addService("IScriptFactory", new HostScriptFactory);
    provider->addService("IScriptEngine", new HostScriptEngine);
    auto* commands = new HostCommandList;
    commands->addRef();
    kelAddCommandSets(*commands);

    auto* interpreter = new ScriptInterpreterPython;
    interpreter->addRef();
    if (!Py_IsInitialized())
        Py_Initialize();
    interpreter->bindCommands(commands);

    static PyMethodDef rows[3];
    PyRef module = PyRef::steal(PyModule_New("bench"));
    publish(module.get(), &rows[0], "bare", bare);
    publish(module.get(), &rows[1], "echo", callCommand);
    publish(module.get(), &rows[2], "nop", callCommand);
    PyDict_SetItemString(mainDict(), "b", module.get());
    PyRun_SimpleString(
        "try:\n"
        "    import kel as k\n"
        "    k.echo, k.nop\n"
        "except Exception:\n"
        "    k = b\n"
        "def loop_empty(n):\n"
        "    for _ in range(n): pass\n"
        "def loop_bare0(n, f=b.bare):\n"
        "    for _ in range(n): f()\n"
        "def loop_bare1(n, f=b.bare):\n"
        "    for _ in range(n): f(1)\n"
        "def loop_nop(n, f=k.nop):\n"
        "    for _ in range(n): f()\n"
        "def loop_echo(n, f=k.echo):\n"
        "    for _ in range(n): f(1)\n"
        "def loop_echo_keyword(n, f=k.echo):\n"
        "    for _ in range(n): f(value=1)\n");
}

// Runs the Python loop `name` over `calls` calls.
void runLoop(const char* name, int calls)
{
    static PyObject* dict = mainDict();
    PyObject* function = PyDict_GetItemString(dict, name);  // borrowed
    PyRef result = PyRef::steal(PyObject_CallFunction(function, "i", calls));
    if (!result) {
        PyErr_Print();
        std::abort();
    }
}

void loopBenchmark(benchmark::State& state, const char* name)
{
    for (auto _ : state)
        runLoop(name, kCalls);
    state.SetItemsProcessed(state.iterations() * kCalls);
    state.counters["ns/call"] =
        benchmark::Counter(static_cast<double>(state.iterations() * kCalls),
                           benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

BENCHMARK_CAPTURE(loopBenchmark, EmptyLoop, "loop_empty");
BENCHMARK_CAPTURE(loopBenchmark, BareNoArgument, "loop_bare0");
BENCHMARK_CAPTURE(loopBenchmark, BareOneArgument, "loop_bare1");
BENCHMARK_CAPTURE(loopBenchmark, BridgeNop, "loop_nop");
BENCHMARK_CAPTURE(loopBenchmark, BridgeEcho1, "loop_echo");
BENCHMARK_CAPTURE(loopBenchmark, BridgeEchoKeyword, "loop_echo_keyword");

// Nanoseconds of processor time per call of the loop, the best of several
// rounds. Processor time, not wall time: on a shared machine the wall clock
// mostly measures the other processes.
double perCall(const char* name)
{
    const int calls = 200000;
    double best = 1e30;
    for (int round = 0; round < 9; ++round) {
        const std::clock_t start = std::clock();
        runLoop(name, calls);
        const double took = static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC * 1e9;
        best = std::min(best, took / calls);
    }
    return best;
}

void printSummary()
{
    const double empty = perCall("loop_empty");
    const double bare0 = perCall("loop_bare0") - empty;
    const double bare1 = perCall("loop_bare1") - empty;
    const double nop = perCall("loop_nop") - empty;
    const double echo = perCall("loop_echo") - empty;
    const double keyword = perCall("loop_echo_keyword") - empty;
    std::printf("\nper call, above the empty loop (%.1f ns):\n", empty);
    std::printf("  bare f()          %6.1f ns\n", bare0);
    std::printf("  bare f(1)         %6.1f ns\n", bare1);
    std::printf("  kel.nop()         %6.1f ns  %.2fx bare f()   (goal: at most 4x)\n", nop, nop / bare0);
    std::printf("  kel.echo(1)       %6.1f ns  %.2fx bare f(1)  (goal: at most 4x)\n", echo, echo / bare1);
    std::printf("  kel.echo(value=1) %6.1f ns  %.2fx bare f(1)\n", keyword, keyword / bare1);
}

}  // namespace

// --no-summary skips the summary; --once LOOP N runs one Python loop of N
// calls and nothing else (both for runs under a profiler).
int main(int argc, char** argv)
{
    if (argc == 4 && std::string(argv[1]) == "--once") {
        startHost();
        runLoop(argv[2], std::atoi(argv[3]));
        return 0;
    }
    bool summary = true;
    for (int i = 1; i < argc; ++i) {
        if (std::string(argv[i]) == "--no-summary") {
            summary = false;
            std::copy(argv + i + 1, argv + argc, argv + i);
            --argc;
            break;
        }
    }
    startHost();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    if (summary)
        printSummary();
    return 0;
}
