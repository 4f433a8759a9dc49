#include "text/kelwidestring.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <type_traits>

#include "tests/support/testprovider.h"
#include "tests/text/textfakes.h"

// A unit or a number would be truncated or read as a code, and a bare
// pointer to units must say whether it borrows.
static_assert(!std::is_constructible_v<KelWideString, char16_t>);
static_assert(!std::is_constructible_v<KelWideString, int>);
static_assert(!std::is_constructible_v<KelWideString, const char16_t*>);
static_assert(!std::is_convertible_v<const char*, KelWideString>);
static_assert(std::is_constructible_v<KelWideString, char>);
static_assert(sizeof(KelWideString) == 48);

namespace {

std::u16string units(const KelWideString& text)
{
    return std::u16string(text.chars());
}

}  // namespace

TEST(KelWideString, StorageStatesThroughConstructionCopyAndAssign)
{
    static const char16_t literal[] = u"text";
    static const char narrowLiteral[] = "text";
    KelWideString empty;
    EXPECT_EQ(empty.text(), nullptr);
    EXPECT_EQ(empty.textCapacity() + empty.narrowCapacity() + empty.utf8Capacity(), 0);
    EXPECT_NE(empty.chars(), nullptr);

    KelWideString borrowed(literal, kelBorrow, narrowLiteral);
    borrowed.utf8();
    KelWideString borrowedCopy(borrowed);
    EXPECT_EQ(borrowedCopy.text(), literal);
    EXPECT_EQ(borrowedCopy.textCapacity(), 0);
    EXPECT_EQ(borrowedCopy.narrow(), narrowLiteral);
    EXPECT_EQ(borrowedCopy.utf8Capacity(), 0);

    KelWideString owned("t\xE9xt");  // bytes are Latin-1
    EXPECT_EQ(units(owned), u"t\u00E9xt");
    owned.narrow();
    KelWideString ownedCopy(owned);
    EXPECT_NE(ownedCopy.text(), owned.text());
    EXPECT_EQ(ownedCopy.narrowCapacity(), 0);
    ownedCopy.append(u'!');
    EXPECT_EQ(units(owned), u"t\u00E9xt");

    EXPECT_EQ(units(KelWideString(KelCString("ab"))), u"ab");
    EXPECT_EQ(units(KelWideString('\xFF')), u"\u00FF");
    EXPECT_EQ(KelWideString(static_cast<const char*>(nullptr)).text(), nullptr);

    KelWideString target("old");
    target.assign(borrowed);
    EXPECT_EQ(target.text(), literal);
    target.assign(owned);
    EXPECT_NE(target.text(), owned.text());
    EXPECT_GT(target.textCapacity(), 0);
    target.assign(literal);
    EXPECT_NE(target.text(), literal);
    EXPECT_EQ(units(target), u"text");
    target.assign(static_cast<const char16_t*>(nullptr));
    EXPECT_TRUE(target.isEmpty());
    EXPECT_EQ(&KelWideString::emptyString(), &KelWideString::emptyString());
    EXPECT_TRUE(KelWideString::emptyString().isEmpty());
}

TEST(KelWideString, ReadingTreatsNullAndEmptyAlike)
{
    KelWideString null;
    KelWideString empty(u"", kelBorrow);
    EXPECT_TRUE(null.equals(empty));
    EXPECT_TRUE(empty.equals(null));
    EXPECT_EQ(null.length(), 0);
    EXPECT_FALSE(KelWideString("Ab").equals(KelWideString("ab")));
    EXPECT_FALSE(KelWideString("ab").equals(KelWideString("abc")));
    EXPECT_TRUE(KelWideString("ab").equals(KelWideString(u"ab", kelBorrow)));
}

