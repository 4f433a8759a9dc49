// KelObjectArray<T>: a growing array of elements with constructors, filled
// from index 1 so that index 0 stays empty.
//
// It is the counterpart of KelStackArray for elements that are not plain
// (strings, name entries). The three fields are laid out as the host expects;
// the elements are made with the array, default-constructed, and grow by the
// same doubling rule as every array of the foundation.
#pragma once

#include <cstdint>
#include <new>

#include "kel/kelarray.h"

template <class T>
class KelObjectArray {
public:
    int32_t size = 0;    // elements allocated
    T* data = nullptr;
    int32_t count = 0;   // index of the last element in use; 0 when empty

    // Room for `n` elements besides the unused index 0.
    explicit KelObjectArray(int32_t n = 0) : size(n + 1), data(make(n + 1)) {}
    KelObjectArray(const KelObjectArray& other)
        : size(other.size), data(make(other.size)), count(other.count)
    {
        for (int32_t i = 0; i < size; ++i)
            data[i] = other.data[i];
    }
    KelObjectArray& operator=(const KelObjectArray& other)
    {
        if (this != &other) {
            KelObjectArray copy(other);
            swap(copy);
        }
        return *this;
    }
    ~KelObjectArray() { delete[] data; }

    T& operator[](int32_t index) { return data[index]; }
    const T& operator[](int32_t index) const { return data[index]; }

    void push(const T& value)
    {
        ++count;
        if (count >= size)
            grow(count + 1);
        data[count] = value;
    }
    // The element at `count`; the array grows first when it lies outside.
    T& top()
    {
        if (count >= size)
            grow(count + 1);
        return data[count];
    }
    // Copies the last element into `out` and drops it from the count.
    void pop(T& out)
    {
        out = data[count];
        --count;
    }

    // Makes room for `need` elements by doubling; a `newSize` of -1 gives
    // exactly `need`, which may be fewer than there are now. The count stays.
    void grow(int32_t need, int32_t newSize = 0)
    {
        if (newSize == -1)
            newSize = need;
        else
            newSize = qtxGrowSize(size < 1 ? 1 : size, need);
        if (newSize == size)
            return;
        T* fresh = make(newSize);
        int32_t keep = newSize < size ? newSize : size;
        for (int32_t i = 0; i < keep; ++i)
            fresh[i] = data[i];
        delete[] data;
        data = fresh;
        size = newSize;
    }

private:
    // Elements made on the heap; a refusal ends in the orderly stop, as every
    // allocation of the foundation does, so no exception leaves a load.
    static T* make(int32_t n)
    {
        T* made = new (std::nothrow) T[n];
        if (!made)
            qtxMemoryExhausted(static_cast<long long>(n) * static_cast<long long>(sizeof(T)), -4);
        return made;
    }

    void swap(KelObjectArray& other)
    {
        T* d = data;
        int32_t s = size, c = count;
        data = other.data;
        size = other.size;
        count = other.count;
        other.data = d;
        other.size = s;
        other.count = c;
    }
};
