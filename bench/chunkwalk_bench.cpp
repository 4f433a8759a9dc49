// kelhost chunks and params on files of doubling size: nested chunks that
// reach past their parent (a damaged file), nested chunks that fit (a deep
// well-formed file), and a wide document of many parameters. Each family runs
// at sizes 1, 2, 4, ... 32 times its smallest, and Google Benchmark fits the
// times to O(N): the walk and both views must stay linear in the file's size.
#include <benchmark/benchmark.h>

#include <ostream>
#include <string>
#include <vector>

#include "host/chunkwalk.h"
#include "host/hostfilemagic.h"
#include "host/hostparameters.h"
#include "host/hostprovider.h"
#include "host/kelmemorystream.h"
#include "kel/kelfile.h"
#include "parameters/kelidpar.h"
#include "parameters/parameterregistry.h"

namespace {

void put32(std::vector<uint8_t>& bytes, uint32_t value)
{
    for (int shift = 24; shift >= 0; shift -= 8)
        bytes.push_back(uint8_t(value >> shift));
}

// `count` root heads, each claiming 16 bytes but its child starting 8 bytes
// in, so that every child reaches past its parent's end.
std::vector<uint8_t> overlapping(int64_t count)
{
    std::vector<uint8_t> bytes;
    for (int64_t k = 0; k < count; ++k) {
        put32(bytes, kelChunkRoot << 8);
        put32(bytes, k + 1 < count ? 16 : 8);
    }
    return bytes;
}

// `count` root chunks, each holding the next exactly.
std::vector<uint8_t> deep(int64_t count)
{
    std::vector<uint8_t> bytes;
    for (int64_t k = 0; k < count; ++k) {
        put32(bytes, kelChunkRoot << 8);
        put32(bytes, uint32_t(8 * (count - k)));
    }
    return bytes;
}

// A document of `count` entries, each a name and a KelIDPar, as saveDocument
// writes it.
std::vector<uint8_t> wide(int64_t count)
{
    KelMemoryOutput out(1);
    {
        KelChunkWriter writer(&out, false);
        writer.beginChunk(kelChunkRoot, 0);
        QTXModelFeature::KelIDPar parameter;
        for (int64_t k = 0; k < count; ++k) {
            writer.beginChunk(kelHostDocumentEntry, 0);
            writer.writeCStringChunk(KelCString(("entry" + std::to_string(k)).c_str()));
            parameter.save(&writer);
            writer.endChunk();
        }
    }
    return out.bytes();
}

HostParameters& parameters()
{
    static HostParameters* made = [] {
        auto* provider = new HostServiceProvider;  // lives as long as the process, as a host's does
        provider->addService("IQtxFileMagic", new HostFileMagic);
        kelSetServiceProvider(provider);
        return &HostParameters::installLinked(kelCreateParameter);
    }();
    return *made;
}

template <std::vector<uint8_t> (*Make)(int64_t), bool Params>
void BM_Walk(benchmark::State& state)
{
    HostParameters& listing = parameters();
    std::vector<uint8_t> bytes = Make(state.range(0));
    std::ostream discard(nullptr);
    for (auto _ : state) {
        KelMemoryInput in(bytes.data(), bytes.size());
        if (Params)
            benchmark::DoNotOptimize(kelListParameters(in, discard, listing).found);
        else
            benchmark::DoNotOptimize(kelWalkChunks(in, discard, kelHostParameterMagic).chunks);
    }
    state.SetComplexityN(int64_t(bytes.size()));
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(bytes.size()));
}

void sizes(benchmark::internal::Benchmark* b, int64_t smallest)
{
    b->RangeMultiplier(2)->Range(smallest, smallest << 5)->Complexity(benchmark::oN)->Unit(benchmark::kMicrosecond);
}

}  // namespace

BENCHMARK(BM_Walk<overlapping, false>)->Name("chunks/overlapping")->Apply([](auto* b) { sizes(b, 1 << 10); });
BENCHMARK(BM_Walk<overlapping, true>)->Name("params/overlapping")->Apply([](auto* b) { sizes(b, 1 << 10); });
BENCHMARK(BM_Walk<deep, false>)->Name("chunks/deep")->Apply([](auto* b) { sizes(b, 1 << 10); });
BENCHMARK(BM_Walk<deep, true>)->Name("params/deep")->Apply([](auto* b) { sizes(b, 1 << 10); });
BENCHMARK(BM_Walk<wide, false>)->Name("chunks/wide")->Apply([](auto* b) { sizes(b, 1 << 8); });
BENCHMARK(BM_Walk<wide, true>)->Name("params/wide")->Apply([](auto* b) { sizes(b, 1 << 8); });

BENCHMARK_MAIN();
