// SPDX-License-Identifier: MIT
// A connection between an engine and a socket: how much it keeps for a client, and when it gives one up.
#include "engine_fixture.h"
#include "transport/wire.h"

#include "daemon/connection.h"

#include <csignal>
#include <sstream>

using namespace varnel::daemon;
using varnel::make_string;
using varnel::protocol::kFirstEventId;

namespace {

class Owner final : public ConnectionOwner {
public:
    void owe(Connection &connection) override {
        ++owed;
        if (every_answer_ends_a_turn)
            connection.settle();
    }
    void doom(Connection &, const std::string &why) override { reasons += why + "; "; }
    std::string reasons;
    bool every_answer_ends_a_turn = true;
    int owed = 0;
};

// A connection that has as much room as the test says.
class TestConnection final : public Connection {
public:
    TestConnection(Engine &engine, ConnectionOwner &owner, int fd)
        : Connection(engine, owner, 1, "connection 1", client_new(CLIENT_STREAM, fd, nullptr)) {}

    [[nodiscard]] bool is_datagram() const override { return datagram; }

    std::size_t room = SIZE_MAX;
    int waits = 0;
    bool datagram = false;

private:
    bool take_room() override {
        if (room == 0)
            return false;
        --room;
        return true;
    }
    void wait_for_room() override { ++waits; }
    std::optional<std::uint32_t> longest_silence(const Limits &limits, bool attached) const override {
        return attached ? std::nullopt : std::optional(limits[Limit::idle]);
    }
};

class ConnectionTest : public EngineTest {
public:
    TestConnection &connection() {
        if (!connection_)
            connection_.emplace(engine(), owner, ends_.writer.get());
        return *connection_;
    }
    void close() { connection_.reset(); }

    // What the client sends, in reads of at most a packet.
    void feed(const Bytes &bytes) {
        for (std::size_t at = 0; at < bytes.size() && connection().space() > 0;) {
            const std::size_t some = std::min({bytes.size() - at, connection().space(), std::size_t{PACKET_SIZE}});
            connection().receive(bytes.data() + at, some, now);
            at += some;
        }
    }
    void send(std::uint32_t id, const Message &message) {
        for (const Bytes &one : packets_of(id, message.encode())) {
            feed(one);
            engine().commit();
        }
    }
    void get(std::uint32_t id) { send(id, get_request("volatile", "net", "port")); }
    void set(const char *value) { ask(client(9), set_request("volatile", {{"net", "port", value}})); }

    // Packets that have arrived at the client: "id/count.index".
    std::string packets() {
        std::string text;
        const Bytes all = drain(ends_.reader.get());
        received_.insert(received_.end(), all.begin(), all.end());
        while (received_.size() >= PACKET_HEADER_SIZE) {
            const auto word = [this](std::size_t at) {
                return std::uint32_t{received_[at]} << 24 | std::uint32_t{received_[at + 1]} << 16 |
                       std::uint32_t{received_[at + 2]} << 8 | received_[at + 3];
            };
            text +=
                (word(6) >= kFirstEventId ? "e" + std::to_string(word(6) - kFirstEventId) : std::to_string(word(6))) +
                "/" + std::to_string(word(10)) + "." + std::to_string(word(14)) + " ";
            const std::size_t size = PACKET_HEADER_SIZE + word(18);
            last_.assign(received_.begin() + PACKET_HEADER_SIZE, received_.begin() + static_cast<std::ptrdiff_t>(size));
            received_.erase(received_.begin(), received_.begin() + static_cast<std::ptrdiff_t>(size));
        }
        return text;
    }
    // Acknowledges what arrives until no more comes; the ids of the messages that have arrived whole, in their order.
    std::string take_all() {
        std::string ids;
        for (std::istringstream arrived(packets()); arrived.peek() != EOF; arrived = std::istringstream(packets())) {
            std::uint32_t id = 0;
            std::uint32_t count = 0;
            std::uint32_t index = 0;
            char separator = 0;
            while (arrived >> id >> separator >> count >> separator >> index) {
                if (index == count)
                    ids += std::to_string(id) + " ";
                else
                    feed(ack(id, index));
                end_turn();
            }
        }
        return ids;
    }
    // As the server does it.
    void end_turn() {
        do {
            owner.owed = 0;
            engine().commit();
            connection().settle();
        } while (owner.owed != 0);
    }
    // The payload of the last packet, as an answer.
    std::string last_answer() { return answer_words(Received(last_)); }

