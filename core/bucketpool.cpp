// The bucket pool, its per-module allocator and the module-level entries.
#include "core/bucketpool.h"

#include <atomic>
#include <new>

#include "kel/interfacenamelist.h"
#include "kel/iptr.h"

namespace {

// A static that is never destroyed: blocks may still be released by other
// statics' clean-ups at process end, through the allocator and the section.
template <class T>
union Immortal {
    constexpr Immortal() : value() {}
    ~Immortal() {}
    T value;
};

// Constant-initialised, so it is usable from static initialisers of any
// translation unit before this one's dynamic initialisation has run.
Immortal<BucketMemoryAllocator> moduleAllocator;

KelCriticalSection moduleSection;
bool moduleSectionReady = false;  // a plain flag: the first use is during module loading

// The current pool is one of two. The private pool is this module's own and
// may be merged away and destroyed by another thread, so it is read and
// switched under the section only. Once the module has found the host's pool
// it keeps it for good: from then on sharedPool is set, never changes, and
// is read without the section (the pool's own calls take the section).
BucketMemoryPool* privatePool = nullptr;  // guarded by the section
std::atomic<BucketMemoryPool*> sharedPool{nullptr};

// An allocation past this many counted ones looks for the host's pool again.
constexpr int kLookupInterval = 600;
// Allocations from the private pool since the last look for the host's;
// guarded by the section. It starts past the interval so that the first
// allocation of the module chooses its pool on the same road.
int allocationCount = kLookupInterval + 1;

KelCriticalSection* section()
{
    if (!moduleSectionReady) {
        kelCriticalSectionInit(&moduleSection);
        moduleSectionReady = true;
    }
    return &moduleSection;
}

// Module loading runs on one thread. Readying the section then, at the
// latest, means that no two threads can ever both find the flag clear and
// initialise the section over each other's hold, even in a module whose first
// allocation comes from a thread it started.
const bool sectionReadyAtLoad = section() != nullptr;

class SectionLock {
public:
    SectionLock() : section_(section()) { kelCriticalSectionEnter(section_); }
    ~SectionLock() { kelCriticalSectionLeave(section_); }
    SectionLock(const SectionLock&) = delete;
    SectionLock& operator=(const SectionLock&) = delete;

private:
    KelCriticalSection* section_;
};

// Takes `blockSize` caller bytes plus the header from the heap.
void* newBlockUnsafe(int blockSize)
{
    void* base = nullptr;
    qtxMalloc(&base, 1, blockSize + static_cast<int>(sizeof(void*)));
    auto** header = static_cast<BucketMemoryAllocator**>(base);
    *header = &moduleAllocator.value;
    return header + 1;
}

void releaseThroughHeader(void* block)
{
    BucketMemoryAllocator** header = bucketHeaderOf(block);
    (*header)->freeBlock(header);
}

// Borrowed: the host's pool object, or null when the host publishes none.
BucketMemoryPool* lookUpSharedPool()
{
    auto* service = static_cast<IBucketMemoryPool*>(kelLookupService(IBucketMemoryPool::interfaceName));
    return service ? kelQuery<BucketMemoryPool>(service) : nullptr;
}

// The first allocation of the module, every allocation past the lookup
// interval while the pool is private, and a thread that saw no shared pool
// before another one moved to it. Chooses or switches the current pool and
// gives the shared pool, or null when the private pool stays current. The
// caller holds the section.
__attribute__((noinline)) BucketMemoryPool* settleCurrentPoolUnsafe()
{
    if (BucketMemoryPool* shared = sharedPool.load(std::memory_order_relaxed))
        return shared;
    if (privatePool && allocationCount <= kLookupInterval)
        return nullptr;
    allocationCount = 0;
    BucketMemoryPool* found = lookUpSharedPool();
    if (!found) {
        if (!privatePool) {
            privatePool = new BucketMemoryPool(4, 8192, 262144);
            privatePool->addRef();
        }
        return nullptr;
    }
    found->addRef();
    BucketMemoryPool* own = privatePool;
    privatePool = nullptr;
    if (own && own != found)
        own->mergeIntoUnsafe(found);
    sharedPool.store(found, std::memory_order_release);
    if (own)
        own->release();
    return found;
}

}  // namespace

BucketMemoryAllocator::~BucketMemoryAllocator() = default;

void BucketMemoryAllocator::freeBlock(void* base)
{
    SectionLock lock;
    kelHeapFree(base);
}

BucketMemoryPool::BucketMemoryPool(int step, int smallLimit, int poolLimit)
    : buckets(2050), step(step), smallLimit(smallLimit), poolLimit(poolLimit)
{
}

BucketMemoryPool::~BucketMemoryPool()
{
    purge();
}

void BucketMemoryPool::queryInterface(const char* name, void* out, bool flag)
{
    if (!name) {
        KelInterfaceNameList* list = kelNameListOf(out);
        addName("BucketMemoryPool", 1, list);
        addName(IBucketMemoryPool::interfaceName, 0, list);
        return;
    }
    kelSetOut(out, nullptr);
    if (kelSameName(name, "BucketMemoryPool"))
        kelSetOut(out, this);
    else if (kelSameName(name, IKelUnknown::interfaceName))
        kelSetOut(out, static_cast<IKelUnknown*>(this));
    else if (kelSameName(name, IBucketMemoryPool::interfaceName))
        kelSetOut(out, static_cast<IBucketMemoryPool*>(this));
}

