// SPDX-License-Identifier: MIT
#include "base/block.h"
#include "support/counting_allocator.h"
#include "support/death.h"

#include <gtest/gtest.h>

#include <utility>

using varnel::Block;

namespace {

struct Record {
    int number;
    void *pointer;
};

TEST(NewRecord, IsZeroedAndOfTheTypesSize) {
    const CountingAllocator allocator;
    auto *const record = varnel::new_record<Record>();
    EXPECT_EQ(record->number, 0);
    EXPECT_EQ(record->pointer, nullptr);
    EXPECT_EQ(allocator.size_of(record), sizeof(Record));
    _xfree(record);
}

TEST(TryNewArray, ComesZeroedFromTheArrayFunction) {
    const CountingAllocator allocator;
    auto *const array = varnel::try_new_array<uint32_t>(3);
    EXPECT_EQ(array[0] | array[1] | array[2], 0U);
    EXPECT_EQ(allocator.zeroed_calls(), 1U);
    EXPECT_EQ(allocator.size_of(array), 12U);
    _xfree(array);
}

TEST(TryNewArray, NullWithoutMemoryAndWithoutACallWhenTheSizeWraps) {
    CountingAllocator allocator;
    allocator.fail_at(1);
    EXPECT_EQ(varnel::try_new_array<uint32_t>(3), nullptr);
    EXPECT_EQ(varnel::try_new_array<uint32_t>(SIZE_MAX / 4 + 1), nullptr);
    EXPECT_EQ(allocator.allocations(), 1U);
}

TEST(NewBytes, AsksForOneByteInsteadOfNone) {
    CountingAllocator allocator;
    allocator.null_for_empty(true);
    auto *const bytes = varnel::new_bytes<char>(0);
    EXPECT_EQ(bytes[0], '\0');
    EXPECT_EQ(allocator.sizes(), std::vector<size_t>{1});
    _xfree(bytes);
}

TEST(CopyBytes, CopiesAndTakesANullSourceForZeros) {
    const CountingAllocator allocator;
    char *const copy = varnel::copy_bytes("ab", 2);
    EXPECT_EQ(memcmp(copy, "ab", 2), 0);
    EXPECT_EQ(allocator.size_of(copy), 2U);
    char *const zeros = varnel::copy_bytes(nullptr, 3);
    EXPECT_EQ(memcmp(zeros, "\0\0\0", 3), 0);
    _xfree(copy);
    _xfree(zeros);
}

TEST(SumOrAbort, Adds) {
    EXPECT_EQ(varnel::sum_or_abort<uint32_t>(UINT32_MAX - 1, 1), UINT32_MAX);
    EXPECT_EQ(varnel::sum_or_abort<uint64_t>(UINT32_MAX, 1), uint64_t{UINT32_MAX} + 1);
}

TEST(SumOrAbortDeathTest, AbortsWhenTheSumWraps) {
    EXPECT_ABORT(varnel::sum_or_abort<uint32_t>(UINT32_MAX, 1), "^$");
    EXPECT_ABORT(varnel::sum_or_abort<size_t>(SIZE_MAX, SIZE_MAX), "^$");
}

TEST(BlockOwner, ReleasesAtItsEnd) {
    const CountingAllocator allocator;
    {
        const Block block(varnel::new_record<Record>());
        block->number = 4;
        EXPECT_EQ(block.get()->number, 4);
    }
    EXPECT_EQ(allocator.live_blocks(), 0U);
}

TEST(BlockOwner, HandsTheBlockOver) {
    const CountingAllocator allocator;
    Record *record = nullptr;
    {
        Block first(varnel::new_record<Record>());
        Block second(std::move(first));
        record = second.release();
        EXPECT_EQ(second.get(), nullptr);
    }
    EXPECT_TRUE(allocator.is_live(record));
    _xfree(record);
}

} // namespace
