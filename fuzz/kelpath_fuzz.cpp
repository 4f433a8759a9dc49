// KelPath on arbitrary UTF-16: the canonical form is a fixed point, holds no
// forward slash and no trailing backslash, and the derived texts (forOpen,
// extension, append, the native path) keep their promises. The input's bytes
// as a native name come back unchanged from their wide form.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "memory/kelpath.h"
#include "platform/platform.h"

namespace {

void check(bool condition)
{
    if (!condition)
        std::abort();
}

std::u16string unitsOf(const KelWideString& text)
{
    return text.chars();
}

// The first half of the input is the path, the rest a name to append; zero
// units would end the texts early, so they become '/'.
std::u16string unitsFrom(const uint8_t* data, size_t size)
{
    std::u16string units;
    for (size_t i = 0; i + 1 < size; i += 2) {
        char16_t unit = char16_t(data[i] | (data[i + 1] << 8));
        units += unit ? unit : u'/';
    }
    return units;
}

void checkCanonical(const std::u16string& text)
{
    check(text.find(u'/') == std::u16string::npos);
    check(text.size() <= 1 || text.back() != u'\\');
}

KelWideString wide(const std::u16string& units)
{
    KelWideString text;
    text.assign(units.c_str());
    return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    size_t half = (size / 2) & ~size_t(1);
    std::u16string raw = unitsFrom(data, half);
    std::u16string name = unitsFrom(data + half, size - half);

    KelPath path{wide(raw)};
    std::u16string canonical = unitsOf(path);
    checkCanonical(canonical);
    check(canonical.size() <= raw.size());
    KelPath again(path);
    again.normalize();
    check(unitsOf(again) == canonical);

    // forOpen: native separators only, and a drive root regains its separator.
    std::u16string open = unitsOf(path.forOpen());
    check(open.find(u'\\') == std::u16string::npos);
    bool drive = canonical.size() == 2 && canonical[1] == u':';
    check(open.size() == canonical.size() + (drive ? 1 : 0));

    // extension: a suffix of the last component, without the dot.
    std::u16string extension = unitsOf(path.extension());
    check(extension.find(u'\\') == std::u16string::npos);
    check(extension.size() < canonical.size() || extension.empty());
    if (!extension.empty())
        check(canonical.compare(canonical.size() - extension.size(), extension.size(), extension) == 0
              && canonical[canonical.size() - extension.size() - 1] == u'.');

    // append: canonical again, and the name's canonical form ends the path.
    path.append(wide(name));
    std::u16string appended = unitsOf(path);
    checkCanonical(appended);
    KelPath appendedAgain(path);
    appendedAgain.normalize();
    check(unitsOf(appendedAgain) == appended);

    // The native path reports its full length however small the buffer.
    char small[8];
    size_t need = kelNativePath(open.c_str(), small, sizeof small);
    std::vector<char> full(need + 1);
    check(kelNativePath(open.c_str(), full.data(), full.size()) == need);
    check(full[need] == '\0' && std::string(full.data()).size() <= need);
    check(std::string(small) == std::string(full.data(), need < sizeof small ? need : sizeof small - 1));

    std::string bytes(reinterpret_cast<const char*>(data), size);
    bytes = bytes.substr(0, bytes.find('\0'));
    std::vector<char16_t> units(bytes.size() + 1);
    check(kelWidePath(bytes.c_str(), units.data(), units.size()) <= bytes.size());
    std::vector<char> back(kelNativePath(units.data(), nullptr, 0) + 1);
    kelNativePath(units.data(), back.data(), back.size());
    check(std::string(back.data()) == bytes);
    return 0;
}
