// SPDX-License-Identifier: MIT
// Two clients that talk over a pair of stream sockets, and one that sends datagrams.
#include "sweep/sweep.h"

#include <varnel/memory.h>
#include <varnel/transport.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <unistd.h>
#include <vector>

namespace {

constexpr uint32_t kTwoPackets = PACKET_PAYLOAD_MAX + 1;
constexpr ssize_t kFullPacket = PACKET_SIZE;
constexpr char kIdsMessage[] = "_varnel: hashmap new msg id error.\n";
constexpr char kSendMessage[] = "_varnel: put the data to send_map error.\n";

// Both ends of a conversation.
struct Pair {
    Pair() {
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, sockets), 0);
        sender = client_new(CLIENT_STREAM, sockets[0], nullptr);
        receiver = client_new(CLIENT_STREAM_ALT, sockets[1], nullptr);
    }
    Pair(const Pair &) = delete;
    Pair &operator=(const Pair &) = delete;
    ~Pair() {
        client_free(sender);
        client_free(receiver);
        close(sockets[0]);
        close(sockets[1]);
    }

    // Hands what waits on a client's socket to its ring; returns the number of bytes.
    static ssize_t feed(client *c) {
        uint8_t bytes[2 * PACKET_SIZE];
        const ssize_t got = recv(static_cast<int>(c->peer), bytes, sizeof bytes, MSG_DONTWAIT);
        if (got > 0) {
            EXPECT_EQ(circle_buf_put(c->recv_buf, bytes, static_cast<int32_t>(got)), got);
        }
        return got;
    }

    // Parses at the receiver; the data is kept.
    int32_t parse() { return parse_circle_data(receiver, &id, &data); }

    int sockets[2] = {-1, -1};
    client *sender;
    client *receiver;
    uint32_t id = 0;
    uint8_t *data = nullptr;
};

std::vector<uint8_t> pattern(uint32_t length) {
    std::vector<uint8_t> bytes(length);
    std::generate(bytes.begin(), bytes.end(), [i = 0]() mutable { return static_cast<uint8_t>(i++ * 7); });
    return bytes;
}

TEST(ClientSweep, NewIsNullWithoutAMap) {
    sweep(
        [](SweepRun &run) {
            run.begin();
            client *const c = client_new(CLIENT_STREAM, 3, nullptr);
            if (c == nullptr)
                return End::refused;
            EXPECT_EQ(c->peer, 3);
            client_free(c);
            return End::complete;
        },
        {{1, End::aborted, "record"},
         {2, End::aborted, "ring and its storage"},
         {2, End::refused, "maps"},
         {1, End::aborted, "id tracker"},
         {1, End::refused, "map of the id tracker", kIdsMessage}});
}

// A whole packet waits at the receiver exactly when the message could be made.
TEST(ClientSweep, SendDataGivesZero) {
    sweep(
        [](SweepRun &run) {
            Pair pair;
            const auto bytes = pattern(kTwoPackets);
            run.begin();
            const int sent = client_send_data(pair.sender, 0, bytes.data(), kTwoPackets);
            EXPECT_EQ(Pair::feed(pair.receiver), sent ? kFullPacket : -1);
            EXPECT_EQ(hashmap_size(pair.sender->send_map), sent ? 1U : 0U);
            return sent ? End::complete : End::refused;
        },
        {{3, End::refused, "message"},
         {1, End::aborted, "key"},
         {1, End::refused, "entry; key and message are lost", kSendMessage, 4}});
}

TEST(ClientSweep, DatagramsAbortWithoutTheirAddress) {
    sweep(
        [](SweepRun &run) {
            const int sock = socket(AF_INET, SOCK_DGRAM, 0);
            sockaddr_in address = {};
            address.sin_family = AF_INET;
            address.sin_port = htons(9);
            address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
            client *const c = client_new(CLIENT_DATAGRAM, sock, &address);
            run.begin();
            EXPECT_EQ(client_send(c, "x", 1), 1);
            client_free(c);
            close(sock);
            return End::complete;
        },
        {{1, End::aborted, "address"}});
}

// What became of the first packet of a message that could not be stored: dropped, or still in the ring, where the next
// call takes it.
End finish_unstored(Pair &pair) {
    if (hashmap_size(pair.receiver->recv_map) != 0)
        return End::complete;
    const bool kept = circle_buf_data_len(pair.receiver->recv_buf) == kFullPacket;
    EXPECT_EQ(circle_buf_data_len(pair.receiver->recv_buf), kept ? kFullPacket : 0);
    EXPECT_EQ(Pair::feed(pair.sender), -1); // not acknowledged
    EXPECT_EQ(pair.parse(), 0);
    EXPECT_EQ(hashmap_size(pair.receiver->recv_map), kept ? 1U : 0U);
    EXPECT_EQ(Pair::feed(pair.sender), kept ? PACKET_HEADER_SIZE : -1);
    SweepRun::say(kept ? "kept" : "dropped");
    return End::refused;
}

TEST(ClientSweep, ParserDropsOrKeepsWhatItCannotStore) {
    sweep(
        [](SweepRun &run) {
            Pair pair;
            const auto bytes = pattern(kTwoPackets);
            EXPECT_EQ(client_send_data(pair.sender, 0, bytes.data(), kTwoPackets), 1);
            EXPECT_EQ(Pair::feed(pair.receiver), kFullPacket);
            run.begin();
            EXPECT_EQ(pair.parse(), 0);
            EXPECT_EQ(pair.data, nullptr);
            return finish_unstored(pair);
        },
        {{3, End::refused, "message", "dropped"}, {1, End::aborted, "key"}, {1, End::refused, "entry", "kept"}});
}

// From the second packet on nothing but the joined data is allocated.
TEST(ClientSweep, ParserAbortsWithoutTheJoinedData) {
    sweep(
        [](SweepRun &run) {
            Pair pair;
            const auto bytes = pattern(kTwoPackets);
            EXPECT_EQ(client_send_data(pair.sender, 0, bytes.data(), kTwoPackets), 1);
            EXPECT_EQ(Pair::feed(pair.receiver), kFullPacket);
            EXPECT_EQ(pair.parse(), 0);
            run.begin();
            EXPECT_EQ(Pair::feed(pair.sender), PACKET_HEADER_SIZE);
            EXPECT_EQ(parse_circle_data(pair.sender, &pair.id, &pair.data), 0);
            EXPECT_EQ(hashmap_size(pair.sender->send_map), 0U);
            EXPECT_EQ(Pair::feed(pair.receiver), PACKET_HEADER_SIZE + 1);
            EXPECT_EQ(pair.parse(), static_cast<int32_t>(kTwoPackets));
            EXPECT_TRUE(std::equal(bytes.begin(), bytes.end(), pair.data));
            EXPECT_EQ(pair.id, 1U);
            _xfree(pair.data);
            return End::complete;
        },
        {{1, End::aborted, "joined data"}});
}

TEST(ClientSweep, ParserAbortsWithoutTheDataOfOnePacket) {
    sweep(
        [](SweepRun &run) {
            Pair pair;
            EXPECT_EQ(client_send_data(pair.sender, 0, "abc", 3), 1);
            EXPECT_EQ(Pair::feed(pair.receiver), PACKET_HEADER_SIZE + 3);
            run.begin();
            EXPECT_EQ(pair.parse(), 3);
            EXPECT_EQ(pair.data[2], 'c');
            _xfree(pair.data);
            return End::complete;
        },
        {{1, End::aborted, "data"}});
}

} // namespace
