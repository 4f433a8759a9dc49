// KelID: the 128-bit identity of a class or a parameter type.
//
// The four fields lie in memory in the machine's byte order; this layout is
// shared with the host. In files an identity is written big-endian.
#pragma once

#include <cstdint>
#include <cstring>

class KelID {
public:
    uint32_t data1 = 0;
    uint16_t data2 = 0;
    uint16_t data3 = 0;
    uint8_t data4[8] = {};

    KelID() = default;
    KelID(uint32_t d1, uint16_t d2, uint16_t d3, const uint8_t (&d4)[8])
        : data1(d1), data2(d2), data3(d3)
    {
        std::memcpy(data4, d4, sizeof data4);
    }
    // Builds an identity from its 16 bytes as they lie in memory.
    static KelID fromMemoryBytes(const uint8_t (&bytes)[16])
    {
        KelID id;
        std::memcpy(&id.data1, bytes, 4);
        std::memcpy(&id.data2, bytes + 4, 2);
        std::memcpy(&id.data3, bytes + 6, 2);
        std::memcpy(id.data4, bytes + 8, 8);
        return id;
    }
    KelID(const KelID& other) { copyFrom(other); }
    KelID& operator=(const KelID& other)
    {
        if (!(*this == other))
            copyFrom(other);
        return *this;
    }
    virtual ~KelID() = default;

    bool operator==(const KelID& other) const
    {
        return data1 == other.data1 && data2 == other.data2 && data3 == other.data3 &&
               std::memcmp(data4, other.data4, sizeof data4) == 0;
    }
    bool operator!=(const KelID& other) const { return !(*this == other); }

    // The hash of an identity is its first field, unchanged.
    struct HashFunc {
        uint32_t operator()(const KelID& id) const { return id.data1; }
    };

private:
    void copyFrom(const KelID& other)
    {
        data1 = other.data1;
        data2 = other.data2;
        data3 = other.data3;
        std::memcpy(data4, other.data4, sizeof data4);
    }
};
