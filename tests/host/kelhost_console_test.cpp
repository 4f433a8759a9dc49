// kelhost console at a terminal: the real program in a pseudo-terminal,
// with a home folder of the test's own. Completion, history, indentation,
// Ctrl-C and Ctrl-D, help for host commands.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <memory>

#include "tests/host/kelhostrun.h"
#include "tests/host/ptyprocess.h"

namespace fs = std::filesystem;

namespace {

const char kPrompt[] = ">>> ";

class KelhostConsoleTest : public ::testing::Test {
protected:
    TempDir dir;
    std::string home = dir.file("home");

    void SetUp() override { fs::create_directories(home); }

    std::string historyFile() const { return home + "/.local/state/kelhost/history"; }

    // A console on a terminal of its own; waits for its first prompt.
    std::unique_ptr<PtyProcess> console(const std::vector<std::string>& options = {},
                                        const std::vector<std::string>& environment = {})
    {
        std::vector<std::string> argv{KELHOST_PATH, "--macros", dir.path(), "console"};
        argv.insert(argv.end(), options.begin(), options.end());
        std::vector<std::string> env{"HOME=" + home, "XDG_STATE_HOME", "TERM=dumb", "INPUTRC=/dev/null"};
        env.insert(env.end(), environment.begin(), environment.end());
        auto process = std::make_unique<PtyProcess>(argv, env);
        EXPECT_TRUE(process->waitFor(kPrompt)) << process->output();
        return process;
    }

    // Types a line and waits for the prompt after it.
    static void enter(PtyProcess& console, const std::string& line, const std::string& prompt = kPrompt)
    {
        console.send(line + "\r");
        EXPECT_TRUE(console.waitFor(prompt)) << line << "\n" << console.output();
    }

    // Types a line, waits for what it shows and the prompt after it.
    static void enterAndSee(PtyProcess& console, const std::string& line, const std::string& shown)
    {
        console.send(line + "\r");
        EXPECT_TRUE(console.waitFor(shown)) << line << "\n" << console.output();
        EXPECT_TRUE(console.waitFor(kPrompt)) << line << "\n" << console.output();
    }

