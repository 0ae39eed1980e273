// SPDX-License-Identifier: MIT
#include "daemon/log.h"
#include "daemon/server.h"

#include <cerrno>
#include <sys/socket.h>
#include <utility>

namespace varnel::daemon {

namespace {

constexpr std::size_t kReadSize = std::size_t{4} * PACKET_SIZE;

std::string description_of(ConnectionNumber number, int fd) {
    return "connection " + std::to_string(number) + " (" + peer_of(fd) + ")";
}

} // namespace

StreamConnection::StreamConnection(Server &server, Engine &engine, ConnectionNumber number, Fd fd)
    : Connection(engine, server, number, description_of(number, fd.get()),
                 client_new(CLIENT_STREAM, fd.get(), nullptr)),
      server_(server), fd_(std::move(fd)), packets_per_readiness_(varnel::daemon::packets_per_readiness(fd_.get())) {
    uv_poll_init(&server.loop(), &poll_, fd_.get());
    poll_.data = this;
    StreamConnection::watch(); // the one of this class: there is no other yet
}

void StreamConnection::retire(std::unique_ptr<StreamConnection> connection) {
    connection->part();
    auto *const handle = reinterpret_cast<uv_handle_t *>(&connection->poll_);
    static_cast<void>(connection.release()); // the callback's now
    uv_close(handle, [](uv_handle_t *closed) { delete static_cast<StreamConnection *>(closed->data); });
}

void StreamConnection::watch() {
    // While it waits for room, a connection reads nothing either: the client's next requests stay in the socket.
    const int readable = may_read() ? UV_READABLE : 0;
    const int wanted = waits_for_room() ? UV_WRITABLE : readable;
    if (wanted == watched_)
        return;
    watched_ = wanted;
    if (wanted == 0) {
        uv_poll_stop(&poll_);
        return;
    }
    uv_poll_start(&poll_, wanted, [](uv_poll_t *poll, int status, int events) {
        auto *const connection = static_cast<StreamConnection *>(poll->data);
        if (status < 0)
            connection->server_.leave(*connection);
        else
            connection->on_ready(events);
    });
}

void StreamConnection::on_ready(int events) {
    if (is_doomed())
        return;
    if ((events & UV_WRITABLE) != 0)
        resume(server_.now());
    if ((events & UV_READABLE) != 0 && may_read())
        read_some();
    watch();
}

void StreamConnection::read_some() {
    std::uint8_t buffer[kReadSize];
    const ssize_t n = recv(fd_.get(), buffer, std::min(space(), sizeof buffer), 0);
    if (n > 0)
        receive(buffer, static_cast<std::size_t>(n), server_.now());
    else if (n == 0 || (errno != EAGAIN && errno != EINTR))
        server_.leave(*this);
}

bool StreamConnection::take_room() {
    if (room_ == 0 && is_writable(fd_.get()))
        room_ = packets_per_readiness_;
    if (room_ == 0)
        return false;
    --room_;
    return true;
}

DatagramConnection::DatagramConnection(Server &server, Engine &engine, ConnectionNumber number, int fd,
                                       const sockaddr_in &peer)
    : Connection(engine, server, number, "connection " + std::to_string(number) + " (UDP " + name_of_peer(peer) + ")",
                 client_new(CLIENT_DATAGRAM, fd, &peer)),
      fd_(fd) {}

} // namespace varnel::daemon
