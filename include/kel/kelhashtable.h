// KelHashTable: the chained hash table behind the class registry, the
// parameter registry and the stop set of the interface name lists.
//
// Bucket counts are primes from a fixed table; the table grows at a load of
// 0.8. Nodes go in at the head of their chain, and a resize walks the old
// buckets upward, so chains come out reversed. Enumeration follows bucket
// index first and chain order second; the host sees that order through the
// registry, so it must not change.
#pragma once

#include <cstdint>

#include "kel/qtxcstring.h"

// The bucket counts a table takes, in growing order.
inline constexpr uint32_t kelTablePrimes[32] = {
    2u,        3u,        5u,         11u,        17u,        37u,        67u,         131u,
    257u,      521u,      1031u,      2053u,      4099u,      8209u,      16411u,      32771u,
    65537u,    131101u,   262147u,    524309u,    1048583u,   2097169u,   4194319u,    8388617u,
    16777259u, 33554467u, 67108879u,  134217757u, 268435459u, 536870923u, 1073741827u, 2147483659u};

// The first prime of the table that is greater than `n`; past the 31st entry
// the last one, 2147483659, answers everything.
inline uint32_t nextTableSize(uint32_t n)
{
    for (int i = 0; i < 31; ++i) {
        if (kelTablePrimes[i] > n)
            return kelTablePrimes[i];
    }
    return kelTablePrimes[31];
}

// ceil(2^64 / p) for each prime of the table. With it the remainder of a
// 32-bit number n by p is ((c * n mod 2^64) * p) >> 64: the low word of c * n
// is the fraction n / p in 64 bits, and that times p is the remainder, exact
// for every 32-bit n and p (64 bits of fraction are twice what 32-bit
// operands need).
struct KelTableReciprocals {
    uint64_t of[32];
    constexpr KelTableReciprocals() : of()
    {
        for (int i = 0; i < 32; ++i)
            of[i] = ~uint64_t(0) / kelTablePrimes[i] + 1;
    }
};
inline constexpr KelTableReciprocals kelTableReciprocals{};

// Which prime of the table a bucket count is: a multiplicative hash gives
// each of the 32 primes a slot of its own among 64 (checked below, when the
// header is compiled), and the slot gives the prime's place.
inline constexpr uint32_t kelTableSlotMultiplier = 0x237c9541u;
inline constexpr int kelTableSlotOf(uint32_t size)
{
    return static_cast<int>(static_cast<uint32_t>(size * kelTableSlotMultiplier) >> 26);
}
struct KelTableSlots {
    int8_t index[64];
    bool distinct = true;
    constexpr KelTableSlots() : index()
    {
        for (int8_t& slot : index)
            slot = -1;
        for (int i = 0; i < 32; ++i) {
            int8_t& slot = index[kelTableSlotOf(kelTablePrimes[i])];
            distinct = distinct && slot < 0;
            slot = static_cast<int8_t>(i);
        }
    }
};
inline constexpr KelTableSlots kelTableSlots{};
static_assert(kelTableSlots.distinct, "every prime of the table needs a slot of its own");

// `hash` modulo `size`, the bucket of a key. A look-up does this on every
// call, and a hardware divide is the slowest step of a short look-up, so the
// remainder of a table prime is computed from its reciprocal; a count that
// is not a prime of the table (a table built elsewhere with a count of its
// own) is divided as it is, and 0 buckets give bucket 0. Plain C++, so that
// every compiler a host may use builds this header.
inline uint32_t kelBucketOf(uint32_t hash, uint32_t size)
{
    const int index = kelTableSlots.index[kelTableSlotOf(size)];
    if (index < 0 || kelTablePrimes[index] != size)
        return size ? hash % size : 0;
    const uint64_t fraction = kelTableReciprocals.of[index] * hash;  // mod 2^64
    // (fraction * size) >> 64, with neither partial product above 64 bits.
    const uint64_t high = (fraction >> 32) * size + (((fraction & 0xFFFFFFFFu) * size) >> 32);
    return static_cast<uint32_t>(high >> 32);
}

// Key equality: field by field for identities (operator==), byte for byte for
// narrow strings, where two null texts are equal. Inline, without a library
// call: command and class names are short, and most compares in a chain fail
// at the first byte.
template <class K>
struct KelKeyEqual {
    bool operator()(const K& a, const K& b) const { return a == b; }
};
template <>
struct KelKeyEqual<KelCString> {
    bool operator()(const KelCString& a, const KelCString& b) const
    {
        const char* x = a.chars();
        const char* y = b.chars();
        if (!x || !y)
            return x == y;
        while (*x && *x == *y) {
            ++x;
            ++y;
        }
        return *x == *y;
    }
};

