// What the persistence tests share: byte builders, and scripted streams for
// short reads and failing writes, which the host's streams never produce.
#pragma once

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "kel/hostservices.h"
#include "kel/kelbinarystream.h"

using Bytes = std::vector<uint8_t>;

inline Bytes concat(std::initializer_list<Bytes> parts)
{
    Bytes out;
    for (const Bytes& part : parts)
        out.insert(out.end(), part.begin(), part.end());
    return out;
}
inline Bytes be32(uint32_t v) { return {uint8_t(v >> 24), uint8_t(v >> 16), uint8_t(v >> 8), uint8_t(v)}; }
inline Bytes be64(uint64_t v) { return concat({be32(uint32_t(v >> 32)), be32(uint32_t(v))}); }
// A chunk as raw bytes, with an explicit (possibly wrong) length.
inline Bytes chunk(uint32_t id, uint8_t version, uint64_t length, const Bytes& payload, bool wide = false)
{
    return concat({be32((id << 8) | version), wide ? be64(length) : be32(uint32_t(length)), payload});
}
inline Bytes pattern(size_t size)
{
    Bytes bytes(size);
    for (size_t i = 0; i < size; ++i)
        bytes[i] = uint8_t(i * 31 + size);
    return bytes;
}

// Delivers the given bytes, at most `maxPerRead` per call, and records every request.
class ScriptedInput : public KelBinaryInput {
public:
    explicit ScriptedInput(Bytes data, uint64_t maxPerRead = ~uint64_t(0)) : data_(std::move(data)), max_(maxPerRead)
    {
        size = data_.size();
    }
    uint64_t read(void* target, uint64_t byteCount) override
    {
        requests.push_back(byteCount);
        uint64_t n = std::min({byteCount, uint64_t(data_.size()) - position_, max_});
        if (n > 0)
            std::memcpy(target, data_.data() + position_, n);
        position_ += n;
        short_ = short_ || n < byteCount;
        return n;
    }
    int64_t tell() override { return int64_t(position_); }
    void seek(int64_t position, bool) override { position_ = uint64_t(position); }
    bool good() override { return !short_; }
    void close() override {}
    std::vector<uint64_t> requests;

private:
    Bytes data_;
    uint64_t position_ = 0, max_;
    bool short_ = false;
};

// Keeps every write as a block with its position, so a test sees how the
// buffer was handed on; with failWrites set each write fails for good.
class RecordingOutput : public KelBinaryOutput {
public:
    struct Block { int64_t position; Bytes bytes; };
    explicit RecordingOutput(int32_t version = 1) { formatVersion = version; }
    void close() override {}
    uint64_t write(const void* source, uint64_t byteCount) override
    {
        const uint8_t* in = static_cast<const uint8_t*>(source);
        blocks.push_back({position_, Bytes(in, in + byteCount)});
        failed_ = failed_ || failWrites;
        position_ += failWrites ? 0 : int64_t(byteCount);
        return failWrites ? 0 : byteCount;
    }
    int64_t tell() override { return position_; }
    void seek(int64_t position, bool) override { position_ = position; }
    bool good() override { return !failed_; }

    std::vector<Block> blocks;
    bool failWrites = false;

private:
    int64_t position_ = 0;
    bool failed_ = false;
};

