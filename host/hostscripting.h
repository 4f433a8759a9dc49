// The host's script side, installed on a KelHost: the value factory
// ("IScriptFactory"), the script engine ("IScriptEngine", messages on
// standard error), the command list with every command set of
// host/commandsets.h, and the recorder.
//
// Install it before the interpreter class is created: the interpreter looks
// for the factory once, when it is made. Like the host's other services it
// lives until the process ends.
#pragma once

#include "host/scriptcommands.h"
#include "host/scriptvalues.h"
#include "kel/iptr.h"

class KelHost;

class HostScripting {
public:
    // Publishes the factory and the engine on `host` and builds the command
    // list. Gives the one object of the process; a second call publishes the
    // same services on the given host.
    static HostScripting& install(KelHost& host);

    // Borrowed: what the interpreter's bindCommands takes.
    HostCommandList* commands() const { return commands_.get(); }
    HostScriptFactory* factory() const { return factory_.get(); }
    HostScriptEngine* engine() const { return engine_.get(); }

    // From now on every command executed is kept, with its arguments, in
    // recording() (a fresh script for each start).
    void startRecording();
    void stopRecording();
    // Borrowed; null before the first startRecording. What writeScript takes.
    HostScript* recording() const { return recording_.get(); }

private:
    HostScripting();

    IPtr<HostScriptFactory> factory_;
    IPtr<HostScriptEngine> engine_;
    IPtr<HostCommandList> commands_;
    IPtr<HostScript> recording_;
};
