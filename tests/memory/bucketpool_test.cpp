// The bucket pool: size classes, reuse of freed blocks, the plain road, the
// release through block headers, threads, and the move of a module from its
// private pool to the host's.
#include "core/bucketpool.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <random>
#include <thread>

#include "kel/interfacenamelist.h"
#include "tests/memory/memoryfakes.h"
#include "tests/memory/module/bucketmodule.h"

namespace {

BucketClass classOf(int size, int poolLimit = 262144)
{
    return bucketClassOf(size, 4, 8192, poolLimit);
}

// An allocator that records what comes back to it, to see which header a
// release went through.
class RecordingAllocator : public BucketMemoryAllocator {
public:
    void freeBlock(void* base) override
    {
        bases.push_back(base);
        std::free(base);
    }
    std::vector<void*> bases;
};

// A heap block with a header naming `owner`; gives the caller's pointer.
void* blockOwnedBy(BucketMemoryAllocator* owner, int size)
{
    auto** header = static_cast<BucketMemoryAllocator**>(std::malloc(sizeof(void*) + size));
    *header = owner;
    return header + 1;
}

}  // namespace

TEST(BucketClasses, EverySizeGetsABlockThatCoversItAndMapsBackToItsBucket)
{
    int previous = 0;
    for (int size = 0; size <= 262144; ++size) {
        BucketClass sizeClass = classOf(size);
        ASSERT_GE(sizeClass.blockSize, std::max(size, 4)) << size;
        // The usable size is what comes back to free: it must land in the
        // same bucket, or blocks would migrate between classes.
        ASSERT_EQ(classOf(sizeClass.blockSize).bucket, sizeClass.bucket) << size;
        ASSERT_TRUE(sizeClass.bucket == previous || sizeClass.bucket == previous + 1) << size;
        ASSERT_LT(sizeClass.blockSize - std::max(size, 1), size <= 8192 ? 4 : size) << size;
        previous = sizeClass.bucket;
    }
    struct {
        int size, bucket, blockSize;
    } points[] = {{0, 0, 4},           {5, 1, 8},           {8192, 2047, 8192},     {8193, 2048, 16384},
                  {32769, 2050, 65536}, {262144, 2052, 262144}, {262145, -1, 262145}, {1000000, -1, 1000000}};
    for (auto p : points) {
        EXPECT_EQ(classOf(p.size).bucket, p.bucket) << p.size;
        EXPECT_EQ(classOf(p.size).blockSize, p.blockSize) << p.size;
    }
    // A switched-off pool makes every size plain.
    for (int size : {0, 1, 8192, 262144})
        EXPECT_EQ(classOf(size, -262144).bucket, -1);
    // With a limit near 2 GiB no doubled class would fit: plain, not wrapped.
    EXPECT_EQ(classOf(0x7FFFFF00, 0x7FFFFFFF).bucket, -1);
}

TEST(BucketPoolModule, ASizeNoBlockCanHaveIsTheOrderlyStop)
{
    // Only a wrapped size computation asks for these.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    TempDir logs;  // memory.log goes to the current directory of the child
    for (int size : {-1, kBucketMaxSize + 1}) {
        EXPECT_EXIT(
            {
                std::filesystem::current_path(logs.path());
                ScriptedSyscalls calls;
                int got = 0;
                bucketAlloc(size, &got);
            },
            exitedWithMinusOne, "Out of Memory")
            << size;
    }
}

