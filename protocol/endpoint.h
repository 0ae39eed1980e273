// SPDX-License-Identifier: MIT
// One end of a connection to somebody who is not trusted: the library's client record, whose ring gets only as much as
// it has room for, whose parser sees only headers that have been checked, and which keeps no message that has been
// delivered.
#pragma once

#include "protocol/message.h"

#include <varnel/transport.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>

namespace varnel::protocol {

struct EndpointBounds {
    std::size_t message_bytes;
    std::uint32_t packets;    // of one message
    std::uint32_t unfinished; // messages at a time
};

// What a packet says of itself.
struct PacketHeader {
    std::uint32_t id, count, index, length;
    [[nodiscard]] bool acknowledges() const { return count == 0 && length == 0; }
};

// What an endpoint asks of its owner.
class EndpointOwner {
public:
    EndpointOwner(const EndpointOwner &) = delete;
    EndpointOwner &operator=(const EndpointOwner &) = delete;

    // Whether the socket takes one more packet now. Without room nothing is written: call proceed again when there is.
    virtual bool has_room() = 0;

    // A message that has arrived whole; bytes may be changed. It may call the endpoint's send.
    virtual void deliver(std::uint32_t id, Bytes &bytes) = 0;

protected:
    EndpointOwner() = default;
    ~EndpointOwner() = default;
};

// No state beyond the record's: one thread at a time, as for the record. Ignore SIGPIPE.
class Endpoint {
public:
    // The header of a whole packet that a datagram begins with; nothing when there is none, or it is over the bounds.
    static std::optional<PacketHeader> header_of_datagram(std::span<const std::uint8_t> datagram,
                                                          const EndpointBounds &bounds);

    // Takes the record over (client_free). A nullptr is std::bad_alloc.
    Endpoint(client *record, const EndpointBounds &bounds, EndpointOwner &owner);

    // Delivers the messages of one packet that data begins with, when nothing waits in the ring: they need no place
    // there. The bytes that it has taken; the rest is for put. Malformed as for proceed.
    std::size_t take(const std::uint8_t *data, std::size_t size);

    // Bytes that put takes now.
    [[nodiscard]] std::size_t space() const;
    void put(const std::uint8_t *data, std::size_t size);

    // Handles the packets that have arrived. False when there is one that waits for room. A packet that is none, or is
    // over the bounds, is Malformed: the connection is of no use any more.
    bool proceed();

    // Forgets bytes that make no whole packet: what a datagram leaves behind.
    void forget_rest();

    // Starts sending; needs room. False when a message of that id is being sent still, or the socket refuses the one
    // packet of a short message. A stream that refuses the first of several is noticed when it is read.
    bool send(std::uint32_t id, std::span<const std::uint8_t> message);

    [[nodiscard]] bool is_sending(std::uint32_t id) const;
    [[nodiscard]] std::uint32_t sending() const;   // messages whose packets wait for acknowledgements
    [[nodiscard]] std::uint32_t receiving() const; // messages that have arrived in part
    [[nodiscard]] bool holds_bytes() const;        // of a packet that has arrived in part
    [[nodiscard]] std::size_t kept_bytes() const;  // that both kinds of messages take in memory

private:
    struct ClientDeleter {
        void operator()(client *record) const { client_free(record); }
    };
    using Header = PacketHeader;
    bool peek(Header &header) const;
    void check(const Header &header) const;
    [[nodiscard]] std::int32_t waiting() const { return record_->recv_buf->length; }
    void parse(const Header &header);
    void deliver(std::uint32_t id, const std::uint8_t *data, std::size_t size);
    bool send_bytes(const std::uint8_t *bytes, std::size_t size);
    bool send_packet(std::uint32_t id, std::span<const std::uint8_t> message);
    [[nodiscard]] const msginfo *arriving(const Header &header) const;
    bool drop_repeated(const Header &header);
    void drop_delivered(std::uint32_t id);

    std::unique_ptr<client, ClientDeleter> record_;
    const EndpointBounds bounds_;
    EndpointOwner &owner_;
    Bytes message_; // the one being delivered: its memory serves again
};

} // namespace varnel::protocol
