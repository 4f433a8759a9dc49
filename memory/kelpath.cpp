// KelPath, kelDirectory and kelTempFileName: see kelpath.h.
#include "memory/kelpath.h"

#include <cstdio>
#include <string>
#include <vector>

#include "kel/hostservices.h"
#include "kel/iptr.h"
#include "platform/platform.h"

namespace {

using Unit = KelWideString::unit;

int32_t lastIndexOf(const KelWideString& text, Unit unit)
{
    const Unit* units = text.chars();
    for (int32_t i = text.length() - 1; i >= 0; --i)
        if (units[i] == unit)
            return i;
    return -1;
}

// The forOpen rule on any text, canonical or not: a bare drive name gains its
// root, then separators take the native form.
KelWideString openFormOf(const KelWideString& text)
{
    const Unit* units = text.chars();
    int32_t length = text.length();
    Unit separator = kelNativeSeparator();
    bool drive = length == 2 && units[1] == u':';
    if (!drive && (separator == u'\\' || lastIndexOf(text, u'\\') < 0))
        return text;
    std::u16string result(units, size_t(length));
    if (drive)
        result += u'\\';
    for (Unit& unit : result)
        if (unit == u'\\')
            unit = separator;
    KelWideString form;
    form.assign(result.c_str());
    return form;
}

KelPath currentDirectory()
{
    std::vector<char> native(1024);
    size_t length = kelCurrentDirectory(native.data(), native.size());
    if (length >= native.size()) {
        native.resize(length + 1);
        length = kelCurrentDirectory(native.data(), native.size());
    }
    native.resize(length + 1);  // whatever came, terminated
    native[length] = '\0';
    std::vector<char16_t> wide(native.size() + 1);
    size_t units = kelWidePath(native.data(), wide.data(), wide.size());
    if (units >= wide.size()) {
        wide.resize(units + 1);
        kelWidePath(native.data(), wide.data(), wide.size());
    }
    KelWideString text;
    text.assign(wide.data());  // a copy of its own: a borrowed text would dangle
    return KelPath(text);
}

// The service behind kelDirectory, held from its first use.
struct DirectoryService {
    bool looked = false;
    IPtr<IKelDirService> service;
};

DirectoryService& directoryService()
{
    static DirectoryService held;
    return held;
}

}  // namespace

KelPath::KelPath(const KelWideString& text) : KelWideString(text)
{
    normalize();
}

void KelPath::normalize()
{
    const Unit* units = chars();
    int32_t length = this->length();
    bool driveForm = length >= 4 && units[0] == u'/' && units[1] == u'/' && units[3] == u'/';
    bool trailing = length > 1 && units[length - 1] == u'\\';
    if (!driveForm && !trailing && lastIndexOf(*this, u'/') < 0)
        return;

    std::u16string text(units, size_t(length));
    if (driveForm)
        text = std::u16string{text[2], u':', u'\\'} + text.substr(4);
    for (Unit& unit : text)
        if (unit == u'/')
            unit = u'\\';
    while (text.size() > 1 && text.back() == u'\\')
        text.pop_back();
    assign(text.c_str());
}

KelPath& KelPath::append(const KelWideString& name)
{
    if (isEmpty()) {
        assign(name);
    } else {
        if (lastIndexOf(*this, u'\\') != length() - 1)
            KelWideString::append(Unit(u'\\'));
        KelWideString::append(name);
    }
    normalize();
    return *this;
}

KelPath& KelPath::append(const char* name)
{
    return append(KelWideString(name));
}

KelWideString KelPath::forOpen() const
{
    return openFormOf(*this);
}

KelWideString KelPath::extension() const
{
    int32_t separator = lastIndexOf(*this, u'\\');
    int32_t dot = lastIndexOf(*this, u'.');
    if (dot <= separator)
        return KelWideString::emptyString();
    return mid(dot + 1, length() - dot - 1);
}

KelPath kelAbsolutePath(const KelPath& path)
{
    if (kelIsAbsolutePath(path.chars()))
        return path;
    KelPath result = currentDirectory();
    if (!path.isEmpty())
        result.append(path);
    return result;
}

const KelWideString& kelDirectory(const char* name)
{
    DirectoryService& held = directoryService();
    if (!held.looked) {
        // Adds a reference, kept until process end.
        held.service = static_cast<IKelDirService*>(kelLookupService(IKelDirService::interfaceName));
        held.looked = true;
    }
    if (held.service)
        return held.service->getDirectory(name);
    return KelWideString::emptyString();
}

void kelForgetDirectoryService()
{
    DirectoryService& held = directoryService();
    held.service.reset();
    held.looked = false;
}

bool kelTempFileName(KelWideString& name)
{
    long long counter = kelPerformanceCounter();
    unsigned processId = kelProcessId();
    SPtr<IDataStore> store;

    name = KelWideString();
    if (store)
        name = store->getString("Directories/Temp Directory", 0);
    if (!store || name.isEmpty())
        name = openFormOf(kelDirectory("temp"));

    // The text brings its own separator; the directory is used as it came.
    char file[40];
    std::snprintf(file, sizeof file, "\\kel-%08x-%08x-temp", processId, unsigned(counter & 0xffffffffu));
    name.append(KelWideString(file));
    return true;
}