    // Ctrl-D on an empty line: the console ends with status 0.
    static void leave(PtyProcess& console)
    {
        console.send("\x04");
        EXPECT_EQ(console.wait(), 0) << console.output();
    }
};

TEST_F(KelhostConsoleTest, TabCompletesNamesFromTheLiveInterpreter)
{
    auto c = console();
    enter(*c, "import os.path; answer_value = 42; before = set(globals())");
    // A variable, a host command (a callable gets its parenthesis), an
    // attribute of a module.
    const struct {
        const char* typed;
        const char* completed;
        const char* rest;
        const char* shown;
    } cases[] = {
        {"print(answer_v\t", "print(answer_value", ")", "42\r\n"},
        {"print(kel.ec\t", "kel.echo(", "'t' + 'ea'))", "tea\r\n"},
        {"print(os.path.basena\t", "os.path.basename(", "'/a/b.txt'))", "b.txt\r\n"},
        {"import js\t", "import json", "; print(json.__name__)", "json\r\n"},
    };
    for (const auto& k : cases) {
        c->send(k.typed);
        EXPECT_TRUE(c->waitFor(k.completed)) << k.typed << "\n" << c->output();
        enterAndSee(*c, k.rest, k.shown);
    }
    // An object whose listing prints and fails: no candidates, nothing
    // printed, no error; and completion leaves no name behind.
    enter(*c, "Loud = type('Loud', (), {'__dir__': lambda self: print('LO' + 'UD') or 1/0}); loud = Loud()");
    c->send("loud.a\t");
    enter(*c, "bc = 1");
    enterAndSee(*c, "print('names', set(globals()) - before - {'before', 'json', 'Loud', 'loud'})", "names set()");
    for (const char* wrong : {"LOUD", "Traceback", "Error"})
        EXPECT_EQ(c->output().find(wrong), std::string::npos) << wrong << "\n" << c->output();
    leave(*c);
}

TEST_F(KelhostConsoleTest, HistoryPersistsBetweenSessionsInTheUsersStateDirectory)
{
    {
        auto c = console();
        enter(*c, "history_marker = 7");
        leave(*c);
    }
    EXPECT_EQ(readFile(historyFile()), "history_marker = 7\n");
    struct stat status;
    ASSERT_EQ(stat(historyFile().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600u);
    ASSERT_EQ(stat((home + "/.local/state/kelhost").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0700u);
    {
        // Ctrl-P brings the line back in the next session.
        auto c = console();
        c->send("\x10");
        EXPECT_TRUE(c->waitFor("history_marker = 7")) << c->output();
        enterAndSee(*c, "; print('marker', history_marker)", "marker 7");
        leave(*c);
    }
    // Two consoles at once: each one's lines are kept, and the file stays
    // within its bound (the newest thousand lines).
    {
        std::ofstream file(historyFile(), std::ios::trunc);
        for (int i = 0; i < 1005; ++i)
            file << "old " << i << "\n";
    }
    {
        auto first = console();
        auto second = console();
        enter(*first, "first_console = 1");
        enter(*second, "second_console = 2");
        leave(*first);
        leave(*second);
    }
    std::string kept = readFile(historyFile());
    EXPECT_EQ(std::count(kept.begin(), kept.end(), '\n'), 1000) << kept.substr(0, 200);
    EXPECT_EQ(kept.rfind("old 7\nold 8\n", 0), 0u) << kept.substr(0, 200);
    EXPECT_NE(kept.find("\nfirst_console = 1\n"), std::string::npos);
    EXPECT_NE(kept.find("\nsecond_console = 2\n"), std::string::npos);
    // XDG_STATE_HOME chooses the folder; --no-history reads and keeps nothing.
    {
        auto c = console({}, {"XDG_STATE_HOME=" + dir.file("state")});
        enter(*c, "in_state_home = 1");
        leave(*c);
        EXPECT_EQ(readFile(dir.file("state/kelhost/history")), "in_state_home = 1\n");
        auto off = console({"--no-history"});
        off->send("\x10");
        enter(*off, "");
        EXPECT_EQ(off->output().find("second_console"), std::string::npos) << off->output();
        enter(*off, "not_kept = 1");
        leave(*off);
        EXPECT_EQ(readFile(historyFile()), kept);
    }
}

TEST_F(KelhostConsoleTest, NoPlaceForTheHistoryNeverStopsTheConsole)
{
    // No home at all, a home that is no folder, and a history that is a
    // FIFO (which must not hold up the start) or a folder.
    fs::create_directories(home + "/.local/state/kelhost");
    ASSERT_EQ(mkfifo(historyFile().c_str(), 0600), 0);
    fs::create_directories(dir.file("other/.local/state/kelhost/history"));
    const std::vector<std::string> environments[] = {
        {"HOME"}, {"HOME=relative/home"}, {"HOME=" + dir.file("none")}, {}, {"HOME=" + dir.file("other")}};
    for (const auto& environment : environments) {
        auto c = console({}, environment);
        enterAndSee(*c, "print('works', 6 * 7)", "works 42");
        leave(*c);
    }
}

TEST_F(KelhostConsoleTest, BlocksStartWithTheirIndentationTyped)
{
    auto c = console();
    enter(*c, "if True:", "...     ");
    enter(*c, "for i in range(2):", "...         ");
    enter(*c, "print('row', i)", "...         ");
    // Continuation lines of brackets keep the indentation too; the blank
    // line (only the typed indentation) ends the block.
    enter(*c, "print('total',", "...         ");
    enter(*c, "i + 10)", "...         ");
    enterAndSee(*c, "", "row 0\r\ntotal 10\r\nrow 1\r\ntotal 11\r\n");
    EXPECT_EQ(c->output().find("Error"), std::string::npos) << c->output();
    leave(*c);
}

TEST_F(KelhostConsoleTest, CtrlCDropsTheLineOrBlockOrEndsTheStatementAndCtrlDLeaves)
{
    auto c = console();
    enter(*c, "x = 1");
    c->send("x = 'half typed'");
    EXPECT_TRUE(c->waitFor("half typed'")) << c->output();
    c->send("\x03");
    EXPECT_TRUE(c->waitFor("\r\nKeyboardInterrupt\r\n>>> ")) << c->output();
    enter(*c, "if True:", "... ");
    enter(*c, "x = 2", "... ");
    c->send("\x03");
    EXPECT_TRUE(c->waitFor("\r\nKeyboardInterrupt\r\n>>> ")) << c->output();
    enterAndSee(*c, "print('x is', x)", "x is 1");
    // While a statement runs, Ctrl-C is the script's KeyboardInterrupt, and
    // the console goes on.
    c->send("print('spinning', flush=True); exec('while True: pass')\r");
    EXPECT_TRUE(c->waitFor("spinning\r\n")) << c->output();
    c->send("\x03");
    EXPECT_TRUE(c->waitFor("KeyboardInterrupt")) << c->output();
    EXPECT_TRUE(c->waitFor(kPrompt)) << c->output();
    // Ctrl-D on a line that holds text does not leave.
    c->send("y = 3\x04");
    EXPECT_TRUE(c->waitFor("y = 3")) << c->output();
    enterAndSee(*c, "; print('y is', y)", "y is 3");
    leave(*c);
}

TEST_F(KelhostConsoleTest, HelpExplainsHostCommandsAndLeavesTheRestToPython)
{
    auto c = console();
    enterAndSee(*c, "help(kel.echo)", "executing command echo\".");
    for (const char* shown : {"Help on host command echo in module kel", "kel.echo(value)", "host kelhost",
                              "a 32-bit integer", "decoded as UTF-8 with surrogateescape",
                              "Error\r\n    executing command echo"})
        EXPECT_NE(c->output().find(shown), std::string::npos) << shown << "\n" << c->output();
    enterAndSee(*c, "help(len)", "Return the number of items in a container");
    leave(*c);
}

}  // namespace
