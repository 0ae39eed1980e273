// SPDX-License-Identifier: MIT
#include "daemon/server.h"

#include "daemon/log.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <map>
#include <unistd.h>
#include <utility>

namespace varnel::daemon {

namespace {

constexpr std::uint64_t kHouseInterval = 1000; // milliseconds, like those below
constexpr std::uint64_t kEndInterval = 10;
constexpr std::uint64_t kLongestEnd = 2000;
constexpr std::uint64_t kRefusalLogInterval = 1000;
constexpr int kDatagramsATurn = 64;
constexpr int kConnectionsATurn = 64;

// Answers to ports above this would go to the address one below: the transport counts ports as signed numbers.
constexpr std::uint16_t kHighestPort = 32767;

std::uint64_t peer_key(const sockaddr_in &peer) {
    return std::uint64_t{peer.sin_addr.s_addr} << 16 | peer.sin_port;
}

Server &server_of(void *handle) {
    return *static_cast<Server *>(static_cast<uv_handle_t *>(handle)->data);
}

} // namespace

template <class Handle> void Server::own(Handle &handle) {
    handle.data = this;
    handles_.push_back(reinterpret_cast<uv_handle_t *>(&handle));
}

Server::Server(uv_loop_t &loop, Engine &engine, int listener, int udp, std::uint64_t flush_interval)
    : loop_(loop), engine_(engine), listener_(listener), udp_(udp), flush_interval_(flush_interval),
      places_(engine.limits()[Limit::clients], geteuid()) {
    uv_poll_init(&loop_, &listener_poll_, listener_);
    own(listener_poll_);
    if (udp_ >= 0) {
        uv_poll_init(&loop_, &udp_poll_, udp_);
        own(udp_poll_);
    }
    uv_prepare_init(&loop_, &prepare_);
    own(prepare_);
    uv_idle_init(&loop_, &again_);
    own(again_);
    for (uv_timer_t *timer : {&house_timer_, &flush_timer_, &wait_timer_, &end_timer_}) {
        uv_timer_init(&loop_, timer);
        own(*timer);
    }
    for (uv_signal_t *signal : {&term_, &interrupt_}) {
        uv_signal_init(&loop_, signal);
        own(*signal);
    }
    // Now, so that who is told that the daemon is ready can end it.
    const auto on_signal = [](uv_signal_t *h, int) { server_of(h).begin_end(); };
    uv_signal_start(&term_, on_signal, SIGTERM);
    uv_signal_start(&interrupt_, on_signal, SIGINT);
}

void Server::run(const std::function<void()> &stopping) {
    stopping_ = stopping;
    uv_poll_start(&listener_poll_, UV_READABLE, [](uv_poll_t *h, int, int) { server_of(h).accept_all(); });
    if (udp_ >= 0)
        uv_poll_start(&udp_poll_, UV_READABLE, [](uv_poll_t *h, int, int) { server_of(h).receive_datagrams(); });
    // Before the loop waits again: behind the sockets of the last turn, and behind the timers.
    uv_prepare_start(&prepare_, [](uv_prepare_t *h) { server_of(h).end_of_look(); });
    uv_timer_start(
        &house_timer_, [](uv_timer_t *h) { server_of(h).keep_house(); }, kHouseInterval, kHouseInterval);
    uv_timer_start(
        &flush_timer_, [](uv_timer_t *h) { server_of(h).engine_.flush(); }, flush_interval_, flush_interval_);
    uv_run(&loop_, UV_RUN_DEFAULT);
}

void Server::for_each(const std::function<void(Connection &)> &visit) const {
    for (const auto &[number, connection] : streams_)
        visit(*connection);
    for (const auto &[key, connection] : datagrams_)
        visit(*connection);
}

std::array<LineBudget *, 4> Server::budgets() {
    return {&stream_lines_.opened, &stream_lines_.closed, &datagram_lines_.opened, &datagram_lines_.closed};
}

// ---- arriving

// One line a second at most: strangers must not fill the log.
void Server::refuse(const char *what, const std::string &why) {
    ++engine_.statistics().refused;
    ++refusals_not_logged_;
    if (last_refusal_logged_ != 0 && now() - last_refusal_logged_ < kRefusalLogInterval)
        return;
    log_error(std::string(what) + " refused (" + std::to_string(refusals_not_logged_) +
              " since the last line): " + why);
    last_refusal_logged_ = now();
    refusals_not_logged_ = 0;
}

void Server::accept_all() {
    for (int i = 0; i < kConnectionsATurn; ++i) {
        Fd fd(accept4(listener_, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
        if (fd) {
            accept_one(std::move(fd));
        } else if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM) {
            log_error(std::string("cannot accept connections for a second: ") + std::strerror(errno));
            uv_poll_stop(&listener_poll_); // the house timer starts it again
            return;
        } else if (errno != EINTR && errno != ECONNABORTED) {
            return;
        }
    }
}

void Server::note_opened(const Connection &connection) {
    if (lines_of(connection).opened.allows(now()))
        log_info(connection.description() + " opened");
    ++engine_.statistics().accepted;
    ++engine_.statistics().connections;
}

void Server::accept_one(Fd fd) {
    const std::optional<ucred> peer = credentials_of(fd.get());
    if (const std::optional<std::string> why = places_.refusal(peer, places_taken()))
        return refuse("connection", *why);
    const ConnectionNumber number = ++last_number_;
    places_.take(number, peer);
    auto connection = std::make_unique<StreamConnection>(*this, engine_, number, std::move(fd));
    note_opened(*connection);
    streams_.emplace(number, std::move(connection));
}

Connection *Server::datagram_peer(const sockaddr_in &peer, std::span<const std::uint8_t> datagram) {
    // Before anything is said of the peer: whoever can write its address as his own must not spoil its connection so
    // easily, nor make one.
    const auto header = Connection::header_of_datagram(datagram, engine_.limits());
    const bool is_packet = header && datagram.size() <= PACKET_SIZE;
    const bool is_answerable = ntohs(peer.sin_port) <= kHighestPort && peer.sin_port != 0;
    const auto found = datagrams_.find(peer_key(peer));
    const bool is_known = found != datagrams_.end();
    if (!is_packet || !is_answerable || (header->acknowledges() && !is_known)) {
        ++engine_.statistics().ignored;
        return nullptr;
    }
    if (is_known)
        return found->second.get();
    if (const std::optional<std::string> why = places_.refusal_of_datagrams(datagrams_.size(), places_taken())) {
        refuse("UDP peer", *why);
        return nullptr;
    }
    auto connection = std::make_unique<DatagramConnection>(*this, engine_, ++last_number_, udp_, peer);
    note_opened(*connection);
    return datagrams_.emplace(peer_key(peer), std::move(connection)).first->second.get();
}

void Server::receive_datagrams() {
    for (int i = 0; i < kDatagramsATurn; ++i) {
        std::uint8_t buffer[PACKET_SIZE + 1];
        sockaddr_in peer{};
        socklen_t length = sizeof peer;
        const ssize_t n =
            recvfrom(udp_, buffer, sizeof buffer, MSG_DONTWAIT, reinterpret_cast<sockaddr *>(&peer), &length);
        if (n < 0 && errno != EINTR)
            return;
        if (n < 0 || length != sizeof peer)
            continue;
        const auto size = static_cast<std::size_t>(n);
        Connection *const connection = datagram_peer(peer, {buffer, size});
        if (connection != nullptr && !connection->is_doomed())
            connection->receive_datagram(buffer, size, now());
    }
}

// ---- leaving

void Server::leave(Connection &connection) {
    connection.finish();
    leaving_.push_back(connection.number());
}

void Server::doom(Connection &connection, const std::string &why) {
    if (lines_of(connection).closed.allows(now()))
        log_error(connection.description() + " closed: " + why);
    ++engine_.statistics().dropped;
    leave(connection);
}

void Server::forget(Connection *connection) {
    std::erase(owing_, connection);
    std::erase(resting_, connection);
}

void Server::close(ConnectionNumber number) {
    if (const auto stream = streams_.find(number); stream != streams_.end()) {
        forget(stream->second.get());
        places_.give_back(number);
        StreamConnection::retire(std::move(stream->second));
        streams_.erase(stream);
        --engine_.statistics().connections;
        return;
    }
    const auto datagram = std::find_if(datagrams_.begin(), datagrams_.end(),
                                       [number](const auto &entry) { return entry.second->number() == number; });
    if (datagram != datagrams_.end()) {
        forget(datagram->second.get());
        datagrams_.erase(datagram);
        --engine_.statistics().connections;
    }
}

void Server::close_leavers() {
    while (!leaving_.empty()) {
        for (const ConnectionNumber number : std::exchange(leaving_, {}))
            close(number);
    }
}

// The connection that keeps most: of the user, and of that one's process, whose connections keep most together. So many
// small ones of one program are no better than a large one, and nobody else has to go for them. UDP peers are one user:
// whoever sends datagrams can be all of them.
Connection *Server::greediest(std::size_t Kept::*bytes) const {
    using Party = std::pair<std::int64_t, std::int64_t>; // user and process
    const auto party_of = [this](const Connection &connection) {
        const std::optional<ucred> peer = places_.peer(connection.number());
        return peer ? Party{peer->uid, peer->pid} : Party{-1, 0};
    };
    std::map<std::int64_t, std::size_t> of_user;
    std::map<Party, std::size_t> of_party;
    for_each([&](const Connection &connection) {
        const Party party = party_of(connection);
        of_user[party.first] += connection.kept().*bytes;
        of_party[party] += connection.kept().*bytes;
    });
    Connection *most = nullptr;
    std::array<std::size_t, 3> most_bytes{};
    for_each([&](Connection &connection) {
        const Party party = party_of(connection);
        const std::array kept{of_user[party.first], of_party[party], connection.kept().*bytes};
        if (most == nullptr || kept > most_bytes) {
            most = &connection;
            most_bytes = kept;
        }
    });
    return most;
}

// What one client may keep waiting, many of them must not add up.
void Server::keep_within_bounds() {
    const std::size_t bound = engine_.limits()[Limit::kept_bytes];
    Connection *const most = kept_.bytes > bound ? greediest(&Kept::bytes) : nullptr;
    if (most != nullptr)
        most->give_up(std::to_string(kept_.bytes) + " bytes wait for all clients, and " +
                      std::to_string(most->kept().bytes) + " for this one");
    while (kept_.events > bound)
        greediest(&Kept::events)->give_events_up();
}

// ---- turns and timers

// While a handle of the idle kind runs, the loop looks at the sockets again without waiting.
void Server::look_again() {
    uv_idle_start(&again_, [](uv_idle_t *) {});
}

void Server::end_of_look() {
    if (gathering_.goes_on(engine_.statistics().requests))
        return look_again();
    uv_idle_stop(&again_);
    end_a_rest();
    end_of_turn();
    if (!resting_.empty())
        look_again();
}

// One connection a turn goes on with what it has asked for, so that others never wait for the long work of many.
void Server::end_a_rest() {
    bool worked = false;
    while (!worked && !resting_.empty()) {
        Connection *const connection = resting_.front();
        resting_.pop_front();
        worked = connection->go_on();
    }
}

void Server::end_of_turn() {
    do {
        engine_.commit();
        for (Connection *connection : std::exchange(owing_, {}))
            connection->settle();
        if (!owing_.empty())
            continue;    // requests of leavers may still be handled
        close_leavers(); // locks that become free are news for others
        keep_within_bounds();
    } while (!owing_.empty() || !leaving_.empty());
    set_wait_timer();
}

void Server::set_wait_timer() {
    const std::uint64_t deadline = engine_.next_deadline().value_or(0);
    if (deadline == wait_deadline_)
        return;
    wait_deadline_ = deadline;
    if (deadline == 0) {
        uv_timer_stop(&wait_timer_);
        return;
    }
    uv_timer_start(
        &wait_timer_,
        [](uv_timer_t *h) {
            server_of(h).wait_deadline_ = 0;
            server_of(h).engine_.expire_waits();
            server_of(h).set_wait_timer();
        },
        deadline > now() ? deadline - now() : 0, 0);
}

void Server::keep_house() {
    for_each([this](Connection &connection) {
        const std::optional<std::string> why = connection.overdue(now());
        if (why && !connection.is_doomed())
            doom(connection, *why);
    });
    for (const auto &[key, connection] : datagrams_) {
        if (connection->waits_for_room())
            connection->resume(now());
    }
    for (LineBudget *const budget : budgets())
        budget->catch_up(now());
    if (end_deadline_ == 0)
        uv_poll_start(&listener_poll_, UV_READABLE, [](uv_poll_t *h, int, int) { server_of(h).accept_all(); });
}

// ---- the end

void Server::begin_end() {
    if (end_deadline_ != 0)
        return;
    end_deadline_ = now() + kLongestEnd;
    uv_poll_stop(&listener_poll_); // before its descriptor is closed
    stopping_();
    uv_timer_start(
        &end_timer_, [](uv_timer_t *h) { server_of(h).end_when_drained(); }, kEndInterval, kEndInterval);
    engine_.end_waits();
}

void Server::end_when_drained() {
    end_of_turn();
    bool drained = true;
    for_each([&drained](const Connection &connection) { drained = drained && connection.is_drained(); });
    if (!drained && now() < end_deadline_)
        return;
    close_everything();
}

void Server::close_everything() {
    for (const auto &[number, connection] : streams_)
        leaving_.push_back(number);
    close_leavers();
    datagrams_.clear();
    for (LineBudget *const budget : budgets())
        budget->finish();
    for (uv_handle_t *handle : handles_)
        uv_close(handle, nullptr);
    handles_.clear();
}

} // namespace varnel::daemon
