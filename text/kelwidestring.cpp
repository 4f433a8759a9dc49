// KelWideString: storage, reading and the edits of the text.
#include "kel/kelwidestring.h"

#include <cstddef>
#include <cstring>

#include "text/kelutf8.h"
#include "text/textstorage.h"

using kel_text::allocateBlock;
using kel_text::blockBytes;
using kel_text::giveUp;

static_assert(sizeof(KelWideString) == 6 * sizeof(void*),
              "KelWideString is three pairs of a pointer and a 32-bit capacity");

namespace {

const char16_t theEmptyText[1] = {0};

// setText's count that measures the source up to its terminator.
constexpr uint32_t kMeasure = 0xFFFFFFFFu;

void copyUnits(char16_t* to, const char16_t* from, int32_t count)
{
    if (count > 0)
        std::memcpy(to, from, static_cast<size_t>(count) * sizeof(char16_t));
}

int32_t unitsOf(const char16_t* text)
{
    return text ? kelUnitLength(text) : 0;
}

// The block of a text of `units` units and its terminator. A text longer
// than maxLength is not owned, so every form of an owned text fits a block.
int32_t textBytes(int64_t units)
{
    return blockBytes(units > KelWideString::maxLength ? -1 : units + 1, sizeof(char16_t));
}

}  // namespace

// The core of all copying. A count of 0 borrows `source`; kMeasure copies it
// up to its terminator; any other count copies that many units. The new
// block is filled before the old one is given up, so a source inside the old
// block would survive, though callers do not rely on it.
void KelWideString::setText(const unit* source, uint32_t count)
{
    if (!source) {
        giveUp(text_, textCapacity_);
        return;
    }
    if (count == 0) {
        giveUp(text_, textCapacity_);
        text_ = const_cast<unit*>(source);
        return;
    }
    int64_t units = count == kMeasure ? kelUnitLength(source) : count;
    int32_t capacity = 0;
    unit* block = allocateBlock<unit>(textBytes(units), &capacity);
    copyUnits(block, source, static_cast<int32_t>(units));
    block[units] = 0;
    giveUp(text_, textCapacity_);
    text_ = block;
    textCapacity_ = capacity;
}

// What is borrowed stays borrowed in the copy; what is owned is copied.
void KelWideString::copyTextOf(const KelWideString& other)
{
    setText(other.text_, other.textCapacity_ > 0 ? kMeasure : 0);
}

void KelWideString::widen(const char* text)
{
    if (!text)
        return;
    int32_t length = kel_text::lengthOf(std::strlen(text));
    unit* block = allocateBlock<unit>(textBytes(length), &textCapacity_);
    for (int32_t index = 0; index < length; ++index)
        block[index] = static_cast<unsigned char>(text[index]);
    block[length] = 0;
    text_ = block;
}

KelWideString::KelWideString(const char* text)
{
    widen(text);
}

KelWideString::KelWideString(const KelCString& text)
{
    widen(text.chars());
}

KelWideString::KelWideString(char c)
{
    unit* block = allocateBlock<unit>(4, &textCapacity_);
    block[0] = static_cast<unsigned char>(c);
    block[1] = 0;
    text_ = block;
}

KelWideString::KelWideString(const KelWideString& other)
{
    copyTextOf(other);
    if (other.narrowCapacity_ == 0)
        narrowText_ = other.narrowText_;
}

KelWideString::KelWideString(KelWideString&& other) noexcept
    : text_(other.text_), textCapacity_(other.textCapacity_)
{
    other.text_ = nullptr;
    other.textCapacity_ = 0;
    if (other.narrowCapacity_ == 0)
        narrowText_ = other.narrowText_;
}

KelWideString::~KelWideString()
{
    giveUp(narrowText_, narrowCapacity_);
    giveUp(utf8Text_, utf8Capacity_);
    giveUp(text_, textCapacity_);
}

KelWideString& KelWideString::operator=(KelWideString&& other) noexcept
{
    if (this != &other) {
        giveUp(text_, textCapacity_);
        text_ = other.text_;
        textCapacity_ = other.textCapacity_;
        other.text_ = nullptr;
        other.textCapacity_ = 0;
    }
    return *this;
}

// Made on the heap at the first call and never destroyed, so that it outlives
// every static that hands it out. No lock: the first call happens while the
// module loads.
const KelWideString& KelWideString::emptyString()
{
    static const KelWideString* shared = new KelWideString();
    return *shared;
}

int32_t KelWideString::length() const
{
    return unitsOf(text_);
}

const KelWideString::unit* KelWideString::chars() const
{
    return text_ ? text_ : theEmptyText;
}

