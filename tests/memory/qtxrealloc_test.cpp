// Guarded allocation: the size rules, the reduced sizes after a refusal, the
// memory manager's loops, the spill through a temporary file, and KelArray.
#include "kel/kelarray.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <filesystem>

#include "tests/memory/memoryfakes.h"

namespace {

using Sizes = std::vector<size_t>;

// A heap block of `bytes` filled with a pattern that tells every byte apart.
void* patterned(int bytes)
{
    auto* block = static_cast<unsigned char*>(std::malloc(bytes));
    for (int i = 0; i < bytes; ++i)
        block[i] = static_cast<unsigned char>(i * 7 + 3);
    return block;
}

// Empty when the block holds the pattern up to `keep` and zeroes from there up
// to `total`; otherwise the first offending offset.
std::string patternThenZeros(const void* block, int keep, int total)
{
    auto* bytes = static_cast<const unsigned char*>(block);
    for (int i = 0; i < total; ++i)
        if (bytes[i] != (i < keep ? static_cast<unsigned char>(i * 7 + 3) : 0))
            return "byte " + std::to_string(i) + " is " + std::to_string(bytes[i]);
    return "";
}

}  // namespace

TEST(QtxGrowSize, DoublesFromAtLeastOneUntilTheNeedIsCovered)
{
    EXPECT_EQ(qtxGrowSize(0, 5), 8);
    EXPECT_EQ(qtxGrowSize(3, 5), 6);
    EXPECT_EQ(qtxGrowSize(-4, 3), 4);
    EXPECT_EQ(qtxGrowSize(9, 9), 9);
    EXPECT_EQ(qtxGrowSize(9, 10), 18);
    // Needs that doubling cannot reach without passing the largest int.
    EXPECT_EQ(qtxGrowSize(1, (1 << 30) + 1), INT_MAX);
    EXPECT_EQ(qtxGrowSize(3 << 28, INT_MAX), INT_MAX);
    EXPECT_EQ(qtxGrowSize(INT_MAX, INT_MAX), INT_MAX);
    EXPECT_EQ(qtxGrowSize(1, 1 << 30), 1 << 30);
}

