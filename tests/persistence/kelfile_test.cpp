// The chunk format: golden bytes, the writer's back-patch, the reader's
// acceptance rules, the root chunk's width, strings and identities.
#include "persistence/kelfile.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <vector>

#include "component/hostservices.h"
#include "host/kelmemorystream.h"
#include "tests/persistence/fakestreams.h"
#include "tests/support/testprovider.h"
#include "text/qtxcstring.h"

namespace {

using Bytes = std::vector<uint8_t>;

const KelID typeIdOfKelIDPar(0xf79633b9, 0xa026, 0x451c, {0xb8, 0x9f, 0x2f, 0xf9, 0x17, 0xdc, 0xd0, 0xa0});

Bytes concat(std::initializer_list<Bytes> parts)
{
    Bytes out;
    for (const Bytes& part : parts)
        out.insert(out.end(), part.begin(), part.end());
    return out;
}

Bytes be32(uint32_t v)
{
    return {uint8_t(v >> 24), uint8_t(v >> 16), uint8_t(v >> 8), uint8_t(v)};
}

Bytes be64(uint64_t v)
{
    return concat({be32(uint32_t(v >> 32)), be32(uint32_t(v))});
}

// A chunk as raw bytes, with an explicit (possibly wrong) length.
Bytes chunk(uint32_t id, uint8_t version, uint64_t length, const Bytes& payload, bool wide = false)
{
    return concat({be32((id << 8) | version), wide ? be64(length) : be32(uint32_t(length)), payload});
}

class AssertRecorder : public IKelAssertHandlerCB {
public:
    int handleAssert(const char* expression, const char* file, int) override
    {
        expressions.push_back(expression);
        files.push_back(file);
        return 0;
    }
    void queryInterface(const char* name, void* out, bool) override
    {
        void** result = static_cast<void**>(out);
        *result = nullptr;
        if (kelSameName(name, "IKelAssertHandlerCB"))
            *result = static_cast<IKelAssertHandlerCB*>(this);
        else if (kelSameName(name, "IKelUnknown"))
            *result = static_cast<IKelUnknown*>(this);
    }
    const char* className() override { return "AssertRecorder"; }
    std::vector<std::string> expressions, files;
};

}  // namespace

TEST(ChunkFormat, WorkedExamplesInBothWidths)
{
    KelCString abc("abc", kelBorrow);
    {
        KelMemoryOutput out(1);
        KelChunkWriter(&out, false).writeCStringChunk(abc);
        EXPECT_EQ(out.bytes(), (Bytes{1, 0, 3, 0, 0, 0, 0, 0x0b, 0x61, 0x62, 0x63}));
    }
    {
        KelMemoryOutput out(0);
        KelChunkWriter(&out, false).writeCStringChunk(abc);
        EXPECT_EQ(out.bytes(), (Bytes{1, 0, 3, 0, 0, 0, 0, 0, 0, 0, 0, 0x0f, 0x61, 0x62, 0x63}));
    }
    {  // a root chunk around it: 8 + 11 = 0x13
        KelMemoryOutput out(1);
        KelChunkWriter writer(&out, false);
        writer.beginChunk(kelChunkRoot, 0);
        writer.writeCStringChunk(abc);
        writer.endChunk();
        EXPECT_EQ(out.bytes(), concat({{0x51, 0x54, 0x58, 0}, be32(0x13), {1, 0, 3, 0}, be32(0x0b), {0x61, 0x62, 0x63}}));
    }
    {  // an identity: data1, data2, data3 big-endian, then data4 as it stands
        KelMemoryOutput out(1);
        KelChunkWriter(&out, false).writeIDChunk(typeIdOfKelIDPar);
        EXPECT_EQ(out.bytes(), concat({{1, 0, 8, 0}, be32(0x18), {0xf7, 0x96, 0x33, 0xb9, 0xa0, 0x26, 0x45, 0x1c, 0xb8,
                                                                  0x9f, 0x2f, 0xf9, 0x17, 0xdc, 0xd0, 0xa0}}));
    }
}

