// ScriptInterpreterPython: start-up of the embedded interpreter, the module
// of the host's commands, the interface queries, the Python form of the
// script text and the runs.
#include "script/scriptinterpreterpython.h"

#include <cstdlib>
#include <cstring>
#include <optional>
#include <ostream>
#include <string>

#include "core/kelassert.h"
#include "kel/hostservices.h"
#include "kel/interfacenamelist.h"
#include "memory/kelfdstreambuf.h"
#include "memory/kelpath.h"
#include "memory/keltranslator.h"
#include "platform/platform.h"
#include "script/commandbridge.h"
#include "script/pyref.h"
#include "script/pythonrun.h"
#include "script/pythontexts.h"
#include "script/scripterrorfile.h"
#include "script/scriptinterrupt.h"
#include "script/sitepackages.h"
#include "text/pythonliteral.h"
#include "text/utf16text.h"

ScriptInterpreterPython* ScriptInterpreterPython::instance_ = nullptr;

namespace {

const char kSourceFile[] = ".\\scriptinterpreterpython";

// The name under which a command is published: its text, with bytes that
// are not UTF-8 written as \xNN escapes. A name that is UTF-8 throughout
// (self then holds no lone surrogate) is self itself, decoded once.
PyRef publishedName(const char* name, PyObject* self)
{
    if (PyUnicode_AsUTF8(self))  // borrowed, cached in self
        return PyRef::borrow(self);
    PyErr_Clear();
    return PyRef::steal(PyUnicode_DecodeUTF8(name, static_cast<Py_ssize_t>(std::strlen(name)), "backslashreplace"));  // new reference
}

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

// A command or keyword name that can be written as it is: a plain name that
// is not one of Python's reserved words.
bool isPlainName(const char* name)
{
    if (!kelIsPlainPythonName(name))
        return false;
    KelObjectArray<KelCString> keywords;
    getPythonKeywords(keywords);
    for (int32_t i = 1; i <= keywords.count; ++i) {
        if (keywords[i].equals(name))
            return false;
    }
    return true;
}

// The folder of packages ahead of the system's that the host's settings
// name (see sitepackages.h).
KelSitePackages sitePackages()
{
    SPtr<IDataStore> store;
    if (!store)
        return KelSitePackages();
    return kelSitePackages(store->getString("Advanced/python virtual environment", 0),
                           store->getString("Directories/Python Packages Directory", 0), kelPythonVersion());
}

}  // namespace

bool kelSettingOn(const char* key)
{
    SPtr<IDataStore> store;
    return store && store->getBool(key, 0) == 1;
}

void kelGiveTextStreamMethods()
{
    kelPythonRunOwnText("_kelTextStreams()\n");
}

