// SPDX-License-Identifier: MIT
// The daemon's sockets.
#pragma once

#include "daemon/file.h"

#include <cstdint>
#include <netinet/in.h>
#include <optional>
#include <string>
#include <sys/socket.h>
#include <sys/types.h>

namespace varnel::daemon {

struct SocketSettings {
    std::string path;
    mode_t mode = 0660;
    std::string owner; // name or number; empty: the daemon's own
    std::string group;
};

// A listening UNIX socket, and what keeps a second daemon from the same path.
class Listener {
public:
    // Makes the socket, in place of one that a daemon has left behind. std::runtime_error when another daemon serves
    // the path, something else than a socket is there, or it cannot be made.
    explicit Listener(const SocketSettings &settings);
    Listener(const Listener &) = delete;
    Listener &operator=(const Listener &) = delete;

    // Stops listening and removes the socket. The path stays reserved as long as the object lives, so that the next
    // daemon does not begin before this one has closed its storage.
    void stop();

    // Stops, too.
    ~Listener();

    [[nodiscard]] int get() const { return socket_.get(); }

private:
    std::string path_;
    Fd lock_;
    Fd socket_;
};

// A non-blocking UDP socket at "ADDRESS:PORT" or "PORT" (on loopback), IPv4. std::runtime_error when it cannot be had.
Fd bind_udp(const std::string &address);

// Reads "ADDRESS:PORT" or "PORT" as above.
sockaddr_in udp_address(const std::string &text);

// Packets that may be written after the socket has said that it is writable, without asking again.
std::uint32_t packets_per_readiness(int fd);

// Whether the socket says that it is writable.
bool is_writable(int fd);

// "192.0.2.1:4711".
std::string name_of_peer(const sockaddr_in &peer);

// The process at the other end of a UNIX socket, as it was when it connected; nothing when the system does not tell.
std::optional<ucred> credentials_of(int fd);

// "pid 1234, user 0, group 0" of the other end of a UNIX socket.
std::string peer_of(int fd);

} // namespace varnel::daemon
