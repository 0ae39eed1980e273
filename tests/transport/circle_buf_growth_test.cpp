// SPDX-License-Identifier: MIT
#include "ring.h"
#include "support/counting_allocator.h"

#include <deque>
#include <random>

namespace {

// The ring as a byte array with positions, step by step.
class RingModel {
public:
    explicit RingModel(size_t capacity) : storage_(capacity) {}

    void put(const Bytes &bytes) {
        if (storage_.size() - length_ < bytes.size())
            grow(bytes.size());
        for (const uint8_t byte : bytes) {
            storage_[write_] = byte;
            write_ = next(write_);
        }
        length_ += bytes.size();
    }
    [[nodiscard]] Bytes peek(size_t count) const {
        Bytes bytes;
        for (size_t position = read_; bytes.size() < std::min(count, length_); position = next(position))
            bytes.push_back(storage_[position]);
        return bytes;
    }
    Bytes get(size_t count) {
        Bytes bytes = peek(count);
        read_ = (read_ + bytes.size()) % storage_.size();
        length_ -= bytes.size();
        return bytes;
    }

    void expect_same(const Ring &ring) const {
        ASSERT_EQ(static_cast<size_t>(ring->capacity), storage_.size());
        ASSERT_EQ(static_cast<size_t>(ring->length), length_);
        ASSERT_EQ(static_cast<size_t>(ring->read_pos - ring->base), read_);
        ASSERT_EQ(static_cast<size_t>(ring->write_pos - ring->base), write_);
        ASSERT_EQ(Bytes(ring->base, ring->base + ring->capacity), storage_);
    }

private:
    [[nodiscard]] size_t next(size_t position) const { return position + 1 == storage_.size() ? 0 : position + 1; }

    // The unread bytes are taken to lie unbroken from the read position, whether they do or not; the new area is zero.
    void grow(size_t count) {
        storage_.resize(length_ + count);
        write_ = (read_ + length_) % storage_.size();
    }

    Bytes storage_;
    size_t read_ = 0;
    size_t write_ = 0;
    size_t length_ = 0;
};

bool is_wrapped(const Ring &ring) {
    return ring->read_pos - ring->base + ring->length > ring->capacity;
}

} // namespace

TEST(CircleBufGrowth, IsExact) {
    const CountingAllocator allocator;
    {
        const Ring ring(0);
        ring.put(pattern(1024));
        ring.put({1});
        EXPECT_EQ(ring->capacity, 1025);
        EXPECT_EQ(ring.put(pattern(5000)), 5000);
        EXPECT_EQ(ring->capacity, 6025);
        EXPECT_EQ(ring.get(6025), join({pattern(1024), {1}, pattern(5000)}));
        EXPECT_EQ(ring->capacity, 6025); // never shrinks
        EXPECT_EQ(allocator.sizes(), (std::vector<size_t>{sizeof(circle_buf), 1024, 1025, 6025}));
        EXPECT_EQ(allocator.reallocate_calls(), 2U);
        EXPECT_EQ(allocator.live_blocks(), 2U);
    }
    EXPECT_EQ(allocator.live_blocks(), 0U);
}

// Bytes before the read position count as room, but are not made use of before the growth.
TEST(CircleBufGrowth, CountsUnreadBytesOnly) {
    const Ring ring(0);
    ring.advance(1000);
    ring.put(pattern(24));
    EXPECT_EQ(ring.put(pattern(1001, 2)), 1001);
    EXPECT_EQ(ring->capacity, 1025);
    EXPECT_EQ(ring->read_pos - ring->base, 1000);
    EXPECT_EQ(ring.get(1025), join({pattern(24), pattern(1001, 2)}));
}

TEST(CircleBufGrowth, KeepsTheOrderAtEveryOffsetOfAnUnwrappedRing) {
    for (int32_t offset = 0; offset <= 1020; offset += 17) {
        for (const int32_t unread : {0, 1, 4, 1024 - offset}) {
            if (unread > 1024 - offset)
                continue;
            const Ring ring(0);
            ring.advance(offset);
            const Bytes before = pattern(static_cast<size_t>(unread));
            const Bytes after = pattern(1500, 9);
            ring.put(before);
            ring.put(after);
            ASSERT_EQ(ring->capacity, unread + 1500);
            ASSERT_EQ(ring.get(3000), join({before, after})) << offset << " " << unread;
        }
    }
}

