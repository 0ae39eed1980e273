// SPDX-License-Identifier: MIT
// Merging, moving and copying.
#include "containers/hashmap_fixture.h"

using namespace hashmap_test;

namespace {

TEST(HashmapMerge, AddsWhatIsMissingInOrderAndKeepsOwnValues) {
    const Map map = number_map(0, 3);
    const Map other = number_map(5, 7);
    ASSERT_EQ(hashmap_put(other.get(), number(1), value(9)), 1);
    ASSERT_EQ(hashmap_put(other.get(), number(2), value(2)), 1);
    ASSERT_EQ(hashmap_put(other.get(), number(8), value(8)), 1);
    EXPECT_EQ(hashmap_merge(map.get(), other.get()), 0);
    EXPECT_EQ(numbers_of(map.get()), (std::vector<uint32_t>{0, 1, 2, 5, 6, 8}));
    EXPECT_EQ(hashmap_get(map.get(), number(1)), value(1));
    EXPECT_EQ(hashmap_size(other.get()), 5U);
    expect_consistent(map.get());
    expect_consistent(other.get());
}

TEST(HashmapMerge, NullsAndItself) {
    const Map map = number_map(0, 3);
    EXPECT_EQ(hashmap_merge(map.get(), nullptr), 0);
    EXPECT_EQ(hashmap_merge(nullptr, nullptr), 0);
    EXPECT_EQ(hashmap_merge(nullptr, map.get()), 0);
    EXPECT_EQ(hashmap_merge(map.get(), map.get()), 0);
    EXPECT_EQ(numbers_of(map.get()), (std::vector<uint32_t>{0, 1, 2}));
}

TEST(HashmapMerge, StopsWithoutMemoryAndFreesTheLock) {
    const Map other = number_map(0, 5);
    CountingAllocator allocator;
    {
        const Map map = number_map();
        allocator.fail_at(3);
        EXPECT_EQ(hashmap_merge(map.get(), other.get()), -12);
        EXPECT_EQ(numbers_of(map.get()), (std::vector<uint32_t>{0, 1}));
        expect_consistent(map.get());
        EXPECT_EQ(pthread_rwlock_trywrlock(&other->lock), 0);
        pthread_rwlock_unlock(&other->lock);
        EXPECT_EQ(hashmap_merge(map.get(), other.get()), 0);
        EXPECT_EQ(hashmap_size(map.get()), 5U);
    }
    EXPECT_EQ(allocator.live_blocks(), 0U);
}

TEST(HashmapMerge, GrowsTheTarget) {
    const Map map = number_map(0, 20);
    const Map other = number_map(20, 40);
    EXPECT_EQ(hashmap_merge(map.get(), other.get()), 0);
    EXPECT_EQ(hashmap_buckets(map.get()), 99U);
    expect_consistent(map.get());
}

TEST(HashmapMove, MovesTheRecordsOfMissingKeysAndLeavesTheRest) {
    const Map map = number_map(2, 4);
    const Map other = number_map(0, 6);
    const hashmap_entry *const first = other->order_first;
    CountingAllocator allocator;
    hashmap_move(map.get(), other.get());
    EXPECT_EQ(allocator.allocations() + allocator.release_calls(), 0U);
    EXPECT_EQ(numbers_of(map.get()), (std::vector<uint32_t>{2, 3, 0, 1, 4, 5}));
    EXPECT_EQ(numbers_of(other.get()), (std::vector<uint32_t>{2, 3}));
    EXPECT_EQ(map->order_first->order_next->order_next, first);
    expect_consistent(map.get());
    expect_consistent(other.get());
}

TEST(HashmapMove, KeepsTheTargetsValueOfASharedKey) {
    const Map map = number_map();
    const Map other = number_map(0, 1);
    ASSERT_EQ(hashmap_put(map.get(), number(0), value(9)), 1);
    hashmap_move(map.get(), other.get());
    EXPECT_EQ(hashmap_get(map.get(), number(0)), value(9));
    EXPECT_EQ(hashmap_get(other.get(), number(0)), value(0));
}

TEST(HashmapMove, NeverGrowsTheTarget) {
    const Map map = number_map();
    const Map other = number_map(0, 200);
    hashmap_move(map.get(), other.get());
    EXPECT_EQ(hashmap_buckets(map.get()), 31U);
    EXPECT_EQ(hashmap_size(map.get()), 200U);
    EXPECT_EQ(hashmap_size(other.get()), 0U);
    EXPECT_GT(hashmap_buckets(other.get()), 200U);
    expect_consistent(map.get());
    expect_consistent(other.get());
    ASSERT_EQ(hashmap_put(map.get(), number(300), value(300)), 1);
    EXPECT_EQ(hashmap_buckets(map.get()), 201U * 4 - 1) << "the next put does";
    expect_consistent(map.get());
}

TEST(HashmapMove, NullsAndItselfChangeNothing) {
    const Map map = number_map(0, 30);
    hashmap_move(map.get(), nullptr);
    hashmap_move(nullptr, nullptr);
    hashmap_move(nullptr, map.get());
    hashmap_move(map.get(), map.get());
    EXPECT_EQ(hashmap_size(map.get()), 30U);
    expect_consistent(map.get());
    EXPECT_EQ(pthread_rwlock_trywrlock(&map->lock), 0) << "and leave it unlocked";
    pthread_rwlock_unlock(&map->lock);
}

TEST(HashmapMoveOne, MovesTheRecord) {
    const Map map = number_map(0, 2);
    const Map other = number_map(5, 8);
    const hashmap_entry *const moved = other->order_first->order_next;
    const uint32_t six = 6;
    CountingAllocator allocator;
    EXPECT_EQ(hashmap_move_one(map.get(), other.get(), &six), 0);
    EXPECT_EQ(allocator.allocations() + allocator.release_calls(), 0U);
    EXPECT_EQ(map->order_last, moved);
    EXPECT_EQ(moved->key, number(6)) << "with the stored key";
    EXPECT_EQ(numbers_of(map.get()), (std::vector<uint32_t>{0, 1, 6}));
    EXPECT_EQ(numbers_of(other.get()), (std::vector<uint32_t>{5, 7}));
    EXPECT_EQ(hashmap_get(map.get(), number(6)), value(6));
    expect_consistent(map.get());
    expect_consistent(other.get());
}

TEST(HashmapMoveOne, Results) {
    const Map map = number_map(0, 2);
    const Map other = number_map(1, 3);
    EXPECT_EQ(hashmap_move_one(map.get(), nullptr, number(0)), 0);
    EXPECT_EQ(hashmap_move_one(nullptr, nullptr, number(0)), 0);
    EXPECT_EQ(hashmap_move_one(map.get(), other.get(), number(1)), -17);
    EXPECT_EQ(hashmap_move_one(map.get(), other.get(), number(0)), -17) << "in the target, though not in the source";
    EXPECT_EQ(hashmap_move_one(map.get(), other.get(), number(9)), -2);
    EXPECT_EQ(hashmap_move_one(nullptr, other.get(), number(9)), -2);
    EXPECT_EQ(hashmap_size(map.get()), 2U);
    EXPECT_EQ(hashmap_size(other.get()), 2U);
}

TEST(HashmapMoveOne, WithinOneMapChangesNothing) {
    const Map map = number_map(0, 3);
    EXPECT_EQ(hashmap_move_one(map.get(), map.get(), number(1)), -17);
    EXPECT_EQ(hashmap_move_one(map.get(), map.get(), number(9)), -2);
    EXPECT_EQ(numbers_of(map.get()), (std::vector<uint32_t>{0, 1, 2}));
    expect_consistent(map.get());
}

TEST(HashmapMoveOne, NeverGrowsTheTarget) {
    const Map map = number_map(0, 24);
    const Map other = number_map(100, 110);
    for (size_t n = 100; n < 110; ++n)
        EXPECT_EQ(hashmap_move_one(map.get(), other.get(), number(n)), 0);
    EXPECT_EQ(hashmap_buckets(map.get()), 31U);
    EXPECT_EQ(hashmap_isempty(other.get()), 1);
    expect_consistent(map.get());
}

TEST(HashmapCopy, HasTheFunctionsAndEntriesOfTheOriginal) {
    const Map map(hashmap_new(few_hashes, uint32_compare_func));
    for (size_t n = 0; n < 30; ++n)
        ASSERT_EQ(hashmap_put(map.get(), number(29 - n), value(n)), 1);
    const Map copy(hashmap_copy(map.get()));
    EXPECT_EQ(copy->hash_fn, few_hashes);
    EXPECT_EQ(copy->compare_fn, uint32_compare_func);
    EXPECT_EQ(keys_of(copy.get()), keys_of(map.get()));
    EXPECT_EQ(values_of(copy.get()), values_of(map.get()));
    EXPECT_NE(copy->order_first, map->order_first);
    expect_consistent(copy.get());
    EXPECT_EQ(hashmap_remove(copy.get(), number(3)), value(26));
    EXPECT_EQ(hashmap_size(map.get()), 30U);
}

TEST(HashmapCopy, OfNullIsNullAndOfEmptyIsEmpty) {
    EXPECT_EQ(hashmap_copy(nullptr), nullptr);
    const Map empty = number_map();
    const Map copy(hashmap_copy(empty.get()));
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(hashmap_size(copy.get()), 0U);
}

TEST(HashmapCopy, SweepOfFailingAllocations) {
    const Map map = number_map(0, 40);
    size_t nulls = 0;
    const size_t failures = sweep_allocations([&](CountingAllocator &, size_t) {
        hashmap *const copy = hashmap_copy(map.get());
        nulls += copy == nullptr ? 1 : 0;
        if (copy != nullptr) {
            EXPECT_EQ(keys_of(copy), keys_of(map.get()));
            expect_consistent(copy);
        }
        hashmap_free(copy);
    });
    EXPECT_EQ(failures, 1 + 40 + 1U) << "the map, its entries, one growth";
    EXPECT_EQ(nulls, 41U) << "only a failed growth is done without";
}

} // namespace
