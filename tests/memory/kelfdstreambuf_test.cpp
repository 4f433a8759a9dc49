// KelFdStreambuf and its streams against real files, with the descriptor
// calls watched through kelSyscalls.
#include "memory/kelfdstreambuf.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "component/hostservices.h"
#include "platform/platform.h"
#include "tests/support/testprovider.h"
#include "text/kelwidestring.h"

namespace fs = std::filesystem;

namespace {

KelWideString pathOf(const std::string& native)
{
    std::u16string units(native.begin(), native.end());  // ASCII test paths
    KelWideString path;
    path.assign(units.c_str());
    return path;
}

std::string readAll(const std::string& file)
{
    std::ifstream in(file, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

void writeAll(const std::string& file, const std::string& bytes)
{
    std::ofstream(file, std::ios::binary) << bytes;
}

const KelSyscalls realCalls = [] {
    kelRestoreSyscalls();
    return kelSyscalls;
}();

// Records the flags of every open and the size of every write, and passes
// them on to the real calls; a write can be made to come up short.
struct CallLog {
    static inline std::vector<int> openFlags;
    static inline std::vector<size_t> writes;
    static inline long long shortBy = 0;

    CallLog()
    {
        openFlags.clear();
        writes.clear();
        shortBy = 0;
        kelSyscalls.open = [](const char* path, int flags, int permissions) {
            openFlags.push_back(flags);
            return realCalls.open(path, flags, permissions);
        };
        kelSyscalls.write = [](int fd, const void* data, size_t bytes) -> long long {
            writes.push_back(bytes);
            if (shortBy)
                return (long long)bytes - shortBy;
            return realCalls.write(fd, data, bytes);
        };
    }
    ~CallLog() { kelRestoreSyscalls(); }
};

class AssertRecorder : public IKelAssertHandlerCB {
public:
    AssertRecorder() { count = 1; }  // owned by the test: no release destroys it
    int handleAssert(const char* expression, const char* file, int line) override
    {
        seen.push_back(std::string(expression) + " in " + file);
        return 0;
    }
    void queryInterface(const char* name, void* out, bool) override
    {
        *static_cast<void**>(out) =
            kelSameName(name, "IKelAssertHandlerCB") ? static_cast<IKelAssertHandlerCB*>(this) : nullptr;
    }
    const char* className() override { return "AssertRecorder"; }
    std::vector<std::string> seen;
};

// The flags that open() hands to the platform for `mode`.
int flagsFor(const TempDir& dir, int mode)
{
    CallLog log;
    KelFdStreambuf buffer;
    buffer.open(pathOf(dir.file("flags")), mode);
    return log.openFlags.empty() ? -1 : log.openFlags.back();
}

}  // namespace

TEST(KelFdStreambuf, OpenModesGiveTheRuntimeFlags)
{
    TempDir dir;
    EXPECT_EQ(flagsFor(dir, kelModeIn), 0x4000);
    EXPECT_EQ(flagsFor(dir, kelModeOut), 0x4301);  // a plain out truncates
    EXPECT_EQ(flagsFor(dir, kelModeOut | kelModeTrunc), 0x4301);
    EXPECT_EQ(flagsFor(dir, kelModeOut | kelModeApp), 0x4109);
    EXPECT_EQ(flagsFor(dir, kelModeOut | kelModeAte), 0x4101);
    EXPECT_EQ(flagsFor(dir, kelModeIn | kelModeOut), 0x4102);
    EXPECT_EQ(flagsFor(dir, kelModeIn | kelModeOut | kelModeTrunc | kelModeBinary), 0x8302);
    EXPECT_EQ(flagsFor(dir, kelModeOut | kelModeBinary), 0x8301);
    EXPECT_EQ(kelModeOf(std::ios::out | std::ios::trunc | std::ios::binary),
              kelModeOut | kelModeTrunc | kelModeBinary);
    EXPECT_EQ(kelModeOf(std::ios::in | std::ios::ate | std::ios::app), kelModeIn | kelModeAte | kelModeApp);

    // Neither in nor out is a broken caller: the assertion, then read only
    // with create, truncating like a plain out.
    TestServiceProvider provider;
    AssertRecorder recorder;
    provider.add("IKelAssertHandlerCB", &recorder);
    EXPECT_EQ(flagsFor(dir, kelModeBinary), 0x8300);
    EXPECT_EQ(flagsFor(dir, kelModeApp), 0x4108);
    EXPECT_EQ(recorder.seen, std::vector<std::string>(2, "0 in .\\kelfdstreambuf"));
}

TEST(KelFdStreambuf, OpenModesTreatExistingAndMissingFiles)
{
    TempDir dir;
    std::string file = dir.file("f.txt");

    writeAll(file, "old contents");
    KelOfstream(pathOf(file), kelModeOut) << "new";
    EXPECT_EQ(readAll(file), "new");
    KelOfstream(pathOf(file), kelModeOut | kelModeApp) << "+more";
    EXPECT_EQ(readAll(file), "new+more");
    // ate keeps the contents and, with no seek, writes from the start.
    KelOfstream(pathOf(file), kelModeOut | kelModeAte) << "NEW";
    EXPECT_EQ(readAll(file), "NEW+more");

    std::string missing = dir.file("missing.txt");
    KelIfstream in(pathOf(missing), kelModeIn);
    EXPECT_TRUE(in.fail());
    EXPECT_TRUE(in.bad());
    EXPECT_FALSE(fs::exists(missing));
    std::string word;
    EXPECT_FALSE(in >> word);
    in.close();

    KelFdStreambuf both;
    EXPECT_EQ(both.open(pathOf(missing), kelModeIn | kelModeOut), &both);
    EXPECT_TRUE(fs::exists(missing));
    // A second open is refused and the first file stays open.
    EXPECT_EQ(both.open(pathOf(file), kelModeIn), nullptr);
    EXPECT_TRUE(both.isOpen());
    EXPECT_EQ(both.state, KelFdStreambuf::stateIn | KelFdStreambuf::stateOut);
    EXPECT_EQ(both.bufferSize, 1024);
    EXPECT_TRUE(both.ownsBuffer);

    KelOfstream nowhere(pathOf(dir.file("no/such/dir/memory.log")), kelModeOut | kelModeTrunc);
    EXPECT_TRUE(nowhere.fail() && nowhere.bad());
    nowhere << "ignored" << 42 << std::endl;
    nowhere.close();
}

TEST(KelFdStreambuf, SingleCharactersGoOutAsOneFullBuffer)
{
    TempDir dir;
    std::string file = dir.file("chars");
    CallLog log;
    {
        KelOfstream out(pathOf(file), kelModeOut | kelModeBinary);
        for (int i = 0; i < 1023; ++i)
            out.put(char('a' + i % 26));
        EXPECT_TRUE(log.writes.empty());
        EXPECT_EQ(fs::file_size(file), 0u);
        out.put('!');
        EXPECT_EQ(log.writes, std::vector<size_t>{1024});
        EXPECT_EQ(fs::file_size(file), 1024u);

        // Pending characters go out ahead of a block, which bypasses the buffer.
        out.put('x').put('y');
        out.write("block", 5);
        EXPECT_EQ(log.writes, (std::vector<size_t>{1024, 2, 5}));
    }
    EXPECT_EQ(readAll(file).substr(1023), "!xyblock");

    // Closing a stream that never wrote performs no write.
    log.writes.clear();
    { KelOfstream idle(pathOf(file), kelModeOut | kelModeApp); }
    { KelIfstream reader(pathOf(file), kelModeIn); }
    EXPECT_TRUE(log.writes.empty());
}

TEST(KelFdStreambuf, ShortWriteKeepsBytesAndSetsBadBit)
{
    TempDir dir;
    std::string file = dir.file("short");
    CallLog log;
    KelOfstream out(pathOf(file), kelModeOut);
    out << 'a' << 'b' << 'c';
    log.shortBy = 1;
    out.flush();
    EXPECT_TRUE(out.bad());
    EXPECT_EQ(fs::file_size(file), 0u);  // the short write was a fake: nothing went out

    // The bytes are still pending and go out once writing works again.
    log.shortBy = 0;
    EXPECT_EQ(out.rdbuf()->pubsync(), 0);
    EXPECT_EQ(readAll(file), "abc");
}

TEST(KelFdStreambuf, ReadingPeeksWholeBuffersAndTakesSingleBytes)
{
    TempDir dir;
    std::string file = dir.file("data");
    std::string contents(2000, '\0');
    for (size_t i = 0; i < contents.size(); ++i)
        contents[i] = char(i % 251);
    contents[0] = '\xff';
    writeAll(file, contents);

    KelFdStreambuf buffer;
    ASSERT_NE(buffer.open(pathOf(file), kelModeIn | kelModeBinary), nullptr);
    // 0xFF is a byte, not the end of the file.
    EXPECT_EQ(buffer.sgetc(), 0xff);
    EXPECT_EQ(buffer.in_avail(), 1024);
    // A block read passes by the peeked buffer and reads on from the file.
    char block[3];
    EXPECT_EQ(buffer.sgetn(block, 3), 3);
    EXPECT_EQ(std::string(block, 3), contents.substr(1024, 3));
    // The buffer still holds the peeked bytes, and taking them moves on.
    EXPECT_EQ(buffer.sbumpc(), 0xff);
    EXPECT_EQ(buffer.sgetc(), 1);

    // After a seek the get area is empty: a take reads one byte directly.
    EXPECT_EQ(buffer.pubseekoff(1998, std::ios::beg), 1998);
    EXPECT_EQ(buffer.in_avail(), -1);
    EXPECT_EQ(buffer.sbumpc(), (unsigned char)contents[1998]);
    // Putting back steps the file back one byte and peeks there.
    EXPECT_EQ(buffer.sungetc(), (unsigned char)contents[1998]);
    EXPECT_EQ(buffer.sbumpc(), (unsigned char)contents[1998]);
    EXPECT_EQ(buffer.sbumpc(), (unsigned char)contents[1999]);
    EXPECT_EQ(buffer.sbumpc(), std::char_traits<char>::eof());
    EXPECT_EQ(buffer.sgetc(), std::char_traits<char>::eof());
    // Write is refused on a buffer opened for reading.
    EXPECT_EQ(buffer.sputc('x'), std::char_traits<char>::eof());
}

TEST(KelFdStreambuf, ReadAndWritePhasesNeedASeekBetween)
{
    TempDir dir;
    std::string file = dir.file("both");
    writeAll(file, "abcdef");
    KelFdStreambuf buffer;
    ASSERT_NE(buffer.open(pathOf(file), kelModeIn | kelModeOut), nullptr);

    EXPECT_EQ(buffer.sgetc(), 'a');
    EXPECT_EQ(buffer.sputc('X'), std::char_traits<char>::eof());
    EXPECT_EQ(buffer.pubseekoff(1, std::ios::beg), 1);
    EXPECT_EQ(buffer.sputc('X'), 'X');
    EXPECT_EQ(buffer.sgetc(), std::char_traits<char>::eof());
    // The seek writes the pending byte before it moves.
    EXPECT_EQ(buffer.pubseekpos(0), 0);
    EXPECT_EQ(buffer.sgetc(), 'a');
    buffer.close();
    buffer.close();
    EXPECT_EQ(readAll(file), "aXcdef");
    EXPECT_EQ(buffer.pubseekoff(0, std::ios::cur), -1);  // closed

    // After a close the buffer opens again.
    ASSERT_NE(buffer.open(pathOf(file), kelModeIn), nullptr);
    EXPECT_EQ(buffer.sgetc(), 'a');
}

TEST(KelFdStreambuf, InstalledBufferIsUsedAndNotDeleted)
{
    TempDir dir;
    std::string file = dir.file("tiny");
    CallLog log;
    char one[1];
    {
        KelFdStreambuf buffer;
        EXPECT_EQ(buffer.setBuffer(one, 1), &buffer);
        ASSERT_NE(buffer.open(pathOf(file), kelModeOut), nullptr);
        EXPECT_EQ(buffer.buffer, one);
        EXPECT_FALSE(buffer.ownsBuffer);
        // A buffer of one byte leaves no room: every character is written at once.
        EXPECT_EQ(buffer.sputc('h'), 'h');
        EXPECT_EQ(buffer.sputc('i'), 'i');
        EXPECT_EQ(log.writes, (std::vector<size_t>{1, 1}));
    }
    EXPECT_EQ(readAll(file), "hi");

    // Replacing an owned buffer deletes it; the new one stays the caller's.
    std::vector<char> mine(8);
    KelFdStreambuf buffer;
    ASSERT_NE(buffer.open(pathOf(file), kelModeIn), nullptr);
    ASSERT_TRUE(buffer.ownsBuffer);
    buffer.setBuffer(mine.data(), 8);
    EXPECT_FALSE(buffer.ownsBuffer);
    EXPECT_EQ(buffer.sgetc(), 'h');
    EXPECT_EQ(mine[1], 'i');
}

TEST(KelStreams, TextRoundTripThroughBothStreams)
{
    TempDir dir;
    std::string file = dir.file("memory.log");
    {
        KelOfstream out(pathOf(file), std::ios::out | std::ios::trunc);
        ASSERT_TRUE(out.good());
        out << "attempted:        " << 1234567890123ull << "b" << std::endl << std::endl;
        out << std::string(3000, 'z') << "\n";
        EXPECT_TRUE(out.good());
    }
    KelIfstream in(pathOf(file));
    std::string line;
    ASSERT_TRUE(std::getline(in, line));
    EXPECT_EQ(line, "attempted:        1234567890123b");
    ASSERT_TRUE(std::getline(in, line));
    EXPECT_EQ(line, "");
    ASSERT_TRUE(std::getline(in, line));
    EXPECT_EQ(line, std::string(3000, 'z'));
    EXPECT_FALSE(std::getline(in, line));
}
