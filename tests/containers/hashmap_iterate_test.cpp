// SPDX-License-Identifier: MIT
#include "containers/hashmap_fixture.h"

#include <algorithm>

using namespace hashmap_test;

namespace {

using Step = void *(*)(hashmap *, uintptr_t *, void **);

struct Direction {
    const char *name;
    Step step;
    uintptr_t start;
    uintptr_t end;
};

constexpr Direction kDirections[] = {{"forwards", hashmap_iterate, 0, UINTPTR_MAX},
                                     {"backwards", hashmap_iterate_backwards, UINTPTR_MAX, 0}};

TEST(HashmapIterate, TheReservedTokensAreZeroAndAllBits) {
    EXPECT_EQ(HASHMAP_ITERATE_START, 0U);
    EXPECT_EQ(HASHMAP_ITERATE_END, UINTPTR_MAX);
}

TEST(HashmapIterate, WalksTheOrderOfInsertionBothWays) {
    const Map map = number_map();
    const std::vector<uint32_t> inserted = {9, 2, 40, 71, 0, 33};
    for (const uint32_t n : inserted)
        ASSERT_EQ(hashmap_put(map.get(), number(n), value(n)), 1);
    for (const Direction &direction : kDirections) {
        SCOPED_TRACE(direction.name);
        std::vector<uint32_t> seen;
        uintptr_t token = direction.start;
        void *key = nullptr;
        while (void *const item = direction.step(map.get(), &token, &key)) {
            EXPECT_EQ(item, value(number_of(key)));
            seen.push_back(number_of(key));
        }
        EXPECT_EQ(token, direction.end);
        EXPECT_EQ(key, nullptr);
        if (direction.start != 0)
            std::reverse(seen.begin(), seen.end());
        EXPECT_EQ(seen, inserted);
    }
}

TEST(HashmapIterate, TheTokenIsTheNextEntry) {
    const Map map = number_map(0, 2);
    uintptr_t token = 0;
    EXPECT_EQ(hashmap_iterate(map.get(), &token, nullptr), value(0));
    EXPECT_EQ(token, reinterpret_cast<uintptr_t>(map->order_last));
    EXPECT_EQ(hashmap_iterate(map.get(), &token, nullptr), value(1));
    EXPECT_EQ(token, UINTPTR_MAX) << "the last value and the end come together";
    EXPECT_EQ(hashmap_iterate_backwards(map.get(), &token, nullptr), value(1));
    EXPECT_EQ(token, reinterpret_cast<uintptr_t>(map->order_first));
    EXPECT_EQ(hashmap_iterate_backwards(map.get(), &token, nullptr), value(0));
    EXPECT_EQ(token, 0U);
}

TEST(HashmapIterate, EndsOnNullMapsEmptyMapsAndAtTheEnd) {
    const Map empty = number_map();
    const Map full = number_map(0, 2);
    struct Case {
        const char *name;
        hashmap *map;
        bool at_end;
    };
    for (const Direction &direction : kDirections)
        for (const Case &row :
             {Case{"NULL", nullptr, false}, Case{"NULL at the end", nullptr, true}, Case{"empty", empty.get(), false},
              Case{"empty at the end", empty.get(), true}, Case{"full at the end", full.get(), true}}) {
            SCOPED_TRACE(testing::Message() << row.name << ' ' << direction.name);
            for (const bool with_key : {true, false}) {
                uintptr_t token = row.at_end ? direction.end : direction.start;
                void *key = value(7);
                EXPECT_EQ(direction.step(row.map, &token, with_key ? &key : nullptr), nullptr);
                EXPECT_EQ(token, direction.end);
                EXPECT_EQ(key, with_key ? nullptr : value(7));
            }
        }
}

TEST(HashmapIterate, ANullMapEndsFromAnyToken) {
    const Map map = number_map(0, 1);
    for (const Direction &direction : kDirections) {
        uintptr_t token = reinterpret_cast<uintptr_t>(map->order_first);
        EXPECT_EQ(direction.step(nullptr, &token, nullptr), nullptr);
        EXPECT_EQ(token, direction.end);
    }
}

TEST(HashmapIterate, ANullValueLooksLikeTheEndButGivesItsKey) {
    const Map map = number_map();
    ASSERT_EQ(hashmap_put(map.get(), number(0), nullptr), 1);
    ASSERT_EQ(hashmap_put(map.get(), number(1), value(1)), 1);
    uintptr_t token = 0;
    void *key = nullptr;
    EXPECT_EQ(hashmap_iterate(map.get(), &token, &key), nullptr);
    EXPECT_EQ(key, number(0));
    EXPECT_EQ(hashmap_iterate(map.get(), &token, &key), value(1));
    EXPECT_EQ(token, UINTPTR_MAX);
}

TEST(HashmapIterate, TheEntryJustReturnedMayBeRemoved) {
    const Map map = number_map(0, 50);
    uintptr_t token = 0;
    void *key = nullptr;
    while (hashmap_iterate(map.get(), &token, &key) != nullptr)
        if (number_of(key) % 2 == 0) {
            EXPECT_NE(hashmap_remove(map.get(), key), nullptr);
        }
    EXPECT_EQ(hashmap_size(map.get()), 25U);
    expect_consistent(map.get());
}

TEST(HashmapIterateSkip, SetsTheTokenToTheKeysEntry) {
    const Map map = number_map(0, 3);
    const uint32_t one = 1;
    uintptr_t token = 0;
    EXPECT_EQ(hashmap_iterate_skip(map.get(), &one, &token), value(1));
    EXPECT_EQ(hashmap_iterate(map.get(), &token, nullptr), value(1)) << "the entry is the next to be returned";
    EXPECT_EQ(hashmap_iterate(map.get(), &token, nullptr), value(2));
}

TEST(HashmapIterateSkip, LeavesTheTokenAloneWhenAbsent) {
    const Map map = number_map(0, 3);
    uintptr_t token = 77;
    EXPECT_EQ(hashmap_iterate_skip(map.get(), number(3), &token), nullptr);
    EXPECT_EQ(hashmap_iterate_skip(nullptr, number(1), &token), nullptr);
    EXPECT_EQ(token, 77U);
}

TEST(HashmapFirst, GivesTheEndsOfTheOrder) {
    const Map map = number_map(4, 7);
    EXPECT_EQ(hashmap_first(map.get()), value(4));
    EXPECT_EQ(hashmap_first_key(map.get()), number(4));
    EXPECT_EQ(hashmap_last(map.get()), value(6));
    EXPECT_EQ(hashmap_size(map.get()), 3U);
}

TEST(HashmapFirst, IsNullForNullAndEmptyMaps) {
    const Map empty = number_map();
    for (hashmap *const map : {static_cast<hashmap *>(nullptr), empty.get()}) {
        EXPECT_EQ(hashmap_first(map), nullptr);
        EXPECT_EQ(hashmap_first_key(map), nullptr);
        EXPECT_EQ(hashmap_last(map), nullptr);
        EXPECT_EQ(hashmap_steal_first(map), nullptr);
        EXPECT_EQ(hashmap_steal_first_key(map), nullptr);
    }
}

TEST(HashmapNext, IsTheValueAfterTheKeys) {
    const Map map = number_map(0, 3);
    EXPECT_EQ(hashmap_next(map.get(), number(0)), value(1));
    EXPECT_EQ(hashmap_next(map.get(), number(1)), value(2));
    EXPECT_EQ(hashmap_next(map.get(), number(2)), nullptr) << "last";
    EXPECT_EQ(hashmap_next(map.get(), number(3)), nullptr) << "absent";
    EXPECT_EQ(hashmap_next(nullptr, number(0)), nullptr);
}

TEST(HashmapGetStrv, ListsTheValuesInOrder) {
    CountingAllocator allocator;
    {
        const Map map = number_map(0, 3);
        void **const values = hashmap_get_strv(map.get());
        EXPECT_EQ(std::vector<void *>(values, values + 4),
                  (std::vector<void *>{value(0), value(1), value(2), nullptr}));
        EXPECT_EQ(allocator.size_of(values), 4 * sizeof(void *));
        _xfree(values);
    }
    EXPECT_EQ(allocator.live_blocks(), 0U);
}

TEST(HashmapGetStrv, OfAnEmptyOrNullMapIsAnEmptyList) {
    const CountingAllocator allocator;
    {
        const Map empty = number_map();
        for (hashmap *const map : {static_cast<hashmap *>(nullptr), empty.get()}) {
            void **const values = hashmap_get_strv(map);
            ASSERT_NE(values, nullptr);
            EXPECT_EQ(values[0], nullptr);
            EXPECT_EQ(allocator.size_of(values), sizeof(void *));
            _xfree(values);
        }
    }
    EXPECT_EQ(allocator.live_blocks(), 0U);
}

TEST(HashmapGetStrv, EndsAtANullValue) {
    const Map map = number_map();
    ASSERT_EQ(hashmap_put(map.get(), number(0), value(0)), 1);
    ASSERT_EQ(hashmap_put(map.get(), number(1), nullptr), 1);
    ASSERT_EQ(hashmap_put(map.get(), number(2), value(2)), 1);
    void **const values = hashmap_get_strv(map.get());
    EXPECT_EQ(std::vector<void *>(values, values + 4), (std::vector<void *>{value(0), nullptr, nullptr, nullptr}));
    _xfree(values);
}

TEST(HashmapGetStrv, NullWithoutMemory) {
    const Map map = number_map(0, 3);
    CountingAllocator allocator;
    allocator.fail_at(1);
    EXPECT_EQ(hashmap_get_strv(map.get()), nullptr);
    allocator.fail_at(1);
    EXPECT_EQ(hashmap_get_strv(nullptr), nullptr);
    EXPECT_EQ(allocator.allocations(), 2U);
}

} // namespace
