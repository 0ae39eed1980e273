// SPDX-License-Identifier: MIT
// Messages of more than one packet.
#include "endpoint.h"
#include "support/counting_allocator.h"
#include "support/log_capture.h"

namespace {

// Feeds one packet and parses it; it must be consumed.
Parsed receive(const Endpoint &end, const Bytes &bytes) {
    feed(end.client, bytes);
    Parsed parsed = parse(end.client);
    EXPECT_EQ(unread(end.client), 0);
    return parsed;
}

} // namespace

TEST(ParseReassembly, AcknowledgesEveryPacketButTheOneThatCompletes) {
    const Endpoint end;
    const Bytes message = pattern(2500);
    const auto packets = packets_of(7, message);
    EXPECT_EQ(receive(end, packets[0]), kNothing);
    EXPECT_EQ(end.sent(), ack(7, 1));
    EXPECT_EQ(receive(end, packets[1]), kNothing);
    EXPECT_EQ(end.sent(), ack(7, 2));
    EXPECT_EQ(receive(end, packets[2]), message_parsed(7, message));
    EXPECT_EQ(end.sent(), Bytes{});
}

TEST(ParseReassembly, TakesPacketsInAnyOrder) {
    const Bytes message = pattern(2005);
    const auto packets = packets_of(7, message);
    uint32_t order[] = {1, 2, 3};
    do {
        const Endpoint end;
        EXPECT_EQ(receive(end, packets[order[0] - 1]), kNothing);
        EXPECT_EQ(receive(end, packets[order[1] - 1]), kNothing);
        EXPECT_EQ(end.sent(), join({ack(7, order[0]), ack(7, order[1])}));
        EXPECT_EQ(receive(end, packets[order[2] - 1]), message_parsed(7, message));
        EXPECT_EQ(end.sent(), Bytes{});
    } while (std::next_permutation(std::begin(order), std::end(order)));
}

TEST(ParseReassembly, KeepsMessagesApartById) {
    const Endpoint end;
    for (uint32_t id = 100; id < 140; ++id)
        EXPECT_EQ(receive(end, packet(id, 2, 1, pattern(9, id))), kNothing);
    EXPECT_EQ(hashmap_size(end.client->recv_map), 40U);
    for (uint32_t id = 139; id >= 100; --id)
        EXPECT_EQ(receive(end, packet(id, 2, 2, {'x'})), message_parsed(id, join({pattern(9, id), {'x'}})));
}

TEST(ParseReassembly, ACompletedMessageStaysAndADuplicateCompletesItAgain) {
    const Endpoint end;
    receive(end, packet(7, 2, 1, {'a'}));
    EXPECT_EQ(receive(end, packet(7, 2, 2, {'b'})), message_parsed(7, {'a', 'b'}));
    msginfo *const info = end.receiving(7);
    ASSERT_NE(info, nullptr);
    EXPECT_EQ(end.sent(), ack(7, 1));
    EXPECT_EQ(receive(end, packet(7, 2, 1, {'c'})), message_parsed(7, {'c', 'b'}));
    EXPECT_EQ(receive(end, packet(7, 2, 2, {'d'})), message_parsed(7, {'c', 'd'}));
    EXPECT_EQ(end.sent(), Bytes{});
    EXPECT_EQ(end.receiving(7), info);
    EXPECT_EQ(msginfo_data_len(info), 4U);
    EXPECT_EQ(hashmap_size(end.client->recv_map), 1U);
}

TEST(ParseReassembly, EvenARefusedPacketYieldsACompletedMessageAgain) {
    const Endpoint end;
    receive(end, packet(7, 2, 1, {'a'}));
    receive(end, packet(7, 2, 2, {'b'}));
    for (const Bytes &refused :
         {packet(7, 2, 0, {'x'}), packet(7, 2, 3, {'x'}), packet(7, 2, 1, {}), packet(7, 2, 1, pattern(1003))})
        EXPECT_EQ(receive(end, refused), message_parsed(7, {'a', 'b'}));
}

TEST(ParseReassembly, ADuplicateReplacesItsPacketAndIsAcknowledgedAgain) {
    const CountingAllocator allocator;
    const Endpoint end;
    EXPECT_EQ(receive(end, packet(7, 2, 1, bytes_of("abcd"))), kNothing);
    EXPECT_EQ(receive(end, packet(7, 2, 1, bytes_of("xy"))), kNothing);
    EXPECT_EQ(end.sent(), join({ack(7, 1), ack(7, 1)}));
    feed(end.client, packet(7, 2, 2, bytes_of("z")));
    uint32_t id = 0;
    uint8_t *data = nullptr;
    EXPECT_EQ(parse_circle_data(end.client.get(), &id, &data), 3);
    // The duplicate was counted twice: the buffer is longer than the message, and zero behind it.
    EXPECT_EQ(allocator.size_of(data), 7U);
    EXPECT_EQ(Bytes(data, data + 7), (Bytes{'x', 'y', 'z', 0, 0, 0, 0}));
    _xfree(data);
}

TEST(ParseReassembly, Index0IsNeitherStoredNorAcknowledged) {
    const Endpoint end;
    EXPECT_EQ(receive(end, packet(7, 2, 0, {'x'})), kNothing);
    EXPECT_EQ(end.sent(), Bytes{});
    ASSERT_NE(end.receiving(7), nullptr); // it opens the message all the same
    EXPECT_EQ(msginfo_data_len(end.receiving(7)), 0U);
}

