// The reference host's string support ("IKelStrSupport"): the narrow form of
// a text is its UTF-8 form, and lower case covers ASCII and Latin-1.
#pragma once

#include "kel/hostservices.h"

class HostStrSupport : public IKelStrSupport {
public:
    // UTF-8; a lone surrogate becomes U+FFFD. Null gives the null text.
    KelCString toNarrow(const char16_t* units) override;
    // A-Z and the Latin-1 capitals U+00C0..U+00DE (but U+00D7) become lower
    // case; every other unit stays.
    void lowerInPlace(char16_t* units) override;

    void queryInterface(const char* name, void* out, bool flag) override;
    const char* className() override { return "HostStrSupport"; }
};
