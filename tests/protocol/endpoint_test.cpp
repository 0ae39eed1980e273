// SPDX-License-Identifier: MIT
// Messages through an endpoint: in pieces, several at once, over several packets, with and without room to write.
#include "endpoint_fixture.h"

#include <new>
#include <stdexcept>

TEST(Endpoint, DeliversAMessageOfOnePacket) {
    Side side;
    side.feed(packet(7, 1, 1, bytes_of("hello")));
    EXPECT_EQ(side.owner.delivered, (Delivered{{7, bytes_of("hello")}}));
    EXPECT_EQ(side.owner.asked, 0U); // nothing is written for it
    EXPECT_TRUE(side.sent().empty());
    EXPECT_FALSE(side.endpoint.holds_bytes());
}

TEST(Endpoint, DeliversAPacketThatArrivesByteByByte) {
    Side side;
    const Bytes whole = packet(7, 1, 1, bytes_of("hello"));
    for (std::size_t i = 0; i < whole.size(); ++i) {
        EXPECT_TRUE(side.owner.delivered.empty());
        EXPECT_EQ(side.endpoint.holds_bytes(), i != 0);
        side.feed({whole[i]});
    }
    EXPECT_EQ(side.owner.delivered, (Delivered{{7, bytes_of("hello")}}));
}

TEST(Endpoint, DeliversAllPacketsOfOnePut) {
    Side side;
    side.put(join({packet(1, 1, 1, bytes_of("a")), packet(2, 1, 1, bytes_of("b")), packet(3, 1, 1, bytes_of("c"))}));
    EXPECT_TRUE(side.endpoint.proceed());
    EXPECT_EQ(side.owner.delivered, (Delivered{{1, bytes_of("a")}, {2, bytes_of("b")}, {3, bytes_of("c")}}));
}

TEST(Endpoint, TakesMessagesOfOnePacketPastTheRing) {
    Side side;
    const Bytes first = join({packet(1, 1, 1, bytes_of("a")), packet(2, 1, 1, bytes_of("b"))});
    const Bytes all = join({first, packets_of(3, pattern(1003))[0], packet(4, 1, 1, bytes_of("d"))});
    EXPECT_EQ(side.endpoint.take(all.data(), all.size()), first.size()); // up to the one of several packets
    EXPECT_EQ(side.owner.delivered, (Delivered{{1, bytes_of("a")}, {2, bytes_of("b")}}));
    EXPECT_FALSE(side.endpoint.holds_bytes());
    EXPECT_TRUE(side.sent().empty());
}

TEST(Endpoint, TakesNothingPastBytesThatWaitInTheRing) {
    Side side;
    const Bytes one = packet(1, 1, 1, bytes_of("a"));
    side.put({one[0]});
    EXPECT_EQ(side.endpoint.take(one.data(), one.size()), 0U);
    EXPECT_TRUE(side.owner.delivered.empty());
}

TEST(Endpoint, TakesNoPacketThatIsNotWhole) {
    Side side;
    const Bytes one = packet(1, 1, 1, bytes_of("abc"));
    for (std::size_t size = 0; size < one.size(); ++size)
        EXPECT_EQ(side.endpoint.take(one.data(), size), 0U) << size;
    EXPECT_TRUE(side.owner.delivered.empty());
    EXPECT_EQ(side.endpoint.take(one.data(), one.size()), one.size());
}

TEST(Endpoint, ChecksWhatItTakes) {
    Side side;
    Bytes long_one = packet(1, 1, 1, bytes_of("abc"));
    long_one[PACKET_HEADER_SIZE - 2] = 4; // 1027 bytes
    EXPECT_THROW(side.endpoint.take(long_one.data(), long_one.size()), Malformed);
    const Bytes second = packet(1, 1, 2, bytes_of("abc"));
    EXPECT_THROW(side.endpoint.take(second.data(), second.size()), Malformed);
    Bytes other = packet(1, 1, 1, bytes_of("abc"));
    other[0] = 'v';
    EXPECT_EQ(side.endpoint.take(other.data(), other.size()), 0U); // for the ring, which refuses it
    EXPECT_TRUE(side.owner.delivered.empty());
}

// Every way to cut three packets into two pieces.
TEST(Endpoint, DeliversWhateverTheSplit) {
    const Bytes all = join({packet(1, 1, 1, pattern(1002)), packets_of(2, pattern(1003, 5))[0],
                            packets_of(2, pattern(1003, 5))[1], packet(3, 1, 1, bytes_of("c"))});
    const Delivered expected{{1, pattern(1002)}, {2, pattern(1003, 5)}, {3, bytes_of("c")}};
    for (std::size_t cut = 0; cut <= all.size(); ++cut) {
        Side side;
        side.feed(Bytes(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(cut)));
        side.feed(Bytes(all.begin() + static_cast<std::ptrdiff_t>(cut), all.end()));
        ASSERT_EQ(side.owner.delivered, expected) << cut;
    }
}

