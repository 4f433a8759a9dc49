// KelFdStreambuf and its streams against real files, with the descriptor
// calls watched through kelSyscalls.
#include "memory/kelfdstreambuf.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "tests/memory/memoryfakes.h"

namespace fs = std::filesystem;
using Sizes = std::vector<size_t>;
constexpr int kEof = std::char_traits<char>::eof();

namespace {

KelWideString at(const std::string& file)
{
    return KelWideString(file.c_str());  // ASCII test paths
}

}  // namespace

TEST(KelFdStreambuf, OpenModesGiveTheRuntimeFlags)
{
    TempDir dir;
    TestServiceProvider provider;
    AssertRecorder handler;
    provider.add("IKelAssertHandlerCB", &handler);
    struct {
        int mode, flags;
    } cases[] = {
        {kelModeIn, 0x4000},
        {kelModeOut, 0x4301},  // a plain out truncates
        {kelModeOut | kelModeApp, 0x4109},
        {kelModeOut | kelModeAte, 0x4101},
        {kelModeIn | kelModeOut, 0x4102},
        {kelModeIn | kelModeOut | kelModeTrunc | kelModeBinary, 0x8302},
        // Neither in nor out is a broken caller: the assertion, then read only
        // with create, truncating like a plain out.
        {kelModeBinary, 0x8300},
        {kelModeApp, 0x4108},
    };
    for (auto c : cases) {
        ScriptedSyscalls calls;
        KelFdStreambuf buffer;
        buffer.open(at(dir.file("flags")), c.mode);
        ASSERT_EQ(calls.opens.size(), 1u);
        EXPECT_EQ(calls.opens[0].flags, c.flags) << "mode " << c.mode;
    }
    EXPECT_EQ(handler.expressions, std::vector<std::string>(2, "0 @ .\\kelfdstreambuf"));
    EXPECT_EQ(kelModeOf(std::ios::out | std::ios::trunc | std::ios::binary),
              kelModeOut | kelModeTrunc | kelModeBinary);
    EXPECT_EQ(kelModeOf(std::ios::in | std::ios::ate | std::ios::app), kelModeIn | kelModeAte | kelModeApp);
}

TEST(KelFdStreambuf, OpenModesTreatExistingAndMissingFiles)
{
    TempDir dir;
    std::string file = dir.file("f.txt");
    std::ofstream(file) << "old contents";
    // ate keeps the contents and, with no seek, writes from the start.
    KelOfstream(at(file), kelModeOut | kelModeAte) << "NEW";
    EXPECT_EQ(readFile(file), "NEW contents");

    // A file that cannot be opened leaves a failed stream that takes and gives nothing.
    std::string missing = dir.file("missing.txt");
    KelIfstream in(at(missing), kelModeIn);
    EXPECT_TRUE(in.fail() && in.bad());
    KelOfstream nowhere(at(dir.file("no/such/dir/memory.log")), kelModeOut | kelModeTrunc);
    EXPECT_TRUE(nowhere.fail() && nowhere.bad());

    KelFdStreambuf both;
    EXPECT_EQ(both.open(at(missing), kelModeIn | kelModeOut), &both);
    EXPECT_TRUE(fs::exists(missing));
    // A second open is refused and the first file stays open.
    EXPECT_EQ(both.open(at(file), kelModeIn), nullptr);
    EXPECT_TRUE(both.isOpen());
}

TEST(KelFdStreambuf, WritesGoOutInFullBuffersAndSurviveAShortWrite)
{
    TempDir dir;
    std::string file = dir.file("chars");
    ScriptedSyscalls calls;
    {
        KelOfstream out(at(file), kelModeOut | kelModeBinary);
        for (int i = 0; i < 1023; ++i)
            out.put(char('a' + i % 26));
        EXPECT_TRUE(calls.writeSizes.empty());
        out.put('!');
        EXPECT_EQ(calls.writeSizes, Sizes{1024});
        // Pending characters go out ahead of a block, which bypasses the buffer.
        out.put('x').put('y');
        out.write("block", 5);
        EXPECT_EQ(calls.writeSizes, (Sizes{1024, 2, 5}));

        // A short write sets the bad bit and keeps the bytes pending (the fake
        // wrote nothing); they go out once writing works again.
        out << 'a' << 'b' << 'c';
        calls.writeShortBy = 1;
        out.flush();
        EXPECT_TRUE(out.bad());
        EXPECT_EQ(out.rdbuf()->pubsync(), 0);
    }
    EXPECT_EQ(readFile(file).substr(1023), "!xyblockabc");

    // A full buffer whose write fails keeps its bytes and refuses the next
    // character, again after the caller cleared the state (the reaction to a
    // full disk), until a write goes through: nothing lands past the buffer.
    {
        KelOfstream out(at(file), kelModeOut | kelModeBinary);
        for (int i = 0; i < 1023; ++i)
            out.put('p');
        for (char c : {'x', 'y', 'z'}) {
            calls.writeShortBy = 1;
            out.clear();
            EXPECT_EQ(out.rdbuf()->sputc(c), kEof) << c;
        }
        EXPECT_EQ(out.rdbuf()->sputc('q'), 'q');
    }
    EXPECT_EQ(readFile(file), std::string(1023, 'p') + "q");

    // Closing a stream that never wrote performs no write.
    calls.writeSizes.clear();
    { KelOfstream idle(at(file), kelModeOut | kelModeApp); }
    { KelIfstream reader(at(file), kelModeIn); }
    EXPECT_TRUE(calls.writeSizes.empty());
}

