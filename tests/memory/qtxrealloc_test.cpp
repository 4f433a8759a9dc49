// Guarded allocation: the size rules, the reduced sizes after a refusal, the
// memory manager's loops, the spill through a temporary file, and the arrays.
#include "memory/qtxrealloc.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>

#include "tests/memory/memoryfakes.h"

namespace {

// A heap block of `bytes` filled with a pattern that tells every byte apart.
void* patterned(int bytes)
{
    auto* block = static_cast<unsigned char*>(std::malloc(bytes));
    for (int i = 0; i < bytes; ++i)
        block[i] = static_cast<unsigned char>(i * 7 + 3);
    return block;
}

// Empty string when the block holds the pattern up to `keep` and zeroes from
// there up to `total`; otherwise the first offending offset.
std::string patternThenZeros(const void* block, int keep, int total)
{
    auto* bytes = static_cast<const unsigned char*>(block);
    for (int i = 0; i < total; ++i) {
        unsigned char want = i < keep ? static_cast<unsigned char>(i * 7 + 3) : 0;
        if (bytes[i] != want)
            return "byte " + std::to_string(i) + " is " + std::to_string(bytes[i]);
    }
    return "";
}

std::vector<size_t> sizes(std::initializer_list<size_t> list)
{
    return list;
}

}  // namespace

TEST(QtxGrowSize, DoublesFromAtLeastOneUntilTheNeedIsCovered)
{
    EXPECT_EQ(qtxGrowSize(0, 5), 8);
    EXPECT_EQ(qtxGrowSize(3, 5), 6);
    EXPECT_EQ(qtxGrowSize(8, 5), 8);
    EXPECT_EQ(qtxGrowSize(-4, 3), 4);
    EXPECT_EQ(qtxGrowSize(9, 9), 9);
    EXPECT_EQ(qtxGrowSize(9, 10), 18);
}

TEST(QtxRealloc, SizeRulesBeforeTheHeapIsAsked)
{
    ScriptedSyscalls heap;
    void* block = std::malloc(40);
    void* before = block;

    // curSize equal to minNewSize: nothing else is looked at.
    EXPECT_EQ(qtxRealloc(&block, 4, 10, 10, 500), 10);
    EXPECT_EQ(qtxRealloc(&block, 4, 10, 10, 2), 10);
    // Between the bounds: left alone.
    EXPECT_EQ(qtxRealloc(&block, 4, 10, 2, 20), 10);
    EXPECT_EQ(block, before);
    EXPECT_TRUE(heap.reallocSizes.empty());

    // Shrinking keeps to maxNewSize and keeps the kept elements.
    static_cast<int*>(block)[4] = 77;
    EXPECT_EQ(qtxRealloc(&block, 4, 10, 2, 5), 5);
    EXPECT_EQ(heap.reallocSizes, sizes({20}));
    EXPECT_EQ(static_cast<int*>(block)[4], 77);

    // Shrinking to nothing frees the block.
    EXPECT_EQ(qtxRealloc(&block, 4, 5, 0), 0);
    EXPECT_EQ(block, nullptr);

    // A null block with nothing wanted allocates nothing.
    EXPECT_EQ(qtxRealloc(&block, 4, 0, 0, 100), 0);
    EXPECT_EQ(block, nullptr);
    EXPECT_TRUE(heap.mallocSizes.empty());

    // An empty block gets exactly minNewSize elements, whatever maxNewSize says.
    EXPECT_EQ(qtxRealloc(&block, 4, 0, 3, 1000), 3);
    EXPECT_EQ(heap.mallocSizes, sizes({12}));
    std::free(block);
}

TEST(QtxRealloc, GrownBlockReadsZeroFromTheOldEnd)
{
    ScriptedSyscalls heap;
    void* block = patterned(30);
    EXPECT_EQ(qtxRealloc(&block, 3, 10, 11, 400), 400);
    EXPECT_EQ(patternThenZeros(block, 30, 1200), "");
    std::free(block);
}

namespace {

class RecordingAssertHandler : public FakeService<IKelAssertHandlerCB> {
public:
    int handleAssert(const char* expression, const char* file, int) override
    {
        calls += std::string(expression) + " @ " + file + "\n";
        return 0;
    }
    std::string calls;
};

}  // namespace

