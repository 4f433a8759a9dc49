// The host's script objects as the interpreters see them: script values, the
// value factory, argument lists, commands, command lists, the script engine
// that reports failures to the user, and the script object (a recorded list of
// command calls).
//
// All of these are the host's objects. Slot order is a contract with the host:
// each interface lists its operations in the host's order, and the operations
// named reservedN stand for host slots that the interpreters never call (a
// host implements them as it likes; the defaults do nothing).
//
// Ownership: values and argument lists that IScriptFactory makes start with a
// reference count of 0. A holder takes a reference; an object that nobody
// took is destroyed by taking one reference and dropping it. append, add and
// addNamed take the references they need themselves. Pointers given by item,
// value, command, arguments and find are borrowed from their container.
#pragma once

#include <cstdint>
#include <iosfwd>

#include "kel/kelobject.h"

class KelCString;
class KelWideString;

// Opaque type token of a script value: only IScriptFactory's is-operations look
// inside it.
using ScriptTypeToken = const void*;

class IScriptValue : public virtual IKelUnknown {
public:
    static constexpr char interfaceName[] = "IScriptValue";

    virtual void reserved0() {}
    // Writes the value's own script text (integers, doubles and lists in a
    // form that Python reads back).
    virtual void write(std::ostream& out) = 0;
    virtual ScriptTypeToken type() = 0;
};

// The typed views of a value, reached by queryInterface on the value (borrowed;
// valid as long as the value lives).
class IScriptValueBool : public virtual IKelUnknown {
public:
    static constexpr char interfaceName[] = "IScriptValueBool";

    virtual void setValue(bool value) = 0;
    virtual bool getValue() = 0;
};

class IScriptValueInt : public virtual IKelUnknown {
public:
    static constexpr char interfaceName[] = "IScriptValueInt";

    virtual void setValue(int32_t value) = 0;
    virtual int32_t getValue() = 0;
};

class IScriptValueDouble : public virtual IKelUnknown {
public:
    static constexpr char interfaceName[] = "IScriptValueDouble";

    virtual void setValue(double value) = 0;
    virtual double getValue() = 0;
};

class IScriptValueString : public virtual IKelUnknown {
public:
    static constexpr char interfaceName[] = "IScriptValueString";

    virtual void setValue(const KelCString& value) = 0;
    // A copy that the caller owns.
    virtual KelCString getValue() = 0;
};

class IScriptValueUnicodeString : public virtual IKelUnknown {
public:
    static constexpr char interfaceName[] = "IScriptValueUnicodeString";

    virtual void setValue(const KelWideString& value) = 0;
    // A copy that the caller owns.
    virtual KelWideString getValue() = 0;
};

class IScriptValueList : public virtual IScriptValue {
public:
    static constexpr char interfaceName[] = "IScriptValueList";

    virtual uint32_t count() = 0;
    // The list takes a reference on `value`.
    virtual void append(IScriptValue* value) = 0;
    // Borrowed: owned by the list.
    virtual IScriptValue* item(uint32_t index) = 0;
};

// One actual argument of a command call.
class IScriptActualArg : public virtual IKelUnknown {
public:
    static constexpr char interfaceName[] = "IScriptActualArg";

    // Borrowed: owned by the argument.
    virtual IScriptValue* value() = 0;
    // The keyword of a call by keywords; empty for a positional argument.
    virtual const KelCString& name() = 0;
};

// The actual arguments of one command call, by position or by keyword.
class IScriptActualArgList : public virtual IKelUnknown {
public:
    static constexpr char interfaceName[] = "IScriptActualArgList";

    virtual void reserved0() {}
    // Copies `name`; takes a reference on `value`.
    virtual void addNamed(const KelCString& name, IScriptValue* value) = 0;
    // Takes a reference on `value`.
    virtual void add(IScriptValue* value) = 0;
    virtual void reserved1() {}
    virtual uint32_t count() = 0;
    // Borrowed: owned by the list.
    virtual IScriptActualArg* item(uint32_t index) = 0;
};

// The host's factory of values and argument lists, and the oracle of the type
// tokens. Everything it makes starts with a reference count of 0.
class IScriptFactory : public virtual IKelUnknown {
public:
    static constexpr char interfaceName[] = "IScriptFactory";

    virtual void reserved0() {}
    virtual void reserved1() {}
    // `named`: true for a call by keywords, false for a call by position.
    virtual IScriptActualArgList* createArgList(bool named) = 0;
    virtual void reserved2() {}
    virtual IScriptValue* makeBool(bool value) = 0;
    virtual IScriptValue* makeInt(int32_t value) = 0;
    virtual IScriptValue* makeDouble(double value) = 0;
    // The value keeps its own copy of the text.
    virtual IScriptValue* makeString(const KelCString& value) = 0;
    // The value keeps its own copy of the text.
    virtual IScriptValue* makeUnicodeString(const KelWideString& value) = 0;
    virtual IScriptValue* makeList() = 0;
    virtual bool isBool(ScriptTypeToken type) = 0;
    virtual bool isInt(ScriptTypeToken type) = 0;
    virtual bool isDouble(ScriptTypeToken type) = 0;
    virtual bool isString(ScriptTypeToken type) = 0;
    virtual bool isUnicodeString(ScriptTypeToken type) = 0;
    virtual bool isList(ScriptTypeToken type) = 0;
};

// A command's formal arguments. The interpreters only need one to exist; what
// it holds is the host's affair.
class IScriptPrototype : public virtual IKelUnknown {
public:
    static constexpr char interfaceName[] = "IScriptPrototype";
};

class IScriptCommand : public virtual IKelUnknown {
public:
    static constexpr char interfaceName[] = "IScriptCommand";

    virtual const KelCString& name() = 0;
    // Borrowed; null when the command has none.
    virtual IScriptPrototype* prototype() = 0;
    virtual void reserved0() {}
    // Runs the command. `*result` is null on entry; a command that gives a
    // value stores it there (count 0 or a reference the command keeps for
    // itself). The list may be kept only by taking a reference. False when
    // the command failed.
    virtual bool execute(IScriptActualArgList* args, IScriptValue** result) = 0;
};

class IScriptCommandList : public virtual IKelUnknown {
public:
    static constexpr char interfaceName[] = "IScriptCommandList";

    virtual uint32_t count() = 0;
    // Borrowed; null when there is no command of that name.
    virtual IScriptCommand* find(const KelCString& name) = 0;
    // Borrowed.
    virtual IScriptCommand* item(uint32_t index) = 0;
};

// A script object of the host: command calls with their actual arguments, in
// order, as the host recorded them.
class IScript : public virtual IKelUnknown {
public:
    static constexpr char interfaceName[] = "IScript";

    virtual uint32_t count() = 0;
    // Borrowed.
    virtual IScriptCommand* command(uint32_t index) = 0;
    // Borrowed.
    virtual IScriptActualArgList* arguments(uint32_t index) = 0;
};

// The road by which a scripting failure reaches the user.
class IScriptEngine : public virtual IKelUnknown {
public:
    static constexpr char interfaceName[] = "IScriptEngine";

    // `flags` is always 0 from the interpreters.
    virtual void reportError(const KelWideString& message, int32_t flags) = 0;
};
