// The reference host's string support.
#include "host/hoststrsupport.h"

#include <string>

#include "host/hostquery.h"
#include "text/qtxcstring.h"

namespace {
void appendUtf8(std::string& out, char32_t c)
{
    if (c < 0x80) {
        out += static_cast<char>(c);
    } else if (c < 0x800) {
        out += static_cast<char>(0xc0 | (c >> 6));
        out += static_cast<char>(0x80 | (c & 0x3f));
    } else if (c < 0x10000) {
        out += static_cast<char>(0xe0 | (c >> 12));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3f));
        out += static_cast<char>(0x80 | (c & 0x3f));
    } else {
        out += static_cast<char>(0xf0 | (c >> 18));
        out += static_cast<char>(0x80 | ((c >> 12) & 0x3f));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3f));
        out += static_cast<char>(0x80 | (c & 0x3f));
    }
}

bool isHigh(char16_t u)
{
    return u >= 0xd800 && u < 0xdc00;
}

bool isLow(char16_t u)
{
    return u >= 0xdc00 && u < 0xe000;
}
}  // namespace

KelCString HostStrSupport::toNarrow(const char16_t* units)
{
    if (!units)
        return KelCString();
    std::string out;
    for (const char16_t* p = units; *p; ++p) {
        char32_t c = *p;
        if (isHigh(*p) && isLow(p[1])) {
            c = 0x10000 + ((static_cast<char32_t>(*p) - 0xd800) << 10) + (static_cast<char32_t>(p[1]) - 0xdc00);
            ++p;
        } else if (isHigh(*p) || isLow(*p)) {
            c = 0xfffd;
        }
        appendUtf8(out, c);
    }
    return KelCString(out.c_str());
}

void HostStrSupport::lowerInPlace(char16_t* units)
{
    if (!units)
        return;
    for (char16_t* p = units; *p; ++p) {
        char16_t u = *p;
        if ((u >= u'A' && u <= u'Z') || (u >= 0xc0 && u <= 0xde && u != 0xd7))
            *p = static_cast<char16_t>(u + 0x20);
    }
}

void HostStrSupport::queryInterface(const char* name, void* out, bool flag)
{
    hostQueryInterface<IKelStrSupport>(this, "HostStrSupport", name, out);
}
