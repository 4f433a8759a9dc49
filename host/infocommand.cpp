// kelhost info: what the loaded component says about itself.
#include <iostream>

#include "host/subcommands.h"

namespace {
int printInfo(KelHost& host, std::ostream& out)
{
    IKelCompInternal* internal = host.componentInternal();
    if (!internal) {
        std::cerr << "kelhost: component '" << host.componentPath() << "' does not describe itself" << std::endl;
        return 1;
    }
    out << "component: " << internal->componentName() << '\n';
    out << "identity: " << kelHostFormatId(*internal->componentId()) << '\n';
    out << "build stamp: " << internal->buildStamp() << '\n';
    out << "version: " << host.version() << '\n';
    out << "classes: " << internal->classCount() << '\n';
    KelID id;
    for (bool more = internal->firstClass(&id); more; more = internal->nextClass(&id)) {
        const char* name = internal->classNameOf(&id);
        out << "  " << kelHostFormatId(id) << ' ' << (name ? name : "(unnamed)") << '\n';
    }
    out.flush();
    return 0;
}
}  // namespace

void addInfoCommands(CLI::App& app, KelHostOptions& options)
{
    CLI::App* info = app.add_subcommand("info", "Print the component's name, build stamp, version and classes");
    info->callback([&options] { options.action = [](KelHost& host) { return printInfo(host, std::cout); }; });
}
