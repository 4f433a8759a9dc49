// The reference host's script values: storage, typed views, and the script
// text each value writes of itself (a Python literal that reads back as the
// same value, so a recorded script replays exactly).
#include "host/scriptvalues.h"

#include <ostream>

#include "text/pythonliteral.h"

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

void hostWriteValue(std::ostream& out, bool value)
{
    out << (value ? "True" : "False");
}

void hostWriteValue(std::ostream& out, int32_t value)
{
    out << value;
}

void hostWriteValue(std::ostream& out, double value)
{
    kelWritePythonFloat(out, value);
}

void hostWriteValue(std::ostream& out, const KelCString& value)
{
    if (value.chars())
        kelWritePythonBytes(out, value);
    else
        out << "None";
}

void hostWriteValue(std::ostream& out, const KelWideString& value)
{
    kelWritePythonText(out, value);
}

void HostListValue::append(IScriptValue* value)
{
    items_.emplace_back(value);
}

IScriptValue* HostListValue::item(uint32_t index)
{
    return index < items_.size() ? items_[index].get() : nullptr;
}

void HostListValue::queryInterface(const char* name, void* out, bool flag)
{
    hostQueryInterface<IScriptValueList, IScriptValue>(this, className(), name, out);
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
    hostQueryInterface<IScriptActualArg>(this, className(), name, out);
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
    hostQueryInterface<IScriptActualArgList>(this, className(), name, out);
}

void HostScriptFactory::queryInterface(const char* name, void* out, bool flag)
{
    hostQueryInterface<IScriptFactory>(this, className(), name, out);
}
