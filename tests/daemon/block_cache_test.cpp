// SPDX-License-Identifier: MIT
#include "daemon/block_cache.h"

#include "daemon/allocator.h"

#include <varnel/memory.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <malloc.h>
#include <random>
#include <vector>

namespace {

using varnel::daemon::BlockCache;

TEST(BlockCache, GivesABlockThatWasReleasedToTheNextWhoAsksForAsMuch) {
    BlockCache cache;
    void *const first = cache.take(100);
    cache.give(first);
    EXPECT_EQ(cache.take(97), first);
    EXPECT_EQ(cache.bytes(), 0U);
    std::free(first);
}

TEST(BlockCache, GivesNoBlockThatIsTooSmall) {
    BlockCache cache;
    for (std::size_t size = 1; size <= BlockCache::kLargestBlock + 32; ++size) {
        cache.give(std::malloc(size));
        void *const block = cache.take(size);
        EXPECT_GE(malloc_usable_size(block), size);
        std::memset(block, 0xff, size);
        cache.give(block);
    }
}

TEST(BlockCache, TakesWhatIsNoBlock) {
    BlockCache cache;
    cache.give(nullptr);
    EXPECT_EQ(cache.bytes(), 0U);
}

TEST(BlockCache, GivesABlockForNothing) {
    BlockCache cache;
    void *const block = cache.take(0);
    EXPECT_NE(block, nullptr);
    cache.give(block);
}

TEST(BlockCache, KeepsNoLargeBlocks) {
    BlockCache cache;
    cache.give(cache.take(BlockCache::kLargestBlock * 2));
    EXPECT_EQ(cache.bytes(), 0U);
}

TEST(BlockCache, KeepsNoMoreThanItMay) {
    BlockCache cache;
    std::vector<void *> blocks(2000);
    std::generate(blocks.begin(), blocks.end(), [&] { return cache.take(200); });
    for (void *const block : blocks)
        cache.give(block);
    EXPECT_LE(cache.bytes(), BlockCache::kMostBytes);
    EXPECT_GT(cache.bytes(), BlockCache::kMostBytes - 1024);
}

struct Taken {
    std::uint8_t *block;
    std::size_t size;
    std::uint8_t mark;
};

TEST(BlockCache, NeverGivesOneBlockToTwo) {
    BlockCache cache;
    std::mt19937 random(20250104);
    std::vector<Taken> taken;
    for (int i = 0; i < 20000; ++i) {
        if (taken.size() > 100 || (!taken.empty() && random() % 2 == 0)) {
            std::swap(taken[random() % taken.size()], taken.back());
            const auto [block, size, mark] = taken.back();
            ASSERT_EQ(std::count(block, block + size, mark), static_cast<std::ptrdiff_t>(size));
            cache.give(block);
            taken.pop_back();
            continue;
        }
        const std::size_t size = random() % 1500;
        taken.push_back({static_cast<std::uint8_t *>(cache.take(size)), size, static_cast<std::uint8_t>(i)});
        std::fill_n(taken.back().block, size, taken.back().mark);
    }
    for (const Taken &last : taken)
        cache.give(last.block);
}

// The library's functions, with the allocator of the daemon.
class FastAllocator : public testing::Test {
protected:
    ~FastAllocator() override { x_replace_allocator(std::malloc, std::realloc, std::calloc, std::free); }

    const bool is_used_ = varnel::daemon::use_fast_allocator();
};

TEST_F(FastAllocator, GivesZeroesAlthoughTheBlockWasUsed) {
    for (const std::size_t size : {std::size_t{48}, BlockCache::kLargestBlock, std::size_t{5000}}) {
        auto *block = static_cast<std::uint8_t *>(xmalloc(size));
        std::memset(block, 0xff, size);
        _xfree(block);
        block = static_cast<std::uint8_t *>(xcalloc(size / 4, 4));
        EXPECT_EQ(std::count(block, block + size, 0), static_cast<std::ptrdiff_t>(size));
        _xfree(block);
    }
}

TEST_F(FastAllocator, KeepsWhatIsInABlockThatGrows) {
    std::size_t size = 1;
    auto *block = static_cast<std::uint8_t *>(xrealloc(nullptr, size));
    *block = 0;
    for (const std::size_t larger : std::vector<std::size_t>{7, 30, 500, 1024, 1025, 3000, 90000}) {
        block = static_cast<std::uint8_t *>(xrealloc(block, larger));
        for (std::size_t i = 0; i < size; ++i)
            ASSERT_EQ(block[i], static_cast<std::uint8_t>(i));
        for (std::size_t i = size; i < larger; ++i)
            block[i] = static_cast<std::uint8_t>(i);
        size = larger;
    }
    for (const std::size_t smaller : std::vector<std::size_t>{2000, 900, 3}) {
        block = static_cast<std::uint8_t *>(xrealloc(block, smaller));
        for (std::size_t i = 0; i < smaller; ++i)
            ASSERT_EQ(block[i], static_cast<std::uint8_t>(i));
    }
    _xfree(block);
}

// Where malloc itself serves, it decides: glibc's and the address sanitizer's realloc release the block.
TEST_F(FastAllocator, MakesABlockThatShrinksToNothingABlock) {
    for (const std::size_t size : {std::size_t{3}, BlockCache::kLargestBlock, std::size_t{90000}}) {
        void *const block = xrealloc(xmalloc(size), 0);
        EXPECT_TRUE(block != nullptr || !is_used_) << size;
        _xfree(block);
    }
}

TEST_F(FastAllocator, RefusesWhatOverflows) {
    EXPECT_EQ(xcalloc(SIZE_MAX / 2, 3), nullptr);
}

TEST_F(FastAllocator, GivesBlocksThatAreMallocs) {
    std::free(xmalloc(100));
    _xfree(std::malloc(100));
}

} // namespace
