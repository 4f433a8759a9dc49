// The host that the script tests of this binary share.
//
// Python can start only once per process, and the interpreter is a
// singleton, so one host lives from the first test that asks for it to the
// end of the process: a provider with the reference host's script factory,
// script engine (quiet, messages kept), command list with the basic
// commands, data store, directories ("exe" is the build root, where the
// kelapp package lives; "macros" and "temp" a temporary directory), and an
// assertion handler that records instead of ending the process.
#pragma once

#include <string>
#include <vector>

#include "component/hostservices.h"
#include "component/interfacenamelist.h"
#include "component/iptr.h"
#include "host/hostdatastore.h"
#include "host/hostdirservice.h"
#include "host/commandsets.h"
#include "host/scriptvalues.h"
#include "script/scriptinterpreterpython.h"
#include "tests/support/testprovider.h"

class RecordingAssertHandler : public IKelAssertHandlerCB {
public:
    int handleAssert(const char* expression, const char* file, int line) override;
    void queryInterface(const char* name, void* out, bool flag) override;
    const char* className() override { return "RecordingAssertHandler"; }

    // "expression in file", one per failed assertion.
    std::vector<std::string> failures;
};

// A value of a type that the host's factory does not know.
class ForeignValue final : public HostScriptObject, public virtual IScriptValue {
public:
    void write(std::ostream&) override {}
    ScriptTypeToken type() override { return &token_; }
    void queryInterface(const char* name, void* out, bool) override
    {
        if (name)
            kelSetOut(out, kelSameName(name, IScriptValue::interfaceName) ? static_cast<IScriptValue*>(this)
                                                                           : nullptr);
    }
    const char* className() override { return "ForeignValue"; }

private:
    static inline const char token_ = 0;
};

struct ScriptTestHost {
    TestServiceProvider provider;
    IPtr<HostScriptFactory> factory;
    IPtr<HostScriptEngine> engine;
    IPtr<HostCommandList> commands;
    IPtr<HostDataStore> store;
    IPtr<HostDirService> dirs;
    IPtr<RecordingAssertHandler> asserts;
    ScriptInterpreterPython* interpreter = nullptr;  // one reference kept for good
};

// Made on first use, with Python up and the commands bound; never destroyed.
ScriptTestHost& scriptTestHost();

// Python helpers, all in the namespace of __main__ (the host must exist):
// pyEval gives the ascii() of the expression's value, "ExcType: text" when it
// raised (the error is cleared), or "null" when it gave null without an
// error; pyRun runs statements and gives "" or the same error text.
std::string pyEval(const std::string& expression);
std::string pyRun(const std::string& statements);
