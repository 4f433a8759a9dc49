// KelIDPar: one identity, stored in sub-chunk 256 as an identity chunk.
#include "parameters/kelidpar.h"

#include "kel/interfacenamelist.h"
#include "kel/kelfile.h"
#include "parameters/parameterchunk.h"

namespace QTXModelFeature {

namespace {

// Wraps the literal: capacity 0, nothing to release at exit.
const KelCString idParFullName("QTXModelFeature::KelIDPar", kelBorrow);
constexpr int valueChunk = 256;

bool readValueChunk(void* context, KelChunkReader& reader, int chunkId)
{
    if (chunkId == valueChunk)
        reader.readIDChunk(*static_cast<KelID*>(context));  // the reader's state decides
    return true;
}

}  // namespace

// f79633b9-a026-451c-b89f-2ff917dcd0a0
const KelID KelIDPar::classTypeId(0xf79633b9, 0xa026, 0x451c, {0xb8, 0x9f, 0x2f, 0xf9, 0x17, 0xdc, 0xd0, 0xa0});

const char* KelIDPar::fullClassName()
{
    return idParFullName.chars();
}

IKelParameter* KelIDPar::clone()
{
    return new KelIDPar(getValue());
}

bool KelIDPar::equals(IKelEqualComparable* other)
{
    if (!other)
        return false;
    void* same = nullptr;
    static_cast<IKelUnknown*>(other)->queryInterface("KelIDPar", &same, false);
    if (!same)
        return false;
    return static_cast<KelIDPar*>(same)->getValue() == getValue();
}

void KelIDPar::queryInterface(const char* name, void* out, bool flag)
{
    if (!name) {
        KelInterfaceNameList* list = kelNameListOf(out);
        addName("KelIDPar", 1, list);
        addName("IKelIDValue", 0, list);
        addName("IKelPersistable", 0, list);
        Parameter::queryInterface(nullptr, out, false);
        popClass(list);
        return;
    }
    kelSetOut(out, nullptr);
    if (kelSameName(name, "KelIDPar"))
        kelSetOut(out, this);
    else if (kelSameName(name, "IKelUnknown"))
        kelSetOut(out, static_cast<IKelUnknown*>(this));
    else if (kelSameName(name, "IKelIDValue"))
        kelSetOut(out, static_cast<IKelIDValue*>(this));
    else if (kelSameName(name, "IKelPersistable"))
        kelSetOut(out, static_cast<IKelPersistable*>(this));
    else
        Parameter::queryInterface(name, out, false);
}

bool KelIDPar::save(KelChunkWriter* writer)
{
    KelChunkWriter local(writer->stream(), false);
    if (!beginParameterChunk(local, *this))
        return false;
    local.beginChunk(valueChunk, 0);
    local.writeIDChunk(value_);
    local.endChunk();
    return local.good();  // the closing of the parameter chunk is not covered
}

bool KelIDPar::load(KelChunkReader* reader)
{
    value_ = KelID();
    KelChunkReader local(reader->stream());
    if (!openParameterChunk(local, *this))
        return false;
    return readParameterBody(local, *this, readValueChunk, &value_);
}

}  // namespace QTXModelFeature
