// The reference host's data store.
#include "host/hostdatastore.h"

#include "host/hostpath.h"
#include "host/hostquery.h"
#include "host/hosttext.h"

namespace {
std::string textOf(const char* text)
{
    return text ? text : "";
}
}  // namespace

void HostDataStore::declareAppStateGroup(const char* group)
{
    groups_.push_back(textOf(group));
}

HostAppState& HostDataStore::declare(const char* name, bool isString)
{
    std::string key = textOf(name);
    auto inserted = states_.emplace(key, HostAppState());
    if (inserted.second)
        stateOrder_.push_back(key);
    HostAppState& state = inserted.first->second;
    state = HostAppState();
    state.name = key;
    state.isString = isString;
    return state;
}

void HostDataStore::declareIntAppState(const char* name, int a, int b, int c, int d)
{
    HostAppState& state = declare(name, false);
    state.declared[0] = a;
    state.declared[1] = b;
    state.declared[2] = c;
    state.declared[3] = d;
    state.intValue = a;
}

void HostDataStore::declareStringAppState(const char* name, int maxLength, const KelWideString& initial, int flags)
{
    HostAppState& state = declare(name, true);
    state.maxLength = maxLength;
    state.flags = flags;
    state.stringValue = initial;
}

int HostDataStore::getBool(const char* key, int defaultValue)
{
    auto found = settings_.find(textOf(key));
    if (found == settings_.end())
        return defaultValue;
    std::string value = hostUtf8(found->second);
    for (const char* yes : {"1", "true", "yes", "on"}) {
        if (value == yes)
            return 1;
    }
    for (const char* no : {"0", "false", "no", "off"}) {
        if (value == no)
            return 0;
    }
    return defaultValue;
}

const KelWideString& HostDataStore::getString(const char* key, int flags)
{
    auto found = settings_.find(textOf(key));
    return found == settings_.end() ? KelWideString::emptyString() : found->second;
}

void HostDataStore::setSetting(const std::string& key, const std::string& value)
{
    settings_[key] = KelWideString::fromUtf8(value.c_str());
}

void HostDataStore::setPathSetting(const std::string& key, const std::string& path)
{
    settings_[key] = kelHostWidePath(path);
}

void HostDataStore::removeSetting(const std::string& key)
{
    settings_.erase(key);
}

bool HostDataStore::setStringState(const std::string& name, const KelWideString& value)
{
    auto found = states_.find(name);
    if (found == states_.end() || !found->second.isString)
        return false;
    found->second.stringValue = value;
    changed(found->second);
    return true;
}

bool HostDataStore::setIntState(const std::string& name, int value)
{
    auto found = states_.find(name);
    if (found == states_.end() || found->second.isString)
        return false;
    found->second.intValue = value;
    changed(found->second);
    return true;
}

const HostAppState* HostDataStore::state(const std::string& name) const
{
    auto found = states_.find(name);
    return found == states_.end() ? nullptr : &found->second;
}

void HostDataStore::changed(const HostAppState& state)
{
    if (listener_)
        listener_(state);
}

void HostDataStore::queryInterface(const char* name, void* out, bool flag)
{
    hostQueryInterface<IDataStore>(this, "HostDataStore", name, out);
}
