// Helpers of the platform tests: wide forms of test paths and whole-file
// reads.
#pragma once

#include <fstream>
#include <iterator>
#include <string>

#include "platform/platform.h"
#include "tests/support/testprovider.h"

// The canonical wide form of a test path: ASCII widened, '/' -> '\', and an
// optional non-ASCII tail appended as it is.
inline std::u16string wide(const std::string& native, const std::u16string& tail = u"")
{
    std::u16string out;
    for (char c : native)
        out += c == '/' ? u'\\' : char16_t((unsigned char)c);
    return out + tail;
}

inline int openFile(const std::string& file, int flags, int mode = kelPermOwnerReadWrite)
{
    return kelWOpen(wide(file).c_str(), flags, mode);
}

inline std::string readAll(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}
