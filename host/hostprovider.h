// The reference host's service provider: services by name, and the
// reference count arithmetic of every object once a component has it.
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "core/serviceprovider.h"
#include "kel/iptr.h"

class HostServiceProvider : public IKelServiceProvider {
public:
    HostServiceProvider() = default;
    ~HostServiceProvider() override;

    // Publishes `service` under `name`, replacing any earlier one. The
    // provider holds one reference. A lookup asks the service for the
    // interface named `name`, so the name must be one the service answers to.
    void addService(const std::string& name, IKelUnknown* service);
    void removeService(const std::string& name);
    // Borrowed: the object published under `name`, or null.
    IKelUnknown* service(const std::string& name) const;

    // Stores the service's base for `name` in *out; 1 when found, else 0 with
    // *out untouched.
    int lookupService(const KelCString& name, void** out) override;
    int testValue() override { return testValue_; }
    void addRefShared(int32_t* count) override;
    bool releaseShared(int32_t* count) override;

    void queryInterface(const char* name, void* out, bool flag) override;
    const char* className() override { return "HostServiceProvider"; }

    void setTestValue(int value) { testValue_ = value; }

private:
    std::map<std::string, IPtr<IKelUnknown>> services_;
    int testValue_ = 'K';
};
