// SPDX-License-Identifier: MIT
#include "peer.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <netinet/in.h>
#include <poll.h>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace varnel::test {

namespace {

constexpr char kMagic[] = {'V', 'A', 'R', 'N', 'E', 'L'};
constexpr std::size_t kHeader = 22;
constexpr std::size_t kPayload = 1002;

void put_word(Bytes &bytes, std::uint32_t word) {
    for (int shift = 24; shift >= 0; shift -= 8)
        bytes.push_back(static_cast<std::uint8_t>(word >> shift));
}

std::uint32_t word_at(const Bytes &bytes, std::size_t offset) {
    return std::uint32_t{bytes[offset]} << 24 | std::uint32_t{bytes[offset + 1]} << 16 |
           std::uint32_t{bytes[offset + 2]} << 8 | bytes[offset + 3];
}

Bytes header(std::uint32_t id, std::uint32_t count, std::uint32_t index, std::uint32_t length) {
    Bytes bytes(std::begin(kMagic), std::end(kMagic));
    for (const std::uint32_t word : {id, count, index, length})
        put_word(bytes, word);
    return bytes;
}

sockaddr_in loopback(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    return address;
}

// Ports that the system gives out by itself are mostly above those that the transport can name.
void bind_below_32768(int fd) {
    for (std::uint16_t port = 20000; port < 32768; ++port) {
        const sockaddr_in address = loopback(port);
        if (bind(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0)
            return;
    }
    fail_with_errno("no free port");
}

} // namespace

Bytes encode(const Packet &packet) {
    Bytes bytes = header(packet.id, packet.count, packet.index, static_cast<std::uint32_t>(packet.payload.size()));
    bytes.insert(bytes.end(), packet.payload.begin(), packet.payload.end());
    return bytes;
}

Bytes acknowledgement(std::uint32_t id, std::uint32_t index) {
    return header(id, 0, index, 0);
}

Packet packet_of(std::uint32_t id, const Bytes &message, std::uint32_t index) {
    const auto count = static_cast<std::uint32_t>((message.size() + kPayload - 1) / kPayload);
    const std::size_t first = (index - 1) * kPayload;
    const std::size_t last = std::min(message.size(), first + kPayload);
    return {id, count, index, Bytes(message.data() + first, message.data() + last)};
}

Status status_of(const Received &answer) {
    return static_cast<Status>(answer.uint32(0));
}

Peer Peer::over_unix(const std::string &path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    Peer peer(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (connect(peer.fd_, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0)
        fail_with_errno("connect");
    return peer;
}

Peer Peer::over_udp(std::uint16_t port, std::uint16_t own) {
    Peer peer(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    const sockaddr_in here = loopback(own);
    if (own == 0)
        bind_below_32768(peer.fd_);
    else if (bind(peer.fd_, reinterpret_cast<const sockaddr *>(&here), sizeof here) != 0)
        fail_with_errno("bind");
    const sockaddr_in there = loopback(port);
    if (connect(peer.fd_, reinterpret_cast<const sockaddr *>(&there), sizeof there) != 0)
        fail_with_errno("connect");
    return peer;
}

Peer::~Peer() {
    if (fd_ >= 0)
        close(fd_);
}

bool Peer::waits(short events, const Deadline &deadline) const {
    pollfd question{fd_, events, 0};
    int ready;
    do {
        ready = poll(&question, 1, deadline.poll_time());
    } while (ready < 0 && errno == EINTR);
    return ready == 1;
}

std::size_t Peer::send_some(const Bytes &bytes) {
    const ssize_t n = ::send(fd_, bytes.data(), bytes.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    return n > 0 ? static_cast<std::size_t>(n) : 0;
}

bool Peer::send(const Bytes &bytes, const Deadline &deadline) {
    for (std::size_t done = 0; done < bytes.size();) {
        if (!waits(POLLOUT, deadline))
            return false;
        const ssize_t n = ::send(fd_, bytes.data() + done, bytes.size() - done, MSG_DONTWAIT | MSG_NOSIGNAL);
        if (n < 0 && errno != EAGAIN && errno != EINTR)
            return false;
        done += n > 0 ? static_cast<std::size_t>(n) : 0;
    }
    return true;
}

void Peer::finish_sending() {
    shutdown(fd_, SHUT_WR);
}

bool Peer::read_more(const Deadline &deadline) {
    std::uint8_t buffer[65536];
    if (!waits(POLLIN, deadline))
        return false;
    const ssize_t n = recv(fd_, buffer, sizeof buffer, 0);
    if (n <= 0)
        return false;
    waiting_.insert(waiting_.end(), buffer, buffer + n);
    return true;
}

std::optional<Packet> Peer::next_packet(const Deadline &deadline) {
    while (waiting_.size() < kHeader || waiting_.size() < kHeader + word_at(waiting_, 18)) {
        if (!read_more(deadline))
            return std::nullopt;
    }
    if (!std::equal(std::begin(kMagic), std::end(kMagic), waiting_.begin()))
        throw std::runtime_error("the daemon sent what is no packet");
    const auto end = waiting_.begin() + static_cast<std::ptrdiff_t>(kHeader + word_at(waiting_, 18));
    Packet packet{word_at(waiting_, 6), word_at(waiting_, 10), word_at(waiting_, 14),
                  Bytes(waiting_.begin() + static_cast<std::ptrdiff_t>(kHeader), end)};
    waiting_.erase(waiting_.begin(), end);
    return packet;
}

bool Peer::is_closed(const Deadline &deadline) {
    std::uint8_t buffer[65536];
    while (waits(POLLIN, deadline)) {
        const ssize_t n = recv(fd_, buffer, sizeof buffer, 0);
        if (n == 0 || (n < 0 && errno == ECONNRESET))
            return true;
    }
    return false;
}

std::optional<Packet> Peer::receive(const Deadline &deadline) {
    if (aside_.empty())
        return next_packet(deadline);
    Packet packet = std::move(aside_.front());
    aside_.pop_front();
    return packet;
}

void Peer::send_message(std::uint32_t id, const Bytes &message) {
    const std::uint32_t count = packet_of(id, message, 1).count;
    for (std::uint32_t index = 1; index <= count; ++index) {
        if (!send(encode(packet_of(id, message, index))))
            throw std::runtime_error("the daemon takes no packet");
        while (index < count) {
            std::optional<Packet> packet = next_packet(patience());
            if (!packet)
                throw std::runtime_error("packet " + std::to_string(index) + " is not acknowledged");
            if (packet->count == 0 && packet->id == id && packet->index == index)
                break;
            aside_.push_back(std::move(*packet));
        }
    }
}

Received Peer::receive_message(std::uint32_t *id) {
    for (;;) {
        const std::optional<Packet> packet = receive();
        if (!packet)
            throw std::runtime_error("no packet comes");
        Bytes &message = unfinished_[packet->id];
        if (packet->index != message.size() / kPayload + 1 || packet->index > packet->count)
            throw std::runtime_error("packet " + std::to_string(packet->index) + " comes out of turn");
        message.insert(message.end(), packet->payload.begin(), packet->payload.end());
        if (packet->index == packet->count) {
            Bytes whole = std::move(message);
            unfinished_.erase(packet->id);
            if (id != nullptr)
                *id = packet->id;
            return Received(whole);
        }
        if (!send(acknowledgement(packet->id, packet->index)))
            throw std::runtime_error("the daemon takes no acknowledgement");
    }
}

Received Peer::ask(std::uint32_t id, const Message &request) {
    send_message(id, request.encode());
    std::uint32_t answered = 0;
    Received answer = receive_message(&answered);
    if (answered != id)
        throw std::runtime_error("the answer to " + std::to_string(id) + " came as " + std::to_string(answered));
    return answer;
}

} // namespace varnel::test
