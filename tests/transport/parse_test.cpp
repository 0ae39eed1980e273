// SPDX-License-Identifier: MIT
#include "endpoint.h"
#include "support/counting_allocator.h"
#include "support/log_capture.h"

TEST(Parse, NeedsAClientItsRingAndAPlaceForTheData) {
    const Endpoint end;
    feed(end.client, packet(1, 1, 1, {'x'}));
    uint32_t id = 77;
    uint8_t untouched = 0;
    uint8_t *data = &untouched;
    EXPECT_EQ(parse_circle_data(nullptr, &id, &data), -1);
    EXPECT_EQ(parse_circle_data(end.client.get(), &id, nullptr), -1);
    circle_buf *const ring = std::exchange(end.client->recv_buf, nullptr);
    EXPECT_EQ(parse_circle_data(end.client.get(), &id, &data), -1);
    end.client->recv_buf = ring;
    EXPECT_EQ(id, 77U);
    EXPECT_EQ(data, &untouched);
    EXPECT_EQ(unread(end.client), 23);
}

TEST(Parse, FewerBytesThanAHeaderStay) {
    const Bytes bytes = ack(1, 1);
    for (ptrdiff_t size = 0; size < 22; ++size) {
        const Endpoint end;
        if (size != 0)
            feed(end.client, Bytes(bytes.begin(), bytes.begin() + size));
        EXPECT_EQ(parse(end.client), kNothing);
        EXPECT_EQ(unread(end.client), size);
    }
}

TEST(Parse, AnIncompletePacketStays) {
    const Bytes bytes = packet(1, 1, 1, pattern(1002));
    for (const ptrdiff_t size : {22, 23, 24, 500, 1022, 1023}) {
        const Endpoint end;
        feed(end.client, Bytes(bytes.begin(), bytes.begin() + size));
        for (int i = 0; i < 3; ++i)
            EXPECT_EQ(parse(end.client), kNothing) << size;
        EXPECT_EQ(unread(end.client), size);
        feed(end.client, Bytes(bytes.begin() + size, bytes.end()));
        EXPECT_EQ(parse(end.client), message_parsed(1, pattern(1002)));
        EXPECT_EQ(unread(end.client), 0);
    }
}

TEST(ParseSingle, GivesTheMessageAndItsIdAndAcknowledgesNothing) {
    for (const uint32_t id : {0U, 1U, 0x80000000U, UINT32_MAX}) {
        for (const size_t size : {size_t{1}, size_t{2}, size_t{1002}}) {
            const Endpoint end;
            feed(end.client, packet(id, 1, 1, pattern(size)));
            EXPECT_EQ(parse(end.client), message_parsed(id, pattern(size)));
            EXPECT_EQ(end.sent(), Bytes{});
            EXPECT_EQ(hashmap_size(end.client->recv_map), 0U);
            EXPECT_EQ(parse(end.client), kNothing);
        }
    }
}

TEST(Parse, TheIdNeedNotBeAskedFor) {
    const Endpoint end;
    feed(end.client, packet(5, 1, 1, {'x'}));
    uint8_t *data = nullptr;
    EXPECT_EQ(parse_circle_data(end.client.get(), nullptr, &data), 1);
    ASSERT_NE(data, nullptr);
    EXPECT_EQ(*data, 'x');
    _xfree(data);
}

TEST(ParseSingle, GoldenBytes) {
    const Endpoint end;
    feed(end.client, {'V', 'A', 'R', 'N', 'E', 'L', 1, 2, 3, 4, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 2, 0xAA, 0xBB});
    EXPECT_EQ(parse(end.client), message_parsed(0x01020304, {0xAA, 0xBB}));
}

TEST(ParseSingle, DoesNotLookAtTheIndex) {
    for (const uint32_t index : {0U, 2U, UINT32_MAX}) {
        const Endpoint end;
        feed(end.client, packet(4, 1, index, {'x'}));
        EXPECT_EQ(parse(end.client), message_parsed(4, {'x'}));
    }
}

TEST(ParseSingle, TakesUpTo1024Bytes) {
    for (size_t size = 1003; size <= 1024; ++size) {
        const Endpoint end;
        feed(end.client, packet(4, 1, 1, pattern(size)));
        EXPECT_EQ(parse(end.client), message_parsed(4, pattern(size)));
        EXPECT_EQ(unread(end.client), 0);
    }
}

TEST(ParseSingle, OfNoBytesGives0WithABuffer) {
    CountingAllocator allocator;
    allocator.null_for_empty(true);
    const Endpoint end;
    feed(end.client, packet(4, 1, 1, {}));
    EXPECT_EQ(parse(end.client), (Parsed{0, 4, Bytes{}}));
    EXPECT_EQ(unread(end.client), 0);
}

