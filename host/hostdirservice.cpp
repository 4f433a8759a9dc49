// The reference host's named directories.
#include "host/hostdirservice.h"

#include "host/hostpath.h"
#include "host/hostquery.h"

const KelWideString& HostDirService::getDirectory(const char* name)
{
    auto found = directories_.find(name ? name : "");
    return found == directories_.end() ? KelWideString::emptyString() : found->second;
}

void HostDirService::setDirectory(const std::string& name, const std::string& path)
{
    directories_[name] = kelHostWidePath(path);
    paths_[name] = path;
}

std::string HostDirService::directory(const std::string& name) const
{
    auto found = paths_.find(name);
    return found == paths_.end() ? std::string() : found->second;
}

void HostDirService::queryInterface(const char* name, void* out, bool flag)
{
    hostQueryInterface<IKelDirService>(this, "HostDirService", name, out);
}
