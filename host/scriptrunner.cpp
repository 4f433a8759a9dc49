// ScriptRunner: running scripts through the component for kelhost.
#include "host/scriptrunner.h"

#include <fstream>

#include "host/hostdatastore.h"
#include "host/hostinterrupt.h"
#include "host/hostpath.h"
#include "host/hostscripting.h"
#include "host/kelhost_app.h"
#include "kel/componentid.h"
#include "kel/kelobjectarray.h"
#include "kel/iscriptinterpreter.h"
#include "text/utf16text.h"

ScriptRunner::ScriptRunner(KelHost& host, const ScriptRunOptions& options, std::ostream& out, std::ostream& err)
    : host_(host), options_(options), out_(out), err_(err)
{
}

bool ScriptRunner::start()
{
    HostScripting& scripting = HostScripting::install(host_);
    HostDataStore& store = host_.dataStore();
    if (options_.console)
        store.setSetting("Scripting/ShowScriptingConsole", "1");
    if (options_.debug)
        store.setSetting("Advanced/python debug", "1");
    // With the console on, Python's output arrives piece by piece as the two
    // states change; show each piece at once.
    store.setListener([this](const HostAppState& state) {
        if (state.name == "Python/Output String")
            out_ << kelUtf8OfUnits(state.stringValue.chars(), KelLoneSurrogate::replace) << std::flush;
        else if (state.name == "Python/Error String")
            err_ << kelUtf8OfUnits(state.stringValue.chars(), KelLoneSurrogate::replace) << std::flush;
    });
    IKelUnknown* object = host_.createClass(kelScriptInterpreterPythonId());
    interpreter_ = kelQuery<IScriptInterpreter>(object);
    python_ = kelQuery<IPythonScriptInterpreter>(object);
    if (!interpreter_ || !python_) {
        err_ << "kelhost: component '" << host_.componentPath() << "' has no Python interpreter" << std::endl;
        return false;
    }
    interrupt_ = kelHostInterruptFunction(host_);
    interpreter_->bindCommands(scripting.commands());
    if (!options_.recordPath.empty())
        scripting.startRecording();
    return true;
}

int32_t ScriptRunner::runFile(const std::string& path, const std::vector<std::string>& args)
{
    // sys.argv as Python's own command line has it: the script, then its
    // arguments.
    KelObjectArray<KelCString> argv;
    argv.push(KelCString(path.c_str()));
    for (const std::string& arg : args)
        argv.push(KelCString(arg.c_str()));
    return interruptible([&] { return python_->runFileWithArgs(kelHostWidePath(path), argv); });
}

int32_t ScriptRunner::runText(const std::string& text)
{
    return interruptible([&] { return interpreter_->runString(kelUnitsOfUtf8(text, KelBadByte::replace)); });
}

template <class Run>
int32_t ScriptRunner::interruptible(Run run)
{
    bool timedOut = false;
    int32_t status = 0;
    {
        HostInterruptScope scope(interrupt_, options_.timeoutSeconds);
        status = run();
        timedOut = scope.timedOut();
    }
    if (!timedOut)
        return status;
    err_ << "kelhost: the script ran past --timeout " << options_.timeoutSeconds << " and was interrupted"
         << std::endl;
    return -1;
}

bool ScriptRunner::finish()
{
    if (options_.recordPath.empty() || !interpreter_)
        return true;
    HostScripting& scripting = HostScripting::install(host_);
    scripting.stopRecording();
    std::ofstream file(options_.recordPath, std::ios::binary | std::ios::trunc);
    if (file && scripting.recording())
        interpreter_->writeScript(file, scripting.recording());
    file.close();
    if (!file) {
        err_ << "kelhost: cannot write the recording to '" << options_.recordPath << "'" << std::endl;
        return false;
    }
    return true;
}

int scriptExitStatus(int32_t status)
{
    return status == 0 ? 0 : 1;
}