    Owner owner;

private:
    Ends ends_ = Ends::stream();
    Bytes received_;
    Bytes last_;
    std::optional<TestConnection> connection_;
};

std::string text(std::size_t size) {
    return std::string(size, 'x');
}

} // namespace

TEST_F(ConnectionTest, AnswersUnderTheIdOfTheRequest) {
    get(7);
    EXPECT_EQ(packets(), "7/1.1 ");
    EXPECT_EQ(last_answer(), "not_found: volatile:net:port is not there");
    EXPECT_TRUE(connection().is_drained());
}

TEST_F(ConnectionTest, RefusesIdsThatRequestsDoNotHave) {
    for (const std::uint32_t id : {0U, kFirstEventId, UINT32_MAX}) {
        owner.reasons.clear();
        close();
        get(id);
        EXPECT_EQ(owner.reasons, "it uses " + std::to_string(id) + " as the id of a request; ");
        EXPECT_EQ(packets(), "");
    }
}

TEST_F(ConnectionTest, RefusesAnIdWhoseAnswerWaits) {
    set(text(2000).c_str());
    owner.every_answer_ends_a_turn = false;
    get(7);
    get(7);
    connection().settle();
    EXPECT_EQ(owner.reasons, "it has used 7 as the id of two requests; ");
}

TEST_F(ConnectionTest, RefusesAnIdWhoseAnswerIsUnderWay) {
    set(text(2000).c_str());
    get(7);
    EXPECT_EQ(packets(), "7/3.1 ");
    get(7);
    EXPECT_EQ(owner.reasons, "it uses 7 as the id of a request again, whose answer it has not taken; ");
    EXPECT_TRUE(connection().is_doomed());
}

TEST_F(ConnectionTest, IsDoomedOnceByMalformedPackets) {
    feed(bytes_of("GET / HTTP/1.1\r\n"));
    EXPECT_EQ(owner.reasons, "it sent bytes that make no packet; ");
    feed(bytes_of("more"));
    EXPECT_EQ(owner.reasons, "it sent bytes that make no packet; ");
}

TEST_F(ConnectionTest, ADoomedConnectionHandlesNothingMore) {
    connection();
    feed(join({packets_of(0, get_request("volatile", "net", "port").encode())[0],
               packets_of(8, set_request("volatile", {{"a", "b", "c"}}).encode())[0]}));
    EXPECT_TRUE(connection().is_doomed());
    EXPECT_EQ(content("volatile", "main"), "");
    EXPECT_EQ(packets(), "");
    EXPECT_TRUE(connection().is_drained());
}

TEST_F(ConnectionTest, QueuesAnswersWithoutRoomAndSendsThemInOrder) {
    connection().room = 0;
    feed(join({packets_of(1, get_request("volatile", "net", "port").encode())[0],
               packets_of(2, get_request("volatile", "net", "port").encode())[0]}));
    EXPECT_EQ(packets(), "");
    EXPECT_EQ(connection().waits, 1); // it is told once
    EXPECT_TRUE(connection().waits_for_room());
    EXPECT_EQ(connection().space(), 0U); // and reads nothing more
    EXPECT_FALSE(connection().is_drained());
    connection().room = 1;
    connection().resume(now);
    EXPECT_EQ(packets(), "1/1.1 ");
    EXPECT_TRUE(connection().waits_for_room());
    connection().room = SIZE_MAX;
    connection().resume(now);
    EXPECT_EQ(packets(), "2/1.1 ");
    EXPECT_TRUE(connection().is_drained());
    EXPECT_GT(connection().space(), 0U);
}

TEST_F(ConnectionTest, SendsLargeAnswersPacketByPacket) {
    set(text(2500).c_str());
    get(7);
    EXPECT_EQ(packets(), "7/3.1 ");
    EXPECT_FALSE(connection().is_drained());
    feed(ack(7, 1));
    EXPECT_EQ(packets(), "7/3.2 ");
    feed(ack(7, 2));
    EXPECT_EQ(packets(), "7/3.3 ");
    EXPECT_TRUE(connection().is_drained());
}

