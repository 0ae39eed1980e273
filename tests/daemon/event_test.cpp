// SPDX-License-Identifier: MIT
#include "daemon/event.h"

#include <gtest/gtest.h>

using namespace varnel;
using namespace varnel::daemon;

namespace {

Event change(const char *name, const std::string &text = "1") {
    return {0, 2, "user", "net", name, nullptr, make_string(text)};
}

std::string revisions(const History &history, std::uint64_t from) {
    std::string text;
    history.replay(from, [&](const EventRef &event) {
        text += std::to_string(event->revision) + event->name + " ";
        return true;
    });
    return text;
}

} // namespace

TEST(Scope, IncludesWhatIsBelowIt) {
    const Event event = change("port");
    EXPECT_TRUE((Scope{"user", "", ""}.includes(event)));
    EXPECT_TRUE((Scope{"user", "net", ""}.includes(event)));
    EXPECT_TRUE((Scope{"user", "net", "port"}.includes(event)));
    EXPECT_FALSE((Scope{"user", "net", "host"}.includes(event)));
    EXPECT_FALSE((Scope{"user", "disk", ""}.includes(event)));
    EXPECT_FALSE((Scope{"volatile", "", ""}.includes(event)));
    EXPECT_FALSE((Scope{"volatile", "net", "port"}.includes(event)));
}

TEST(Scope, OfAValueDoesNotIncludeItsGroup) {
    const Event created{0, 4, "user", "net", "", nullptr, nullptr};
    EXPECT_TRUE((Scope{"user", "net", ""}.includes(created)));
    EXPECT_FALSE((Scope{"user", "net", "port"}.includes(created)));
}

TEST(History, NumbersEventsOneByOne) {
    History history(41, 10, 10000);
    EXPECT_EQ(history.revision(), 41U);
    EXPECT_EQ(history.add(change("a"))->revision, 42U);
    EXPECT_EQ(history.add(change("b"))->revision, 43U);
    EXPECT_EQ(history.revision(), 43U);
}

TEST(History, ReplaysWhatCameAfterARevision) {
    History history(41, 10, 10000);
    for (const char *const name : {"a", "b", "c"})
        history.add(change(name));
    EXPECT_EQ(revisions(history, 0), "42a 43b 44c ");
    EXPECT_EQ(revisions(history, 41), "42a 43b 44c ");
    EXPECT_EQ(revisions(history, 43), "44c ");
    EXPECT_EQ(revisions(history, 44), "");
    EXPECT_EQ(revisions(history, UINT64_MAX), "");
}

TEST(History, EndsAReplayWhenItsVisitorHasEnough) {
    History history(0, 10, 10000);
    for (const char *const name : {"a", "b", "c"})
        history.add(change(name));
    std::string seen;
    history.replay(0, [&](const EventRef &event) {
        seen += event->name;
        return event->name != "b";
    });
    EXPECT_EQ(seen, "ab");
}

TEST(History, RemembersWhatComesAfterItsStart) {
    History history(41, 10, 10000);
    EXPECT_TRUE(history.remembers(41));
    EXPECT_FALSE(history.remembers(40));
    EXPECT_FALSE(history.remembers(42)); // not yet
    history.add(change("a"));
    EXPECT_TRUE(history.remembers(41));
    EXPECT_TRUE(history.remembers(42));
    EXPECT_FALSE(history.remembers(43));
}

TEST(History, ForgetsTheOldestPastItsBoundOfEvents) {
    History history(0, 3, 10000);
    for (const char *const name : {"a", "b", "c"})
        history.add(change(name));
    EXPECT_TRUE(history.remembers(0));
    history.add(change("d"));
    EXPECT_FALSE(history.remembers(0));
    EXPECT_TRUE(history.remembers(1));
    EXPECT_EQ(revisions(history, 1), "2b 3c 4d ");
}

TEST(History, ForgetsTheOldestPastItsBoundOfBytes) {
    const std::size_t one = change("a", std::string(500, 'x')).bytes();
    EXPECT_GT(one, 500U);
    History history(0, 100, 3 * one);
    for (const char *const name : {"a", "b", "c"})
        history.add(change(name, std::string(500, 'x')));
    EXPECT_EQ(revisions(history, 0), "1a 2b 3c ");
    history.add(change("d"));
    EXPECT_EQ(revisions(history, 0), "2b 3c 4d ");
    EXPECT_FALSE(history.remembers(0));
}

TEST(History, ForgetsAll) {
    History history(41, 10, 10000);
    for (const char *const name : {"a", "b"})
        history.add(change(name));
    for (const std::uint64_t revision : {43U, 44U}) {
        history.forget_all(revision);
        EXPECT_EQ(history.revision(), revision);
        EXPECT_EQ(revisions(history, 0), "");
        EXPECT_FALSE(history.remembers(revision - 1));
        EXPECT_TRUE(history.remembers(revision));
    }
    history.add(change("c"));
    EXPECT_EQ(revisions(history, 44), "45c ");
}

TEST(History, GivesOutAnEventThatItCannotRemember) {
    History history(0, 100, 1000);
    history.add(change("a"));
    const EventRef large = history.add(change("b", std::string(2000, 'x')));
    EXPECT_EQ(large->revision, 2U);
    EXPECT_EQ(text_of(large->new_value->value.s).size(), 2000U);
    EXPECT_EQ(revisions(history, 0), "");
    EXPECT_FALSE(history.remembers(1));
    EXPECT_TRUE(history.remembers(2));
    history.add(change("c"));
    EXPECT_EQ(revisions(history, 0), "3c ");
}
