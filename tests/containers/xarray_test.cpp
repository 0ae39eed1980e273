// SPDX-License-Identifier: MIT
#include "items.h"
#include "support/counting_allocator.h"
#include "support/death.h"
#include "support/log_capture.h"

#include <varnel/collections.h>
#include <varnel/memory.h>

#include <gtest/gtest.h>

#include <vector>

namespace {

constexpr size_t kWord = sizeof(void *);

std::vector<void *> freed;
void note_freed(void *given) {
    freed.push_back(given);
}

class Xarray : public testing::Test {
protected:
    Xarray() : array(xarray_new()) { freed.clear(); }
    ~Xarray() override {
        xarray_free(&array, nullptr);
        EXPECT_EQ(allocator.live_blocks(), 0U);
    }

    CountingAllocator allocator;
    xarray *array;
};

TEST_F(Xarray, NewIsEmptyAndZeroed) {
    EXPECT_EQ(array->items, nullptr);
    EXPECT_EQ(array->count, 0);
    EXPECT_EQ(allocator.size_of(array), sizeof(xarray));
    EXPECT_EQ(allocator.allocate_calls(), 1U);
}

TEST_F(Xarray, AddStoresThePointers) {
    for (size_t n = 0; n < 300; ++n)
        ASSERT_EQ(xarray_add(array, item(n)), 1);
    EXPECT_EQ(array->count, 300);
    for (uint16_t n = 0; n < 300; ++n)
        EXPECT_EQ(xarray_get(array, n), item(n));
}

TEST_F(Xarray, EveryAddReallocatesToTwiceTheNeedAndAtLeast512) {
    EXPECT_EQ(xarray_add(array, item(0)), 1);
    EXPECT_EQ(allocator.sizes(), (std::vector<size_t>{sizeof(xarray), kWord, 512})) << "a first block of one word";
    for (size_t n = 1; n < 200; ++n) {
        const size_t before = allocator.reallocate_calls();
        ASSERT_EQ(xarray_add(array, item(n)), 1);
        EXPECT_EQ(allocator.reallocate_calls(), before + 1);
        const size_t twice = 2 * (n + 1) * kWord;
        EXPECT_EQ(allocator.size_of(array->items), twice > 512 ? twice : 512);
    }
    EXPECT_EQ(allocator.allocate_calls(), 2U);
}

TEST_F(Xarray, AddRefusesNullWithoutChange) {
    EXPECT_EQ(xarray_add(nullptr, item(0)), 0);
    EXPECT_EQ(xarray_add(array, nullptr), 0);
    EXPECT_EQ(array->count, 0);
    EXPECT_EQ(array->items, nullptr);
    EXPECT_EQ(xarray_add(nullptr, nullptr), 0);
}

TEST_F(Xarray, HoldsAtMost65535Items) {
    // All but one of the adds at once: each of them would move the whole block.
    array->items = static_cast<void **>(xmalloc0(65534 * kWord));
    array->count = 65534;
    for (size_t n = 0; n < 65534; ++n)
        array->items[n] = item(n);
    EXPECT_EQ(xarray_add(array, item(65534)), 1);
    EXPECT_EQ(allocator.size_of(array->items), 65535 * kWord * 2);
    void *const *const items = array->items;
    const size_t calls = allocator.allocations();
    EXPECT_EQ(xarray_add(array, item(65535)), 0);
    EXPECT_EQ(array->count, 65535);
    EXPECT_EQ(array->items, items);
    EXPECT_EQ(allocator.allocations(), calls);
    EXPECT_EQ(xarray_get(array, 0), item(0));
    EXPECT_EQ(xarray_get(array, 65534), item(65534));
    EXPECT_EQ(xarray_get(array, 65535), nullptr);
    xarray_free(&array, note_freed);
    EXPECT_EQ(freed.size(), 65535U);
}

TEST_F(Xarray, GetIsNullOutside) {
    EXPECT_EQ(xarray_get(nullptr, 0), nullptr);
    EXPECT_EQ(xarray_get(array, 0), nullptr);
    ASSERT_EQ(xarray_add(array, item(0)), 1);
    EXPECT_EQ(xarray_get(array, 0), item(0));
    EXPECT_EQ(xarray_get(array, 1), nullptr);
    EXPECT_EQ(xarray_get(array, 65535), nullptr);
}

TEST_F(Xarray, FreeCallsTheFunctionOnceForEachItemInOrder) {
    for (size_t n = 0; n < 5; ++n)
        ASSERT_EQ(xarray_add(array, item(n)), 1);
    xarray_free(&array, note_freed);
    EXPECT_EQ(array, nullptr);
    EXPECT_EQ(freed, (std::vector<void *>{item(0), item(1), item(2), item(3), item(4)}));
    EXPECT_EQ(allocator.live_blocks(), 0U);
}

TEST_F(Xarray, FreeWithoutFunctionLeavesTheItems) {
    void *const owned = xmalloc(1);
    ASSERT_EQ(xarray_add(array, owned), 1);
    xarray_free(&array, nullptr);
    EXPECT_EQ(array, nullptr);
    EXPECT_TRUE(allocator.is_live(owned));
    _xfree(owned);
}

TEST_F(Xarray, FreeTakesNullAndEmpty) {
    xarray *none = nullptr;
    xarray_free(nullptr, note_freed);
    xarray_free(&none, note_freed);
    xarray_free(&array, note_freed);
    EXPECT_EQ(array, nullptr);
    EXPECT_TRUE(freed.empty());
}

TEST_F(Xarray, AFailedGrowthLosesTheBlockButNotTheCount) {
    for (size_t n = 0; n < 3; ++n)
        ASSERT_EQ(xarray_add(array, item(n)), 1);
    void *const lost = array->items;
    allocator.fail_at(1);
    EXPECT_EQ(xarray_add(array, item(3)), 0);
    EXPECT_EQ(array->items, nullptr);
    EXPECT_EQ(array->count, 3);
    EXPECT_TRUE(allocator.is_live(lost));
    for (const uint16_t n : std::initializer_list<uint16_t>{0, 2, 3})
        EXPECT_EQ(xarray_get(array, n), nullptr);
    xarray_free(&array, note_freed);
    EXPECT_TRUE(freed.empty()) << "nothing is left to be freed";
    EXPECT_EQ(allocator.live_blocks(), 1U);
    _xfree(lost);
}

TEST_F(Xarray, AddsAfterAFailedGrowthFollowEmptyPlaces) {
    for (size_t n = 0; n < 3; ++n)
        ASSERT_EQ(xarray_add(array, item(n)), 1);
    void *const lost = array->items;
    allocator.fail_at(1);
    ASSERT_EQ(xarray_add(array, item(3)), 0);
    EXPECT_EQ(xarray_add(array, item(4)), 1);
    EXPECT_EQ(xarray_add(array, item(5)), 1);
    EXPECT_EQ(array->count, 5);
    for (const uint16_t n : std::initializer_list<uint16_t>{0, 1, 2})
        EXPECT_EQ(xarray_get(array, n), nullptr);
    EXPECT_EQ(xarray_get(array, 3), item(4));
    EXPECT_EQ(xarray_get(array, 4), item(5));
    xarray_free(&array, note_freed);
    EXPECT_EQ(freed, (std::vector<void *>{item(4), item(5)}));
    _xfree(lost);
}

TEST_F(Xarray, TheFirstAddCanFailToGrowToo) {
    allocator.fail_at(2);
    EXPECT_EQ(xarray_add(array, item(0)), 0);
    EXPECT_EQ(array->items, nullptr);
    EXPECT_EQ(array->count, 0);
    void *const lost = allocator.last_block();
    EXPECT_EQ(allocator.size_of(lost), kWord);
    _xfree(lost);
    EXPECT_EQ(xarray_add(array, item(0)), 1);
}

TEST(XarrayDeathTest, NewAndTheFirstBlockAbortWithoutMemory) {
    EXPECT_ABORT(
        {
            CountingAllocator allocator;
            allocator.fail_at(1);
            xarray_new();
        },
        "^$");
    EXPECT_ABORT(
        {
            CountingAllocator allocator;
            xarray *const array = xarray_new();
            allocator.fail_at(1);
            xarray_add(array, item(0));
        },
        "^$");
}

} // namespace
