// SPDX-License-Identifier: MIT
// What the hash map's tests share: keys and values with known hashes, and a check of a map's whole structure.
#pragma once

#include "support/counting_allocator.h"

#include <varnel/hashmap.h>
#include <varnel/memory.h>

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <memory>
#include <unordered_map>
#include <vector>

namespace hashmap_test {

inline constexpr size_t kNumbers = 4096;

inline constexpr auto kNumberTable = [] {
    std::array<uint32_t, kNumbers> table{};
    for (size_t i = 0; i < kNumbers; ++i)
        table[i] = static_cast<uint32_t>(i);
    return table;
}();

// A key for the uint32 functions: its hash is n.
inline void *number(size_t n) {
    return const_cast<uint32_t *>(&kNumberTable[n]);
}

// The number behind such a key.
inline uint32_t number_of(const void *key) {
    return *static_cast<const uint32_t *>(key);
}

// A value: some address that is not NULL, a different one for each n.
inline void *value(size_t n) {
    static std::array<char, kNumbers> cells;
    return &cells[n];
}

// A hash of few results, so that chains are long whatever the number of buckets.
inline uint32_t few_hashes(const void *key) {
    return number_of(key) % 3;
}

struct FreeMap {
    void operator()(hashmap *map) const { hashmap_free(map); }
};
using Map = std::unique_ptr<hashmap, FreeMap>;

inline Map number_map() {
    return Map(hashmap_new(uint32_hash_func, uint32_compare_func));
}

// A map of the numbers first to last - 1, each with the value of the same n.
inline Map number_map(size_t first, size_t last) {
    Map map = number_map();
    for (size_t n = first; n < last; ++n)
        EXPECT_EQ(hashmap_put(map.get(), number(n), value(n)), 1);
    return map;
}

inline std::vector<void *> keys_of(const hashmap *map) {
    std::vector<void *> keys;
    for (const hashmap_entry *entry = map->order_first; entry != nullptr; entry = entry->order_next)
        keys.push_back(entry->key);
    return keys;
}

inline std::vector<void *> values_of(const hashmap *map) {
    std::vector<void *> values;
    for (const hashmap_entry *entry = map->order_first; entry != nullptr; entry = entry->order_next)
        values.push_back(entry->value);
    return values;
}

inline std::vector<uint32_t> numbers_of(const hashmap *map) {
    std::vector<uint32_t> numbers;
    for (const void *const key : keys_of(map))
        numbers.push_back(number_of(key));
    return numbers;
}

// Returns the bucket on whose chain each entry stands, and checks the links of every chain.
inline std::unordered_map<const hashmap_entry *, uint32_t> chain_places(const hashmap *map) {
    std::unordered_map<const hashmap_entry *, uint32_t> places;
    for (uint32_t bucket = 0; bucket < map->bucket_count; ++bucket) {
        const hashmap_entry *previous = nullptr;
        for (const hashmap_entry *entry = map->buckets[bucket]; entry != nullptr; entry = entry->chain_next) {
            EXPECT_EQ(entry->chain_prev, previous);
            EXPECT_TRUE(places.emplace(entry, bucket).second) << "an entry stands on two chains";
            previous = entry;
        }
    }
    return places;
}

enum class Placing {
    exact, // every entry on the bucket of its key
    any    // entries may stand on other buckets, after puts that grew the map between each other's steps
};

// Both lists hold the same entry_count entries, with every link right.
inline void expect_consistent(const hashmap *map, Placing placing = Placing::exact) {
    const auto places = chain_places(map);
    EXPECT_EQ(places.size(), map->entry_count);
    const hashmap_entry *previous = nullptr;
    uint32_t count = 0;
    for (const hashmap_entry *entry = map->order_first; entry != nullptr; entry = entry->order_next) {
        EXPECT_EQ(entry->order_prev, previous);
        const auto place = places.find(entry);
        ASSERT_NE(place, places.end()) << "an entry stands on no chain";
        if (placing == Placing::exact) {
            EXPECT_EQ(place->second, map->hash_fn(entry->key) % map->bucket_count);
        }
        previous = entry;
        ++count;
    }
    EXPECT_EQ(map->order_last, previous);
    EXPECT_EQ(count, map->entry_count);
    EXPECT_EQ(map->pooled, 0);
}

} // namespace hashmap_test
