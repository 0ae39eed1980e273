// SPDX-License-Identifier: MIT
#pragma once

#include "conversation/conversation.h"
#include "conversation/packets.h"

#include <functional>
#include <sys/types.h>

namespace conversation_tests {

using varnel::Fd;
using varnel::conversation::Conversation;
using varnel::conversation::Deadline;
using varnel::conversation::Error;
using varnel::conversation::ErrorKind;
using varnel::conversation::Milliseconds;
using varnel::conversation::Repeat;

// Long enough for every machine, and short enough for tests that wait for it to pass.
inline constexpr Milliseconds kPlenty{20000};
inline constexpr Milliseconds kShort{30};

// The daemon's end of a socket pair. What it says is written before it is asked: it lies in the socket until the
// conversation reads it, so that no second thread is needed.
class Peer {
public:
    // SOCK_SEQPACKET instead of SOCK_STREAM keeps apart what is written in pieces: each is one read.
    explicit Peer(Milliseconds time = kPlenty, int type = SOCK_STREAM);

    void say(const Bytes &bytes) const;
    void close() { fd_ = Fd(); }

    // All that the conversation has written since.
    Bytes heard() const;

    [[nodiscard]] int descriptor() const { return fd_.get(); }
    Conversation &conversation() { return conversation_; }

private:
    Peer(std::pair<Fd, Fd> ends, Milliseconds time);
    Fd fd_;
    Conversation conversation_;
};

// Runs body in a process of its own, which ends with it.
class Process {
public:
    explicit Process(const std::function<void()> &body);
    Process(const Process &) = delete;
    Process &operator=(const Process &) = delete;
    ~Process();

private:
    pid_t pid_;
};

// The kind of the Error that body throws; fails the test when it throws none. *what gets its text.
ErrorKind kind_thrown(const std::function<void()> &body, std::string *what = nullptr);

// A request for the key :group:name.
Message get_request();

} // namespace conversation_tests
