// What only the Windows side of the OS seam can get wrong: names beyond
// U+FFFF through the wide calls, the UTF-8 form of native paths with their
// backslashes, drive letters and UNC names, the program and its libraries,
// the run's own files with their directory lock, and the Ctrl-C disposition
// kept across foreign code.
#include "platform/platform.h"

#include <gtest/gtest.h>

#include <signal.h>

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "tests/platform/platformfiles.h"
#include "tests/support/testprovider.h"

namespace fs = std::filesystem;

namespace {

std::string native(const char16_t* path)
{
    char out[256];
    return std::string(out, kelNativePath(path, out, sizeof out));
}

std::u16string widePath(const char* nativePath)
{
    char16_t out[256];
    return std::u16string(out, kelWidePath(nativePath, out, 256));
}

TEST(PlatformWindows, NamesBeyondTheBasicPlaneGoThroughTheWideCalls)
{
    TempDir dir;
    const std::u16string name = u"\U0001F600 \U00020BB7 \u65e5.txt";
    const std::u16string path = wide(dir.path() + "/", name);
    int fd = kelWOpen(path.c_str(), kelOpenWriteOnly | kelOpenCreate | kelOpenBinary, kelPermOwnerReadWrite);
    ASSERT_NE(fd, -1);
    EXPECT_EQ(kelWrite(fd, "one\r\ntwo", 8), 8);
    kelClose(fd);

    // The name on disk is the same UTF-16 units, pairs and all.
    std::vector<std::wstring> names;
    for (const fs::directory_entry& entry : fs::directory_iterator(dir.path()))
        names.push_back(entry.path().filename().wstring());
    EXPECT_EQ(names, std::vector<std::wstring>{std::wstring(name.begin(), name.end())});

    fd = kelWOpen(path.c_str(), kelOpenReadOnly | kelOpenBinary, 0);
    char back[16] = {};
    EXPECT_EQ(kelRead(fd, back, sizeof back), 8);
    kelClose(fd);
    std::string whole;
    auto append = [](void* context, const char* bytes, size_t length) {
        static_cast<std::string*>(context)->append(bytes, length);
    };
    EXPECT_TRUE(kelReadFile(path.c_str(), append, &whole));
    EXPECT_EQ(whole, "one\r\ntwo");
    EXPECT_EQ(kelWUnlink(path.c_str()), 0);
    EXPECT_TRUE(fs::is_empty(dir.path()));
}

TEST(PlatformWindows, NativePathsAreUtf8WithTheirBackslashes)
{
    EXPECT_EQ(kelNativeSeparator(), u'\\');
    const std::pair<std::u16string, std::string> paths[] = {
        {u"c:\\dir\\file.txt", "c:\\dir\\file.txt"},
        {u"\\\\server\\share\\\u00e9t\u00e9", "\\\\server\\share\\\xc3\xa9t\xc3\xa9"},
        {u"d:\\\U0001F600", "d:\\\xf0\x9f\x98\x80"},
    };
    for (const auto& [units, bytes] : paths) {
        EXPECT_EQ(native(units.c_str()), bytes);
        EXPECT_EQ(widePath(bytes.c_str()), units);
    }
    EXPECT_EQ(native(u"a\xd800" u"b"), "a\xef\xbf\xbd" "b");  // a lone surrogate has no UTF-8 form
    EXPECT_EQ(widePath("c:/dir/f"), u"c:\\dir\\f");           // both slashes separate
    EXPECT_EQ(native(nullptr), "");

    char small[4];  // cut texts stay terminated and report the length they needed
    EXPECT_EQ(kelNativePath(u"abcdef", small, sizeof small), 6u);
    EXPECT_STREQ(small, "abc");
    EXPECT_EQ(kelNativePath(u"ab", nullptr, 0), 2u);
    char16_t cut[3];
    EXPECT_EQ(kelWidePath("a/cdef", cut, 3), 6u);
    EXPECT_EQ(std::u16string(cut), u"a\\");
}

TEST(PlatformWindows, ProgramPathAndLibraries)
{
    char self[1024];
    size_t length = kelExecutablePath(self, sizeof self);
    ASSERT_GT(length, 0u);
    EXPECT_EQ(std::string(self, length).substr(length - 18), "\\test_platform.exe");

    char error[256] = {};
    void* kernel = kelLoadLibrary("kernel32.dll", error, sizeof error);
    ASSERT_NE(kernel, nullptr) << error;
    EXPECT_NE(kelLibrarySymbol(kernel, "GetCurrentProcessId"), nullptr);
    EXPECT_EQ(kelLibrarySymbol(kernel, "NoSuchFunction"), nullptr);
    EXPECT_TRUE(kelPromoteLibraryOf(kelLibrarySymbol(kernel, "GetCurrentProcessId")));
    EXPECT_EQ(kelLoadLibrary("no-such-library.dll", error, sizeof error), nullptr);
    EXPECT_NE(error[0], '\0');
}

TEST(PlatformWindows, OwnFilesAndTheDirectoryLock)
{
    TempDir dir;
    char reason[128] = {};
    const std::u16string file = wide(dir.file("errors.log"));
    int fd = kelOpenOwnFile(file.c_str(), true, reason, sizeof reason);
    ASSERT_NE(fd, -1) << reason;
    EXPECT_EQ(kelWrite(fd, "old text", 8), 8);
    kelClose(fd);
    fd = kelOpenOwnFile(file.c_str(), true, reason, sizeof reason);  // emptied
    kelClose(fd);
    EXPECT_EQ(fs::file_size(dir.file("errors.log")), 0u);
    fd = kelOpenOwnFile(file.c_str(), false, reason, sizeof reason);
    ASSERT_NE(fd, -1) << reason;
    kelClose(fd);

    fs::create_hard_link(dir.file("errors.log"), dir.file("other.log"));
    const std::pair<std::string, std::string> refused[] = {
        {dir.file("other.log"), "it has other names"},
        {dir.path(), "it is not a regular file"},
        {"NUL", "it is not a regular file"},
    };
    for (const auto& [path, why] : refused) {
        EXPECT_EQ(kelOpenOwnFile(wide(path).c_str(), false, reason, sizeof reason), -1) << path;
        EXPECT_EQ(std::string(reason), why) << path;
    }
    EXPECT_EQ(kelOpenOwnFile(wide(dir.file("missing")).c_str(), false, reason, sizeof reason), -1);

    // One holder of the lock at a time; listing the directory goes on.
    const std::u16string directory = wide(dir.path());
    int lock = kelLockDirectory(directory.c_str());
    ASSERT_GE(lock, 0);
    EXPECT_EQ(kelLockDirectory(directory.c_str()), -2);
    EXPECT_FALSE(fs::is_empty(dir.path()));
    kelClose(kelWOpen(wide(dir.file("new.txt")).c_str(), kelOpenWriteOnly | kelOpenCreate, kelPermOwnerReadWrite));
    EXPECT_TRUE(fs::exists(dir.file("new.txt")));
    kelUnlockDirectory(lock);
    lock = kelLockDirectory(directory.c_str());
    EXPECT_GE(lock, 0);
    kelUnlockDirectory(lock);
    EXPECT_EQ(kelLockDirectory(wide(dir.file("missing")).c_str()), -1);

    for (auto [path, absolute] : {std::pair(u"c:\\x", true), {u"\\\\server\\share", true}, {u"c:/x", true},
                                  {u"\\x", false}, {u"c:x", false}, {u"x", false}, {u"", false}})
        EXPECT_EQ(kelIsAbsolutePath(path), absolute) << std::string(path, path + std::char_traits<char16_t>::length(path));
    char current[1024];
    size_t length = kelCurrentDirectory(current, sizeof current);
    EXPECT_EQ(std::string(current, length), fs::current_path().string());
}

void hostHandler(int) {}
void foreignHandler(int) {}

TEST(PlatformWindows, InterruptDispositionComesBack)
{
    auto previous = signal(SIGINT, hostHandler);
    KelInterruptDisposition saved;
    kelSaveInterruptDisposition(&saved);
    EXPECT_EQ(signal(SIGINT, foreignHandler), hostHandler);  // saving left it in place
    kelRestoreInterruptDisposition(&saved);
    EXPECT_EQ(signal(SIGINT, previous), hostHandler);
}

}  // namespace
