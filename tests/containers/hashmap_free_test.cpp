// SPDX-License-Identifier: MIT
#include "containers/hashmap_fixture.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

using namespace hashmap_test;

namespace {

// A map of count heap strings with heap strings for values; the value of entry number null_at is NULL.
hashmap *owning_map(size_t count, size_t null_at = SIZE_MAX) {
    hashmap *const map = hashmap_new(string_hash_func, string_compare_func);
    for (size_t n = 0; n < count; ++n) {
        char text[16];
        snprintf(text, sizeof text, "key%u", static_cast<unsigned>(n));
        EXPECT_EQ(hashmap_put(map, xstrdup(text), n != null_at ? xstrdup(text) : nullptr), 1);
    }
    return map;
}

TEST(HashmapFree, TakesNull) {
    hashmap_free(nullptr);
    hashmap_free_free(nullptr);
    hashmap_free_free_free(nullptr);
    hashmap_clear(nullptr);
    hashmap_clear_free(nullptr);
    hashmap_clear_free_free(nullptr);
}

TEST(HashmapFree, LeavesKeysAndValues) {
    CountingAllocator allocator;
    hashmap *const map = owning_map(30);
    hashmap_free(map);
    EXPECT_EQ(allocator.live_blocks(), 60U);
    EXPECT_EQ(allocator.release_live(), 60U);
}

TEST(HashmapFreeFree, FreesTheValues) {
    CountingAllocator allocator;
    hashmap *const map = owning_map(30);
    const std::vector<void *> keys = keys_of(map);
    hashmap_free_free(map);
    EXPECT_EQ(allocator.live_blocks(), 30U);
    for (void *const key : keys)
        _xfree(key);
    EXPECT_EQ(allocator.live_blocks(), 0U);
}

TEST(HashmapFreeFree, KeepsTheValuesBehindANullOne) {
    CountingAllocator allocator;
    hashmap_free_free(owning_map(5, 2));
    EXPECT_EQ(allocator.live_blocks(), 5U + 2U) << "the keys, and two values";
    allocator.release_live();
}

TEST(HashmapFreeFreeFree, FreesKeysAndValuesAlsoAroundANullOne) {
    const CountingAllocator allocator;
    hashmap_free_free_free(owning_map(30, 7));
    EXPECT_EQ(allocator.live_blocks(), 0U);
}

TEST(HashmapFree, DoesNotLookAtKeysThatAreGone) {
    const CountingAllocator allocator;
    hashmap *const map = owning_map(30);
    for (void *const key : keys_of(map))
        _xfree(key);
    for (void *const item : values_of(map))
        _xfree(item);
    hashmap_free(map);
    EXPECT_EQ(allocator.live_blocks(), 0U);
}

TEST(HashmapClear, DoesNotLookAtKeysThatAreGone) {
    const CountingAllocator allocator;
    hashmap *const map = owning_map(30);
    for (void *const key : keys_of(map))
        _xfree(key);
    for (void *const item : values_of(map))
        _xfree(item);
    hashmap_clear(map);
    EXPECT_EQ(hashmap_size(map), 0U);
    expect_consistent(map);
    hashmap_free(map);
    EXPECT_EQ(allocator.live_blocks(), 0U);
}

TEST(HashmapClear, LeavesAnEmptyUsableMapWithItsBuckets) {
    const Map map = number_map(0, 30);
    hashmap_clear(map.get());
    EXPECT_EQ(hashmap_isempty(map.get()), 1);
    EXPECT_EQ(hashmap_buckets(map.get()), 99U);
    EXPECT_EQ(hashmap_first(map.get()), nullptr);
    EXPECT_EQ(hashmap_get(map.get(), number(3)), nullptr);
    expect_consistent(map.get());
    EXPECT_EQ(hashmap_put(map.get(), number(3), value(3)), 1);
    hashmap_clear(map.get());
    hashmap_clear(map.get());
    expect_consistent(map.get());
}

TEST(HashmapClearFree, FreesTheValuesInOrderAndStopsAtANullOne) {
    CountingAllocator allocator;
    hashmap *const map = owning_map(5, 2);
    const std::vector<void *> keys = keys_of(map);
    const std::vector<void *> values = values_of(map);
    hashmap_clear_free(map);
    EXPECT_EQ(keys_of(map), (std::vector<void *>{keys[2], keys[3], keys[4]}));
    EXPECT_FALSE(allocator.is_live(values[1]));
    EXPECT_TRUE(allocator.is_live(values[3]));
    expect_consistent(map);
    hashmap_clear_free(map);
    EXPECT_EQ(hashmap_size(map), 3U) << "still in front of the NULL value";
    hashmap_free_free_free(map);
    EXPECT_EQ(allocator.release_live(), 2U) << "the keys of the two entries that were cleared";
}

TEST(HashmapClearFree, EmptiesAMapWithoutNullValues) {
    CountingAllocator allocator;
    hashmap *const map = owning_map(5);
    hashmap_clear_free(map);
    EXPECT_EQ(hashmap_size(map), 0U);
    expect_consistent(map);
    hashmap_free(map);
    EXPECT_EQ(allocator.release_live(), 5U);
}

std::vector<void *> released;
void note_release(void *block) {
    released.push_back(block);
    free(block);
}

TEST(HashmapClearFreeFree, FreesEachValueThenItsKeyFirstToLast) {
    hashmap *const map = owning_map(3);
    const std::vector<void *> keys = keys_of(map);
    const std::vector<void *> values = values_of(map);
    const std::vector<const hashmap_entry *> records = {map->order_first, map->order_first->order_next,
                                                        map->order_last};
    released.clear();
    ASSERT_EQ(x_replace_allocator(malloc, realloc, calloc, note_release), 0);
    hashmap_clear_free_free(map);
    ASSERT_EQ(x_replace_allocator(malloc, realloc, calloc, free), 0);
    std::vector<void *> items;
    for (void *const block : released)
        if (block != records[0] && block != records[1] && block != records[2])
            items.push_back(block);
    EXPECT_EQ(items, (std::vector<void *>{values[0], keys[0], values[1], keys[1], values[2], keys[2]}));
    EXPECT_EQ(hashmap_size(map), 0U);
    expect_consistent(map);
    hashmap_free(map);
}

TEST(HashmapStealFirst, RemovesTheFirstEntryAndReturnsItsPart) {
    const Map map = number_map(0, 4);
    EXPECT_EQ(hashmap_steal_first(map.get()), value(0));
    EXPECT_EQ(hashmap_steal_first_key(map.get()), number(1));
    EXPECT_EQ(numbers_of(map.get()), (std::vector<uint32_t>{2, 3}));
    expect_consistent(map.get());
    EXPECT_EQ(hashmap_steal_first(map.get()), value(2));
    EXPECT_EQ(hashmap_steal_first(map.get()), value(3));
    EXPECT_EQ(hashmap_steal_first(map.get()), nullptr);
    expect_consistent(map.get());
}

TEST(HashmapStealFirst, RemovesAnEntryWithANullValueToo) {
    const Map map = number_map();
    ASSERT_EQ(hashmap_put(map.get(), number(0), nullptr), 1);
    ASSERT_EQ(hashmap_put(map.get(), number(1), value(1)), 1);
    EXPECT_EQ(hashmap_steal_first(map.get()), nullptr);
    EXPECT_EQ(numbers_of(map.get()), std::vector<uint32_t>{1});
}

TEST(HashmapStealFirst, FreesOnlyTheRecord) {
    CountingAllocator allocator;
    hashmap *const map = owning_map(1);
    void *const key = map->order_first->key;
    void *const item = hashmap_steal_first(map);
    EXPECT_TRUE(allocator.is_live(key));
    EXPECT_TRUE(allocator.is_live(item));
    hashmap_free(map);
    EXPECT_EQ(allocator.release_live(), 2U);
}

} // namespace
