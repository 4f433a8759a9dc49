// The shared fakes of the memory tests.
#include "tests/memory/memoryfakes.h"

#include "memory/memoryreport.h"
#include "memory/qtxrealloc.h"

namespace {

void* scriptedMalloc(size_t bytes)
{
    ScriptedSyscalls::mallocSizes.push_back(bytes);
    return bytes >= ScriptedSyscalls::mallocRefuseFrom ? nullptr : ScriptedSyscalls::real.malloc(bytes);
}

void* scriptedRealloc(void* block, size_t bytes)
{
    ScriptedSyscalls::reallocSizes.push_back(bytes);
    return bytes >= ScriptedSyscalls::reallocRefuseFrom ? nullptr : ScriptedSyscalls::real.realloc(block, bytes);
}

int scriptedOpen(const char* nativePath, int flags, int permissions)
{
    ScriptedSyscalls::openedPaths.push_back(nativePath);
    ScriptedSyscalls::openFlags.push_back(flags);
    ScriptedSyscalls::openPermissions.push_back(permissions);
    std::string path = nativePath;
    bool temporary = path.size() >= 5 && path.compare(path.size() - 5, 5, "-temp") == 0;
    if (temporary && ScriptedSyscalls::refuseOpen)
        return -1;
    int fd = ScriptedSyscalls::real.open(nativePath, flags, permissions);
    if (temporary)
        ScriptedSyscalls::tempFd = fd;
    return fd;
}

long long scriptedWrite(int fd, const void* data, size_t bytes)
{
    ScriptedSyscalls::writeSizes.push_back(bytes);
    // One-shot: the descriptor number comes back for the report's own file.
    long long shortBy = 0;
    if (fd == ScriptedSyscalls::tempFd) {
        shortBy = ScriptedSyscalls::writeShortBy;
        ScriptedSyscalls::writeShortBy = 0;
    }
    size_t kept = shortBy > 0 && size_t(shortBy) <= bytes ? bytes - size_t(shortBy) : bytes;
    return ScriptedSyscalls::real.write(fd, data, kept);
}

long long scriptedSeek(int fd, long long offset, int origin)
{
    if (fd == ScriptedSyscalls::tempFd && ScriptedSyscalls::refuseSeek) {
        ScriptedSyscalls::refuseSeek = false;
        return -1;
    }
    return ScriptedSyscalls::real.seek(fd, offset, origin);
}

}  // namespace

ScriptedSyscalls::ScriptedSyscalls()
{
    kelRestoreSyscalls();
    real = kelSyscalls;
    mallocRefuseFrom = reallocRefuseFrom = SIZE_MAX;
    mallocSizes.clear();
    reallocSizes.clear();
    refuseOpen = refuseSeek = false;
    writeShortBy = 0;
    tempFd = -1;
    openedPaths.clear();
    openFlags.clear();
    openPermissions.clear();
    writeSizes.clear();
    kelSyscalls = {scriptedMalloc, scriptedRealloc, scriptedOpen, scriptedWrite, scriptedSeek};
}

ScriptedSyscalls::~ScriptedSyscalls()
{
    kelRestoreSyscalls();
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
    store.setString("Directories/Logs Directory", directory);
    store.setString("Directories/Temp Directory", directory);
    provider.add("IDataStore", &store);
}

std::string fixedDirectory(const std::string& name)
{
    std::filesystem::path path = std::filesystem::current_path() / ("memory-test-" + name);
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
    std::filesystem::create_directories(path);
    return path.string();
}

std::string readFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}
