// The chunk format: golden bytes, the writer's back-patch, the reader's
// acceptance rules, the root chunk's width, strings and identities.
#include "kel/kelfile.h"

#include <gtest/gtest.h>

#include <climits>

#include "host/kelmemorystream.h"
#include "kel/qtxcstring.h"
#include "tests/persistence/fakestreams.h"
#include "tests/support/testprovider.h"

namespace {

const KelID typeIdOfKelIDPar(0xf79633b9, 0xa026, 0x451c, {0xb8, 0x9f, 0x2f, 0xf9, 0x17, 0xdc, 0xd0, 0xa0});
// data1, data2, data3 big-endian, then data4 as it stands
const Bytes idBytes = {0xf7, 0x96, 0x33, 0xb9, 0xa0, 0x26, 0x45, 0x1c, 0xb8, 0x9f, 0x2f, 0xf9, 0x17, 0xdc, 0xd0, 0xa0};

// What `write` leaves in a memory stream once the writer is gone.
template <class Write>
Bytes written(int32_t formatVersion, Write write)
{
    KelMemoryOutput out(formatVersion);
    {
        KelChunkWriter writer(&out, false);
        write(writer, out);
    }
    return out.bytes();
}

}  // namespace

TEST(ChunkWriter, WorkedExamplesInBothWidths)
{
    Bytes abc = {0x61, 0x62, 0x63};
    auto writeAbc = [](KelChunkWriter& w, KelBinaryOutput&) { w.writeCStringChunk(KelCString("abc", kelBorrow)); };
    auto writeId = [](KelChunkWriter& w, KelBinaryOutput&) { w.writeIDChunk(typeIdOfKelIDPar); };
    EXPECT_EQ(written(1, writeAbc), concat({{1, 0, 3, 0}, be32(0x0b), abc}));
    EXPECT_EQ(written(0, writeAbc), concat({{1, 0, 3, 0}, be64(0x0f), abc}));
    EXPECT_EQ(written(1, writeId), concat({{1, 0, 8, 0}, be32(0x18), idBytes}));
    EXPECT_EQ(written(0, writeId), concat({{1, 0, 8, 0}, be64(0x1c), idBytes}));
    EXPECT_EQ(written(1, [&](KelChunkWriter& w, KelBinaryOutput& out) {
                  w.beginChunk(kelChunkRoot, 0);
                  writeAbc(w, out);
              }), concat({{0x51, 0x54, 0x58, 0}, be32(0x13), {1, 0, 3, 0}, be32(0x0b), abc}));
    // a lead byte still in the buffer counts for the head position; left
    // open at depth 3, the chunks are closed by the destructor
    EXPECT_EQ(written(1, [](KelChunkWriter& w, KelBinaryOutput& out) {
                  uint8_t ones[2] = {1, 1};
                  out.write8(ones, 1);
                  w.beginChunk(1, 0);
                  out.write8(ones, 1);
                  w.beginChunk(2, 0);
                  w.beginChunk(3, 0);
                  out.write8(ones, 2);
              }), concat({{1}, chunk(1, 0, 27, concat({{1}, chunk(2, 0, 18, chunk(3, 0, 10, {1, 1}))}))}));
    for (int32_t version : {1, 5, 9, 10, 0, -1, INT_MIN}) {  // formatVersion 1 to 9 gives 4-byte lengths
        bool wide = version < 1 || version > 9;
        EXPECT_EQ(written(version, [](KelChunkWriter& w, KelBinaryOutput&) { w.beginChunk(0x42, 7); }),
                  chunk(0x42, 7, wide ? 12 : 8, {}, wide)) << version;
    }
}

TEST(ChunkWriter, LengthsBeyond32BitsNeedTheWideForm)
{
    struct Case { int32_t formatVersion; uint64_t end; bool good; Bytes lengthField; };
    for (Case c : {Case{9, 0xFFFFFFFF, true, be32(0xFFFFFFFF)}, Case{9, 0x100000000, false, be32(0xFFFFFFFF)},
                   Case{0, 0x100000000, true, be64(0x100000000)}}) {
        RecordingOutput out(c.formatVersion);
        KelChunkWriter writer(&out, false);
        writer.beginChunk(5, 0);
        out.flush();
        out.seek(int64_t(c.end), true);  // as if the payload had been written
        writer.endChunk();
        EXPECT_EQ(writer.good(), c.good) << c.end;
        EXPECT_EQ(out.blocks.back().position, 4);  // the patch, written last
        EXPECT_EQ(out.blocks.back().bytes, c.lengthField) << c.end;
        EXPECT_EQ(out.tell(), int64_t(c.end));
    }
}

