// KelBinaryInput and KelBinaryOutput: the abstract byte streams under the
// chunk format, with the typed big-endian operations written once here.
//
// The host derives its concrete streams from these classes and the chunk
// classes read their fields directly, so the slot order of the virtual
// operations and the order of the fields are a contract with host code: never
// reorder them, never add a field in front of them.
//
// The two sides are not mirror images:
// - Output buffers. Bytes gather in `buffer` and leave in blocks of up to 1024
//   bytes. A typed write never starts with less than 256 bytes of room (it
//   hands the buffer on first), so no element is split across two blocks; a
//   raw write fills the buffer to the brim and may cross blocks. Nothing
//   flushes by itself otherwise: whoever seeks must flush() first.
// - Input keeps no read-ahead. Its buffer is only a staging area for the byte
//   swap; every read goes to the concrete stream at once, so tell() and seek()
//   of the concrete stream are always exact.
//
// Counts of the typed operations are numbers of elements, not bytes. Nothing
// here allocates, throws, or keeps a failure state of its own: a failure shows
// in the result and, sticky, in the concrete stream's good().
#pragma once

#include <cstdint>
#include <cstring>

#include "kel/kelbigendian.h"

// A process-wide observer of stream traffic. It sees every block handed to a
// concrete output stream just before the write (position from tell()) and
// every block delivered by a concrete input stream just after the read
// (position from a tell() taken before it). Nothing in this library installs
// one, and while it is null no tell() is spent on it.
using KelStreamObserver = void (*)(bool output, const void* block, int64_t position, uint64_t byteCount);
void kelSetStreamObserver(KelStreamObserver observer);
namespace kelstream_detail {
extern KelStreamObserver observer;
}

class KelBinaryInput {
public:
    static constexpr uint64_t bufferSize = 1024;

    KelBinaryInput() = default;
    KelBinaryInput(const KelBinaryInput&) = delete;
    KelBinaryInput& operator=(const KelBinaryInput&) = delete;

    // Slot order is part of the contract.
    virtual ~KelBinaryInput();
    // Delivers up to byteCount bytes; the number delivered, 0 at the end or on
    // failure. A stream is expected to deliver a whole request unless it has
    // reached its end.
    virtual uint64_t read(void* target, uint64_t byteCount) = 0;
    // The absolute position of the next byte.
    virtual int64_t tell() = 0;
    // Every caller in this library passes absolute = true.
    virtual void seek(int64_t position, bool absolute) = 0;
    // False once the stream has failed or a read fell short of the request.
    virtual bool good() = 0;
    // Only a reader that owns its stream calls this.
    virtual void close() = 0;

    // Typed big-endian reads. True when all `count` elements arrived; after
    // false the elements decoded so far stand in `target`, the rest are
    // untouched. Bytes of a partly delivered element are dropped.
    bool read8(uint8_t* target, uint64_t count);
    bool read16(uint16_t* target, uint64_t count);
    bool read32(uint32_t* target, uint64_t count);
    bool read64(uint64_t* target, uint64_t count);
    // One read straight into `target`; the number of bytes delivered.
    uint64_t readRaw(void* target, uint64_t byteCount)
    {
        return kelstream_detail::observer ? readObserved(target, byteCount) : read(target, byteCount);
    }

    // Fields: part of the contract.
    uint8_t buffer[bufferSize];
    // Bytes that the stream holds; kept by the concrete stream.
    uint64_t size = 0;
    // Width of chunk lengths in bits: 0 until known, then 32 or 64. A concrete
    // stream may preset it; otherwise the root chunk sets it once.
    uint32_t width = 0;

private:
    template <class T>
    bool readTyped(T* target, uint64_t count);
    uint64_t readObserved(void* target, uint64_t byteCount);
};

class KelBinaryOutput {
public:
    static constexpr uint64_t bufferSize = 1024;
    // A typed write hands the buffer on first when less than this is free.
    static constexpr uint64_t typedRoom = 256;

    KelBinaryOutput() = default;
    KelBinaryOutput(const KelBinaryOutput&) = delete;
    KelBinaryOutput& operator=(const KelBinaryOutput&) = delete;

    // Slot order is part of the contract.
    virtual ~KelBinaryOutput();
    // Only a writer that owns its stream calls this.
    virtual void close() = 0;
    // A slot of the host's that this library never calls.
    virtual void reservedSlot2() {}
    // Takes byteCount bytes at the concrete position; non-zero on success.
    virtual uint64_t write(const void* source, uint64_t byteCount) = 0;
    // A slot of the host's that this library never calls.
    virtual void reservedSlot4() {}
    // The concrete position, without the bytes still in `buffer`: the logical
    // position is tell() + fill.
    virtual int64_t tell() = 0;
    // Moves the concrete position and leaves `buffer` alone, so the caller
    // flushes first. Every caller in this library passes absolute = true.
    virtual void seek(int64_t position, bool absolute) = 0;
    // False once the stream has failed.
    virtual bool good() = 0;