TEST_F(ConnectionTest, FourLargeAnswersAreUnderWayAtATime) {
    set(text(2500).c_str());
    for (std::uint32_t id = 1; id <= 6; ++id)
        get(id);
    EXPECT_EQ(packets(), "1/3.1 2/3.1 3/3.1 4/3.1 ");
    feed(join({ack(2, 1), ack(2, 2)}));
    EXPECT_EQ(packets(), "2/3.2 2/3.3 5/3.1 ");
    feed(join({ack(1, 1), ack(1, 2), ack(3, 1), ack(3, 2)}));
    EXPECT_EQ(packets(), "1/3.2 1/3.3 3/3.2 3/3.3 6/3.1 ");
}

// Four answers are under way, and one waits: what is asked for then is kept. That must not become too much either.
TEST_F(ConnectionTest, GivesUpAClientThatDoesNotTakeItsAnswers) {
    EXPECT_EQ(limits.set("queue_bytes", "150000"), std::nullopt);
    set(text(50000).c_str());
    for (std::uint32_t id = 1; id <= 100; ++id)
        get(id);
    const auto send_large = [this](std::uint32_t id) {
        send(id, set_request("volatile", {{"net", "port", text(50000).c_str()}}));
    };
    for (std::uint32_t id = 101; id <= 103; ++id)
        send_large(id);
    EXPECT_EQ(owner.reasons, "");
    send_large(104);
    EXPECT_EQ(owner.reasons, "it does not take its answers; ");
}

TEST_F(ConnectionTest, GivesUpAClientThatLetsManySmallAnswersWait) {
    EXPECT_EQ(limits.set("queue_messages", "3"), std::nullopt);
    set(text(2500).c_str());
    for (std::uint32_t id = 1; id <= 4; ++id)
        get(id);
    for (std::uint32_t id = 5; id <= 10; ++id) // three answers, and three requests
        send(id, request(control_other, {"version"}));
    EXPECT_EQ(owner.reasons, "");
    send(11, request(control_other, {"version"}));
    EXPECT_EQ(owner.reasons, "it does not take its answers; ");
}

TEST_F(ConnectionTest, RequestsWaitAsLongAsAnswersDo) {
    EXPECT_EQ(limits.set("queue_bytes", "133120"), std::nullopt);
    set(text(60000).c_str());
    std::string expected;
    for (std::uint32_t id = 1; id <= 40; ++id) {
        get(id);
        expected += id == 38 ? "41 42 38 " : std::to_string(id) + " "; // short answers overtake those under way
    }
    send(41, set_request("volatile", {{"net", "port", "81"}}));
    send(42, request(control_other, {"version"}));
    EXPECT_NE(content("volatile", "main").find(text(60000)), std::string::npos); // it has not been done yet
    EXPECT_FALSE(connection().is_drained());
    EXPECT_EQ(take_all(), expected);
    EXPECT_EQ(content("volatile", "main"), "[net] port=81 ");
    EXPECT_EQ(owner.reasons, "");
    EXPECT_TRUE(connection().is_drained());
}

// Their answers would come all at once, when the storage has what is read.
TEST_F(ConnectionTest, RequestsBehindOneThatWaitsForTheStorageWait) {
    EXPECT_EQ(limits.set("queue_bytes", "133120"), std::nullopt);
    owner.every_answer_ends_a_turn = false;
    const auto feed_one = [this](std::uint32_t id, const Message &message) {
        for (const Bytes &one : packets_of(id, message.encode()))
            feed(one);
    };
    ask(client(9), set_request("user", {{"net", "port", text(60000).c_str()}}));
    feed_one(1, set_request("user", {{"net", "host", "x"}}));
    std::string expected = "1 ";
    for (std::uint32_t id = 2; id <= 40; ++id) {
        feed_one(id, get_request("user", "net", "port"));
        expected += std::to_string(id) + " ";
    }
    end_turn();
    EXPECT_EQ(take_all(), expected);
    EXPECT_EQ(owner.reasons, "");
}

TEST_F(ConnectionTest, AChangeBehindOneThatWaitsForTheStorageIsDoneInTheSameTurn) {
    owner.every_answer_ends_a_turn = false;
    feed(join({packets_of(1, set_request("user", {{"net", "port", "80"}}).encode())[0],
               packets_of(2, get_request("user", "net", "port").encode())[0],
               packets_of(3, set_request("user", {{"net", "port", "81"}}).encode())[0]}));
    end_turn();
    EXPECT_EQ(packets(), "1/1.1 2/1.1 3/1.1 ");
    EXPECT_EQ(content("user", "main"), "[net] port=81 ");
}

