// SPDX-License-Identifier: MIT
#include "containers/hashmap_fixture.h"

#include <cstdlib>

using namespace hashmap_test;

namespace {

TEST(HashmapPut, AddsAtTheEndOfTheOrderAndTheHeadOfTheChain) {
    const Map map = number_map();
    EXPECT_EQ(hashmap_put(map.get(), number(3), value(3)), 1);
    EXPECT_EQ(hashmap_put(map.get(), number(3 + 31), value(4)), 1);
    EXPECT_EQ(hashmap_put(map.get(), number(1), value(1)), 1);
    EXPECT_EQ(numbers_of(map.get()), (std::vector<uint32_t>{3, 34, 1}));
    EXPECT_EQ(map->buckets[3]->key, number(34));
    EXPECT_EQ(map->buckets[3]->chain_next->key, number(3));
    expect_consistent(map.get());
}

TEST(HashmapPut, AKeyThatIsThereKeepsItsValue) {
    const Map map = number_map(0, 3);
    EXPECT_EQ(hashmap_put(map.get(), number(1), value(1)), 0);
    EXPECT_EQ(hashmap_put(map.get(), number(1), value(9)), -17);
    EXPECT_EQ(hashmap_put(map.get(), number(1), nullptr), -17);
    EXPECT_EQ(hashmap_get(map.get(), number(1)), value(1));
    EXPECT_EQ(hashmap_size(map.get()), 3U);
    EXPECT_EQ(numbers_of(map.get()), (std::vector<uint32_t>{0, 1, 2}));
}

TEST(HashmapPut, AnEqualKeyDoesNotReplaceTheStoredOne) {
    const Map map = number_map(0, 1);
    const uint32_t zero = 0;
    EXPECT_EQ(hashmap_put(map.get(), &zero, value(0)), 0);
    EXPECT_EQ(hashmap_first_key(map.get()), number(0));
}

TEST(HashmapPut, NullKeysAndValuesAreStored) {
    const Map map(hashmap_new(nullptr, nullptr));
    EXPECT_EQ(hashmap_put(map.get(), nullptr, nullptr), 1);
    EXPECT_EQ(hashmap_put(map.get(), nullptr, nullptr), 0);
    EXPECT_EQ(hashmap_put(map.get(), nullptr, value(1)), -17);
    EXPECT_EQ(hashmap_size(map.get()), 1U);
}

TEST(HashmapPut, AllocatesOneZeroedRecord) {
    CountingAllocator allocator;
    {
        const Map map = number_map(0, 1);
        EXPECT_EQ(allocator.allocations(), 2U);
        EXPECT_EQ(allocator.zeroed_calls(), 2U);
        EXPECT_EQ(allocator.size_of(map->order_first), sizeof(hashmap_entry));
        EXPECT_EQ(hashmap_put(map.get(), number(0), value(0)), 0);
        EXPECT_EQ(hashmap_put(map.get(), number(0), value(1)), -17);
        EXPECT_EQ(allocator.allocations(), 2U) << "a key that is there needs no memory";
    }
    EXPECT_EQ(allocator.live_blocks(), 0U);
}

TEST(HashmapPut, WithoutMemoryNothingChanges) {
    CountingAllocator allocator;
    {
        const Map map = number_map(0, 2);
        allocator.fail_at(1);
        EXPECT_EQ(hashmap_put(map.get(), number(5), value(5)), -12);
        EXPECT_EQ(numbers_of(map.get()), (std::vector<uint32_t>{0, 1}));
        EXPECT_EQ(hashmap_get(map.get(), number(5)), nullptr);
        expect_consistent(map.get());
        EXPECT_EQ(hashmap_put(map.get(), number(5), value(5)), 1);
    }
    EXPECT_EQ(allocator.live_blocks(), 0U);
}

TEST(HashmapGrowth, The25thKeyMakes99Buckets) {
    const Map map = number_map(0, 24);
    EXPECT_EQ(hashmap_buckets(map.get()), 31U);
    EXPECT_EQ(hashmap_put(map.get(), number(0), value(0)), 0);
    EXPECT_EQ(hashmap_put(map.get(), number(0), value(1)), -17);
    EXPECT_EQ(hashmap_buckets(map.get()), 31U) << "only a new key grows";
    EXPECT_EQ(hashmap_put(map.get(), number(1000), value(1000)), 1);
    EXPECT_EQ(hashmap_buckets(map.get()), 99U);
    expect_consistent(map.get());
}

TEST(HashmapGrowth, StepsFollowTheLoad) {
    const Map map = number_map();
    uint32_t buckets = 31;
    for (uint32_t n = 0; n < 3000; ++n) {
        if (n * 4 >= buckets * 3)
            buckets = (n + 1) * 4 - 1;
        ASSERT_EQ(hashmap_put(map.get(), number(n), value(n)), 1);
        ASSERT_EQ(hashmap_buckets(map.get()), buckets) << n;
    }
    EXPECT_EQ(buckets, 8259U) << "after 31, 99, 303, 915 and 2751";
    expect_consistent(map.get());
    for (uint32_t n = 0; n < 3000; ++n)
        ASSERT_EQ(hashmap_get(map.get(), number(n)), value(n));
}

TEST(HashmapGrowth, KeepsTheOrderAndPutsTheLatestFirstOnEachChain) {
    const Map map(hashmap_new(few_hashes, uint32_compare_func));
    for (size_t n = 0; n < 25; ++n)
        ASSERT_EQ(hashmap_put(map.get(), number(24 - n), value(n)), 1);
    ASSERT_EQ(hashmap_buckets(map.get()), 99U);
    for (size_t n = 0; n < 25; ++n)
        EXPECT_EQ(keys_of(map.get())[n], number(24 - n));
    const hashmap_entry *entry = map->buckets[0];
    for (uint32_t expected = 0; expected <= 24; expected += 3, entry = entry->chain_next)
        EXPECT_EQ(number_of(entry->key), expected);
    expect_consistent(map.get());
}

TEST(HashmapGrowth, FreesAGrownArrayButNeverTheInlineOne) {
    CountingAllocator allocator;
    {
        const Map map = number_map(0, 25);
        void *const first_array = map->buckets;
        EXPECT_EQ(allocator.size_of(first_array), 99 * sizeof(void *));
        EXPECT_EQ(allocator.release_calls(), 0U);
        for (size_t n = 25; n < 76; ++n)
            ASSERT_EQ(hashmap_put(map.get(), number(n), value(n)), 1);
        EXPECT_EQ(hashmap_buckets(map.get()), 303U);
        EXPECT_EQ(allocator.release_calls(), 1U);
        EXPECT_FALSE(allocator.is_live(first_array));
    }
    EXPECT_EQ(allocator.live_blocks(), 0U);
}

TEST(HashmapGrowth, AFailedGrowthIsDoneWithout) {
    CountingAllocator allocator;
    {
        const Map map = number_map(0, 24);
        allocator.fail_at(1);
        EXPECT_EQ(hashmap_put(map.get(), number(24), value(24)), 1);
        EXPECT_EQ(hashmap_buckets(map.get()), 31U);
        EXPECT_EQ(hashmap_get(map.get(), number(24)), value(24));
        EXPECT_EQ(hashmap_put(map.get(), number(25), value(25)), 1);
        EXPECT_EQ(hashmap_buckets(map.get()), (25U + 1) * 4 - 1) << "the next new key grows";
        expect_consistent(map.get());
    }
    EXPECT_EQ(allocator.live_blocks(), 0U);
}

TEST(HashmapGrowth, StaysWhenTheEntryThenCannotBeHad) {
    CountingAllocator allocator;
    {
        const Map map = number_map(0, 24);
        allocator.fail_at(2);
        EXPECT_EQ(hashmap_put(map.get(), number(24), value(24)), -12);
        EXPECT_EQ(hashmap_buckets(map.get()), 99U);
        EXPECT_EQ(hashmap_size(map.get()), 24U);
        expect_consistent(map.get());
    }
    EXPECT_EQ(allocator.live_blocks(), 0U);
}

TEST(HashmapGrowth, MapsNeverShrink) {
    const Map map = number_map(0, 25);
    hashmap_clear(map.get());
    EXPECT_EQ(hashmap_buckets(map.get()), 99U);
    for (size_t n = 0; n < 30; ++n)
        ASSERT_EQ(hashmap_put(map.get(), number(n), value(n)), 1);
    EXPECT_EQ(hashmap_buckets(map.get()), 99U);
    expect_consistent(map.get());
}

TEST(HashmapPut, SweepOfFailingAllocations) {
    const size_t failures = sweep_allocations([](CountingAllocator &, size_t n) {
        hashmap *const map = hashmap_new(uint32_hash_func, uint32_compare_func);
        if (map == nullptr) {
            EXPECT_EQ(n, 1U);
            return;
        }
        size_t refused = 0;
        for (size_t i = 0; i < 80; ++i) {
            const int result = hashmap_put(map, number(i), value(i));
            EXPECT_TRUE(result == 1 || result == -12);
            refused += result == -12 ? 1 : 0;
        }
        EXPECT_EQ(hashmap_size(map), 80 - refused);
        EXPECT_LE(refused, 1U);
        expect_consistent(map);
        hashmap_free(map);
    });
    EXPECT_EQ(failures, 1 + 80 + 2U) << "the map, the entries, two growths";
}

TEST(HashmapReplace, ReplacesKeyAndValueInPlace) {
    const Map map = number_map(0, 3);
    const uint32_t one = 1;
    EXPECT_EQ(hashmap_replace(map.get(), &one, value(9)), 0);
    EXPECT_EQ(keys_of(map.get()), (std::vector<void *>{number(0), const_cast<uint32_t *>(&one), number(2)}));
    EXPECT_EQ(values_of(map.get()), (std::vector<void *>{value(0), value(9), value(2)}));
    expect_consistent(map.get());
}

TEST(HashmapReplace, PutsAnAbsentKey) {
    CountingAllocator allocator;
    {
        const Map map = number_map(0, 1);
        EXPECT_EQ(hashmap_replace(map.get(), number(5), value(5)), 1);
        EXPECT_EQ(numbers_of(map.get()), (std::vector<uint32_t>{0, 5}));
        allocator.fail_at(1);
        EXPECT_EQ(hashmap_replace(map.get(), number(6), value(6)), -12);
        EXPECT_EQ(hashmap_size(map.get()), 2U);
    }
    EXPECT_EQ(allocator.live_blocks(), 0U);
}

TEST(HashmapUpdate, ReplacesTheValueAndKeepsTheKey) {
    const Map map = number_map(0, 3);
    const uint32_t one = 1;
    EXPECT_EQ(hashmap_update(map.get(), &one, value(9)), 0);
    EXPECT_EQ(keys_of(map.get())[1], number(1));
    EXPECT_EQ(values_of(map.get()), (std::vector<void *>{value(0), value(9), value(2)}));
    EXPECT_EQ(hashmap_update(map.get(), number(1), nullptr), 0);
    EXPECT_EQ(hashmap_get(map.get(), number(1)), nullptr);
    EXPECT_EQ(hashmap_size(map.get()), 3U);
}

TEST(HashmapUpdate, AbsentIsEnoent) {
    const Map map = number_map(0, 3);
    EXPECT_EQ(hashmap_update(map.get(), number(3), value(9)), -2);
    EXPECT_EQ(hashmap_size(map.get()), 3U);
}

} // namespace