TEST(ChunkReader, AcceptsOnlyEndsBetweenHeadAndStreamSize)
{
    struct Case { uint64_t length; bool wide, accepted; };
    for (Case c : {Case{12, false, true}, Case{8, false, true}, Case{13, false, false}, Case{7, false, false},
                   Case{16, true, true}, Case{17, true, false}, Case{11, true, false}, Case{~uint64_t(0), true, false}}) {
        SCOPED_TRACE(std::to_string(c.length) + (c.wide ? " wide" : ""));
        Bytes bytes = chunk(0x77, 1, c.length, {1, 2, 3, 4}, c.wide);
        KelMemoryInput in(bytes.data(), bytes.size(), c.wide ? 64 : 0);
        KelChunkReader reader(&in);
        EXPECT_EQ(reader.readChunk(), c.accepted);
        EXPECT_EQ(reader.chunkId() * 256 + reader.chunkVersion(), 0x7701);
        EXPECT_EQ(reader.depth(), c.accepted ? 1 : 0);
        EXPECT_EQ(in.tell(), c.accepted ? (c.wide ? 12 : 8) : 0);
        if (!c.accepted) {  // the failure is sticky, even for a sound head
            EXPECT_FALSE(reader.readChunk());
            EXPECT_EQ(reader.bytesLeft(), 0);
        }
    }
}

TEST(ChunkReader, WrongIdLeavesTheChunkOpenAndTheStreamStill)
{
    TestServiceProvider provider;
    provider.allowDestroy = false;
    AssertRecorder recorder;
    provider.add("IKelAssertHandlerCB", &recorder);
    Bytes bytes = chunk(7, 0, 12, {1, 2, 3, 4});
    KelMemoryInput in(bytes.data(), bytes.size());
    KelChunkReader reader(&in);
    reader.endChunk();  // nothing open while good: a caller's mistake
    EXPECT_EQ(recorder.expressions, std::vector<std::string>{"end_.size() > 0 || !good_ @ .\\kelfile"});
    EXPECT_FALSE(reader.readChunk(8));
    EXPECT_EQ(reader.depth(), 1);  // so endChunk still pairs with it
    EXPECT_EQ(in.tell(), 8);
    reader.endChunk();
    reader.endChunk();  // bad: neither an assertion nor a move
    EXPECT_EQ(reader.depth(), 0);
    EXPECT_EQ(in.tell(), 8);
    EXPECT_EQ(recorder.expressions.size(), 1u);
}

TEST(ChunkReader, KeyedChunkTakesItsIdentityOnEntry)
{
    for (bool whole : {true, false}) {  // an identity that does not arrive is a rejected head
        Bytes payload = whole ? concat({idBytes, {5, 6}}) : Bytes(idBytes.begin(), idBytes.begin() + 10);
        Bytes bytes = chunk(kelChunkKeyed, 0, 8 + payload.size(), payload);
        KelMemoryInput in(bytes.data(), bytes.size());
        KelChunkReader reader(&in);
        EXPECT_EQ(reader.readChunk(), whole);
        EXPECT_EQ(reader.bytesLeft(), whole ? 2 : 0);
        EXPECT_EQ(in.tell(), whole ? 24 : 0);
        EXPECT_TRUE(!whole || (reader.chunkKey() && *reader.chunkKey() == typeIdOfKelIDPar));
    }
}

TEST(ChunkReader, RootChunkSetsTheWidthOnce)
{
    struct Case { uint32_t presetWidth; uint8_t rootVersion; uint32_t widthAfter; };
    for (Case c : {Case{0, 0, 32}, Case{0, 1, 64}, Case{0, 255, 64}, Case{64, 0, 64}, Case{32, 1, 32}}) {
        SCOPED_TRACE(std::to_string(c.presetWidth) + "/" + std::to_string(c.rootVersion));
        bool wide = c.widthAfter == 64;
        Bytes bytes = chunk(kelChunkRoot, c.rootVersion, wide ? 24 : 16, chunk(9, 0, wide ? 12 : 8, {}, wide), wide);
        KelMemoryInput in(bytes.data(), bytes.size(), c.presetWidth);
        KelChunkReader reader(&in);
        EXPECT_TRUE(reader.readChunk(kelChunkRoot));
        EXPECT_EQ(in.width, c.widthAfter);
        EXPECT_TRUE(reader.readChunk(9));
        reader.endChunk();
        reader.endChunk();
        EXPECT_EQ(in.tell(), int64_t(bytes.size()));
    }
    Bytes wide = chunk(9, 0, 12, {}, true);  // read with 4-byte lengths: the upper half is a length of 0
    KelMemoryInput in(wide.data(), wide.size());
    EXPECT_FALSE(KelChunkReader(&in).readChunk());
    EXPECT_EQ(in.width, 0u);
}

