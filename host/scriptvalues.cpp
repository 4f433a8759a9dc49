// The reference host's script values: storage, typed views, and the script
// text each value writes of itself (a Python literal that reads back as the
// same value, so a recorded script replays exactly).
#include "host/scriptvalues.h"

#include <cmath>
#include <cstdio>
#include <ostream>

#include "kel/interfacenamelist.h"

namespace HostScriptType {
const char boolType = 0, intType = 0, doubleType = 0, stringType = 0, unicodeType = 0, listType = 0;
}

namespace {

// Free lists of blocks by size, in steps of kGrain bytes up to kLargest; a
// list keeps at most kKeep blocks, so a burst of objects does not pin memory
// for good.
const std::size_t kGrain = 16;
const std::size_t kLargest = 512;
const std::size_t kKeep = 256;

struct FreeLists {
    struct Block {
        Block* next;
    };
    Block* head[kLargest / kGrain] = {};
    std::size_t count[kLargest / kGrain] = {};
};

// The host library goes only into programs, never into a shared library, so
// the initial-exec model holds: a plain load from the thread's block instead
// of a call to the dynamic loader on every access. Without a destructor the
// lists need no guard either; what a finished thread kept (a bounded amount)
// stays with the process.
[[gnu::tls_model("initial-exec")]] thread_local FreeLists freeLists;

// The list for `size`, or -1 for sizes that go straight to the heap.
int sizeClass(std::size_t size)
{
    return size == 0 || size > kLargest ? -1 : static_cast<int>((size - 1) / kGrain);
}

void writeEscapedByte(std::ostream& out, unsigned char c, char quote)
{
    switch (c) {
    case '\\': out << "\\\\"; return;
    case '\n': out << "\\n"; return;
    case '\r': out << "\\r"; return;
    case '\t': out << "\\t"; return;
    default: break;
    }
    if (c == static_cast<unsigned char>(quote)) {
        out << '\\' << quote;
        return;
    }
    char hex[8];
    std::snprintf(hex, sizeof hex, "\\x%02x", c);
    if (c < 0x20 || c >= 0x7f)  // a bytes literal takes only ASCII
        out << hex;
    else
        out << static_cast<char>(c);
}

// One character of a str literal: printable ones as UTF-8, the rest escaped.
void writeCharacter(std::ostream& out, char32_t c)
{
    char buffer[16];
    if (c < 0x80) {
        writeEscapedByte(out, static_cast<unsigned char>(c), '\'');
    } else if (c >= 0xD800 && c < 0xE000) {
        std::snprintf(buffer, sizeof buffer, "\\u%04x", static_cast<unsigned>(c));  // a lone surrogate
        out << buffer;
    } else if (c < 0x800) {
        out << static_cast<char>(0xC0 | (c >> 6)) << static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        out << static_cast<char>(0xE0 | (c >> 12)) << static_cast<char>(0x80 | ((c >> 6) & 0x3F))
            << static_cast<char>(0x80 | (c & 0x3F));
    } else {
        out << static_cast<char>(0xF0 | (c >> 18)) << static_cast<char>(0x80 | ((c >> 12) & 0x3F))
            << static_cast<char>(0x80 | ((c >> 6) & 0x3F)) << static_cast<char>(0x80 | (c & 0x3F));
    }
}

void enumerate(void* out, const char* className, const char* typed, bool isValue)
{
    KelInterfaceNameList* list = kelNameListOf(out);
    addName(className, 1, list);
    if (isValue)
        addName(IScriptValue::interfaceName, 0, list);
    if (typed)
        addName(typed, 0, list);
    popClass(list);
}

}  // namespace

void* HostScriptObject::operator new(std::size_t size)
{
    const int c = sizeClass(size);
    if (c < 0)
        return ::operator new(size);
    FreeLists& lists = freeLists;
    if (FreeLists::Block* block = lists.head[c]) {
        lists.head[c] = block->next;
        --lists.count[c];
        return block;
    }
    return ::operator new((c + 1) * kGrain);
}

