#include "tests/support/testprovider.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>

#include "kel/qtxcstring.h"

TestServiceProvider::TestServiceProvider() : previous_(kelServiceProvider())
{
    kelSetServiceProvider(this);
}

TestServiceProvider::~TestServiceProvider()
{
    kelSetServiceProvider(previous_);
}

void TestServiceProvider::add(const std::string& name, IKelUnknown* service)
{
    services_[name] = service;
}

void TestServiceProvider::remove(const std::string& name)
{
    services_.erase(name);
}

int TestServiceProvider::lookupService(const KelCString& name, void** out)
{
    ++lookups;
    const char* text = name.chars();
    auto found = services_.find(text ? text : "");
    if (found == services_.end())
        return 0;
    void* base = nullptr;
    found->second->queryInterface(found->first.c_str(), &base, false);
    if (!base)
        return 0;
    *out = base;
    return 1;
}

void TestServiceProvider::addRefShared(int32_t* count)
{
    ++addRefs;
    __atomic_add_fetch(count, 1, __ATOMIC_RELAXED);
}

bool TestServiceProvider::releaseShared(int32_t* count)
{
    ++releases;
    return __atomic_sub_fetch(count, 1, __ATOMIC_ACQ_REL) == 0 && allowDestroy;
}

void TestServiceProvider::queryInterface(const char* name, void* out, bool)
{
    void** result = static_cast<void**>(out);
    if (!name)
        return;
    *result = nullptr;
    if (kelSameName(name, "TestServiceProvider") || kelSameName(name, "IKelServiceProvider"))
        *result = static_cast<IKelServiceProvider*>(this);
    else if (kelSameName(name, "IKelUnknown"))
        *result = static_cast<IKelUnknown*>(this);
}

TempDir::TempDir()
{
    // create_directory tells a new directory from an existing one, so the
    // first free name is ours alone.
    std::random_device random;
    std::error_code error;
    for (int attempt = 0; attempt < 100 && path_.empty(); ++attempt) {
        char name[32];
        std::snprintf(name, sizeof name, "kel-test-%08x", unsigned(random()));
        std::filesystem::path candidate = std::filesystem::temp_directory_path() / name;
        if (std::filesystem::create_directory(candidate, error))
            path_ = candidate.string();
    }
}

TempDir::~TempDir()
{
    std::error_code ignored;
    if (!path_.empty())
        std::filesystem::remove_all(path_, ignored);
}

std::string TempDir::file(const std::string& name) const
{
    return path_ + "/" + name;
}
