// The chunk format: golden bytes, the writer's back-patch, the reader's
// acceptance rules, the root chunk's width, strings and identities.
#include "persistence/kelfile.h"

#include <gtest/gtest.h>

#include <climits>
#include <functional>

#include "host/kelmemorystream.h"
#include "tests/persistence/fakestreams.h"
#include "tests/support/testprovider.h"
#include "text/qtxcstring.h"

namespace {

const KelID typeIdOfKelIDPar(0xf79633b9, 0xa026, 0x451c, {0xb8, 0x9f, 0x2f, 0xf9, 0x17, 0xdc, 0xd0, 0xa0});
// data1, data2, data3 big-endian, then data4 as it stands
const Bytes idBytes = {0xf7, 0x96, 0x33, 0xb9, 0xa0, 0x26, 0x45, 0x1c, 0xb8, 0x9f, 0x2f, 0xf9, 0x17, 0xdc, 0xd0, 0xa0};

}  // namespace

TEST(ChunkWriter, WorkedExamplesInBothWidths)
{
    using Write = std::function<void(KelChunkWriter&, KelBinaryOutput&)>;
    KelCString abc("abc", kelBorrow);
    Bytes text = {0x61, 0x62, 0x63};
    Write writeAbc = [&](KelChunkWriter& w, KelBinaryOutput&) { w.writeCStringChunk(abc); };
    Write writeId = [](KelChunkWriter& w, KelBinaryOutput&) { w.writeIDChunk(typeIdOfKelIDPar); };
    struct Case {
        int32_t formatVersion;
        Write write;
        Bytes expected;
    };
    std::vector<Case> cases = {
        {1, writeAbc, concat({{1, 0, 3, 0}, be32(0x0b), text})},
        {0, writeAbc, concat({{1, 0, 3, 0}, be64(0x0f), text})},
        {1, writeId, concat({{1, 0, 8, 0}, be32(0x18), idBytes})},
        {0, writeId, concat({{1, 0, 8, 0}, be64(0x1c), idBytes})},
        {1, [&](KelChunkWriter& w, KelBinaryOutput&) {
             w.beginChunk(kelChunkRoot, 0);
             w.writeCStringChunk(abc);
             w.endChunk();
         }, concat({{0x51, 0x54, 0x58, 0}, be32(0x13), {1, 0, 3, 0}, be32(0x0b), text})},
        // left open at depth 3: the destructor closes every chunk
        {1, [](KelChunkWriter& w, KelBinaryOutput& out) {
             uint8_t ones[2] = {1, 1};
             w.beginChunk(1, 0);
             out.write8(ones, 1);
             w.beginChunk(2, 0);
             w.beginChunk(3, 0);
             out.write8(ones, 2);
         }, chunk(1, 0, 27, concat({{1}, chunk(2, 0, 18, chunk(3, 0, 10, {1, 1}))}))},
    };
    for (int32_t version : {1, 5, 9, 10, 0, -1, INT_MIN}) {  // formatVersion 1 to 9 gives 4-byte lengths
        bool wide = version < 1 || version > 9;
        cases.push_back({version, [](KelChunkWriter& w, KelBinaryOutput&) { w.beginChunk(0x42, 7); },
                         chunk(0x42, 7, wide ? 12 : 8, {}, wide)});
    }
    for (size_t i = 0; i < cases.size(); ++i) {
        SCOPED_TRACE("case " + std::to_string(i));
        KelMemoryOutput out(cases[i].formatVersion);
        {
            KelChunkWriter writer(&out, false);
            cases[i].write(writer, out);
        }
        EXPECT_EQ(out.bytes(), cases[i].expected);
    }
}

