// The bucket memory pool: block storage for strings and other small blocks.
//
// A freed block is not handed back to the heap while the pool lives: it goes
// on a free stack per size class (a bucket), and the next request of that
// class takes it again. One pool is meant to serve the whole process; the
// host publishes it as the service "IBucketMemoryPool". A module starts on a
// private pool of its own and moves its free blocks over to the host's pool
// once it finds the service.
//
// Block layout: every block carries one pointer-sized header word directly
// before the caller's first byte, naming the BucketMemoryAllocator of the
// module that took it from the heap, so that any module can release it:
//
//     [ BucketMemoryAllocator* ][ caller's bytes ... ]
//     ^ heap block (n + 8 bytes) ^ pointer given to the caller
//
// The header is written once, when the block comes from the heap, and stays
// while the block sits on a free stack and after it is reused.
//
// Thread safety: one re-entrant critical section per module guards the free
// stacks; bucketAlloc and bucketFree may be called from any thread.
#pragma once

#include "kel/ibucketmemorypool.h"
#include "kel/kelarray.h"

// The largest request: a block and its header word stay a positive 32-bit
// size. A larger or negative request can only come from a wrapped size
// computation, and ends in the orderly out-of-memory stop.
constexpr int kBucketMaxSize = 0x7FFFFFFF - static_cast<int>(sizeof(void*));

// The module-level entry: a block of at least `size` usable bytes, never null.
// *gotSize receives the usable size, which the caller keeps and hands back to
// bucketFree.
void* bucketAlloc(int size, int* gotSize);

// The module-level release. Does nothing when *block is null or size is not
// positive (a size of 0 marks a borrowed text, which is never released). The
// caller clears its own pointer and size afterwards.
void bucketFree(int size, void** block);

class BucketMemoryPool;

// Borrowed: this module's current pool, null before its first allocation.
BucketMemoryPool* bucketCurrentPool();
// True while the current pool is this module's private one.
bool bucketPoolIsPrivate();

// One static instance per module: the owner named in every block header that
// the module took from the heap. Releasing through it takes the module's own
// critical section and its own heap.
class BucketMemoryAllocator {
public:
    virtual ~BucketMemoryAllocator();
    // `base` is the address of the header word, i.e. the heap block.
    virtual void freeBlock(void* base);
};

// The size class of a request: which bucket, and how many usable bytes its
// blocks hold. bucket is -1 for a plain allocation (size above poolLimit).
struct BucketClass {
    int bucket;
    int blockSize;
};

// Fine classes of `step` bytes keep the waste of small blocks (most are short
// strings) under one step; above smallLimit the classes double, so five stacks
// reach poolLimit at the price of up to half a block of slack. A request of 0
// shares the first class, as (0 - 1) / step truncates to 0. Inline because it
// runs on every allocation and release; a power-of-two step (the usual 4)
// divides by shifting.
inline BucketClass bucketClassOf(int size, int step, int smallLimit, int poolLimit)
{
    if (size > poolLimit)
        return {-1, size};
    if (size <= smallLimit) {
        int index;
        if (size <= 0)
            index = 0;
        else if ((step & (step - 1)) == 0)
            index = (size - 1) >> __builtin_ctz(static_cast<unsigned>(step));
        else
            index = (size - 1) / step;
        return {index, (index + 1) * step};
    }
    int index = (smallLimit - 1) / step;
    int blockSize = smallLimit;
    while (blockSize < size) {
        if (blockSize > 0x3FFFFFFF)  // a pool limit near 2 GiB: no doubled class fits
            return {-1, size};
        blockSize *= 2;
        ++index;
    }
    return {index, blockSize};
}

// One free block on a stack: the bucket's block size and the caller's pointer.
struct BucketEntry {
    int blockSize;
    void* block;
};
using BucketStack = KelStackArray<BucketEntry>;

class BucketMemoryPool : public virtual IBucketMemoryPool {
public:
    static constexpr char interfaceName[] = "BucketMemoryPool";

    // A new pool starts at count 0. The usual limits are 4, 8192 and 262144.
    BucketMemoryPool(int step, int smallLimit, int poolLimit);
    ~BucketMemoryPool() override;

    void queryInterface(const char* name, void* out, bool flag) override;
    const char* className() override { return "BucketMemoryPool"; }

    // The pool's own table; its order is shared by every module.
    // Gives every free block back through its header and drops all stacks.
    virtual bool purge();
    virtual void* allocate(int size, int* gotSize);
    // False (and nothing happens) when *block is null or size is 0.
    virtual bool deallocate(int size, void** block);
    // Switching off makes every later request and release plain; switching
    // on restores the old limit.
    virtual bool setEnabled(bool enabled);

    // The bodies of allocate and deallocate, and the merge of this pool's free
    // stacks into `target`; the caller holds this module's critical section.
    // The first two are defined in bucketpool.cpp, the only place that calls
    // them, inline: they are the steady state of every pool call.
    inline void* allocateUnsafe(int size, int* gotSize);
    inline bool deallocateUnsafe(int size, void** block);
    void mergeIntoUnsafe(BucketMemoryPool* target);

    KelArray<BucketStack*> buckets;  // one stack per bucket index, null until first use
    int step;                        // width of the fine size classes
    int smallLimit;                  // largest size in a fine class
    int poolLimit;                   // largest size kept; negative while switched off

private:
    // The roads that reach the heap or grow an array, kept out of line so that
    // the pop and the push stay short.
    __attribute__((noinline)) void* takeFromHeapUnsafe(BucketClass sizeClass, int* gotSize);
    __attribute__((noinline)) void pushGrowingUnsafe(BucketClass sizeClass, void* block);
    inline void pushUnsafe(BucketClass sizeClass, void* block);
};

// The header word of a block handed out by any pool.
inline BucketMemoryAllocator** bucketHeaderOf(void* block)
{
    return static_cast<BucketMemoryAllocator**>(block) - 1;
}
