// SPDX-License-Identifier: MIT
// A peer that does not keep to the protocol ends the conversation with an Error, and costs no more memory than messages
// may take.
#include "conversation/peer.h"

#include "protocol/protocol.h"

#include <gtest/gtest.h>

#include <sys/socket.h>

using namespace conversation_tests;
using varnel::protocol::kFirstEventId;

namespace {

// What becomes of a request when the peer says this.
ErrorKind fate(const Bytes &said) {
    Peer peer;
    peer.say(said);
    return kind_thrown([&] { peer.conversation().request(get_request(), Repeat::never); });
}

Bytes text(const std::string &characters) {
    return {characters.begin(), characters.end()};
}

} // namespace

TEST(HostilePeer, SpeaksSomethingElse) {
    EXPECT_EQ(fate(text("HTTP/1.1 400 Bad Request\r\n\r\n")), ErrorKind::malformed);
}

TEST(HostilePeer, SpeaksSomethingElseInFewBytes) {
    EXPECT_EQ(fate(text("x")), ErrorKind::malformed);
    EXPECT_EQ(fate(text("VARX")), ErrorKind::malformed);
}

TEST(HostilePeer, SpeaksSomethingElseBehindAPacket) {
    EXPECT_EQ(fate(packets(kFirstEventId, event(1, "hall").encode()) + text("\r\n")), ErrorKind::malformed);
}

TEST(HostilePeer, AnnouncesMorePacketsThanAMessageMayHave) {
    EXPECT_EQ(fate(header({1, 16745, 1, 1002})), ErrorKind::malformed);
    EXPECT_EQ(fate(header({1, 0x7fffffff, 1, 1002})), ErrorKind::malformed);
    EXPECT_EQ(fate(header({1, 0xffffffff, 1, 1002})), ErrorKind::malformed);
}

TEST(HostilePeer, AnnouncesAPacketThatIsTooLong) {
    EXPECT_EQ(fate(header({1, 1, 1, 1003})), ErrorKind::malformed);
    EXPECT_EQ(fate(header({1, 1, 1, 0xffffffff})), ErrorKind::malformed);
}

TEST(HostilePeer, AnnouncesPacketsThatCannotBe) {
    EXPECT_EQ(fate(header({1, 2, 0, 1}) + text("x")), ErrorKind::malformed);
    EXPECT_EQ(fate(header({1, 2, 3, 1}) + text("x")), ErrorKind::malformed);
    EXPECT_EQ(fate(header({1, 0, 1, 1}) + text("x")), ErrorKind::malformed);
    EXPECT_EQ(fate(header({1, 1, 1, 0})), ErrorKind::malformed);
}

TEST(HostilePeer, BeginsMoreMessagesThanItEnds) {
    Peer peer;
    for (std::uint32_t i = 0; i < 300; ++i)
        peer.say(header({kFirstEventId + i, 16000, 1, 1}) + text("x"));
    const Process reader([&] {
        char byte = 0;
        while (recv(peer.descriptor(), &byte, 1, 0) > 0) {
        }
    });
    EXPECT_EQ(kind_thrown([&] { peer.conversation().request(get_request(), Repeat::never); }), ErrorKind::malformed);
}

TEST(HostilePeer, SendsAMessageThatIsNone) {
    EXPECT_EQ(fate(packets(1, text("neither a header nor parameters"))), ErrorKind::malformed);
    Bytes message = ok(control_get).add("green").encode();
    message.pop_back();
    EXPECT_EQ(fate(packets(1, message)), ErrorKind::malformed);
}

TEST(HostilePeer, AnswersWithoutAStatus) {
    EXPECT_EQ(fate(packets(1, Message(control_get).encode())), ErrorKind::malformed);
    EXPECT_EQ(fate(packets(1, Message(control_get).add("ok").encode())), ErrorKind::malformed);
}

TEST(HostilePeer, RefusesWithoutAMessage) {
    EXPECT_EQ(fate(packets(1, Message(control_get).add(std::uint32_t{3}).encode())), ErrorKind::malformed);
}

TEST(HostilePeer, AnswersWithAnotherCode) {
    EXPECT_EQ(fate(packets(1, ok(control_set).encode())), ErrorKind::malformed);
}

TEST(HostilePeer, AnswersARequestThatWasNotAsked) {
    EXPECT_EQ(fate(packets(2, ok(control_get).encode())), ErrorKind::malformed);
    EXPECT_EQ(fate(packets(0, ok(control_get).encode())), ErrorKind::malformed);
}

TEST(HostilePeer, AcknowledgesWhatWasNeverSent) {
    Peer peer;
    peer.say(acknowledgement(77, 1) + acknowledgement(1, 4) + acknowledgement(1, 0xffffffff) +
             packets(1, ok(control_get).add("green").encode()));
    EXPECT_EQ(peer.conversation().request(get_request(), Repeat::never).text(1), "green");
    EXPECT_EQ(peer.heard(), packets(1, get_request().encode()));
}

TEST(HostilePeer, SendsMoreEventsThanCanBeKept) {
    Peer peer;
    const Process flood([&] {
        const Bytes bytes = event(1, "hall", std::string(900, 'x')).encode();
        for (std::uint32_t i = 0;; ++i) {
            const Bytes packet = packets(kFirstEventId + i, bytes);
            if (send(peer.descriptor(), packet.data(), packet.size(), MSG_NOSIGNAL) < 0)
                break;
        }
    });
    std::string what;
    EXPECT_EQ(kind_thrown([&] { peer.conversation().request(get_request(), Repeat::never); }, &what),
              ErrorKind::malformed);
    EXPECT_NE(what.find("more events"), std::string::npos);
}

// Acknowledgements carry nothing, so that nothing but the deadline ends this.
TEST(HostilePeer, NeverEndsToSpeak) {
    Peer peer(Milliseconds(200));
    const Process flood([&] {
        const Bytes packet = acknowledgement(5, 1);
        while (send(peer.descriptor(), packet.data(), packet.size(), MSG_NOSIGNAL) >= 0) {
        }
    });
    EXPECT_EQ(kind_thrown([&] { peer.conversation().request(get_request(), Repeat::never); }), ErrorKind::timed_out);
    EXPECT_FALSE(peer.conversation().next_event(Deadline::after(kShort)));
}
