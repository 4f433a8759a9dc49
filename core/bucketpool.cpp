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

// The current pool. Once shared it never changes again; while private it is
// read and switched under the section only (see bucketAlloc).
std::atomic<BucketMemoryPool*> currentPool{nullptr};
std::atomic<bool> privatePool{false};
int allocationCount = 0;  // guarded by the section

// An allocation past this many counted ones looks for the host's pool again.
constexpr int kLookupInterval = 600;

KelCriticalSection* section()
{
    if (!moduleSectionReady) {
        kelCriticalSectionInit(&moduleSection);
        moduleSectionReady = true;
    }
    return &moduleSection;
}

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

// The caller holds the section.
void switchToSharedPoolUnsafe()
{
    allocationCount = 0;
    BucketMemoryPool* shared = lookUpSharedPool();
    if (!shared)
        return;
    BucketMemoryPool* own = currentPool.load(std::memory_order_relaxed);
    if (shared != own) {
        own->mergeIntoUnsafe(shared);
        shared->addRef();
        currentPool.store(shared, std::memory_order_release);
    }
    privatePool.store(false, std::memory_order_release);
    if (shared != own)
        own->release();
}

// The first allocation of the module. The caller holds the section.
void chooseFirstPoolUnsafe()
{
    BucketMemoryPool* pool = lookUpSharedPool();
    if (!pool) {
        pool = new BucketMemoryPool(4, 8192, 262144);
        privatePool.store(true, std::memory_order_relaxed);
    }
    pool->addRef();
    currentPool.store(pool, std::memory_order_release);
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

void* BucketMemoryPool::allocateUnsafe(int size, int* gotSize)
{
    if (size < 0 || size > kBucketMaxSize)
        qtxMemoryExhausted(size, -4);
    BucketClass sizeClass = bucketClassOf(size, step, smallLimit, poolLimit);
    if (sizeClass.bucket < 0) {
        *gotSize = size;
        return newBlockUnsafe(size);
    }
    BucketStack* stack = buckets[sizeClass.bucket];
    if (stack) {
        for (int tries = stack->count; tries > 0; --tries) {
            BucketEntry entry = stack->pop();
            if (entry.block) {
                *gotSize = entry.blockSize;
                return entry.block;
            }
        }
    }
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
    pushUnsafe(sizeClass.bucket, sizeClass.blockSize, *block);
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
        pushUnsafe(sizeClass.bucket, sizeClass.blockSize, *block);
    *block = nullptr;
    return true;
}

void BucketMemoryPool::pushUnsafe(int bucket, int blockSize, void* block)
{
    BucketStack*& stack = buckets[bucket];
    if (!stack)
        stack = new BucketStack(9);
    stack->push({blockSize, block});
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
    if (!privatePool.load(std::memory_order_acquire)) {
        if (BucketMemoryPool* shared = currentPool.load(std::memory_order_acquire))
            return shared->allocate(size, gotSize);
    }
    // Private or not yet chosen: the pool may be switched, and the private
    // pool destroyed, by another thread, so it is used under the section.
    SectionLock lock;
    BucketMemoryPool* pool = currentPool.load(std::memory_order_relaxed);
    if (!pool) {
        chooseFirstPoolUnsafe();
        pool = currentPool.load(std::memory_order_relaxed);
    } else if (allocationCount > kLookupInterval && privatePool.load(std::memory_order_relaxed)) {
        switchToSharedPoolUnsafe();
        pool = currentPool.load(std::memory_order_relaxed);
    }
    if (!privatePool.load(std::memory_order_relaxed))
        return pool->allocate(size, gotSize);
    ++allocationCount;
    return pool->allocateUnsafe(size, gotSize);
}

void bucketFree(int size, void** block)
{
    if (!*block || size <= 0)
        return;
    if (!privatePool.load(std::memory_order_acquire)) {
        if (BucketMemoryPool* shared = currentPool.load(std::memory_order_acquire))
            shared->deallocate(size, block);
        else
            releaseThroughHeader(*block);
        return;
    }
    SectionLock lock;
    currentPool.load(std::memory_order_relaxed)->deallocateUnsafe(size, block);
}

BucketMemoryPool* bucketCurrentPool()
{
    return currentPool.load(std::memory_order_acquire);
}

bool bucketPoolIsPrivate()
{
    return privatePool.load(std::memory_order_acquire);
}
