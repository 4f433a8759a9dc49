// The parameter chunk shared by the parameter classes.
#include "parameters/parameterchunk.h"

#include "kel/hostservices.h"
#include "kel/iptr.h"
#include "kel/kelfile.h"

namespace QTXModelFeature {

namespace {

constexpr int writtenVersion = 2;
constexpr int newestReadableVersion = 4;
constexpr int firstVersionOnlyUnderMagic = 2;

// The host's chunk id for parameters, asked anew at every save and load and
// released at once. Every class asks with the base's own name, so all of them
// share one id. False without the service.
bool parameterChunkId(Parameter& parameter, uint32_t& id)
{
    SPtr<IQtxFileMagic> magic;
    if (!magic)
        return false;
    id = magic->getMagic(parameter.Parameter::fullClassName());
    return true;
}

}  // namespace

bool beginParameterChunk(KelChunkWriter& writer, Parameter& parameter)
{
    uint32_t id = 0;
    // A writer without a stream (its maker's stream() has raised the
    // assertion) or with a failed one writes nothing.
    if (!writer.good() || !parameterChunkId(parameter, id))
        return false;
    writer.beginChunk(id, writtenVersion);
    parameter.writeNameChunk(writer);
    parameter.writeTypeChunk(writer);
    return true;
}

bool openParameterChunk(KelChunkReader& reader, Parameter& parameter)
{
    uint32_t id = 0;
    if (!parameterChunkId(parameter, id))
        return false;
    uint32_t expected = reader.peekChunk(id, nullptr) ? id : uint32_t(kelChunkOldParameter);
    if (!reader.readChunk(expected))
        return false;
    int version = reader.chunkVersion();
    if (version >= firstVersionOnlyUnderMagic && expected == kelChunkOldParameter)
        return false;
    return version <= newestReadableVersion;
}

bool readParameterBody(KelChunkReader& reader, Parameter& parameter, ValueChunkReader value, void* context)
{
    KelBinaryInput* stream = reader.stream();
    KelCString name;
    KelID scratch;
    while (!reader.atChunkEnd()) {
        reader.readChunk();  // a rejected head makes the reader bad, which ends the loop
        int id = reader.chunkId();
        if (id == 0) {
            if (!readCString(name, stream))
                return false;
        } else if (id == 128) {
            if (!readID(scratch, stream))
                return false;
        } else if (!value(context, reader, id)) {
            return false;
        }
        reader.endChunk();
    }
    KelCString stored;
    parameter.storedName(stored);
    if (!name.equals(stored))
        return false;
    return reader.good();
}

}  // namespace QTXModelFeature