TEST(KelWideString, FindGivesMinusOneForStartsOutOfRange)
{
    KelWideString text(u"abcabc", kelBorrow);
    EXPECT_EQ(text.find(KelWideString("bc"), 0), 1);
    EXPECT_EQ(text.find(KelWideString("bc"), 2), 4);
    EXPECT_EQ(text.find(KelWideString("abc"), 4), -1);
    EXPECT_EQ(text.find(KelWideString("a"), 6), -1);
    EXPECT_EQ(text.find(KelWideString("a"), -1), -1);
    EXPECT_EQ(text.find(KelWideString(""), 99), 0);
    EXPECT_EQ(KelWideString().find(KelWideString(), 0), 0);
    EXPECT_EQ(KelWideString("ab").find(KelWideString("abc"), 0), -1);
    EXPECT_EQ(KelWideString("aaab").find(KelWideString("aab"), 0), 1);
}

TEST(KelWideString, LeftMidAndReplaceRangeMakeStringsOfTheirOwn)
{
    static const char16_t literal[] = u"abcdef";
    KelWideString text(literal, kelBorrow);
    KelWideString head = text.left(3);
    EXPECT_EQ(units(head), u"abc");
    EXPECT_GT(head.textCapacity(), 0);
    EXPECT_EQ(units(text.left(6)), u"abcdef");
    EXPECT_EQ(units(text.left(99)), u"abcdef");
    EXPECT_TRUE(text.left(0).isEmpty());
    EXPECT_EQ(units(text.mid(2, 2)), u"cd");
    EXPECT_EQ(units(text.mid(4, 99)), u"ef");
    EXPECT_TRUE(text.mid(6, 3).isEmpty());
    EXPECT_TRUE(text.mid(1, 0).isEmpty());
    EXPECT_EQ(units(text.replaceRange(1, 3, KelWideString("XYZ"))), u"aXYZdef");
    EXPECT_EQ(units(text.replaceRange(0, 6, KelWideString())), u"");
    EXPECT_EQ(text.text(), literal);
    EXPECT_EQ(std::u16string(literal), u"abcdef");
}

TEST(KelWideString, AppendAlwaysOwnsAndStaysInPlaceWithRoom)
{
    static const char16_t literal[] = u"ab";
    KelWideString borrowed(literal, kelBorrow);
    borrowed.append(KelWideString());
    EXPECT_NE(borrowed.text(), literal);
    EXPECT_GT(borrowed.textCapacity(), 0);
    EXPECT_EQ(units(borrowed), u"ab");

    KelWideString text("a");  // 4 bytes needed; the pool gives 4
    ASSERT_EQ(text.textCapacity(), 4);
    text.append(u'b');
    EXPECT_EQ(units(text), u"ab");
    KelWideString grown("ab");  // 6 bytes needed, 8 given: room for one more unit
    const char16_t* block = grown.text();
    grown.append(KelWideString("c"));
    EXPECT_EQ(grown.text(), block);
    grown.append(grown);
    EXPECT_EQ(units(grown), u"abcabc");
    KelWideString null;
    null.append(u'x');
    EXPECT_EQ(units(null), u"x");
}

TEST(KelWideString, ReplaceAllAndRemove)
{
    KelWideString path(u"a\\b\\", kelBorrow);
    path.replaceAll(KelWideString(u"\\", kelBorrow), KelWideString(u"\\\\", kelBorrow));
    EXPECT_EQ(units(path), u"a\\\\b\\\\");

    KelWideString grow("aXa");
    grow.replaceAll(KelWideString("a"), KelWideString("aa"));
    EXPECT_EQ(units(grow), u"aaXaa");
    KelWideString gone("x::y::");
    gone.replaceAll(KelWideString("::"), KelWideString());
    EXPECT_EQ(units(gone), u"xy");

    static const char16_t literal[] = u"abc";
    KelWideString same(literal, kelBorrow);
    same.replaceAll(KelWideString("b"), KelWideString("b"));
    same.replaceAll(KelWideString(), KelWideString("x"));
    EXPECT_EQ(same.text(), literal);

    same.remove(1, 1);
    EXPECT_EQ(units(same), u"ac");
    EXPECT_GT(same.textCapacity(), 0);
    EXPECT_EQ(std::u16string(literal), u"abc");
    same.remove(0, 2);
    EXPECT_TRUE(same.isEmpty());
}

