// Starting Python and running texts and files in __main__.
#include "script/pythonrun.h"

#include <cstdio>
#include <unordered_map>
#include <vector>

#include "platform/platform.h"
#include "script/pyref.h"
#include "text/utf16text.h"

namespace {

// Borrowed: the namespace that every run shares.
PyObject* mainDict()
{
    PyObject* main = PyImport_AddModule("__main__");  // borrowed
    return main ? PyModule_GetDict(main) : nullptr;   // borrowed
}

// Borrowed: the component's own namespace, made at the first use. Its texts
// run here, so that what a script rebinds or deletes in __main__ (os, sys,
// open, the output classes) cannot break them; __main__ sees the same names
// by publishing. Its __name__ is that of __main__, as the classes' module.
PyObject* privateDict()
{
    static PyObject* dict = nullptr;  // one reference, kept for the process
    if (dict)
        return dict;
    PyRef made = PyRef::steal(PyDict_New());                              // new reference
    PyRef builtins = PyRef::steal(PyImport_ImportModule("builtins"));   // new reference
    PyRef name = PyRef::steal(PyUnicode_FromString("__main__"));        // new reference
    if (!made || !builtins || !name || PyDict_SetItemString(made.get(), "__builtins__", builtins.get()) ||
        PyDict_SetItemString(made.get(), "__name__", name.get()))
        return nullptr;
    dict = made.release();
    return dict;
}

// Copies the names of the private namespace into __main__, except those
// that begin with an underscore, which are the component's alone.
void publish(PyObject* from, PyObject* to)
{
    Py_ssize_t position = 0;
    PyObject* key = nullptr;    // borrowed
    PyObject* value = nullptr;  // borrowed
    while (PyDict_Next(from, &position, &key, &value)) {
        if (PyUnicode_Check(key) && PyUnicode_READ_CHAR(key, 0) != '_' && PyDict_SetItem(to, key, value))
            PyErr_Clear();
    }
}

// Display of an exception that is not the pending one (PyErr_Display
// prints and keeps nothing pending).
void display(const PyRef& type, const PyRef& value, const PyRef& traceback)
{
    PyErr_Display(type.get(), value.get(), traceback ? traceback.get() : Py_None);
}

// Fetches the pending exception, normalised, with its traceback attached.
void fetchNormalized(PyRef& type, PyRef& value, PyRef& traceback)
{
    PyObject* rawType = nullptr;
    PyObject* rawValue = nullptr;
    PyObject* rawTraceback = nullptr;
    PyErr_Fetch(&rawType, &rawValue, &rawTraceback);
    PyErr_NormalizeException(&rawType, &rawValue, &rawTraceback);
    type = PyRef::steal(rawType);  // new references, all three
    value = PyRef::steal(rawValue);
    traceback = PyRef::steal(rawTraceback);
    if (value && traceback)
        PyException_SetTraceback(value.get(), traceback.get());
}

// Prints the pending exception as the simple run functions do, through
// sys.excepthook, except that nothing here ends the process: a SystemExit
// is shown like any other exception, and a hook that raises (SystemExit
// included) is reported the way Python reports a failed hook.
void printPendingError()
{
    PyRef type, value, traceback;
    fetchNormalized(type, value, traceback);
    // What PyErr_Print leaves behind for a debugger.
    PySys_SetObject("last_type", type ? type.get() : Py_None);
    PySys_SetObject("last_value", value ? value.get() : Py_None);
    PySys_SetObject("last_traceback", traceback ? traceback.get() : Py_None);
    PyErr_Clear();  // a __del__ run by replacing the old values may leave one
    PyObject* hook = PySys_GetObject("excepthook");  // borrowed
    if (!hook || hook == Py_None) {
        PySys_WriteStderr("sys.excepthook is missing\n");
        display(type, value, traceback);
        return;
    }
    PyRef keepHook = PyRef::borrow(hook);
    PyRef result = PyRef::steal(PyObject_CallFunctionObjArgs(hook, type ? type.get() : Py_None,
                                                             value ? value.get() : Py_None,
                                                             traceback ? traceback.get() : Py_None, nullptr));
    if (result)
        return;
    PyRef hookType, hookValue, hookTraceback;
    fetchNormalized(hookType, hookValue, hookTraceback);
    PySys_WriteStderr("Error in sys.excepthook:\n");
    display(hookType, hookValue, hookTraceback);
    PySys_WriteStderr("\nOriginal exception was:\n");
    display(type, value, traceback);
    PyErr_Clear();
}

// The native bytes of a canonical wide path.
std::string nativePath(const KelWideString& path)
{
    std::vector<char> buffer(256);
    size_t length = kelNativePath(path.chars(), buffer.data(), buffer.size());
    if (length >= buffer.size()) {
        buffer.resize(length + 1);
        length = kelNativePath(path.chars(), buffer.data(), buffer.size());
    }
    return std::string(buffer.data(), length);
}

void appendBytes(void* context, const char* bytes, size_t length)
{
    static_cast<std::string*>(context)->append(bytes, length);
}

}  // namespace

