// SPDX-License-Identifier: MIT
// notify, unnotify, changed: who is told what, from when on, and what is lost.
#include "engine_fixture.h"

using namespace varnel;

namespace {

class EngineWatch : public EngineTest {
public:
    void set(const char *group, const char *name, const char *value, const char *layer_name = "volatile") {
        EXPECT_EQ(ask(client(9), set_request(layer_name, {{group, name, value}})).substr(0, 3), "ok ");
    }
    std::string notify(const char *group = "", const char *name = "", std::uint64_t from = protocol::kFromNow) {
        return ask(notify_request("volatile", group, name, from));
    }
    std::string seen() { return events(client()); }
    std::string changed(const char *group, const char *name, std::uint64_t from) {
        return ask(from_request(control_changed, "volatile", group, name, from));
    }
};

} // namespace

TEST_F(EngineWatch, TellsChangesBelowTheSubscription) {
    EXPECT_EQ(notify("net"), "ok volatile 0 0");
    set("net", "port", "80");
    set("disk", "size", "1");
    set("net", "port", "81", "user");
    set("net", "port", "81");
    ask(client(9), unset_request("volatile", {{"net", "port", ""}}));
    ask(client(9), group_request(control_remove_group, "volatile", "net"));
    EXPECT_EQ(seen(), "1 created net; 2 changed net:port ->80; 7 changed net:port 80>81; 8 changed net:port 81>-; "
                      "9 removed net; ");
}

TEST_F(EngineWatch, TellsOneValueOrAWholeLayer) {
    notify("net", "port");
    ask(client(2), notify_request("volatile"));
    set("net", "port", "80");
    set("net", "host", "h");
    EXPECT_EQ(seen(), "2 changed net:port ->80; ");
    EXPECT_EQ(events(client(2)), "1 created net; 2 changed net:port ->80; 3 changed net:host ->h; ");
}

TEST_F(EngineWatch, TellsTheWriterToo) {
    notify();
    ask(set_request("volatile", {{"net", "port", "80"}}));
    EXPECT_EQ(seen(), "1 created net; 2 changed net:port ->80; ");
}

TEST_F(EngineWatch, AnEventComesOnceHoweverManySubscriptionsItFits) {
    notify();
    notify("net");
    notify("net", "port");
    notify("net", "port");
    set("net", "port", "80");
    EXPECT_EQ(seen(), "1 created net; 2 changed net:port ->80; ");
}

TEST_F(EngineWatch, EndsWithUnnotify) {
    notify("net");
    notify("net");
    EXPECT_EQ(ask(request(control_unnotify, {"volatile", "net", ""})), "ok volatile");
    EXPECT_EQ(ask(request(control_unnotify, {"volatile", "net", ""})), "not_held: there is no such subscription");
    set("net", "port", "80");
    EXPECT_EQ(seen(), "");
}

TEST_F(EngineWatch, EndsWithTheConnection) {
    ask(client(2), notify_request("volatile"));
    EXPECT_TRUE(engine().may_be_silent(client(2)));
    leave(2);
    set("net", "port", "80");
    EXPECT_FALSE(engine().may_be_silent(client(2)));
    EXPECT_EQ(events(client(2)), "");
}

TEST_F(EngineWatch, NothingVisibleIsNoEvent) {
    put("user", "top", "net", "port", "1");
    ask(notify_request("user"));
    set("net", "port", "80", "user");
    set("net", "port", "80", "user");
    EXPECT_EQ(seen(), "");
    EXPECT_EQ(engine().revision(), 0U);
}

TEST_F(EngineWatch, WakesTheSubscriberForEachEvent) {
    notify();
    const int before = client().wakes;
    set("net", "port", "80");
    EXPECT_EQ(client().wakes, before + 2);
}

TEST_F(EngineWatch, AnswersBeforeTheEventsOfThePast) {
    set("net", "port", "80");
    client().log.clear();
    EXPECT_EQ(notify("", "", 0), "ok volatile 2 0");
    EXPECT_EQ(client().log, "#1 woken ");
    EXPECT_EQ(seen(), "1 created net; 2 changed net:port ->80; ");
}

TEST_F(EngineWatch, GoesOnFromARevision) {
    set("net", "port", "80");
    set("net", "port", "81");
    set("disk", "size", "1");
    EXPECT_EQ(notify("net", "", 2), "ok volatile 5 0");
    EXPECT_EQ(seen(), "3 changed net:port 80>81; ");
    EXPECT_EQ(notify("disk", "", 5), "ok volatile 5 0");
    EXPECT_EQ(seen(), "");
}

