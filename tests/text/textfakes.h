// Fakes of the host services that the strings call: a string conversion
// service and an assertion handler, each recording what it was asked.
#pragma once

#include <string>
#include <vector>

#include "kel/hostservices.h"
#include "kel/qtxcstring.h"

class FakeStrSupport : public IKelStrSupport {
public:
    // Latin-1 bytes, '?' for the rest.
    KelCString toNarrow(const char16_t* units) override
    {
        ++calls;
        std::string text;
        for (; *units; ++units)
            text += *units < 0x100 ? static_cast<char>(*units) : '?';
        return KelCString(text.c_str());
    }
    void lowerInPlace(char16_t* units) override
    {
        ++calls;
        for (; *units; ++units)
            *units = *units >= u'A' && *units <= u'Z' ? *units + 32 : *units;
    }
    void queryInterface(const char* name, void* out, bool) override
    {
        *static_cast<void**>(out) = kelSameName(name, "IKelStrSupport") ? static_cast<IKelStrSupport*>(this) : nullptr;
    }
    const char* className() override { return "FakeStrSupport"; }

    int calls = 0;
};

// The storage state of a text: 'e'mpty, 'b'orrowed or 'o'wned; '?' for a
// combination that must not occur.
inline char storageState(const void* pointer, int32_t capacity)
{
    return capacity < 0 ? '?' : !pointer ? (capacity ? '?' : 'e') : capacity ? 'o' : 'b';
}
inline char stateOf(const KelCString& text) { return storageState(text.chars(), text.capacity()); }
