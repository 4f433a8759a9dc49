// The parameter chunk byte by byte, the version table, and round trips.
#include <string>

#include "host/kelfilestream.h"
#include "tests/parameters/parameterfixture.h"

using QTXModelFeature::KelIDPar;
using QTXModelFeature::KelIDsPar;

namespace {

Bytes be32(uint32_t v)
{
    return {uint8_t(v >> 24), uint8_t(v >> 16), uint8_t(v >> 8), uint8_t(v)};
}
Bytes cat(std::initializer_list<Bytes> parts)
{
    Bytes out;
    for (const Bytes& p : parts)
        out.insert(out.end(), p.begin(), p.end());
    return out;
}
// The length fields of an 8-byte stream, read at the given positions.
std::vector<uint64_t> wideLengthsAt(const Bytes& bytes, std::initializer_list<size_t> positions)
{
    std::vector<uint64_t> lengths;
    for (size_t p : positions) {
        uint64_t v = 0;
        for (size_t i = 0; i < 8; ++i)
            v = (v << 8) | bytes[p + 4 + i];
        lengths.push_back(v);
    }
    return lengths;
}

const Bytes idParType = {0xf7, 0x96, 0x33, 0xb9, 0xa0, 0x26, 0x45, 0x1c, 0xb8, 0x9f, 0x2f, 0xf9, 0x17, 0xdc, 0xd0, 0xa0};
const Bytes idsParType = {0x3c, 0x8e, 0x03, 0x11, 0x59, 0x3b, 0x41, 0x62, 0x85, 0xb5, 0x91, 0xb9, 0x8c, 0x7a, 0x73, 0x04};

}  // namespace

TEST_F(ParameterTest, KelIDParIsStoredByteForByte)
{
    KelIDPar parameter;
    Bytes expected = cat({{0x0a, 0x0b, 0x0c, 0x02}, be32(0x58), {0, 0, 0, 0}, be32(0x18), {1, 0, 3, 0}, be32(0x10),
                          {'K', 'e', 'l', 'I', 'D', 'P', 'a', 'r'}, {0, 0, 0x80, 0}, be32(0x18), idParType,
                          {0, 1, 0, 0}, be32(0x20), {1, 0, 8, 0}, be32(0x18), Bytes(16, 0)});
    EXPECT_EQ(saved(parameter), expected);
    EXPECT_EQ(magic.asked, std::vector<std::string>{"QTXModelFeature::Parameter"});

    Bytes wide = saved(parameter, 0);
    ASSERT_EQ(wide.size(), 112u);
    EXPECT_EQ(wideLengthsAt(wide, {0, 12, 24, 44, 72, 84}), (std::vector<uint64_t>{0x70, 0x20, 0x14, 0x1c, 0x28, 0x1c}));
    EXPECT_EQ(Bytes(wide.begin(), wide.begin() + 4), (Bytes{0x0a, 0x0b, 0x0c, 0x02}));
}

TEST_F(ParameterTest, KelIDsParIsStoredByteForByte)
{
    KelIDsPar parameter;
    Bytes expected = cat({{0x0a, 0x0b, 0x0c, 0x02}, be32(0x45), {0, 0, 0, 0}, be32(0x19), {1, 0, 3, 0}, be32(0x11),
                          {'K', 'e', 'l', 'I', 'D', 's', 'P', 'a', 'r'}, {0, 0, 0x80, 0}, be32(0x18), idsParType,
                          {0, 1, 1, 0}, be32(0x0c), be32(0)});
    EXPECT_EQ(saved(parameter), expected);
    EXPECT_EQ(saved(parameter, 0).size(), 89u);

    parameter.push(idOf(1));
    parameter.push(idOf(2));
    Bytes two = saved(parameter);
    ASSERT_EQ(two.size(), 117u);
    EXPECT_EQ(Bytes(two.begin() + 4, two.begin() + 8), be32(117));
    EXPECT_EQ(Bytes(two.begin() + 61, two.begin() + 69), cat({be32(12 + 48), be32(2)}));
    EXPECT_EQ(Bytes(two.begin() + 69, two.begin() + 77), cat({{1, 0, 8, 0}, be32(0x18)}));
    EXPECT_EQ(saved(parameter, 0).size(), 89u + 2 * 28);
}

