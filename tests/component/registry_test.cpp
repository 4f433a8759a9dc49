// The hash table behind the class registry, and the registry itself.
#include <gtest/gtest.h>

#include <vector>

#include "component/kelclassfactory.h"
#include "kel/componentid.h"
#include "kel/kelhashtable.h"
#include "kel/kelid.h"

namespace {
using IdTable = KelHashTable<KelID, void*, KelID::HashFunc>;

KelID idWithHash(uint32_t data1, uint8_t last = 0) { return KelID(data1, 0, 0, {0, 0, 0, 0, 0, 0, 0, last}); }

std::vector<uint32_t> enumerate(IdTable& table)
{
    std::vector<uint32_t> keys;
    IdTable::Cursor cursor(&table);
    for (bool more = cursor.node != nullptr; more; more = cursor.step())
        keys.push_back(cursor.key.data1);
    return keys;
}

TEST(KelHashTableTest, NextTableSizeWalksThePrimesAndStopsAtTheLast)
{
    const uint32_t cases[][2] = {{0, 2}, {2, 3}, {99, 131}, {131, 257}, {1073741826u, 1073741827u},
                                 {1073741827u, 2147483659u}, {2147483659u, 2147483659u}, {4294967295u, 2147483659u}};
    for (const auto& c : cases)
        EXPECT_EQ(nextTableSize(c[0]), c[1]) << c[0];
}

TEST(KelHashTableTest, GrowsAtALoadOfFourFifths)
{
    IdTable table(131);
    for (uint32_t i = 0; i <= 104; ++i) {
        EXPECT_EQ(table.size, 131u);
        table.findOrInsert(idWithHash(i * 7));
    }
    EXPECT_EQ(table.size, 257u);  // the 105th node
    for (uint32_t i = 0; i <= 104; ++i) {
        IdTable::Node* node = table.find(idWithHash(i * 7));
        ASSERT_NE(node, nullptr) << i;
        EXPECT_EQ(node->bucketIndex, (i * 7) % 257);
    }
}

TEST(KelHashTableTest, LookupGivesTheBucketAndMatchesAllFields)
{
    IdTable table(11);
    uint32_t bucket = 99;
    EXPECT_EQ(table.lookup(idWithHash(25), bucket), nullptr);
    EXPECT_EQ(bucket, 3u);  // even without buckets
    void** first = table.findOrInsert(idWithHash(25, 1));
    *first = first;
    EXPECT_EQ(table.findOrInsert(idWithHash(25, 1)), first);
    void** second = table.findOrInsert(idWithHash(25, 2));  // same hash, same chain
    EXPECT_EQ(*second, nullptr);
    EXPECT_EQ(table.find(idWithHash(25, 3)), nullptr);
}

TEST(KelHashTableTest, EnumerationFollowsBucketsThenChainsAndResizeReversesChains)
{
    IdTable table(11);
    EXPECT_TRUE(enumerate(table).empty());
    for (uint32_t key : {14u, 3u, 1u, 58u})  // 14, 3 and 58 share bucket 3, the newest at its head
        table.findOrInsert(idWithHash(key));
    EXPECT_EQ(enumerate(table), (std::vector<uint32_t>{1, 58, 3, 14}));
    table.resize(5);  // 3 and 58 still share a bucket, now in reversed order
    table.resize(0);  // ignored, as is the same size
    table.resize(5);
    EXPECT_EQ(table.size, 5u);
    EXPECT_EQ(enumerate(table), (std::vector<uint32_t>{1, 3, 58, 14}));
}

struct ReplacementItem : KelItemFactory {
    using KelItemFactory::KelItemFactory;
    IKelUnknown* create(uint32_t* kind) override { return *kind = 7, nullptr; }
};

TEST(ClassRegistryTest, EnumeratesTheTwoClassesInBucketOrder)
{
    KelDefaultClassFactory* registry = KelDefaultClassFactory::instance();
    EXPECT_EQ(registry->classCount(), 2u);
    EXPECT_EQ(KelDefaultClassFactory::table().size, 131u);
    for (int round = 0; round < 2; ++round) {  // the cursor starts over
        KelID id;
        ASSERT_TRUE(registry->firstClass(&id));
        EXPECT_EQ(id, kelPythonInitializerId());
        ASSERT_TRUE(registry->nextClass(&id));
        EXPECT_EQ(id, kelScriptInterpreterPythonId());
        EXPECT_FALSE(registry->nextClass(&id));
    }
    EXPECT_EQ(registry->classNameOf(&kelComponentId()), nullptr);
}

TEST(ClassRegistryTest, AnItemUnderATakenIdentityReplacesTheEarlierOne)
{
    KelDefaultClassFactory* registry = KelDefaultClassFactory::instance();
    KelItemFactory* original = KelDefaultClassFactory::table().find(kelPythonInitializerId())->value;
    static ReplacementItem replacement("Replacement", kelPythonInitializerId());
    EXPECT_STREQ(registry->classNameOf(&kelPythonInitializerId()), "Replacement");
    IKelUnknown* out = nullptr;
    EXPECT_EQ(registry->createClass(&kelPythonInitializerId(), &out), 7u);
    registry->registerItem(nullptr);
    registry->registerItem(original);
    EXPECT_STREQ(registry->classNameOf(&kelPythonInitializerId()), "PythonInitializer");
    EXPECT_EQ(registry->classCount(), 2u);
}
}  // namespace
