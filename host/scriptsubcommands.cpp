// kelhost run, exec and console: running Python through the component.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <iostream>
#include <memory>

#include "host/scriptconsole.h"
#include "host/scriptrunner.h"
#include "host/subcommands.h"

namespace {

// The options that every script sub-command takes.
void addRunOptions(CLI::App* command, ScriptRunOptions& options)
{
    command->add_flag("--console", options.console,
                      "Show Python's output and errors live through the application states");
    command->add_flag("--debug", options.debug, "Let Python open and run the script file itself");
    command->add_option("--record", options.recordPath,
                        "Keep every executed host command and write them as a script to this file");
}

// --timeout: see host/hostinterrupt.h and README "Using kelhost".
void addTimeoutOption(CLI::App* command, ScriptRunOptions& options)
{
    command
        ->add_option("--timeout", options.timeoutSeconds,
                     "Interrupt the script (KeyboardInterrupt) when it runs longer than this, and every second "
                     "after; end kelhost with status 3 when it has not stopped 5 seconds later")
        ->type_name("SECONDS")
        ->check(CLI::PositiveNumber);
}

// Runs `body` on a started runner and turns its status into the exit status.
template <class Body>
int withRunner(KelHost& host, const ScriptRunOptions& options, Body body)
{
    ScriptRunner runner(host, options, std::cout, std::cerr);
    if (!runner.start())
        return 2;
    int status = body(runner);
    std::cout.flush();
    if (!runner.finish() && status == 0)
        status = 1;
    return status;
}

// Why the script file cannot be read, or "" when it can. A FIFO (a shell's
// <(...)) is read like a file; the open does not wait for its writer.
std::string unreadable(const std::string& path)
{
    int fd = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0)
        return std::strerror(errno);
    struct stat status;
    std::string reason;
    if (fstat(fd, &status) != 0)
        reason = std::strerror(errno);
    else if (S_ISDIR(status.st_mode))
        reason = "it is a directory";
    close(fd);
    return reason;
}

struct ScriptCommandState {
    ScriptRunOptions options;
    std::string file;
    std::vector<std::string> args;
    std::string text;
    ScriptConsoleOptions console;
};

}  // namespace

void addScriptCommands(CLI::App& app, KelHostOptions& options)
{
    auto state = std::make_shared<ScriptCommandState>();

    CLI::App* run = app.add_subcommand("run", "Run a Python script file with arguments");
    addRunOptions(run, state->options);
    addTimeoutOption(run, state->options);
    run->add_option("file", state->file, "The script file")->required();
    run->add_option("args", state->args, "Arguments for the script (sys.argv[1:])");
    run->callback([&options, state] {
        options.action = [state](KelHost& host) {
            std::string reason = unreadable(state->file);
            if (!reason.empty()) {
                std::cerr << "kelhost: cannot read the script file " << state->file << ": " << reason << std::endl;
                return 2;
            }
            return withRunner(host, state->options, [state](ScriptRunner& runner) {
                return scriptExitStatus(runner.runFile(state->file, state->args));
            });
        };
    });

    CLI::App* exec = app.add_subcommand("exec", "Run a Python text");
    addRunOptions(exec, state->options);
    addTimeoutOption(exec, state->options);
    exec->add_option("text", state->text, "The statements to run")->required();
    exec->callback([&options, state] {
        options.action = [state](KelHost& host) {
            return withRunner(host, state->options, [state](ScriptRunner& runner) {
                return scriptExitStatus(runner.runText(state->text));
            });
        };
    });

    CLI::App* console = app.add_subcommand("console", "An interactive Python console");
    addRunOptions(console, state->options);
    console->add_flag_callback(
        "--no-history", [state] { state->console.history = false; },
        "Neither read nor keep the history in the user's state directory");
    console->callback([&options, state] {
        options.action = [state](KelHost& host) {
            return withRunner(host, state->options, [&host, state](ScriptRunner& runner) {
                return runScriptConsole(host, runner, state->console);
            });
        };
    });
}
