// Block storage shared by the string classes: every buffer is a pointer and
// the capacity that bucketAlloc reported, and only a positive capacity is
// ever given back (see the table of storage states in kel/qtxcstring.h).
#pragma once

#include <cstdint>

#include "core/bucketpool.h"

namespace kel_text {

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
