// SPDX-License-Identifier: MIT
// Every request has the parameters that docs/protocol.md gives it.
#include "conversation/peer.h"
#include "conversation/requests.h"

#include "common/value_text.h"

#include <gtest/gtest.h>

#include <sys/socket.h>

using namespace conversation_tests;
using namespace varnel::conversation;
using varnel::KeyParts;
using varnel::Value;
using varnel::protocol::Received;

namespace {

const KeyParts kKey = {"user", "lamps", "hall"};

// "code(type text, ...)" of the one message that the conversation has sent.
std::string spoken(Peer &peer) {
    const Bytes bytes = peer.heard();
    Bytes message(bytes.begin() + PACKET_HEADER_SIZE, bytes.end());
    const Received received(message);
    std::string text = control_string(received.code()) + std::string("(");
    for (std::size_t i = 0; i < received.size(); ++i)
        text += (i == 0 ? "" : ", ") + std::string(varnel::name_of_type(received.at(i).type)) + " " +
                varnel::print_value(received.at(i));
    return text + ")";
}

// What is sent by a call that gets this answer.
template <class Call> std::string request_of(const Message &answer, Call call) {
    Peer peer;
    peer.say(packets(1, answer.encode()));
    call(peer.conversation());
    return spoken(peer);
}

Message written(std::uint32_t code) {
    Message message = ok(code);
    message.add("user").add("sqlite").add(std::uint32_t{1}).add(std::uint64_t{5}).add(std::uint32_t{1});
    return message;
}

Message group_written(std::uint32_t code) {
    Message message = ok(code);
    message.add("user").add("sqlite").add(std::uint32_t{1}).add(std::uint64_t{5});
    return message;
}

Message page(std::uint32_t more) {
    Message message = ok(control_list_keys);
    message.add("user").add(more);
    return message;
}

std::vector<std::string> keys_of(Conversation &conversation) {
    std::vector<std::string> keys;
    list_keys(conversation, {"user", "", ""},
              [&](const std::string &layer, Row &&row) { keys.push_back(layer + ":" + row.group + ":" + row.name); });
    return keys;
}

} // namespace

TEST(Requests, ReadAndWriteValues) {
    const Value value = varnel::make_int32(-5);
    EXPECT_EQ(request_of(ok(control_get).add("v").add("user").add("sqlite"), [](Conversation &c) { get(c, kKey); }),
              "control_get(string user, string lamps, string hall)");
    EXPECT_EQ(request_of(written(control_set),
                         [&](Conversation &c) {
                             set(c, {"user", 2, 4}, {{"lamps", "hall", value.get()}, {"lamps", "attic", value.get()}});
                         }),
              "control_set(string user, uint32 2, uint32 4, string lamps, string hall, int32 -5, string lamps, string "
              "attic, int32 -5)");
    EXPECT_EQ(request_of(written(control_unset),
                         [](Conversation &c) {
                             unset(c, {"", 0, 0}, {{"lamps", "hall", nullptr}});
                         }),
              "control_unset(string , uint32 0, uint32 0, string lamps, string hall)");
}

TEST(Requests, MakeAndRemoveGroups) {
    EXPECT_EQ(request_of(group_written(control_create_group),
                         [](Conversation &c) {
                             create_group(c, {"user", "lamps", ""}, 1);
                         }),
              "control_create_group(string user, string lamps, uint32 1)");
    EXPECT_EQ(request_of(group_written(control_remove_group),
                         [](Conversation &c) {
                             remove_group(c, {"", "lamps", ""}, 2);
                         }),
              "control_remove_group(string , string lamps, uint32 2)");
}

TEST(Requests, AskForStatus) {
    EXPECT_EQ(
        request_of(ok(control_status).add(std::uint64_t{1}).add("user"), [](Conversation &c) { store_status(c); }),
        "control_status()");
    EXPECT_EQ(request_of(ok(control_status).add("user").add(""), [](Conversation &c) { key_status(c, kKey); }),
              "control_status(string user, string lamps, string hall)");
    EXPECT_EQ(request_of(ok(control_sync).add(std::uint32_t{2}), [](Conversation &c) { sync_all(c); }),
              "control_sync()");
    EXPECT_EQ(request_of(ok(control_sync).add(std::uint32_t{2}), [](Conversation &c) { sync_layer(c, "user"); }),
              "control_sync(string user)");
}

