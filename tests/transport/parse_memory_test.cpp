// SPDX-License-Identifier: MIT
#include "endpoint.h"
#include "support/death.h"
#include "support/log_capture.h"

// The blocks of a new message, in order: record, flags, slots, key, map entry.

TEST(ParseMemory, AMessageThatIsRefusedMemoryIsDropped) {
    for (size_t n = 1; n <= 3; ++n) {
        const LogCapture log;
        CountingAllocator allocator;
        {
            const Endpoint end;
            end.feed_all({packet(7, 2, 1, {'x'}), packet(8, 1, 1, {'y'})});
            const size_t before = allocator.live_blocks();
            allocator.fail_at(n);
            EXPECT_EQ(parse(end.client), kNothing);
            EXPECT_EQ(allocator.refused(), 1U);
            EXPECT_EQ(allocator.live_blocks(), before);
            EXPECT_EQ(end.sent(), Bytes{});
            EXPECT_EQ(hashmap_size(end.client->recv_map), 0U);
            EXPECT_EQ(unread(end.client), 23);
            EXPECT_EQ(parse(end.client), message_parsed(8, {'y'}));
            feed(end.client, packet(7, 2, 1, {'x'}));
            EXPECT_EQ(parse(end.client), kNothing);
            EXPECT_EQ(end.sent(), ack(7, 1)); // now there is memory
        }
        EXPECT_TRUE(log.lines().empty());
        EXPECT_EQ(allocator.live_blocks(), 0U);
    }
}

TEST(ParseMemory, AMapThatTakesNoEntryLeavesThePacketInTheRing) {
    CountingAllocator allocator;
    const LogCapture log;
    {
        const Endpoint end;
        feed(end.client, packet(7, 2, 1, {'x'}));
        const size_t before = allocator.live_blocks();
        allocator.fail_at(5);
        EXPECT_EQ(parse(end.client), kNothing);
        EXPECT_EQ(allocator.refused(), 1U);
        EXPECT_EQ(allocator.live_blocks(), before);
        EXPECT_EQ(end.sent(), Bytes{});
        EXPECT_EQ(unread(end.client), 23);
        EXPECT_EQ(parse(end.client), kNothing); // the next call takes it
        EXPECT_EQ(end.sent(), ack(7, 1));
        EXPECT_EQ(unread(end.client), 0);
    }
    EXPECT_TRUE(log.lines().empty());
    EXPECT_EQ(allocator.live_blocks(), 0U);
}

// The slots of such a message are asked for and refused; where a size has 32 bits they are not even asked for.
TEST(ParseMemory, ThePeersCountNeverEndsTheProcess) {
    for (const uint32_t count : {4177983U, 4177986U, 0x00FFFFFFU}) {
        CountingAllocator allocator;
        const Endpoint end;
        end.feed_all({packet(7, count, 1, {'x'}), packet(8, 1, 1, {'y'})});
        allocator.fail_from(3);
        EXPECT_EQ(parse(end.client), kNothing);
        EXPECT_EQ(hashmap_size(end.client->recv_map), 0U);
        allocator.fail_at(0);
        EXPECT_EQ(parse(end.client), message_parsed(8, {'y'}));
    }
}

TEST(ParseMemory, FiveBlocksAMessageAndOneAJoinedBuffer) {
    CountingAllocator allocator;
    const Endpoint end;
    feed(end.client, packet(7, 2, 1, {'x'}));
    const size_t before = allocator.live_blocks();
    EXPECT_EQ(parse(end.client), kNothing);
    EXPECT_EQ(allocator.live_blocks(), before + 5);
    feed(end.client, packet(7, 2, 2, {'y'}));
    uint8_t *data = nullptr;
    uint32_t id = 0;
    EXPECT_EQ(parse_circle_data(end.client.get(), &id, &data), 2);
    EXPECT_EQ(allocator.live_blocks(), before + 6);
    EXPECT_EQ(allocator.size_of(data), 2U);
    _xfree(data);
}

TEST(ParseMemoryDeathTest, TheKeyAndTheBuffersCannotBeDoneWithout) {
    const Endpoint key;
    feed(key.client, packet(7, 2, 1, {'x'}));
    EXPECT_ABORT(
        {
            CountingAllocator allocator;
            allocator.fail_at(4);
            parse(key.client);
        },
        "^$");
    const Endpoint single;
    feed(single.client, packet(7, 1, 1, {'x'}));
    EXPECT_ABORT(
        {
            CountingAllocator allocator;
            allocator.fail_at(1);
            parse(single.client);
        },
        "^$");
    const Endpoint joined;
    joined.feed_all({packet(7, 2, 1, {'x'}), packet(7, 2, 2, {'x'})});
    parse(joined.client);
    EXPECT_ABORT(
        {
            CountingAllocator allocator;
            allocator.fail_at(1);
            parse(joined.client);
        },
        "^$");
}
