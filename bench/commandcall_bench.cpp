// The cost of a host command call from Python, host side included, against
// a bare C function of the same calling convention (METH_VARARGS |
// METH_KEYWORDS, a str as self) that gives None, in the same Python loop.
//
// Each benchmark runs a Python loop of kCalls calls; the figures are per
// call. After the Google Benchmark runs, a summary gives each call's cost
// above the empty loop, its ratio to the bare call of the same form and
// that ratio against its goal (kel.nop() 1.5x, kel.echo(1) 2x, the keyword
// call 3x).
//
// Measured on the 2-core build machine, shared with other builds (processor
// time, best of 15 interleaved rounds; runs differ by about 5%, kel.echo(1)
// by up to 15%): bare f() 12 ns, f(1) 21 ns, f(value=1) 36 ns; kel.nop()
// 31-32 ns (2.6-2.7x), kel.echo(1) 74-86 ns (3.6-4.0x), kel.echo(value=1)
// 121-127 ns (3.4-3.6x). Before the look-up lost its divide and its library
// calls: kel.nop() 35-37 ns (2.9-3.1x), kel.echo(1) 77-81 ns (3.7-3.9x),
// kel.echo(value=1) 126-128 ns (3.6x). Instructions per call under
// callgrind, above the empty loop: bare f() 331, f(1) 516, f(value=1) 814;
// kel.nop() 723 (2.2x; 778 before), kel.echo(1) 1434 (2.8x), the keyword
// call 2295 (2.8x). What is left is mostly the host's objects: an argument
// list and a value made and destroyed through the factory at each call, the
// typed view of the result found by name, reference counts through virtual
// bases, and a look-up that follows four pointers one after the other.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <ctime>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

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
        "def loop_bare_keyword(n, f=b.bare):\n"
        "    for _ in range(n): f(value=1)\n"
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
BENCHMARK_CAPTURE(loopBenchmark, BareKeyword, "loop_bare_keyword");
BENCHMARK_CAPTURE(loopBenchmark, BridgeNop, "loop_nop");
BENCHMARK_CAPTURE(loopBenchmark, BridgeEcho1, "loop_echo");
BENCHMARK_CAPTURE(loopBenchmark, BridgeEchoKeyword, "loop_echo_keyword");

// Nanoseconds of processor time per call of each loop, the best of several
// rounds. Processor time, not wall time: on a shared machine the wall clock
// mostly measures the other processes. The rounds take the loops in turns,
// so that a burst of load elsewhere falls on all of them alike.
std::vector<double> perCall(const std::vector<const char*>& names)
{
    const int calls = 100000;
    std::vector<double> best(names.size(), 1e30);
    for (int round = 0; round < 15; ++round) {
        for (size_t i = 0; i < names.size(); ++i) {
            const std::clock_t start = std::clock();
            runLoop(names[i], calls);
            const double took = static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC * 1e9;
            best[i] = std::min(best[i], took / calls);
        }
    }
    return best;
}

// One line of the summary: the call's cost, its ratio to its bare call and
// that ratio against the goal.
void printRatio(const char* call, double cost, const char* bareCall, double bare, double goal)
{
    const double ratio = cost / bare;
    std::printf("  %-18s %6.1f ns  %5.2fx bare %-11s goal %.1fx: %s\n", call, cost, ratio, bareCall, goal,
                ratio <= goal ? "met" : "not met");
}

void printSummary()
{
    const std::vector<double> cost = perCall({"loop_empty", "loop_bare0", "loop_bare1", "loop_bare_keyword", "loop_nop",
                                              "loop_echo", "loop_echo_keyword"});
    const double empty = cost[0];
    const double bare0 = cost[1] - empty;
    const double bare1 = cost[2] - empty;
    const double bareKeyword = cost[3] - empty;
    const double nop = cost[4] - empty;
    const double echo = cost[5] - empty;
    const double keyword = cost[6] - empty;
    std::printf("\nper call, above the empty loop (%.1f ns):\n", empty);
    std::printf("  %-18s %6.1f ns\n", "bare f()", bare0);
    std::printf("  %-18s %6.1f ns\n", "bare f(1)", bare1);
    std::printf("  %-18s %6.1f ns\n", "bare f(value=1)", bareKeyword);
    printRatio("kel.nop()", nop, "f()", bare0, 1.5);
    printRatio("kel.echo(1)", echo, "f(1)", bare1, 2.0);
    printRatio("kel.echo(value=1)", keyword, "f(value=1)", bareKeyword, 3.0);
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
