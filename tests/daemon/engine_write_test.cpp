// SPDX-License-Identifier: MIT
// create_group, remove_group, set, unset, sync: what they do, what they answer, and that all of a request is done or
// none.
#include "engine_fixture.h"

#include <cerrno>
#include <new>

using namespace varnel;

namespace {

constexpr std::uint32_t kMore = protocol::kWriteMore;
constexpr std::uint32_t kReplace = protocol::kWriteReplace;
constexpr std::uint32_t kRespectLocks = protocol::kWriteRespectLocks;

class EngineWrite : public EngineTest {
public:
    std::string stored(const char *layer_name = "user") { return content(layer_name, "main"); }
};

} // namespace

TEST_F(EngineWrite, SetsAndUnsets) {
    EXPECT_EQ(ask(set_request("", {{"net", "port", "80"}, {"net", "host", "h"}})), "ok user main 2 3 2");
    EXPECT_EQ(stored(), "[net] host=h port=80 ");
    EXPECT_EQ(ask(unset_request("", {{"net", "port", ""}})), "ok user main 2 4 1");
    EXPECT_EQ(stored(), "[net] host=h ");
}

TEST_F(EngineWrite, MakesAndRemovesGroups) {
    EXPECT_EQ(ask(group_request(control_create_group, "", "net")), "ok user main 2 1");
    EXPECT_EQ(ask(group_request(control_create_group, "", "net")), "exists: user:net is there already");
    ask(set_request("", {{"net", "port", "80"}}));
    EXPECT_EQ(ask(group_request(control_remove_group, "", "net")), "ok user main 2 4");
    EXPECT_EQ(stored(), "");
    EXPECT_EQ(ask(group_request(control_remove_group, "", "net")), "not_found: user:net is not there");
}

TEST_F(EngineWrite, CountsVisibleChangesOnly) {
    put("user", "top", "net", "fixed", "1");
    put("user", "base", "net", "same", "2");
    put("user", "main", "net", "kept", "3");
    EXPECT_EQ(
        ask(set_request("", {{"net", "fixed", "x"}, {"net", "same", "2"}, {"net", "kept", "3"}, {"net", "new", "4"}})),
        "ok user main 2 1 1");
    EXPECT_EQ(stored(), "[net] fixed=x kept=3 new=4 same=2 ");
}

TEST_F(EngineWrite, TheSameAgainChangesNothing) {
    ask(set_request("", {{"net", "port", "80"}}));
    EXPECT_EQ(ask(set_request("", {{"net", "port", "80"}})), "ok user main 2 2 0");
    EXPECT_EQ(engine().revision(), 2U);
}

// Nobody can read what stood there between the rows of one request.
TEST_F(EngineWrite, OfAKeyThatComesTwiceTheLastRowCounts) {
    put("user", "main", "net", "port", "1");
    put("user", "main", "net", "kept", "1");
    ask(client(2), notify_request("user"));
    EXPECT_EQ(ask(set_request("", {{"net", "port", "2"},
                                   {"net", "kept", "2"},
                                   {"net", "host", "a"},
                                   {"net", "port", "3"},
                                   {"net", "kept", "1"},
                                   {"disk", "port", "4"}})),
              "ok user main 2 4 3");
    EXPECT_EQ(events(client(2)), "1 changed net:host ->a; 2 changed net:port 1>3; 3 created disk; "
                                 "4 changed disk:port ->4; ");
    EXPECT_EQ(ask(unset_request("", {{"net", "port", ""}, {"net", "port", ""}})), "ok user main 2 5 1");
    EXPECT_EQ(events(client(2)), "5 changed net:port 3>-; ");
}

TEST_F(EngineWrite, OfAKeyThatComesInTwoPartsTheLastRowCounts) {
    EXPECT_EQ(ask(set_request("", {{"net", "port", "2"}}, 0, kMore)), "ok user main 0 0 0");
    EXPECT_EQ(ask(set_request("", {{"net", "port", "3"}}, 0, kReplace)), "ok user main 2 2 1");
    EXPECT_EQ(stored(), "[net] port=3 ");
}

