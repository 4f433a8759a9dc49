// ScriptInterpreterPython: start-up of the embedded interpreter, the module
// of the host's commands, the interface queries and the Python form of the
// script text. The runs themselves are in scriptrun.cpp.
#include "script/scriptinterpreterpython.h"

#include <cstdlib>
#include <ostream>
#include <string>

#include "core/kelassert.h"
#include "kel/hostservices.h"
#include "kel/interfacenamelist.h"
#include "memory/kelpath.h"
#include "memory/keltranslator.h"
#include "script/commandbridge.h"
#include "script/pyref.h"
#include "script/pythonrun.h"
#include "text/utf16text.h"

ScriptInterpreterPython* ScriptInterpreterPython::instance_ = nullptr;

namespace {

const char kSourceFile[] = ".\\scriptinterpreterpython";

// The start-up text: the output classes (only defined here; a run installs
// them) and the replacement of sys.exit, which must not end the host.
const char kStartupText[] =
    "import sys\n"
    "from kelapp.appdata import *\n"
    "class OutputOverride:\n"
    "\tdef __init__(self):\n"
    "\t\tself.ds = StringAppState(\"Python/Output String\")\n"
    "\tdef write(self, s):\n"
    "\t\tself.ds.setValue(s)\n"
    "class ErrorOverride:\n"
    "\tdef __init__(self):\n"
    "\t\tself.ds = StringAppState(\"Python/Error String\")\n"
    "\tdef write(self, s):\n"
    "\t\tself.ds.setValue(s)\n"
    "def kelScriptExitOverride(*args):\n"
    "   raise Exception('Script exited.')\n"
    "sys.exit = kelScriptExitOverride\n";

KelWideString translatedLanguageName()
{
    KelWideString name;
    kelTranslate(&name, "Python");
    return name;
}

// Asks a host value for a typed view; the interpreter's queries pass true.
template <class T>
T* queryValue(IScriptValue* value)
{
    void* out = nullptr;
    value->queryInterface(T::interfaceName, &out, true);
    return static_cast<T*>(out);
}

}  // namespace

ScriptInterpreterPython::ScriptInterpreterPython() : ScriptInterpreter(translatedLanguageName())
{
    if (instance_)
        qtxAssertFailed("!instance_", kSourceFile, 27);
    instance_ = this;
    extensions.push_back(KelWideString("py"));
    modulePrefix.assign("kel");
    statementEnd.assign("");
    kelPythonStart();
    startupDone = false;
    moduleCreated = false;
}

ScriptInterpreterPython::~ScriptInterpreterPython()
{
    kelPythonStop();
    instance_ = nullptr;
}

void ScriptInterpreterPython::queryInterface(const char* name, void* out, bool flag)
{
    if (!name) {
        KelInterfaceNameList* list = kelNameListOf(out);
        addName("ScriptInterpreterPython", 1, list);
        addName("IScriptInterpreterV2", 0, list);
        addName("IPythonScriptInterpreter", 0, list);
        ScriptInterpreter::queryInterface(nullptr, out, false);
        popClass(list);
        return;
    }
    kelSetOut(out, nullptr);
    if (kelSameName(name, "ScriptInterpreterPython"))
        kelSetOut(out, static_cast<ScriptInterpreterPython*>(this));
    else if (kelSameName(name, "IKelUnknown"))
        kelSetOut(out, static_cast<IKelUnknown*>(this));
    else if (kelSameName(name, "IScriptInterpreterV2"))
        kelSetOut(out, static_cast<IScriptInterpreterV2*>(this));
    else if (kelSameName(name, "IPythonScriptInterpreter"))
        kelSetOut(out, static_cast<IPythonScriptInterpreter*>(this));
    else
        ScriptInterpreter::queryInterface(name, out, false);
}

void ScriptInterpreterPython::bindCommands(IScriptCommandList* list)
{
    commands = list;
    std::string importText = std::string("import ") + modulePrefix.chars() + "\n";
    if (commands && !moduleCreated)
        createModule(importText);
    if (!startupDone)
        runStartup(importText);
}

