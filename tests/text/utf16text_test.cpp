// Full UTF-8 (four bytes above U+FFFF) to and from 16-bit code units, with
// each rule for a lone surrogate and for a bad byte.
#include "text/utf16text.h"

#include <gtest/gtest.h>

#include <string>

namespace {
std::u16string units(const std::string& bytes, KelBadByte bad)
{
    return kelUnitsOfUtf8(bytes, bad).chars();
}

TEST(Utf16Text, ValidTextTravelsBothWaysUnchanged)
{
    const struct {
        std::string bytes;
        std::u16string units;
    } cases[] = {
        {"plain\x7F", u"plain\x7F"},
        {"\xC2\x80\xDF\xBF", u"\u0080\u07FF"},
        {"\xE0\xA0\x80\xE2\x82\xAC\xEF\xBF\xBF", u"\u0800\u20AC\xFFFF"},
        {"\xF0\x90\x80\x80", u"\xD800\xDC00"},                             // U+10000
        {"d\xF0\x9F\x98\x80.kel", u"d\xD83D\xDE00.kel"},                    // a pair in the middle
        {"\xF4\x8F\xBF\xBF", u"\xDBFF\xDFFF"},                             // U+10FFFF
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.bytes));
        for (KelBadByte bad : {KelBadByte::keep, KelBadByte::replace})
            EXPECT_EQ(units(c.bytes, bad), c.units);
        for (KelLoneSurrogate lone : {KelLoneSurrogate::threeBytes, KelLoneSurrogate::escape, KelLoneSurrogate::replace})
            EXPECT_EQ(kelUtf8OfUnits(c.units.c_str(), lone), c.bytes);
    }
    EXPECT_EQ(kelUtf8OfUnits(nullptr, KelLoneSurrogate::replace), "");
    EXPECT_EQ(units("", KelBadByte::keep), u"");
}

TEST(Utf16Text, ALoneSurrogateFollowsItsRule)
{
    // A low unit first, a high one at the end, a high one before a plain unit.
    const std::u16string text = u"\xDC00x\xD83Dy\xD800";
    EXPECT_EQ(kelUtf8OfUnits(text.c_str(), KelLoneSurrogate::threeBytes),
              "\xED\xB0\x80x\xED\xA0\xBDy\xED\xA0\x80");
    EXPECT_EQ(kelUtf8OfUnits(text.c_str(), KelLoneSurrogate::escape), "\\udc00x\\ud83dy\\ud800");
    EXPECT_EQ(kelUtf8OfUnits(text.c_str(), KelLoneSurrogate::replace),
              "\xEF\xBF\xBDx\xEF\xBF\xBDy\xEF\xBF\xBD");
}

TEST(Utf16Text, EachBadByteIsKeptOrReplacedAlone)
{
    const struct {
        const char* what;
        std::string bytes;
        std::u16string kept, replaced;
    } cases[] = {
        {"stray continuation", "a\x80z", u"a\x80z", u"a\xFFFDz"},
        {"truncated at the end", "a\xE2\x82", u"a\xE2\x82", u"a\xFFFD\xFFFD"},
        {"lead without its continuation", "\xE2(x", u"\xE2(x", u"\xFFFD(x"},
        {"overlong form", "\xC0\xAF", u"\xC0\xAF", u"\xFFFD\xFFFD"},
        {"encoded surrogate", "\xED\xA0\x80", u"\xED\xA0\x80", u"\xFFFD\xFFFD\xFFFD"},
        {"above U+10FFFF", "\xF4\x90\x80\x80", u"\xF4\x90\x80\x80", u"\xFFFD\xFFFD\xFFFD\xFFFD"},
        {"invalid lead", "\xFF\xFE", u"\xFF\xFE", u"\xFFFD\xFFFD"},
        {"Latin-1 name", "caf\xE9.doc", u"caf\xE9.doc", u"caf\xFFFD.doc"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(units(c.bytes, KelBadByte::keep), c.kept);
        EXPECT_EQ(units(c.bytes, KelBadByte::replace), c.replaced);
    }
}
}  // namespace
