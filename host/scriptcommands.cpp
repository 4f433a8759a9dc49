// The reference host's command list, call context, recorder and script
// engine.
#include "host/scriptcommands.h"

#include <cstdio>

#include "host/hostquery.h"
#include "host/hostreporting.h"
#include "text/utf16text.h"

IScriptValue* ScriptCall::at(uint32_t index) const
{
    IScriptActualArg* arg = args_ && index < args_->count() ? args_->item(index) : nullptr;
    return arg ? arg->value() : nullptr;
}

IScriptValue* ScriptCall::arg(uint32_t index, const char* name) const
{
    if (!args_)
        return nullptr;
    const uint32_t n = args_->count();
    if (n == 0)
        return nullptr;
    // Every argument of a call by keywords has a name, the empty one
    // included; no argument of a call by position has one.
    IScriptActualArg* first = args_->item(0);
    if (!first->name().chars()) {
        IScriptActualArg* a = index == 0 ? first : index < n ? args_->item(index) : nullptr;
        return a ? a->value() : nullptr;
    }
    for (uint32_t i = 0; name && i < n; ++i) {
        IScriptActualArg* a = i == 0 ? first : args_->item(i);
        if (a->name().equals(name))
            return a->value();
    }
    return nullptr;
}

bool ScriptCall::readInt(IScriptValue* value, int32_t& out)
{
    if (IScriptValueInt* i = kelQuery<IScriptValueInt>(value)) {
        out = i->getValue();
        return true;
    }
    if (IScriptValueBool* b = kelQuery<IScriptValueBool>(value)) {
        out = b->getValue() ? 1 : 0;
        return true;
    }
    return false;
}

bool ScriptCall::readDouble(IScriptValue* value, double& out)
{
    if (IScriptValueDouble* d = kelQuery<IScriptValueDouble>(value)) {
        out = d->getValue();
        return true;
    }
    int32_t i = 0;
    if (!readInt(value, i))
        return false;
    out = i;
    return true;
}

bool ScriptCall::readText(IScriptValue* value, KelWideString& out)
{
    if (IScriptValueUnicodeString* u = kelQuery<IScriptValueUnicodeString>(value)) {
        out = u->getValue();
        return true;
    }
    if (IScriptValueString* s = kelQuery<IScriptValueString>(value)) {
        KelCString bytes = s->getValue();
        out = KelWideString::fromUtf8(bytes.chars() ? bytes.chars() : "");
        return true;
    }
    return false;
}

bool ScriptCall::getInt(uint32_t index, const char* name, int32_t& out) const
{
    return readInt(arg(index, name), out);
}

bool ScriptCall::getDouble(uint32_t index, const char* name, double& out) const
{
    return readDouble(arg(index, name), out);
}

bool ScriptCall::getText(uint32_t index, const char* name, KelWideString& out) const
{
    return readText(arg(index, name), out);
}

void HostPrototype::queryInterface(const char* name, void* out, bool flag)
{
    hostQueryInterface<IScriptPrototype>(this, className(), name, out);
}

HostCommand::HostCommand(const char* name, HostCommandFunction function, const char* usage)
    : name_(name), function_(function), prototype_(new HostPrototype(usage))
{
}

bool HostCommand::execute(IScriptActualArgList* args, IScriptValue** result)
{
    if (recorder)
        recorder->append(this, args);
    ScriptCall call(args, result);
    return function_(call);
}

void HostCommand::queryInterface(const char* name, void* out, bool flag)
{
    hostQueryInterface<IScriptCommand>(this, className(), name, out);
}

void HostCommandList::add(const char* name, HostCommandFunction function, const char* usage)
{
    IPtr<HostCommand> command(new HostCommand(name, function, usage));
    command->recorder = recorder_.get();
    if (!name) {
        commands_.push_back(command);  // listed, but nobody can find it by name
        return;
    }
    // The key borrows the command's own text, which lives as long as the
    // command is in the list: a replacement hands its own text to the node.
    const KelCString key(command->name().chars(), kelBorrow);
    if (auto* node = byName_.find(key)) {
        HostCommand* replaced = node->value;
        node->key = key;  // before the old command, and its text, may go
        node->value = command.get();
        for (IPtr<HostCommand>& old : commands_) {
            if (old.get() == replaced)
                old = command;  // the old command may live on in a recording
        }
        return;
    }
    *byName_.findOrInsert(key) = command.get();
    commands_.push_back(command);
}

void HostCommandList::setRecorder(HostScript* script)
{
    recorder_ = script;
    for (IPtr<HostCommand>& command : commands_)
        command->recorder = script;
}

IScriptCommand* HostCommandList::find(const KelCString& name)
{
    if (!name.chars())
        return nullptr;
    auto* node = byName_.find(name);
    return node ? node->value : nullptr;
}

IScriptCommand* HostCommandList::item(uint32_t index)
{
    return index < commands_.size() ? commands_[index].get() : nullptr;
}

void HostCommandList::queryInterface(const char* name, void* out, bool flag)
{
    hostQueryInterface<IScriptCommandList>(this, className(), name, out);
}

void HostScript::append(IScriptCommand* command, IScriptActualArgList* args)
{
    entries_.push_back(Entry{IPtr<IScriptCommand>(command), IPtr<IScriptActualArgList>(args)});
}

IScriptCommand* HostScript::command(uint32_t index)
{
    return index < entries_.size() ? entries_[index].command.get() : nullptr;
}

IScriptActualArgList* HostScript::arguments(uint32_t index)
{
    return index < entries_.size() ? entries_[index].args.get() : nullptr;
}

void HostScript::queryInterface(const char* name, void* out, bool flag)
{
    hostQueryInterface<IScript>(this, className(), name, out);
}

void HostScriptEngine::reportError(const KelWideString& message, int32_t flags)
{
    hostKeepLatest(messages_, kelUtf8OfUnits(message.chars(), KelLoneSurrogate::threeBytes));
    if (!quiet) {
        std::fputs(messages_.back().c_str(), stderr);
        std::fputc('\n', stderr);
        std::fflush(stderr);
    }
}

void HostScriptEngine::queryInterface(const char* name, void* out, bool flag)
{
    hostQueryInterface<IScriptEngine>(this, className(), name, out);
}
