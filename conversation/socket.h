// SPDX-License-Identifier: MIT
// Sockets that lead to the daemon, and waiting for them.
#pragma once

#include "conversation/deadline.h"

#include <cstdint>
#include <netinet/in.h>
#include <string>
#include <utility>

namespace varnel::conversation {

// Owns a descriptor.
class Fd {
public:
    explicit Fd(int fd = -1) : fd_(fd) {}
    Fd(const Fd &) = delete;
    Fd &operator=(const Fd &) = delete;
    Fd(Fd &&other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    Fd &operator=(Fd &&other) noexcept {
        std::swap(fd_, other.fd_);
        return *this;
    }
    ~Fd();
    [[nodiscard]] int get() const { return fd_; }

private:
    int fd_;
};

// A blocking stream socket connected to that path, close-on-exec. Otherwise Error: cannot_connect, or timed_out when
// the daemon's queue of connections stays full.
Fd connect_unix(const std::string &path, const Deadline &deadline);

// The IPv4 address of a host's name and a port from 1 to 32767: peers with a higher one are answered at the wrong
// address (varnel/transport.h). Error cannot_connect when there is none.
sockaddr_in datagram_address(const std::string &host, std::uint16_t port);

// A datagram socket at a random free port from 1024 to 32767, that hears and reaches this peer only.
Fd connect_udp(const sockaddr_in &peer);

enum class Wake : std::uint8_t { ready, timed_out, interrupted };

// Waits until fd is ready for events (poll(2)), or broken, or interrupt is readable (-1: nothing interrupts).
Wake wait_for(int fd, short events, int interrupt, const Deadline &deadline);

} // namespace varnel::conversation
