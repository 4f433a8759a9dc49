// KelWideString: the foundation's text of 16-bit code units (paths, messages,
// script text).
//
// Six fields, a contract with the host, never reordered: three buffers of a
// pointer and a signed 32-bit capacity in bytes each.
//
//   text_        / textCapacity_     the text, terminated by a zero unit
//   narrowText_  / narrowCapacity_   the narrow form, kept for narrow()
//   utf8Text_    / utf8Capacity_     the UTF-8 form of the last utf8() call
//
// Each buffer is empty, borrowed or owned by the table in kel/qtxcstring.h.
// A null text and a text whose first unit is zero are the same empty string
// to every operation. Units are code units: nothing here knows of surrogate
// pairs. Requests are made for exact sizes, without doubling; what the pool
// gives beyond a request lets a later append stay in place.
//
// Where the host offers IKelStrSupport (looked up at each use, never cached),
// narrow() and toLower() go through it; without it narrow() keeps the units
// below 0x80 and toLower() changes nothing.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <type_traits>

#include "kel/qtxcstring.h"

class KelWideString {
public:
    using unit = char16_t;

    // The longest text a string can own: small enough that its UTF-8 form
    // (four bytes per unit are requested) fits a block too. Longer texts from
    // outside are refused where they come in; inside, a longer one is the
    // orderly out-of-memory stop.
    static constexpr int32_t maxLength = (kelMaxTextBytes - 1) / 4;

    // Empty: all six fields zero.
    constexpr KelWideString() = default;
    // Borrows `text` and, when given, `narrow` as its narrow form: no
    // allocation, no copy. The borrowed narrow form is what narrow() gives
    // for the string's whole life, whatever the text becomes.
    constexpr KelWideString(const unit* text, KelBorrowTag, const char* narrow = nullptr)
        : text_(const_cast<unit*>(text)), narrowText_(const_cast<char*>(narrow))
    {
    }
    // Owns a copy in which each byte becomes one unit by zero extension
    // (Latin-1, whatever the bytes are). Null gives the empty string.
    explicit KelWideString(const char* text);
    explicit KelWideString(const KelCString& text);
    explicit KelWideString(char c);
    // Any other character or number type would be truncated or read as a
    // code: rejected at compile time.
    template <class T, std::enable_if_t<std::is_arithmetic_v<T> && !std::is_same_v<T, char>, int> = 0>
    KelWideString(T) = delete;

    // The text: a deep copy when `other` owns it, the same pointer when it
    // borrows it. The narrow form only when borrowed; no UTF-8 form.
    KelWideString(const KelWideString& other);
    // As the copy, but an owned text changes hands instead of being copied.
    KelWideString(KelWideString&& other) noexcept;
    // Gives up the narrow, UTF-8 and text blocks, in this order.
    ~KelWideString();

    KelWideString& operator=(const KelWideString& other)
    {
        assign(other);
        return *this;
    }
    // As assign(), but an owned text changes hands instead of being copied.
    KelWideString& operator=(KelWideString&& other) noexcept;

    // A new owned string decoded from UTF-8 of one to three bytes per unit;
    // any invalid input gives the empty string as a whole, never a part.
    static KelWideString fromUtf8(const char* text);
    // The shared empty string, made at the first call and never destroyed.
    static const KelWideString& emptyString();

    // Reading.
    int32_t length() const;
    bool isEmpty() const { return !text_ || !text_[0]; }
    const unit* chars() const;  // never null
    const unit* text() const { return text_; }  // the field itself; may be null
    int32_t textCapacity() const { return textCapacity_; }
    int32_t narrowCapacity() const { return narrowCapacity_; }
    int32_t utf8Capacity() const { return utf8Capacity_; }
    // Same units; null and empty are equal. Case counts.
    bool equals(const KelWideString& other) const;
    bool operator==(const KelWideString& other) const { return equals(other); }
    bool operator!=(const KelWideString& other) const { return !equals(other); }
    // Index of the first occurrence of `needle` at or after `start`, or -1.
    // An empty needle gives 0; a start out of range gives -1.
    int32_t find(const KelWideString& needle, int32_t start = 0) const;
    // At most `count` units from the start.
    KelWideString left(int32_t count) const;
    // Up to `count` units from `start`, which must lie within the string.
    KelWideString mid(int32_t start, int32_t count) const;
    // The units before `start`, `with`, the units from `end` on.
    KelWideString replaceRange(int32_t start, int32_t end, const KelWideString& with) const;
    KelWideString toLower() const;
    // These write the companion buffers of a logically constant string. The
    // pointer lives until the next call of the same operation or the end of
    // the string; the UTF-8 form is computed anew at each call.
    const char* narrow() const;
    const char* utf8() const;

    // Changing. The companion buffers stay as they are.
    void assign(const KelWideString& other);
    // A deep copy; null gives the empty string. `text` must not lie in this
    // string's own block.
    void assign(const unit* text);
    void append(const KelWideString& other);
    void append(unit c);
    // Replaces each occurrence of `from` (which must not be empty), searching
    // on behind each replacement.
    void replaceAll(const KelWideString& from, const KelWideString& to);
    // Takes `count` units out at `start`; a borrowed text is copied first.
    void remove(int32_t start, int32_t count);
    // Fills the placeholders "%1" to "%9" and "%:" (the tenth) from `args`,
    // an array of pointers closed by a null pointer; a missing argument is
    // empty. Only an owned text is formatted.
    void format(const KelWideString* const* args);

private:
    void setText(const unit* source, uint32_t count);
    void copyTextOf(const KelWideString& other);
    void widen(const char* text);

    unit* text_ = nullptr;
    int32_t textCapacity_ = 0;
    mutable char* narrowText_ = nullptr;
    mutable int32_t narrowCapacity_ = 0;
    mutable char* utf8Text_ = nullptr;
    mutable int32_t utf8Capacity_ = 0;
};

// Writes the narrow form.
std::ostream& operator<<(std::ostream& out, const KelWideString& text);
