// The chunk walk of any stream, and its two views: the tree that `kelhost
// chunks` prints and the parameters that `kelhost params` loads. Both views
// ride the one walk, so they meet the same chunks and stop at the same damage.
//
// One line per chunk: its offset, the id in hex, the version, the length, the
// nesting by indentation, and what the chunk holds where it is known: strings
// and identities decoded, the root chunk's width, the parts of a parameter.
// A chunk of unknown id is shown as nested chunks when its payload consists
// of whole chunks exactly, and as a count of data bytes otherwise.
//
// The walk never trusts the file: every length is checked against the
// stream's size before anything is read, nothing is allocated in proportion
// to a stored number, and the walk's steps (heads opened, heads looked at,
// string bytes a view may read) are counted against a budget in proportion to
// the stream's size, so a file whose chunks overlap so much that a
// well-formed file of its size could not hold them stops the walk. Its cost
// is linear in the size whatever the bytes.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>

#include "kel/kelbinarystream.h"
#include "kel/kelid.h"

class HostParameters;

struct KelChunkWalkResult {
    uint64_t chunks = 0;
    bool damaged = false;
    // "damaged chunk at offset N: why"; empty when the walk was clean.
    std::string damage;
};

// What a walk shows, as it goes.
class KelChunkView {
public:
    virtual ~KelChunkView() = default;
    // A chunk the walk has opened, as its line of the tree (no line feed).
    virtual void chunk(const std::string& line) {}
    // A parameter chunk with a sound head at `offset`. The view may read the
    // stream; the walk puts it back afterwards.
    virtual void parameter(int64_t offset) {}
    // The damage that stopped the walk, as in KelChunkWalkResult.
    virtual void damaged(const std::string& damage) {}
};

// Walks the whole stream from its current position to its size.
// `parameterId` is the chunk id of parameters in this host's files.
KelChunkWalkResult kelWalkChunks(KelBinaryInput& in, KelChunkView& view, uint32_t parameterId);
// The tree view: every line, and the damage, printed to `out`.
KelChunkWalkResult kelWalkChunks(KelBinaryInput& in, std::ostream& out, uint32_t parameterId);

struct KelParameterListing {
    KelChunkWalkResult walk;
    int found = 0;   // parameter chunks met
    int failed = 0;  // of which did not load
};
// The parameter view: each parameter chunk that the walk meets is loaded
// through `parameters` and printed to `out` as "offset  class  value" or
// "offset  parameter does not load: why"; the damage is printed too.
KelParameterListing kelListParameters(KelBinaryInput& in, std::ostream& out, HostParameters& parameters);

// Why the chunk head at `start` is refused, for a reader that has just
// refused it: "chunk 515458: length 252 reaches past the end of the stream
// (100 bytes left)". The stream goes back to `start`.
std::string kelWhyChunkRejected(KelBinaryInput& in, int64_t start);

// An identity in the text form xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx.
std::string kelIdentityText(const KelID& id);
