// KelIDsPar: a list of identities, stored in sub-chunk 257 as a count and that
// many identity chunks.
#include "parameters/kelidspar.h"

#include "kel/interfacenamelist.h"
#include "kel/kelfile.h"
#include "parameters/parameterchunk.h"

namespace QTXModelFeature {

namespace {

// Wraps the literal: capacity 0, nothing to release at exit.
const KelCString idsParFullName("QTXModelFeature::KelIDsPar", kelBorrow);
constexpr int listChunk = 257;
constexpr int32_t spareRoomLimit = 10;

}  // namespace

// 3c8e0311-593b-4162-85b5-91b98c7a7304
const KelID KelIDsPar::classTypeId(0x3c8e0311, 0x593b, 0x4162, {0x85, 0xb5, 0x91, 0xb9, 0x8c, 0x7a, 0x73, 0x04});

KelIDsPar::KelIDsPar(const KelObjectArray<KelID>& other)
{
    int32_t wanted = other.count < spareRoomLimit ? spareRoomLimit : other.count + 1;
    int32_t size = wanted >= other.size ? other.size : wanted;
    ids_.grow(size, -1);
    for (int32_t i = 0; i < size; ++i)
        ids_[i] = other[i];
    ids_.count = other.count;
}

const char* KelIDsPar::fullClassName()
{
    return idsParFullName.chars();
}

void KelIDsPar::setValue(const KelObjectArray<KelID>& other)
{
    ids_.count = 0;
    ids_.grow(other.count + 1, -1);
    for (int32_t i = 1; i <= other.count; ++i)
        ids_.push(other[i]);
}

IKelParameter* KelIDsPar::clone()
{
    return new KelIDsPar(getValue());
}

bool KelIDsPar::equals(IKelEqualComparable* other)
{
    if (!other)
        return false;
    void* same = nullptr;
    static_cast<IKelUnknown*>(other)->queryInterface("KelIDsPar", &same, false);
    if (!same)
        return false;
    const KelObjectArray<KelID>& theirs = static_cast<KelIDsPar*>(same)->getValue();
    if (theirs.count != ids_.count)
        return false;
    for (int32_t i = 1; i <= ids_.count; ++i) {
        if (!(theirs[i] == ids_[i]))
            return false;
    }
    return true;
}

void KelIDsPar::queryInterface(const char* name, void* out, bool flag)
{
    if (!name) {
        KelInterfaceNameList* list = kelNameListOf(out);
        addName("KelIDsPar", 1, list);
        addName("IKelIDsValue", 0, list);
        addName("IKelPersistable", 0, list);
        Parameter::queryInterface(nullptr, out, false);
        popClass(list);
        return;
    }
    kelSetOut(out, nullptr);
    if (kelSameName(name, "KelIDsPar"))
        kelSetOut(out, this);
    else if (kelSameName(name, "IKelUnknown"))
        kelSetOut(out, static_cast<IKelUnknown*>(this));
    else if (kelSameName(name, "IKelIDsValue"))
        kelSetOut(out, static_cast<IKelIDsValue*>(this));
    else if (kelSameName(name, "IKelPersistable"))
        kelSetOut(out, static_cast<IKelPersistable*>(this));
    else
        Parameter::queryInterface(name, out, false);
}

bool KelIDsPar::save(KelChunkWriter* writer)
{
    KelChunkWriter local(writer->stream(), false);
    if (!beginParameterChunk(local, *this))
        return false;
    local.beginChunk(listChunk, 0);
    uint32_t count = static_cast<uint32_t>(ids_.count);
    local.stream()->write32(&count, 1);
    for (int32_t i = 1; i <= ids_.count; ++i)
        local.writeIDChunk(ids_[i]);
    local.endChunk();
    return local.good();  // the closing of the parameter chunk is not covered
}

// The list read. A stored count is trusted only as far as sub-chunk 257 can
// hold identity chunks (a head and 16 bytes each); a larger one is refused
// before anything is read, and the read stops at the first element that
// fails. So a damaged count costs neither time nor memory beyond the size of
// the chunk. Either way the reader is bad and the load gives false.
bool readIDList(void* context, KelChunkReader& reader, int chunkId)
{
    if (chunkId != listChunk)
        return true;
    KelObjectArray<KelID>& ids = static_cast<KelIDsPar*>(context)->ids_;
    ids.count = 0;
    KelID scratch;
    uint32_t word = 0;
    reader.stream()->read32(&word, 1);
    int32_t n = static_cast<int32_t>(word);
    if (n < 1)
        return true;
    int64_t room = reader.bytesLeft();
    int64_t identitySize = (reader.stream()->width == 64 ? 12 : 8) + 16;
    if (room < 0 || n > room / identitySize) {
        reader.setBad();
        return true;
    }
    for (int32_t i = 0; i < n; ++i) {
        if (!reader.readListedID(scratch))
            break;
        ids.push(scratch);
    }
    return true;
}

bool KelIDsPar::load(KelChunkReader* reader)
{
    KelChunkReader local(reader->stream());
    if (!openParameterChunk(local, *this))
        return false;
    return readParameterBody(local, *this, readIDList, this);
}

}  // namespace QTXModelFeature
