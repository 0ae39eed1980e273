// SPDX-License-Identifier: MIT
// A stream client under test, with the other end of its connection.
#pragma once

#include "message.h"

struct Endpoint {
    // What the client has sent since the last call.
    [[nodiscard]] Bytes sent() const { return drain(ends.reader.get()); }

    void feed_all(std::initializer_list<Bytes> parts) const { feed(client, join(parts)); }

    // Starts a message of the client's own and takes its first packet off the wire.
    void start_sending(uint32_t id, const Bytes &message) const {
        EXPECT_EQ(client_send_data(client.get(), id, message.data(), static_cast<uint32_t>(message.size())), 1);
        EXPECT_EQ(sent(), packets_of(id, message)[0]);
    }

    [[nodiscard]] msginfo *receiving(uint32_t id) const { return find_message(client->recv_map, id); }

    Ends ends = Ends::stream();
    Client client = stream_client(ends.writer.get());
};
