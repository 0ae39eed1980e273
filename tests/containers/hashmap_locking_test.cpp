// SPDX-License-Identifier: MIT
// Which operations wait for a writer, which for a reader, and which for nobody.
#include "containers/hashmap_fixture.h"
#include "containers/lock_probe.h"

#include <cerrno>

using namespace hashmap_test;

namespace {

struct LockCase {
    const char *name;
    bool waits_for_writer;
    bool waits_for_reader;
    void (*operation)(hashmap *map);
};

// The map of each case holds the numbers 1 and 2.
constexpr LockCase kCases[] = {
    {"get", true, false, [](hashmap *m) { hashmap_get(m, number(1)); }},
    {"get of an absent key", true, false, [](hashmap *m) { hashmap_get(m, number(9)); }},
    {"get of a NULL key", false, false, [](hashmap *m) { hashmap_get(m, nullptr); }},
    {"get2", true, false, [](hashmap *m) { hashmap_get2(m, number(1), nullptr); }},
    {"contains", true, false, [](hashmap *m) { hashmap_contains(m, number(1)); }},
    {"next", true, false, [](hashmap *m) { hashmap_next(m, number(1)); }},
    {"get_strv", true, false, [](hashmap *m) { _xfree(hashmap_get_strv(m)); }},
    {"copy", true, false, [](hashmap *m) { hashmap_free(hashmap_copy(m)); }},
    {"put", true, true, [](hashmap *m) { hashmap_put(m, number(9), value(9)); }},
    {"put of the same", true, false, [](hashmap *m) { hashmap_put(m, number(1), value(1)); }},
    {"put of another value", true, false, [](hashmap *m) { hashmap_put(m, number(1), value(9)); }},
    {"replace", true, true, [](hashmap *m) { hashmap_replace(m, number(1), value(9)); }},
    {"replace of an absent key", true, true, [](hashmap *m) { hashmap_replace(m, number(9), value(9)); }},
    {"update", true, true, [](hashmap *m) { hashmap_update(m, number(1), value(9)); }},
    {"update of an absent key", true, false, [](hashmap *m) { hashmap_update(m, number(9), value(9)); }},
    {"remove", true, true, [](hashmap *m) { hashmap_remove(m, number(1)); }},
    {"remove of an absent key", true, false, [](hashmap *m) { hashmap_remove(m, number(9)); }},
    {"remove2", true, true, [](hashmap *m) { hashmap_remove2(m, number(1), nullptr); }},
    {"remove_value", true, true, [](hashmap *m) { hashmap_remove_value(m, number(1), value(1)); }},
    {"remove_value of another", true, false, [](hashmap *m) { hashmap_remove_value(m, number(1), value(2)); }},
    {"remove_and_put", true, true, [](hashmap *m) { hashmap_remove_and_put(m, number(1), number(2), value(9)); }},
    {"remove_and_put, -17", true, false, [](hashmap *m) { hashmap_remove_and_put(m, number(1), number(9), value(9)); }},
    {"remove_and_put, -2", true, false, [](hashmap *m) { hashmap_remove_and_put(m, number(9), number(1), value(9)); }},
    {"remove_and_replace", true, true,
     [](hashmap *m) { hashmap_remove_and_replace(m, number(1), number(9), value(9)); }},
    {"remove_and_replace, -2", true, false,
     [](hashmap *m) { hashmap_remove_and_replace(m, number(9), number(1), value(9)); }},
    {"merge from it", true, false, [](hashmap *m) { hashmap_merge(number_map().get(), m); }},
    {"merge to it", true, true, [](hashmap *m) { hashmap_merge(m, number_map(9, 10).get()); }},
    {"merge of nothing to it", false, false, [](hashmap *m) { hashmap_merge(m, number_map().get()); }},
    {"merge of NULL", false, false, [](hashmap *m) { hashmap_merge(m, nullptr); }},
    {"move from it", true, true, [](hashmap *m) { hashmap_move(number_map().get(), m); }},
    {"move to it", true, true, [](hashmap *m) { hashmap_move(m, number_map().get()); }},
    {"move of NULL", false, false, [](hashmap *m) { hashmap_move(m, nullptr); }},
    {"move_one from it", true, true, [](hashmap *m) { hashmap_move_one(number_map().get(), m, number(1)); }},
    {"move_one to it", true, true, [](hashmap *m) { hashmap_move_one(m, number_map(9, 10).get(), number(9)); }},
    {"move_one, -17", true, false, [](hashmap *m) { hashmap_move_one(m, number_map().get(), number(1)); }},
    {"move_one, -2", true, false, [](hashmap *m) { hashmap_move_one(m, number_map().get(), number(9)); }},
    {"move_one of NULL", false, false, [](hashmap *m) { hashmap_move_one(m, nullptr, number(9)); }},
    {"iterate", true, false,
     [](hashmap *m) {
         uintptr_t token = HASHMAP_ITERATE_START;
         hashmap_iterate(m, &token, nullptr);
     }},
    {"iterate at the end", false, false,
     [](hashmap *m) {
         uintptr_t token = HASHMAP_ITERATE_END;
         hashmap_iterate(m, &token, nullptr);
     }},
    {"iterate_backwards", true, false,
     [](hashmap *m) {
         uintptr_t token = HASHMAP_ITERATE_END;
         hashmap_iterate_backwards(m, &token, nullptr);
     }},
    {"iterate_backwards at the end", false, false,
     [](hashmap *m) {
         uintptr_t token = HASHMAP_ITERATE_START;
         hashmap_iterate_backwards(m, &token, nullptr);
     }},
    {"iterate_skip", false, false,
     [](hashmap *m) {
         uintptr_t token = HASHMAP_ITERATE_START;
         hashmap_iterate_skip(m, number(1), &token);
     }},
    {"first", false, false, [](hashmap *m) { hashmap_first(m); }},
    {"first_key", false, false, [](hashmap *m) { hashmap_first_key(m); }},
    {"last", false, false, [](hashmap *m) { hashmap_last(m); }},
    {"steal_first", false, false, [](hashmap *m) { hashmap_steal_first(m); }},
    {"steal_first_key", false, false, [](hashmap *m) { hashmap_steal_first_key(m); }},
    {"size", false, false, [](hashmap *m) { hashmap_size(m); }},
    {"buckets", false, false, [](hashmap *m) { hashmap_buckets(m); }},
    {"isempty", false, false, [](hashmap *m) { hashmap_isempty(m); }},
    {"ensure_allocated", false, false, [](hashmap *m) { hashmap_ensure_allocated(&m, nullptr, nullptr); }},
    {"clear", false, false, [](hashmap *m) { hashmap_clear(m); }},
};

TEST(HashmapLockingThreads, OperationsWaitForAWriterAsStated) {
    for (const LockCase &row : kCases) {
        SCOPED_TRACE(row.name);
        const Map map = number_map(1, 3);
        const bool ends = !row.waits_for_writer;
        EXPECT_EQ(ends_beside(&map->lock, pthread_rwlock_wrlock, ends, [&] { row.operation(map.get()); }), ends);
        expect_consistent(map.get());
    }
}

TEST(HashmapLockingThreads, OperationsWaitForAReaderAsStated) {
    for (const LockCase &row : kCases) {
        SCOPED_TRACE(row.name);
        const Map map = number_map(1, 3);
        const bool ends = !row.waits_for_reader;
        EXPECT_EQ(ends_beside(&map->lock, pthread_rwlock_rdlock, ends, [&] { row.operation(map.get()); }), ends);
        expect_consistent(map.get());
    }
}

TEST(HashmapLockingThreads, EveryOperationGivesTheLockBack) {
    for (const LockCase &row : kCases) {
        SCOPED_TRACE(row.name);
        const Map map = number_map(1, 3);
        row.operation(map.get());
        EXPECT_EQ(pthread_rwlock_trywrlock(&map->lock), 0);
        pthread_rwlock_unlock(&map->lock);
    }
}

TEST(HashmapLockingThreads, FreeingClearsWithoutTheLock) {
    for (void (*const clear)(hashmap *) : {hashmap_clear_free, hashmap_clear_free_free}) {
        const Map map(hashmap_new(string_hash_func, string_compare_func));
        ASSERT_EQ(hashmap_put(map.get(), xstrdup("a"), xstrdup("b")), 1);
        void *const key = map->order_first->key;
        EXPECT_TRUE(ends_beside(&map->lock, pthread_rwlock_wrlock, true, [&] { clear(map.get()); }));
        EXPECT_EQ(hashmap_size(map.get()), 0U);
        if (clear == hashmap_clear_free)
            _xfree(key);
    }
}

TEST(HashmapLockingThreads, MoveTakesTheSourcesLockFirst) {
    const Map map = number_map(0, 1);
    const Map source = number_map(5, 6);
    pthread_rwlock_wrlock(&map->lock);
    auto moving = std::async(std::launch::async, [&] { hashmap_move(map.get(), source.get()); });
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    bool source_taken = false;
    while (!source_taken && std::chrono::steady_clock::now() < deadline) {
        source_taken = pthread_rwlock_tryrdlock(&source->lock) == EBUSY;
        if (!source_taken) {
            pthread_rwlock_unlock(&source->lock);
            std::this_thread::yield();
        }
    }
    EXPECT_TRUE(source_taken) << "while it waits for the target's";
    pthread_rwlock_unlock(&map->lock);
    moving.wait();
    EXPECT_EQ(hashmap_size(map.get()), 2U);

    pthread_rwlock_wrlock(&source->lock);
    moving = std::async(std::launch::async, [&] { hashmap_move(map.get(), source.get()); });
    EXPECT_EQ(moving.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
    EXPECT_EQ(pthread_rwlock_trywrlock(&map->lock), 0) << "free while it waits for the source's";
    pthread_rwlock_unlock(&map->lock);
    pthread_rwlock_unlock(&source->lock);
    moving.wait();
}

} // namespace
