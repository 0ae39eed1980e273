// SPDX-License-Identifier: MIT
#include "sweep/sweep.h"

#include <varnel/hashmap.h>
#include <varnel/memory.h>

#include <gtest/gtest.h>

#include <cerrno>

namespace {

constexpr size_t kFullMap = 24; // entries that 31 buckets take without growing
uint32_t g_numbers[64];

// Gives numbers begin to end to the map; 1, or the first other result.
int put_numbers(hashmap *map, size_t begin, size_t end) {
    for (size_t i = begin; i < end; ++i) {
        g_numbers[i] = static_cast<uint32_t>(i);
        if (const int result = hashmap_put(map, &g_numbers[i], &g_numbers[i]); result != 1)
            return result;
    }
    return 1;
}

hashmap *new_number_map(size_t entries) {
    hashmap *const map = hashmap_new(uint32_hash_func, uint32_compare_func);
    EXPECT_EQ(put_numbers(map, 0, entries), 1);
    return map;
}

// Numbers begin to end are in the map, and nothing else.
void expect_numbers(hashmap *map, size_t begin, size_t end) {
    EXPECT_EQ(hashmap_size(map), end - begin);
    for (size_t i = begin; i < end; ++i)
        EXPECT_EQ(hashmap_get(map, &g_numbers[i]), &g_numbers[i]);
}

TEST(HashmapSweep, EnsureAllocatedGivesNoMemory) {
    sweep(
        [](SweepRun &run) {
            run.begin();
            hashmap *map = nullptr;
            const int result = hashmap_ensure_allocated(&map, nullptr, nullptr);
            EXPECT_EQ(result, map != nullptr ? 0 : -ENOMEM);
            hashmap_free(map);
            return result == 0 ? End::complete : End::refused;
        },
        {{1, End::refused, "map record"}});
}

// A growth that failed is tried again at the next new key.
TEST(HashmapSweep, PutGivesNoMemoryAndDoesWithoutGrowth) {
    sweep(
        [](SweepRun &run) {
            hashmap *const map = new_number_map(0);
            run.begin();
            int result = put_numbers(map, 0, kFullMap + 1);
            if (result == 1) {
                EXPECT_EQ(hashmap_buckets(map), run.allocator().refused() == 0 ? 99U : 31U);
                result = put_numbers(map, kFullMap + 1, kFullMap + 2);
            }
            if (result == 1) {
                expect_numbers(map, 0, kFullMap + 2);
                EXPECT_EQ(hashmap_buckets(map), run.allocator().refused() == 0 ? 99U : 103U);
            } else {
                EXPECT_EQ(result, -ENOMEM);
                expect_numbers(map, 0, hashmap_size(map));
            }
            hashmap_free(map);
            return result == 1 ? End::complete : End::refused;
        },
        {{kFullMap, End::refused, "entries 1 to 24"},
         {1, End::complete, "grown bucket array"},
         {2, End::refused, "entries 25 and 26"}});
}

TEST(HashmapSweep, ReplaceOfAnAbsentKeyGivesNoMemory) {
    sweep(
        [](SweepRun &run) {
            hashmap *const map = new_number_map(1);
            run.begin();
            EXPECT_EQ(hashmap_replace(map, &g_numbers[0], &g_numbers[0]), 0);
            EXPECT_EQ(hashmap_update(map, &g_numbers[0], &g_numbers[0]), 0);
            const int result = hashmap_replace(map, "absent", &g_numbers[1]);
            EXPECT_EQ(hashmap_size(map), result == 1 ? 2U : 1U);
            EXPECT_TRUE(result == 1 || result == -ENOMEM) << result;
            hashmap_free(map);
            return result == 1 ? End::complete : End::refused;
        },
        {{1, End::refused, "entry"}});
}

TEST(HashmapSweep, CopyGivesNoMapAndReleasesWhatItHad) {
    sweep(
        [](SweepRun &run) {
            hashmap *const map = new_number_map(kFullMap + 1);
            run.begin();
            hashmap *const copy = hashmap_copy(map);
            if (copy != nullptr)
                expect_numbers(copy, 0, kFullMap + 1);
            expect_numbers(map, 0, kFullMap + 1);
            hashmap_free(copy);
            hashmap_free(map);
            return copy != nullptr ? End::complete : End::refused;
        },
        {{1, End::refused, "map record"},
         {kFullMap, End::refused, "entries 1 to 24"},
         {1, End::complete, "grown bucket array"},
         {1, End::refused, "entry 25"}});
}

TEST(HashmapSweep, MergeGivesNoMemoryAndKeepsWhatItHas) {
    sweep(
        [](SweepRun &run) {
            hashmap *const other = new_number_map(5);
            hashmap *const map = new_number_map(2);
            run.begin();
            const int result = hashmap_merge(map, other);
            EXPECT_TRUE(result == 0 || result == -ENOMEM) << result;
            expect_numbers(map, 0, result == 0 ? 5 : hashmap_size(map));
            expect_numbers(other, 0, 5);
            hashmap_free(map);
            hashmap_free(other);
            return result == 0 ? End::complete : End::refused;
        },
        {{3, End::refused, "entries of new keys"}});
}

TEST(HashmapSweep, ListOfValuesIsNull) {
    sweep(
        [](SweepRun &run) {
            hashmap *const map = new_number_map(3);
            run.begin();
            void **const values = hashmap_get_strv(map);
            if (values != nullptr) {
                EXPECT_EQ(values[2], &g_numbers[2]);
                EXPECT_EQ(values[3], nullptr);
            }
            const bool complete = values != nullptr;
            _xfree(values);
            hashmap_free(map);
            return complete ? End::complete : End::refused;
        },
        {{1, End::refused, "array"}});
}

TEST(HashmapSweep, MovesRelinksAndRemovalsNeverAllocate) {
    sweep(
        [](SweepRun &run) {
            hashmap *const other = new_number_map(6);
            hashmap *const map = new_number_map(0);
            run.begin();
            EXPECT_EQ(hashmap_move_one(map, other, &g_numbers[1]), 0);
            hashmap_move(map, other);
            EXPECT_EQ(hashmap_size(map), 6U);
            EXPECT_EQ(hashmap_remove_and_replace(map, &g_numbers[0], &g_numbers[10], &g_numbers[10]), 0);
            EXPECT_EQ(hashmap_remove_and_put(map, &g_numbers[2], &g_numbers[3], &g_numbers[2]), 0);
            EXPECT_EQ(hashmap_remove(map, &g_numbers[4]), &g_numbers[4]);
            EXPECT_EQ(hashmap_steal_first(map), &g_numbers[1]);
            hashmap_clear(map);
            EXPECT_EQ(hashmap_isempty(map), 1);
            hashmap_free(map);
            hashmap_free(other);
            return End::complete;
        },
        {});
}

} // namespace
