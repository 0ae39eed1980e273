// SPDX-License-Identifier: MIT
// Requests, answers and events over a stream, with a peer that keeps to the protocol.
#include "conversation/peer.h"

#include "protocol/protocol.h"

#include <gtest/gtest.h>

#include <csignal>
#include <sys/socket.h>
#include <unistd.h>

using namespace conversation_tests;
using varnel::protocol::kFirstEventId;
using varnel::protocol::Received;
using varnel::protocol::Status;

namespace {

std::string ask(Peer &peer) {
    return std::string(peer.conversation().request(get_request(), Repeat::never).text(1));
}

} // namespace

TEST(Conversation, SendsARequestAndReadsItsAnswer) {
    Peer peer;
    peer.say(packets(1, answer("green")));
    EXPECT_EQ(ask(peer), "green");
    EXPECT_EQ(peer.heard(), packets(1, get_request().encode()));
}

TEST(Conversation, CountsRequestsFromOneOn) {
    Peer peer;
    for (const std::uint32_t id : {1U, 2U, 3U}) {
        peer.say(packets(id, answer(std::to_string(id))));
        EXPECT_EQ(ask(peer), std::to_string(id));
    }
    const auto headers = headers_of(peer.heard());
    ASSERT_EQ(headers.size(), 3U);
    EXPECT_EQ(headers[0].id, 1U);
    EXPECT_EQ(headers[1].id, 2U);
    EXPECT_EQ(headers[2].id, 3U);
}

TEST(Conversation, ReadsAnAnswerHoweverItIsSplit) {
    const Bytes whole = packets(1, answer("split"));
    for (std::size_t cut = 1; cut < whole.size(); ++cut) {
        Peer peer(kPlenty, SOCK_SEQPACKET);
        const auto middle = whole.begin() + static_cast<std::ptrdiff_t>(cut);
        peer.say({whole.begin(), middle});
        peer.say({middle, whole.end()});
        ASSERT_EQ(ask(peer), "split") << "cut at " << cut;
    }
}

TEST(Conversation, ReadsAnAnswerThatComesByteByByte) {
    Peer peer(kPlenty, SOCK_SEQPACKET);
    for (const std::uint8_t byte : packets(1, answer("slow")))
        peer.say({byte});
    EXPECT_EQ(ask(peer), "slow");
}

TEST(Conversation, ReadsAnAnswerOfAHundredPacketsAndAcknowledgesAllButTheLast) {
    Message message = ok(control_list);
    for (int i = 0; i < 99; ++i)
        message.add(std::string(995, static_cast<char>('a' + i % 26)));
    message.add(std::string(500, 'z'));
    const Bytes bytes = message.encode();
    ASSERT_EQ(packet_count(bytes), 100U);
    Peer peer;
    peer.say(packets(1, bytes));
    const Received received = peer.conversation().request(Message(control_list), Repeat::never);
    ASSERT_EQ(received.size(), 101U);
    EXPECT_EQ(received.text(27), std::string(995, 'a'));
    EXPECT_EQ(received.text(100), std::string(500, 'z'));
    const auto headers = headers_of(peer.heard());
    ASSERT_EQ(headers.size(), 100U); // the request, and the acknowledgements
    for (std::uint32_t i = 1; i < 100; ++i) {
        EXPECT_EQ(headers[i].count, 0U);
        EXPECT_EQ(headers[i].index, i);
    }
}

TEST(Conversation, SendsALongRequestAsItsPacketsAreAcknowledged) {
    Message message(control_set);
    message.add(std::string(3000, 'x'));
    const Bytes bytes = message.encode();
    ASSERT_EQ(packet_count(bytes), 4U);
    Peer peer;
    peer.say(acknowledgement(1, 1) + acknowledgement(1, 2) + acknowledgement(1, 3) +
             packets(1, answer("", control_set)));
    peer.conversation().request(message, Repeat::never);
    EXPECT_EQ(peer.heard(), packets(1, bytes));
}

