// SPDX-License-Identifier: MIT
// A client's connection to the daemon: requests and their answers, and events (docs/protocol.md).
//
// A program that uses this links varnel_conversation, connects, and calls request, or the functions of requests.h,
// which know the parameters of every code. One thread at a time. Connecting ignores SIGPIPE for the whole process,
// unless the program handles it in its own way: the library writes without MSG_NOSIGNAL. Handlers of signals that do
// not end the process need SA_RESTART.
#pragma once

#include "conversation/deadline.h"
#include "conversation/error.h"
#include "conversation/socket.h"
#include "protocol/endpoint.h"
#include "protocol/message.h"

#include <deque>
#include <memory>
#include <optional>

namespace varnel::conversation {

// Whether a request whose answer does not come over UDP may be sent again, twice: only what can be done twice without
// another effect, and without another answer, than done once.
enum class Repeat : std::uint8_t { never, harmless };

class Conversation final : private protocol::EndpointOwner {
public:
    // Connect, or are an Error. time is for connecting, and for the answer to each request.
    static std::unique_ptr<Conversation> over_unix(const std::string &path, Milliseconds time);
    static std::unique_ptr<Conversation> over_udp(const std::string &host, std::uint16_t port, Milliseconds time);

    // A connected stream socket that blocks.
    Conversation(Fd stream, Milliseconds time);
    Conversation(const Conversation &) = delete;
    Conversation &operator=(const Conversation &) = delete;
    virtual ~Conversation() = default;

    // While this descriptor is readable, waiting is an Error of kind interrupted. -1, as at the beginning: nothing is.
    void interrupt_with(int fd) { interrupt_ = fd; }

    // Sends a request and waits for its answer, whatever its status: for the conversation's time, and for extra.
    // Errors: all kinds but refused, and refused (too_large) for more than 16 MiB.
    protocol::Received ask(const protocol::Message &message, Repeat repeat, Milliseconds extra = Milliseconds(0));

    // The same, but an answer whose status is not ok is an Error.
    protocol::Received request(const protocol::Message &message, Repeat repeat, Milliseconds extra = Milliseconds(0));

    // The next event, in the order in which they came; those that came while answers were awaited are first. nothing
    // when the deadline passes.
    std::optional<protocol::Received> next_event(const Deadline &deadline);

    [[nodiscard]] bool is_datagram() const { return peer_.has_value(); }
    [[nodiscard]] int descriptor() const { return socket_.get(); } // readable when something arrives

private:
    struct Event {
        protocol::Received message;
        std::size_t size;
    };

    Conversation(Fd socket, const std::optional<sockaddr_in> &peer, Milliseconds time);
    bool has_room() override;
    void deliver(std::uint32_t id, protocol::Bytes &bytes) override;

    void start_endpoint();
    void send(std::uint32_t id, const protocol::Bytes &bytes, const Deadline &deadline);
    bool receive(const Deadline &deadline);
    std::size_t read_some(std::uint8_t *data, std::size_t size);
    void handle_packets(const Deadline &deadline);
    void forget_broken_datagram(const protocol::Malformed &reason) const;
    bool await_answer(const Deadline &deadline);
    protocol::Received take_answer(std::uint32_t code);
    [[nodiscard]] Wake wait(short events, const Deadline &deadline) const;

    Fd socket_;
    std::optional<sockaddr_in> peer_; // of datagrams
    Milliseconds time_;
    int interrupt_ = -1;
    std::uint32_t next_id_ = 1;
    std::uint32_t first_awaited_ = 1; // answers to requests from here on count; to earlier ones they come too late
    std::optional<protocol::Received> answer_;
    std::deque<Event> events_;
    std::size_t event_bytes_ = 0;
    std::optional<protocol::Endpoint> endpoint_;
};

} // namespace varnel::conversation
