// SPDX-License-Identifier: MIT
#include "containers/hashmap_fixture.h"

using namespace hashmap_test;

namespace {

TEST(HashmapRemoveAndPut, RefusesANewKeyThatIsAbsent) {
    const Map map = number_map(0, 1);
    EXPECT_EQ(hashmap_remove_and_put(map.get(), number(0), number(1), value(9)), -17);
    EXPECT_EQ(numbers_of(map.get()), std::vector<uint32_t>{0});
    EXPECT_EQ(hashmap_get(map.get(), number(0)), value(0));
    expect_consistent(map.get());
}

TEST(HashmapRemoveAndPut, NeedsTheOldKey) {
    const Map map = number_map(0, 2);
    EXPECT_EQ(hashmap_remove_and_put(map.get(), number(5), number(1), value(9)), -2);
    EXPECT_EQ(hashmap_remove_and_put(map.get(), number(5), number(6), value(9)), -2) << "tested before the new key";
    EXPECT_EQ(hashmap_remove_and_put(nullptr, number(0), number(1), value(9)), -2);
    EXPECT_EQ(values_of(map.get()), (std::vector<void *>{value(0), value(1)}));
}

TEST(HashmapRemoveAndPut, LeavesTwoEntriesOfTheNewKeyTheMovedOneFoundFirst) {
    const Map map = number_map(0, 3);
    const hashmap_entry *const moved = map->order_first;
    EXPECT_EQ(hashmap_remove_and_put(map.get(), number(0), number(1), value(9)), 0);
    EXPECT_EQ(numbers_of(map.get()), (std::vector<uint32_t>{1, 2, 1}));
    EXPECT_EQ(values_of(map.get()), (std::vector<void *>{value(1), value(2), value(9)}));
    EXPECT_EQ(map->order_last, moved) << "the same record";
    EXPECT_EQ(hashmap_get(map.get(), number(0)), nullptr);
    EXPECT_EQ(hashmap_get(map.get(), number(1)), value(9));
    expect_consistent(map.get());
    EXPECT_EQ(hashmap_remove(map.get(), number(1)), value(9));
    EXPECT_EQ(hashmap_remove(map.get(), number(1)), value(1));
    EXPECT_EQ(hashmap_remove(map.get(), number(1)), nullptr);
}

TEST(HashmapRemoveAndPut, OntoItsOwnKeyMovesTheEntryToTheEnd) {
    const Map map = number_map(0, 3);
    const uint32_t zero = 0;
    EXPECT_EQ(hashmap_remove_and_put(map.get(), number(0), &zero, value(9)), 0);
    EXPECT_EQ(numbers_of(map.get()), (std::vector<uint32_t>{1, 2, 0}));
    EXPECT_EQ(map->order_last->key, &zero);
    EXPECT_EQ(hashmap_get(map.get(), number(0)), value(9));
    expect_consistent(map.get());
}

TEST(HashmapRemoveAndReplace, NeedsTheOldKey) {
    const Map map = number_map(0, 2);
    EXPECT_EQ(hashmap_remove_and_replace(map.get(), number(5), number(1), value(9)), -2);
    EXPECT_EQ(hashmap_remove_and_replace(nullptr, number(0), number(1), value(9)), -2);
    EXPECT_EQ(values_of(map.get()), (std::vector<void *>{value(0), value(1)}));
}

TEST(HashmapRemoveAndReplace, GivesTheEntryAnAbsentKey) {
    const Map map = number_map(0, 3);
    const hashmap_entry *const moved = map->order_first;
    EXPECT_EQ(hashmap_remove_and_replace(map.get(), number(0), number(7), value(9)), 0);
    EXPECT_EQ(numbers_of(map.get()), (std::vector<uint32_t>{1, 2, 7}));
    EXPECT_EQ(map->order_last, moved);
    EXPECT_EQ(hashmap_get(map.get(), number(7)), value(9));
    EXPECT_EQ(hashmap_get(map.get(), number(0)), nullptr);
    expect_consistent(map.get());
}

TEST(HashmapRemoveAndReplace, RemovesTheOtherEntryOfTheNewKeyButNotItsKeyAndValue) {
    CountingAllocator allocator;
    {
        const Map map(hashmap_new(string_hash_func, string_compare_func));
        char *const key = xstrdup("b");
        char *const item = xstrdup("item");
        ASSERT_EQ(hashmap_put(map.get(), "a", value(1)), 1);
        ASSERT_EQ(hashmap_put(map.get(), key, item), 1);
        const hashmap_entry *const removed = map->order_last;
        EXPECT_EQ(hashmap_remove_and_replace(map.get(), "a", "b", value(9)), 0);
        EXPECT_FALSE(allocator.is_live(removed));
        EXPECT_TRUE(allocator.is_live(key));
        EXPECT_TRUE(allocator.is_live(item));
        EXPECT_EQ(hashmap_size(map.get()), 1U);
        EXPECT_EQ(hashmap_get(map.get(), "b"), value(9));
        expect_consistent(map.get());
        _xfree(key);
        _xfree(item);
    }
    EXPECT_EQ(allocator.live_blocks(), 0U);
}

TEST(HashmapRemoveAndReplace, OntoItsOwnKeyMovesTheEntryToTheEnd) {
    const Map map = number_map(0, 3);
    EXPECT_EQ(hashmap_remove_and_replace(map.get(), number(0), number(0), value(9)), 0);
    EXPECT_EQ(numbers_of(map.get()), (std::vector<uint32_t>{1, 2, 0}));
    EXPECT_EQ(hashmap_get(map.get(), number(0)), value(9));
    expect_consistent(map.get());
}

TEST(HashmapRelink, NeverAllocates) {
    const Map map = number_map(0, 24);
    CountingAllocator allocator;
    allocator.fail_from(1);
    EXPECT_EQ(hashmap_remove_and_put(map.get(), number(0), number(1), value(9)), 0);
    EXPECT_EQ(hashmap_remove_and_replace(map.get(), number(2), number(100), value(9)), 0);
    EXPECT_EQ(allocator.allocations(), 0U);
    EXPECT_EQ(hashmap_buckets(map.get()), 31U);
}

// Every pair of places in one chain and in the order.
TEST(HashmapRelink, KeepsChainsAndOrderWhole) {
    constexpr size_t kKeys[] = {1, 2, 32, 33, 63}; // buckets 1 and 2
    for (const size_t from : kKeys)
        for (const size_t to : kKeys) {
            SCOPED_TRACE(testing::Message() << from << " to " << to);
            const Map put = number_map();
            const Map replaced = number_map();
            for (const size_t n : kKeys) {
                ASSERT_EQ(hashmap_put(put.get(), number(n), value(n)), 1);
                ASSERT_EQ(hashmap_put(replaced.get(), number(n), value(n)), 1);
            }
            EXPECT_EQ(hashmap_remove_and_put(put.get(), number(from), number(to), value(9)), 0);
            EXPECT_EQ(hashmap_remove_and_replace(replaced.get(), number(from), number(to), value(9)), 0);
            EXPECT_EQ(hashmap_size(put.get()), 5U);
            EXPECT_EQ(hashmap_size(replaced.get()), from == to ? 5U : 4U);
            EXPECT_EQ(hashmap_get(put.get(), number(to)), value(9));
            EXPECT_EQ(hashmap_get(replaced.get(), number(to)), value(9));
            expect_consistent(put.get());
            expect_consistent(replaced.get());
        }
}

} // namespace