TEST(CircleBufGrowth, OfAWrappedRingSkipsTheWrappedPart) {
    const Ring ring(0);
    const Bytes first = pattern(1000, 1);
    const Bytes second = pattern(1000, 2);
    const Bytes third(15, 0x55);
    ring.put(first);
    EXPECT_EQ(ring.get(990), Bytes(first.begin(), first.begin() + 990));
    ring.put(second);
    const Bytes unread = join({Bytes(first.begin() + 990, first.end()), second});
    EXPECT_EQ(ring.peek(2000), unread); // wrapped, and in order

    EXPECT_EQ(ring.put(third), 15); // to 1025 bytes
    EXPECT_EQ(ring->capacity, 1025);
    EXPECT_EQ(ring.data_len(), 1025);
    // Up to the old end all is well; then one new, zero byte; then the old start, whose last byte is overwritten.
    const Bytes expected =
        join({Bytes(unread.begin(), unread.begin() + 34), {0}, Bytes(unread.begin() + 34, unread.end() - 1), third});
    EXPECT_EQ(ring.get(2000), expected);
}

TEST(CircleBufGrowth, OfAWrappedRingReadsZerosFromALargeNewArea) {
    const Ring ring(0);
    ring.advance(1020);
    ring.put(pattern(10));
    ring.put(pattern(3000, 7)); // to 3010 bytes: the unread ones are taken to lie at 1020 to 1029
    EXPECT_EQ(ring->capacity, 3010);
    const Bytes start = pattern(10);
    EXPECT_EQ(ring.get(10), join({Bytes(start.begin(), start.begin() + 4), zeros(6)}));
    EXPECT_EQ(ring.get(4000), pattern(3000, 7));
}

TEST(CircleBufGrowth, RandomUseWithoutWrappedGrowthIsAQueue) {
    std::mt19937 random(7);
    for (int round = 0; round < 40; ++round) {
        const Ring ring(0);
        std::deque<uint8_t> queue;
        for (int step = 0; step < 300; ++step) {
            const auto count = static_cast<int32_t>(random() % 900);
            if (random() % 2 == 0) {
                if (ring->capacity - ring->length < count && is_wrapped(ring)) {
                    ASSERT_EQ(ring.get(ring.data_len() + 1), Bytes(queue.begin(), queue.end()));
                    queue.clear();
                }
                const Bytes bytes = pattern(static_cast<size_t>(count), static_cast<uint32_t>(random() % 100));
                ASSERT_EQ(ring.put(bytes), count);
                queue.insert(queue.end(), bytes.begin(), bytes.end());
            } else {
                const auto taken = std::min<ptrdiff_t>(count, static_cast<ptrdiff_t>(queue.size()));
                const Bytes expected(queue.begin(), queue.begin() + taken);
                ASSERT_EQ(ring.peek(count), expected);
                ASSERT_EQ(ring.get(count), expected);
                queue.erase(queue.begin(), queue.begin() + taken);
            }
            ASSERT_EQ(static_cast<size_t>(ring.data_len()), queue.size());
        }
    }
}

TEST(CircleBufGrowth, RandomUseAgreesWithTheModelEvenWhenWrapped) {
    std::mt19937 random(11);
    int wrapped_growths = 0;
    for (int round = 0; round < 60; ++round) {
        const Ring ring(0);
        RingModel model(1024);
        for (int step = 0; step < 60; ++step) {
            const auto count = static_cast<int32_t>(random() % 700);
            if (random() % 5 < 3) {
                wrapped_growths += ring->capacity - ring->length < count && is_wrapped(ring);
                const Bytes bytes = pattern(static_cast<size_t>(count), static_cast<uint32_t>(random() % 100));
                ASSERT_EQ(ring.put(bytes), count);
                model.put(bytes);
            } else {
                ASSERT_EQ(ring.peek(count), model.peek(static_cast<size_t>(count)));
                ASSERT_EQ(ring.get(count), model.get(static_cast<size_t>(count)));
            }
            ASSERT_NO_FATAL_FAILURE(model.expect_same(ring));
        }
    }
    EXPECT_GT(wrapped_growths, 50);
}

// Only the record says how large such a ring is; a put that is refused touches no storage.
TEST(CircleBufGrowth, ARingNeverReaches2To31Bytes) {
    const std::pair<int32_t, int32_t> rows[] = {
        {INT32_MAX, 1}, {INT32_MAX - 10, 11}, {1, INT32_MAX}, {1000, INT32_MAX - 999}};
    for (const auto &[unread, count] : rows) {
        const CountingAllocator allocator;
        const Ring ring(0);
        const circle_buf before = *ring.get();
        ring->length = unread;
        uint8_t byte = 1;
        EXPECT_EQ(circle_buf_put(ring.get(), &byte, count), 0);
        EXPECT_EQ(ring.data_len(), unread);
        EXPECT_EQ(ring->capacity, 1024);
        EXPECT_EQ(ring->base, before.base);
        EXPECT_EQ(ring->write_pos, before.write_pos);
        EXPECT_EQ(allocator.allocations(), 2U);
        ring->length = 0;
    }
}
