#include "kel/componentid.h"

// The bytes stand as they lie in memory: data1 comes first, little-endian.

const KelID& kelComponentId()
{
    static const uint8_t bytes[16] = {0xd5, 0x1c, 0x76, 0x2a, 0xf8, 0x50, 0xbb, 0x49,
                                      0xa6, 0x0f, 0x81, 0xa2, 0xca, 0x2a, 0x58, 0x8d};
    static const KelID id = KelID::fromMemoryBytes(bytes);
    return id;
}

const KelID& kelScriptInterpreterPythonId()
{
    static const uint8_t bytes[16] = {0xe4, 0xbe, 0x53, 0xdb, 0x33, 0x0d, 0xb9, 0x44,
                                      0xb5, 0x62, 0xb4, 0x51, 0x06, 0x23, 0x0b, 0xa0};
    static const KelID id = KelID::fromMemoryBytes(bytes);
    return id;
}

const KelID& kelPythonInitializerId()
{
    static const uint8_t bytes[16] = {0x7a, 0x68, 0x8d, 0x0c, 0x6f, 0x22, 0xe2, 0x4c,
                                      0x8b, 0xaf, 0xa3, 0x08, 0x38, 0x7f, 0x64, 0x10};
    static const KelID id = KelID::fromMemoryBytes(bytes);
    return id;
}
