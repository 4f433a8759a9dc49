// The typed big-endian operations and the 1024-byte buffer rules.
#include "kel/kelbinarystream.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>

#include "tests/persistence/fakestreams.h"

namespace {

// Writes `bytes` in one call, as big-endian elements of `size` bytes; size 0 is a raw write.
bool putElements(KelBinaryOutput& out, int size, const Bytes& bytes)
{
    std::vector<uint64_t> v(size ? bytes.size() / size : 0);
    for (size_t i = 0; size && i < bytes.size(); ++i)
        v[i / size] = v[i / size] << 8 | bytes[i];
    auto as = [&v](auto zero) { return std::vector<decltype(zero)>(v.begin(), v.end()); };
    switch (size) {
    case 1: return out.write8(as(uint8_t()).data(), v.size());
    case 2: return out.write16(as(uint16_t()).data(), v.size());
    case 4: return out.write32(as(uint32_t()).data(), v.size());
    case 8: return out.write64(v.data(), v.size());
    }
    return out.writeRaw(bytes.data(), bytes.size());
}

}  // namespace

TEST(BinaryStream, WritesLeaveInBlocksWithoutSplitElements)
{
    struct Case { uint64_t prefill; int elementSize; size_t byteCount; std::vector<size_t> blocks; uint64_t fill; };
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
        SCOPED_TRACE(std::to_string(c.prefill) + "/" + std::to_string(c.elementSize));
        RecordingOutput out;
        Bytes expected = concat({Bytes(c.prefill, 0xee), pattern(c.byteCount)}), written;
        out.writeRaw(expected.data(), c.prefill);
        EXPECT_TRUE(putElements(out, c.elementSize, pattern(c.byteCount)));
        std::vector<size_t> blocks;
        for (const auto& block : out.blocks) {
            blocks.push_back(block.bytes.size());
            written.insert(written.end(), block.bytes.begin(), block.bytes.end());
        }
        written.insert(written.end(), out.buffer, out.buffer + out.fill);
        EXPECT_EQ(blocks, c.blocks);
        EXPECT_EQ(out.fill, c.fill);
        EXPECT_EQ(written, expected);
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
    EXPECT_TRUE(threeAtATime.read16(nullptr, 0));  // a count of 0 does not touch the stream
    EXPECT_EQ(threeAtATime.requests.size(), 1u);

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

TEST(BinaryStream, ObserverSeesEveryBlockWithItsPosition)
{
    using Seen = std::tuple<bool, int64_t, uint64_t>;
    static std::vector<Seen> seen;
    kelSetStreamObserver([](bool output, const void*, int64_t at, uint64_t n) { seen.emplace_back(output, at, n); });
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
