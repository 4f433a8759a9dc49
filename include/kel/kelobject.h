// The root classes of the object model: KelObject, KelShared and IKelUnknown.
//
// Everything that crosses the border between the host and a component is an
// IKelUnknown: one reference count per object, a fixed table of slots, and
// queryInterface by a name in plain text. The slot order of IKelUnknown and the
// field of KelShared are shared with host code this library does not contain;
// never reorder them.
#pragma once

#include <cstdint>

class KelObject {
public:
    virtual ~KelObject() = default;
};

class KelShared : public KelObject {
public:
    int32_t count = 0;  // 0 after construction: the first holder brings it to 1
};

class IKelUnknown : public KelShared {
public:
    static constexpr char interfaceName[] = "IKelUnknown";

    // With a service provider the arithmetic lives in the host
    // (addRefShared/releaseShared); before setServiceProvider, or after the
    // provider is gone, the plain count serves.
    virtual void addRef();
    virtual void release();
    virtual uint32_t refCount();

    // With a name: sets *(void**)out to the base of this object that answers to
    // the name, or to null. The result is borrowed: no reference is added.
    // With a null name: out is a KelInterfaceNameList* to which the object adds
    // the names of its classes and interfaces. No class here looks at flag.
    virtual void queryInterface(const char* name, void* out, bool flag) = 0;
    virtual const char* className() = 0;

protected:
    IKelUnknown() = default;
    IKelUnknown(const IKelUnknown&) = delete;
    IKelUnknown& operator=(const IKelUnknown&) = delete;
};

// Borrowed: asks `object` for the interface T by its name; null when the object
// has no such interface (or is null). No reference is added.
template <class T>
T* kelQuery(IKelUnknown* object)
{
    void* out = nullptr;
    if (object)
        object->queryInterface(T::interfaceName, &out, false);
    return static_cast<T*>(out);
}

// True when `a` and `b` are the same text, byte for byte with the terminator.
bool kelSameName(const char* a, const char* b);
