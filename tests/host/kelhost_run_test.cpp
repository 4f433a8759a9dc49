// kelhost run, exec and console as a real process: exit statuses, what the
// user sees of failures, scripts that try to end the process, command calls,
// characters beyond U+FFFF, awkward file and directory names, record and
// replay.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "host/scriptrunner.h"
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

    std::string missing = dir.file("no such.py");
    KelhostRun absent = kelhost("run " + shellQuote(missing));
    EXPECT_EQ(absent.status, 2);
    EXPECT_EQ(absent.err, "kelhost: script file not found: " + missing + "\n");
    EXPECT_FALSE(fs::exists(dir.file("python_script_errors.log")));
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

TEST_F(KelhostRunTest, RecordThenReplay)
{
    std::string original = "kel.echo('h\xc3\xa9 \xf0\x9f\x98\x80')\nfor i in range(2):\n    kel.add(i, 2.5)\n";
    std::string recorded = dir.file("recorded.py"), again = dir.file("again.py");
    KelhostRun record = kelhost("run --record " + shellQuote(recorded) + " " + shellQuote(write("orig.py", original)));
    EXPECT_EQ(record.status, 0) << record.err;
    EXPECT_EQ(readFile(recorded),
              "# -*- coding: utf-8 -*-\nkel.echo(u'h\xc3\xa9 \xf0\x9f\x98\x80')\nkel.add(0, 2.5)\nkel.add(1, 2.5)\n");
    // Replaying the recording executes the same commands again.
    KelhostRun replay = kelhost("run --record " + shellQuote(again) + " " + shellQuote(recorded));
    EXPECT_EQ(replay.status, 0) << replay.err;
    EXPECT_EQ(readFile(again), readFile(recorded));
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

TEST(ScriptConsoleTest, ContinuationLinesForBlocksBracketsAndStrings)
{
    for (const char* complete : {"x = 1\n", "d = {'a': 1}\n", "s = 'a:' # ends in ':'\n", "f(1,\n  2)\n",
                                 "if x:\n    y()\n\n", "t = '''a\nb'''\n", "s = ')' + \"(\"\n"})
        EXPECT_FALSE(scriptNeedsMoreLines(complete)) << complete;
    // A block runs until an empty line; open brackets and strings and a
    // trailing backslash continue too.
    for (const char* open : {"if x:\n", "for i in r:  # loop\n", "def f():\n    return 1\n", "f(1,\n",
                             "x = [\n  1, (2,\n", "t = '''a\n", "x = 1 + \\\n"})
        EXPECT_TRUE(scriptNeedsMoreLines(open)) << open;
}

}  // namespace
