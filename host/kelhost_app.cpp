// The reference host application.
#include "host/kelhost_app.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "core/bucketpool.h"
#include "core/serviceprovider.h"
#include "host/hostdatastore.h"
#include "host/hostdirservice.h"
#include "host/hostmemory.h"
#include "host/hostprovider.h"
#include "host/hostreporting.h"
#include "host/hoststrsupport.h"
#include "host/hosttranslator.h"
#include "kel/componentid.h"
#include "kel/kelentrypoint.h"
#include "kel/kelinitializer.h"
#include "platform/platform.h"

namespace fs = std::filesystem;

namespace {
// Providers of hosts that are gone, kept reachable for the rest of the
// process: components and this module's own statics still hold references
// to their services and release them only at exit.
std::vector<HostServiceProvider*>& retiredProviders()
{
    static auto* retired = new std::vector<HostServiceProvider*>();
    return *retired;
}

std::string absolutePath(const std::string& path)
{
    std::error_code ignored;
    fs::path absolute = fs::absolute(path, ignored);
    return absolute.empty() ? path : absolute.lexically_normal().string();
}

std::string orDefault(const std::string& value, const std::string& fallback)
{
    return value.empty() ? fallback : value;
}

// The user's folder of packages for kelhost's Python, where the XDG base
// directories put a program's data (a relative XDG_DATA_HOME is ignored, as
// they say); empty when the environment names no home.
std::string userPackagesDirectory()
{
    fs::path base;
    for (const char* variable : {"XDG_DATA_HOME", "HOME", "APPDATA"}) {
        const char* value = std::getenv(variable);
        if (value && fs::path(value).is_absolute()) {
            base = variable == std::string("HOME") ? fs::path(value) / ".local" / "share" : fs::path(value);
            break;
        }
    }
    return base.empty() ? std::string() : (base / "kelhost" / ("python" KEL_PYTHON_VERSION)).string();
}
}  // namespace

KelHost::KelHost(const KelHostOptions& options)
    : options_(options), provider_(new HostServiceProvider()), previousProvider_(kelServiceProvider())
{
    // The host's own objects count through the same provider as the
    // component's, and the host's foundation finds the same services.
    provider_->addRef();
    kelSetServiceProvider(provider_);
    componentPath_ = absolutePath(orDefault(options_.component, kelHostDefaultComponentPath()));
    createServices();
    setDirectories();
    setPythonPackages();
    for (const auto& setting : options_.settings)
        dataStore_->setSetting(setting.first, setting.second);
}

KelHost::~KelHost()
{
    component_.reset();
    retiredProviders().push_back(provider_);
    if (kelServiceProvider() == provider_)
        kelSetServiceProvider(previousProvider_);
}

void KelHost::createServices()
{
    dataStore_ = new HostDataStore();
    directories_ = new HostDirService();
    errors_ = new HostErrorService();
    assertHandler_ = new HostAssertHandler();
    strSupport_ = new HostStrSupport();
    translators_ = new HostTranslatorService();
    componentTranslator_ = new HostTranslator();
    pool_ = new BucketMemoryPool(4, 8192, 262144);
    memChecker_ = new HostMemChecker();
    memoryManager_ = new HostMemoryManager();
    translators_->setTranslator(kelComponentId(), componentTranslator_);
    addService("IDataStore", dataStore_);
    addService("IKelDirService", directories_);
    addService("IKelErrorService", errors_);
    addService("IKelAssertHandlerCB", assertHandler_);
    addService("IKelStrSupport", strSupport_);
    addService("IKelTranslatorService", translators_);
    addService("IBucketMemoryPool", pool_);
    addService("IMemChecker", memChecker_);
    addService("IKelMManager", memoryManager_);
}

