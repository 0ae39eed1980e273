// SPDX-License-Identifier: MIT
#include "message.h"
#include "support/counting_allocator.h"
#include "support/log_capture.h"
#include "udp.h"

namespace {

const std::vector<std::string> kCheckFailed = {"client_send check faild.\n"};

std::vector<std::string> no_message_line(int id) {
    return {"Can't get the msgid(" + std::to_string(id) + ") msginfo.\n"};
}

// A client and the bytes that it sends.
struct Sender {
    Bytes sent() const { return drain(ends.reader.get()); }
    int send(uint32_t id, const Bytes &data) const {
        const ExactBlock block(data);
        return client_send_data(client.get(), id, block.data(), static_cast<uint32_t>(data.size()));
    }

    Ends ends = Ends::stream();
    Client client = stream_client(ends.writer.get());
};

} // namespace

TEST(ClientSend, SendsRawBytesOnStreams) {
    for (const uint32_t type : {CLIENT_STREAM, CLIENT_STREAM_ALT}) {
        const Ends ends = Ends::stream();
        const Client c(client_new(type, ends.writer.get(), nullptr));
        const Bytes bytes = pattern(3000);
        const ExactBlock block(bytes);
        EXPECT_EQ(client_send(c.get(), block.data(), 3000), 1);
        EXPECT_EQ(drain(ends.reader.get()), bytes);
    }
}

TEST(ClientSend, UsesTheLowWordOfAStreamsPeer) {
    const Sender sender;
    sender.client->peer += int64_t{1} << 40;
    EXPECT_EQ(client_send(sender.client.get(), "ab", 2), 1);
    EXPECT_EQ(sender.sent(), bytes_of("ab"));
}

TEST(ClientSend, RefusesWithALine) {
    const Sender sender;
    const sockaddr_in somewhere = loopback(80);
    const Client no_stream(client_new(CLIENT_STREAM, -1, nullptr));
    const Client no_socket(client_new(CLIENT_DATAGRAM, -1, &somewhere));
    const Client low_word(client_new(CLIENT_STREAM, 1, nullptr));
    low_word->peer = INT64_MIN + sender.ends.writer.get();
    const struct {
        client *c;
        uint32_t length;
    } rows[] = {
        {nullptr, 1}, {sender.client.get(), 0}, {no_stream.get(), 1}, {no_socket.get(), 1}, {low_word.get(), 1}};
    for (const auto &row : rows) {
        const LogCapture log;
        EXPECT_EQ(client_send(row.c, "a", row.length), 0);
        EXPECT_EQ(log.texts(LogLine::error), kCheckFailed);
        EXPECT_EQ(log.lines().size(), 1U);
    }
    for (const uint32_t type : {0U, 4U, UINT32_MAX}) {
        sender.client->type = type;
        const LogCapture log;
        EXPECT_EQ(client_send(sender.client.get(), "a", 1), 0);
        EXPECT_EQ(log.texts(LogLine::error), kCheckFailed);
    }
    EXPECT_EQ(sender.sent(), Bytes{});
}

TEST(ClientSend, ADeadStreamCountsAsSent) {
    const Client c = stream_client(closed_descriptor());
    const LogCapture log;
    EXPECT_EQ(client_send(c.get(), "abc", 3), 1);
    EXPECT_TRUE(log.lines().empty());
}

TEST(ClientSend, StreamsNeedNoMemory) {
    const Sender sender;
    const CountingAllocator allocator;
    EXPECT_EQ(client_send(sender.client.get(), "abc", 3), 1);
    EXPECT_EQ(client_send_ack(sender.client.get(), 1, 1), 1);
    EXPECT_EQ(allocator.allocations(), 0U);
}

TEST(ClientSendData, AMessageOfOnePacketIsSentAndForgotten) {
    for (const size_t size : {size_t{1}, size_t{500}, size_t{1001}, size_t{1002}}) {
        const Sender sender;
        EXPECT_EQ(sender.send(0, pattern(size)), 1);
        EXPECT_EQ(sender.sent(), packet(1, 1, 1, pattern(size)));
        EXPECT_EQ(hashmap_size(sender.client->send_map), 0U);
    }
}

TEST(ClientSendData, GoldenBytes) {
    const Sender sender;
    EXPECT_EQ(sender.send(0x01020304, {0xAA, 0xBB}), 1);
    EXPECT_EQ(sender.sent(),
              (Bytes{'V', 'A', 'R', 'N', 'E', 'L', 1, 2, 3, 4, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 2, 0xAA, 0xBB}));
    EXPECT_EQ(client_send_ack(sender.client.get(), 0x01020304, 0x05060708), 1);
    EXPECT_EQ(sender.sent(), (Bytes{'V', 'A', 'R', 'N', 'E', 'L', 1, 2, 3, 4, 0, 0, 0, 0, 5, 6, 7, 8, 0, 0, 0, 0}));
}

