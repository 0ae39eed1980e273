// SPDX-License-Identifier: MIT
#include "sweep/sweep.h"

#include <varnel/collections.h>

#include <gtest/gtest.h>

namespace {

int g_items[4];

TEST(CollectionsSweep, NewArrayAborts) {
    sweep(
        [](SweepRun &run) {
            run.begin();
            xarray *array = xarray_new();
            EXPECT_EQ(array->count, 0);
            xarray_free(&array, nullptr);
            return End::complete;
        },
        {{1, End::aborted, "record"}});
}

// After a failed growth the array goes on without the lost items.
End finish_array(xarray *array, uint16_t lost_items) {
    EXPECT_EQ(array->items, nullptr);
    EXPECT_EQ(array->count, lost_items);
    EXPECT_EQ(xarray_get(array, 0), nullptr);
    EXPECT_EQ(xarray_add(array, &g_items[3]), 1);
    EXPECT_EQ(array->count, lost_items + 1);
    EXPECT_EQ(xarray_get(array, lost_items), &g_items[3]);
    if (lost_items != 0) {
        EXPECT_EQ(xarray_get(array, 0), nullptr);
    }
    xarray_free(&array, nullptr);
    return End::refused;
}

TEST(CollectionsSweep, AddGivesZeroAndLosesTheBlock) {
    sweep(
        [](SweepRun &run) {
            xarray *array = xarray_new();
            run.begin();
            for (uint16_t i = 0; i < 3; ++i)
                if (xarray_add(array, &g_items[i]) == 0)
                    return finish_array(array, i);
            for (uint16_t i = 0; i < 3; ++i)
                EXPECT_EQ(xarray_get(array, i), &g_items[i]);
            xarray_free(&array, nullptr);
            return End::complete;
        },
        {{1, End::aborted, "first block"},
         {1, End::refused, "growth for item 1", "", 1},
         {1, End::refused, "growth for item 2", "", 1},
         {1, End::refused, "growth for item 3", "", 1}});
}

TEST(CollectionsSweep, ListNodesAbort) {
    sweep(
        [](SweepRun &run) {
            run.begin();
            xlist *list = nullptr;
            EXPECT_EQ(xlist_append(&list, &g_items[1]), 1);
            EXPECT_EQ(xlist_append(&list, &g_items[2]), 1);
            EXPECT_EQ(xlist_prepend(&list, &g_items[0]), 1);
            xlist *other = nullptr;
            EXPECT_EQ(xlist_prepend(&other, &g_items[3]), 1);
            xlist_merge(&list, other);
            EXPECT_EQ(list->count, 4U);
            EXPECT_EQ(xlist_remove(&list, &g_items[1], 0), 1);
            xlist_free(&list);
            EXPECT_EQ(list, nullptr);
            return End::complete;
        },
        {{4, End::aborted, "nodes"}});
}

} // namespace
