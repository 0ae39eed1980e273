// SPDX-License-Identifier: MIT
// The transport's records: ring, message ids, messages.
#include "sweep/sweep.h"

#include <varnel/memory.h>
#include <varnel/transport.h>

#include <gtest/gtest.h>

#include <vector>

namespace {

TEST(TransportSweep, RingAborts) {
    sweep(
        [](SweepRun &run) {
            run.begin();
            circle_buf *const ring = circle_buf_new(0);
            const std::vector<uint8_t> bytes(CIRCLE_BUF_MIN + 1, 7);
            EXPECT_EQ(circle_buf_put(ring, bytes.data(), CIRCLE_BUF_MIN), CIRCLE_BUF_MIN);
            EXPECT_EQ(circle_buf_put(ring, bytes.data(), 1), 1);
            EXPECT_EQ(ring->capacity, CIRCLE_BUF_MIN + 1);
            std::vector<uint8_t> got(bytes.size());
            EXPECT_EQ(circle_buf_get_peek(ring, got.data(), CIRCLE_BUF_MIN + 1), CIRCLE_BUF_MIN + 1);
            EXPECT_EQ(circle_buf_get(ring, got.data(), CIRCLE_BUF_MIN + 1), CIRCLE_BUF_MIN + 1);
            EXPECT_EQ(got, bytes);
            circle_buf_clear(ring);
            EXPECT_EQ(circle_buf_data_len(ring), 0);
            circle_buf_del(ring);
            return End::complete;
        },
        {{2, End::aborted, "record and storage"}, {1, End::aborted, "growth"}});
}

TEST(TransportSweep, IdTrackerIsNullWithoutItsMap) {
    sweep(
        [](SweepRun &run) {
            run.begin();
            msgid *const tracker = msgid_new();
            if (tracker == nullptr)
                return End::refused;
            EXPECT_EQ(msgid_send_new(tracker), 1U);
            EXPECT_EQ(msgid_get_send(tracker), 1U);
            EXPECT_EQ(msgid_recv_checkput(tracker, 1), 1);
            msgid_free(tracker);
            return End::complete;
        },
        {{1, End::aborted, "record"}, {1, End::refused, "map", "_varnel: hashmap new msg id error.\n"}});
}

TEST(TransportSweep, MessageOfDataIsNull) {
    sweep(
        [](SweepRun &run) {
            const std::vector<uint8_t> bytes(PACKET_PAYLOAD_MAX + 1, 7);
            run.begin();
            msginfo *const info = msginfo_new_by_data(bytes.data(), PACKET_PAYLOAD_MAX + 1);
            if (info == nullptr)
                return End::refused;
            EXPECT_EQ(msginfo_packet_count(info), 2U);
            EXPECT_EQ(msginfo_packet_len(info, 2), 1U);
            msginfo_free(info);
            return End::complete;
        },
        {{3, End::refused, "record, flags and slots"}});
}

TEST(TransportSweep, MessageOfPacketsIsNullAndJoiningAborts) {
    sweep(
        [](SweepRun &run) {
            run.begin();
            msginfo *const info = msginfo_new_by_packet(2);
            if (info == nullptr)
                return End::refused;
            EXPECT_EQ(msginfo_put_packet(info, 1, "ab", 2), 1);
            EXPECT_EQ(msginfo_set_packet_data(info, 2, "c", 1), 1);
            uint8_t *data = nullptr;
            EXPECT_EQ(msginfo_get_data(info, &data), 3U);
            EXPECT_EQ(data[2], 'c');
            _xfree(data);
            msginfo_free(info);
            return End::complete;
        },
        {{3, End::refused, "record, flags and slots"}, {1, End::aborted, "joined data"}});
}

} // namespace
