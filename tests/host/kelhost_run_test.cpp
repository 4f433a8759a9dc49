// kelhost run, exec and console as a real process: exit statuses, what the
// user sees of failures, scripts that try to end the process, command calls,
// characters beyond U+FFFF, awkward file and directory names, record and
// replay, options before and after the sub-command.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "tests/host/kelhostrun.h"

namespace {

namespace fs = std::filesystem;

using KelhostRunTest = KelhostTest;

bool endsWith(const std::string& text, const std::string& end)
{
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

std::string hexOf(const std::string& bytes)
{
    static const char digits[] = "0123456789abcdef";
    std::string hex;
    for (unsigned char c : bytes)
        hex += {digits[c >> 4], digits[c & 15]};
    return hex;
}

// Native names that are legal on Linux but not plain UTF-8 of three bytes at
// most: a character beyond U+FFFF, a backslash, a byte outside UTF-8.
const char* const awkwardNames[] = {"d\xf0\x9f\x98\x80", "a\\b", "n\xffm"};

TEST_F(KelhostRunTest, StatusZeroWithArgumentsAndTwoForAMissingFile)
{
    KelhostRun ok = kelhost("run " + shellQuote(write("ok.py", "import sys\nprint('args', sys.argv[1:])\n")) +
                            " one 'two words'");
    EXPECT_EQ(ok.status, 0) << ok.err;
    EXPECT_EQ(ok.out, "args ['one', 'two words']\n");
    EXPECT_EQ(ok.err, "");

    // Only what can be read runs; anything else names the path and why.
    const struct {
        std::string path;
        const char* reason;
    } unreadable[] = {{dir.file("no such.py"), "No such file or directory"},
                      {dir.path(), "it is a directory"},
                      {dir.file("ok.py/inside.py"), "Not a directory"}};
    for (const auto& c : unreadable) {
        KelhostRun run = kelhost("run " + shellQuote(c.path));
        EXPECT_EQ(run.status, 2) << c.path;
        EXPECT_EQ(run.err, "kelhost: cannot read the script file " + c.path + ": " + c.reason + "\n");
    }
    EXPECT_FALSE(fs::exists(dir.file("python_script_errors.log")));
    // Any name runs, and a pipe runs like a file.
    KelhostRun odd = kelhost("run " + shellQuote(write("it's \"odd\"\nn\xc3\xa4me $x.py", "print('odd')\n")));
    EXPECT_EQ(odd.status, 0) << odd.err;
    EXPECT_EQ(odd.out, "odd\n");
    KelhostRun piped = kelhost("run /dev/stdin", "print('piped')\n");
    EXPECT_EQ(piped.status, 0) << piped.err;
    EXPECT_EQ(piped.out, "piped\n");
}

TEST_F(KelhostRunTest, FailuresAndExitsEndOnlyTheScriptWithStatusOne)
{
    const struct {
        const char* text;
        const char* out;
        const char* errEnd;
    } cases[] = {{"print('x'\n", "", "SyntaxError: '(' was never closed\n\n"},
                 {"raise KeyError(7)", "start\n", "line 3, in <module>\nKeyError: 7\n\n"},
                 {"sys.exit(0)", "start\n", "Exception: Script exited.\n\n"},
                 {"exit()", "start\n", "SystemExit: None\n\n"},
                 {"quit(5)", "start\n", "SystemExit: 5\n\n"},
                 {"import os\nos._exit = None\nraise SystemExit('bye')", "start\n", "SystemExit: bye\n\n"}};
    for (const auto& c : cases) {
        std::string text = std::string("import sys\nprint('start')\n") + c.text + "\nprint('after')\n";
        KelhostRun run = kelhost("run " + shellQuote(write("end.py", text)));
        EXPECT_EQ(run.status, 1) << c.text;
        EXPECT_EQ(run.out, c.out) << c.text;
        EXPECT_EQ(run.err.rfind("Python interpreter error:\n", 0), 0u) << run.err;
        EXPECT_TRUE(endsWith(run.err, c.errEnd)) << run.err;
    }
    EXPECT_FALSE(fs::exists(dir.file("python_script_errors.log")));
}

TEST_F(KelhostRunTest, CommandsByPositionAndByKeyword)
{
    // Beyond U+FFFF on the command line too.
    std::string text = "print(kel.add(2, 3), kel.add(b=2, a=40), kel.echo('\xf0\x9f\x98\x80'), kel.fail())";
    KelhostRun run = kelhost("exec " + shellQuote(text));
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out, "5 42 \xf0\x9f\x98\x80 None\n");
    EXPECT_EQ(run.err, "Python interpreter error:\nError executing command fail\n");
}

TEST_F(KelhostRunTest, CharactersBeyondTheBasicPlaneRoundTrip)
{
    // Through echo, as text and inside a list, in both modes, from a UTF-8 file.
    std::string path = write("wide.py",
                              "s = '\xf0\x9f\x98\x80 \xf0\x90\x8d\x88 \xc3\xa9'\n"
                              "r = kel.echo(s)\n"
                              "print(r == s, len(r), r, kel.echo([s])[0] == s)\n");
    for (const char* mode : {"", "--console "}) {
        KelhostRun run = kelhost(std::string("run ") + mode + shellQuote(path));
        EXPECT_EQ(run.status, 0) << run.err;
        EXPECT_EQ(run.out, "True 5 \xf0\x9f\x98\x80 \xf0\x90\x8d\x88 \xc3\xa9 True\n") << mode;
    }
}

TEST_F(KelhostRunTest, BrokenUtf8ReadsTheSameFromAFileAndFromTheCommandLine)
{
    // Each byte outside valid UTF-8 is one U+FFFD, whichever road the text takes.
    const struct {
        const char* bytes;
        const char* shown;
    } cases[] = {{"\xe2\x82", "'\\ufffd\\ufffd'\n"},
                 {"\xed\xa0\x80", "'\\ufffd\\ufffd\\ufffd'\n"},
                 {"a\xff" "b", "'a\\ufffdb'\n"},
                 {"\xf0\x9f\x98\x80", "'\\U0001f600'\n"}};
    for (const auto& c : cases) {
        std::string text = std::string("print(ascii('") + c.bytes + "'))\n";
        KelhostRun run = kelhost("run " + shellQuote(write("broken.py", text)));
        KelhostRun exec = kelhost("exec " + shellQuote(text));
        EXPECT_EQ(run.out, c.shown) << run.err;
        EXPECT_EQ(exec.out, c.shown) << exec.err;
    }
}

TEST_F(KelhostRunTest, AMacrosDirectoryWithQuotesSpacesAndLetters)
{
    // None of the name may run as code or name another file.
    std::vector<std::string> names = {"it's \"my\" m\xc3\xa4kros\n\xe6\x97\xa5 ')"};
    names.insert(names.end(), std::begin(awkwardNames), std::end(awkwardNames));
    for (const std::string& name : names) {
        std::string macros = dir.file(name);
        fs::create_directory(macros);
        std::string text = "import os\nprint(os.path.exists(errFileName), "
                           "os.fsencode(os.path.dirname(errFileName)).hex())\n1/0";
        KelhostRun run = runKelhost("--macros " + shellQuote(macros) + " exec " + shellQuote(text));
        EXPECT_EQ(run.status, 1) << name;
        EXPECT_EQ(run.out, "True " + hexOf(macros) + "\n") << name;
        EXPECT_TRUE(endsWith(run.err, "ZeroDivisionError: division by zero\n\n")) << run.err;
        EXPECT_EQ(run.err.find("FileNotFoundError"), std::string::npos) << run.err;
        EXPECT_TRUE(fs::is_empty(macros)) << name;
    }
}

// Such a name opens wherever kelhost takes a path: the script to run, the
// document a script saves and loads, and the file that chunks and params read.
TEST_F(KelhostRunTest, FilesOfAnyNativeNameOpenEverywhere)
{
    for (const std::string name : awkwardNames) {
        std::string script = write(name + ".py", "import kel, sys\nkel.setIdentity('one', kel.newIdentity())\n"
                                                 "print(kel.saveDocument(sys.argv[1]), kel.loadDocument(sys.argv[1]))\n");
        std::string document = dir.file(name + ".kel");
        KelhostRun run = kelhost("run " + shellQuote(script) + " " + shellQuote(document));
        EXPECT_EQ(run.status, 0) << name << run.err;
        EXPECT_EQ(run.out, "1 1\n") << name;
        EXPECT_TRUE(fs::exists(document)) << name;
        KelhostRun chunks = kelhost("chunks " + shellQuote(document));
        EXPECT_EQ(chunks.status, 0) << name << chunks.err;
        EXPECT_TRUE(endsWith(chunks.out, "\n9 chunks\n")) << chunks.out;
        KelhostRun params = kelhost("params " + shellQuote(document));
        EXPECT_EQ(params.status, 0) << name << params.err;
        EXPECT_TRUE(endsWith(params.out, "\n1 parameter\n")) << params.out;
    }
}

TEST_F(KelhostRunTest, ConsoleModeShowsOutputAndErrorsLive)
{
    KelhostRun run = kelhost("exec --console " + shellQuote("print('out')\nsys.stderr.write('err\\n')\n1/0"));
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.out, "out\n");
    EXPECT_EQ(run.err.rfind("err\nTraceback (most recent call last):\n", 0), 0u) << run.err;
    EXPECT_EQ(run.err.find("Python interpreter error"), std::string::npos) << run.err;
}

