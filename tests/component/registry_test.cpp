// The hash table behind the class registry, and the registry itself.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "component/kelclassfactory.h"
#include "kel/componentid.h"
#include "kel/kelhashtable.h"
#include "kel/kelid.h"
#include "kel/qtxcstring.h"

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

TEST(KelHashTableTest, BucketIsTheRemainderForEveryCount)
{
    // Dividends where a reciprocal is most likely to be off by one: around
    // multiples of the divisor, and the ends of the range.
    auto check = [](uint32_t size) {
        std::vector<uint32_t> hashes = {0u, 1u, size - 1, size, size + 1, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFEu,
                                        0xFFFFFFFFu};
        const uint64_t top = 0xFFFFFFFFu / size * uint64_t{size};
        for (uint64_t m : {top, top - size, uint64_t{size} * 12345u % (top + 1)})
            for (int64_t delta = -2; delta <= 2; ++delta)
                hashes.push_back(static_cast<uint32_t>(m + delta));
        uint32_t x = 2463534242u;
        for (int i = 0; i < 20000; ++i) {  // xorshift: spread over the whole range
            x ^= x << 13, x ^= x >> 17, x ^= x << 5;
            hashes.push_back(x);
        }
        for (uint32_t hash : hashes)
            ASSERT_EQ(kelBucketOf(hash, size), hash % size) << hash << " % " << size;
    };
    for (uint32_t prime : kelTablePrimes)
        check(prime);
    for (uint32_t other : {1u, 4u, 16u, 100u, 2147483648u, 4294967295u})  // counts of a table built elsewhere
        check(other);
    EXPECT_EQ(kelBucketOf(12345u, 0), 0u);
}

TEST(KelHashTableTest, NamesStayFoundThroughEveryGrowthAndInFullChains)
{
    using NameTable = KelHashTable<KelCString, void*, KelCString::HashFunc>;
    // "Aa" and "B@" have the same hash, so they share a bucket at every size.
    EXPECT_EQ(KelCString::HashFunc::hash("Aa"), KelCString::HashFunc::hash("B@"));
    NameTable table(nextTableSize(0));
    std::vector<std::string> names = {"Aa", "B@", "", "a", "ab", "abc", "Abc"};
    for (int i = 0; i < 3000; ++i)
        names.push_back("command" + std::to_string(i));
    std::vector<uint32_t> sizesSeen;
    for (size_t i = 0; i < names.size(); ++i) {
        *table.findOrInsert(KelCString(names[i].c_str())) = &names[i];
        if (sizesSeen.empty() || sizesSeen.back() != table.size)
            sizesSeen.push_back(table.size);
        for (size_t j = 0; j <= i; j += (i < 64 ? 1 : 97)) {  // everything so far, sampled once large
            const NameTable::Node* node = table.find(KelCString(names[j].c_str(), kelBorrow));
            ASSERT_NE(node, nullptr) << names[j] << " at size " << table.size;
            ASSERT_EQ(node->value, &names[j]);
            ASSERT_EQ(node->bucketIndex, KelCString::HashFunc::hash(names[j].c_str()) % table.size);
        }
    }
    EXPECT_EQ(sizesSeen, (std::vector<uint32_t>{2, 3, 5, 11, 17, 37, 67, 131, 257, 521, 1031, 2053, 4099}));
    EXPECT_EQ(table.count, names.size());
    // Near misses are not matches: a prefix, a longer text, the null text.
    for (const char* absent : {"A", "Aa ", "command", "command30000", "B"})
        EXPECT_EQ(table.find(KelCString(absent, kelBorrow)), nullptr) << absent;
    EXPECT_EQ(table.find(KelCString()), nullptr);
    *table.findOrInsert(KelCString()) = &names[0];  // the null text is a key of its own, apart from ""
    EXPECT_EQ(table.find(KelCString())->value, &names[0]);
    EXPECT_EQ(table.find(KelCString("", kelBorrow))->value, &names[2]);
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
