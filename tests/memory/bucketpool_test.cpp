// The bucket pool: size classes, reuse of freed blocks, the plain road, the
// release through block headers, threads, and the move of a module from its
// private pool to the host's.
#include "memory/bucketpool.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <random>
#include <thread>
#include <vector>

#include "component/interfacenamelist.h"
#include "tests/memory/module/bucketmodule.h"
#include "tests/support/testprovider.h"

namespace {

BucketClass classOf(int size)
{
    return bucketClassOf(size, 4, 8192, 262144);
}

bool sameClass(BucketClass a, BucketClass b)
{
    return a.bucket == b.bucket && a.blockSize == b.blockSize;
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
    BucketClass previous = classOf(0);
    for (int size = 0; size <= 262144; ++size) {
        BucketClass sizeClass = classOf(size);
        ASSERT_GE(sizeClass.bucket, 0) << size;
        ASSERT_GE(sizeClass.blockSize, size == 0 ? 4 : size) << size;
        // The usable size is what comes back to free: it must land in the
        // same bucket, or blocks would migrate between classes.
        ASSERT_TRUE(sameClass(classOf(sizeClass.blockSize), sizeClass)) << size;
        ASSERT_GE(sizeClass.bucket, previous.bucket) << size;
        ASSERT_LE(sizeClass.bucket, previous.bucket + 1) << size;
        if (size > 0 && size <= 8192) {
            ASSERT_LT(sizeClass.blockSize - size, 4) << size;
        } else if (size > 8192) {
            ASSERT_LT(sizeClass.blockSize, 2 * size) << size;
        }
        previous = sizeClass;
    }
    EXPECT_TRUE(sameClass(classOf(0), {0, 4}));
    EXPECT_TRUE(sameClass(classOf(4), {0, 4}));
    EXPECT_TRUE(sameClass(classOf(5), {1, 8}));
    EXPECT_TRUE(sameClass(classOf(8192), {2047, 8192}));
    EXPECT_TRUE(sameClass(classOf(8193), {2048, 16384}));
    EXPECT_TRUE(sameClass(classOf(32769), {2050, 65536}));
    EXPECT_TRUE(sameClass(classOf(131073), {2052, 262144}));
    EXPECT_TRUE(sameClass(classOf(262144), {2052, 262144}));
    for (int size : {262145, 1000000})
        EXPECT_TRUE(sameClass(classOf(size), {-1, size}));
    // A switched-off pool makes every size plain.
    for (int size : {0, 1, 8192, 262144})
        EXPECT_EQ(bucketClassOf(size, 4, 8192, -262144).bucket, -1);
}

TEST(BucketMemoryPool, FreedBlocksComeBackLastFreedFirstWithTheirContents)
{
    BucketMemoryPool pool(4, 8192, 262144);
    EXPECT_EQ(pool.buckets.size, 2050);
    int got = 0;
    void* empty = pool.allocate(0, &got);
    EXPECT_EQ(got, 4);
    ASSERT_NE(empty, nullptr);

    void* block = pool.allocate(100, &got);
    EXPECT_EQ(got, 100);
    std::strcpy(static_cast<char*>(block), "kept");
    void* freed = block;
    EXPECT_TRUE(pool.deallocate(got, &block));
    EXPECT_EQ(block, nullptr);
    void* again = pool.allocate(98, &got);
    EXPECT_EQ(again, freed);
    EXPECT_EQ(got, 100);
    EXPECT_STREQ(static_cast<char*>(again), "kept");

    // Nine blocks outgrow a stack made for eight.
    std::vector<void*> blocks;
    for (int i = 0; i < 9; ++i)
        blocks.push_back(pool.allocate(5, &got));
    for (void* each : blocks)
        pool.deallocate(8, &each);
    ASSERT_NE(pool.buckets.data[1], nullptr);
    EXPECT_EQ(pool.buckets.data[1]->count, 9);
    EXPECT_EQ(pool.buckets.data[1]->size, 18);
    for (int i = 8; i >= 0; --i)
        EXPECT_EQ(pool.allocate(7, &got), blocks[i]) << i;
    for (void* each : blocks)
        pool.deallocate(8, &each);

    // The largest class lies beyond the first buckets array.
    void* large = pool.allocate(262144, &got);
    EXPECT_EQ(got, 262144);
    EXPECT_EQ(pool.buckets.size, 4100);
    pool.deallocate(got, &large);
    EXPECT_EQ(pool.buckets.data[2052]->count, 1);

    // Every block names the allocator of the module that made it.
    EXPECT_EQ(*bucketHeaderOf(again), *bucketHeaderOf(empty));
    int gotModule = 0;
    void* moduleBlock = bucketAlloc(3, &gotModule);
    EXPECT_EQ(*bucketHeaderOf(moduleBlock), *bucketHeaderOf(empty));
    bucketFree(gotModule, &moduleBlock);
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
    EXPECT_EQ(plain, nullptr);

    RecordingAllocator owner;
    void* foreign = blockOwnedBy(&owner, 300000);
    void* base = bucketHeaderOf(foreign);
    EXPECT_TRUE(pool.deallocate(300000, &foreign));
    EXPECT_EQ(owner.bases, std::vector<void*>{base});
    for (int i = 0; i < pool.buckets.size; ++i)
        ASSERT_EQ(pool.buckets.data[i], nullptr) << "a plain release filled bucket " << i;

    // Refused quietly.
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
    pool.deallocate(got, &pooled);

    EXPECT_TRUE(pool.setEnabled(false));
    EXPECT_EQ(pool.poolLimit, -262144);
    EXPECT_TRUE(pool.setEnabled(false));
    EXPECT_EQ(pool.poolLimit, -262144) << "switching off twice must not switch on";
    void* plain = pool.allocate(37, &got);
    EXPECT_EQ(got, 37);
    EXPECT_EQ(pool.buckets.data[9]->count, 1);
    pool.deallocate(got, &plain);
    EXPECT_EQ(pool.buckets.data[9]->count, 1);

    EXPECT_TRUE(pool.setEnabled(true));
    EXPECT_EQ(pool.poolLimit, 262144);
    pooled = pool.allocate(37, &got);
    EXPECT_EQ(got, 40);
    EXPECT_EQ(pool.buckets.data[9]->count, 0);
    pool.deallocate(got, &pooled);
}

TEST(BucketMemoryPool, AnswersToItsNames)
{
    auto* pool = new BucketMemoryPool(4, 8192, 262144);
    EXPECT_EQ(pool->refCount(), 0u);
    EXPECT_EQ(kelQuery<BucketMemoryPool>(pool), pool);
    EXPECT_EQ(kelQuery<IBucketMemoryPool>(pool), static_cast<IBucketMemoryPool*>(pool));
    EXPECT_EQ(kelQuery<IKelUnknown>(pool), static_cast<IKelUnknown*>(pool));
    void* other = pool;
    pool->queryInterface("IDataStore", &other, false);
    EXPECT_EQ(other, nullptr);
    EXPECT_STREQ(pool->className(), "BucketMemoryPool");

    KelInterfaceNameList list;
    pool->queryInterface(nullptr, &list, false);
    ASSERT_EQ(list.entries->count, 2);
    EXPECT_STREQ(list.entries->data[1].name.chars(), "BucketMemoryPool");
    EXPECT_EQ(list.entries->data[1].isClass, 1);
    EXPECT_STREQ(list.entries->data[2].name.chars(), "IBucketMemoryPool");
    EXPECT_EQ(list.entries->data[2].isClass, 0);
    pool->addRef();
    pool->release();
}

TEST(BucketPoolModule, ThreadsNeverShareABlock)
{
    // Each thread stamps its blocks with its own pattern and checks the stamp
    // before giving the block back; a block handed to two holders at once is
    // overwritten by the other and fails the check.
    constexpr int kThreads = 4;
    std::vector<std::thread> threads;
    std::vector<int> failures(kThreads, 0);
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([t, &failures] {
            std::mt19937 random(t);
            struct Held {
                unsigned char* block;
                int size;
                unsigned char stamp;
            };
            std::vector<Held> held;
            for (int i = 0; i < 40000; ++i) {
                if (held.size() < 64 && (held.empty() || random() % 2)) {
                    int size = random() % 64 == 0 ? 262145 + int(random() % 1000) : 1 + int(random() % 3000);
                    int got = 0;
                    auto* block = static_cast<unsigned char*>(bucketAlloc(size, &got));
                    auto stamp = static_cast<unsigned char>(t * 61 + i);
                    std::memset(block, stamp, got);
                    held.push_back({block, got, stamp});
                } else {
                    size_t k = random() % held.size();
                    Held h = held[k];
                    held[k] = held.back();
                    held.pop_back();
                    for (int b = 0; b < h.size; b += 97)
                        failures[t] += h.block[b] != h.stamp;
                    void* block = h.block;
                    bucketFree(h.size, &block);
                }
            }
            for (Held& h : held) {
                void* block = h.block;
                bucketFree(h.size, &block);
            }
        });
    }
    for (auto& thread : threads)
        thread.join();
    for (int t = 0; t < kThreads; ++t)
        EXPECT_EQ(failures[t], 0) << "thread " << t;
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
    EXPECT_TRUE(modulePoolIsPrivate());
    BucketMemoryPool* privatePool = moduleCurrentPool();
    for (void*& block : kept) {
        void* released = block;
        moduleFree(100, &released);
    }
    EXPECT_EQ(privatePool->buckets.data[24]->count, 3);

    // The host's pool, which the module keeps for good.
    auto* shared = new BucketMemoryPool(4, 8192, 262144);
    provider.add("IBucketMemoryPool", shared);
    for (int i = 4; i <= 601; ++i) {
        void* block = moduleAlloc(8, &got);
        moduleFree(got, &block);
    }
    EXPECT_TRUE(modulePoolIsPrivate()) << "the service is sought only after 601 counted allocations";
    EXPECT_EQ(moduleCurrentPool(), privatePool);

    int gotSmall = 0;
    void* block = moduleAlloc(8, &gotSmall);
    EXPECT_FALSE(modulePoolIsPrivate());
    EXPECT_EQ(moduleCurrentPool(), shared);
    EXPECT_EQ(shared->refCount(), 1u);
    ASSERT_NE(shared->buckets.data[24], nullptr);
    EXPECT_EQ(shared->buckets.data[24]->count, 3) << "the private free stacks move to the host's pool";

    // Blocks freed before the move are served by the shared pool.
    EXPECT_EQ(moduleAlloc(100, &got), kept[2]);
    moduleFree(gotSmall, &block);
    EXPECT_EQ(shared->buckets.data[1]->count, 1);
    moduleSetProvider(nullptr);
}
