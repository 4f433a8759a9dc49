// The reference host's service provider.
#include "host/hostprovider.h"

#include "host/hostquery.h"
#include "kel/qtxcstring.h"

HostServiceProvider::~HostServiceProvider() = default;

void HostServiceProvider::addService(const std::string& name, IKelUnknown* service)
{
    services_[name] = service;
}

void HostServiceProvider::removeService(const std::string& name)
{
    services_.erase(name);
}

IKelUnknown* HostServiceProvider::service(const std::string& name) const
{
    auto found = services_.find(name);
    return found == services_.end() ? nullptr : found->second.get();
}

int HostServiceProvider::lookupService(const KelCString& name, void** out)
{
    const char* text = name.chars();
    if (!text)
        return 0;
    auto found = services_.find(text);
    if (found == services_.end())
        return 0;
    void* base = nullptr;
    found->second->queryInterface(text, &base, false);
    if (!base)
        return 0;
    *out = base;
    return 1;
}

// Counts are shared by every module and thread of the process, so the
// arithmetic is atomic.
void HostServiceProvider::addRefShared(int32_t* count)
{
    __atomic_add_fetch(count, 1, __ATOMIC_RELAXED);
}

bool HostServiceProvider::releaseShared(int32_t* count)
{
    return __atomic_sub_fetch(count, 1, __ATOMIC_ACQ_REL) == 0;
}

void HostServiceProvider::queryInterface(const char* name, void* out, bool flag)
{
    hostQueryInterface<IKelServiceProvider>(this, "HostServiceProvider", name, out);
}
