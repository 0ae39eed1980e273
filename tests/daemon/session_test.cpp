// SPDX-License-Identifier: MIT
#include "daemon/session.h"

#include "silent_session.h"

#include "protocol/protocol.h"

#include <gtest/gtest.h>

using namespace varnel;
using namespace varnel::daemon;

namespace {

constexpr std::size_t kManyBytes = 1000000;

EventRef event(std::uint64_t revision) {
    return std::make_shared<const Event>(Event{revision, protocol::kEventHadValue | protocol::kEventHasValue, "user",
                                               "net", "port", make_uint32(80), make_string("http")});
}

// "revision flags layer:group:name" of the next event, "" when there is none.
std::string next(Session &session, std::uint64_t current = 99) {
    std::optional<protocol::Bytes> bytes = session.take_event(current);
    if (!bytes)
        return "";
    const protocol::Received message(*bytes);
    EXPECT_EQ(message.code(), std::uint32_t{control_changed});
    EXPECT_EQ(message.size(), 7U);
    return std::to_string(message.uint64(0)) + " " + std::to_string(message.uint32(1)) + " " +
           std::string(message.text(2)) + ":" + std::string(message.text(3)) + ":" + std::string(message.text(4));
}

} // namespace

TEST(Session, EncodesEventsWithTheirValues) {
    SilentSession session;
    EXPECT_TRUE(session.push_event(event(7), {10, kManyBytes}));
    std::optional<protocol::Bytes> bytes = session.take_event(99);
    ASSERT_TRUE(bytes);
    const protocol::Received message(*bytes);
    EXPECT_EQ(message.uint64(0), 7U);
    EXPECT_EQ(message.uint32(1), 3U);
    EXPECT_EQ(message.uint32(5), 80U);
    EXPECT_EQ(message.text(6), "http");
}

TEST(Session, AnAbsentValueIsAnEmptyString) {
    protocol::Message message(control_changed);
    add_event(message, Event{7, 4, "user", "net", "", nullptr, nullptr});
    protocol::Bytes bytes = message.encode();
    const protocol::Received received(bytes);
    ASSERT_EQ(received.size(), 7U);
    EXPECT_EQ(received.text(5), "");
    EXPECT_EQ(received.text(6), "");
}

TEST(Session, GivesEventsInTheirOrder) {
    SilentSession session;
    EXPECT_FALSE(session.has_events());
    EXPECT_EQ(next(session), "");
    EXPECT_TRUE(session.push_event(event(1), {10, kManyBytes}));
    EXPECT_TRUE(session.push_event(event(2), {10, kManyBytes}));
    EXPECT_TRUE(session.has_events());
    EXPECT_EQ(next(session), "1 3 user:net:port");
    EXPECT_EQ(next(session), "2 3 user:net:port");
    EXPECT_FALSE(session.has_events());
    EXPECT_EQ(next(session), "");
}

TEST(Session, PastTheBoundOneNoticeStandsForAllThatIsLost) {
    SilentSession session;
    EXPECT_TRUE(session.push_event(event(1), {2, kManyBytes}));
    EXPECT_TRUE(session.push_event(event(2), {2, kManyBytes}));
    EXPECT_FALSE(session.push_event(event(3), {2, kManyBytes}));
    EXPECT_EQ(next(session), "1 3 user:net:port");
    EXPECT_FALSE(session.push_event(event(4), {2, kManyBytes})); // there is room, but the notice has to come first
    EXPECT_EQ(next(session), "2 3 user:net:port");
    EXPECT_TRUE(session.has_events());
    EXPECT_EQ(next(session, 4), "4 16 ::");
    EXPECT_FALSE(session.has_events());
    EXPECT_TRUE(session.push_event(event(5), {2, kManyBytes}));
    EXPECT_EQ(next(session), "5 3 user:net:port");
}