TEST(ClientSendData, AWholePacketHas1024Bytes) {
    const Sender sender;
    sender.send(0, pattern(1002));
    EXPECT_EQ(sender.sent().size(), 1024U);
}

TEST(ClientSendData, FurtherPacketsWaitForTheirTurn) {
    const Sender sender;
    const Bytes message = pattern(2500);
    const auto packets = packets_of(7, message);
    ASSERT_EQ(packets.size(), 3U);
    EXPECT_EQ(sender.send(7, message), 1);
    EXPECT_EQ(sender.sent(), packets[0]);
    msginfo *const info = find_message(sender.client->send_map, 7);
    ASSERT_NE(info, nullptr);
    EXPECT_EQ(Bytes(info->flags, info->flags + 3), (Bytes{1, 0, 0}));
    EXPECT_EQ(client_send_msg(sender.client.get(), 7, 2), 1);
    EXPECT_EQ(sender.sent(), packets[1]);
    EXPECT_EQ(client_send_msg(sender.client.get(), 7, 2), 1); // again
    EXPECT_EQ(sender.sent(), packets[1]);
    EXPECT_EQ(find_message(sender.client->send_map, 7), info);
    EXPECT_EQ(client_send_msg(sender.client.get(), 7, 3), 1);
    EXPECT_EQ(sender.sent(), packets[2]);
    EXPECT_EQ(find_message(sender.client->send_map, 7), nullptr);
}

TEST(ClientSendData, AMessageStaysUntilAllItsPacketsWereSentInAnyOrder) {
    const Sender sender;
    const Bytes message = pattern(2005);
    const auto packets = packets_of(7, message);
    sender.send(7, message);
    EXPECT_EQ(client_send_msg(sender.client.get(), 7, 3), 1);
    EXPECT_NE(find_message(sender.client->send_map, 7), nullptr);
    EXPECT_EQ(client_send_msg(sender.client.get(), 7, 2), 1);
    EXPECT_EQ(find_message(sender.client->send_map, 7), nullptr);
    EXPECT_EQ(sender.sent(), join({packets[0], packets[2], packets[1]}));
}

TEST(ClientSendData, Id0TakesAFreshOne) {
    const Sender sender;
    for (uint32_t id = 1; id <= 3; ++id) {
        EXPECT_EQ(sender.send(0, {'x'}), 1);
        EXPECT_EQ(sender.sent(), packet(id, 1, 1, {'x'}));
    }
    EXPECT_EQ(sender.send(9, {'x'}), 1); // one's own does not count
    EXPECT_EQ(msgid_get_send(sender.client->msgids), 3U);
    sender.client->msgids->send_id = UINT32_MAX;
    EXPECT_EQ(sender.send(0, {'x'}), 1);
    EXPECT_EQ(sender.sent(), join({packet(9, 1, 1, {'x'}), packet(0, 1, 1, {'x'})}));
}

TEST(ClientSendData, NoDataIsNoMessage) {
    const Sender sender;
    const CountingAllocator allocator;
    const LogCapture log;
    EXPECT_EQ(client_send_data(sender.client.get(), 5, nullptr, 3), 0);
    EXPECT_EQ(client_send_data(sender.client.get(), 5, "abc", 0), 0);
    EXPECT_EQ(client_send_data(sender.client.get(), 0, nullptr, 0), 0);
    EXPECT_EQ(msgid_get_send(sender.client->msgids), 1U); // the last one took an id
    EXPECT_EQ(allocator.allocations(), 0U);
    EXPECT_TRUE(log.lines().empty());
    EXPECT_EQ(sender.sent(), Bytes{});
}

TEST(ClientSendData, ManyMessagesAreSentSideBySide) {
    const Sender sender;
    for (uint32_t id = 1; id <= 20; ++id)
        EXPECT_EQ(sender.send(0, pattern(1003, id)), 1);
    sender.sent();
    EXPECT_EQ(hashmap_size(sender.client->send_map), 20U);
    for (uint32_t id = 20; id >= 1; --id) {
        EXPECT_EQ(client_send_msg(sender.client.get(), id, 2), 1);
        EXPECT_EQ(sender.sent(), packets_of(id, pattern(1003, id))[1]);
        EXPECT_EQ(hashmap_size(sender.client->send_map), id - 1);
    }
}

