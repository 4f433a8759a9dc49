// The UTF-8 codec behind KelWideString::fromUtf8 and KelWideString::utf8,
// kept apart from the string so that its exact results can be checked and
// measured on plain buffers.
//
// The form is that of the host: one to three bytes per 16-bit unit, each unit
// by itself. A character above U+FFFF therefore travels as its surrogate pair
// in two three-byte forms, and a four-byte form is invalid. Runs of ASCII take a
// vectorised road; every result is the same as the byte-by-byte rules give.
#pragma once

#include <cstdint>

// Decodes `length` bytes (no zero byte among them) into `out`, which has room
// for `length` units; writes no terminator. Gives the number of units, or -1
// when the bytes are invalid:
//   - a lead byte 1111xxxx (a four-byte or longer form);
//   - a lead byte whose continuation bytes run past the end;
//   - an overlong form: below 0x80 from two bytes, below 0x800 from three.
// The top two bits of a continuation byte are not examined, and a stray
// byte 10xxxxxx stands for its own low seven bits.
int32_t kelDecodeUtf8(const char* bytes, int32_t length, char16_t* out);

// Encodes `count` units into `out`, which has room for 3 bytes per unit;
// writes no terminator. Gives the number of bytes. Each unit is encoded by
// itself: below 0x80 one byte, below 0x800 two, otherwise three.
int32_t kelEncodeUtf8(const char16_t* units, int32_t count, char* out);

// Units up to the terminator of a non-null text.
int32_t kelUnitLength(const char16_t* units);
