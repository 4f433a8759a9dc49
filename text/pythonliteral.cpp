// Python source literals for recorded scripts.
#include "text/pythonliteral.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <ostream>
#include <string>

namespace {

void writeHex(std::ostream& out, const char* format, unsigned value)
{
    char escape[12];
    std::snprintf(escape, sizeof escape, format, value);
    out << escape;
}

// An ASCII character inside a '...' literal; false when it is not one that
// can stand for itself.
bool writeAsciiEscaped(std::ostream& out, unsigned c)
{
    switch (c) {
    case '\\': out << "\\\\"; return true;
    case '\'': out << "\\'"; return true;
    case '\n': out << "\\n"; return true;
    case '\r': out << "\\r"; return true;
    case '\t': out << "\\t"; return true;
    default: break;
    }
    if (c < 0x20 || c == 0x7f) {
        writeHex(out, "\\x%02x", c);
        return true;
    }
    if (c < 0x80) {
        out << static_cast<char>(c);
        return true;
    }
    return false;
}

void writeCharacter(std::ostream& out, char32_t c)
{
    if (writeAsciiEscaped(out, c))
        return;
    // C1 controls and lone surrogates have no printable form (a surrogate
    // no UTF-8 form at all); everything else goes out as UTF-8.
    if (c < 0xa0) {
        writeHex(out, "\\x%02x", c);
    } else if (c >= 0xd800 && c < 0xe000) {
        writeHex(out, "\\u%04x", c);
    } else if (c < 0x800) {
        out << static_cast<char>(0xc0 | (c >> 6)) << static_cast<char>(0x80 | (c & 0x3f));
    } else if (c < 0x10000) {
        out << static_cast<char>(0xe0 | (c >> 12)) << static_cast<char>(0x80 | ((c >> 6) & 0x3f))
            << static_cast<char>(0x80 | (c & 0x3f));
    } else {
        out << static_cast<char>(0xf0 | (c >> 18)) << static_cast<char>(0x80 | ((c >> 12) & 0x3f))
            << static_cast<char>(0x80 | ((c >> 6) & 0x3f)) << static_cast<char>(0x80 | (c & 0x3f));
    }
}

}  // namespace

void kelWritePythonText(std::ostream& out, const KelWideString& text)
{
    const char16_t* units = text.chars();
    out << "u'";
    for (int32_t i = 0; units[i]; ++i) {
        char32_t c = units[i];
        if (c >= 0xd800 && c < 0xdc00 && units[i + 1] >= 0xdc00 && units[i + 1] < 0xe000)
            c = 0x10000 + ((c - 0xd800) << 10) + (units[++i] - 0xdc00);
        writeCharacter(out, c);
    }
    out << '\'';
}

void kelWritePythonBytes(std::ostream& out, const KelCString& bytes)
{
    out << "b'";
    for (const char* c = bytes.chars(); c && *c; ++c) {
        unsigned byte = static_cast<unsigned char>(*c);
        if (!writeAsciiEscaped(out, byte))
            writeHex(out, "\\x%02x", byte);
    }
    out << '\'';
}

void kelWritePythonFloat(std::ostream& out, double value)
{
    if (std::isnan(value)) {
        out << "(1e999-1e999)";
        return;
    }
    if (std::isinf(value)) {
        out << (value < 0 ? "-1e999" : "1e999");
        return;
    }
    char text[64];
    auto end = std::to_chars(text, text + sizeof text, value).ptr;
    std::string literal(text, end);
    if (literal.find_first_of(".e") == std::string::npos)
        literal += ".0";  // else it would read back as an int
    out << literal;
}

bool kelIsPlainPythonName(const char* name)
{
    if (!name || !*name || (*name >= '0' && *name <= '9'))
        return false;
    for (const char* c = name; *c; ++c) {
        bool letter = (*c >= 'a' && *c <= 'z') || (*c >= 'A' && *c <= 'Z');
        if (!letter && *c != '_' && !(*c >= '0' && *c <= '9'))
            return false;
    }
    return true;
}
