// Loading parameter chunks that save did not write: sub-chunks in any order,
// unknown and missing ones, damaged lists and the failure rows.
#include "tests/parameters/parameterfixture.h"

using QTXModelFeature::KelIDPar;
using QTXModelFeature::KelIDsPar;

TEST_F(ParameterTest, SubChunksAreMatchedByIdInAnyOrder)
{
    KelID other = idOf(4242);
    struct Case {
        const char* what;
        std::function<void(KelChunkWriter&)> body;
        bool loads;
        KelID value;
    };
    std::vector<Case> cases = {
        {"value first", [&](KelChunkWriter& w) { single(w, idOf(1)); type(w, other); name(w, "KelIDPar"); }, true, idOf(1)},
        {"unknown skipped", [&](KelChunkWriter& w) {
             w.beginChunk(300, 7);
             w.writeIDChunk(idOf(8));
             w.endChunk();
             name(w, "KelIDPar");
             list(w, {idOf(9)});
             single(w, idOf(2));
         }, true, idOf(2)},
        {"later 256 wins", [&](KelChunkWriter& w) { single(w, idOf(1)); name(w, "KelIDPar"); single(w, idOf(3)); }, true, idOf(3)},
        {"no type, no value", [&](KelChunkWriter& w) { name(w, "KelIDPar"); }, true, KelID()},
        {"no name", [&](KelChunkWriter& w) { type(w, *KelIDPar().typeId()); single(w, idOf(1)); }, false, idOf(1)},
        {"empty chunk", [&](KelChunkWriter&) {}, false, KelID()},
        {"other class", [&](KelChunkWriter& w) { name(w, "KelIDsPar"); list(w, {idOf(5)}); }, false, KelID()},
        {"full name", [&](KelChunkWriter& w) { name(w, "QTXModelFeature::KelIDPar"); }, false, KelID()},
        {"256 holds a string", [&](KelChunkWriter& w) {
             name(w, "KelIDPar");
             w.beginChunk(256, 0);
             w.writeCStringChunk(KelCString("x", kelBorrow));
             w.endChunk();
         }, false, KelID()},
    };
    for (const Case& c : cases) {
        KelIDPar parameter(idOf(99));  // load starts from the null identity
        EXPECT_EQ(loaded(parameter, chunkWith(testMagic, 2, c.body)), c.loads) << c.what;
        EXPECT_EQ(parameter.getValue(), c.value) << c.what;
    }
}

TEST_F(ParameterTest, ListSubChunkReplacesTheListOnlyWhenPresent)
{
    KelIDsPar parameter;
    parameter.push(idOf(1));
    EXPECT_TRUE(loaded(parameter, chunkWith(testMagic, 2, [&](KelChunkWriter& w) { name(w, "KelIDsPar"); single(w, idOf(7)); })));
    ASSERT_EQ(parameter.getValue().count, 1);  // no 257: the old list stays
    EXPECT_EQ(parameter.getValue()[1], idOf(1));

    EXPECT_TRUE(loaded(parameter, chunkWith(testMagic, 2, [&](KelChunkWriter& w) {
        list(w, {idOf(2), idOf(3), idOf(4)});
        name(w, "KelIDsPar");
        list(w, {idOf(5)});  // the second list replaces the first
    })));
    ASSERT_EQ(parameter.getValue().count, 1);
    EXPECT_EQ(parameter.getValue()[1], idOf(5));

    for (int64_t count : {0ll, 0x80000000ll, 0xffffffffll}) {  // zero and negative counts give an empty list
        EXPECT_TRUE(loaded(parameter, chunkWith(testMagic, 2, [&](KelChunkWriter& w) {
            name(w, "KelIDsPar");
            list(w, {idOf(6)}, count);
        }))) << count;
        EXPECT_EQ(parameter.getValue().count, 0) << count;
    }

    KelIDsPar grown;  // the 21st identity grows the array from 21 to 42
    std::vector<KelID> many;
    for (uint32_t i = 0; i < 21; ++i)
        many.push_back(idOf(i));
    EXPECT_TRUE(loaded(grown, chunkWith(testMagic, 2, [&](KelChunkWriter& w) { name(w, "KelIDsPar"); list(w, many); })));
    EXPECT_EQ(grown.getValue().count, 21);
    EXPECT_EQ(grown.getValue().size, 42);
}