// V is a pointer type: each node holds one word of value.
template <class K, class V, class H>
class KelHashTable {
public:
    struct Node {
        uint32_t bucketIndex;
        K key;
        V value;
        Node* next;
    };

    // The cursor of an enumeration. `node` is null at the end; the all-ones
    // value stands for the first node of the table, whose key and value the
    // copies already hold.
    struct Cursor {
        KelHashTable* table = nullptr;
        Node* node = nullptr;
        K key{};
        V value{};

        explicit Cursor(KelHashTable* t) : table(t) { start(); }
        bool atFirst() const { return node == firstMark(); }
        // Stands on the first node; null node for an empty table.
        void start()
        {
            node = nullptr;
            if (table->count == 0)
                return;
            node = firstMark();
            if (Node* first = table->firstNodeFrom(0)) {
                key = first->key;
                value = first->value;
            }
        }
        // Moves to the successor; false at the end.
        bool step()
        {
            Node* current = atFirst() ? table->firstNodeFrom(0) : node;
            Node* successor = nullptr;
            if (current) {
                successor = current->next;
                if (!successor)
                    successor = table->firstNodeFrom(current->bucketIndex + 1);
            }
            node = successor;
            if (!successor)
                return false;
            key = successor->key;
            value = successor->value;
            return true;
        }
        static Node* firstMark() { return reinterpret_cast<Node*>(~uintptr_t(0)); }
    };

    Node** buckets = nullptr;  // allocated at the first insertion
    uint32_t size;
    uint32_t count = 0;
    H hash;

    explicit KelHashTable(uint32_t initialSize) : size(initialSize) {}
    KelHashTable(const KelHashTable&) = delete;
    KelHashTable& operator=(const KelHashTable&) = delete;
    ~KelHashTable() { clear(); }

    // The node with `key`, or null; `bucket` receives the bucket index of the
    // key in any case, even when there are no buckets yet.
    Node* lookup(const K& key, uint32_t& bucket) const
    {
        bucket = kelBucketOf(static_cast<uint32_t>(hash(key)), size);
        if (!buckets)
            return nullptr;
        KelKeyEqual<K> equal;
        for (Node* node = buckets[bucket]; node; node = node->next) {
            if (equal(node->key, key))
                return node;
        }
        return nullptr;
    }
    Node* find(const K& key) const
    {
        uint32_t bucket;
        return lookup(key, bucket);
    }

    // The address of the value stored under `key`; a new node with a null
    // value is inserted when the key is not there yet.
    V* findOrInsert(const K& key)
    {
        uint32_t bucket;
        if (Node* node = lookup(key, bucket))
            return &node->value;
        Node* node = new Node{bucket, key, V{}, nullptr};
        insert(node);
        return &node->value;
    }

    // Hangs `node` at the head of the chain its bucketIndex names.
    void insert(Node* node)
    {
        if (!buckets)
            buckets = new Node*[size]();
        node->next = buckets[node->bucketIndex];
        buckets[node->bucketIndex] = node;
        ++count;
        if (static_cast<double>(count) >= static_cast<double>(size) * 0.8)
            resize(nextTableSize(size));
    }

    void resize(uint32_t n)
    {
        if (n == 0 || n == size || !buckets)
            return;
        Node** fresh = new Node*[n]();
        for (uint32_t i = 0; i < size; ++i) {
            Node* node = buckets[i];
            while (node) {
                Node* next = node->next;
                node->bucketIndex = kelBucketOf(static_cast<uint32_t>(hash(node->key)), n);
                node->next = fresh[node->bucketIndex];
                fresh[node->bucketIndex] = node;
                node = next;
            }
        }
        delete[] buckets;
        buckets = fresh;
        size = n;
    }

    // The head of the lowest non-empty bucket at or after `from`, or null.
    Node* firstNodeFrom(uint32_t from) const
    {
        if (!buckets)
            return nullptr;
        for (uint32_t i = from; i < size; ++i) {
            if (buckets[i])
                return buckets[i];
        }
        return nullptr;
    }

    // Frees the nodes and the buckets; the values are the owner's.
    void clear()
    {
        if (buckets) {
            for (uint32_t i = 0; i < size; ++i) {
                for (Node* node = buckets[i]; node;) {
                    Node* next = node->next;
                    delete node;
                    node = next;
                }
            }
            delete[] buckets;
        }
        buckets = nullptr;
        count = 0;
    }
};
