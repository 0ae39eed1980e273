// SPDX-License-Identifier: MIT
// A daemon for one test: it answers as the test says, and runs in the test's own thread while it waits for varnelctl.
#pragma once

#include "conversation/socket.h"
#include "protocol/message.h"
#include "protocol/protocol.h"

#include <functional>
#include <list>
#include <memory>
#include <string>
#include <vector>

namespace ctl_tests {

using varnel::protocol::Bytes;
using varnel::protocol::Message;
using varnel::protocol::Received;
using varnel::protocol::Status;

// The answer to a request; nullptr for none.
using Handler = std::function<std::unique_ptr<Message>(const Received &)>;

std::string new_folder(); // below /tmp

// An answer that begins with status ok, or one that refuses.
std::unique_ptr<Message> ok(std::uint32_t code);
std::unique_ptr<Message> refusal(std::uint32_t code, Status status, const std::string &text);

class FakeDaemon {
public:
    explicit FakeDaemon(Handler handler);
    FakeDaemon(const FakeDaemon &) = delete;
    FakeDaemon &operator=(const FakeDaemon &) = delete;
    ~FakeDaemon();

    [[nodiscard]] std::string path() const { return folder_ + "/socket"; }

    // Does what there is to do, for some milliseconds.
    void serve();

    // Sends an event to every connection.
    void send_event(const Message &event);

    void close_connections();
    [[nodiscard]] std::size_t connections() const { return connections_.size(); }
    void stop_listening();
    void listen_again();

    std::vector<std::string> requests; // the names of the codes that were asked

private:
    class Connection;
    std::string folder_;
    Handler handler_;
    varnel::Fd listener_;
    std::list<std::unique_ptr<Connection>> connections_;
    std::uint32_t next_event_ = varnel::protocol::kFirstEventId;
};

} // namespace ctl_tests
