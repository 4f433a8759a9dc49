// Hostile scripts through kelhost as a real process, in file mode and in
// console mode: nothing a script does ends, crashes or blinds the host. Each
// failure is the script's own (status 1, its text shown, one message in file
// mode, no error file left) and the runs after it work as before.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "tests/host/kelhostrun.h"

namespace {

namespace fs = std::filesystem;

using KelhostHostileTest = KelhostTest;

const char* const kModes[] = {"", "--console "};

size_t count(const std::string& text, const std::string& part)
{
    size_t found = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
        ++found;
    return found;
}

// What the host told the user: one message per failed run in file mode,
// none in console mode, where the traceback went out live.
void expectFailureShown(const KelhostRun& run, const std::string& mode, const std::string& shown)
{
    EXPECT_EQ(run.status, 1) << shown << "\n" << run.err;
    EXPECT_NE(run.err.find(shown), std::string::npos) << run.err;
    EXPECT_EQ(count(run.err, "Python interpreter error:\n"), mode.empty() ? 1u : 0u) << run.err;
}

long long availableMemoryKib()
{
    std::ifstream in("/proc/meminfo");
    std::string key;
    long long kib = 0;
    while (in >> key >> kib) {
        if (key == "MemAvailable:")
            return kib;
        in.ignore(1 << 10, '\n');
    }
    return 0;
}

TEST_F(KelhostHostileTest, HooksSignalsAndOddTextFailOnlyTheirOwnRun)
{
    const struct {
        const char* script;
        const char* shown;
    } cases[] = {
        {"import sys\nsys.excepthook = lambda *a: exit(5)\n1/0\n", "Error in sys.excepthook:"},
        {"import sys\nsys.excepthook = None\n1/0\n", "sys.excepthook is missing"},
        {"import sys\nsys.unraisablehook = lambda *a: exit(6)\nclass A:\n    def __del__(self): raise ValueError\n"
         "A()\nprint('after')\n",
         "Exception ignored in sys.unraisablehook"},
        // The script goes on after an unraisable exception; its run fails.
        {"class A:\n    def __del__(self): raise SystemExit(7)\nA()\nprint('after')\n", "SystemExit: 7"},
        {"import os, signal\nos.kill(os.getpid(), signal.SIGINT)\nwhile True: pass\n", "KeyboardInterrupt"},
        // A host string that is not UTF-8 reaches Python with its byte as a
        // lone surrogate; the message keeps every character.
        {"raise IOError('cannot open ' + kel.echo(b'caf\\xe9.doc'))\n", "OSError: cannot open caf"},
        {"raise Exception('x' * 2**25)\n", "Exception: xxxx"},
    };
    for (const char* mode : kModes) {
        for (const auto& c : cases) {
            KelhostRun run = kelhost(std::string("run ") + mode + shellQuote(write("hostile.py", c.script)));
            expectFailureShown(run, mode, c.shown);
        }
    }
    EXPECT_FALSE(fs::exists(dir.file("python_script_errors.log")));
}

TEST_F(KelhostHostileTest, ErrorTextIsCompleteAndBounded)
{
    KelhostRun odd = kelhost("exec " + shellQuote("raise IOError('cannot open ' + kel.echo(b'caf\\xe9.doc'))"));
    EXPECT_EQ(odd.err, "Python interpreter error:\nTraceback (most recent call last):\n  File \"<string>\", line 1, in "
                       "<module>\nOSError: cannot open caf\\udce9.doc\n\n");
    // A traceback of gigabytes would be useless; the message shows its head.
    KelhostRun huge = kelhost("exec " + shellQuote("raise Exception('x' * 2**25)"));
    EXPECT_LT(huge.err.size(), 1100000u);
    EXPECT_EQ(huge.err.substr(huge.err.size() - 6), "x\n...\n");
}

TEST_F(KelhostHostileTest, RebindingNamesAndCtrlCLeaveLaterRunsIntact)
{
    const std::string statements =
        "import sys\nos = None\nopen = None\nOutputOverride = ErrorOverride = None\nerrFileName = 7\ndel sys\n"
        "import os, signal\nos.kill(os.getpid(), signal.SIGINT); [0 for i in range(10**8)]\n"
        "print(kel.echo('alive'), flush=True)\n1/0\n"
        "import sys; sys.stdout.flush(); print(sys.stdout.isatty(), sys.stdout.writable(), sys.stdout.encoding)\n"
        "raise KeyError('last')\n";
    for (const char* mode : kModes) {
        KelhostRun run = kelhost(std::string("console ") + mode, statements);
        EXPECT_EQ(run.status, 0) << run.err;
        EXPECT_NE(run.out.find("\nalive\n"), std::string::npos) << run.out;
        EXPECT_NE(run.out.find("\nFalse True utf-8\n"), std::string::npos) << run.out;
        for (const char* shown : {"KeyboardInterrupt", "ZeroDivisionError", "KeyError: 'last'"})
            EXPECT_EQ(count(run.err, shown), 1u) << shown << "\n" << run.err;
        for (const char* wrong : {"AttributeError", "NameError", "TypeError", "lost sys.stderr"})
            EXPECT_EQ(run.err.find(wrong), std::string::npos) << run.err;
        EXPECT_EQ(count(run.err, "Python interpreter error:\n"), *mode ? 0u : 3u) << run.err;
    }
    EXPECT_FALSE(fs::exists(dir.file("python_script_errors.log")));
}

TEST_F(KelhostHostileTest, StartUpIgnoresTheUsersEnvironmentAndFolder)
{
    // A current folder with a kelapp of its own, a PYTHONHOME that points
    // nowhere and a sitecustomize.py on PYTHONPATH: none of them counts.
    fs::create_directories(dir.file("here/kelapp"));
    for (const char* name : {"here/kelapp/__init__.py", "here/kelapp/appdata.py", "here/sitecustomize.py"})
        write(name, "print('NOT THE HOST')\n");
    const std::string environment = "PYTHONHOME=/nonexistent PYTHONPATH=" + shellQuote(dir.file("here")) + " ";
    const std::string prefix = "cd " + shellQuote(dir.file("here")) + " && " + environment;
    const std::string text = "import kelapp, os\nprint(os.path.dirname(kelapp.__file__) == os.path.join(AppPath, "
                             "'kelapp'), sys.path[-3])\n";
    for (const char* mode : kModes) {
        KelhostRun run = kelhost(std::string("exec ") + mode + shellQuote(text), "", prefix);
        EXPECT_EQ(run.status, 0) << run.err;
        EXPECT_EQ(run.out, "True .\n");
        EXPECT_EQ(run.err, "");
    }
    // A host that opts in to the environment: Python cannot start, the user
    // hears it once, every run fails, and the host lives on.
    KelhostRun optIn = kelhost("--set 'Advanced/python environment=1' console", "print('ran')\nprint('ran')\n",
                               environment);
    EXPECT_EQ(optIn.status, 0) << optIn.err;
    EXPECT_EQ(count(optIn.err, "Python could not start:\n"), 1u) << optIn.err;
    EXPECT_EQ(optIn.out.find("ran\n"), std::string::npos) << optIn.out;
    KelhostRun withArguments = kelhost("--set 'Advanced/python environment=1' run " +
                                           shellQuote(write("one.py", "print('ran')\n")) + " a b",
                                       "", environment);
    EXPECT_EQ(withArguments.status, 1) << withArguments.err;
    EXPECT_EQ(count(withArguments.err, "Python could not start:\n"), 1u) << withArguments.err;
}

TEST_F(KelhostHostileTest, ValuesTooLargeForTheHostRaiseInTheScript)
{
    // The largest case holds about 3 GB at once.
    if (availableMemoryKib() < 4LL << 20)
        GTEST_SKIP() << "needs 4 GB of available memory; this machine has " << availableMemoryKib() / 1024 << " MB";
    const struct {
        const char* mode;
        const char* text;
        const char* shown;
    } cases[] = {
        {"", "s = 'a' * 2**30; kel.echo(s)", "OverflowError: argument 1 for echo(): str of length 1073741824"},
        {"--console ", "kel.getIdentity('a' * (2**29 + 1))", "OverflowError: argument 1 for getIdentity()"},
        {"", "kel.echo(b'a' * (2**31 + 16))", "OverflowError: argument 1 for echo(): bytes of length 2147483664"},
        {"--console ", "kel.echo(x=[1, '\\u20ac' * (2**29 + 1)])", "OverflowError: argument x for echo()"},
        {"", "kel.echo(**{'k' * 2**31: 1})", "OverflowError: keyword kkk"},
        {"--console ", "print('a' * (2**29 + 5))", "OverflowError: a text of 536870917 units"},
    };
    for (const auto& c : cases) {
        KelhostRun run = kelhost(std::string("exec ") + c.mode + shellQuote(c.text));
        expectFailureShown(run, c.mode, c.shown);
    }
}

}  // namespace