int kelPythonRunText(const char* text)
{
    PyObject* globals = mainDict();  // borrowed
    if (!globals) {
        printPendingError();
        return -1;
    }
    PyRef result = PyRef::steal(PyRun_StringFlags(text, Py_file_input, globals, globals, nullptr));  // new reference
    if (result)
        return 0;
    printPendingError();
    return -1;
}

namespace {

// Runs one of the interpreter's own texts in __main__; null with the
// exception pending when it raised.
PyRef evalOwnText(const std::string& text)
{
    // Paths change seldom and the fixed texts never, so the cache stays
    // small; it is emptied when a host keeps changing its directories.
    static auto* cache = new std::unordered_map<std::string, PyRef>();
    auto found = cache->find(text);
    if (found == cache->end()) {
        PyRef code = PyRef::steal(Py_CompileStringExFlags(text.c_str(), "<string>", Py_file_input, nullptr, -1));  // new reference
        if (!code)
            return PyRef();
        if (cache->size() >= 64)
            cache->clear();
        found = cache->emplace(text, std::move(code)).first;
    }
    PyObject* own = privateDict();  // borrowed
    PyObject* main = mainDict();    // borrowed
    PyRef result = own && main ? PyRef::steal(PyEval_EvalCode(found->second.get(), own, own)) : PyRef();  // new reference
    if (own && main)
        publish(own, main);
    return result;
}

// UTF-8 of a str; a character without a UTF-8 form becomes its escape.
std::string utf8Of(PyObject* text)
{
    PyRef bytes = text ? PyRef::steal(PyUnicode_AsEncodedString(text, "utf-8", "backslashreplace")) : PyRef();  // new reference
    if (!bytes) {
        PyErr_Clear();
        return std::string();
    }
    return std::string(PyBytes_AS_STRING(bytes.get()), static_cast<size_t>(PyBytes_GET_SIZE(bytes.get())));
}

}  // namespace

int kelPythonRunOwnText(const std::string& text)
{
    if (evalOwnText(text))
        return 0;
    printPendingError();
    return -1;
}

int kelPythonRunOwnTextQuietly(const std::string& text, std::string& failure)
{
    if (evalOwnText(text))
        return 0;
    PyObject* rawType = nullptr;
    PyObject* rawValue = nullptr;
    PyObject* rawTraceback = nullptr;
    PyErr_Fetch(&rawType, &rawValue, &rawTraceback);
    PyErr_NormalizeException(&rawType, &rawValue, &rawTraceback);
    PyRef type = PyRef::steal(rawType);  // new references, all three
    PyRef value = PyRef::steal(rawValue);
    PyRef traceback = PyRef::steal(rawTraceback);
    PyRef name = type ? PyRef::steal(PyObject_GetAttrString(type.get(), "__name__")) : PyRef();  // new reference
    PyRef message = value ? PyRef::steal(PyObject_Str(value.get())) : PyRef();  // new reference
    PyErr_Clear();
    failure = utf8Of(name.get()) + ": " + utf8Of(message.get());
    return -1;
}

std::string kelPythonLastTraceback()
{
    PyObject* type = PySys_GetObject("last_type");            // borrowed
    PyObject* value = PySys_GetObject("last_value");          // borrowed
    PyObject* traceback = PySys_GetObject("last_traceback");  // borrowed
    PyRef module = type && value ? PyRef::steal(PyImport_ImportModule("traceback")) : PyRef();  // new reference
    PyRef lines = module ? PyRef::steal(PyObject_CallMethod(module.get(), "format_exception", "OOO", type, value,
                                                            traceback ? traceback : Py_None))
                         : PyRef();  // new reference
    PyRef empty = PyRef::steal(PyUnicode_FromString(""));  // new reference
    PyRef joined = lines && empty ? PyRef::steal(PyUnicode_Join(empty.get(), lines.get())) : PyRef();  // new reference
    if (!joined)
        PyErr_Clear();
    return utf8Of(joined.get());
}

bool kelPythonTakeRunFailure()
{
    PyObject* own = privateDict();                                           // borrowed
    PyObject* flag = own ? PyDict_GetItemString(own, "_kelRunFailed") : nullptr;  // borrowed
    bool failed = flag && PyObject_IsTrue(flag) == 1;
    if (failed && PyDict_SetItemString(own, "_kelRunFailed", Py_False))
        PyErr_Clear();
    return failed;
}

