// SPDX-License-Identifier: MIT
#include "common/sockets.h"

#include "common/failure.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace demo {

namespace {

constexpr std::uint16_t kFirstPort = 20000;
constexpr std::uint16_t kLastPort = 32767;

sockaddr_un unix_address(const char *path) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    const std::size_t size = std::strlen(path) + 1;
    if (size > sizeof address.sun_path)
        throw Failure(std::string("the path of the socket is too long: ") + path);
    std::memcpy(address.sun_path, path, size);
    return address;
}

Fd make_socket(int family, int type) {
    Fd fd(socket(family, type | SOCK_CLOEXEC, 0));
    if (fd.get() < 0)
        throw system_failure("cannot make a socket");
    return fd;
}

// The socket functions take every kind of address as a sockaddr.
template <class Address> const sockaddr *generic(const Address &address) {
    return reinterpret_cast<const sockaddr *>(&address);
}

} // namespace

Fd::~Fd() {
    if (fd_ >= 0)
        close(fd_);
}

Fd listen_at(const char *path) {
    const sockaddr_un address = unix_address(path);
    Fd fd = make_socket(AF_UNIX, SOCK_STREAM);
    if (bind(fd.get(), generic(address), sizeof address) != 0 || listen(fd.get(), 8) != 0)
        throw system_failure(std::string("cannot listen at ") + path);
    return fd;
}

Fd connect_to(const char *path) {
    const sockaddr_un address = unix_address(path);
    Fd fd = make_socket(AF_UNIX, SOCK_STREAM);
    if (connect(fd.get(), generic(address), sizeof address) != 0)
        throw system_failure(std::string("cannot connect to ") + path);
    return fd;
}

sockaddr_in loopback(std::uint16_t port) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

Fd bind_loopback() {
    Fd fd = make_socket(AF_INET, SOCK_DGRAM);
    const auto span = static_cast<unsigned>(kLastPort - kFirstPort + 1);
    const auto start = static_cast<unsigned>(getpid());
    for (unsigned i = 0; i < span; ++i) {
        const sockaddr_in address = loopback(static_cast<std::uint16_t>(kFirstPort + (start + i) % span));
        if (bind(fd.get(), generic(address), sizeof address) == 0)
            return fd;
        if (errno != EADDRINUSE)
            break;
    }
    throw system_failure("cannot bind a UDP port on loopback");
}

std::uint16_t port_of(const Fd &socket) {
    sockaddr_in address = {};
    socklen_t length = sizeof address;
    if (getsockname(socket.get(), reinterpret_cast<sockaddr *>(&address), &length) != 0)
        throw system_failure("cannot find the port of a socket");
    return ntohs(address.sin_port);
}

int parse_number(const char *text, int min, int max, const char *what) {
    char *end = nullptr;
    errno = 0;
    const long number = std::strtol(text, &end, 10);
    if (errno != 0 || end == text || *end != '\0' || number < min || number > max)
        throw Failure(std::string(what) + " must be a number from " + std::to_string(min) + " to " +
                      std::to_string(max) + ", not '" + text + "'");
    return static_cast<int>(number);
}

} // namespace demo
