// SPDX-License-Identifier: MIT
// Locks between connections of real processes.
#include "daemon.h"
#include "messages.h"

#include <csignal>

namespace varnel::test {

namespace {

constexpr std::uint32_t kLong = 60000; // milliseconds

Message lock_message(const char *group, const char *name, std::uint32_t wait) {
    return message(control_lock, "volatile", group, name, wait);
}

Message trylock_message(const char *group, const char *name) {
    return message(control_trylock, "volatile", group, name);
}

class Locks : public testing::Test {
protected:
    Status status(Peer &peer, const Message &request) { return status_of(peer.ask(++last_id, request)); }

    StartedDaemon daemon;
    Peer first = Peer::over_unix(daemon.socket);
    Peer second = Peer::over_unix(daemon.socket);
    std::uint32_t last_id = 0;
};

TEST_F(Locks, OfAGroupIncludeItsValues) {
    EXPECT_EQ(status(first, trylock_message("g", "")), Status::ok);
    EXPECT_EQ(status(second, trylock_message("g", "a")), Status::busy);
    EXPECT_EQ(status(second, trylock_message("h", "a")), Status::ok);
    EXPECT_EQ(status(first, trylock_message("h", "")), Status::busy);
    EXPECT_EQ(status(first, trylock_message("h", "b")), Status::ok);
}

TEST_F(Locks, CountOnceForTheirHolder) {
    EXPECT_EQ(status(first, trylock_message("g", "")), Status::ok);
    EXPECT_EQ(status(first, trylock_message("g", "")), Status::ok);
    EXPECT_EQ(status(first, lock_message("g", "", kLong)), Status::ok);
    EXPECT_EQ(status(first, message(control_unlock, "volatile", "g", "")), Status::ok);
    EXPECT_EQ(status(first, message(control_unlock, "volatile", "g", "")), Status::not_held);
    EXPECT_EQ(status(second, trylock_message("g", "")), Status::ok);
}

TEST_F(Locks, KeepNobodyFromWritingExceptWhoRespectsThem) {
    EXPECT_EQ(status(first, trylock_message("g", "")), Status::ok);
    EXPECT_EQ(status(second, set_message("volatile", "g", "a", make_int32(1))), Status::ok);
    const auto respectful = [](const char *group) {
        return message(control_set, "volatile", kInMemory, protocol::kWriteRespectLocks, group, "a", make_int32(2));
    };
    EXPECT_EQ(status(second, respectful("g")), Status::busy);
    EXPECT_EQ(status(second, respectful("h")), Status::ok);
    EXPECT_EQ(status(first, respectful("g")), Status::ok); // its own lock
}

TEST_F(Locks, AreGrantedInTheOrderOfAsking) {
    Peer third = Peer::over_unix(daemon.socket);
    EXPECT_EQ(status(first, trylock_message("g", "")), Status::ok);
    second.send_message(1000, lock_message("g", "", kLong).encode());
    EXPECT_EQ(status(second, trylock_message("g", "")), Status::busy); // has been read by now
    third.send_message(1000, lock_message("g", "", kLong).encode());
    EXPECT_EQ(status(third, trylock_message("g", "")), Status::busy);
    EXPECT_EQ(status(first, message(control_unlock, "volatile", "g", "")), Status::ok);
    EXPECT_EQ(status_of(second.receive_message()), Status::ok);
    EXPECT_EQ(status(first, trylock_message("g", "")), Status::busy);
    EXPECT_EQ(status(second, message(control_unlock, "volatile", "g", "")), Status::ok);
    EXPECT_EQ(status_of(third.receive_message()), Status::ok);
}

TEST_F(Locks, AreWaitedForNoLongerThanAsked) {
    EXPECT_EQ(status(first, trylock_message("g", "")), Status::ok);
    EXPECT_EQ(status(second, lock_message("g", "", kBriefly)), Status::timed_out);
    EXPECT_EQ(status(second, lock_message("g", "", 0)), Status::timed_out);
    EXPECT_EQ(status(first, message(control_unlock, "volatile", "g", "")), Status::ok);
    EXPECT_EQ(status(second, lock_message("g", "", kBriefly)), Status::ok);
}

TEST_F(Locks, ThatAreAwaitedCanBeGivenUp) {
    EXPECT_EQ(status(first, trylock_message("g", "")), Status::ok);
    second.send_message(1000, lock_message("g", "", kLong).encode());
    second.send_message(1001, message(control_unlock, "volatile", "g", "").encode());
    std::uint32_t id = 0;
    EXPECT_EQ(status_of(second.receive_message(&id)), Status::timed_out);
    EXPECT_EQ(id, 1000U);
    EXPECT_EQ(status_of(second.receive_message(&id)), Status::ok);
    EXPECT_EQ(id, 1001U);
}

TEST_F(Locks, GoWithTheConnection) {
    {
        Peer brief = Peer::over_unix(daemon.socket);
        EXPECT_EQ(status(brief, trylock_message("g", "")), Status::ok);
        EXPECT_EQ(status(first, trylock_message("g", "")), Status::busy);
    }
    EXPECT_EQ(status(first, lock_message("g", "", kLong)), Status::ok);
}

TEST_F(Locks, GoWithAHolderThatIsKilled) {
    Process holder(daemon.control_arguments({"lock", "volatile:g"}));
    EXPECT_EQ(holder.read_line(), "locked volatile:g");
    EXPECT_EQ(status(first, trylock_message("g", "a")), Status::busy);
    first.send_message(1000, lock_message("g", "a", kLong).encode());
    EXPECT_EQ(status(first, trylock_message("g", "a")), Status::busy);
    holder.signal(SIGKILL);
    EXPECT_EQ(holder.wait(), 128 + SIGKILL);
    std::uint32_t id = 0;
    EXPECT_EQ(status_of(first.receive_message(&id)), Status::ok);
    EXPECT_EQ(id, 1000U);
}

TEST_F(Locks, OfWaitersThatHaveGoneAreNotGranted) {
    EXPECT_EQ(status(first, trylock_message("g", "")), Status::ok);
    {
        Peer brief = Peer::over_unix(daemon.socket);
        brief.send_message(1, lock_message("g", "", kLong).encode());
        EXPECT_EQ(status(brief, trylock_message("g", "")), Status::busy);
    }
    EXPECT_EQ(status(first, message(control_unlock, "volatile", "g", "")), Status::ok);
    EXPECT_EQ(status(second, lock_message("g", "", kLong)), Status::ok);
}

TEST_F(Locks, AreHeldByTheClientWhileACommandRuns) {
    const Outcome run = daemon.control({"lock", "volatile:g", "--", "/bin/sh", "-c",
                                        std::string(VARNELCTL) + " --socket " + daemon.socket +
                                            " lock volatile:g:a --wait 0 -- true; test $? = 4 && exit 9"});
    EXPECT_EQ(run.code, 9) << run.out << run.err;
    EXPECT_EQ(status(first, lock_message("g", "", kLong)), Status::ok);
}

} // namespace

} // namespace varnel::test