TEST(ChunkWriter, FormatVersionChoosesLengthWidth)
{
    struct Case {
        int32_t formatVersion;
        size_t emptyChunkSize;
    };
    for (Case c : {Case{1, 8}, Case{5, 8}, Case{9, 8}, Case{10, 12}, Case{0, 12}, Case{-1, 12}, Case{INT_MIN, 12}}) {
        KelMemoryOutput out(c.formatVersion);
        KelChunkWriter(&out, false).beginChunk(0x42, 7);  // closed by the destructor
        Bytes expected = c.emptyChunkSize == 8 ? chunk(0x42, 7, 8, {}) : chunk(0x42, 7, 12, {}, true);
        EXPECT_EQ(out.bytes(), expected) << "formatVersion " << c.formatVersion;
    }
}

TEST(ChunkWriter, LengthIsPatchedWhenTheChunkEnds)
{
    {  // open: the length field holds zero; buffered bytes count for the head position
        KelMemoryOutput out(1);
        Bytes lead = {9, 9, 9, 9, 9};
        out.writeRaw(lead.data(), lead.size());
        KelChunkWriter writer(&out, false);
        writer.beginChunk(7, 3);
        out.flush();
        Bytes open = out.bytes();
        EXPECT_EQ(Bytes(open.begin() + 5, open.end()), chunk(7, 3, 0, {}));
        Bytes tail = {1, 2, 3};
        out.writeRaw(tail.data(), tail.size());
        writer.endChunk();
        EXPECT_EQ(out.bytes(), concat({lead, chunk(7, 3, 11, tail)}));
        EXPECT_EQ(writer.depth(), 0);
        EXPECT_EQ(out.tell() + int64_t(out.fill), 16);
    }
    {  // a writer left at depth 3 closes its chunks innermost first
        RecordingOutput out(1);
        {
            KelChunkWriter writer(&out, false);
            uint8_t byte = 1;
            writer.beginChunk(1, 0);
            out.write8(&byte, 1);
            writer.beginChunk(2, 0);
            writer.beginChunk(3, 0);
            out.write8(&byte, 1);
            out.write8(&byte, 1);
        }
        std::vector<std::pair<int64_t, Bytes>> patches;
        for (const auto& block : out.blocks)
            if (block.bytes.size() == 4)
                patches.push_back({block.position, block.bytes});
        ASSERT_EQ(patches.size(), 3u);
        EXPECT_EQ(patches[0], std::make_pair(int64_t(21), be32(10)));
        EXPECT_EQ(patches[1], std::make_pair(int64_t(13), be32(18)));
        EXPECT_EQ(patches[2], std::make_pair(int64_t(4), be32(27)));
    }
}

TEST(ChunkWriter, LengthBeyond32BitsMakesTheWriterBad)
{
    for (uint64_t length : {uint64_t(0xFFFFFFFF), uint64_t(0x100000000)}) {
        RecordingOutput out(9);
        KelChunkWriter writer(&out, false);
        writer.beginChunk(5, 0);
        out.flush();
        out.seek(int64_t(length), true);  // as if the payload had been written
        writer.endChunk();
        EXPECT_EQ(writer.good(), length == 0xFFFFFFFF) << length;
        auto image = out.image();
        EXPECT_EQ((Bytes{image[4], image[5], image[6], image[7]}), be32(0xFFFFFFFF)) << length;
        EXPECT_EQ(out.tell(), int64_t(length));
    }
    RecordingOutput wide(0);
    KelChunkWriter writer(&wide, false);
    writer.beginChunk(5, 0);
    wide.flush();
    wide.seek(int64_t(0x100000000), true);
    writer.endChunk();
    EXPECT_TRUE(writer.good());
    auto image = wide.image();
    EXPECT_EQ((Bytes{image[4], image[5], image[6], image[7], image[8], image[9], image[10], image[11]}),
              be64(0x100000000));
}

