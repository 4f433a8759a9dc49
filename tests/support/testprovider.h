// A real service provider for tests: services are put in by name, counts are
// atomic, and every call is counted so that tests can see what the code did.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <map>
#include <string>
#include <vector>

#include "core/serviceprovider.h"
#include "kel/hostservices.h"
#include "kel/iptr.h"

class TestServiceProvider : public IKelServiceProvider {
public:
    // Makes this the provider of the test module; the destructor takes it back.
    TestServiceProvider();
    ~TestServiceProvider() override;

    // Publishes `service` under `name`: a lookup stores the base that the
    // service gives for `name`. Takes no reference: the test owns the service.
    void add(const std::string& name, IKelUnknown* service);
    void remove(const std::string& name);

    int lookupService(const KelCString& name, void** out) override;
    int testValue() override { return testValueResult; }
    void addRefShared(int32_t* count) override;
    bool releaseShared(int32_t* count) override;

    void queryInterface(const char* name, void* out, bool flag) override;
    const char* className() override { return "TestServiceProvider"; }

    int testValueResult = 0;
    // When false, releaseShared never asks for destruction.
    bool allowDestroy = true;
    std::atomic<int> lookups{0};
    std::atomic<int> addRefs{0};
    std::atomic<int> releases{0};

private:
    std::map<std::string, IKelUnknown*> services_;
    IKelServiceProvider* previous_;
};

// Records each assertion as "expression @ file" and lets the code go on. The
// test owns it: its count starts at 1, so no release destroys it.
class AssertRecorder : public IKelAssertHandlerCB {
public:
    AssertRecorder() { count = 1; }
    int handleAssert(const char* expression, const char* file, int) override
    {
        expressions.push_back(std::string(expression) + " @ " + file);
        return 0;
    }
    void queryInterface(const char* name, void* out, bool) override
    {
        *static_cast<void**>(out) =
            kelSameName(name, "IKelAssertHandlerCB") ? static_cast<IKelAssertHandlerCB*>(this) : nullptr;
    }
    const char* className() override { return "AssertRecorder"; }
    std::vector<std::string> expressions;
};

// A unique temporary directory, removed with everything in it at the end.
class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::string& path() const { return path_; }
    // path() + "/" + name
    std::string file(const std::string& name) const;

private:
    std::string path_;
};

// exit(-1) as the OS reports it to a death test: status 255 on POSIX, -1 on
// Windows.
inline bool exitedWithMinusOne(int status)
{
    return testing::ExitedWithCode(255)(status) || testing::ExitedWithCode(-1)(status);
}
