// SPDX-License-Identifier: MIT
// What a connection keeps for a client that does not take its answers yet, and when it gives one up; what it makes of
// datagrams.
#include "connection_fixture.h"

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

// ---- what it keeps, which its owner adds up for all connections

TEST_F(ConnectionTest, CountsAnswersThatWaitAndThoseUnderWay) {
    set(text(2500).c_str());
    connection().room = 0;
    get(1);
    EXPECT_GT(owner.kept, 2500U);
    EXPECT_LT(owner.kept, 2700U);
    connection().room = SIZE_MAX;
    connection().resume(now);
    connection().settle();
    EXPECT_EQ(owner.kept, 3 * sizeof(msginfo_packet));
    EXPECT_EQ(connection().kept().bytes, owner.kept);
    EXPECT_EQ(take_all(), "1 ");
    EXPECT_EQ(owner.kept, 0U);
}

TEST_F(ConnectionTest, CountsMessagesThatHaveArrivedInPart) {
    const std::vector<Bytes> set = packets_of(1, set_request("volatile", {{"a", "b", text(2500).c_str()}}).encode());
    ASSERT_EQ(set.size(), 3U);
    feed(set[0]);
    EXPECT_EQ(owner.kept, 3 * sizeof(msginfo_packet)); // there is a place for each
    feed(set[1]);
    feed(set[2]);
    EXPECT_EQ(owner.kept, 0U);
}

TEST_F(ConnectionTest, CountsRowsOfAWriteThatIsNotWhole) {
    send(1, set_request("volatile", {{"a", "b", text(500).c_str()}}, 0, varnel::protocol::kWriteMore));
    EXPECT_GT(owner.kept, 500U);
    EXPECT_LT(owner.kept, 700U);
    send(2, set_request("volatile", {{"a", "c", "x"}}));
    EXPECT_EQ(owner.kept, 0U);
}

TEST_F(ConnectionTest, CountsEventsThatWaitApart) {
    send(1, notify_request("volatile"));
    connection().room = 0;
    set(text(500).c_str());
    EXPECT_EQ(owner.kept, 0U);
    EXPECT_GT(owner.kept_events, 500U);
    EXPECT_LT(owner.kept_events, 1000U);
    connection().room = SIZE_MAX;
    connection().resume(now);
    connection().settle();
    EXPECT_EQ(owner.kept_events, 0U);
}

TEST_F(ConnectionTest, GivesUpEventsThatWaitAndTellsOfThat) {
    send(1, notify_request("volatile"));
    EXPECT_EQ(take_all(), "1 ");
    connection().room = 0;
    set("1");
    set("2");
    connection().give_events_up();
    EXPECT_EQ(owner.kept_events, 0U);
    EXPECT_EQ(statistic("lost"), 3U); // the group, too
    EXPECT_EQ(owner.reasons, "");
    connection().room = SIZE_MAX;
    connection().resume(now);
    set("3");
    connection().settle();
    EXPECT_EQ(packets(), "e0/1.1 e1/1.1 ");
    send(2, from_request(control_notify, "volatile", "", "", 0)); // what was lost can be asked for
    EXPECT_EQ(packets(), "2/1.1 e2/1.1 e3/1.1 e4/1.1 ");
}

TEST_F(ConnectionTest, CountsNothingOnceItHasParted) {
    set(text(2500).c_str());
    get(1);
    EXPECT_NE(owner.kept, 0U);
    connection().part();
    EXPECT_EQ(owner.kept, 0U);
    connection().settle();
    EXPECT_EQ(owner.kept, 0U);
    close();
    EXPECT_EQ(owner.kept, 0U);
}

// When all connections keep as much as they may, a client has to take an answer before its next request is handled.
TEST_F(ConnectionTest, OneAnswerWaitsAtATimeWhenMemoryIsFull) {
    owner.every_answer_ends_a_turn = false;
    owner.full = true;
    connection().room = 0;
    for (std::uint32_t id = 1; id <= 2; ++id)
        feed(packets_of(id, get_request("volatile", "net", "port").encode())[0]);
    EXPECT_EQ(statistic("requests"), 1U);
    connection().room = SIZE_MAX;
    connection().resume(now);
    end_turn();
    EXPECT_EQ(take_all(), "1 2 ");
}

TEST_F(ConnectionTest, ALongAnswerIsTakenBeforeTheNextWhenMemoryIsFull) {
    set(text(2500).c_str());
    owner.full = true;
    for (std::uint32_t id = 1; id <= 2; ++id)
        get(id);
    EXPECT_EQ(packets(), "1/3.1 ");
    EXPECT_EQ(owner.kept, 3 * sizeof(msginfo_packet) + get_request("volatile", "net", "port").bytes());
    feed(join({ack(1, 1), ack(1, 2)}));
    end_turn();
    EXPECT_EQ(packets(), "1/3.2 1/3.3 2/3.1 ");
}
