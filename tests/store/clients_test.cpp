// SPDX-License-Identifier: MIT
// Programs with many connections leave places and memory to others.
#include "limited.h"

#include <unistd.h>

namespace varnel::test {

namespace {

Status status_of_new_peer(const Daemon &daemon) {
    Peer peer = Peer::over_unix(daemon.socket);
    peer.send(encode(packet_of(1, kVersion.encode(), 1)));
    return peer.receive() ? Status::ok : Status::too_many;
}

} // namespace

// A program that forgets its connections leaves room for others.
TEST(Clients, OfOneProcessDoNotGetAllPlaces) {
    Limited daemon("clients", 8);
    std::vector<Peer> peers;
    for (int i = 0; i < 7; ++i) {
        peers.push_back(Peer::over_unix(daemon.socket));
        EXPECT_EQ(status_of(peers.back().ask(1, kVersion)), Status::ok);
    }
    for (int i = 0; i < 5; ++i) {
        Peer refused = Peer::over_unix(daemon.socket);
        EXPECT_TRUE(refused.is_closed());
    }
    EXPECT_TRUE(daemon.logs("connection refused (1 since the last line): process " + std::to_string(getpid()) +
                            " has 7 of the 8 places"));
    EXPECT_LE(daemon.log_lines("refused"), 2U); // one a second
    EXPECT_EQ(daemon.control({"set", "volatile:g:a", "1"}).code, 0);
    peers.pop_back();
    EXPECT_TRUE(eventually([&] { return status_of_new_peer(daemon) == Status::ok; }));
}

// Many connections of one process that keep a little each do not push out another's one that needs much for its work.
TEST(Clients, OfOneProcessThatKeepMuchTogetherGoFirst) {
    Limited daemon("kept_bytes", 4194304);
    std::vector<Peer> peers;
    for (int i = 0; i < 25; ++i) {
        peers.push_back(Peer::over_unix(daemon.socket));
        EXPECT_EQ(send_part(peers.back(), 1, "g"), Status::ok);
        EXPECT_EQ(send_part(peers.back(), 2, "g"), Status::ok);
    }
    std::string values;
    for (int i = 0; i < 30; ++i)
        values += (i == 0 ? "\"" : ", \"") + std::to_string(i) + "\": \"" + std::string(60000, 'x') + "\"";
    const Outcome loaded =
        daemon.control({"load", "volatile", "-"}, R"({"varnel": 1, "groups": {"g": {)" + values + "}}}");
    EXPECT_EQ(loaded.code, 0) << loaded.err;
    const std::size_t closed = daemon.log_lines("closed: ");
    EXPECT_GT(closed, 0U);
    const std::string own = "(pid " + std::to_string(getpid()) + ", user " + std::to_string(getuid()) + ", group " +
                            std::to_string(getgid()) + ") closed: ";
    EXPECT_EQ(daemon.log_lines(own), closed);
}

} // namespace varnel::test
