// Binary streams over memory: the host's fast road for chunk data that never
// touches a file (tests, benchmarks, the fuzzer, the document in memory).
//
// Every chunk end costs the writer two flushes and two seeks, so write, seek
// and tell here are a few instructions each: a position and a byte vector.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "kel/kelbinarystream.h"

// Reads a byte range that it does not own; the range must outlive the stream.
// A read that falls short of its request, or a seek outside the range, makes
// the stream bad for good.
class KelMemoryInput : public KelBinaryInput {
public:
    // `presetWidth` 0 lets a root chunk decide the width of chunk lengths.
    KelMemoryInput(const void* data, uint64_t byteCount, uint32_t presetWidth = 0);

    uint64_t read(void* target, uint64_t byteCount) override;
    int64_t tell() override { return static_cast<int64_t>(position_); }
    void seek(int64_t position, bool absolute) override;
    bool good() override { return !failed_; }
    void close() override {}

private:
    const uint8_t* data_;
    uint64_t position_ = 0;
    bool failed_ = false;
};

// Writes into a growing byte vector; a seek past the end leaves a gap of zeros
// once something is written there.
class KelMemoryOutput : public KelBinaryOutput {
public:
    explicit KelMemoryOutput(int32_t formatVersion);

    void close() override { flush(); }
    uint64_t write(const void* source, uint64_t byteCount) override;
    int64_t tell() override { return static_cast<int64_t>(position_); }
    void seek(int64_t position, bool absolute) override;
    bool good() override { return !failed_; }

    // Flushes the buffer and gives a copy of everything written so far.
    std::vector<uint8_t> bytes();
    // Flushes the buffer; the bytes stay owned by the stream and valid until
    // the next write or reset.
    const uint8_t* data();
    uint64_t byteCount() const { return size_; }
    // Empties the stream for another round; the formatVersion and the
    // memory stay.
    void reset();

private:
    void reserve(uint64_t capacity);

    // Not a vector: growing must not zero bytes that are written at once.
    std::unique_ptr<uint8_t[]> data_;
    uint64_t capacity_ = 0;
    uint64_t size_ = 0;
    uint64_t position_ = 0;
    bool failed_ = false;
};
