// What only the Linux side of the OS seam can get wrong: native names of any
// bytes, POSIX permissions, a temporary file without a name, the message on
// standard error, and the Ctrl-C disposition kept across foreign code.
#include "platform/platform.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <signal.h>

#include <atomic>
#include <filesystem>
#include <string>
#include <utility>

#include "tests/platform/platformfiles.h"
#include "tests/support/testprovider.h"

namespace fs = std::filesystem;

namespace {

std::string native(const char16_t* path)
{
    char out[256];
    return std::string(out, kelNativePath(path, out, sizeof out));
}

TEST(PlatformLinux, FilesGetOwnerPermissionsAndATemporaryOneNoName)
{
    TempDir dir;
    std::string file = dir.file("f.txt");
    kelClose(openFile(file, kelOpenWriteOnly | kelOpenCreate | kelOpenBinary));
    EXPECT_EQ(fs::status(file).permissions() & fs::perms::all, fs::perms::owner_read | fs::perms::owner_write);
    fs::remove(file);
    int fd = openFile(dir.file("spill"), kelOpenBinary | kelOpenTemporary | kelOpenCreate | kelOpenReadWrite);
    ASSERT_NE(fd, -1);
    EXPECT_TRUE(fs::is_empty(dir.path()));
    kelClose(fd);
}

TEST(PlatformLinux, FileKindsFollowLinksAndTellOddFiles)
{
    TempDir dir;
    fs::create_directory(dir.file("sub"));
    fs::create_directory_symlink(dir.file("sub"), dir.file("to-sub"));
    fs::create_symlink(dir.file("missing"), dir.file("dangling"));
    ASSERT_EQ(::mkfifo(dir.file("fifo").c_str(), 0600), 0);
    EXPECT_EQ(kelFileKind(wide(dir.file("to-sub")).c_str()), KelFileKind::directory);
    EXPECT_EQ(kelFileKind(wide(dir.file("dangling")).c_str()), KelFileKind::none);
    EXPECT_EQ(kelFileKind(wide(dir.file("fifo")).c_str()), KelFileKind::other);
    EXPECT_EQ(kelFileKind(u"\\dev\\null"), KelFileKind::other);
}

TEST(PlatformFiles, NativePathIsUtf8WithForwardSlashes)
{
    EXPECT_EQ(native(u"c:\\dir\\file.txt"), "c:/dir/file.txt");
    EXPECT_EQ(native(u"\u00e9t\u00e9\\\u65e5"), "\xc3\xa9t\xc3\xa9/\xe6\x97\xa5");
    EXPECT_EQ(native(u"\U0001F600"), "\xf0\x9f\x98\x80");
    EXPECT_EQ(native(u"a\xd800" u"b"), "a\xef\xbf\xbd" "b");  // a lone surrogate
    EXPECT_EQ(native(nullptr), "");
    char small[4];  // cut texts stay terminated and report the length they needed
    EXPECT_EQ(kelNativePath(u"abcdef", small, sizeof small), 6u);
    EXPECT_STREQ(small, "abc");
    EXPECT_EQ(kelNativePath(u"ab", nullptr, 0), 2u);

    // Native names of any bytes and their wide form, both ways.
    const std::pair<std::string, std::u16string> names[] = {
        {"/d/f.kel", u"\\d\\f.kel"},
        {"a\\b", u"a\xdc5c" u"b"},                                  // a backslash inside a name
        {"n\xffm\xc3", u"n\xdcff" u"m\xdcc3"},                       // bytes outside UTF-8
        {"\xed\xa0\x80", u"\xdced\xdca0\xdc80"},                     // an encoded surrogate is no character
        {"\xf0\x9f\x98\x80\xef\xbf\xbd", u"\U0001F600\xfffd"},     // four bytes, and U+FFFD itself
    };
    for (const auto& [bytes, units] : names) {
        char16_t out[16];
        EXPECT_EQ(kelWidePath(bytes.c_str(), out, 16), units.size()) << bytes;
        EXPECT_EQ(std::u16string(out), units) << bytes;
        EXPECT_EQ(native(units.c_str()), bytes);
    }
    EXPECT_EQ(native(u"\xd83d\xdc5c"), "\xf0\x9f\x91\x9c");  // a pair, not an escaped backslash
    char16_t cut[3];
    EXPECT_EQ(kelWidePath("abcdef", cut, 3), 6u);
    EXPECT_EQ(std::u16string(cut), u"ab");

    TempDir dir;
    std::u16string name = wide(dir.path() + "/", u"\u00e9t\u00e9-\u65e5.txt");
    kelClose(kelWOpen(name.c_str(), kelOpenWriteOnly | kelOpenCreate, kelPermOwnerReadWrite));
    EXPECT_TRUE(fs::exists(dir.file("\xc3\xa9t\xc3\xa9-\xe6\x97\xa5.txt")));
}

TEST(PlatformProcess, OutOfMemoryMessageGoesToStandardErrorAsUtf8)
{
    testing::internal::CaptureStderr();
    kelShowOutOfMemoryMessage(u"Line one.\nStra\u00dfe \U0001F600", u"Out of Memory");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Out of Memory: Line one.\nStra\xc3\x9f" "e \xf0\x9f\x98\x80\n");
}

std::atomic<int> hostInterrupts{0};
void hostHandler(int)
{
    ++hostInterrupts;
}
void foreignHandler(int) {}

TEST(PlatformProcess, InterruptDispositionComesBackAndACtrlCInBetweenWaitsForIt)
{
    struct sigaction host {}, foreign {}, previous {}, now {};
    host.sa_handler = hostHandler;
    foreign.sa_handler = foreignHandler;
    ASSERT_EQ(sigaction(SIGINT, &host, &previous), 0);
    KelInterruptDisposition saved;
    kelSaveInterruptDisposition(&saved);
    sigaction(SIGINT, &foreign, nullptr);  // what the code in between does
    raise(SIGINT);
    EXPECT_EQ(hostInterrupts.load(), 0);
    kelRestoreInterruptDisposition(&saved);
    EXPECT_EQ(hostInterrupts.load(), 1);  // delivered to the host's handler, once it is back
    sigaction(SIGINT, nullptr, &now);
    EXPECT_EQ(now.sa_handler, hostHandler);
    sigset_t mask;
    pthread_sigmask(SIG_SETMASK, nullptr, &mask);
    EXPECT_FALSE(sigismember(&mask, SIGINT));
    sigaction(SIGINT, &previous, nullptr);
}

}  // namespace
