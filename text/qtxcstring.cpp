// KelCString: storage, search and the in-place edits.
#include "kel/qtxcstring.h"

#include <cstddef>
#include <cstring>
#include <ostream>

#include "core/kelassert.h"
#include "text/textstorage.h"

static_assert(sizeof(KelCString) == 2 * sizeof(void*), "KelCString is a pointer and a 32-bit capacity");

namespace {

// The shared null string: constant-initialised, so it is usable from any
// other static initialiser; its destructor runs at process end.
const KelCString theEmptyCString;

int32_t measure(const char* text)
{
    return text ? kel_text::lengthOf(std::strlen(text)) : 0;
}

// memcpy that accepts a null source when there is nothing to copy.
void copyBytes(char* to, const char* from, int32_t count)
{
    if (count > 0)
        std::memcpy(to, from, static_cast<size_t>(count));
}

}  // namespace

KelCString::KelCString(const char* text)
{
    if (text)
        takeCopy(text, measure(text));
}

KelCString::KelCString(const KelCString& other)
{
    if (other.capacity_ > 0)
        takeCopy(other.chars_, measure(other.chars_));
    else
        chars_ = other.chars_;
}

KelCString::KelCString(KelCString&& other) noexcept : chars_(other.chars_), capacity_(other.capacity_)
{
    other.chars_ = nullptr;
    other.capacity_ = 0;
}

KelCString::~KelCString()
{
    release();
}

KelCString& KelCString::operator=(KelCString&& other) noexcept
{
    if (this != &other) {
        release();
        chars_ = other.chars_;
        capacity_ = other.capacity_;
        other.chars_ = nullptr;
        other.capacity_ = 0;
    }
    return *this;
}

const KelCString& KelCString::emptyString()
{
    return theEmptyCString;
}

// Gives up an owned block; a borrowed pointer is simply forgotten.
void KelCString::release()
{
    kel_text::giveUp(chars_, capacity_);
}

// Replaces the current storage by an owned copy of `length` bytes of `text`.
// The old block is given up only after the copy, since `text` may lie in it.
void KelCString::takeCopy(const char* text, int32_t length)
{
    int32_t capacity = 0;
    char* block = kel_text::allocateBlock<char>(kel_text::blockBytes(length, 1, 1), &capacity);
    copyBytes(block, text, length);
    block[length] = '\0';
    release();
    chars_ = block;
    capacity_ = capacity;
}

void KelCString::clear()
{
    release();
}

int32_t KelCString::length() const
{
    return measure(chars_);
}

bool KelCString::equals(const char* text) const
{
    if (!chars_ || !text)
        return chars_ == text;
    return std::strcmp(chars_, text) == 0;
}

int32_t KelCString::find(const char* text, int32_t start) const
{
    int32_t textLength = measure(text);
    int32_t ownLength = length();
    if (textLength > ownLength)
        return -1;
    if (textLength == 0)
        return 0;
    if (start < 0) {
        qtxAssertFailed("start >= 0", ".\\qtxcstring", __LINE__);
        return -1;
    }
    int32_t last = ownLength - textLength;
    for (int32_t index = start; index <= last; ++index) {
        if (chars_[index] == text[0] && std::strncmp(chars_ + index, text, static_cast<size_t>(textLength)) == 0)
            return index;
    }
    return -1;
}

void KelCString::assign(const char* text)
{
    if (text == chars_)
        return;
    if (text)
        takeCopy(text, measure(text));
    else
        release();
}

void KelCString::assign(const KelCString& other)
{
    if (&other == this)
        return;
    if (other.capacity_ > 0) {
        takeCopy(other.chars_, measure(other.chars_));
    } else {
        release();
        chars_ = other.chars_;
    }
}

void KelCString::append(const char* text)
{
    int32_t textLength = measure(text);
    if (textLength == 0)
        return;
    int32_t ownLength = length();
    int64_t need = int64_t{ownLength} + textLength + 1;
    if (capacity_ < need) {
        int32_t capacity = 0;
        char* block = kel_text::allocateBlock<char>(kel_text::blockBytes(need, 1), &capacity);
        copyBytes(block, chars_, ownLength);
        copyBytes(block + ownLength, text, textLength + 1);
        release();
        chars_ = block;
        capacity_ = capacity;
    } else {
        std::memmove(chars_ + ownLength, text, static_cast<size_t>(textLength) + 1);
    }
}

void KelCString::replace(int32_t start, int32_t count, const char* with)
{
    int32_t withLength = measure(with);
    if (capacity_ > 0 && with && count == withLength) {
        std::memmove(chars_ + start, with, static_cast<size_t>(withLength));
        return;
    }
    int32_t ownLength = length();
    int64_t newLength = int64_t{ownLength} - count + withLength;
    int32_t capacity = 0;
    char* block = kel_text::allocateBlock<char>(kel_text::blockBytes(newLength, 1, 1), &capacity);
    copyBytes(block, chars_, start);
    copyBytes(block + start, with, withLength);
    copyBytes(block + start + withLength, chars_ + start + count, ownLength - start - count);
    block[newLength] = '\0';
    release();
    chars_ = block;
    capacity_ = capacity;
}

void KelCString::replaceAll(const char* from, const char* to)
{
    if (!from || !to || std::strcmp(from, to) == 0 || isEmpty())
        return;
    int32_t fromLength = measure(from);
    int32_t toLength = measure(to);
    // An empty `from` would match at the same place for ever: callers never
    // pass one, and it is taken as nothing to replace.
    if (fromLength == 0)
        return;
    int32_t position = 0;
    for (;;) {
        int32_t index = find(from, position);
        if (index < 0)
            return;
        replace(index, fromLength, to);
        position = index + toLength;
        if (position >= length())
            return;
    }
}

std::ostream& operator<<(std::ostream& out, const KelCString& text)
{
    if (!text.isEmpty())
        out.write(text.chars(), text.length());
    return out;
}