TEST(QtxRealloc, BoundsTheWrongWayRoundAssertAndGoOn)
{
    TestServiceProvider provider;
    RecordingAssertHandler handler;
    provider.add("IKelAssertHandlerCB", &handler);
    ScriptedSyscalls heap;

    // maxNewSize below minNewSize: both checks fire, and the block still
    // grows, to maxNewSize.
    void* block = patterned(10);
    EXPECT_EQ(qtxRealloc(&block, 1, 10, 20, 15), 15);
    EXPECT_EQ(handler.calls,
              "maxNewSize >= minNewSize @ .\\qtxrealloc\n"
              "minNewSize > curSize && maxNewSize >= minNewSize @ .\\qtxrealloc\n");
    EXPECT_EQ(patternThenZeros(block, 10, 15), "");
    std::free(block);

    // Shrinking with the bounds the wrong way round: one check, then the
    // shrink to maxNewSize.
    handler.calls.clear();
    block = patterned(10);
    EXPECT_EQ(qtxRealloc(&block, 1, 10, 6, 4), 4);
    EXPECT_EQ(handler.calls, "maxNewSize >= minNewSize @ .\\qtxrealloc\n");
    std::free(block);
}

TEST(QtxMalloc, GivesCountAndTreatsZeroBytesAsSuccess)
{
    ScriptedSyscalls heap;
    void* block = nullptr;
    EXPECT_EQ(qtxMalloc(&block, 8, 6), 6);
    EXPECT_EQ(heap.mallocSizes, sizes({48}));
    std::free(block);

    // Even when the heap gives null for an empty request.
    heap.mallocRefuseFrom = 0;
    block = reinterpret_cast<void*>(1);
    EXPECT_EQ(qtxMalloc(&block, 8, 0), 0);
    std::free(block);
}

// Tests that make the heap refuse share the process's one memory manager.
class QtxShortHeap : public ::testing::Test {
protected:
    void SetUp() override
    {
        manager = &processManager();
        manager->figures[0] = 0;
    }

    FakeManager* manager = nullptr;
    std::string directory = fixedDirectory("short-heap");
    MemoryHost host{directory};
};

TEST_F(QtxShortHeap, ReducedSizesHalveTowardsTheMinimum)
{
    ScriptedSyscalls heap;
    heap.reallocRefuseFrom = 213;
    void* block = patterned(10);
    EXPECT_EQ(qtxRealloc(&block, 1, 10, 100, 1000), 212);
    EXPECT_EQ(heap.reallocSizes, sizes({1000, 550, 325, 212}));
    EXPECT_EQ(manager->asked, 0);
    EXPECT_EQ(patternThenZeros(block, 10, 212), "");
    std::free(block);

    // With maxNewSize equal to minNewSize there is one try, then the spill;
    // the manager is not asked.
    ScriptedSyscalls again;
    again.reallocRefuseFrom = 0;
    block = patterned(10);
    EXPECT_EQ(qtxRealloc(&block, 1, 10, 100), 100);
    EXPECT_EQ(again.reallocSizes, sizes({100}));
    EXPECT_EQ(manager->asked, 0);
    EXPECT_EQ(again.openFlags.size(), 1u);
    std::free(block);
}

TEST_F(QtxShortHeap, ManagerIsAskedFromTheThirdReducedSizeWithinItsLimit)
{
    // A manager that always has a page to give is still asked only askLimit
    // (here 2) times per size, each answer followed by a retry.
    ScriptedSyscalls heap;
    heap.reallocRefuseFrom = 0;
    manager->answer = [](int) { return true; };
    void* block = patterned(10);
    EXPECT_EQ(qtxRealloc(&block, 1, 10, 100, 1000), 100);
    EXPECT_EQ(heap.reallocSizes, sizes({1000, 550, 325, 212, 212, 212, 156, 156, 156, 128, 128, 128, 114, 114, 114,
                                        107, 107, 107, 100, 100, 100}));
    EXPECT_EQ(manager->asked, 12);
    EXPECT_EQ(patternThenZeros(block, 10, 100), "");
    std::free(block);

    // A large growth earns more asks per size, one per 24 KiB page of growth
    // plus two: 10, 8, 7, 6, 6 and 6 for the six sizes from 212500 down.
    ScriptedSyscalls large;
    large.reallocRefuseFrom = 0;
    manager->asked = 0;
    block = patterned(10);
    EXPECT_EQ(qtxRealloc(&block, 1, 10, 100000, 1000000), 100000);
    EXPECT_EQ(manager->asked, 43);
    EXPECT_EQ(large.reallocSizes.size(), 3u + 6u + 43u);
    EXPECT_EQ(patternThenZeros(block, 10, 100000), "");
    std::free(block);
}

