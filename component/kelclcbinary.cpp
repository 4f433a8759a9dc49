// The static binary block of the component.
#include "component/kelclcbinary.h"

#include <cstring>

#include "kel/interfacenamelist.h"

namespace {
// Any fixed value serves; the host only carries it around.
const uint8_t clcBytes[16] = {0x4b, 0x45, 0x4c, 0x43, 0x4c, 0x43, 0x00, 0x01,
                              0x50, 0x59, 0x54, 0x48, 0x4f, 0x4e, 0x00, 0x00};
}  // namespace

KelClcBinary::KelClcBinary() : version_(1), data_(new uint8_t[16]), length_(16)
{
    std::memcpy(data_, clcBytes, sizeof clcBytes);
}

KelClcBinary::~KelClcBinary()
{
    delete[] data_;
}

void KelClcBinary::queryInterface(const char* name, void* out, bool flag)
{
    if (!name) {
        addName("KelClcBinary", 1, kelNameListOf(out));
        addName("IKelClcBinary", 0, kelNameListOf(out));
        return;
    }
    kelSetOut(out, nullptr);
    if (kelSameName(name, "KelClcBinary"))
        kelSetOut(out, this);
    else if (kelSameName(name, "IKelUnknown"))
        kelSetOut(out, static_cast<IKelUnknown*>(this));
    else if (kelSameName(name, "IKelClcBinary"))
        kelSetOut(out, static_cast<IKelClcBinary*>(this));
}

KelClcBinary* KelClcBinary::instance()
{
    // A function-local static is built once behind the compiler's flag and
    // destroyed, with its block, at process exit.
    static KelClcBinary binary;
    return &binary;
}