// The library's reader keeps the byte as it came.
TEST_F(EngineWrite, ABooleanIsZeroOrOne) {
    for (int byte = 0; byte <= UINT8_MAX; ++byte) {
        Message message(control_set);
        message.add("volatile").add(std::uint32_t{0}).add(std::uint32_t{0}).add("g").add("a").add(make_boolean(true));
        protocol::Bytes bytes = message.encode();
        ASSERT_EQ(bytes.back(), 1U);
        bytes.back() = static_cast<std::uint8_t>(byte);
        const std::uint32_t id = ++client().last_id;
        engine().handle(client(), id, bytes);
        EXPECT_EQ(answer(id).substr(0, 8), byte <= 1 ? "ok volat" : "invalid:") << byte;
    }
    EXPECT_EQ(ask(get_request("volatile", "g", "a")), "ok true volatile main");
}

TEST_F(EngineWrite, UnsettingADefaultIsNotFound) {
    put("user", "base", "net", "port", "8080");
    EXPECT_EQ(ask(unset_request("", {{"net", "port", ""}})), "not_found: user:net:port is not there");
}

TEST_F(EngineWrite, ReadOnlyLayersRefuse) {
    for (const char *const name : {"fixed", "factory"}) {
        const std::string refusal = "read_only: layer " + std::string(name) + " takes no changes";
        EXPECT_EQ(ask(set_request(name, {{"a", "b", "c"}})), refusal);
        EXPECT_EQ(ask(unset_request(name, {{"a", "b", ""}})), refusal);
        EXPECT_EQ(ask(group_request(control_create_group, name, "a")), refusal);
        EXPECT_EQ(ask(group_request(control_remove_group, name, "a")), refusal);
    }
}

TEST_F(EngineWrite, FailuresOfTheModuleHaveTheirStatus) {
    const struct {
        int result;
        const char *words;
    } rows[] = {
        {-EROFS, "read_only: backend main: Read-only file system"},
        {-ENOSPC, "no_space: backend main: No space left on device"},
        {-EIO, "io_error: backend main: Input/output error"},
        {-ENODEV, "unavailable: backend main: No such device"},
        {-ENOMEM, "no_memory: backend main: Cannot allocate memory"},
        {-EINVAL, "invalid: backend main: Invalid argument"},
        {-EBADMSG, "unavailable: backend main: damaged: see the daemon's log"},
        {1, "unavailable: backend main: damaged: see the daemon's log"},
    };
    for (const auto &row : rows) {
        backend("user", "main").results["set"] = row.result;
        EXPECT_EQ(ask(set_request("", {{"net", "port", "80"}})), row.words);
        EXPECT_EQ(ask(group_request(control_create_group, "", "net")), row.words);
    }
    EXPECT_EQ(calls().find("sync"), std::string::npos);
}

TEST_F(EngineWrite, AllRowsAreDoneOrNone) {
    put("user", "main", "net", "port", "80");
    backend("user", "main").results["set net third"] = -ENOSPC;
    EXPECT_EQ(ask(set_request("", {{"net", "port", "81"}, {"new", "second", "2"}, {"net", "third", "3"}})),
              "no_space: backend main: No space left on device");
    EXPECT_EQ(stored(), "[net] port=80 ");
    EXPECT_EQ(ask(unset_request("", {{"net", "port", ""}, {"net", "none", ""}})),
              "not_found: user:net:none is not there");
    EXPECT_EQ(stored(), "[net] port=80 ");
    EXPECT_EQ(engine().revision(), 0U);
}

TEST_F(EngineWrite, ABadRowIsRefusedBeforeAnyIsDone) {
    Message message = set_request("", {{"net", "port", "80"}});
    message.add("net").add("a:b").add("x");
    EXPECT_EQ(ask(message), "invalid: control_set: parameter 7 is no part of a key");
    EXPECT_EQ(calls(), "");
}

// ---- durability

TEST_F(EngineWrite, TheLayersDurabilityCountsWhenItIsMore) {
    ask(set_request("user", {{"net", "port", "1"}}, 0));
    EXPECT_EQ(calls(), "set net port, sync 1, ");
    ask(set_request("user", {{"net", "port", "2"}}, 2));
    EXPECT_EQ(calls(), "set net port, sync 2, ");
    ask(set_request("volatile", {{"net", "port", "1"}}, 1));
    EXPECT_EQ(calls("volatile"), "set net port, sync 1, ");
    ask(set_request("volatile", {{"net", "port", "2"}}, 0));
    EXPECT_EQ(calls("volatile"), "set net port, ");
}

