// SPDX-License-Identifier: MIT
#include "common/conversation.h"

#include "common/failure.h"

#include <varnel/memory.h>

#include <cerrno>

namespace demo {

namespace {

// Completed messages of several packets stay with the client record: a peer gets no more than this many.
constexpr std::uint32_t kMostMessages = 64;

} // namespace

Conversation::Conversation(client *c) : client_(c) {
    if (client_ == nullptr)
        throw Failure("cannot make a client");
}

Conversation::Conversation(int stream) : Conversation(client_new(CLIENT_STREAM, stream, nullptr)) {}

Conversation::Conversation(int socket, const sockaddr_in &datagram_peer)
    : Conversation(client_new(CLIENT_DATAGRAM, socket, &datagram_peer)) {}

void Conversation::send(const Bytes &message) {
    if (client_send_data(client_.get(), 0, message.data(), static_cast<std::uint32_t>(message.size())) != 1)
        throw Failure("cannot send a message");
}

std::size_t Conversation::room() const {
    return PACKET_SIZE - static_cast<std::size_t>(circle_buf_data_len(client_->recv_buf));
}

void Conversation::count(std::int32_t consumed, Bytes packet) {
    if (consumed == PACKET_HEADER_SIZE) {
        ++tally_.acknowledgements;
    } else {
        ++tally_.packets;
        ++packets_of_message_;
        packet.resize(static_cast<std::size_t>(consumed));
        last_packet_ = std::move(packet);
    }
}

// Handles at most one packet; false when there was none.
bool Conversation::parse_one(std::optional<Delivery> &done) {
    circle_buf *const ring = client_->recv_buf;
    const std::int32_t before = circle_buf_data_len(ring);
    Bytes waiting(PACKET_SIZE);
    circle_buf_get_peek(ring, waiting.data(), PACKET_SIZE);

    std::uint32_t id = 0;
    std::uint8_t *data = nullptr;
    const std::int32_t length = parse_circle_data(client_.get(), &id, &data);
    const std::unique_ptr<std::uint8_t, void (*)(void *)> owner(data, _xfree);
    if (length < 0)
        throw Failure("the peer sent bytes that make no packet");
    const std::int32_t consumed = before - circle_buf_data_len(ring);
    if (consumed > 0)
        count(consumed, std::move(waiting));
    if (length > 0) {
        done = Delivery{Bytes(data, data + length), last_packet_, packets_of_message_};
        packets_of_message_ = 0;
    }
    return consumed > 0;
}

std::optional<Delivery> Conversation::take(const std::uint8_t *data, std::size_t size) {
    std::optional<Delivery> done;
    circle_buf_put(client_->recv_buf, data, static_cast<std::int32_t>(size));
    while (parse_one(done)) {
    }
    if (room() == 0)
        throw Failure("the peer sent a packet that is too long");
    if (hashmap_size(client_->recv_map) > kMostMessages)
        throw Failure("the peer sent too many long messages");
    return done;
}

bool read_stream(int fd, Conversation &conversation, std::optional<Delivery> &delivery) {
    std::uint8_t buffer[PACKET_SIZE];
    const ssize_t n = recv(fd, buffer, conversation.room(), MSG_DONTWAIT);
    if (n > 0)
        delivery = conversation.take(buffer, static_cast<std::size_t>(n));
    if (n < 0 && errno != EAGAIN && errno != EINTR)
        throw system_failure("cannot read from the peer");
    return n != 0;
}

} // namespace demo