TEST_F(EngineWatch, AnotherSubscriptionDoesNotRepeatWhatTheFirstHasBrought) {
    notify("net");
    set("net", "port", "80");
    set("disk", "size", "1");
    EXPECT_EQ(seen(), "1 created net; 2 changed net:port ->80; ");
    EXPECT_EQ(notify("", "", 0), "ok volatile 4 0");
    EXPECT_EQ(seen(), "3 created disk; 4 changed disk:size ->1; ");
}

TEST_F(EngineWatch, AnotherSubscriptionBringsWhatWasBeforeTheFirst) {
    set("net", "port", "80");
    set("net", "host", "h");
    notify("net");
    set("net", "port", "81");
    EXPECT_EQ(notify("", "", 1), "ok volatile 4 0");
    EXPECT_EQ(seen(), "4 changed net:port 80>81; 2 changed net:port ->80; 3 changed net:host ->h; ");
}

TEST_F(EngineWatch, TheSameSubscriptionBringsWhatWasBeforeIt) {
    set("net", "port", "80");
    notify("net");
    set("net", "port", "81");
    EXPECT_EQ(seen(), "3 changed net:port 80>81; ");
    EXPECT_EQ(notify("net", "", 1), "ok volatile 3 0");
    EXPECT_EQ(notify("net", "", 1), "ok volatile 3 0");
    EXPECT_EQ(seen(), "2 changed net:port ->80; ");
    EXPECT_EQ(statistic("subscriptions"), 1U);
}

TEST_F(EngineWatch, WhatASlowSubscriberLostCanBeAskedFor) {
    EXPECT_EQ(limits.set("events", "2"), std::nullopt);
    notify("net");
    set("net", "port", "80");
    set("net", "port", "81");
    EXPECT_EQ(seen(), "1 created net; 2 changed net:port ->80; 3 lost; ");
    set("net", "port", "82");
    EXPECT_EQ(notify("net", "", 2), "ok volatile 4 0");
    EXPECT_EQ(seen(), "4 changed net:port 81>82; 3 changed net:port 80>81; ");
}

TEST_F(EngineWatch, SaysWhatItDoesNotRemember) {
    first_revision = 41;
    EXPECT_EQ(limits.set("history_events", "16"), std::nullopt);
    for (int i = 0; i < 20; ++i)
        set("net", "port", std::to_string(i).c_str());
    EXPECT_EQ(engine().revision(), 62U);
    EXPECT_EQ(notify("net", "", 45), "ok volatile 62 1"); // 46 is forgotten
    std::string expected;
    for (int i = 4; i < 20; ++i)
        expected +=
            std::to_string(43 + i) + " changed net:port " + std::to_string(i - 1) + ">" + std::to_string(i) + "; ";
    EXPECT_EQ(seen(), expected);
    ask(request(control_unnotify, {"volatile", "net", ""}));
    EXPECT_EQ(notify("net", "", 46), "ok volatile 62 0");
    EXPECT_EQ(seen(), expected);
}

TEST_F(EngineWatch, ARevisionThatHasNotBeenIsLost) {
    set("net", "port", "80");
    EXPECT_EQ(notify("", "", 3), "ok volatile 2 1");
    EXPECT_EQ(seen(), "1 created net; 2 changed net:port ->80; "); // all that is remembered
    EXPECT_EQ(changed("", "", 3).substr(0, 17), "ok volatile 2 1 0");
}

// A storage in memory begins anew with every process, without events for what is gone.
TEST_F(EngineWatch, ALayerInMemoryHasLostWhatWasBeforeTheProcess) {
    build("backends = {\nmain = {\nlibrary = scripted\n}\n}\nlayers = {\n"
          "kept = {\nmain = {\n}\n}\n"
          "volatile = {\nmain = {\nreached = 0\n}\n}\n" // whatever durability it was given
          "fixed = {\nreadonly = yes\nmain = {\nreached = 0\n}\n}\n}\n");
    first_revision = 41;
    for (const char *const layer_name : {"kept", "fixed"}) {
        EXPECT_EQ(ask(notify_request(layer_name, "", "", 41)), std::string("ok ") + layer_name + " 41 0");
        EXPECT_EQ(ask(from_request(control_changed, layer_name, "", "", 41)),
                  std::string("ok ") + layer_name + " 41 0 0");
    }
    EXPECT_EQ(notify("", "", 41), "ok volatile 41 1");
    EXPECT_EQ(changed("", "", 41), "ok volatile 41 1 0");
    EXPECT_EQ(changed("", "", protocol::kFromNow), "ok volatile 41 0 0");
    set("net", "port", "80");
    EXPECT_EQ(changed("net", "port", 41), "ok volatile 43 1 0 43 2 volatile net port '' 80");
    EXPECT_EQ(changed("net", "port", 42), "ok volatile 43 0 0 43 2 volatile net port '' 80");
}

