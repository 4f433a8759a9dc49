// Binary streams over memory.
#include "host/kelmemorystream.h"

#include <cstring>

namespace {

// Chunk heads, lengths and identities come in 4 to 16 bytes, and the flush of
// a small chunk in up to 32: two overlapping moves of a constant size do
// such copies without a call or a jump table, which cost more than the copy.
inline void copyBytes(uint8_t* to, const uint8_t* from, uint64_t n)
{
    if (n > 16 && n <= 32) {
        uint8_t head[16], tail[16];
        std::memcpy(head, from, 16);
        std::memcpy(tail, from + n - 16, 16);
        std::memcpy(to, head, 16);
        std::memcpy(to + n - 16, tail, 16);
    } else if (n >= 8 && n <= 16) {
        uint64_t head, tail;
        std::memcpy(&head, from, 8);
        std::memcpy(&tail, from + n - 8, 8);
        std::memcpy(to, &head, 8);
        std::memcpy(to + n - 8, &tail, 8);
    } else if (n >= 4 && n < 8) {
        uint32_t head, tail;
        std::memcpy(&head, from, 4);
        std::memcpy(&tail, from + n - 4, 4);
        std::memcpy(to, &head, 4);
        std::memcpy(to + n - 4, &tail, 4);
    } else if (n > 0) {
        std::memcpy(to, from, n);
    }
}

}  // namespace

KelMemoryInput::KelMemoryInput(const void* data, uint64_t byteCount, uint32_t presetWidth)
    : data_(static_cast<const uint8_t*>(data))
{
    size = byteCount;
    width = presetWidth;
}

uint64_t KelMemoryInput::read(void* target, uint64_t byteCount)
{
    uint64_t available = position_ < size ? size - position_ : 0;
    uint64_t n = byteCount < available ? byteCount : available;
    copyBytes(static_cast<uint8_t*>(target), data_ + position_, n);
    position_ += n;
    if (n < byteCount)
        failed_ = true;
    return n;
}

void KelMemoryInput::seek(int64_t position, bool absolute)
{
    int64_t target = absolute ? position : static_cast<int64_t>(position_) + position;
    if (target < 0 || static_cast<uint64_t>(target) > size) {
        failed_ = true;
        return;
    }
    position_ = static_cast<uint64_t>(target);
}

KelMemoryOutput::KelMemoryOutput(int32_t version)
{
    formatVersion = version;
}

void KelMemoryOutput::reserve(uint64_t capacity)
{
    uint64_t grown = capacity_ < 4096 ? 4096 : capacity_;
    while (grown < capacity)
        grown *= 2;
    std::unique_ptr<uint8_t[]> fresh(new uint8_t[grown]);
    if (size_ > 0)
        std::memcpy(fresh.get(), data_.get(), size_);
    data_ = std::move(fresh);
    capacity_ = grown;
}

uint64_t KelMemoryOutput::write(const void* source, uint64_t byteCount)
{
    uint64_t end = position_ + byteCount;
    if (end > capacity_)
        reserve(end);
    if (position_ > size_)  // a gap left by a seek past the end reads as zeros
        std::memset(data_.get() + size_, 0, position_ - size_);
    copyBytes(data_.get() + position_, static_cast<const uint8_t*>(source), byteCount);
    position_ = end;
    if (end > size_)
        size_ = end;
    return byteCount;
}

void KelMemoryOutput::seek(int64_t position, bool absolute)
{
    int64_t target = absolute ? position : static_cast<int64_t>(position_) + position;
    if (target < 0) {
        failed_ = true;
        return;
    }
    position_ = static_cast<uint64_t>(target);
}

std::vector<uint8_t> KelMemoryOutput::bytes()
{
    flush();
    return std::vector<uint8_t>(data_.get(), data_.get() + size_);
}

const uint8_t* KelMemoryOutput::data()
{
    flush();
    return data_.get();
}

void KelMemoryOutput::reset()
{
    fill = 0;
    size_ = 0;
    position_ = 0;
    failed_ = false;
}
