// SPDX-License-Identifier: MIT
// What a hostile peer sends: refused before the parser sees it, and without much memory.
#include "config/random_source.h"
#include "endpoint_fixture.h"

namespace {

Bytes headed(std::uint32_t id, std::uint32_t count, std::uint32_t index, std::uint32_t length) {
    return join({header(id, count, index, length), zeros(std::min<std::uint32_t>(length, 1002))});
}

} // namespace

TEST(EndpointHostile, RefusesBytesThatMakeNoPacket) {
    const Bytes good = packet(1, 1, 1, bytes_of("x"));
    for (std::size_t i = 0; i < 6; ++i) {
        Bytes bad = good;
        bad[i] ^= 0x20;
        Side side;
        EXPECT_EQ(side.refusal_of(bad), "bytes that make no packet") << i;
        EXPECT_TRUE(side.owner.delivered.empty());
    }
    EXPECT_EQ(Side().refusal_of(bytes_of("X")), "bytes that make no packet"); // already the first byte tells
    EXPECT_EQ(Side().refusal_of(bytes_of("GET / HTTP/1.1\r\n\r\n")), "bytes that make no packet");
}

TEST(EndpointHostile, DeliversWhatCameBeforeTheGarbage) {
    Side side;
    EXPECT_EQ(side.refusal_of(join({packet(1, 1, 1, bytes_of("x")), bytes_of("garbage")})),
              "bytes that make no packet");
    EXPECT_EQ(side.owner.delivered, (Delivered{{1, bytes_of("x")}}));
}

TEST(EndpointHostile, RefusesImpossibleHeaders) {
    const struct {
        std::uint32_t count, index, length;
        const char *refusal;
    } rows[] = {
        {1, 1, 0, "a packet of 0 bytes"},
        {2, 1, 0, "a packet of 0 bytes"},
        {1, 1, 1003, "a packet of 1003 bytes"},
        {1, 1, 1024, "a packet of 1024 bytes"},
        {1, 1, 1025, "a packet of 1025 bytes"},
        {1, 1, UINT32_MAX, "a packet of 4294967295 bytes"},
        {0, 1, 1, "packet 1 of 0"},
        {0, 0, 1, "packet 0 of 0"},
        {1, 0, 1, "packet 0 of 1"},
        {1, 2, 1, "packet 2 of 1"},
        {2, 3, 1, "packet 3 of 2"},
        {2, UINT32_MAX, 1, "packet 4294967295 of 2"},
        {101, 1, 1, "a message of 101 packets, which is over the limit"},
        {UINT32_MAX, 1, 1, "a message of 4294967295 packets, which is over the limit"},
        {0x80000000, 1, 1, "a message of 2147483648 packets, which is over the limit"},
    };
    for (const auto &row : rows) {
        Side side;
        EXPECT_EQ(side.refusal_of(headed(1, row.count, row.index, row.length)), row.refusal);
        EXPECT_TRUE(side.owner.delivered.empty());
        EXPECT_EQ(side.endpoint.receiving(), 0U);
    }
}

TEST(EndpointHostile, TakesMessagesUpToTheBounds) {
    Side by_packets(EndpointBounds{1000 * PACKET_PAYLOAD_MAX, 3, 4});
    EXPECT_EQ(by_packets.refusal_of(headed(1, 3, 1, 1)), "");
    EXPECT_EQ(by_packets.refusal_of(headed(2, 4, 1, 1)), "a message of 4 packets, which is over the limit");
    // Three packets have at least 2005 bytes.
    Side by_bytes(EndpointBounds{2005, 100, 4});
    EXPECT_EQ(by_bytes.refusal_of(headed(1, 3, 1, 1)), "");
    Side by_fewer_bytes(EndpointBounds{2004, 100, 4});
    EXPECT_EQ(by_fewer_bytes.refusal_of(headed(1, 3, 1, 1)), "a message of 3 packets, which is over the limit");
}

TEST(EndpointHostile, RefusesOneUnfinishedMessageTooMany) {
    Side side;
    for (std::uint32_t id = 1; id <= 4; ++id)
        EXPECT_EQ(side.refusal_of(headed(id, 3, 1, 5)), "");
    EXPECT_EQ(side.endpoint.receiving(), 4U);
    EXPECT_EQ(side.refusal_of(headed(2, 3, 2, 5)), ""); // one of the four goes on
    EXPECT_EQ(side.refusal_of(headed(9, 1, 1, 5)), ""); // a whole message keeps nothing
    EXPECT_EQ(side.refusal_of(headed(5, 3, 1, 5)), "more unfinished messages than the limit of 4");
    EXPECT_EQ(side.endpoint.receiving(), 4U);
}