TEST_F(ConnectionTest, AClientWhoseRequestsWaitIsOverdueWhenItTakesNothing) {
    EXPECT_EQ(limits.set("stall", "30"), std::nullopt);
    EXPECT_EQ(limits.set("queue_bytes", "133120"), std::nullopt);
    set(text(60000).c_str());
    for (std::uint32_t id = 1; id <= 40; ++id)
        get(id);
    EXPECT_EQ(connection().overdue(now + 30000), std::nullopt);
    EXPECT_EQ(connection().overdue(now + 30001), "a message has stopped half way for 30 s");
}

TEST_F(ConnectionTest, TheQueueHasNoMemoryOfWhatHasLeftIt) {
    EXPECT_EQ(limits.set("queue_messages", "2"), std::nullopt);
    EXPECT_EQ(limits.set("queue_bytes", "133120"), std::nullopt);
    set(text(1500).c_str());
    for (std::uint32_t round = 0; round < 100; ++round) {
        connection().room = 0;
        get(1 + 2 * round);
        connection().room = SIZE_MAX;
        connection().resume(now);
        feed(ack(1 + 2 * round, 1));
    }
    EXPECT_EQ(owner.reasons, "");
    EXPECT_TRUE(connection().is_drained());
}

// ---- datagrams, which anybody can send under the client's address

TEST_F(ConnectionTest, IgnoresDatagramsThatCannotBeMeant) {
    set(text(2500).c_str());
    connection().datagram = true;
    const auto receive = [this](const Bytes &bytes) { connection().receive_datagram(bytes.data(), bytes.size(), now); };
    const Bytes asked = packets_of(7, get_request("volatile", "net", "port").encode())[0];
    receive(asked);
    EXPECT_EQ(packets(), "7/3.1 ");
    const Bytes message = set_request("volatile", {{"a", "b", text(3000).c_str()}}).encode();
    const Bytes first = packets_of(8, message)[0];
    receive(first);
    EXPECT_EQ(packets(), "8/0.1 "); // acknowledged
    Bytes of_another = first;
    of_another[13] = 9; // the number of its packets
    const std::uint64_t ignored = engine().statistics().ignored;
    for (const Bytes &bytes : {asked, of_another, bytes_of("VARNEL and more than a header")})
        receive(bytes);
    EXPECT_EQ(owner.reasons, "");
    EXPECT_EQ(engine().statistics().ignored, ignored + 3);
    receive(ack(7, 1));
    EXPECT_EQ(packets(), "7/3.2 ");
    receive(packets_of(8, message)[1]);
    EXPECT_EQ(packets(), "8/0.2 ");
}

TEST_F(ConnectionTest, DatagramsHaveHeadersThatAClientMaySend) {
    const auto has_header = [this](const Bytes &bytes) {
        return Connection::header_of_datagram(bytes, limits).has_value();
    };
    const Bytes good = packets_of(7, get_request("volatile", "net", "port").encode())[0];
    EXPECT_TRUE(has_header(good));
    EXPECT_TRUE(has_header(ack(7, 1)));
    EXPECT_TRUE(has_header(ack(kFirstEventId, 1)));
    EXPECT_FALSE(has_header(Bytes(good.begin(), good.end() - 1)));
    for (const std::uint32_t id : {0U, kFirstEventId, UINT32_MAX})
        EXPECT_FALSE(has_header(packets_of(id, get_request("volatile", "net", "port").encode())[0])) << id;
    for (const std::size_t at : {0U, 5U, 10U, 14U, 18U}) { // magic, count, index, length
        Bytes bad = good;
        bad[at] ^= 0x80U;
        EXPECT_FALSE(has_header(bad)) << at;
    }
}

// ---- turns

TEST_F(ConnectionTest, SendsTheAnswersOfATurnTogether) {
    owner.every_answer_ends_a_turn = false;
    get(1);
    get(2);
    EXPECT_EQ(packets(), "");
    EXPECT_EQ(owner.owed, 1); // asked for once
    connection().settle();
    EXPECT_EQ(packets(), "1/1.1 2/1.1 ");
    get(3);
    EXPECT_EQ(owner.owed, 2);
}

