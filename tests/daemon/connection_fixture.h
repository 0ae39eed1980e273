// SPDX-License-Identifier: MIT
// A connection between an engine and a socket, whose room the test decides on.
#pragma once

#include "engine_fixture.h"
#include "transport/wire.h"

#include "daemon/connection.h"

#include <algorithm>
#include <optional>
#include <sstream>
#include <string>

using varnel::daemon::Connection;
using varnel::daemon::ConnectionOwner;
using varnel::daemon::Engine;
using varnel::daemon::Kept;
using varnel::daemon::Limit;
using varnel::daemon::Limits;
using varnel::protocol::kFirstEventId;

class Owner final : public ConnectionOwner {
public:
    void owe(Connection &connection) override {
        ++owed;
        if (every_answer_ends_a_turn)
            connection.settle();
    }
    void rest(Connection &) override { ++rests; }
    void keeps(Kept before, Kept now) override {
        kept += now.bytes - before.bytes;
        kept_events += now.events - before.events;
    }
    [[nodiscard]] bool is_full() const override { return full; }
    [[nodiscard]] Clock::time_point clock() const override { return time; }
    void doom(Connection &, const std::string &why) override { reasons += why + "; "; }
    std::string reasons;
    bool every_answer_ends_a_turn = true;
    int owed = 0;
    int rests = 0;
    std::size_t kept = 0;
    std::size_t kept_events = 0;
    bool full = false;
    Clock::time_point time;
};

// A connection that has as much room as the test says.
class TestConnection final : public Connection {
public:
    TestConnection(Engine &engine, ConnectionOwner &owner, int fd)
        : Connection(engine, owner, 1, "connection 1", client_new(CLIENT_STREAM, fd, nullptr)) {}

    [[nodiscard]] bool is_datagram() const override { return datagram; }

    std::size_t room = SIZE_MAX;
    int waits = 0;
    bool datagram = false;

private:
    bool take_room() override {
        if (room == 0)
            return false;
        --room;
        return true;
    }
    void wait_for_room() override { ++waits; }
    void watch() override {}
    std::optional<std::uint32_t> longest_silence(const Limits &limits, bool attached) const override {
        return attached ? std::nullopt : std::optional(limits[Limit::idle]);
    }
};

class ConnectionTest : public EngineTest {
public:
    TestConnection &connection() {
        if (!connection_)
            connection_.emplace(engine(), owner, ends_.writer.get());
        return *connection_;
    }
    void close() { connection_.reset(); }

    // What the client sends, in reads of at most a packet.
    void feed(const Bytes &bytes) {
        for (std::size_t at = 0; at < bytes.size() && connection().space() > 0;) {
            const std::size_t some = std::min({bytes.size() - at, connection().space(), std::size_t{PACKET_SIZE}});
            connection().receive(bytes.data() + at, some, now);
            at += some;
        }
    }
    void send(std::uint32_t id, const Message &message) {
        for (const Bytes &one : packets_of(id, message.encode())) {
            feed(one);
            engine().commit();
        }
    }
    void get(std::uint32_t id) { send(id, get_request("volatile", "net", "port")); }
    void set(const char *value) { ask(client(9), set_request("volatile", {{"net", "port", value}})); }

    // Packets that have arrived at the client: "id/count.index".
    std::string packets() {
        std::string text;
        const Bytes all = drain(ends_.reader.get());
        received_.insert(received_.end(), all.begin(), all.end());
        while (received_.size() >= PACKET_HEADER_SIZE) {
            const auto word = [this](std::size_t at) {
                return std::uint32_t{received_[at]} << 24 | std::uint32_t{received_[at + 1]} << 16 |
                       std::uint32_t{received_[at + 2]} << 8 | received_[at + 3];
            };
            text +=
                (word(6) >= kFirstEventId ? "e" + std::to_string(word(6) - kFirstEventId) : std::to_string(word(6))) +
                "/" + std::to_string(word(10)) + "." + std::to_string(word(14)) + " ";
            const std::size_t size = PACKET_HEADER_SIZE + word(18);
            last_.assign(received_.begin() + PACKET_HEADER_SIZE, received_.begin() + static_cast<std::ptrdiff_t>(size));
            received_.erase(received_.begin(), received_.begin() + static_cast<std::ptrdiff_t>(size));
        }
        return text;
    }
    // Acknowledges what arrives until no more comes; the ids of the messages that have arrived whole, in their order.
    std::string take_all() {
        std::string ids;
        for (std::istringstream arrived(packets()); arrived.peek() != EOF; arrived = std::istringstream(packets())) {
            std::uint32_t id = 0;
            std::uint32_t count = 0;
            std::uint32_t index = 0;
            char separator = 0;
            while (arrived >> id >> separator >> count >> separator >> index) {
                if (index == count)
                    ids += std::to_string(id) + " ";
                else
                    feed(ack(id, index));
                end_turn();
            }
        }
        return ids;
    }
    // As the server does it.
    void end_turn() {
        do {
            owner.owed = 0;
            engine().commit();
            connection().settle();
        } while (owner.owed != 0);
    }
    // The payload of the last packet, as an answer.
    std::string last_answer() { return answer_words(Received(last_)); }

    Owner owner;

private:
    Ends ends_ = Ends::stream();
    Bytes received_;
    Bytes last_;
    std::optional<TestConnection> connection_;
};

inline std::string text(std::size_t size) {
    return std::string(size, 'x');
}
