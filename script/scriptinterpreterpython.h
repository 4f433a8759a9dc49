// The embedded Python interpreter behind the host's script interfaces.
//
// ScriptInterpreterPython is a singleton made by the class registry; its
// construction starts Python, bindCommands publishes the host's commands in the
// module "kel" and runs the start-up texts (each once), and the run operations
// execute scripts with Python's diagnostics caught, either live into the
// host's application states (scripting console on) or through an error file
// that is read back and reported after a failed run (console off).
//
// Everything here belongs on the thread that started Python.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>

#include "memory/kelpath.h"
#include "script/scriptinterpreter.h"

// True when the host's setting `key` is on: getBool of IDataStore gives 1.
bool kelSettingOn(const char* key);

// Gives the output classes OutputOverride and ErrorOverride, where a text has
// just defined them, the rest of a text stream's operations (flush, isatty,
// writable, encoding, errors, ...).
void kelGiveTextStreamMethods();

class ScriptInterpreterPython : public virtual ScriptInterpreter,
                                public virtual IScriptInterpreterV2,
                                public virtual IPythonScriptInterpreter {
public:
    // Borrowed: the one object, null when there is none.
    static ScriptInterpreterPython* instance_;

    // Starts Python when nobody has yet; asserts when a second object is made.
    ScriptInterpreterPython();
    ~ScriptInterpreterPython() override;

    // IKelUnknown
    void queryInterface(const char* name, void* out, bool flag) override;
    const char* className() override { return "ScriptInterpreterPython"; }

    // IScriptInterpreter
    void bindCommands(IScriptCommandList* commands) override;
    int32_t runFile(const KelWideString& path) override;
    int32_t runString(const KelWideString& text) override;
    bool writeScript(std::ostream& out, IScript* script) override;

    // ScriptInterpreter
    bool writeValue(std::ostream& out, IScriptValue* val) override;

    // IScriptInterpreterV2
    bool getKeywords(KelObjectArray<KelCString>& array) override;

    // IPythonScriptInterpreter
    int32_t runFileWithArgs(const KelWideString& path, const KelObjectArray<KelCString>& args) override;

    // The host's command list as bindCommands stored it (borrowed, may be null).
    IScriptCommandList* commandList() const { return commands; }
    // The host's value factory (borrowed, may be null).
    IScriptFactory* factory() const { return scriptFactory.get(); }

private:
    void createModule(const std::string& importText);
    void runStartup(const std::string& importText);
    // The error file's path, its removal and the report of a failed run.
    KelPath errorFilePath() const;
    void reportFailure(const KelPath& errorFile);
    void restoreStreams(bool console, int32_t result, const KelPath& errorFile);

    bool startupDone = false;
    bool moduleCreated = false;
};
