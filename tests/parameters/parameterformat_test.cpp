// The parameter chunk byte by byte, the version table, and round trips.
#include <string>

#include "tests/parameters/parameterfixture.h"

using QTXModelFeature::KelIDPar;
using QTXModelFeature::KelIDsPar;

TEST_F(ParameterTest, ParametersAreStoredByteForByteInBothWidths)
{
    const Bytes idParType = {0xf7, 0x96, 0x33, 0xb9, 0xa0, 0x26, 0x45, 0x1c, 0xb8, 0x9f, 0x2f, 0xf9, 0x17, 0xdc, 0xd0, 0xa0};
    KelIDPar one;
    EXPECT_EQ(saved(one), concat({{0x0a, 0x0b, 0x0c, 0x02}, be32(0x58), {0, 0, 0, 0}, be32(0x18), {1, 0, 3, 0}, be32(0x10),
                                  {'K', 'e', 'l', 'I', 'D', 'P', 'a', 'r'}, {0, 0, 0x80, 0}, be32(0x18), idParType,
                                  {0, 1, 0, 0}, be32(0x20), {1, 0, 8, 0}, be32(0x18), Bytes(16, 0)}));
    EXPECT_EQ(magic.asked, std::vector<std::string>{"QTXModelFeature::Parameter"});

    const KelID idsParType(0x3c8e0311, 0x593b, 0x4162, {0x85, 0xb5, 0x91, 0xb9, 0x8c, 0x7a, 0x73, 0x04});
    KelIDsPar none, two;
    two.push(idOf(1));
    two.push(idOf(2));
    for (bool w : {false, true}) {
        SCOPED_TRACE(w ? "8-byte lengths" : "4-byte lengths");
        wide = w;
        int32_t formatVersion = w ? 0 : 1;
        EXPECT_EQ(saved(one, formatVersion),
                  parameter(concat({name("KelIDPar"), type(*one.typeId()), single(KelID())})));
        EXPECT_EQ(saved(none, formatVersion), parameter(concat({name("KelIDsPar"), type(idsParType), list({})})));
        EXPECT_EQ(saved(two, formatVersion),
                  parameter(concat({name("KelIDsPar"), type(idsParType), list({idOf(1), idOf(2)})})));
    }
}

// The memory and file streams give the same bytes; the chunk round trips show that.
TEST_F(ParameterTest, RoundTripsInBothWidths)
{
    auto roundTrip = [&](auto& original, auto& copy, int32_t formatVersion) {
        Bytes bytes = saved(original, formatVersion);
        KelMemoryInput in(bytes.data(), bytes.size(), formatVersion == 1 ? 0 : 64);
        KelChunkReader holder(&in);
        EXPECT_TRUE(copy.load(&holder));
        EXPECT_EQ(in.tell(), int64_t(bytes.size()));
        EXPECT_TRUE(original.equals(&copy));
        kelDetachStringReader();
    };
    for (int32_t formatVersion : {1, 0}) {
        SCOPED_TRACE("formatVersion " + std::to_string(formatVersion));
        KelIDPar one(idOf(77)), oneCopy;
        roundTrip(one, oneCopy, formatVersion);
        for (size_t n : {0, 1, 21, 300}) {
            SCOPED_TRACE(n);
            KelIDsPar many, copy;
            for (size_t i = 0; i < n; ++i)
                many.push(idOf(uint32_t(i)));
            copy.push(idOf(999));  // so that a load which reads no list shows
            roundTrip(many, copy, formatVersion);
        }
    }
}

TEST_F(ParameterTest, VersionTableDecidesWhatLoads)
{
    for (uint32_t id : {testMagic, uint32_t(kelChunkOldParameter)}) {
        for (int version : {0, 1, 2, 3, 4, 5, 255}) {
            bool loads = version <= (id == testMagic ? 4 : 1);
            SCOPED_TRACE(std::to_string(id) + " v" + std::to_string(version));
            KelIDPar one(idOf(9));
            EXPECT_EQ(loaded(one, nest(id, concat({name("KelIDPar"), single(idOf(5))}), uint8_t(version))), loads);
            EXPECT_EQ(one.getValue(), loads ? idOf(5) : KelID());
            KelIDsPar many;  // the list stays as it was on refusal
            many.push(idOf(1));
            EXPECT_EQ(loaded(many, nest(id, concat({name("KelIDsPar"), list({idOf(2)})}), uint8_t(version))), loads);
            EXPECT_EQ(many.getValue()[1], loads ? idOf(2) : idOf(1));
        }
    }
    magic.magic = kelChunkOldParameter;  // a host that gave this id could not read its own files
    KelIDPar one;
    EXPECT_FALSE(loaded(one, saved(one)));
}
