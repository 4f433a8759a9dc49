// Loading parameter chunks that save did not write: sub-chunks in any order,
// unknown and missing ones, damaged lists and the failure rows.
#include "tests/parameters/parameterfixture.h"

using QTXModelFeature::KelIDPar;
using QTXModelFeature::KelIDsPar;

TEST_F(ParameterTest, SubChunksAreMatchedByIdInAnyOrder)
{
    struct Case { const char* what; Bytes subChunks; bool loads; KelID value; };
    for (const Case& c : std::vector<Case>{
             {"value first", concat({single(idOf(1)), type(idOf(4242)), name("KelIDPar")}), true, idOf(1)},
             {"unknown skipped", concat({nest(300, identity(idOf(8)), 7), name("KelIDPar"), list({idOf(9)}), single(idOf(2))}),
              true, idOf(2)},
             {"later 256 wins", concat({single(idOf(1)), name("KelIDPar"), single(idOf(3))}), true, idOf(3)},
             {"no type, no value", name("KelIDPar"), true, KelID()},
             {"no name", concat({type(*KelIDPar().typeId()), single(idOf(1))}), false, idOf(1)},
             {"empty chunk", {}, false, KelID()},
             {"other class", concat({name("KelIDsPar"), list({idOf(5)})}), false, KelID()},
             {"full name", name("QTXModelFeature::KelIDPar"), false, KelID()},
             {"256 holds a string", concat({name("KelIDPar"), nest(256, text("x"))}), false, KelID()}}) {
        KelIDPar target(idOf(99));  // load starts from the null identity
        EXPECT_EQ(loaded(target, parameter(c.subChunks)), c.loads) << c.what;
        EXPECT_EQ(target.getValue(), c.value) << c.what;
    }
}

TEST_F(ParameterTest, ListSubChunkReplacesTheListOnlyWhenPresent)
{
    KelIDsPar target;
    target.push(idOf(1));
    EXPECT_TRUE(loaded(target, parameter(concat({name("KelIDsPar"), single(idOf(7))}))));
    ASSERT_EQ(target.getValue().count, 1);  // no 257: the old list stays
    EXPECT_EQ(target.getValue()[1], idOf(1));
    // a second 257 replaces what the first read
    EXPECT_TRUE(loaded(target, parameter(concat({list({idOf(2), idOf(3)}), name("KelIDsPar"), list({idOf(5)})}))));
    ASSERT_EQ(target.getValue().count, 1);
    EXPECT_EQ(target.getValue()[1], idOf(5));
    for (int64_t count : {0ll, 0x80000000ll, 0xffffffffll}) {  // zero and negative counts give an empty list
        EXPECT_TRUE(loaded(target, parameter(concat({name("KelIDsPar"), list({idOf(6)}, count)})))) << count;
        EXPECT_EQ(target.getValue().count, 0) << count;
    }
    std::vector<KelID> many(21, idOf(4));  // the 21st identity grows the array from 21 to 42
    KelIDsPar grown;
    EXPECT_TRUE(loaded(grown, parameter(concat({name("KelIDsPar"), list(many)}))));
    EXPECT_EQ(grown.getValue().count, 21);
    EXPECT_EQ(grown.getValue().size, 42);
}

TEST_F(ParameterTest, DamagedListCountCostsOnlyWhatTheChunkHolds)
{
    struct Case { const char* what; int64_t storedCount; bool trailingIdentities; };  // identities behind 257
    for (Case c : {Case{"huge count", 0x7fffffff, false}, Case{"one too many", 3, true},
                   Case{"huge count, identities behind", 0x7fffffff, true}}) {
        Bytes trailing = c.trailingIdentities ? concat({identity(idOf(3)), identity(idOf(3)), identity(idOf(3))}) : Bytes();
        KelIDsPar target;
        EXPECT_FALSE(loaded(target, parameter(concat({name("KelIDsPar"), list({idOf(1), idOf(2)}, c.storedCount), trailing}))))
            << c.what;
        EXPECT_LE(target.getValue().count, 2) << c.what;
        EXPECT_LE(target.getValue().size, 21) << c.what;
    }
}

TEST_F(ParameterTest, FailedLoadsLeaveTheStreamWhereTheyStopped)
{
    KelIDPar source(idOf(3));
    Bytes good = saved(source), foreign = good, cut(good.begin(), good.end() - 1);
    foreign[0] = 0x55;
    struct Case { const char* what; Bytes bytes; int64_t stoppedAt; };
    for (const Case& c : {Case{"neither id: behind the head", foreign, 8}, Case{"rejected head: at the head", cut, 0}}) {
        KelMemoryInput in(c.bytes.data(), c.bytes.size());
        KelChunkReader holder(&in);
        KelIDPar target(idOf(1));
        EXPECT_FALSE(target.load(&holder)) << c.what;
        EXPECT_EQ(target.getValue(), KelID()) << c.what;
        EXPECT_EQ(in.tell(), c.stoppedAt) << c.what;
        EXPECT_TRUE(holder.good()) << c.what;  // the caller's reader knows nothing of it
    }

    // a name chunk whose string is not one: the shared reader stays bad for
    // this stream, so a second load of sound bytes on it fails as well
    Bytes bad = parameter(nest(0, identity(idOf(1)))), both = concat({bad, good});
    KelMemoryInput in(both.data(), both.size());
    KelChunkReader holder(&in);
    KelIDPar target;
    EXPECT_FALSE(target.load(&holder));
    in.seek(int64_t(bad.size()), true);
    EXPECT_FALSE(target.load(&holder));
    kelDetachStringReader();
    in.seek(int64_t(bad.size()), true);
    EXPECT_TRUE(target.load(&holder));
    EXPECT_EQ(target.getValue(), idOf(3));
}

TEST_F(ParameterTest, WithoutFileMagicNothingIsWrittenOrRead)
{
    KelIDPar source(idOf(3));
    Bytes good = saved(source);
    provider.remove("IQtxFileMagic");
    KelMemoryOutput out(1);
    KelChunkWriter writer(&out, false);
    EXPECT_FALSE(source.save(&writer));
    EXPECT_TRUE(out.bytes().empty());
    KelIDPar target(idOf(1));
    EXPECT_FALSE(loaded(target, good));
}

// A writer or reader without a stream raises its assertion, and the
// parameter gives false without touching the null stream.
TEST_F(ParameterTest, WithoutAStreamBothSidesAssertAndRefuse)
{
    AssertRecorder recorder;
    provider.add("IKelAssertHandlerCB", &recorder);
    KelIDPar single(idOf(3));
    KelIDsPar list;
    for (IKelPersistable* parameter : {static_cast<IKelPersistable*>(&single), static_cast<IKelPersistable*>(&list)}) {
        recorder.expressions.clear();
        KelChunkWriter writer(nullptr, false);
        EXPECT_FALSE(parameter->save(&writer));
        ASSERT_FALSE(recorder.expressions.empty());
        EXPECT_EQ(recorder.expressions.front(), "bo_ @ .\\kelfile");
        recorder.expressions.clear();
        KelChunkReader reader(nullptr);
        EXPECT_FALSE(parameter->load(&reader));
        ASSERT_FALSE(recorder.expressions.empty());
        EXPECT_EQ(recorder.expressions.front(), "bi_ @ .\\kelfile");
    }
    provider.remove("IKelAssertHandlerCB");
}