ScriptInterpreterPython::ScriptInterpreterPython() : ScriptInterpreter(translatedLanguageName())
{
    if (instance_)
        qtxAssertFailed("!instance_", kSourceFile, 27);
    instance_ = this;
    extensions.push_back(KelWideString("py"));
    modulePrefix.assign("kel");
    statementEnd.assign("");
    std::string failure;
    KelSitePackages packages = sitePackages();
    if (!packages.problem.empty())
        reportToUser("The Python virtual environment is not used:\n%1", packages.problem);
    if (kelPythonStart(kelSettingOn("Advanced/python environment"), packages.folder, &failure) ==
        KelPythonStart::failed)
        reportToUser("Python could not start:\n%1", failure);  // once; every run gives -1
    else
        kelPythonRunOwnText(kelPyUnraisableGuardText);
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
    if (!kelPythonUsable())
        return;
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
    kelPythonRunOwnText(importText);
    PyObject* dict = module ? PyModule_GetDict(module) : nullptr;  // borrowed
    uint32_t count = commands->count();
    // Python keeps pointers to the rows, and to the names in them, for as
    // long as the functions live, which is the rest of the process: the
    // block is never freed, and each name's text is the UTF-8 form of its
    // published str, of which one reference is kept for good. The host's own
    // name text may go with its command.
    auto* rows = static_cast<PyMethodDef*>(std::malloc(sizeof(PyMethodDef) * (count ? count : 1)));
    for (uint32_t i = 0; dict && i < count; ++i) {
        IScriptCommand* command = commands->item(i);
        const char* name = command ? command->name().chars() : nullptr;
        if (!name)
            continue;
        // self keeps the name's bytes for the look-up at each call.
        PyRef self = PyRef::steal(PyUnicode_DecodeUTF8(name, static_cast<Py_ssize_t>(std::strlen(name)), "surrogateescape"));  // new reference
        PyRef shown = self ? publishedName(name, self.get()) : PyRef();
        const char* shownText = shown ? PyUnicode_AsUTF8(shown.get()) : nullptr;  // borrowed from shown
        if (!shownText) {
            PyErr_Clear();
            continue;
        }
        rows[i].ml_name = shownText;
        Py_INCREF(shown.get());  // kept for good: the row points into it
        rows[i].ml_meth = reinterpret_cast<PyCFunction>(reinterpret_cast<void (*)(void)>(callCommand));
        rows[i].ml_flags = METH_VARARGS | METH_KEYWORDS;
        rows[i].ml_doc = nullptr;
        PyRef function = PyRef::steal(PyCFunction_NewEx(&rows[i], self.get(), nullptr));  // new reference
        if (!function || PyDict_SetItem(dict, shown.get(), function.get()))
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
    kelPythonRunOwnText("import os\nimport sys\n");
    kelPythonRunOwnText("sys.path = sys.path + ['.'," + exeLiteral + "]\n");
    kelPythonRunOwnText("AppPath = " + exeLiteral + "\n");
    kelPythonRunOwnText("sys.path = sys.path + [" + kelPythonPathLiteral(scripts.forOpen()) + "]\n");
    kelPythonRunOwnText(kelPyHostPackageText + ("_kelHostPackage(" + exeLiteral + ")\n"));
    kelPythonRunOwnText(kelPyTextStreamText);
    kelPythonRunOwnText(kelPyStartupText());
    kelGiveTextStreamMethods();
    kelPythonRunOwnText(importText);
    kelPythonRunOwnText("true = True\nfalse = False\n");
    startupDone = true;
}

bool ScriptInterpreterPython::writeCommand(std::ostream& out, IScriptCommand* cmd, IScriptActualArgList* argList)
{
    if (!cmd || !argList)
        return ScriptInterpreter::writeCommand(out, cmd, argList);  // asserts
    const char* name = cmd->name().chars();
    out << modulePrefix.chars();
    if (isPlainName(name)) {
        out << '.' << name;
    } else {
        out << ".__dict__[";
        kelWritePythonText(out, kelUnitsOfUtf8(name ? name : "", KelBadByte::keep));
        out << ']';
    }
    out << '(';
    // Python takes no positional argument behind a keyword one, so the
    // positional ones go first; a call of either kind keeps its order.
    bool result = true;
    bool first = true;
    uint32_t count = argList->count();
    for (bool named : {false, true}) {
        for (uint32_t i = 0; i < count; ++i) {
            IScriptActualArg* arg = argList->item(i);
            if (!arg || (arg->name().chars() != nullptr) != named)
                continue;
            if (!first)
                out << ", ";
            first = false;
            result = writeArgument(out, arg) && result;
        }
    }
    out << ')' << statementEnd.chars();
    return result;
}

// A keyword argument whose name is not a plain name goes in as a one-entry
// mapping, so that no name can end the call early.
bool ScriptInterpreterPython::writeArgument(std::ostream& out, IScriptActualArg* arg)
{
    const char* name = arg->name().chars();
    if (!name)
        return writeValue(out, arg->value());
    bool plain = isPlainName(name);
    if (plain) {
        out << name << '=';
    } else {
        out << "**{";
        kelWritePythonText(out, kelUnitsOfUtf8(name, KelBadByte::keep));
        out << ": ";
    }
    bool result = writeValue(out, arg->value());
    if (!plain)
        out << '}';
    return result;
}

bool ScriptInterpreterPython::writeValue(std::ostream& out, IScriptValue* val)
{
    return writeValueAt(out, val, 0);
}

// Every value of the six types is written here, lists element by element, so
// that what a recording holds is always a literal of the value.
bool ScriptInterpreterPython::writeValueAt(std::ostream& out, IScriptValue* val, int depth)
{
    if (!val || !scriptFactory)
        return val ? ScriptInterpreter::writeValue(out, val) : false;
    ScriptTypeToken type = val->type();
    if (scriptFactory->isBool(type)) {
        auto* bv = queryValue<IScriptValueBool>(val);
        out << (bv && bv->getValue() ? "True" : "False");
        return bv != nullptr;
    }
    if (scriptFactory->isInt(type)) {
        auto* iv = queryValue<IScriptValueInt>(val);
        out << std::to_string(iv ? iv->getValue() : 0);  // whatever locale the stream has
        return iv != nullptr;
    }
    if (scriptFactory->isDouble(type)) {
        auto* dv = queryValue<IScriptValueDouble>(val);
        kelWritePythonFloat(out, dv ? dv->getValue() : 0.0);
        return dv != nullptr;
    }
    if (scriptFactory->isString(type)) {
        auto* sv = queryValue<IScriptValueString>(val);
        kelWritePythonBytes(out, sv ? sv->getValue() : KelCString());
        return sv != nullptr;
    }
    if (scriptFactory->isUnicodeString(type)) {
        auto* usv = queryValue<IScriptValueUnicodeString>(val);
        kelWritePythonText(out, usv ? usv->getValue() : KelWideString());
        return usv != nullptr;
    }
    if (scriptFactory->isList(type))
        return writeList(out, queryValue<IScriptValueList>(val), depth);
    return ScriptInterpreter::writeValue(out, val);
}

bool ScriptInterpreterPython::writeList(std::ostream& out, IScriptValueList* list, int depth)
{
    // Python's parser refuses brackets nested 200 deep, and a list that holds
    // itself has no end: deeper than this, a list is written empty.
    const int kDeepest = 150;
    out << '[';
    bool result = list && depth < kDeepest;
    uint32_t count = result ? list->count() : 0;
    for (uint32_t i = 0; i < count; ++i) {
        if (i)
            out << ", ";
        IScriptValue* item = list->item(i);
        if (item)
            result = writeValueAt(out, item, depth + 1) && result;
        else
            result = (out << "None", false);
    }
    out << ']';
    return result;
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
    if (!kelPythonUsable()) {
        array.count = 0;
        return true;
    }
    return getPythonKeywords(array);
}

// ---- running scripts and catching Python's diagnostics ----------------------
//
// Two modes, chosen by the host setting "Scripting/ShowScriptingConsole" at
// the start of each run:
//   console mode  sys.stdout and sys.stderr write into the application states
//                 "Python/Output String" and "Python/Error String" while the
//                 script runs;
//   file mode     sys.stderr is the error file "python_script_errors.log" in
//                 the host's "macros" directory (see scripterrorfile.h);
//                 after a failed run its text goes to the user through
//                 IScriptEngine, once, and the file is removed.
// Either way the streams are sys.__stdout__ and sys.__stderr__ again after the
// run. Paths reach Python as escaped literals, never as raw text.

namespace {

void run(const std::string& text)
{
    kelPythonRunOwnText(text);
}

// Makes the error file, opened anew and empty, Python's sys.stderr; false
// when it cannot be opened, and sys.stderr stays as it was.
bool installErrorFile(ScriptErrorFile& errorFile, const char* before)
{
    int fd = errorFile.open();
    if (fd < 0)
        return false;
    std::string text = std::string(before) + "fsock_err = open(" + std::to_string(fd) +
                       ", 'w', errors='backslashreplace')\nsys.stderr = fsock_err\n";
    if (kelPythonRunOwnText(text) == 0)
        return true;
    kelClose(fd);  // Python did not take it
    return false;
}

}  // namespace

// Puts the streams back after a run and, outside the console, hands a
// failed run's error text to the host. When the file could not take the
// text (a full disk, a file size limit), its close fails: the traceback then
// comes from memory, with the reason, so that the user still sees it.
void ScriptInterpreterPython::restoreStreams(int32_t result, ScriptErrorFile* errorFile, bool installed)
{
    if (!errorFile) {
        run(kelPyRestoreBothText);
        kelPythonFlushStdio();
        return;
    }
    std::string closeFailure;
    if (installed)
        kelPythonRunOwnTextQuietly(kelPyRestoreErrorText, closeFailure);
    else
        run("sys.stderr = sys.__stderr__\n");
    kelPythonFlushStdio();
    if (result >= 0)
        return;
    std::string text = errorFile->read();
    if (!closeFailure.empty())
        text = kelPythonLastTraceback() + "(the error file could not take this text: " + closeFailure + ")\n";
    if (!text.empty())
        reportToUser("Python interpreter error:\n%1", text);
}

int32_t ScriptInterpreterPython::runFile(const KelWideString& path)
{
    if (!scriptFactory)
        return 0;
    if (!kelPythonUsable())
        return -1;
    KelScriptRun scriptRun;
    bindCommands(commands);
    bool console = kelSettingOn("Scripting/ShowScriptingConsole");
    std::optional<ScriptErrorFile> errorFile;
    bool installed = false;
    if (console) {
        run("errFileName = " + kelPythonPathLiteral(ScriptErrorFile::currentPath().forOpen()));
        run(kelPyConsoleRunText());
        kelGiveTextStreamMethods();
    } else {
        errorFile.emplace();
        run("errFileName = u" + kelPythonPathLiteral(errorFile->path().forOpen()));
        installed = installErrorFile(*errorFile, "import sys\n");
    }
    int32_t result = kelPythonRunOwnText(kelPyExitOverrideText);
    try {
        if (kelSettingOn("Advanced/python debug")) {
            int status = 0;
            kelPythonTakeRunFailure();  // what an earlier run left
            bool ran = false;
            {
                KelScriptRun::Executing executing(scriptRun);
                ran = kelPythonRunFile(path, &status);
            }
            if (ran)
                result = kelPythonTakeRunFailure() || kelPythonFlushOutput() != 0 ? -1 : status;
        } else {
            result = ScriptInterpreter::runFile(path);
        }
    } catch (...) {
        // A host exception ends the script; the streams are restored below.
    }
    // The nested runString has normally read back and removed the file
    // already; what is left here then is nothing.
    restoreStreams(result, errorFile ? &*errorFile : nullptr, installed);
    if (errorFile)
        errorFile->remove();
    return result;
}

int32_t ScriptInterpreterPython::runString(const KelWideString& text)
{
    if (!scriptFactory)
        return 0;
    if (!kelPythonUsable())
        return -1;
    KelScriptRun scriptRun;
    bool console = kelSettingOn("Scripting/ShowScriptingConsole");
    std::optional<ScriptErrorFile> errorFile;
    bool installed = false;
    if (console) {
        run("sys.stdout = OutputOverride()\nsys.stderr = ErrorOverride()\n");
    } else {
        errorFile.emplace();
        run("errFileName = " + kelPythonPathLiteral(errorFile->path().forOpen()));
        installed = installErrorFile(*errorFile, "");
    }
    int32_t result = -1;
    kelPythonTakeRunFailure();  // what an earlier run left
    try {
        std::string source = kelUtf8OfUnits(text.chars(), KelLoneSurrogate::threeBytes);
        KelScriptRun::Executing executing(scriptRun);
        result = kelPythonRunText(source.c_str());
    } catch (...) {
        result = -1;
    }
    if (kelPythonTakeRunFailure() || kelPythonFlushOutput() != 0)
        result = -1;
    restoreStreams(result, errorFile ? &*errorFile : nullptr, installed);
    if (errorFile)
        errorFile->remove();
    return result;
}

int32_t ScriptInterpreterPython::runFileWithArgs(const KelWideString& path, const KelObjectArray<KelCString>& args)
{
    if (kelPythonUsable())
        kelPythonSetArgv(args);
    return runFile(path);
}
