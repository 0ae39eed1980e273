// SPDX-License-Identifier: MIT
// Changes on their way to the storage: collected, synced once, answered together, and taken back when the storage
// fails.
#include "engine_fixture.h"
#include "support/log_capture.h"

#include <cerrno>

using namespace varnel;

namespace {

class EngineCommit : public EngineTest {
public:
    std::string stored() { return content("user", "main"); }
    void fail_sync(int result) { backend("user", "main").results["sync"] = result; }
};

} // namespace

TEST_F(EngineCommit, AnswersWhenTheStorageHasTheChange) {
    const std::uint32_t id = send(set_request("user", {{"net", "port", "80"}}));
    EXPECT_EQ(answer(id), "none");
    EXPECT_EQ(calls(), "set net port, ");
    engine().commit();
    EXPECT_EQ(answer(id), "ok user main 2 2 1");
    EXPECT_EQ(calls(), "sync 1, ");
}

TEST_F(EngineCommit, AnswersAtOnceWhatMayStayInMemory) {
    const std::uint32_t id = send(set_request("volatile", {{"net", "port", "80"}}));
    EXPECT_EQ(answer(id), "ok volatile main 0 2 1");
}

TEST_F(EngineCommit, SyncsOnceForManyWrites) {
    std::uint32_t ids[50];
    for (int i = 0; i < 50; ++i)
        ids[i] = send(client(static_cast<unsigned>(1 + i % 5)),
                      set_request("user", {{"net", std::to_string(i).c_str(), "x"}}, i == 7 ? 2 : 0));
    calls();
    engine().commit();
    EXPECT_EQ(calls(), "sync 2, "); // as safe as the most careful of them asks
    for (int i = 0; i < 50; ++i)
        EXPECT_EQ(answer(client(static_cast<unsigned>(1 + i % 5)), ids[i]),
                  "ok user main 2 " + std::to_string(i + 2) + " 1");
    EXPECT_EQ(statistic("syncs"), 1U);
    engine().commit();
    EXPECT_EQ(calls(), "");
}

TEST_F(EngineCommit, SyncsEachLayerOnItsOwn) {
    send(set_request("user", {{"net", "port", "80"}}));
    send(set_request("volatile", {{"net", "port", "80"}}, 2));
    calls("user");
    calls("volatile");
    engine().commit();
    EXPECT_EQ(calls("user"), "sync 1, ");
    EXPECT_EQ(calls("volatile"), "sync 2, ");
}

// What may stay in memory is not answered before what it builds on is safe.
TEST_F(EngineCommit, AWriteInMemoryJoinsThoseThatWait) {
    const std::uint32_t first = send(client(1), set_request("volatile", {{"net", "port", "80"}}, 2));
    const std::uint32_t second = send(client(2), set_request("volatile", {{"net", "port", "81"}}, 0));
    EXPECT_EQ(answer(client(2), second), "none");
    engine().commit();
    EXPECT_EQ(answer(client(1), first), "ok volatile main 2 2 1");
    EXPECT_EQ(answer(client(2), second), "ok volatile main 2 3 1");
}

TEST_F(EngineCommit, AFailedSyncTakesEverythingBackAndTellsEach) {
    put("user", "main", "net", "port", "80");
    ask(client(3), notify_request("user"));
    fail_sync(-ENOSPC);
    const std::uint32_t first = send(client(1), set_request("user", {{"net", "port", "81"}, {"new", "a", "1"}}));
    const std::uint32_t second = send(client(2), unset_request("user", {{"net", "port", ""}}));
    const std::uint32_t third = send(client(1), group_request(control_create_group, "user", "disk"));
    const std::uint32_t fourth = send(client(2), group_request(control_remove_group, "user", "new"));
    EXPECT_EQ(stored(), "[disk] [net] ");
    const LogCapture log;
    engine().commit();
    for (const std::uint32_t id : {first, third})
        EXPECT_EQ(answer(client(1), id), "no_space: backend main: No space left on device");
    for (const std::uint32_t id : {second, fourth})
        EXPECT_EQ(answer(client(2), id), "no_space: backend main: No space left on device");
    EXPECT_EQ(stored(), "[net] port=80 ");
    EXPECT_EQ(events(client(3)), "");
    EXPECT_EQ(engine().revision(), 0U);
    EXPECT_EQ(log.texts(LogLine::error),
              (std::vector<std::string>{"layer user: backend main cannot store changes: No space left on device\n"}));
    EXPECT_EQ(statistic("refusals"), 4U);
}

