#include "kel/qtxcstring.h"

#include <gtest/gtest.h>

#include <sstream>
#include <type_traits>

#include "tests/support/testprovider.h"
#include "tests/text/textfakes.h"

// A literal is wrapped on purpose, never copied by accident.
static_assert(!std::is_convertible_v<const char*, KelCString>);
static_assert(!std::is_constructible_v<KelCString, const char16_t*>);
static_assert(sizeof(KelCString) == 16);

namespace {
TEST(KelCString, StorageStatesThroughConstructionCopyAndAssign)
{
    static const char literal[] = "name";
    KelCString borrowed(literal, kelBorrow), owned(literal);
    EXPECT_EQ(stateOf(KelCString(nullptr)), 'e');
    EXPECT_EQ(KelCString(borrowed).chars(), literal);
    EXPECT_EQ(stateOf(owned), 'o');
    EXPECT_NE(KelCString(owned).chars(), owned.chars());

    KelCString target("old");
    target.assign(borrowed);
    EXPECT_EQ(target.chars(), literal);
    target.assign(owned);
    EXPECT_NE(target.chars(), owned.chars());
    const char* before = target.chars();
    target.assign(target.chars());  // its own text: nothing to do
    EXPECT_EQ(target.chars(), before);
    target.assign(static_cast<const char*>(nullptr));
    EXPECT_EQ(stateOf(target), 'e');
    owned.clear();
    EXPECT_EQ(stateOf(owned), 'e');
}

TEST(KelCString, EqualsTellsNullFromEmptyButIsEmptyDoesNot)
{
    KelCString null, empty("");
    EXPECT_TRUE(null.equals(static_cast<const char*>(nullptr)));
    EXPECT_FALSE(null.equals(""));
    EXPECT_FALSE(empty.equals(static_cast<const char*>(nullptr)));
    EXPECT_TRUE(empty.equals(""));
    EXPECT_TRUE(null.isEmpty() && empty.isEmpty());
    EXPECT_TRUE(KelCString("abc").equals(KelCString("abc", kelBorrow)));
    EXPECT_FALSE(KelCString("abc").equals("abd") || KelCString("abc").equals("ab"));
}

TEST(KelCString, FindChecksInOrderAndAssertsOnNegativeStart)
{
    TestServiceProvider provider;
    provider.allowDestroy = false;
    AssertRecorder handler;
    provider.add("IKelAssertHandlerCB", &handler);
    // The empty and too-long checks come before the one of the start.
    const struct { const char *text, *needle; int start, found; } cases[] = {
        {"abcabc", "bc", 0, 1}, {"abcabc", "bc", 2, 4},   {"abcabc", "abc", 3, 3}, {"abcabc", "abc", 4, -1},
        {"abcabc", "c", 6, -1}, {"abcabc", "x", 0, -1},   {"aaab", "aab", 0, 1},   {nullptr, "", 0, 0},
        {nullptr, nullptr, 0, 0}, {"ab", "abc", 0, -1},   {"abcabc", "", -5, 0},   {"abcabc", "abcabcd", -1, -1}};
    for (const auto& c : cases)
        EXPECT_EQ(KelCString(c.text, kelBorrow).find(c.needle, c.start), c.found) << c.needle << " " << c.start;
    EXPECT_TRUE(handler.expressions.empty());

    EXPECT_EQ(KelCString("abc").find("a", -1), -1);
    EXPECT_EQ(handler.expressions, std::vector<std::string>{"start >= 0 @ .\\qtxcstring"});
}

TEST(KelCString, AppendAndReplaceStayInPlaceWhileTheOwnedBlockHasRoom)
{
    static const char literal[] = "abcdef";
    KelCString text(literal, kelBorrow);
    text.append("");
    text.append(nullptr);
    EXPECT_EQ(text.chars(), literal);  // no change: still borrowed
    text.replace(1, 2, "XY");
    EXPECT_STREQ(text.chars(), "aXYdef");
    EXPECT_STREQ(literal, "abcdef");

    KelCString small("ab");  // 3 bytes needed, a block of 4 from the pool
    const char* block = small.chars();
    ASSERT_EQ(small.capacity(), 4);
    small.append("c");
    EXPECT_EQ(small.chars(), block);
    small.replace(1, 1, "X");
    small.append(small.chars());
    EXPECT_STREQ(small.chars(), "aXcaXc");
    small.replace(0, 1, "123");
    EXPECT_STREQ(small.chars(), "123XcaXc");
    small.replace(3, 5, nullptr);
    EXPECT_STREQ(small.chars(), "123");

    KelCString null;
    null.append("x");
    EXPECT_EQ(stateOf(null), 'o');
}

TEST(KelCString, ReplaceAllSearchesOnBehindEachReplacement)
{
    const struct { const char *text, *from, *to, *result; } cases[] = {
        {"a\\b\\\\c\\", "\\", "\\\\", "a\\\\b\\\\\\\\c\\\\"},
        {"QTXModelFeature::KelIDPar", "QTXModelFeature::", "", "KelIDPar"},
        {"x::x::y", "x::", "", "y"}, {"aXa", "a", "aa", "aaXaa"}, {nullptr, "a", "b", nullptr}};
    for (const auto& c : cases) {
        KelCString text(c.text);
        text.replaceAll(c.from, c.to);
        EXPECT_STREQ(text.chars(), c.result) << c.text;
    }
    static const char literal[] = "abc";
    KelCString same(literal, kelBorrow);  // no change leaves it borrowed
    same.replaceAll("b", "b");
    same.replaceAll(nullptr, "x");
    same.replaceAll("b", nullptr);
    EXPECT_EQ(same.chars(), literal);
}

TEST(KelCString, HashIsDjb2OverSignExtendedBytes)
{
    KelCString::HashFunc hash;
    EXPECT_EQ(hash(KelCString()), 0u);
    EXPECT_EQ(hash(KelCString("")), 5381u);
    EXPECT_EQ(hash(KelCString("ab", kelBorrow)), (5381u * 33 + 'a') * 33 + 'b');
    EXPECT_EQ(hash(KelCString("\x80", kelBorrow)), 5381u * 33 - 128u);
}

TEST(KelCString, StreamInsertionWritesTheBytesOnly)
{
    std::ostringstream out;
    out << KelCString() << KelCString("") << KelCString("a\xE9z");
    EXPECT_EQ(out.str(), "a\xE9z");
}
}  // namespace
