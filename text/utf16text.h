// UTF-8 in its full form (four bytes above U+FFFF) and 16-bit code units.
//
// The foundation's own UTF-8 form writes a character above U+FFFF as two
// three-byte forms, which Python's source reader and codecs, terminals and
// most files refuse. Text that goes to Python or to the outside world, and
// text that comes back from there, passes here.
#pragma once

#include <string>

#include "kel/kelwidestring.h"

// What becomes of a surrogate without its partner, which has no UTF-8 form.
enum class KelLoneSurrogate {
    threeBytes,  // the three-byte form of its own value, so nothing is lost
    escape,      // the Python escape \uXXXX, for the inside of a string literal
    replace,     // U+FFFD
};

// The UTF-8 form of terminated code units; a surrogate pair becomes one
// four-byte character. A null pointer gives the empty text.
std::string kelUtf8OfUnits(const char16_t* units, KelLoneSurrogate lone);

// What becomes of a byte that does not start a valid, shortest form.
enum class KelBadByte {
    keep,     // one unit of the byte's own value, so no byte is ever lost
    replace,  // U+FFFD
};

// The length (1 to 4) of the valid shortest UTF-8 form at `p`, whose
// character goes to `c`; 0 when the bytes up to `end` hold none there.
int kelUtf8Sequence(const unsigned char* p, const unsigned char* end, uint32_t& c);

// Decodes UTF-8 of one to four bytes into code units (pairs above U+FFFF).
KelWideString kelUnitsOfUtf8(const std::string& bytes, KelBadByte bad);
