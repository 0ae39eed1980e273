// SPDX-License-Identifier: MIT
#include "conversation/socket.h"

#include "conversation/error.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <netdb.h>
#include <poll.h>
#include <random>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace varnel::conversation {

namespace {

constexpr int kFirstPort = 1024;
constexpr int kLastPort = 32767; // varnel/transport.h says why
constexpr int kPortAttempts = 500;
constexpr int kFullQueuePause = 10; // milliseconds

// The socket functions take every kind of address as a sockaddr.
template <class Address> const sockaddr *generic(const Address &address) {
    return reinterpret_cast<const sockaddr *>(&address);
}

Fd make_socket(int family, int type) {
    Fd fd(socket(family, type | SOCK_CLOEXEC, 0));
    if (!fd)
        throw system_error(ErrorKind::cannot_connect, "cannot make a socket");
    return fd;
}

sockaddr_un unix_address(const std::string &path) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (path.empty() || path.size() >= sizeof address.sun_path)
        throw Error(ErrorKind::cannot_connect, "the path of a socket has 1 to " +
                                                   std::to_string(sizeof address.sun_path - 1) + " bytes: '" + path +
                                                   "'");
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    return address;
}

// Writes are to block: the library's writing functions cannot cope with a socket that would.
void make_blocking(const Fd &fd) {
    const int flags = fcntl(fd.get(), F_GETFL);
    if (flags < 0 || fcntl(fd.get(), F_SETFL, flags & ~O_NONBLOCK) != 0)
        throw system_error(ErrorKind::cannot_connect, "cannot prepare a socket");
}

} // namespace

// A full queue of connections would block connect without end: it is asked without blocking, again and again.
Fd connect_unix(const std::string &path, const Deadline &deadline) {
    const sockaddr_un address = unix_address(path);
    Fd fd = make_socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK);
    while (connect(fd.get(), generic(address), sizeof address) != 0) {
        if (errno != EAGAIN && errno != EINTR)
            throw system_error(ErrorKind::cannot_connect, "cannot connect to " + path);
        if (deadline.passed())
            throw Error(ErrorKind::timed_out, "no connection to " + path + " in time: too many wait there");
        poll(nullptr, 0, kFullQueuePause);
    }
    make_blocking(fd);
    return fd;
}

sockaddr_in datagram_address(const std::string &host, std::uint16_t port) {
    if (port == 0 || port > kLastPort)
        throw Error(ErrorKind::cannot_connect, "port " + std::to_string(port) + " is not from 1 to 32767");
    addrinfo hints = {};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_DGRAM;
    addrinfo *found = nullptr;
    if (const int result = getaddrinfo(host.c_str(), nullptr, &hints, &found); result != 0)
        throw Error(ErrorKind::cannot_connect, "no address of host '" + host + "': " + gai_strerror(result));
    const std::unique_ptr<addrinfo, void (*)(addrinfo *)> owner(found, freeaddrinfo);
    sockaddr_in address = {};
    std::memcpy(&address, found->ai_addr, sizeof address);
    address.sin_port = htons(port);
    return address;
}

Fd connect_udp(const sockaddr_in &peer) {
    Fd fd = make_socket(AF_INET, SOCK_DGRAM);
    std::random_device source;
    std::uniform_int_distribution<int> ports(kFirstPort, kLastPort);
    sockaddr_in own = {};
    own.sin_family = AF_INET;
    for (int attempt = 1;; ++attempt) {
        own.sin_port = htons(static_cast<std::uint16_t>(ports(source)));
        if (bind(fd.get(), generic(own), sizeof own) == 0)
            break;
        if (errno != EADDRINUSE || attempt == kPortAttempts)
            throw system_error(ErrorKind::cannot_connect, "cannot bind a UDP port from 1024 to 32767");
    }
    if (connect(fd.get(), generic(peer), sizeof peer) != 0)
        throw system_error(ErrorKind::cannot_connect, "cannot reach the UDP address");
    return fd;
}

Wake wait_for(int fd, short events, int interrupt, const Deadline &deadline) {
    pollfd waiting[] = {{fd, events, 0}, {interrupt, POLLIN, 0}}; // poll ignores negative descriptors
    for (;;) {
        const int count = poll(waiting, 2, deadline.poll_time());
        if (count < 0 && errno != EINTR)
            throw system_error(ErrorKind::connection_lost, "cannot wait for the connection");
        if (count > 0 && waiting[1].revents != 0)
            return Wake::interrupted;
        if (count > 0)
            return Wake::ready;
        if (deadline.passed())
            return Wake::timed_out;
    }
}

} // namespace varnel::conversation
