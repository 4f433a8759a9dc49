#include "tests/script/scripttesthost.h"

#include <gtest/gtest.h>

#include "script/pyref.h"

namespace {

// Held here, so that no lookup's release drops the host's last reference.
template <class T>
void publish(ScriptTestHost& host, IPtr<T>& slot, T* service, const char* name)
{
    slot = service;
    host.provider.add(name, service);
}

ScriptTestHost* makeHost()
{
    auto* host = new ScriptTestHost;
    publish(*host, host->factory, new HostScriptFactory, "IScriptFactory");
    publish(*host, host->engine, new HostScriptEngine, "IScriptEngine");
    publish(*host, host->store, new HostDataStore, "IDataStore");
    publish(*host, host->dirs, new HostDirService, "IKelDirService");
    publish(*host, host->asserts, new HostAssertHandler, "IKelAssertHandlerCB");
    host->asserts->setStream(nullptr);
    host->engine->quiet = true;
    host->dirs->setDirectory("exe", KEL_BUILD_ROOT);
    static TempDir directory;  // removed at the end of the process
    host->dirs->setDirectory("macros", directory.path());
    host->dirs->setDirectory("temp", directory.path());
    host->store->declareStringAppState("Python/Output String", 0, KelWideString::emptyString(), 0);
    host->store->declareStringAppState("Python/Error String", 0, KelWideString::emptyString(), 0);
    host->commands = new HostCommandList;
    kelAddCommandSets(*host->commands);
    // A name that is not UTF-8.
    host->commands->add("caf\xe9", [](ScriptCall& call) { call.giveInt(7); return true; }, "caf\xe9()");
    // One that is UTF-8 but not ASCII.
    host->commands->add("gr\xc3\xbc\xc3\x9f", [](ScriptCall& call) { call.giveInt(8); return true; }, "");

    host->interpreter = new ScriptInterpreterPython;
    host->interpreter->addRef();
    if (!Py_IsInitialized())
        Py_Initialize();
    host->interpreter->bindCommands(host->commands.get());
    return host;
}

}  // namespace

ScriptTestHost& scriptTestHost()
{
    static ScriptTestHost* host = makeHost();
    return *host;
}

namespace {

PyObject* mainDict()
{
    return PyModule_GetDict(PyImport_AddModule("__main__"));  // borrowed, borrowed
}

std::string takeError()
{
    if (!PyErr_Occurred())
        return "null";
    PyObject *type, *value, *traceback;
    PyErr_Fetch(&type, &value, &traceback);
    PyErr_NormalizeException(&type, &value, &traceback);
    PyRef owner[] = {PyRef::steal(type), PyRef::steal(value), PyRef::steal(traceback)};
    PyRef text = PyRef::steal(PyObject_Str(value));
    std::string result = reinterpret_cast<PyTypeObject*>(type)->tp_name;
    return result + ": " + (text ? PyUnicode_AsUTF8(text.get()) : "?");
}

}  // namespace

std::string pyEval(const std::string& expression)
{
    PyRef value = PyRef::steal(PyRun_String(expression.c_str(), Py_eval_input, mainDict(), mainDict()));
    if (!value)
        return takeError();
    PyRef text = PyRef::steal(PyObject_ASCII(value.get()));
    return text ? PyUnicode_AsUTF8(text.get()) : takeError();
}

std::string pyRun(const std::string& statements)
{
    PyRef value = PyRef::steal(PyRun_String(statements.c_str(), Py_file_input, mainDict(), mainDict()));
    return value ? std::string() : takeError();
}

void expectEvals(std::initializer_list<EvalCase> cases)
{
    for (const EvalCase& c : cases)
        EXPECT_EQ(pyEval(c.expression), c.expected) << c.expression;
}