TEST_F(EngineWrite, TheAnswerSaysWhatWasReached) {
    backend("user", "main").reached = 0;
    EXPECT_EQ(ask(set_request("user", {{"net", "port", "1"}}, 2)), "ok user main 0 2 1");
    backend("user", "main").reached = 1;
    EXPECT_EQ(ask(set_request("user", {{"net", "port", "2"}}, 2)), "ok user main 1 3 1");
    EXPECT_EQ(ask(set_request("volatile", {{"net", "port", "1"}})), "ok volatile main 0 5 1");
}

// ---- writes in parts

TEST_F(EngineWrite, RowsWithMoreAreDoneWithTheLastOnes) {
    EXPECT_EQ(ask(set_request("", {{"a", "1", "x"}}, 2, kMore)), "ok user main 0 0 0");
    EXPECT_EQ(ask(set_request("", {{"a", "2", "x"}}, 2, kMore)), "ok user main 0 0 0");
    EXPECT_EQ(stored(), "");
    EXPECT_EQ(ask(get_request("", "a", "1")), "not_found: user:a:1 is not there");
    EXPECT_EQ(ask(set_request("", {{"a", "3", "x"}})), "ok user main 2 4 3");
    EXPECT_EQ(stored(), "[a] 1=x 2=x 3=x ");
    EXPECT_EQ(calls(), "set a 1, set a 2, set a 3, sync 1, "); // the durability of the last one counts
}

TEST_F(EngineWrite, TheLastPartNeedsNoRowOfItsOwn) {
    ask(set_request("", {{"a", "1", "x"}}, 0, kMore));
    EXPECT_EQ(ask(set_request("", {})), "ok user main 2 2 1");
    ask(unset_request("", {{"a", "1", ""}}, 0, kMore));
    EXPECT_EQ(ask(unset_request("", {})), "ok user main 2 3 1");
}

TEST_F(EngineWrite, PartsBelongToTheirConnection) {
    ask(client(1), set_request("", {{"a", "1", "x"}}, 0, kMore));
    EXPECT_EQ(ask(client(2), set_request("", {{"a", "2", "x"}})), "ok user main 2 2 1");
    EXPECT_EQ(stored(), "[a] 2=x ");
}

TEST_F(EngineWrite, AFailingPartTakesBackAll) {
    backend("user", "main").results["set a 3"] = -EIO;
    ask(set_request("", {{"a", "1", "x"}}, 0, kMore));
    EXPECT_EQ(ask(set_request("", {{"a", "3", "x"}})), "io_error: backend main: Input/output error");
    EXPECT_EQ(stored(), "");
    backend("user", "main").results.clear();
    EXPECT_EQ(ask(set_request("", {{"a", "2", "x"}})), "ok user main 2 2 1");
    EXPECT_EQ(stored(), "[a] 2=x ");
}

TEST_F(EngineWrite, AnotherWriteInBetweenDropsTheParts) {
    const std::string dropped = "invalid: another write is waiting for the rest of its rows; it has been dropped";
    ask(set_request("", {{"a", "1", "x"}}, 0, kMore));
    EXPECT_EQ(ask(unset_request("", {{"a", "1", ""}})), dropped);
    ask(set_request("", {{"a", "1", "x"}}, 0, kMore));
    EXPECT_EQ(ask(set_request("volatile", {{"a", "1", "x"}})), dropped);
    EXPECT_EQ(ask(set_request("", {{"a", "2", "x"}})), "ok user main 2 2 1");
    EXPECT_EQ(stored(), "[a] 2=x ");
}

