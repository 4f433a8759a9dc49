// kelhost chunks FILE: the chunk tree of any file, damage reported with its
// offset and exit status 1.
// kelhost params FILE: every parameter chunk that the same walk meets, loaded
// through the component, with its value; exit status 1 when one does not
// load or the walk meets damage.
#include <iostream>

#include "host/chunkwalk.h"
#include "host/hostfilemagic.h"
#include "host/hostparameters.h"
#include "host/kelfilestream.h"
#include "host/subcommands.h"

namespace {

struct ChunkFileOptions {
    std::string path;
    uint32_t width = 0;
};

// Opens the file and walks it with `walk`, which prints its view and gives
// the walk's result and whether anything else failed. Status 2 when the file
// does not open, 1 on damage or failure.
template <class Walk>
int walkFile(const ChunkFileOptions& file, Walk walk)
{
    KelFileInput in(file.path, file.width);
    if (!in.isOpen()) {
        std::cerr << "kelhost: cannot open '" << file.path << "'" << std::endl;
        return 2;
    }
    bool failed = false;
    KelChunkWalkResult result = walk(in, failed);
    std::cout.flush();
    if (result.damaged)
        std::cerr << "kelhost: " << file.path << ": " << result.damage << std::endl;
    return result.damaged || failed ? 1 : 0;
}

int showChunks(const ChunkFileOptions& file)
{
    return walkFile(file, [](KelBinaryInput& in, bool&) {
        KelChunkWalkResult result = kelWalkChunks(in, std::cout, kelHostParameterMagic);
        std::cout << result.chunks << (result.chunks == 1 ? " chunk" : " chunks") << '\n';
        return result;
    });
}

// The parameter view of the same walk that `chunks` shows.
int listParameters(KelHost& host, const ChunkFileOptions& file)
{
    HostParameters& parameters = HostParameters::install(host);
    return walkFile(file, [&parameters](KelBinaryInput& in, bool& failed) {
        KelParameterListing listing = kelListParameters(in, std::cout, parameters);
        std::cout << listing.found << (listing.found == 1 ? " parameter" : " parameters") << '\n';
        failed = listing.failed > 0;
        return listing.walk;
    });
}

void addFileArguments(CLI::App* command, ChunkFileOptions& file)
{
    command->add_option("FILE", file.path, "A chunk file")->required();
    command->add_option("--width", file.width, "Width of chunk lengths when the file has no root chunk")
        ->check(CLI::IsMember({0, 32, 64}));
}

}  // namespace

void addChunkCommands(CLI::App& app, KelHostOptions& options)
{
    static ChunkFileOptions file;
    CLI::App* chunks = app.add_subcommand("chunks", "Print the chunk tree of a file");
    addFileArguments(chunks, file);
    chunks->callback([&options] {
        options.needsComponent = false;
        options.action = [](KelHost&) { return showChunks(file); };
    });
    CLI::App* params = app.add_subcommand("params", "List the parameters that a chunk file holds");
    addFileArguments(params, file);
    params->callback([&options] {
        options.setups.push_back([](KelHost& host) { HostParameters::install(host); });
        options.action = [](KelHost& host) { return listParameters(host, file); };
    });
}