TEST(ClientSendMsg, NullClientAndIndex0AreRefusedSilently) {
    const Sender sender;
    sender.send(7, pattern(1003));
    sender.sent();
    const LogCapture log;
    EXPECT_EQ(client_send_msg(nullptr, 7, 1), 0);
    EXPECT_EQ(client_send_msg(sender.client.get(), 7, 0), 0);
    EXPECT_EQ(client_send_msg(sender.client.get(), 7, 3), 0); // no such packet
    EXPECT_EQ(client_send_msg(sender.client.get(), 7, UINT32_MAX), 0);
    EXPECT_TRUE(log.lines().empty());
    EXPECT_EQ(sender.sent(), Bytes{});
    EXPECT_NE(find_message(sender.client->send_map, 7), nullptr);
}

TEST(ClientSendMsg, AnUnknownIdIsADebugLine) {
    const Sender sender;
    sender.send(7, {'x'});
    for (const uint32_t id : {7U, 8U, UINT32_MAX}) {
        const LogCapture log;
        EXPECT_EQ(client_send_msg(sender.client.get(), id, 2), 0);
        EXPECT_EQ(log.texts(LogLine::debug), no_message_line(static_cast<int>(id)));
        EXPECT_EQ(log.formats(LogLine::debug), std::vector<std::string>{"Can't get the msgid(%d) msginfo.\n"});
        EXPECT_EQ(log.lines().size(), 1U);
    }
}

TEST(ClientSendMsg, AnEmptySlotIsNotSent) {
    const Sender sender;
    sender.send(7, pattern(1003));
    sender.sent();
    find_message(sender.client->send_map, 7)->packets[1].length = 0;
    EXPECT_EQ(client_send_msg(sender.client.get(), 7, 2), 0);
    EXPECT_EQ(sender.sent(), Bytes{});
}

TEST(ClientSendMsg, AFailedSendLeavesThePacketUnflagged) {
    const Sender sender;
    sender.send(7, pattern(1003));
    sender.sent();
    const int64_t peer = std::exchange(sender.client->peer, -1);
    const LogCapture log;
    EXPECT_EQ(client_send_msg(sender.client.get(), 7, 2), 0);
    EXPECT_EQ(log.texts(LogLine::error), kCheckFailed);
    const msginfo *const info = find_message(sender.client->send_map, 7);
    ASSERT_NE(info, nullptr);
    EXPECT_EQ(Bytes(info->flags, info->flags + 2), (Bytes{1, 0}));
    sender.client->peer = peer;
    EXPECT_EQ(client_send_msg(sender.client.get(), 7, 2), 1); // later it works
    EXPECT_EQ(sender.sent(), packets_of(7, pattern(1003))[1]);
}

TEST(ClientSendData, AFailedFirstPacketLeavesTheMessage) {
    const Client c(client_new(CLIENT_STREAM, -1, nullptr));
    const LogCapture log;
    EXPECT_EQ(client_send_data(c.get(), 0, "abc", 3), 0);
    EXPECT_EQ(log.texts(LogLine::error), kCheckFailed);
    const msginfo *const info = find_message(c->send_map, 1);
    ASSERT_NE(info, nullptr);
    EXPECT_EQ(info->flags[0], 0);
}

TEST(ClientSendAck, IsABareHeader) {
    const Sender sender;
    for (const uint32_t index : {1U, 2U, 0x80000000U, UINT32_MAX}) {
        EXPECT_EQ(client_send_ack(sender.client.get(), 7, index), 1);
        EXPECT_EQ(sender.sent(), ack(7, index));
    }
    EXPECT_EQ(client_send_ack(sender.client.get(), 0, 1), 1);
    EXPECT_EQ(sender.sent().size(), 22U);
}

TEST(ClientSendAck, NullClientAndIndex0AreRefusedSilently) {
    const Sender sender;
    const LogCapture log;
    EXPECT_EQ(client_send_ack(nullptr, 7, 1), 0);
    EXPECT_EQ(client_send_ack(sender.client.get(), 7, 0), 0);
    EXPECT_TRUE(log.lines().empty());
    EXPECT_EQ(sender.sent(), Bytes{});
    sender.client->peer = -1;
    EXPECT_EQ(client_send_ack(sender.client.get(), 7, 1), 0);
    EXPECT_EQ(log.texts(LogLine::error), kCheckFailed);
}

TEST(ClientResend, DoesNothing) {
    EXPECT_EQ(client_resend_add(), 1);
    EXPECT_EQ(client_resend_remove(), 1);
    client_resend_msg();
}
