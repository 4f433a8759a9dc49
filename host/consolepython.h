// What the console asks of the live interpreter besides running statements:
// the host package's kelapp.console, which explains the host's commands in
// help() and finds Tab's candidates.
//
// Everything goes through the component's runString. The candidates come
// back through an application state of the host's own ("kelhost/Console
// Completions"), so asking for them calls no host command and a recording
// holds only what the user ran. The module is bound to `_kelConsole` in
// __main__, the one name the console leaves there.
#pragma once

#include <string>
#include <vector>

class HostCommandList;
class HostDataStore;
class ScriptRunner;

class ConsolePython {
public:
    ConsolePython(ScriptRunner& runner, HostDataStore& store);

    // Loads kelapp.console and hands it the commands' usage texts. False
    // when it could not (Python says why): no candidates then, and help()
    // stays Python's own.
    bool start(HostCommandList& commands);
    // The names that may replace `word` (UTF-8), typed after `before`;
    // none before a successful start.
    std::vector<std::string> complete(const std::string& before, const std::string& word);

private:
    ScriptRunner& runner_;
    HostDataStore& store_;
    bool started_ = false;
};
