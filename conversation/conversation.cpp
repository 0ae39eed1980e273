// SPDX-License-Identifier: MIT
#include "conversation/conversation.h"

#include "protocol/limits.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <poll.h>
#include <sys/socket.h>

namespace varnel::conversation {

using protocol::Bytes;
using protocol::Malformed;
using protocol::Message;
using protocol::Received;
using protocol::Status;

namespace {

// The daemon is not trusted either. Unfinished messages: an answer, and every event that a daemon keeps for a client at
// its default limit.
constexpr protocol::EndpointBounds kBounds = {protocol::kLargestMessage,
                                              protocol::kLargestMessage / PACKET_PAYLOAD_MAX + 1, 1 + 256};

// Events that nobody takes while answers are awaited.
constexpr std::size_t kMostEvents = 65536;
constexpr std::size_t kMostEventBytes = protocol::kLargestMessage;

// How often a request travels over UDP when it may be repeated.
constexpr int kAttempts = 3;

// More than a packet, so that a datagram which is too long shows.
using ReadBuffer = std::array<std::uint8_t, std::size_t{2} * PACKET_SIZE>;

// What a program decided about the signal stays.
void ignore_broken_pipes() {
    struct sigaction action = {};
    if (sigaction(SIGPIPE, nullptr, &action) == 0 && action.sa_handler == SIG_DFL)
        std::signal(SIGPIPE, SIG_IGN);
}

} // namespace

Conversation::Conversation(Fd socket, const std::optional<sockaddr_in> &peer, Milliseconds time)
    : socket_(std::move(socket)), peer_(peer), time_(time) {
    ignore_broken_pipes();
    start_endpoint();
}

Conversation::Conversation(Fd stream, Milliseconds time) : Conversation(std::move(stream), std::nullopt, time) {}

std::unique_ptr<Conversation> Conversation::over_unix(const std::string &path, Milliseconds time) {
    return std::make_unique<Conversation>(connect_unix(path, Deadline::after(time)), time);
}

std::unique_ptr<Conversation> Conversation::over_udp(const std::string &host, std::uint16_t port, Milliseconds time) {
    const sockaddr_in peer = datagram_address(host, port);
    return std::unique_ptr<Conversation>(new Conversation(connect_udp(peer), peer, time));
}

void Conversation::start_endpoint() {
    client *const record = is_datagram() ? client_new(CLIENT_DATAGRAM, socket_.get(), &*peer_)
                                         : client_new(CLIENT_STREAM, socket_.get(), nullptr);
    protocol::EndpointOwner &owner = *this;
    endpoint_.emplace(record, kBounds, owner);
}

Wake Conversation::wait(short events, const Deadline &deadline) const {
    const Wake wake = wait_for(socket_.get(), events, interrupt_, deadline);
    if (wake == Wake::interrupted)
        throw Error(ErrorKind::interrupted, "interrupted");
    return wake;
}

bool Conversation::has_room() {
    return wait_for(socket_.get(), POLLOUT, -1, Deadline::after(Milliseconds(0))) == Wake::ready;
}

void Conversation::deliver(std::uint32_t id, Bytes &bytes) {
    const std::size_t size = bytes.size();
    Received message(bytes);
    if (id >= protocol::kFirstEventId) {
        if (events_.size() == kMostEvents || event_bytes_ + size > kMostEventBytes)
            throw Malformed("more events than can be kept");
        events_.push_back({std::move(message), size});
        event_bytes_ += size;
        return;
    }
    if (id == 0 || id >= next_id_)
        throw Malformed("an answer to request " + std::to_string(id) + ", which was not asked");
    if (id >= first_awaited_ && !answer_)
        answer_ = std::move(message);
}

// Whoever sends from the daemon's address may have sent what is broken: it is as if it had been lost.
void Conversation::forget_broken_datagram(const Malformed &reason) const {
    if (!is_datagram())
        throw Error(ErrorKind::malformed, std::string("the daemon's bytes make no sense: ") + reason.what());
}

void Conversation::handle_packets(const Deadline &deadline) {
    try {
        while (!endpoint_->proceed()) {
            if (wait(POLLOUT, deadline) == Wake::timed_out)
                throw Error(ErrorKind::timed_out, "the daemon does not read what it is sent");
        }
    } catch (const Malformed &reason) {
        forget_broken_datagram(reason);
    }
    if (is_datagram())
        endpoint_->forget_rest();
}

// 0 when there is nothing to read after all.
std::size_t Conversation::read_some(std::uint8_t *data, std::size_t size) {
    const ssize_t count = recv(socket_.get(), data, size, MSG_DONTWAIT);
    if (count > 0)
        return static_cast<std::size_t>(count);
    if (count == 0 && is_datagram())
        return 0; // an empty datagram
    if (count == 0)
        throw Error(ErrorKind::connection_lost, "the daemon closed the connection");
    if (errno == EAGAIN || errno == EINTR)
        return 0;
    if (errno == ECONNREFUSED)
        throw system_error(ErrorKind::cannot_connect, "nobody listens at the UDP address");
    throw system_error(ErrorKind::connection_lost, "the connection broke");
}

// False when nothing came in time.
bool Conversation::receive(const Deadline &deadline) {
    if (wait(POLLIN, deadline) == Wake::timed_out)
        return false;
    ReadBuffer buffer;
    const std::size_t most = is_datagram() ? buffer.size() : std::min(buffer.size(), endpoint_->space());
    const std::size_t count = read_some(buffer.data(), most);
    if (count == 0 || (is_datagram() && count > PACKET_SIZE))
        return true;
    endpoint_->put(buffer.data(), count);
    handle_packets(deadline);
    return true;
}

// What an earlier datagram brought back is reported here, not as a failure to send this one.
static void check_datagram_socket(int fd) {
    socklen_t size = sizeof errno;
    int number = 0;
    if (getsockopt(fd, SOL_SOCKET, SO_ERROR, &number, &size) == 0 && number != 0) {
        errno = number;
        throw system_error(ErrorKind::cannot_connect, "the UDP address cannot be reached");
    }
}

void Conversation::send(std::uint32_t id, const Bytes &bytes, const Deadline &deadline) {
    if (wait(POLLOUT, deadline) == Wake::timed_out)
        throw Error(ErrorKind::timed_out, "the daemon does not read what it is sent");
    if (is_datagram())
        check_datagram_socket(socket_.get());
    if (!endpoint_->send(id, bytes))
        throw Error(ErrorKind::connection_lost, "the request cannot be sent");
}

bool Conversation::await_answer(const Deadline &deadline) {
    while (!answer_) {
        if (!receive(deadline) || (!answer_ && deadline.passed()))
            return false;
    }
    return true;
}

Received Conversation::take_answer(std::uint32_t code) {
    Received answer = std::move(*answer_);
    answer_.reset();
    first_awaited_ = next_id_;
    if (answer.code() != code)
        throw Error(ErrorKind::malformed, std::string("the daemon answered ") + control_string(code) + " with " +
                                              control_string(answer.code()));
    return answer;
}

Received Conversation::ask(const Message &message, Repeat repeat, Milliseconds extra) {
    const Bytes bytes = message.encode();
    if (bytes.size() > protocol::kLargestMessage)
        throw Error(Status::too_large, "a request of more than 16 MiB");
    const int attempts = is_datagram() && repeat == Repeat::harmless ? kAttempts : 1;
    first_awaited_ = next_id_;
    answer_.reset();
    for (int attempt = 0; attempt < attempts; ++attempt) {
        if (next_id_ == protocol::kFirstEventId)
            throw Error(ErrorKind::connection_lost, "all numbers of requests are used up: connect anew");
        if (attempt > 0)
            start_endpoint(); // what is left of the request before is of no use
        const Deadline deadline = Deadline::after(time_ / attempts + extra);
        send(next_id_++, bytes, deadline);
        if (await_answer(deadline))
            return take_answer(message.code());
    }
    first_awaited_ = next_id_;
    throw Error(ErrorKind::timed_out, std::string("no answer to ") + control_string(message.code()) + " in time");
}

Received Conversation::request(const Message &message, Repeat repeat, Milliseconds extra) {
    Received answer = ask(message, repeat, extra);
    try {
        const std::uint32_t status = answer.uint32(0);
        if (status == static_cast<std::uint32_t>(Status::ok))
            return answer;
        throw Error(static_cast<Status>(status), std::string(answer.text(1)));
    } catch (const Malformed &reason) {
        throw Error(ErrorKind::malformed, std::string("the daemon's answer makes no sense: ") + reason.what());
    }
}

std::optional<Received> Conversation::next_event(const Deadline &deadline) {
    while (events_.empty()) {
        if (!receive(deadline) || (events_.empty() && deadline.passed()))
            return std::nullopt;
    }
    Received event = std::move(events_.front().message);
    event_bytes_ -= events_.front().size;
    events_.pop_front();
    return event;
}

} // namespace varnel::conversation