// Rows that were kept must not be done later with those of a write that has nothing to do with them.
TEST_F(EngineWrite, APartThatIsRefusedDropsThoseBeforeIt) {
    EXPECT_EQ(limits.set("value_bytes", "64"), std::nullopt);
    EXPECT_EQ(limits.set("rate", "100"), std::nullopt);
    const std::string large(100, 'x');
    Message bad_row = set_request("", {{"a", "2", "x"}}, 0, kMore);
    bad_row.add("a");
    const std::function<void()> refused[] = {
        [&] {
            ask(set_request("", {{"a", "2", large.c_str()}}, 0, kMore));
        },
        [&] {
            ask(set_request("", {{"a", "2", "x"}}, 7, kMore));
        },
        [&] {
            ask(set_request("none", {{"a", "2", "x"}}, 0, kMore));
        },
        [&] { ask(bad_row); },
        [&] {
            for (int i = 0; i < 100; ++i)
                ask(request(control_other, {"version"}));
            EXPECT_EQ(ask(set_request("", {{"a", "2", "x"}}, 0, kMore)), "too_fast: too many requests in this second");
            now += 1000;
        },
    };
    for (const auto &refuse : refused) {
        EXPECT_EQ(ask(set_request("", {{"a", "1", "x"}}, 0, kMore)).substr(0, 3), "ok ");
        refuse();
        EXPECT_EQ(ask(set_request("", {{"a", "3", "x"}})).substr(0, 3), "ok ");
        EXPECT_EQ(stored(), "[a] 3=x ");
    }
}

TEST_F(EngineWrite, PartsOverTheLimitAreTooLarge) {
    EXPECT_EQ(limits.set("staged_bytes", "1024"), std::nullopt);
    const std::string value(400, 'x');
    EXPECT_EQ(ask(set_request("", {{"a", "1", value.c_str()}}, 0, kMore)), "ok user main 0 0 0");
    EXPECT_EQ(ask(set_request("", {{"a", "2", value.c_str()}}, 0, kMore)), "ok user main 0 0 0");
    EXPECT_EQ(ask(set_request("", {{"a", "3", value.c_str()}}, 0, kMore)),
              "too_large: a write of too many bytes; it has been dropped");
    EXPECT_EQ(ask(set_request("", {{"a", "4", "x"}})), "ok user main 2 2 1");
    EXPECT_EQ(stored(), "[a] 4=x ");
}

// ---- replace

TEST_F(EngineWrite, ReplacingLeavesNothingButTheRows) {
    ask(set_request("", {{"a", "1", "x"}, {"a", "2", "x"}, {"b", "1", "x"}, {"c", "1", "x"}}));
    put("user", "base", "a", "1", "below");
    calls();
    EXPECT_EQ(ask(set_request("", {{"a", "2", "x"}, {"c", "2", "y"}}, 0, kReplace)).substr(0, 15), "ok user main 2 ");
    EXPECT_EQ(stored(), "[a] 2=x [c] 2=y ");
    EXPECT_EQ(ask(get_request("", "a", "1")), "ok below user base");
}

TEST_F(EngineWrite, ReplacingByNothingEmptiesTheBackend) {
    ask(set_request("", {{"a", "1", "x"}, {"b", "1", "x"}}));
    EXPECT_EQ(ask(set_request("", {}, 0, kReplace)), "ok user main 2 8 2");
    EXPECT_EQ(stored(), "");
}

TEST_F(EngineWrite, ReplacingThatFailsTakesBackAll) {
    ask(set_request("", {{"a", "1", "x"}, {"a", "2", "x"}, {"b", "1", "x"}}));
    const std::string before = stored();
    for (const char *const call : {"set a 3", "unset b", "unset a 1", "list", "unset b 1"}) {
        backend("user", "main").results = {{call, -EIO}};
        EXPECT_EQ(ask(set_request("", {{"a", "3", "x"}}, 0, kReplace)), "io_error: backend main: Input/output error");
        EXPECT_EQ(stored(), before) << call;
    }
}

TEST_F(EngineWrite, ReplacingInPartsCountsTheFlagsOfTheLastOne) {
    ask(set_request("", {{"a", "1", "x"}}));
    ask(set_request("", {{"b", "1", "x"}}, 0, kMore));
    ask(set_request("", {{"c", "1", "x"}}, 0, kReplace));
    EXPECT_EQ(stored(), "[b] 1=x [c] 1=x ");
}

// ---- locks