void HostScriptObject::operator delete(void* block, std::size_t size)
{
    const int c = sizeClass(size);
    FreeLists& lists = freeLists;
    if (c < 0 || lists.count[c] >= kKeep) {
        ::operator delete(block);
        return;
    }
    auto* free = static_cast<FreeLists::Block*>(block);
    free->next = lists.head[c];
    lists.head[c] = free;
    ++lists.count[c];
}

void HostValue::queryInterface(const char* name, void* out, bool flag)
{
    if (!name) {
        enumerate(out, className(), typedInterfaceName(), true);
        return;
    }
    if (void* typed = typedInterface(name))
        kelSetOut(out, typed);
    else if (kelSameName(name, IScriptValue::interfaceName))
        kelSetOut(out, static_cast<IScriptValue*>(this));
    else if (kelSameName(name, IKelUnknown::interfaceName))
        kelSetOut(out, static_cast<IKelUnknown*>(this));
    else
        kelSetOut(out, nullptr);
}

void* HostBoolValue::typedInterface(const char* name)
{
    return kelSameName(name, IScriptValueBool::interfaceName) ? static_cast<IScriptValueBool*>(this) : nullptr;
}

void HostBoolValue::write(std::ostream& out)
{
    out << (value_ ? "True" : "False");
}

void* HostIntValue::typedInterface(const char* name)
{
    return kelSameName(name, IScriptValueInt::interfaceName) ? static_cast<IScriptValueInt*>(this) : nullptr;
}

void HostIntValue::write(std::ostream& out)
{
    out << value_;
}

void* HostDoubleValue::typedInterface(const char* name)
{
    return kelSameName(name, IScriptValueDouble::interfaceName) ? static_cast<IScriptValueDouble*>(this) : nullptr;
}

// 17 significant digits read back as the same double; a literal without a
// point or exponent would read back as an int.
void HostDoubleValue::write(std::ostream& out)
{
    if (std::isnan(value_)) {
        out << "float('nan')";
        return;
    }
    if (std::isinf(value_)) {
        out << (value_ < 0 ? "float('-inf')" : "float('inf')");
        return;
    }
    char buffer[40];
    std::snprintf(buffer, sizeof buffer, "%.17g", value_);
    out << buffer;
    bool integral = true;
    for (const char* c = buffer; *c; ++c)
        integral = integral && *c != '.' && *c != 'e';
    if (integral)
        out << ".0";
}

HostStringValue::HostStringValue(const KelCString& value) : value_(value.chars()) {}

void HostStringValue::setValue(const KelCString& value)
{
    value_ = KelCString(value.chars());
}

void* HostStringValue::typedInterface(const char* name)
{
    return kelSameName(name, IScriptValueString::interfaceName) ? static_cast<IScriptValueString*>(this) : nullptr;
}

void HostStringValue::write(std::ostream& out)
{
    if (!value_.chars()) {
        out << "None";
        return;
    }
    out << "b'";
    for (const char* c = value_.chars(); *c; ++c)
        writeEscapedByte(out, static_cast<unsigned char>(*c), '\'');
    out << '\'';
}

HostUnicodeValue::HostUnicodeValue(const KelWideString& value)
{
    value_.assign(value.chars());
}

void HostUnicodeValue::setValue(const KelWideString& value)
{
    value_.assign(value.chars());
}

KelWideString HostUnicodeValue::getValue()
{
    return value_;
}

void* HostUnicodeValue::typedInterface(const char* name)
{
    return kelSameName(name, IScriptValueUnicodeString::interfaceName)
               ? static_cast<IScriptValueUnicodeString*>(this)
               : nullptr;
}

