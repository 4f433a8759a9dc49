// Trees of chunks written and read back through the host's memory and file
// streams, with payloads that sweep across the 1024-byte buffer, and cut short.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <string>

#include "host/kelfilestream.h"
#include "host/kelmemorystream.h"
#include "kel/kelfile.h"
#include "kel/qtxcstring.h"
#include "tests/persistence/fakestreams.h"
#include "tests/support/testprovider.h"

namespace {

const std::vector<size_t> payloadSizes = {0, 1, 7, 255, 256, 1015, 1016, 1023, 1024, 1025, 3000};

KelID identityFor(size_t n)
{
    return KelID(uint32_t(n * 2654435761u), uint16_t(n), uint16_t(~n), {1, 2, 3, 4, 5, 6, 7, uint8_t(n)});
}

// Under a root chunk (version 0 for 4-byte lengths, 1 for 8-byte ones), per
// size a chunk with a raw payload followed by a nested string and identity.
void writeTree(KelBinaryOutput& out, bool shortLengths)
{
    KelChunkWriter writer(&out, false);
    writer.beginChunk(kelChunkRoot, shortLengths ? 0 : 1);
    for (size_t size : payloadSizes) {
        writer.beginChunk(0x200000 + uint32_t(size), int(size % 256));
        out.writeRaw(pattern(size).data(), size);
        writer.writeCStringChunk(KelCString(std::string(size % 50, 'k').c_str()));
        writer.writeIDChunk(identityFor(size));
        writer.endChunk();
    }
    writer.endChunk();
    EXPECT_TRUE(writer.good());
}

void readTree(KelBinaryInput& in, bool shortLengths)
{
    kelDetachStringReader();
    KelChunkReader reader(&in);
    ASSERT_TRUE(reader.readChunk(kelChunkRoot));
    uint64_t head = shortLengths ? 8 : 12;
    for (size_t size : payloadSizes) {
        ASSERT_TRUE(reader.readChunk(0x200000 + uint32_t(size))) << size;
        EXPECT_EQ(reader.chunkVersion(), int(size % 256));
        EXPECT_EQ(reader.bytesLeft(), int64_t(size + head + size % 50 + head + 16));
        Bytes payload(size);
        EXPECT_EQ(in.readRaw(payload.data(), size), size);
        EXPECT_EQ(payload, pattern(size)) << size;
        KelCString text;
        EXPECT_TRUE(readCString(text, &in));
        EXPECT_EQ(text.length(), int32_t(size % 50));
        KelID id;
        reader.readIDChunk(id);
        EXPECT_EQ(id, identityFor(size));
        EXPECT_TRUE(reader.atChunkEnd());
        reader.endChunk();
    }
    reader.endChunk();
    EXPECT_TRUE(reader.good());
    EXPECT_EQ(in.tell(), int64_t(in.size));
}

}  // namespace

TEST(ChunkRoundTrip, MemoryAndFileStreamsAgreeInBothWidths)
{
    TempDir dir;
    for (int32_t formatVersion : {1, 0}) {
        SCOPED_TRACE("formatVersion " + std::to_string(formatVersion));
        bool shortLengths = formatVersion == 1;
        KelMemoryOutput memory(formatVersion);
        writeTree(memory, shortLengths);
        Bytes bytes = memory.bytes();
        std::string path = dir.file("tree" + std::to_string(formatVersion) + ".bin");
        {
            KelFileOutput file(path, formatVersion);
            writeTree(file, shortLengths);
            file.close();
            EXPECT_TRUE(file.good());
        }
        std::ifstream check(path, std::ios::binary);
        EXPECT_EQ(Bytes((std::istreambuf_iterator<char>(check)), std::istreambuf_iterator<char>()), bytes);

        KelMemoryInput memoryIn(bytes.data(), bytes.size());
        readTree(memoryIn, shortLengths);
        KelFileInput fileIn(path);
        readTree(fileIn, shortLengths);
    }
}

TEST(ChunkRoundTrip, CutStreamKeepsTheWholeChunksBeforeTheCut)
{
    Bytes bytes;  // top-level chunks without a root, so the cut meets them one by one
    std::vector<size_t> ends = {0};
    for (size_t size : payloadSizes) {
        bytes = concat({bytes, chunk(0x300, 0, 8 + size, pattern(size))});
        ends.push_back(bytes.size());
    }
    for (size_t cut = 0; cut <= bytes.size(); cut += 7) {
        KelMemoryInput in(bytes.data(), cut);
        KelChunkReader reader(&in);
        size_t whole = 0;
        for (; reader.readChunk(0x300); ++whole)
            reader.endChunk();
        EXPECT_FALSE(reader.good());
        // every whole chunk before the cut was read, and nothing more
        EXPECT_EQ(whole, size_t(std::upper_bound(ends.begin(), ends.end(), cut) - ends.begin() - 1)) << cut;
        EXPECT_EQ(size_t(in.tell()), ends[whole]) << "cut at " << cut;
    }
}
