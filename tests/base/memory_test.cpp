// SPDX-License-Identifier: MIT
#include "support/counting_allocator.h"
#include "support/death.h"

#include <varnel/memory.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace {

bool all_zero(const void *block, size_t size) {
    const auto *const bytes = static_cast<const unsigned char *>(block);
    return std::all_of(bytes, bytes + size, [](unsigned char byte) { return byte == 0; });
}

TEST(Xmalloc, PassesSizeAndResultOfAllocate) {
    CountingAllocator allocator;
    void *const block = xmalloc(10);
    EXPECT_EQ(allocator.last_block(), block);
    EXPECT_EQ(allocator.size_of(block), 10U);
    EXPECT_EQ(allocator.allocate_calls(), 1U);
    EXPECT_EQ(allocator.zeroed_calls() + allocator.reallocate_calls(), 0U);
    _xfree(block);
    EXPECT_EQ(allocator.live_blocks(), 0U);
}

TEST(Xmalloc, DoesNotZero) {
    const CountingAllocator allocator;
    auto *const block = static_cast<unsigned char *>(xmalloc(4));
    EXPECT_EQ(block[0], 0xA5);
    EXPECT_EQ(block[3], 0xA5);
    _xfree(block);
}

TEST(Xmalloc, PassesNullOn) {
    CountingAllocator allocator;
    allocator.fail_at(1);
    EXPECT_EQ(xmalloc(10), nullptr);
}

TEST(Xmalloc0, ZeroesABlockOfAllocate) {
    const CountingAllocator allocator;
    void *const block = xmalloc0(100);
    EXPECT_TRUE(all_zero(block, 100));
    EXPECT_EQ(allocator.size_of(block), 100U);
    EXPECT_EQ(allocator.allocate_calls(), 1U);
    EXPECT_EQ(allocator.zeroed_calls(), 0U);
    _xfree(block);
}

TEST(Xmalloc0, SizeZeroIsTheAllocatorsBlock) {
    const CountingAllocator allocator;
    void *const block = xmalloc0(0);
    EXPECT_EQ(block, allocator.last_block());
    EXPECT_EQ(allocator.sizes(), std::vector<size_t>{0});
    _xfree(block);
}

TEST(MemoryDeathTest, Xmalloc0AbortsSilentlyWithoutMemory) {
    EXPECT_ABORT(
        {
            CountingAllocator allocator;
            allocator.fail_at(1);
            xmalloc0(8);
        },
        "^$");
}

TEST(MemoryDeathTest, Xmalloc0AbortsWhenTheAllocatorHasNothingForSizeZero) {
    EXPECT_ABORT(
        {
            CountingAllocator allocator;
            allocator.null_for_empty(true);
            xmalloc0(0);
        },
        "^$");
}

TEST(Xcalloc, CallsTheZeroedArrayFunction) {
    const CountingAllocator allocator;
    void *const block = xcalloc(3, 7);
    EXPECT_TRUE(all_zero(block, 21));
    EXPECT_EQ(allocator.size_of(block), 21U);
    EXPECT_EQ(allocator.zeroed_calls(), 1U);
    EXPECT_EQ(allocator.allocate_calls(), 0U);
    _xfree(block);
}

size_t seen_count;
size_t seen_size;
void *note_zeroed(size_t count, size_t size) {
    seen_count = count;
    seen_size = size;
    return nullptr;
}

TEST(Xcalloc, PassesCountAndSizeInOrderAndNullOn) {
    ASSERT_EQ(x_replace_allocator(malloc, realloc, note_zeroed, free), 0);
    EXPECT_EQ(xcalloc(3, 7), nullptr);
    ASSERT_EQ(x_replace_allocator(malloc, realloc, calloc, free), 0);
    EXPECT_EQ(seen_count, 3U);
    EXPECT_EQ(seen_size, 7U);
}

