// The bucket pool against the runtime heap and two other allocators, on the
// traffic that strings make: about a thousand live blocks, each step giving
// one block up and taking another of a random size. One step is one
// alloc+free pair. mimalloc is loaded privately so that it does not replace
// the runtime heap of this program. jemalloc cannot be loaded that way (it
// needs static thread-local storage), so a second build of this file,
// bucketpool_bench_jemalloc, links it as the runtime heap and names that heap
// "jemalloc".
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "core/bucketpool.h"
#include "platform/platform.h"

namespace {

constexpr int kLiveBlocks = 1000;
constexpr int kSteps = 1 << 14;  // length of the pre-drawn step sequence

struct Slot {
    void* block;
    int size;
};

struct Step {
    int slot;
    int size;
};

using MallocFunction = void* (*)(size_t);
using FreeFunction = void (*)(void*);

// A malloc/free pair: the runtime heap's, or one found in a loaded library.
struct Heap {
    MallocFunction take = nullptr;
    FreeFunction give = nullptr;
};

#ifndef KEL_BENCH_RUNTIME_HEAP
#define KEL_BENCH_RUNTIME_HEAP "glibc"
#endif

Heap runtimeHeap{std::malloc, std::free};
Heap mimallocHeap;

Heap loadHeap(const char* library, const char* takeName, const char* giveName)
{
    char error[256];
    void* handle = kelLoadLibrary(library, error, sizeof error);
    if (!handle) {
        std::fprintf(stderr, "%s not loaded: %s\n", library, error);
        return {};
    }
    return {reinterpret_cast<MallocFunction>(kelLibrarySymbol(handle, takeName)),
            reinterpret_cast<FreeFunction>(kelLibrarySymbol(handle, giveName))};
}

std::vector<Step> drawSteps(int threadIndex, int minSize, int maxSize)
{
    std::mt19937 random(1234 + threadIndex);
    std::uniform_int_distribution<int> slot(0, kLiveBlocks - 1);
    std::uniform_int_distribution<int> size(minSize, maxSize);
    std::vector<Step> steps(kSteps);
    for (Step& step : steps)
        step = {slot(random), size(random)};
    return steps;
}

// The pool keeps the usable size beside the block, as the strings do.
struct PoolOps {
    static Slot take(int size)
    {
        Slot slot;
        slot.block = bucketAlloc(size, &slot.size);
        return slot;
    }
    static void give(Slot& slot) { bucketFree(slot.size, &slot.block); }
};

template <Heap* heap>
struct HeapOps {
    static Slot take(int size) { return {heap->take(static_cast<size_t>(size)), size}; }
    static void give(Slot& slot) { heap->give(slot.block); }
};

template <class Ops>
void churn(benchmark::State& state, int minSize, int maxSize)
{
    std::vector<Step> steps = drawSteps(state.thread_index(), minSize, maxSize);
    std::vector<Slot> slots(kLiveBlocks);
    for (int i = 0; i < kLiveBlocks; ++i)
        slots[i] = Ops::take(steps[i].size);
    unsigned next = 0;
    for (auto _ : state) {
        const Step& step = steps[next++ & (kSteps - 1)];
        Slot& slot = slots[step.slot];
        Ops::give(slot);
        slot = Ops::take(step.size);
        // The caller writes its block, as a string does.
        *static_cast<char*>(slot.block) = 1;
        benchmark::DoNotOptimize(slot.block);
    }
    for (Slot& slot : slots)
        Ops::give(slot);
    state.SetItemsProcessed(state.iterations());
}

template <class Ops>
void registerChurn(const std::string& allocator)
{
    struct Range {
        const char* name;
        int minSize, maxSize;
    };
    for (Range range : {Range{"16-256", 16, 256}, Range{"256-8192", 256, 8192}}) {
        for (int threads : {1, 2}) {
            std::string name = "churn/" + std::string(range.name) + "/" + allocator;
            benchmark::RegisterBenchmark(name.c_str(), [range](benchmark::State& state) {
                churn<Ops>(state, range.minSize, range.maxSize);
            })->Threads(threads)->UseRealTime();
        }
    }
}

// Collects the time per pair of every run and prints the pool's ratios to the
// other allocators at the end.
class RatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override
    {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs)
            if (run.run_type == Run::RT_Iteration && !run.error_occurred)
                times_[run.benchmark_name()] = {run.GetAdjustedRealTime(), run.GetAdjustedCPUTime()};
    }

    // Real time is wall time over the iterations of all threads, so with two
    // threads it measures the pool's throughput. On a machine shared with
    // other work the processor time is the steadier figure of the two.
    void printRatios()
    {
        std::printf("\nbucket pool per alloc+free pair, and its ratio to the other allocator (real / cpu):\n");
        for (const char* range : {"16-256", "256-8192"}) {
            for (int threads : {1, 2}) {
                std::string suffix = "/real_time/threads:" + std::to_string(threads);
                Times pool = find(range, "bucketpool", suffix);
                std::printf("  %-8s %d thread%s: pool %5.1f/%5.1f ns", range, threads, threads > 1 ? "s" : " ",
                            pool.real, pool.cpu);
                for (const char* other : {"glibc", "jemalloc", "mimalloc"}) {
                    Times time = find(range, other, suffix);
                    if (time.real > 0)
                        std::printf("  %s %5.1f/%5.1f ns x%.2f/x%.2f", other, time.real, time.cpu,
                                    pool.real / time.real, pool.cpu / time.cpu);
                }
                std::printf("\n");
            }
        }
    }

private:
    struct Times {
        double real = 0;
        double cpu = 0;
    };

    Times find(const char* range, const char* allocator, const std::string& suffix)
    {
        auto found = times_.find("churn/" + std::string(range) + "/" + allocator + suffix);
        return found == times_.end() ? Times{} : found->second;
    }

    std::map<std::string, Times> times_;
};

}  // namespace

int main(int argc, char** argv)
{
    registerChurn<HeapOps<&runtimeHeap>>(KEL_BENCH_RUNTIME_HEAP);
    registerChurn<PoolOps>("bucketpool");
    mimallocHeap = loadHeap("libmimalloc.so.2", "mi_malloc", "mi_free");
    if (mimallocHeap.take && mimallocHeap.give)
        registerChurn<HeapOps<&mimallocHeap>>("mimalloc");

    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.printRatios();
    benchmark::Shutdown();
    return 0;
}
