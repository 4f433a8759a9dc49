// KelClcBinary: the component's IKelClcBinary. Nothing in the component
// reads it.
#pragma once

#include <cstdint>

#include "kel/ikelclcbinary.h"

class KelClcBinary : public virtual IKelClcBinary {
public:
    uint32_t version_ = 0;
    uint8_t* data_ = nullptr;  // owned
    uint64_t length_ = 0;

    // Version 1 with its own copy of the 16 fixed bytes.
    KelClcBinary();
    ~KelClcBinary() override;
    KelClcBinary(const KelClcBinary&) = delete;
    KelClcBinary& operator=(const KelClcBinary&) = delete;

    uint32_t version() override { return version_; }
    const uint8_t* data() override { return data_; }
    uint64_t length() override { return length_; }

    void queryInterface(const char* name, void* out, bool flag) override;
    const char* className() override { return "KelClcBinary"; }

    // The one object of the module, built on the first call; its count
    // stays 0 and it lives until the process ends.
    static KelClcBinary* instance();
};
