// The reference host's script values, argument lists and value factory
// ("IScriptFactory").
//
// Script objects of the host belong to the thread that runs the interpreter,
// like the interpreter itself, so their reference counts are plain integers:
// a command call makes and drops several of them, and atomic arithmetic
// through the provider would be most of its cost. Everything the factory makes
// starts at count 0; the first holder takes a reference.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <ostream>
#include <type_traits>
#include <vector>

#include "host/hostquery.h"
#include "kel/iptr.h"
#include "kel/kelobject.h"
#include "kel/kelwidestring.h"
#include "kel/qtxcstring.h"
#include "kel/scripthost.h"

// Base of every host script object: a plain reference count, and destruction
// when the last reference goes. The number of objects alive lets the host
// (and its tests) see that a script leaves nothing behind.
class HostScriptObject : public virtual IKelUnknown {
public:
    HostScriptObject() { ++alive_; }
    ~HostScriptObject() override { --alive_; }
    static long alive() { return alive_; }

    // A call makes and drops a few small objects: blocks come from and go
    // back to per-thread free lists by size, which costs far less than the
    // heap: plain new and delete make a command call about 40% slower. The
    // sized delete gets the most-derived size (the destructor is virtual).
    static void* operator new(std::size_t size);
    static void operator delete(void* block, std::size_t size);

    void addRef() override { ++count; }
    void release() override
    {
        if (--count == 0)
            delete this;
    }
    uint32_t refCount() override { return static_cast<uint32_t>(count); }

private:
    static inline long alive_ = 0;
};

// Each value answers to the typed interface of its kind and to IScriptValue.
class HostValue : public HostScriptObject, public virtual IScriptValue {
};

// The script text of each plain value (a Python literal that reads back as
// the same value); a null byte string writes None.
void hostWriteValue(std::ostream& out, bool value);
void hostWriteValue(std::ostream& out, int32_t value);
void hostWriteValue(std::ostream& out, double value);
void hostWriteValue(std::ostream& out, const KelCString& value);
void hostWriteValue(std::ostream& out, const KelWideString& value);

// A value keeps its own copy of a string, never a borrowed text.
template <class T>
T hostOwnCopy(T value)
{
    return value;
}
inline KelCString hostOwnCopy(const KelCString& value)
{
    return KelCString(value.chars());  // a null text stays null (Python sees None)
}
inline KelWideString hostOwnCopy(const KelWideString& value)
{
    KelWideString copy;
    copy.assign(value.chars());
    return copy;
}

// A plain value: `Interface` is its typed interface, whose getValue gives a
// `Value`; `Name` is its class name. Each instance has a type token of its
// own: a distinct address, never looked into.
template <class Interface, class Value, const char* Name>
class HostPlainValue final : public HostValue, public virtual Interface {
public:
    using Argument = std::conditional_t<std::is_arithmetic_v<Value>, Value, const Value&>;

    explicit HostPlainValue(Argument value) : value_(hostOwnCopy(value)) {}
    void setValue(Argument value) override { value_ = hostOwnCopy(value); }
    Value getValue() override { return hostOwnCopy(value_); }
    void write(std::ostream& out) override { hostWriteValue(out, value_); }
    static ScriptTypeToken typeToken() { return &token_; }
    ScriptTypeToken type() override { return &token_; }
    const char* className() override { return Name; }
    void queryInterface(const char* name, void* out, bool flag) override
    {
        hostQueryInterface<Interface, IScriptValue>(this, Name, name, out);
    }

private:
    static inline const char token_ = 0;
    Value value_;
};

inline constexpr char kHostBoolValue[] = "HostBoolValue";
inline constexpr char kHostIntValue[] = "HostIntValue";
inline constexpr char kHostDoubleValue[] = "HostDoubleValue";
inline constexpr char kHostStringValue[] = "HostStringValue";
inline constexpr char kHostUnicodeValue[] = "HostUnicodeValue";
using HostBoolValue = HostPlainValue<IScriptValueBool, bool, kHostBoolValue>;
using HostIntValue = HostPlainValue<IScriptValueInt, int32_t, kHostIntValue>;
using HostDoubleValue = HostPlainValue<IScriptValueDouble, double, kHostDoubleValue>;
using HostStringValue = HostPlainValue<IScriptValueString, KelCString, kHostStringValue>;
using HostUnicodeValue = HostPlainValue<IScriptValueUnicodeString, KelWideString, kHostUnicodeValue>;

