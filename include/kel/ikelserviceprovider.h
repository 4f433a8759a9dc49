// IKelServiceProvider: the host's service provider, through which a module
// finds every service by name and counts every reference.
#pragma once

#include <cstdint>

#include "kel/kelobject.h"

class KelCString;

class IKelServiceProvider : public virtual IKelUnknown {
public:
    static constexpr char interfaceName[] = "IKelServiceProvider";

    // Stores the interface named `name` in *out (the base of the service that
    // answers to that name), or leaves *out untouched when there is none.
    virtual int lookupService(const KelCString& name, void** out) = 0;
    // A value of the host's; runTest uses its low byte.
    virtual int testValue() = 0;
    // The reference count arithmetic of every object once a provider exists.
    virtual void addRefShared(int32_t* count) = 0;
    // True when the object that owns `count` must be destroyed.
    virtual bool releaseShared(int32_t* count) = 0;
};
