// The two interfaces by which the host drives a loaded component.
//
// IKelComponent is what EntryPoint hands out; IKelCompInternal, on the same
// object, describes the component and its creatable classes. Slot orders are
// shared with the host: never reorder the operations.
#pragma once

#include <cstdint>

#include "kel/kelid.h"
#include "kel/kelobject.h"

class IKelServiceProvider;
class IKelClcBinary;

// What runTest calls for each registered test, with the test's first word.
class IKelTestTarget {
public:
    virtual void runRegisteredTest(void* test) = 0;
};

class IKelComponent : public virtual IKelUnknown {
public:
    static constexpr char interfaceName[] = "IKelComponent";

    // Stores the provider as the module's one provider, overwriting any
    // earlier one; from here on counts and lookups go through the host.
    virtual void setServiceProvider(IKelServiceProvider* provider) = 0;
    virtual void noOperation(uintptr_t a, uintptr_t b, uintptr_t c) = 0;
    // The instance kind (0 none, 1 a new object, 2 the shared one); *out is
    // written only when a class has the identity. No reference is added.
    virtual uint32_t createClass(const KelID* id, IKelUnknown** out) = 0;
    virtual const char* buildStamp() = 0;
    virtual IKelClcBinary* clcBinary() = 0;
};

class IKelCompInternal : public virtual IKelUnknown {
public:
    static constexpr char interfaceName[] = "IKelCompInternal";

    virtual void noOperation() = 0;
    virtual void noOperation2() = 0;
    virtual const KelID* componentId() = 0;
    virtual const char* componentName() = 0;
    virtual const char* buildStamp() = 0;
    virtual uint32_t classCount() = 0;
    // The enumeration of the creatable classes: one cursor for the whole
    // process, so one caller at a time.
    virtual bool firstClass(KelID* out) = 0;
    virtual bool nextClass(KelID* out) = 0;
    // Null for an identity that no class has.
    virtual const char* classNameOf(const KelID* id) = 0;
    virtual bool alwaysTrue() = 0;
    // With a target, runs the registered tests on it; with null, reports
    // through the host's error service (see KelBaseComponent).
    virtual void runTest(IKelTestTarget* target) = 0;
};

// Makes the component object; outside the reference-counted tree.
class IKelComponentFactory {
public:
    virtual ~IKelComponentFactory() = default;
    virtual IKelComponent* createComponent() = 0;
};
