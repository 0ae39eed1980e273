// SPDX-License-Identifier: MIT
// When put holds the lock, seen from inside its allocations and comparisons; and what happens when somebody else uses
// the map in its unlocked gap. One thread plays both.
#include "containers/hashmap_fixture.h"

#include <cerrno>
#include <cstdlib>
#include <functional>

using namespace hashmap_test;

namespace {

// What others could do with a lock at some moment.
enum class LockState { free, read_held, write_held };

LockState state_of(pthread_rwlock_t *lock) {
    if (pthread_rwlock_trywrlock(lock) == 0) {
        pthread_rwlock_unlock(lock);
        return LockState::free;
    }
    if (pthread_rwlock_tryrdlock(lock) == 0) {
        pthread_rwlock_unlock(lock);
        return LockState::read_held;
    }
    return LockState::write_held;
}

std::function<void(size_t size)> on_zeroed_allocation;

void *hooked_zeroed(size_t count, size_t size) {
    if (on_zeroed_allocation)
        on_zeroed_allocation(count * size);
    return calloc(count, size);
}

std::function<void()> on_compare;

int hooked_compare(const void *stored, const void *key) {
    if (on_compare)
        on_compare();
    return uint32_compare_func(stored, key);
}

class HashmapGap : public testing::Test {
protected:
    HashmapGap() : map_(hashmap_new(uint32_hash_func, hooked_compare)), map(map_.get()) {
        EXPECT_EQ(x_replace_allocator(malloc, realloc, hooked_zeroed, free), 0);
    }
    ~HashmapGap() override {
        on_zeroed_allocation = nullptr;
        on_compare = nullptr;
        EXPECT_EQ(x_replace_allocator(malloc, realloc, calloc, free), 0);
    }

    void put_numbers(size_t first, size_t last) {
        for (size_t n = first; n < last; ++n)
            EXPECT_EQ(hashmap_put(map, number(n), value(n)), 1);
    }

    // Runs action once, when the next entry record is allocated.
    static void in_gap(const std::function<void()> &action) {
        on_zeroed_allocation = [action](size_t size) {
            if (size == sizeof(hashmap_entry)) {
                const auto once = action; // outlives the hook that holds it
                on_zeroed_allocation = nullptr;
                once();
            }
        };
    }

