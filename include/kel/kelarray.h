// Guarded allocation of element blocks, and the plain growing arrays built on
// it, whose layout a host shares (the chunk classes hold them).
//
// Every size here is a count of elements of `elementSize` bytes; the byte size
// is the 32-bit product, which callers keep below 2 GiB. A request for a
// non-empty block never comes back empty: when the heap refuses, the host's
// memory manager is asked to give pages up, a grown block settles for a
// smaller size, and as a last resort the old contents are parked in a
// temporary file so that the old and the new block need not coexist. When all
// of that fails the process writes "memory.log", shows the out-of-memory
// message and ends with exit(-1) (see core/qtxrealloc.h).
//
// Blocks from here go back with the runtime heap's free (kelHeapFree); there is
// no guarded free.
#pragma once

#include <cstring>
#include <type_traits>

#include "platform/platform.h"

// Allocates elementSize * count bytes, uninitialised, into *block. Gives
// count; a byte size of 0 counts as success whatever the heap gave.
int qtxMalloc(void** block, int elementSize, int count);

// Resizes *block from curSize to a size between minNewSize and maxNewSize
// (-1: minNewSize) and gives the size it holds afterwards. A block that grew
// reads as zero from curSize up to the result, except on the road where an
// empty block is freshly allocated with exactly minNewSize elements.
int qtxRealloc(void** block, int elementSize, int curSize, int minNewSize, int maxNewSize = -1);

// The doubling rule of every growing array: size when it covers need,
// otherwise max(size, 1) doubled until it does, or INT_MAX where doubling
// would pass it.
int qtxGrowSize(int size, int need);

// Ends the process in the orderly way: memory report naming `attemptedBytes`,
// the out-of-memory message for `code` (-1..-4), exit(-1).
[[noreturn]] void qtxMemoryExhausted(long long attemptedBytes, int code);

// A growing array of plain elements (no constructors, no destructors run).
// Layout: the number of allocated elements, then the block.
template <class T>
class KelArray {
    static_assert(std::is_trivially_copyable_v<T>, "KelArray holds plain elements only");

public:
    int size = 0;
    T* data = nullptr;

    KelArray() = default;
    // Allocates `initialSize` elements and zeroes them all.
    explicit KelArray(int initialSize) : size(initialSize)
    {
        qtxMalloc(reinterpret_cast<void**>(&data), static_cast<int>(sizeof(T)), initialSize);
        if (data && initialSize > 0)
            std::memset(static_cast<void*>(data), 0, sizeof(T) * static_cast<size_t>(initialSize));
    }
    ~KelArray() { kelHeapFree(data); }
    KelArray(const KelArray&) = delete;
    KelArray& operator=(const KelArray&) = delete;

    // Grows the array first when index i lies beyond it; a short heap may
    // reduce the doubling but never below i + 1 elements.
    T& operator[](int i)
    {
        if (i >= size)
            grow(i + 1);
        return data[i];
    }

    void grow(int need)
    {
        size = qtxRealloc(reinterpret_cast<void**>(&data), static_cast<int>(sizeof(T)), size, need,
                          qtxGrowSize(size, need));
    }
};

// A KelArray used as a stack from index 1: index 0 stays empty, so a stack
// made for eight entries has a size of 9.
template <class T>
class KelStackArray : public KelArray<T> {
public:
    int count = 0;

    KelStackArray() = default;
    explicit KelStackArray(int initialSize) : KelArray<T>(initialSize) {}

    void push(const T& value)
    {
        ++count;
        (*this)[count] = value;
    }
    // The caller checks count > 0 first.
    T pop() { return this->data[count--]; }
};