TEST(KelWideString, FormatFillsPlaceholdersByOrderOfAppearance)
{
    KelWideString first("one"), second("two"), tenth("ten");
    const KelWideString* args[] = {&first, &second, &first, &first, &first,
                                   &first, &first, &first, &first, &tenth, nullptr};
    auto formatted = [&](const char* text, const KelWideString* const* with) {
        KelWideString result(text);
        result.format(with);
        return units(result);
    };
    EXPECT_EQ(formatted("a %1 b %2 c", args), u"a one b two c");
    EXPECT_EQ(formatted("%2-%1", args), u"two-one");
    EXPECT_EQ(formatted("%:", args), u"ten");
    EXPECT_EQ(formatted("100%", args), u"100%");
    EXPECT_EQ(formatted("%%1 %0 %x", args), u"%%1 %0 %x");

    KelWideString nullText;
    const KelWideString* empties[] = {nullptr, &second, nullptr};
    EXPECT_EQ(formatted("[%1] [%2]", empties), u"[] []");
    const KelWideString* withNullText[] = {&nullText, &second, nullptr};
    EXPECT_EQ(formatted("[%1] [%2] [%3]", withNullText), u"[] [two] []");

    KelWideString plain("no placeholder");
    const char16_t* block = plain.text();
    plain.format(args);
    EXPECT_EQ(plain.text(), block);
    KelWideString borrowed(u"%1", kelBorrow);
    borrowed.format(args);
    EXPECT_EQ(units(borrowed), u"%1");
}

TEST(KelWideString, NarrowWithoutServiceKeepsAsciiOnly)
{
    KelWideString text(u"a\u00E9b\u20ACc", kelBorrow);
    EXPECT_STREQ(text.narrow(), "abc");
    EXPECT_STREQ(KelWideString(u"\u00E9\u20AC", kelBorrow).narrow(), "");
    EXPECT_STREQ(KelWideString().narrow(), "");

    static const char companion[] = "given";
    KelWideString withCompanion(u"x", kelBorrow, companion);
    withCompanion.assign(KelWideString("changed"));
    EXPECT_EQ(withCompanion.narrow(), companion);

    std::ostringstream out;
    out << text << KelWideString();
    EXPECT_EQ(out.str(), "abc");
}

TEST(KelWideString, NarrowAndToLowerUseTheHostServiceAndReleaseIt)
{
    TestServiceProvider provider;
    provider.allowDestroy = false;
    FakeStrSupport support;
    provider.add("IKelStrSupport", &support);

    KelWideString text(u"AB\u00E9\u20AC", kelBorrow);
    EXPECT_STREQ(text.narrow(), "AB\xE9?");
    EXPECT_GT(text.narrowCapacity(), 0);
    EXPECT_EQ(support.narrowCalls, 1);

    static const char16_t literal[] = u"MiXeD";
    KelWideString borrowed(literal, kelBorrow);
    KelWideString lowered = borrowed.toLower();
    EXPECT_EQ(units(lowered), u"mixed");
    EXPECT_GT(lowered.textCapacity(), 0);
    EXPECT_EQ(std::u16string(literal), u"MiXeD");
    EXPECT_TRUE(KelWideString().toLower().isEmpty());
    EXPECT_EQ(support.lowerCalls, 1);
    EXPECT_EQ(provider.addRefs.load(), provider.releases.load());
    EXPECT_EQ(support.count, 0);
}

TEST(KelWideString, ToLowerWithoutServiceIsAnUnchangedCopy)
{
    static const char16_t literal[] = u"MiXeD";
    KelWideString lowered = KelWideString(literal, kelBorrow).toLower();
    EXPECT_EQ(lowered.text(), literal);
    EXPECT_EQ(units(KelWideString("ABC").toLower()), u"ABC");
}