TEST(Xrealloc, CallsReallocateAlsoForNullAndKeepsTheBytes) {
    const CountingAllocator allocator;
    auto *block = static_cast<char *>(xrealloc(nullptr, 4));
    memcpy(block, "abc", 4);
    block = static_cast<char *>(xrealloc(block, 400));
    EXPECT_STREQ(block, "abc");
    EXPECT_EQ(allocator.size_of(block), 400U);
    EXPECT_EQ(allocator.reallocate_calls(), 2U);
    EXPECT_EQ(allocator.allocate_calls(), 0U);
    _xfree(block);
}

TEST(Xrealloc, PassesNullOnAndLeavesTheBlock) {
    CountingAllocator allocator;
    void *const block = xmalloc0(4);
    allocator.fail_at(1);
    EXPECT_EQ(xrealloc(block, 8), nullptr);
    EXPECT_TRUE(allocator.is_live(block));
    _xfree(block);
}

void release_and_spoil_errno(void *block) {
    free(block);
    errno = EIO;
}

TEST(Xfree, PreservesErrno) {
    ASSERT_EQ(x_replace_allocator(malloc, realloc, calloc, release_and_spoil_errno), 0);
    for (const int value : {0, ENOENT, EINTR}) {
        void *const block = xmalloc(1);
        errno = value;
        _xfree(block);
        EXPECT_EQ(errno, value);
    }
    ASSERT_EQ(x_replace_allocator(malloc, realloc, calloc, free), 0);
}

TEST(Xfree, IgnoresNullWithoutACall) {
    const CountingAllocator allocator;
    errno = ENOENT;
    _xfree(nullptr);
    EXPECT_EQ(allocator.release_calls(), 0U);
    EXPECT_EQ(errno, ENOENT);
}

TEST(ReplaceAllocator, IsAllOrNothing) {
    const CountingAllocator allocator;
    errno = 0;
    EXPECT_EQ(x_replace_allocator(nullptr, realloc, calloc, free), -22);
    EXPECT_EQ(x_replace_allocator(malloc, nullptr, calloc, free), -22);
    EXPECT_EQ(x_replace_allocator(malloc, realloc, nullptr, free), -22);
    EXPECT_EQ(x_replace_allocator(malloc, realloc, calloc, nullptr), -22);
    EXPECT_EQ(x_replace_allocator(nullptr, nullptr, nullptr, nullptr), -22);
    _xfree(xmalloc(1));
    _xfree(xcalloc(1, 1));
    _xfree(xrealloc(nullptr, 1));
    EXPECT_EQ(allocator.allocate_calls(), 1U);
    EXPECT_EQ(allocator.zeroed_calls(), 1U);
    EXPECT_EQ(allocator.reallocate_calls(), 1U);
    EXPECT_EQ(allocator.release_calls(), 3U);
}

TEST(ReplaceAllocator, EarlierBlocksGoToTheNewRelease) {
    void *const block = xmalloc(1);
    static void *released;
    released = nullptr;
    const auto note_release = [](void *given) {
        released = given;
        free(given);
    };
    EXPECT_EQ(x_replace_allocator(malloc, realloc, calloc, note_release), 0);
    const void *const expected = block;
    _xfree(block);
    EXPECT_EQ(released, expected);
    EXPECT_EQ(x_replace_allocator(malloc, realloc, calloc, free), 0);
}

struct GrowCase {
    size_t capacity;
    size_t need;
    size_t grown; // 0: no call
};

