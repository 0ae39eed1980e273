// SPDX-License-Identifier: MIT
// The client's side: asks, waits for the answer, and checks what comes back.
#pragma once

#include "common/conversation.h"
#include "common/message.h"
#include "common/sockets.h"

#include <string>

namespace demo {

struct Answer {
    Received message;
    std::size_t request_bytes;
    std::uint32_t request_packets; // one, and one more for every acknowledgement that came
    std::size_t bytes;
    std::uint32_t packets;
    Bytes last_packet;

    [[nodiscard]] std::int32_t result() const { return message.number(0); }
    [[nodiscard]] std::string layer() const { return message.text(1); }
    [[nodiscard]] std::string backends() const { return message.text(2); }
    // Parameters of the code itself, from 0.
    [[nodiscard]] const xdata &at(std::size_t index) const { return message.at(kFirst + index); }
    [[nodiscard]] std::size_t size() const { return message.size() - kFirst; }

    static constexpr std::size_t kFirst = 3;
};

class Session {
public:
    static Session over_unix(const char *path);
    static Session over_udp(std::uint16_t server_port);

    // Sends a request and waits for its answer, at most ten seconds for each packet. An answer under another code, or a
    // request that took another number of packets than its length asks for, is a Failure.
    Answer ask(const Message &request);

private:
    Session(Fd socket, Conversation conversation, sockaddr_in server)
        : socket_(std::move(socket)), conversation_(std::move(conversation)), server_(server) {}
    std::optional<Delivery> read_some();
    std::optional<Delivery> read_datagram();

    Fd socket_;
    Conversation conversation_;
    sockaddr_in server_; // port 0 for a stream
};

// The packets that a message of that many bytes takes.
std::uint32_t packets_for(std::size_t bytes);

// The result in words: "0", or the number and its text.
std::string describe_result(std::int32_t result);

// A Failure that names what, unless the value is as expected, bit by bit.
void expect_value(const std::string &what, const xdata &value, const xdata &expected);

} // namespace demo
