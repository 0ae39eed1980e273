// SPDX-License-Identifier: MIT
#include "daemon/socket.h"

#include "common/setting_text.h"
#include "daemon/log.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <grp.h>
#include <poll.h>
#include <pwd.h>
#include <stdexcept>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>
#include <varnel/transport.h>

namespace varnel::daemon {

namespace {

constexpr int kBacklog = 511;

[[noreturn]] void fail(const std::string &what) {
    throw std::runtime_error(what + ": " + std::strerror(errno));
}

sockaddr_un address_of(const std::string &path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.empty() || path.size() >= sizeof address.sun_path)
        throw std::runtime_error("socket " + path + ": the path has none or more than " +
                                 std::to_string(sizeof address.sun_path - 1) + " characters");
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    return address;
}

// The lock is what tells a living daemon from a socket that a dead one has left. Its file stays: removing it would let
// two daemons hold locks on two files of the same name.
Fd take_lock(const std::string &path) {
    Fd lock(open((path + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
    if (!lock)
        fail("cannot open " + path + ".lock");
    if (flock(lock.get(), LOCK_EX | LOCK_NB) == 0)
        return lock;
    if (errno == EWOULDBLOCK)
        throw std::runtime_error("another daemon serves " + path);
    fail("cannot lock " + path + ".lock");
}

void remove_stale(const std::string &path) {
    struct stat status {};
    if (lstat(path.c_str(), &status) != 0)
        return;
    if (!S_ISSOCK(status.st_mode))
        throw std::runtime_error(path + " is there and is no socket");
    log_info("removing the socket that an earlier daemon has left: " + path);
    if (unlink(path.c_str()) != 0)
        fail("cannot remove " + path);
}

bool parse_id(const std::string &text, unsigned *id) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), *id);
    return error == std::errc() && end == text.data() + text.size();
}

uid_t user_of(const std::string &name) {
    auto id = static_cast<unsigned>(-1); // chown leaves it as it is
    if (name.empty() || parse_id(name, &id))
        return id;
    const passwd *const entry = getpwnam(name.c_str());
    if (entry == nullptr)
        throw std::runtime_error("there is no user " + name);
    return entry->pw_uid;
}

gid_t group_of(const std::string &name) {
    auto id = static_cast<unsigned>(-1);
    if (name.empty() || parse_id(name, &id))
        return id;
    const group *const entry = getgrnam(name.c_str());
    if (entry == nullptr)
        throw std::runtime_error("there is no group " + name);
    return entry->gr_gid;
}

// The socket gets its owner and mode before anybody can connect: connecting needs listen.
Fd listen_at(const SocketSettings &settings) {
    const sockaddr_un address = address_of(settings.path);
    const uid_t user = user_of(settings.owner);
    const gid_t group = group_of(settings.group);
    Fd fd(socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    if (!fd || bind(fd.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0)
        fail("cannot make the socket " + settings.path);
    if (!(settings.owner.empty() && settings.group.empty()) && chown(settings.path.c_str(), user, group) != 0)
        fail("cannot give " + settings.path + " to " + settings.owner + ":" + settings.group);
    if (chmod(settings.path.c_str(), settings.mode) != 0 || listen(fd.get(), kBacklog) != 0)
        fail("cannot listen on " + settings.path);
    return fd;
}

} // namespace

Listener::Listener(const SocketSettings &settings) : path_(settings.path) {
    address_of(path_);                                              // before anything is made
    make_folders(std::filesystem::path(path_).parent_path(), 0755); // who may connect is the socket's to say
    lock_ = take_lock(path_);
    remove_stale(path_);
    socket_ = listen_at(settings);
}

void Listener::stop() {
    if (socket_)
        unlink(path_.c_str());
    socket_ = Fd();
}

Listener::~Listener() {
    stop();
}

sockaddr_in udp_address(const std::string &text) {
    const std::optional<UdpAddress> parsed = parse_udp_address(text);
    if (!parsed)
        throw std::runtime_error("\"" + text +
                                 "\" is no ADDRESS:PORT or PORT, with an IPv4 address and a port from 1 to 32767");
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(parsed->address);
    address.sin_port = htons(parsed->port);
    return address;
}

Fd bind_udp(const std::string &address) {
    const sockaddr_in where = udp_address(address);
    Fd fd(socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    if (!fd || bind(fd.get(), reinterpret_cast<const sockaddr *>(&where), sizeof where) != 0)
        fail("cannot bind UDP " + address);
    return fd;
}

std::uint32_t packets_per_readiness(int fd) {
    // Linux calls a socket writable when a half of its send buffer or more is free; a packet takes less than four times
    // its size of it.
    int size = 0;
    socklen_t length = sizeof size;
    if (getsockopt(fd, SOL_SOCKET, SO_SNDBUF, &size, &length) != 0)
        return 1;
    return static_cast<std::uint32_t>(std::max(size / 2 / (4 * PACKET_SIZE), 1));
}

bool is_writable(int fd) {
    pollfd question{fd, POLLOUT, 0};
    return poll(&question, 1, 0) == 1 && (question.revents & POLLOUT) != 0;
}

std::string name_of_peer(const sockaddr_in &peer) {
    char host[INET_ADDRSTRLEN] = "?";
    inet_ntop(AF_INET, &peer.sin_addr, host, sizeof host);
    return std::string(host) + ":" + std::to_string(ntohs(peer.sin_port));
}

std::optional<ucred> credentials_of(int fd) {
    ucred peer{};
    socklen_t length = sizeof peer;
    return getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &length) == 0 ? std::optional(peer) : std::nullopt;
}

std::string peer_of(int fd) {
    const std::optional<ucred> peer = credentials_of(fd);
    if (!peer)
        return "unknown";
    return "pid " + std::to_string(peer->pid) + ", user " + std::to_string(peer->uid) + ", group " +
           std::to_string(peer->gid);
}

} // namespace varnel::daemon
