// The reference host's data store ("IDataStore"): the settings that the
// component reads, and the application states that it declares and writes.
//
// Settings are plain texts set by the host program (from its options); the
// component reads them with getBool and getString. Application states are
// declared by the component and then changed by the host's own code (the
// Python output classes write through the host's appdata module); every
// change is handed to a listener, so that output can appear while a script
// runs.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "kel/hostservices.h"
#include "kel/kelwidestring.h"

struct HostAppState {
    std::string name;
    bool isString = false;
    int declared[4] = {};      // the four integers of an int state, as declared
    int maxLength = 0;         // of a string state
    int flags = 0;             // of a string state
    int intValue = 0;
    KelWideString stringValue;
};

class HostDataStore : public IDataStore {
public:
    // Called after a state changed, with its name and the state itself.
    using Listener = std::function<void(const HostAppState& state)>;

    // IDataStore
    void declareAppStateGroup(const char* group) override;
    // The state starts with the first of the four integers as its value.
    void declareIntAppState(const char* name, int a, int b, int c, int d) override;
    void declareStringAppState(const char* name, int maxLength, const KelWideString& initial, int flags) override;
    int getBool(const char* key, int defaultValue) override;
    const KelWideString& getString(const char* key, int flags) override;

    void queryInterface(const char* name, void* out, bool flag) override;
    const char* className() override { return "HostDataStore"; }

    // Settings, in UTF-8. A boolean setting reads "1", "true", "yes" or "on"
    // as true and "0", "false", "no" or "off" as false; anything else gives
    // the caller's default.
    void setSetting(const std::string& key, const std::string& value);
    // A setting that names a file or directory: `path` is native (any bytes)
    // and the value its canonical wide form.
    void setPathSetting(const std::string& key, const std::string& path);
    void removeSetting(const std::string& key);

    // Changing declared states; false (and nothing happens) for a name that
    // was not declared with that type.
    bool setStringState(const std::string& name, const KelWideString& value);
    bool setIntState(const std::string& name, int value);
    // Borrowed; null for a name that was not declared.
    const HostAppState* state(const std::string& name) const;

    const std::vector<std::string>& groups() const { return groups_; }
    // Names of the declared states in the order of their declaration.
    const std::vector<std::string>& stateOrder() const { return stateOrder_; }

    void setListener(Listener listener) { listener_ = std::move(listener); }

private:
    HostAppState& declare(const char* name, bool isString);
    void changed(const HostAppState& state);

    std::map<std::string, KelWideString> settings_;
    std::map<std::string, HostAppState> states_;
    std::vector<std::string> groups_;
    std::vector<std::string> stateOrder_;
    Listener listener_;
};
