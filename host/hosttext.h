// Small text conversions of the reference host.
#pragma once

#include <string>

#include "kel/kelwidestring.h"

// The UTF-8 form of a wide string; empty for a null or empty one.
inline std::string hostUtf8(const KelWideString& text)
{
    const char* utf8 = text.utf8();
    return utf8 ? std::string(utf8) : std::string();
}
