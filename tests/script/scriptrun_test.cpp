// Running scripts: file mode with the error file and one message per failed
// run, console mode through the application states, the debug road, argv.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <numeric>

#include "host/hostdatastore.h"
#include "tests/script/scripttesthost.h"

namespace {

namespace fs = std::filesystem;

class ScriptRunTest : public ::testing::Test {
protected:
    ScriptTestHost& host = scriptTestHost();
    TempDir scripts;
    std::vector<std::string> output, errors;

    void SetUp() override
    {
        host.engine->clearMessages();
        host.store->setListener([this](const HostAppState& state) {
            (state.name == "Python/Output String" ? output : errors).push_back(state.stringValue.utf8());
        });
    }
    void TearDown() override
    {
        host.store->setListener(nullptr);
        host.store->removeSetting("Scripting/ShowScriptingConsole");
        host.store->removeSetting("Advanced/python debug");
    }
    std::string script(const std::string& name, const std::string& text)
    {
        std::ofstream(scripts.file(name), std::ios::binary) << text;
        return scripts.file(name);
    }
    int32_t runFile(const std::string& path) { return host.interpreter->runFile(KelWideString(path.c_str())); }
    int32_t runString(const char16_t* text) { return host.interpreter->runString(KelWideString(text, kelBorrow)); }
    // Expects exactly one message, holding `part`, and no error file left; clears it.
    void expectOneMessage(const std::string& part)
    {
        const std::vector<std::string>& messages = host.engine->messages();
        ASSERT_EQ(messages.size(), 1u) << part;
        EXPECT_NE(messages[0].find(part), std::string::npos) << messages[0];
        EXPECT_FALSE(fs::exists(std::string(host.dirs->getDirectory("macros").utf8()) + "/python_script_errors.log"));
        host.engine->clearMessages();
    }
};

TEST_F(ScriptRunTest, FileModeReportsEachFailureOnceAndRemovesTheErrorFile)
{
    EXPECT_EQ(runString(u"x = 6 * 7"), 0);
    EXPECT_EQ(pyEval("x"), "42");
    EXPECT_TRUE(host.engine->messages().empty());
    EXPECT_EQ(runString(u"1/0"), -1);
    expectOneMessage("Python interpreter error:\nTraceback (most recent call last):\n"
                     "  File \"<string>\", line 1, in <module>\nZeroDivisionError: division by zero\n");
    // runFile redirects twice (its own and runString's), still one message.
    EXPECT_EQ(runFile(script("bad.py", "y = 1\nraise ValueError('caf\xc3\xa9 \xf0\x9f\x98\x80')\n")), -1);
    expectOneMessage("line 2, in <module>\nValueError: caf\xc3\xa9 ");
    EXPECT_EQ(pyEval("(sys.stdout is sys.__stdout__, sys.stderr is sys.__stderr__, y)"), "(True, True, 1)");
    EXPECT_EQ(runFile(script("syntax.py", "def f(:\n")), -1);
    expectOneMessage("SyntaxError");
    // A zero byte runs no part of the script.
    EXPECT_EQ(runFile(script("zero.py", std::string("y = 2\n\0y = 3\n", 13))), -1);
    expectOneMessage("SyntaxError: invalid character");
    EXPECT_EQ(runString(u"sys.exit()"), -1);  // ends the script only
    expectOneMessage("Exception: Script exited.\n");

    // Nothing to run is status 0 without a message.
    EXPECT_EQ(runFile(scripts.file("missing.py")), 0);
    EXPECT_EQ(runFile(script("empty.py", "")), 0);
    EXPECT_EQ(runFile(script("bom.py", "\xef\xbb\xbf")), 0);
    EXPECT_EQ(runFile(script("crlf.py", "\xef\xbb\xbfz = 'crlf'\r\nz += '!'\r\n")), 0);
    EXPECT_EQ(pyEval("z"), "'crlf!'");
    EXPECT_TRUE(host.engine->messages().empty());
}

TEST_F(ScriptRunTest, ConsoleModeWritesTheApplicationStatesPieceByPiece)
{
    host.store->setSetting("Scripting/ShowScriptingConsole", "1");
    EXPECT_EQ(runString(u"print('a', 1)\nsys.stdout.write('b\U0001F600')"), 0);
    EXPECT_EQ(output, (std::vector<std::string>{"a", " ", "1", "\n", "b\xed\xa0\xbd\xed\xb8\x80"}));
    EXPECT_TRUE(errors.empty());

    output.clear();
    EXPECT_EQ(runFile(script("fail.py", "print('before')\n1/0\n")), -1);
    EXPECT_EQ(output, (std::vector<std::string>{"before", "\n"}));
    const std::string traceback = std::accumulate(errors.begin(), errors.end(), std::string());
    EXPECT_NE(traceback.find("ZeroDivisionError: division by zero"), std::string::npos) << traceback;
    EXPECT_TRUE(host.engine->messages().empty());
    EXPECT_EQ(pyEval("(sys.stdout is sys.__stdout__, sys.stderr is sys.__stderr__)"), "(True, True)");

    // Read at each run: off again means file mode.
    host.store->removeSetting("Scripting/ShowScriptingConsole");
    output.clear();
    EXPECT_EQ(runString(u"1/0"), -1);
    EXPECT_TRUE(output.empty());
    expectOneMessage("ZeroDivisionError");
}

TEST_F(ScriptRunTest, TheDebugRoadRunsTheFileUnderItsOwnName)
{
    host.store->setSetting("Advanced/python debug", "1");
    std::string path = script("debug.py", "d = __file__\nimport sys\nsys.exit(1)\n");
    EXPECT_EQ(runFile(path), -1);
    EXPECT_EQ(pyEval("d == '" + path + "'"), "True");
    EXPECT_EQ(pyEval("'__file__' in globals()"), "False");
    expectOneMessage("File \"" + path + "\", line 3, in <module>");
    // A file that cannot be opened runs nothing and gives the status so far.
    EXPECT_EQ(runFile(scripts.file("absent.py")), 0);
    EXPECT_TRUE(host.engine->messages().empty());
}

TEST_F(ScriptRunTest, ArgumentsBecomeSysArgv)
{
    KelWideString path(script("args.py", "argv = list(sys.argv)\n").c_str());
    KelObjectArray<KelCString> args;
    EXPECT_EQ(host.interpreter->runFileWithArgs(path, args), 0);
    EXPECT_EQ(pyEval("argv"), "['']");
    for (const char* arg : {"first", "caf\xc3\xa9", "bad\xff"})
        args.push(KelCString(arg));
    EXPECT_EQ(host.interpreter->runFileWithArgs(path, args), 0);
    EXPECT_EQ(pyEval("argv"), "['first', 'caf\\xe9', 'bad\\udcff']");
    EXPECT_EQ(pyEval("sys.path.count(AppPath)"), "1");
}

}  // namespace
