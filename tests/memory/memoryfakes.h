// Fakes for the memory tests: host services that record what the code asked
// of them, and a scripted heap and file layer behind kelSyscalls.
#pragma once

#include <gtest/gtest.h>

#include <climits>
#include <functional>
#include <ios>
#include <map>
#include <string>
#include <vector>

#include "kel/hostservices.h"
#include "kel/iptr.h"
#include "kel/kelwidestring.h"
#include "kel/qtxcstring.h"
#include "platform/platform.h"
#include "tests/support/testprovider.h"

inline KelWideString wide(const char16_t* units)
{
    KelWideString text;
    text.assign(units);
    return text;
}

inline std::u16string units(const KelWideString& text)
{
    return text.chars();
}

// A service that answers to its interface's name and to "IKelUnknown". The
// test owns it: the count starts at 1, so the code's references never bring
// it to 0.
template <class I>
class FakeService : public I {
public:
    FakeService() { this->count = 1; }
    void queryInterface(const char* name, void* out, bool) override
    {
        void** result = static_cast<void**>(out);
        if (!name)
            return;
        *result = nullptr;
        if (kelSameName(name, I::interfaceName))
            *result = static_cast<I*>(this);
        else if (kelSameName(name, IKelUnknown::interfaceName))
            *result = static_cast<IKelUnknown*>(this);
    }
    const char* className() override { return I::interfaceName; }
};

class FakeDataStore : public FakeService<IDataStore> {
public:
    void declareAppStateGroup(const char*) override {}
    void declareIntAppState(const char*, int, int, int, int) override {}
    void declareStringAppState(const char*, int, const KelWideString&, int) override {}
    int getBool(const char* key, int defaultValue) override { return bools.count(key) ? bools[key] : defaultValue; }
    const KelWideString& getString(const char* key, int) override { return strings[key]; }

    std::map<std::string, int> bools;
    std::map<std::string, KelWideString> strings;
};

// The host's memory manager; releasePage asks `answer` with the number of the
// call, counting from 1.
class FakeManager : public FakeService<KelMM::IKelMManager> {
public:
    bool releasePage() override { ++asked; return answer && answer(asked); }
    int coreLimit() override { return figures[1]; }
    int swapLimit() override { return figures[3]; }
    int swapNow() override { return figures[2]; }
    int coreNow() override { return figures[0]; }

    std::function<bool(int)> answer;
    int asked = 0;
    int figures[4] = {0, 0, 0, 0};  // core now, core limit, swap now, swap limit
};

class FakeMemChecker : public FakeService<IMemChecker> {
public:
    bool isActive() override { return active; }
    int getMemoryStatus(long long* freePhysical, long long* totalPhysical, long long* freeSwap, long long* totalSwap,
                        int unit) override
    {
        lastUnit = unit;
        *freePhysical = figures[0], *totalPhysical = figures[1], *freeSwap = figures[2], *totalSwap = figures[3];
        return result;
    }

    bool active = true;
    long long figures[4] = {1000, 2000, 300, 400};
    int result = 0;
    int lastUnit = 0;
};

// The process keeps the first manager and memory checker it finds, so the
// tests share one of each, published before the first shortage and leaked on
// purpose. Tests change their answers, never the objects.
FakeManager& processManager();
FakeMemChecker& processMemChecker();

// Scripted heap and file calls. Sizes from a limit up are refused; the file
// faults are one-shot and hit the next call, whatever its file. Every call is
// recorded; the destructor restores the real calls.
class ScriptedSyscalls {
public:
    ScriptedSyscalls();
    ~ScriptedSyscalls() { kelRestoreSyscalls(); }

    static inline size_t mallocRefuseFrom = SIZE_MAX;
    static inline size_t reallocRefuseFrom = SIZE_MAX;
    static inline std::vector<size_t> mallocSizes;
    static inline std::vector<size_t> reallocSizes;
    static inline bool refuseOpen = false;
    // A short write reports `writeShortBy` bytes fewer and writes nothing.
    static inline long long writeShortBy = 0;
    static inline bool refuseSeek = false;
    struct Open {
        std::string path;
        int flags, permissions;
    };
    static inline std::vector<Open> opens;
    static inline std::vector<size_t> writeSizes;
    // Each out-of-memory message as "caption: message".
    static inline std::vector<std::u16string> messages;
    static inline KelSyscalls real{};
};

// A service provider with the data store that the memory code reads: logs and
// temporary directories.
class MemoryHost {
public:
    explicit MemoryHost(const std::string& directory);
    TestServiceProvider provider;
    FakeDataStore store;
};

// A directory whose name depends only on `name`, the running test and the
// working directory, so that the child of a death test finds the one its
// parent will read, and tests run side by side never share one. Emptied on
// construction.
std::string fixedDirectory(const std::string& name);
// The whole file; std::ios::in reads it in the platform's text mode, the way
// a text stream wrote it (CR LF on Windows).
std::string readFile(const std::string& path, std::ios::openmode mode = std::ios::binary);

