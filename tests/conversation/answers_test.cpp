// SPDX-License-Identifier: MIT
// Answers as records: every field from its place, and nothing but what the protocol has.
#include "conversation/answers.h"
#include "conversation/peer.h"

#include "protocol/protocol.h"

#include <gtest/gtest.h>

using namespace conversation_tests;
using namespace varnel::conversation;
using varnel::make_boolean;
using varnel::make_int32;
using varnel::protocol::Received;

namespace {

Received arrived(const Message &message) {
    Bytes bytes = message.encode();
    return Received(bytes);
}

Message status_answer() {
    Message message = ok(control_status);
    message.add(std::uint64_t{9}).add("user");
    message.add("user").add("sqlite").add("sqlite.so").add(make_int32(-3)).add(std::uint32_t{20}).add(std::uint32_t{1});
    message.add("");
    return message;
}

// read refuses the message without its last parameter, and with one more.
template <class Read> void expect_exact(const Message &whole, std::size_t parameters, Read read) {
    const Received received = arrived(whole);
    ASSERT_EQ(received.size(), parameters);
    EXPECT_NO_THROW(read(received));
    Message shorter(whole.code());
    Message longer(whole.code());
    for (std::size_t i = 0; i < parameters; ++i) {
        if (i + 1 < parameters)
            shorter.add(varnel::copy_of(received.at(i)));
        longer.add(varnel::copy_of(received.at(i)));
    }
    longer.add(make_boolean(true));
    EXPECT_EQ(kind_thrown([&] { read(arrived(shorter)); }), ErrorKind::malformed) << control_string(whole.code());
    EXPECT_EQ(kind_thrown([&] { read(arrived(longer)); }), ErrorKind::malformed) << control_string(whole.code());
}

} // namespace

TEST(Answers, HaveTheFieldsOfAGet) {
    const Found found = read_found(arrived(ok(control_get).add(make_int32(-7)).add("user").add("sqlite")));
    EXPECT_EQ(found.value->value.i32, -7);
    EXPECT_EQ(found.layer, "user");
    EXPECT_EQ(found.backend, "sqlite");
}

TEST(Answers, HaveTheFieldsOfAChange) {
    Message message = ok(control_set);
    message.add("user").add("sqlite").add(std::uint32_t{2}).add(std::uint64_t{1} << 40).add(std::uint32_t{3});
    const Written written = read_written(arrived(message));
    EXPECT_EQ(written.layer, "user");
    EXPECT_EQ(written.backend, "sqlite");
    EXPECT_EQ(written.durability, 2U);
    EXPECT_EQ(written.revision, std::uint64_t{1} << 40);
    EXPECT_EQ(written.changed, 3U);
}

TEST(Answers, HaveTheRowsOfAList) {
    Message message = ok(control_list);
    message.add("user")
        .add(std::uint32_t{1})
        .add("lamps")
        .add("")
        .add("")
        .add("sqlite")
        .add("lamps")
        .add("hall")
        .add(make_boolean(true))
        .add("defaults");
    const Page page = read_list(arrived(message));
    EXPECT_EQ(page.layer, "user");
    EXPECT_TRUE(page.more);
    ASSERT_EQ(page.rows.size(), 2U);
    EXPECT_EQ(page.rows[1].group, "lamps");
    EXPECT_EQ(page.rows[1].name, "hall");
    EXPECT_EQ(page.rows[1].value->value.b, 1);
    EXPECT_EQ(page.rows[1].backend, "defaults");
}

TEST(Answers, HaveTheRowsOfAStatus) {
    const StoreStatus status = read_store_status(arrived(status_answer()));
    EXPECT_EQ(status.revision, 9U);
    EXPECT_EQ(status.default_layer, "user");
    ASSERT_EQ(status.backends.size(), 1U);
    EXPECT_EQ(status.backends[0].library, "sqlite.so");
    EXPECT_EQ(status.backends[0].priority, -3);
    EXPECT_EQ(status.backends[0].flags, 20U);
    EXPECT_EQ(status.backends[0].durability, 1U);
}

TEST(Answers, HaveTheFieldsOfAnEvent) {
    const Change change = read_event(arrived(event(11, "hall", "off")));
    EXPECT_EQ(change.revision, 11U);
    EXPECT_EQ(change.flags, varnel::protocol::kEventHasValue);
    EXPECT_EQ(change.layer + change.group + change.name, "userlampshall");
    EXPECT_EQ(varnel::text_of(change.after->value.s), "off");
}

TEST(Answers, HaveNumbersByName) {
    const Numbers numbers = read_numbers(
        arrived(ok(control_other).add("clients").add(std::uint64_t{256}).add("idle").add(std::uint64_t{3600})));
    EXPECT_EQ(numbers, (Numbers{{"clients", 256}, {"idle", 3600}}));
}

TEST(Answers, HaveNeitherMoreNorFewerParametersThanTheProtocolSays) {
    const std::uint32_t u32 = 1;
    const std::uint64_t u64 = 1;
    expect_exact(ok(control_get).add("v").add("l").add("b"), 4, read_found);
    expect_exact(ok(control_set).add("l").add("b").add(u32).add(u64).add(u32), 6, read_written);
    expect_exact(ok(control_create_group).add("l").add("b").add(u32).add(u64), 5, read_group_written);
    expect_exact(ok(control_list).add("l").add(u32).add("g").add("n").add("v").add("b"), 7, read_list);
    expect_exact(ok(control_list_keys).add("l").add(u32).add("g").add("n"), 5, read_keys);
    expect_exact(status_answer(), 10, read_store_status);
    expect_exact(ok(control_status).add("l").add("h").add("l").add("b").add(u32).add("v"), 7, read_key_status);
    expect_exact(ok(control_notify).add("l").add(u64).add(u32), 4, read_subscription);
    expect_exact(ok(control_unnotify).add("l"), 2, read_layer);
    expect_exact(ok(control_sync).add(u32), 2, read_durability);
    expect_exact(ok(control_other).add("v").add(u32), 3, read_version);
    expect_exact(ok(control_other).add("n").add(u64), 3, read_numbers);
    expect_exact(event(1, "hall"), 7, read_event);
    expect_exact(ok(control_changed)
                     .add("l")
                     .add(u64)
                     .add(u32)
                     .add(u32)
                     .add(u64)
                     .add(u32)
                     .add("l")
                     .add("g")
                     .add("n")
                     .add("")
                     .add("v"),
                 12, read_changes);
}

TEST(Answers, HaveTheTypesThatTheProtocolSays) {
    EXPECT_EQ(kind_thrown([] { read_durability(arrived(ok(control_sync).add("2"))); }), ErrorKind::malformed);
    EXPECT_EQ(kind_thrown([] { read_layer(arrived(ok(control_lock).add(std::uint32_t{1}))); }), ErrorKind::malformed);
}
