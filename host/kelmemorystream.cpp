// Binary streams over memory.
#include "host/kelmemorystream.h"

#include <cstring>

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
    const uint8_t* from = data_ + position_;
    // Chunk heads and identity fields come in 2, 4 and 8 bytes: copies of a
    // constant size compile to single moves, where a call would cost more.
    switch (n) {
    case 0:
        break;
    case 2:
        std::memcpy(target, from, 2);
        break;
    case 4:
        std::memcpy(target, from, 4);
        break;
    case 8:
        std::memcpy(target, from, 8);
        break;
    default:
        std::memcpy(target, from, n);
    }
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
    uint8_t* to = data_.get() + position_;
    // Patched lengths come in 4 and 8 bytes; see KelMemoryInput::read.
    switch (byteCount) {
    case 0:
        break;
    case 4:
        std::memcpy(to, source, 4);
        break;
    case 8:
        std::memcpy(to, source, 8);
        break;
    default:
        std::memcpy(to, source, byteCount);
    }
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
