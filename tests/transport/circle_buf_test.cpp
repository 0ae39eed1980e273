// SPDX-License-Identifier: MIT
#include "ring.h"
#include "support/death.h"

TEST(CircleBuf, StartsEmptyWithTheCapacityAskedForButAtLeast1024) {
    const std::pair<int32_t, int32_t> rows[] = {{INT32_MIN, 1024}, {-1, 1024},   {0, 1024},    {1, 1024},   {100, 1024},
                                                {1023, 1024},      {1024, 1024}, {1025, 1025}, {4096, 4096}};
    for (const auto &[asked, capacity] : rows) {
        const Ring ring(asked);
        EXPECT_EQ(ring->capacity, capacity) << asked;
        EXPECT_EQ(ring->length, 0);
        EXPECT_EQ(ring->read_pos, ring->base);
        EXPECT_EQ(ring->write_pos, ring->base);
        for (int32_t i = 0; i < capacity; ++i)
            ASSERT_EQ(ring->base[i], 0);
    }
}

TEST(CircleBuf, NullsAndLengthsBelowOneDoNothing) {
    const Ring ring(0);
    uint8_t byte = 'x';
    ASSERT_EQ(ring.put({'a', 'b'}), 2);
    EXPECT_EQ(circle_buf_put(nullptr, &byte, 1), 0);
    EXPECT_EQ(circle_buf_put(ring.get(), nullptr, 1), 0);
    EXPECT_EQ(circle_buf_get(nullptr, &byte, 1), 0);
    EXPECT_EQ(circle_buf_get(ring.get(), nullptr, 1), 0);
    EXPECT_EQ(circle_buf_get_peek(nullptr, &byte, 1), 0);
    EXPECT_EQ(circle_buf_get_peek(ring.get(), nullptr, 1), 0);
    for (const int32_t length : {0, -1, INT32_MIN}) {
        EXPECT_EQ(circle_buf_put(ring.get(), &byte, length), 0);
        EXPECT_EQ(circle_buf_get(ring.get(), &byte, length), 0);
        EXPECT_EQ(circle_buf_get_peek(ring.get(), &byte, length), 0);
    }
    EXPECT_EQ(byte, 'x');
    EXPECT_EQ(circle_buf_data_len(nullptr), 0);
    circle_buf_clear(nullptr);
    circle_buf_del(nullptr);
    EXPECT_EQ(ring.data_len(), 2);
    EXPECT_EQ(ring.get(10), (Bytes{'a', 'b'}));
}

TEST(CircleBuf, AnEmptyRingYieldsNothing) {
    const Ring ring(0);
    EXPECT_EQ(ring.get(5), Bytes{});
    EXPECT_EQ(ring.peek(5), Bytes{});
}

TEST(CircleBuf, PeekConsumesNothing) {
    const Ring ring(0);
    ring.put({'a', 'b', 'c'});
    const uint8_t *const read_pos = ring->read_pos;
    EXPECT_EQ(ring.peek(6), (Bytes{'a', 'b', 'c'}));
    EXPECT_EQ(ring.data_len(), 3);
    EXPECT_EQ(ring->read_pos, read_pos);
    EXPECT_EQ(ring.peek(2), (Bytes{'a', 'b'}));
    EXPECT_EQ(ring.get(6), (Bytes{'a', 'b', 'c'}));
    EXPECT_EQ(ring.data_len(), 0);
    EXPECT_EQ(ring.get(6), Bytes{});
}

TEST(CircleBuf, FillsWithoutGrowing) {
    const Ring ring(0);
    const uint8_t *const base = ring->base;
    const Bytes bytes = pattern(1024);
    EXPECT_EQ(ring.put(bytes), 1024);
    EXPECT_EQ(ring->capacity, 1024);
    EXPECT_EQ(ring->base, base);
    EXPECT_EQ(ring->read_pos, ring->write_pos);
    EXPECT_EQ(ring.peek(2000), bytes);
    EXPECT_EQ(ring.get(2000), bytes);
    EXPECT_EQ(ring->read_pos, ring->write_pos);
    EXPECT_EQ(ring.data_len(), 0);
}