bool KelWideString::equals(const KelWideString& other) const
{
    const unit* a = chars();
    const unit* b = other.chars();
    while (*a && *a == *b) {
        ++a;
        ++b;
    }
    return *a == *b;
}

int32_t KelWideString::find(const KelWideString& needle, int32_t start) const
{
    int32_t ownLength = length();
    int32_t needleLength = needle.length();
    if (needleLength > ownLength)
        return -1;
    if (needleLength == 0)
        return 0;
    int32_t last = ownLength - needleLength;
    if (start < 0 || start >= ownLength || start > last)
        return -1;
    const unit* units = needle.text_;
    size_t bytes = static_cast<size_t>(needleLength) * sizeof(unit);
    for (int32_t index = start; index <= last; ++index) {
        if (text_[index] == units[0] && std::memcmp(text_ + index, units, bytes) == 0)
            return index;
    }
    return -1;
}

KelWideString KelWideString::left(int32_t count) const
{
    KelWideString result;
    int32_t ownLength = length();
    if (count > ownLength)
        count = ownLength;
    if (count > 0)
        result.setText(text_, static_cast<uint32_t>(count));
    return result;
}

KelWideString KelWideString::mid(int32_t start, int32_t count) const
{
    KelWideString result;
    int32_t ownLength = length();
    if (static_cast<int64_t>(start) + count > ownLength)
        count = ownLength - start;
    if (count >= 1)
        result.setText(text_ + start, static_cast<uint32_t>(count));
    return result;
}

KelWideString KelWideString::replaceRange(int32_t start, int32_t end, const KelWideString& with) const
{
    KelWideString result;
    int32_t ownLength = length();
    int32_t withLength = with.length();
    int64_t newLength = int64_t{start} + withLength + (ownLength - end);
    if (newLength == 0)
        return result;
    unit* block = allocateBlock<unit>(textBytes(newLength), &result.textCapacity_);
    copyUnits(block, text_, start);
    copyUnits(block + start, with.text_, withLength);
    copyUnits(block + start + withLength, text_ + end, ownLength - end);
    block[newLength] = 0;
    result.text_ = block;
    return result;
}

void KelWideString::assign(const KelWideString& other)
{
    if (&other != this)
        copyTextOf(other);
}

void KelWideString::assign(const unit* text)
{
    setText(text, kMeasure);
}

void KelWideString::append(const KelWideString& other)
{
    int32_t ownLength = length();
    int32_t otherLength = other.length();
    int64_t need = (int64_t{ownLength} + otherLength + 1) * 2;
    if (textCapacity_ >= need) {
        copyUnits(text_ + ownLength, other.text_, otherLength);
        text_[ownLength + otherLength] = 0;
        return;
    }
    int32_t capacity = 0;
    unit* block = allocateBlock<unit>(textBytes(int64_t{ownLength} + otherLength), &capacity);
    copyUnits(block, text_, ownLength);
    copyUnits(block + ownLength, other.text_, otherLength);
    block[ownLength + otherLength] = 0;
    giveUp(text_, textCapacity_);
    text_ = block;
    textCapacity_ = capacity;
}

void KelWideString::append(unit c)
{
    const unit single[2] = {c, 0};
    int32_t ownLength = length();
    if (textCapacity_ >= (int64_t{ownLength} + 2) * 2) {
        text_[ownLength] = c;
        text_[ownLength + 1] = 0;
        return;
    }
    int32_t capacity = 0;
    unit* block = allocateBlock<unit>(textBytes(int64_t{ownLength} + 1), &capacity);
    copyUnits(block, text_, ownLength);
    copyUnits(block + ownLength, single, 2);
    giveUp(text_, textCapacity_);
    text_ = block;
    textCapacity_ = capacity;
}

void KelWideString::replaceAll(const KelWideString& from, const KelWideString& to)
{
    // An empty `from` would match at the same place for ever; callers never
    // pass one, and it is taken as nothing to replace.
    if (!from.text_ || from.equals(to) || isEmpty() || from.isEmpty())
        return;
    int32_t fromLength = from.length();
    int32_t toLength = to.length();
    int32_t position = 0;
    for (;;) {
        int32_t index = find(from, position);
        if (index < 0)
            return;
        *this = replaceRange(index, index + fromLength, to);
        position = index + toLength;
        if (position >= length())
            return;
    }
}

void KelWideString::remove(int32_t start, int32_t count)
{
    if (count <= 0 || !text_)
        return;
    if (textCapacity_ == 0)
        setText(text_, kMeasure);
    int32_t ownLength = length();
    std::memmove(text_ + start, text_ + start + count,
                 static_cast<size_t>(ownLength - start - count + 1) * sizeof(unit));
}
