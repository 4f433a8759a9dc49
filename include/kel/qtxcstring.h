// KelCString: the foundation's text of bytes (interface, class and service
// names, keys, Python source text).
//
// The two fields are a contract with the host and are never reordered:
//
//   chars_     pointer to bytes   the text, terminated by a zero byte; may be null
//   capacity_  signed 32-bit      usable bytes of the block behind chars_ as
//                                 bucketAlloc reported them; 0: not owned
//
// Storage states, shared by KelCString and KelWideString (whose companion
// buffers follow the same rules):
//
//   | state    | pointer  | capacity | destructor / clear     | copy gives                |
//   |----------|----------|----------|------------------------|---------------------------|
//   | empty    | null     | 0        | nothing                | empty                     |
//   | borrowed | not null | 0        | nothing: not ours      | the same pointer, borrowed|
//   | owned    | not null | > 0      | bucketFree(capacity)   | a deep copy of its own    |
//
// No other combination occurs. No length is stored: lengths are measured up
// to the terminator. Nothing is shared or reference counted between owned
// strings. Blocks come from bucketAlloc, which never gives null, so no
// operation has an out-of-memory road. A string belongs to one thread at a time.
#pragma once

#include <cstdint>
#include <iosfwd>

// Marks the constructors that wrap a text without copying it: the caller
// promises that the text outlives the string and every copy of it.
enum KelBorrowTag { kelBorrow };

// The largest block either string class owns. With the pool's header word in
// front it stays a positive 32-bit size; a longer text cannot be stored.
constexpr int32_t kelMaxTextBytes = 0x7FFFFF00;

class KelCString {
public:
    // The longest text a string can own. Longer texts from outside are
    // refused where they come in; inside, a longer one is the orderly
    // out-of-memory stop.
    static constexpr int32_t maxLength = kelMaxTextBytes - 1;

    // The null text.
    constexpr KelCString() = default;
    // Owns a copy of `text`; null gives the null text. Explicit, so that a
    // literal is never copied by accident where wrapping it would do.
    explicit KelCString(const char* text);
    // Borrows `text`: no allocation, no copy.
    constexpr KelCString(const char* text, KelBorrowTag) : chars_(const_cast<char*>(text)) {}
    // A deep copy when `other` owns its text, the same pointer when it borrows.
    KelCString(const KelCString& other);
    // Takes over `other`'s block or borrowed pointer; `other` is left null.
    KelCString(KelCString&& other) noexcept;
    ~KelCString();

    KelCString& operator=(const KelCString& other)
    {
        assign(other);
        return *this;
    }
    KelCString& operator=(KelCString&& other) noexcept;
    KelCString& operator=(const char* text)
    {
        assign(text);
        return *this;
    }

    // The shared null string, for interfaces that must give a narrow string
    // and have nothing to say.
    static const KelCString& emptyString();

    // Reading.
    const char* chars() const { return chars_; }  // may be null
    int32_t capacity() const { return capacity_; }
    bool isEmpty() const { return !chars_ || !chars_[0]; }
    int32_t length() const;
    // Byte for byte. Two nulls are equal; null and "" are not.
    bool equals(const char* text) const;
    bool equals(const KelCString& other) const { return equals(other.chars_); }
    bool operator==(const KelCString& other) const { return equals(other.chars_); }
    bool operator!=(const KelCString& other) const { return !equals(other.chars_); }
    // Index of the first occurrence of `text` at or after `start`, or -1.
    // An empty (or null) `text` gives 0; a negative `start` is an assertion.
    int32_t find(const char* text, int32_t start = 0) const;

    // Changing.
    void clear();
    void assign(const char* text);
    void assign(const KelCString& other);
    // Grows by exact need; a null or empty `text` changes nothing, so a
    // borrowed string stays borrowed.
    void append(const char* text);
    // Puts `with` (null: empty) in the place of `count` bytes at `start`;
    // both must lie within the text.
    void replace(int32_t start, int32_t count, const char* with);
    // Replaces each occurrence of `from` (which must not be empty), searching
    // on behind each replacement.
    void replaceAll(const char* from, const char* to);

    // djb2 over the bytes read as signed chars; null hashes to 0. Inline:
    // every look-up of a command or class name starts here.
    struct HashFunc {
        uint32_t operator()(const KelCString& text) const { return hash(text.chars_); }
        static uint32_t hash(const char* text)
        {
            if (!text)
                return 0;
            uint32_t sum = 5381;
            for (const char* byte = text; *byte; ++byte)
                sum = sum * 33 + static_cast<uint32_t>(static_cast<int32_t>(static_cast<signed char>(*byte)));
            return sum;
        }
    };

private:
    void release();
    void takeCopy(const char* text, int32_t length);

    char* chars_ = nullptr;  // written only while owned
    int32_t capacity_ = 0;
};

// Writes the bytes; nothing for a null text.
std::ostream& operator<<(std::ostream& out, const KelCString& text);