TEST(BucketMemoryPool, FreedBlocksComeBackLastFreedFirstWithTheirContents)
{
    BucketMemoryPool pool(4, 8192, 262144);
    int got = 0;
    void* empty = pool.allocate(0, &got);
    EXPECT_EQ(got, 4);
    void* block = pool.allocate(100, &got);
    std::strcpy(static_cast<char*>(block), "kept");
    void* freed = block;
    EXPECT_TRUE(pool.deallocate(got, &block));
    EXPECT_EQ(block, nullptr);
    void* again = pool.allocate(98, &got);
    EXPECT_EQ(again, freed);
    EXPECT_STREQ(static_cast<char*>(again), "kept");

    // Nine blocks outgrow a stack made for eight.
    std::vector<void*> blocks;
    for (int i = 0; i < 9; ++i)
        blocks.push_back(pool.allocate(5, &got));
    for (void* each : blocks)
        pool.deallocate(8, &each);
    for (int i = 8; i >= 0; --i)
        EXPECT_EQ(pool.allocate(7, &got), blocks[i]) << i;

    // The largest class lies beyond the first buckets array.
    void* large = pool.allocate(262144, &got);
    EXPECT_GT(pool.buckets.size, 2052) << "taking a block of the largest class grows the array";
    pool.deallocate(got, &large);
    EXPECT_EQ(pool.buckets.data[2052]->count, 1);

    // Every block names the allocator of the module that made it.
    void* moduleBlock = bucketAlloc(3, &got);
    EXPECT_EQ(*bucketHeaderOf(moduleBlock), *bucketHeaderOf(empty));
    bucketFree(got, &moduleBlock);
    for (void* each : blocks)
        pool.deallocate(8, &each);
    for (void* each : {empty, again})
        pool.deallocate(100, &each);
}

TEST(BucketMemoryPool, PlainBlocksAndReleasesGoThroughTheHeader)
{
    BucketMemoryPool pool(4, 8192, 262144);
    int got = 0;
    void* plain = pool.allocate(262145, &got);
    EXPECT_EQ(got, 262145);
    EXPECT_TRUE(pool.deallocate(got, &plain));

    RecordingAllocator owner;
    void* foreign = blockOwnedBy(&owner, 300000);
    void* base = bucketHeaderOf(foreign);
    EXPECT_TRUE(pool.deallocate(300000, &foreign));
    EXPECT_EQ(owner.bases, std::vector<void*>{base});
    for (int i = 0; i < pool.buckets.size; ++i)
        ASSERT_EQ(pool.buckets.data[i], nullptr) << "a plain release filled bucket " << i;

    // Null and zero sizes are refused quietly.
    void* none = nullptr;
    EXPECT_FALSE(pool.deallocate(16, &none));
    void* kept = blockOwnedBy(&owner, 16);
    EXPECT_FALSE(pool.deallocate(0, &kept));
    EXPECT_NE(kept, nullptr);

    // Purge gives pooled blocks back to whoever made them.
    void* pooledBase = bucketHeaderOf(kept);
    pool.deallocate(16, &kept);
    EXPECT_TRUE(pool.purge());
    EXPECT_EQ(owner.bases.back(), pooledBase);
    EXPECT_EQ(pool.buckets.data[3], nullptr);
}

TEST(BucketMemoryPool, SwitchedOffServesPlainBlocksAndKeepsItsStacks)
{
    BucketMemoryPool pool(4, 8192, 262144);
    int got = 0;
    void* pooled = pool.allocate(40, &got);
    void* first = pooled;
    pool.deallocate(got, &pooled);
    EXPECT_TRUE(pool.setEnabled(false));
    EXPECT_TRUE(pool.setEnabled(false));
    EXPECT_EQ(pool.poolLimit, -262144) << "switching off twice must not switch on";
    void* plain = pool.allocate(37, &got);
    EXPECT_EQ(got, 37);
    pool.deallocate(got, &plain);
    EXPECT_EQ(pool.buckets.data[9]->count, 1);

    EXPECT_TRUE(pool.setEnabled(true));
    pooled = pool.allocate(37, &got);
    EXPECT_EQ(pooled, first);
    pool.deallocate(got, &pooled);
}

