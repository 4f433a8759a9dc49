// The chunk tree of any stream, as `kelhost chunks` prints it.
//
// One line per chunk: its offset, the id in hex, the version, the length, the
// nesting by indentation, and what the chunk holds where it is known: strings
// and identities decoded, the root chunk's width, the parts of a parameter.
// A chunk of unknown id is shown as nested chunks when its payload consists
// of whole chunks exactly, and as a count of data bytes otherwise.
//
// The walk never trusts the file: every length is checked against the
// stream's size before anything is read, nothing is allocated in proportion
// to a stored number, and a file whose chunks overlap so much that a
// well-formed file of its size could not hold them stops the walk.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>

#include "kel/kelbinarystream.h"
#include "kel/kelid.h"

struct KelChunkWalkResult {
    uint64_t chunks = 0;
    bool damaged = false;
    // "damaged chunk at offset N: why"; empty when the walk was clean.
    std::string damage;
};

// Walks the whole stream from its current position to its size, printing the
// tree to `out`. `parameterId` is the chunk id of parameters in this host's
// files.
KelChunkWalkResult kelWalkChunks(KelBinaryInput& in, std::ostream& out, uint32_t parameterId);

// An identity in the text form xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx.
std::string kelIdentityText(const KelID& id);
