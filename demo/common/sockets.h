// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <netinet/in.h>
#include <utility>

namespace demo {

// Owns a descriptor.
class Fd {
public:
    explicit Fd(int fd) : fd_(fd) {}
    Fd(const Fd &) = delete;
    Fd &operator=(const Fd &) = delete;
    Fd(Fd &&other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    Fd &operator=(Fd &&) = delete;
    ~Fd();
    [[nodiscard]] int get() const { return fd_; }

private:
    int fd_;
};

// Each of these works, or is a Failure. Sockets are close-on-exec.
Fd listen_at(const char *path); // path must not exist yet
Fd connect_to(const char *path);

// A UDP socket on loopback, at a port below 32768: with a higher one, answers would go to the address one below.
Fd bind_loopback();
std::uint16_t port_of(const Fd &socket);
sockaddr_in loopback(std::uint16_t port);

// A number from min to max in text, all of it; else a Failure that names what.
int parse_number(const char *text, int min, int max, const char *what);

} // namespace demo
