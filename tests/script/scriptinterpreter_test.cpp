// The Python interpreter's start-up, interface queries and script text (its
// interface names are listed with the other classes of the component).
#include <gtest/gtest.h>

#include <locale>
#include <sstream>

#include "host/scriptcommands.h"
#include "host/scriptvalues.h"
#include "tests/script/scripttesthost.h"

namespace {

TEST(ScriptInterpreterStartupTest, RunsOnceWhateverBindCommandsIsGiven)
{
    ScriptTestHost& host = scriptTestHost();
    IPtr<HostCommandList> other(new HostCommandList);
    other->add("onlyInOther", [](ScriptCall&) { return true; }, "onlyInOther()");
    host.interpreter->bindCommands(nullptr);
    host.interpreter->bindCommands(other.get());
    host.interpreter->bindCommands(host.commands.get());
    expectEvals({
        // the module was made at the first bind with a list and never again
        {"hasattr(kel, 'onlyInOther')", "False"},
        {"[n for n in ('echo', 'add', 'fail') if callable(getattr(kel, n))]", "['echo', 'add', 'fail']"},
        {"(kel.echo.__self__, kel.add.__name__)", "('echo', 'add')"},
        {"sys.modules['kel'] is kel", "True"},
        // sys.path gained '.', the exe directory and its pyscripts, once
        {"AppPath", "'" KEL_BUILD_ROOT "'"},
        {"sys.path.count(AppPath)", "1"},
        {"sys.path[-3:]", "['.', '" KEL_BUILD_ROOT "', '" KEL_BUILD_ROOT "/pyscripts']"},
        {"(true, false, unicode is str)", "(True, False, True)"},
        {"(OutputOverride.__name__, ErrorOverride.__name__)", "('OutputOverride', 'ErrorOverride')"},
    });
}

TEST(ScriptInterpreterStartupTest, PublishedNamesAreTheComponentsOwn)
{
    // The host replaces a command after binding: the old command and its
    // name text are gone.
    scriptTestHost().commands->add("nop", [](ScriptCall&) { return true; }, "nop()");
    expectEvals({
        {"(kel.nop.__name__, kel.nop.__qualname__, kel.nop())", "('nop', 'str.nop', None)"},
        // Published with the byte escaped; the call still finds its command.
        {"(getattr(kel, 'caf\\\\xe9').__name__, getattr(kel, 'caf\\\\xe9')())", "('caf\\\\xe9', 7)"},
        // self keeps the bytes, the one that is not UTF-8 as a lone surrogate.
        {"getattr(kel, 'caf\\\\xe9').__self__", "'caf\\udce9'"},
        // A UTF-8 name is published as it is and found by its characters.
        {"(kel.gr\u00fc\u00df.__name__, kel.gr\u00fc\u00df.__self__, kel.gr\u00fc\u00df())", "('gr\\xfc\\xdf', 'gr\\xfc\\xdf', 8)"},
    });
}

TEST(ScriptInterpreterStartupTest, IsTheSingletonWithItsSettings)
{
    ScriptInterpreterPython* python = scriptTestHost().interpreter;
    EXPECT_EQ(ScriptInterpreterPython::instance_, python);
    // No IKelStrSupport in this host: the extension keeps its capitals.
    for (const char* path : {"c:\\dir\\script.py", "/home/a.b/script.py"})
        EXPECT_TRUE(python->canRunFile(KelWideString(path))) << path;
    for (const char* path : {"script.PY", "c:\\dir.py\\script", "script.", "script.pyc"})
        EXPECT_FALSE(python->canRunFile(KelWideString(path))) << path;
}

TEST(ScriptInterpreterQueryTest, AnswersByNameWithoutAReference)
{
    ScriptInterpreterPython* python = scriptTestHost().interpreter;
    uint32_t before = python->refCount();
    IKelUnknown* unknown = static_cast<IScriptInterpreter*>(python);
    EXPECT_EQ(kelQuery<IPythonScriptInterpreter>(unknown), static_cast<IPythonScriptInterpreter*>(python));
    EXPECT_EQ(kelQuery<IScriptInterpreterV2>(unknown), static_cast<IScriptInterpreterV2*>(python));
    EXPECT_EQ(kelQuery<IKelUnknown>(kelQuery<IPythonScriptInterpreter>(unknown)), kelQuery<IKelUnknown>(unknown));
    void* out = &before;
    python->queryInterface("ScriptInterpreter", &out, false);
    EXPECT_EQ(out, static_cast<ScriptInterpreter*>(python));
    python->queryInterface("IScriptFactory", &out, false);
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(python->refCount(), before);
}

// Builds a script of calls and writes it.
class ScriptTextTest : public ::testing::Test {
protected:
    IPtr<HostScript> script{new HostScript};
    HostScriptFactory& f = *scriptTestHost().factory;

