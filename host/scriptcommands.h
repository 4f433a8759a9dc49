// The reference host's script commands: the command list that the
// interpreter publishes in the module "kel", the call context a command's
// function works with, the recorder that keeps executed calls as a script
// object, and the script engine that shows failures to the user.
//
// Adding a command, from any file of the host:
//
//     bool doubleIt(ScriptCall& call)
//     {
//         int32_t n;
//         if (!call.getInt(0, "n", n))
//             return false;            // the user hears "Error executing command ..."
//         call.giveInt(2 * n);
//         return true;
//     }
//     ...
//     commands.add("doubleIt", doubleIt, "doubleIt(n)");
//
// inside a command set function listed in host/commandsets.h.
// Commands are published when the interpreter first binds the list, so add
// them before that. A function reads its arguments by position in a call by
// position and by keyword in a call by keywords (both are given, each call
// uses the one that applies), and gives at most one result.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/scriptvalues.h"
#include "kel/iptr.h"
#include "kel/kelhashtable.h"
#include "kel/kelwidestring.h"
#include "kel/qtxcstring.h"
#include "kel/scripthost.h"

// What a command's function sees of one call.
class ScriptCall {
public:
    ScriptCall(IScriptActualArgList* args, IScriptValue** result) : args_(args), result_(result) {}

    // Borrowed. The argument at `index` of a call by position, or the one
    // called `name` of a call by keywords; null when there is none.
    IScriptValue* arg(uint32_t index, const char* name) const;
    uint32_t count() const { return args_ ? args_->count() : 0; }
    // Borrowed: the value of the argument at `index` in the order given,
    // whatever the road.
    IScriptValue* at(uint32_t index) const;
    IScriptActualArgList* args() const { return args_; }

    // Typed reads of arg(index, name); false when the argument is missing or
    // of another type. getInt takes ints and bools, getDouble also ints,
    // getText Unicode strings and byte strings (read as UTF-8).
    bool getInt(uint32_t index, const char* name, int32_t& out) const;
    bool getDouble(uint32_t index, const char* name, double& out) const;
    bool getText(uint32_t index, const char* name, KelWideString& out) const;
    // The same reads of any value (null gives false).
    static bool readInt(IScriptValue* value, int32_t& out);
    static bool readDouble(IScriptValue* value, double& out);
    static bool readText(IScriptValue* value, KelWideString& out);

    // The result: a new value (count 0; the interpreter takes it over) or a
    // value that something else already holds, such as an argument.
    void give(IScriptValue* value) { *result_ = value; }
    void giveBool(bool value) { give(new HostBoolValue(value)); }
    void giveInt(int32_t value) { give(new HostIntValue(value)); }
    void giveDouble(double value) { give(new HostDoubleValue(value)); }
    void giveString(const char* value) { give(new HostStringValue(KelCString(value, kelBorrow))); }
    void giveText(const KelWideString& value) { give(new HostUnicodeValue(value)); }

private:
    IScriptActualArgList* args_;
    IScriptValue** result_;
};

// A script object: command calls with their arguments, in the order they ran.
class HostScript final : public HostScriptObject, public virtual IScript {
public:
    // Keeps a reference on both.
    void append(IScriptCommand* command, IScriptActualArgList* args);
    void clear() { entries_.clear(); }

    uint32_t count() override { return static_cast<uint32_t>(entries_.size()); }
    IScriptCommand* command(uint32_t index) override;
    IScriptActualArgList* arguments(uint32_t index) override;

    void queryInterface(const char* name, void* out, bool flag) override;
    const char* className() override { return "HostScript"; }

private:
    struct Entry {
        IPtr<IScriptCommand> command;
        IPtr<IScriptActualArgList> args;
    };
    std::vector<Entry> entries_;
};

// A command's function: true when the command ran.
using HostCommandFunction = bool (*)(ScriptCall& call);

// The formal side of a command: its usage text, for people.
class HostPrototype final : public HostScriptObject, public virtual IScriptPrototype {
public:
    explicit HostPrototype(const char* usage) : usage_(usage) {}
    const KelCString& usage() const { return usage_; }
    void queryInterface(const char* name, void* out, bool flag) override;
    const char* className() override { return "HostPrototype"; }

private:
    KelCString usage_;
};

class HostCommand final : public HostScriptObject, public virtual IScriptCommand {
public:
    HostCommand(const char* name, HostCommandFunction function, const char* usage);

    const KelCString& name() override { return name_; }
    IScriptPrototype* prototype() override { return prototype_.get(); }
    // Runs the function; with recording on, the call is kept first.
    bool execute(IScriptActualArgList* args, IScriptValue** result) override;

    void queryInterface(const char* name, void* out, bool flag) override;
    const char* className() override { return "HostCommand"; }

    // Borrowed; null while recording is off. Set on all commands of a list
    // by HostCommandList::setRecorder.
    HostScript* recorder = nullptr;

private:
    KelCString name_;
    HostCommandFunction function_;
    IPtr<HostPrototype> prototype_;
};

// The host's commands in the order they were added, found by name through
// the foundation's hash table.
class HostCommandList final : public HostScriptObject, public virtual IScriptCommandList {
public:
    // Adds a command, or replaces the function and usage of one of the same
    // name (it keeps its place). A null name gives a command that is listed
    // but that find never gives.
    void add(const char* name, HostCommandFunction function, const char* usage);
    // Starts recording every executed command into `script` (a reference is
    // held), or stops with null.
    void setRecorder(HostScript* script);
    HostScript* recorder() const { return recorder_.get(); }

    uint32_t count() override { return static_cast<uint32_t>(commands_.size()); }
    IScriptCommand* find(const KelCString& name) override;
    IScriptCommand* item(uint32_t index) override;

    void queryInterface(const char* name, void* out, bool flag) override;
    const char* className() override { return "HostCommandList"; }

private:
    std::vector<IPtr<HostCommand>> commands_;
    // By name, keys borrowing the commands' own texts; a command without a
    // name is listed but not here.
    KelHashTable<KelCString, HostCommand*, KelCString::HashFunc> byName_{nextTableSize(16)};
    IPtr<HostScript> recorder_;
};

// "IScriptEngine": shows each message to the user on standard error (unless
// told to be quiet) and keeps the latest ones (kHostKeptReports), in UTF-8,
// for whoever asks later.
class HostScriptEngine final : public HostScriptObject, public virtual IScriptEngine {
public:
    void reportError(const KelWideString& message, int32_t flags) override;

    // Oldest first.
    const std::vector<std::string>& messages() const { return messages_; }
    void clearMessages() { messages_.clear(); }
    bool quiet = false;

    void queryInterface(const char* name, void* out, bool flag) override;
    const char* className() override { return "HostScriptEngine"; }

private:
    std::vector<std::string> messages_;
};
