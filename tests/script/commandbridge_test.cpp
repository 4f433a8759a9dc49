// The command bridge as a script sees it: results, failures, keywords,
// ownership; and the reserved words and the appdata package.
#include "script/commandbridge.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "tests/script/scripttesthost.h"

namespace {

IPtr<IScriptActualArgList> keptList;

using Messages = std::vector<std::string>;

class CommandBridge : public ::testing::Test {
protected:
    void SetUp() override
    {
        // Added after "kel" was made, so reached by name only, as self.
        static const bool added = [] {
            HostCommandList& commands = *scriptTestHost().commands;
            commands.add("foreign", [](ScriptCall& call) { call.give(new ForeignValue); return true; }, "");
            commands.add("keep", [](ScriptCall& call) { keptList = call.args(); return true; }, "");
            return true;
        }();
        (void)added;
        engine().clearMessages();
    }
    HostScriptEngine& engine() { return *scriptTestHost().engine; }
    Messages messages() { return engine().messages(); }
    // Calls as a published function does, the name as self; `format` picks from (1, "x").
    static PyRef call(const char* name, const char* format, PyObject* keywords = nullptr)
    {
        PyRef self = PyRef::steal(PyUnicode_FromString(name));
        PyRef args = PyRef::steal(Py_BuildValue(format, 1, "x"));
        return PyRef::steal(callCommand(self.get(), args.get(), keywords));
    }
};

TEST_F(CommandBridge, ResultsOfEveryTypeReachTheScript)
{
    expectEvals({
        {"kel.echo(True)", "1"}, {"kel.echo('\\U0001F600\\ud800x')", "'\\U0001f600\\ud800x'"},
        {"kel.echo([1, [b'a', []]])", "[1, ['a', []]]"}, {"kel.listOf(1, 2.5, 3, 4, 5)", "[1, 2.5, 3, 4, 5]"},
        {"kel.add(2**31 - 1, 1)", "-2147483648"}, {"kel.add(1, 0.5)", "1.5"},
        {"kel.concat('a\\u00e9', b'b', '\\U0001F600')", "'a\\xe9b\\U0001f600'"},
        {"kel.version()", "'1.0'"},
        {"[kel.typeName(v) for v in (b'x', 'x', True, [])]", "['string', 'unicode', 'bool', 'list']"},
        // commands that give nothing give None
        {"kel.echo()", "None"}, {"kel.nop()", "None"}, {"kel.sleep(0)", "None"},
        // keywords alone decide what the host gets: positionals beside them are dropped
        {"kel.echo(value=7)", "7"}, {"kel.add(b=2, a=40)", "42"}, {"kel.listOf(a=1, b='x', c=[2])", "[1, 'x', [2]]"},
        {"kel.echo(1, value=2)", "2"}, {"kel.listOf(1, 2, z=3)", "[3]"},
        {"kel.listOf(5, **{})", "[]"},  // a dict that is there but empty still takes the keyword road
        {"kel.echo(**{'': 5})", "None"},  // so does an empty name
    });
    EXPECT_EQ(messages(), Messages());
}

TEST_F(CommandBridge, EachFailureGivesItsResultAndOneMessage)
{
    const long before = HostScriptObject::alive();
    const struct {
        const char* expression;
        const char* result;
        const char* message;
    } cases[] = {
        // a failed command looks like None; fail leaves a value behind, destroyed unconverted
        {"kel.fail()", "None", "Error executing command fail"},
        {"kel.add('x', 1)", "None", "Error executing command add"},
        {"kel.add(1)", "None", "Error executing command add"}, {"kel.add(a=1)", "None", "Error executing command add"},
        {"kel.sleep(-1)", "None", "Error executing command sleep"},
        {"kel.echo(None)", "TypeError: wrong type of argument 1 for echo()", nullptr},
        {"kel.listOf(1, 'two', (3,))", "TypeError: wrong type of argument 3 for listOf()", nullptr},
        {"kel.echo(value=None)", "TypeError: wrong type of argument for value for echo", nullptr},
        {"kel.listOf(\xc3\xa9=None)", "TypeError: wrong type of argument for \xc3\xa9 for listOf", nullptr},
        // a key without a UTF-8 form is spelled with escapes
        {"kel.echo(**{'\\ud800': 1})", "TypeError: wrong type of argument for \\ud800 for echo", nullptr},
    };
    for (const auto& c : cases) {
        engine().clearMessages();
        EXPECT_EQ(pyEval(c.expression), c.result);
        // A TypeError reports its own text.
        const std::string shown = c.message ? c.message : std::string(c.result).substr(sizeof "TypeError: " - 1);
        EXPECT_EQ(messages(), Messages{"Python interpreter error:\n" + shown}) << c.expression;
    }
    EXPECT_EQ(HostScriptObject::alive(), before);

    // The script can catch it, and the host still hears of it.
    engine().clearMessages();
    EXPECT_EQ(pyRun("try:\n    kel.add(1, {})\nexcept TypeError as e:\n    caught = str(e)\n"), "");
    EXPECT_EQ(pyEval("caught"), "'wrong type of argument 2 for add()'");
    EXPECT_EQ(messages().size(), 1u);
}

TEST_F(CommandBridge, KeysThatAreNotStrAreSkipped)
{
    PyRef keywords = PyRef::steal(Py_BuildValue("{i:i,s:i}", 1, 2, "x", 3));
    PyRef result = call("listOf", "(i)", keywords.get());
    ASSERT_TRUE(result);
    PyRef text = PyRef::steal(PyObject_ASCII(result.get()));
    EXPECT_STREQ(PyUnicode_AsUTF8(text.get()), "[3]");
}

TEST_F(CommandBridge, ResultWithoutPythonFormGivesNullWithoutAnException)
{
    const long before = HostScriptObject::alive();
    EXPECT_FALSE(call("foreign", "()"));
    EXPECT_FALSE(PyErr_Occurred());
    EXPECT_EQ(HostScriptObject::alive(), before);
    EXPECT_EQ(messages(), Messages());
}

TEST_F(CommandBridge, ArgumentListLivesOnOnlyWhenTheCommandKeepsIt)
{
    const long before = HostScriptObject::alive();
    EXPECT_EQ(call("keep", "(is)").get(), Py_None);
    ASSERT_TRUE(keptList);
    EXPECT_EQ(keptList->refCount(), 1u);
    EXPECT_EQ(HostScriptObject::alive(), before + 3);  // the list and its two values
    keptList.reset();
    EXPECT_EQ(HostScriptObject::alive(), before);
}

TEST_F(CommandBridge, RecordingKeepsEveryExecutedCallWithItsArguments)
{
    IPtr<HostScript> script(new HostScript);
    scriptTestHost().commands->setRecorder(script.get());
    EXPECT_EQ(pyRun("kel.echo(1)\nkel.add(a=1, b=2)\nkel.fail()\nkel.echo(None)\n"),
              "TypeError: wrong type of argument 1 for echo()");
    scriptTestHost().commands->setRecorder(nullptr);
    EXPECT_EQ(pyEval("kel.nop()"), "None");
    std::ostringstream text;
    scriptTestHost().interpreter->writeScript(text, script.get());
    ASSERT_EQ(text.str(), "kel.echo(1)\nkel.add(a=1, b=2)\nkel.fail()\n");  // the bad argument never reached the host
    EXPECT_STREQ(script->arguments(1)->item(1)->name().chars(), "b");
}

TEST_F(CommandBridge, CommandThatLeftTheListIsAnAssertionAndGivesNone)
{
    const std::vector<HostAssertHandler::Failure>& failures = scriptTestHost().asserts->failures();
    const size_t before = failures.size();
    EXPECT_EQ(call("gone", "(i)").get(), Py_None);
    ASSERT_EQ(failures.size(), before + 1);
    EXPECT_EQ(failures.back().expression + " in " + failures.back().file, "cmd in .\\scriptinterpreterpython");
    EXPECT_EQ(messages(), Messages());
}

TEST_F(CommandBridge, WithoutScriptEngineOnlyTheReportIsSkipped)
{
    scriptTestHost().provider.remove("IScriptEngine");
    expectEvals({{"kel.echo(None)", "TypeError: wrong type of argument 1 for echo()"}, {"kel.fail()", "None"}});
    scriptTestHost().provider.add("IScriptEngine", scriptTestHost().engine.get());
    EXPECT_EQ(messages(), Messages());
}

TEST(PythonKeywords, ReadOnceFromTheKeywordModule)
{
    scriptTestHost();
    KelObjectArray<KelCString> words(2), again;
    words.push(KelCString("stale"));
    ASSERT_TRUE(getPythonKeywords(words));
    ASSERT_EQ(pyEval("len(__import__('keyword').kwlist)"), std::to_string(words.count));
    EXPECT_STREQ(words[1].chars(), "False");
    EXPECT_STREQ(words[words.count].chars(), "yield");
    // A later change of the module is not followed.
    ASSERT_EQ(pyRun("import keyword\nkeyword.kwlist.append('extra')"), "");
    ASSERT_TRUE(getPythonKeywords(again));
    ASSERT_EQ(pyRun("keyword.kwlist.remove('extra')"), "");
    ASSERT_EQ(again.count, words.count);
    EXPECT_STREQ(again[again.count].chars(), "yield");
}

TEST(AppData, StringAppStateWritesTheHostsState)
{
    ScriptTestHost& host = scriptTestHost();
    ASSERT_EQ(pyRun("from kelapp.appdata import StringAppState\nout = StringAppState('Python/Output String')"), "");
    const HostAppState* state = host.store->state("Python/Output String");
    EXPECT_EQ(pyEval("out.setValue('h\\u00e9\\U0001F600\\udc80')"), "True");
    const char16_t expected[] = {u'h', 0xE9, 0xD83D, 0xDE00, 0xDC80, 0};
    EXPECT_TRUE(state->stringValue.equals(KelWideString(expected, kelBorrow)));
    EXPECT_EQ(pyEval("out.setValue(42)"), "True");
    EXPECT_TRUE(state->stringValue.equals(KelWideString("42")));
    EXPECT_EQ(pyEval("StringAppState('No/Such State').setValue('x')"), "False");

    // Outside the host, in a Python of its own, the import itself fails.
    const std::string outside = std::string(KEL_PYTHON_EXECUTABLE) + " -I -c \"import sys; sys.path.insert(0, '" +
                                KEL_BUILD_ROOT + "')\ntry:\n import kelapp.appdata\nexcept ImportError as e:\n" +
                                " sys.exit(0 if 'only inside the host' in str(e) else 1)\nsys.exit(2)\"";
    EXPECT_EQ(std::system(outside.c_str()), 0) << outside;
}

}  // namespace