TEST(Endpoint, TakesAsManyBytesAsItHasSpaceFor) {
    Side side;
    const std::size_t space = side.endpoint.space();
    ASSERT_GE(space, std::size_t{PACKET_SIZE});
    const Bytes part = packet(1, 1, 1, pattern(1002));
    side.put(Bytes(part.begin(), part.begin() + 1000));
    EXPECT_EQ(side.endpoint.space(), space - 1000);
    const Bytes too_much = zeros(side.endpoint.space() + 1);
    EXPECT_THROW(side.put(too_much), std::length_error);
    EXPECT_EQ(side.endpoint.space(), space - 1000);
}

// The ring is filled to its last byte at many positions, and never yields another byte than it was given.
TEST(Endpoint, KeepsItsBytesHoweverTheRingTurns) {
    Side side;
    Bytes stream;
    Delivered expected;
    for (std::uint32_t id = 1; id <= 400; ++id) {
        expected.emplace_back(id, pattern(1 + id * 37 % 1002, id));
        const Bytes one = packet(id, 1, 1, expected.back().second);
        stream.insert(stream.end(), one.begin(), one.end());
    }
    side.feed(stream);
    EXPECT_EQ(side.owner.delivered, expected);
}

TEST(Endpoint, AcknowledgesEveryPacketButTheLast) {
    Side side;
    const std::vector<Bytes> packets = packets_of(9, pattern(3000));
    side.feed(packets[0]);
    EXPECT_EQ(side.sent(), ack(9, 1));
    EXPECT_EQ(side.endpoint.receiving(), 1U);
    side.feed(packets[1]);
    EXPECT_EQ(side.sent(), ack(9, 2));
    EXPECT_TRUE(side.owner.delivered.empty());
    side.feed(packets[2]);
    EXPECT_TRUE(side.sent().empty());
    EXPECT_EQ(side.owner.delivered, (Delivered{{9, pattern(3000)}}));
    EXPECT_EQ(side.endpoint.receiving(), 0U);
}

TEST(Endpoint, JoinsPacketsInWhateverOrderTheyCome) {
    Side side;
    const std::vector<Bytes> packets = packets_of(9, pattern(3000));
    side.feed(packets[2]);
    side.feed(packets[0]);
    side.feed(packets[1]);
    EXPECT_EQ(side.owner.delivered, (Delivered{{9, pattern(3000)}}));
}

TEST(Endpoint, JoinsMessagesThatArriveBetweenEachOther) {
    Side side;
    const std::vector<Bytes> first = packets_of(1, pattern(2000, 1));
    const std::vector<Bytes> second = packets_of(2, pattern(2000, 2));
    side.feed(join({first[0], second[0], packet(3, 1, 1, bytes_of("c")), second[1], first[1]}));
    EXPECT_EQ(side.owner.delivered, (Delivered{{3, bytes_of("c")}, {2, pattern(2000, 2)}, {1, pattern(2000, 1)}}));
}

// A packet that comes again: over UDP the network may do that. It must not count twice.
TEST(Endpoint, IgnoresAPacketThatItHas) {
    Side side;
    const std::vector<Bytes> packets = packets_of(9, pattern(2000));
    side.feed(join({packets[0], packets[0], packets[0]}));
    EXPECT_EQ(side.sent(), ack(9, 1));
    side.feed(packets[1]);
    EXPECT_EQ(side.owner.delivered, (Delivered{{9, pattern(2000)}}));
}

TEST(Endpoint, ForgetsDeliveredMessages) {
    Side side;
    for (std::uint32_t id = 1; id <= 10000; ++id) {
        const std::vector<Bytes> packets = packets_of(id, pattern(1100, id));
        side.feed(packets[0]);
        ASSERT_EQ(side.endpoint.receiving(), 1U);
        side.feed(packets[1]);
        ASSERT_EQ(side.endpoint.receiving(), 0U);
        ASSERT_EQ(side.sent(), ack(id, 1));
    }
    EXPECT_EQ(side.owner.delivered.size(), 10000U);
}

TEST(Endpoint, SendsAMessageOfOnePacketAtOnce) {
    Side side;
    EXPECT_TRUE(side.endpoint.send(5, bytes_of("answer")));
    EXPECT_EQ(side.sent(), packet(5, 1, 1, bytes_of("answer")));
    EXPECT_EQ(side.endpoint.sending(), 0U);
    EXPECT_FALSE(side.endpoint.is_sending(5));
}

TEST(Endpoint, SendsTheNextPacketForEachAcknowledgement) {
    Side side;
    const Bytes message = pattern(2500);
    const std::vector<Bytes> packets = packets_of(5, message);
    EXPECT_TRUE(side.endpoint.send(5, message));
    EXPECT_EQ(side.sent(), packets[0]);
    EXPECT_TRUE(side.endpoint.is_sending(5));
    EXPECT_EQ(side.endpoint.sending(), 1U);
    side.feed(ack(5, 1));
    EXPECT_EQ(side.sent(), packets[1]);
    side.feed(ack(5, 2));
    EXPECT_EQ(side.sent(), packets[2]);
    EXPECT_EQ(side.endpoint.sending(), 0U); // not acknowledged, but handed over
}

