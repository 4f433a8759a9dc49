// The UTF-8 codec: a byte-by-byte core with a vectorised road for ASCII runs.
// KEL_UTF8_SCALAR builds the portable word-at-a-time road instead, so that CI
// tests both.
//
// The ASCII road only ever handles bytes (units) below 0x80, which map to
// themselves in both directions, so it cannot change a result: it either
// consumes a prefix of pure ASCII or hands over to the core. It may store a
// few values beyond what it consumes; the core overwrites them, and the
// callers' buffers (length units for decoding, 3 bytes per unit for encoding)
// always have room for the whole vector.
#include "text/kelutf8.h"

#include <cstddef>
#include <cstring>

#if defined(__SSE2__) && !defined(KEL_UTF8_SCALAR)
#include <emmintrin.h>
#endif

namespace {

#if defined(__SSE2__) && !defined(KEL_UTF8_SCALAR)

int lowestBit(unsigned mask)
{
    return __builtin_ctz(mask);
}

// Widens the ASCII prefix of bytes[0, length) into out; gives its length.
int32_t widenAscii(const unsigned char* bytes, int32_t length, char16_t* out)
{
    const __m128i zero = _mm_setzero_si128();
    int32_t done = 0;
    while (done + 32 <= length) {
        __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes + done));
        __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes + done + 16));
        if (_mm_movemask_epi8(_mm_or_si128(a, b)) != 0)
            break;
        auto* to = reinterpret_cast<__m128i*>(out + done);
        _mm_storeu_si128(to, _mm_unpacklo_epi8(a, zero));
        _mm_storeu_si128(to + 1, _mm_unpackhi_epi8(a, zero));
        _mm_storeu_si128(to + 2, _mm_unpacklo_epi8(b, zero));
        _mm_storeu_si128(to + 3, _mm_unpackhi_epi8(b, zero));
        done += 32;
    }
    while (done + 16 <= length) {
        __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes + done));
        auto* to = reinterpret_cast<__m128i*>(out + done);
        _mm_storeu_si128(to, _mm_unpacklo_epi8(a, zero));
        _mm_storeu_si128(to + 1, _mm_unpackhi_epi8(a, zero));
        unsigned high = static_cast<unsigned>(_mm_movemask_epi8(a));
        if (high != 0)
            return done + lowestBit(high);
        done += 16;
    }
    return done;
}

// Narrows the ASCII prefix of units[0, count) into out; gives its length.
int32_t narrowAscii(const char16_t* units, int32_t count, char* out)
{
    const __m128i nonAscii = _mm_set1_epi16(static_cast<short>(0xFF80));
    const __m128i zero = _mm_setzero_si128();
    const auto* from = reinterpret_cast<const __m128i*>(units);
    int32_t done = 0;
    while (done + 32 <= count) {
        __m128i a = _mm_loadu_si128(from + done / 8);
        __m128i b = _mm_loadu_si128(from + done / 8 + 1);
        __m128i c = _mm_loadu_si128(from + done / 8 + 2);
        __m128i d = _mm_loadu_si128(from + done / 8 + 3);
        __m128i any = _mm_or_si128(_mm_or_si128(a, b), _mm_or_si128(c, d));
        if (_mm_movemask_epi8(_mm_cmpeq_epi16(_mm_and_si128(any, nonAscii), zero)) != 0xFFFF)
            break;
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + done), _mm_packus_epi16(a, b));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + done + 16), _mm_packus_epi16(c, d));
        done += 32;
    }
    while (done + 16 <= count) {
        __m128i a = _mm_loadu_si128(from + done / 8);
        __m128i b = _mm_loadu_si128(from + done / 8 + 1);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + done), _mm_packus_epi16(a, b));
        __m128i asciiA = _mm_cmpeq_epi16(_mm_and_si128(a, nonAscii), zero);
        __m128i asciiB = _mm_cmpeq_epi16(_mm_and_si128(b, nonAscii), zero);
        // One bit per unit that is ASCII after packing the two masks.
        unsigned ascii = static_cast<unsigned>(_mm_movemask_epi8(_mm_packs_epi16(asciiA, asciiB)));
        if (ascii != 0xFFFF)
            return done + lowestBit(~ascii & 0xFFFF);
        done += 16;
    }
    return done;
}

#else

// Portable fallback: eight bytes at a time.
int32_t widenAscii(const unsigned char* bytes, int32_t length, char16_t* out)
{
    int32_t done = 0;
    while (done + 8 <= length) {
        uint64_t word;
        std::memcpy(&word, bytes + done, sizeof word);
        if (word & 0x8080808080808080ull)
            break;
        for (int k = 0; k < 8; ++k)
            out[done + k] = bytes[done + k];
        done += 8;
    }
    return done;
}

int32_t narrowAscii(const char16_t* units, int32_t count, char* out)
{
    int32_t done = 0;
    while (done + 4 <= count) {
        uint64_t word;
        std::memcpy(&word, units + done, sizeof word);
        if (word & 0xFF80FF80FF80FF80ull)
            break;
        for (int k = 0; k < 4; ++k)
            out[done + k] = static_cast<char>(units[done + k]);
        done += 4;
    }
    return done;
}

#endif

