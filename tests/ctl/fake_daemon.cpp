// SPDX-License-Identifier: MIT
#include "ctl/fake_daemon.h"

#include "protocol/endpoint.h"
#include "protocol/limits.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <poll.h>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace ctl_tests {

using varnel::Fd;
using varnel::protocol::Endpoint;

namespace {

constexpr int kTurn = 2; // milliseconds

constexpr varnel::protocol::EndpointBounds kBounds = {varnel::protocol::kLargestMessage, 20000, 16};

} // namespace

std::string new_folder() {
    std::array<char, 64> path{};
    std::strcpy(path.data(), "/tmp/varnelctl-test-XXXXXX");
    if (mkdtemp(path.data()) == nullptr)
        throw std::runtime_error("cannot make a folder below /tmp");
    return path.data();
}

std::unique_ptr<Message> ok(std::uint32_t code) {
    auto message = std::make_unique<Message>(code);
    message->add(std::uint32_t{0});
    return message;
}

std::unique_ptr<Message> refusal(std::uint32_t code, Status status, const std::string &text) {
    auto message = std::make_unique<Message>(code);
    message->add(static_cast<std::uint32_t>(status)).add(text);
    return message;
}

class FakeDaemon::Connection final : private varnel::protocol::EndpointOwner {
public:
    Connection(FakeDaemon &daemon, Fd socket)
        : daemon_(daemon), socket_(std::move(socket)),
          endpoint_(client_new(CLIENT_STREAM, socket_.get(), nullptr), kBounds, *this) {}

    [[nodiscard]] int descriptor() const { return socket_.get(); }

    // False at the end.
    bool read() {
        std::array<std::uint8_t, 4096> buffer{};
        const ssize_t count = recv(socket_.get(), buffer.data(), endpoint_.space(), MSG_DONTWAIT);
        if (count > 0) {
            endpoint_.put(buffer.data(), static_cast<std::size_t>(count));
            endpoint_.proceed();
        }
        return count > 0 || (count < 0 && errno == EAGAIN);
    }

    void send(std::uint32_t id, const Message &message) { endpoint_.send(id, message.encode()); }

private:
    bool has_room() override { return true; } // the socket blocks

    void deliver(std::uint32_t id, Bytes &bytes) override {
        const Received request(bytes);
        daemon_.requests.emplace_back(control_string(request.code()));
        const std::unique_ptr<Message> answer = daemon_.handler_(request);
        if (answer != nullptr)
            send(id, *answer);
    }

    FakeDaemon &daemon_;
    Fd socket_;
    Endpoint endpoint_;
};

FakeDaemon::FakeDaemon(Handler handler) : folder_(new_folder()), handler_(std::move(handler)) {
    std::signal(SIGPIPE, SIG_IGN);
    listen_again();
}

FakeDaemon::~FakeDaemon() {
    std::filesystem::remove_all(folder_);
}

void FakeDaemon::listen_again() {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::strcpy(address.sun_path, path().c_str());
    listener_ = Fd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (bind(listener_.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0 ||
        listen(listener_.get(), 16) != 0)
        throw std::runtime_error("cannot listen at " + path());
}

void FakeDaemon::close_connections() {
    connections_.clear();
}

void FakeDaemon::stop_listening() {
    listener_ = Fd();
    unlink(path().c_str());
}

void FakeDaemon::serve() {
    std::vector<pollfd> waiting{{listener_.get(), POLLIN, 0}};
    for (const auto &connection : connections_)
        waiting.push_back({connection->descriptor(), POLLIN, 0});
    poll(waiting.data(), waiting.size(), kTurn);
    connections_.remove_if([](const auto &connection) { return !connection->read(); });
    const int accepted = accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC);
    if (accepted >= 0)
        connections_.push_back(std::make_unique<Connection>(*this, Fd(accepted)));
}

void FakeDaemon::send_event(const Message &event) {
    for (const auto &connection : connections_)
        connection->send(next_event_, event);
    ++next_event_;
}

} // namespace ctl_tests