TEST_F(EngineWatch, ALayerInMemoryOfANewStoreHasLostNothing) {
    build("backends = {\nmain = {\nlibrary = scripted\nreached = 0\n}\n}\nlayers = {\nvolatile = {\nmain = {\n}\n"
          "}\n}\n");
    EXPECT_EQ(notify("", "", 0), "ok volatile 0 0");
    set("net", "port", "80");
    EXPECT_EQ(changed("net", "port", 0), "ok volatile 2 0 0 2 2 volatile net port '' 80");
    EXPECT_EQ(changed("net", "port", 1), "ok volatile 2 0 0 2 2 volatile net port '' 80");
}

TEST_F(EngineWatch, ASlowSubscriberIsToldOnceThatItLostEvents) {
    EXPECT_EQ(limits.set("events", "3"), std::nullopt);
    notify();
    ask(client(2), notify_request("volatile"));
    for (int i = 0; i < 10; ++i) {
        set("net", "port", std::to_string(i).c_str());
        EXPECT_NE(events(client(2)), "");
    }
    EXPECT_EQ(seen(), "1 created net; 2 changed net:port ->0; 3 changed net:port 0>1; 11 lost; ");
    EXPECT_EQ(statistic("lost"), 8U);
    EXPECT_EQ(statistic("events"), 3U + 11U);
    set("net", "port", "x");
    EXPECT_EQ(seen(), "12 changed net:port 9>x; ");
}

TEST_F(EngineWatch, WhoCatchesUpWithMuchDoesNotLoseWhatComesMeanwhile) {
    EXPECT_EQ(limits.set("events", "2"), std::nullopt);
    for (int i = 0; i < 10; ++i)
        set("net", "port", std::to_string(i).c_str());
    notify("net", "port", 7);
    set("net", "port", "10");
    set("net", "port", "11");
    EXPECT_EQ(seen(),
              "8 changed net:port 5>6; 9 changed net:port 6>7; 10 changed net:port 7>8; 11 changed net:port 8>9; "
              "12 changed net:port 9>10; 13 changed net:port 10>11; ");
    EXPECT_EQ(statistic("events"), 6U);
}

// Subscribing again and again does not make the daemon grow.
TEST_F(EngineWatch, ThePastThatDoesNotFitIsLostAndCountedAsSuch) {
    EXPECT_EQ(limits.set("history_events", "16"), std::nullopt);
    for (int i = 0; i < 20; ++i)
        set("net", "port", std::to_string(i).c_str());
    for (int i = 0; i < 2; ++i) {
        notify("net", "port", 5);
        ask(request(control_unnotify, {"volatile", "net", "port"}));
    }
    EXPECT_EQ(statistic("events"), 16U);
    EXPECT_EQ(statistic("lost"), 16U);
    EXPECT_NE(seen().find("; 21 lost; "), std::string::npos);
}

TEST_F(EngineWatch, EventsOfASlowSubscriberAreBoundedInBytes) {
    EXPECT_EQ(limits.set("event_bytes", "100000"), std::nullopt);
    notify("net", "port");
    set("net", "port", std::string(60000, 'x').c_str());
    set("net", "port", std::string(50000, 'y').c_str()); // with the old value too much
    EXPECT_EQ(seen(), "2 changed net:port ->" + std::string(60000, 'x') + "; 3 lost; ");
    EXPECT_EQ(statistic("lost"), 1U);
}

TEST_F(EngineWatch, SubscriptionsAreLimited) {
    EXPECT_EQ(limits.set("subscriptions", "2"), std::nullopt);
    EXPECT_EQ(notify("a"), "ok volatile 0 0");
    EXPECT_EQ(notify("b"), "ok volatile 0 0");
    EXPECT_EQ(notify("c"), "too_many: more subscriptions than the limit of 2");
    EXPECT_EQ(notify("a"), "ok volatile 0 0"); // one that it has
    ask(request(control_unnotify, {"volatile", "a", ""}));
    EXPECT_EQ(notify("c"), "ok volatile 0 0");
}