TEST(ChunkReader, AcceptsOnlyEndsBetweenHeadAndStreamSize)
{
    struct Case {
        uint64_t length;
        bool wide;
        bool accepted;
    };
    Bytes payload = {1, 2, 3, 4};
    for (Case c : {Case{12, false, true}, Case{8, false, true}, Case{13, false, false}, Case{7, false, false},
                   Case{0, false, false}, Case{16, true, true}, Case{12, true, true}, Case{17, true, false},
                   Case{11, true, false}, Case{~uint64_t(0), true, false}}) {
        Bytes bytes = chunk(0x77, 1, c.length, payload, c.wide);
        KelMemoryInput in(bytes.data(), bytes.size(), c.wide ? 64 : 0);
        KelChunkReader reader(&in);
        EXPECT_EQ(reader.readChunk(), c.accepted) << c.length;
        EXPECT_EQ(reader.good(), c.accepted);
        EXPECT_EQ(reader.chunkId(), 0x77);
        EXPECT_EQ(reader.chunkVersion(), 1);
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
    Bytes id16 = {0xf7, 0x96, 0x33, 0xb9, 0xa0, 0x26, 0x45, 0x1c, 0xb8, 0x9f, 0x2f, 0xf9, 0x17, 0xdc, 0xd0, 0xa0};
    {  // a wrong id leaves the chunk open, so endChunk still pairs with it
        Bytes bytes = chunk(7, 0, 12, {1, 2, 3, 4});
        KelMemoryInput in(bytes.data(), bytes.size());
        KelChunkReader reader(&in);
        EXPECT_FALSE(reader.readChunk(8));
        EXPECT_EQ(reader.depth(), 1);
        EXPECT_EQ(in.tell(), 8);
        reader.endChunk();
        EXPECT_EQ(reader.depth(), 0);
        EXPECT_EQ(in.tell(), 8);  // a bad reader does not move the stream
    }
    {  // 0xb0002 consumes its identity on entry
        Bytes bytes = chunk(kelChunkKeyed, 0, 26, concat({id16, {5, 6}}));
        KelMemoryInput in(bytes.data(), bytes.size());
        KelChunkReader reader(&in);
        EXPECT_EQ(reader.chunkKey(), nullptr);
        ASSERT_TRUE(reader.readChunk());
        ASSERT_NE(reader.chunkKey(), nullptr);
        EXPECT_EQ(*reader.chunkKey(), typeIdOfKelIDPar);
        EXPECT_EQ(reader.bytesLeft(), 2);
    }
    {  // an identity that does not arrive is a rejected head
        Bytes bytes = chunk(kelChunkKeyed, 0, 18, Bytes(id16.begin(), id16.begin() + 10));
        KelMemoryInput in(bytes.data(), bytes.size());
        KelChunkReader reader(&in);
        EXPECT_FALSE(reader.readChunk());
        EXPECT_EQ(reader.depth(), 0);
        EXPECT_EQ(in.tell(), 0);
        EXPECT_FALSE(reader.good());
    }
}

TEST(ChunkReader, RootChunkSetsTheWidthOnce)
{
    Bytes inner32 = chunk(9, 0, 8, {});
    Bytes inner64 = chunk(9, 0, 12, {}, true);
    struct Case {
        uint32_t presetWidth;
        uint8_t rootVersion;
        uint32_t widthAfter;
    };
    for (Case c : {Case{0, 0, 32}, Case{0, 1, 64}, Case{0, 255, 64}, Case{64, 0, 64}, Case{32, 1, 32}}) {
        bool wide = c.widthAfter == 64;
        Bytes inner = wide ? inner64 : inner32;
        Bytes bytes = chunk(kelChunkRoot, c.rootVersion, inner.size() + (wide ? 12 : 8), inner, wide);
        KelMemoryInput in(bytes.data(), bytes.size(), c.presetWidth);
        KelChunkReader reader(&in);
        EXPECT_TRUE(reader.readChunk(kelChunkRoot));
        EXPECT_EQ(in.width, c.widthAfter);
        EXPECT_TRUE(reader.readChunk(9));
        reader.endChunk();
        EXPECT_TRUE(reader.atChunkEnd());
        reader.endChunk();
        EXPECT_TRUE(reader.good()) << c.presetWidth << "/" << int(c.rootVersion);
        EXPECT_EQ(in.tell(), int64_t(bytes.size()));
    }
    // 8-byte lengths read as 4-byte ones: the upper half reads as a length of 0
    KelMemoryInput in(inner64.data(), inner64.size());
    KelChunkReader reader(&in);
    EXPECT_FALSE(reader.readChunk());
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
    EXPECT_EQ(in.tell(), 0);
    EXPECT_FALSE(reader.peekChunk(0x123457, &version));
    EXPECT_EQ(version, -1);
    EXPECT_EQ(in.tell(), 0);
    EXPECT_TRUE(reader.peekChunk(0x123456, nullptr));
    EXPECT_EQ(reader.chunkId(), 0);  // peeking sets no field
    ASSERT_TRUE(reader.readChunk());
    reader.endChunk();
    // two bytes left: the failed read is not undone
    EXPECT_FALSE(reader.peekChunk(0xaabb, &version));
    EXPECT_EQ(version, -1);
    EXPECT_EQ(in.tell(), 10);
}

TEST(ChunkReader, EndChunkJumpsToTheChunkEnd)
{
    // parent (len 32) = child A (len 16, 8 payload bytes) + child B (len 8),
    // then 8 bytes that B's sibling C claims although they lie behind the parent
    Bytes a = chunk(0xa, 0, 16, {1, 2, 3, 4, 5, 6, 7, 8});
    Bytes b = chunk(0xb, 0, 8, {});
    Bytes c = chunk(0xc, 0, 16, {});
    Bytes bytes = concat({chunk(0x1, 0, 8 + a.size() + b.size() + 8, concat({a, b})), c, Bytes(8, 0)});
    KelMemoryInput in(bytes.data(), bytes.size());
    KelChunkReader reader(&in);
    EXPECT_TRUE(reader.atChunkEnd());  // depth 0
    ASSERT_TRUE(reader.readChunk(0x1));
    ASSERT_TRUE(reader.readChunk(0xa));
    uint8_t first = 0;
    in.read8(&first, 1);  // read part of A only
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
    ASSERT_EQ(recorder.expressions.size(), 1u);
    EXPECT_EQ(recorder.expressions[0], "end_.size() > 0 || !good_");
    EXPECT_EQ(recorder.files[0], ".\\kelfile");
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
    KelCString text;
    EXPECT_TRUE(readCString(text, &in));
    EXPECT_TRUE(text.equals("abc"));
    KelCString empty;
    EXPECT_TRUE(readCString(empty, &in));
    ASSERT_NE(empty.chars(), nullptr);  // an empty string with a buffer, not a null one
    EXPECT_TRUE(empty.equals(""));
    EXPECT_EQ(in.tell(), int64_t(good.size()));

    // a wrong id: the result is the stream's state, the text stays empty
    Bytes bad = concat({chunk(kelChunkID, 0, 8, {}), chunk(kelChunkString, 0, 9, {'x'})});
    KelMemoryInput badIn(bad.data(), bad.size());
    KelCString none;
    EXPECT_TRUE(readCString(none, &badIn));
    EXPECT_EQ(none.chars(), nullptr);
    EXPECT_TRUE(readCString(none, &badIn));  // same stream: the reader stays bad
    EXPECT_EQ(none.chars(), nullptr);
    EXPECT_EQ(badIn.tell(), 8);

    KelMemoryInput other(bad.data() + 8, 9);  // another stream attaches afresh
    EXPECT_TRUE(readCString(none, &other));
    EXPECT_TRUE(none.equals("x"));
    kelDetachStringReader();
}

TEST(ChunkStrings, IdentitiesOnTheBareStream)
{
    KelMemoryOutput out(1);
    writeID(typeIdOfKelIDPar, &out);
    Bytes bytes = out.bytes();
    EXPECT_EQ(bytes, (Bytes{0xf7, 0x96, 0x33, 0xb9, 0xa0, 0x26, 0x45, 0x1c, 0xb8, 0x9f, 0x2f, 0xf9, 0x17, 0xdc, 0xd0,
                            0xa0}));
    KelID id;
    KelMemoryInput in(bytes.data(), bytes.size());
    EXPECT_TRUE(readID(id, &in));
    EXPECT_EQ(id, typeIdOfKelIDPar);

    for (size_t cut : {0, 3, 4, 7, 15}) {  // nothing changes unless all 16 bytes arrive
        KelID untouched(1, 2, 3, {4, 4, 4, 4, 4, 4, 4, 4});
        KelID before = untouched;
        KelMemoryInput shortIn(bytes.data(), cut);
        EXPECT_FALSE(readID(untouched, &shortIn)) << cut;
        EXPECT_EQ(untouched, before) << cut;
    }

    Bytes wrapped = chunk(kelChunkString, 0, 24, bytes);  // an identity needs 0x10008
    KelMemoryInput wrongIn(wrapped.data(), wrapped.size());
    KelChunkReader reader(&wrongIn);
    KelID target;
    EXPECT_FALSE(reader.readIDChunk(target).good());
    EXPECT_EQ(target, KelID());
    EXPECT_EQ(reader.depth(), 0);
}
