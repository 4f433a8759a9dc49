// Small text conversions of the reference host.
#pragma once

#include <string>
#include <vector>

#include "kel/kelwidestring.h"

// The UTF-8 form of a wide string; empty for a null or empty one.
inline std::string hostUtf8(const KelWideString& text)
{
    const char* utf8 = text.utf8();
    return utf8 ? std::string(utf8) : std::string();
}

// The lines of `text` from `start` on, without their line feeds; empty lines
// are left out.
inline std::vector<std::string> hostNonEmptyLines(const std::string& text, size_t start = 0)
{
    std::vector<std::string> lines;
    while (start < text.size()) {
        size_t feed = text.find('\n', start);
        if (feed == std::string::npos)
            feed = text.size();
        if (feed > start)
            lines.push_back(text.substr(start, feed - start));
        start = feed + 1;
    }
    return lines;
}
