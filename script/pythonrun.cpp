// Starting Python and running texts and files in __main__.
#include "script/pythonrun.h"

#include <unordered_map>
#include <vector>

#include "platform/platform.h"
#include "script/pyref.h"

namespace {

// Borrowed: the namespace that every run shares.
PyObject* mainDict()
{
    PyObject* main = PyImport_AddModule("__main__");  // borrowed
    return main ? PyModule_GetDict(main) : nullptr;   // borrowed
}

// Prints the pending exception as the simple run functions do, except that a
// SystemExit is shown like any other exception instead of ending the process.
void printPendingError()
{
    if (!PyErr_ExceptionMatches(PyExc_SystemExit)) {
        PyErr_Print();
        return;
    }
    PyObject* rawType = nullptr;
    PyObject* rawValue = nullptr;
    PyObject* rawTraceback = nullptr;
    PyErr_Fetch(&rawType, &rawValue, &rawTraceback);
    PyErr_NormalizeException(&rawType, &rawValue, &rawTraceback);
    PyRef type = PyRef::steal(rawType);  // new references, all three
    PyRef value = PyRef::steal(rawValue);
    PyRef traceback = PyRef::steal(rawTraceback);
    if (value && traceback)
        PyException_SetTraceback(value.get(), traceback.get());
    // What PyErr_Print leaves behind for a debugger.
    PySys_SetObject("last_type", type ? type.get() : Py_None);
    PySys_SetObject("last_value", value ? value.get() : Py_None);
    PySys_SetObject("last_traceback", traceback ? traceback.get() : Py_None);
    PyErr_Display(type.get(), value.get(), traceback.get());
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

bool readAll(const KelWideString& path, std::string& bytes)
{
    int fd = kelWOpen(path.chars(), kelOpenReadOnly | kelOpenBinary, 0);
    if (fd < 0)
        return false;
    char buffer[8192];
    long long got;
    while ((got = kelRead(fd, buffer, sizeof buffer)) > 0)
        bytes.append(buffer, static_cast<size_t>(got));
    kelClose(fd);
    return got == 0;
}

}  // namespace

bool kelPythonStart()
{
    if (Py_IsInitialized())
        return false;
    // The component is loaded privately; the interpreter's extension modules
    // (ctypes, _socket, ...) resolve Python's symbols globally.
    kelPromoteLibraryOf(reinterpret_cast<const void*>(&Py_Initialize));
    // Script files, paths and the host's texts are UTF-8 whatever the
    // process locale says, so Python's streams and file names are too.
    PyPreConfig preconfig;
    PyPreConfig_InitPythonConfig(&preconfig);
    preconfig.utf8_mode = 1;
    preconfig.coerce_c_locale = 0;  // the host's locale is the host's
    preconfig.parse_argv = 0;
    Py_PreInitialize(&preconfig);
    Py_Initialize();
    kelPythonRunText("# -*- coding: utf-8 -*-\n");
    return true;
}

void kelPythonStop()
{
    if (Py_IsInitialized())
        Py_Finalize();
}

void kelPythonAliasUnicode()
{
    PyRef builtins = PyRef::steal(PyImport_ImportModule("builtins"));  // new reference
    if (!builtins || PyObject_SetAttrString(builtins.get(), "unicode", reinterpret_cast<PyObject*>(&PyUnicode_Type)))
        PyErr_Clear();
}

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
    PyObject* globals = mainDict();  // borrowed
    return globals ? PyRef::steal(PyEval_EvalCode(found->second.get(), globals, globals)) : PyRef();  // new reference
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
    if (!readAll(path, source))
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

std::string kelPythonPathLiteral(const KelWideString& path)
{
    std::string native = nativePath(path);
    PyRef text = PyRef::steal(PyUnicode_DecodeFSDefaultAndSize(native.data(), static_cast<Py_ssize_t>(native.size())));  // new reference
    PyRef literal = text ? PyRef::steal(PyObject_ASCII(text.get())) : PyRef();  // new reference
    const char* ascii = literal ? PyUnicode_AsUTF8(literal.get()) : nullptr;  // borrowed from literal
    if (!ascii) {
        PyErr_Clear();
        return "''";
    }
    return ascii;
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
