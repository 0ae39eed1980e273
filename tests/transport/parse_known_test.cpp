// SPDX-License-Identifier: MIT
// Packets of messages whose id the tracker has seen before. The tracker says so of no id, so this path is reached below
// parse_circle_data only.
#include "endpoint.h"
#include "transport/parse_private.h"

namespace {

struct Known {
    int32_t result;
    uint32_t id = 77;
    BlockPtr data;
};

Known parse_known(const Client &c) {
    Bytes bytes(PACKET_HEADER_SIZE);
    EXPECT_EQ(circle_buf_get_peek(c->recv_buf, bytes.data(), PACKET_HEADER_SIZE), PACKET_HEADER_SIZE);
    Known known{};
    known.id = 77;
    uint8_t *data = nullptr;
    known.result = varnel::parse_data_packet(c.get(), varnel::load_header(bytes.data()), true, &known.id, &data);
    known.data.reset(data);
    return known;
}

} // namespace

TEST(ParseKnown, WithoutAMessageTheDataLengthIsConsumedAndTheHeaderStays) {
    for (const uint32_t count : {1U, 2U}) {
        const Endpoint end;
        const Bytes first = packet(7, count, 1, pattern(10));
        end.feed_all({first, packet(8, 1, 1, {'y'})});
        const Known known = parse_known(end.client);
        EXPECT_EQ(known.result, 0);
        EXPECT_EQ(known.id, 77U);
        EXPECT_EQ(known.data, nullptr);
        EXPECT_EQ(unread(end.client), 22 + 23); // ten bytes of 32 are gone, from the front
        EXPECT_EQ(end.sent(), Bytes{});
        EXPECT_EQ(hashmap_size(end.client->recv_map), 0U);
        EXPECT_EQ(parse(end.client), message_parsed(8, {'y'})); // what is left of the packet is skipped
    }
}

TEST(ParseKnown, WithAMessageThePacketIsStored) {
    const Endpoint end;
    feed(end.client, packet(7, 3, 1, {'a'}));
    parse(end.client);
    EXPECT_EQ(end.sent(), ack(7, 1));
    feed(end.client, packet(7, 3, 2, {'b'}));
    EXPECT_EQ(parse_known(end.client).result, 0);
    EXPECT_EQ(end.sent(), ack(7, 2));
    feed(end.client, packet(7, 1, 3, {'c'})); // the count is not looked at
    const Known known = parse_known(end.client);
    EXPECT_EQ(known.result, 3);
    EXPECT_EQ(known.id, 7U);
    EXPECT_EQ(Bytes(known.data.get(), known.data.get() + 3), (Bytes{'a', 'b', 'c'}));
    EXPECT_EQ(end.sent(), Bytes{});
    EXPECT_EQ(unread(end.client), 0);
}