TEST_F(ParameterTest, DamagedListCountCostsOnlyWhatTheChunkHolds)
{
    struct Case {
        const char* what;
        int64_t storedCount;
        bool trailingIdentity;  // a sound identity chunk right behind sub-chunk 257
    };
    for (Case c : {Case{"huge count", 0x7fffffff, false}, Case{"one too many", 3, true},
                   Case{"huge count, identities behind", 0x7fffffff, true}}) {
        Bytes bytes = chunkWith(testMagic, 2, [&](KelChunkWriter& w) {
            name(w, "KelIDsPar");
            list(w, {idOf(1), idOf(2)}, c.storedCount);
            if (c.trailingIdentity)
                for (int i = 0; i < 3; ++i)
                    w.writeIDChunk(idOf(3));
        });
        KelIDsPar parameter;
        EXPECT_FALSE(loaded(parameter, bytes)) << c.what;
        EXPECT_LE(parameter.getValue().count, 2) << c.what;
        EXPECT_LE(parameter.getValue().size, 21) << c.what;
    }
}

TEST_F(ParameterTest, FailedLoadsLeaveTheStreamWhereTheyStopped)
{
    KelIDPar source(idOf(3));
    Bytes good = saved(source);
    {  // neither id: false, behind the head
        Bytes bytes = good;
        bytes[0] = 0x55;
        KelMemoryInput in(bytes.data(), bytes.size());
        KelChunkReader holder(&in);
        KelIDPar parameter(idOf(1));
        EXPECT_FALSE(parameter.load(&holder));
        EXPECT_EQ(parameter.getValue(), KelID());
        EXPECT_EQ(in.tell(), 8);
        EXPECT_TRUE(holder.good());  // the caller's reader knows nothing of it
    }
    {  // a head that is rejected: false, at the head
        Bytes bytes(good.begin(), good.end() - 1);
        KelMemoryInput in(bytes.data(), bytes.size());
        KelChunkReader holder(&in);
        KelIDPar parameter;
        EXPECT_FALSE(parameter.load(&holder));
        EXPECT_EQ(in.tell(), 0);
    }
    {  // a name chunk whose string is not one: the shared reader stays bad for
       // this stream, so a second load of sound bytes on it fails as well
        Bytes bytes = chunkWith(testMagic, 2, [&](KelChunkWriter& w) {
            w.beginChunk(0, 0);
            w.writeIDChunk(idOf(1));
            w.endChunk();
        });
        size_t firstSize = bytes.size();
        bytes.insert(bytes.end(), good.begin(), good.end());
        KelMemoryInput in(bytes.data(), bytes.size());
        KelChunkReader holder(&in);
        KelIDPar parameter;
        EXPECT_FALSE(parameter.load(&holder));
        in.seek(int64_t(firstSize), true);
        EXPECT_FALSE(parameter.load(&holder));
        kelDetachStringReader();
        in.seek(int64_t(firstSize), true);
        EXPECT_TRUE(parameter.load(&holder));
        EXPECT_EQ(parameter.getValue(), idOf(3));
    }
}

TEST_F(ParameterTest, WithoutFileMagicNothingIsWrittenOrRead)
{
    KelIDPar source(idOf(3));
    Bytes good = saved(source);
    provider.remove("IQtxFileMagic");
    KelMemoryOutput out(1);
    KelChunkWriter writer(&out, false);
    EXPECT_FALSE(source.save(&writer));
    KelIDsPar list;
    EXPECT_FALSE(list.save(&writer));
    EXPECT_TRUE(out.bytes().empty());
    KelIDPar target(idOf(1));
    EXPECT_FALSE(loaded(target, good));
    EXPECT_EQ(target.getValue(), KelID());
}