void ScriptInterpreterPython::createModule(const std::string& importText)
{
    // The module lives in sys.modules, so the import text finds it.
    PyObject* module = PyImport_AddModule(modulePrefix.chars());  // borrowed
    kelPythonRunText(importText.c_str());
    PyObject* dict = module ? PyModule_GetDict(module) : nullptr;  // borrowed
    uint32_t count = commands->count();
    // Python keeps pointers to the rows for as long as the functions live,
    // which is the rest of the process: the block is never freed.
    auto* rows = static_cast<PyMethodDef*>(std::malloc(sizeof(PyMethodDef) * (count ? count : 1)));
    for (uint32_t i = 0; dict && i < count; ++i) {
        IScriptCommand* command = commands->item(i);
        const char* name = command ? command->name().chars() : nullptr;
        if (!name)
            continue;
        PyRef self = PyRef::steal(Py_BuildValue("s", name));  // new reference
        rows[i].ml_name = name;
        rows[i].ml_meth = reinterpret_cast<PyCFunction>(reinterpret_cast<void (*)(void)>(callCommand));
        rows[i].ml_flags = METH_VARARGS | METH_KEYWORDS;
        rows[i].ml_doc = nullptr;
        PyRef function = PyRef::steal(PyCFunction_NewEx(&rows[i], self.get(), nullptr));  // new reference
        if (!function || PyDict_SetItemString(dict, name, function.get()))
            PyErr_Clear();
    }
    if (!dict)
        PyErr_Clear();
    moduleCreated = true;
}

void ScriptInterpreterPython::runStartup(const std::string& importText)
{
    SPtr<IKelDirService> directories;
    KelPath exe = directories ? KelPath(directories->getDirectory("exe")) : KelPath();
    KelPath scripts = exe;
    scripts.append("pyscripts");
    std::string exeLiteral = kelPythonPathLiteral(exe.forOpen());

    kelPythonAliasUnicode();
    kelPythonRunText("import os\nimport sys\n");
    kelPythonRunText(("sys.path = sys.path + ['.'," + exeLiteral + "]\n").c_str());
    kelPythonRunText(("AppPath = " + exeLiteral + "\n").c_str());
    kelPythonRunText(("sys.path = sys.path + [" + kelPythonPathLiteral(scripts.forOpen()) + "]\n").c_str());
    kelPythonRunText(kStartupText);
    kelPythonRunText(importText.c_str());
    kelPythonRunText("true = True\nfalse = False\n");
    startupDone = true;
}

bool ScriptInterpreterPython::writeValue(std::ostream& out, IScriptValue* val)
{
    if (!val)
        return false;
    ScriptTypeToken type = val->type();
    if (scriptFactory && scriptFactory->isBool(type)) {
        auto* bv = queryValue<IScriptValueBool>(val);
        if (!bv)
            return false;
        out << (bv->getValue() ? "True" : "False");
        return true;
    }
    if (scriptFactory && scriptFactory->isUnicodeString(type)) {
        auto* usv = queryValue<IScriptValueUnicodeString>(val);
        if (!usv)
            return false;
        KelWideString text = usv->getValue();
        text.replaceAll(KelWideString(u"\\", kelBorrow), KelWideString(u"\\\\", kelBorrow));
        // Proper UTF-8 (pairs as one character) so that Python reads every
        // character back; a lone surrogate goes in as its \u escape.
        out << "u'" << kelUtf8OfUnits(text.chars(), KelLoneSurrogate::escape) << "'";
        return true;
    }
    return ScriptInterpreter::writeValue(out, val);
}

bool ScriptInterpreterPython::writeScript(std::ostream& out, IScript* script)
{
    bool unicode = false;
    uint32_t count = script && scriptFactory ? script->count() : 0;
    for (uint32_t i = 0; i < count && !unicode; ++i) {
        IScriptActualArgList* args = script->arguments(i);
        uint32_t argCount = args ? args->count() : 0;
        for (uint32_t j = 0; j < argCount && !unicode; ++j) {
            IScriptValue* value = args->item(j)->value();
            unicode = scriptFactory->isUnicodeString(value->type());
        }
    }
    if (unicode)
        out << "# -*- coding: utf-8 -*-" << std::endl;
    return ScriptInterpreter::writeScript(out, script);
}

bool ScriptInterpreterPython::getKeywords(KelObjectArray<KelCString>& array)
{
    return getPythonKeywords(array);
}
