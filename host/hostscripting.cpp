#include "host/hostscripting.h"

#include "host/commandsets.h"
#include "host/hostparameters.h"
#include "host/kelhost_app.h"

HostScripting::HostScripting()
    : factory_(new HostScriptFactory), engine_(new HostScriptEngine), commands_(new HostCommandList)
{
    kelAddCommandSets(*commands_);
}

HostScripting& HostScripting::install(KelHost& host)
{
    // The component may hold these until the process ends.
    static HostScripting* scripting = new HostScripting;
    host.addService(IScriptFactory::interfaceName, scripting->factory_.get());
    host.addService(IScriptEngine::interfaceName, scripting->engine_.get());
    HostParameters::install(host);  // the parameter commands make their parameters on this host
    return *scripting;
}

void HostScripting::startRecording()
{
    recording_ = new HostScript;
    commands_->setRecorder(recording_.get());
}

void HostScripting::stopRecording()
{
    commands_->setRecorder(nullptr);
}
