// SPDX-License-Identifier: MIT
// Datagram sockets on the loopback network.
#pragma once

#include "wire.h"

#include <arpa/inet.h>

inline sockaddr_in inet_address(const char *host, uint16_t port) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = inet_addr(host);
    return address;
}
inline sockaddr_in loopback(uint16_t port) {
    return inet_address("127.0.0.1", port);
}

class Udp {
public:
    static Udp unbound() { return Udp(socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK, 0)); }

    // Bound to a free port of the range [first, last].
    static Udp bound(const char *host, uint16_t first, uint16_t last) {
        Udp udp = unbound();
        for (uint32_t port = first; port <= last; ++port) {
            const sockaddr_in address = inet_address(host, static_cast<uint16_t>(port));
            if (bind(udp.fd(), reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0)
                return udp;
        }
        ADD_FAILURE() << "no free port on " << host;
        return udp;
    }
    static Udp bound_low(const char *host) { return bound(host, 21000, 32767); }
    static Udp bound_high(const char *host) { return bound(host, 32768, 65535); }

    [[nodiscard]] int fd() const { return descriptor_.get(); }

    [[nodiscard]] sockaddr_in address() const {
        sockaddr_in address = {};
        socklen_t size = sizeof address;
        EXPECT_EQ(getsockname(fd(), reinterpret_cast<sockaddr *>(&address), &size), 0);
        return address;
    }
    [[nodiscard]] uint16_t port() const { return ntohs(address().sin_port); }

    void send(const Bytes &bytes, const sockaddr_in &to) const {
        const ssize_t sent =
            ::sendto(fd(), bytes.data(), bytes.size(), 0, reinterpret_cast<const sockaddr *>(&to), sizeof to);
        EXPECT_EQ(sent, static_cast<ssize_t>(bytes.size()));
    }
    // The datagram that is waiting, if one is.
    [[nodiscard]] std::optional<Bytes> receive() const {
        uint8_t buffer[2048];
        const ssize_t got = ::recv(fd(), buffer, sizeof buffer, 0);
        if (got < 0)
            return std::nullopt;
        return Bytes(buffer, buffer + got);
    }

private:
    explicit Udp(int fd) : descriptor_(fd) { EXPECT_GE(fd, 0); }

    Descriptor descriptor_;
};
