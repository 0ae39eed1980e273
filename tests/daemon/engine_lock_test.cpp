// SPDX-License-Identifier: MIT
// trylock, lock, unlock between connections. (lock_table_test.cpp has the rules of the table itself.)
#include "engine_fixture.h"

using namespace varnel;

namespace {

class EngineLock : public EngineTest {};

} // namespace

TEST_F(EngineLock, LocksAndUnlocks) {
    EXPECT_EQ(ask(trylock_request("net")), "ok user");
    EXPECT_EQ(ask(trylock_request("net")), "ok user");
    EXPECT_EQ(ask(lock_request("net")), "ok user");
    EXPECT_EQ(ask(client(2), trylock_request("net", "port")), "busy: locked by client 1");
    EXPECT_EQ(ask(client(2), lock_request("net", "port")), "timed_out: the lock is held");
    EXPECT_EQ(ask(unlock_request("net")), "ok user");
    EXPECT_EQ(ask(unlock_request("net")), "not_held: there is no such lock of this connection");
    EXPECT_EQ(ask(client(2), trylock_request("net", "port")), "ok user");
}

TEST_F(EngineLock, NamesOfTheDefaultLayerAreOneLayer) {
    EXPECT_EQ(ask(request(control_trylock, {"", "net", ""})), "ok user");
    EXPECT_EQ(ask(client(2), request(control_trylock, {"default", "net", ""})), "busy: locked by client 1");
    EXPECT_EQ(ask(client(2), request(control_trylock, {"volatile", "net", ""})), "ok volatile");
}

TEST_F(EngineLock, AWaitIsAnsweredWhenTheLockIsFree) {
    ask(trylock_request("net"));
    const std::uint32_t id = send(client(2), lock_request("net", "", 5000));
    EXPECT_EQ(answer(client(2), id), "none");
    EXPECT_TRUE(engine().may_be_silent(client(2)));
    EXPECT_EQ(ask(unlock_request("net")), "ok user");
    EXPECT_EQ(answer(client(2), id), "ok user");
    EXPECT_EQ(client(2).codes[id], std::uint32_t{control_lock});
    EXPECT_EQ(ask(trylock_request("net")), "busy: locked by client 2");
}

TEST_F(EngineLock, AWaitEndsAtItsTime) {
    ask(trylock_request("net"));
    EXPECT_EQ(engine().next_deadline(), std::nullopt);
    const std::uint32_t id = send(client(2), lock_request("net", "", 5000));
    EXPECT_EQ(engine().next_deadline(), 6000U);
    now = 5999;
    engine().expire_waits();
    EXPECT_EQ(answer(client(2), id), "none");
    now = 6000;
    engine().expire_waits();
    EXPECT_EQ(answer(client(2), id), "timed_out: the lock is held");
    EXPECT_FALSE(engine().may_be_silent(client(2)));
}

TEST_F(EngineLock, TheLongestWaitIsLimited) {
    EXPECT_EQ(limits.set("lock_wait", "1000"), std::nullopt);
    ask(trylock_request("net"));
    EXPECT_EQ(ask(client(2), lock_request("net", "", 1001)), "too_large: a wait of more than 1000 milliseconds");
    EXPECT_EQ(answer(client(2), send(client(2), lock_request("net", "", 1000))), "none");
}

TEST_F(EngineLock, UnlockingEndsOnesOwnWait) {
    ask(trylock_request("net"));
    const std::uint32_t id = send(client(2), lock_request("net", "", 5000));
    EXPECT_EQ(ask(client(2), unlock_request("net")), "ok user");
    EXPECT_EQ(answer(client(2), id), "timed_out: the lock is held");
}

TEST_F(EngineLock, LocksGoWithTheConnection) {
    ask(trylock_request("net"));
    const std::uint32_t id = send(client(2), lock_request("net", "", 5000));
    const std::uint32_t another = send(client(3), lock_request("net", "", 5000));
    leave(1);
    EXPECT_EQ(answer(client(2), id), "ok user");
    EXPECT_EQ(answer(client(3), another), "none");
    leave(2);
    EXPECT_EQ(answer(client(3), another), "ok user");
}

TEST_F(EngineLock, AWaitGoesWithTheConnection) {
    ask(trylock_request("net"));
    send(client(2), lock_request("net", "", 5000));
    const std::uint32_t id = send(client(3), lock_request("net", "", 5000));
    leave(2);
    ask(unlock_request("net"));
    EXPECT_EQ(answer(client(3), id), "ok user");
}

TEST_F(EngineLock, TryingBehindOthersWhoWaitIsBusy) {
    ask(trylock_request("net", "port"));
    send(client(2), lock_request("net", "", 5000));
    EXPECT_EQ(ask(client(3), trylock_request("net", "host")), "busy: others are waiting for the lock");
}

TEST_F(EngineLock, LocksAreLimited) {
    EXPECT_EQ(limits.set("locks", "2"), std::nullopt);
    ask(client(2), trylock_request("c"));
    EXPECT_EQ(ask(trylock_request("a")), "ok user");
    EXPECT_EQ(answer(send(lock_request("c", "", 5000))), "none"); // a wait counts
    EXPECT_EQ(ask(trylock_request("b")), "too_many: more locks than the limit of 2");
    EXPECT_EQ(ask(lock_request("b")), "too_many: more locks than the limit of 2");
    EXPECT_EQ(ask(trylock_request("a")), "ok user"); // what it holds
}
