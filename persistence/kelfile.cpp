// The chunk reader and writer, the identity form and the shared string reader.
#include "kel/kelfile.h"

#include <climits>
#include <cstring>

#include "core/kelassert.h"
#include "kel/kelbigendian.h"
#include "kel/qtxcstring.h"

// Identity chunks come by the million in a list: their reading and writing
// are compiled as one body each, without calls between head, fields and end.
#if defined(__GNUC__)
#define KEL_ONE_BODY __attribute__((flatten))
#else
#define KEL_ONE_BODY
#endif

namespace {

constexpr const char* kelfileName = ".\\kelfile";
constexpr uint64_t shortHeadSize = 8;
constexpr uint64_t longHeadSize = 12;

}  // namespace

// ---- reader ----

KelChunkReader::KelChunkReader(KelBinaryInput* stream) : end_(3), bi_(stream) {}

KelChunkReader::~KelChunkReader()
{
    delete chunkKey_;
}

bool KelChunkReader::reject(int64_t start)
{
    bi_->seek(start, true);
    good_ = false;
    return false;
}

bool KelChunkReader::readChunk()
{
    KEL_ASSERT(bi_, kelfileName);
    if (!bi_)
        return false;
    int64_t start = bi_->tell();
    // Head word and a 4-byte length in one read; the root chunk may still
    // widen lengths to 8 bytes, whose low half then follows.
    uint8_t bytes[shortHeadSize] = {};
    uint64_t got = bi_->readRaw(bytes, shortHeadSize);
    bool whole = got >= shortHeadSize || bi_->read8(bytes + got, shortHeadSize - got);
    uint32_t head = whole || got >= 4 ? kelLoadBE32(bytes) : 0;
    if ((head >> 8) == kelChunkRoot && bi_->width == 0)
        bi_->width = (head & 0xff) == 0 ? 32 : 64;
    uint64_t length = whole ? kelLoadBE32(bytes + 4) : 0;
    uint64_t headSize = shortHeadSize;
    if (bi_->width == 64) {
        uint32_t low = 0;
        whole = whole && bi_->read32(&low, 1);
        length = whole ? (length << 32 | low) : 0;
        headSize = longHeadSize;
    }
    chunkVersion_ = static_cast<int32_t>(head & 0xff);
    chunkId_ = head >> 8;

    uint64_t begin = static_cast<uint64_t>(start);
    uint64_t end = begin + length;
    if (!good_ || !bi_->good() || end < begin + headSize || end > bi_->size)
        return reject(start);
    if (chunkId_ == kelChunkKeyed) {
        if (!chunkKey_)
            chunkKey_ = new KelID();
        if (!readID(*chunkKey_, bi_))
            return reject(start);
    }
    end_.push(end);
    return true;
}

bool KelChunkReader::readChunk(unsigned id)
{
    if (!readChunk())
        return false;
    if (chunkId_ != id) {
        good_ = false;
        return false;
    }
    return true;
}

bool KelChunkReader::peekChunk(unsigned id, int* version)
{
    if (version)
        *version = -1;
    KEL_ASSERT(bi_, kelfileName);
    if (!bi_)
        return false;
    int64_t position = bi_->tell();
    uint32_t head = 0;
    bi_->read32(&head, 1);
    if (!good_ || !bi_->good())
        return false;
    bi_->seek(position, true);
    if ((head >> 8) != id)
        return false;
    if (version)
        *version = static_cast<int>(head & 0xff);
    return true;
}

bool KelChunkReader::atChunkEnd()
{
    if (!good_)
        return true;
    KEL_ASSERT(bi_, kelfileName);
    if (!bi_)
        return true;
    return bi_->tell() >= static_cast<int64_t>(innermostEnd());
}

void KelChunkReader::endChunk()
{
    if (end_.count < 1 && good_)
        qtxAssertFailed("end_.size() > 0 || !good_", kelfileName, __LINE__);
    if (end_.count == 0)
        return;
    if (good_ && bi_)
        bi_->seek(static_cast<int64_t>(innermostEnd()), true);
    end_.pop();
    if (good_)
        good_ = bi_ != nullptr && bi_->good();
}

int64_t KelChunkReader::bytesLeft()
{
    KEL_ASSERT(bi_, kelfileName);
    if (!bi_ || !good_)
        return 0;
    return static_cast<int64_t>(innermostEnd()) - bi_->tell();
}

KelBinaryInput* KelChunkReader::stream()
{
    KEL_ASSERT(bi_, kelfileName);
    return bi_;
}