// ---- changed, as a request

TEST_F(EngineWatch, ChangedTellsThePast) {
    set("net", "port", "80");
    set("disk", "size", "1");
    EXPECT_EQ(changed("", "", 0), "ok volatile 4 0 0 1 4 volatile net '' '' '' 2 2 volatile net port '' 80 "
                                  "3 4 volatile disk '' '' '' 4 2 volatile disk size '' 1");
    EXPECT_EQ(changed("net", "port", 0), "ok volatile 4 0 0 2 2 volatile net port '' 80");
    EXPECT_EQ(changed("", "", 3), "ok volatile 4 0 0 4 2 volatile disk size '' 1");
    EXPECT_EQ(changed("", "", 4), "ok volatile 4 0 0");
    EXPECT_TRUE(client().subscriptions().empty());
}

TEST_F(EngineWatch, ChangedFromNowTellsTheRevision) {
    set("net", "port", "80");
    EXPECT_EQ(changed("", "", protocol::kFromNow), "ok volatile 2 0 0");
}

TEST_F(EngineWatch, ChangedSaysWhatItDoesNotRemember) {
    first_revision = 41;
    set("net", "port", "80");
    EXPECT_EQ(changed("net", "port", 40), "ok volatile 43 1 0 43 2 volatile net port '' 80");
}

TEST_F(EngineWatch, ChangedComesInPages) {
    const std::string value(30000, 'x');
    for (const char *const name : {"a", "b", "c", "d", "e"})
        set("net", name, value.c_str());
    std::uint64_t from = 0;
    std::string names;
    for (bool more = true; more;) {
        Message message = from_request(control_changed, "volatile", "", "", from);
        struct Catcher final : daemon::Session {
            Catcher() : Session(77, "catcher") {}
            void answer(std::uint32_t, const Message &reply) override { bytes = reply.encode(); }
            void wake() override {}
            protocol::Bytes bytes;
        } catcher;
        protocol::Bytes bytes = message.encode();
        engine().handle(catcher, 1, bytes);
        const Received page(catcher.bytes);
        more = page.uint32(4) == 1;
        ASSERT_GT(page.size(), 5U);
        EXPECT_LE(page.size(), 5U + 3 * 7);
        for (std::size_t row = 5; row < page.size(); row += 7) {
            from = page.uint64(row);
            names += std::string(page.text(row + 4)) + "|";
        }
    }
    EXPECT_EQ(names, "|a|b|c|d|e|");
    EXPECT_EQ(from, 6U);
}

// The change is made by then: to refuse it would be a lie.
TEST_F(EngineWatch, WithoutMemoryForItsNewsAChangeIsDoneAllTheSame) {
    for (const std::uint32_t durability : {DURABILITY_MEMORY, DURABILITY_FILE}) {
        const std::string value = std::to_string(durability);
        client(2).is_short_of_memory = false;
        notify();
        ask(client(2), notify_request("volatile", "net"));
        client(2).is_short_of_memory = true;
        const std::uint64_t before = engine().revision();
        const std::string answered =
            ask(client(9),
                set_request("volatile", {{"net", "port", value.c_str()}, {"net", "mtu", value.c_str()}}, durability));
        const std::uint64_t after = engine().revision();
        EXPECT_GT(after, before + 1);
        EXPECT_EQ(answered.substr(0, 16), "ok volatile main");
        EXPECT_EQ(answered.substr(18), " " + std::to_string(after) + " 2");
        EXPECT_EQ(ask(get_request("volatile", "net", "port")), "ok " + value + " volatile main");
        EXPECT_NE(seen().find(std::to_string(after) + " lost; "), std::string::npos);
        EXPECT_NE(events(client(2)).find(std::to_string(after) + " lost; "), std::string::npos);
        EXPECT_EQ(changed("", "", before), "ok volatile " + std::to_string(after) + " 1 0");
        EXPECT_EQ(notify("", "", after), "ok volatile " + std::to_string(after) + " 0");
    }
}

TEST_F(EngineWatch, WhoLosesNewsIsWoken) {
    notify();
    ask(client(2), notify_request("volatile"));
    ask(client(3), notify_request("volatile"));
    client(2).is_short_of_memory = true;
    set("net", "port", "1");
    for (const varnel::daemon::ConnectionNumber number : {1U, 3U})
        EXPECT_GE(client(number).wakes, 2) << number; // for the group and for the value
}
