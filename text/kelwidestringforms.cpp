// KelWideString: the other forms of a text (UTF-8, narrow, lower case) and
// the filling of numbered placeholders.
#include <cstddef>
#include <cstring>
#include <ostream>

#include "kel/hostservices.h"
#include "kel/iptr.h"
#include "kel/kelwidestring.h"
#include "text/kelutf8.h"
#include "text/textstorage.h"

using kel_text::allocateBlock;
using kel_text::giveUp;

KelWideString KelWideString::fromUtf8(const char* text)
{
    if (!text || !text[0])
        return KelWideString(emptyString());
    int32_t length = kel_text::lengthOf(std::strlen(text));
    KelWideString result;
    // A UTF-8 text decodes to at most one unit per byte.
    int64_t room = length > maxLength ? -1 : length + 1;
    result.text_ = allocateBlock<unit>(kel_text::blockBytes(room, sizeof(unit)), &result.textCapacity_);
    int32_t units = kelDecodeUtf8(text, length, result.text_);
    if (units < 0) {
        // Invalid as a whole: no part of the decoded text survives.
        giveUp(result.text_, result.textCapacity_);
        return KelWideString(emptyString());
    }
    result.text_[units] = 0;
    return result;
}

const char* KelWideString::utf8() const
{
    giveUp(utf8Text_, utf8Capacity_);
    int32_t units = length();
    // Four bytes per unit is what the host's form has always requested,
    // though three is the most that a unit takes.
    utf8Text_ = allocateBlock<char>(kel_text::blockBytes(units, 4, 1), &utf8Capacity_);
    int32_t bytes = units > 0 ? kelEncodeUtf8(text_, units, utf8Text_) : 0;
    utf8Text_[bytes] = '\0';
    return utf8Text_;
}

// The host's conversion when it offers one; otherwise the units below 0x80,
// the rest left out so that the text closes up. A borrowed narrow form given
// at construction is kept for good.
const char* KelWideString::narrow() const
{
    if (narrowText_ && narrowCapacity_ == 0)
        return narrowText_;
    SPtr<IKelStrSupport> support;  // looked up at each use, released on return
    if (support) {
        KelCString converted = support->toNarrow(chars());
        giveUp(narrowText_, narrowCapacity_);
        int32_t bytes = converted.length();
        narrowText_ = allocateBlock<char>(kel_text::blockBytes(bytes, 1, 1), &narrowCapacity_);
        if (bytes > 0)
            std::memcpy(narrowText_, converted.chars(), static_cast<size_t>(bytes));
        narrowText_[bytes] = '\0';
        return narrowText_;
    }
    giveUp(narrowText_, narrowCapacity_);
    int32_t units = length();
    narrowText_ = allocateBlock<char>(kel_text::blockBytes(units, 1, 1), &narrowCapacity_);
    int32_t kept = 0;
    for (int32_t index = 0; index < units; ++index) {
        if (text_[index] < 0x80)
            narrowText_[kept++] = static_cast<char>(text_[index]);
    }
    narrowText_[kept] = '\0';
    return narrowText_;
}

KelWideString KelWideString::toLower() const
{
    if (!text_)
        return KelWideString(emptyString());
    SPtr<IKelStrSupport> support;
    if (!support)
        return KelWideString(*this);
    // The host lowers in place, so the copy needs a block of its own even
    // when this string borrows its text.
    KelWideString lowered;
    lowered.setText(text_, 0xFFFFFFFFu);
    support->lowerInPlace(lowered.text_);
    return lowered;
}

namespace {

// The argument for placeholder `index` (0 for "%1"): the array ends at its
// first null pointer, and everything from there on is empty.
const KelWideString* argumentAt(const KelWideString* const* args, int index)
{
    if (!args)
        return nullptr;
    for (int k = 0; k < index; ++k) {
        if (!args[k])
            return nullptr;
    }
    return args[index];
}

int32_t argumentLength(const KelWideString* const* args, int index)
{
    const KelWideString* argument = argumentAt(args, index);
    return argument ? argument->length() : 0;
}

// The placeholder index behind a '%' at `at`, or -1. `end` bounds the scan.
int placeholderAt(const char16_t* text, int32_t at, int32_t end)
{
    if (at + 1 >= end)
        return -1;
    char16_t digit = text[at + 1];
    return digit >= 0x31 && digit <= 0x3A ? digit - 0x31 : -1;
}

}  // namespace

// Two passes over the text: one to size the new block exactly, one to fill
// it. Every occurrence of a placeholder is filled, also a repeated one.
void KelWideString::format(const KelWideString* const* args)
{
    if (textCapacity_ == 0)
        return;
    int32_t limit = textCapacity_ / 2;
    int32_t end = 0;
    while (end < limit && text_[end])
        ++end;

    int64_t newLength = end;
    int placeholders = 0;
    for (int32_t at = 0; at < end; ++at) {
        if (text_[at] != u'%')
            continue;
        int index = placeholderAt(text_, at, end);
        if (index >= 0) {
            newLength += argumentLength(args, index) - 2;
            ++placeholders;
        }
        ++at;  // the unit behind a '%' is never a '%' of its own
    }
    if (placeholders == 0)
        return;

    int32_t capacity = 0;
    unit* block = allocateBlock<unit>(kel_text::blockBytes(newLength > maxLength ? -1 : newLength + 1, sizeof(unit)), &capacity);
    int32_t made = 0;
    for (int32_t at = 0; at < end; ++at) {
        int index = text_[at] == u'%' ? placeholderAt(text_, at, end) : -1;
        if (index < 0) {
            block[made++] = text_[at];
            if (text_[at] == u'%' && at + 1 < end)
                block[made++] = text_[++at];
            continue;
        }
        const KelWideString* argument = argumentAt(args, index);
        int32_t units = argument ? argument->length() : 0;
        if (units > 0)
            std::memcpy(block + made, argument->text_, static_cast<size_t>(units) * sizeof(unit));
        made += units;
        ++at;
    }
    block[made] = 0;
    giveUp(text_, textCapacity_);
    text_ = block;
    textCapacity_ = capacity;
}

std::ostream& operator<<(std::ostream& out, const KelWideString& text)
{
    const char* narrow = text.narrow();
    return out.write(narrow, static_cast<std::streamsize>(std::strlen(narrow)));
}
