// SPDX-License-Identifier: MIT
// One end of a conversation: the library's client record, fed with the bytes that a program reads from its socket.
#pragma once

#include "common/message.h"

#include <varnel/transport.h>

#include <memory>
#include <optional>

namespace demo {

// Packets counted as they were parsed, not as they should have been.
struct Tally {
    std::uint32_t packets = 0;          // data packets received
    std::uint32_t acknowledgements = 0; // acknowledgements received
};

struct Delivery {
    Bytes message;
    Bytes last_packet; // the packet that completed it, as it came from the socket
    std::uint32_t packets = 0;
};

class Conversation {
public:
    explicit Conversation(int stream); // a connected stream socket
    Conversation(int socket, const sockaddr_in &datagram_peer);

    // Starts sending; later packets go out as take handles the acknowledgements.
    void send(const Bytes &message);

    // Bytes that take accepts now. The ring never holds more than one packet, so that it need not grow.
    [[nodiscard]] std::size_t room() const;

    // Hands over bytes from the socket. Returns the message that they completed, if any: peers talk in turns, so there
    // is at most one. Bytes that make no packet are a Failure.
    std::optional<Delivery> take(const std::uint8_t *data, std::size_t size);

    [[nodiscard]] const Tally &tally() const { return tally_; }

private:
    struct ClientDeleter {
        void operator()(client *c) const { client_free(c); }
    };
    explicit Conversation(client *c);
    bool parse_one(std::optional<Delivery> &done);
    void count(std::int32_t consumed, Bytes packet);

    std::unique_ptr<client, ClientDeleter> client_;
    Tally tally_;
    std::uint32_t packets_of_message_ = 0;
    Bytes last_packet_;
};

// Reads what is waiting on a stream socket, at most what fits. False at the end of the stream.
bool read_stream(int fd, Conversation &conversation, std::optional<Delivery> &delivery);

} // namespace demo
