// Paths between kelhost's native names and the canonical wide form.
#include "host/hostpath.h"

#include <vector>

#include "platform/platform.h"

KelWideString kelHostWidePath(const std::string& native)
{
    std::vector<char16_t> units(native.size() + 1);
    kelWidePath(native.c_str(), units.data(), units.size());  // never more units than bytes
    KelWideString path;
    if (units[0])
        path.assign(units.data());
    return path;
}

std::string kelHostNativePath(const KelWideString& path)
{
    size_t length = kelNativePath(path.chars(), nullptr, 0);
    std::vector<char> bytes(length + 1);
    kelNativePath(path.chars(), bytes.data(), bytes.size());
    return std::string(bytes.data(), length);
}

KelWideString kelHostScriptPath(const KelWideString& text)
{
    if (kelNativeSeparator() != u'/')
        return text;
    std::u16string units(text.chars() ? text.chars() : u"");
    for (char16_t& unit : units)
        if (unit == u'\\')
            unit = 0xDC5C;  // the wide form of a backslash inside a name
    KelWideString path;
    if (!units.empty())
        path.assign(units.c_str());
    return path;
}
