// kelhost console: statements one by one over the component's runString.
//
// On a terminal, lines are edited with readline: Tab completes names from
// the live interpreter, the history persists between sessions (see
// host/consolehistory.h), a line inside a block starts with its indentation
// typed, Ctrl-C drops the line or the pending block and Ctrl-D on an empty
// line leaves. From a pipe, lines are read and run as they come.
#pragma once

class KelHost;
class ScriptRunner;

struct ScriptConsoleOptions {
    bool history = true;  // keep the history in the user's state directory
};

// Runs the console until the end of input; gives 0.
int runScriptConsole(KelHost& host, ScriptRunner& runner, const ScriptConsoleOptions& options);