TEST_F(EngineCommit, AFullStorageDoesNotFillTheLog) {
    fail_sync(-ENOSPC);
    const LogCapture log;
    for (int i = 0; i < 100; ++i)
        ask(set_request("user", {{"net", "port", "81"}}));
    const std::string line = "layer user: backend main cannot store changes: No space left on device";
    EXPECT_EQ(log.texts(LogLine::error), (std::vector<std::string>{line + "\n"}));
    now += 60000;
    ask(set_request("user", {{"net", "port", "81"}}));
    EXPECT_EQ(log.texts(LogLine::error).back(), line + " (100 times since the last line)\n");
    fail_sync(-EIO);
    EXPECT_EQ(ask(request(control_sync)).substr(0, 9), "io_error:");
    EXPECT_EQ(log.texts(LogLine::error).back(),
              "layer user: backend main cannot store changes, which stay in memory: Input/output error\n");
    backend("user", "main").results.clear();
    for (int i = 0; i < 3; ++i)
        ask(set_request("user", {{"net", "port", "81"}}));
    EXPECT_EQ(log.texts(LogLine::error).size(), 3U);
    EXPECT_EQ(log.texts(LogLine::info), (std::vector<std::string>{"layer user: backend main stores changes again\n"}));
}

TEST_F(EngineCommit, TheLastLineOfTheLogTellsHowTheStorageIs) {
    engine(); // whose start has lines of its own
    const LogCapture log;
    const std::string line = "layer user: backend main cannot store changes: No space left on device";
    const auto set = [this](int result) {
        backend("user", "main").results.clear();
        if (result != 0)
            fail_sync(result);
        ask(set_request("user", {{"net", "port", std::to_string(++now).c_str()}}));
    };
    set(-ENOSPC);
    set(0);
    set(-ENOSPC);
    EXPECT_EQ(log.texts(LogLine::error).back(), line + "; it comes and goes, and is told again in a minute\n");
    set(0);
    engine().flush();
    EXPECT_EQ(log.texts(LogLine::info).size(), 1U);
    now += 60000;
    engine().flush(); // nobody asks for anything any more
    EXPECT_EQ(log.texts(LogLine::error).size(), 2U);
    const std::string works = "layer user: backend main stores changes again\n";
    EXPECT_EQ(log.texts(LogLine::info), (std::vector<std::string>{works, works}));
}

TEST_F(EngineCommit, GoesOnAfterAFailedSync) {
    fail_sync(-EIO);
    EXPECT_EQ(ask(set_request("user", {{"net", "port", "80"}})), "io_error: backend main: Input/output error");
    backend("user", "main").results.clear();
    calls();
    engine().flush(); // what was taken back reaches the storage, too
    EXPECT_EQ(calls(), "sync 0, ");
    EXPECT_EQ(ask(set_request("user", {{"net", "port", "80"}})), "ok user main 2 2 1");
}

TEST_F(EngineCommit, AFailedSyncLeavesWhatWasAnsweredInMemory) {
    EXPECT_EQ(ask(set_request("volatile", {{"net", "port", "1"}})), "ok volatile main 0 2 1");
    backend("volatile", "main").results["sync"] = -EIO;
    EXPECT_EQ(ask(set_request("volatile", {{"net", "port", "2"}}, 1)), "io_error: backend main: Input/output error");
    EXPECT_EQ(ask(get_request("volatile", "net", "port")), "ok 1 volatile main");
}

TEST_F(EngineCommit, TellsWhatCannotBeTakenBack) {
    fail_sync(-EIO);
    send(set_request("user", {{"net", "port", "80"}}));
    backend("user", "main").results["unset"] = -EIO;
    const LogCapture log;
    engine().commit();
    EXPECT_EQ(log.texts(LogLine::error),
              (std::vector<std::string>{"layer user: backend main cannot store changes: Input/output error\n",
                                        "layer user: backend main does not take changes back\n"}));
}

TEST_F(EngineCommit, ReadsOfTheLayerWaitForTheStorage) {
    put("user", "main", "net", "port", "80");
    send(client(1), set_request("user", {{"net", "port", "81"}}));
    const Message reads[] = {
        get_request("user", "net", "port"),
        request(control_list, {"user", "", "", ""}),
        request(control_list_keys, {"user", "", "", ""}),
        request(control_status),
        request(control_status, {"volatile", "net", "port"}),
        request(control_sync),
    };
    std::vector<std::uint32_t> ids;
    for (const Message &read : reads)
        ids.push_back(send(client(2), read));
    for (const std::uint32_t id : ids)
        EXPECT_EQ(answer(client(2), id), "none");
    EXPECT_EQ(answer(client(1), send(client(1), get_request("volatile", "net", "port"))),
              "not_found: volatile:net:port is not there"); // another layer need not wait
    const std::uint32_t behind = send(client(2), set_request("volatile", {{"net", "port", "1"}}));
    EXPECT_EQ(answer(client(2), behind), "none"); // but a connection's requests keep their order
    engine().commit();
    EXPECT_EQ(answer(client(2), behind).substr(0, 2), "ok");
    EXPECT_EQ(answer(client(2), ids[0]), "ok 81 user main");
    EXPECT_EQ(answer(client(2), ids[1]), "ok user 0 net '' '' main net port 81 main");
    for (const std::uint32_t id : ids)
        EXPECT_EQ(answer(client(2), id).substr(0, 3), "ok ");
}

