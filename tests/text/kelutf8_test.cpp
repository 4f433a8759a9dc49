#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "text/kelutf8.h"
#include "text/kelwidestring.h"

namespace {

std::u16string decoded(const std::string& bytes)
{
    return std::u16string(KelWideString::fromUtf8(bytes.c_str()).chars());
}

std::string encoded(const std::u16string& units)
{
    return KelWideString(units.c_str(), kelBorrow).utf8();
}

}  // namespace

TEST(Utf8Decode, ValidFormsGiveTheirUnits)
{
    EXPECT_EQ(decoded("plain"), u"plain");
    EXPECT_EQ(decoded("\x7F"), u"\x7F");
    EXPECT_EQ(decoded("\xC2\x80"), u"\u0080");
    EXPECT_EQ(decoded("\xC3\xA9t\xC3\xA9"), u"\u00E9t\u00E9");
    EXPECT_EQ(decoded("\xDF\xBF"), u"\u07FF");
    EXPECT_EQ(decoded("\xE0\xA0\x80"), u"\u0800");
    EXPECT_EQ(decoded("\xE2\x82\xAC"), u"\u20AC");
    EXPECT_EQ(decoded("\xEF\xBF\xBF"), u"\xFFFF");
    // Surrogates come as three-byte forms, one per unit.
    EXPECT_EQ(decoded("\xED\xA0\xBD\xED\xB8\x80"), u"\xD83D\xDE00");
    EXPECT_EQ(decoded("\xED\xB8\x80"), u"\xDE00");
    EXPECT_EQ(KelWideString::fromUtf8("").text(), nullptr);
    EXPECT_EQ(KelWideString::fromUtf8(nullptr).text(), nullptr);
    EXPECT_GT(KelWideString::fromUtf8("x").textCapacity(), 0);
}

TEST(Utf8Decode, LenientWhereTheHostFormIsLenient)
{
    // The top two bits of a continuation byte are not examined.
    EXPECT_EQ(decoded("\xC3\x29"), u"\u00E9");
    EXPECT_EQ(decoded("\xE2\xC2\xAC"), u"\u20AC");
    // A stray continuation byte stands for its low seven bits; 0x80 thus
    // gives a zero unit, which ends the text.
    EXPECT_EQ(decoded("a\xA9z"), u"a\x29z");
    EXPECT_EQ(decoded("a\x80z"), u"a");
}

TEST(Utf8Decode, InvalidInputGivesTheEmptyStringAsAWhole)
{
    const char* invalid[] = {
        "\xC0\x80", "\xC1\xBF", "\xE0\x80\x80", "\xE0\x9F\xBF",  // overlong
        "\xF0\x9F\x98\x80", "ok\xF0\x90\x80\x80", "\xF4\x90\x80\x80",  // four bytes, beyond U+10FFFF
        "\xF8\x88\x80\x80\x80", "\xFE", "\xFF",                        // longer forms
        "abc\xC3", "\xE2\x82", "x\xE2",                               // truncated
    };
    for (const char* text : invalid) {
        KelWideString result = KelWideString::fromUtf8(text);
        EXPECT_EQ(result.text(), nullptr) << "input " << ::testing::PrintToString(std::string(text));
        EXPECT_EQ(result.textCapacity(), 0);
    }
    // A failure far behind a long valid run, found after the vector road.
    std::string longRun(1000, 'a');
    EXPECT_EQ(decoded(longRun + "\xC3\xA9" + longRun + "\xF0\x9F\x98\x80"), u"");
    EXPECT_EQ(decoded(longRun + "\xE2\x82"), u"");
}

TEST(Utf8Decode, AsciiRunsOfEveryLengthAroundOtherForms)
{
    for (int before = 0; before < 70; ++before) {
        for (const char* form : {"\xC3\xA9", "\xE2\x82\xAC", "\xBF"}) {
            std::string text = std::string(before, 'x') + form + std::string(70 - before, 'y');
            std::u16string units = decoded(text);
            ASSERT_EQ(units.size(), 71u) << before;
            EXPECT_EQ(units.find_first_not_of(u'x'), static_cast<size_t>(before));
            EXPECT_EQ(units.find_last_not_of(u'y'), static_cast<size_t>(before));
            EXPECT_EQ(units[before], decoded(form)[0]);
        }
    }
}

TEST(Utf8Encode, EachUnitByItself)
{
    EXPECT_EQ(encoded(u"A\x7F"), "A\x7F");
    EXPECT_EQ(encoded(u"\u0080\u07FF"), "\xC2\x80\xDF\xBF");
    EXPECT_EQ(encoded(u"\u0800\u20AC\xFFFF"), "\xE0\xA0\x80\xE2\x82\xAC\xEF\xBF\xBF");
    EXPECT_EQ(encoded(u"\xD83D\xDE00"), "\xED\xA0\xBD\xED\xB8\x80");
    KelWideString empty;
    ASSERT_NE(empty.utf8(), nullptr);
    EXPECT_STREQ(empty.utf8(), "");

    std::u16string mixed = u"\xD83D\xDE00 caf\u00E9 \u20AC";
    EXPECT_EQ(decoded(encoded(mixed)), mixed);
    for (int before = 0; before < 40; ++before) {
        std::u16string text = std::u16string(before, u'a') + u"\u00E9" + std::u16string(40, u'b');
        std::string bytes = encoded(text);
        EXPECT_EQ(bytes, std::string(before, 'a') + "\xC3\xA9" + std::string(40, 'b')) << before;
    }
}

TEST(Utf8Encode, UnitLengthAtEveryAlignment)
{
    alignas(64) char16_t buffer[256];
    for (int start = 0; start < 32; ++start) {
        for (int length = 0; length < 130; ++length) {
            for (char16_t& unit : buffer)
                unit = u'z';
            buffer[start + length] = 0;
            ASSERT_EQ(kelUnitLength(buffer + start), length) << start << " " << length;
        }
    }
}
