// The reference host's named directories ("IKelDirService"): "exe" (the
// folder of the component's companion files), "macros", "temp", "logs", and
// any other name the host program sets.
#pragma once

#include <map>
#include <string>

#include "kel/hostservices.h"
#include "kel/kelwidestring.h"

class HostDirService : public IKelDirService {
public:
    // The service keeps the text; a name never set gives the empty string.
    const KelWideString& getDirectory(const char* name) override;

    void queryInterface(const char* name, void* out, bool flag) override;
    const char* className() override { return "HostDirService"; }

    // `path` is a native path (any bytes), kept as given.
    void setDirectory(const std::string& name, const std::string& path);
    // The native path; empty for a name never set.
    std::string directory(const std::string& name) const;

private:
    std::map<std::string, KelWideString> directories_;
    std::map<std::string, std::string> paths_;
};
