// The typed big-endian operations and the 1024-byte buffer rules.
#include "persistence/kelbinarystream.h"

#include <gtest/gtest.h>

#include <tuple>
#include <vector>

#include "tests/persistence/fakestreams.h"

namespace {

bool put(KelBinaryOutput& out, const uint8_t* v, uint64_t n) { return out.write8(v, n); }
bool put(KelBinaryOutput& out, const uint16_t* v, uint64_t n) { return out.write16(v, n); }
bool put(KelBinaryOutput& out, const uint32_t* v, uint64_t n) { return out.write32(v, n); }
bool put(KelBinaryOutput& out, const uint64_t* v, uint64_t n) { return out.write64(v, n); }

// Writes `bytes` in one typed call, as the big-endian elements of type T they spell.
template <class T>
bool putAs(KelBinaryOutput& out, const Bytes& bytes)
{
    std::vector<T> values(bytes.size() / sizeof(T));
    for (size_t i = 0; i < bytes.size(); ++i)
        values[i / sizeof(T)] = T((uint64_t(values[i / sizeof(T)]) << 8) | bytes[i]);
    return put(out, values.data(), values.size());
}

// elementSize 0 is a raw write.
bool putElements(KelBinaryOutput& out, int elementSize, const Bytes& bytes)
{
    switch (elementSize) {
    case 1: return putAs<uint8_t>(out, bytes);
    case 2: return putAs<uint16_t>(out, bytes);
    case 4: return putAs<uint32_t>(out, bytes);
    case 8: return putAs<uint64_t>(out, bytes);
    }
    return out.writeRaw(bytes.data(), bytes.size());
}

}  // namespace

TEST(BinaryStream, WritesLeaveInBlocksWithoutSplitElements)
{
    struct Case {
        uint64_t prefill;  // bytes already in the buffer
        int elementSize;
        size_t byteCount;
        std::vector<size_t> blocks;
        uint64_t fill;
    };
    for (const Case& c : std::vector<Case>{
             {1020, 8, 8, {1020}, 8},         // 4 bytes free: the buffer is handed on first
             {768, 8, 8, {}, 776},            // exactly 256 free: nothing leaves
             {800, 1, 300, {800}, 300},       // 224 free
             {1000, 4, 0, {}, 1000},          // a count of 0 touches nothing
             {0, 4, 1200, {1024}, 176},       // full blocks leave at once
             {1, 4, 1200, {1021}, 180},       // 3 bytes stay empty rather than split an element
             {2, 2, 1200, {1024}, 178},
             {1000, 0, 1500, {1024, 1024}, 452},  // raw runs fill the buffer to the brim
             {1000, 0, 0, {}, 1000}}) {
        RecordingOutput out;
        Bytes expected(c.prefill, 0xee);
        out.writeRaw(expected.data(), expected.size());
        Bytes data = pattern(c.byteCount);
        EXPECT_TRUE(putElements(out, c.elementSize, data));
        EXPECT_EQ(out.blockSizes(), c.blocks) << c.prefill << "/" << c.elementSize;
        EXPECT_EQ(out.fill, c.fill) << c.prefill << "/" << c.elementSize;

        expected.insert(expected.end(), data.begin(), data.end());
        Bytes written(out.buffer, out.buffer + out.fill);
        for (auto block = out.blocks.rbegin(); block != out.blocks.rend(); ++block)
            written.insert(written.begin(), block->bytes.begin(), block->bytes.end());
        EXPECT_EQ(written, expected) << c.prefill << "/" << c.elementSize;
    }
}

