// SPDX-License-Identifier: MIT
// Maps under several threads at once, within what callers may do without a lock of their own.
#include "containers/hashmap_fixture.h"

#include <atomic>
#include <functional>
#include <thread>

using namespace hashmap_test;

namespace {

constexpr size_t kThreads = 4;
constexpr size_t kPerThread = 500;

// Runs body(0), ..., body(count - 1) in threads that start together.
void run_together(size_t count, const std::function<void(size_t index)> &body) {
    std::atomic<size_t> ready{0};
    std::vector<std::thread> threads;
    for (size_t index = 0; index < count; ++index)
        threads.emplace_back([&, index] {
            ++ready;
            while (ready < count)
                std::this_thread::yield();
            body(index);
        });
    for (std::thread &thread : threads)
        thread.join();
}

// A map with room for all numbers, so that no put grows it.
Map roomy_map() {
    Map map = number_map(0, kThreads * kPerThread + 700);
    hashmap_clear(map.get());
    EXPECT_GT(hashmap_buckets(map.get()) * 3, kThreads * kPerThread * 4);
    return map;
}

void put_share(hashmap *map, size_t index) {
    for (size_t n = index * kPerThread; n < (index + 1) * kPerThread; ++n)
        EXPECT_EQ(hashmap_put(map, number(n), value(n)), 1);
}

TEST(HashmapThreads, PutsOfDistinctKeysAllArrive) {
    const Map map = roomy_map();
    run_together(kThreads, [&](size_t index) { put_share(map.get(), index); });
    EXPECT_EQ(hashmap_size(map.get()), kThreads * kPerThread);
    expect_consistent(map.get());
    for (size_t n = 0; n < kThreads * kPerThread; ++n)
        ASSERT_EQ(hashmap_get(map.get(), number(n)), value(n));
}

TEST(HashmapThreads, PutsThatGrowTheMapLoseNothing) {
    const Map map = number_map();
    run_together(kThreads, [&](size_t index) { put_share(map.get(), index); });
    EXPECT_EQ(hashmap_size(map.get()), kThreads * kPerThread);
    expect_consistent(map.get(), Placing::any);
    std::vector<bool> seen(kThreads * kPerThread);
    while (void *const key = hashmap_first_key(map.get())) {
        seen[number_of(key)] = true;
        EXPECT_EQ(hashmap_steal_first(map.get()), value(number_of(key)));
    }
    EXPECT_EQ(std::count(seen.begin(), seen.end(), true), static_cast<long>(seen.size()));
    expect_consistent(map.get());
}

TEST(HashmapThreads, EachThreadsPutsKeepTheirOrder) {
    const Map map = roomy_map();
    run_together(kThreads, [&](size_t index) { put_share(map.get(), index); });
    std::vector<size_t> last(kThreads, 0);
    for (const uint32_t n : numbers_of(map.get())) {
        EXPECT_TRUE(n % kPerThread == 0 || n > last[n / kPerThread]);
        last[n / kPerThread] = n;
    }
}

TEST(HashmapThreads, GetsFindTheirKeysBesidePutsThatGrow) {
    const Map map = number_map(0, 20);
    run_together(kThreads, [&](size_t index) {
        if (index == 0) {
            for (size_t n = 1000; n < 2000; ++n)
                EXPECT_EQ(hashmap_put(map.get(), number(n), value(n)), 1);
            return;
        }
        for (size_t round = 0; round < 500; ++round) {
            const size_t n = round % 20;
            void *key = nullptr;
            EXPECT_EQ(hashmap_get(map.get(), number(n)), value(n));
            EXPECT_EQ(hashmap_get2(map.get(), number(n), &key), value(n));
            EXPECT_EQ(key, number(n));
            EXPECT_EQ(hashmap_contains(map.get(), number(n)), 1);
        }
    });
    EXPECT_EQ(hashmap_size(map.get()), 1020U);
    expect_consistent(map.get());
}

TEST(HashmapThreads, WalksBesideLookUpsAndUpdates) {
    const Map map = number_map(0, 200);
    run_together(kThreads, [&](size_t index) {
        for (size_t round = 0; round < 20; ++round) {
            uintptr_t token = index % 2 == 0 ? HASHMAP_ITERATE_START : HASHMAP_ITERATE_END;
            const auto step = index % 2 == 0 ? hashmap_iterate : hashmap_iterate_backwards;
            size_t seen = 0;
            void *key = nullptr;
            while (step(map.get(), &token, &key) != nullptr) {
                EXPECT_EQ(hashmap_update(map.get(), key, value(index)), 0);
                EXPECT_NE(hashmap_get(map.get(), key), nullptr);
                ++seen;
            }
            EXPECT_EQ(seen, 200U);
        }
    });
    EXPECT_EQ(hashmap_size(map.get()), 200U);
}

TEST(HashmapThreads, RemovesAndPutsOfOwnKeysDoNotDisturbOthers) {
    const Map map = roomy_map();
    run_together(kThreads, [&](size_t index) {
        for (size_t round = 0; round < 20; ++round) {
            for (size_t n = index * 20; n < (index + 1) * 20; ++n) {
                EXPECT_EQ(hashmap_replace(map.get(), number(n), value(n)), 1);
                EXPECT_EQ(hashmap_replace(map.get(), number(n), value(n + 1)), 0);
                EXPECT_EQ(hashmap_remove_value(map.get(), number(n), value(n)), nullptr);
            }
            for (size_t n = index * 20; n < (index + 1) * 20; ++n) {
                EXPECT_EQ(hashmap_get(map.get(), number(n)), value(n + 1));
                EXPECT_EQ(hashmap_remove(map.get(), number(n)), value(n + 1));
            }
        }
    });
    EXPECT_EQ(hashmap_size(map.get()), 0U);
    expect_consistent(map.get());
}

TEST(HashmapThreads, RelinksOfOwnKeysDoNotDisturbOthers) {
    const Map map = number_map(0, kThreads);
    run_together(kThreads, [&](size_t index) {
        size_t held = index;
        for (size_t round = 0; round < 200; ++round) {
            const size_t next = index + (round + 1) * kThreads;
            EXPECT_EQ(hashmap_remove_and_replace(map.get(), number(held), number(next), value(next)), 0);
            held = next;
        }
    });
    EXPECT_EQ(hashmap_size(map.get()), kThreads);
    expect_consistent(map.get());
}

TEST(HashmapThreads, MergesOfOneSourceIntoManyMaps) {
    const Map source = number_map(0, 300);
    std::vector<Map> targets(kThreads);
    run_together(kThreads, [&](size_t index) {
        targets[index] = number_map();
        EXPECT_EQ(hashmap_merge(targets[index].get(), source.get()), 0);
    });
    for (const Map &target : targets) {
        EXPECT_EQ(keys_of(target.get()), keys_of(source.get()));
        expect_consistent(target.get());
    }
}

TEST(HashmapThreads, MergesOfManySourcesIntoOneMap) {
    const Map target = roomy_map();
    run_together(kThreads, [&](size_t index) {
        const Map source = number_map(index * kPerThread, (index + 1) * kPerThread);
        EXPECT_EQ(hashmap_merge(target.get(), source.get()), 0);
    });
    EXPECT_EQ(hashmap_size(target.get()), kThreads * kPerThread);
    expect_consistent(target.get());
}

// With the same keys on both sides a merge only reads; new keys would make two opposite ones wait for each other. The
// thread sanitizer, which counts read locks like any other, calls both a lock order inversion: hence the suite's name.
TEST(HashmapOppositeMerges, OfTheSameKeysDoNotWaitForEachOther) {
    const Map left = number_map(0, 200);
    const Map right = number_map(0, 200);
    run_together(2, [&](size_t index) {
        for (size_t round = 0; round < 50; ++round)
            EXPECT_EQ(index == 0 ? hashmap_merge(left.get(), right.get()) : hashmap_merge(right.get(), left.get()), 0);
    });
    EXPECT_EQ(hashmap_size(left.get()), 200U);
    EXPECT_EQ(hashmap_size(right.get()), 200U);
}

TEST(HashmapThreads, OppositeMovesOfSingleEntries) {
    const Map left = number_map(0, 100);
    const Map right = number_map(100, 200);
    run_together(2, [&](size_t index) {
        for (size_t n = 0; n < 100; ++n)
            EXPECT_EQ(index == 0 ? hashmap_move_one(left.get(), right.get(), number(n + 100))
                                 : hashmap_move_one(right.get(), left.get(), number(n)),
                      0);
    });
    EXPECT_EQ(hashmap_size(left.get()), 100U);
    EXPECT_EQ(hashmap_size(right.get()), 100U);
    for (size_t n = 0; n < 100; ++n) {
        ASSERT_EQ(hashmap_get(right.get(), number(n)), value(n));
        ASSERT_EQ(hashmap_get(left.get(), number(n + 100)), value(n + 100));
    }
    expect_consistent(left.get());
    expect_consistent(right.get());
}

TEST(HashmapThreads, MovesInARing) {
    Map maps[] = {number_map(0, 300), number_map(), number_map()};
    run_together(2, [&](size_t index) {
        for (size_t round = 0; round < 100; ++round)
            hashmap_move(maps[index + 1].get(), maps[index].get());
    });
    size_t total = 0;
    for (const Map &map : maps) {
        total += hashmap_size(map.get());
        expect_consistent(map.get());
    }
    EXPECT_EQ(total, 300U);
}

} // namespace