    // Typed big-endian writes. False only when handing on a full buffer
    // failed; a failure in the low-room step is not seen here (only good()
    // shows it).
    bool write8(const uint8_t* source, uint64_t count);
    bool write16(const uint16_t* source, uint64_t count);
    bool write32(const uint32_t* source, uint64_t count);
    bool write64(const uint64_t* source, uint64_t count);
    // Raw bytes through the buffer, filling it to the brim.
    bool writeRaw(const void* source, uint64_t byteCount);
    // Hands the buffered bytes to the concrete stream; fill is 0 afterwards,
    // also on failure.
    bool flush()
    {
        if (fill == 0)
            return true;
        // Every chunk end flushes twice, so the common road is a direct call.
        uint64_t written = kelstream_detail::observer ? writeObserved(buffer, fill) : write(buffer, fill);
        fill = 0;
        return written != 0;
    }

    // Fields: part of the contract.
    uint8_t buffer[bufferSize];
    uint64_t fill = 0;  // bytes in buffer, 0 to 1024
    // Selects the chunk length width: 1 to 9 means 4-byte lengths, any other
    // value 8-byte lengths. Set by the concrete stream.
    int32_t formatVersion = 0;

private:
    template <class T>
    bool writeTyped(const T* source, uint64_t count);
    uint64_t writeObserved(const void* source, uint64_t byteCount);
    bool writeFullBuffer();
};

// Single elements are the common case (chunk heads, lengths, identity
// fields), so their road is inline: a read of one element is one read of its
// size, and a write of one element with at least 256 bytes of room is a store
// into the buffer, which can never fill it.

inline bool KelBinaryInput::read8(uint8_t* target, uint64_t count)
{
    if (count == 0 || count > bufferSize || kelstream_detail::observer)
        return readTyped(target, count);
    uint64_t got = read(buffer, count);
    if (got == 0)
        return false;
    if (got > count)
        got = count;
    uint64_t i = 0;
    for (; i + 8 <= got; i += 8)  // in words, so that a word-sized read of the target stays fast
        std::memcpy(target + i, buffer + i, 8);
    for (; i < got; ++i)
        target[i] = buffer[i];
    return got == count || readTyped(target + got, count - got);
}

inline bool KelBinaryInput::read16(uint16_t* target, uint64_t count)
{
    if (count != 1 || kelstream_detail::observer)
        return readTyped(target, count);
    if (read(buffer, 2) < 2)
        return false;
    *target = kelLoadBE16(buffer);
    return true;
}

inline bool KelBinaryInput::read32(uint32_t* target, uint64_t count)
{
    if (count != 1 || kelstream_detail::observer)
        return readTyped(target, count);
    if (read(buffer, 4) < 4)
        return false;
    *target = kelLoadBE32(buffer);
    return true;
}

inline bool KelBinaryInput::read64(uint64_t* target, uint64_t count)
{
    if (count != 1 || kelstream_detail::observer)
        return readTyped(target, count);
    if (read(buffer, 8) < 8)
        return false;
    *target = kelLoadBE64(buffer);
    return true;
}

inline bool KelBinaryOutput::write8(const uint8_t* source, uint64_t count)
{
    if (count != 1 || bufferSize - fill < typedRoom)
        return writeTyped(source, count);
    buffer[fill++] = *source;
    return true;
}

inline bool KelBinaryOutput::write16(const uint16_t* source, uint64_t count)
{
    if (count != 1 || bufferSize - fill < typedRoom)
        return writeTyped(source, count);
    kelStoreBE16(buffer + fill, *source);
    fill += 2;
    return true;
}

inline bool KelBinaryOutput::write32(const uint32_t* source, uint64_t count)
{
    if (count != 1 || bufferSize - fill < typedRoom)
        return writeTyped(source, count);
    kelStoreBE32(buffer + fill, *source);
    fill += 4;
    return true;
}

inline bool KelBinaryOutput::write64(const uint64_t* source, uint64_t count)
{
    if (count != 1 || bufferSize - fill < typedRoom)
        return writeTyped(source, count);
    kelStoreBE64(buffer + fill, *source);
    fill += 8;
    return true;
}
