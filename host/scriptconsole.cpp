// kelhost console: the read-run loop.
#include "host/scriptconsole.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <string>

#include <readline/readline.h>

#include "host/consolehistory.h"
#include "host/consolelinereader.h"
#include "host/consolepython.h"
#include "host/consolestatement.h"
#include "host/hostscripting.h"
#include "host/kelhost_app.h"
#include "host/scriptrunner.h"

namespace {

enum class Got { line, interrupted, end };

// Feeds the lines to the statement and runs each statement they complete.
// A line may hold several (a paste in one piece).
void takeLines(ScriptRunner& runner, ConsoleStatement& statement, const std::string& lines)
{
    for (size_t start = 0;;) {
        size_t end = lines.find('\n', start);
        statement.addLine(lines.substr(start, end - start));  // npos: the rest
        if (!statement.needsMoreLines()) {
            if (!statement.blank())
                runner.runText(statement.text());
            statement.clear();
            std::fflush(stdout);
        }
        if (end == std::string::npos)
            return;
        start = end + 1;
    }
}

// The loop over a source of lines: read(prompt, indentation, line) -> Got.
template <class Read>
int consoleLoop(ScriptRunner& runner, Read read)
{
    ConsoleStatement statement;
    for (;;) {
        std::string line;
        Got got = read(statement.empty() ? ">>> " : "... ", statement.nextIndentation(), line);
        if (got == Got::interrupted) {
            statement.clear();
            continue;
        }
        if (got == Got::end)
            break;
        takeLines(runner, statement, line);
    }
    // What the end of input cut short still runs.
    if (!statement.blank())
        runner.runText(statement.text());
    std::fputs("\n", stdout);
    return 0;
}

int readFromPipe(ScriptRunner& runner)
{
    return consoleLoop(runner, [](const char* prompt, const std::string&, std::string& line) {
        char* text = readline(prompt);
        if (!text)
            return Got::end;
        line = text;
        std::free(text);
        return Got::line;
    });
}

// Lines worth keeping: not the blank ones that end a block.
bool worthKeeping(const std::string& line)
{
    return line.find_first_not_of(" \t") != std::string::npos;
}

int readFromTerminal(ScriptRunner& runner, ConsolePython& python, const ScriptConsoleOptions& options)
{
    std::string historyPath =
        options.history ? ConsoleHistoryFile::defaultPath(std::getenv("XDG_STATE_HOME"), std::getenv("HOME")) : "";
    ConsoleHistoryFile history(historyPath);
    ConsoleLineReader reader(
        [&python](const std::string& before, const std::string& word) { return python.complete(before, word); },
        ConsoleHistoryFile::defaultLimit);
    if (!historyPath.empty()) {
        for (const std::string& line : history.load())
            reader.remember(line);
    }
    std::deque<std::string> added;  // this session's, the newest defaultLimit of them
    int status = consoleLoop(runner, [&](const char* prompt, const std::string& indentation, std::string& line) {
        ConsoleLineReader::Result result = reader.read(prompt, indentation, line);
        if (result == ConsoleLineReader::Result::interrupted)
            return Got::interrupted;
        if (result == ConsoleLineReader::Result::end)
            return Got::end;
        for (size_t start = 0; start <= line.size();) {
            size_t end = std::min(line.find('\n', start), line.size());
            std::string one = line.substr(start, end - start);
            if (worthKeeping(one)) {
                reader.remember(one);
                added.push_back(one);
                if (added.size() > ConsoleHistoryFile::defaultLimit)
                    added.pop_front();
            }
            start = end + 1;
        }
        return Got::line;
    });
    std::string failure = historyPath.empty() ? "" : history.save({added.begin(), added.end()});
    if (!failure.empty())
        std::fprintf(stderr, "kelhost: the console history could not be kept in %s: %s\n", historyPath.c_str(),
                     failure.c_str());
    return status;
}

}  // namespace

int runScriptConsole(KelHost& host, ScriptRunner& runner, const ScriptConsoleOptions& options)
{
    ConsolePython python(runner, host.dataStore());
    python.start(*HostScripting::install(host).commands());
    std::fflush(stdout);
    if (!isatty(STDIN_FILENO))
        return readFromPipe(runner);
    return readFromTerminal(runner, python, options);
}
