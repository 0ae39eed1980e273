// SPDX-License-Identifier: MIT
// A connection between an engine and a socket: ids, turns, events, time, the end.
#include "connection_fixture.h"

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
