// Helpers of the platform tests: wide forms of test paths, whole-file reads,
// and the pieces that kelReadWideTextFile hands out.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

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

struct Pieces {
    std::vector<std::u16string> list;
    std::u16string joined;
    size_t stopAfter = SIZE_MAX;
    bool ok = false;

    static bool take(void* context, const char16_t* units, size_t length)
    {
        auto* self = static_cast<Pieces*>(context);
        EXPECT_EQ(units[length], u'\0');
        self->list.emplace_back(units, length);
        self->joined += self->list.back();
        return self->list.size() < self->stopAfter;
    }
};

// Writes `bytes` to a file and reads it back through kelReadWideTextFile.
inline Pieces readBack(const TempDir& dir, const std::string& bytes, size_t stopAfter = SIZE_MAX)
{
    std::ofstream(dir.file("script.py"), std::ios::binary) << bytes;
    Pieces pieces;
    pieces.stopAfter = stopAfter;
    pieces.ok = kelReadWideTextFile(wide(dir.file("script.py")).c_str(), Pieces::take, &pieces);
    return pieces;
}