class HostListValue final : public HostValue, public virtual IScriptValueList {
public:
    uint32_t count() override { return static_cast<uint32_t>(items_.size()); }
    void append(IScriptValue* value) override;
    IScriptValue* item(uint32_t index) override;
    void write(std::ostream& out) override;
    static ScriptTypeToken typeToken() { return &token_; }
    ScriptTypeToken type() override { return &token_; }
    const char* className() override { return "HostListValue"; }
    void queryInterface(const char* name, void* out, bool flag) override;

private:
    static inline const char token_ = 0;
    std::vector<IPtr<IScriptValue>> items_;
};

class HostArgList;

// One argument, part of its list: its count is the list's.
class HostActualArg final : public virtual IScriptActualArg {
public:
    HostActualArg(const HostActualArg&) = delete;
    HostActualArg& operator=(const HostActualArg&) = delete;

    // Copies `name` (a null name stays null: a positional argument); takes a
    // reference on `value`.
    HostActualArg(HostArgList* owner, const KelCString& name, IScriptValue* value);

    ~HostActualArg() override;

    IScriptValue* value() override { return value_; }
    const KelCString& name() override { return name_; }

    void addRef() override;
    void release() override;
    uint32_t refCount() override;
    void queryInterface(const char* name, void* out, bool flag) override;
    const char* className() override { return "HostActualArg"; }

private:
    HostArgList* owner_;
    KelCString name_;       // null for a positional argument
    IScriptValue* value_;   // one reference held
};

class HostArgList final : public HostScriptObject, public virtual IScriptActualArgList {
public:
    static constexpr char interfaceName[] = "HostArgList";  // its class name, which a query answers with the list

    explicit HostArgList(bool named) : named_(named) {}
    ~HostArgList() override;

    void addNamed(const KelCString& name, IScriptValue* value) override;
    void add(IScriptValue* value) override;
    uint32_t count() override { return count_; }
    IScriptActualArg* item(uint32_t index) override;

    void queryInterface(const char* name, void* out, bool flag) override;
    const char* className() override { return "HostArgList"; }

    // True for a call by keywords.
    bool named() const { return named_; }

private:
    // Most calls have a few arguments: they live in the list itself, and
    // only longer lists allocate. Arguments never move, so a pointer that
    // item gave stays valid as long as the list.
    // The first ones are built in place as they come, in storage of the
    // list's own, so an unused place costs nothing.
    static constexpr uint32_t kInline = 3;

    HostActualArg* inlineArg(uint32_t index)
    {
        return std::launder(reinterpret_cast<HostActualArg*>(inline_ + index * sizeof(HostActualArg)));
    }

    bool named_;
    uint32_t count_ = 0;
    alignas(HostActualArg) unsigned char inline_[kInline * sizeof(HostActualArg)];
    std::vector<std::unique_ptr<HostActualArg>> more_;
};

class HostScriptFactory final : public HostScriptObject, public virtual IScriptFactory {
public:
    IScriptActualArgList* createArgList(bool named) override { return new HostArgList(named); }
    IScriptValue* makeBool(bool value) override { return new HostBoolValue(value); }
    IScriptValue* makeInt(int32_t value) override { return new HostIntValue(value); }
    IScriptValue* makeDouble(double value) override { return new HostDoubleValue(value); }
    IScriptValue* makeString(const KelCString& value) override { return new HostStringValue(value); }
    IScriptValue* makeUnicodeString(const KelWideString& value) override { return new HostUnicodeValue(value); }
    IScriptValue* makeList() override { return new HostListValue; }
    bool isBool(ScriptTypeToken type) override { return type == HostBoolValue::typeToken(); }
    bool isInt(ScriptTypeToken type) override { return type == HostIntValue::typeToken(); }
    bool isDouble(ScriptTypeToken type) override { return type == HostDoubleValue::typeToken(); }
    bool isString(ScriptTypeToken type) override { return type == HostStringValue::typeToken(); }
    bool isUnicodeString(ScriptTypeToken type) override { return type == HostUnicodeValue::typeToken(); }
    bool isList(ScriptTypeToken type) override { return type == HostListValue::typeToken(); }

    void queryInterface(const char* name, void* out, bool flag) override;
    const char* className() override { return "HostScriptFactory"; }
};