TEST(Session, TheBoundInBytesLetsOneEventPass) {
    SilentSession session;
    const std::size_t bytes = event(1)->bytes();
    EXPECT_TRUE(session.push_event(event(1), {10, bytes - 1}));
    EXPECT_FALSE(session.push_event(event(2), {10, 2 * bytes - 1}));
    EXPECT_EQ(next(session), "1 3 user:net:port");
    EXPECT_EQ(next(session, 2), "2 16 ::");
    EXPECT_TRUE(session.push_event(event(3), {10, 2 * bytes}));
    EXPECT_TRUE(session.push_event(event(4), {10, 2 * bytes}));
    EXPECT_FALSE(session.push_event(event(5), {10, 2 * bytes}));
}

TEST(Session, CountsThePastApart) {
    SilentSession session;
    EXPECT_TRUE(session.push_past_event(event(1), {2, kManyBytes}));
    EXPECT_TRUE(session.push_past_event(event(2), {2, kManyBytes}));
    EXPECT_TRUE(session.push_event(event(3), {1, kManyBytes}));
    EXPECT_EQ(next(session), "1 3 user:net:port");
    EXPECT_FALSE(session.push_event(event(4), {1, kManyBytes}));
    EXPECT_EQ(next(session), "2 3 user:net:port");
    EXPECT_EQ(next(session), "3 3 user:net:port");
    EXPECT_EQ(next(session, 4), "4 16 ::");
    EXPECT_TRUE(session.push_past_event(event(5), {1, kManyBytes}));
    EXPECT_FALSE(session.push_past_event(event(6), {1, kManyBytes}));
}

TEST(Session, CountsRequestsBySeconds) {
    SilentSession session;
    for (int i = 0; i < 3; ++i)
        EXPECT_TRUE(session.within_rate(5000, 3));
    EXPECT_FALSE(session.within_rate(5000, 3));
    EXPECT_FALSE(session.within_rate(5999, 3));
    EXPECT_TRUE(session.within_rate(6000, 3));
}

TEST(Session, WantsTheEventsOfItsSubscriptions) {
    SilentSession session;
    EXPECT_FALSE(session.wants(*event(7)));
    session.subscribe({"user", "disk", ""}, 0);
    EXPECT_FALSE(session.wants(*event(7)));
    session.subscribe({"user", "net", ""}, 0);
    EXPECT_TRUE(session.wants(*event(7)));
    EXPECT_TRUE(session.has_subscribed({"user", "net", ""}));
    EXPECT_FALSE(session.unsubscribe({"user", "net", "port"}));
    EXPECT_TRUE(session.unsubscribe({"user", "net", ""}));
    EXPECT_FALSE(session.wants(*event(7)));
    EXPECT_EQ(session.subscriptions().size(), 1U);
}

TEST(Session, KnowsWhichEventsItWasGiven) {
    SilentSession session;
    session.subscribe({"user", "disk", ""}, 3);
    EXPECT_FALSE(session.was_given(*event(7)));
    session.subscribe({"user", "net", ""}, 7);
    EXPECT_FALSE(session.was_given(*event(7)));
    EXPECT_TRUE(session.was_given(*event(8)));
    session.subscribe({"user", "net", ""}, 5); // earlier ones have been given, too
    session.subscribe({"user", "net", ""}, 9);
    EXPECT_TRUE(session.was_given(*event(6)));
    session.note_lost(*event(6));
    EXPECT_FALSE(session.was_given(*event(6)));
    EXPECT_TRUE(session.was_given(*event(7)));
    EXPECT_EQ(session.subscriptions().size(), 2U);
}

TEST(Session, CollectsTheRowsOfAWrite) {
    SilentSession session;
    EXPECT_TRUE(session.take_staged().empty());
    session.stage(control_set, "user", {{"net", "port", nullptr}}, 10);
    session.stage(control_set, "user", {{"net", "host", nullptr}, {"disk", "size", nullptr}}, 20);
    ASSERT_TRUE(session.staged());
    EXPECT_EQ(session.staged()->bytes, 30U);
    EXPECT_EQ(session.staged()->layer, "user");
    const std::vector<WriteRow> rows = session.take_staged();
    ASSERT_EQ(rows.size(), 3U);
    EXPECT_EQ(rows[2].name, "size");
    EXPECT_FALSE(session.staged());
    session.stage(control_unset, "user", {{"net", "port", nullptr}}, 10);
    session.drop_staged();
    EXPECT_FALSE(session.staged());
}