TEST(ChunkWriter, LengthIsPatchedWhenTheChunkEnds)
{
    KelMemoryOutput out(1);
    Bytes lead = {9, 9, 9, 9, 9}, tail = {1, 2, 3};
    out.writeRaw(lead.data(), lead.size());  // still buffered: it counts for the head position
    KelChunkWriter writer(&out, false);
    writer.beginChunk(7, 3);
    EXPECT_EQ(out.bytes(), concat({lead, chunk(7, 3, 0, {})}));  // open: the length field holds zero
    out.writeRaw(tail.data(), tail.size());
    writer.endChunk();
    EXPECT_EQ(out.bytes(), concat({lead, chunk(7, 3, 11, tail)}));
    EXPECT_EQ(writer.depth(), 0);
    EXPECT_EQ(out.tell() + int64_t(out.fill), 16);

    struct Case {
        int32_t formatVersion;
        uint64_t end;
        bool good;
        Bytes lengthField;
    };
    for (Case c : {Case{9, 0xFFFFFFFF, true, be32(0xFFFFFFFF)}, Case{9, 0x100000000, false, be32(0xFFFFFFFF)},
                   Case{0, 0x100000000, true, be64(0x100000000)}}) {
        RecordingOutput big(c.formatVersion);
        KelChunkWriter bigWriter(&big, false);
        bigWriter.beginChunk(5, 0);
        big.flush();
        big.seek(int64_t(c.end), true);  // as if the payload had been written
        bigWriter.endChunk();
        EXPECT_EQ(bigWriter.good(), c.good) << c.end;
        EXPECT_EQ(big.image(4, c.lengthField.size()), c.lengthField) << c.end;
        EXPECT_EQ(big.tell(), int64_t(c.end));
    }
}

TEST(ChunkReader, AcceptsOnlyEndsBetweenHeadAndStreamSize)
{
    struct Case {
        uint64_t length;
        bool wide, accepted;
    };
    for (Case c : {Case{12, false, true}, Case{8, false, true}, Case{13, false, false}, Case{7, false, false},
                   Case{0, false, false}, Case{16, true, true}, Case{12, true, true}, Case{17, true, false},
                   Case{11, true, false}, Case{~uint64_t(0), true, false}}) {
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
            EXPECT_TRUE(reader.atChunkEnd());
            EXPECT_EQ(reader.bytesLeft(), 0);
        }
    }
    Bytes cut = {0x00, 0x00, 0x77};  // the stream ends inside the head
    KelMemoryInput in(cut.data(), cut.size());
    KelChunkReader reader(&in);
    EXPECT_FALSE(reader.readChunk());
    EXPECT_EQ(reader.chunkId(), 0);
    EXPECT_EQ(in.tell(), 0);
}

TEST(ChunkReader, WrongIdAndKeyedChunks)
{
    Bytes wrong = chunk(7, 0, 12, {1, 2, 3, 4});
    KelMemoryInput in(wrong.data(), wrong.size());
    KelChunkReader reader(&in);
    EXPECT_FALSE(reader.readChunk(8));
    EXPECT_EQ(reader.depth(), 1);  // left open, so endChunk still pairs with it
    EXPECT_EQ(in.tell(), 8);
    reader.endChunk();
    EXPECT_EQ(reader.depth(), 0);
    EXPECT_EQ(in.tell(), 8);  // a bad reader does not move the stream

    // 0xb0002 consumes its identity on entry; one that does not arrive is a rejected head
    for (size_t idLength : {16, 10}) {
        bool whole = idLength == 16;
        Bytes payload = whole ? concat({idBytes, {5, 6}}) : Bytes(idBytes.begin(), idBytes.begin() + 10);
        Bytes keyed = chunk(kelChunkKeyed, 0, 8 + payload.size(), payload);
        KelMemoryInput keyedIn(keyed.data(), keyed.size());
        KelChunkReader keyedReader(&keyedIn);
        EXPECT_EQ(keyedReader.chunkKey(), nullptr);
        EXPECT_EQ(keyedReader.readChunk(), whole);
        if (whole) {
            ASSERT_NE(keyedReader.chunkKey(), nullptr);
            EXPECT_EQ(*keyedReader.chunkKey(), typeIdOfKelIDPar);
            EXPECT_EQ(keyedReader.bytesLeft(), 2);
        } else {
            EXPECT_EQ(keyedReader.depth(), 0);
            EXPECT_EQ(keyedIn.tell(), 0);
            EXPECT_FALSE(keyedReader.good());
        }
    }
}

