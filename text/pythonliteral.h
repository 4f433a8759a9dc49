// Python source literals that read back as exactly the value written.
//
// A recorded script is run later as code, so nothing in a value may end its
// literal early: quotes, backslashes, line ends, control characters and lone
// surrogates are escaped, and what comes out can only be read as the one
// literal. Texts are written in UTF-8 (printable characters as they are).
#pragma once

#include <cstdint>
#include <iosfwd>

#include "kel/kelwidestring.h"
#include "kel/qtxcstring.h"

// u'...': the code units of `text`, a surrogate pair as its one character.
void kelWritePythonText(std::ostream& out, const KelWideString& text);
// b'...': every byte, those outside printable ASCII as \xNN, so any byte
// string (UTF-8 or not) comes back as the same bytes.
void kelWritePythonBytes(std::ostream& out, const KelCString& bytes);
// A float literal that reads back as the same double: the shortest form that
// does, always with a point or an exponent; infinities as 1e999 and -1e999,
// a NaN as (1e999-1e999), which need no name that a script could rebind.
void kelWritePythonFloat(std::ostream& out, double value);
// True when `name` (UTF-8) can stand as a keyword argument or an attribute
// as written: ASCII letters, digits and '_', not starting with a digit.
// Non-ASCII names are left out because Python normalises them.
bool kelIsPlainPythonName(const char* name);
