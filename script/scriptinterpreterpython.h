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

#include "script/scriptinterpreter.h"

class ScriptErrorFile;

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

    // ScriptInterpreter: every string literal reads back as the same value,
    // and keyword arguments are written as keywords.
    bool writeCommand(std::ostream& out, IScriptCommand* cmd, IScriptActualArgList* argList) override;
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
    // The streams put back after a run (in file mode with the error file,
    // which `installed` says was sys.stderr) and a failure reported.
    void restoreStreams(int32_t result, ScriptErrorFile* errorFile, bool installed);
    bool writeArgument(std::ostream& out, IScriptActualArg* arg);
    bool writeValueAt(std::ostream& out, IScriptValue* val, int depth);
    bool writeList(std::ostream& out, IScriptValueList* list, int depth);

    bool startupDone = false;
    bool moduleCreated = false;
};