TEST(ChunkReader, RootChunkSetsTheWidthOnce)
{
    struct Case {
        uint32_t presetWidth;
        uint8_t rootVersion;
        uint32_t widthAfter;
    };
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
        EXPECT_TRUE(reader.atChunkEnd());
        reader.endChunk();
        EXPECT_TRUE(reader.good());
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
    EXPECT_EQ(version, -1);
    EXPECT_EQ(in.tell(), 10);
}

TEST(ChunkReader, EndChunkJumpsToTheChunkEnd)
{
    // parent (len 32) = child A (len 16, 8 payload bytes) + child B (len 8),
    // then C, which claims 8 bytes behind the parent
    Bytes a = chunk(0xa, 0, 16, pattern(8)), b = chunk(0xb, 0, 8, {});
    Bytes bytes = concat({chunk(0x1, 0, 40, concat({a, b})), chunk(0xc, 0, 16, {}), Bytes(8, 0)});
    KelMemoryInput in(bytes.data(), bytes.size());
    KelChunkReader reader(&in);
    EXPECT_TRUE(reader.atChunkEnd());  // depth 0
    ASSERT_TRUE(reader.readChunk(0x1));
    ASSERT_TRUE(reader.readChunk(0xa));
    uint8_t first = 0;
    in.read8(&first, 1);
    EXPECT_EQ(reader.bytesLeft(), 7);
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

TEST(ChunkReader, EndChunkAtDepthZeroAssertsOnlyWhileGood)
{
    TestServiceProvider provider;
    provider.allowDestroy = false;
    AssertRecorder recorder;
    provider.add("IKelAssertHandlerCB", &recorder);
    Bytes bytes = chunk(1, 0, 8, {});
    KelMemoryInput in(bytes.data(), bytes.size());
    KelChunkReader reader(&in);
    reader.endChunk();
    EXPECT_EQ(recorder.expressions, std::vector<std::string>{"end_.size() > 0 || !good_ @ .\\kelfile"});
    EXPECT_EQ(in.tell(), 0);
    EXPECT_FALSE(reader.readChunk(2));  // now bad, with the chunk open
    reader.endChunk();
    reader.endChunk();
    EXPECT_EQ(recorder.expressions.size(), 1u);
}

TEST(ChunkStrings, SharedReaderReadsStringsAndRemembersFailure)
{
    kelDetachStringReader();
    Bytes good = concat({chunk(kelChunkString, 0, 11, {'a', 'b', 'c'}), chunk(kelChunkString, 0, 8, {})});
    KelMemoryInput in(good.data(), good.size());
    KelCString text, empty;
    EXPECT_TRUE(readCString(text, &in));
    EXPECT_TRUE(text.equals("abc"));
    EXPECT_TRUE(readCString(empty, &in));
    ASSERT_NE(empty.chars(), nullptr);  // an empty string with a buffer, not a null one
    EXPECT_TRUE(empty.equals(""));

    // a wrong id: the result is the stream's state, the text stays null
    Bytes bad = concat({chunk(kelChunkID, 0, 8, {}), chunk(kelChunkString, 0, 9, {'x'})});
    KelMemoryInput badIn(bad.data(), bad.size());
    KelCString none;
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
    KelID id;
    KelMemoryInput in(idBytes.data(), idBytes.size());
    EXPECT_TRUE(readID(id, &in));
    EXPECT_EQ(id, typeIdOfKelIDPar);
    for (size_t cut : {0, 3, 4, 7, 15}) {  // nothing changes unless all 16 bytes arrive
        KelID untouched(1, 2, 3, {4, 4, 4, 4, 4, 4, 4, 4}), before = untouched;
        KelMemoryInput shortIn(idBytes.data(), cut);
        EXPECT_FALSE(readID(untouched, &shortIn)) << cut;
        EXPECT_EQ(untouched, before) << cut;
    }
    Bytes wrapped = chunk(kelChunkString, 0, 24, idBytes);  // an identity needs 0x10008
    KelMemoryInput wrongIn(wrapped.data(), wrapped.size());
    KelChunkReader reader(&wrongIn);
    KelID target;
    EXPECT_FALSE(reader.readIDChunk(target).good());
    EXPECT_EQ(target, KelID());
    EXPECT_EQ(reader.depth(), 0);
}
