#include "text/qtxcstring.h"

#include <gtest/gtest.h>

#include <sstream>
#include <type_traits>

#include "tests/support/testprovider.h"
#include "tests/text/textfakes.h"

// A literal is wrapped on purpose, never copied by accident.
static_assert(!std::is_convertible_v<const char*, KelCString>);
static_assert(std::is_constructible_v<KelCString, const char*, KelBorrowTag>);
static_assert(!std::is_constructible_v<KelCString, const char16_t*>);
static_assert(sizeof(KelCString) == 16);

TEST(KelCString, StorageStatesThroughConstructionCopyAndAssign)
{
    static const char literal[] = "name";
    KelCString null;
    EXPECT_EQ(null.chars(), nullptr);
    EXPECT_EQ(null.capacity(), 0);
    EXPECT_EQ(KelCString(nullptr).chars(), nullptr);
    EXPECT_EQ(KelCString::emptyString().chars(), nullptr);

    KelCString borrowed(literal, kelBorrow);
    EXPECT_EQ(borrowed.chars(), literal);
    EXPECT_EQ(borrowed.capacity(), 0);
    KelCString borrowedCopy(borrowed);
    EXPECT_EQ(borrowedCopy.chars(), literal);
    EXPECT_EQ(borrowedCopy.capacity(), 0);

    KelCString owned(literal);
    EXPECT_NE(owned.chars(), literal);
    EXPECT_GE(owned.capacity(), 5);
    KelCString ownedCopy(owned);
    EXPECT_NE(ownedCopy.chars(), owned.chars());
    EXPECT_TRUE(ownedCopy.equals("name"));

    KelCString target("old");
    target.assign(borrowed);
    EXPECT_EQ(target.chars(), literal);
    EXPECT_EQ(target.capacity(), 0);
    target.assign(owned);
    EXPECT_NE(target.chars(), owned.chars());
    EXPECT_GT(target.capacity(), 0);
    const char* before = target.chars();
    target.assign(target.chars());
    EXPECT_EQ(target.chars(), before);
    target = KelCString(literal, kelBorrow);
    EXPECT_EQ(target.chars(), literal);
    target.assign(static_cast<const char*>(nullptr));
    EXPECT_EQ(target.chars(), nullptr);
    owned.clear();
    EXPECT_EQ(owned.chars(), nullptr);
    EXPECT_EQ(owned.capacity(), 0);
    EXPECT_STREQ(literal, "name");
}

TEST(KelCString, EqualsTellsNullFromEmptyButIsEmptyDoesNot)
{
    KelCString null;
    KelCString empty("");
    EXPECT_TRUE(null.equals(static_cast<const char*>(nullptr)));
    EXPECT_FALSE(null.equals(""));
    EXPECT_FALSE(empty.equals(static_cast<const char*>(nullptr)));
    EXPECT_TRUE(empty.equals(""));
    EXPECT_TRUE(null.isEmpty());
    EXPECT_TRUE(empty.isEmpty());
    EXPECT_EQ(null.length(), 0);
    EXPECT_TRUE(KelCString("abc").equals(KelCString("abc", kelBorrow)));
    EXPECT_FALSE(KelCString("abc").equals("abd"));
    EXPECT_FALSE(KelCString("abc").equals("ab"));
}

TEST(KelCString, FindChecksInOrderAndAssertsOnNegativeStart)
{
    TestServiceProvider provider;
    provider.allowDestroy = false;
    FakeAssertHandler handler;
    provider.add("IKelAssertHandlerCB", &handler);

    KelCString text("abcabc", kelBorrow);
    EXPECT_EQ(text.find("bc", 0), 1);
    EXPECT_EQ(text.find("bc", 2), 4);
    EXPECT_EQ(text.find("abc", 3), 3);
    EXPECT_EQ(text.find("abc", 4), -1);
    EXPECT_EQ(text.find("c", 6), -1);
    EXPECT_EQ(text.find("x", 0), -1);
    EXPECT_EQ(KelCString("aaab").find("aab", 0), 1);
    EXPECT_EQ(KelCString().find("", 0), 0);
    EXPECT_EQ(KelCString().find(nullptr, 0), 0);
    EXPECT_EQ(KelCString("ab").find("abc", 0), -1);

    // The empty and too-long checks come before the one of the start.
    EXPECT_EQ(text.find("", -5), 0);
    EXPECT_EQ(text.find("abcabcd", -1), -1);
    EXPECT_TRUE(handler.failures.empty());

    EXPECT_EQ(text.find("a", -1), -1);
    ASSERT_EQ(handler.failures.size(), 1u);
    EXPECT_EQ(handler.failures[0].expression, "start >= 0");
    EXPECT_EQ(handler.failures[0].file, ".\\qtxcstring");
    EXPECT_GT(handler.failures[0].line, 0);
}

