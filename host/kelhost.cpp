// kelhost: the reference host program. Loads the component, brings it up and
// runs one sub-command on it.
#include <cerrno>
#include <cstring>
#include <exception>
#include <filesystem>
#include <iostream>
#include <string>

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
    try {
        app.parse(argc, argv);
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
