// Running scripts: file mode with the error file and one message per failed
// run, console mode through the application states, the debug road, argv,
// and scripts that try to end the process.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

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
            std::string piece = hostText(state.stringValue);
            (state.name == "Python/Output String" ? output : errors).push_back(piece);
        });
    }
    void TearDown() override
    {
        host.store->setListener(nullptr);
        host.store->removeSetting("Scripting/ShowScriptingConsole");
        host.store->removeSetting("Advanced/python debug");
        host.dirs->setDirectory("macros", macros());
    }
    static std::string hostText(const KelWideString& text) { return text.utf8(); }
    static const std::string& macros()
    {
        static std::string path = scriptTestHost().dirs->getDirectory("macros").utf8();
        return path;
    }
    std::string errorFile() const { return hostDir() + "/python_script_errors.log"; }
    std::string hostDir() const { return host.dirs->getDirectory("macros").utf8(); }
    std::string script(const std::string& name, const std::string& text)
    {
        std::ofstream(scripts.file(name), std::ios::binary) << text;
        return scripts.file(name);
    }
    int32_t runFile(const std::string& path) { return host.interpreter->runFile(KelWideString(path.c_str())); }
    int32_t runString(const char16_t* text) { return host.interpreter->runString(KelWideString(text, kelBorrow)); }
    const std::vector<std::string>& messages() { return host.engine->messages(); }
};

TEST_F(ScriptRunTest, FileModeReportsEachFailureOnceAndRemovesTheErrorFile)
{
    EXPECT_EQ(runString(u"x = 6 * 7"), 0);
    EXPECT_EQ(pyEval("x"), "42");
    EXPECT_TRUE(messages().empty());
    EXPECT_FALSE(fs::exists(errorFile()));

    EXPECT_EQ(runString(u"1/0"), -1);
    ASSERT_EQ(messages().size(), 1u);
    EXPECT_EQ(messages()[0],
              "Python interpreter error:\nTraceback (most recent call last):\n"
              "  File \"<string>\", line 1, in <module>\nZeroDivisionError: division by zero\n");
    EXPECT_FALSE(fs::exists(errorFile()));

    // runFile redirects twice (its own and runString's), still one message.
    host.engine->clearMessages();
    EXPECT_EQ(runFile(script("bad.py", "y = 1\nraise ValueError('caf\xc3\xa9 \xf0\x9f\x98\x80')\n")), -1);
    ASSERT_EQ(messages().size(), 1u);
    EXPECT_NE(messages()[0].find("line 2, in <module>\nValueError: caf\xc3\xa9 "), std::string::npos) << messages()[0];
    EXPECT_FALSE(fs::exists(errorFile()));
    EXPECT_EQ(pyEval("(sys.stdout is sys.__stdout__, sys.stderr is sys.__stderr__, y)"), "(True, True, 1)");

    host.engine->clearMessages();
    EXPECT_EQ(runFile(script("syntax.py", "def f(:\n")), -1);
    ASSERT_EQ(messages().size(), 1u);
    EXPECT_NE(messages()[0].find("SyntaxError"), std::string::npos) << messages()[0];
}

TEST_F(ScriptRunTest, NothingToRunIsStatusZeroWithoutAMessage)
{
    EXPECT_EQ(runFile(scripts.file("missing.py")), 0);
    EXPECT_EQ(runFile(script("empty.py", "")), 0);
    EXPECT_EQ(runFile(script("bom.py", "\xef\xbb\xbf")), 0);
    EXPECT_EQ(runFile(script("crlf.py", "\xef\xbb\xbfz = 'crlf'\r\nz += '!'\r\n")), 0);
    EXPECT_EQ(pyEval("z"), "'crlf!'");
    EXPECT_TRUE(messages().empty());
    EXPECT_FALSE(fs::exists(errorFile()));
}

