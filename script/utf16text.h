// UTF-8 and UTF-16 as Python needs them.
//
// The foundation's own UTF-8 form writes a character above U+FFFF as two
// three-byte forms, which Python's source reader and codecs refuse. Text that
// goes to Python, and text that comes back from its files, passes here.
#pragma once

#include <string>

#include "text/kelwidestring.h"

// The UTF-8 form of terminated code units: a surrogate pair becomes one
// four-byte character. A lone surrogate has no UTF-8 form; with
// `escapeLoneSurrogates` it is written as the Python escape \uXXXX (for the
// inside of a string literal), otherwise as its three-byte form.
std::string kelUtf8OfUnits(const char16_t* units, bool escapeLoneSurrogates);

// Decodes UTF-8 of one to four bytes into code units (pairs above U+FFFF);
// a byte that does not start a valid, shortest form becomes one unit of its
// own value, so no byte is ever lost.
KelWideString kelUnitsOfUtf8Lenient(const std::string& bytes);
