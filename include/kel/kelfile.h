// KelChunkReader and KelChunkWriter: the chunk tree on the binary streams.
//
// A persistent object stores itself as a tree of chunks. Every chunk carries
// an id, a version byte and its own length, so a reader can enter a chunk,
// take what it knows, and jump to the chunk's end past everything it does not
// know. Nesting needs no end marker: a payload simply holds further chunks.
//
//   offset 0          4                   8 (or 12)                 length
//          +----------+-------------------+--------------------------+
//          | id  |ver | length            | payload: raw bytes,      |
//          | 24b | 8b | 4 or 8 bytes, BE  | nested chunks, or both   |
//          +----------+-------------------+--------------------------+
//          \_ head word, big-endian: the three id bytes, then the version
//
// - `length` counts the whole chunk, head and length field included, so an
//   empty chunk is 8 bytes long (12 with 8-byte lengths) and end = head + length.
// - No alignment, no checksum, no end marker; the next chunk starts right
//   behind the previous one's end.
// - All chunks of one stream share one length width. The writer takes it from
//   the stream's formatVersion (1..9: 4 bytes, anything else: 8 bytes); the
//   reader from the stream's width (64: 8 bytes, else 4). The root chunk
//   "QTX" (0x515458) sets a width of 0 once: version 0 gives 32, any other 64.
//
// Ids with a fixed meaning:
//   0x515458  root chunk: nested chunks; its version byte gives the width
//   0x10003   narrow string: the bytes, no prefix, no terminator
//   0x10008   identity: one KelID in its 16-byte form
//   0xb0002   opens with a KelID, which readChunk consumes into chunkKey_
//   0xb0000   parameter chunk of older files (see the parameters)
//   KelID     data1 BE32, data2 BE16, data3 BE16, data4 as 8 bytes
//
// The writer is a stack of open chunks: beginChunk writes the head with a zero
// length and remembers where it stands; endChunk patches the real length in
// (flush, seek back, write, flush, seek forward), so the output stream must be
// seekable. The reader is a stack of chunk ends; endChunk jumps to the end of
// the innermost chunk, skipping whatever the caller did not read.
//
// Failures are sticky in good_: a reader that went bad rejects every further
// head and answers atChunkEnd() with true, which ends every loop over chunks.
// Field orders of both classes are a contract with the host, which builds the
// readers and writers it hands to parameters and reads bi_ and bo_ directly.
#pragma once

#include <cstdint>

#include "kel/kelarray.h"
#include "kel/kelbinarystream.h"
#include "kel/kelid.h"

class KelCString;

enum : uint32_t {
    kelChunkRoot = 0x515458,
    kelChunkString = 0x10003,
    kelChunkID = 0x10008,
    kelChunkKeyed = 0xb0002,
    kelChunkOldParameter = 0xb0000,
};

class KelChunkReader {
public:
    // Empty stack, good, no key; reads nothing. The stream is not owned.
    explicit KelChunkReader(KelBinaryInput* stream);
    // Open chunks are not ended: the stream stays where it is.
    ~KelChunkReader();
    KelChunkReader(const KelChunkReader&) = delete;
    KelChunkReader& operator=(const KelChunkReader&) = delete;

    // Reads the next head and opens the chunk. On a rejected head the stream
    // goes back to the head, good_ goes false and nothing is pushed.
    bool readChunk();
    // readChunk(), then demands the id; a wrong id leaves the chunk open.
    bool readChunk(unsigned id);
    // Does the next head carry `id`? `version` (may be null) gets its version
    // byte or -1. The stream is restored unless the read itself failed.
    bool peekChunk(unsigned id, int* version);
    bool atChunkEnd();
    // Leaves the innermost chunk, jumping to its end (also backwards).
    void endChunk();

    int chunkId() const { return static_cast<int>(chunkId_); }
    int chunkVersion() const { return chunkVersion_; }
    int64_t bytesLeft();
    KelBinaryInput* stream();
    bool good() const;
    KelChunkReader& readIDChunk(KelID& id);
    // readIDChunk(id).good() for a loop over a list, without asking the
    // stream once more: the read has just asked it.
    bool readListedID(KelID& id) { return readIDChunk(id).good_ && bi_; }

    // Marks the reader bad, for a caller that finds a payload it reads by
    // itself inconsistent; like every failure it is sticky.
    void setBad() { good_ = false; }

    // Introspection for tools that walk unknown files.
    int depth() const { return end_.count; }
    // Borrowed: the identity of the last 0xb0002 chunk, null before one.
    const KelID* chunkKey() const { return chunkKey_; }

private:
    friend bool readCString(KelCString& text, KelBinaryInput* stream);
    friend void kelDetachStringReader();
    static KelChunkReader& sharedStringReader();
    void attach(KelBinaryInput* stream);
    bool reject(int64_t start);
    bool readWholeIDChunk(KelID& id);
    uint64_t innermostEnd() const { return end_.data[end_.count]; }

    // Fields: part of the contract.
    KelStackArray<uint64_t> end_;  // end positions; entry 0 stays 0
    KelBinaryInput* bi_;
    uint32_t chunkId_ = 0;
    int32_t chunkVersion_ = 0;
    KelID* chunkKey_ = nullptr;
    bool good_ = true;
    bool ownsStream_ = false;
};

class KelChunkWriter {
public:
    // Empty stack, good, formatVersion copied from the stream. Writes nothing.
    // An owning writer closes (and, with deletesStream_, deletes) its stream
    // when it goes.
    KelChunkWriter(KelBinaryOutput* stream, bool ownsStream);
    // Ends every open chunk, the innermost first.
    ~KelChunkWriter();
    KelChunkWriter(const KelChunkWriter&) = delete;
    KelChunkWriter& operator=(const KelChunkWriter&) = delete;

    void beginChunk(unsigned id, int version);
    // Back-patches the innermost chunk's length and leaves it.
    void endChunk();
    KelBinaryOutput* stream();
    bool good() const;
    KelChunkWriter& writeCStringChunk(const KelCString& text);
    KelChunkWriter& writeIDChunk(const KelID& id);

    int depth() const { return start_.count; }

private:
    bool shortLengths() const { return formatVersion_ >= 1 && formatVersion_ <= 9; }
    uint64_t logicalPosition() const { return static_cast<uint64_t>(bo_->tell()) + bo_->fill; }

    // Fields: part of the contract.
    KelStackArray<uint64_t> start_;  // head positions; entry 0 stays 0
    KelBinaryOutput* bo_;
    bool deletesStream_ = false;
    bool good_ = true;
    bool ownsStream_;
    int32_t formatVersion_;
};

// The 16-byte form of an identity. readID changes `id` only when all of it
// arrived and gives stream->good() after the last field read.
bool readID(KelID& id, KelBinaryInput* stream);
void writeID(const KelID& id, KelBinaryOutput* stream);
// Reads one 0x10003 chunk into `text` (expected empty) through one
// process-wide reader, which stays bad for the same stream object after a
// failure. Gives stream->good(): a wrong id or a bad length shows only in an
// empty text.
bool readCString(KelCString& text, KelBinaryInput* stream);
// Makes the shared string reader forget its stream. The reader knows a stream
// only by its address, so a host that drops a stream calls this before a new
// stream can take the same address and inherit a failure that was not its own.
void kelDetachStringReader();