    Map map_;
    hashmap *map;
};

TEST_F(HashmapGap, TheEntryIsAllocatedWithNoLockHeld) {
    std::vector<LockState> seen;
    in_gap([&] { seen.push_back(state_of(&map->lock)); });
    put_numbers(0, 1);
    EXPECT_EQ(seen, std::vector<LockState>{LockState::free});
}

TEST_F(HashmapGap, TheBucketArrayIsAllocatedUnderTheWriteLock) {
    put_numbers(0, 24);
    std::vector<LockState> seen;
    on_zeroed_allocation = [&](size_t size) {
        if (size == 99 * sizeof(void *))
            seen.push_back(state_of(&map->lock));
    };
    put_numbers(24, 25);
    EXPECT_EQ(seen, std::vector<LockState>{LockState::write_held});
}

struct SearchCase {
    const char *name;
    void (*operation)(hashmap *map);
};

// Each finds, or looks for, number 1; 32 stands before it on the chain.
constexpr SearchCase kSearches[] = {
    {"put", [](hashmap *m) { hashmap_put(m, number(1), value(1)); }},
    {"replace", [](hashmap *m) { hashmap_replace(m, number(1), value(1)); }},
    {"update", [](hashmap *m) { hashmap_update(m, number(1), value(1)); }},
    {"get", [](hashmap *m) { hashmap_get(m, number(1)); }},
    {"get2", [](hashmap *m) { hashmap_get2(m, number(1), nullptr); }},
    {"contains", [](hashmap *m) { hashmap_contains(m, number(1)); }},
    {"next", [](hashmap *m) { hashmap_next(m, number(1)); }},
    {"remove_and_put", [](hashmap *m) { hashmap_remove_and_put(m, number(1), number(32), value(1)); }},
    {"remove_and_replace", [](hashmap *m) { hashmap_remove_and_replace(m, number(1), number(32), value(1)); }},
    {"remove", [](hashmap *m) { hashmap_remove(m, number(1)); }},
    {"remove2", [](hashmap *m) { hashmap_remove2(m, number(1), nullptr); }},
    {"remove_value", [](hashmap *m) { hashmap_remove_value(m, number(1), value(1)); }},
    {"move_one to it", [](hashmap *m) { hashmap_move_one(m, number_map().get(), number(1)); }},
    {"move_one from it", [](hashmap *m) { hashmap_move_one(number_map().get(), m, number(1)); }},
};

TEST_F(HashmapGap, SearchesHoldOnlyTheReadLock) {
    for (const SearchCase &row : kSearches) {
        SCOPED_TRACE(row.name);
        hashmap_clear(map);
        ASSERT_EQ(hashmap_put(map, number(1), value(1)), 1);
        ASSERT_EQ(hashmap_put(map, number(32), value(32)), 1);
        size_t searches = 0;
        on_compare = [&] {
            ++searches;
            EXPECT_EQ(state_of(&map->lock), LockState::read_held);
        };
        row.operation(map);
        EXPECT_GT(searches, 0U);
        on_compare = nullptr;
        EXPECT_EQ(state_of(&map->lock), LockState::free);
    }
}

TEST_F(HashmapGap, SkippingIsUnlocked) {
    put_numbers(0, 2);
    size_t searches = 0;
    on_compare = [&] {
        ++searches;
        EXPECT_EQ(state_of(&map->lock), LockState::free);
    };
    uintptr_t token = 0;
    EXPECT_EQ(hashmap_iterate_skip(map, number(1), &token), value(1));
    EXPECT_GT(searches, 0U);
}

TEST_F(HashmapGap, MergeHoldsTheReadLockOfTheSourceAllAlong) {
    const Map source = number_map(0, 30);
    std::vector<LockState> seen;
    on_zeroed_allocation = [&](size_t size) {
        if (size == sizeof(hashmap_entry))
            seen.push_back(state_of(&source->lock));
    };
    EXPECT_EQ(hashmap_merge(map, source.get()), 0);
    EXPECT_EQ(seen, std::vector<LockState>(30, LockState::read_held));
}

TEST_F(HashmapGap, MoveHoldsBothWriteLocksAllAlong) {
    put_numbers(0, 2);
    const Map source = number_map(0, 2);
    size_t searches = 0;
    on_compare = [&] {
        ++searches;
        EXPECT_EQ(state_of(&source->lock), LockState::write_held);
        EXPECT_EQ(state_of(&map->lock), LockState::write_held);
    };
    hashmap_move(map, source.get());
    EXPECT_EQ(searches, 2U);
}

TEST_F(HashmapGap, TwoPutsOfOneNewKeyCanBothInsert) {
    in_gap([&] { EXPECT_EQ(hashmap_put(map, number(5), value(1)), 1); });
    EXPECT_EQ(hashmap_put(map, number(5), value(2)), 1);
    EXPECT_EQ(values_of(map), (std::vector<void *>{value(1), value(2)}));
    EXPECT_EQ(hashmap_get(map, number(5)), value(2)) << "the latest first";
    expect_consistent(map);
}

TEST_F(HashmapGap, AGrowthInTheGapLeavesTheEntryOnTheOldBucket) {
    put_numbers(0, 23);
    in_gap([&] { put_numbers(100, 110); });
    EXPECT_EQ(hashmap_put(map, number(50), value(50)), 1);
    ASSERT_EQ(hashmap_buckets(map), 99U);
    EXPECT_EQ(chain_places(map).at(map->order_last), 50U % 31);
    EXPECT_EQ(hashmap_get(map, number(50)), nullptr);
    expect_consistent(map, Placing::any);
    EXPECT_EQ(hashmap_size(map), 34U);
    hashmap_clear(map);
    expect_consistent(map);
}

TEST_F(HashmapGap, AfterItsOwnGrowthPutUsesTheNewBucket) {
    put_numbers(0, 24);
    EXPECT_EQ(hashmap_put(map, number(50), value(50)), 1);
    EXPECT_EQ(chain_places(map).at(map->order_last), 50U);
}

} // namespace