bool KelChunkReader::good() const
{
    return good_ && bi_ && bi_->good();
}

// A sound identity chunk in one read. Taken only where the stream holds the
// whole head and identity, so the read cannot fall short and a conforming
// stream stays as it was; anything else (another id, a bad length, a key or
// root chunk) goes back to the head for the general road, which then reads
// exactly what it would have read.
bool KelChunkReader::readWholeIDChunk(KelID& id)
{
    if (!good_ || !bi_)
        return false;
    uint64_t headSize = bi_->width == 64 ? longHeadSize : shortHeadSize;
    int64_t start = bi_->tell();
    uint64_t begin = static_cast<uint64_t>(start);
    if (start < 0 || bi_->size < begin + headSize + 16)
        return false;
    uint8_t bytes[longHeadSize + 16];
    uint64_t got = bi_->readRaw(bytes, headSize + 16);
    uint32_t head = kelLoadBE32(bytes);
    uint64_t length = headSize == longHeadSize ? kelLoadBE64(bytes + 4) : kelLoadBE32(bytes + 4);
    uint64_t end = begin + length;
    if (got != headSize + 16 || !bi_->good() || (head >> 8) != kelChunkID || end < begin + headSize ||
        end > bi_->size) {
        bi_->seek(start, true);
        return false;
    }
    chunkId_ = kelChunkID;
    chunkVersion_ = static_cast<int32_t>(head & 0xff);
    const uint8_t* field = bytes + headSize;
    id.data1 = kelLoadBE32(field);
    id.data2 = kelLoadBE16(field + 4);
    id.data3 = kelLoadBE16(field + 6);
    std::memcpy(id.data4, field + 8, sizeof id.data4);
    bi_->seek(static_cast<int64_t>(end), true);
    good_ = bi_->good();
    return true;
}

KEL_ONE_BODY KelChunkReader& KelChunkReader::readIDChunk(KelID& id)
{
    if (readWholeIDChunk(id))
        return *this;
    // An opened chunk has just found the stream good, and a failed one left
    // good_ false, so the stream need not be asked again.
    bool opened = readChunk();
    if (opened && chunkId_ != kelChunkID)
        good_ = false;
    if (opened && good_)
        readID(id, bi_);
    endChunk();
    return *this;
}

void KelChunkReader::attach(KelBinaryInput* stream)
{
    delete chunkKey_;
    chunkKey_ = nullptr;
    end_.count = 0;
    bi_ = stream;
    good_ = true;
}

// ---- writer ----

KelChunkWriter::KelChunkWriter(KelBinaryOutput* stream, bool ownsStream)
    : start_(2), bo_(stream), ownsStream_(ownsStream), formatVersion_(stream ? stream->formatVersion : 0)
{
}

KelChunkWriter::~KelChunkWriter()
{
    while (bo_ && start_.count > 0)
        endChunk();
    if (ownsStream_ && bo_) {
        bo_->close();
        if (deletesStream_)
            delete bo_;
        bo_ = nullptr;
    }
}

void KelChunkWriter::beginChunk(unsigned id, int version)
{
    KEL_ASSERT(bo_, kelfileName);
    if (!bo_)
        return;
    uint64_t start = logicalPosition();
    uint32_t head = (static_cast<uint32_t>(id) << 8) | (static_cast<uint32_t>(version) & 0xff);
    bo_->write32(&head, 1);
    start_.push(start);
    if (shortLengths()) {
        uint32_t zero = 0;
        bo_->write32(&zero, 1);
    } else {
        uint64_t zero = 0;
        bo_->write64(&zero, 1);
    }
}

void KelChunkWriter::endChunk()
{
    KEL_ASSERT(bo_, kelfileName);
    if (start_.count < 1)
        qtxAssertFailed("start_.size() > 0", kelfileName, __LINE__);
    if (!bo_ || start_.count < 1)
        return;
    uint64_t now = logicalPosition();
    uint64_t start = start_.data[start_.count];
    uint64_t length = now - start;
    bo_->flush();
    bo_->seek(static_cast<int64_t>(start + 4), true);
    if (shortLengths()) {
        if (length > 0xFFFFFFFFu) {
            length = 0xFFFFFFFFu;
            good_ = false;
        }
        uint32_t shortLength = static_cast<uint32_t>(length);
        bo_->write32(&shortLength, 1);
    } else {
        bo_->write64(&length, 1);
    }
    bo_->flush();
    bo_->seek(static_cast<int64_t>(now), true);
    start_.pop();
}

