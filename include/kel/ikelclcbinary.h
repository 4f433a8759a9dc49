// IKelClcBinary: a small fixed binary block that a component hands out
// through IKelComponent::clcBinary.
#pragma once

#include <cstdint>

#include "kel/kelobject.h"

class IKelClcBinary : public virtual IKelUnknown {
public:
    static constexpr char interfaceName[] = "IKelClcBinary";

    virtual uint32_t version() = 0;
    virtual const uint8_t* data() = 0;
    virtual uint64_t length() = 0;
};
