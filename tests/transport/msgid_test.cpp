// SPDX-License-Identifier: MIT
#include "support/death.h"
#include "support/log_capture.h"
#include "wire.h"

#include <algorithm>
#include <thread>

namespace {

struct MsgidDeleter {
    void operator()(msgid *tracker) const { msgid_free(tracker); }
};
using Tracker = std::unique_ptr<msgid, MsgidDeleter>;

} // namespace

TEST(Msgid, StartsZeroedWithAnEmptyTableOf32BitKeys) {
    const Tracker tracker(msgid_new());
    ASSERT_NE(tracker, nullptr);
    EXPECT_EQ(tracker->send_id, 0U);
    EXPECT_EQ(tracker->reserved[0], 0U);
    EXPECT_EQ(tracker->reserved[1], 0U);
    ASSERT_NE(tracker->recv_ids, nullptr);
    EXPECT_EQ(hashmap_size(tracker->recv_ids), 0U);
    EXPECT_EQ(tracker->recv_ids->hash_fn, uint32_hash_func);
    EXPECT_EQ(tracker->recv_ids->compare_fn, uint32_compare_func);
}

TEST(Msgid, HandsOut1And2And3) {
    const Tracker tracker(msgid_new());
    EXPECT_EQ(msgid_get_send(tracker.get()), 0U);
    for (uint32_t expected = 1; expected <= 3; ++expected)
        EXPECT_EQ(msgid_send_new(tracker.get()), expected);
    EXPECT_EQ(msgid_get_send(tracker.get()), 3U);
    EXPECT_EQ(msgid_get_send(tracker.get()), 3U);
}

TEST(Msgid, WrapsAndHandsOut0LikeAnyOther) {
    const Tracker tracker(msgid_new());
    tracker->send_id = UINT32_MAX - 1;
    for (const uint32_t expected : {UINT32_MAX, 0U, 1U}) {
        EXPECT_EQ(msgid_send_new(tracker.get()), expected);
        EXPECT_EQ(msgid_get_send(tracker.get()), expected);
    }
}

TEST(Msgid, NullIsToleratedWhereSaid) {
    EXPECT_EQ(msgid_send_new(nullptr), 0U);
    msgid_free(nullptr);
}

TEST(Msgid, EveryReceivedIdIsNewAndNothingIsRemembered) {
    const Tracker tracker(msgid_new());
    for (int i = 0; i < 3; ++i)
        for (const uint32_t id : {0U, 1U, 7U, UINT32_MAX})
            EXPECT_EQ(msgid_recv_checkput(tracker.get(), id), 1);
    EXPECT_EQ(msgid_recv_checkput(nullptr, 1), 1);
    EXPECT_EQ(hashmap_size(tracker->recv_ids), 0U);
}

TEST(Msgid, TheReceiveLockIsNeverTaken) {
    const Tracker tracker(msgid_new());
    pthread_rwlock_wrlock(&tracker->recv_lock);
    EXPECT_EQ(msgid_send_new(tracker.get()), 1U);
    EXPECT_EQ(msgid_get_send(tracker.get()), 1U);
    EXPECT_EQ(msgid_recv_checkput(tracker.get(), 1), 1);
    pthread_rwlock_unlock(&tracker->recv_lock);
}

TEST(Msgid, TakesTwoBlocksAndReleasesThem) {
    const CountingAllocator allocator;
    msgid_free(msgid_new());
    EXPECT_EQ(allocator.sizes(), (std::vector<size_t>{sizeof(msgid), sizeof(hashmap)}));
    EXPECT_EQ(allocator.live_blocks(), 0U);
}

// Nothing ever puts ids there, but whatever there is belongs to the tracker.
TEST(Msgid, FreesWhatIsInItsTableOnce) {
    const CountingAllocator allocator;
    msgid *const tracker = msgid_new();
    for (uint32_t id = 1; id <= 40; ++id) {
        auto *const key = static_cast<uint32_t *>(xmalloc(sizeof id));
        *key = id;
        ASSERT_EQ(hashmap_put(tracker->recv_ids, key, xmalloc(1)), 1);
    }
    msgid_free(tracker);
    EXPECT_EQ(allocator.live_blocks(), 0U);
}

TEST(Msgid, WithoutItsMapThereIsNoTracker) {
    CountingAllocator allocator;
    const LogCapture capture;
    allocator.fail_at(2);
    EXPECT_EQ(msgid_new(), nullptr);
    EXPECT_EQ(allocator.refused(), 1U);
    EXPECT_EQ(allocator.live_blocks(), 0U);
    EXPECT_EQ(capture.texts(LogLine::error), std::vector<std::string>{"hashmap new msg id error.\n"});
    EXPECT_EQ(capture.lines().size(), 1U);
    EXPECT_EQ(capture.lines()[0].prefix, "_varnel: ");
}

TEST(MsgidDeathTest, TheRecordCannotBeDoneWithout) {
    EXPECT_ABORT(
        {
            CountingAllocator allocator;
            allocator.fail_at(1);
            msgid_new();
        },
        "^$");
}

TEST(MsgidThreads, EveryIdIsHandedOutOnce) {
    constexpr uint32_t kThreads = 4;
    constexpr uint32_t kEach = 5000;
    const Tracker tracker(msgid_new());
    std::vector<std::vector<uint32_t>> ids(kThreads);
    std::vector<std::thread> threads;
    threads.reserve(kThreads);
    for (auto &mine : ids)
        threads.emplace_back([&tracker, &mine] {
            for (uint32_t i = 0; i < kEach; ++i) {
                mine.push_back(msgid_send_new(tracker.get()));
                EXPECT_GE(msgid_get_send(tracker.get()), mine.back());
            }
        });
    for (std::thread &thread : threads)
        thread.join();
    std::vector<uint32_t> all;
    for (const auto &mine : ids) {
        EXPECT_TRUE(std::is_sorted(mine.begin(), mine.end()));
        all.insert(all.end(), mine.begin(), mine.end());
    }
    std::sort(all.begin(), all.end());
    ASSERT_EQ(all.size(), kThreads * kEach);
    for (uint32_t i = 0; i < all.size(); ++i)
        ASSERT_EQ(all[i], i + 1);
}