TEST_F(KelhostRunTest, OptionsComeBeforeOrAfterTheSubcommand)
{
    std::string text = shellQuote("print('out')\nsys.stderr.write('err\\n')\n1/0");
    std::string record = shellQuote(dir.file("record.py"));
    for (const std::string& arguments : {"--console exec " + text, "exec --console " + text,
                                         "--record " + record + " --console exec " + text,
                                         "--console exec --temp " + shellQuote(dir.path()) + " " + text}) {
        KelhostRun run = kelhost(arguments);
        EXPECT_EQ(run.status, 1) << arguments;
        EXPECT_EQ(run.out, "out\n") << arguments;
        EXPECT_EQ(run.err.rfind("err\nTraceback (most recent call last):\n", 0), 0u) << arguments << run.err;
    }
    EXPECT_TRUE(fs::exists(dir.file("record.py")));
    // An option no sub-command knows is still refused.
    EXPECT_EQ(kelhost("--nonsense exec " + text).status, 2);
}

TEST_F(KelhostRunTest, ARecordingReplaysToItselfAndRunsNothingElse)
{
    // Each row is one call; the replay must make the same calls with the same
    // values and types, which the second recording shows, and nothing else.
    const char* calls[] = {
        "kel.echo(\"x'); import os; os.system('touch pwned'); ('\")",
        "kel.echo('quote \" and \\' and \\\\ and \\n\\r\\t\\x00\\x7f\\x85 end')",
        "kel.echo(b'bytes \\x80\\xff \"\\'\\\\\\n\\x00cut', b'')",
        "kel.echo('lone \\udc80 \\ud800 pair \\U0001f600 h\\u00e9 \\u2028')",
        "kel.echo(1e308, -5e-324, 0.1, -0.0, 1e22, float('inf'), float('nan'), 2**31 - 1, True)",
        "kel.echo([1, [b'\\xfe', ['deep\\n', []]], False])",
        "kel.add(b=2, a=40)",
        "kel.listOf(**{\"x'); import os; os.system('touch pwned'); ('\": 'v', 'not a name': 1, 'if': 2})",
    };
    std::string original;
    for (const char* call : calls)
        original += std::string(call) + "\n";
    std::string first = dir.file("first.py"), second = dir.file("second.py");
    KelhostRun record = kelhost("run --record " + shellQuote(first) + " " + shellQuote(write("orig.py", original)));
    EXPECT_EQ(record.status, 0) << record.err;
    KelhostRun replay = kelhost("run --record " + shellQuote(second) + " " + shellQuote(first));
    EXPECT_EQ(replay.status, 0) << replay.err;
    EXPECT_EQ(replay.err, "");
    EXPECT_EQ(readFile(second), readFile(first));
    EXPECT_FALSE(fs::exists("pwned"));
    // A few rows in full: keywords stay keywords, bytes stay bytes.
    std::string text = readFile(first);
    for (const char* line : {"kel.add(b=2, a=40)\n", "kel.echo(b'bytes \\x80\\xff \"\\'\\\\\\n', b'')",
                             "kel.echo(1e+308, -5e-324, 0.1, -0.0, 1e+22, 1e999, (1e999-1e999), 2147483647, True)\n"})
        EXPECT_NE(text.find(line), std::string::npos) << line << " in\n" << text;
}

TEST_F(KelhostRunTest, TheInteractiveConsoleRunsEachStatement)
{
    KelhostRun run =
        kelhost("console", "x = 2\nif x:\n    print('block', x)\n\nprint(kel.add(x, 1))\n1/0\nprint('still here')\n");
    EXPECT_EQ(run.status, 0) << run.err;
    for (const char* shown : {"block 2\n", "3\n", "still here\n"})
        EXPECT_NE(run.out.find(shown), std::string::npos) << run.out;
    EXPECT_NE(run.err.find("ZeroDivisionError"), std::string::npos) << run.err;
}

}  // namespace
