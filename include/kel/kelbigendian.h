// Big-endian loads and stores of 16, 32 and 64-bit values.
//
// Persistent data is big-endian on every machine, so these swap whatever the
// host's byte order is. Each is one small typed function; the byte-wise form
// lets the compiler turn it into a single load or store plus a swap.
#pragma once

#include <cstdint>

inline void kelStoreBE16(uint8_t* out, uint16_t value)
{
    out[0] = static_cast<uint8_t>(value >> 8);
    out[1] = static_cast<uint8_t>(value);
}

inline void kelStoreBE32(uint8_t* out, uint32_t value)
{
    out[0] = static_cast<uint8_t>(value >> 24);
    out[1] = static_cast<uint8_t>(value >> 16);
    out[2] = static_cast<uint8_t>(value >> 8);
    out[3] = static_cast<uint8_t>(value);
}

inline void kelStoreBE64(uint8_t* out, uint64_t value)
{
    kelStoreBE32(out, static_cast<uint32_t>(value >> 32));
    kelStoreBE32(out + 4, static_cast<uint32_t>(value));
}

inline uint16_t kelLoadBE16(const uint8_t* in)
{
    return static_cast<uint16_t>((in[0] << 8) | in[1]);
}

inline uint32_t kelLoadBE32(const uint8_t* in)
{
    return (uint32_t(in[0]) << 24) | (uint32_t(in[1]) << 16) | (uint32_t(in[2]) << 8) | uint32_t(in[3]);
}

inline uint64_t kelLoadBE64(const uint8_t* in)
{
    return (uint64_t(kelLoadBE32(in)) << 32) | kelLoadBE32(in + 4);
}
