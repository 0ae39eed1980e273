// SPDX-License-Identifier: MIT
// The daemon's event loop (libuv): sockets, timers, signals.
#pragma once

#include "daemon/connection.h"
#include "daemon/gathering.h"
#include "daemon/line_budget.h"
#include "daemon/places.h"
#include "daemon/socket.h"

#include <uv.h>

#include <array>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <unordered_map>
#include <vector>

namespace varnel::daemon {

class Server;

// A connection over the UNIX socket.
class StreamConnection : public Connection {
public:
    // Takes the descriptor over.
    StreamConnection(Server &server, Engine &engine, ConnectionNumber number, Fd fd);

    // Ends watching; the object is deleted when the loop is through with it.
    static void retire(std::unique_ptr<StreamConnection> connection);

private:
    bool take_room() override;
    void wait_for_room() override { watch(); }
    void watch() override;
    [[nodiscard]] std::optional<std::uint32_t> longest_silence(const Limits &limits, bool attached) const override {
        return attached ? std::nullopt : std::optional(limits[Limit::idle]);
    }

    void on_ready(int events);
    void read_some();

    Server &server_;
    Fd fd_;
    uv_poll_t poll_{};
    int watched_ = 0;
    std::uint32_t room_ = 0; // packets that can be written before asking again
    const std::uint32_t packets_per_readiness_;
};

// A peer that sends datagrams.
class DatagramConnection : public Connection {
public:
    DatagramConnection(Server &server, Engine &engine, ConnectionNumber number, int fd, const sockaddr_in &peer);

    [[nodiscard]] bool is_datagram() const override { return true; }

private:
    // The socket is shared, so that nobody watches it for one peer: the server tries again now and then.
    bool take_room() override { return is_writable(fd_); }
    void wait_for_room() override {}
    void watch() override {}

    // Nothing tells that a peer has gone: one that has asked something and wants no more makes room soon.
    [[nodiscard]] std::optional<std::uint32_t> longest_silence(const Limits &limits, bool attached) const override {
        return limits[attached ? Limit::idle : Limit::stall];
    }

    const int fd_;
};

class Server : public ConnectionOwner {
public:
    // The listener and the UDP socket (which may be none) must outlive the server.
    Server(uv_loop_t &loop, Engine &engine, int listener, int udp, std::uint64_t flush_interval);
    Server(const Server &) = delete;
    Server &operator=(const Server &) = delete;
    virtual ~Server() = default;

    // Serves until SIGTERM or SIGINT; then sends what is pending, closes everything and returns. stopping is called
    // when the end begins.
    void run(const std::function<void()> &stopping);

    void owe(Connection &connection) override { owing_.push_back(&connection); }
    void rest(Connection &connection) override { resting_.push_back(&connection); }
    [[nodiscard]] Clock::time_point clock() const override { return Clock::now(); }
    void keeps(Kept before, Kept now) override {
        kept_.bytes += now.bytes - before.bytes;
        kept_.events += now.events - before.events;
    }
    [[nodiscard]] bool is_full() const override { return kept_.bytes >= engine_.limits()[Limit::kept_bytes]; }
    void doom(Connection &connection, const std::string &why) override;

    // The client has gone; the connection is closed at the end of the turn.
    void leave(Connection &connection);

    [[nodiscard]] uv_loop_t &loop() { return loop_; }
    [[nodiscard]] std::uint64_t now() const { return uv_now(&loop_); }

private:
    void accept_all();
    void accept_one(Fd fd);
    void receive_datagrams();
    Connection *datagram_peer(const sockaddr_in &peer, std::span<const std::uint8_t> datagram);
    void note_opened(const Connection &connection);
    void end_of_look();
    void end_of_turn();
    void look_again();
    void end_a_rest();
    void forget(Connection *connection);
    void close_leavers();
    void keep_within_bounds();
    [[nodiscard]] Connection *greediest(std::size_t Kept::*bytes) const;
    void close(ConnectionNumber number);
    void set_wait_timer();
    void keep_house();
    void begin_end();
    void end_when_drained();
    void close_everything();
    [[nodiscard]] std::size_t places_taken() const { return streams_.size() + datagrams_.size(); }
    void refuse(const char *what, const std::string &why);
    void for_each(const std::function<void(Connection &)> &visit) const;

    template <class Handle> void own(Handle &handle);

    // What the log tells of connections. UDP peers, of which anybody can make many, do not use up the others' lines.
    struct Lines {
        LineBudget opened;
        LineBudget closed;
    };
    Lines &lines_of(const Connection &connection) { return connection.is_datagram() ? datagram_lines_ : stream_lines_; }
    std::array<LineBudget *, 4> budgets();

    uv_loop_t &loop_;
    Engine &engine_;
    const int listener_;
    const int udp_;
    const std::uint64_t flush_interval_;
    ConnectionNumber last_number_ = 0;
    Kept kept_; // by all connections
    std::unordered_map<ConnectionNumber, std::unique_ptr<StreamConnection>> streams_;
    std::unordered_map<std::uint64_t, std::unique_ptr<DatagramConnection>> datagrams_; // by address and port
    Places places_;
    std::vector<Connection *> owing_;
    std::deque<Connection *> resting_;
    std::vector<ConnectionNumber> leaving_;
    Lines stream_lines_{LineBudget("connections opened"), LineBudget("connections closed for a reason")};
    Lines datagram_lines_{LineBudget("UDP peers opened"), LineBudget("UDP peers closed for a reason")};
    std::uint64_t last_refusal_logged_ = 0;
    std::uint64_t refusals_not_logged_ = 0;
    std::uint64_t end_deadline_ = 0; // not 0: ending
    std::uint64_t wait_deadline_ = 0;
    std::function<void()> stopping_;

    uv_poll_t listener_poll_{};
    uv_poll_t udp_poll_{};
    uv_prepare_t prepare_{};
    uv_idle_t again_{}; // runs while a turn gathers requests, and while connections rest
    Gathering gathering_;
    uv_timer_t house_timer_{};
    uv_timer_t flush_timer_{};
    uv_timer_t wait_timer_{};
    uv_timer_t end_timer_{};
    uv_signal_t term_{};
    uv_signal_t interrupt_{};
    std::vector<uv_handle_t *> handles_;
};

} // namespace varnel::daemon
