// The typed big-endian operations and the 1024-byte buffer rules.
#include "persistence/kelbinarystream.h"

#include <gtest/gtest.h>

#include <vector>

#include "tests/persistence/fakestreams.h"

namespace {

using Bytes = std::vector<uint8_t>;

// Puts `fill` bytes of 0xee into the buffer without handing anything on.
void prefill(RecordingOutput& out, uint64_t fill)
{
    Bytes filler(fill, 0xee);
    out.writeRaw(filler.data(), filler.size());
    ASSERT_EQ(out.fill, fill);
    ASSERT_TRUE(out.blocks.empty());
}

}  // namespace

TEST(BinaryStream, TypedValuesAreBigEndianBothWays)
{
    RecordingOutput out;
    uint8_t one = 0x7f;
    uint16_t two = 0x0102;
    uint32_t four = 0x01020304;
    uint64_t eight = 0x0102030405060708ull;
    out.write8(&one, 1);
    out.write16(&two, 1);
    out.write32(&four, 1);
    out.write64(&eight, 1);
    ASSERT_TRUE(out.flush());
    Bytes expected = {0x7f, 0x01, 0x02, 0x01, 0x02, 0x03, 0x04, 1, 2, 3, 4, 5, 6, 7, 8};
    ASSERT_EQ(out.blocks.size(), 1u);
    EXPECT_EQ(out.blocks[0].bytes, expected);

    ScriptedInput in(expected);
    uint8_t one2 = 0;
    uint16_t two2 = 0;
    uint32_t four2 = 0;
    uint64_t eight2 = 0;
    EXPECT_TRUE(in.read8(&one2, 1));
    EXPECT_TRUE(in.read16(&two2, 1));
    EXPECT_TRUE(in.read32(&four2, 1));
    EXPECT_TRUE(in.read64(&eight2, 1));
    EXPECT_EQ(one2, one);
    EXPECT_EQ(two2, two);
    EXPECT_EQ(four2, four);
    EXPECT_EQ(eight2, eight);
}

TEST(BinaryStream, TypedWriteHandsBufferOnBelow256BytesOfRoom)
{
    uint64_t value = 0x0102030405060708ull;
    {  // 4 bytes free: the 1020 bytes leave first, the value starts the buffer
        RecordingOutput out;
        prefill(out, 1020);
        out.write64(&value, 1);
        EXPECT_EQ(out.blockSizes(), std::vector<size_t>{1020});
        EXPECT_EQ(out.fill, 8u);
        EXPECT_EQ(out.buffer[0], 0x01);
        EXPECT_EQ(out.buffer[7], 0x08);
    }
    {  // exactly 256 free: nothing leaves
        RecordingOutput out;
        prefill(out, 768);
        out.write64(&value, 1);
        EXPECT_TRUE(out.blocks.empty());
        EXPECT_EQ(out.fill, 776u);
    }
    {  // 224 free: one block of 800 first, then the 300 bytes
        RecordingOutput out;
        prefill(out, 800);
        Bytes bytes(300, 0x11);
        EXPECT_TRUE(out.write8(bytes.data(), bytes.size()));
        EXPECT_EQ(out.blockSizes(), std::vector<size_t>{800});
        EXPECT_EQ(out.fill, 300u);
    }
    {  // a count of 0 touches nothing, even with little room
        RecordingOutput out;
        prefill(out, 1000);
        EXPECT_TRUE(out.write32(nullptr, 0));
        EXPECT_TRUE(out.blocks.empty());
        EXPECT_EQ(out.fill, 1000u);
    }
}

TEST(BinaryStream, LongTypedWriteLeavesInFullBlocksWithoutSplitElements)
{
    RecordingOutput out;
    std::vector<uint32_t> values(300);
    for (uint32_t i = 0; i < values.size(); ++i)
        values[i] = 0xa0000000u + i;
    EXPECT_TRUE(out.write32(values.data(), values.size()));
    EXPECT_EQ(out.blockSizes(), std::vector<size_t>{1024});
    EXPECT_EQ(out.fill, 176u);
    // element 255 closes the first block, element 256 opens the buffer
    const Bytes& block = out.blocks[0].bytes;
    EXPECT_EQ((Bytes{block[1020], block[1021], block[1022], block[1023]}), (Bytes{0xa0, 0x00, 0x00, 0xff}));
    EXPECT_EQ((Bytes{out.buffer[0], out.buffer[1], out.buffer[2], out.buffer[3]}), (Bytes{0xa0, 0x00, 0x01, 0x00}));

    // 16-bit elements from a fill of 2: 511 fill the buffer exactly
    RecordingOutput odd;
    prefill(odd, 2);
    std::vector<uint16_t> shorts(600, 0x0102);
    EXPECT_TRUE(odd.write16(shorts.data(), shorts.size()));
    EXPECT_EQ(odd.blockSizes(), std::vector<size_t>{1024});
    EXPECT_EQ(odd.fill, 2u + 1200u - 1024u);
}