KelBinaryOutput* KelChunkWriter::stream()
{
    KEL_ASSERT(bo_, kelfileName);
    return bo_;
}

bool KelChunkWriter::good() const
{
    return good_ && bo_ && bo_->good();
}

KelChunkWriter& KelChunkWriter::writeCStringChunk(const KelCString& text)
{
    beginChunk(kelChunkString, 0);
    if (!bo_)
        return *this;  // beginChunk has raised the assertion
    if (const char* chars = text.chars())
        bo_->writeRaw(chars, std::strlen(chars));
    endChunk();
    return *this;
}

KEL_ONE_BODY KelChunkWriter& KelChunkWriter::writeIDChunk(const KelID& id)
{
    beginChunk(kelChunkID, 0);
    if (!bo_)
        return *this;  // beginChunk has raised the assertion
    writeID(id, bo_);
    endChunk();
    return *this;
}

// ---- identities and strings on the bare stream ----

bool readID(KelID& id, KelBinaryInput* stream)
{
    // One read of all 16 bytes: a stream delivers a whole request unless it
    // ends, so this goes bad exactly where a read field by field would, at a
    // quarter of the calls. `id` changes only when every byte arrived.
    uint8_t bytes[16];
    uint64_t got = stream->readRaw(bytes, sizeof bytes);
    // A stream that delivers in pieces gets asked for the rest.
    bool whole = got >= sizeof bytes || stream->read8(bytes + got, sizeof bytes - got);
    if (!whole || !stream->good())
        return false;
    id.data1 = kelLoadBE32(bytes);
    id.data2 = kelLoadBE16(bytes + 4);
    id.data3 = kelLoadBE16(bytes + 6);
    std::memcpy(id.data4, bytes + 8, sizeof id.data4);
    return true;
}

void writeID(const KelID& id, KelBinaryOutput* stream)
{
    stream->write32(&id.data1, 1);
    if (!stream->good())
        return;
    // With the room of a typed write left, the other 12 bytes are stores into
    // the buffer that cannot reach the stream, so its state cannot change
    // between them and the checks after data2 and data3 would repeat this one.
    if (KelBinaryOutput::bufferSize - stream->fill >= KelBinaryOutput::typedRoom + 12) {
        uint8_t* out = stream->buffer + stream->fill;
        kelStoreBE16(out, id.data2);
        kelStoreBE16(out + 2, id.data3);
        std::memcpy(out + 4, id.data4, sizeof id.data4);
        stream->fill += 12;
        return;
    }
    stream->write16(&id.data2, 1);
    if (!stream->good())
        return;
    stream->write16(&id.data3, 1);
    if (!stream->good())
        return;
    for (const uint8_t& byte : id.data4)
        stream->write8(&byte, 1);
}

// One reader for every string read in the process, made on first use with no
// stream and not good; it remembers its stream and stays bad for it after a
// failure.
KelChunkReader& KelChunkReader::sharedStringReader()
{
    static KelChunkReader shared(nullptr);
    static bool made = false;
    if (!made) {
        made = true;
        shared.good_ = false;
    }
    return shared;
}

void kelDetachStringReader()
{
    KelChunkReader& shared = KelChunkReader::sharedStringReader();
    shared.attach(nullptr);
    shared.good_ = false;
}

bool readCString(KelCString& text, KelBinaryInput* stream)
{
    KelChunkReader& shared = KelChunkReader::sharedStringReader();
    if (shared.bi_ != stream)
        shared.attach(stream);

    if (shared.readChunk() && shared.chunkId_ != kelChunkString)
        shared.good_ = false;
    if (shared.good_ && stream->good()) {
        int64_t bytesLeft = shared.bytesLeft();
        if (bytesLeft < 0 || bytesLeft >= INT32_MAX) {
            shared.good_ = false;
        } else {
            // The string takes a copy of its own; an undelivered tail reads as
            // zeros rather than as whatever the block held. The block is a
            // guarded one: a length the heap cannot give ends in the orderly
            // stop, never in an exception out of a parameter's load.
            void* block = nullptr;
            qtxMalloc(&block, 1, static_cast<int>(bytesLeft) + 1);
            char* bytes = static_cast<char*>(block);
            uint64_t want = static_cast<uint64_t>(bytesLeft);
            uint64_t got = stream->readRaw(bytes, want);
            if (got > want)
                got = want;
            std::memset(bytes + got, 0, static_cast<size_t>(bytesLeft) + 1 - got);
            text.assign(bytes);
            kelHeapFree(block);
        }
    }
    shared.endChunk();
    return stream->good();
}