// A queue that one turn fills is not a client that does not take its answers.
TEST_F(ConnectionTest, OffersWhatItHasBeforeItGivesAClientUp) {
    EXPECT_EQ(limits.set("queue_messages", "2"), std::nullopt);
    EXPECT_EQ(limits.set("queue_bytes", "133120"), std::nullopt);
    set(text(60000).c_str());
    owner.every_answer_ends_a_turn = false;
    for (std::uint32_t id = 1; id <= 3; ++id)
        get(id);
    for (std::uint32_t id = 4; id <= 20; ++id)
        send(id, request(control_other, {"version"}));
    connection().settle();
    EXPECT_EQ(owner.reasons, "");
    EXPECT_EQ(packets().find("1/60.1 2/60.1 3/60.1 4/1.1 "), 0U);
}

// ---- events

TEST_F(ConnectionTest, EventsHaveIdsOfTheirOwn) {
    send(1, notify_request("volatile"));
    set("80");
    set("81");
    EXPECT_EQ(packets(), "1/1.1 e0/1.1 e1/1.1 e2/1.1 ");
}

TEST_F(ConnectionTest, EventsComeBehindTheAnswerToNotify) {
    set("80");
    connection().room = 0;
    feed(packets_of(1, notify_request("volatile", "", "", 0).encode())[0]);
    connection().room = SIZE_MAX;
    connection().resume(now);
    EXPECT_EQ(packets(), "1/1.1 e0/1.1 e1/1.1 ");
}

TEST_F(ConnectionTest, EventsWaitForRoomAndDoNotKeepAnswersBack) {
    send(1, notify_request("volatile"));
    connection().room = 0;
    set("80");
    set("81");
    EXPECT_EQ(packets(), "1/1.1 ");
    EXPECT_TRUE(connection().is_drained()); // no answer waits
    connection().room = SIZE_MAX;
    connection().resume(now);
    EXPECT_EQ(packets(), "e0/1.1 e1/1.1 e2/1.1 ");
}

TEST_F(ConnectionTest, ASubscriberThatTakesNothingLosesEventsAndStays) {
    EXPECT_EQ(limits.set("events", "4"), std::nullopt);
    send(1, notify_request("volatile"));
    EXPECT_EQ(packets(), "1/1.1 ");
    connection().room = 0;
    for (int i = 0; i < 50; ++i)
        set(std::to_string(i).c_str());
    EXPECT_EQ(owner.reasons, "");
    connection().room = SIZE_MAX;
    connection().resume(now);
    EXPECT_EQ(packets(), "e0/1.1 e1/1.1 e2/1.1 e3/1.1 e4/1.1 ");
    set("x");
    EXPECT_EQ(packets(), "e5/1.1 ");
}

TEST_F(ConnectionTest, EventsDoNotOvertakeALargeOne) {
    send(1, notify_request("volatile"));
    set(text(1500).c_str());
    set("small");
    EXPECT_EQ(packets(), "1/1.1 e0/1.1 e1/2.1 ");
    feed(ack(kFirstEventId + 1, 1));
    EXPECT_EQ(packets(), "e1/2.2 e2/2.1 ");
    set("x");
    EXPECT_EQ(packets(), "");
    feed(ack(kFirstEventId + 2, 1));
    EXPECT_EQ(packets(), "e2/2.2 e3/1.1 ");
}

// ---- time

TEST_F(ConnectionTest, IsOverdueWhenAMessageStopsHalfWay) {
    EXPECT_EQ(limits.set("stall", "30"), std::nullopt);
    feed(packets_of(1, set_request("volatile", {{"a", "b", text(1500).c_str()}}).encode())[0]);
    EXPECT_EQ(connection().overdue(now + 30000), std::nullopt);
    EXPECT_EQ(connection().overdue(now + 30001), "a message has stopped half way for 30 s");
}

TEST_F(ConnectionTest, IsOverdueWhenAPacketStopsHalfWay) {
    EXPECT_EQ(limits.set("stall", "30"), std::nullopt);
    feed(bytes_of("VARN"));
    EXPECT_EQ(connection().overdue(now + 30000), std::nullopt);
    EXPECT_EQ(connection().overdue(now + 30001), "a message has stopped half way for 30 s");
}

TEST_F(ConnectionTest, IsOverdueWhenAnAnswerIsNotTaken) {
    EXPECT_EQ(limits.set("stall", "30"), std::nullopt);
    set(text(1500).c_str());
    get(1);
    EXPECT_EQ(connection().overdue(now + 30000), std::nullopt);
    EXPECT_EQ(connection().overdue(now + 30001), "a message has stopped half way for 30 s");
    now += 20000;
    feed(ack(1, 1));
    EXPECT_EQ(connection().overdue(now + 30001), std::nullopt); // all of it has been handed over
}

