// SPDX-License-Identifier: MIT
#include "conversation/peer.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace conversation_tests {

namespace {

std::pair<Fd, Fd> socket_pair(int type) {
    int ends[2] = {-1, -1};
    if (socketpair(AF_UNIX, type | SOCK_CLOEXEC, 0, ends) != 0)
        throw std::system_error(errno, std::generic_category(), "socketpair");
    const int room = 1 << 20; // as far as the system allows: nobody reads while the other one writes
    for (const int end : ends)
        setsockopt(end, SOL_SOCKET, SO_SNDBUF, &room, sizeof room);
    return {Fd(ends[0]), Fd(ends[1])};
}

} // namespace

Peer::Peer(Milliseconds time, int type) : Peer(socket_pair(type), time) {}

Peer::Peer(std::pair<Fd, Fd> ends, Milliseconds time)
    : fd_(std::move(ends.first)), conversation_(std::move(ends.second), time) {}

void Peer::say(const Bytes &bytes) const {
    ASSERT_EQ(send(fd_.get(), bytes.data(), bytes.size(), MSG_DONTWAIT | MSG_NOSIGNAL),
              static_cast<ssize_t>(bytes.size()))
        << "more than the socket takes: say less beforehand";
}

Bytes Peer::heard() const {
    Bytes bytes;
    std::array<std::uint8_t, 4096> buffer{};
    for (;;) {
        const ssize_t count = recv(fd_.get(), buffer.data(), buffer.size(), MSG_DONTWAIT);
        if (count <= 0)
            return bytes;
        bytes.insert(bytes.end(), buffer.begin(), buffer.begin() + count);
    }
}

Process::Process(const std::function<void()> &body) : pid_(fork()) {
    if (pid_ != 0)
        return;
    body();
    _exit(0);
}

Process::~Process() {
    if (pid_ <= 0)
        return;
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
}

ErrorKind kind_thrown(const std::function<void()> &body, std::string *what) {
    try {
        body();
    } catch (const Error &error) {
        if (what != nullptr)
            *what = error.what();
        return error.kind();
    }
    ADD_FAILURE() << "no Error was thrown";
    return ErrorKind::refused;
}

Message get_request() {
    Message message(control_get);
    message.add("").add("lamps").add("hall");
    return message;
}

} // namespace conversation_tests
