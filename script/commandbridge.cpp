// The command bridge: callCommand, the two argument builders and the reserved
// words. The assertions quote the interpreter's source file, where the bridge
// belongs.
#include "script/commandbridge.h"

#include <cstring>
#include <exception>
#include <new>
#include <sstream>
#include <string>

#include "core/kelassert.h"
#include "kel/kelwidestring.h"
#include "memory/keltranslator.h"
#include "script/scriptinterpreterpython.h"
#include "script/valueconversion.h"
#include "text/utf16text.h"

void reportToUser(const char* message, const std::string& argument)
{
    SPtr<IScriptEngine> engine;
    if (!engine)
        return;
    KelWideString text;
    // Python gives its texts as UTF-8: the message keeps every character,
    // and a byte that is not valid UTF-8 stands for itself.
    const KelWideString wide = kelUnitsOfUtf8(argument, KelBadByte::keep);
    kelTranslate(&text, message, &wide);
    engine->reportError(text, 0);
}

namespace {

const char kSourceFile[] = ".\\scriptinterpreterpython";

// The same failure reaches the script as a TypeError it may catch, and the
// user through the host.
void raiseAndReport(const std::string& text)
{
    // A host name need not be UTF-8: its bad bytes are shown escaped.
    PyRef value = PyRef::steal(PyUnicode_DecodeUTF8(text.data(), static_cast<Py_ssize_t>(text.size()), "backslashreplace"));  // new reference
    if (value)
        PyErr_SetObject(PyExc_TypeError, value.get());
    reportToUser("Python interpreter error:\n%1", text);
}

IScriptActualArgList* newArgList(bool named)
{
    ScriptInterpreterPython* instance_ = ScriptInterpreterPython::instance_;
    IScriptFactory* factory = instance_ ? instance_->factory() : nullptr;
    IScriptActualArgList* scriptArgs = factory ? factory->createArgList(named) : nullptr;
    KEL_ASSERT(scriptArgs, kSourceFile);
    return scriptArgs;
}

// A conversion refused a value the host cannot hold (an OverflowError is
// set): the script learns which argument of which command it was.
void nameRefusedArgument(const std::string& argument, const char* name)
{
    PyObject* rawType = nullptr;
    PyObject* rawValue = nullptr;
    PyObject* rawTraceback = nullptr;
    PyErr_Fetch(&rawType, &rawValue, &rawTraceback);
    PyRef type = PyRef::steal(rawType);  // new references, all three
    PyRef value = PyRef::steal(rawValue);
    PyRef traceback = PyRef::steal(rawTraceback);
    PyErr_Format(type ? type.get() : PyExc_OverflowError, "%s for %s(): %S", argument.c_str(), name,
                 value ? value.get() : Py_None);
}

// What a message shows of a key: its head, so that a huge key cannot make a
// message the host's strings cannot hold.
std::string shownKey(const char* key)
{
    const size_t kShown = 200;
    std::string text(key, strnlen(key, kShown + 1));
    if (text.size() <= kShown)
        return text;
    size_t cut = kShown;
    while (cut > 0 && (static_cast<unsigned char>(text[cut]) & 0xC0) == 0x80)
        --cut;  // not inside a character
    return text.substr(0, cut) + "...";
}

// A key's UTF-8 form, or null (with no Python error) when it has none, which
// only a lone surrogate in the key can cause.
const char* keyText(PyObject* key, PyRef& spelled)
{
    const char* argName = PyUnicode_AsUTF8(key);  // borrowed: cached in the key
    if (argName)
        return argName;
    PyErr_Clear();
    spelled = PyRef::steal(PyUnicode_AsEncodedString(key, "utf-8", "backslashreplace"));  // new reference
    PyErr_Clear();
    return nullptr;
}

// The command's name: the bytes that self holds, also when they are not
// UTF-8 (self then holds them escaped as lone surrogates). An ASCII name,
// which almost every command has, is read in place: its characters are its
// UTF-8 bytes, terminated, which is what PyUnicode_AsUTF8 would give too.
const char* commandName(PyObject* self, PyRef& spelled)
{
    if (PyUnicode_Check(self) && PyUnicode_IS_COMPACT_ASCII(self))
        return static_cast<const char*>(PyUnicode_DATA(self));  // borrowed from self
    const char* name = PyUnicode_AsUTF8(self);  // borrowed: cached in self
    if (name)
        return name;
    PyErr_Clear();
    spelled = PyRef::steal(PyUnicode_AsEncodedString(self, "utf-8", "surrogateescape"));  // new reference
    return spelled ? PyBytes_AS_STRING(spelled.get()) : nullptr;
}

PyObject* newNone()
{
    Py_RETURN_NONE;
}

// After execute gave false: the host hears of it, the script sees None, and a
// value the command gave all the same is destroyed unconverted.
PyObject* commandFailed(IScriptCommand* cmd, IScriptValue* result)
{
    const KelCString& name = cmd->name();
    reportToUser("Python interpreter error:\nError executing command %1", name.chars() ? name.chars() : "");
    IPtr<IScriptValue> discard(result);
    return newNone();
}

PyObject* callCommandUnguarded(PyObject* self, PyObject* args, PyObject* keywords)
{
    ScriptInterpreterPython* instance_ = ScriptInterpreterPython::instance_;
    KEL_ASSERT(instance_, kSourceFile);
    PyRef spelled;
    const char* name = instance_ && self ? commandName(self, spelled) : nullptr;
    KEL_ASSERT(name, kSourceFile);
    IScriptCommandList* commands = instance_ ? instance_->commandList() : nullptr;
    // The name is only borrowed for the look-up: the list compares, it keeps
    // nothing.
    IScriptCommand* cmd = name && commands ? commands->find(KelCString(name, kelBorrow)) : nullptr;
    KEL_ASSERT(cmd, kSourceFile);
    if (!cmd) {
        PyErr_Clear();
        return newNone();
    }
    IScriptPrototype* proto = cmd->prototype();
    KEL_ASSERT(proto, kSourceFile);

    // Only the presence of a dict decides the road.
    IPtr<IScriptActualArgList> list = keywords && PyDict_Check(keywords) ? buildArgsFromKeywords(name, keywords)
                                                                           : buildArgsFromTuple(name, args);
    if (!list)
        return PyErr_Occurred() ? nullptr : newNone();

    // Declared behind the list, so the value goes before the list does.
    IScriptValue* result = nullptr;
    if (!cmd->execute(list.get(), &result))
        return commandFailed(cmd, result);
    if (!result)
        return newNone();
    PyObject* converted = valueToPyObject(result);  // new reference, or null
    IPtr<IScriptValue> discard(result);             // destroys a value only the bridge knew
    return converted;
}

}  // namespace