TEST_F(ConnectionTest, WhoeverMovesIsNotOverdue) {
    EXPECT_EQ(limits.set("stall", "30"), std::nullopt);
    set(text(9000).c_str());
    get(1);
    for (std::uint32_t index = 1; index <= 8; ++index) {
        now += 20000;
        EXPECT_EQ(connection().overdue(now), std::nullopt);
        feed(ack(1, index));
    }
    EXPECT_EQ(owner.reasons, "");
}

// The time counts from when the answer began to wait, not from the client's last word.
TEST_F(ConnectionTest, AnAnswerThatComesLateHasItsTime) {
    EXPECT_EQ(limits.set("stall", "30"), std::nullopt);
    set(text(1500).c_str());
    ask(client(2), trylock_request("net"));
    send(1, lock_request("net", "", 500000));
    now += 400000;
    connection().room = 0;
    ask(client(2), unlock_request("net"));
    EXPECT_FALSE(connection().is_drained());
    EXPECT_EQ(connection().overdue(now + 30000), std::nullopt);
    EXPECT_EQ(connection().overdue(now + 30001), "a message has stopped half way for 30 s");
}

TEST_F(ConnectionTest, EventsMayWaitForAsLongAsTheClientLikes) {
    send(1, notify_request("volatile"));
    connection().room = 0;
    set(text(1500).c_str());
    EXPECT_EQ(connection().overdue(now + 100000000), std::nullopt);
}

TEST_F(ConnectionTest, IsOverdueWhenSilentWithoutAReason) {
    EXPECT_EQ(limits.set("idle", "60"), std::nullopt);
    connection();
    EXPECT_EQ(connection().overdue(now + 60000), std::nullopt);
    EXPECT_EQ(connection().overdue(now + 60001), "it has been silent for 60 s");
    send(1, trylock_request("net"));
    EXPECT_EQ(connection().overdue(now + 60001), std::nullopt);
    send(2, unlock_request("net"));
    EXPECT_EQ(connection().overdue(now + 60001), "it has been silent for 60 s");
    send(3, notify_request("volatile"));
    EXPECT_EQ(connection().overdue(now + 60001), std::nullopt);
    now += 50000;
    send(4, request(control_unnotify, {"volatile", "", ""}));
    EXPECT_EQ(connection().overdue(now + 60000), std::nullopt);
}

// ---- the end

TEST_F(ConnectionTest, GivesUpLocksWithItsEnd) {
    send(1, trylock_request("net"));
    EXPECT_EQ(ask(client(2), trylock_request("net")), "busy: locked by connection 1");
    close();
    EXPECT_EQ(ask(client(2), trylock_request("net")), "ok user");
}

TEST_F(ConnectionTest, PartingSendsNothingMore) {
    send(1, notify_request("volatile"));
    EXPECT_EQ(packets(), "1/1.1 ");
    connection().part();
    set("80");
    get(2);
    EXPECT_EQ(packets(), "");
    EXPECT_TRUE(connection().is_drained());
    EXPECT_EQ(owner.reasons, "");
}

// ---- datagrams

TEST_F(ConnectionTest, ADatagramIsWholeOrForgotten) {
    const Bytes whole = packets_of(1, get_request("volatile", "net", "port").encode())[0];
    connection().receive_datagram(whole.data(), whole.size() - 1, now);
    EXPECT_EQ(packets(), "");
    connection().receive_datagram(whole.data(), whole.size(), now);
    EXPECT_EQ(packets(), "1/1.1 ");
    EXPECT_EQ(connection().overdue(now + 100000), std::nullopt);
}

TEST_F(ConnectionTest, DatagramsWithoutRoomAreLostAndNothingElse) {
    set("80");
    const Bytes whole = packets_of(1, get_request("volatile", "net", "port").encode())[0];
    connection().room = 0;
    for (int i = 0; i < 100; ++i)
        connection().receive_datagram(whole.data(), whole.size(), now);
    connection().room = SIZE_MAX;
    connection().resume(now);
    EXPECT_NE(packets(), "");
    EXPECT_EQ(owner.reasons, "");
}
