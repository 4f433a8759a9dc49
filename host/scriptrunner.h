// ScriptRunner: the host side of running Python scripts through the
// component (kelhost run, exec and console).
//
// It installs the host's script services, creates the interpreter, binds the
// commands, shows the application states "Python/Output String" and
// "Python/Error String" as they change (scripting console on), keeps the
// executed commands when asked to record, and writes them as a script at the
// end.
#pragma once

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "kel/kelwidestring.h"

class KelHost;
class IScriptInterpreter;
class IPythonScriptInterpreter;

// What the script sub-commands share.
struct ScriptRunOptions {
    bool console = false;    // "Scripting/ShowScriptingConsole"
    bool debug = false;      // "Advanced/python debug"
    std::string recordPath;  // empty: no recording
    double timeoutSeconds = 0;  // 0: none; see host/hostinterrupt.h
};

class ScriptRunner {
public:
    ScriptRunner(KelHost& host, const ScriptRunOptions& options, std::ostream& out, std::ostream& err);

    // Creates the interpreter and binds the commands; false (with a message on
    // `err`) when the component has no interpreter.
    bool start();
    // The interpreter's status: 0 or -1 (also when the run outlived its
    // timeout, which is then told on `err`). Ctrl-C interrupts the script.
    int32_t runFile(const std::string& path, const std::vector<std::string>& args);
    int32_t runText(const std::string& text);
    // Writes the recording, when there is one; false (with a message) when
    // the file cannot be written.
    bool finish();

private:
    template <class Run>
    int32_t interruptible(Run run);

    KelHost& host_;
    ScriptRunOptions options_;
    std::ostream& out_;
    std::ostream& err_;
    IScriptInterpreter* interpreter_ = nullptr;         // borrowed; the registry keeps it
    IPythonScriptInterpreter* python_ = nullptr;       // borrowed
    void (*interrupt_)() = nullptr;                    // the component's kelInterruptScript
};

// The exit status of kelhost for an interpreter status: 0 for 0, 1 otherwise.
int scriptExitStatus(int32_t status);