TEST(KelFdStreambuf, ReadingPeeksWholeBuffersAndTakesSingleBytes)
{
    TempDir dir;
    std::string file = dir.file("data");
    std::string contents(2000, '\0');
    for (size_t i = 0; i < contents.size(); ++i)
        contents[i] = char(i % 251);
    contents[0] = '\xff';
    std::ofstream(file, std::ios::binary) << contents;
    auto byte = [&](int i) { return int((unsigned char)contents[i]); };

    KelFdStreambuf buffer;
    ASSERT_NE(buffer.open(at(file), kelModeIn | kelModeBinary), nullptr);
    EXPECT_EQ(buffer.sgetc(), 0xff);  // a byte, not the end of the file
    EXPECT_EQ(buffer.in_avail(), 1024);
    // A block read passes by the peeked buffer and reads on from the file.
    char block[3];
    EXPECT_EQ(buffer.sgetn(block, 3), 3);
    EXPECT_EQ(std::string(block, 3), contents.substr(1024, 3));
    // The buffer still holds the peeked bytes, and taking them moves on.
    EXPECT_EQ(buffer.sbumpc(), 0xff);
    EXPECT_EQ(buffer.sgetc(), 1);

    // After a seek the get area is empty: a take reads one byte directly, and
    // putting back steps the file back one byte.
    EXPECT_EQ(buffer.pubseekoff(1998, std::ios::beg), 1998);
    EXPECT_EQ(buffer.in_avail(), -1);
    EXPECT_EQ(buffer.sbumpc(), byte(1998));
    EXPECT_EQ(buffer.sungetc(), byte(1998));
    EXPECT_EQ(buffer.sbumpc(), byte(1998));
    EXPECT_EQ(buffer.sbumpc(), byte(1999));
    EXPECT_EQ(buffer.sbumpc(), kEof);
    EXPECT_EQ(buffer.sgetc(), kEof);
    EXPECT_EQ(buffer.sputc('x'), kEof) << "written on a buffer opened for reading";
}

TEST(KelFdStreambuf, ReadAndWritePhasesNeedASeekBetween)
{
    TempDir dir;
    std::string file = dir.file("both");
    std::ofstream(file) << "abcdef";
    KelFdStreambuf buffer;
    ASSERT_NE(buffer.open(at(file), kelModeIn | kelModeOut), nullptr);
    EXPECT_EQ(buffer.sgetc(), 'a');
    EXPECT_EQ(buffer.sputc('X'), kEof);
    EXPECT_EQ(buffer.pubseekoff(1, std::ios::beg), 1);
    EXPECT_EQ(buffer.sputc('X'), 'X');
    EXPECT_EQ(buffer.sgetc(), kEof);
    // The seek writes the pending byte before it moves.
    EXPECT_EQ(buffer.pubseekpos(0), 0);
    EXPECT_EQ(buffer.sgetc(), 'a');
    buffer.close();
    buffer.close();
    EXPECT_EQ(readFile(file), "aXcdef");
    EXPECT_EQ(buffer.pubseekoff(0, std::ios::cur), -1);  // closed
    // After a close the buffer opens again.
    ASSERT_NE(buffer.open(at(file), kelModeIn), nullptr);
    EXPECT_EQ(buffer.sgetc(), 'a');
}

TEST(KelFdStreambuf, InstalledBufferIsUsedAndNotDeleted)
{
    TempDir dir;
    std::string file = dir.file("tiny");
    ScriptedSyscalls calls;
    char one[1];
    {
        KelFdStreambuf buffer;
        buffer.setBuffer(one, 1);
        ASSERT_NE(buffer.open(at(file), kelModeOut), nullptr);
        // A buffer of one byte leaves no room: every character is written at once.
        EXPECT_EQ(buffer.sputc('h'), 'h');
        EXPECT_EQ(buffer.sputc('i'), 'i');
        EXPECT_EQ(calls.writeSizes, (Sizes{1, 1}));
    }
    EXPECT_EQ(readFile(file), "hi");

    // Replacing an owned buffer deletes it (a leak shows under the sanitizer);
    // the new one stays the caller's.
    std::vector<char> mine(8);
    KelFdStreambuf buffer;
    ASSERT_NE(buffer.open(at(file), kelModeIn), nullptr);
    buffer.setBuffer(mine.data(), 8);
    EXPECT_EQ(buffer.sgetc(), 'h');
    EXPECT_EQ(mine[1], 'i');
}

// The report writes through KelOfstream; reading lines must refill across buffers.
TEST(KelStreams, LinesReadAcrossBufferRefills)
{
    TempDir dir;
    std::string file = dir.file("lines");
    std::ofstream(file) << "first\n" << std::string(3000, 'z') << "\nlast";
    KelIfstream in(at(file));
    std::string line[3];
    for (std::string& each : line)
        std::getline(in, each);
    EXPECT_EQ(line[0] + line[2], "firstlast");
    EXPECT_EQ(line[1], std::string(3000, 'z'));
    EXPECT_TRUE(in.eof());
}
