// Scripted streams for the persistence tests: short reads and failing writes,
// which the host's memory and file streams never produce.
#pragma once

#include <algorithm>
#include <cstring>
#include <map>
#include <vector>

#include "persistence/kelbinarystream.h"

// Delivers the given bytes, at most `maxPerRead` per call, and records every request.
class ScriptedInput : public KelBinaryInput {
public:
    explicit ScriptedInput(std::vector<uint8_t> data, uint64_t maxPerRead = ~uint64_t(0))
        : data_(std::move(data)), maxPerRead_(maxPerRead)
    {
        size = data_.size();
    }
    uint64_t read(void* target, uint64_t byteCount) override
    {
        requests.push_back(byteCount);
        uint64_t n = std::min({byteCount, uint64_t(data_.size()) - position_, maxPerRead_});
        if (n > 0)
            std::memcpy(target, data_.data() + position_, n);
        position_ += n;
        short_ = short_ || n < byteCount;
        return n;
    }
    int64_t tell() override { return int64_t(position_); }
    void seek(int64_t, bool) override {}
    bool good() override { return !short_; }
    void close() override {}

    std::vector<uint64_t> requests;

private:
    std::vector<uint8_t> data_;
    uint64_t position_ = 0;
    uint64_t maxPerRead_;
    bool short_ = false;
};

// Keeps every write as a block of its own, with the position it was made at,
// so a test sees how the buffer was handed on; with failWrites set each write
// fails and leaves the stream bad.
class RecordingOutput : public KelBinaryOutput {
public:
    struct Block {
        int64_t position;
        std::vector<uint8_t> bytes;
    };
    explicit RecordingOutput(int32_t version = 1) { formatVersion = version; }

    void close() override {}
    uint64_t write(const void* source, uint64_t byteCount) override
    {
        const uint8_t* in = static_cast<const uint8_t*>(source);
        blocks.push_back({position_, std::vector<uint8_t>(in, in + byteCount)});
        failed_ = failed_ || failWrites;
        position_ += failWrites ? 0 : int64_t(byteCount);
        return failWrites ? 0 : byteCount;
    }
    int64_t tell() override { return position_; }
    void seek(int64_t position, bool) override { position_ = position; }
    bool good() override { return !failed_; }

    // The bytes as they would stand in a file, later writes over earlier ones.
    std::map<int64_t, uint8_t> image() const
    {
        std::map<int64_t, uint8_t> out;
        for (const Block& block : blocks)
            for (size_t i = 0; i < block.bytes.size(); ++i)
                out[block.position + int64_t(i)] = block.bytes[i];
        return out;
    }
    std::vector<size_t> blockSizes() const
    {
        std::vector<size_t> sizes;
        for (const Block& block : blocks)
            sizes.push_back(block.bytes.size());
        return sizes;
    }

    std::vector<Block> blocks;
    bool failWrites = false;

private:
    int64_t position_ = 0;
    bool failed_ = false;
};
