// The reference host's string support.
#include "host/hoststrsupport.h"

#include "host/hostquery.h"
#include "kel/qtxcstring.h"
#include "text/utf16text.h"

KelCString HostStrSupport::toNarrow(const char16_t* units)
{
    if (!units)
        return KelCString();
    return KelCString(kelUtf8OfUnits(units, KelLoneSurrogate::replace).c_str());
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
