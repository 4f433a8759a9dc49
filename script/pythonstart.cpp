// Starting and stopping the embedded interpreter.
//
// Python starts isolated from the user's environment (no PYTHON* variables,
// no user site), so that neither a PYTHONHOME that points nowhere nor a
// sitecustomize.py on a PYTHONPATH can stop or change the host; a host setting
// may opt in to the environment. A folder of packages that the host names
// (a virtual environment's site-packages, a per-user folder) joins sys.path
// as Python comes up, where the site module would put it. Python installs no
// signal handlers: SIGINT, SIGPIPE and the rest stay the host's. Every step's
// status is checked, and a failed start is remembered so that no later call
// touches Python.
//
// Interrupting a run: Python's PyErr_SetInterrupt (async-signal-safe) acts
// only when Python's own handler table holds a function for SIGINT, so the
// component puts one there, with the process's disposition kept as it was.
#include <atomic>
#include <cstring>
#include <string>

#include "core/qtxrealloc.h"
#include "platform/platform.h"
#include "script/pyref.h"
#include "script/pythonrun.h"
#include "script/pythontexts.h"
#include "script/pythonwake.h"
#include "script/scriptinterrupt.h"

namespace {

bool startFailed = false;
std::atomic<bool> interruptHandlerInstalled{false};

// Python's SIGINT handler (handler(signum, frame)), on Python's thread.
PyObject* interruptHandler(PyObject*, PyObject*)
{
    if (!kelInterruptDue())
        Py_RETURN_NONE;
    PyErr_SetNone(PyExc_KeyboardInterrupt);
    return nullptr;
}

PyMethodDef interruptHandlerRow = {"_kelInterruptHandler", interruptHandler, METH_VARARGS, nullptr};

void installInterruptHandler();

// The reason for a failed status; Python's own out-of-memory failure takes
// the component's orderly road instead of coming back.
std::string statusReason(const PyStatus& status)
{
    if (status.err_msg && std::strcmp(status.err_msg, "memory allocation failed") == 0)
        qtxMemoryExhausted(0, -4);
    std::string reason = status.err_msg ? status.err_msg : "the interpreter did not start";
    if (status.func)
        reason = std::string(status.func) + ": " + reason;
    if (PyStatus_IsExit(status))
        reason += " (exit status " + std::to_string(status.exitcode) + ")";
    return reason;
}

PyStatus initConfig(PyConfig* config, bool useEnvironment)
{
    if (useEnvironment)
        PyConfig_InitPythonConfig(config);
    else
        PyConfig_InitIsolatedConfig(config);
    config->install_signal_handlers = 0;
    config->parse_argv = 0;
    if (useEnvironment)
        return PyStatus_Ok();
    // Python takes its program from PATH otherwise: a virtual environment's
    // python3 there would become sys.prefix and drop the system's
    // site-packages, and another Python's would be what sys.executable starts.
    return PyConfig_SetBytesString(config, &config->executable, KEL_PYTHON_EXECUTABLE);
}

}  // namespace

KelPythonStart kelPythonStart(bool useEnvironment, const KelWideString& siteFolder, std::string* failure)
{
    if (Py_IsInitialized())
        return KelPythonStart::alreadyUp;
    // The component is loaded privately; the interpreter's extension modules
    // (ctypes, _socket, ...) resolve Python's symbols globally.
    kelPromoteLibraryOf(reinterpret_cast<const void*>(&Py_Initialize));
    // Script files, paths and the host's texts are UTF-8 whatever the
    // process locale says, so Python's streams and file names are too.
    PyPreConfig preconfig;
    if (useEnvironment)
        PyPreConfig_InitPythonConfig(&preconfig);
    else
        PyPreConfig_InitIsolatedConfig(&preconfig);
    preconfig.utf8_mode = 1;
    preconfig.coerce_c_locale = 0;  // the host's locale is the host's
    preconfig.parse_argv = 0;
    PyStatus status = Py_PreInitialize(&preconfig);
    if (!PyStatus_Exception(status)) {
        PyConfig config;
        status = initConfig(&config, useEnvironment);
        if (!PyStatus_Exception(status))
            status = Py_InitializeFromConfig(&config);
        PyConfig_Clear(&config);
    }
    if (PyStatus_Exception(status)) {
        startFailed = true;
        *failure = statusReason(status);
        return KelPythonStart::failed;
    }
    kelPythonRunText("# -*- coding: utf-8 -*-\n");
    installInterruptHandler();
    if (!siteFolder.isEmpty())
        kelPythonRunOwnText(kelPySiteFolderText + ("_kelSiteFolder(" + kelPythonPathLiteral(siteFolder) + ")\n"));
    return KelPythonStart::started;
}

std::string kelPythonVersion()
{
    return std::to_string(PY_MAJOR_VERSION) + "." + std::to_string(PY_MINOR_VERSION);
}

bool kelPythonUsable()
{
    return !startFailed && Py_IsInitialized();
}

void kelPythonStop()
{
    if (!kelPythonUsable())
        return;
    interruptHandlerInstalled.store(false);  // the interpreter's state goes now
    Py_Finalize();
}

void kelPythonAliasUnicode()
{
    PyRef builtins = PyRef::steal(PyImport_ImportModule("builtins"));  // new reference
    if (!builtins || PyObject_SetAttrString(builtins.get(), "unicode", reinterpret_cast<PyObject*>(&PyUnicode_Type)))
        PyErr_Clear();
}

namespace {

void installInterruptHandler()
{
    PyRef handler = PyRef::steal(PyCFunction_New(&interruptHandlerRow, nullptr));  // new reference
    // Importing the signal module and setting a handler both put Python's
    // own handler into the process's SIGINT disposition. The C module alone:
    // "signal" would bring enum and its kin into every start-up.
    KelInterruptDisposition disposition;
    kelSaveInterruptDisposition(&disposition);
    PyRef module = handler ? PyRef::steal(PyImport_ImportModule("_signal")) : PyRef();               // new reference
    PyRef number = module ? PyRef::steal(PyObject_GetAttrString(module.get(), "SIGINT")) : PyRef();  // new reference
    PyRef previous = number ? PyRef::steal(PyObject_CallMethod(module.get(), "signal", "OO", number.get(),
                                                               handler.get()))
                            : PyRef();  // new reference
    kelRestoreInterruptDisposition(&disposition);
    if (!previous) {
        PyErr_Clear();  // no interrupting, the rest works
        return;
    }
    kelPythonPrepareWake();
    interruptHandlerInstalled.store(true);
}

}  // namespace

void kelPythonSignalInterrupt()
{
    if (!interruptHandlerInstalled.load())
        return;
    PyErr_SetInterrupt();
    kelPythonWakeEvalLoop();
}
