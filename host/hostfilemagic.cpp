#include "host/hostfilemagic.h"

#include "host/hostquery.h"
#include "kel/kelfile.h"

uint32_t HostFileMagic::getMagic(const char* className)
{
    if (kelSameName(className, "QTXModelFeature::Parameter"))
        return kelHostParameterMagic;
    uint32_t hash = 2166136261u;  // FNV-1a, folded to 24 bits
    for (const char* c = className ? className : ""; *c; ++c)
        hash = (hash ^ static_cast<uint8_t>(*c)) * 16777619u;
    uint32_t id = (hash ^ (hash >> 24)) & 0xffffff;
    bool reserved = id == kelChunkRoot || id == kelChunkOldParameter || id == kelChunkKeyed ||
                    id == kelChunkString || id == kelChunkID || id == kelHostParameterMagic || id < 0x200;
    return reserved ? id ^ 0x800000 : id;
}

void HostFileMagic::queryInterface(const char* name, void* out, bool)
{
    hostQueryInterface<IQtxFileMagic>(this, "HostFileMagic", name, out);
}
