// The host that the script tests of this binary share. Python starts once per
// process and the interpreter is a singleton, so one host lives to the end:
// the reference host's factory, engine (quiet, messages kept), command list,
// data store, directories ("exe" = the build root, where kelapp lives) and
// assertion handler.
#pragma once

#include <initializer_list>
#include <string>
#include <vector>

#include "host/commandsets.h"
#include "host/hostdatastore.h"
#include "host/hostdirservice.h"
#include "host/hostreporting.h"
#include "host/scriptvalues.h"
#include "kel/hostservices.h"
#include "kel/interfacenamelist.h"
#include "kel/iptr.h"
#include "script/scriptinterpreterpython.h"
#include "tests/support/testprovider.h"

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
    IPtr<HostAssertHandler> asserts;  // silent
    ScriptInterpreterPython* interpreter = nullptr;  // one reference kept for good
};

// Made on first use, with Python up and the commands bound; never destroyed.
ScriptTestHost& scriptTestHost();

// In the namespace of __main__: pyEval gives the ascii() of the value,
// "ExcType: text" when it raised (the error is cleared), or "null" for null
// without an error; pyRun runs statements and gives "" or the error text.
std::string pyEval(const std::string& expression);
std::string pyRun(const std::string& statements);

struct EvalCase {
    const char* expression;
    std::string expected;
};
// Expects pyEval of each expression to give its text.
void expectEvals(std::initializer_list<EvalCase> cases);
