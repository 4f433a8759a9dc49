// Block storage shared by the string classes: every buffer is a pointer and
// the capacity that bucketAlloc reported, and only a positive capacity is
// ever given back (see the table of storage states in kel/qtxcstring.h).
//
// Every block size is computed here in 64 bits and checked: a text too long
// for the pool's signed 32-bit sizes ends in the orderly out-of-memory stop,
// as a refused allocation does, and never in a wrapped size and a block too
// small for what is copied into it. Callers that take text from outside
// (scripts, files) refuse what exceeds the classes' maxLength first.
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/bucketpool.h"
#include "core/qtxrealloc.h"
#include "kel/qtxcstring.h"

static_assert(kelMaxTextBytes <= kBucketMaxSize, "a string's largest block must fit the pool");

namespace kel_text {

// The bytes of `count` elements of `elementBytes` each and `extra` more.
inline int32_t blockBytes(int64_t count, int64_t elementBytes, int64_t extra = 0)
{
    const int64_t bytes = count * elementBytes + extra;
    if (count < 0 || bytes > kelMaxTextBytes)
        qtxMemoryExhausted(bytes, -4);
    return static_cast<int32_t>(bytes);
}

// A measured length as the classes' signed 32-bit count.
inline int32_t lengthOf(size_t length)
{
    if (length > static_cast<size_t>(kelMaxTextBytes))
        qtxMemoryExhausted(static_cast<long long>(length), -4);
    return static_cast<int32_t>(length);
}

// A block of at least `bytes` bytes; *capacity receives its usable size.
template <class T>
T* allocateBlock(int32_t bytes, int32_t* capacity)
{
    int got = 0;
    T* block = static_cast<T*>(bucketAlloc(bytes, &got));
    *capacity = got;
    return block;
}

// Gives up an owned block and leaves the buffer empty; a borrowed pointer
// (capacity 0) is only forgotten.
template <class T>
void giveUp(T*& pointer, int32_t& capacity)
{
    if (capacity > 0) {
        void* block = const_cast<void*>(static_cast<const void*>(pointer));
        bucketFree(capacity, &block);
    }
    pointer = nullptr;
    capacity = 0;
}

}  // namespace kel_text
