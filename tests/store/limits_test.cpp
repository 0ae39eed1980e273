// SPDX-License-Identifier: MIT
// Every row of the table of limits: reached over the real socket, answered as docs/protocol.md says, with one log line
// where it ends the connection, while another client is served on.
#include "limited.h"

#include "protocol/limits.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <set>
#include <unistd.h>

namespace varnel::test {

namespace {

void reach_clients() {
    Limited daemon("clients", 2);
    Peer first = Peer::over_unix(daemon.socket);
    Peer second = Peer::over_unix(daemon.socket);
    EXPECT_EQ(status_of(first.ask(1, kVersion)), Status::ok);
    EXPECT_EQ(status_of(second.ask(1, kVersion)), Status::ok);
    for (int i = 0; i < 5; ++i) {
        Peer third = Peer::over_unix(daemon.socket);
        EXPECT_TRUE(third.is_closed());
    }
    EXPECT_TRUE(daemon.logs("connection refused (1 since the last line): 2 connections are the limit"));
    EXPECT_LE(daemon.log_lines("refused"), 2U); // one a second
    EXPECT_EQ(status_of(first.ask(2, kVersion)), Status::ok);
}

void reach_message_bytes() {
    Limited daemon("message_bytes", 2048);
    Peer peer = Peer::over_unix(daemon.socket);
    const auto of_size = [](std::size_t bytes) {
        Message set = set_message("volatile", "g", "a", long_text(1));
        return set_message("volatile", "g", "a", long_text(1 + bytes - set.bytes()));
    };
    EXPECT_EQ(status_of(peer.ask(1, of_size(2048))), Status::ok);
    EXPECT_EQ(status_of(peer.ask(2, of_size(2049))), Status::too_large);
    daemon.expect_alive(peer, 3);
}

void reach_packets() {
    Limited daemon("packets", 3);
    Peer peer = Peer::over_unix(daemon.socket);
    EXPECT_EQ(status_of(peer.ask(1, set_message("volatile", "g", "a", long_text(2500)))), Status::ok);
    ASSERT_TRUE(peer.send(encode({2, 4, 1, Bytes(1002, 'x')})));
    daemon.expect_closed(peer, "it sent a message of 4 packets, which is over the limit");
}

void reach_unfinished() {
    Limited daemon("unfinished", 2);
    Peer peer = Peer::over_unix(daemon.socket);
    for (std::uint32_t id = 1; id <= 2; ++id) {
        ASSERT_TRUE(peer.send(encode({id, 2, 1, Bytes(1002, 'x')})));
        ASSERT_TRUE(peer.receive());
    }
    ASSERT_TRUE(peer.send(encode({3, 2, 1, Bytes(1002, 'x')})));
    daemon.expect_closed(peer, "it sent more unfinished messages than the limit of 2");
}

void reach_parameters() {
    Limited daemon("parameters", 16);
    Peer peer = Peer::over_unix(daemon.socket);
    Message set = message(control_set, "volatile", kInMemory, kNoFlags);
    for (std::uint32_t i = 0; i < 4; ++i)
        set.add("g").add(std::to_string(i)).add(i);
    EXPECT_EQ(status_of(peer.ask(1, set)), Status::ok);
    set.add("g").add("5").add(std::uint32_t{5});
    EXPECT_EQ(status_of(peer.ask(2, set)), Status::too_large);
    daemon.expect_alive(peer, 3);
}

void reach_value_bytes() {
    Limited daemon("value_bytes", 64);
    Peer peer = Peer::over_unix(daemon.socket);
    EXPECT_EQ(status_of(peer.ask(1, set_message("volatile", "g", "a", long_text(64)))), Status::ok);
    EXPECT_EQ(status_of(peer.ask(2, set_message("volatile", "g", "a", long_text(65)))), Status::too_large);
    daemon.expect_alive(peer, 3);
}

// Asks for a value of several packets again and again, and acknowledges none of them.
void take_no_answers(Peer &peer, std::size_t value_bytes) {
    EXPECT_EQ(status_of(peer.ask(1, set_message("volatile", "g", "a", long_text(value_bytes)))), Status::ok);
    for (std::uint32_t id = 2; id < 40; ++id)
        peer.send(encode(packet_of(id, get_message("volatile", "g", "a").encode(), 1)));
}

// Answers wait, then requests do, and those are large.
void reach_queue_bytes() {
    Limited daemon("queue_bytes", protocol::kLeastQueueBytes);
    Peer peer = Peer::over_unix(daemon.socket);
    take_no_answers(peer, 60000);
    const Bytes large = set_message("volatile", "g", "b", long_text(900)).encode();
    for (std::uint32_t id = 40; id < 40 + 2 * protocol::kLeastQueueBytes / 900; ++id)
        peer.send(encode(packet_of(id, large, 1)));
    daemon.expect_closed(peer, "it does not take its answers");
}

void reach_queue_messages() {
    Limited daemon("queue_messages", 2);
    Peer peer = Peer::over_unix(daemon.socket);
    take_no_answers(peer, 1100);
    daemon.expect_closed(peer, "it does not take its answers");
}

// A watcher that does not take its events: the first, of two packets, is under way, one waits, and the others, up to
// the last change, are lost.
void reach_waiting_events(const char *limit, std::uint32_t value, std::uint32_t changes, const std::string &notice) {
    Limited daemon(limit, value);
    Peer watcher = Peer::over_unix(daemon.socket);
    watcher.ask(1, message(control_notify, "volatile", "g", "a", protocol::kFromNow));
    Peer writer = Peer::over_unix(daemon.socket);
    for (std::uint32_t id = 1; id <= changes; ++id)
        EXPECT_EQ(status_of(writer.ask(id, set_message("volatile", "g", "a", long_text(1000 + id)))), Status::ok);
    const Packet first = watcher.receive().value();
    ASSERT_TRUE(watcher.send(acknowledgement(first.id, 1)));
    EXPECT_EQ(watcher.receive().value().index, 2U);
    EXPECT_EQ(watcher.receive_message().uint64(0), 3U);
    EXPECT_EQ(texts_of(watcher.receive_message()), notice);
    daemon.expect_alive(watcher, 2);
}

void reach_events() {
    reach_waiting_events("events", 1, 10, "11 16 - - - - -");
}

// One event always may wait, however large it is.
void reach_event_bytes() {
    reach_waiting_events("event_bytes", 1024, 3, "4 16 - - - - -");
}

void reach_subscriptions() {
    Limited daemon("subscriptions", 1);
    Peer peer = Peer::over_unix(daemon.socket);
    const auto notify = [&](std::uint32_t id, const char *group) {
        return status_of(peer.ask(id, message(control_notify, "volatile", group, "", protocol::kFromNow)));
    };
    EXPECT_EQ(notify(1, "g"), Status::ok);
    EXPECT_EQ(notify(2, "g"), Status::ok);
    EXPECT_EQ(notify(3, "h"), Status::too_many);
    daemon.expect_alive(peer, 4);
}

void reach_locks() {
    Limited daemon("locks", 1);
    Peer peer = Peer::over_unix(daemon.socket);
    const auto lock = [&](std::uint32_t id, const char *group) {
        return status_of(peer.ask(id, message(control_trylock, "volatile", group, "")));
    };
    EXPECT_EQ(lock(1, "g"), Status::ok);
    EXPECT_EQ(lock(2, "g"), Status::ok);
    EXPECT_EQ(lock(3, "h"), Status::too_many);
    daemon.expect_alive(peer, 4);
}

void reach_lock_wait() {
    Limited daemon("lock_wait", 10);
    Peer holder = Peer::over_unix(daemon.socket);
    EXPECT_EQ(status_of(holder.ask(1, message(control_trylock, "volatile", "g", ""))), Status::ok);
    Peer peer = Peer::over_unix(daemon.socket);
    const auto lock = [&](std::uint32_t id, std::uint32_t wait) {
        return status_of(peer.ask(id, message(control_lock, "volatile", "g", "", wait)));
    };
    EXPECT_EQ(lock(1, 10), Status::timed_out);
    EXPECT_EQ(lock(2, 11), Status::too_large);
    daemon.expect_alive(peer, 3);
}

void reach_staged_bytes() {
    Limited daemon("staged_bytes", 1024);
    Peer peer = Peer::over_unix(daemon.socket);
    const auto part = [&](std::uint32_t id, std::uint32_t flags) {
        return status_of(
            peer.ask(id, message(control_set, "volatile", kInMemory, flags, "g", std::to_string(id), long_text(400))));
    };
    EXPECT_EQ(part(1, protocol::kWriteMore), Status::ok);
    EXPECT_EQ(part(2, protocol::kWriteMore), Status::ok);
    EXPECT_EQ(part(3, protocol::kWriteMore), Status::too_large); // all three are dropped
    EXPECT_EQ(part(4, kNoFlags), Status::ok);
    EXPECT_EQ(texts_of(peer.ask(5, message(control_list_keys, "volatile", "g", "", ""))), "0 volatile 0 g - g 4");
    daemon.expect_alive(peer, 6);
}

// Two connections of one client leave large writes unfinished: when both are too much the one with more goes. The
// other's is done.
void reach_kept_bytes() {
    constexpr std::uint32_t kMost = 4194304;
    Limited daemon("kept_bytes", kMost);
    Peer modest = Peer::over_unix(daemon.socket);
    Peer greedy = Peer::over_unix(daemon.socket);
    std::uint32_t id = 0;
    while (id < 5)
        EXPECT_EQ(send_part(modest, ++id, "modest"), Status::ok);
    const auto fill = [&] {
        while (id < 2 * kMost / 60000)
            send_part(greedy, ++id, "greedy");
    };
    EXPECT_THROW(fill(), std::runtime_error); // it is closed while a part arrives
    EXPECT_GT(id, kMost / 62000);
    daemon.expect_closed(greedy, "42"); // so many bytes, and some
    EXPECT_TRUE(daemon.logs(" bytes wait for all clients, and 39"));
    EXPECT_EQ(status_of(modest.ask(++id, set_message("volatile", "modest", "last", long_text(1)))), Status::ok);
    const std::string keys = daemon.control({"keys", "volatile"}).out;
    EXPECT_EQ(std::count(keys.begin(), keys.end(), '\n'), 6) << keys;
    EXPECT_EQ(keys.find("greedy"), std::string::npos) << keys;
}

// What is remembered after so many changes of a value of so many bytes: whether there was more, and the rows.
std::pair<std::uint32_t, std::size_t> remembered(Limited &daemon, std::uint32_t changes, std::size_t value_bytes) {
    Peer peer = Peer::over_unix(daemon.socket);
    for (std::uint32_t id = 1; id <= changes; ++id)
        EXPECT_EQ(status_of(peer.ask(id, set_message("volatile", "g", "a", long_text(value_bytes + id)))), Status::ok);
    std::uint64_t from = 0;
    std::size_t rows = 0;
    std::uint32_t lost = 2;
    for (std::uint32_t id = changes + 1, more = 1; more != 0; ++id) {
        const Received answer = peer.ask(id, message(control_changed, "volatile", "", "", from));
        lost = lost == 2 ? answer.uint32(3) : lost;
        more = answer.uint32(4);
        rows += (answer.size() - 5) / 7;
        from = answer.uint64(answer.size() - 7);
    }
    daemon.expect_alive(peer, 100000);
    return {lost, rows};
}

void reach_history_events() {
    Limited daemon("history_events", 16);
    EXPECT_EQ(remembered(daemon, 15, 10), std::pair(0U, std::size_t{16})); // the group is one of them
    EXPECT_EQ(remembered(daemon, 16, 100), std::pair(1U, std::size_t{16}));
}

void reach_history_bytes() {
    Limited daemon("history_bytes", 262144);
    EXPECT_EQ(remembered(daemon, 2, 60000), std::pair(0U, std::size_t{3}));
    EXPECT_EQ(remembered(daemon, 8, 50000), std::pair(1U, std::size_t{2})); // each has the old value, too
}

void reach_idle() {
    Limited daemon("idle", 1);
    Peer silent = Peer::over_unix(daemon.socket);
    Peer subscriber = Peer::over_unix(daemon.socket);
    subscriber.ask(1, message(control_notify, "volatile", "", "", protocol::kFromNow));
    Peer holder = Peer::over_unix(daemon.socket);
    holder.ask(1, message(control_trylock, "volatile", "g", ""));
    daemon.expect_closed(silent, "it has been silent for 1 s");
    EXPECT_EQ(status_of(subscriber.ask(2, kVersion)), Status::ok);
    EXPECT_EQ(status_of(holder.ask(2, kVersion)), Status::ok);
}

void reach_stall() {
    Limited daemon("stall", 1);
    Peer peer = Peer::over_unix(daemon.socket);
    ASSERT_TRUE(peer.send(encode({1, 2, 1, Bytes(1002, 'x')})));
    daemon.expect_closed(peer, "a message has stopped half way for 1 s");
}

void reach_rate() {
    constexpr std::uint32_t kRate = 10;
    Limited daemon("rate", kRate);
    Peer peer = Peer::over_unix(daemon.socket);
    std::uint32_t id = 0;
    std::uint32_t passed = 0;
    while (status_of(peer.ask(++id, kVersion)) == Status::ok && id < 1000)
        ++passed;
    EXPECT_GE(passed, kRate);
    EXPECT_LT(passed, 999U);
    EXPECT_TRUE(eventually([&] { return status_of(peer.ask(++id, kVersion)) == Status::ok; }));
    daemon.expect_others_served();
    EXPECT_EQ(daemon.log_lines("closed: "), 0U);
}

const struct {
    const char *name;
    void (*reach)();
} kCases[] = {
    {"clients", reach_clients},
    {"message_bytes", reach_message_bytes},
    {"packets", reach_packets},
    {"unfinished", reach_unfinished},
    {"parameters", reach_parameters},
    {"value_bytes", reach_value_bytes},
    {"queue_bytes", reach_queue_bytes},
    {"queue_messages", reach_queue_messages},
    {"events", reach_events},
    {"event_bytes", reach_event_bytes},
    {"subscriptions", reach_subscriptions},
    {"locks", reach_locks},
    {"lock_wait", reach_lock_wait},
    {"staged_bytes", reach_staged_bytes},
    {"kept_bytes", reach_kept_bytes},
    {"history_events", reach_history_events},
    {"history_bytes", reach_history_bytes},
    {"idle", reach_idle},
    {"stall", reach_stall},
    {"rate", reach_rate},
};

class LimitRows : public testing::TestWithParam<std::size_t> {};

TEST_P(LimitRows, IsReached) {
    ASSERT_LT(GetParam(), std::size(kCases));
    ASSERT_STREQ(kCases[GetParam()].name, protocol::kLimits[GetParam()].name);
    kCases[GetParam()].reach();
}

INSTANTIATE_TEST_SUITE_P(Table, LimitRows, testing::Range(std::size_t{0}, std::size(protocol::kLimits)),
                         [](const testing::TestParamInfo<std::size_t> &row) {
                             return protocol::kLimits[row.param].name;
                         });

// However small the limits are, a client that takes its answers gets all of them.
TEST(Queue, OfTheLeastSizeTakesEveryAnswer) {
    Limited daemon("queue_bytes", protocol::kLeastQueueBytes);
    Peer peer = Peer::over_unix(daemon.socket);
    const std::size_t most = protocol::kLargestValue;
    peer.ask(1, set_message("volatile", std::string(255, 'g'), std::string(255, 'n'), long_text(most, 'a')));
    peer.ask(2, set_message("volatile", std::string(255, 'g'), std::string(255, 'n'), long_text(most, 'b')));
    const Received changed = peer.ask(3, message(control_changed, "volatile", "", "", std::uint64_t{2}));
    ASSERT_EQ(changed.size(), 5U + 7U);
    EXPECT_EQ(changed.at(10).value.s.len, most);
    EXPECT_EQ(changed.at(11).value.s.len, most);
    for (int i = 0; i < 3000; ++i)
        peer.ask(static_cast<std::uint32_t>(4 + i), set_message("volatile", "g", std::to_string(i), long_text(40)));
    const Received listed = peer.ask(4000, message(control_list, "volatile", "", "", ""));
    EXPECT_EQ(listed.uint32(2), 1U);
    EXPECT_GT(listed.size(), 2000U);
    daemon.expect_alive(peer, 4001);
}

TEST(Packets, AreWhatALoadIsCutInto) {
    Limited daemon("packets", 3);
    EXPECT_TRUE(daemon.logs("limit message_bytes is 3006"));
    EXPECT_NE(daemon.control({"status", "--limits"}).out.find("3006"), std::string::npos);
    std::string values;
    for (int i = 0; i < 20; ++i)
        values += (i != 0 ? ", \"" : "\"") + std::to_string(i) + "\": \"" + std::string(700, 'x') + "\"";
    const Outcome load =
        daemon.control({"load", "volatile", "-"}, R"({"varnel": 1, "groups": {"g": {)" + values + "}}}");
    EXPECT_EQ(load.code, 0) << load.err;
    EXPECT_EQ(daemon.control({"get", "volatile:g:19"}).out, std::string(700, 'x') + "\n");
    EXPECT_EQ(daemon.log_lines("closed: "), 0U);
}

// Beside the rows above: other ways to stop half way.
TEST(Stall, EndsAPacketThatStopsHalfWay) {
    Limited daemon("stall", 1);
    Peer peer = Peer::over_unix(daemon.socket);
    ASSERT_TRUE(peer.send(Bytes{'V', 'A', 'R'}));
    daemon.expect_closed(peer, "a message has stopped half way for 1 s");
}

TEST(Stall, EndsAnAnswerThatIsNotTaken) {
    Limited daemon("stall", 1);
    Peer peer = Peer::over_unix(daemon.socket);
    peer.ask(1, set_message("volatile", "g", "a", long_text(3000)));
    peer.send_message(2, get_message("volatile", "g", "a").encode());
    daemon.expect_closed(peer, "a message has stopped half way for 1 s");
}

TEST(Stall, EndsAClientThatTakesNothingOfAllThatItHasAskedFor) {
    Limited daemon("stall", 1);
    Peer peer = Peer::over_unix(daemon.socket);
    peer.ask(1, set_message("volatile", "g", "a", long_text(60000)));
    for (std::uint32_t id = 2; id < 100; ++id)
        ASSERT_TRUE(peer.send(encode(packet_of(id, get_message("volatile", "g", "a").encode(), 1))));
    daemon.expect_closed(peer, "a message has stopped half way for 1 s");
}

// What is asked for waits while answers do: whoever takes them gets them all, however many he has asked for at once.
TEST(Queue, BringsManyFullPagesThatAreAskedForAtOnce) {
    Daemon daemon;
    daemon.start();
    Peer peer = Peer::over_unix(daemon.socket);
    for (std::uint32_t id = 1; id <= 20; ++id)
        peer.ask(id, set_message("volatile", "g", std::to_string(id), long_text(5000)));
    std::set<std::uint32_t> awaited;
    Bytes requests;
    for (std::uint32_t id = 100; id < 200; ++id) {
        const Bytes one = encode(packet_of(id, message(control_list, "volatile", "", "", "").encode(), 1));
        requests.insert(requests.end(), one.begin(), one.end());
        awaited.insert(id);
    }
    ASSERT_TRUE(peer.send(requests));
    while (!awaited.empty()) {
        std::uint32_t id = 0;
        const Received page = peer.receive_message(&id);
        ASSERT_EQ(status_of(page), Status::ok);
        EXPECT_EQ(page.uint32(2), 1U); // more: it is full
        EXPECT_EQ(awaited.erase(id), 1U) << id;
    }
    EXPECT_EQ(daemon.log_lines("closed: "), 0U);
}

// A half of the places is for UDP peers, but not those that are left for root in the end.
TEST(Clients, AnEighthIsKeptForRootAndTheDaemonsUser) {
    Daemon daemon;
    std::vector<Peer> peers;
    const std::uint16_t port = start_with_udp(daemon, {"--limits", "clients=16"});
    for (int i = 0; i < 14; ++i) {
        peers.push_back(Peer::over_unix(daemon.socket));
        EXPECT_EQ(status_of(peers.back().ask(1, kVersion)), Status::ok);
    }
    Peer datagrams = Peer::over_udp(port);
    ASSERT_TRUE(datagrams.send(encode(packet_of(1, kVersion.encode(), 1))));
    EXPECT_TRUE(eventually([&] {
        return daemon.logs("UDP peer refused (1 since the last line): the last 2 of the 16 places are kept for root");
    }));
    EXPECT_EQ(daemon.control({"status"}).code, 0); // another process of the daemon's user
    peers.pop_back();
    EXPECT_TRUE(eventually([&] {
        return datagrams.send(encode(packet_of(1, kVersion.encode(), 1))) &&
               datagrams.receive(Deadline::after(Milliseconds(100)));
    }));
}

TEST(Stall, IsNoMatterForEvents) {
    Daemon daemon;
    daemon.options = {"--limits", "stall=1,idle=1"};
    daemon.start();
    Peer watcher = Peer::over_unix(daemon.socket);
    watcher.ask(1, message(control_notify, "volatile", "g", "a", protocol::kFromNow));
    Peer writer = Peer::over_unix(daemon.socket);
    writer.ask(1, set_message("volatile", "g", "a", long_text(3000)));
    EXPECT_TRUE(writer.is_closed()); // idle: the watcher could have stalled meanwhile
    const Received event = watcher.receive_message();
    EXPECT_EQ(event.at(6).value.s.len, 3000U);
}

} // namespace

} // namespace varnel::test