TEST(KelCString, AppendGrowsByExactNeedAndLeavesBorrowedTextAlone)
{
    static const char literal[] = "abc";
    KelCString text(literal, kelBorrow);
    text.append("");
    text.append(nullptr);
    EXPECT_EQ(text.chars(), literal);

    text.append("def");
    EXPECT_STREQ(text.chars(), "abcdef");
    EXPECT_STREQ(literal, "abc");
    EXPECT_GE(text.capacity(), 7);

    KelCString small("ab");  // 3 bytes needed, a block of 4 from the pool
    const char* block = small.chars();
    ASSERT_EQ(small.capacity(), 4);
    small.append("c");
    EXPECT_EQ(small.chars(), block);
    EXPECT_STREQ(small.chars(), "abc");
    small.append(small.chars());
    EXPECT_STREQ(small.chars(), "abcabc");

    KelCString null;
    null.append("x");
    EXPECT_STREQ(null.chars(), "x");
    EXPECT_GT(null.capacity(), 0);
}

TEST(KelCString, ReplaceStaysInPlaceOnlyForOwnedTextOfTheSameLength)
{
    KelCString owned("abcdef");
    const char* block = owned.chars();
    owned.replace(1, 2, "XY");
    EXPECT_EQ(owned.chars(), block);
    EXPECT_STREQ(owned.chars(), "aXYdef");
    owned.replace(0, 1, "123");
    EXPECT_STREQ(owned.chars(), "123XYdef");
    owned.replace(3, 5, nullptr);
    EXPECT_STREQ(owned.chars(), "123");

    static const char literal[] = "abcdef";
    KelCString borrowed(literal, kelBorrow);
    borrowed.replace(1, 2, "XY");
    EXPECT_STREQ(borrowed.chars(), "aXYdef");
    EXPECT_GT(borrowed.capacity(), 0);
    EXPECT_STREQ(literal, "abcdef");
}

TEST(KelCString, ReplaceAllSearchesOnBehindEachReplacement)
{
    KelCString path("a\\b\\\\c\\");
    path.replaceAll("\\", "\\\\");
    EXPECT_STREQ(path.chars(), "a\\\\b\\\\\\\\c\\\\");

    KelCString name("QTXModelFeature::KelIDPar");
    name.replaceAll("QTXModelFeature::", "");
    EXPECT_STREQ(name.chars(), "KelIDPar");
    KelCString twice("x::x::y");
    twice.replaceAll("x::", "");
    EXPECT_STREQ(twice.chars(), "y");

    KelCString grow("aXa");
    grow.replaceAll("a", "aa");
    EXPECT_STREQ(grow.chars(), "aaXaa");

    static const char literal[] = "abc";
    KelCString same(literal, kelBorrow);
    same.replaceAll("b", "b");
    same.replaceAll(nullptr, "x");
    same.replaceAll("b", nullptr);
    EXPECT_EQ(same.chars(), literal);
    KelCString null;
    null.replaceAll("a", "b");
    EXPECT_EQ(null.chars(), nullptr);
}

TEST(KelCString, HashIsDjb2OverSignExtendedBytes)
{
    KelCString::HashFunc hash;
    EXPECT_EQ(hash(KelCString()), 0u);
    EXPECT_EQ(hash(KelCString("")), 5381u);
    EXPECT_EQ(hash(KelCString("a", kelBorrow)), 5381u * 33 + 'a');
    EXPECT_EQ(hash(KelCString("ab", kelBorrow)), (5381u * 33 + 'a') * 33 + 'b');
    EXPECT_EQ(hash(KelCString("\x80", kelBorrow)), 5381u * 33 - 128u);
    EXPECT_NE(hash(KelCString("\xFF", kelBorrow)), 5381u * 33 + 0xFFu);
}

TEST(KelCString, StreamInsertionWritesTheBytesOnly)
{
    std::ostringstream out;
    out << KelCString() << KelCString("") << KelCString("a\xE9z");
    EXPECT_EQ(out.str(), "a\xE9z");
}
