// SPDX-License-Identifier: MIT
// Watchers beside writers: what they miss, what they are told, and that they hold nobody up.
#include "daemon.h"
#include "messages.h"

#include <csignal>

namespace varnel::test {

namespace {

Status set_number(Peer &peer, std::uint32_t id, std::uint32_t number) {
    return status_of(peer.ask(id, set_message("volatile", "g", "a", make_uint32(number))));
}

Received notify(Peer &peer, std::uint32_t id, std::uint64_t from = protocol::kFromNow) {
    return peer.ask(id, message(control_notify, "volatile", "", "", from));
}

std::uint64_t revision_of(const Received &event) {
    return event.uint64(0);
}

TEST(Watch, TwoWritersAndAWatcherSeeOneOrder) {
    StartedDaemon daemon;
    Peer watcher = Peer::over_unix(daemon.socket);
    notify(watcher, 1);
    Peer first = Peer::over_unix(daemon.socket);
    Peer second = Peer::over_unix(daemon.socket);
    for (std::uint32_t i = 1; i <= 50; ++i) {
        EXPECT_EQ(set_number(first, i, 2 * i), Status::ok);
        EXPECT_EQ(set_number(second, i, 2 * i + 1), Status::ok);
    }
    EXPECT_EQ(watcher.receive_message().text(3), "g"); // the group
    std::string before;
    for (std::uint32_t i = 0; i < 100; ++i) {
        const Received event = watcher.receive_message();
        EXPECT_EQ(revision_of(event), i + 2);
        if (i != 0) {
            EXPECT_EQ(print_value(event.at(5)), before);
        }
        before = print_value(event.at(6));
        EXPECT_EQ(before, std::to_string(i + 2));
    }
}

TEST(Watch, SetThatChangesNothingIsNoEvent) {
    StartedDaemon daemon;
    Peer watcher = Peer::over_unix(daemon.socket);
    Peer writer = Peer::over_unix(daemon.socket);
    set_number(writer, 1, 1);
    notify(watcher, 1);
    set_number(writer, 2, 1);
    set_number(writer, 3, 2);
    EXPECT_EQ(texts_of(watcher.receive_message()), "3 3 volatile g a 1 2");
}

TEST(Watch, LosesEventsPastItsBoundAndIsToldOnce) {
    constexpr std::uint32_t kChanges = 20000; // more than fits into the socket
    Daemon daemon;
    daemon.options = {"--limits", "events=16"};
    daemon.start();
    Peer watcher = Peer::over_unix(daemon.socket);
    notify(watcher, 1);
    Peer writer = Peer::over_unix(daemon.socket);
    for (std::uint32_t i = 1; i <= kChanges; ++i)
        ASSERT_EQ(set_number(writer, i, i), Status::ok); // nobody is held up
    std::uint64_t last = 0;
    bool told = false;
    while (!told) {
        const Received event = watcher.receive_message();
        told = (event.uint32(1) & protocol::kEventLost) != 0;
        if (told) {
            EXPECT_GT(revision_of(event), last + 1);
            EXPECT_EQ(texts_of(event, 1), "16 - - - - -");
        } else {
            EXPECT_EQ(revision_of(event), last + 1);
        }
        last = revision_of(event);
    }
    EXPECT_EQ(last, kChanges + 1);
    // Then everything comes again, and no second notice.
    set_number(writer, kChanges + 1, 0);
    const Received next = watcher.receive_message();
    EXPECT_EQ(next.uint32(1), protocol::kEventHadValue | protocol::kEventHasValue);
    EXPECT_EQ(revision_of(next), kChanges + 2);
}

TEST(Watch, GoesOnAcrossACleanRestart) {
    const auto notify_user = [](Peer &peer, std::uint32_t id, std::uint64_t from) {
        return texts_of(peer.ask(id, message(control_notify, "user", "", "", from)));
    };
    StartedDaemon daemon;
    {
        Peer writer = Peer::over_unix(daemon.socket);
        writer.ask(1, set_message("user", "g", "a", make_uint32(1))); // revisions 1 and 2
    }
    daemon.stop();
    daemon.start();
    Peer watcher = Peer::over_unix(daemon.socket);
    EXPECT_EQ(notify_user(watcher, 1, 2), "0 user 2 0");
    EXPECT_EQ(notify_user(watcher, 2, 2), "0 user 2 0"); // counts once
    Peer late = Peer::over_unix(daemon.socket);
    EXPECT_EQ(notify_user(late, 1, 1), "0 user 2 1"); // 2 is forgotten
    Peer writer = Peer::over_unix(daemon.socket);
    writer.ask(1, set_message("user", "g", "a", make_uint32(2)));
    EXPECT_EQ(texts_of(watcher.receive_message()), "3 3 user g a 1 2");
}

// What was in memory is gone, although nothing has happened since the last revision that the watcher knows.
TEST(Watch, OfALayerInMemoryLearnsThatARestartHasEmptiedIt) {
    StartedDaemon daemon;
    {
        Peer writer = Peer::over_unix(daemon.socket);
        set_number(writer, 1, 1); // revisions 1 and 2
    }
    daemon.stop();
    daemon.start();
    Peer watcher = Peer::over_unix(daemon.socket);
    EXPECT_EQ(texts_of(notify(watcher, 1, 2)), "0 volatile 2 1");
    Peer writer = Peer::over_unix(daemon.socket);
    set_number(writer, 1, 1);
    EXPECT_EQ(revision_of(watcher.receive_message()), 3U);
    EXPECT_EQ(texts_of(watcher.receive_message()), "4 2 volatile g a - 1");
}

TEST(Watch, LearnsOfALossAfterACrash) {
    StartedDaemon daemon;
    {
        Peer writer = Peer::over_unix(daemon.socket);
        set_number(writer, 1, 1);
    }
    daemon.kill();
    daemon.start();
    Peer watcher = Peer::over_unix(daemon.socket);
    const Received answer = notify(watcher, 1, 2);
    EXPECT_EQ(answer.uint32(3), 1U);
    EXPECT_GT(answer.uint64(2), 2U); // revisions that were given out do not come again
    Peer writer = Peer::over_unix(daemon.socket);
    set_number(writer, 1, 1);
    EXPECT_EQ(revision_of(watcher.receive_message()), answer.uint64(2) + 1);
}

TEST(Watch, OfTheClientReconnectsAndMissesNothing) {
    StartedDaemon daemon;
    EXPECT_EQ(daemon.control({"set", "g:a", "1"}).code, 0);
    Process watch(daemon.control_arguments({"watch", "user", "--from", "0", "--reconnect"}));
    EXPECT_EQ(watch.read_line(), "1 group-created user:g");
    EXPECT_EQ(watch.read_line(), "2 added user:g:a 1");
    daemon.stop();
    daemon.start();
    EXPECT_EQ(daemon.control({"set", "g:a", "2"}).code, 0);
    EXPECT_EQ(watch.read_line(), "3 changed user:g:a 1 -> 2");
    watch.signal(SIGTERM);
    EXPECT_EQ(watch.wait(), 0) << watch.err();
    EXPECT_EQ(watch.err().find("lost"), std::string::npos) << watch.err();
}

TEST(Watch, OfTheClientEndsWithThreeWhenTheDaemonGoes) {
    StartedDaemon daemon;
    EXPECT_EQ(daemon.control({"set", "g:a", "1"}).code, 0);
    Process watch(daemon.control_arguments({"watch", "user", "--from", "0"}));
    EXPECT_EQ(watch.read_line(), "1 group-created user:g");
    daemon.stop();
    EXPECT_EQ(watch.wait(), 3);
    daemon.start();
}

// An event is sent when its change is as safe as its writer asked: who gets it can rely on it.
TEST(Watch, EventsOfDurableChangesComeWithTheirAnswer) {
    StartedDaemon daemon;
    Peer peer = Peer::over_unix(daemon.socket);
    peer.ask(1, message(control_notify, "user", "g", "a", protocol::kFromNow));
    peer.send_message(2, set_message("user", "g", "a", make_int32(1)).encode());
    bool answered = false;
    bool told = false;
    for (int i = 0; i < 2; ++i) {
        std::uint32_t id = 0;
        const Received received = peer.receive_message(&id);
        (id == 2 ? answered : told) = true;
    }
    EXPECT_TRUE(answered);
    EXPECT_TRUE(told);
}

TEST(Watch, SeesDefaultsComeBack) {
    Daemon daemon;
    write_file(daemon.folder() / "defaults.conf", "g = {\n    a = 5\n}\n");
    daemon.start();
    Peer peer = Peer::over_unix(daemon.socket);
    peer.ask(1, set_message("user", "g", "a", make_int32(6)));
    Peer watcher = Peer::over_unix(daemon.socket);
    watcher.ask(1, message(control_notify, "user", "g", "", protocol::kFromNow));
    peer.ask(2, message(control_remove_group, "user", "g", kInMemory));
    EXPECT_EQ(texts_of(watcher.receive_message(), 1), "3 user g a 6 5");
    peer.ask(3, set_message("user", "g", "b", make_int32(1)));
    EXPECT_EQ(texts_of(watcher.receive_message(), 1), "2 user g b - 1"); // the group was there all the time
}

} // namespace

} // namespace varnel::test
