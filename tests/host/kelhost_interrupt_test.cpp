// Ctrl-C and --timeout through kelhost as a real process: the script stops
// with KeyboardInterrupt (status 1, one message, no error file left), at once
// also when it sleeps, and kelhost goes on where it has more to do.
#include <gtest/gtest.h>

#include <signal.h>

#include <chrono>
#include <filesystem>

#include "tests/host/kelhostrun.h"

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

class KelhostInterruptTest : public KelhostTest {
protected:
    std::string macros() const { return "--macros " + shellQuote(dir.path()) + " "; }
    void expectInterrupted(const KelhostRun& run, const std::string& what)
    {
        EXPECT_EQ(run.status, 1) << what << "\n" << run.err;
        EXPECT_NE(run.err.find("Python interpreter error:\nTraceback (most recent call last):\n"), std::string::npos)
            << what << "\n" << run.err;
        EXPECT_NE(run.err.find("\nKeyboardInterrupt\n"), std::string::npos) << what << "\n" << run.err;
        EXPECT_FALSE(fs::exists(dir.file("python_script_errors.log"))) << what;
    }
};

size_t count(const std::string& text, const std::string& part)
{
    size_t found = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
        ++found;
    return found;
}

TEST_F(KelhostInterruptTest, CtrlCStopsABusyOrSleepingScript)
{
    const char* const scripts[] = {
        "print('started', flush=True)\nwhile True: pass\n",
        "import time\nprint('started', flush=True)\ntime.sleep(100)\n",
        // With a thread of the script around, which may take the signal.
        "import threading, time\nthreading.Thread(target=time.sleep, args=(100,), daemon=True).start()\n"
        "print('started', flush=True)\ntime.sleep(100)\n",
    };
    for (const char* script : scripts) {
        for (const std::string& command : {"exec " + shellQuote(script), "run " + shellQuote(write("s.py", script))}) {
            KelhostProcess kelhost(macros() + command);
            ASSERT_TRUE(kelhost.waitForOutput("started\n")) << command;
            Clock::time_point sent = Clock::now();
            kelhost.signal(SIGINT);
            KelhostRun run = kelhost.finish();
            EXPECT_LT(Clock::now() - sent, std::chrono::seconds(5)) << command;
            expectInterrupted(run, command);
            EXPECT_EQ(count(run.err, "Python interpreter error:\n"), 1u) << run.err;
        }
    }
}

TEST_F(KelhostInterruptTest, CtrlCStopsAConsoleStatementAndTheConsoleGoesOn)
{
    for (const char* mode : {"", "--console "}) {
        KelhostProcess kelhost(macros() + "console " + mode);
        kelhost.input("print('started', flush=True); exec('while True: pass')\n");
        ASSERT_TRUE(kelhost.waitForOutput("started\n"));
        kelhost.signal(SIGINT);
        kelhost.input("print('alive')\n");
        KelhostRun run = kelhost.finish();
        EXPECT_EQ(run.status, 0) << run.err;
        EXPECT_NE(run.out.find("alive\n"), std::string::npos) << run.out;
        EXPECT_EQ(count(run.err, "KeyboardInterrupt"), 1u) << run.err;
    }
    EXPECT_FALSE(fs::exists(dir.file("python_script_errors.log")));
}

TEST_F(KelhostInterruptTest, TimeoutInterruptsALongScript)
{
    Clock::time_point start = Clock::now();
    KelhostRun busy = kelhost("exec --timeout 1 " + shellQuote("while True: pass"));
    expectInterrupted(busy, "busy");
    EXPECT_NE(busy.err.find("kelhost: the script ran past --timeout 1 and was interrupted\n"), std::string::npos)
        << busy.err;
    KelhostRun sleeping = kelhost("--timeout 0.5 run " + shellQuote(write("sleep.py", "import time\ntime.sleep(100)\n")));
    expectInterrupted(sleeping, "sleeping");
    EXPECT_LT(Clock::now() - start, std::chrono::seconds(10));
    // In time: nothing changes.
    KelhostRun quick = kelhost("exec --timeout 30 " + shellQuote("print('done')"));
    EXPECT_EQ(quick.status, 0) << quick.err;
    EXPECT_EQ(quick.out, "done\n");
    EXPECT_EQ(quick.err, "");
    for (const char* wrong : {"0", "-1", "soon"})
        EXPECT_EQ(kelhost(std::string("exec --timeout ") + wrong + " pass").status, 2) << wrong;
}

TEST_F(KelhostInterruptTest, AScriptThatSwallowsTheTimeoutEndsKelhostAfterTheGracePeriod)
{
    const char* script = "import time\nwhile True:\n    try:\n        time.sleep(100)\n"
                         "    except KeyboardInterrupt:\n        print('swallowed', flush=True)\n";
    Clock::time_point start = Clock::now();
    KelhostRun run = kelhost("run --timeout 0.5 " + shellQuote(write("stubborn.py", script)));
    EXPECT_EQ(run.status, 3) << run.err;
    EXPECT_EQ(run.err, "kelhost: the script did not stop within 5 seconds after --timeout 0.5; kelhost ends\n");
    EXPECT_GE(count(run.out, "swallowed\n"), 4u) << run.out;  // interrupted again every second
    EXPECT_LT(Clock::now() - start, std::chrono::seconds(15));
    EXPECT_FALSE(fs::exists(dir.file("python_script_errors.log")));
}

}  // namespace
