// SPDX-License-Identifier: MIT
// Every control code over the real socket: the parameters of its answer, by type and content.
#include "daemon.h"
#include "messages.h"

#include <sstream>

namespace varnel::test {

namespace {

constexpr std::uint64_t kFromStart = 0;

class Codes : public testing::Test {
protected:
    Received ask(const Message &request) {
        Received answer = peer.ask(++last_id, request);
        EXPECT_EQ(answer.code(), request.code());
        return answer;
    }

    // Asks for what must be ok. The types of the answer's parameters and, behind a colon, all but the status as text.
    std::string ok(const Message &request) {
        const Received answer = ask(request);
        EXPECT_EQ(status_of(answer), Status::ok) << texts_of(answer, 1);
        return types_of(answer) + ": " + texts_of(answer, 1);
    }

    void set(const char *group, const char *name, std::int32_t number) {
        ok(set_message("volatile", group, name, make_int32(number)));
    }

    StartedDaemon daemon;
    Peer peer = Peer::over_unix(daemon.socket);
    std::uint32_t last_id = 0;
};

TEST_F(Codes, CreateGroupTellsWhereTheGroupIs) {
    EXPECT_EQ(ok(message(control_create_group, "volatile", "g", kInMemory)),
              "uint32 string string uint32 uint64: volatile memory 0 1");
    EXPECT_EQ(ok(message(control_list_keys, "volatile", "g", "", "")),
              "uint32 string uint32 string string: volatile 0 g -");
}

TEST_F(Codes, RemoveGroupTakesItsValuesAlong) {
    set("g", "a", 1);
    set("g", "b", 2);
    EXPECT_EQ(ok(message(control_remove_group, "volatile", "g", kInMemory)),
              "uint32 string string uint32 uint64: volatile memory 0 6"); // group, a, b, and each of them again
    EXPECT_EQ(status_of(ask(get_message("volatile", "g", "a"))), Status::not_found);
}

TEST_F(Codes, SetCountsWhatChangesAndTellsHowSafeItIs) {
    const auto set_two = [this](std::int32_t second) {
        return ok(message(control_set, "", kInFolder, kNoFlags, "g", "a", make_int32(1), "g", "b", make_int32(second)));
    };
    EXPECT_EQ(set_two(2), "uint32 string string uint32 uint64 uint32: user sqlite 2 3 2");
    EXPECT_EQ(set_two(3), "uint32 string string uint32 uint64 uint32: user sqlite 2 4 1");
    EXPECT_EQ(set_two(3), "uint32 string string uint32 uint64 uint32: user sqlite 2 4 0");
}

TEST_F(Codes, TheLayersOwnDurabilityCountsWhenItIsMore) {
    EXPECT_EQ(ok(set_message("user", "g", "a", make_int32(1))),
              "uint32 string string uint32 uint64 uint32: user sqlite 1 2 1");
}

TEST_F(Codes, GetTellsWhichBackendAnswers) {
    set("g", "a", -7);
    EXPECT_EQ(ok(get_message("volatile", "g", "a")), "uint32 int32 string string: -7 volatile memory");
}

TEST_F(Codes, UnsetShowsTheDefaultAgain) {
    daemon.stop();
    write_file(daemon.folder() / "defaults.conf", "g = {\n    a = 5\n}\n");
    daemon.start();
    Peer anew = Peer::over_unix(daemon.socket);
    const auto value = [&](std::uint32_t id) { return texts_of(anew.ask(id, get_message("user", "g", "a")), 1); };
    EXPECT_EQ(value(1), "5 user defaults");
    anew.ask(2, set_message("user", "g", "a", make_int32(6)));
    EXPECT_EQ(value(3), "6 user sqlite");
    EXPECT_EQ(texts_of(anew.ask(4, message(control_unset, "user", kInMemory, kNoFlags, "g", "a"))),
              "0 user sqlite 1 2 1");
    EXPECT_EQ(value(5), "5 user defaults");
}

TEST_F(Codes, NotifyBringsEventsAndUnnotifyEndsThem) {
    Peer watcher = Peer::over_unix(daemon.socket);
    const Received answer = watcher.ask(1, message(control_notify, "volatile", "g", "", protocol::kFromNow));
    EXPECT_EQ(types_of(answer) + ": " + texts_of(answer, 1), "uint32 string uint64 uint32: volatile 0 0");
    set("other", "a", 1); // revisions 1 and 2, of no interest
    set("g", "a", 1);
    std::uint32_t id = 0;
    const Received created = watcher.receive_message(&id);
    EXPECT_EQ(id, protocol::kFirstEventId);
    EXPECT_EQ(created.code(), std::uint32_t{control_changed});
    EXPECT_EQ(texts_of(created), "3 4 volatile g - - -");
    const Received added = watcher.receive_message(&id);
    EXPECT_EQ(id, protocol::kFirstEventId + 1);
    EXPECT_EQ(types_of(added) + ": " + texts_of(added),
              "uint64 uint32 string string string string int32: 4 2 volatile g a - 1");
    set("g", "a", 2);
    EXPECT_EQ(texts_of(watcher.receive_message()), "5 3 volatile g a 1 2");

    EXPECT_EQ(texts_of(watcher.ask(2, message(control_unnotify, "volatile", "g", ""))), "0 volatile");
    set("g", "a", 3);
    EXPECT_EQ(texts_of(watcher.ask(3, get_message("volatile", "g", "a"))), "0 3 volatile memory"); // no event before
}

TEST_F(Codes, ListHasValuesAndListKeysDoesNot) {
    set("g", "a", 1);
    set("h", "b", 2);
    EXPECT_EQ(ok(message(control_list, "volatile", "", "", "")),
              "uint32 string uint32 string string string string string string int32 string string string string string "
              "string string int32 string: volatile 0 g - - memory g a 1 memory h - - memory h b 2 memory");
    EXPECT_EQ(texts_of(ask(message(control_list_keys, "volatile", "", "", ""))), "0 volatile 0 g - g a h - h b");
    EXPECT_EQ(texts_of(ask(message(control_list_keys, "volatile", "", "g", "a"))), "0 volatile 0 h - h b");
    EXPECT_EQ(texts_of(ask(message(control_list, "volatile", "h", "", ""))), "0 volatile 0 h - - memory h b 2 memory");
}

TEST_F(Codes, StatusListsBackendsInOrder) {
    EXPECT_EQ(types_of(ask(message(control_status))).substr(0, 65),
              "uint32 uint64 string string string string int32 uint32 uint32 str");
    const Received answer = ask(message(control_status));
    ASSERT_EQ(answer.size(), 3U + 4 * 7);
    EXPECT_EQ(texts_of(answer, 1).substr(0, 66), "0 user user sqlite sqlite 10 20 1 - user defaults defaults 0 17 1 ");
    std::istringstream words(texts_of(answer, 3));
    std::string all;
    for (std::string word; words >> word;)
        all += word + ",";
    EXPECT_NE(all.find("volatile,memory,memory,0,4,0,"), std::string::npos) << all;
    EXPECT_NE(all.find("locked,memory,memory,0,2,1,"), std::string::npos) << all;
}

TEST_F(Codes, StatusOfAKeyListsEveryBackend) {
    set("g", "a", 1);
    ok(set_message("user", "g", "a", make_int32(2)));
    const Received answer = ask(message(control_status, "volatile", "g", "a"));
    ASSERT_EQ(answer.size(), 3U + 4 * 4);
    EXPECT_EQ(texts_of(answer).substr(0, 53), "0 volatile - volatile memory 11 1 user sqlite 11 2 us");
    ok(message(control_trylock, "volatile", "g", ""));
    const std::string holder(ask(message(control_status, "volatile", "g", "a")).text(2));
    EXPECT_EQ(holder, "connection 1 (pid " + std::to_string(getpid()) + ", user " + std::to_string(getuid()) +
                          ", group " + std::to_string(getgid()) + ")");
}

TEST_F(Codes, ChangedTellsWhatHasBeen) {
    set("g", "a", 1);
    set("g", "a", 2);
    EXPECT_EQ(ok(message(control_changed, "volatile", "", "", kFromStart)),
              "uint32 string uint64 uint32 uint32 uint64 uint32 string string string string string uint64 uint32 "
              "string string string string int32 uint64 uint32 string string string int32 int32: volatile 3 0 0 "
              "1 4 volatile g - - - 2 2 volatile g a - 1 3 3 volatile g a 1 2");
    EXPECT_EQ(texts_of(ask(message(control_changed, "volatile", "g", "a", std::uint64_t{2}))),
              "0 volatile 3 0 0 3 3 volatile g a 1 2");
    EXPECT_EQ(texts_of(ask(message(control_changed, "user", "", "", kFromStart))), "0 user 3 0 0");
}

TEST_F(Codes, SyncTellsTheLeastClass) {
    ok(set_message("user", "g", "a", make_int32(1)));
    EXPECT_EQ(ok(message(control_sync, "user")), "uint32 uint32: 2");
    EXPECT_EQ(ok(message(control_sync, "volatile")), "uint32 uint32: 0");
    EXPECT_EQ(ok(message(control_sync)), "uint32 uint32: 0");
}

TEST_F(Codes, LocksAreTakenAwaitedAndGivenUp) {
    EXPECT_EQ(ok(message(control_trylock, "volatile", "g", "")), "uint32 string: volatile");
    Peer other = Peer::over_unix(daemon.socket);
    EXPECT_EQ(status_of(other.ask(1, message(control_trylock, "volatile", "g", "a"))), Status::busy);
    other.send_message(2, message(control_lock, "volatile", "g", "a", std::uint32_t{60000}).encode());
    EXPECT_EQ(status_of(other.ask(3, message(control_trylock, "volatile", "g", "a"))), Status::busy); // it waits now
    EXPECT_EQ(ok(message(control_unlock, "volatile", "g", "")), "uint32 string: volatile");
    std::uint32_t id = 0;
    EXPECT_EQ(texts_of(other.receive_message(&id)), "0 volatile");
    EXPECT_EQ(id, 2U);
    EXPECT_EQ(status_of(ask(message(control_trylock, "volatile", "g", "a"))), Status::busy);
}

TEST_F(Codes, OtherTellsVersionStatisticsAndLimits) {
    const Received version = ask(message(control_other, "version"));
    EXPECT_EQ(types_of(version), "uint32 string uint32");
    EXPECT_EQ(texts_of(version), std::string("0 ") + VARNEL_VERSION + " 1");
    const Received statistics = ask(message(control_other, "statistics"));
    EXPECT_EQ(texts_of(statistics).substr(0, 51), "0 connections 1 subscriptions 0 accepted 1 refused ");
    const Received limits = ask(message(control_other, "limits"));
    EXPECT_EQ(texts_of(limits).substr(0, 40), "0 clients 256 message_bytes 262144 packe");
}

} // namespace

} // namespace varnel::test