TEST(BucketMemoryPool, AnswersToItsNames)
{
    BucketMemoryPool pool(4, 8192, 262144);
    EXPECT_EQ(kelQuery<IBucketMemoryPool>(&pool), static_cast<IBucketMemoryPool*>(&pool));
    EXPECT_EQ(kelQuery<IDataStore>(&pool), nullptr);
    KelInterfaceNameList list;
    pool.queryInterface(nullptr, &list, false);
    ASSERT_EQ(list.entries->count, 2);
    EXPECT_STREQ(list.entries->data[1].name.chars(), "BucketMemoryPool");
    EXPECT_STREQ(list.entries->data[2].name.chars(), "IBucketMemoryPool");
    EXPECT_EQ(list.entries->data[1].isClass, 1);
    EXPECT_EQ(list.entries->data[2].isClass, 0);
}

// Each thread stamps its blocks and checks the stamp before giving a block
// back: a block handed to two holders at once is overwritten by the other.
TEST(BucketPoolModule, ThreadsNeverShareABlock)
{
    auto work = [](int t, int* failures) {
        std::mt19937 random(t);
        for (int round = 0; round < 1200; ++round) {
            auto stamp = static_cast<unsigned char>(t * 61 + round);
            std::vector<std::pair<unsigned char*, int>> held(1 + random() % 64);
            for (auto& [block, size] : held) {
                int want = random() % 64 == 0 ? 262145 + int(random() % 1000) : 1 + int(random() % 3000);
                block = static_cast<unsigned char*>(bucketAlloc(want, &size));
                std::memset(block, stamp, size);
            }
            for (auto& [block, size] : held) {
                for (int b = 0; b < size; b += 97)
                    *failures += block[b] != stamp;
                void* given = block;
                bucketFree(size, &given);
            }
        }
    };
    int failures[4] = {};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back(work, t, &failures[t]);
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(failures[0] + failures[1] + failures[2] + failures[3], 0);
}

TEST(BucketPoolModule, MovesFromItsPrivatePoolToTheHostsAndKeepsItsBlocks)
{
    // A module that has no pool yet gives a foreign block back through the
    // block's header, and still has no pool afterwards.
    ASSERT_EQ(moduleCurrentPool(), nullptr) << "the second module was used before this test";
    RecordingAllocator owner;
    void* foreign = blockOwnedBy(&owner, 16);
    void* foreignBase = bucketHeaderOf(foreign);
    moduleFree(16, &foreign);
    EXPECT_EQ(owner.bases, std::vector<void*>{foreignBase});
    EXPECT_EQ(moduleCurrentPool(), nullptr);

    // Without the service the module starts on a private pool.
    TestServiceProvider provider;
    moduleSetProvider(&provider);
    int got = 0;
    void* kept[3];
    for (void*& block : kept)
        block = moduleAlloc(100, &got);
    BucketMemoryPool* privatePool = moduleCurrentPool();
    ASSERT_NE(privatePool, nullptr);
    for (void* block : kept)
        moduleFree(100, &block);
    EXPECT_EQ(privatePool->buckets.data[24]->count, 3);

    // The host's pool, which the module keeps for good, is sought only after
    // 601 counted allocations.
    auto* shared = new BucketMemoryPool(4, 8192, 262144);
    provider.add("IBucketMemoryPool", shared);
    for (int i = 4; i <= 601; ++i) {
        void* block = moduleAlloc(8, &got);
        moduleFree(got, &block);
    }
    EXPECT_EQ(moduleCurrentPool(), privatePool);
    void* block = moduleAlloc(8, &got);
    EXPECT_EQ(moduleCurrentPool(), shared);
    EXPECT_EQ(shared->refCount(), 1u);
    ASSERT_NE(shared->buckets.data[24], nullptr);
    EXPECT_EQ(shared->buckets.data[24]->count, 3) << "the private free stacks move to the host's pool";
    // Blocks freed before the move are served by the shared pool.
    moduleFree(got, &block);
    EXPECT_EQ(shared->buckets.data[1]->count, 1);
    EXPECT_EQ(moduleAlloc(100, &got), kept[2]);
    moduleSetProvider(nullptr);
}