TEST(BinaryStream, RawWriteFillsBufferToTheBrim)
{
    RecordingOutput out;
    prefill(out, 1000);
    Bytes raw(1500);
    for (size_t i = 0; i < raw.size(); ++i)
        raw[i] = static_cast<uint8_t>(i);
    EXPECT_TRUE(out.writeRaw(raw.data(), raw.size()));
    EXPECT_EQ(out.blockSizes(), (std::vector<size_t>{1024, 1024}));
    EXPECT_EQ(out.fill, 452u);
    EXPECT_EQ(out.blocks[0].bytes[1000], 0);   // the raw run crosses the block border
    EXPECT_EQ(out.blocks[1].bytes[0], 24);
    EXPECT_TRUE(out.writeRaw(nullptr, 0));
    EXPECT_EQ(out.fill, 452u);
}

TEST(BinaryStream, FailedWritesShowWhereTheRulesSay)
{
    {  // a failed full block: false, fill 0
        RecordingOutput out;
        out.failWrites = true;
        Bytes raw(1024, 1);
        EXPECT_FALSE(out.writeRaw(raw.data(), raw.size()));
        EXPECT_EQ(out.fill, 0u);
        std::vector<uint64_t> many(128, 7);
        EXPECT_FALSE(out.write64(many.data(), many.size()));
        EXPECT_EQ(out.fill, 0u);
    }
    {  // a failure in the low-room step is not seen by the typed write
        RecordingOutput out;
        prefill(out, 900);
        out.failWrites = true;
        uint32_t value = 5;
        EXPECT_TRUE(out.write32(&value, 1));
        EXPECT_EQ(out.fill, 4u);
        EXPECT_FALSE(out.good());
    }
    {  // flush: empty is true without a write; a failure is false with fill 0
        RecordingOutput out;
        EXPECT_TRUE(out.flush());
        EXPECT_TRUE(out.blocks.empty());
        prefill(out, 10);
        out.failWrites = true;
        EXPECT_FALSE(out.flush());
        EXPECT_EQ(out.fill, 0u);
    }
}

TEST(BinaryStream, TypedReadDropsPartialElements)
{
    Bytes data = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
    {  // the stream ends inside the second element
        ScriptedInput in(Bytes(data.begin(), data.begin() + 6));
        uint32_t values[2] = {0, 0xdeadbeef};
        EXPECT_FALSE(in.read32(values, 2));
        EXPECT_EQ(values[0], 0x01020304u);
        EXPECT_EQ(values[1], 0xdeadbeefu);
    }
    {  // short deliveries: bytes behind the last whole element are lost
        ScriptedInput in(data, 6);
        uint32_t values[2] = {0, 0};
        EXPECT_TRUE(in.read32(values, 2));
        EXPECT_EQ(values[0], 0x01020304u);
        EXPECT_EQ(values[1], 0x0708090au);
        EXPECT_EQ(in.requests, (std::vector<uint64_t>{8, 4}));
    }
    {  // a delivery smaller than one element fails at once
        ScriptedInput in(data, 3);
        uint64_t value = 42;
        EXPECT_FALSE(in.read64(&value, 1));
        EXPECT_EQ(value, 42u);
    }
    {  // a count of 0 does not touch the stream
        ScriptedInput in(data);
        EXPECT_TRUE(in.read16(nullptr, 0));
        EXPECT_TRUE(in.requests.empty());
    }
}

TEST(BinaryStream, LongTypedReadGoesInRequestsOfAtMost1024Bytes)
{
    Bytes data(1300 * 2);
    for (size_t i = 0; i < data.size(); ++i)
        data[i] = static_cast<uint8_t>(i * 7);
    ScriptedInput in(data);
    std::vector<uint16_t> values(1300);
    EXPECT_TRUE(in.read16(values.data(), values.size()));
    EXPECT_EQ(in.requests, (std::vector<uint64_t>{1024, 1024, 552}));
    for (size_t i = 0; i < values.size(); ++i)
        ASSERT_EQ(values[i], (data[2 * i] << 8) | data[2 * i + 1]) << "element " << i;

    ScriptedInput raw(data);
    Bytes target(5000, 0);
    EXPECT_EQ(raw.readRaw(target.data(), 5000), data.size());
    EXPECT_EQ(raw.requests, std::vector<uint64_t>{5000});
}

namespace {
struct Seen {
    bool output;
    int64_t position;
    uint64_t bytes;
};
std::vector<Seen> seen;
void observe(bool output, const void*, int64_t position, uint64_t byteCount)
{
    seen.push_back({output, position, byteCount});
}
}  // namespace

TEST(BinaryStream, ObserverSeesEveryBlockWithItsPosition)
{
    seen.clear();
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

    ASSERT_EQ(seen.size(), 4u);
    EXPECT_TRUE(seen[0].output && seen[0].position == 0 && seen[0].bytes == 1024);
    EXPECT_TRUE(seen[1].output && seen[1].position == 1024 && seen[1].bytes == 6);
    EXPECT_TRUE(!seen[2].output && seen[2].position == 0 && seen[2].bytes == 8);
    EXPECT_TRUE(!seen[3].output && seen[3].position == 8 && seen[3].bytes == 4);
}