TEST(BinaryStream, FailedWritesShowWhereTheRulesSay)
{
    Bytes raw(1024, 1);
    RecordingOutput full;  // a failed full block: false, and the buffer is emptied
    full.failWrites = true;
    EXPECT_FALSE(full.writeRaw(raw.data(), raw.size()));
    EXPECT_EQ(full.fill, 0u);
    EXPECT_FALSE(putElements(full, 8, raw));
    EXPECT_EQ(full.fill, 0u);

    RecordingOutput lowRoom;  // a failure in the low-room step shows only in good()
    lowRoom.writeRaw(raw.data(), 900);
    lowRoom.failWrites = true;
    uint32_t value = 5;
    EXPECT_TRUE(lowRoom.write32(&value, 1));
    EXPECT_EQ(lowRoom.fill, 4u);
    EXPECT_FALSE(lowRoom.good());

    RecordingOutput flushed;  // an empty flush writes nothing; a failed one still empties
    EXPECT_TRUE(flushed.flush());
    EXPECT_TRUE(flushed.blocks.empty());
    flushed.writeRaw(raw.data(), 10);
    flushed.failWrites = true;
    EXPECT_FALSE(flushed.flush());
    EXPECT_EQ(flushed.fill, 0u);
}

TEST(BinaryStream, TypedReadsTakeWholeElementsFromShortDeliveries)
{
    Bytes data = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
    uint32_t pair[2] = {0, 0xdeadbeef};
    ScriptedInput ending(Bytes(data.begin(), data.begin() + 6));  // ends inside the second element
    EXPECT_FALSE(ending.read32(pair, 2));
    EXPECT_EQ(pair[0], 0x01020304u);
    EXPECT_EQ(pair[1], 0xdeadbeefu);

    ScriptedInput sixAtATime(data, 6);  // the bytes behind the last whole element are lost
    EXPECT_TRUE(sixAtATime.read32(pair, 2));
    EXPECT_EQ(pair[1], 0x0708090au);
    EXPECT_EQ(sixAtATime.requests, (std::vector<uint64_t>{8, 4}));

    uint64_t wide = 42;
    ScriptedInput threeAtATime(data, 3);  // less than one element fails at once
    EXPECT_FALSE(threeAtATime.read64(&wide, 1));
    EXPECT_EQ(wide, 42u);
    ScriptedInput whole(data);
    EXPECT_TRUE(whole.read64(&wide, 1));
    EXPECT_EQ(wide, 0x0102030405060708u);
    uint8_t bytes[4] = {};
    EXPECT_TRUE(whole.read8(bytes, 4));
    EXPECT_EQ(bytes[3], 12);
    EXPECT_TRUE(whole.read16(nullptr, 0));  // a count of 0 does not touch the stream
    EXPECT_EQ(whole.requests.size(), 2u);

    Bytes many = pattern(2600);
    ScriptedInput in(many);  // long reads go in requests of at most 1024 bytes
    std::vector<uint16_t> values(1300);
    EXPECT_TRUE(in.read16(values.data(), values.size()));
    EXPECT_EQ(in.requests, (std::vector<uint64_t>{1024, 1024, 552}));
    for (size_t i = 0; i < values.size(); ++i)
        ASSERT_EQ(values[i], (many[2 * i] << 8) | many[2 * i + 1]) << "element " << i;
    ScriptedInput raw(many);  // a raw read is one request, however long
    Bytes target(5000);
    EXPECT_EQ(raw.readRaw(target.data(), 5000), many.size());
    EXPECT_EQ(raw.requests, std::vector<uint64_t>{5000});
}

namespace {
using Seen = std::tuple<bool, int64_t, uint64_t>;
std::vector<Seen> seen;
void observe(bool output, const void*, int64_t position, uint64_t byteCount)
{
    seen.emplace_back(output, position, byteCount);
}
}  // namespace

TEST(BinaryStream, ObserverSeesEveryBlockWithItsPosition)
{
    kelSetStreamObserver(observe);
    RecordingOutput out;
    Bytes raw(1030, 9);
    out.writeRaw(raw.data(), raw.size());
    out.flush();
    ScriptedInput in(Bytes(12, 1));
    uint32_t values[2];
    in.read32(values, 2);
    in.readRaw(values, 4);
    kelSetStreamObserver(nullptr);
    in.readRaw(values, 0);
    EXPECT_EQ(seen, (std::vector<Seen>{Seen{true, 0, 1024}, Seen{true, 1024, 6}, Seen{false, 0, 8},
                                       Seen{false, 8, 4}}));
}
