// The typed operations of the binary streams and their 1024-byte buffer rules.
#include "kel/kelbinarystream.h"

#include <algorithm>
#include <cstring>

#include "kel/kelbigendian.h"

KelStreamObserver kelstream_detail::observer = nullptr;

namespace {

// One element each way; the typed operations are written once over these.
inline void storeElement(uint8_t* out, uint8_t value) { *out = value; }
inline void storeElement(uint8_t* out, uint16_t value) { kelStoreBE16(out, value); }
inline void storeElement(uint8_t* out, uint32_t value) { kelStoreBE32(out, value); }
inline void storeElement(uint8_t* out, uint64_t value) { kelStoreBE64(out, value); }

inline void loadElement(const uint8_t* in, uint8_t* value) { *value = *in; }
inline void loadElement(const uint8_t* in, uint16_t* value) { *value = kelLoadBE16(in); }
inline void loadElement(const uint8_t* in, uint32_t* value) { *value = kelLoadBE32(in); }
inline void loadElement(const uint8_t* in, uint64_t* value) { *value = kelLoadBE64(in); }

}  // namespace

void kelSetStreamObserver(KelStreamObserver observer)
{
    kelstream_detail::observer = observer;
}

// ---- input ----

KelBinaryInput::~KelBinaryInput() = default;

uint64_t KelBinaryInput::readObserved(void* target, uint64_t byteCount)
{
    if (!kelstream_detail::observer)
        return read(target, byteCount);
    int64_t position = tell();
    uint64_t got = read(target, byteCount);
    kelstream_detail::observer(false, target, position, got);
    return got;
}

template <class T>
bool KelBinaryInput::readTyped(T* target, uint64_t count)
{
    constexpr uint64_t elementSize = sizeof(T);
    uint64_t remaining = count;
    while (remaining > 0) {
        uint64_t want = remaining > bufferSize / elementSize ? bufferSize : remaining * elementSize;
        uint64_t whole = readObserved(buffer, want) / elementSize;
        if (whole == 0)
            return false;
        whole = std::min(whole, remaining);  // a stream that over-delivers changes nothing
        for (uint64_t i = 0; i < whole; ++i)
            loadElement(buffer + i * elementSize, target + i);
        target += whole;
        remaining -= whole;
    }
    return true;
}


// ---- output ----

KelBinaryOutput::~KelBinaryOutput() = default;

uint64_t KelBinaryOutput::writeObserved(const void* source, uint64_t byteCount)
{
    if (kelstream_detail::observer)
        kelstream_detail::observer(true, source, tell(), byteCount);
    return write(source, byteCount);
}

// The block-full rule shared by the typed and the raw writes: the bytes of a
// block whose write failed are gone all the same.
bool KelBinaryOutput::writeFullBuffer()
{
    uint64_t written = writeObserved(buffer, bufferSize);
    fill = 0;
    return written != 0;
}

template <class T>
bool KelBinaryOutput::writeTyped(const T* source, uint64_t count)
{
    constexpr uint64_t elementSize = sizeof(T);
    uint64_t remaining = count;
    while (remaining > 0) {
        if (bufferSize - fill < typedRoom && fill != 0) {
            writeObserved(buffer, fill);  // a failure here shows only in good()
            fill = 0;
        }
        uint64_t room = bufferSize - fill;
        uint64_t n = (remaining > room / elementSize ? room : remaining * elementSize) / elementSize;
        uint8_t* out = buffer + fill;
        for (uint64_t i = 0; i < n; ++i)
            storeElement(out + i * elementSize, source[i]);
        fill += n * elementSize;
        source += n;
        remaining -= n;
        if (fill == bufferSize && !writeFullBuffer())
            return false;
    }
    return true;
}


bool KelBinaryOutput::writeRaw(const void* source, uint64_t byteCount)
{
    const uint8_t* in = static_cast<const uint8_t*>(source);
    while (byteCount > 0) {
        uint64_t n = std::min(byteCount, bufferSize - fill);
        std::memcpy(buffer + fill, in, n);
        fill += n;
        in += n;
        byteCount -= n;
        if (fill == bufferSize && !writeFullBuffer())
            return false;
    }
    return true;
}

// The inline single-element roads of the header fall back on these.
template bool KelBinaryInput::readTyped<uint8_t>(uint8_t*, uint64_t);
template bool KelBinaryInput::readTyped<uint16_t>(uint16_t*, uint64_t);
template bool KelBinaryInput::readTyped<uint32_t>(uint32_t*, uint64_t);
template bool KelBinaryInput::readTyped<uint64_t>(uint64_t*, uint64_t);
template bool KelBinaryOutput::writeTyped<uint8_t>(const uint8_t*, uint64_t);
template bool KelBinaryOutput::writeTyped<uint16_t>(const uint16_t*, uint64_t);
template bool KelBinaryOutput::writeTyped<uint32_t>(const uint32_t*, uint64_t);
template bool KelBinaryOutput::writeTyped<uint64_t>(const uint64_t*, uint64_t);