// The component reads the temporary and logs directories from the data
// store and the others from the directory service; each option sets both.
void KelHost::setDirectories()
{
    std::error_code ignored;
    std::string temp = orDefault(options_.tempDir, fs::temp_directory_path(ignored).string());
    std::string privateDir;
    if (options_.macrosDir.empty() || options_.logsDir.empty())
        privateDir = kelHostPrivateDirectory(temp, error_);
    const struct {
        const char* name;
        const char* key;
        std::string path;
    } directories[] = {
        {"exe", nullptr, orDefault(options_.exeDir, fs::path(componentPath_).parent_path().string())},
        {"temp", "Directories/Temp Directory", temp},
        {"macros", nullptr, orDefault(options_.macrosDir, privateDir)},
        {"logs", "Directories/Logs Directory", orDefault(options_.logsDir, privateDir)},
    };
    for (const auto& directory : directories) {
        directories_->setDirectory(directory.name, directory.path);
        if (directory.key)
            dataStore_->setSetting(directory.key, directory.path);
    }
}

// Where scripts find packages ahead of the system's: the virtual environment
// of --python-env, else the user's folder (a setting may name either).
void KelHost::setPythonPackages()
{
    dataStore_->setPathSetting("Directories/Python Packages Directory", userPackagesDirectory());
    if (!options_.pythonEnv.empty())
        dataStore_->setPathSetting("Advanced/python virtual environment", options_.pythonEnv);
}

void KelHost::addService(const std::string& name, IKelUnknown* service)
{
    provider_->addService(name, service);
}

bool KelHost::load()
{
    char reason[512] = {};
    library_ = kelLoadLibrary(componentPath_.c_str(), reason, sizeof reason);
    if (!library_) {
        error_ = "cannot load component '" + componentPath_ + "': " + reason;
        return false;
    }
    auto entry = reinterpret_cast<KelEntryPointFunction>(kelLibrarySymbol(library_, kelEntryPointName));
    if (!entry) {
        error_ = "cannot load component '" + componentPath_ + "': it has no " + kelEntryPointName;
        return false;
    }
    IKelComponent* made = nullptr;
    uint32_t version = 0;
    if (!entry(&version, &made) || !made) {
        error_ = "cannot load component '" + componentPath_ + "': " + kelEntryPointName + " failed";
        return false;
    }
    component_ = made;
    version_ = version;
    return true;
}

bool KelHost::start()
{
    if (component_)
        return true;
    if (!error_.empty())  // no safe directory for the engine's files
        return false;
    if (!load())
        return false;
    component_->setServiceProvider(provider_);
    uint32_t kind = 0;
    IPtr<IKelUnknown> object(createClass(kelPythonInitializerId(), &kind));
    IKelInitializer* initializer = kelQuery<IKelInitializer>(object.get());
    if (!initializer) {
        error_ = "component '" + componentPath_ + "' has no initializer";
        return false;
    }
    initializer->initialize();
    return true;
}

IKelCompInternal* KelHost::componentInternal() const
{
    return kelQuery<IKelCompInternal>(component_.get());
}

void* KelHost::componentSymbol(const char* name) const
{
    return component_ && library_ ? kelLibrarySymbol(library_, name) : nullptr;
}

IKelUnknown* KelHost::createClass(const KelID& id, uint32_t* kind)
{
    IKelUnknown* object = nullptr;
    uint32_t made = component_ ? component_->createClass(&id, &object) : 0;
    if (kind)
        *kind = made;
    return made ? object : nullptr;
}

// An installed kit has no python.so beside kelhost; the folder it has one in
// is given relative to kelhost's own, so the installed tree can move.
std::string kelHostDefaultComponentPath()
{
    char self[4096];
    if (!kelExecutablePath(self, sizeof self))
        return "python.so";
    fs::path folder = fs::path(self).parent_path();
    std::error_code ignored;
    if (fs::exists(folder / "python.so", ignored))
        return (folder / "python.so").string();
    return (folder / KEL_INSTALLED_COMPONENT_DIR / "python.so").lexically_normal().string();
}

std::string kelHostFormatId(const KelID& id)
{
    char text[40];
    std::snprintf(text, sizeof text, "{%08x-%04x-%04x-%02x%02x-%02x%02x%02x%02x%02x%02x}", id.data1, id.data2,
                  id.data3, id.data4[0], id.data4[1], id.data4[2], id.data4[3], id.data4[4], id.data4[5],
                  id.data4[6], id.data4[7]);
    return text;
}
