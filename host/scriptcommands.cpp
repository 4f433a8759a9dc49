// The reference host's command list, call context, recorder and script
// engine.
#include "host/scriptcommands.h"

#include <cstdio>

#include "host/hostreporting.h"
#include "kel/interfacenamelist.h"
#include "text/utf16text.h"

namespace {

// Answers a query for the object itself, its one interface and IKelUnknown.
template <class Interface>
void answerQuery(Interface* self, const char* className, const char* name, void* out)
{
    if (!name) {
        KelInterfaceNameList* list = kelNameListOf(out);
        addName(className, 1, list);
        addName(Interface::interfaceName, 0, list);
        popClass(list);
        return;
    }
    if (kelSameName(name, Interface::interfaceName))
        kelSetOut(out, self);
    else if (kelSameName(name, IKelUnknown::interfaceName))
        kelSetOut(out, static_cast<IKelUnknown*>(self));
    else
        kelSetOut(out, nullptr);
}

// Names are short: a plain loop beats a library call here.
bool sameText(const char* a, const char* b)
{
    while (*a && *a == *b) {
        ++a;
        ++b;
    }
    return *a == *b;
}

}  // namespace

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
    answerQuery<IScriptPrototype>(this, className(), name, out);
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
    answerQuery<IScriptCommand>(this, className(), name, out);
}

uint32_t HostCommandList::hashName(const char* name)
{
    uint32_t hash = 2166136261u;  // FNV-1a
    for (const unsigned char* c = reinterpret_cast<const unsigned char*>(name); *c; ++c)
        hash = (hash ^ *c) * 16777619u;
    return hash;
}

// The slot that holds `name`, or the empty slot where it would go.
HostCommandList::Slot* HostCommandList::slotFor(const char* name, uint32_t hash)
{
    const size_t mask = table_.size() - 1;
    for (size_t i = hash & mask;; i = (i + 1) & mask) {
        Slot& slot = table_[i];
        if (!slot.command || (slot.hash == hash && sameText(slot.name, name)))
            return &slot;
    }
}

void HostCommandList::rebuildTable()
{
    size_t size = 8;
    while (size < 2 * commands_.size())
        size *= 2;
    table_.assign(size, Slot());
    for (IPtr<HostCommand>& command : commands_) {
        if (!command->name().chars())
            continue;  // listed, but nobody can find it by name
        const uint32_t hash = hashName(command->name().chars());
        *slotFor(command->name().chars(), hash) = Slot{hash, command->name().chars(), command.get()};
    }
}

void HostCommandList::add(const char* name, HostCommandFunction function, const char* usage)
{
    IPtr<HostCommand> command(new HostCommand(name, function, usage));
    command->recorder = recorder_.get();
    HostCommand* previous = table_.empty() || !name ? nullptr : slotFor(name, hashName(name))->command;
    if (previous) {
        for (IPtr<HostCommand>& old : commands_) {
            if (old.get() == previous)
                old = command;  // the old command may live on in a recording
        }
    } else {
        commands_.push_back(command);
    }
    rebuildTable();
}

void HostCommandList::setRecorder(HostScript* script)
{
    recorder_ = script;
    for (IPtr<HostCommand>& command : commands_)
        command->recorder = script;
}

IScriptCommand* HostCommandList::find(const KelCString& name)
{
    if (!name.chars() || table_.empty())
        return nullptr;
    return slotFor(name.chars(), hashName(name.chars()))->command;
}

IScriptCommand* HostCommandList::item(uint32_t index)
{
    return index < commands_.size() ? commands_[index].get() : nullptr;
}

void HostCommandList::queryInterface(const char* name, void* out, bool flag)
{
    answerQuery<IScriptCommandList>(this, className(), name, out);
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
    answerQuery<IScript>(this, className(), name, out);
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
    answerQuery<IScriptEngine>(this, className(), name, out);
}