TEST_F(EngineCommit, AReadNeverTellsWhatAFailingStorageTakesBack) {
    put("user", "main", "net", "port", "80");
    fail_sync(-EIO);
    send(client(1), set_request("user", {{"net", "port", "81"}}));
    const std::uint32_t id = send(client(2), get_request("user", "net", "port"));
    engine().commit();
    EXPECT_EQ(answer(client(2), id), "ok 80 user main");
}

TEST_F(EngineCommit, EventsComeWhenTheStorageHasTheChange) {
    ask(client(2), notify_request("user"));
    send(client(1), set_request("user", {{"net", "port", "81"}}));
    EXPECT_EQ(events(client(2)), "");
    EXPECT_EQ(engine().revision(), 0U);
    engine().commit();
    EXPECT_EQ(events(client(2)), "1 created net; 2 changed net:port ->81; ");
}

// Otherwise a crash in between could give a revision out twice.
TEST_F(EngineCommit, RevisionsAreReservedBeforeTheStorageHasTheChanges) {
    on_revising = [this](std::uint64_t revision) {
        backend("user", "main").calls.push_back("up to " + std::to_string(revision));
    };
    send(client(1), set_request("user", {{"net", "port", "81"}}));
    send(client(2), set_request("user", {{"net", "host", "h"}}));
    calls();
    engine().commit();
    EXPECT_EQ(calls(), "up to 3, sync 1, ");
    EXPECT_EQ(engine().revision(), 3U);
    ask(unset_request("user", {{"net", "host", ""}}));
    EXPECT_EQ(calls(), "unset net host, up to 4, sync 1, ");
    ask(set_request("user", {{"net", "port", "81"}})); // which changes nothing
    EXPECT_EQ(calls(), "sync 1, ");
}

TEST_F(EngineCommit, RevisionsOfChangesInMemoryAreReservedBeforeAnybodyIsTold) {
    ask(client(2), notify_request("volatile"));
    std::string told;
    on_revising = [&](std::uint64_t revision) {
        told += std::to_string(engine().revision()) + " up to " + std::to_string(revision) + ": " + events(client(2));
    };
    ask(set_request("volatile", {{"net", "port", "80"}}));
    EXPECT_EQ(told, "0 up to 2: ");
    EXPECT_EQ(events(client(2)), "1 created net; 2 changed net:port ->80; ");
}

TEST_F(EngineCommit, AWriterThatHasGoneIsNotAnswered) {
    send(client(1), set_request("user", {{"net", "port", "81"}}));
    send(client(1), get_request("user", "net", "port"));
    leave(1);
    engine().commit();
    EXPECT_EQ(stored(), "[net] port=81 ");
    EXPECT_EQ(engine().revision(), 2U);
}

TEST_F(EngineCommit, ARefusedWriteLeavesThoseThatWaitAlone) {
    const std::uint32_t first = send(client(1), set_request("user", {{"net", "port", "81"}}));
    EXPECT_EQ(answer(client(2), send(client(2), unset_request("user", {{"net", "port", ""}, {"net", "none", ""}}))),
              "not_found: user:net:none is not there");
    engine().commit();
    EXPECT_EQ(answer(client(1), first), "ok user main 2 2 1");
    EXPECT_EQ(stored(), "[net] port=81 ");
}

TEST_F(EngineCommit, FlushBringsWhatIsInMemoryToTheStorageOnce) {
    ask(set_request("volatile", {{"net", "port", "1"}}));
    ask(set_request("volatile", {{"net", "port", "2"}}));
    calls("volatile");
    engine().flush();
    EXPECT_EQ(calls("volatile"), "sync 0, ");
    engine().flush();
    EXPECT_EQ(calls("volatile"), "");
    EXPECT_EQ(calls("user"), "");
}

TEST_F(EngineCommit, FlushTriesAgainWhatFailsAndSaysSoOnce) {
    ask(set_request("volatile", {{"net", "port", "1"}}));
    backend("volatile", "main").results["sync"] = -EIO;
    calls("volatile");
    const LogCapture log;
    for (int i = 0; i < 3; ++i)
        engine().flush();
    EXPECT_EQ(calls("volatile"), "sync 0, sync 0, sync 0, ");
    EXPECT_EQ(log.texts(LogLine::error),
              (std::vector<std::string>{
                  "layer volatile: backend main cannot store changes, which stay in memory: Input/output error\n"}));
    backend("volatile", "main").results.clear();
    engine().flush();
    calls("volatile");
    engine().flush();
    EXPECT_EQ(calls("volatile"), "");
}

TEST_F(EngineCommit, SyncClearsWhatFlushWouldDo) {
    ask(set_request("volatile", {{"net", "port", "1"}}));
    ask(request(control_sync));
    calls("volatile");
    engine().flush();
    EXPECT_EQ(calls("volatile"), "");
}