TEST(ChunkReader, PeekLooksWithoutMoving)
{
    Bytes bytes = concat({chunk(0x123456, 4, 8, {}), {0xaa, 0xbb}});
    KelMemoryInput in(bytes.data(), bytes.size());
    KelChunkReader reader(&in);
    int version = 99;
    EXPECT_TRUE(reader.peekChunk(0x123456, &version));
    EXPECT_EQ(version, 4);
    EXPECT_FALSE(reader.peekChunk(0x123457, &version));
    EXPECT_EQ(version, -1);
    EXPECT_TRUE(reader.peekChunk(0x123456, nullptr));
    EXPECT_EQ(in.tell(), 0);
    EXPECT_EQ(reader.chunkId(), 0);  // peeking sets no field
    ASSERT_TRUE(reader.readChunk());
    reader.endChunk();
    EXPECT_FALSE(reader.peekChunk(0xaabb, &version));  // two bytes left: the failed read is not undone
    EXPECT_EQ(in.tell(), 10);
}

TEST(ChunkReader, EndChunkJumpsToTheChunkEnd)
{
    // parent (len 40) = A (len 16) + B (len 8) + C (len 16), which reaches 8 bytes behind the parent
    Bytes bytes = concat({chunk(1, 0, 40, concat({chunk(0xa, 0, 16, pattern(8)), chunk(0xb, 0, 8, {})})),
                          chunk(0xc, 0, 16, {}), Bytes(8, 0)});
    KelMemoryInput in(bytes.data(), bytes.size());
    KelChunkReader reader(&in);
    EXPECT_TRUE(reader.atChunkEnd());  // depth 0
    ASSERT_TRUE(reader.readChunk(1) && reader.readChunk(0xa));
    reader.endChunk();
    EXPECT_EQ(in.tell(), 24);
    ASSERT_TRUE(reader.readChunk(0xb));
    EXPECT_TRUE(reader.atChunkEnd());  // empty payload
    reader.endChunk();
    EXPECT_FALSE(reader.atChunkEnd());  // 8 bytes of the parent remain
    ASSERT_TRUE(reader.readChunk(0xc));  // reaches past the parent, inside the stream
    reader.endChunk();
    EXPECT_EQ(in.tell(), 48);
    EXPECT_TRUE(reader.atChunkEnd());
    reader.endChunk();  // backwards, to the parent's end
    EXPECT_EQ(in.tell(), 40);
    EXPECT_TRUE(reader.good());
}

TEST(ChunkStrings, SharedReaderReadsStringsAndRemembersFailure)
{
    kelDetachStringReader();
    Bytes good = concat({chunk(kelChunkString, 0, 11, {'a', 'b', 'c'}), chunk(kelChunkString, 0, 8, {})});
    KelMemoryInput in(good.data(), good.size());
    KelCString text, empty, none;
    EXPECT_TRUE(readCString(text, &in));
    EXPECT_TRUE(text.equals("abc"));
    EXPECT_TRUE(readCString(empty, &in));
    EXPECT_TRUE(empty.equals(""));  // an empty string with a buffer, not a null one

    // a wrong id: the result is the stream's state, the text stays null
    Bytes bad = concat({chunk(kelChunkID, 0, 8, {}), chunk(kelChunkString, 0, 9, {'x'})});
    KelMemoryInput badIn(bad.data(), bad.size());
    for (int i = 0; i < 2; ++i) {  // same stream: the reader stays bad
        EXPECT_TRUE(readCString(none, &badIn));
        EXPECT_EQ(none.chars(), nullptr);
        EXPECT_EQ(badIn.tell(), 8);
    }
    KelMemoryInput other(bad.data() + 8, 9);  // another stream attaches afresh
    EXPECT_TRUE(readCString(none, &other));
    EXPECT_TRUE(none.equals("x"));
    kelDetachStringReader();
}

TEST(ChunkStrings, IdentitiesOnTheBareStream)
{
    KelMemoryOutput out(1);
    writeID(typeIdOfKelIDPar, &out);
    EXPECT_EQ(out.bytes(), idBytes);
    for (size_t cut : {0, 3, 4, 7, 15, 16}) {  // nothing changes unless all 16 bytes arrive
        KelID id(1, 2, 3, {4, 4, 4, 4, 4, 4, 4, 4}), before = id;
        KelMemoryInput in(idBytes.data(), cut);
        EXPECT_EQ(readID(id, &in), cut == 16) << cut;
        EXPECT_EQ(id, cut == 16 ? typeIdOfKelIDPar : before) << cut;
    }
    Bytes wrapped = chunk(kelChunkString, 0, 24, idBytes);  // an identity needs 0x10008
    KelMemoryInput wrongIn(wrapped.data(), wrapped.size());
    KelChunkReader reader(&wrongIn);
    KelID target;
    EXPECT_FALSE(reader.readIDChunk(target).good());
    EXPECT_EQ(target, KelID());
    EXPECT_EQ(reader.depth(), 0);
    ScriptedInput pieces(chunk(kelChunkID, 0, 24, idBytes), 5);  // a read falling short fails the chunk
    KelChunkReader piecesReader(&pieces);
    EXPECT_FALSE(piecesReader.readIDChunk(target).good());
    EXPECT_EQ(target, KelID());
}
