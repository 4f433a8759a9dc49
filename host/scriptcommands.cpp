// The reference host's command list, call context, recorder and script
// engine.
#include "host/scriptcommands.h"

#include <cstdio>

#include "component/interfacenamelist.h"

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

void appendUtf8(std::string& out, char32_t c)
{
    if (c < 0x80) {
        out += static_cast<char>(c);
    } else if (c < 0x800) {
        out += static_cast<char>(0xC0 | (c >> 6));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        out += static_cast<char>(0xE0 | (c >> 12));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (c >> 18));
        out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    }
}

// The UTF-8 form of a text of 16-bit units; pairs are joined, a lone
// surrogate is written as the three bytes of its code point, so that a
// message shows every unit it holds.
std::string messageUtf8(const KelWideString& text)
{
    std::string out;
    const char16_t* units = text.chars();
    for (int32_t i = 0, length = text.length(); i < length; ++i) {
        char32_t c = units[i];
        if (c >= 0xD800 && c < 0xDC00 && i + 1 < length && units[i + 1] >= 0xDC00 && units[i + 1] < 0xE000)
            c = 0x10000 + ((c - 0xD800) << 10) + (units[++i] - 0xDC00);
        appendUtf8(out, c);
    }
    return out;
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
    // A list of another maker: a call by keywords names its arguments.
    HostArgList* list = kelQuery<HostArgList>(args_);
    const bool named = list ? list->named() : !args_->item(0)->name().isEmpty();
    if (named) {
        for (uint32_t i = 0; i < n; ++i) {
            IScriptActualArg* a = args_->item(i);
            if (name && a->name().equals(name))
                return a->value();
        }
        return nullptr;
    }
    return at(index);
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

void HostCommandList::add(const char* name, HostCommandFunction function, const char* usage)
{
    IPtr<HostCommand> command(new HostCommand(name, function, usage));
    command->recorder = recorder_.get();
    auto found = byName_.find(std::string_view(name));
    if (found == byName_.end()) {
        commands_.push_back(command);
    } else {
        // The key points into the old command's name: out of the table first.
        HostCommand* previous = found->second;
        byName_.erase(found);
        for (IPtr<HostCommand>& old : commands_) {
            if (old.get() == previous)
                old = command;  // the old command may live on in a recording
        }
    }
    byName_.emplace(std::string_view(command->name().chars()), command.get());
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
    auto found = byName_.find(std::string_view(name.chars()));
    return found == byName_.end() ? nullptr : found->second;
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
    messages_.push_back(messageUtf8(message));
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
