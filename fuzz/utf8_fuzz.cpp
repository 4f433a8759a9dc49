// Fuzzes KelWideString::fromUtf8 and utf8 against a plain byte-by-byte
// reading of the same rules, and checks the round trips:
//   - bytes that decode give exactly the units of the plain reading;
//   - bytes that do not decode give the empty string, never a part;
//   - bytes in the canonical form encode back to the same bytes;
//   - any 16-bit text (taken from the same input) survives utf8 -> fromUtf8.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "kel/kelwidestring.h"

namespace {

struct Reading {
    bool valid = true;
    bool canonical = true;  // every sequence in the one form that utf8() writes
    std::u16string units;
};

Reading readPlainly(const std::string& bytes)
{
    Reading reading;
    size_t at = 0;
    while (at < bytes.size()) {
        unsigned lead = static_cast<unsigned char>(bytes[at]);
        if (lead < 0x80 || (lead & 0xC0) == 0x80) {
            reading.canonical = reading.canonical && lead < 0x80;
            reading.units += static_cast<char16_t>(lead & 0x7F);
            ++at;
            continue;
        }
        size_t extra = (lead & 0xE0) == 0xC0 ? 1 : (lead & 0xF0) == 0xE0 ? 2 : 0;
        if (extra == 0 || at + extra >= bytes.size()) {
            reading.valid = false;
            return reading;
        }
        uint32_t unit = lead & (extra == 1 ? 0x1Fu : 0x0Fu);
        for (size_t k = 1; k <= extra; ++k) {
            unsigned next = static_cast<unsigned char>(bytes[at + k]);
            reading.canonical = reading.canonical && (next & 0xC0) == 0x80;
            unit = (unit << 6) | (next & 0x3F);
        }
        if (unit < (extra == 1 ? 0x80u : 0x800u)) {
            reading.valid = false;
            return reading;
        }
        reading.units += static_cast<char16_t>(unit);
        at += 1 + extra;
    }
    return reading;
}

// The units of a string up to its terminator.
std::u16string unitsOf(const KelWideString& text)
{
    return std::u16string(text.chars());
}

// Up to the first zero unit, which ends a decoded text.
std::u16string terminated(const std::u16string& units)
{
    return units.substr(0, units.find(u'\0'));
}

void require(bool condition)
{
    if (!condition)
        std::abort();
}

void checkDecoding(const std::string& bytes)
{
    Reading reading = readPlainly(bytes);
    KelWideString decoded = KelWideString::fromUtf8(bytes.c_str());
    if (!reading.valid) {
        require(decoded.text() == nullptr && decoded.textCapacity() == 0);
        return;
    }
    require(unitsOf(decoded) == terminated(reading.units));
    require(decoded.length() == static_cast<int32_t>(unitsOf(decoded).size()));
    std::string encoded = decoded.utf8();
    if (reading.canonical)
        require(encoded == bytes);
    require(unitsOf(KelWideString::fromUtf8(encoded.c_str())) == unitsOf(decoded));
}

void checkEncoding(const uint8_t* data, size_t size)
{
    std::u16string units;
    for (size_t at = 0; at + 1 < size; at += 2) {
        char16_t unit = static_cast<char16_t>(data[at] | (data[at + 1] << 8));
        if (unit == 0)
            break;
        units += unit;
    }
    KelWideString wide(units.c_str(), kelBorrow);
    require(wide.length() == static_cast<int32_t>(units.size()));
    std::string encoded = wide.utf8();
    KelWideString back = KelWideString::fromUtf8(encoded.c_str());
    require(unitsOf(back) == units);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    std::string bytes(reinterpret_cast<const char*>(data), size);
    bytes.resize(std::strlen(bytes.c_str()));  // the decoder reads terminated text
    checkDecoding(bytes);
    checkEncoding(data, size);
    return 0;
}
