// SPDX-License-Identifier: MIT
#include "client/session.h"

#include "common/failure.h"

#include <cerrno>
#include <cstring>
#include <poll.h>
#include <sys/socket.h>

namespace demo {

namespace {

constexpr int kMostMilliseconds = 10000;

void wait_for_bytes(int fd) {
    pollfd waiting{fd, POLLIN, 0};
    int ready = 0;
    do {
        ready = poll(&waiting, 1, kMostMilliseconds);
    } while (ready < 0 && errno == EINTR);
    if (ready < 0)
        throw system_failure("cannot wait for the server");
    if (ready == 0)
        throw Failure("the server does not answer");
}

} // namespace

std::uint32_t packets_for(std::size_t bytes) {
    return static_cast<std::uint32_t>((bytes + PACKET_PAYLOAD_MAX - 1) / PACKET_PAYLOAD_MAX);
}

Session Session::over_unix(const char *path) {
    Fd socket = connect_to(path);
    Conversation conversation(socket.get());
    return {std::move(socket), std::move(conversation), {}};
}

Session Session::over_udp(std::uint16_t server_port) {
    Fd socket = bind_loopback();
    const sockaddr_in server = loopback(server_port);
    Conversation conversation(socket.get(), server);
    return {std::move(socket), std::move(conversation), server};
}

std::optional<Delivery> Session::read_datagram() {
    std::uint8_t buffer[PACKET_SIZE];
    sockaddr_in peer = {};
    socklen_t length = sizeof peer;
    const ssize_t n = recvfrom(socket_.get(), buffer, sizeof buffer, MSG_DONTWAIT | MSG_TRUNC,
                               reinterpret_cast<sockaddr *>(&peer), &length);
    if (n < 0 && errno != EAGAIN && errno != EINTR)
        throw system_failure("cannot read from the server");
    const bool from_server = peer.sin_port == server_.sin_port && peer.sin_addr.s_addr == server_.sin_addr.s_addr;
    if (n <= 0 || !from_server)
        return std::nullopt;
    if (static_cast<std::size_t>(n) > conversation_.room())
        throw Failure("the server sent a datagram that is too long");
    return conversation_.take(buffer, static_cast<std::size_t>(n));
}

std::optional<Delivery> Session::read_some() {
    wait_for_bytes(socket_.get());
    if (server_.sin_port != 0)
        return read_datagram();
    std::optional<Delivery> delivery;
    if (!read_stream(socket_.get(), conversation_, delivery))
        throw Failure("the server closed the connection");
    return delivery;
}

Answer Session::ask(const Message &request) {
    const Bytes bytes = request.encode();
    const std::uint32_t acknowledged = conversation_.tally().acknowledgements;
    conversation_.send(bytes);
    std::optional<Delivery> delivery;
    while (!delivery)
        delivery = read_some();
    const std::uint32_t sent = conversation_.tally().acknowledgements - acknowledged + 1;
    Answer answer{Received(delivery->message), bytes.size(),      sent,
                  delivery->message.size(),    delivery->packets, delivery->last_packet};
    const std::string name = control_string(request.code());
    if (answer.message.code() != request.code())
        throw Failure(name + ": answered with " + control_string(answer.message.code()));
    if (sent != packets_for(bytes.size()) || answer.packets != packets_for(answer.bytes))
        throw Failure(name + ": took " + std::to_string(sent) + " packets there and " + std::to_string(answer.packets) +
                      " back");
    return answer;
}

std::string describe_result(std::int32_t result) {
    return result == 0 ? "0" : std::to_string(result) + " (" + std::strerror(-result) + ")";
}

void expect_value(const std::string &what, const xdata &value, const xdata &expected) {
    if (!identical(value, expected))
        throw Failure(what + ": expected " + describe(expected) + ", got " + describe(value));
}

} // namespace demo
