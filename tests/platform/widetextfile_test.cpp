// The wide read of a UTF-8 text file and the re-entrant critical section.
#include "platform/platform.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/testprovider.h"

namespace {

std::u16string wideOf(const std::string& native)
{
    std::u16string out;
    for (char c : native)
        out += c == '/' ? u'\\' : char16_t((unsigned char)c);  // the test paths are ASCII
    return out;
}

struct Pieces {
    std::vector<std::u16string> list;
    size_t stopAfter = SIZE_MAX;

    std::u16string joined() const
    {
        std::u16string all;
        for (const auto& piece : list)
            all += piece;
        return all;
    }
    static bool take(void* context, const char16_t* units, size_t length)
    {
        auto* self = static_cast<Pieces*>(context);
        EXPECT_EQ(units[length], u'\0');
        self->list.emplace_back(units, length);
        return self->list.size() < self->stopAfter;
    }
};

// Writes `bytes` to a file and reads it back through kelReadWideTextFile.
Pieces readBack(const TempDir& dir, const std::string& bytes, bool* ok = nullptr, size_t stopAfter = SIZE_MAX)
{
    std::string file = dir.file("script.py");
    std::ofstream(file, std::ios::binary) << bytes;
    Pieces pieces;
    pieces.stopAfter = stopAfter;
    bool result = kelReadWideTextFile(wideOf(file).c_str(), Pieces::take, &pieces);
    if (ok)
        *ok = result;
    return pieces;
}

}  // namespace

TEST(WideTextFile, DecodesUtf8DropsTheMarkAndJoinsLineEnds)
{
    TempDir dir;
    bool ok = false;
    EXPECT_EQ(readBack(dir, "\xef\xbb\xbfprint 1\r\nx = 2\r\n", &ok).joined(), u"print 1\nx = 2\n");
    EXPECT_TRUE(ok);
    // A lone CR stays, also at the very end; a mark after the start stays.
    EXPECT_EQ(readBack(dir, "a\rb\r\r\nc\r").joined(), u"a\rb\r\nc\r");
    EXPECT_EQ(readBack(dir, "x\xef\xbb\xbf").joined(), u"x\ufeff");
    EXPECT_EQ(readBack(dir, "\xc3\xa9\xe6\x97\xa5\xf0\x9f\x98\x80").joined(), u"\u00e9\u65e5\U0001F600");
    // Broken sequences become U+FFFD; their valid beginning goes with them.
    EXPECT_EQ(readBack(dir, "a\xff" "b\xe6\x97" "c\xed\xa0\x80" "d\xc3").joined(),
              u"a\ufffd" "b\ufffd" "c\ufffd\ufffd\ufffd" "d\ufffd");
    // A file that holds only the mark, or nothing, gives no piece.
    EXPECT_TRUE(readBack(dir, "\xef\xbb\xbf", &ok).list.empty());
    EXPECT_TRUE(ok);
    EXPECT_TRUE(readBack(dir, "").list.empty());
}

TEST(WideTextFile, PiecesEndAtLineFeedsOrAfter8193Units)
{
    TempDir dir;
    Pieces pieces = readBack(dir, "one\ntwo\n" + std::string(20000, 'a') + "\ntail");
    ASSERT_EQ(pieces.list.size(), 6u);
    EXPECT_EQ(pieces.list[0], u"one\n");
    EXPECT_EQ(pieces.list[1], u"two\n");
    EXPECT_EQ(pieces.list[2].size(), 8193u);
    EXPECT_EQ(pieces.list[3].size(), 8193u);
    EXPECT_EQ(pieces.list[4], std::u16string(20000 - 2 * 8193, u'a') + u"\n");
    EXPECT_EQ(pieces.list[5], u"tail");

    // A surrogate pair is never cut between two pieces.
    pieces = readBack(dir, std::string(8192, 'b') + "\xf0\x9f\x98\x80");
    ASSERT_EQ(pieces.list.size(), 2u);
    EXPECT_EQ(pieces.list[0], std::u16string(8192, u'b'));
    EXPECT_EQ(pieces.list[1], u"\U0001F600");

    // CR LF and multi-byte sequences that straddle the reader's 64 KiB blocks.
    std::string across(65535, 'c');
    across += "\r\n\xe6\x97\xa5";
    std::string longer(65534, 'c');
    longer += "\xe6\x97\xa5";
    EXPECT_EQ(readBack(dir, across).joined(), std::u16string(65535, u'c') + u"\n\u65e5");
    EXPECT_EQ(readBack(dir, longer).joined(), std::u16string(65534, u'c') + u"\u65e5");
}

TEST(WideTextFile, StopsWhenAskedAndFailsOnMissingFile)
{
    TempDir dir;
    Pieces pieces = readBack(dir, "1\n2\n3\n", nullptr, 2);
    EXPECT_EQ(pieces.list.size(), 2u);

    Pieces none;
    EXPECT_FALSE(kelReadWideTextFile(wideOf(dir.file("missing.py")).c_str(), Pieces::take, &none));
    EXPECT_FALSE(kelReadWideTextFile(wideOf(dir.path()).c_str(), Pieces::take, &none));  // a directory
    EXPECT_TRUE(none.list.empty());
}

TEST(CriticalSection, IsReentrantAndExcludesOtherThreads)
{
    KelCriticalSection section;
    kelCriticalSectionInit(&section);
    kelCriticalSectionEnter(&section);
    kelCriticalSectionEnter(&section);
    kelCriticalSectionLeave(&section);

    // Still held once: another thread has to wait for the second leave.
    std::atomic<bool> entered{false};
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
}

TEST(CriticalSection, KeepsCountsExactUnderContention)
{
    KelCriticalSection section;
    kelCriticalSectionInit(&section);
    long long counter = 0;  // guarded by the section only
    int inside = 0;
    bool overlapped = false;
    auto work = [&] {
        for (int i = 0; i < 200000; ++i) {
            kelCriticalSectionEnter(&section);
            if (++inside != 1)
                overlapped = true;
            kelCriticalSectionEnter(&section);  // nested, as the pool does
            ++counter;
            kelCriticalSectionLeave(&section);
            --inside;
            kelCriticalSectionLeave(&section);
        }
    };
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back(work);
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(counter, 4 * 200000);
    EXPECT_FALSE(overlapped);
}
