// The folder of packages ahead of the system's site-packages: see
// sitepackages.h.
#include "script/sitepackages.h"

#include "platform/platform.h"
#include "text/utf16text.h"

namespace {

std::string shown(const KelPath& path)
{
    return "\"" + kelUtf8OfUnits(path.forOpen().chars(), KelLoneSurrogate::replace) + "\"";
}

// The start of the file is enough for its version line.
void appendStart(void* context, const char* bytes, size_t length)
{
    auto* text = static_cast<std::string*>(context);
    if (text->size() < 65536)
        text->append(bytes, length);
}

std::string trimmed(const std::string& text)
{
    const char* blanks = " \t\r";
    size_t first = text.find_first_not_of(blanks);
    return first == std::string::npos ? std::string() : text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

// "3.12" of the "version = 3.12.1" line (or "version_info", which other
// tools write), empty when there is none.
std::string configuredVersion(const std::string& config)
{
    size_t start = 0;
    while (start < config.size()) {
        size_t end = config.find('\n', start);
        std::string line = config.substr(start, end == std::string::npos ? std::string::npos : end - start);
        start = end == std::string::npos ? config.size() : end + 1;
        size_t equals = line.find('=');
        std::string key = trimmed(line.substr(0, equals));
        if (equals == std::string::npos || (key != "version" && key != "version_info"))
            continue;
        std::string value = trimmed(line.substr(equals + 1));
        size_t dot = value.find('.');
        return value.substr(0, dot == std::string::npos ? dot : value.find('.', dot + 1));
    }
    return std::string();
}

// Where a virtual environment keeps the packages of `version`, relative to
// its directory: Windows has one Python per environment and no version in
// the name.
std::string sitePackagesIn(const std::string& version)
{
    return kelNativeSeparator() == u'\\' ? "Lib\\site-packages" : "lib\\python" + version + "\\site-packages";
}

KelSitePackages environmentPackages(const KelPath& directory, const std::string& version)
{
    KelSitePackages result;
    if (kelFileKind(directory.forOpen().chars()) != KelFileKind::directory) {
        result.problem = shown(directory) + " is not a directory";
        return result;
    }
    // A FIFO or a device under the name would stop or flood the reader.
    KelPath configFile = directory;
    configFile.append("pyvenv.cfg");
    std::string config;
    if (kelFileKind(configFile.forOpen().chars()) != KelFileKind::regularFile ||
        !kelReadFile(configFile.forOpen().chars(), appendStart, &config)) {
        result.problem = shown(directory) + " is not a virtual environment: it has no pyvenv.cfg";
        return result;
    }
    KelPath folder = directory;
    folder.append(sitePackagesIn(version).c_str());
    if (kelFileKind(folder.forOpen().chars()) == KelFileKind::directory) {
        result.folder = folder;
        return result;
    }
    std::string made = configuredVersion(config);
    if (!made.empty() && made != version)
        result.problem = shown(directory) + " is a virtual environment of Python " + made + ", not " + version;
    else
        result.problem = shown(directory) + " has no " + shown(folder);
    return result;
}

}  // namespace

KelSitePackages kelSitePackages(const KelWideString& environment, const KelWideString& userFolder,
                                const std::string& version)
{
    if (!environment.isEmpty())
        return environmentPackages(kelAbsolutePath(KelPath(environment)), version);
    KelSitePackages result;
    if (!userFolder.isEmpty())
        result.folder = kelAbsolutePath(KelPath(userFolder));
    return result;
}