// Decodes one sequence at bytes[*at] whose lead byte has the top bit set.
// Gives the unit, or -1 when the sequence is invalid.
int32_t decodeSequence(const unsigned char* bytes, int32_t length, int32_t* at)
{
    unsigned lead = bytes[*at];
    if ((lead & 0x40) == 0) {  // a stray continuation byte
        ++*at;
        return static_cast<int32_t>(lead & 0x7F);
    }
    int extra;
    uint32_t unit;
    if ((lead & 0x20) == 0) {
        extra = 1;
        unit = lead & 0x1F;
    } else if ((lead & 0x10) == 0) {
        extra = 2;
        unit = lead & 0x0F;
    } else {
        return -1;
    }
    if (*at + extra >= length)
        return -1;
    for (int k = 1; k <= extra; ++k)
        unit = (unit << 6) | (bytes[*at + k] & 0x3Fu);
    if (unit < (extra == 1 ? 0x80u : 0x800u))
        return -1;
    *at += 1 + extra;
    return static_cast<int32_t>(unit);
}

}  // namespace

int32_t kelDecodeUtf8(const char* text, int32_t length, char16_t* out)
{
    const auto* bytes = reinterpret_cast<const unsigned char*>(text);
    int32_t at = 0;
    int32_t made = 0;
    while (at < length) {
        if (bytes[at] < 0x80) {
            int32_t run = widenAscii(bytes + at, length - at, out + made);
            if (run == 0) {
                out[made++] = bytes[at++];
                continue;
            }
            at += run;
            made += run;
            continue;
        }
        int32_t unit = decodeSequence(bytes, length, &at);
        if (unit < 0)
            return -1;
        out[made++] = static_cast<char16_t>(unit);
    }
    return made;
}

int32_t kelEncodeUtf8(const char16_t* units, int32_t count, char* out)
{
    auto* bytes = reinterpret_cast<unsigned char*>(out);
    int32_t made = 0;
    int32_t at = 0;
    while (at < count) {
        uint32_t unit = units[at];
        if (unit < 0x80) {
            int32_t run = narrowAscii(units + at, count - at, out + made);
            if (run == 0) {
                bytes[made++] = static_cast<unsigned char>(unit);
                ++at;
            } else {
                at += run;
                made += run;
            }
        } else if (unit < 0x800) {
            bytes[made++] = static_cast<unsigned char>(0xC0 | (unit >> 6));
            bytes[made++] = static_cast<unsigned char>(0x80 | (unit & 0x3F));
            ++at;
        } else {
            bytes[made++] = static_cast<unsigned char>(0xE0 | (unit >> 12));
            bytes[made++] = static_cast<unsigned char>(0x80 | ((unit >> 6) & 0x3F));
            bytes[made++] = static_cast<unsigned char>(0x80 | (unit & 0x3F));
            ++at;
        }
    }
    return made;
}

#if defined(__SSE2__) && !defined(KEL_UTF8_SCALAR)

namespace {

// Bit per byte of the zero units in the aligned 16-byte block at `block`.
// It may read past a terminator: see kelUnitLength.
__attribute__((no_sanitize("address", "thread"))) unsigned zeroUnits(const char16_t* block)
{
    __m128i units = _mm_load_si128(reinterpret_cast<const __m128i*>(block));
    return static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi16(units, _mm_setzero_si128())));
}

}  // namespace

// Reads whole aligned blocks (16 bytes, then 64), which never cross a page,
// so it may look past the terminator within the block that holds it. Those
// bytes are not part of any object (they may be a neighbour's, freed or in
// use by another thread), which is why the address and thread checkers are
// told to keep out of these functions.
__attribute__((no_sanitize("address", "thread"))) int32_t kelUnitLength(const char16_t* units)
{
    auto address = reinterpret_cast<uintptr_t>(units);
    if (address % 2 != 0) {
        int32_t count = 0;
        while (units[count])
            ++count;
        return count;
    }
    const char16_t* block = reinterpret_cast<const char16_t*>(address & ~uintptr_t{15});
    unsigned mask = zeroUnits(block) & (~0u << (address & 15));
    while (mask == 0 && reinterpret_cast<uintptr_t>(block + 8) % 64 != 0) {
        block += 8;
        mask = zeroUnits(block);
    }
    if (mask == 0) {
        const __m128i zero = _mm_setzero_si128();
        for (;;) {
            block += 8;
            const auto* wide = reinterpret_cast<const __m128i*>(block);
            __m128i a = _mm_cmpeq_epi16(_mm_load_si128(wide), zero);
            __m128i b = _mm_cmpeq_epi16(_mm_load_si128(wide + 1), zero);
            __m128i c = _mm_cmpeq_epi16(_mm_load_si128(wide + 2), zero);
            __m128i d = _mm_cmpeq_epi16(_mm_load_si128(wide + 3), zero);
            if (_mm_movemask_epi8(_mm_or_si128(_mm_or_si128(a, b), _mm_or_si128(c, d))) != 0)
                break;
            block += 24;
        }
        while ((mask = zeroUnits(block)) == 0)
            block += 8;
    }
    const char16_t* end = block + lowestBit(mask) / 2;
    return static_cast<int32_t>(end - units);
}

#else

int32_t kelUnitLength(const char16_t* units)
{
    int32_t count = 0;
    while (units[count])
        ++count;
    return count;
}

#endif
