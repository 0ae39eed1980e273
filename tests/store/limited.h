// SPDX-License-Identifier: MIT
// A daemon with a limit that a client reaches.
#pragma once

#include "daemon.h"
#include "messages.h"

#include "protocol/limits.h"

namespace varnel::test {

inline const Message kVersion = message(control_other, "version");

// A daemon with one limit, one client that reaches it, and one that must not notice.
class Limited : public Daemon {
public:
    Limited(const std::string &name, std::uint32_t number) {
        options = {"--limits", name + "=" + std::to_string(number)};
        start();
    }

    // Serves another client by now and, when that is what reaching the limit does, has closed the connection of the
    // peer with one line.
    void expect_others_served() {
        Peer other = Peer::over_unix(socket);
        EXPECT_EQ(status_of(other.ask(1, kVersion)), Status::ok);
    }
    void expect_closed(Peer &peer, const std::string &why) {
        EXPECT_TRUE(peer.is_closed());
        EXPECT_TRUE(logs("closed: " + why)) << why;
        EXPECT_EQ(log_lines("closed: "), 1U);
        expect_others_served();
    }
    void expect_alive(Peer &peer, std::uint32_t id) {
        EXPECT_EQ(status_of(peer.ask(id, kVersion)), Status::ok);
        EXPECT_EQ(log_lines("closed: "), 0U);
        expect_others_served();
    }
};

// A part of a write whose rest is to come.
inline Status send_part(Peer &peer, std::uint32_t id, const char *group) {
    return status_of(peer.ask(id, message(control_set, "volatile", kInMemory, protocol::kWriteMore, group,
                                          std::to_string(id), long_text(60000))));
}

} // namespace varnel::test
