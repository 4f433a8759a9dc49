// The OS seam as every OS gives it: descriptor calls by wide path, the
// whole-file read, the re-entrant lock and the process figures. What only one
// OS can get wrong is in platform_<os>_test.cpp beside this file.
#include "platform/platform.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "tests/platform/platformfiles.h"
#include "tests/support/testprovider.h"

namespace fs = std::filesystem;

namespace {

TEST(PlatformFiles, OpenFlagsKeepTheirRuntimeMeaning)
{
    TempDir dir;
    std::string file = dir.file("f.txt");
    EXPECT_EQ(openFile(file, kelOpenReadOnly), -1);  // neither creates nor opens a missing file
    EXPECT_FALSE(fs::exists(file));
    int fd = openFile(file, kelOpenWriteOnly | kelOpenCreate | kelOpenBinary);
    ASSERT_NE(fd, -1);
    EXPECT_EQ(kelWrite(fd, "hello", 5), 5);
    EXPECT_EQ(kelClose(fd), 0);

    fd = openFile(file, kelOpenWriteOnly | kelOpenAppend | kelOpenText, 0);
    EXPECT_EQ(kelLseeki64(fd, 0, kelSeekSet), 0);
    EXPECT_EQ(kelWrite(fd, "!", 1), 1);  // at the end whatever the position
    kelClose(fd);
    EXPECT_EQ(readAll(file), "hello!");
    EXPECT_EQ(openFile(file, kelOpenWriteOnly | kelOpenCreate | kelOpenExclusive), -1);
    kelClose(openFile(file, kelOpenReadWrite | kelOpenTruncate, 0));
    EXPECT_EQ(fs::file_size(file), 0u);
    fd = openFile(file, kelOpenReadOnly, 0);
    ASSERT_NE(fd, -1);
    EXPECT_EQ(kelWrite(fd, "x", 1), -1);
    kelClose(fd);
    EXPECT_EQ(kelWUnlink(wide(file).c_str()), 0);
    EXPECT_FALSE(fs::exists(file));
}

TEST(PlatformFiles, TemporaryFileWorksUntilClosedAndThenIsGone)
{
    TempDir dir;
    int fd = openFile(dir.file("spill"), kelOpenBinary | kelOpenTemporary | kelOpenCreate | kelOpenReadWrite);
    ASSERT_NE(fd, -1);
    EXPECT_EQ(kelWrite(fd, "contents", 8), 8);
    EXPECT_EQ(kelLseeki64(fd, 0, kelSeekSet), 0);
    char back[16] = {};
    EXPECT_EQ(kelRead(fd, back, sizeof back), 8);
    EXPECT_STREQ(back, "contents");
    kelClose(fd);
    EXPECT_TRUE(fs::is_empty(dir.path()));
    EXPECT_EQ(kelWUnlink(wide(dir.file("spill")).c_str()), -1);  // harmless, as after a spill
}

TEST(PlatformFiles, ReadsAndSeeksReportWhatHappened)
{
    TempDir dir;
    std::ofstream(dir.file("data"), std::ios::binary) << "0123456789";
    int fd = openFile(dir.file("data"), kelOpenReadWrite, 0);
    ASSERT_NE(fd, -1);
    char buffer[32];
    EXPECT_EQ(kelRead(fd, buffer, 4), 4);
    EXPECT_EQ(kelLseeki64(fd, 2, kelSeekCur), 6);
    EXPECT_EQ(kelRead(fd, buffer, sizeof buffer), 4);  // a short read at the end
    EXPECT_EQ(std::string(buffer, 4), "6789");
    EXPECT_EQ(kelRead(fd, buffer, sizeof buffer), 0);
    EXPECT_EQ(kelLseeki64(fd, -3, kelSeekEnd), 7);
    EXPECT_EQ(kelLseeki64(fd, -1, kelSeekSet), -1);
    const long long far = 5LL << 30;  // beyond 4 GiB; the file stays sparse
    EXPECT_EQ(kelLseeki64(fd, far, kelSeekSet), far);
    EXPECT_EQ(kelWrite(fd, "z", 1), 1);
    EXPECT_EQ(kelLseeki64(fd, 0, kelSeekEnd), far + 1);
    EXPECT_EQ(kelLseeki64(fd, -2, kelSeekCur), far - 1);
    EXPECT_EQ(kelRead(fd, buffer, sizeof buffer), 2);
    EXPECT_EQ(std::string(buffer, 2), std::string("\0z", 2));
    kelClose(fd);
}

TEST(PlatformProcess, CounterPidMemoryFiguresAndLibraries)
{
    long long first = kelPerformanceCounter();
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
    EXPECT_GT(kelPerformanceCounter(), first);
    EXPECT_NE(kelProcessId(), 0u);

    unsigned long long free = 0, total = 0, swapFree = 0, swapTotal = 0;
    ASSERT_TRUE(kelMemoryStatus(&free, &total, &swapFree, &swapTotal));
    EXPECT_GT(total, 16ull << 20);
    EXPECT_LE(free, total);
    EXPECT_LE(swapFree, swapTotal);
    EXPECT_EQ(total % 1024, 0u);  // both kernels count whole pages

    // A function of the C++ runtime lies in a loaded shared library.
    EXPECT_TRUE(kelPromoteLibraryOf(reinterpret_cast<const void*>(&std::terminate)));
    int local = 0;
    EXPECT_FALSE(kelPromoteLibraryOf(&local));
}

void appendBlock(void* context, const char* bytes, size_t length)
{
    auto* blocks = static_cast<std::vector<std::string>*>(context);
    blocks->emplace_back(bytes, length);
}

TEST(ReadFile, GivesTheBytesAsTheyAreInBlocks)
{
    TempDir dir;
    // Nothing is decoded or joined: a mark, CR LF, broken UTF-8 and zero bytes
    // come back as they are, across the 64 KiB blocks.
    const std::string bytes = "\xef\xbb\xbf" "a\r\nb\xe2\x82" + std::string(70000, 'c') + std::string("\0\xff", 2);
    std::ofstream(dir.file("script.py"), std::ios::binary) << bytes;
    std::vector<std::string> blocks;
    EXPECT_TRUE(kelReadFile(wide(dir.file("script.py")).c_str(), appendBlock, &blocks));
    std::string joined;
    for (const std::string& block : blocks) {
        EXPECT_LE(block.size(), 65536u);
        joined += block;
    }
    EXPECT_EQ(joined, bytes);

    std::ofstream(dir.file("empty.py"), std::ios::binary).flush();
    blocks.clear();
    EXPECT_TRUE(kelReadFile(wide(dir.file("empty.py")).c_str(), appendBlock, &blocks));
    EXPECT_FALSE(kelReadFile(wide(dir.file("missing.py")).c_str(), appendBlock, &blocks));
    EXPECT_FALSE(kelReadFile(wide(dir.path()).c_str(), appendBlock, &blocks));  // a directory
    EXPECT_TRUE(blocks.empty());
}

TEST(PlatformFiles, FileKindsAreToldApart)
{
    TempDir dir;
    std::ofstream(dir.file("file"), std::ios::binary) << "x";
    const struct {
        std::u16string path;
        KelFileKind kind;
    } cases[] = {
        {wide(dir.path()), KelFileKind::directory},
        {wide(dir.path()) + u"\\", KelFileKind::directory},
        {wide(dir.file("file")), KelFileKind::regularFile},
        {wide(dir.file("missing")), KelFileKind::none},
        {wide(dir.file("file") + "/below"), KelFileKind::none},
        {u"", KelFileKind::none},
    };
    for (const auto& c : cases)
        EXPECT_EQ(kelFileKind(c.path.c_str()), c.kind) << std::string(c.path.begin(), c.path.end());
    EXPECT_EQ(kelFileKind(nullptr), KelFileKind::none);
}

TEST(CriticalSection, IsReentrantAndExcludesOtherThreads)
{
    KelCriticalSection section;
    kelCriticalSectionInit(&section);
    kelCriticalSectionEnter(&section);
    kelCriticalSectionEnter(&section);
    kelCriticalSectionLeave(&section);
    std::atomic<bool> entered{false};  // still held once: the other thread waits for the second leave
    std::thread other([&] {
        kelCriticalSectionEnter(&section);
        entered = true;
        kelCriticalSectionLeave(&section);
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_FALSE(entered.load());
    kelCriticalSectionLeave(&section);
    other.join();
    EXPECT_TRUE(entered.load());

    // Four threads hammer the section. A lost wake-up leaves a waiter asleep
    // for good (the lock has no timed sleep to hide it), which the watchdog
    // reports instead of letting the test hang.
    constexpr int kThreads = 4, kRounds = 200000;
    long long counter = 0;  // guarded by the section only: a lost update shows
    std::atomic<int> finished{0};
    auto work = [&] {
        for (int i = 0; i < kRounds; ++i) {
            kelCriticalSectionEnter(&section);
            kelCriticalSectionEnter(&section);  // nested, as the pool does
            ++counter;
            kelCriticalSectionLeave(&section);
            kelCriticalSectionLeave(&section);
        }
        ++finished;
    };
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back(work);
    auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes(2);
    while (finished < kThreads && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    if (finished < kThreads) {
        ADD_FAILURE() << "a waiter was never woken";
        std::_Exit(1);
    }
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(counter, (long long)kThreads * kRounds);
}
}  // namespace