TEST_F(ScriptRunTest, NoScriptEndsTheProcess)
{
    const char* enders[] = {"sys.exit(0)", "sys.exit()", "exit()", "quit(3)", "raise SystemExit(4)",
                            "import os\nos._exit = None\nraise SystemExit('bye')"};
    const char* lastLines[] = {"Exception: Script exited.\n", "Exception: Script exited.\n", "SystemExit: None\n",
                               "SystemExit: 3\n", "SystemExit: 4\n", "SystemExit: bye\n"};
    for (size_t i = 0; i < std::size(enders); ++i) {
        host.engine->clearMessages();
        EXPECT_EQ(runFile(script("end.py", std::string("a = 1\n") + enders[i] + "\na = 2\n")), -1) << enders[i];
        EXPECT_EQ(pyEval("a"), "1") << enders[i];
        ASSERT_EQ(messages().size(), 1u) << enders[i];
        const std::string& message = messages()[0];
        EXPECT_EQ(message.substr(message.size() - std::string(lastLines[i]).size()), lastLines[i]) << message;
    }
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
    std::string traceback;
    for (const std::string& piece : errors)
        traceback += piece;
    EXPECT_NE(traceback.find("ZeroDivisionError: division by zero"), std::string::npos) << traceback;
    EXPECT_TRUE(messages().empty());
    EXPECT_EQ(pyEval("(sys.stdout is sys.__stdout__, sys.stderr is sys.__stderr__)"), "(True, True)");

    // Read at each run: off again means file mode.
    host.store->removeSetting("Scripting/ShowScriptingConsole");
    output.clear();
    EXPECT_EQ(runString(u"1/0"), -1);
    EXPECT_TRUE(output.empty());
    EXPECT_EQ(messages().size(), 1u);
}

TEST_F(ScriptRunTest, TheDebugRoadRunsTheFileUnderItsOwnName)
{
    host.store->setSetting("Advanced/python debug", "1");
    std::string path = script("debug.py", "d = __file__\nimport sys\nsys.exit(1)\n");
    EXPECT_EQ(runFile(path), -1);
    EXPECT_EQ(pyEval("d == " + std::string("'") + path + "'"), "True");
    EXPECT_EQ(pyEval("'__file__' in globals()"), "False");
    ASSERT_EQ(messages().size(), 1u);
    EXPECT_NE(messages()[0].find("File \"" + path + "\", line 3, in <module>"), std::string::npos) << messages()[0];
    EXPECT_FALSE(fs::exists(errorFile()));
    // A file that cannot be opened runs nothing and gives the status so far.
    host.engine->clearMessages();
    EXPECT_EQ(runFile(scripts.file("absent.py")), 0);
    EXPECT_TRUE(messages().empty());
}

TEST_F(ScriptRunTest, ArgumentsBecomeSysArgv)
{
    std::string path = script("args.py", "argv = list(sys.argv)\n");
    KelObjectArray<KelCString> args;
    EXPECT_EQ(host.interpreter->runFileWithArgs(KelWideString(path.c_str()), args), 0);
    EXPECT_EQ(pyEval("argv"), "['']");
    args.push(KelCString("first"));
    args.push(KelCString("caf\xc3\xa9"));
    args.push(KelCString("bad\xff"));
    EXPECT_EQ(host.interpreter->runFileWithArgs(KelWideString(path.c_str()), args), 0);
    EXPECT_EQ(pyEval("argv"), "['first', 'caf\\xe9', 'bad\\udcff']");
    EXPECT_EQ(pyEval("sys.path.count(AppPath)"), "1");
}

TEST_F(ScriptRunTest, TheErrorFilePathReachesPythonExactly)
{
    // Quotes, spaces, a line feed and non-ASCII letters: none of it may run
    // as code or name another file. (A backslash is a separator in the
    // host's canonical paths, so it cannot stand in a name.)
    std::string odd = scripts.file("it's \"a\" d\xc3\xadr\n\xe6\x97\xa5 ')");
    fs::create_directory(odd);
    host.dirs->setDirectory("macros", odd);
    EXPECT_EQ(runString(u"import os\nseen = os.path.exists(errFileName)\n1/0"), -1);
    EXPECT_EQ(pyEval("seen"), "True");
    std::string hex;
    for (unsigned char c : odd)
        hex += "0123456789abcdef"[c >> 4], hex += "0123456789abcdef"[c & 15];
    EXPECT_EQ(pyEval("os.fsencode(os.path.dirname(errFileName)) == bytes.fromhex('" + hex + "')"), "True");
    ASSERT_EQ(messages().size(), 1u);
    EXPECT_NE(messages()[0].find("ZeroDivisionError"), std::string::npos);
    EXPECT_TRUE(fs::is_empty(odd));
}

}  // namespace