TEST(ParseReassembly, AnIndexBeyondTheCountIsAcknowledgedButNotStored) {
    for (const uint32_t index : {3U, 4U, 0x80000001U, UINT32_MAX}) {
        const Endpoint end;
        EXPECT_EQ(receive(end, packet(7, 2, index, {'x'})), kNothing);
        EXPECT_EQ(end.sent(), ack(7, index));
        EXPECT_EQ(msginfo_data_len(end.receiving(7)), 0U);
    }
}

TEST(ParseReassembly, PacketsOf0AndOf1003To1024BytesAreAcknowledgedButNotStored) {
    for (const size_t size : {size_t{0}, size_t{1003}, size_t{1004}, size_t{1023}, size_t{1024}}) {
        const Endpoint end;
        EXPECT_EQ(receive(end, packet(7, 2, 1, pattern(size))), kNothing) << size;
        EXPECT_EQ(end.sent(), ack(7, 1));
        EXPECT_EQ(msginfo_data_len(end.receiving(7)), 0U);
        EXPECT_EQ(end.receiving(7)->flags[0], 0);
        EXPECT_EQ(receive(end, packet(7, 2, 1, pattern(1002))), kNothing);
        EXPECT_EQ(receive(end, packet(7, 2, 2, {'x'})), message_parsed(7, join({pattern(1002), {'x'}})));
    }
}

TEST(ParseReassembly, APacketOf1025BytesIsAFramingError) {
    const Endpoint end;
    feed(end.client, packet(7, 2, 1, pattern(1025)));
    EXPECT_EQ(parse(end.client).result, -1);
    EXPECT_EQ(hashmap_size(end.client->recv_map), 0U);
}

TEST(ParseReassembly, TheFirstPacketSaysHowManyThereAre) {
    const Endpoint end;
    receive(end, packet(7, 2, 1, {'a'}));
    EXPECT_EQ(receive(end, packet(7, 9, 5, {'x'})), kNothing); // no such packet
    EXPECT_EQ(msginfo_packet_count(end.receiving(7)), 2U);
    EXPECT_EQ(receive(end, packet(7, 9, 2, {'b'})), message_parsed(7, {'a', 'b'}));
    EXPECT_EQ(receive(end, packet(7, 0, 2, {'c'})), message_parsed(7, {'a', 'c'})); // whatever the count says
    EXPECT_EQ(receive(end, packet(7, UINT32_MAX, 2, {'d'})), message_parsed(7, {'a', 'd'}));
}

TEST(ParseReassembly, AnAcknowledgementIsOneEvenForAnIdBeingReceived) {
    const Endpoint end;
    receive(end, packet(7, 2, 1, {'a'}));
    EXPECT_EQ(receive(end, ack(7, 2)), kNothing);
    EXPECT_EQ(msginfo_data_len(end.receiving(7)), 1U);
}

// Such packets have no message to go to: they are consumed, and nothing else happens.
TEST(ParseReassembly, CountsThatNoMessageHasAreDropped) {
    for (const uint32_t count : {0U, 0x80000000U, 0x80000001U, UINT32_MAX}) {
        const Endpoint end;
        const LogCapture log;
        end.feed_all({packet(7, count, 1, {'x'}), packet(8, 1, 1, {'y'})});
        const CountingAllocator allocator;
        EXPECT_EQ(parse(end.client), kNothing) << count;
        EXPECT_EQ(unread(end.client), 23);
        EXPECT_EQ(end.sent(), Bytes{});
        EXPECT_EQ(hashmap_size(end.client->recv_map), 0U);
        EXPECT_EQ(allocator.allocations(), 0U);
        EXPECT_EQ(parse(end.client), message_parsed(8, {'y'})); // the stream goes on
        EXPECT_TRUE(log.lines().empty());
    }
}

TEST(ParseReassembly, AStaleDataPointerIsForgottenNotReleased) {
    const Endpoint end;
    feed(end.client, packet(7, 2, 1, {'x'}));
    uint32_t id = 77;
    uint8_t foreign = 0;
    uint8_t *data = &foreign;
    EXPECT_EQ(parse_circle_data(end.client.get(), &id, &data), 0);
    EXPECT_EQ(data, nullptr);
    EXPECT_EQ(id, 77U);
}

TEST(ParseReassembly, AnAcknowledgementThatCannotBeSentIsIgnored) {
    const Endpoint end;
    end.client->peer = -1;
    EXPECT_EQ(receive(end, packet(7, 2, 1, {'a'})), kNothing);
    EXPECT_EQ(receive(end, packet(7, 2, 2, {'b'})), message_parsed(7, {'a', 'b'}));
}

TEST(ParseReassembly, TheKeyIsAWordOfItsOwn) {
    const CountingAllocator allocator;
    const Endpoint end;
    receive(end, packet(0x01020304, 2, 1, {'a'}));
    const void *const key = hashmap_first_key(end.client->recv_map);
    EXPECT_EQ(allocator.size_of(key), sizeof(uint32_t));
    EXPECT_EQ(*static_cast<const uint32_t *>(key), 0x01020304U);
}
