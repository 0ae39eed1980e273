// SPDX-License-Identifier: MIT
// The demo's server: loads a configuration file, opens its storage modules and serves the layers over a UNIX stream
// socket and over UDP on loopback, until a client asks it to stop.
#include "common/conversation.h"
#include "common/failure.h"
#include "common/sockets.h"
#include "server/requests.h"
#include "server/store.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <list>
#include <map>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

namespace {

using namespace demo;

constexpr unsigned kMostSeconds = 60;
constexpr std::size_t kMostDatagramPeers = 8;

class Server {
public:
    Server(const Store &store, const char *socket_path)
        : store_(store), listener_(listen_at(socket_path)), datagrams_(bind_loopback()) {}

    [[nodiscard]] std::uint16_t udp_port() const { return port_of(datagrams_); }
    void run();

private:
    struct Connection {
        explicit Connection(int fd) : socket(fd), conversation(fd) {}
        Fd socket;
        Conversation conversation;
    };

    void accept_connection();
    bool serve(Connection &connection);
    void serve_datagram();
    void reply(Conversation &conversation, const Delivery &delivery);
    void stop();
    void count(const Conversation &conversation);

    const Store &store_;
    Fd listener_;
    Fd datagrams_;
    std::list<Connection> connections_;
    std::map<std::uint64_t, Conversation> peers_; // by address and port
    bool stopped_ = false;
    unsigned requests_ = 0;
    Tally total_;
};

void Server::count(const Conversation &conversation) {
    total_.packets += conversation.tally().packets;
    total_.acknowledgements += conversation.tally().acknowledgements;
}

// Called before the last answer goes out, so that the client has the last word.
void Server::stop() {
    stopped_ = true;
    for (const Connection &connection : connections_)
        count(connection.conversation);
    for (const auto &[id, conversation] : peers_)
        count(conversation);
    std::printf("\n  server: stops after %u requests: received %u packets and %u acknowledgements\n", requests_,
                total_.packets, total_.acknowledgements);
}

void Server::reply(Conversation &conversation, const Delivery &delivery) {
    const Received request(delivery.message);
    ++requests_;
    if (delivery.packets > 1)
        std::printf("  server: joined %s of %zu bytes from %u packets\n", control_string(request.code()),
                    delivery.message.size(), delivery.packets);
    if (request.code() == control_other)
        stop();
    conversation.send(answer(store_, request).encode());
}

void Server::accept_connection() {
    const int fd = accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC);
    if (fd < 0)
        throw system_failure("cannot accept a connection");
    connections_.emplace_back(fd);
}

// False at the end of the connection, which a peer that talks nonsense reaches at once.
bool Server::serve(Connection &connection) {
    try {
        std::optional<Delivery> delivery;
        const bool open = read_stream(connection.socket.get(), connection.conversation, delivery);
        if (delivery)
            reply(connection.conversation, *delivery);
        return open;
    } catch (const Failure &failure) {
        std::fprintf(stderr, "varnel_demo_server: connection closed: %s\n", failure.what());
        return false;
    }
}

// Every address and port has a conversation of its own; those beyond the limit get no answer.
void Server::serve_datagram() {
    std::uint8_t buffer[PACKET_SIZE];
    sockaddr_in peer = {};
    socklen_t length = sizeof peer;
    const ssize_t n = recvfrom(datagrams_.get(), buffer, sizeof buffer, MSG_DONTWAIT | MSG_TRUNC,
                               reinterpret_cast<sockaddr *>(&peer), &length);
    const std::uint64_t id = std::uint64_t{peer.sin_addr.s_addr} << 16 | peer.sin_port;
    if (n <= 0 || (peers_.size() >= kMostDatagramPeers && peers_.find(id) == peers_.end()))
        return;
    try {
        Conversation &conversation = peers_.try_emplace(id, datagrams_.get(), peer).first->second;
        if (static_cast<std::size_t>(n) > conversation.room())
            throw Failure("the datagram is too long");
        if (const auto delivery = conversation.take(buffer, static_cast<std::size_t>(n)))
            reply(conversation, *delivery);
    } catch (const Failure &failure) {
        std::fprintf(stderr, "varnel_demo_server: datagram dropped: %s\n", failure.what());
    }
}

void Server::run() {
    while (!stopped_) {
        std::vector<pollfd> waiting{{listener_.get(), POLLIN, 0}, {datagrams_.get(), POLLIN, 0}};
        std::transform(connections_.begin(), connections_.end(), std::back_inserter(waiting),
                       [](const Connection &connection) {
                           return pollfd{connection.socket.get(), POLLIN, 0};
                       });
        if (poll(waiting.data(), waiting.size(), -1) < 0 && errno != EINTR)
            throw system_failure("cannot wait for requests");
        std::size_t i = 2;
        for (auto connection = connections_.begin(); connection != connections_.end(); ++i) {
            const auto current = connection++;
            if (waiting[i].revents != 0 && !serve(*current)) {
                count(current->conversation);
                connections_.erase(current);
            }
        }
        if (waiting[1].revents != 0)
            serve_datagram();
        if (waiting[0].revents != 0)
            accept_connection();
    }
}

// Tells whoever started the server that it listens, and where.
void announce(int fd, std::uint16_t port) {
    const std::string line = std::to_string(port) + "\n";
    if (write(fd, line.data(), line.size()) != static_cast<ssize_t>(line.size()))
        throw system_failure("cannot write to the ready descriptor");
    if (fd > STDERR_FILENO)
        close(fd);
}

int body(int argc, char **argv) {
    if (argc != 5) {
        std::fprintf(stderr,
                     "usage: varnel_demo_server CONFIGURATION MODULES SOCKET READY_FD\n"
                     "  CONFIGURATION  the configuration file, such as demo/demo.conf\n"
                     "  MODULES        the folder of the storage modules\n"
                     "  SOCKET         where to make the UNIX socket\n"
                     "  READY_FD       descriptor to write the UDP port to, once everything listens; 1 for standard "
                     "output\n");
        return 2;
    }
    const int ready_fd = parse_number(argv[4], 0, INT_MAX, "READY_FD");
    const Store store(argv[1], argv[2]);
    store.print();
    Server server(store, argv[3]);
    announce(ready_fd, server.udp_port());
    server.run();
    unlink(argv[3]);
    return EXIT_SUCCESS;
}

} // namespace

int main(int argc, char **argv) {
    return run_program("varnel_demo_server", kMostSeconds, body, argc, argv);
}
