// SPDX-License-Identifier: MIT
// Every status of docs/protocol.md over the real socket: one way to each of them.
#include "daemon.h"
#include "messages.h"

#include <functional>
#include <set>
#include <sys/resource.h>

namespace varnel::test {

namespace {

Received ask(const Daemon &daemon, const Message &request) {
    return Peer::over_unix(daemon.socket).ask(1, request);
}

Received ask_twice(const Daemon &daemon, const Message &request) {
    Peer peer = Peer::over_unix(daemon.socket);
    peer.ask(1, request);
    return peer.ask(2, request);
}

// While another connection holds a lock on a group.
Received ask_beside_a_lock(const Daemon &daemon, const Message &request) {
    Peer holder = Peer::over_unix(daemon.socket);
    EXPECT_EQ(status_of(holder.ask(1, message(control_trylock, "volatile", "g", ""))), Status::ok);
    return ask(daemon, request);
}

void limit_file_size(Daemon &daemon) {
    daemon.process.before_exec = [] {
        const rlimit limit{200000, 200000};
        setrlimit(RLIMIT_FSIZE, &limit);
    };
}

// A storage that cannot store: full, or broken.
std::function<void(Daemon &)> with_failing_storage(const char *failure) {
    return [failure](Daemon &daemon) {
        daemon.modules = TEST_MODULE_DIR;
        daemon.config = std::string("backends = {\n    failing = {\n        failure = ") + failure +
                        "\n    }\n    memory = {\n    }\n}\n"
                        "layers = {\n    user = {\n        failing = {\n        }\n    }\n"
                        "    volatile = {\n        durability = memory\n        memory = {\n        }\n    }\n}\n";
    };
}

void damage_storage(Daemon &daemon) {
    daemon.start();
    EXPECT_EQ(status_of(ask(daemon, set_message("user", "g", "a", make_int32(1)))), Status::ok);
    daemon.stop();
    const std::string path = daemon.state + "/user.sqlite.sqlite";
    std::string bytes = read_file(path);
    ASSERT_FALSE(bytes.empty());
    bytes.replace(0, 64, std::string(64, '!'));
    write_file(path, bytes);
}

struct Way {
    Status status;
    std::function<void(Daemon &)> prepare;
    std::function<Received(Daemon &)> ask;
};

void nothing(Daemon &) {}

std::function<Received(Daemon &)> asking(const std::function<Message()> &request) {
    return [request](Daemon &daemon) { return ask(daemon, request()); };
}

std::function<void(Daemon &)> limiting(const char *limit) {
    return [limit](Daemon &daemon) { daemon.options = {"--limits", limit}; };
}

const std::vector<Way> &ways() {
    static const std::vector<Way> table = {
        {Status::ok, nothing, asking([] { return set_message("volatile", "g", "a", make_int32(1)); })},
        {Status::not_found, nothing, asking([] { return get_message("volatile", "g", "a"); })},
        {Status::exists, nothing,
         [](Daemon &daemon) { return ask_twice(daemon, message(control_create_group, "volatile", "g", kInMemory)); }},
        {Status::read_only, nothing, asking([] { return set_message("locked", "g", "a", make_int32(1)); })},
        {Status::invalid, nothing, asking([] { return message(control_get, "volatile", "g"); })},
        {Status::unknown_layer, nothing, asking([] { return get_message("nowhere", "g", "a"); })},
        {Status::busy, nothing,
         [](Daemon &daemon) { return ask_beside_a_lock(daemon, message(control_trylock, "volatile", "g", "a")); }},
        {Status::timed_out, nothing,
         [](Daemon &daemon) {
             return ask_beside_a_lock(daemon, message(control_lock, "volatile", "g", "a", kBriefly));
         }},
        {Status::not_held, nothing, asking([] { return message(control_unlock, "volatile", "g", ""); })},
        {Status::no_space, with_failing_storage("full"),
         asking([] { return set_message("user", "g", "a", make_int32(1)); })},
        {Status::io_error, with_failing_storage("broken"),
         asking([] { return set_message("user", "g", "a", make_int32(1)); })},
        {Status::unavailable, damage_storage, asking([] { return get_message("user", "g", "a"); })},
        {Status::too_large, limiting("value_bytes=64"),
         asking([] { return set_message("volatile", "g", "a", long_text(65)); })},
        {Status::too_many, limiting("locks=1"),
         [](Daemon &daemon) {
             Peer peer = Peer::over_unix(daemon.socket);
             peer.ask(1, message(control_trylock, "volatile", "g", ""));
             return peer.ask(2, message(control_trylock, "volatile", "h", ""));
         }},
        {Status::too_fast, limiting("rate=1"),
         [](Daemon &daemon) {
             Peer peer = Peer::over_unix(daemon.socket);
             std::uint32_t id = 0;
             while (status_of(peer.ask(++id, message(control_other, "version"))) == Status::ok && id < 1000) {
             }
             return peer.ask(++id, message(control_other, "version"));
         }},
        {Status::unsupported, nothing, asking([] { return message(control_other, "weather"); })},
        {Status::no_memory, with_failing_storage("short of memory"),
         asking([] { return set_message("user", "g", "a", make_int32(1)); })},
    };
    return table;
}

class StatusWays : public testing::TestWithParam<std::size_t> {};

TEST_P(StatusWays, IsAnswered) {
    const Way &way = ways()[GetParam()];
    Daemon daemon;
    way.prepare(daemon);
    daemon.start();
    const Received answer = way.ask(daemon);
    EXPECT_EQ(status_of(answer), way.status) << texts_of(answer);
    if (way.status != Status::ok) {
        EXPECT_EQ(types_of(answer), "uint32 string");
    }
    // Others are served on.
    EXPECT_EQ(status_of(ask(daemon, set_message("volatile", "h", "a", make_int32(1)))), Status::ok);
}

INSTANTIATE_TEST_SUITE_P(Table, StatusWays, testing::Range(std::size_t{0}, ways().size()),
                         [](const testing::TestParamInfo<std::size_t> &way) {
                             return protocol::status_name(static_cast<std::uint32_t>(ways()[way.param].status));
                         });

TEST(StatusTable, HasEveryStatus) {
    std::set<Status> reached;
    for (const Way &way : ways())
        reached.insert(way.status);
    EXPECT_EQ(reached.size(), static_cast<std::size_t>(Status::count));
}

TEST(FullStorage, TakesNothingOfTheWriteAndKeepsWhatWasThere) {
    Daemon daemon;
    limit_file_size(daemon);
    daemon.start();
    Peer peer = Peer::over_unix(daemon.socket);
    std::uint32_t id = 1;
    while (status_of(peer.ask(id, set_message("user", "g", std::to_string(id), long_text(20000)))) == Status::ok &&
           id < 100)
        ++id;
    ASSERT_GT(id, 2U);
    ASSERT_LT(id, 100U);
    const std::string last = std::to_string(id);
    EXPECT_EQ(status_of(peer.ask(id + 1, get_message("user", "g", last))), Status::not_found);
    EXPECT_EQ(status_of(peer.ask(id + 2, get_message("user", "g", "1"))), Status::ok);
    daemon.stop();
    daemon.process.before_exec = [] {};
    daemon.start();
    Peer anew = Peer::over_unix(daemon.socket);
    EXPECT_EQ(status_of(anew.ask(1, get_message("user", "g", last))), Status::not_found);
    EXPECT_EQ(anew.ask(2, get_message("user", "g", std::to_string(id - 1))).at(1).value.s.len, 20000U);
}

TEST(DamagedStorage, IsLeftUntouchedAndReported) {
    Daemon daemon;
    damage_storage(daemon);
    const std::string before = read_file(daemon.state + "/user.sqlite.sqlite");
    daemon.start();
    EXPECT_EQ(status_of(ask(daemon, set_message("user", "g", "a", make_int32(2)))), Status::unavailable);
    const Outcome status = daemon.control({"status"});
    EXPECT_NE(status.out.find("FAILING"), std::string::npos) << status.out;
    EXPECT_EQ(daemon.log_lines("user.sqlite.sqlite"), 1U) << daemon.log();
    daemon.stop();
    EXPECT_EQ(read_file(daemon.state + "/user.sqlite.sqlite"), before);
}

} // namespace

} // namespace varnel::test