int kelPythonFlushOutput()
{
    // As Python does for its own streams at exit: a closed stream, or a
    // writer without flush, has nothing to flush.
    PyObject* stream = PySys_GetObject("stdout");  // borrowed
    if (!stream || stream == Py_None || !PyObject_HasAttrString(stream, "flush"))
        return 0;
    PyRef closed = PyRef::steal(PyObject_GetAttrString(stream, "closed"));  // new reference
    if (!closed)
        PyErr_Clear();
    else if (PyObject_IsTrue(closed.get()) == 1)
        return 0;
    PyErr_Clear();
    PyRef result = PyRef::steal(PyObject_CallMethod(stream, "flush", nullptr));  // new reference
    if (result)
        return 0;
    printPendingError();
    return -1;
}

void kelPythonFlushStdio()
{
    for (const char* name : {"__stdout__", "__stderr__"}) {
        PyObject* stream = PySys_GetObject(name);  // borrowed
        if (!stream || stream == Py_None)
            continue;
        PyRef result = PyRef::steal(PyObject_CallMethod(stream, "flush", nullptr));  // new reference
        if (!result)
            PyErr_Clear();
    }
}

bool kelPythonRunFile(const KelWideString& path, int* status)
{
    std::string source;
    if (!kelReadFile(path.chars(), appendBytes, &source))
        return false;
    PyObject* globals = mainDict();  // borrowed
    if (!globals) {
        printPendingError();
        *status = -1;
        return true;
    }
    std::string name = nativePath(path);
    // As the simple file run does: __file__ names the script while it runs,
    // unless the namespace has one of its own.
    bool setFile = !PyDict_GetItemString(globals, "__file__");  // borrowed
    if (setFile) {
        PyRef fileName = PyRef::steal(PyUnicode_DecodeFSDefault(name.c_str()));  // new reference
        if (!fileName || PyDict_SetItemString(globals, "__file__", fileName.get()))
            PyErr_Clear();
    }
    PyRef code = PyRef::steal(Py_CompileStringExFlags(source.c_str(), name.c_str(), Py_file_input, nullptr, -1));  // new reference
    PyRef result;
    if (code)
        result = PyRef::steal(PyEval_EvalCode(code.get(), globals, globals));  // new reference
    *status = result ? 0 : -1;
    if (!result)
        printPendingError();
    if (setFile && PyDict_DelItemString(globals, "__file__"))
        PyErr_Clear();
    return true;
}

namespace {

void appendEscape(std::string& literal, const char* form, uint32_t c)
{
    char escape[12];
    std::snprintf(escape, sizeof escape, form, static_cast<unsigned>(c));
    literal += escape;
}

}  // namespace

// Built here, byte by byte, with no Python call: a pending signal or a
// script's changes to Python cannot make the error file's path empty.
std::string kelPythonPathLiteral(const KelWideString& path)
{
    const std::string native = nativePath(path);
    const auto* p = reinterpret_cast<const unsigned char*>(native.data());
    const unsigned char* end = p + native.size();
    std::string literal = "'";
    while (p < end) {
        uint32_t c = 0;
        int length = kelUtf8Sequence(p, end, c);
        if (length == 0) {
            c = 0xDC00 + *p;  // as the file system decoding reads a stray byte
            length = 1;
        }
        p += length;
        if (c == '\\' || c == '\'')
            literal += {'\\', static_cast<char>(c)};
        else if (c >= 0x20 && c < 0x7F)
            literal += static_cast<char>(c);
        else
            appendEscape(literal, c < 0x100 ? "\\x%02x" : c < 0x10000 ? "\\u%04x" : "\\U%08x", c);
    }
    return literal + "'";
}

void kelPythonSetArgv(const KelObjectArray<KelCString>& args)
{
    PyRef list = PyRef::steal(PyList_New(0));  // new reference
    if (!list) {
        PyErr_Clear();
        return;
    }
    for (int32_t i = 1; i <= args.count; ++i) {
        const char* text = args[i].chars();
        if (!text)
            text = "";
        PyRef item = PyRef::steal(PyUnicode_DecodeUTF8(text, static_cast<Py_ssize_t>(std::char_traits<char>::length(text)), "surrogateescape"));  // new reference
        if (!item || PyList_Append(list.get(), item.get())) {
            PyErr_Clear();
            return;
        }
    }
    if (args.count < 1) {
        PyRef empty = PyRef::steal(PyUnicode_FromString(""));  // new reference
        if (!empty || PyList_Append(list.get(), empty.get()))
            PyErr_Clear();
    }
    if (PySys_SetObject("argv", list.get()))
        PyErr_Clear();
}
