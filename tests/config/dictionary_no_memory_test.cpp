// SPDX-License-Identifier: MIT
// Dictionaries when memory is short: a record is indispensable, slots are not missed until they are used.
#include "support/counting_allocator.h"
#include "support/death.h"
#include "tree_text.h"

#include <gtest/gtest.h>
#include <string>

namespace {

// 1: the record; 2 to 5: values, keys, hashes, types.
constexpr int kFirstArray = 2;
constexpr int kLastArray = 5;

class DictionaryWithoutSlots : public testing::TestWithParam<int> {
protected:
    void SetUp() override {
        allocator_.fail_at(static_cast<size_t>(GetParam()));
        d_ = xdictionary_new(0);
        ASSERT_NE(d_, nullptr);
    }
    void TearDown() override {
        xdictionary_del(d_);
        EXPECT_EQ(allocator_.live_blocks(), 0U);
    }

    CountingAllocator allocator_;
    xdictionary *d_ = nullptr;
};

TEST_P(DictionaryWithoutSlots, CanBeReleased) {
    EXPECT_EQ(allocator_.live_blocks(), 4U);
}

TEST_P(DictionaryWithoutSlots, FindsNothing) {
    uint32_t type = 77;
    EXPECT_EQ(xdictionary_get(d_, "a", &type), nullptr);
    EXPECT_EQ(type, 77U);
    xdictionary_unset(d_, "a");
    EXPECT_EQ(d_->count, 0U);
}

TEST_P(DictionaryWithoutSlots, RefusesEveryEntry) {
    EXPECT_EQ(set_string(d_, "a", "1"), -1);
    xdictionary *const group = xdictionary_new(0);
    EXPECT_EQ(xdictionary_set(d_, "g", group, 1), -1);
    EXPECT_EQ(group->ref_count, 0U);
    xdictionary_del(group);
    EXPECT_EQ(d_->count, 0U);
}

TEST_P(DictionaryWithoutSlots, RefusesAMerge) {
    xdictionary *const source = xdictionary_new(0);
    set_string(source, "a", "1");
    EXPECT_EQ(xdictionary_merge(d_, source), d_);
    EXPECT_EQ(d_->count, 0U);
    xdictionary_del(source);
}

TEST_P(DictionaryWithoutSlots, AddsNothingAsASource) {
    xdictionary *const destination = xdictionary_new(0);
    EXPECT_EQ(xdictionary_merge(destination, d_), destination);
    EXPECT_EQ(tree_text(destination), "");
    xdictionary_del(destination);
}

TEST_P(DictionaryWithoutSlots, IsCopiedAsAnEmptyOne) {
    xdictionary *const copy = xdictionary_dup(d_);
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(copy->count, 0U);
    EXPECT_EQ(xdictionary_get(copy, "a", nullptr), nullptr);
    xdictionary_del(copy);
}

TEST_P(DictionaryWithoutSlots, PrintsAsAnEmptyOne) {
    testing::internal::CaptureStdout();
    xdictionary_out(d_, 0);
    fflush(stdout);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST_P(DictionaryWithoutSlots, CanBeTheResultOfADup) {
    xdictionary *const source = xdictionary_new(0);
    set_string(source, "a", "1");
    allocator_.fail_at(static_cast<size_t>(GetParam()));
    xdictionary *const copy = xdictionary_dup(source);
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(xdictionary_get(copy, "a", nullptr), nullptr);
    EXPECT_EQ(set_string(copy, "b", "2"), -1);
    xdictionary_del(copy);
    xdictionary_del(source);
}

INSTANTIATE_TEST_SUITE_P(EachArray, DictionaryWithoutSlots, testing::Range(kFirstArray, kLastArray + 1));

TEST(DictionaryMemoryDeathTest, RecordIsIndispensable) {
    CountingAllocator allocator;
    xdictionary *const d = xdictionary_new(0);
    allocator.fail_at(1);
    EXPECT_ABORT(xdictionary_new(0), "");
    EXPECT_ABORT(xdictionary_dup(d), "");
    EXPECT_ABORT(xdictionary_merge(nullptr, nullptr), "");
    allocator.fail_at(0);
    xdictionary_del(d);
}

TEST(DictionaryMemoryDeathTest, CopiesOfKeyAndStringAreIndispensable) {
    CountingAllocator allocator;
    xdictionary *const d = xdictionary_new(0);
    for (const size_t copy : {1U, 2U}) {
        allocator.fail_at(copy);
        EXPECT_ABORT(set_string(d, "a", "1"), "");
    }
    allocator.fail_at(0);
    xdictionary_del(d);
}

TEST(DictionaryMemoryDeathTest, GrowthIsIndispensable) {
    CountingAllocator allocator;
    xdictionary *const d = xdictionary_new(0);
    for (int i = 0; i < 128; ++i)
        set_string(d, std::to_string(i).c_str(), "v");
    for (size_t array = 1; array <= 4; ++array) {
        allocator.fail_at(array);
        EXPECT_ABORT(set_string(d, "new", nullptr), "");
    }
    allocator.fail_at(0);
    xdictionary_del(d);
}

} // namespace