TEST_F(EngineWrite, RespectsTheLocksOfOthers) {
    ask(client(2), trylock_request("net", "port"));
    EXPECT_EQ(ask(set_request("", {{"net", "port", "80"}}, 0, kRespectLocks)),
              "busy: user:net:port is locked by client 2");
    EXPECT_EQ(ask(unset_request("", {{"net", "port", ""}}, 0, kRespectLocks)),
              "busy: user:net:port is locked by client 2");
    EXPECT_EQ(stored(), "");
    EXPECT_EQ(ask(set_request("", {{"net", "host", "h"}}, 0, kRespectLocks)), "ok user main 2 2 1");
    EXPECT_EQ(ask(set_request("", {{"net", "port", "80"}})), "ok user main 2 3 1"); // locks are advisory
    EXPECT_EQ(ask(client(2), set_request("", {{"net", "port", "81"}}, 0, kRespectLocks)), "ok user main 2 4 1");
    ask(client(2), trylock_request("disk"));
    EXPECT_EQ(ask(set_request("", {{"disk", "size", "1"}}, 0, kRespectLocks)),
              "busy: user:disk:size is locked by client 2");
}

TEST_F(EngineWrite, RespectsTheLocksOnWhatItWouldReplace) {
    ask(set_request("", {{"a", "1", "x"}, {"b", "1", "x"}, {"c", "1", "x"}}));
    const std::string before = stored();
    ask(client(2), trylock_request("b", "1"));
    EXPECT_EQ(ask(set_request("", {{"a", "1", "x"}}, 0, kReplace | kRespectLocks)),
              "busy: user:b is locked by client 2");
    ask(client(2), unlock_request("b", "1"));
    ask(client(2), trylock_request("a", "1"));
    EXPECT_EQ(ask(set_request("", {{"a", "2", "x"}}, 0, kReplace | kRespectLocks)),
              "busy: user:a:1 is locked by client 2");
    EXPECT_EQ(stored(), before);
}

// ---- sync

TEST_F(EngineWrite, SyncBringsEveryLayerToTheStorage) {
    EXPECT_EQ(ask(request(control_sync)), "ok 2");
    EXPECT_EQ(calls("user"), "sync 2, ");
    EXPECT_EQ(calls("volatile"), "sync 2, ");
    EXPECT_EQ(calls("fixed"), "");
    backend("volatile", "main").reached = 0;
    EXPECT_EQ(ask(request(control_sync)), "ok 0");
    calls("volatile");
    EXPECT_EQ(ask(request(control_sync, {"user"})), "ok 2");
    EXPECT_EQ(calls("volatile"), "");
}

TEST_F(EngineWrite, SyncTellsWhatFails) {
    backend("user", "main").results["sync"] = -EIO;
    EXPECT_EQ(ask(request(control_sync, {""})), "io_error: backend main: Input/output error");
    EXPECT_EQ(ask(request(control_sync)), "io_error: backend main: Input/output error");
    EXPECT_EQ(ask(request(control_sync, {"volatile"})), "ok 2");
    calls("volatile");
    EXPECT_EQ(ask(request(control_sync)), "io_error: backend main: Input/output error");
    EXPECT_EQ(calls("volatile"), "sync 2, "); // the failure of one layer keeps no other from its storage
}

// Memory that runs short at any row.
TEST_F(EngineWrite, OutOfMemoryNothingOfARequestIsDone) {
    for (const char *const layer_name : {"user", "volatile"}) {
        int gets = 0;
        int last = -1;
        backend(layer_name, "main").get = [&](xdata **) {
            if (gets++ == last)
                throw std::bad_alloc();
            return -ENOENT;
        };
        std::string answered;
        for (last = 0; answered.substr(0, 2) != "ok" && last < 100; ++last) {
            EXPECT_EQ(stored(layer_name), "") << last;
            gets = 0;
            answered = ask(set_request(layer_name, {{"a", "1", "x"}, {"a", "2", "y"}, {"b", "1", "z"}}));
            EXPECT_TRUE(answered == "no_memory: out of memory" || last >= 6) << answered;
        }
        EXPECT_EQ(answered.substr(0, 2), "ok");
        EXPECT_EQ(stored(layer_name), "[a] 1=x 2=y [b] 1=z ");
    }
}