    void call(const char* name, std::initializer_list<IScriptValue*> values)
    {
        IScriptActualArgList* args = f.createArgList(false);
        for (IScriptValue* value : values)
            args->add(value);
        script->append(scriptTestHost().commands->find(KelCString(name, kelBorrow)), args);
    }
    std::string text()
    {
        std::ostringstream out;
        EXPECT_TRUE(scriptTestHost().interpreter->writeScript(out, script.get()));
        return out.str();
    }
    IScriptValue* unicode(const char16_t* text) { return f.makeUnicodeString(KelWideString(text, kelBorrow)); }
};

TEST_F(ScriptTextTest, WritesOneKelStatementPerCallAndCodingLineForUnicode)
{
    EXPECT_EQ(text(), "");
    call("version", {});
    call("add", {f.makeInt(-7), f.makeDouble(2.5), f.makeBool(true), f.makeBool(false)});
    IScriptValue* list = f.makeList();
    kelQuery<IScriptValueList>(list)->append(unicode(u"in list"));
    call("listOf", {list});
    // No top-level Unicode argument: no coding line.
    EXPECT_EQ(text(), "kel.version()\nkel.add(-7, 2.5, True, False)\nkel.listOf([u'in list'])\n");
    script = new HostScript;
    call("echo", {unicode(u"h\u00e9")});
    EXPECT_EQ(text(), "# -*- coding: utf-8 -*-\nkel.echo(u'h\xc3\xa9')\n");
}

TEST_F(ScriptTextTest, EveryLiteralReadsBackAsTheSameValue)
{
    IScriptValue* nested = f.makeList();
    IScriptValue* inner = f.makeList();
    kelQuery<IScriptValueList>(inner)->append(f.makeString(KelCString("")));
    kelQuery<IScriptValueList>(nested)->append(inner);
    kelQuery<IScriptValueList>(nested)->append(f.makeDouble(-0.0));
    const struct {
        IScriptValue* value;
        const char* literal;
        const char* readBack;  // ascii() of what Python reads
    } cases[] = {
        {unicode(u"x'); import os; ('"), R"(u'x\'); import os; (\'')", R"("x'); import os; ('")"},
        {unicode(u"a\nb\r\t\\ \x01\x7f\x85 \u00e9\U0001F600"), "u'a\\nb\\r\\t\\\\ \\x01\\x7f\\x85 \xc3\xa9\xf0\x9f\x98\x80'",
         R"('a\nb\r\t\\ \x01\x7f\x85 \xe9\U0001f600')"},
        {unicode(u"lone \xDC00 \xD800!"), R"(u'lone \udc00 \ud800!')", R"('lone \udc00 \ud800!')"},
        {f.makeString(KelCString("q\"'\\\n\x80\xff")), R"(b'q"\'\\\n\x80\xff')", R"(b'q"\'\\\n\x80\xff')"},
        {f.makeDouble(1e300), "1e+300", "1e+300"},
        {f.makeDouble(5e-324), "5e-324", "5e-324"},
        {f.makeDouble(0.1), "0.1", "0.1"},
        {f.makeDouble(1e22), "1e+22", "1e+22"},
        {f.makeDouble(3), "3.0", "3.0"},
        {f.makeDouble(-1.0 / 0.0), "-1e999", "-inf"},
        {f.makeDouble(0.0 / 0.0), "(1e999-1e999)", "nan"},
        {f.makeInt(-2147483647 - 1), "-2147483648", "-2147483648"},
        {nested, "[[b''], -0.0]", "[[b''], -0.0]"},
    };
    // A locale that groups digits must not reach the literals.
    struct Grouping : std::numpunct<char> {
        char do_thousands_sep() const override { return ','; }
        std::string do_grouping() const override { return "\3"; }
    };
    for (const auto& c : cases) {
        std::ostringstream out;
        out.imbue(std::locale(std::locale::classic(), new Grouping));
        IPtr<IScriptValue> held(c.value);
        EXPECT_TRUE(scriptTestHost().interpreter->writeValue(out, c.value));
        EXPECT_EQ(out.str(), c.literal);
        EXPECT_EQ(pyEval(out.str()), c.readBack) << out.str();
    }
}

TEST_F(ScriptTextTest, KeywordsStayKeywordsAndNoNameRunsAsCode)
{
    IScriptActualArgList* named = f.createArgList(true);
    named->addNamed(KelCString("b"), f.makeInt(2));
    named->addNamed(KelCString("x'); import os; ('"), f.makeInt(3));
    named->addNamed(KelCString("class"), f.makeInt(4));
    named->addNamed(KelCString(""), f.makeInt(5));
    script->append(scriptTestHost().commands->find(KelCString("concat")), named);
    IScriptActualArgList* mixed = f.createArgList(true);
    mixed->addNamed(KelCString("a"), f.makeInt(1));
    mixed->add(f.makeInt(0));
    script->append(scriptTestHost().commands->find(KelCString("echo")), mixed);
    script->append(new HostCommand("print('x') or kel.f", nullptr, ""), f.createArgList(false));
    EXPECT_EQ(text(),
              "kel.concat(b=2, **{u'x\\'); import os; (\\'': 3}, **{u'class': 4}, **{u'': 5})\n"
              "kel.echo(0, a=1)\n"
              "kel.__dict__[u'print(\\'x\\') or kel.f']()\n");
}

}  // namespace
