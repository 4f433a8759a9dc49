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
    if (n > 0)
        std::memcpy(target, data_ + position_, n);
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

uint64_t KelMemoryOutput::write(const void* source, uint64_t byteCount)
{
    uint64_t end = position_ + byteCount;
    if (end > bytes_.size())
        bytes_.resize(end);
    if (byteCount > 0)
        std::memcpy(bytes_.data() + position_, source, byteCount);
    position_ = end;
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

const std::vector<uint8_t>& KelMemoryOutput::bytes()
{
    flush();
    return bytes_;
}

void KelMemoryOutput::reset()
{
    fill = 0;
    bytes_.clear();
    position_ = 0;
    failed_ = false;
}
