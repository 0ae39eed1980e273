// SPDX-License-Identifier: MIT
// A client as the daemon sees it: its requests go to the engine, answers and events wait for room in its socket.
#pragma once

#include "daemon/engine.h"
#include "daemon/repeats.h"

#include "protocol/endpoint.h"

#include <chrono>
#include <cstdint>
#include <deque>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace varnel::daemon {

class Connection;

// Bytes in memory that wait for a client, or for more of what it sends. Events, which many may wait for, are apart.
struct Kept {
    std::size_t bytes = 0;
    std::size_t events = 0;

    bool operator==(const Kept &) const = default;
};

// What connections ask of the server.
class ConnectionOwner {
public:
    ConnectionOwner(const ConnectionOwner &) = delete;
    ConnectionOwner &operator=(const ConnectionOwner &) = delete;

    // The connection has something to send: settle is expected at the end of the turn, when all that has arrived has
    // been handled. Sent one by one, answers would wake their clients one by one.
    virtual void owe(Connection &connection) = 0;

    // The connection has taken its share of the time: go_on is expected in a later turn, when others have been heard.
    virtual void rest(Connection &connection) = 0;

    // What the connection keeps in memory for its client has become another number of bytes.
    virtual void keeps(Kept before, Kept now) = 0;

    // Whether all connections together keep as much as they may.
    [[nodiscard]] virtual bool is_full() const = 0;

    // The time that work takes is measured by this.
    using Clock = std::chrono::steady_clock;
    [[nodiscard]] virtual Clock::time_point clock() const = 0;

    // The connection is of no use any more; to be closed soon, but not before the caller is through.
    virtual void doom(Connection &connection, const std::string &why) = 0;

protected:
    ConnectionOwner() = default;
    ~ConnectionOwner() = default;
};

class Connection : public Session, private protocol::EndpointOwner {
public:
    // The header of a packet that a datagram begins with; nothing when it has none that a client may send.
    static std::optional<protocol::PacketHeader> header_of_datagram(std::span<const std::uint8_t> datagram,
                                                                    const Limits &limits);

    // Takes the record over. The engine knows of the connection until part, or as long as it lives.
    Connection(Engine &engine, ConnectionOwner &owner, ConnectionNumber number, std::string description,
               client *record);
    Connection(const Connection &) = delete;
    Connection &operator=(const Connection &) = delete;
    ~Connection() override;

    // Bytes that receive takes now: none while the connection must not be read.
    [[nodiscard]] std::size_t space() const { return may_read() ? endpoint_.space() : 0; }

    // Not while it waits for room, or rests with many requests at hand.
    [[nodiscard]] bool may_read() const { return !blocked_ && !(resting_ && held_is_over()); }

    // Handles bytes from the socket; now is in milliseconds.
    void receive(const std::uint8_t *data, std::size_t size, std::uint64_t now);

    // The same for one whole datagram, which has a header as above. One that cannot be meant is ignored.
    void receive_datagram(const std::uint8_t *data, std::size_t size, std::uint64_t now);

    // The client has gone: gives up its locks and subscriptions, and sends nothing any more.
    void part();

    // There is room again.
    void resume(std::uint64_t now);

    // Sends what there is room for.
    void settle();

    // Ends the rest that the owner was asked for. Whether requests have been handled that had waited.
    bool go_on();

    // The client has gone, and the connection ends with this turn: what it has asked for is done, rest or not.
    void finish();

    [[nodiscard]] bool takes_answers() const override { return !gone_ && !(finishing_ && resting_); }

    void answer(std::uint32_t request, const protocol::Message &message) override;
    void wake() override;

    // Nothing that the client has asked for is on its way any more.
    [[nodiscard]] bool is_drained() const;

    // Why the connection should be closed, if it should: silent for too long, or stopped half way.
    [[nodiscard]] std::optional<std::string> overdue(std::uint64_t now) const;

    // Whether the client sends datagrams: anybody can write its address as his own, and networks repeat them.
    [[nodiscard]] virtual bool is_datagram() const { return false; }

    // At the end of each of the calls above.
    [[nodiscard]] Kept kept() const { return kept_; }

    // Memory is short for all, and the client has most of it: closes the connection, or drops its events.
    void give_up(const std::string &why) { doom(why); }
    void give_events_up();

    [[nodiscard]] bool waits_for_room() const { return blocked_; }
    [[nodiscard]] bool is_doomed() const { return doomed_; }

private:
    struct Outgoing {
        std::uint32_t id;
        protocol::Bytes message;
    };
    struct Held {
        std::uint32_t id;
        protocol::Bytes bytes;
    };

    // Whether a packet can be written to the socket now. Otherwise wait_for_room is called, and resume is expected when
    // there is room.
    virtual bool take_room() = 0;
    virtual void wait_for_room() = 0;

    // may_read may have become another.
    virtual void watch() = 0;

    // Seconds that the client may be silent; nothing for as long as it likes. attached: it has subscriptions or locks.
    [[nodiscard]] virtual std::optional<std::uint32_t> longest_silence(const Limits &limits, bool attached) const = 0;

    bool has_room() override;
    void deliver(std::uint32_t id, protocol::Bytes &bytes) override;

    void proceed(std::span<const std::uint8_t> bytes);
    void owe();
    [[nodiscard]] bool queue_is_over() const;
    [[nodiscard]] bool queue_has_place() const;
    bool may_handle();
    void handle_now(std::uint32_t id, protocol::Bytes &bytes);
    [[nodiscard]] bool held_is_over() const;
    void hold(std::uint32_t id, const protocol::Bytes &bytes);
    void handle_held();
    void pump();
    bool can_start();
    void start(std::uint32_t id, std::span<const std::uint8_t> bytes);
    void start_events();
    [[nodiscard]] bool is_event_under_way() const;
    [[nodiscard]] std::uint32_t answers_under_way() const;
    void misused(const std::string &how);
    void count_kept();
    void doom(const std::string &why);

    Engine &engine_;
    ConnectionOwner &owner_;
    protocol::Endpoint endpoint_;
    std::deque<Outgoing> queue_; // answers that have not been started
    std::size_t queue_bytes_ = 0;
    protocol::Bytes spare_; // memory of an answer that has gone, for the next one
    Repeats repeats_;       // of datagrams
    std::deque<Held> held_; // requests that wait until there is a place for their answers
    std::size_t held_bytes_ = 0;
    Kept kept_;
    std::uint32_t event_under_way_ = 0; // id of the event that was sent last
    std::uint32_t next_event_id_;
    std::uint64_t last_heard_; // milliseconds
    std::uint64_t last_moved_; // when a packet came or went
    bool blocked_ = false;
    bool owing_ = false;                       // settle has been asked for
    ConnectionOwner::Clock::duration spent_{}; // on long requests since the last rest
    bool resting_ = false;                     // until go_on, requests wait
    bool finishing_ = false;
    bool doomed_ = false;
    bool gone_ = false; // doomed as nothing can be sent: what it has asked for before is done all the same
    bool parted_ = false;
};

} // namespace varnel::daemon
