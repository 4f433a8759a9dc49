// The shared fakes of the memory tests.
#include "tests/memory/memoryfakes.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <utility>

#include "core/qtxrealloc.h"
#include "memory/memoryreport.h"

ScriptedSyscalls::ScriptedSyscalls()
{
    kelRestoreSyscalls();
    real = kelSyscalls;
    mallocRefuseFrom = reallocRefuseFrom = SIZE_MAX;
    refuseOpen = refuseSeek = false;
    writeShortBy = 0;
    for (auto* sizes : {&mallocSizes, &reallocSizes, &writeSizes})
        sizes->clear();
    opens.clear();
    messages.clear();
    kelSyscalls.malloc = [](size_t bytes) -> void* {
        mallocSizes.push_back(bytes);
        return bytes >= mallocRefuseFrom ? nullptr : real.malloc(bytes);
    };
    kelSyscalls.realloc = [](void* block, size_t bytes) -> void* {
        reallocSizes.push_back(bytes);
        return bytes >= reallocRefuseFrom ? nullptr : real.realloc(block, bytes);
    };
    kelSyscalls.open = [](const char* nativePath, int flags, int permissions) {
        opens.push_back({nativePath, flags, permissions});
        return std::exchange(refuseOpen, false) ? -1 : real.open(nativePath, flags, permissions);
    };
    kelSyscalls.write = [](int fd, const void* data, size_t bytes) -> long long {
        writeSizes.push_back(bytes);
        if (long long shortBy = std::exchange(writeShortBy, 0))
            return static_cast<long long>(bytes) - shortBy;
        return real.write(fd, data, bytes);
    };
    kelSyscalls.seek = [](int fd, long long offset, int origin) {
        return std::exchange(refuseSeek, false) ? -1 : real.seek(fd, offset, origin);
    };
    // Nobody answers a box in a test: the message is kept, and a copy goes to
    // standard error for the parent of a death test.
    kelSyscalls.messageBox = [](const char16_t* message, const char16_t* caption) {
        messages.push_back(std::u16string(caption) + u": " + message);
        std::string shown;
        for (char16_t unit : messages.back())
            shown += unit < 0x80 ? char(unit) : '?';
        std::fprintf(stderr, "%s\n", shown.c_str());
    };
}

FakeManager& processManager()
{
    static FakeManager* manager = [] {
        auto* made = new FakeManager;
        TestServiceProvider provider;
        provider.add("IKelMManager", made);
        EXPECT_EQ(qtxMemoryManager(), made) << "an earlier test let the process settle on another manager";
        return made;
    }();
    manager->answer = nullptr;
    manager->asked = 0;
    return *manager;
}

FakeMemChecker& processMemChecker()
{
    static FakeMemChecker* checker = [] {
        auto* made = new FakeMemChecker;
        TestServiceProvider provider;
        provider.add("IMemChecker", made);
        long long figures[4];
        qtxMemoryStatus(&figures[0], &figures[1], &figures[2], &figures[3], 1024);
        return made;
    }();
    checker->active = true;
    return *checker;
}

MemoryHost::MemoryHost(const std::string& directory)
{
    for (const char* key : {"Directories/Logs Directory", "Directories/Temp Directory"})
        store.strings[key] = KelWideString(directory.c_str());
    provider.add("IDataStore", &store);
}

std::string fixedDirectory(const std::string& name)
{
    // Named after the running test as well: ctest runs the tests of one
    // fixture side by side, and a death test's child must find the same name.
    const testing::TestInfo* test = testing::UnitTest::GetInstance()->current_test_info();
    std::string unique = "memory-test-" + name;
    if (test)
        unique = unique + "-" + test->test_suite_name() + "." + test->name();
    std::filesystem::path path = std::filesystem::current_path() / unique;
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
    std::filesystem::create_directories(path);
    return path.string();
}

std::string readFile(const std::string& path, std::ios::openmode mode)
{
    std::ifstream in(path, mode);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}
