// The Python interpreter's start-up, interface queries and script text (its
// interface names are listed with the other classes of the component).
#include <gtest/gtest.h>

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
    call("concat", {f.makeString(KelCString("a\\\\b \"q\"")), f.makeString(KelCString(""))});
    IScriptValue* list = f.makeList();
    kelQuery<IScriptValueList>(list)->append(unicode(u"in list"));
    call("listOf", {list});
    // No top-level Unicode argument: no coding line; a byte string keeps
    // its quotes unescaped and only its backslashes doubled.
    EXPECT_EQ(text(),
              "kel.version()\n"
              "kel.add(-7, 2.5, True, False)\n"
              "kel.concat(\"a\\\\\\\\b \"q\"\", \"\")\n"
              "kel.listOf(['in list'])\n");

    // Unicode arguments bring the coding line and keep every character.
    script = new HostScript;
    call("echo", {unicode(u"it's \\ h\u00e9 \U0001F600")});
    call("echo", {unicode(u"")});
    call("echo", {unicode(u"lone \xDC00!")});
    EXPECT_EQ(text(),
              "# -*- coding: utf-8 -*-\n"
              "kel.echo(u'it's \\\\ h\xc3\xa9 \xf0\x9f\x98\x80')\n"
              "kel.echo(u'')\n"
              "kel.echo(u'lone \\udc00!')\n");
    EXPECT_EQ(pyEval("u'lone \\udc00!' == 'lone ' + chr(0xdc00) + '!'"), "True");
}

}  // namespace