void HostUnicodeValue::write(std::ostream& out)
{
    const char16_t* units = value_.chars();
    out << '\'';
    for (int32_t i = 0, length = value_.length(); i < length; ++i) {
        char32_t c = units[i];
        if (c >= 0xD800 && c < 0xDC00 && i + 1 < length && units[i + 1] >= 0xDC00 && units[i + 1] < 0xE000)
            c = 0x10000 + ((c - 0xD800) << 10) + (units[++i] - 0xDC00);
        writeCharacter(out, c);
    }
    out << '\'';
}

void HostListValue::append(IScriptValue* value)
{
    items_.emplace_back(value);
}

IScriptValue* HostListValue::item(uint32_t index)
{
    return index < items_.size() ? items_[index].get() : nullptr;
}

void* HostListValue::typedInterface(const char* name)
{
    return kelSameName(name, IScriptValueList::interfaceName) ? static_cast<IScriptValueList*>(this) : nullptr;
}

void HostListValue::write(std::ostream& out)
{
    out << '[';
    for (size_t i = 0; i < items_.size(); ++i) {
        if (i)
            out << ", ";
        if (items_[i])
            items_[i]->write(out);
        else
            out << "None";
    }
    out << ']';
}

HostActualArg::HostActualArg(HostArgList* owner, const KelCString& name, IScriptValue* value)
    : owner_(owner), value_(value)
{
    if (name.chars())
        name_ = KelCString(name.chars());
    if (value_)
        value_->addRef();
}

HostActualArg::~HostActualArg()
{
    if (value_)
        value_->release();
}

void HostActualArg::addRef()
{
    owner_->addRef();
}

void HostActualArg::release()
{
    owner_->release();
}

uint32_t HostActualArg::refCount()
{
    return owner_->refCount();
}

void HostActualArg::queryInterface(const char* name, void* out, bool flag)
{
    if (!name) {
        enumerate(out, className(), IScriptActualArg::interfaceName, false);
        return;
    }
    if (kelSameName(name, IScriptActualArg::interfaceName))
        kelSetOut(out, static_cast<IScriptActualArg*>(this));
    else if (kelSameName(name, IKelUnknown::interfaceName))
        kelSetOut(out, static_cast<IKelUnknown*>(this));
    else
        kelSetOut(out, nullptr);
}

HostArgList::~HostArgList()
{
    for (uint32_t i = 0; i < count_ && i < kInline; ++i)
        inlineArg(i)->~HostActualArg();
}

void HostArgList::addNamed(const KelCString& name, IScriptValue* value)
{
    if (count_ < kInline)
        new (inline_ + count_ * sizeof(HostActualArg)) HostActualArg(this, name, value);
    else
        more_.push_back(std::make_unique<HostActualArg>(this, name, value));
    ++count_;
}

void HostArgList::add(IScriptValue* value)
{
    addNamed(KelCString(), value);
}

IScriptActualArg* HostArgList::item(uint32_t index)
{
    if (index >= count_)
        return nullptr;
    return index < kInline ? inlineArg(index) : more_[index - kInline].get();
}

void HostArgList::queryInterface(const char* name, void* out, bool flag)
{
    if (!name) {
        enumerate(out, className(), IScriptActualArgList::interfaceName, false);
        return;
    }
    if (kelSameName(name, IScriptActualArgList::interfaceName))
        kelSetOut(out, static_cast<IScriptActualArgList*>(this));
    else if (kelSameName(name, interfaceName))
        kelSetOut(out, this);
    else if (kelSameName(name, IKelUnknown::interfaceName))
        kelSetOut(out, static_cast<IKelUnknown*>(this));
    else
        kelSetOut(out, nullptr);
}

void HostScriptFactory::queryInterface(const char* name, void* out, bool flag)
{
    if (!name) {
        enumerate(out, className(), IScriptFactory::interfaceName, false);
        return;
    }
    if (kelSameName(name, IScriptFactory::interfaceName))
        kelSetOut(out, static_cast<IScriptFactory*>(this));
    else if (kelSameName(name, IKelUnknown::interfaceName))
        kelSetOut(out, static_cast<IKelUnknown*>(this));
    else
        kelSetOut(out, nullptr);
}
