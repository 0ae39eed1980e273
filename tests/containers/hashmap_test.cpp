// SPDX-License-Identifier: MIT
// Making maps, and looking keys up. Adding and removing have files of their own.
#include "containers/hashmap_fixture.h"

#include <cstring>

using namespace hashmap_test;

namespace {

TEST(HashmapNew, IsEmptyWith31Buckets) {
    const Map map = number_map();
    EXPECT_EQ(hashmap_buckets(map.get()), 31U);
    EXPECT_EQ(hashmap_size(map.get()), 0U);
    EXPECT_EQ(hashmap_isempty(map.get()), 1);
    EXPECT_EQ(map->hash_fn, uint32_hash_func);
    EXPECT_EQ(map->compare_fn, uint32_compare_func);
    EXPECT_EQ(map->buckets, map->inline_buckets);
    expect_consistent(map.get());
}

TEST(HashmapNew, IsOneZeroedBlock) {
    CountingAllocator allocator;
    hashmap *const map = hashmap_new(nullptr, nullptr);
    EXPECT_EQ(allocator.zeroed_calls(), 1U);
    EXPECT_EQ(allocator.allocations(), 1U);
    EXPECT_EQ(allocator.size_of(map), sizeof(hashmap));
    hashmap_free(map);
    EXPECT_EQ(allocator.live_blocks(), 0U);
}

TEST(HashmapNew, NullFunctionsMeanTheTrivialOnes) {
    const Map both(hashmap_new(nullptr, nullptr));
    EXPECT_EQ(both->hash_fn, trivial_hash_func);
    EXPECT_EQ(both->compare_fn, trivial_compare_func);
    const Map hash_only(hashmap_new(string_hash_func, nullptr));
    EXPECT_EQ(hash_only->hash_fn, string_hash_func);
    EXPECT_EQ(hash_only->compare_fn, trivial_compare_func);
    const Map compare_only(hashmap_new(nullptr, string_compare_func));
    EXPECT_EQ(compare_only->hash_fn, trivial_hash_func);
    EXPECT_EQ(compare_only->compare_fn, string_compare_func);
}

TEST(HashmapNew, NullWithoutMemory) {
    CountingAllocator allocator;
    allocator.fail_at(1);
    EXPECT_EQ(hashmap_new(nullptr, nullptr), nullptr);
}

TEST(HashmapEnsureAllocated, MakesAMapOnlyWhereThereIsNone) {
    hashmap *map = nullptr;
    EXPECT_EQ(hashmap_ensure_allocated(&map, string_hash_func, string_compare_func), 0);
    ASSERT_NE(map, nullptr);
    EXPECT_EQ(map->hash_fn, string_hash_func);
    EXPECT_EQ(map->compare_fn, string_compare_func);
    hashmap *const first = map;
    EXPECT_EQ(hashmap_ensure_allocated(&map, nullptr, nullptr), 0);
    EXPECT_EQ(map, first);
    EXPECT_EQ(map->hash_fn, string_hash_func);
    hashmap_free(map);
}

TEST(HashmapEnsureAllocated, ReportsMissingMemory) {
    CountingAllocator allocator;
    hashmap *map = nullptr;
    allocator.fail_at(1);
    EXPECT_EQ(hashmap_ensure_allocated(&map, nullptr, nullptr), -12);
    EXPECT_EQ(map, nullptr);
}

TEST(HashmapGet, FindsByContentAndAnswersNullOtherwise) {
    const Map map(hashmap_new(string_hash_func, string_compare_func));
    char key[] = "net";
    char same[] = "net";
    ASSERT_EQ(hashmap_put(map.get(), key, value(1)), 1);
    EXPECT_EQ(hashmap_get(map.get(), same), value(1));
    EXPECT_EQ(hashmap_get(map.get(), "nets"), nullptr);
    EXPECT_EQ(hashmap_get(nullptr, key), nullptr);
    void *stored = nullptr;
    EXPECT_EQ(hashmap_get2(map.get(), same, &stored), value(1));
    EXPECT_EQ(stored, key);
    EXPECT_EQ(hashmap_get2(map.get(), same, nullptr), value(1));
}

TEST(HashmapGet2, LeavesTheKeyAloneWhenAbsent) {
    const Map map = number_map(0, 1);
    void *stored = value(7);
    EXPECT_EQ(hashmap_get2(map.get(), number(1), &stored), nullptr);
    EXPECT_EQ(hashmap_get2(nullptr, number(1), &stored), nullptr);
    EXPECT_EQ(stored, value(7));
}

TEST(HashmapGet, NullKeyIsNullAlthoughGet2FindsIt) {
    const Map map(hashmap_new(nullptr, nullptr));
    ASSERT_EQ(hashmap_put(map.get(), nullptr, value(1)), 1);
    EXPECT_EQ(hashmap_get(map.get(), nullptr), nullptr);
    void *stored = value(7);
    EXPECT_EQ(hashmap_get2(map.get(), nullptr, &stored), value(1));
    EXPECT_EQ(stored, nullptr);
    EXPECT_EQ(hashmap_contains(map.get(), nullptr), 1);
}

TEST(HashmapContains, IsOneOrZeroWhateverTheValue) {
    const Map map = number_map();
    ASSERT_EQ(hashmap_put(map.get(), number(1), nullptr), 1);
    EXPECT_EQ(hashmap_contains(map.get(), number(1)), 1);
    EXPECT_EQ(hashmap_contains(map.get(), number(2)), 0);
    EXPECT_EQ(hashmap_contains(nullptr, number(1)), 0);
    EXPECT_EQ(hashmap_get(map.get(), number(1)), nullptr);
}

TEST(HashmapSize, CountsEntries) {
    const Map map = number_map(0, 5);
    EXPECT_EQ(hashmap_size(map.get()), 5U);
    EXPECT_EQ(hashmap_isempty(map.get()), 0);
    EXPECT_EQ(hashmap_size(nullptr), 0U);
    EXPECT_EQ(hashmap_buckets(nullptr), 0U);
    EXPECT_EQ(hashmap_isempty(nullptr), 1);
}

const void *seen_stored;
const void *seen_wanted;
int note_compare(const void *stored, const void *wanted) {
    seen_stored = stored;
    seen_wanted = wanted;
    return uint32_compare_func(stored, wanted);
}

TEST(HashmapLookUp, ComparesTheStoredKeyWithTheWantedOne) {
    const Map map(hashmap_new(uint32_hash_func, note_compare));
    ASSERT_EQ(hashmap_put(map.get(), number(1), value(1)), 1);
    const uint32_t wanted = 1;
    EXPECT_EQ(hashmap_get(map.get(), &wanted), value(1));
    EXPECT_EQ(seen_stored, number(1));
    EXPECT_EQ(seen_wanted, &wanted);
}

TEST(HashmapLookUp, LooksOnlyAtItsOwnChain) {
    const Map map(hashmap_new(uint32_hash_func, [](const void *, const void *) { return 0; }));
    ASSERT_EQ(hashmap_put(map.get(), number(1), value(1)), 1);
    EXPECT_EQ(hashmap_get(map.get(), number(1 + 31)), value(1)) << "equal, by a comparison that finds all keys equal";
    EXPECT_EQ(hashmap_get(map.get(), number(2)), nullptr);
}

} // namespace