bool BucketMemoryPool::purge()
{
    for (int i = 0; i < buckets.size; ++i) {
        BucketStack* stack = buckets.data[i];
        if (!stack)
            continue;
        for (int k = 1; k <= stack->count; ++k) {
            if (stack->data[k].block) {
                releaseThroughHeader(stack->data[k].block);
                stack->data[k].block = nullptr;
            }
        }
        delete stack;
        buckets.data[i] = nullptr;
    }
    return true;
}

void* BucketMemoryPool::allocate(int size, int* gotSize)
{
    SectionLock lock;
    return allocateUnsafe(size, gotSize);
}

// Inline in allocate and bucketAlloc: a pop from a free stack is the steady
// state of a string's life. Whatever needs the heap is takeFromHeapUnsafe.
void* BucketMemoryPool::allocateUnsafe(int size, int* gotSize)
{
    if (static_cast<unsigned>(size) > static_cast<unsigned>(kBucketMaxSize))
        qtxMemoryExhausted(size, -4);
    BucketClass sizeClass = bucketClassOf(size, step, smallLimit, poolLimit);
    // A plain request (bucket -1) fails this test as a huge unsigned index.
    if (static_cast<unsigned>(sizeClass.bucket) < static_cast<unsigned>(buckets.size)) {
        if (BucketStack* stack = buckets.data[sizeClass.bucket]) {
            while (stack->count > 0) {
                BucketEntry entry = stack->pop();
                if (entry.block) {
                    *gotSize = entry.blockSize;
                    return entry.block;
                }
            }
        }
    }
    return takeFromHeapUnsafe(sizeClass, gotSize);
}

void* BucketMemoryPool::takeFromHeapUnsafe(BucketClass sizeClass, int* gotSize)
{
    if (sizeClass.bucket >= buckets.size)
        buckets.grow(sizeClass.bucket + 1);  // every bucket index is a valid entry once used
    *gotSize = sizeClass.blockSize;
    return newBlockUnsafe(sizeClass.blockSize);
}

bool BucketMemoryPool::deallocate(int size, void** block)
{
    if (!*block || size == 0)
        return false;
    BucketClass sizeClass = bucketClassOf(size, step, smallLimit, poolLimit);
    if (sizeClass.bucket < 0) {
        releaseThroughHeader(*block);
        *block = nullptr;
        return true;
    }
    SectionLock lock;
    pushUnsafe(sizeClass, *block);
    *block = nullptr;
    return true;
}

bool BucketMemoryPool::deallocateUnsafe(int size, void** block)
{
    if (!*block || size == 0)
        return false;
    BucketClass sizeClass = bucketClassOf(size, step, smallLimit, poolLimit);
    if (sizeClass.bucket < 0)
        releaseThroughHeader(*block);
    else
        pushUnsafe(sizeClass, *block);
    *block = nullptr;
    return true;
}

void BucketMemoryPool::pushUnsafe(BucketClass sizeClass, void* block)
{
    BucketStack* stack = sizeClass.bucket < buckets.size ? buckets.data[sizeClass.bucket] : nullptr;
    if (stack && stack->count + 1 < stack->size)
        stack->data[++stack->count] = {sizeClass.blockSize, block};
    else
        pushGrowingUnsafe(sizeClass, block);
}

void BucketMemoryPool::pushGrowingUnsafe(BucketClass sizeClass, void* block)
{
    BucketStack*& stack = buckets[sizeClass.bucket];
    if (!stack)
        stack = new BucketStack(9);
    stack->push({sizeClass.blockSize, block});
}

bool BucketMemoryPool::setEnabled(bool enabled)
{
    if (enabled == (poolLimit <= 0))
        poolLimit = -poolLimit;
    return true;
}

void BucketMemoryPool::mergeIntoUnsafe(BucketMemoryPool* target)
{
    for (int i = 0; i < buckets.size; ++i) {
        BucketStack* stack = buckets.data[i];
        if (!stack)
            continue;
        BucketStack*& into = target->buckets[i];
        if (!into) {
            into = stack;
        } else {
            for (int k = 1; k <= stack->count; ++k)
                into->push(stack->data[k]);
            delete stack;
        }
        buckets.data[i] = nullptr;
    }
}

void* bucketAlloc(int size, int* gotSize)
{
    if (BucketMemoryPool* shared = sharedPool.load(std::memory_order_acquire))
        return shared->allocate(size, gotSize);
    SectionLock lock;
    if (!privatePool || allocationCount > kLookupInterval) {
        if (BucketMemoryPool* shared = settleCurrentPoolUnsafe())
            return shared->allocate(size, gotSize);
    }
    ++allocationCount;
    return privatePool->allocateUnsafe(size, gotSize);
}

void bucketFree(int size, void** block)
{
    if (!*block || size <= 0)
        return;
    if (BucketMemoryPool* shared = sharedPool.load(std::memory_order_acquire)) {
        shared->deallocate(size, block);
        return;
    }
    {
        SectionLock lock;
        if (privatePool) {
            privatePool->deallocateUnsafe(size, block);
            return;
        }
    }
    // No pool yet, or the module moved to the host's pool meanwhile.
    if (BucketMemoryPool* shared = sharedPool.load(std::memory_order_acquire))
        shared->deallocate(size, block);
    else
        releaseThroughHeader(*block);
}

BucketMemoryPool* bucketCurrentPool()
{
    if (BucketMemoryPool* shared = sharedPool.load(std::memory_order_acquire))
        return shared;
    SectionLock lock;
    return privatePool ? privatePool : sharedPool.load(std::memory_order_relaxed);
}

bool bucketPoolIsPrivate()
{
    SectionLock lock;
    return privatePool != nullptr;
}