TEST(Conversation, SendsNoMoreOfALongRequestThanIsAcknowledged) {
    Message message(control_set);
    message.add(std::string(3000, 'x'));
    Peer peer(kShort);
    peer.say(acknowledgement(1, 1));
    EXPECT_EQ(kind_thrown([&] { peer.conversation().ask(message, Repeat::never); }), ErrorKind::timed_out);
    EXPECT_EQ(headers_of(peer.heard()).size(), 2U);
}

TEST(Conversation, KeepsEventsThatComeWhileAnAnswerIsAwaited) {
    Peer peer;
    peer.say(packets(kFirstEventId, event(7, "hall").encode()) +
             packets(kFirstEventId + 1, event(8, "attic").encode()) + packets(1, answer("green")) +
             packets(kFirstEventId + 2, event(9, "porch").encode()));
    EXPECT_EQ(ask(peer), "green");
    for (const std::uint64_t revision : {7U, 8U, 9U})
        EXPECT_EQ(peer.conversation().next_event(Deadline::after(kPlenty))->uint64(0), revision);
}

TEST(Conversation, HasNoEventWhenTheDeadlinePasses) {
    Peer peer;
    EXPECT_FALSE(peer.conversation().next_event(Deadline::after(kShort)));
    peer.say(packets(kFirstEventId, event(7, "hall").encode()));
    EXPECT_TRUE(peer.conversation().next_event(Deadline::after(kPlenty)));
}

// More than may be unfinished at a time: each is dropped when it has been delivered.
TEST(Conversation, TakesAnyNumberOfLongEvents) {
    const Bytes bytes = event(1, "hall", std::string(1500, 'x')).encode();
    ASSERT_EQ(packet_count(bytes), 2U);
    Peer peer;
    for (std::uint32_t i = 0; i < 1000; ++i) {
        peer.say(packets(kFirstEventId + i, bytes));
        ASSERT_TRUE(peer.conversation().next_event(Deadline::after(kPlenty)));
        peer.heard();
    }
}

TEST(Conversation, ThrowsTheStatusAndTheMessageOfARefusal) {
    Peer peer;
    peer.say(packets(1, Message(control_get).add(std::uint32_t{6}).add("locked by connection 3").encode()));
    try {
        ask(peer);
        FAIL() << "no Error";
    } catch (const Error &error) {
        EXPECT_EQ(error.kind(), ErrorKind::refused);
        EXPECT_EQ(error.status(), Status::busy);
        EXPECT_STREQ(error.what(), "locked by connection 3");
    }
}

TEST(Conversation, AsksWithoutLookingAtTheStatus) {
    Peer peer;
    peer.say(packets(1, Message(control_get).add(std::uint32_t{6}).add("locked").encode()));
    EXPECT_EQ(peer.conversation().ask(get_request(), Repeat::never).uint32(0), 6U);
}

TEST(Conversation, WaitsForAnAnswerUntilItsTimeHasPassed) {
    Peer peer(kShort);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(kind_thrown([&] { ask(peer); }), ErrorKind::timed_out);
    EXPECT_GE(std::chrono::steady_clock::now() - start, kShort);
}

TEST(Conversation, WaitsLongerForARequestThatItselfWaits) {
    Peer peer(kShort);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(kind_thrown([&] { peer.conversation().ask(get_request(), Repeat::never, Milliseconds(100)); }),
              ErrorKind::timed_out);
    EXPECT_GE(std::chrono::steady_clock::now() - start, kShort + Milliseconds(100));
}

TEST(Conversation, DropsAnAnswerThatComesTooLate) {
    Peer peer(kShort);
    EXPECT_EQ(kind_thrown([&] { ask(peer); }), ErrorKind::timed_out);
    peer.say(packets(1, answer("late")) + packets(2, answer("in time")));
    EXPECT_EQ(ask(peer), "in time"); // both are read after it was asked
}

