// KelBaseComponent: the component object that EntryPoint hands to the host,
// and KelBaseComponentFact, which makes it.
//
// The object has no state of its own: the registry, the component identity
// and the static binary block are process-wide, so every component object
// made by repeated EntryPoint calls serves the same classes.
#pragma once

#include <cstdint>

#include "kel/kelcomponent.h"

class KelBaseComponent : public virtual IKelComponent, public virtual IKelCompInternal {
public:
    // IKelComponent
    void setServiceProvider(IKelServiceProvider* provider) override;
    void noOperation(uintptr_t, uintptr_t, uintptr_t) override {}
    uint32_t createClass(const KelID* id, IKelUnknown** out) override;
    const char* buildStamp() override;
    IKelClcBinary* clcBinary() override;

    // IKelCompInternal
    void noOperation() override {}
    void noOperation2() override {}
    const KelID* componentId() override;
    const char* componentName() override;
    uint32_t classCount() override;
    bool firstClass(KelID* out) override;
    bool nextClass(KelID* out) override;
    const char* classNameOf(const KelID* id) override;
    bool alwaysTrue() override { return true; }
    void runTest(IKelTestTarget* target) override;

    // IKelUnknown. A null name adds nothing: this class stays out of the name
    // lists.
    void queryInterface(const char* name, void* out, bool flag) override;
    const char* className() override { return "KelBaseComponent"; }
};

class KelBaseComponentFact : public IKelComponentFactory {
public:
    // A new KelBaseComponent with a count of 0.
    IKelComponent* createComponent() override;
};