TEST_F(QtxShortHeap, ManagerThatHasNothingLeftIsDroppedAfterOneMoreTry)
{
    ScriptedSyscalls heap;
    heap.reallocRefuseFrom = 0;
    manager->answer = [](int) { return false; };
    void* block = patterned(10);
    EXPECT_EQ(qtxRealloc(&block, 1, 10, 100, 1000), 100);
    EXPECT_EQ(heap.reallocSizes, sizes({1000, 550, 325, 212, 212, 156, 128, 114, 107, 100}));
    EXPECT_EQ(manager->asked, 1);
    std::free(block);

    // A page given back makes the retry succeed at the reduced size.
    ScriptedSyscalls kind;
    kind.reallocRefuseFrom = 0;
    manager->asked = 0;
    manager->answer = [](int) {
        ScriptedSyscalls::reallocRefuseFrom = SIZE_MAX;
        return true;
    };
    block = patterned(10);
    EXPECT_EQ(qtxRealloc(&block, 1, 10, 100, 1000), 212);
    EXPECT_EQ(manager->asked, 1);
    EXPECT_EQ(patternThenZeros(block, 10, 212), "");
    std::free(block);
}

TEST_F(QtxShortHeap, MallocAsksTheManagerUntilTheHeapGives)
{
    ScriptedSyscalls heap;
    heap.mallocRefuseFrom = 0;
    manager->answer = [](int asked) {
        if (asked == 40)
            ScriptedSyscalls::mallocRefuseFrom = SIZE_MAX;
        return true;
    };
    void* block = nullptr;
    EXPECT_EQ(qtxMalloc(&block, 2, 50), 50);
    EXPECT_NE(block, nullptr);
    EXPECT_EQ(manager->asked, 40);
    EXPECT_EQ(heap.mallocSizes.size(), 41u);
    std::free(block);
}

TEST_F(QtxShortHeap, SpillMovesTheContentsThroughATemporaryFile)
{
    ScriptedSyscalls heap;
    heap.reallocRefuseFrom = 0;
    void* block = patterned(1000);
    EXPECT_EQ(qtxRealloc(&block, 4, 250, 300), 300);
    EXPECT_EQ(patternThenZeros(block, 1000, 1200), "");

    ASSERT_EQ(heap.openFlags.size(), 1u);
    EXPECT_EQ(heap.openFlags[0], 0x8142);
    EXPECT_EQ(heap.openPermissions[0], 0x180);
    std::string name = std::filesystem::path(heap.openedPaths[0]).filename().string();
    EXPECT_EQ(std::filesystem::path(heap.openedPaths[0]).parent_path(), std::filesystem::path(directory));
    EXPECT_EQ(name.size(), std::string("kel-00000000-00000000-temp").size()) << name;
    EXPECT_EQ(name.rfind("kel-", 0), 0u) << name;
    // One write of the whole old block; the new block is taken after the old
    // one is gone, so the heap never holds both.
    EXPECT_EQ(heap.writeSizes, sizes({1000}));
    ASSERT_FALSE(heap.mallocSizes.empty());
    EXPECT_EQ(heap.mallocSizes.back(), 1200u);
    EXPECT_TRUE(std::filesystem::is_empty(directory)) << "the temporary file outlived the spill";
    std::free(block);
}

TEST(KelArray, StartsZeroedAndGrowsByDoublingOnAccess)
{
    KelArray<long long> array(3);
    EXPECT_EQ(array.size, 3);
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(array[i], 0);
    array[1] = 11;
    array[4] = 44;
    EXPECT_EQ(array.size, 6);
    EXPECT_EQ(array[1], 11);
    EXPECT_EQ(array[5], 0);
    array[40] = 1;
    EXPECT_EQ(array.size, 48);
    EXPECT_EQ(array[4], 44);

    // An empty array takes exactly what the first access needs.
    KelArray<int> empty;
    empty[6] = 5;
    EXPECT_EQ(empty.size, 7);
}

TEST(KelStackArray, FillsFromIndexOneAndPopsLastFirst)
{
    KelStackArray<int> stack(9);
    for (int i = 1; i <= 8; ++i)
        stack.push(i * 10);
    EXPECT_EQ(stack.size, 9);
    EXPECT_EQ(stack.data[0], 0);
    EXPECT_EQ(stack.data[1], 10);
    stack.push(90);
    EXPECT_EQ(stack.size, 18);
    EXPECT_EQ(stack.count, 9);
    for (int i = 9; i >= 1; --i)
        EXPECT_EQ(stack.pop(), i * 10);
    EXPECT_EQ(stack.count, 0);
}
