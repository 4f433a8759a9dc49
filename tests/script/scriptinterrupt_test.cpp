// kelInterruptScript: a request from another thread or a signal handler stops
// the running script with KeyboardInterrupt; a request outside its run is
// dropped; nested runs stop with the inner one.
#include <gtest/gtest.h>

#include <pthread.h>
#include <signal.h>

#include <atomic>
#include <chrono>
#include <fstream>
#include <thread>

#include "kel/kelinterrupt.h"
#include "script/pyref.h"
#include "script/scriptinterrupt.h"
#include "tests/script/scripttesthost.h"
#include "text/utf16text.h"

namespace {

using Clock = std::chrono::steady_clock;

// interrupt(): a host's Stop command, on the script's own thread.
PyObject* interrupt(PyObject*, PyObject*)
{
    kelInterruptScript();
    Py_RETURN_NONE;
}

// nested(text): a host command that runs a script; gives its status.
PyObject* nested(PyObject*, PyObject* args)
{
    const char* text = nullptr;
    if (!PyArg_ParseTuple(args, "s", &text))
        return nullptr;
    KelWideString units(kelUnitsOfUtf8(text, KelBadByte::replace));
    return PyLong_FromLong(scriptTestHost().interpreter->runString(units));
}

PyMethodDef rows[] = {{"interrupt", interrupt, METH_NOARGS, nullptr}, {"nested", nested, METH_VARARGS, nullptr}};

// Calls kelInterruptScript (or `poke`) every 20 ms until it is destroyed.
class Interrupter {
public:
    explicit Interrupter(void (*poke)() = kelInterruptScript)
        : thread_([this, poke] {
              while (!done_.load()) {
                  poke();
                  std::this_thread::sleep_for(std::chrono::milliseconds(20));
              }
          })
    {
    }
    ~Interrupter()
    {
        done_.store(true);
        thread_.join();
    }

private:
    std::atomic<bool> done_{false};
    std::thread thread_;
};

pthread_t scriptThread;
void onSignal(int)
{
    kelInterruptScript();
}

class ScriptInterruptTest : public ::testing::Test {
protected:
    ScriptTestHost& host = scriptTestHost();

    void SetUp() override
    {
        host.engine->clearMessages();
        PyObject* main = PyModule_GetDict(PyImport_AddModule("__main__"));  // borrowed, borrowed
        for (PyMethodDef& row : rows) {
            PyRef function = PyRef::steal(PyCFunction_New(&row, nullptr));  // new reference
            ASSERT_TRUE(function && PyDict_SetItemString(main, row.ml_name, function.get()) == 0);
        }
    }
    int32_t run(const char* text) { return host.interpreter->runString(KelWideString(kelUnitsOfUtf8(text, KelBadByte::replace))); }
    // Expects the run of `text` to fail with KeyboardInterrupt, one message, soon.
    void expectInterrupted(const char* text)
    {
        Clock::time_point start = Clock::now();
        EXPECT_EQ(run(text), -1) << text;
        EXPECT_LT(Clock::now() - start, std::chrono::seconds(10)) << text;
        const std::vector<std::string>& messages = host.engine->messages();
        ASSERT_EQ(messages.size(), 1u) << text;
        EXPECT_NE(messages[0].find("\nKeyboardInterrupt\n"), std::string::npos) << messages[0];
        host.engine->clearMessages();
    }
};

TEST_F(ScriptInterruptTest, OnlyPythonsTableHoldsTheComponentsHandler)
{
    struct sigaction now {};
    ASSERT_EQ(sigaction(SIGINT, nullptr, &now), 0);
    EXPECT_TRUE(now.sa_handler == SIG_DFL || now.sa_handler == SIG_IGN);  // as the test runner left it
    pyRun("import signal\n");
    EXPECT_EQ(pyEval("signal.getsignal(signal.SIGINT).__name__"), "'_kelInterruptHandler'");
}

TEST_F(ScriptInterruptTest, AnotherThreadStopsABusyScript)
{
    {
        Interrupter stop;
        expectInterrupted("while True: pass");
        expectInterrupted("def f():\n    while True: [0] * 10\nf()\n");
    }
    // The debug road runs the file itself.
    host.store->setSetting("Advanced/python debug", "1");
    TempDir dir;
    std::ofstream(dir.file("loop.py")) << "while True: pass\n";
    {
        Interrupter stop;
        Clock::time_point start = Clock::now();
        EXPECT_EQ(host.interpreter->runFile(KelWideString(dir.file("loop.py").c_str())), -1);
        EXPECT_LT(Clock::now() - start, std::chrono::seconds(10));
    }
    host.store->removeSetting("Advanced/python debug");
    host.engine->clearMessages();
    EXPECT_EQ(run("after = 1"), 0);
}

TEST_F(ScriptInterruptTest, ASignalHandlerWakesASleepingScript)
{
    struct sigaction action {}, previous {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    ASSERT_EQ(sigaction(SIGUSR1, &action, &previous), 0);
    scriptThread = pthread_self();
    {
        // The signal lands on the script's thread: the sleep returns at once.
        Interrupter stop([] { pthread_kill(scriptThread, SIGUSR1); });
        expectInterrupted("import time\ntime.sleep(60)\n");
    }
    sigaction(SIGUSR1, &previous, nullptr);
}

TEST_F(ScriptInterruptTest, RequestsOutsideTheirRunAreDropped)
{
    // Between runs.
    kelInterruptScript();
    EXPECT_EQ(run("x = [i for i in range(1000)]"), 0);
    // During a run that ends before Python looks at it: the next run is not broken.
    {
        KelScriptRun ended;
        KelScriptRun::Executing executing(ended);
        kelInterruptScript();
    }
    EXPECT_EQ(run("x = [i for i in range(1000)]"), 0);
    // Each request once: a script that catches them goes on, and so does the next run.
    EXPECT_EQ(run("caught = 0\nfor i in range(3):\n    try:\n        interrupt()\n        while True: pass\n"
                  "    except KeyboardInterrupt:\n        caught += 1\n[0 for i in range(1000)]\n"),
              0);
    EXPECT_EQ(pyEval("caught"), "3");
    EXPECT_EQ(run("x = [i for i in range(1000)]"), 0);
    EXPECT_TRUE(host.engine->messages().empty());
}

TEST_F(ScriptInterruptTest, NestedRunsStopWithTheInnerOne)
{
    // The outer script hears of the request as soon as the inner run returns.
    pyRun("reached = False\n");
    EXPECT_EQ(run("nested('interrupt()\\nwhile True: pass')\nreached = True\n"), -1);
    EXPECT_EQ(pyEval("reached"), "False");
    // A run started after the request is not stopped by it.
    EXPECT_EQ(run("try:\n    interrupt()\n    while True: pass\nexcept KeyboardInterrupt:\n    pass\n"
                  "inner = nested('[0 for i in range(1000)]')\n"),
              0);
    EXPECT_EQ(pyEval("inner"), "0");
    host.engine->clearMessages();
}

}  // namespace
