// SPDX-License-Identifier: MIT
// Much of everything: clients, bytes, parameters, rows.
#include "daemon.h"
#include "messages.h"

#include "conversation/requests.h"

#include <csignal>
#include <map>

namespace varnel::test {

namespace {

constexpr std::uint32_t kClients = 200;
constexpr std::size_t kLargestValue = 65535; // a string's bytes on the wire, its zero byte counted

TEST(Many, ClientsAtOnceEachGetWhatTheySet) {
    StartedDaemon daemon;
    std::vector<Peer> peers;
    for (std::uint32_t i = 0; i < kClients; ++i)
        peers.push_back(Peer::over_unix(daemon.socket));
    const auto name = [](std::uint32_t i) { return "n" + std::to_string(i); };
    for (std::uint32_t i = 0; i < kClients; ++i)
        peers[i].send_message(1, set_message("user", "g", name(i), make_uint32(i)).encode());
    for (Peer &peer : peers)
        EXPECT_EQ(status_of(peer.receive_message()), Status::ok);
    for (std::uint32_t i = 0; i < kClients; ++i)
        peers[i].send_message(2, get_message("user", "g", name(i)).encode());
    for (std::uint32_t i = 0; i < kClients; ++i)
        EXPECT_EQ(texts_of(peers[i].receive_message()), "0 " + std::to_string(i) + " user sqlite");
}

// What came together reached the storage together: not every change has its own sync.
TEST(Many, ClientsAtOnceShareSyncs) {
    StartedDaemon daemon;
    std::vector<Peer> peers;
    for (std::uint32_t i = 0; i < kClients; ++i)
        peers.push_back(Peer::over_unix(daemon.socket));
    for (std::uint32_t i = 0; i < kClients; ++i)
        peers[i].ask(1, message(control_other, "version")); // connected and known
    daemon.running().signal(SIGSTOP);
    for (std::uint32_t i = 0; i < kClients; ++i)
        peers[i].send_message(2, set_message("user", "g", std::to_string(i), make_uint32(i)).encode());
    daemon.running().signal(SIGCONT);
    for (Peer &peer : peers)
        EXPECT_EQ(status_of(peer.receive_message()), Status::ok);
    const auto conversation = daemon.connect();
    const conversation::Numbers statistics = conversation::statistics(*conversation);
    const std::map<std::string, std::uint64_t> counted(statistics.begin(), statistics.end());
    EXPECT_GE(counted.at("syncs"), 1U);
    EXPECT_LT(counted.at("syncs"), kClients / 4);
}

TEST(Many, BytesInAValue) {
    StartedDaemon daemon;
    Peer peer = Peer::over_unix(daemon.socket);
    std::uint32_t id = 0;
    for (const std::size_t size : {std::size_t{60000}, kLargestValue}) {
        const Value value = long_text(size, 'v');
        for (const char *const layer : {"user", "volatile"}) {
            EXPECT_EQ(status_of(peer.ask(++id, set_message(layer, "g", "a", copy_of(*value)))), Status::ok);
            const Received answer = peer.ask(++id, get_message(layer, "g", "a"));
            ASSERT_EQ(answer.size(), 4U) << texts_of(answer);
            EXPECT_TRUE(identical(answer.at(1), *value));
        }
    }
}

TEST(Many, BytesInAValueThroughTheClient) {
    StartedDaemon daemon;
    for (const std::size_t size : {std::size_t{60000}, kLargestValue - 1}) {
        const std::string text(size, 'c');
        EXPECT_EQ(daemon.control({"set", "g:a", "-"}, text + "\n").code, 0);
        EXPECT_EQ(daemon.control({"get", "g:a"}).out, text + "\n");
    }
    const Outcome one_more = daemon.control({"set", "g:a", "-"}, std::string(kLargestValue, 'd'));
    EXPECT_NE(one_more.code, 0);
    EXPECT_NE(one_more.err, "");
    EXPECT_EQ(daemon.control({"get", "g:a"}).out.substr(0, 1), "c");
}

TEST(Many, EventsOfLargeValuesComeWhole) {
    StartedDaemon daemon;
    Peer watcher = Peer::over_unix(daemon.socket);
    watcher.ask(1, message(control_notify, "volatile", "g", "a", protocol::kFromNow));
    Peer writer = Peer::over_unix(daemon.socket);
    for (std::uint32_t id = 1; id <= 3; ++id)
        EXPECT_EQ(status_of(writer.ask(id, set_message("volatile", "g", "a", long_text(60000 + id)))), Status::ok);
    EXPECT_EQ(watcher.receive_message().at(6).value.s.len, 60001U);
    const Received second = watcher.receive_message();
    EXPECT_EQ(second.at(5).value.s.len, 60001U);
    EXPECT_EQ(second.at(6).value.s.len, 60002U);
}

// As many rows as fit: 4,095 parameters. One parameter more makes no whole row, two more make no message.
TEST(Many, ParametersInAMessage) {
    StartedDaemon daemon;
    Peer peer = Peer::over_unix(daemon.socket);
    Message set = message(control_set, "volatile", kInMemory, kNoFlags);
    for (std::uint32_t i = 0; i < 1364; ++i)
        set.add("g").add("n" + std::to_string(i)).add(i);
    const Received answer = peer.ask(1, set);
    EXPECT_EQ(texts_of(answer), "0 volatile memory 0 1365 1364");
    set.add("more");
    ASSERT_EQ(set.size(), 4096U);
    EXPECT_EQ(status_of(peer.ask(2, set)), Status::invalid);
    Bytes bytes = set.encode();
    bytes[10] = 0x10; // announces 4,097 of them
    bytes[11] = 0x01;
    peer.send_message(3, bytes);
    EXPECT_EQ(status_of(peer.receive_message()), Status::invalid);
    Message unset = message(control_unset, "volatile", kInMemory, kNoFlags);
    for (std::uint32_t i = 0; i < 1364; ++i)
        unset.add("g").add("n" + std::to_string(i));
    EXPECT_EQ(texts_of(peer.ask(4, unset)), "0 volatile memory 0 2729 1364");
}

TEST(Many, RowsInAList) {
    constexpr std::size_t kRows = 5000;
    Daemon daemon;
    std::string defaults = "g1 = {\n";
    for (int i = 0; i < 3000; ++i)
        defaults += "    d" + std::to_string(i) + " = " + std::to_string(i) + "\n";
    write_file(daemon.folder() / "defaults.conf", defaults + "}\n");
    daemon.start();
    Peer peer = Peer::over_unix(daemon.socket);
    std::map<std::pair<std::string, std::string>, std::string> expected;
    for (std::uint32_t batch = 0; batch < kRows / 1000; ++batch) {
        const std::string group = "g" + std::to_string(batch);
        expected[{group, ""}] = "";
        Message set = message(control_set, "user", kInMemory, kNoFlags);
        for (std::uint32_t i = 0; i < 1000; ++i) {
            const std::string text = "value " + std::to_string(i) + std::string(i % 100, '.');
            set.add(group).add("d" + std::to_string(i)).add(text);
            expected[{group, "d" + std::to_string(i)}] = text;
        }
        ASSERT_EQ(status_of(peer.ask(batch + 1, set)), Status::ok);
    }
    for (int i = 1000; i < 3000; ++i)
        expected[{"g1", "d" + std::to_string(i)}] = std::to_string(i);

    const auto conversation = daemon.connect();
    std::map<std::pair<std::string, std::string>, std::string> listed;
    std::size_t rows = 0;
    conversation::list(*conversation, {"user", "", ""}, [&](const std::string &, conversation::Row &&row) {
        ++rows;
        listed[{row.group, row.name}] = print_value(*row.value);
    });
    EXPECT_EQ(rows, expected.size());
    EXPECT_TRUE(listed == expected);
    rows = 0;
    conversation::list_keys(*conversation, {"user", "g1", ""},
                            [&](const std::string &, conversation::Row &&) { ++rows; });
    EXPECT_EQ(rows, 3001U);
}

} // namespace

} // namespace varnel::test
