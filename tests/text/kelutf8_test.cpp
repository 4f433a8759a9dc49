// The UTF-8 codec in the host's form: one to three bytes per unit.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "kel/kelwidestring.h"
#include "text/kelutf8.h"

namespace {
std::u16string decoded(const std::string& text) { return KelWideString::fromUtf8(text.c_str()).chars(); }

std::string encoded(const std::u16string& units) { return KelWideString(units.c_str(), kelBorrow).utf8(); }

TEST(Utf8Test, EachUnitTravelsInItsOwnForm)
{
    const struct {
        const char* bytes;
        const char16_t* units;
    } cases[] = {
        {"plain\x7F", u"plain\x7F"},
        {"\xC2\x80\xDF\xBF", u"\u0080\u07FF"},
        {"\xC3\xA9t\xC3\xA9", u"\u00E9t\u00E9"},
        {"\xE0\xA0\x80\xE2\x82\xAC\xEF\xBF\xBF", u"\u0800\u20AC\xFFFF"},
        {"\xED\xA0\xBD\xED\xB8\x80", u"\xD83D\xDE00"},  // a surrogate pair: two three-byte forms
        {"\xED\xB8\x80", u"\xDE00"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(std::string(c.bytes)));
        EXPECT_EQ(decoded(c.bytes), c.units);
        EXPECT_EQ(encoded(c.units), c.bytes);
    }
    EXPECT_EQ(KelWideString::fromUtf8("").text(), nullptr);
    EXPECT_EQ(KelWideString::fromUtf8(nullptr).text(), nullptr);
    EXPECT_STREQ(KelWideString().utf8(), "");
}

TEST(Utf8Test, DecodingIsLenientWhereTheHostFormIsLenient)
{
    // The top two bits of a continuation byte go unexamined; a stray one
    // stands for its low seven bits, so 0x80 ends the text.
    EXPECT_EQ(decoded("\xC3\x29"), u"\u00E9");
    EXPECT_EQ(decoded("\xE2\xC2\xAC"), u"\u20AC");
    EXPECT_EQ(decoded("a\xA9z"), u"a\x29z");
    EXPECT_EQ(decoded("a\x80z"), u"a");
}

TEST(Utf8Test, InvalidInputGivesTheEmptyStringAsAWhole)
{
    const char* invalid[] = {
        "\xC0\x80", "\xC1\xBF", "\xE0\x80\x80", "\xE0\x9F\xBF",        // overlong
        "\xF0\x9F\x98\x80", "ok\xF0\x90\x80\x80", "\xF4\x90\x80\x80",  // four bytes, beyond U+10FFFF
        "\xF8\x88\x80\x80\x80", "\xFE", "\xFF",                        // longer forms
        "abc\xC3", "\xE2\x82", "x\xE2",                                // truncated
    };
    for (const char* text : invalid) {
        EXPECT_EQ(KelWideString::fromUtf8(text).text(), nullptr) << testing::PrintToString(std::string(text));
    }
    // A failure far behind a long valid run, found after the vector road.
    std::string longRun(1000, 'a');
    EXPECT_EQ(decoded(longRun + "\xC3\xA9" + longRun + "\xF0\x9F\x98\x80"), u"");
    EXPECT_EQ(decoded(longRun + "\xE2\x82"), u"");
}

TEST(Utf8Test, AsciiRunsOfEveryLengthAroundOtherForms)
{
    for (int before = 0; before < 70; ++before) {
        for (const char* form : {"\xC3\xA9", "\xE2\x82\xAC", "\xBF"}) {
            std::string text = std::string(before, 'x') + form + std::string(70 - before, 'y');
            std::u16string units = decoded(text);
            EXPECT_EQ(units, std::u16string(before, u'x') + decoded(form) + std::u16string(70 - before, u'y'));
            if (form[0] != '\xBF') {  // a stray byte comes back as the unit it stands for
                EXPECT_EQ(encoded(units), text) << before;
            }
        }
    }
}

TEST(Utf8Test, UnitLengthAtEveryAlignment)
{
    alignas(64) char16_t buffer[256];
    for (int start = 0; start < 32; ++start) {
        for (int length = 0; length < 130; ++length) {
            std::fill(std::begin(buffer), std::end(buffer), u'z');
            buffer[start + length] = 0;
            ASSERT_EQ(kelUnitLength(buffer + start), length) << start << " " << length;
        }
    }
}
}  // namespace