TEST(GreedyRealloc, GrowsToTwiceTheNeedAndAtLeast512) {
    constexpr GrowCase kCases[] = {{0, 0, 0},     {0, 1, 512},      {0, 10, 512},       {512, 512, 0},
                                   {512, 10, 0},  {512, 513, 1026}, {512, 600, 1200},   {0, 255, 512},
                                   {0, 256, 512}, {0, 257, 514},    {1000, 1001, 2002}, {1, 2, 512}};
    for (const GrowCase &row : kCases) {
        SCOPED_TRACE(testing::Message() << row.capacity << " bytes, need " << row.need);
        const CountingAllocator allocator;
        void *block = row.capacity != 0 ? xmalloc(row.capacity) : nullptr;
        void *const before = block;
        size_t capacity = row.capacity;
        EXPECT_EQ(greedy_realloc(&block, &capacity, row.need), block);
        EXPECT_EQ(allocator.reallocate_calls(), row.grown != 0 ? 1U : 0U);
        EXPECT_EQ(capacity, row.grown != 0 ? row.grown : row.capacity);
        if (row.grown != 0)
            EXPECT_EQ(allocator.size_of(block), row.grown);
        else
            EXPECT_EQ(block, before);
        _xfree(block);
        EXPECT_EQ(allocator.live_blocks(), 0U);
    }
}

TEST(GreedyRealloc, KeepsTheBytes) {
    const CountingAllocator allocator;
    size_t capacity = 4;
    void *block = xmalloc(capacity);
    memcpy(block, "abc", 4);
    EXPECT_NE(greedy_realloc(&block, &capacity, 5), nullptr);
    EXPECT_STREQ(static_cast<char *>(block), "abc");
    _xfree(block);
}

TEST(GreedyRealloc, TwiceTheNeedWraps) {
    const CountingAllocator allocator;
    void *block = nullptr;
    size_t capacity = 0;
    constexpr size_t kNeed = SIZE_MAX / 2 + 2; // twice it is 2
    EXPECT_NE(greedy_realloc(&block, &capacity, kNeed), nullptr);
    EXPECT_EQ(capacity, 512U);
    EXPECT_EQ(allocator.size_of(block), 512U);
    _xfree(block);
}

TEST(GreedyRealloc, FailureLeavesBlockAndCapacity) {
    CountingAllocator allocator;
    void *block = xmalloc(8);
    void *const before = block;
    size_t capacity = 8;
    allocator.fail_at(1);
    EXPECT_EQ(greedy_realloc(&block, &capacity, 9), nullptr);
    EXPECT_EQ(block, before);
    EXPECT_EQ(capacity, 8U);
    EXPECT_TRUE(allocator.is_live(block));
    _xfree(block);
}

TEST(MemDouble, KeepsTheLowerHalfZeroesTheUpperAndReleasesTheOldBlock) {
    const CountingAllocator allocator;
    void *const old_block = xmalloc(8);
    memcpy(old_block, "12345678", 8);
    auto *const doubled = static_cast<char *>(x_mem_double(old_block, 8));
    EXPECT_EQ(memcmp(doubled, "12345678\0\0\0\0\0\0\0", 16), 0);
    EXPECT_EQ(allocator.size_of(doubled), 16U);
    EXPECT_FALSE(allocator.is_live(old_block));
    EXPECT_EQ(allocator.reallocate_calls(), 0U);
    EXPECT_EQ(allocator.allocate_calls(), 2U);
    _xfree(doubled);
}

TEST(MemDouble, NullOfSizeZeroIsAllowed) {
    const CountingAllocator allocator;
    void *const doubled = x_mem_double(nullptr, 0);
    EXPECT_EQ(doubled, allocator.last_block());
    EXPECT_EQ(allocator.sizes(), std::vector<size_t>{0});
    EXPECT_EQ(allocator.release_calls(), 0U);
    _xfree(doubled);
}

TEST(MemoryDeathTest, MemDoubleAbortsWithoutMemoryAndWhenTheSizeWraps) {
    char block[8] = {};
    EXPECT_ABORT(
        {
            CountingAllocator allocator;
            allocator.fail_at(1);
            x_mem_double(block, sizeof block);
        },
        "^$");
    EXPECT_ABORT(x_mem_double(block, SIZE_MAX / 2 + 1), "^$");
    EXPECT_ABORT(x_mem_double(block, SIZE_MAX), "^$");
}

} // namespace