TEST(ParseSingle, OneBlockThatBelongsToTheCaller) {
    const Endpoint end;
    feed(end.client, packet(4, 1, 1, pattern(300)));
    const CountingAllocator allocator;
    uint32_t id = 0;
    uint8_t *data = nullptr;
    EXPECT_EQ(parse_circle_data(end.client.get(), &id, &data), 300);
    EXPECT_EQ(allocator.sizes(), std::vector<size_t>{300});
    EXPECT_TRUE(allocator.is_live(data));
    _xfree(data);
}

TEST(ParseSingle, LeavesAnUnfinishedMessageOfThatIdAlone) {
    const Endpoint end;
    end.feed_all({packet(4, 2, 1, {'a'}), packet(4, 1, 1, {'x'}), packet(4, 2, 2, {'b'})});
    EXPECT_EQ(parse(end.client), kNothing);
    EXPECT_EQ(parse(end.client), message_parsed(4, {'x'}));
    EXPECT_EQ(parse(end.client), message_parsed(4, {'a', 'b'}));
}

TEST(Parse, HandlesOnePacketACall) {
    const Endpoint end;
    for (uint32_t id = 1; id <= 40; ++id)
        feed(end.client, packet(id, 1, 1, pattern(id)));
    for (uint32_t id = 1; id <= 40; ++id)
        EXPECT_EQ(parse(end.client), message_parsed(id, pattern(id)));
    EXPECT_EQ(parse(end.client), kNothing);
}

TEST(ParseAck, SendsTheNextPacket) {
    const Endpoint end;
    const Bytes message = pattern(2500);
    end.start_sending(7, message);
    for (const uint32_t index : {1U, 2U}) {
        feed(end.client, ack(7, index)); // alone in the ring
        EXPECT_EQ(parse(end.client), kNothing);
        EXPECT_EQ(unread(end.client), 0);
        EXPECT_EQ(end.sent(), packets_of(7, message)[index]);
    }
    EXPECT_EQ(hashmap_size(end.client->send_map), 0U);
    EXPECT_EQ(hashmap_size(end.client->recv_map), 0U);
}

TEST(ParseAck, OfTheLastPacketIsOnlyADebugLine) {
    const Endpoint end;
    end.start_sending(1, {'x'});
    feed(end.client, ack(1, 1));
    const LogCapture log;
    EXPECT_EQ(parse(end.client), kNothing);
    EXPECT_EQ(log.texts(LogLine::debug), std::vector<std::string>{"Can't get the msgid(1) msginfo.\n"});
    EXPECT_EQ(log.lines().size(), 1U);
    EXPECT_EQ(end.sent(), Bytes{});
    EXPECT_EQ(unread(end.client), 0);
}

TEST(ParseAck, TheIndexSaysWhatGoesNext) {
    const struct {
        uint32_t index;
        int next; // index into the packets; -1: nothing
    } rows[] = {{0, 0}, {1, 1}, {2, 2}, {3, -1}, {4, -1}, {0x80000000, -1}, {UINT32_MAX - 1, -1}, {UINT32_MAX, -1}};
    for (const auto &row : rows) {
        const Endpoint end;
        const Bytes message = pattern(2500);
        end.start_sending(7, message);
        feed(end.client, ack(7, row.index));
        const LogCapture log;
        EXPECT_EQ(parse(end.client), kNothing);
        EXPECT_EQ(end.sent(), row.next < 0 ? Bytes{} : packets_of(7, message)[static_cast<size_t>(row.next)])
            << row.index;
        EXPECT_TRUE(log.lines().empty());
        EXPECT_EQ(unread(end.client), 0);
    }
}

TEST(ParseAck, LeavesTheOutputsAlone) {
    const Endpoint end;
    feed(end.client, ack(7, 1));
    uint32_t id = 77;
    uint8_t untouched = 0;
    uint8_t *data = &untouched;
    EXPECT_EQ(parse_circle_data(end.client.get(), &id, &data), 0);
    EXPECT_EQ(id, 77U);
    EXPECT_EQ(data, &untouched);
}

TEST(ParseAck, AFailedSendIsIgnored) {
    const Endpoint end;
    end.start_sending(7, pattern(1003));
    end.client->peer = -1;
    feed(end.client, ack(7, 1));
    EXPECT_EQ(parse(end.client), kNothing);
    EXPECT_EQ(unread(end.client), 0);
    EXPECT_NE(find_message(end.client->send_map, 7), nullptr);
}

TEST(ParseAck, SentAndReceivedMessagesOfOneIdAreNotMixedUp) {
    const Endpoint end;
    const Bytes message = pattern(1003);
    end.start_sending(7, message);
    end.feed_all({packet(7, 2, 1, {'a'}), ack(7, 1), packet(7, 2, 2, {'b'})});
    EXPECT_EQ(parse(end.client), kNothing);
    EXPECT_EQ(end.sent(), ack(7, 1));
    EXPECT_EQ(parse(end.client), kNothing);
    EXPECT_EQ(end.sent(), packets_of(7, message)[1]);
    EXPECT_EQ(parse(end.client), message_parsed(7, {'a', 'b'}));
}
