// SPDX-License-Identifier: MIT
#include "containers/hashmap_fixture.h"

using namespace hashmap_test;

namespace {

TEST(HashmapRemove, ReturnsTheValueAndFreesOnlyTheRecord) {
    CountingAllocator allocator;
    {
        const Map map(hashmap_new(string_hash_func, string_compare_func));
        char *const key = xstrdup("net");
        char *const item = xstrdup("item");
        ASSERT_EQ(hashmap_put(map.get(), key, item), 1);
        const size_t live = allocator.live_blocks();
        EXPECT_EQ(hashmap_remove(map.get(), "net"), item);
        EXPECT_EQ(allocator.live_blocks(), live - 1);
        EXPECT_TRUE(allocator.is_live(key));
        EXPECT_TRUE(allocator.is_live(item));
        EXPECT_EQ(hashmap_remove(map.get(), "net"), nullptr);
        EXPECT_EQ(hashmap_isempty(map.get()), 1);
        _xfree(key);
        _xfree(item);
    }
    EXPECT_EQ(allocator.live_blocks(), 0U);
}

TEST(HashmapRemove, AbsentKeysAndNullMapsAreNull) {
    const Map map = number_map(0, 2);
    void *stored = value(7);
    EXPECT_EQ(hashmap_remove(map.get(), number(2)), nullptr);
    EXPECT_EQ(hashmap_remove(nullptr, number(0)), nullptr);
    EXPECT_EQ(hashmap_remove2(map.get(), number(2), &stored), nullptr);
    EXPECT_EQ(hashmap_remove2(nullptr, number(0), &stored), nullptr);
    EXPECT_EQ(hashmap_remove_value(map.get(), number(2), value(2)), nullptr);
    EXPECT_EQ(hashmap_remove_value(nullptr, number(0), value(0)), nullptr);
    EXPECT_EQ(stored, value(7));
    EXPECT_EQ(hashmap_size(map.get()), 2U);
}

TEST(HashmapRemove, ANullKeyIsLookedUp) {
    const Map map(hashmap_new(nullptr, nullptr));
    ASSERT_EQ(hashmap_put(map.get(), nullptr, value(1)), 1);
    EXPECT_EQ(hashmap_remove(map.get(), nullptr), value(1));
    EXPECT_EQ(hashmap_size(map.get()), 0U);
}

TEST(HashmapRemove2, GivesTheStoredKey) {
    const Map map = number_map(0, 3);
    const uint32_t one = 1;
    void *stored = nullptr;
    EXPECT_EQ(hashmap_remove2(map.get(), &one, &stored), value(1));
    EXPECT_EQ(stored, number(1));
    EXPECT_EQ(hashmap_remove2(map.get(), number(2), nullptr), value(2));
    EXPECT_EQ(numbers_of(map.get()), std::vector<uint32_t>{0});
}

TEST(HashmapRemove2, GivesTheKeyOfAnEntryWithoutValue) {
    const Map map = number_map();
    ASSERT_EQ(hashmap_put(map.get(), number(1), nullptr), 1);
    void *stored = nullptr;
    EXPECT_EQ(hashmap_remove2(map.get(), number(1), &stored), nullptr);
    EXPECT_EQ(stored, number(1));
    EXPECT_EQ(hashmap_size(map.get()), 0U);
}

TEST(HashmapRemoveValue, RemovesOnlyWithExactlyThisValue) {
    const Map map = number_map(0, 3);
    EXPECT_EQ(hashmap_remove_value(map.get(), number(1), value(2)), nullptr);
    EXPECT_EQ(hashmap_remove_value(map.get(), number(1), nullptr), nullptr);
    EXPECT_EQ(hashmap_size(map.get()), 3U);
    EXPECT_EQ(hashmap_remove_value(map.get(), number(1), value(1)), value(1));
    EXPECT_EQ(numbers_of(map.get()), (std::vector<uint32_t>{0, 2}));
    expect_consistent(map.get());
}

TEST(HashmapRemoveValue, ANullValueMatchesANullValue) {
    const Map map = number_map();
    ASSERT_EQ(hashmap_put(map.get(), number(1), nullptr), 1);
    EXPECT_EQ(hashmap_remove_value(map.get(), number(1), nullptr), nullptr);
    EXPECT_EQ(hashmap_size(map.get()), 0U);
}

// Chains of three in one bucket, each of its entries removed, in every place of the order.
TEST(HashmapRemove, KeepsChainsAndOrderWhole) {
    for (size_t removed = 0; removed < 6; ++removed) {
        SCOPED_TRACE(removed);
        const Map map = number_map();
        constexpr size_t kKeys[] = {1, 2, 32, 33, 63, 64}; // buckets 1 and 2
        for (const size_t n : kKeys)
            ASSERT_EQ(hashmap_put(map.get(), number(n), value(n)), 1);
        EXPECT_EQ(hashmap_remove(map.get(), number(kKeys[removed])), value(kKeys[removed]));
        EXPECT_EQ(hashmap_size(map.get()), 5U);
        expect_consistent(map.get());
        for (const size_t n : kKeys)
            EXPECT_EQ(hashmap_get(map.get(), number(n)), n != kKeys[removed] ? value(n) : nullptr);
    }
}

TEST(HashmapRemove, PuttingAgainMovesToTheEnd) {
    const Map map = number_map(0, 4);
    EXPECT_EQ(hashmap_remove(map.get(), number(1)), value(1));
    EXPECT_EQ(hashmap_put(map.get(), number(1), value(1)), 1);
    EXPECT_EQ(numbers_of(map.get()), (std::vector<uint32_t>{0, 2, 3, 1}));
    expect_consistent(map.get());
}

} // namespace
