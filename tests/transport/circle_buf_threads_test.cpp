// SPDX-License-Identifier: MIT
#include "ring.h"

#include <atomic>
#include <chrono>
#include <functional>
#include <thread>

TEST(CircleBufThreads, OneWriterAndOneReader) {
    constexpr int32_t kCapacity = 4096;
    constexpr uint32_t kTotal = 400000;
    const Ring ring(kCapacity);
    std::thread writer([&ring] {
        uint8_t chunk[700];
        for (uint32_t sent = 0, size = 1; sent < kTotal; size = size % 700 + 1) {
            const uint32_t count = std::min(size, kTotal - sent);
            while (ring.data_len() + static_cast<int32_t>(count) > kCapacity)
                std::this_thread::yield();
            for (uint32_t i = 0; i < count; ++i)
                chunk[i] = static_cast<uint8_t>((sent + i) * 7 % 251);
            ASSERT_EQ(circle_buf_put(ring.get(), chunk, static_cast<int32_t>(count)), static_cast<int32_t>(count));
            sent += count;
        }
    });
    uint8_t peeked[500];
    uint8_t taken[500];
    for (uint32_t received = 0; received < kTotal;) {
        const int32_t seen = circle_buf_get_peek(ring.get(), peeked, sizeof peeked);
        const int32_t count = circle_buf_get(ring.get(), taken, seen);
        ASSERT_EQ(count, seen);
        ASSERT_EQ(memcmp(peeked, taken, static_cast<size_t>(count)), 0);
        for (int32_t i = 0; i < count; ++i)
            ASSERT_EQ(taken[i], static_cast<uint8_t>((received + static_cast<uint32_t>(i)) * 7 % 251));
        received += static_cast<uint32_t>(count);
        if (count == 0)
            std::this_thread::yield();
    }
    writer.join();
    EXPECT_EQ(ring.data_len(), 0);
}

TEST(CircleBufThreads, GrowthBesideAReaderThatOnlyMeasures) {
    const Ring ring(0);
    std::atomic<bool> done = false;
    std::thread reader([&] {
        int32_t last = 0;
        while (!done) {
            const int32_t length = ring.data_len();
            EXPECT_GE(length, last);
            last = length;
            uint8_t bytes[8];
            for (int32_t i = 0, count = circle_buf_get_peek(ring.get(), bytes, 8); i < count; ++i)
                EXPECT_EQ(bytes[i], 0x42);
        }
    });
    const Bytes bytes(100, 0x42);
    for (int i = 0; i < 300; ++i)
        ring.put(bytes);
    done = true;
    reader.join();
    EXPECT_EQ(ring.data_len(), 30000);
}

// Everything that touches the positions waits for whoever holds the lock.
TEST(CircleBufThreads, OperationsWaitForTheLock) {
    const Ring ring(0);
    ring.put({1, 2, 3});
    uint8_t byte = 0;
    const std::function<void()> operations[] = {
        [&] { circle_buf_put(ring.get(), &byte, 1); }, [&] { circle_buf_get_peek(ring.get(), &byte, 1); },
        [&] { circle_buf_get(ring.get(), &byte, 1); }, [&] { circle_buf_data_len(ring.get()); },
        [&] { circle_buf_clear(ring.get()); },
    };
    for (const auto &operation : operations) {
        pthread_mutex_lock(&ring->lock);
        std::atomic<bool> done = false;
        std::thread thread([&] {
            operation();
            done = true;
        });
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        EXPECT_FALSE(done);
        pthread_mutex_unlock(&ring->lock);
        thread.join();
        EXPECT_TRUE(done);
    }
}

// A reader sees that a ring is empty before it takes the lock, so it never waits for a writer there.
TEST(CircleBufThreads, ReadersOfAnEmptyRingDoNotTakeTheLock) {
    const Ring ring(0);
    uint8_t byte = 0;
    pthread_mutex_lock(&ring->lock);
    EXPECT_EQ(circle_buf_get(ring.get(), &byte, 1), 0);
    EXPECT_EQ(circle_buf_get_peek(ring.get(), &byte, 1), 0);
    EXPECT_EQ(circle_buf_put(ring.get(), &byte, 0), 0);
    EXPECT_EQ(circle_buf_put(ring.get(), nullptr, 1), 0);
    pthread_mutex_unlock(&ring->lock);
}