TEST_F(ParameterTest, RoundTripsThroughMemoryAndFilesInBothWidths)
{
    TempDir dir;
    KelIDPar single(idOf(77));
    for (size_t n : {0, 1, 21, 300}) {
        KelIDsPar many;
        for (size_t i = 0; i < n; ++i)
            many.push(idOf(uint32_t(i)));
        for (int32_t formatVersion : {1, 0}) {
            uint32_t width = formatVersion == 1 ? 0 : 64;
            for (IKelPersistable* parameter : {static_cast<IKelPersistable*>(&single), static_cast<IKelPersistable*>(&many)}) {
                Bytes bytes = saved(*parameter, formatVersion);
                std::string path = dir.file("p.bin");
                {
                    KelFileOutput file(path, formatVersion);
                    KelChunkWriter holder(&file, false);
                    EXPECT_TRUE(parameter->save(&holder));
                }
                KelFileInput fileIn(path, width);
                KelChunkReader holder(&fileIn);
                IKelParameter* copy = dynamic_cast<IKelParameter*>(parameter)->clone();
                auto* fromFile = dynamic_cast<IKelPersistable*>(copy);
                auto* fromMemory = dynamic_cast<IKelPersistable*>(dynamic_cast<IKelParameter*>(parameter)->clone());
                EXPECT_TRUE(fromFile->load(&holder));
                EXPECT_TRUE(loaded(*fromMemory, bytes, width));
                EXPECT_EQ(fileIn.tell(), int64_t(bytes.size()));
                auto* original = dynamic_cast<IKelEqualComparable*>(parameter);
                EXPECT_TRUE(original->equals(dynamic_cast<IKelEqualComparable*>(fromFile))) << n << "/" << formatVersion;
                EXPECT_TRUE(original->equals(dynamic_cast<IKelEqualComparable*>(fromMemory))) << n << "/" << formatVersion;
                delete fromFile;
                delete fromMemory;
                kelDetachStringReader();
            }
        }
    }
}

TEST_F(ParameterTest, VersionTableDecidesWhatLoads)
{
    KelIDPar source(idOf(5));
    Bytes bytes = saved(source);
    struct Case {
        uint32_t id;
        uint8_t version;
        bool loads;
    };
    for (Case c : {Case{testMagic, 0, true}, Case{testMagic, 1, true}, Case{testMagic, 2, true},
                   Case{testMagic, 3, true}, Case{testMagic, 4, true}, Case{testMagic, 5, false},
                   Case{testMagic, 255, false}, Case{0xb0000, 0, true}, Case{0xb0000, 1, true},
                   Case{0xb0000, 2, false}, Case{0xb0000, 4, false}, Case{0xb0000, 5, false}}) {
        Bytes patched = bytes;
        patched[0] = uint8_t(c.id >> 16);
        patched[1] = uint8_t(c.id >> 8);
        patched[2] = uint8_t(c.id);
        patched[3] = c.version;
        KelIDPar single(idOf(9));
        EXPECT_EQ(loaded(single, patched), c.loads) << std::hex << c.id << " v" << int(c.version);
        EXPECT_EQ(single.getValue(), c.loads ? idOf(5) : KelID());

        KelIDsPar many;  // the same table holds for the list, which stays as it was on refusal
        many.push(idOf(1));
        KelIDsPar listSource;
        listSource.push(idOf(2));
        Bytes listBytes = saved(listSource);
        std::copy(patched.begin(), patched.begin() + 4, listBytes.begin());
        EXPECT_EQ(loaded(many, listBytes), c.loads);
        EXPECT_EQ(many.getValue()[1], c.loads ? idOf(2) : idOf(1));
    }

    magic.magic = 0xb0000;  // a host that gave this id could not read its own files
    Bytes old = saved(source);
    KelIDPar single;
    EXPECT_FALSE(loaded(single, old));
}
