// The host's basic script commands: enough to carry every value type both
// ways and to walk each failure road of a command call.
#include <chrono>
#include <cstdint>
#include <thread>

#include "host/commandsets.h"

namespace {

const char kHostVersion[] = "1.0";

// echo(value): gives back its argument itself; no argument gives None.
bool echo(ScriptCall& call)
{
    call.give(call.arg(0, "value"));
    return true;
}

// add(a, b): the sum; an int while both are ints (wrapping at 32 bits),
// otherwise a double.
bool add(ScriptCall& call)
{
    int32_t a = 0, b = 0;
    if (call.getInt(0, "a", a) && call.getInt(1, "b", b)) {
        call.giveInt(static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b)));
        return true;
    }
    double x = 0, y = 0;
    if (!call.getDouble(0, "a", x) || !call.getDouble(1, "b", y))
        return false;
    call.giveDouble(x + y);
    return true;
}

// concat(a, b, ...): the texts joined in the order given. Only byte strings
// give a byte string; otherwise the result is text, byte strings read as
// UTF-8. Anything that is not a text, or a result longer than the host's
// strings hold, fails the command.
bool concat(ScriptCall& call)
{
    bool allBytes = true;
    for (uint32_t i = 0; i < call.count(); ++i) {
        IScriptValue* value = call.at(i);
        if (!kelQuery<IScriptValueString>(value)) {
            allBytes = false;
            if (!kelQuery<IScriptValueUnicodeString>(value))
                return false;
        }
    }
    if (allBytes) {
        KelCString joined("");
        for (uint32_t i = 0; i < call.count(); ++i) {
            KelCString part = kelQuery<IScriptValueString>(call.at(i))->getValue();
            if (int64_t{joined.length()} + part.length() > KelCString::maxLength)
                return false;
            joined.append(part.chars());
        }
        call.give(new HostStringValue(joined));
        return true;
    }
    KelWideString joined;
    for (uint32_t i = 0; i < call.count(); ++i) {
        KelWideString part;
        ScriptCall::readText(call.at(i), part);
        if (int64_t{joined.length()} + part.length() > KelWideString::maxLength)
            return false;
        joined.append(part);
    }
    call.giveText(joined);
    return true;
}

// listOf(...): a list of the arguments, in the order given.
bool listOf(ScriptCall& call)
{
    HostListValue* list = new HostListValue;
    for (uint32_t i = 0; i < call.count(); ++i)
        list->append(call.at(i));
    call.give(list);
    return true;
}

// fail(...): never runs. It leaves a value behind all the same, which the
// interpreter must throw away unconverted.
bool fail(ScriptCall& call)
{
    call.giveInt(-1);
    return false;
}

// version(): the host's version as a byte string.
bool version(ScriptCall& call)
{
    call.giveString(kHostVersion);
    return true;
}

// sleep(seconds): waits; gives nothing.
bool sleep(ScriptCall& call)
{
    double seconds = 0;
    if (!call.getDouble(0, "seconds", seconds) || !(seconds >= 0 && seconds <= 3600))
        return false;
    std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
    return true;
}

// nop(): does nothing and gives nothing; the cheapest possible command.
bool nop(ScriptCall&)
{
    return true;
}

// typeName(value): the host type of the argument as text, for scripts that
// want to see what their values became.
bool typeName(ScriptCall& call)
{
    IScriptValue* value = call.arg(0, "value");
    const char* name = !value                                            ? nullptr
                       : kelQuery<IScriptValueBool>(value)               ? "bool"
                       : kelQuery<IScriptValueInt>(value)                ? "int"
                       : kelQuery<IScriptValueDouble>(value)             ? "double"
                       : kelQuery<IScriptValueString>(value)             ? "string"
                       : kelQuery<IScriptValueUnicodeString>(value)      ? "unicode"
                       : kelQuery<IScriptValueList>(value)               ? "list"
                                                                         : nullptr;
    if (!name)
        return false;
    call.giveText(KelWideString(name));
    return true;
}

}  // namespace

void addBasicCommands(HostCommandList& commands)
{
    commands.add("echo", echo, "echo(value)");
    commands.add("add", add, "add(a, b)");
    commands.add("concat", concat, "concat(a, b, ...)");
    commands.add("listOf", listOf, "listOf(...)");
    commands.add("fail", fail, "fail(...)");
    commands.add("version", version, "version()");
    commands.add("sleep", sleep, "sleep(seconds)");
    commands.add("nop", nop, "nop()");
    commands.add("typeName", typeName, "typeName(value)");
}
