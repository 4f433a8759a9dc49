// IPtr and SPtr: the smart pointers of the object model.
//
// IPtr<T> holds an interface pointer and the same object's IKelUnknown base;
// all reference handling goes through the latter. SPtr<T> finds its object by
// the interface's name through the service provider and stays null when the
// host has no such service. Both are plain single-thread objects.
#pragma once

#include <type_traits>

#include "kel/kelobject.h"

template <class T, class U = IKelUnknown>
class IPtr {
    static_assert(std::is_base_of_v<IKelUnknown, T>, "IPtr holds interfaces of the object model only");

public:
    T* pointer = nullptr;
    U* unknown = nullptr;  // null exactly when pointer is null

    IPtr() = default;
    // Adds a reference.
    explicit IPtr(T* object) { assign(object); }
    // Adds a reference.
    IPtr(const IPtr& other) { assign(other.pointer); }
    // Takes over the other's reference; the count is unchanged.
    IPtr(IPtr&& other) noexcept : pointer(other.pointer), unknown(other.unknown)
    {
        other.pointer = nullptr;
        other.unknown = nullptr;
    }
    // Drops the held reference.
    virtual ~IPtr() { reset(); }

    // Adds a reference on the new object first, then drops the old one, so
    // that assigning the held object leaves its count unchanged.
    IPtr& operator=(T* object)
    {
        assign(object);
        return *this;
    }
    IPtr& operator=(const IPtr& other)
    {
        assign(other.pointer);
        return *this;
    }
    IPtr& operator=(IPtr&& other) noexcept
    {
        if (this != &other) {
            reset();
            pointer = other.pointer;
            unknown = other.unknown;
            other.pointer = nullptr;
            other.unknown = nullptr;
        }
        return *this;
    }

    // Drops the held reference, if any, and leaves the pointer null.
    void reset()
    {
        U* old = unknown;
        pointer = nullptr;
        unknown = nullptr;
        if (old)
            old->release();
    }

    T* operator->() const { return pointer; }
    T& operator*() const { return *pointer; }
    T* get() const { return pointer; }
    explicit operator bool() const { return pointer != nullptr; }

private:
    void assign(T* object)
    {
        if (object)
            static_cast<U*>(object)->addRef();
        if (unknown) {
            U* old = unknown;
            pointer = nullptr;
            unknown = nullptr;
            old->release();
        }
        pointer = object;
        unknown = object ? static_cast<U*>(object) : nullptr;
    }
};

// Borrowed: the service's interface pointer as the provider gives it, or null
// when there is no provider or no such service. What the lookup itself does to
// the count is the host's affair.
void* kelLookupService(const char* name);

template <class T, class U = IKelUnknown>
class SPtr : public IPtr<T, U> {
public:
    // Resolves at once.
    SPtr() { resolve(); }
    SPtr(const SPtr&) = delete;
    SPtr& operator=(const SPtr&) = delete;

    // Drops the held reference, looks the service up by T's name and adds one
    // reference of its own on what was found.
    void resolve()
    {
        this->reset();
        this->pointer = static_cast<T*>(kelLookupService(T::interfaceName));
        if (this->pointer) {
            this->unknown = static_cast<U*>(this->pointer);
            this->unknown->addRef();
        }
    }
};