TEST(CircleBuf, FullAtEveryOffsetIsNotEmpty) {
    for (int32_t offset = 0; offset < 1024; offset += 31) {
        const Ring ring(0);
        ring.advance(offset);
        const Bytes bytes = pattern(1024, static_cast<uint32_t>(offset));
        EXPECT_EQ(ring.put(bytes), 1024);
        EXPECT_EQ(ring->capacity, 1024);
        EXPECT_EQ(ring->read_pos - ring->base, offset);
        EXPECT_EQ(ring.get(1024), bytes);
    }
}

// The bytes of a ring that wraps, put in two parts and taken in two, at every place of both cuts.
TEST(CircleBuf, EverySplitOfABytesStringAcrossTheEnd) {
    constexpr int32_t kSize = 24;
    const Bytes bytes = pattern(kSize);
    for (int32_t offset = 1024 - kSize - 1; offset < 1024; ++offset) {
        for (int32_t cut_in = 0; cut_in <= kSize; ++cut_in) {
            for (int32_t cut_out = 0; cut_out <= kSize; ++cut_out) {
                const Ring ring(0);
                ring.advance(offset);
                ring.put(Bytes(bytes.begin(), bytes.begin() + cut_in));
                ring.put(Bytes(bytes.begin() + cut_in, bytes.end()));
                ASSERT_EQ(ring.peek(kSize + 1), bytes);
                ASSERT_EQ(join({ring.get(cut_out), ring.get(kSize)}), bytes);
                ASSERT_EQ(ring.data_len(), 0);
                ASSERT_EQ(ring->write_pos - ring->base, (offset + kSize) % 1024);
            }
        }
    }
}

TEST(CircleBuf, PositionsWrapToTheBaseAtTheEnd) {
    const Ring ring(0);
    ring.advance(1000);
    ring.put(pattern(24));
    EXPECT_EQ(ring->write_pos, ring->base);
    EXPECT_EQ(ring.get(24).size(), 24U);
    EXPECT_EQ(ring->read_pos, ring->base);
}

TEST(CircleBuf, ClearForgetsTheBytesButErasesNothing) {
    const Ring ring(0);
    ring.advance(1000);
    ring.put({'a', 'b', 'c'});
    circle_buf_clear(ring.get());
    EXPECT_EQ(ring.data_len(), 0);
    EXPECT_EQ(ring->read_pos, ring->base);
    EXPECT_EQ(ring->write_pos, ring->base);
    EXPECT_EQ(ring->capacity, 1024);
    EXPECT_EQ(ring->base[1000], 'a');
    EXPECT_EQ(ring.get(3), Bytes{});
    ring.put({'d'});
    EXPECT_EQ(ring.get(3), Bytes{'d'});
}

TEST(CircleBuf, AllocatesRecordAndStorageAndReleasesBoth) {
    const CountingAllocator allocator;
    circle_buf *const ring = circle_buf_new(2000);
    EXPECT_EQ(allocator.sizes(), (std::vector<size_t>{sizeof(circle_buf), 2000}));
    const Bytes bytes = pattern(2000);
    circle_buf_put(ring, bytes.data(), 2000);
    EXPECT_EQ(allocator.allocations(), 2U);
    circle_buf_del(ring);
    EXPECT_EQ(allocator.live_blocks(), 0U);
}

TEST(CircleBufDeathTest, RefusedMemoryEndsTheProcess) {
    expect_abort_at_every_allocation([] { circle_buf_del(circle_buf_new(0)); });
}

TEST(CircleBufDeathTest, AFailedGrowthEndsTheProcess) {
    const Bytes bytes = pattern(1025);
    EXPECT_ABORT(
        {
            CountingAllocator allocator;
            circle_buf *const ring = circle_buf_new(0);
            allocator.fail_at(1);
            circle_buf_put(ring, bytes.data(), 1025);
        },
        "^$");
}