TEST(Requests, AskForOtherThings) {
    EXPECT_EQ(request_of(ok(control_other).add("1").add(std::uint32_t{1}), [](Conversation &c) { version(c); }),
              "control_other(string version)");
    EXPECT_EQ(request_of(ok(control_other), [](Conversation &c) { statistics(c); }),
              "control_other(string statistics)");
    EXPECT_EQ(request_of(ok(control_other), [](Conversation &c) { limits(c); }), "control_other(string limits)");
}

TEST(Requests, Subscribe) {
    Message subscribed = ok(control_notify);
    subscribed.add("user").add(std::uint64_t{1}).add(std::uint32_t{0});
    EXPECT_EQ(request_of(subscribed,
                         [](Conversation &c) {
                             notify(c, {"user", "lamps", ""}, 77);
                         }),
              "control_notify(string user, string lamps, string , uint64 77)");
    EXPECT_EQ(request_of(ok(control_unnotify).add("user"), [](Conversation &c) { unnotify(c, kKey); }),
              "control_unnotify(string user, string lamps, string hall)");
    Message none = ok(control_changed);
    none.add("user").add(std::uint64_t{1}).add(std::uint32_t{0}).add(std::uint32_t{0});
    EXPECT_EQ(request_of(none,
                         [](Conversation &c) {
                             changed(c, {"user", "", ""}, 76);
                         }),
              "control_changed(string user, string , string , uint64 76)");
}

TEST(Requests, Lock) {
    EXPECT_EQ(request_of(ok(control_trylock).add("user"), [](Conversation &c) { trylock(c, kKey); }),
              "control_trylock(string user, string lamps, string hall)");
    EXPECT_EQ(request_of(ok(control_lock).add("user"), [](Conversation &c) { lock(c, kKey, Milliseconds(1500)); }),
              "control_lock(string user, string lamps, string hall, uint32 1500)");
    EXPECT_EQ(request_of(ok(control_unlock).add("user"), [](Conversation &c) { unlock(c, kKey); }),
              "control_unlock(string user, string lamps, string hall)");
}

TEST(Requests, ListPageByPage) {
    Peer peer(kPlenty, SOCK_SEQPACKET);
    peer.say(packets(1, page(1).add("a").add("").add("a").add("x").encode()));
    peer.say(packets(2, page(0).add("a").add("y").add("b").add("").encode()));
    EXPECT_EQ(keys_of(peer.conversation()), (std::vector<std::string>{"user:a:", "user:a:x", "user:a:y", "user:b:"}));
    const Bytes heard = peer.heard();
    const Bytes first = Message(control_list_keys).add("user").add("").add("").add("").encode();
    const Bytes second = Message(control_list_keys).add("user").add("").add("a").add("x").encode();
    EXPECT_EQ(heard, packets(1, first) + packets(2, second));
}

TEST(Requests, DoNotFollowAListThatLeadsNowhere) {
    Peer empty;
    empty.say(packets(1, page(1).encode()));
    EXPECT_EQ(kind_thrown([&] { keys_of(empty.conversation()); }), ErrorKind::malformed);
    Peer circle(kPlenty, SOCK_SEQPACKET);
    circle.say(packets(1, page(1).add("a").add("x").encode()));
    circle.say(packets(2, page(1).add("a").add("x").encode()));
    EXPECT_EQ(kind_thrown([&] { keys_of(circle.conversation()); }), ErrorKind::malformed);
    Peer changes;
    changes.say(packets(
        1, ok(control_changed).add("user").add(std::uint64_t{1}).add(std::uint32_t{0}).add(std::uint32_t{1}).encode()));
    EXPECT_EQ(kind_thrown([&] { changed(changes.conversation(), kKey, 0); }), ErrorKind::malformed);
}
