// SPDX-License-Identifier: MIT
// The parts that the map's operations are made of, and entries that stand on the bucket of an old count.
#include "containers/hashmap_core.h"
#include "containers/hashmap_fixture.h"

using namespace hashmap_test;
using namespace varnel;

namespace {

TEST(HashmapCore, BucketIsTheHashModuloTheCount) {
    const Map map = number_map();
    EXPECT_EQ(bucket_of(map.get(), number(0)), 0U);
    EXPECT_EQ(bucket_of(map.get(), number(30)), 30U);
    EXPECT_EQ(bucket_of(map.get(), number(31)), 0U);
    const uint32_t largest = UINT32_MAX;
    EXPECT_EQ(bucket_of(map.get(), &largest), UINT32_MAX % 31);
}

TEST(HashmapCore, FindReturnsTheFirstEqualEntryOfTheChain) {
    const Map map = number_map(0, 40);
    EXPECT_EQ(find_entry(map.get(), number(5))->value, value(5));
    EXPECT_EQ(find_in_bucket(map.get(), bucket_of(map.get(), number(5)), number(5))->value, value(5));
    EXPECT_EQ(find_in_bucket(map.get(), 6, number(5)), nullptr);
    EXPECT_EQ(find_locked(map.get(), number(41)), nullptr);
    EXPECT_EQ(pthread_rwlock_trywrlock(&map->lock), 0) << "and the lock is free again";
    pthread_rwlock_unlock(&map->lock);
}

TEST(HashmapCore, UnlinkKeepsTheRecordAndRemoveFreesIt) {
    const CountingAllocator allocator;
    {
        const Map map = number_map(0, 3);
        hashmap_entry *const entry = find_entry(map.get(), number(1));
        unlink_entry(map.get(), entry);
        EXPECT_TRUE(allocator.is_live(entry));
        EXPECT_EQ(hashmap_size(map.get()), 2U);
        expect_consistent(map.get());
        link_entry(map.get(), entry, 1);
        EXPECT_EQ(map->order_last, entry);
        expect_consistent(map.get());
        remove_entry(map.get(), entry);
        EXPECT_FALSE(allocator.is_live(entry));
        expect_consistent(map.get());
    }
    EXPECT_EQ(allocator.live_blocks(), 0U);
}

TEST(HashmapCore, GrowthWaitsForTheLoad) {
    const Map map = number_map(0, 23);
    grow_if_loaded(map.get());
    EXPECT_EQ(hashmap_buckets(map.get()), 31U);
    ASSERT_EQ(hashmap_put(map.get(), number(23), value(23)), 1);
    grow_if_loaded(map.get());
    EXPECT_EQ(hashmap_buckets(map.get()), 99U);
    grow_if_loaded(map.get());
    EXPECT_EQ(hashmap_buckets(map.get()), 99U);
    expect_consistent(map.get());
}

// A map of 99 buckets in which number(stray), whose bucket is another one, stands on bucket 40: what a put leaves that
// another thread's put made the map grow under. Others may stand on that chain before and behind it.
constexpr size_t kStray = 1000; // its bucket of 99 is 10
constexpr uint32_t kOldBucket = 40;

Map map_with_stray(bool others_before, bool others_behind) {
    Map map = number_map(0, 30);
    if (others_behind) {
        EXPECT_EQ(hashmap_put(map.get(), number(kOldBucket), value(kOldBucket)), 1);
    }
    auto *const entry = static_cast<hashmap_entry *>(xcalloc(1, sizeof(hashmap_entry)));
    entry->key = number(kStray);
    entry->value = value(kStray);
    link_entry(map.get(), entry, kOldBucket);
    if (others_before) {
        EXPECT_EQ(hashmap_put(map.get(), number(kOldBucket + 99), value(1)), 1);
    }
    return map;
}

hashmap_entry *find_stray(hashmap *map) {
    hashmap_entry *entry = map->order_first;
    while (entry->key != number(kStray))
        entry = entry->order_next;
    return entry;
}

class StrayEntry : public testing::TestWithParam<std::pair<bool, bool>> {
protected:
    StrayEntry() : map_(map_with_stray(GetParam().first, GetParam().second)), map(map_.get()) {}

    Map map_;
    hashmap *map;
};

INSTANTIATE_TEST_SUITE_P(Places, StrayEntry,
                         testing::Values(std::pair(false, false), std::pair(true, false), std::pair(false, true),
                                         std::pair(true, true)));

TEST_P(StrayEntry, IsNotFoundButWalked) {
    EXPECT_EQ(hashmap_buckets(map), 99U);
    EXPECT_EQ(hashmap_contains(map, number(kStray)), 0);
    uintptr_t token = HASHMAP_ITERATE_START;
    size_t seen = 0;
    while (void *const item = hashmap_iterate(map, &token, nullptr))
        seen += item == value(kStray) ? 1 : 0;
    EXPECT_EQ(seen, 1U);
    expect_consistent(map, Placing::any);
}

TEST_P(StrayEntry, UnlinksFromTheChainItStandsOn) {
    hashmap_entry *const stray = find_stray(map);
    remove_entry(map, stray);
    expect_consistent(map);
}

TEST_P(StrayEntry, UnlinksBesideEntriesOnTheBucketOfItsKey) {
    ASSERT_EQ(hashmap_put(map, number(kStray % 99 + 99), value(1)), 1);
    remove_entry(map, find_stray(map));
    expect_consistent(map);
    EXPECT_EQ(hashmap_get(map, number(kStray % 99)), value(kStray % 99));
}

TEST_P(StrayEntry, IsStolenInItsTurn) {
    while (hashmap_isempty(map) == 0) {
        EXPECT_NE(hashmap_steal_first(map), nullptr);
        expect_consistent(map, Placing::any);
    }
}

TEST_P(StrayEntry, IsClearedAndFreed) {
    hashmap_clear(map);
    EXPECT_EQ(hashmap_size(map), 0U);
    expect_consistent(map);
}

TEST_P(StrayEntry, MovesToItsPlaceInTheTarget) {
    const Map target = number_map();
    hashmap_move(target.get(), map);
    EXPECT_EQ(hashmap_isempty(map), 1);
    EXPECT_EQ(hashmap_get(target.get(), number(kStray)), value(kStray));
    expect_consistent(target.get());
    expect_consistent(map);
}

TEST_P(StrayEntry, TheNextGrowthPutsItRight) {
    for (size_t n = 2000; hashmap_buckets(map) == 99; ++n)
        ASSERT_EQ(hashmap_put(map, number(n), value(n)), 1);
    EXPECT_EQ(hashmap_get(map, number(kStray)), value(kStray));
    expect_consistent(map);
}

TEST_P(StrayEntry, ItsKeyCanBePutASecondTime) {
    EXPECT_EQ(hashmap_put(map, number(kStray), value(5)), 1);
    EXPECT_EQ(hashmap_get(map, number(kStray)), value(5));
    EXPECT_EQ(hashmap_remove(map, number(kStray)), value(5));
    expect_consistent(map, Placing::any);
    const Map copy(hashmap_copy(map));
    EXPECT_EQ(hashmap_get(copy.get(), number(kStray)), value(kStray));
    expect_consistent(copy.get());
}

} // namespace
