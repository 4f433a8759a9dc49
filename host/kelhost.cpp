// kelhost: the reference host program. Loads the component, brings it up and
// runs one sub-command on it.
#include <cerrno>
#include <cstring>
#include <exception>
#include <filesystem>
#include <iostream>
#include <string>
#include <vector>

#include "host/hostdirservice.h"
#include "host/hostsignals.h"
#include "host/subcommands.h"

namespace {
void addCommonOptions(CLI::App& app, KelHostOptions& options)
{
    app.add_option("--component", options.component, "The component library (default: python.so beside kelhost)");
    app.add_option("--macros", options.macrosDir,
                   "The macros directory (default: kelhost-<user id> in the temporary directory)");
    app.add_option("--temp", options.tempDir, "The temporary directory (default: the system's)");
    app.add_option("--logs", options.logsDir, "The logs directory (default: as --macros)");
    app.add_option("--python-env", options.pythonEnv,
                   "A virtual environment (python3 -m venv) whose packages scripts import first "
                   "(default: none; the user's folder, ~/.local/share/kelhost/python" KEL_PYTHON_VERSION ")")
        ->type_name("DIR");
    app.add_option_function<std::vector<std::string>>(
           "--set",
           [&options](const std::vector<std::string>& pairs) {
               for (const std::string& pair : pairs) {
                   size_t equals = pair.find('=');
                   options.settings[pair.substr(0, equals)] =
                       equals == std::string::npos ? std::string() : pair.substr(equals + 1);
               }
           },
           "A host setting KEY=VALUE, e.g. Scripting/ShowScriptingConsole=1")
        ->type_name("KEY=VALUE");
}

// The option `name` of the sub-command `command`, or of any when null.
const CLI::Option* subcommandOption(CLI::App& app, const std::string& name, const std::string* command)
{
    for (CLI::App* sub : app.get_subcommands([](CLI::App*) { return true; })) {
        if (command && !sub->check_name(*command))
            continue;
        if (const CLI::Option* option = sub->get_option_no_throw(name))
            return option;
    }
    return nullptr;
}

// A sub-command's options may come before its name too, as git and cargo
// users expect: the options ahead of the name that kelhost itself does not
// know move behind it (with their values). Gives the arguments to parse.
std::vector<std::string> optionsBehindSubcommand(CLI::App& app, const std::vector<std::string>& args)
{
    std::vector<std::string> own, moved;
    size_t i = 1;
    for (; i < args.size() && args[i].size() > 1 && args[i][0] == '-' && args[i] != "--"; ++i) {
        std::string name = args[i].substr(0, args[i].find('='));
        const CLI::Option* option = app.get_option_no_throw(name);
        std::vector<std::string>& into = option ? own : moved;
        if (!option)
            option = subcommandOption(app, name, nullptr);
        into.push_back(args[i]);
        if (option && option->get_items_expected_max() > 0 && name == args[i] && i + 1 < args.size())
            into.push_back(args[++i]);
    }
    // Only in front of a sub-command that knows the first of them.
    if (moved.empty() || i == args.size() || !subcommandOption(app, moved[0].substr(0, moved[0].find('=')), &args[i]))
        return args;
    std::vector<std::string> result{args[0]};
    result.insert(result.end(), own.begin(), own.end());
    result.push_back(args[i]);
    result.insert(result.end(), moved.begin(), moved.end());
    result.insert(result.end(), args.begin() + static_cast<long>(i) + 1, args.end());
    return result;
}

std::string absoluteMacros(KelHost& host)
{
    std::error_code ignored;
    return std::filesystem::absolute(host.directories().directory("macros"), ignored).string();
}

// Output that never reached its reader (a closed pipe, a full disk) is a
// failure of the program, whatever the script did.
int checkOutput(int status)
{
    errno = 0;
    std::cout.flush();
    if (std::cout)
        return status;
    std::cerr << "kelhost: cannot write the standard output: " << (errno ? std::strerror(errno) : "write failed")
              << std::endl;
    return status == 0 ? 1 : status;
}

int run(KelHostOptions& options)
{
    KelHost host(options);
    kelHostInstallSignals(absoluteMacros(host));
    for (const auto& setup : options.setups)
        setup(host);
    if (options.needsComponent && !host.start()) {
        std::cerr << "kelhost: " << host.error() << std::endl;
        return 2;
    }
    return checkOutput(options.action(host));
}
}  // namespace

int main(int argc, char** argv)
{
    KelHostOptions options;
    CLI::App app{"kelhost: the reference host of the scripting component"};
    app.fallthrough();
    app.require_subcommand(1);
    addCommonOptions(app, options);
    kelAddSubcommands(app, options);
    std::vector<std::string> args = optionsBehindSubcommand(app, std::vector<std::string>(argv, argv + argc));
    std::vector<char*> pointers;
    for (std::string& arg : args)
        pointers.push_back(arg.data());
    try {
        app.parse(static_cast<int>(pointers.size()), pointers.data());
    } catch (const CLI::ParseError& e) {
        int code = app.exit(e);
        return code == 0 ? 0 : 2;
    }
    try {
        return run(options);
    } catch (const std::exception& e) {
        std::cerr << "kelhost: " << e.what() << std::endl;
    } catch (...) {
        std::cerr << "kelhost: unexpected failure" << std::endl;
    }
    return 1;
}
