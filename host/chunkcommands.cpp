// kelhost chunks FILE: the chunk tree of any file, damage reported with its
// offset and exit status 1.
// kelhost params FILE: every parameter chunk of the file, loaded through the
// component, with its value; exit status 1 when one does not load.
#include <iostream>

#include "host/chunkwalk.h"
#include "host/hostfilemagic.h"
#include "host/hostparameters.h"
#include "host/kelfilestream.h"
#include "host/subcommands.h"
#include "kel/kelfile.h"
#include "kel/ikelidvalue.h"
#include "kel/ikelidvalue.h"

namespace {

struct ChunkFileOptions {
    std::string path;
    uint32_t width = 0;
};

int showChunks(const ChunkFileOptions& file)
{
    KelFileInput in(file.path, file.width);
    if (!in.isOpen()) {
        std::cerr << "kelhost: cannot open '" << file.path << "'" << std::endl;
        return 2;
    }
    KelChunkWalkResult result = kelWalkChunks(in, std::cout, kelHostParameterMagic);
    std::cout << result.chunks << (result.chunks == 1 ? " chunk" : " chunks") << '\n';
    std::cout.flush();
    if (result.damaged)
        std::cerr << "kelhost: " << file.path << ": " << result.damage << std::endl;
    return result.damaged ? 1 : 0;
}

std::string describeValue(IKelUnknown* parameter)
{
    if (IKelIDValue* single = kelQuery<IKelIDValue>(parameter))
        return kelIdentityText(single->getValue());
    std::string text;
    if (IKelIDsValue* list = kelQuery<IKelIDsValue>(parameter)) {
        const KelObjectArray<KelID>& ids = list->getValue();
        text = std::to_string(ids.count) + (ids.count == 1 ? " identity" : " identities");
        for (int32_t i = 1; i <= ids.count; ++i)
            text += "\n    " + kelIdentityText(ids[i]);
    }
    return text;
}

// Walks containers (the root, document entries, unknown chunks that hold
// chunks) and loads each parameter chunk met on the way.
int listParameters(KelHost& host, const ChunkFileOptions& file)
{
    HostParameters& parameters = HostParameters::install(host);
    KelFileInput in(file.path, file.width);
    if (!in.isOpen()) {
        std::cerr << "kelhost: cannot open '" << file.path << "'" << std::endl;
        return 2;
    }
    kelDetachStringReader();
    KelChunkReader reader(&in);
    int status = 0, found = 0;
    while (true) {
        if (reader.depth() > 0 && reader.atChunkEnd()) {
            reader.endChunk();
            continue;
        }
        int64_t at = in.tell();
        if (reader.depth() == 0 && static_cast<uint64_t>(at) >= in.size)
            break;
        int version = -1;
        uint32_t magic = kelHostParameterMagic;
        if (reader.peekChunk(magic, &version) || reader.peekChunk(kelChunkOldParameter, &version)) {
            std::string className, why;
            IPtr<IKelUnknown> parameter = parameters.loadParameter(reader, className, why);
            ++found;
            if (parameter) {
                std::cout << at << "  " << className << "  " << describeValue(parameter.get()) << '\n';
                continue;
            }
            std::cout << at << "  parameter does not load: " << why << '\n';
            status = 1;
            if (static_cast<uint64_t>(in.tell()) > static_cast<uint64_t>(at))
                continue;
            break;  // its head is damaged: nothing behind it can be found
        }
        if (!reader.readChunk()) {
            std::cout << "damaged chunk at offset " << at << '\n';
            status = 1;
            break;
        }
        bool container = reader.chunkId() == int(kelChunkRoot) || reader.chunkId() == int(kelHostDocumentEntry);
        if (!container)
            reader.endChunk();
    }
    parameters.releaseStream();
    std::cout << found << (found == 1 ? " parameter" : " parameters") << '\n';
    std::cout.flush();
    return status;
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
