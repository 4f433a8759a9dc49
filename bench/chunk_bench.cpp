// Save and load of a KelIDsPar with 1,000,000 identities through a memory
// stream, beside memcpy of the same number of bytes. Every identity is a chunk
// of its own, and every chunk end costs two flushes and two seeks, so this
// measures the buffer rules and the back-patch as much as the byte swapping.
#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

#include "host/hostfilemagic.h"
#include "host/hostprovider.h"
#include "host/kelmemorystream.h"
#include "kel/kelfile.h"
#include "parameters/kelidspar.h"

namespace {

constexpr int identityCount = 1000000;

struct Fixture {
    Fixture()
    {
        provider = new HostServiceProvider;  // lives as long as the process, as a host's does
        provider->addService("IQtxFileMagic", new HostFileMagic);
        kelSetServiceProvider(provider);
        for (int i = 0; i < identityCount; ++i) {
            uint8_t tail[8] = {uint8_t(i), uint8_t(i >> 8), uint8_t(i >> 16), 1, 2, 3, 4, 5};
            list.push(KelID(uint32_t(i) * 2654435761u, uint16_t(i), uint16_t(i >> 16), tail));
        }
        KelMemoryOutput out(1);
        KelChunkWriter holder(&out, false);
        list.save(&holder);
        bytes = out.bytes();
    }
    HostServiceProvider* provider;
    QTXModelFeature::KelIDsPar list;
    std::vector<uint8_t> bytes;
};

Fixture& fixture()
{
    static Fixture* f = new Fixture;
    return *f;
}

void BM_SaveIDsPar(benchmark::State& state)
{
    Fixture& f = fixture();
    KelMemoryOutput out(1);
    for (auto _ : state) {
        out.reset();
        KelChunkWriter holder(&out, false);
        if (!f.list.save(&holder))
            state.SkipWithError("save failed");
        benchmark::DoNotOptimize(out.data());
    }
    if (out.bytes() != f.bytes)
        state.SkipWithError("save gave other bytes");
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(f.bytes.size()));
}

void BM_LoadIDsPar(benchmark::State& state)
{
    Fixture& f = fixture();
    QTXModelFeature::KelIDsPar target;
    for (auto _ : state) {
        kelDetachStringReader();
        KelMemoryInput in(f.bytes.data(), f.bytes.size());
        KelChunkReader holder(&in);
        if (!target.load(&holder))
            state.SkipWithError("load failed");
        benchmark::DoNotOptimize(target.getValue().data);
    }
    if (!target.equals(&f.list))
        state.SkipWithError("load gave another list");
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(f.bytes.size()));
}

void BM_MemcpySameBytes(benchmark::State& state)
{
    Fixture& f = fixture();
    std::vector<uint8_t> target(f.bytes.size());
    for (auto _ : state) {
        std::memcpy(target.data(), f.bytes.data(), f.bytes.size());
        benchmark::DoNotOptimize(target.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(f.bytes.size()));
}

}  // namespace

BENCHMARK(BM_SaveIDsPar)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_LoadIDsPar)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_MemcpySameBytes)->Unit(benchmark::kMillisecond);
BENCHMARK_MAIN();