TEST(Endpoint, RefusesAnIdThatIsBeingSent) {
    Side side;
    EXPECT_TRUE(side.endpoint.send(5, pattern(2500)));
    EXPECT_EQ(side.sent().size(), std::size_t{PACKET_SIZE});
    EXPECT_FALSE(side.endpoint.send(5, bytes_of("another")));
    EXPECT_TRUE(side.sent().empty());
    side.feed(ack(5, 1));
    EXPECT_EQ(side.sent(), packets_of(5, pattern(2500))[1]); // the first message is as it was
}

// A stream that refuses is noticed when it is read; a datagram socket tells at once.
TEST(Endpoint, TellsThatTheSocketRefusesADatagram) {
    sockaddr_in peer{};
    peer.sin_family = AF_INET;
    peer.sin_port = htons(9);
    peer.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    RecordingOwner owner;
    varnel::protocol::Endpoint endpoint(client_new(CLIENT_DATAGRAM, closed_descriptor(), &peer), kBounds, owner);
    EXPECT_FALSE(endpoint.send(5, bytes_of("answer")));
}

TEST(Endpoint, WritesNothingWithoutRoomAndGoesOnWhenThereIsSome) {
    Side side;
    const std::vector<Bytes> packets = packets_of(9, pattern(2000));
    side.owner.room = 0;
    side.put(join({packets[0], packets[1], packet(3, 1, 1, bytes_of("later"))}));
    EXPECT_FALSE(side.endpoint.proceed());
    EXPECT_FALSE(side.endpoint.proceed());
    EXPECT_TRUE(side.sent().empty());
    EXPECT_TRUE(side.owner.delivered.empty());
    EXPECT_TRUE(side.endpoint.holds_bytes());
    side.owner.room = 1;
    EXPECT_FALSE(side.endpoint.proceed()); // the second packet waits
    EXPECT_EQ(side.sent(), ack(9, 1));
    side.owner.room = 1;
    EXPECT_TRUE(side.endpoint.proceed());
    EXPECT_EQ(side.owner.delivered, (Delivered{{9, pattern(2000)}, {3, bytes_of("later")}}));
}

TEST(Endpoint, SendsNoNextPacketWithoutRoom) {
    Side side;
    EXPECT_TRUE(side.endpoint.send(5, pattern(2500)));
    static_cast<void>(side.sent());
    side.owner.room = 0;
    side.put(ack(5, 1));
    EXPECT_FALSE(side.endpoint.proceed());
    EXPECT_TRUE(side.sent().empty());
    side.owner.room = 1;
    EXPECT_TRUE(side.endpoint.proceed());
    EXPECT_EQ(side.sent(), packets_of(5, pattern(2500))[1]);
}

TEST(Endpoint, ForgetsTheRestOfADatagram) {
    Side side;
    const Bytes whole = packet(7, 1, 1, bytes_of("hello"));
    side.feed(Bytes(whole.begin(), whole.end() - 1));
    side.endpoint.forget_rest();
    EXPECT_FALSE(side.endpoint.holds_bytes());
    side.feed(packet(8, 1, 1, bytes_of("next")));
    EXPECT_EQ(side.owner.delivered, (Delivered{{8, bytes_of("next")}}));
}

TEST(Endpoint, WithoutARecordIsOutOfMemory) {
    RecordingOwner owner;
    EXPECT_THROW(varnel::protocol::Endpoint(nullptr, kBounds, owner), std::bad_alloc);
}

// 100 packets from each end to the other, at the same time.
TEST(Endpoint, CarriesLargeMessagesBothWays) {
    const Ends ends = Ends::stream();
    RecordingOwner owners[2];
    varnel::protocol::Endpoint sides[2] = {{stream_client(ends.reader.get()).release(), kBounds, owners[0]},
                                           {stream_client(ends.writer.get()).release(), kBounds, owners[1]}};
    const int descriptors[2] = {ends.reader.get(), ends.writer.get()};
    const Bytes messages[2] = {pattern(100 * PACKET_PAYLOAD_MAX, 1), pattern(99 * PACKET_PAYLOAD_MAX + 1, 2)};
    ASSERT_TRUE(sides[0].send(1, messages[0]));
    ASSERT_TRUE(sides[1].send(1, messages[1]));
    for (int turn = 0; turn < 1000 && (owners[0].delivered.empty() || owners[1].delivered.empty()); ++turn) {
        for (int side = 0; side < 2; ++side) {
            std::uint8_t some[PACKET_SIZE];
            const ssize_t got = read(descriptors[side], some, std::min(sides[side].space(), sizeof some));
            if (got > 0)
                sides[side].put(some, static_cast<std::size_t>(got));
            ASSERT_TRUE(sides[side].proceed());
        }
    }
    EXPECT_EQ(owners[0].delivered, (Delivered{{1, messages[1]}}));
    EXPECT_EQ(owners[1].delivered, (Delivered{{1, messages[0]}}));
    EXPECT_EQ(sides[0].sending() + sides[0].receiving() + sides[1].sending() + sides[1].receiving(), 0U);
}
