// SPDX-License-Identifier: MIT
// What the options common to all commands say, and the way to the daemon.
#pragma once

#include "conversation/conversation.h"
#include "protocol/defaults.h"

#include <memory>
#include <string>
#include <vector>

namespace varnel::ctl {

struct Session {
    std::string socket = protocol::kDefaultSocket;
    std::string udp; // HOST:PORT or PORT; empty: the UNIX socket
    double timeout = 10;
    bool json = false;
    bool verbose = false;
    std::string durability = "memory"; // the least that a change asks for: its layer's default may be more
    std::vector<std::string> words;    // behind "--", of lock
    int result = 0;                    // the exit code, when nothing fails

    // Connects, or is conversation::Error.
    [[nodiscard]] std::unique_ptr<conversation::Conversation> connect() const;

    // The path of the socket that connect uses; empty over UDP.
    [[nodiscard]] std::string path() const { return udp.empty() ? socket : ""; }

    [[nodiscard]] std::uint32_t durability_class() const;
};

// Seconds of the command line, as Milliseconds; at least 1 for what is above 0.
conversation::Milliseconds milliseconds(double seconds);

} // namespace varnel::ctl