TEST(QtxRealloc, SizeRulesBeforeTheHeapIsAsked)
{
    struct {
        const char* what;
        int curSize, minSize, maxSize, result;
        Sizes reallocs, mallocs;
    } cases[] = {
        {"cur equal to min: nothing else is looked at", 10, 10, 500, 10, {}, {}},
        {"cur equal to min, max below both", 10, 10, 2, 10, {}, {}},
        {"between the bounds", 10, 2, 20, 10, {}, {}},
        {"shrinking keeps to max", 10, 2, 5, 5, {20}, {}},
        {"shrinking to nothing frees", 5, 0, 0, 0, {}, {}},
        {"nothing wanted of nothing", 0, 0, 100, 0, {}, {}},
        {"an empty block gets exactly min", 0, 3, 1000, 3, {}, {12}},
        {"a grown block reads zero from the old end", 10, 11, 400, 400, {1600}, {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        ScriptedSyscalls heap;
        void* block = c.curSize ? patterned(c.curSize * 4) : nullptr;
        void* before = block;
        EXPECT_EQ(qtxRealloc(&block, 4, c.curSize, c.minSize, c.maxSize), c.result);
        EXPECT_EQ(heap.reallocSizes, c.reallocs);
        EXPECT_EQ(heap.mallocSizes, c.mallocs);
        EXPECT_EQ(block == nullptr, c.result == 0);
        EXPECT_TRUE(c.result != c.curSize || block == before) << "an unchanged size keeps its block";
        if (block && c.curSize) {  // a fresh block is uninitialised
            EXPECT_EQ(patternThenZeros(block, 4 * std::min(c.curSize, c.result), 4 * c.result), "");
        }
        std::free(block);
    }
}

TEST(QtxRealloc, BoundsTheWrongWayRoundAssertAndGoOn)
{
    TestServiceProvider provider;
    AssertRecorder handler;
    provider.add("IKelAssertHandlerCB", &handler);
    ScriptedSyscalls heap;

    // Growing: both checks fire, and the block still grows, to maxNewSize.
    void* block = patterned(10);
    EXPECT_EQ(qtxRealloc(&block, 1, 10, 20, 15), 15);
    EXPECT_EQ(handler.expressions, (std::vector<std::string>{"maxNewSize >= minNewSize @ .\\qtxrealloc",
                                    "minNewSize > curSize && maxNewSize >= minNewSize @ .\\qtxrealloc"}));
    EXPECT_EQ(patternThenZeros(block, 10, 15), "");
    // Shrinking: one check, then the shrink to maxNewSize.
    handler.expressions.clear();
    EXPECT_EQ(qtxRealloc(&block, 1, 15, 6, 4), 4);
    EXPECT_EQ(handler.expressions, std::vector<std::string>{"maxNewSize >= minNewSize @ .\\qtxrealloc"});
    std::free(block);
}

// Tests that make the heap refuse share the process's one memory manager.
class QtxShortHeap : public ::testing::Test {
protected:
    FakeManager& manager = processManager();
    std::string directory = fixedDirectory("short-heap");
    MemoryHost host{directory};
};

TEST_F(QtxShortHeap, ReducedSizesThenTheManagerThenTheSpill)
{
    auto always = [](bool answer) { return [answer](int) { return answer; }; };
    struct Case {
        const char* what;
        size_t refuseFrom;
        std::function<bool(int)> answer;
        int minSize, maxSize, result, asked;
        size_t tries, spills;
        Sizes sizes;  // checked when given
    } cases[] = {
        {"halving towards the minimum", 213, always(true), 100, 1000, 212, 0, 4, 0, {1000, 550, 325, 212}},
        {"one try when min is max", 0, always(true), 100, 100, 100, 0, 1, 1, {100}},
        // From the third reduced size the manager is asked up to askLimit
        // (here 2) times per size, each answer followed by a retry.
        {"manager with pages", 0, always(true), 100, 1000, 100, 12, 21, 1,
         {1000, 550, 325, 212, 212, 212, 156, 156, 156, 128, 128, 128, 114, 114, 114, 107, 107, 107, 100, 100, 100}},
        // One ask more per 24 KiB page of growth: 10, 8, 7, 6, 6, 6 asks.
        {"manager with pages, large growth", 0, always(true), 100000, 1000000, 100000, 43, 3 + 6 + 43, 1, {}},
        {"manager with nothing left is dropped", 0, always(false), 100, 1000, 100, 1, 10, 1,
         {1000, 550, 325, 212, 212, 156, 128, 114, 107, 100}},
        {"a page given back", 0,
         [](int) { return ScriptedSyscalls::reallocRefuseFrom = SIZE_MAX, true; }, 100, 1000, 212, 1, 5, 0, {}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        ScriptedSyscalls heap;
        heap.reallocRefuseFrom = c.refuseFrom;
        manager.asked = 0;
        manager.answer = c.answer;
        void* block = patterned(10);
        EXPECT_EQ(qtxRealloc(&block, 1, 10, c.minSize, c.maxSize), c.result);
        EXPECT_EQ(manager.asked, c.asked);
        EXPECT_EQ(heap.reallocSizes.size(), c.tries);
        EXPECT_EQ(c.sizes.empty() ? Sizes{} : heap.reallocSizes, c.sizes);
        EXPECT_EQ(heap.opens.size(), c.spills);
        EXPECT_EQ(patternThenZeros(block, 10, c.result), "");
        std::free(block);
    }
}

TEST_F(QtxShortHeap, MallocGivesTheCountAndAsksTheManagerUntilTheHeapGives)
{
    ScriptedSyscalls heap;
    void* block = nullptr;
    // Zero bytes are a success even when the heap gives null for them.
    heap.mallocRefuseFrom = 0;
    EXPECT_EQ(qtxMalloc(&block, 8, 0), 0);
    std::free(block);
    heap.mallocSizes.clear();
    manager.answer = [](int asked) {
        if (asked == 40)
            ScriptedSyscalls::mallocRefuseFrom = SIZE_MAX;
        return true;
    };
    EXPECT_EQ(qtxMalloc(&block, 2, 50), 50);
    EXPECT_NE(block, nullptr);
    EXPECT_EQ(manager.asked, 40);
    EXPECT_EQ(heap.mallocSizes, Sizes(41, 100));
    std::free(block);
}

TEST_F(QtxShortHeap, SpillMovesTheContentsThroughATemporaryFile)
{
    ScriptedSyscalls heap;
    heap.reallocRefuseFrom = 0;
    void* block = patterned(1000);
    EXPECT_EQ(qtxRealloc(&block, 4, 250, 300), 300);
    EXPECT_EQ(patternThenZeros(block, 1000, 1200), "");

    ASSERT_EQ(heap.opens.size(), 1u);
    EXPECT_EQ(heap.opens[0].flags, 0x8142);
    EXPECT_EQ(heap.opens[0].permissions, 0x180);
    std::filesystem::path file = heap.opens[0].path;
    EXPECT_EQ(file.parent_path(), std::filesystem::path(directory));
    // One write of the whole old block; the new block is taken after the old
    // one is gone, so the heap never holds both. (Smaller takes are the
    // temporary name's bookkeeping, first made here when the test runs alone.)
    EXPECT_EQ(heap.writeSizes, Sizes{1000});
    Sizes blocks;
    for (size_t size : heap.mallocSizes)
        if (size >= 1000)
            blocks.push_back(size);
    EXPECT_EQ(blocks, Sizes{1200});
    EXPECT_TRUE(std::filesystem::is_empty(directory)) << "the temporary file outlived the spill";
    std::free(block);
}

TEST(KelArray, StartsZeroedAndGrowsByDoublingOnAccess)
{
    KelArray<long long> array(3);
    EXPECT_EQ(array[0] + array[1] + array[2], 0);
    array[1] = 11;
    array[40] = 1;
    EXPECT_EQ(array.size, 48);
    EXPECT_EQ(array[1], 11);
    EXPECT_EQ(array[39], 0);
    // An empty array takes exactly what the first access needs.
    KelArray<int> empty;
    empty[6] = 5;
    EXPECT_EQ(empty.size, 7);
}
