// The OS seam: descriptor calls by wide path, the fault-injection table, the
// wide text file read, the re-entrant lock and the process figures.
#include "platform/platform.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/testprovider.h"

namespace fs = std::filesystem;

namespace {

// The canonical wide form of a native test path: ASCII widened, '/' -> '\',
// and an optional non-ASCII tail appended as it is.
std::u16string wide(const std::string& native, const std::u16string& tail = u"")
{
    std::u16string out;
    for (char c : native)
        out += c == '/' ? u'\\' : char16_t((unsigned char)c);
    return out + tail;
}

std::string readAll(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

void writeAll(const std::string& path, const std::string& bytes)
{
    std::ofstream(path, std::ios::binary) << bytes;
}

// Restores the real system calls when a test ends, however it ends.
struct SyscallGuard {
    ~SyscallGuard() { kelRestoreSyscalls(); }
};

std::string native(const char16_t* path)
{
    char out[256];
    size_t length = kelNativePath(path, out, sizeof out);
    return std::string(out, length);
}

}  // namespace

TEST(PlatformFiles, OpenFlagsMapOntoTheirPosixMeaning)
{
    TempDir dir;
    std::string file = dir.file("f.txt");
    std::u16string path = wide(file);

    // Read only neither creates nor opens a missing file.
    EXPECT_EQ(kelWOpen(path.c_str(), kelOpenReadOnly, kelPermOwnerReadWrite), -1);
    EXPECT_FALSE(fs::exists(file));

    // Create makes the file with owner read and write only.
    int fd = kelWOpen(path.c_str(), kelOpenWriteOnly | kelOpenCreate | kelOpenBinary, kelPermOwnerReadWrite);
    ASSERT_NE(fd, -1);
    EXPECT_EQ(kelWrite(fd, "hello", 5), 5);
    EXPECT_EQ(kelClose(fd), 0);
    EXPECT_EQ(fs::status(file).permissions() & fs::perms::all, fs::perms::owner_read | fs::perms::owner_write);

    // Append writes at the end whatever the position.
    fd = kelWOpen(path.c_str(), kelOpenWriteOnly | kelOpenAppend | kelOpenText, 0);
    ASSERT_NE(fd, -1);
    EXPECT_EQ(kelLseeki64(fd, 0, kelSeekSet), 0);
    EXPECT_EQ(kelWrite(fd, "!", 1), 1);
    kelClose(fd);
    EXPECT_EQ(readAll(file), "hello!");

    // Exclusive refuses an existing file; truncate empties it.
    EXPECT_EQ(kelWOpen(path.c_str(), kelOpenWriteOnly | kelOpenCreate | kelOpenExclusive, 0x180), -1);
    fd = kelWOpen(path.c_str(), kelOpenReadWrite | kelOpenTruncate, 0);
    ASSERT_NE(fd, -1);
    kelClose(fd);
    EXPECT_EQ(fs::file_size(file), 0u);

    // Read only refuses to write.
    fd = kelWOpen(path.c_str(), kelOpenReadOnly, 0);
    ASSERT_NE(fd, -1);
    EXPECT_EQ(kelWrite(fd, "x", 1), -1);
    kelClose(fd);

    EXPECT_EQ(kelWUnlink(path.c_str()), 0);
    EXPECT_FALSE(fs::exists(file));
    EXPECT_EQ(kelWUnlink(path.c_str()), -1);
}

TEST(PlatformFiles, TemporaryFileHasNoNameButWorksUntilClosed)
{
    TempDir dir;
    std::u16string path = wide(dir.file("spill"));
    int fd = kelWOpen(path.c_str(), 0x8142, kelPermOwnerReadWrite);
    ASSERT_NE(fd, -1);
    EXPECT_TRUE(fs::is_empty(dir.path()));
    EXPECT_EQ(kelWrite(fd, "contents", 8), 8);
    EXPECT_EQ(kelLseeki64(fd, 0, kelSeekSet), 0);
    char back[16] = {};
    EXPECT_EQ(kelRead(fd, back, sizeof back), 8);
    EXPECT_STREQ(back, "contents");
    kelClose(fd);
    // Unlinking the name that is already gone is harmless, as after a spill.
    EXPECT_EQ(kelWUnlink(path.c_str()), -1);
}

TEST(PlatformFiles, ReadsAndSeeksReportWhatHappened)
{
    TempDir dir;
    std::string file = dir.file("data");
    writeAll(file, "0123456789");
    std::u16string path = wide(file);
    int fd = kelWOpen(path.c_str(), kelOpenReadWrite, 0);
    ASSERT_NE(fd, -1);

    char buffer[32];
    EXPECT_EQ(kelRead(fd, buffer, 4), 4);
    EXPECT_EQ(kelLseeki64(fd, 2, kelSeekCur), 6);
    EXPECT_EQ(kelRead(fd, buffer, sizeof buffer), 4);  // a short read at the end
    EXPECT_EQ(std::string(buffer, 4), "6789");
    EXPECT_EQ(kelRead(fd, buffer, sizeof buffer), 0);
    EXPECT_EQ(kelLseeki64(fd, -3, kelSeekEnd), 7);
    EXPECT_EQ(kelLseeki64(fd, -1, kelSeekSet), -1);

    // Positions beyond 4 GiB survive the 64-bit seek (the file stays sparse).
    const long long far = 5LL << 30;
    EXPECT_EQ(kelLseeki64(fd, far, kelSeekSet), far);
    EXPECT_EQ(kelWrite(fd, "z", 1), 1);
    EXPECT_EQ(kelLseeki64(fd, 0, kelSeekEnd), far + 1);
    kelClose(fd);
    EXPECT_EQ(kelRead(fd, buffer, 1), -1);  // closed
}

TEST(PlatformFiles, NativePathIsUtf8WithForwardSlashes)
{
    EXPECT_EQ(native(u"c:\\dir\\file.txt"), "c:/dir/file.txt");
    EXPECT_EQ(native(u"\u00e9t\u00e9\\\u65e5"), "\xc3\xa9t\xc3\xa9/\xe6\x97\xa5");
    EXPECT_EQ(native(u"\U0001F600"), "\xf0\x9f\x98\x80");
    EXPECT_EQ(native(u"a\xd800" u"b"), "a\xef\xbf\xbd" "b");  // a lone surrogate
    EXPECT_EQ(native(nullptr), "");

    // Cut texts stay terminated and report the length they needed.
    char small[4];
    EXPECT_EQ(kelNativePath(u"abcdef", small, sizeof small), 6u);
    EXPECT_STREQ(small, "abc");
    EXPECT_EQ(kelNativePath(u"ab", nullptr, 0), 2u);

    // A non-ASCII name reaches the file system as UTF-8.
    TempDir dir;
    std::u16string name = wide(dir.path() + "/", u"\u00e9t\u00e9-\u65e5.txt");
    int fd = kelWOpen(name.c_str(), kelOpenWriteOnly | kelOpenCreate, 0x180);
    ASSERT_NE(fd, -1);
    kelClose(fd);
    EXPECT_TRUE(fs::exists(dir.file("\xc3\xa9t\xc3\xa9-\xe6\x97\xa5.txt")));
}

TEST(PlatformSyscalls, TestsCanMakeEachCallFail)
{
    SyscallGuard guard;
    TempDir dir;
    std::u16string path = wide(dir.file("f"));

    kelSyscalls.malloc = [](size_t) -> void* { return nullptr; };
    kelSyscalls.realloc = [](void*, size_t) -> void* { return nullptr; };
    EXPECT_EQ(kelHeapAlloc(16), nullptr);
    EXPECT_EQ(kelHeapRealloc(nullptr, 16), nullptr);

    static std::string openedPath;
    static int openedFlags;
    kelSyscalls.open = [](const char* nativePath, int flags, int) {
        openedPath = nativePath;
        openedFlags = flags;
        return -1;
    };
    EXPECT_EQ(kelWOpen(path.c_str(), kelOpenWriteOnly | kelOpenCreate | kelOpenBinary, 0x180), -1);
    EXPECT_EQ(openedPath, dir.file("f"));
    EXPECT_EQ(openedFlags, kelOpenWriteOnly | kelOpenCreate | kelOpenBinary);
    EXPECT_FALSE(fs::exists(dir.file("f")));

    kelRestoreSyscalls();
    int fd = kelWOpen(path.c_str(), kelOpenReadWrite | kelOpenCreate, 0x180);
    ASSERT_NE(fd, -1);
    kelSyscalls.write = [](int, const void*, size_t bytes) -> long long { return (long long)bytes / 2; };
    kelSyscalls.seek = [](int, long long, int) -> long long { return -1; };
    EXPECT_EQ(kelWrite(fd, "abcd", 4), 2);
    EXPECT_EQ(kelLseeki64(fd, 0, kelSeekSet), -1);
    kelRestoreSyscalls();
    EXPECT_EQ(kelWrite(fd, "abcd", 4), 4);
    kelClose(fd);
    void* block = kelHeapAlloc(16);
    EXPECT_NE(block, nullptr);
    kelHeapFree(block);
    kelHeapFree(nullptr);
}

TEST(PlatformProcess, CounterPidAndMemoryFigures)
{
    long long first = kelPerformanceCounter();
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
    long long second = kelPerformanceCounter();
    EXPECT_GE(second - first, 2000000);  // nanoseconds
    EXPECT_NE(kelProcessId(), 0u);
    EXPECT_EQ(kelProcessId(), kelProcessId());

    unsigned long long free = 0, total = 0, swapFree = 0, swapTotal = 0;
    ASSERT_TRUE(kelMemoryStatus(&free, &total, &swapFree, &swapTotal));
    EXPECT_GT(total, 16ull << 20);
    EXPECT_LE(free, total);
    EXPECT_LE(swapFree, swapTotal);
    EXPECT_EQ(total % 1024, 0u);  // the kernel counts in KiB
}

TEST(PlatformProcess, OutOfMemoryMessageGoesToStandardErrorAsUtf8)
{
    testing::internal::CaptureStderr();
    kelShowOutOfMemoryMessage(u"Line one.\nStra\u00dfe \U0001F600", u"Out of Memory");
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Out of Memory: Line one.\nStra\xc3\x9f" "e \xf0\x9f\x98\x80\n");
}

TEST(PlatformProcess, PromotesOnlyAddressesInsideLoadedLibraries)
{
    // A function of the C++ runtime lies in a loaded shared library.
    EXPECT_TRUE(kelPromoteLibraryOf(reinterpret_cast<const void*>(&std::terminate)));
    int local = 0;
    EXPECT_FALSE(kelPromoteLibraryOf(&local));
}
