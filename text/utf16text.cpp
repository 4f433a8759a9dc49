// Full UTF-8 and 16-bit code units.
#include "text/utf16text.h"

namespace {

bool isHigh(uint32_t unit)
{
    return unit >= 0xD800 && unit <= 0xDBFF;
}
bool isLow(uint32_t unit)
{
    return unit >= 0xDC00 && unit <= 0xDFFF;
}

void appendCodePoint(std::string& out, uint32_t c)
{
    if (c < 0x80) {
        out += static_cast<char>(c);
    } else if (c < 0x800) {
        out += static_cast<char>(0xC0 | (c >> 6));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        out += static_cast<char>(0xE0 | (c >> 12));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (c >> 18));
        out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    }
}

}  // namespace

int kelUtf8Sequence(const unsigned char* p, const unsigned char* end, uint32_t& c)
{
    unsigned char lead = p[0];
    int length = lead < 0x80 ? 1 : (lead & 0xE0) == 0xC0 ? 2 : (lead & 0xF0) == 0xE0 ? 3 : (lead & 0xF8) == 0xF0 ? 4 : 0;
    if (length == 0 || end - p < length)
        return 0;
    static const uint32_t leadMask[] = {0, 0x7F, 0x1F, 0x0F, 0x07};
    static const uint32_t shortest[] = {0, 0, 0x80, 0x800, 0x10000};
    c = lead & leadMask[length];
    for (int i = 1; i < length; ++i) {
        if ((p[i] & 0xC0) != 0x80)
            return 0;
        c = (c << 6) | (p[i] & 0x3F);
    }
    if (c < shortest[length] || c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF))
        return 0;
    return length;
}


std::string kelUtf8OfUnits(const char16_t* units, KelLoneSurrogate lone)
{
    static const char hex[] = "0123456789abcdef";
    std::string out;
    for (; units && *units; ++units) {
        uint32_t c = *units;
        if (isHigh(c) && isLow(units[1])) {
            c = 0x10000 + ((c - 0xD800) << 10) + (units[1] - 0xDC00);
            ++units;
        } else if (isHigh(c) || isLow(c)) {
            if (lone == KelLoneSurrogate::escape) {
                out += "\\u";
                for (int shift = 12; shift >= 0; shift -= 4)
                    out += hex[(c >> shift) & 15];
                continue;
            }
            if (lone == KelLoneSurrogate::replace)
                c = 0xFFFD;
        }
        appendCodePoint(out, c);
    }
    return out;
}

KelWideString kelUnitsOfUtf8(const std::string& bytes, KelBadByte bad)
{
    std::u16string units;
    const auto* p = reinterpret_cast<const unsigned char*>(bytes.data());
    const unsigned char* end = p + bytes.size();
    while (p < end) {
        uint32_t c = 0;
        int length = kelUtf8Sequence(p, end, c);
        if (length == 0) {
            units += bad == KelBadByte::keep ? static_cast<char16_t>(*p) : u'\xFFFD';
            ++p;
            continue;
        }
        p += length;
        if (c >= 0x10000) {
            units += static_cast<char16_t>(0xD800 + ((c - 0x10000) >> 10));
            units += static_cast<char16_t>(0xDC00 + ((c - 0x10000) & 0x3FF));
        } else {
            units += static_cast<char16_t>(c);
        }
    }
    KelWideString text;
    if (!units.empty())
        text.assign(units.c_str());
    return text;
}
