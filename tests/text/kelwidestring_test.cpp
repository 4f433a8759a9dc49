#include "kel/kelwidestring.h"

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
static_assert(sizeof(KelWideString) == 48);

namespace {
std::u16string units(const KelWideString& text) { return std::u16string(text.chars()); }

char stateOf(const KelWideString& text) { return storageState(text.text(), text.textCapacity()); }

KelWideString w(const char16_t* text) { return KelWideString(text, kelBorrow); }

TEST(KelWideString, StorageStatesThroughConstructionCopyAndAssign)
{
    static const char16_t literal[] = u"text";
    static const char narrowLiteral[] = "text";
    KelWideString empty;
    EXPECT_EQ(stateOf(empty), 'e');
    EXPECT_NE(empty.chars(), nullptr);

    KelWideString borrowed(literal, kelBorrow, narrowLiteral);
    borrowed.utf8();
    KelWideString borrowedCopy(borrowed);  // the companions are not copied
    EXPECT_EQ(borrowedCopy.text(), literal);
    EXPECT_EQ(borrowedCopy.narrow(), narrowLiteral);
    EXPECT_EQ(borrowedCopy.utf8Capacity(), 0);

    KelWideString owned("t\xE9xt");  // bytes are Latin-1
    EXPECT_EQ(units(owned), u"t\u00E9xt");
    owned.narrow();
    KelWideString ownedCopy(owned);
    EXPECT_NE(ownedCopy.text(), owned.text());
    EXPECT_EQ(ownedCopy.narrowCapacity(), 0);

    EXPECT_EQ(units(KelWideString(KelCString("ab"))), u"ab");
    EXPECT_EQ(units(KelWideString('\xFF')), u"\u00FF");
    EXPECT_EQ(stateOf(KelWideString(static_cast<const char*>(nullptr))), 'e');

    KelWideString target("old");
    target.assign(borrowed);
    EXPECT_EQ(target.text(), literal);
    target.assign(owned);
    EXPECT_EQ(stateOf(target), 'o');
    target.assign(literal);
    EXPECT_NE(target.text(), literal);
    target.assign(static_cast<const char16_t*>(nullptr));
    EXPECT_TRUE(target.isEmpty());
}

TEST(KelWideString, EqualsAndFindTreatNullAndEmptyAlike)
{
    KelWideString null;
    EXPECT_TRUE(null.equals(w(u"")));
    EXPECT_TRUE(w(u"").equals(null));
    EXPECT_FALSE(w(u"Ab").equals(w(u"ab")) || w(u"ab").equals(w(u"abc")));
    EXPECT_TRUE(KelWideString("ab").equals(w(u"ab")));

    const struct { const char16_t *text, *needle; int start, found; } cases[] = {
        {u"abcabc", u"bc", 0, 1}, {u"abcabc", u"bc", 2, 4}, {u"abcabc", u"abc", 4, -1}, {u"abcabc", u"a", 6, -1},
        {u"abcabc", u"a", -1, -1}, {u"abcabc", u"", 99, 0}, {nullptr, nullptr, 0, 0},   {u"ab", u"abc", 0, -1},
        {u"aaab", u"aab", 0, 1}};
    for (const auto& c : cases)
        EXPECT_EQ(w(c.text).find(w(c.needle), c.start), c.found) << c.start;
}

TEST(KelWideString, LeftMidAndReplaceRangeMakeStringsOfTheirOwn)
{
    static const char16_t literal[] = u"abcdef";
    KelWideString text(literal, kelBorrow);
    EXPECT_EQ(stateOf(text.left(3)), 'o');
    const struct { KelWideString result; const char16_t* expected; } cases[] = {
        {text.left(3), u"abc"},     {text.left(6), u"abcdef"},   {text.left(99), u"abcdef"}, {text.left(0), u""},
        {text.mid(2, 2), u"cd"},    {text.mid(4, 99), u"ef"},    {text.mid(6, 3), u""},      {text.mid(1, 0), u""},
        {text.replaceRange(1, 3, KelWideString("XYZ")), u"aXYZdef"}, {text.replaceRange(0, 6, KelWideString()), u""}};
    for (const auto& c : cases)
        EXPECT_EQ(units(c.result), c.expected);
    EXPECT_EQ(text.text(), literal);
}

TEST(KelWideString, EditingOwnsAndStaysInPlaceWithRoom)
{
    static const char16_t literal[] = u"abc";
    KelWideString borrowed(literal, kelBorrow);
    borrowed.append(KelWideString());
    EXPECT_EQ(stateOf(borrowed), 'o');
    KelWideString removed(literal, kelBorrow);
    removed.remove(1, 1);
    EXPECT_EQ(units(removed), u"ac");
    EXPECT_EQ(std::u16string(literal), u"abc");

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

TEST(KelWideString, ReplaceAllSearchesOnBehindEachReplacement)
{
    const struct { const char16_t *text, *from, *to, *result; } cases[] = {
        {u"a\\b\\", u"\\", u"\\\\", u"a\\\\b\\\\"}, {u"aXa", u"a", u"aa", u"aaXaa"}, {u"x::y::", u"::", nullptr, u"xy"}};
    for (const auto& c : cases) {
        KelWideString text = w(c.text);
        text.replaceAll(w(c.from), w(c.to));
        EXPECT_EQ(units(text), c.result);
    }
    static const char16_t literal[] = u"abc";
    KelWideString same(literal, kelBorrow);  // no change leaves it borrowed
    same.replaceAll(w(u"b"), w(u"b"));
    same.replaceAll(KelWideString(), w(u"x"));
    EXPECT_EQ(same.text(), literal);
}

TEST(KelWideString, FormatFillsPlaceholdersByOrderOfAppearance)
{
    KelWideString first("one"), second("two"), tenth("ten"), nullText;
    const KelWideString* args[] = {&first, &second, &first, &first, &first,
                                   &first, &first, &first, &first, &tenth, nullptr};
    const KelWideString* empties[] = {nullptr, &second, nullptr};
    const KelWideString* withNullText[] = {&nullText, &second, nullptr};
    const struct { const char* text; const KelWideString* const* args; const char16_t* result; } cases[] = {
        {"a %1 b %2 c", args, u"a one b two c"}, {"%2-%1", args, u"two-one"},       {"%:", args, u"ten"},
        {"100%", args, u"100%"},                 {"%%1 %0 %x", args, u"%%1 %0 %x"}, {"[%1] [%2]", empties, u"[] []"},
        {"[%1] [%2] [%3]", withNullText, u"[] [two] []"}};
    for (const auto& c : cases) {
        KelWideString text(c.text);
        text.format(c.args);
        EXPECT_EQ(units(text), c.result) << c.text;
    }
    KelWideString borrowed(u"%1", kelBorrow);  // only an owned text is formatted
    borrowed.format(args);
    EXPECT_EQ(units(borrowed), u"%1");
}

TEST(KelWideString, NarrowAndToLowerUseTheHostServiceWhenThereIsOne)
{
    static const char16_t mixed[] = u"MiXeD";
    KelWideString text(u"A\u00E9b\u20ACc", kelBorrow);
    EXPECT_STREQ(text.narrow(), "Abc");  // without the service only ASCII is kept
    EXPECT_EQ(w(mixed).toLower().text(), mixed);  // and toLower is a plain copy
    std::ostringstream out;
    out << text << KelWideString();
    EXPECT_EQ(out.str(), "Abc");
    static const char companion[] = "given";
    KelWideString withCompanion(u"x", kelBorrow, companion);
    withCompanion.assign(KelWideString("changed"));
    EXPECT_EQ(withCompanion.narrow(), companion);

    TestServiceProvider provider;
    provider.allowDestroy = false;
    FakeStrSupport support;
    provider.add("IKelStrSupport", &support);
    EXPECT_STREQ(text.narrow(), "A\xE9" "b?c");
    EXPECT_EQ(units(w(mixed).toLower()), u"mixed");
    EXPECT_EQ(std::u16string(mixed), u"MiXeD");
    EXPECT_TRUE(KelWideString().toLower().isEmpty());
    EXPECT_EQ(support.calls, 2);
    EXPECT_EQ(support.count, 0);  // every reference taken was given back
}
}  // namespace