PyObject* callCommand(PyObject* self, PyObject* args, PyObject* keywords)
{
    try {
        return callCommandUnguarded(self, args, keywords);
    } catch (const std::bad_alloc&) {
        return PyErr_NoMemory();
    } catch (const std::exception& e) {
        PyErr_SetString(PyExc_RuntimeError, e.what());
        return nullptr;
    } catch (...) {
        PyErr_SetString(PyExc_RuntimeError, "unknown C++ exception in a host command");
        return nullptr;
    }
}

IPtr<IScriptActualArgList> buildArgsFromTuple(const char* name, PyObject* args)
{
    IPtr<IScriptActualArgList> list(newArgList(false));
    if (!list)
        return list;
    const Py_ssize_t size = args && PyTuple_Check(args) ? PyTuple_GET_SIZE(args) : 0;
    for (Py_ssize_t i = 0; i < size; ++i) {
        IScriptValue* value = pyObjectToValue(PyTuple_GET_ITEM(args, i));  // borrowed item
        if (!value && PyErr_Occurred()) {
            nameRefusedArgument("argument " + std::to_string(i + 1), name);
            return {};
        }
        if (!value) {
            std::ostringstream text;
            text << "wrong type of argument " << i + 1 << " for " << name << "()";
            raiseAndReport(text.str());
            return {};  // the values added so far go with the list
        }
        list->add(value);
    }
    return list;
}

IPtr<IScriptActualArgList> buildArgsFromKeywords(const char* name, PyObject* keywords)
{
    IPtr<IScriptActualArgList> list(newArgList(true));
    if (!list)
        return list;
    Py_ssize_t position = 0;
    PyObject* key = nullptr;    // borrowed
    PyObject* entry = nullptr;  // borrowed
    while (PyDict_Next(keywords, &position, &key, &entry)) {
        if (!PyUnicode_Check(key))
            continue;
        PyRef spelled;
        const char* argName = keyText(key, spelled);
        const char* shown = argName ? argName : spelled ? PyBytes_AS_STRING(spelled.get()) : "?";
        if (argName && std::strlen(argName) > static_cast<size_t>(KelCString::maxLength)) {
            PyErr_SetString(PyExc_OverflowError, "the name is longer than the host's strings hold");
            nameRefusedArgument("keyword " + shownKey(shown), name);
            return {};
        }
        IScriptValue* value = argName ? pyObjectToValue(entry) : nullptr;
        if (!value && PyErr_Occurred()) {
            nameRefusedArgument("argument " + shownKey(shown), name);
            return {};
        }
        if (!value) {
            raiseAndReport("wrong type of argument for " + shownKey(shown) + " for " + name);
            return {};
        }
        list->addNamed(KelCString(argName, kelBorrow), value);
    }
    return list;
}

namespace {

// Copies the entries of "kwlist" behind the ones `words` holds.
void readKeywords(KelObjectArray<KelCString>& words, PyObject* module)
{
    PyObject* dict = PyModule_GetDict(module);  // borrowed
    KEL_ASSERT(PyDict_Check(dict), kSourceFile);
    PyObject* kwList = dict && PyDict_Check(dict) ? PyDict_GetItemString(dict, "kwlist") : nullptr;  // borrowed
    if (!kwList)
        return;
    KEL_ASSERT(PyList_Check(kwList), kSourceFile);
    if (!PyList_Check(kwList))
        return;
    for (Py_ssize_t i = 0; i < PyList_GET_SIZE(kwList); ++i) {
        PyObject* obj = PyList_GET_ITEM(kwList, i);  // borrowed
        KEL_ASSERT(obj, kSourceFile);
        if (obj && !PyUnicode_Check(obj))
            qtxAssertFailed("PyString_Check(obj)", kSourceFile, __LINE__);
        const char* word = obj && PyUnicode_Check(obj) ? PyUnicode_AsUTF8(obj) : nullptr;  // borrowed
        if (!word) {
            PyErr_Clear();
            continue;
        }
        words.push(KelCString(word));
    }
}

}  // namespace

bool getPythonKeywords(KelObjectArray<KelCString>& array)
{
    // Read once for the life of the process; a later change of the module
    // is not followed.
    static KelObjectArray<KelCString> words(20);
    static bool done = false;
    if (!done) {
        PyRef module = PyRef::steal(PyImport_ImportModule("keyword"));  // new reference
        if (module)
            readKeywords(words, module.get());
        else
            PyErr_Clear();
        done = true;
    }
    array.count = 0;
    array.grow(words.count + 1);
    for (int i = 1; i <= words.count; ++i)
        array.push(words.data[i]);
    return true;
}
