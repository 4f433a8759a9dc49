// Fakes of the host services that the strings call: a string conversion
// service and an assertion handler, each recording what it was asked.
#pragma once

#include <string>
#include <vector>

#include "component/hostservices.h"
#include "text/qtxcstring.h"

class FakeStrSupport : public IKelStrSupport {
public:
    KelCString toNarrow(const char16_t* units) override
    {
        ++narrowCalls;
        std::string text;
        for (; *units; ++units)
            text += *units < 0x100 ? static_cast<char>(*units) : '?';
        return KelCString(text.c_str());
    }
    void lowerInPlace(char16_t* units) override
    {
        ++lowerCalls;
        for (; *units; ++units) {
            if (*units >= u'A' && *units <= u'Z')
                *units = static_cast<char16_t>(*units + 32);
        }
    }
    void queryInterface(const char* name, void* out, bool) override
    {
        void** result = static_cast<void**>(out);
        *result = nullptr;
        if (kelSameName(name, "IKelStrSupport"))
            *result = static_cast<IKelStrSupport*>(this);
        else if (kelSameName(name, "IKelUnknown"))
            *result = static_cast<IKelUnknown*>(this);
    }
    const char* className() override { return "FakeStrSupport"; }

    int narrowCalls = 0;
    int lowerCalls = 0;
};

struct RecordedAssert {
    std::string expression;
    std::string file;
    int line;
};

class FakeAssertHandler : public IKelAssertHandlerCB {
public:
    int handleAssert(const char* expression, const char* file, int line) override
    {
        failures.push_back({expression, file, line});
        return 0;
    }
    void queryInterface(const char* name, void* out, bool) override
    {
        void** result = static_cast<void**>(out);
        *result = nullptr;
        if (kelSameName(name, "IKelAssertHandlerCB"))
            *result = static_cast<IKelAssertHandlerCB*>(this);
        else if (kelSameName(name, "IKelUnknown"))
            *result = static_cast<IKelUnknown*>(this);
    }
    const char* className() override { return "FakeAssertHandler"; }

    std::vector<RecordedAssert> failures;
};
