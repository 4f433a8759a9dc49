// KelHost: the reference host application around one loaded component.
//
// It owns the service provider and the host's services, loads the component
// library, calls its EntryPoint, hands it the provider and lets it declare its
// application states (PythonInitializer). Other parts of the host add their
// own services by name, before or after start(); a service must be there
// before the component first looks for it (IScriptFactory, for instance,
// before the interpreter class is created).
//
// The provider and the services live as long as the process once a host has
// existed: the component keeps references in statics that are released only
// at process end, so they are never destroyed under it.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "kel/iptr.h"
#include "kel/kelcomponent.h"
#include "kel/kelid.h"

class BucketMemoryPool;
class HostAssertHandler;
class HostDataStore;
class HostDirService;
class HostErrorService;
class HostMemChecker;
class HostMemoryManager;
class HostServiceProvider;
class HostStrSupport;
class HostTranslator;
class HostTranslatorService;
class IKelServiceProvider;
class KelHost;

// What the command line chose. Sub-commands fill in `action` (and, when they
// need the host's services set up in a particular way, `setups`).
struct KelHostOptions {
    std::string component;  // the component library; empty: python.so beside the program
    std::string exeDir;     // "exe"; empty: the component's folder
    std::string macrosDir;  // "macros"; empty: the private directory
    std::string tempDir;    // "temp"; empty: the system's temporary directory
    std::string logsDir;    // "logs"; empty: the private directory
    std::string pythonEnv;  // the virtual environment whose packages scripts see; empty: none
    std::map<std::string, std::string> settings;  // data store settings, UTF-8

    // Run in order on the new host before the component is loaded.
    std::vector<std::function<void(KelHost&)>> setups;
    // The chosen sub-command; its result is the program's exit status.
    std::function<int(KelHost&)> action;
    // False for a sub-command that works without the component.
    bool needsComponent = true;
};

class KelHost {
public:
    explicit KelHost(const KelHostOptions& options);
    ~KelHost();
    KelHost(const KelHost&) = delete;
    KelHost& operator=(const KelHost&) = delete;

    // Loads the component and brings it up: EntryPoint, setServiceProvider,
    // PythonInitializer. False with error() set when any step fails.
    bool start();
    // One line: what failed and why, naming the component's path.
    const std::string& error() const { return error_; }

    // Publishes a service; the provider holds one reference.
    void addService(const std::string& name, IKelUnknown* service);

    // After start(): the component's two interfaces (borrowed) and the
    // version that EntryPoint gave.
    IKelComponent* component() const { return component_.get(); }
    IKelCompInternal* componentInternal() const;
    uint32_t version() const { return version_; }
    // createClass on the component; null with kind 0 for an unknown identity.
    IKelUnknown* createClass(const KelID& id, uint32_t* kind = nullptr);
    // After start(): an export of the component library (kelCreateParameter,
    // kelInterruptScript); null when it has none.
    void* componentSymbol(const char* name) const;

    const KelHostOptions& options() const { return options_; }
    const std::string& componentPath() const { return componentPath_; }

    HostServiceProvider& provider() { return *provider_; }
    HostDataStore& dataStore() { return *dataStore_; }
    HostDirService& directories() { return *directories_; }
    HostErrorService& errors() { return *errors_; }
    HostAssertHandler& assertHandler() { return *assertHandler_; }
    HostStrSupport& strSupport() { return *strSupport_; }
    HostTranslatorService& translators() { return *translators_; }
    // The translator that the host gives the component (initially empty).
    HostTranslator& componentTranslator() { return *componentTranslator_; }
    BucketMemoryPool& pool() { return *pool_; }
    HostMemChecker& memChecker() { return *memChecker_; }
    HostMemoryManager& memoryManager() { return *memoryManager_; }

private:
    void createServices();
    void setDirectories();
    void setPythonPackages();
    bool load();

    KelHostOptions options_;
    std::string componentPath_;
    std::string error_;
    HostServiceProvider* provider_;
    HostDataStore* dataStore_ = nullptr;
    HostDirService* directories_ = nullptr;
    HostErrorService* errors_ = nullptr;
    HostAssertHandler* assertHandler_ = nullptr;
    HostStrSupport* strSupport_ = nullptr;
    HostTranslatorService* translators_ = nullptr;
    HostTranslator* componentTranslator_ = nullptr;
    BucketMemoryPool* pool_ = nullptr;
    HostMemChecker* memChecker_ = nullptr;
    HostMemoryManager* memoryManager_ = nullptr;
    void* library_ = nullptr;
    IPtr<IKelComponent> component_;
    uint32_t version_ = 0;
    IKelServiceProvider* previousProvider_;
};

// python.so in the folder of the running program (the build tree), else in
// the installed kit's component folder relative to it (bin/../lib/kel).
std::string kelHostDefaultComponentPath();

// "kelhost-<user id>" in `temp`, made when missing: a directory that only
// this user can write to. Empty, with the reason in `error`, when it cannot
// be made or is not such a directory.
std::string kelHostPrivateDirectory(const std::string& temp, std::string& error);

// An identity as {xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx}, lower case.
std::string kelHostFormatId(const KelID& id);
