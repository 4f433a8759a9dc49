// The parameter chunk as KelIDPar and KelIDsPar share it: the head with the
// host's chunk id, the version table, and the loop over sub-chunks. Only the
// value sub-chunk differs between the classes, and it comes in as a callback.
#pragma once

#include <cstdint>

#include "parameters/parameter.h"

class KelBinaryInput;

namespace QTXModelFeature {

// Opens the parameter chunk (version 2) on `writer` and writes sub-chunks 0
// and 128. False, with nothing written, when the writer is not good (it has
// no stream, say) or the host has no IQtxFileMagic.
bool beginParameterChunk(KelChunkWriter& writer, Parameter& parameter);

// Reads the parameter chunk's head: the host's id, or 0xb0000 for older
// files, with the version table applied. False when the chunk is not one
// this class may read; then nothing of it was read.
bool openParameterChunk(KelChunkReader& reader, Parameter& parameter);

// Handles a sub-chunk whose id is neither 0 nor 128. False ends the load
// with false at once.
using ValueChunkReader = bool (*)(void* context, KelChunkReader& reader, int chunkId);

// Reads the sub-chunks up to the parameter chunk's end, then checks the name.
// The parameter chunk itself stays open: the stream is left at the end of its
// last sub-chunk.
bool readParameterBody(KelChunkReader& reader, Parameter& parameter, ValueChunkReader value, void* context);

}  // namespace QTXModelFeature
