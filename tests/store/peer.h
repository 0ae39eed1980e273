// SPDX-License-Identifier: MIT
// A client that sends what it likes: packets as docs/formats.md has them, without the library's transport.
#pragma once

#include "process.h"

#include "protocol/message.h"
#include "protocol/protocol.h"

#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <utility>

namespace varnel::test {

using protocol::Bytes;
using protocol::Message;
using protocol::Received;
using protocol::Status;

struct Packet {
    std::uint32_t id;
    std::uint32_t count;
    std::uint32_t index;
    Bytes payload;
};

Bytes encode(const Packet &packet);
Bytes acknowledgement(std::uint32_t id, std::uint32_t index);
Packet packet_of(std::uint32_t id, const Bytes &message, std::uint32_t index); // index from 1

// The status that an answer begins with.
Status status_of(const Received &answer);

class Peer {
public:
    static Peer over_unix(const std::string &path);

    // From the given port of loopback to another; own 0: any below 32768.
    static Peer over_udp(std::uint16_t port, std::uint16_t own = 0);

    Peer(const Peer &) = delete;
    Peer &operator=(const Peer &) = delete;
    Peer(Peer &&other) noexcept
        : fd_(std::exchange(other.fd_, -1)), waiting_(std::move(other.waiting_)), aside_(std::move(other.aside_)),
          unfinished_(std::move(other.unfinished_)) {}
    Peer &operator=(Peer &&) = delete;
    ~Peer();

    // Writes everything. False when the daemon has closed the connection, or takes no more in time.
    bool send(const Bytes &bytes, const Deadline &deadline = patience());

    // Writes as much as goes without waiting; the bytes written, 0 also when the daemon has closed the connection.
    std::size_t send_some(const Bytes &bytes);

    // No more will be sent.
    void finish_sending();

    // The next packet; nothing when none comes in time or the connection is closed.
    std::optional<Packet> receive(const Deadline &deadline = patience());

    // Whether the daemon closes the connection in time. What it sends until then is thrown away.
    bool is_closed(const Deadline &deadline = patience());

    // Sends the packets of a message, each when the one before has been acknowledged.
    void send_message(std::uint32_t id, const Bytes &message);

    // The next message that arrives whole; every packet but the last is acknowledged. Its id is put into *id. Packets
    // of several messages may come mixed.
    Received receive_message(std::uint32_t *id = nullptr);

    // Sends a request and returns its answer.
    Received ask(std::uint32_t id, const Message &request);

    [[nodiscard]] int descriptor() const { return fd_; }

private:
    explicit Peer(int fd) : fd_(fd) {}
    std::optional<Packet> next_packet(const Deadline &deadline);
    bool read_more(const Deadline &deadline);
    [[nodiscard]] bool waits(short events, const Deadline &deadline) const;

    int fd_;
    Bytes waiting_;            // has been read, not looked at
    std::deque<Packet> aside_; // came while something else was awaited
    std::map<std::uint32_t, Bytes> unfinished_;
};

} // namespace varnel::test