TEST(EndpointHostile, RefusesAnotherCountInTheMiddleOfAMessage) {
    Side side;
    EXPECT_EQ(side.refusal_of(headed(1, 3, 1, 5)), "");
    EXPECT_EQ(side.refusal_of(headed(1, 4, 2, 5)), "packet 2 of 4 in a message of 3");
}

// What is stored for a message does not depend on how often its packets come: the last one makes a block of that size.
TEST(EndpointHostile, RepeatedPacketsDoNotMakeAMessageLarger) {
    Side side;
    const std::vector<Bytes> packets = packets_of(1, pattern(1003));
    Bytes four;
    for (int i = 0; i < 4; ++i)
        four.insert(four.end(), packets[0].begin(), packets[0].end());
    for (int i = 0; i < 5000; ++i)
        side.feed(four); // 20 MB
    EXPECT_EQ(side.sent(), ack(1, 1));
    side.feed(packets[1]);
    EXPECT_EQ(side.owner.delivered, (Delivered{{1, pattern(1003)}}));
}

TEST(EndpointHostile, AcknowledgementsOfNothingWriteNothing) {
    Side side;
    for (std::uint32_t i = 0; i < 5000; ++i)
        side.feed(join({ack(i, i), ack(0, 0), ack(UINT32_MAX, UINT32_MAX), ack(7, UINT32_MAX - i)}));
    EXPECT_TRUE(side.sent().empty());
    EXPECT_EQ(side.endpoint.receiving(), 0U);
}

TEST(EndpointHostile, AcknowledgementsOutOfOrderWriteOnlyPacketsOfTheMessage) {
    Side side;
    const std::vector<Bytes> packets = packets_of(5, pattern(2500));
    ASSERT_TRUE(side.endpoint.send(5, pattern(2500)));
    EXPECT_EQ(side.sent(), packets[0]);
    side.feed(ack(5, 3));
    EXPECT_TRUE(side.sent().empty()); // there is no fourth
    side.feed(ack(5, UINT32_MAX));
    EXPECT_TRUE(side.sent().empty());
    side.feed(ack(5, 2));
    EXPECT_EQ(side.sent(), packets[2]);
    side.feed(ack(5, 1));
    EXPECT_EQ(side.sent(), packets[1]);
    EXPECT_EQ(side.endpoint.sending(), 0U);
}

// Random bytes, and good packets with some bytes changed. The endpoint delivers or refuses; nothing else.
TEST(EndpointHostile, SurvivesRandomStreams) {
    RandomSource random;
    std::size_t delivered = 0;
    std::size_t refused = 0;
    for (int round = 0; round < 3000; ++round) {
        Side side(EndpointBounds{5 * PACKET_PAYLOAD_MAX, 5, 2});
        if (random.percent(30)) {
            ASSERT_TRUE(side.endpoint.send(77, pattern(4000)));
        }
        Bytes stream;
        for (std::size_t n = 1 + random.below(12); n > 0; --n) {
            const auto id = static_cast<std::uint32_t>(random.below(4));
            const std::vector<Bytes> packets = packets_of(id, pattern(1 + random.below(4500)));
            Bytes next = random.percent(20)
                             ? ack(random.percent(50) ? 77 : id, static_cast<std::uint32_t>(random.below(6)))
                             : packets[random.below(packets.size())];
            if (random.percent(10))
                next[random.below(std::min<std::size_t>(next.size(), 30))] =
                    static_cast<std::uint8_t>(random.below(256));
            if (random.percent(3))
                next.resize(random.below(next.size()));
            stream.insert(stream.end(), next.begin(), next.end());
        }
        if (random.percent(10)) {
            for (std::uint8_t &byte : stream)
                byte = static_cast<std::uint8_t>(random.below(256));
        }
        for (std::size_t at = 0; at < stream.size();) {
            const std::size_t some = std::min({stream.size() - at, side.endpoint.space(), 1 + random.below(3000)});
            const auto from = stream.begin() + static_cast<std::ptrdiff_t>(at);
            at += some;
            if (side.refusal_of(Bytes(from, from + static_cast<std::ptrdiff_t>(some))).empty())
                continue;
            ++refused;
            break;
        }
        EXPECT_LE(side.endpoint.receiving(), 2U) << random.seed();
        delivered += side.owner.delivered.size();
    }
    EXPECT_GT(delivered, 100U) << random.seed();
    EXPECT_GT(refused, 100U) << random.seed();
}