TEST(Conversation, DropsALateAnswerThatArrivesAmongEvents) {
    Peer peer(kShort);
    EXPECT_EQ(kind_thrown([&] { ask(peer); }), ErrorKind::timed_out);
    peer.say(packets(1, answer("late")) + packets(kFirstEventId, event(7, "hall").encode()));
    EXPECT_TRUE(peer.conversation().next_event(Deadline::after(kPlenty)));
    peer.say(packets(2, answer("in time")));
    EXPECT_EQ(ask(peer), "in time");
}

TEST(Conversation, EndsWithAPeerThatCloses) {
    Peer peer;
    peer.close();
    EXPECT_EQ(kind_thrown([&] { ask(peer); }), ErrorKind::connection_lost);
}

TEST(Conversation, EndsWithAPeerThatClosesInTheMiddleOfAPacket) {
    Peer peer;
    Bytes half = packets(1, answer("green"));
    half.resize(half.size() - 3);
    peer.say(half);
    peer.close();
    EXPECT_EQ(kind_thrown([&] { ask(peer); }), ErrorKind::connection_lost);
}

TEST(Conversation, ReadsWhatAPeerSaidBeforeItClosed) {
    Peer peer;
    peer.say(packets(1, answer("green")) + packets(kFirstEventId, event(7, "hall").encode()));
    EXPECT_EQ(ask(peer), "green");
    peer.close();
    EXPECT_TRUE(peer.conversation().next_event(Deadline::after(kPlenty)));
    EXPECT_EQ(kind_thrown([&] { peer.conversation().next_event(Deadline::after(kPlenty)); }),
              ErrorKind::connection_lost);
}

TEST(Conversation, DoesNotBlockOnAPeerThatDoesNotRead) {
    Peer peer(Milliseconds(1));
    std::string what;
    Message message(control_set);
    message.add(std::string(900, 'x'));
    for (int i = 0; i < 5000 && what.find("does not read") == std::string::npos; ++i)
        EXPECT_EQ(kind_thrown([&] { peer.conversation().ask(message, Repeat::never); }, &what), ErrorKind::timed_out);
    EXPECT_NE(what.find("does not read"), std::string::npos);
    EXPECT_NO_THROW(headers_of(peer.heard())); // whole packets, none written twice
}

TEST(Conversation, IsInterruptedByADescriptor) {
    Peer peer;
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const Fd reader(ends[0]);
    const Fd writer(ends[1]);
    peer.conversation().interrupt_with(reader.get());
    EXPECT_FALSE(peer.conversation().next_event(Deadline::after(kShort)));
    ASSERT_EQ(write(writer.get(), "x", 1), 1);
    EXPECT_EQ(kind_thrown([&] { peer.conversation().next_event(Deadline::never()); }), ErrorKind::interrupted);
    EXPECT_EQ(kind_thrown([&] { ask(peer); }), ErrorKind::interrupted);
    peer.conversation().interrupt_with(-1);
    EXPECT_FALSE(peer.conversation().next_event(Deadline::after(kShort)));
}

TEST(Conversation, RefusesARequestOfMoreThanSixteenMebibytes) {
    Message message(control_set);
    for (int i = 0; i < 260; ++i)
        message.add(std::string(65000, 'x'));
    Peer peer;
    try {
        peer.conversation().ask(message, Repeat::never);
        FAIL() << "no Error";
    } catch (const Error &error) {
        EXPECT_EQ(error.status(), Status::too_large);
    }
    EXPECT_EQ(peer.heard(), Bytes());
}

TEST(Conversation, IgnoresBrokenPipesUnlessTheProgramDoesSomethingAboutThem) {
    struct sigaction action = {};
    std::signal(SIGPIPE, SIG_DFL);
    { Peer peer; }
    ASSERT_EQ(sigaction(SIGPIPE, nullptr, &action), 0);
    EXPECT_EQ(action.sa_handler, SIG_IGN);

    const auto handler = [](int) {};
    std::signal(SIGPIPE, handler);
    { Peer peer; }
    ASSERT_EQ(sigaction(SIGPIPE, nullptr, &action), 0);
    EXPECT_EQ(action.sa_handler, static_cast<void (*)(int)>(handler));
}
